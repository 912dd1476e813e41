// Removes mains hum from a recording in two ways, by what each of them knows about the hum.
//
// Prediction knows that the hum is periodic. An adaptive filter predicts the recording from its own
// past; the prediction is the hum, and the prediction error is the rest:
//
//     recording d ---+------------------------------> + ---> output e
//                    |                              - ^
//                    +--> delay --> adaptive filter --+ y, the hum
//
// The decorrelation delay decides what is predicted: a vowel is similar to itself for some 10 ms, the
// hum for ever. With a delay of a sample or a block the filter predicts the voice too, and removes it.
// To tell the tones from the voice the filter must be long, so it is a partitioned filter in the
// frequency domain. Widrow et al. 1975, Adaptive noise cancelling: principles and applications.
//
// The reference knows the frequency too. The input of the filter is a sine and a cosine of the
// frequency and of each multiple, with two coefficients each, which adapt to amplitude and phase.
// No delay line is needed: the host writes sines and cosines to it and calls lms64fLCFilterUpdate().
// Each pair is a notch of the width mu * rate / (2 pi); it follows a hum whose frequency differs by
// less than that. Glover 1977, Adaptive noise canceling applied to sinusoidal interferences.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include <merlo64f.hpp>

#include "audio_file.h"
#include "host.h"

namespace {

using host::Signal;

struct Settings {
    double frequency = 50.0; // Hz
    int32_t harmonics = 10;
    double width = 0.4;   // Hz
    double delay = 100.0; // ms
    int32_t length = 256; // ms
    double step = 0.01;
};

// The recording minus its prediction.
class Prediction {
  public:
    Prediction(const Settings& settings, int rate)
        : past_(std::max<std::size_t>(1, samples(settings.delay, rate))),
          filter_(MAX_TAPS, MAX_TAPS, partitions(settings, rate),
                  settings.step * 2.0 / (MAX_TAPS * partitions(settings, rate)), 1) {}

    // The length is a multiple of MAX_TAPS, the block length of the filter.
    void process(std::span<const double> d, std::span<double> e) {
        past_.insert(past_.end(), d.begin(), d.end());
        hum_.resize(d.size());
        filter_.update(std::span(past_).first(d.size()), d, hum_, e);
        past_.erase(past_.begin(), past_.begin() + std::ssize(d));
    }

  private:
    static std::size_t samples(double milliseconds, int rate) {
        return static_cast<std::size_t>(std::lround(1e-3 * milliseconds * rate));
    }
    static int32_t partitions(const Settings& settings, int rate) {
        return static_cast<int32_t>(samples(settings.length, rate) / MAX_TAPS + 1);
    }

    Signal past_, hum_; // past_: as many samples as the delay
    merlo64f::Filter<pbfdaf64fState> filter_;
};

// The recording minus sines and cosines.
class Reference {
  public:
    Reference(const Settings& settings, int rate)
        : turn_(2.0 * std::numbers::pi * settings.frequency / rate),
          filter_(2 * settings.harmonics, 2.0 * std::numbers::pi * settings.width / rate) {}

    void process(std::span<const double> d, std::span<double> e) {
        for (std::size_t n = 0; n < d.size(); ++n) {
            for (int32_t k = 0; k < filter_->order; k += 2) {
                filter_->delayLine[k] = std::sin((k / 2 + 1) * phase_);
                filter_->delayLine[k + 1] = std::cos((k / 2 + 1) * phase_);
            }
            phase_ = std::fmod(phase_ + turn_, 2.0 * std::numbers::pi);
            lms64fLCFilterUpdate(&filter_.state(), d[n]);
            e[n] = filter_->err;
        }
    }

  private:
    double turn_, phase_ = 0.0;
    merlo64f::Filter<lms64fState> filter_;
};

void removeHum(const std::vector<std::string>& files, const Settings& settings) {
    audio::Reader recording(files[0]);
    host::checkOutputs({files[0]}, {files[1], files[2]});
    const int rate = recording.rate();
    if (settings.frequency * settings.harmonics >= 0.5 * rate) {
        host::fail(files[0], "has " + std::to_string(rate) +
                                 " Hz, too few for the highest harmonic; use fewer --harmonics");
    }
    Prediction prediction(settings, rate);
    Reference reference(settings, rate);
    recording.requireFinite();

    audio::Writer predicted(files[1], rate, audio::formatLike(files[1], recording));
    audio::Writer referred(files[2], rate, audio::formatLike(files[2], recording));
    host::ProgressBar progress("removing", recording.frames(), rate);
    std::array<double, audio::kBlockFrames> block, output;
    std::array<host::MeanSquare, 3> powers;
    for (auto d = recording.read(block); !d.empty(); d = recording.read(block)) {
        std::fill(block.begin() + std::ssize(d), block.end(), 0.0); // completes the last block
        const auto e = std::span(output).first(d.size());
        powers[0].add(d);
        prediction.process(block, output);
        powers[1].add(e);
        predicted.write(e);
        reference.process(block, output);
        powers[2].add(e);
        referred.write(e);
        if (!(powers[1].value() + powers[2].value() <= 100.0 * powers[0].value())) {
            host::fail(files[0], "the filter diverged; use a smaller --step or --width");
        }
        progress.advance(d.size());
    }
    predicted.close();
    referred.close();

    std::printf("%d Hz, %.2f s; output level re recording, voice included:\n", rate,
                recording.seconds());
    std::printf("  %6.1f dB  prediction, delay %g ms, length %d ms -> %s\n",
                powers[1].level() - powers[0].level(), settings.delay, settings.length,
                files[1].c_str());
    std::printf("  %6.1f dB  reference, %d multiples of %g Hz, notches of %g Hz -> %s\n",
                powers[2].level() - powers[0].level(), settings.harmonics, settings.frequency,
                settings.width, files[2].c_str());
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    const auto files = host::commandLine(
        argc, argv, "Removes mains hum from a recording, by prediction and by a sine reference.",
        {"RECORDING.wav", "PREDICTION.wav", "REFERENCE.wav"},
        {{"delay", "decorrelation delay of the prediction in ms", &s.delay, 0.0, 1000.0},
         {"length", "length of the predicting filter in ms", &s.length, 1, 1000},
         {"step", "step size of the prediction relative to the stability limit for white noise",
          &s.step, 0.0, 10.0},
         {"frequency", "frequency of the hum in Hz", &s.frequency, 0.0, 1000.0},
         {"harmonics", "number of tones of the reference", &s.harmonics, 1, MAX_TAPS / 2},
         {"width", "width of each notch of the reference in Hz", &s.width, 0.0, 50.0}});
    return host::runHost(argv[0], [&] { removeHum(files, s); });
}
