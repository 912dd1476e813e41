// Makes the usual mistakes, each beside its remedy, and reports what is left of the disturbance.
//
// In every case a disturbance reaches the microphone, and a filter has to remove it. What is left is
// the error without the wanted signal, in dB re the disturbance, over tenths of a second. The figure
// of a case is the worst such level in the second half.
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <merlo64f.hpp>

#include "filters.h"
#include "host.h"

namespace {

using host::Signal;

constexpr std::size_t kRate = 8000; // Hz
constexpr std::size_t kLength = 10 * kRate;
constexpr std::size_t kInterval = kRate / 10;
constexpr double kHighest = 20.0;    // dB, limit of the curves
constexpr double kTenth = 0.1 * 2.0; // a tenth of a bound 2 / ...

Signal noise(double amplitude, std::uint64_t seed) {
    host::WhiteNoise white(seed);
    Signal samples(kLength);
    for (double& x : samples) {
        x = amplitude * white.next();
    }
    return samples;
}

// White noise in syllables of a quarter of a second.
Signal syllables(double amplitude, std::uint64_t seed) {
    Signal samples = noise(amplitude, seed);
    for (std::size_t n = 0; n < samples.size(); ++n) {
        samples[n] *= std::pow(std::sin(4.0 * M_PI * static_cast<double>(n) / kRate), 2.0);
    }
    return samples;
}

// A decaying response of about unit gain.
Signal room(std::size_t taps) {
    host::WhiteNoise white(7);
    Signal response(taps);
    for (std::size_t k = 0; k < taps; ++k) {
        response[k] =
            white.next() * std::exp(-3.0 * static_cast<double>(k) / static_cast<double>(taps));
    }
    host::scale(response, 1.0 / std::sqrt(host::power(response) * static_cast<double>(taps)));
    return response;
}

Signal delayed(const Signal& x, std::size_t samples) {
    Signal result(samples);
    result.insert(result.end(), x.begin(), x.end() - static_cast<std::ptrdiff_t>(samples));
    return result;
}

// x at the times of a clock whose period is longer by the part `drift`, by an interpolator of 32 taps. x must be
// band-limited.
Signal resampled(const Signal& x, double drift) {
    constexpr int kHalf = 16;
    Signal result(x.size());
    for (std::size_t n = kHalf; n < x.size(); ++n) {
        const double at = static_cast<double>(n) * (1.0 + drift);
        const auto from = static_cast<std::size_t>(at) - kHalf + 1;
        for (std::size_t k = from; k < from + 2 * kHalf && k < x.size(); ++k) {
            const double t = M_PI * (at - static_cast<double>(k));
            const double sinc = std::fabs(t) < 1e-9 ? 1.0 : std::sin(t) / t;
            result[n] += x[k] * sinc * (0.5 + 0.5 * std::cos(t / kHalf));
        }
    }
    return result;
}

// Errors of a filter of this family.
template <class State, class... Arguments>
Signal errors(const Signal& x, const Signal& d, Arguments... arguments) {
    merlo64f::Filter<State> filter(arguments...);
    Signal y(x.size()), e(x.size());
    filter.update(x, d, y, e);
    return e;
}

Signal errorsOfNlms(const Signal& x, const Signal& d, int32_t order) {
    return errors<nlms64fState>(x, d, order, kTenth / order);
}

Signal errorsOfParts(const Signal& x, const Signal& d, int32_t blockLen, int32_t parts) {
    return errors<pbfdaf64fState>(x, d, blockLen, blockLen, parts, kTenth / (blockLen * parts), 1);
}

// ---- remedies of some length -------------------------------------------------------------------

// Adapts only while the running power of x is above `least`.
Signal errorsWithGate(const Signal& x, const Signal& d, double least) {
    merlo64f::Filter<nlms64fState> filter(32, kTenth / 32);
    Signal e(x.size());
    for (std::size_t n = 0; n < x.size(); ++n) {
        if (filter->power < least) {
            e[n] = d[n] - nlms64fFilterOnly(&filter.state(), x[n]);
        } else {
            nlms64fFilterUpdate(&filter.state(), x[n], d[n]);
            e[n] = filter->err;
        }
    }
    return e;
}

// Two filters: `back` adapts, `front` makes the output and gets the coefficients of `back` when they
// have been better for 0.2 s. `back` gets those of `front` when it has been worse for 40 ms.
Signal errorsOfTwo(const Signal& x, const Signal& d, int32_t parts) {
    constexpr std::size_t kBlock = 32;
    using Filter = merlo64f::Filter<pbfdaf64fState>;
    Filter front(32, 32, parts, 0.0, 1), back(32, 32, parts, kTenth / (32 * parts), 1);
    Signal output(x.size()), taps(kBlock * static_cast<std::size_t>(parts));
    std::array<double, kBlock> y, e;
    double heard = 0.0, frontErr = 0.0, backErr = 0.0;
    int better = 0, worse = 0;
    const auto smooth = [](double& power, std::span<const double> block) {
        power += 0.06 * (host::power(block) - power);
    };
    const auto copy = [&](Filter& from, Filter& to) {
        from.getCoef(taps);
        to.setCoef(taps);
    };
    for (std::size_t n = 0; n < x.size(); n += kBlock) {
        const auto xBlock = std::span(x).subspan(n, kBlock),
                   dBlock = std::span(d).subspan(n, kBlock);
        const auto outBlock = std::span(output).subspan(n, kBlock);
        front.filter(xBlock, y);
        for (std::size_t i = 0; i < kBlock; ++i) {
            outBlock[i] = dBlock[i] - y[i];
        }
        back.update(xBlock, dBlock, y, e);
        smooth(heard, dBlock);
        smooth(frontErr, outBlock);
        smooth(backErr, e);
        better = backErr < 0.25 * heard && backErr < 0.65 * frontErr ? better + 1 : 0;
        worse = backErr > 2.0 * frontErr ? worse + 1 : 0;
        if (better > 50) {
            copy(back, front);
            frontErr = backErr;
            better = 0;
        } else if (worse > 10) {
            copy(front, back);
            backErr = frontErr;
            worse = 0;
        }
    }
    return output;
}

// Over blocks in the frequency domain, with tables as a host allocates them: zeros until filled.
Signal errorsWithTables(const Signal& x, const Signal& d, bool filled) {
    constexpr int32_t kBlock = 32;
    std::vector<int32_t> table(static_cast<std::size_t>(fftTableLen(2 * kBlock)));
    Signal twiddles(static_cast<std::size_t>(fftTwiddlesLen(2 * kBlock))), y(kBlock), e(x.size());
    if (filled) {
        fillFftTables(2 * kBlock, table.data(), twiddles.data());
    }
    bfdaf64fState state;
    host::require(
        bfdaf64fInit(&state, kBlock, kBlock, kTenth / kBlock, 1, table.data(), twiddles.data()),
        "bfdaf64f");
    for (std::size_t n = 0; n < x.size(); n += kBlock) {
        bfdaf64fFilterUpdate(&state, &x[n], &d[n], y.data(), &e[n]);
    }
    bfdaf64fFree(&state);
    return e;
}

Signal errorsOfControl(const Signal& x, const Signal& d, const Signal& path, double sign) {
    Signal estimate = path;
    host::scale(estimate, sign);
    const auto length = static_cast<int32_t>(path.size());
    return errors<fxlms64fState>(x, d, 32, kTenth / (32 + length), path.data(), length,
                                 estimate.data(), length);
}

// ---- cases -------------------------------------------------------------------------------------

struct Case {
    const char* name;
    Signal wrong, right; // what is left, dB re the disturbance

    double worstOf(const Signal& levels) const {
        return *std::max_element(levels.begin() + std::ssize(levels) / 2, levels.end());
    }
};

// disturbance  its power at the microphone in every interval; wanted  the rest of the microphone signal
Signal levels(const Signal& e, const Signal& wanted, const Signal& disturbance) {
    const Signal left = host::difference(e, wanted);
    const double reference = host::power(disturbance);
    Signal result;
    for (std::size_t n = 0; n < left.size(); n += kInterval) {
        const double power = host::power(std::span(left).subspan(n, kInterval));
        const double level = host::decibels(power / reference);
        result.push_back(level <= kHighest ? level : kHighest); // also for NaN
    }
    return result;
}

std::vector<Case> cases() {
    const Signal x = noise(0.5, 1), hiss = noise(0.001, 2), response = room(32);
    const Signal echo = host::through(response, x), d = host::sum(echo, hiss);
    std::vector<Case> all;
    const auto add = [&](const char* name, const Signal& wanted, const Signal& disturbance,
                         const Signal& wrong, const Signal& right) {
        all.push_back(
            {name, levels(wrong, wanted, disturbance), levels(right, wanted, disturbance)});
    };

    const Signal late = delayed(d, 40);
    add("delay outside the taps", delayed(hiss, 40), delayed(echo, 40), errorsOfNlms(x, late, 32),
        errorsOfNlms(delayed(x, 40), late, 32));

    const Signal path = {0.0, 0.0, 0.0, 0.0, 0.8, -0.4, 0.2, -0.1};
    const Signal duct = delayed(d, 8);
    add("sign", delayed(hiss, 8), delayed(echo, 8), errorsOfControl(x, duct, path, -1.0),
        errorsOfControl(x, duct, path, 1.0));

    add("wrong reference", hiss, echo, errorsOfNlms(host::sum(x, noise(0.5, 3)), d, 32),
        errorsOfNlms(x, d, 32));

    add("step", hiss, echo, errors<nlms64fState>(x, d, 32, 0.5), errorsOfNlms(x, d, 32));

    Signal pauses = noise(1e-5, 6); // what a converter leaves of silence
    for (std::size_t n = 0; n < pauses.size(); ++n) {
        pauses[n] += n / (kRate / 2) % 2 == 0 ? x[n] : 0.0;
    }
    const Signal paused = host::through(response, pauses);
    const Signal withHiss = host::sum(paused, hiss);
    add("quiet passages", hiss, paused, errorsOfNlms(pauses, withHiss, 32),
        errorsWithGate(pauses, withHiss, 1e-4));

    const Signal voice = syllables(0.5, 4), voiceEcho = host::through(response, voice);
    Signal near = syllables(0.5, 5); // from 6 s to 8 s
    std::fill(near.begin(), near.begin() + 6 * kRate, 0.0);
    std::fill(near.begin() + 8 * kRate, near.end(), 0.0);
    const Signal wanted = host::sum(hiss, near), both = host::sum(voiceEcho, wanted);
    add("double talk", wanted, voiceEcho, errorsOfParts(voice, both, 32, 4),
        errorsOfTwo(voice, both, 4));

    add("order too short", hiss, echo, errorsOfNlms(x, d, 8), errorsOfNlms(x, d, 32));

    add("table not filled", hiss, echo, errorsWithTables(x, d, false),
        errorsWithTables(x, d, true));

    const Signal longEcho = host::through(room(128), x), longD = host::sum(longEcho, hiss);
    add("blocks with gaps", hiss, longEcho, errorsOfParts(x, longD, 128, 1),
        errorsOfParts(x, longD, 32, 4));
    add("order clamped", hiss, longEcho, errorsOfNlms(x, longD, 128),
        errorsOfParts(x, longD, 32, 4));

    Signal quiet = x, quietD = d, quietHiss = hiss, quietEcho = echo;
    for (Signal* signal : {&quiet, &quietD, &quietHiss, &quietEcho}) {
        host::scale(*signal, 0x1p-13); // -78 dB
    }
    Signal restored = errorsOfParts(x, d, 32, 1);
    host::scale(restored, 0x1p-13);
    add("quiet signals", quietHiss, quietEcho, errorsOfParts(quiet, quietD, 32, 1), restored);

    const Signal smoothX = host::through(host::lowPass(0.38), x);
    const Signal steadyEcho = host::through(response, smoothX);
    const Signal driftEcho = resampled(steadyEcho, -1e-4);
    add("clock drift", hiss, driftEcho, errorsOfNlms(smoothX, host::sum(driftEcho, hiss), 32),
        errorsOfNlms(resampled(smoothX, -1e-4), host::sum(driftEcho, hiss), 32));
    return all;
}

} // namespace

int main(int argc, char** argv) {
    std::string curvesPath;
    host::commandLine(argc, argv, "Makes the usual mistakes with adaptive filters.", {},
                      {{"curves", "output file for the levels over time", &curvesPath}});
    return host::runHost(argv[0], [&] {
        std::vector<Signal> columns;
        std::printf("%-24s %12s %12s\n", "what is left (dB)", "the mistake", "the remedy");
        for (const Case& c : cases()) {
            std::printf("%-24s %12.1f %12.1f\n", c.name, c.worstOf(c.wrong), c.worstOf(c.right));
            columns.push_back(c.wrong);
            columns.push_back(c.right);
        }
        host::saveTable(curvesPath,
                        "time (s); dB re the disturbance: mistake, remedy of every case",
                        host::rowsOf(columns, 0.5, static_cast<double>(kInterval) / kRate));
    });
}
