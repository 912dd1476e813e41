// Takes the echo of a loudspeaker out of what a microphone hears.
//
//     far end --+------------------------> loudspeaker
//               |                              | room
//               +--> foreground filter --+     v
//               +--> background filter   |   microphone <-- near end
//                                        |     |
//     output <---------------------- microphone - echo
//
// The filters model the room, whose response is as long as its reverberation: they are partitioned
// ones in the frequency domain, in the form that adds no delay and leaves no gap. To a filter that
// adapts, a voice at the near end is a disturbance that shakes its coefficients, and nobody tells
// when it comes. So there are two: the background filter adapts all the time and is not heard; the
// foreground filter makes the output and does not adapt. Once the background has cancelled clearly
// more for a while, the foreground takes its coefficients; once it has cancelled clearly less, it
// gets the foreground's back. While both ends speak neither is the better one for long, and the
// foreground stays as it is. Ochiai, Araseki and Ogihara 1977, Echo canceler with two echo path
// models.
//
// --step is a fraction of 2 / (block length * partitions), the step size that white noise might
// just bear. Voices, whose spectra change, bear 1 in most rooms and not much more.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <pbfdaf64f.h>

#include "audio_file.h"
#include "filters.h"
#include "host.h"

namespace {

constexpr char kUsage[] = "echo_canceller FAR.wav MICROPHONE.wav OUT.wav"
                          " [--tail MS] [--step S] [--levels FILE] [--save-taps FILE]";

// With as many samples in a block as a part has taps, the parts join without gaps.
constexpr int32_t kBlock = MAX_TAPS;
constexpr std::size_t kBlockSize = kBlock;
constexpr int32_t kTransformLength = 2 * kBlock;
static_assert(audio::kBlockFrames % kBlockSize == 0);

using Block = std::span<double, kBlockSize>;
using ConstBlock = std::span<const double, kBlockSize>;

// ---- the filters -----------------------------------------------------------------------------

// A voice is far stronger at low frequencies than at high ones, and what leaks from strong bins into
// weak ones makes a filter that divides by the power of every bin unstable. Pre-emphasis brings the
// bins closer together; the output undoes it.
constexpr double kEmphasis = 0.9;

// The level at which the filters work, of the far end with pre-emphasis: there the mean power of a
// bin, fftLen / blockLen times as much, is the 1e-6 that the filter adds to it. So bins that are
// nearly silent for a moment adapt slowly instead of wildly.
constexpr double kWorkingPower = 0.5e-6;

class PreEmphasis {
  public:
    void apply(std::span<const double> x, double gain, std::span<double> emphasised) {
        for (std::size_t n = 0; n < x.size(); ++n) {
            emphasised[n] = gain * (x[n] - kEmphasis * last_);
            last_ = x[n];
        }
    }

  private:
    double last_ = 0.0;
};

class DeEmphasis {
  public:
    void apply(std::span<const double> emphasised, double gain, std::span<double> x) {
        for (std::size_t n = 0; n < x.size(); ++n) {
            last_ = gain * emphasised[n] + kEmphasis * last_;
            x[n] = last_;
        }
    }

  private:
    double last_ = 0.0;
};

class RoomFilter {
  public:
    RoomFilter(host::TransformTables& tables, int32_t partitions, double mu) {
        const int32_t status = pbfdaf64fInit(&state_, kBlock, kBlock, partitions, mu, 1,
                                             tables.table.data(), tables.twiddles.data());
        if (status != STS_OK) {
            throw host::Failure(status == STS_NO_MEMORY ? "no memory for so long a tail"
                                                        : "the filter cannot be set up");
        }
    }
    RoomFilter(const RoomFilter&) = delete;
    RoomFilter& operator=(const RoomFilter&) = delete;
    ~RoomFilter() { pbfdaf64fFree(&state_); }

    void filter(ConstBlock x, Block y) { pbfdaf64fFilterOnly(&state_, x.data(), y.data()); }
    void adapt(ConstBlock x, ConstBlock d, Block y, Block e) {
        pbfdaf64fFilterUpdate(&state_, x.data(), d.data(), y.data(), e.data());
    }

    std::vector<double> taps() {
        std::vector<double> taps(static_cast<std::size_t>(state_.partitions) * kBlockSize);
        pbfdaf64fGetCoef(&state_, taps.data(), 0, static_cast<int32_t>(taps.size()), 0);
        return taps;
    }
    void takeTapsOf(RoomFilter& other) {
        const std::vector<double> taps = other.taps();
        pbfdaf64fSetCoef(&state_, taps.data(), 0, static_cast<int32_t>(taps.size()), 0);
    }

  private:
    pbfdaf64fState state_;
};

// ---- the canceller ---------------------------------------------------------------------------

class EchoCanceller {
  public:
    struct Renewal {
        double time;        // s
        double enhancement; // power of the microphone over that of the better error, at that time
    };

    // gain  from full scale to the level at which the filters work
    EchoCanceller(int rate, int32_t partitions, double mu, double gain)
        : foreground_(tables_, partitions, 0.0), background_(tables_, partitions, mu),
          blockRate_(static_cast<double>(rate) / kBlock), gain_(gain) {}

    void process(ConstBlock farEnd, ConstBlock microphone, Block output) {
        std::array<double, kBlockSize> x, d, y, e, trialEcho, trialError;
        farEmphasis_.apply(farEnd, gain_, x);
        microphoneEmphasis_.apply(microphone, gain_, d);
        foreground_.filter(x, y);
        for (std::size_t n = 0; n < kBlockSize; ++n) {
            e[n] = d[n] - y[n];
        }
        background_.adapt(x, d, trialEcho, trialError);
        outputEmphasis_.apply(e, 1.0 / gain_, output);

        constexpr double kMemory = 0.03; // s
        const double fade = std::exp(-1.0 / (kMemory * blockRate_));
        const auto follow = [&](double& power, ConstBlock samples) {
            power = fade * power + (1.0 - fade) * host::power(samples);
        };
        follow(microphonePower_, d);
        follow(errorPower_, e);
        follow(trialPower_, trialError);
        loudest_ = std::max(loudest_, microphonePower_);
        ++blocks_;
        exchangeTaps();
    }

    // Whether the last block was mostly echo, as far as can be told.
    bool echoPrevails() const { return trialPower_ < 0.25 * microphonePower_; }
    bool diverged() const { return !(trialPower_ <= 100.0 * loudest_); }
    int renewals() const { return renewals_; } // of the foreground
    const std::optional<Renewal>& lastRenewal() const { return lastRenewal_; }
    std::vector<double> taps() { return foreground_.taps(); }

  private:
    // The voice of the near end is somewhat like itself from block to block, and a filter that
    // adapts may follow it for the length of a vowel: what leads for shorter proves nothing.
    void exchangeTaps() {
        constexpr double kLead = 0.65, kLeadTime = 0.2; // power to that of the foreground, s
        constexpr double kLag = 2.0, kLagTime = 0.04;
        leading_ = echoPrevails() && trialPower_ < kLead * errorPower_ ? leading_ + 1 : 0;
        lagging_ = trialPower_ > kLag * errorPower_ ? lagging_ + 1 : 0;
        if (leading_ > kLeadTime * blockRate_) {
            foreground_.takeTapsOf(background_);
            errorPower_ = trialPower_;
            leading_ = 0;
            ++renewals_;
            lastRenewal_ = {static_cast<double>(blocks_) / blockRate_,
                            microphonePower_ / trialPower_};
        } else if (lagging_ > kLagTime * blockRate_ && !diverged()) {
            background_.takeTapsOf(foreground_);
            trialPower_ = errorPower_;
            lagging_ = 0;
        }
    }

    host::TransformTables tables_{kTransformLength};
    RoomFilter foreground_, background_;
    PreEmphasis farEmphasis_, microphoneEmphasis_;
    DeEmphasis outputEmphasis_;
    double blockRate_; // Hz
    double gain_;
    double microphonePower_ = 0.0, errorPower_ = 0.0, trialPower_ = 0.0, loudest_ = 0.0;
    int leading_ = 0, lagging_ = 0, renewals_ = 0; // blocks, blocks, times
    std::int64_t blocks_ = 0;
    std::optional<Renewal> lastRenewal_;
};

// ---- files -----------------------------------------------------------------------------------

// Power of the microphone over that of the output.
class Enhancement {
  public:
    void add(std::span<const double> microphone, std::span<const double> output) {
        before_.add(microphone);
        after_.add(output);
        samples_ += static_cast<double>(output.size());
    }
    double seconds(int rate) const { return samples_ / rate; }
    double microphoneLevel() const { return level(before_); } // dB re full scale
    double outputLevel() const { return level(after_); }
    double decibels() const { return microphoneLevel() - outputLevel(); }

  private:
    static double level(const host::MeanSquare& mean) {
        return host::decibels(std::max(mean.value(), host::kSilence));
    }

    host::MeanSquare before_, after_;
    double samples_ = 0.0;
};

class LevelTable {
  public:
    LevelTable(const std::string& path, int rate) : table_(path), rate_(rate) {
        table_.heading("time (s); level (dB re full scale): microphone, output; times the filter "
                       "was renewed so far");
    }
    void add(std::span<const double> microphone, std::span<const double> output, int renewals) {
        constexpr double kSpacing = 0.05; // s
        stretch_.add(microphone, output);
        const double seconds = stretch_.seconds(rate_);
        if (seconds >= kSpacing) {
            table_.row(std::array{time_ + seconds / 2.0, stretch_.microphoneLevel(),
                                  stretch_.outputLevel(), static_cast<double>(renewals)});
            time_ += seconds;
            stretch_ = {};
        }
    }
    void close() { table_.close(); }

  private:
    host::Table table_;
    int rate_;          // Hz
    double time_ = 0.0; // s
    Enhancement stretch_;
};

void cancelEcho(const host::Arguments& arguments) {
    const auto& files = arguments.files(3);
    const int32_t tail = arguments.integer("--tail", 128, 1, 2000);
    const double step = arguments.positive("--step", 0.6, 10.0);
    const std::string levelsPath = arguments.text("--levels");
    const std::string tapsPath = arguments.text("--save-taps");

    audio::Reader farEnd(files[0]), microphone(files[1]);
    audio::requireSameShape(farEnd, microphone);
    host::requireNotOneOf(files[2], {files[0], files[1]});
    host::requireNotOneOf(levelsPath, {files[0], files[1], files[2]});
    host::requireNotOneOf(tapsPath, {files[0], files[1], files[2]});
    if (!tapsPath.empty()) {
        host::requireNotOneOf(tapsPath, {levelsPath});
    }
    const int rate = farEnd.rate();
    const auto partitions = static_cast<int32_t>(std::ceil(1e-3 * tail * rate / kBlock));

    // Once over the far end for its level, once over both to cancel.
    host::ProgressBar progress("cancelling", 2 * farEnd.frames(), rate);
    std::array<double, audio::kBlockFrames> farBlock, microphoneBlock, outputBlock;
    host::MeanSquare farPower;
    for (PreEmphasis emphasis;;) {
        const auto x = farEnd.read(farBlock);
        if (x.empty()) {
            break;
        }
        emphasis.apply(x, 1.0, outputBlock);
        farPower.add(std::span(outputBlock).first(x.size()));
        progress.advance(x.size());
    }
    farEnd.rewind();

    // A silent far end has no echo: the microphone passes as it is.
    const bool silent = farPower.value() < host::kSilence;
    const double gain = silent ? 1.0 : std::sqrt(kWorkingPower / farPower.value());
    const double mu = silent ? 0.0 : step * 2.0 / (kBlock * partitions);
    EchoCanceller canceller(rate, partitions, mu, gain);

    std::optional<LevelTable> levels;
    if (!levelsPath.empty()) {
        levels.emplace(levelsPath, rate);
    }
    audio::Writer output(files[2], rate, audio::formatLike(files[2], microphone));
    Enhancement whole, echo;
    for (sf_count_t done = 0; done < farEnd.frames();) {
        const auto x = farEnd.read(farBlock);
        const auto d = microphone.read(microphoneBlock);
        // The last block may reach past the end of the files.
        std::fill(farBlock.data() + x.size(), farBlock.data() + farBlock.size(), 0.0);
        std::fill(microphoneBlock.data() + d.size(),
                  microphoneBlock.data() + microphoneBlock.size(), 0.0);
        const auto e = std::span(outputBlock).first(d.size());
        for (std::size_t from = 0; from < d.size(); from += kBlockSize) {
            canceller.process(ConstBlock(&farBlock[from], kBlockSize),
                              ConstBlock(&microphoneBlock[from], kBlockSize),
                              Block(&outputBlock[from], kBlockSize));
            if (canceller.diverged()) {
                host::fail(files[1], "the filter diverged; take a smaller --step");
            }
            const std::size_t count = std::min(kBlockSize, d.size() - from);
            const auto heard = d.subspan(from, count), left = e.subspan(from, count);
            whole.add(heard, left);
            if (canceller.echoPrevails()) {
                echo.add(heard, left);
            }
            if (levels) {
                levels->add(heard, left, canceller.renewals());
            }
        }
        output.write(e);
        progress.advance(d.size());
        done += std::ssize(d);
    }
    output.close();
    if (levels) {
        levels->close();
    }
    if (!tapsPath.empty()) {
        host::saveColumn(tapsPath, canceller.taps());
    }

    std::printf("tail %d ms in %d parts of %d taps, %d Hz, %.2f s -> %s\n", tail, partitions,
                kBlock, rate, farEnd.seconds(), files[2].c_str());
    std::printf("echo return loss enhancement: %.1f dB over the whole file\n", whole.decibels());
    if (echo.seconds(rate) > 0.0) {
        std::printf("  %.1f dB over the %.1f s of mostly echo\n", echo.decibels(),
                    echo.seconds(rate));
    }
    if (const auto& last = canceller.lastRenewal()) {
        std::printf("the filter was renewed %d times, the last time at %.1f s by one that "
                    "cancelled %.1f dB\n",
                    canceller.renewals(), last->time, host::decibels(last->enhancement));
    }
    if (silent) {
        std::printf("the far end is silent: nothing was taken out\n");
    }
}

} // namespace

int main(int argc, char** argv) {
    return host::runHost("echo_canceller", [&] {
        cancelEcho({argc, argv, kUsage, {"--tail", "--step", "--levels", "--save-taps"}});
    });
}
