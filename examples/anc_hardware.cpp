// Active noise control of a real plant, one that the library does not see.
//
//     fan --> reference microphone --------- duct ---------> error microphone
//                      |                                        ^     |
//             record() |        play() +--> loudspeaker --------+     | record()
//                      v               |                              v
//                  reference --> adaptive filter <---------------- residual
//
// The host has an audio device only: it reads two microphones and plays one sample per turn. The
// filters of noise_control compute what arrives at the error microphone from the secondary path that
// they are given. Here the real path does that, so the filters get a path of one zero, and the
// measured residual in place of the disturbance. What they compute for the loudspeaker is outLine[0].
//
// 1. With the fan off, white noise is played, and the secondary path from play() to the residual is
//    identified: nlms64f up to 32 taps, pbfdaf64f above. The latency of converters and buffers is
//    part of that path, so the estimate must be longer than the latency.
// 2. The fan runs, and the filtered-x LMS and the adjoint LMS filter control it one after the other.
//
// The duct is simulated by the class Duct, which stands for the driver of a sound card. Signals are
// relative to the full scale of the converters. With a latency, the loudspeaker is too late for
// random noise; tones can be predicted and controlled all the same. There is no acoustic feedback
// from the loudspeaker to the reference microphone.
//
// --step is relative to 2 / (taps + length of the estimate).
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include <merlo64f.hpp>

#include "host.h"

namespace {

using host::Signal;

constexpr int32_t kRate = 4000;               // Hz
constexpr std::size_t kInterval = kRate / 20; // samples per level
constexpr int32_t kTaps = MAX_TAPS;           // of the control filter
constexpr int32_t kMostEstimate = 1024;       // taps of the estimate

struct Settings {
    double frequency = 120.0; // Hz
    int32_t tones = 4;
    int32_t latency = 16; // samples
    int32_t estimateTaps = 64;
    double step = 0.05;
    int32_t seconds = 10;
    std::string levelsPath, estimatePath;
};

// ---- the audio device ------------------------------------------------------------------------

struct Microphones {
    double reference, residual;
};

class Duct {
  public:
    // fan  amplitude factor: 0 for off
    Duct(const Settings& settings, double fan)
        : tones_(static_cast<std::size_t>(settings.tones)), fan_(fan),
          turn_(2.0 * std::numbers::pi * settings.frequency / kRate), primary_(14, 0.8, 5.0, 300.0),
          secondary_(static_cast<std::size_t>(settings.latency) + 6, 0.6, 4.0, 500.0) {}

    // Waits for the next sample of each microphone.
    Microphones record() {
        double fan = kBroadband * fanNoise_.next();
        for (std::size_t k = 1; k <= tones_; ++k) {
            fan += kTone / static_cast<double>(k) * std::sin(static_cast<double>(k) * phase_);
        }
        fan *= fan_;
        phase_ += turn_;
        return {fan, primary_.next(fan) + atMicrophone_ + kSensorNoise * sensorNoise_.next()};
    }

    // Plays a sample. The next record() is the first that can contain it.
    void play(double sample) { atMicrophone_ = secondary_.next(std::clamp(sample, -1.0, 1.0)); }

  private:
    static constexpr double kTone = 0.2, kBroadband = 1e-3, kSensorNoise = 1e-4;

    // A resonance that begins after a delay.
    class Path {
      public:
        // delay  samples; decay  time constant in samples; frequency  Hz
        Path(std::size_t delay, double gain, double decay, double frequency)
            : response_(delay + MAX_TAPS), line_(response_.size()) {
            for (std::size_t k = 0; k < MAX_TAPS; ++k) {
                const auto t = static_cast<double>(k);
                response_[delay + k] = gain * std::exp(-t / decay) *
                                       std::cos(2.0 * std::numbers::pi * frequency / kRate * t);
            }
        }
        double next(double x) {
            insertSampleLinBuf64f(x, line_.data(), static_cast<int32_t>(line_.size()));
            return std::inner_product(line_.begin(), line_.end(), response_.begin(), 0.0);
        }

      private:
        Signal response_, line_;
    };

    std::size_t tones_;
    double fan_, turn_, phase_ = 0.0;
    Path primary_, secondary_;
    double atMicrophone_ = 0.0; // from the loudspeaker, in the next turn
    host::WhiteNoise fanNoise_{1}, sensorNoise_{2};
};

// ---- identification --------------------------------------------------------------------------

// The response of the path from play() to the residual: element j is the effect of a sample on the
// residual of j turns later. A sample is played after the residual is read, so element 0 is near 0.
Signal identify(const Settings& settings) {
    constexpr double kSeconds = 5.0, kLevel = 0.1;
    constexpr auto kLength = static_cast<std::size_t>(kSeconds * kRate) / MAX_TAPS * MAX_TAPS;
    Duct device(settings, 0.0);
    host::WhiteNoise white(3);
    Signal played(kLength), residual(kLength), output(kLength), error(kLength);
    for (std::size_t n = 0; n < kLength; ++n) {
        residual[n] = device.record().residual;
        played[n] = kLevel * white.next();
        device.play(played[n]);
    }

    const int32_t taps = settings.estimateTaps;
    Signal estimate(static_cast<std::size_t>(taps));
    const auto run = [&](auto filter) {
        filter.update(played, residual, output, error);
        filter.getCoef(estimate);
    };
    if (taps <= MAX_TAPS) {
        run(merlo64f::Filter<nlms64fState>(taps, 0.1 * 2.0 / taps));
    } else { // partitions of as many taps as a block has samples join into one response
        const int32_t partitions = (taps + MAX_TAPS - 1) / MAX_TAPS;
        run(merlo64f::Filter<pbfdaf64fState>(MAX_TAPS, MAX_TAPS, partitions,
                                             0.1 * 2.0 / (MAX_TAPS * partitions), 1));
    }
    const std::size_t last = kLength / 4;
    std::printf("secondary path: %d taps by %s from %g s of white noise; residual of the estimate "
                "%.1f dB\n",
                taps, taps <= MAX_TAPS ? "nlms64f" : "pbfdaf64f", kSeconds,
                host::ratio(std::span(error).last(last), std::span(residual).last(last)));
    return estimate;
}

// ---- control ---------------------------------------------------------------------------------

// Measures the residual without control.
Signal listen(const Settings& settings, std::size_t length) {
    Duct device(settings, 1.0);
    Signal residual(length);
    std::generate(residual.begin(), residual.end(), [&] {
        const double heard = device.record().residual;
        device.play(0.0);
        return heard;
    });
    return residual;
}

struct Control {
    std::string name;
    Signal residual; // as measured, up to the end or to divergence
    double diverged; // s of control until divergence, or 0
};

// Control begins after one second. A filter that diverges drives the loudspeaker to its limits, so the
// host stops when the output exceeds the power of a sine at full scale.
template <class State>
Control control(const Settings& settings, const Signal& estimate, double mu, std::size_t length) {
    using Family = merlo64f::Family<State>;
    constexpr double kHighestPower = 0.5;
    static constexpr double kNoPath[1] = {0.0};

    merlo64f::Filter<State> filter(kTaps, mu, kNoPath, 1, estimate.data(),
                                   static_cast<int32_t>(estimate.size()));
    Duct device(settings, 1.0);
    Control result{Family::name, {}, 0.0};
    host::MeanSquare output;
    while (result.residual.size() < length) {
        const Microphones heard = device.record();
        result.residual.push_back(heard.residual);
        const std::size_t done = result.residual.size();
        if (done <= kRate) {
            device.play(0.0);
            continue;
        }
        Family::filterUpdate(&filter.state(), heard.reference, heard.residual);
        device.play(filter->outLine[0]);
        output.add({&filter->outLine[0], 1});
        if (done % kInterval == 0) {
            if (!(output.value() <= kHighestPower)) {
                result.diverged = static_cast<double>(done - kRate) / kRate;
                break;
            }
            output = {};
        }
    }
    return result;
}

// In dB re full scale for every interval, nan after the end of the signal.
Signal levels(std::span<const double> signal, std::size_t intervals) {
    Signal result;
    for (; signal.size() >= kInterval; signal = signal.subspan(kInterval)) {
        result.push_back(host::decibels(host::power(signal.first(kInterval))));
    }
    result.resize(intervals, NAN);
    return result;
}

void controlFan(const Settings& settings) {
    host::checkOutputs({}, {settings.levelsPath, settings.estimatePath});
    std::printf("fan:");
    for (int32_t k = 1; k <= settings.tones; ++k) {
        std::printf(" %g", k * settings.frequency);
    }
    std::printf(" Hz; latency of the loop %g ms\n", 1e3 * settings.latency / kRate);
    const Signal estimate = identify(settings);
    host::saveTable(settings.estimatePath, "delay (samples); estimate of the secondary path",
                    host::rowsOf({estimate}, 0.0, 1.0));

    // fxlms64f divides mu by the power of the filtered reference, adjlms64f by that of the
    // reference, so its mu is divided by the gain of the path as well.
    const double mu = settings.step * 2.0 / (kTaps + settings.estimateTaps);
    const double gain = host::power(estimate) * static_cast<double>(estimate.size());
    const Signal before = listen(settings, static_cast<std::size_t>(settings.seconds * kRate));
    const std::array controls = {
        control<fxlms64fState>(settings, estimate, mu, before.size()),
        control<adjlms64fState>(settings, estimate, mu / gain, before.size())};

    const std::size_t last = before.size() / 4, intervals = before.size() / kInterval;
    std::printf("reduction of the residual over the last %g s, from %.1f dB re full scale:\n",
                static_cast<double>(last) / kRate, host::decibels(host::power(before)));
    std::string diverged;
    std::vector<Signal> columns = {levels(before, intervals)};
    for (const Control& c : controls) {
        columns.push_back(levels(c.residual, intervals));
        if (c.diverged > 0.0) {
            diverged += (diverged.empty() ? "" : ", ") + c.name + " after " +
                        host::shortest(c.diverged) + " s";
        } else {
            std::printf(
                "%-10s %6.1f dB\n", c.name.c_str(),
                host::ratio(std::span(before).last(last), std::span(c.residual).last(last)));
        }
    }
    host::saveTable(settings.levelsPath,
                    "time (s); residual (dB re full scale): no control, fxlms64f, adjlms64f",
                    host::rowsOf(columns, 0.5, static_cast<double>(kInterval) / kRate));
    if (!diverged.empty()) {
        host::fail("diverged", diverged + "; use a smaller --step, or a longer --estimate if its "
                                          "residual is high");
    }
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    host::commandLine(
        argc, argv, "Controls the tones of a fan in a duct through an audio device, simulated.", {},
        {{"frequency", "frequency of the lowest tone in Hz", &s.frequency, 0.0, 400.0},
         {"tones", "number of tones", &s.tones, 1, 4},
         {"latency", "latency of converters and buffers in samples", &s.latency, 0, 400},
         {"estimate", "taps of the estimate of the secondary path", &s.estimateTaps, 1,
          kMostEstimate},
         {"step", "step size relative to the stability limit for white noise", &s.step, 0.0, 10.0},
         {"seconds", "length of the control in s", &s.seconds, 2, 600},
         {"levels", "output file for levels in dB every 50 ms", &s.levelsPath},
         {"save-estimate", "output file for the estimate of the path", &s.estimatePath}});
    return host::runHost(argv[0], [&] { controlFan(s); });
}
