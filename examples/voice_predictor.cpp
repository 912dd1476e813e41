// Predicts a recorded voice, sample by sample, by linear prediction with an adaptive lattice.
//
// A vocal tract has a few resonances that move slowly, so a sample of a voice follows to a good part
// from those before it; what does not is the prediction error. The prediction gain, the power of the
// voice over that of the error, tells how much a coder saves that transmits the error. Time reversed,
// the same spectrum gives the same coefficients: the backward predictor estimates a sample from the
// `order` samples after it, with the same lattice. Makhoul 1977, Stable and efficient lattice methods
// for linear prediction.
//
// A coefficient settles in about 1 / (2 * mu) samples. A larger --mu follows the articulation sooner;
// much above 0.01 single samples throw a coefficient out of [-1, 1], and the error bursts.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <deque>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include <fir64f.h>
#include <lbpef64f.h>
#include <lfpef64f.h>

#include "audio_file.h"
#include "host.h"

namespace {

using Signal = std::vector<double>;

constexpr char kUsage[] = "voice_predictor VOICE.wav [--order N] [--mu M] [--frames FILE]";

constexpr double kLowestRate = 8000.0; // Hz, to which a recording is decimated at the most
constexpr double kFrameLength = 0.02;  // s
constexpr double kLoudRange = 30.0;    // dB below the loudest frame

// ---- the voice -------------------------------------------------------------------------------

// Below 4 kHz a voice has about four resonances: two stages for each, and two for the rest. At a higher
// rate the ten stages would go into how little there is above.
class Decimator {
  public:
    explicit Decimator(int factor) : factor_(factor) {
        // A windowed sinc, -6 dB just below half the new rate. A wider gap would alias less, but
        // a gap is predictable: at 0.05, white noise seems to have 2 dB of prediction gain.
        constexpr double kLength = MAX_TAPS;
        const double cutoff = 0.5 / factor - 0.02; // cycles per sample
        double sum = 0.0;
        for (std::size_t k = 0; k < taps_.size(); ++k) {
            const double t = static_cast<double>(k) - (kLength - 1.0) / 2.0; // never 0
            const double turn = 2.0 * std::numbers::pi * t;
            taps_[k] = std::sin(turn * cutoff) / t * (0.54 + 0.46 * std::cos(turn / kLength));
            sum += taps_[k];
        }
        for (double& tap : taps_) {
            tap /= sum;
        }
        if (fir64fInitStatic(&filter_, MAX_TAPS, taps_.data(), delayLine_.data()) != STS_OK) {
            throw host::Failure("the low-pass cannot be set up");
        }
    }
    Decimator(const Decimator&) = delete;
    Decimator& operator=(const Decimator&) = delete;

    // In place; the result is the part of the block that is still in use.
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
    std::array<double, MAX_TAPS> taps_, delayLine_;
    fir64fState filter_;
};

// In stages of two or three, since 32 taps cut sharply enough for no more.
Signal readVoice(audio::Reader& file, double& rate) {
    std::deque<Decimator> stages;
    for (rate = file.rate(); rate >= 2.0 * kLowestRate;) {
        const int factor = std::fmod(rate, 3.0 * kLowestRate) == 0.0 ? 3 : 2;
        stages.emplace_back(factor);
        rate /= factor;
    }
    Signal voice;
    std::array<double, audio::kBlockFrames> buffer;
    for (auto block = file.read(buffer); !block.empty(); block = file.read(buffer)) {
        for (Decimator& stage : stages) {
            block = stage.decimate(block);
        }
        voice.insert(voice.end(), block.begin(), block.end());
    }
    // A lattice does not bear tails that fade for ever; exact zeros it does.
    std::replace_if(
        voice.begin(), voice.end(), [](double x) { return x * x < host::kSilence; }, 0.0);
    return voice;
}

// ---- the predictors --------------------------------------------------------------------------

struct Forward {
    using State = lfpef64fState;
    static constexpr auto initStatic = lfpef64fInitStatic;
    static constexpr auto filterUpdate = lfpef64fFilterUpdate;
    static constexpr auto filterOnly = lfpef64fFilterOnly;
    static constexpr auto getCoef = lfpef64fGetCoef;
    static constexpr auto getParcor = lfpef64fGetParcor;
    static constexpr auto setParcor = lfpef64fSetParcor;
    // In the call with sample n: which sample is predicted, and which one coef[j] meets.
    static std::size_t predicted(std::size_t n, std::size_t) { return n; }
    static std::size_t met(std::size_t n, std::size_t, std::size_t j) { return n - 1 - j; }
};

struct Backward {
    using State = lbpef64fState;
    static constexpr auto initStatic = lbpef64fInitStatic;
    static constexpr auto filterUpdate = lbpef64fFilterUpdate;
    static constexpr auto filterOnly = lbpef64fFilterOnly;
    static constexpr auto getCoef = lbpef64fGetCoef;
    static constexpr auto getParcor = lbpef64fGetParcor;
    static constexpr auto setParcor = lbpef64fSetParcor;
    static std::size_t predicted(std::size_t n, std::size_t order) { return n - order; }
    static std::size_t met(std::size_t n, std::size_t order, std::size_t j) {
        return n - order + 1 + j;
    }
};

template <class Family>
struct Predictor {
    Predictor(int32_t order, double mu) {
        if (Family::initStatic(&state, order, mu, coefBuf.data(), workBuf.data()) != STS_OK) {
            throw host::Failure("the predictor cannot be set up");
        }
    }
    Predictor(const Predictor&) = delete;
    Predictor& operator=(const Predictor&) = delete;

    typename Family::State state;
    std::array<double, 2 * MAX_PEF_STAGES> coefBuf;
    std::array<double, 4 * (MAX_PEF_STAGES + 1)> workBuf;
};

struct Track {
    Signal error;                     // of every sample that is predicted, in its place
    std::vector<Signal> parcor, coef; // at the end of every frame
};

template <class Family>
Track follow(const Signal& voice, std::size_t frame, int32_t order, double mu) {
    const auto stages = static_cast<std::size_t>(order);
    Predictor<Family> predictor(order, mu);
    Track track{Signal(voice.size()), {}, {}};
    for (std::size_t n = 0; n < voice.size(); ++n) {
        const bool frameEnds = (n + 1) % frame == 0;
        predictor.state.updateCoef = frameEnds; // the direct form is looked at only there
        Family::filterUpdate(&predictor.state, voice[n]);
        if (n >= stages) {
            track.error[Family::predicted(n, stages)] = predictor.state.err;
        }
        if (frameEnds) {
            Family::getParcor(&predictor.state, track.parcor.emplace_back(stages).data(), 0, order,
                              0);
            Family::getCoef(&predictor.state, track.coef.emplace_back(stages).data(), 0, order, 0);
        }
    }
    return track;
}

struct Held {
    double gain;      // dB
    double deviation; // the largest one of the lattice from its direct form
};

// What one frame's coefficients do to the whole voice, as a lattice and in direct form. The first
// `order` samples fill the lattice.
template <class Family>
Held hold(const Signal& voice, const Signal& parcor, const Signal& coef) {
    const auto order = static_cast<int32_t>(parcor.size());
    Predictor<Family> predictor(order, 0.0);
    Family::setParcor(&predictor.state, parcor.data(), 0, order, 0);
    host::MeanSquare predicted, error;
    double deviation = 0.0;
    for (std::size_t n = 0; n < voice.size(); ++n) {
        const double estimate = Family::filterOnly(&predictor.state, voice[n]);
        if (n < coef.size()) {
            continue;
        }
        double direct = 0.0;
        for (std::size_t j = 0; j < coef.size(); ++j) {
            direct += coef[j] * voice[Family::met(n, coef.size(), j)];
        }
        deviation = std::max(deviation, std::abs(direct - estimate));
        const double truth = voice[Family::predicted(n, coef.size())], missed = truth - estimate;
        predicted.add({&truth, 1});
        error.add({&missed, 1});
    }
    return {host::decibels(predicted.value() / error.value()), deviation};
}

// ---- report ----------------------------------------------------------------------------------

double median(Signal values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void predictVoice(const host::Arguments& arguments) {
    const std::string& path = arguments.files(1)[0];
    const int32_t order = arguments.integer("--order", MAX_PEF_STAGES, 1, MAX_PEF_STAGES);
    const double mu = arguments.positive("--mu", 0.005, 1.0);
    const std::string framesPath = arguments.text("--frames");

    audio::Reader file(path);
    host::requireNotOneOf(framesPath, {path});
    double rate = 0.0;
    const Signal voice = readVoice(file, rate);
    const auto length = std::max<std::size_t>(
        1, static_cast<std::size_t>(std::lround(kFrameLength * rate))); // of a frame
    // The last `order` samples have no backward prediction.
    const std::size_t frames = (voice.size() - std::min(voice.size(), std::size_t(order))) / length;
    if (frames == 0) {
        host::fail(path, "is shorter than a frame of 20 ms");
    }
    const auto frameOf = [&](const Signal& signal, std::size_t k) {
        return std::span(signal).subspan(k * length, length);
    };
    Signal powers(frames);
    for (std::size_t k = 0; k < frames; ++k) {
        powers[k] = host::power(frameOf(voice, k));
    }
    const auto loudest = std::max_element(powers.begin(), powers.end());
    if (*loudest < host::kSilence) {
        host::fail(path, "is silent");
    }

    const std::array tracks = {follow<Forward>(voice, length, order, mu),
                               follow<Backward>(voice, length, order, mu)};
    const std::span whole = std::span(voice).first(frames * length);
    std::array<double, 2> overall, medians;
    std::array<Signal, 2> gains, loudGains;
    for (std::size_t i = 0; i < 2; ++i) {
        const auto error = std::span(tracks[i].error).first(whole.size());
        overall[i] = host::decibels(host::power(whole) / host::power(error));
        if (!std::isfinite(overall[i])) {
            host::fail(path, "the predictor diverged; take a smaller --mu");
        }
        for (std::size_t k = 0; k < frames; ++k) {
            const bool silent = powers[k] < host::kSilence;
            gains[i].push_back(
                silent ? NAN
                       : host::decibels(powers[k] / host::power(frameOf(tracks[i].error, k))));
            if (host::decibels(*loudest / powers[k]) < kLoudRange) {
                loudGains[i].push_back(gains[i][k]);
            }
        }
        medians[i] = median(loudGains[i]);
    }

    const auto at = static_cast<std::size_t>(loudest - powers.begin());
    const Held forward = hold<Forward>(voice, tracks[0].parcor[at], tracks[0].coef[at]);
    const Held backward = hold<Backward>(voice, tracks[1].parcor[at], tracks[1].coef[at]);

    std::printf("%.2f s at %d Hz, predicted at %g Hz; %d stages, mu %g\n", file.seconds(),
                file.rate(), rate, order, mu);
    std::printf("prediction gain                      forward   backward\n");
    std::printf("  whole recording                %8.1f dB %7.1f dB\n", overall[0], overall[1]);
    std::printf("  median of %4zu loud frames      %8.1f dB %7.1f dB\n", loudGains[0].size(),
                medians[0], medians[1]);
    std::printf("  coefficients held as of %5.2f s %8.1f dB %7.1f dB\n",
                static_cast<double>((at + 1) * length) / rate, forward.gain, backward.gain);
    std::printf("held lattice from its direct form %10.1e %10.1e (full scale 1)\n",
                forward.deviation, backward.deviation);
    std::printf("reflection coefficients of the two: %s\n",
                tracks[0].parcor == tracks[1].parcor ? "the same to the bit" : "different");

    if (!framesPath.empty()) {
        host::Table table(framesPath);
        table.heading(
            "time (s); lowest and highest sample; level (dB re full scale); prediction "
            "gain (dB), forward and backward; reflection coefficients, forward, backward");
        for (std::size_t k = 0; k < frames; ++k) {
            const auto [low, high] = std::ranges::minmax(frameOf(voice, k));
            Signal row{(static_cast<double>(k) + 0.5) * static_cast<double>(length) / rate,
                       low,
                       high,
                       host::decibels(std::max(powers[k], host::kSilence)),
                       gains[0][k],
                       gains[1][k]};
            for (const Track& track : tracks) {
                row.insert(row.end(), track.parcor[k].begin(), track.parcor[k].end());
            }
            table.row(row);
        }
        table.close();
    }
}

} // namespace

int main(int argc, char** argv) {
    return host::runHost("voice_predictor", [&] {
        predictVoice({argc, argv, kUsage, {"--order", "--mu", "--frames"}});
    });
}
