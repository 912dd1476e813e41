// Predicts each sample of a recorded voice by linear prediction with an adaptive lattice.
//
// The resonances of the vocal tract change slowly, so a sample of a voice can be predicted in large
// part from the samples before it. The prediction gain is the power of the voice over that of the
// prediction error; it is what a coder gains that transmits the error instead of the voice. A
// signal and its time reversal have the same spectrum, so the backward predictor, which estimates a
// sample from the `order` samples after it, uses the same lattice. Makhoul 1977, Stable and
// efficient lattice methods for linear prediction.
//
// The time constant of a coefficient is about 1 / (2 * mu) samples. A larger --mu follows the
// articulation faster; far above 0.01 single samples drive a coefficient out of [-1, 1], and the
// error becomes very large.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <deque>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include <fir64f.h>
#include <lbpef64f.h>
#include <lfpef64f.h>

#include "audio_file.h"
#include "filters.h"
#include "host.h"

namespace {

using host::Signal;

constexpr double kLowestRate = 8000.0; // Hz, of the decimated voice
constexpr double kFrameLength = 0.02;  // s
constexpr double kLoudRange = 30.0;    // dB below the loudest frame

// ---- the voice -------------------------------------------------------------------------------

// The low-pass is at -6 dB just below half the new rate. A lower cutoff would alias less, but it
// leaves an empty band, which makes any signal predictable: 0.05 below half the rate, white noise
// has a prediction gain of 2 dB.
class Decimator {
  public:
    explicit Decimator(int factor) : factor_(factor), taps_(host::lowPass(0.5 / factor - 0.02)) {
        host::require(fir64fInitStatic(&filter_, MAX_TAPS, taps_.data(), delayLine_.data()),
                      "low-pass");
    }
    Decimator(const Decimator&) = delete;
    Decimator& operator=(const Decimator&) = delete;

    // In place. Returns the part of the block that holds the result.
    std::span<double> decimate(std::span<double> block) {
        fir64fBlockFilter(&filter_, block.data(), block.data(), static_cast<int32_t>(block.size()));
        std::size_t kept = 0;
        for (const double x : block) {
            if (phase_ == 0) {
                block[kept++] = x;
            }
            phase_ = (phase_ + 1) % factor_;
        }
        return block.first(kept);
    }

  private:
    int factor_, phase_ = 0;
    Signal taps_;
    std::array<double, MAX_TAPS> delayLine_;
    fir64fState filter_;
};

// Decimates to less than twice kLowestRate: a voice has about four resonances below 4 kHz, for
// which ten stages suffice, two for each and two more. Each step divides by 2 or 3, because 32 taps
// are too few for a larger factor.
Signal readVoice(audio::Reader& file, double& rate) {
    std::deque<Decimator> steps;
    for (rate = file.rate(); rate >= 2.0 * kLowestRate;) {
        const int factor = std::fmod(rate, 3.0 * kLowestRate) == 0.0 ? 3 : 2;
        steps.emplace_back(factor);
        rate /= factor;
    }
    Signal voice;
    std::array<double, audio::kBlockFrames> buffer;
    for (auto block = file.read(buffer); !block.empty(); block = file.read(buffer)) {
        for (Decimator& step : steps) {
            block = step.decimate(block);
        }
        voice.insert(voice.end(), block.begin(), block.end());
    }
    // An input that decays without end makes the powers of a lattice underflow; zeros do not.
    std::replace_if(
        voice.begin(), voice.end(), [](double x) { return x * x < host::kSilence; }, 0.0);
    return voice;
}

// ---- the predictors --------------------------------------------------------------------------

struct Track {
    Signal error;                     // of the prediction of each sample
    std::vector<Signal> parcor, coef; // at the end of each frame
};

struct Frozen {
    double gain;      // dB
    double deviation; // largest difference between the outputs of the lattice and its direct form
};

template <class State, auto kInitStatic, auto kFilterUpdate, auto kFilterOnly, auto kGetCoef,
          auto kGetParcor, auto kSetParcor>
class Predictor {
  public:
    Predictor(int32_t order, double mu) : order_(order), stages_(static_cast<std::size_t>(order)) {
        host::require(kInitStatic(&state_, order, mu, coef_.data(), work_.data()), "predictor");
    }
    Predictor(const Predictor&) = delete;
    Predictor& operator=(const Predictor&) = delete;

    // frame  samples
    Track track(const Signal& voice, std::size_t frame) {
        Track result{Signal(voice.size()), {}, {}};
        for (std::size_t n = 0; n < voice.size(); ++n) {
            const bool frameEnds = (n + 1) % frame == 0;
            state_.updateCoef = frameEnds; // the direct form is not needed elsewhere
            kFilterUpdate(&state_, voice[n]);
            if (n >= stages_) {
                result.error[predicted(n)] = state_.err;
            }
            if (frameEnds) {
                kGetParcor(&state_, result.parcor.emplace_back(stages_).data(), 0, order_, 0);
                kGetCoef(&state_, result.coef.emplace_back(stages_).data(), 0, order_, 0);
            }
        }
        return result;
    }

    // Predicts the whole voice with the coefficients of one frame, by the lattice and by the direct
    // form. The first `order` samples fill the lattice.
    Frozen predictFrozen(const Signal& voice, const Signal& parcor, const Signal& coef) {
        kSetParcor(&state_, parcor.data(), 0, order_, 0);
        host::MeanSquare signal, error;
        double deviation = 0.0;
        for (std::size_t n = 0; n < voice.size(); ++n) {
            const double estimate = kFilterOnly(&state_, voice[n]);
            if (n < stages_) {
                continue;
            }
            double direct = 0.0;
            for (std::size_t j = 0; j < stages_; ++j) {
                direct += coef[j] * voice[kBackward ? n - stages_ + 1 + j : n - 1 - j];
            }
            deviation = std::max(deviation, std::abs(direct - estimate));
            const double truth = voice[predicted(n)], missed = truth - estimate;
            signal.add({&truth, 1});
            error.add({&missed, 1});
        }
        return {host::decibels(signal.value() / error.value()), deviation};
    }

  private:
    static constexpr bool kBackward = std::is_same_v<State, lbpef64fState>;
    // The index of the sample that the call with sample n predicts.
    std::size_t predicted(std::size_t n) const { return kBackward ? n - stages_ : n; }

    int32_t order_;
    std::size_t stages_; // the same
    State state_;
    std::array<double, LBPEF64F_COEF_LEN(MAX_PEF_STAGES)> coef_;
    std::array<double, LBPEF64F_WORK_LEN(MAX_PEF_STAGES)> work_;
};

using Forward =
    Predictor<lfpef64fState, lfpef64fInitStatic, lfpef64fFilterUpdate, lfpef64fFilterOnly,
              lfpef64fGetCoef, lfpef64fGetParcor, lfpef64fSetParcor>;
using Backward =
    Predictor<lbpef64fState, lbpef64fInitStatic, lbpef64fFilterUpdate, lbpef64fFilterOnly,
              lbpef64fGetCoef, lbpef64fGetParcor, lbpef64fSetParcor>;

// ---- report ----------------------------------------------------------------------------------

double median(Signal values) {
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Settings {
    int32_t order = MAX_PEF_STAGES;
    double mu = 0.005;
    std::string framesPath;
};

void predictVoice(const std::string& path, const Settings& settings) {
    const auto order = static_cast<std::size_t>(settings.order);
    audio::Reader file(path);
    host::checkOutputs({path}, {settings.framesPath});
    double rate = 0.0;
    const Signal voice = readVoice(file, rate);
    const auto length = std::max<std::size_t>( // of a frame
        1, static_cast<std::size_t>(std::lround(kFrameLength * rate)));
    // The last `order` samples have no backward prediction.
    const std::size_t frames = (voice.size() - std::min(voice.size(), order)) / length;
    if (frames == 0) {
        host::fail(path, "is shorter than a frame of 20 ms");
    }
    const auto frameOf = [&](std::span<const double> signal, std::size_t k) {
        return signal.subspan(k * length, length);
    };
    Signal powers(frames);
    for (std::size_t k = 0; k < frames; ++k) {
        powers[k] = host::power(frameOf(voice, k));
    }
    const auto loudest = std::max_element(powers.begin(), powers.end());
    if (*loudest < host::kSilence) {
        host::fail(path, "is silent");
    }

    const std::array tracks = {Forward(settings.order, settings.mu).track(voice, length),
                               Backward(settings.order, settings.mu).track(voice, length)};
    const std::span whole = std::span(voice).first(frames * length);
    std::array<double, 2> overall, medians;
    std::array<Signal, 2> gains, loudGains;
    for (std::size_t i = 0; i < 2; ++i) {
        const auto error = std::span(tracks[i].error).first(whole.size());
        overall[i] = host::ratio(whole, error);
        if (!std::isfinite(overall[i])) {
            host::fail(path, "the predictor diverged; use a smaller --mu");
        }
        for (std::size_t k = 0; k < frames; ++k) {
            const double gain = host::ratio(frameOf(voice, k), frameOf(error, k));
            gains[i].push_back(powers[k] < host::kSilence ? NAN : gain);
            if (host::decibels(*loudest / powers[k]) < kLoudRange) {
                loudGains[i].push_back(gains[i][k]);
            }
        }
        medians[i] = median(loudGains[i]);
    }

    const auto at = static_cast<std::size_t>(loudest - powers.begin());
    const Frozen forward =
        Forward(settings.order, 0.0).predictFrozen(voice, tracks[0].parcor[at], tracks[0].coef[at]);
    const Frozen backward = Backward(settings.order, 0.0)
                                .predictFrozen(voice, tracks[1].parcor[at], tracks[1].coef[at]);

    std::printf("%.2f s at %d Hz, decimated to %g Hz; %d stages, mu %g\n", file.seconds(),
                file.rate(), rate, settings.order, settings.mu);
    std::printf("prediction gain                      forward   backward\n");
    std::printf("  whole recording                %8.1f dB %7.1f dB\n", overall[0], overall[1]);
    std::printf("  median of %4zu loud frames      %8.1f dB %7.1f dB\n", loudGains[0].size(),
                medians[0], medians[1]);
    std::printf("  coefficients frozen at %6.2f s %8.1f dB %7.1f dB\n",
                static_cast<double>((at + 1) * length) / rate, forward.gain, backward.gain);
    std::printf("frozen lattice minus its direct form %8.1e %10.1e (full scale 1)\n",
                forward.deviation, backward.deviation);
    std::printf("forward and backward reflection coefficients: %s\n",
                tracks[0].parcor == tracks[1].parcor ? "bit-identical" : "different");

    std::vector<Signal> rows;
    for (std::size_t k = 0; k < frames; ++k) {
        const auto [low, high] = std::ranges::minmax(frameOf(voice, k));
        rows.push_back({(static_cast<double>(k) + 0.5) * static_cast<double>(length) / rate, low,
                        high, host::decibels(std::max(powers[k], host::kSilence)), gains[0][k],
                        gains[1][k]});
        for (const Track& t : tracks) {
            rows.back().insert(rows.back().end(), t.parcor[k].begin(), t.parcor[k].end());
        }
    }
    host::saveTable(settings.framesPath,
                    "time (s); lowest and highest sample (1 = full scale); level (dB re full "
                    "scale); prediction gain (dB) forward and backward; reflection coefficients "
                    "forward and backward",
                    rows);
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    const auto files = host::commandLine(
        argc, argv, "Predicts a recorded voice with adaptive lattices, forwards and backwards.",
        {"VOICE.wav"},
        {{"order", "number of stages", &s.order, 1, MAX_PEF_STAGES},
         {"mu", "step size", &s.mu, 0.0, 1.0},
         {"frames", "output file for level, gains and coefficients every 20 ms", &s.framesPath}});
    return host::runHost(argv[0], [&] { predictVoice(files[0], s); });
}
