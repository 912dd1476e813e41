// Simulates the active control of fan noise in a duct, with one loudspeaker.
//
//     fan --> reference microphone ----- primary path ------> error microphone
//                      |                                           ^
//                      +--> adaptive filter --> loudspeaker -------+ secondary path
//
// What the loudspeaker sends arrives through the secondary path, whose delay an adaptive filter has
// to know. So the path is identified first, with the fan at rest and white noise on the loudspeaker;
// then the filtered-x LMS filter and the adjoint LMS filter each control the same noise. Burgess
// 1981, Active adaptive sound control in a duct: a computer simulation; Wan 1996, Adjoint LMS: an
// efficient alternative to the filtered-x LMS and multiple error LMS algorithms.
//
// The loudspeaker is taken not to be heard at the reference microphone. Signals are sound pressures
// in Pa; in one sample sound travels 86 mm.
//
// --step is a fraction of 2 / (taps + length of the estimate), the step size that white noise and a
// perfect estimate might just bear. Tones bear less: here the adjoint filter diverges near 0.28 and
// the filtered-x filter near 0.4. A larger step learns the broadband noise sooner and shakes the
// coefficients more, which the tones show first.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include <adjlms64f.h>
#include <fxlms64f.h>
#include <lms64f.h>

#include "filters.h"
#include "host.h"

namespace {

using Signal = std::vector<double>;

constexpr char kUsage[] = "noise_control [--step S] [--seconds N] [--levels FILE] [--spectra FILE]";

constexpr int32_t kRate = 4000;              // Hz
constexpr std::size_t kStart = kRate;        // samples before control begins
constexpr std::size_t kStretch = kRate / 10; // samples, for a level against time
constexpr int32_t kTaps = MAX_TAPS;          // of the control filter
constexpr int32_t kEstimateTaps = 24;        // of what is known of the secondary path
constexpr double kStepBound = 2.0 / (kTaps + kEstimateTaps);
constexpr std::size_t kSegment = 512;       // samples, for a spectrum
constexpr double kReferencePressure = 2e-5; // Pa, 0 dB of sound pressure level

double soundPressureLevel(double power) {
    return host::decibels(power / (kReferencePressure * kReferencePressure));
}

// ---- the duct --------------------------------------------------------------------------------

using Path = std::array<double, MAX_TAPS>;

// A flight of `delay` samples, then a resonance of the duct that dies away with the time constant
// `decay`, in samples; frequency in Hz.
Path acousticPath(std::size_t delay, double gain, double decay, double frequency) {
    Path path{};
    for (std::size_t k = delay; k < path.size(); ++k) {
        const auto t = static_cast<double>(k - delay);
        path[k] =
            gain * std::exp(-t / decay) * std::cos(2.0 * std::numbers::pi * frequency / kRate * t);
    }
    return path;
}

// The blade-passing frequency wanders by 2 Hz around 140 Hz; its harmonics go with it.
Signal bladeTones(std::size_t length) {
    constexpr std::array kAmplitudes = {2.0, 1.1, 0.7, 0.4}; // Pa
    Signal tones(length);
    double phase = 0.0;
    for (std::size_t n = 0; n < length; ++n) {
        const double t = static_cast<double>(n) / kRate;
        const double frequency = 140.0 + 2.0 * std::sin(2.0 * std::numbers::pi * t / 7.0);
        phase += 2.0 * std::numbers::pi * frequency / kRate;
        for (std::size_t k = 0; k < kAmplitudes.size(); ++k) {
            tones[n] += kAmplitudes[k] * std::sin(static_cast<double>(k + 1) * phase);
        }
    }
    return tones;
}

// Falls towards high frequencies, by 9.5 dB up to half the sampling rate.
Signal broadbandNoise(std::size_t length, double amplitude, std::uint64_t seed) {
    host::WhiteNoise white(seed);
    Signal noise(length);
    double last = 0.0;
    for (double& x : noise) {
        last = amplitude * white.next() + 0.5 * last;
        x = last;
    }
    return noise;
}

struct Duct {
    Path secondary;
    Signal tones, reference;          // at the reference microphone
    Signal tonesAtError, disturbance; // at the error microphone, without control
};

Signal sum(Signal a, const Signal& b) {
    addIp64f(b.data(), a.data(), static_cast<int32_t>(a.size()));
    return a;
}

// The error microphone stands 1.2 m from the reference and 0.5 m from the loudspeaker: the filter
// has eight samples to spare. The turbulence at each microphone is not heard at the other.
Duct makeDuct(std::size_t length) {
    const Path primary = acousticPath(14, 0.8, 5.0, 300.0);
    Duct duct;
    duct.secondary = acousticPath(6, 0.6, 4.0, 500.0);
    duct.tones = bladeTones(length);
    const Signal fan = sum(duct.tones, broadbandNoise(length, 0.7, 1));
    duct.reference = sum(fan, broadbandNoise(length, 0.03, 2));
    duct.tonesAtError = host::through(primary, duct.tones);
    duct.disturbance = sum(host::through(primary, fan), broadbandNoise(length, 0.02, 3));
    return duct;
}

// ---- identification --------------------------------------------------------------------------

// What is learned of the path in three seconds of white noise, 10 dB above other noise.
Signal identify(const Path& path) {
    host::WhiteNoise white(4), other(5);
    Signal probe(3 * kRate);
    std::generate(probe.begin(), probe.end(), [&] { return white.next(); });
    const Signal heard = host::through(path, probe);
    const double otherGain = std::sqrt(host::power(heard) / host::power(probe) / 10.0);

    Signal estimate(kEstimateTaps), delayLine(kEstimateTaps);
    const double mu = 0.1 / (kEstimateTaps * host::power(probe));
    lms64fState filter;
    if (lms64fInitStatic(&filter, kEstimateTaps, mu, estimate.data(), delayLine.data()) != STS_OK) {
        throw host::Failure("the identification cannot be set up");
    }
    for (std::size_t n = 0; n < probe.size(); ++n) {
        lms64fFilterUpdate(&filter, probe[n], heard[n] + otherGain * other.next());
    }
    return estimate;
}

double energy(std::span<const double> x) { return host::power(x) * static_cast<double>(x.size()); }

// Energy of the error over that of the path.
double relativeError(const Path& path, std::span<const double> estimate) {
    Path error = path;
    for (std::size_t k = 0; k < estimate.size(); ++k) {
        error[k] -= estimate[k];
    }
    return energy(error) / energy(path);
}

// ---- control ---------------------------------------------------------------------------------

struct FilteredX {
    using State = fxlms64fState;
    static constexpr char kName[] = "fxlms64f";
    static constexpr auto init = fxlms64fInit;
    static constexpr auto free = fxlms64fFree;
    static constexpr auto filterUpdate = fxlms64fFilterUpdate;
    static constexpr auto filterOnly = fxlms64fFilterOnly;
    static constexpr auto setCoef = fxlms64fSetCoef;
    // The step is normalised by the power of the filtered reference.
    static double stepScale(std::span<const double>) { return 1.0; }
};

struct Adjoint {
    using State = adjlms64fState;
    static constexpr char kName[] = "adjlms64f";
    static constexpr auto init = adjlms64fInit;
    static constexpr auto free = adjlms64fFree;
    static constexpr auto filterUpdate = adjlms64fFilterUpdate;
    static constexpr auto filterOnly = adjlms64fFilterOnly;
    static constexpr auto setCoef = adjlms64fSetCoef;
    // The step is normalised by the power of the reference as it is: the path's gain is left.
    static double stepScale(std::span<const double> estimate) { return 1.0 / energy(estimate); }
};

template <class Family>
class Controller {
  public:
    Controller(const Path& path, const Signal& estimate, double mu) {
        if (Family::init(&state_, kTaps, mu, path.data(), static_cast<int32_t>(path.size()),
                         estimate.data(), static_cast<int32_t>(estimate.size())) != STS_OK) {
            host::fail(Family::kName, "cannot be set up");
        }
    }
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;
    ~Controller() { Family::free(&state_); }

    double residual(double x, double d) {
        Family::filterUpdate(&state_, x, d);
        return state_.err;
    }
    // Without learning, with the coefficients that `other` has at this moment: what `other` does to
    // this part of its signals.
    double residualOf(double x, double d, const Controller& other) {
        Family::setCoef(&state_, other.state_.coef, 0, kTaps, 0);
        return d + Family::filterOnly(&state_, x);
    }

  private:
    typename Family::State state_;
};

struct Control {
    const char* name;
    double mu;
    Signal residual, tones; // at the error microphone: all of it, and what is left of the tones
};

template <class Family>
Control control(const Duct& duct, const Signal& estimate, double step) {
    constexpr double kDiverged = 100.0; // times the power of the disturbance

    const double mu = step * kStepBound * Family::stepScale(estimate);
    Controller<Family> all(duct.secondary, estimate, mu), tonesAlone(duct.secondary, estimate, mu);
    Control result{Family::kName, mu, duct.disturbance, duct.tonesAtError};
    const double disturbance = host::power(duct.disturbance);
    for (std::size_t n = kStart; n < duct.reference.size(); ++n) {
        result.tones[n] = tonesAlone.residualOf(duct.tones[n], duct.tonesAtError[n], all);
        result.residual[n] = all.residual(duct.reference[n], duct.disturbance[n]);
        if ((n + 1) % kStretch == 0) {
            const auto stretch = std::span(result.residual).subspan(n + 1 - kStretch, kStretch);
            if (!(host::power(stretch) < kDiverged * disturbance)) {
                char message[120];
                std::snprintf(message, sizeof message,
                              "diverged within %.1f s; take a smaller --step than %g",
                              static_cast<double>(n + 1 - kStart) / kRate, step);
                host::fail(Family::kName, message);
            }
        }
    }
    return result;
}

// ---- report ----------------------------------------------------------------------------------

Signal difference(Signal a, std::span<const double> b) {
    for (std::size_t n = 0; n < a.size(); ++n) {
        a[n] -= b[n];
    }
    return a;
}

double attenuation(std::span<const double> before, std::span<const double> after,
                   std::size_t last) {
    return host::decibels(host::power(before.last(last)) / host::power(after.last(last)));
}

Signal levels(std::span<const double> signal) {
    Signal result;
    for (; signal.size() >= kStretch; signal = signal.subspan(kStretch)) {
        result.push_back(soundPressureLevel(host::power(signal.first(kStretch))));
    }
    return result;
}

// Level in every bin of the discrete Fourier transform between 0 Hz and half the sampling rate; the
// powers of the bins add up to that of the signal. Averaged over half-overlapping segments under a
// Hann window.
Signal spectrum(std::span<const double> signal) {
    static const auto cosine = [] {
        std::array<double, kSegment> table{};
        for (std::size_t n = 0; n < kSegment; ++n) {
            table[n] = std::cos(2.0 * std::numbers::pi * static_cast<double>(n) / kSegment);
        }
        return table;
    }();
    Signal bins(kSegment / 2 - 1);
    double windows = 0.0;
    for (; signal.size() >= kSegment; signal = signal.subspan(kSegment / 2)) {
        std::array<double, kSegment> windowed;
        for (std::size_t n = 0; n < kSegment; ++n) {
            windowed[n] = signal[n] * (1.0 - cosine[n]);
            windows += std::pow(1.0 - cosine[n], 2);
        }
        for (std::size_t bin = 1; bin <= bins.size(); ++bin) {
            double real = 0.0, imaginary = 0.0;
            for (std::size_t n = 0; n < kSegment; ++n) {
                real += windowed[n] * cosine[n * bin % kSegment];
                imaginary += windowed[n] * cosine[(n * bin + kSegment / 4) % kSegment];
            }
            bins[bin - 1] += real * real + imaginary * imaginary;
        }
    }
    for (double& power : bins) {
        power = soundPressureLevel(power * 2.0 / (windows * kSegment));
    }
    return bins;
}

// The columns behind one of (first + row) * spacing.
void save(const std::string& path, const char* heading, double first, double spacing,
          std::span<const Signal> columns) {
    host::Table table(path);
    table.heading(heading);
    for (std::size_t n = 0; n < columns.front().size(); ++n) {
        Signal row{(first + static_cast<double>(n)) * spacing};
        for (const Signal& column : columns) {
            row.push_back(column[n]);
        }
        table.row(row);
    }
    table.close();
}

void controlNoise(const host::Arguments& arguments) {
    arguments.files(0);
    const double step = arguments.positive("--step", 0.05, 10.0);
    const int32_t seconds = arguments.integer("--seconds", 20, 2, 600);
    const std::string levelsPath = arguments.text("--levels");
    const std::string spectraPath = arguments.text("--spectra");
    if (!spectraPath.empty()) {
        host::requireNotOneOf(spectraPath, {levelsPath});
    }

    const Duct duct = makeDuct(static_cast<std::size_t>(seconds * kRate));
    const Signal estimate = identify(duct.secondary);
    std::printf(
        "%d s at %d Hz, %d taps; without control %.1f dB re 20 uPa at the error microphone\n",
        seconds, kRate, kTaps, soundPressureLevel(host::power(duct.disturbance)));
    std::printf("estimate of the secondary path: %zu taps, relative error %.1f dB\n",
                estimate.size(), host::decibels(relativeError(duct.secondary, estimate)));

    const std::array controls = {control<FilteredX>(duct, estimate, step),
                                 control<Adjoint>(duct, estimate, step)};

    const std::size_t last = duct.disturbance.size() / 4;
    std::printf("attenuation over the last %g s at --step %g, in dB:\n",
                static_cast<double>(last) / kRate, step);
    std::printf("                   mu   overall     tones  broadband\n");
    for (const Control& c : controls) {
        std::printf("%-10s %10.3g %9.1f %9.1f %10.1f\n", c.name, c.mu,
                    attenuation(duct.disturbance, c.residual, last),
                    attenuation(duct.tonesAtError, c.tones, last),
                    attenuation(difference(duct.disturbance, duct.tonesAtError),
                                difference(c.residual, c.tones), last));
    }

    const std::array heard = {std::span(duct.disturbance), std::span(controls[0].residual),
                              std::span(controls[1].residual)};
    std::array<Signal, heard.size()> columns;
    if (!levelsPath.empty()) {
        std::transform(heard.begin(), heard.end(), columns.begin(), levels);
        constexpr double kSpacing = static_cast<double>(kStretch) / kRate;
        save(levelsPath, "time (s); level (dB re 20 uPa): no control, fxlms64f, adjlms64f", 0.5,
             kSpacing, columns);
    }
    if (!spectraPath.empty()) {
        std::transform(heard.begin(), heard.end(), columns.begin(),
                       [&](const auto& signal) { return spectrum(signal.last(last)); });
        constexpr double kSpacing = static_cast<double>(kRate) / kSegment;
        save(spectraPath, "frequency (Hz); level (dB re 20 uPa): no control, fxlms64f, adjlms64f",
             1.0, kSpacing, columns);
    }
}

} // namespace

int main(int argc, char** argv) {
    return host::runHost("noise_control", [&] {
        controlNoise({argc, argv, kUsage, {"--step", "--seconds", "--levels", "--spectra"}});
    });
}
