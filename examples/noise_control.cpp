// Simulates active control of fan noise in a duct with one loudspeaker.
//
//     fan --> reference microphone ----- primary path ------> error microphone
//                      |                                           ^
//                      +--> adaptive filter --> loudspeaker -------+ secondary path
//
// The adaptive filter needs an estimate of the secondary path, above all of its delay. So this path
// is identified first, with the fan off and white noise from the loudspeaker. Then the filtered-x
// LMS filter and the adjoint LMS filter each control the same noise. Burgess 1981, Active adaptive
// sound control in a duct: a computer simulation; Wan 1996, Adjoint LMS: an efficient alternative
// to the filtered-x LMS and multiple error LMS algorithms.
//
// There is no acoustic feedback from the loudspeaker to the reference microphone. Signals are sound
// pressures in Pa; sound travels 86 mm per sample.
//
// --step is relative to 2 / (taps + length of the estimate), the stability limit for white noise
// and a perfect estimate. The limit for tones is lower: here the adjoint filter diverges near 0.28
// and the filtered-x filter near 0.4. A larger step reduces the broadband noise sooner but
// increases the misadjustment, mainly in the tones.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include <merlo64f.hpp>

#include "filters.h"
#include "host.h"

namespace {

using host::Signal;

constexpr int32_t kRate = 4000;               // Hz
constexpr std::size_t kStart = kRate;         // samples before control begins
constexpr std::size_t kInterval = kRate / 10; // samples per level
constexpr int32_t kTaps = MAX_TAPS;           // of the control filter
constexpr int32_t kEstimateTaps = 24;         // of the estimate of the secondary path
constexpr std::size_t kSegment = 512;         // samples per spectrum
constexpr double kReferencePressure = 2e-5;   // Pa, 0 dB of sound pressure level

double soundPressureLevel(double power) {
    return host::decibels(power / (kReferencePressure * kReferencePressure));
}

// ---- the duct --------------------------------------------------------------------------------

using Path = std::array<double, MAX_TAPS>;

// A resonance that begins after a delay.
// delay  samples; decay  time constant in samples; frequency  Hz
Path acousticPath(std::size_t delay, double gain, double decay, double frequency) {
    Path path{};
    for (std::size_t k = delay; k < path.size(); ++k) {
        const auto t = static_cast<double>(k - delay);
        path[k] =
            gain * std::exp(-t / decay) * std::cos(2.0 * std::numbers::pi * frequency / kRate * t);
    }
    return path;
}

// Blade tones: 140 Hz, modulated by +-2 Hz with a period of 7 s, and three harmonics.
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

// White noise through a pole at 0.5: the spectrum falls by 9.5 dB up to half the sampling rate.
Signal broadbandNoise(std::size_t length, double amplitude, std::uint64_t seed) {
    host::WhiteNoise white(seed);
    Signal noise(length);
    double last = 0.0;
    for (double& x : noise) {
        x = last = amplitude * white.next() + 0.5 * last;
    }
    return noise;
}

struct Duct {
    Path secondary;
    Signal tones, reference;          // at the reference microphone
    Signal tonesAtError, disturbance; // at the error microphone, without control
};

// The error microphone is 1.2 m from the reference microphone and 0.5 m from the loudspeaker, so
// the primary path is eight samples longer than the secondary path. The turbulence noise of each
// microphone reaches that microphone only.
Duct makeDuct(std::size_t length) {
    const Path primary = acousticPath(14, 0.8, 5.0, 300.0);
    Duct duct;
    duct.secondary = acousticPath(6, 0.6, 4.0, 500.0);
    duct.tones = bladeTones(length);
    const Signal fan = host::sum(duct.tones, broadbandNoise(length, 0.7, 1));
    duct.reference = host::sum(fan, broadbandNoise(length, 0.03, 2));
    duct.tonesAtError = host::through(primary, duct.tones);
    duct.disturbance = host::sum(host::through(primary, fan), broadbandNoise(length, 0.02, 3));
    return duct;
}

// ---- identification --------------------------------------------------------------------------

// Estimates a path from 3 s of white noise, 10 dB above other noise at the error microphone.
Signal identify(const Path& path) {
    host::WhiteNoise white(4), other(5);
    Signal probe(3 * kRate);
    std::generate(probe.begin(), probe.end(), [&] { return white.next(); });
    const Signal heard = host::through(path, probe);
    const double otherGain = std::sqrt(host::power(heard) / host::power(probe) / 10.0);

    Signal recorded = heard;
    for (double& x : recorded) {
        x += otherGain * other.next();
    }
    Signal output(probe.size()), estimate(kEstimateTaps);
    merlo64f::Filter<lms64fState> filter(kEstimateTaps, 0.1 / (kEstimateTaps * host::power(probe)));
    filter.update(probe, recorded, output, recorded);
    filter.getCoef(estimate);
    return estimate;
}

double energy(std::span<const double> x) { return host::power(x) * static_cast<double>(x.size()); }

// ---- control ---------------------------------------------------------------------------------

struct Control {
    std::string name;
    double mu;
    Signal residual, tones; // at the error microphone: the whole residual, and its tones
};

// step  value of --step, for the error message
template <class State>
Control control(const Duct& duct, const Signal& estimate, double mu, double step) {
    using Family = merlo64f::Family<State>;
    constexpr double kDiverged = 100.0; // residual power re power of the disturbance

    // The second filter has the coefficients of the first, and only the tones as input.
    const auto filter = [&](double stepSize) {
        return merlo64f::Filter<State>(kTaps, stepSize, duct.secondary.data(),
                                       static_cast<int32_t>(duct.secondary.size()), estimate.data(),
                                       static_cast<int32_t>(estimate.size()));
    };
    auto whole = filter(mu), tones = filter(0.0);
    Control result{Family::name, mu, duct.disturbance, duct.tonesAtError};
    const double disturbance = host::power(duct.disturbance);
    for (std::size_t n = kStart; n < duct.reference.size(); ++n) {
        tones.setCoef({whole->coef, kTaps});
        result.tones[n] += Family::filterOnly(&tones.state(), duct.tones[n]);
        Family::filterUpdate(&whole.state(), duct.reference[n], duct.disturbance[n]);
        result.residual[n] = whole->err;
        if ((n + 1) % kInterval == 0) {
            const auto interval = std::span(result.residual).subspan(n + 1 - kInterval, kInterval);
            if (!(host::power(interval) < kDiverged * disturbance)) {
                const double seconds = static_cast<double>(n + 1 - kStart) / kRate;
                host::fail(Family::name, "diverged within " + host::shortest(seconds) +
                                             " s; use a smaller --step than " +
                                             host::shortest(step));
            }
        }
    }
    return result;
}

// ---- report ----------------------------------------------------------------------------------

Signal levels(std::span<const double> signal) {
    Signal result;
    for (; signal.size() >= kInterval; signal = signal.subspan(kInterval)) {
        result.push_back(soundPressureLevel(host::power(signal.first(kInterval))));
    }
    return result;
}

// Of the bins between 0 Hz and half the sampling rate.
Signal spectrum(std::span<const double> signal) {
    Signal bins = host::binPowers(signal, kSegment, kSegment / 2 - 1);
    std::transform(bins.begin(), bins.end(), bins.begin(), soundPressureLevel);
    return bins;
}

struct Settings {
    double step = 0.05;
    int32_t seconds = 20;
    std::string levelsPath, spectraPath;
};

void controlNoise(const Settings& settings) {
    host::checkOutputs({}, {settings.levelsPath, settings.spectraPath});
    const Duct duct = makeDuct(static_cast<std::size_t>(settings.seconds * kRate));
    const Signal estimate = identify(duct.secondary);
    Signal padded = estimate;
    padded.resize(duct.secondary.size());
    std::printf("%d s at %d Hz, %d taps; without control %.1f dB re 20 uPa at the error "
                "microphone\n",
                settings.seconds, kRate, kTaps, soundPressureLevel(host::power(duct.disturbance)));
    std::printf("estimate of the secondary path: %d taps, relative error %.1f dB\n", kEstimateTaps,
                host::ratio(host::difference(duct.secondary, padded), duct.secondary));

    // fxlms64f divides mu by the power of the filtered reference, adjlms64f by that of the
    // reference, so its mu is divided by the gain of the path as well.
    const double mu = settings.step * 2.0 / (kTaps + kEstimateTaps);
    const std::array controls = {
        control<fxlms64fState>(duct, estimate, mu, settings.step),
        control<adjlms64fState>(duct, estimate, mu / energy(estimate), settings.step)};

    const std::size_t last = duct.disturbance.size() / 4;
    const auto attenuation = [&](std::span<const double> before, std::span<const double> after) {
        return host::ratio(before.last(last), after.last(last));
    };
    std::printf("attenuation over the last %g s at --step %g:\n", static_cast<double>(last) / kRate,
                settings.step);
    std::printf("%-10s %10s %13s %11s %15s\n", "family", "mu", "overall (dB)", "tones (dB)",
                "broadband (dB)");
    for (const Control& c : controls) {
        std::printf("%-10s %10.3g %13.1f %11.1f %15.1f\n", c.name.c_str(), c.mu,
                    attenuation(duct.disturbance, c.residual),
                    attenuation(duct.tonesAtError, c.tones),
                    attenuation(host::difference(duct.disturbance, duct.tonesAtError),
                                host::difference(c.residual, c.tones)));
    }

    const std::array<std::span<const double>, 3> signals = {duct.disturbance, controls[0].residual,
                                                            controls[1].residual};
    std::vector<Signal> columns(signals.size());
    std::transform(signals.begin(), signals.end(), columns.begin(), levels);
    host::saveTable(settings.levelsPath,
                    "time (s); level (dB re 20 uPa): no control, fxlms64f, adjlms64f",
                    host::rowsOf(columns, 0.5, static_cast<double>(kInterval) / kRate));
    std::transform(signals.begin(), signals.end(), columns.begin(),
                   [&](const auto& signal) { return spectrum(signal.last(last)); });
    host::saveTable(settings.spectraPath,
                    "frequency (Hz); level (dB re 20 uPa): no control, fxlms64f, adjlms64f",
                    host::rowsOf(columns, 1.0, static_cast<double>(kRate) / kSegment));
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    host::commandLine(
        argc, argv, "Simulates active control of fan noise in a duct.", {},
        {{"step", "step size relative to the stability limit for white noise", &s.step, 0.0, 10.0},
         {"seconds", "length of the simulation in s", &s.seconds, 2, 600},
         {"levels", "output file for levels in dB every 0.1 s", &s.levelsPath},
         {"spectra", "output file for spectra of the last quarter, in dB per 7.8 Hz",
          &s.spectraPath}});
    return host::runHost(argv[0], [&] { controlNoise(s); });
}
