// Removes the echo of a loudspeaker from the signal of a microphone in the same room.
//
//     far end --+------------------------> loudspeaker
//               |                              | room
//               +--> foreground filter --+     v
//               +--> background filter   |   microphone <-- near end
//                                        |     |
//     output <---------------------- microphone - echo
//
// The filters model the response of the room, which is long, so they are partitioned filters in the
// frequency domain. They add no delay. Double talk, a near-end voice during the echo, would disturb
// the coefficients of a single filter. Therefore the output comes from the foreground filter, which
// does not adapt, and the background filter adapts all the time. If the background filter has
// cancelled clearly more echo for a while, its coefficients are copied to the foreground filter; if
// it has cancelled clearly less, the coefficients are copied back. During double talk neither
// filter is better for long, so the foreground filter keeps its coefficients. Ochiai, Araseki and
// Ogihara 1977, Echo canceler with two echo path models.
//
// The background filter divides its step by the power of the far end. While the far end is quiet,
// there is no echo to learn from, and a small power makes a large step. So it adapts only while the
// power of the far end is above --floor. (Here the second filter and the working level, below, limit
// the damage of quiet passages already. The noise canceller shows them without such protection.)
//
// --step is relative to 2 / (block length * partitions), the stability limit for white noise. With
// voices, whose spectra change, 1 is stable in most rooms; values far above 1 diverge.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include <merlo64f.hpp>

#include "audio_file.h"
#include "host.h"

namespace {

// With blocks as long as a partition the partitions form one response without gaps.
constexpr int32_t kBlock = MAX_TAPS;
constexpr std::size_t kBlockSize = kBlock;
static_assert(audio::kBlockFrames % kBlockSize == 0);

using Block = std::span<double, kBlockSize>;
using ConstBlock = std::span<const double, kBlockSize>;

// ---- the filters -----------------------------------------------------------------------------

// A voice has much more power at low frequencies than at high ones. Spectral leakage into the weak
// bins makes a filter unstable that divides by the power of each bin. Pre-emphasis of both inputs
// reduces the differences between the bins; de-emphasis of the output reverses it.
constexpr double kEmphasis = 0.9;

// Mean square of the emphasised far end at the filter input. At this level the mean power of a bin,
// fftLen / blockLen times as much, equals the constant 1e-6 that pbfdaf64f adds to the power of
// every bin. This reduces the step size in bins that are almost silent.
constexpr double kWorkingPower = 0.5e-6;

// last  the sample of x before x[0]
void emphasise(std::span<const double> x, double gain, double& last, std::span<double> y) {
    for (std::size_t n = 0; n < x.size(); ++n) {
        y[n] = gain * (x[n] - kEmphasis * last);
        last = x[n];
    }
}

// last  the sample of y before y[0]
void deemphasise(std::span<const double> x, double gain, double& last, std::span<double> y) {
    for (std::size_t n = 0; n < x.size(); ++n) {
        y[n] = last = gain * x[n] + kEmphasis * last;
    }
}

using RoomFilter = merlo64f::Filter<pbfdaf64fState>;

host::Signal tapsOf(RoomFilter& filter) {
    host::Signal taps(static_cast<std::size_t>(filter->partitions) * kBlockSize);
    filter.getCoef(taps);
    return taps;
}

// ---- the canceller ---------------------------------------------------------------------------

class EchoCanceller {
  public:
    // Copies of the coefficients from the background to the foreground filter.
    struct Copies {
        int count = 0;
        double time = 0.0;      // s, of the last one
        double reduction = 0.0; // dB, microphone power re background error power at that time
    };

    // gain  from full scale to the level at the filter inputs; floor  mean square of the far end, below
    // which the background filter does not adapt
    EchoCanceller(int rate, int32_t partitions, double mu, double gain, double floor)
        : foreground_(kBlock, kBlock, partitions, 0.0, 1),
          background_(kBlock, kBlock, partitions, mu, 1),
          blockRate_(static_cast<double>(rate) / kBlock), gain_(gain), floor_(floor) {}

    void process(ConstBlock farEnd, ConstBlock microphone, Block output) {
        constexpr double kMemory = 0.03; // s, time constant of the smoothed powers
        std::array<double, kBlockSize> x, d, y, e, backgroundY, backgroundE;
        emphasise(farEnd, gain_, lastFarEnd_, x);
        emphasise(microphone, gain_, lastMicrophone_, d);
        const double keep = std::exp(-1.0 / (kMemory * blockRate_));
        const auto smooth = [&](double& power, ConstBlock samples) {
            power = keep * power + (1.0 - keep) * host::power(samples);
        };
        smooth(farPower_, farEnd);
        std::array<bool, kBlockSize> adapt{};
        foreground_.update(x, d, y, e, adapt); // never adapts
        adapt.fill(farPower_ >= floor_);
        background_.update(x, d, backgroundY, backgroundE, adapt);
        deemphasise(e, 1.0 / gain_, lastOutput_, output);
        smooth(microphonePower_, d);
        smooth(foregroundPower_, e);
        smooth(backgroundPower_, backgroundE);
        highestPower_ = std::max(highestPower_, microphonePower_);
        ++blocks_;
        exchangeTaps();
    }

    // Estimate for the last block: at least 75 % of the microphone power is echo.
    bool mostlyEcho() const { return backgroundPower_ < 0.25 * microphonePower_; }
    bool diverged() const { return !(backgroundPower_ <= 100.0 * highestPower_); }
    const Copies& copies() const { return copies_; }
    host::Signal taps() { return tapsOf(foreground_); }

  private:
    // An adaptive filter can follow a near-end vowel while it lasts, because neighbouring blocks of
    // a voice are correlated. So the background filter must be better for longer than that.
    void exchangeTaps() {
        constexpr double kBetter = 0.65, kBetterTime = 0.2; // ratio of error powers; s
        constexpr double kWorse = 2.0, kWorseTime = 0.04;   // ratio of error powers; s
        better_ = mostlyEcho() && backgroundPower_ < kBetter * foregroundPower_ ? better_ + 1 : 0;
        worse_ = backgroundPower_ > kWorse * foregroundPower_ ? worse_ + 1 : 0;
        if (better_ > kBetterTime * blockRate_) {
            foreground_.setCoef(tapsOf(background_));
            foregroundPower_ = backgroundPower_;
            better_ = 0;
            copies_ = {copies_.count + 1, static_cast<double>(blocks_) / blockRate_,
                       host::decibels(microphonePower_ / backgroundPower_)};
        } else if (worse_ > kWorseTime * blockRate_ && !diverged()) {
            background_.setCoef(tapsOf(foreground_));
            backgroundPower_ = foregroundPower_;
            worse_ = 0;
        }
    }

    RoomFilter foreground_, background_;
    double blockRate_; // Hz
    double gain_, floor_;
    double lastFarEnd_ = 0.0, lastMicrophone_ = 0.0, lastOutput_ = 0.0;
    double farPower_ = 0.0, microphonePower_ = 0.0, foregroundPower_ = 0.0, backgroundPower_ = 0.0;
    double highestPower_ = 0.0;  // of the microphone so far
    int better_ = 0, worse_ = 0; // blocks for which the background filter has been so
    std::int64_t blocks_ = 0;
    Copies copies_;
};

// ---- files -----------------------------------------------------------------------------------

struct Settings {
    int32_t tail = 96; // ms
    double step = 0.6;
    int32_t floor = -50; // dB re full scale
    std::string levelsPath, tapsPath;
};

struct Levels {
    void add(std::span<const double> heard, std::span<const double> left) {
        microphone.add(heard);
        output.add(left);
    }
    double reduction() const { return microphone.level() - output.level(); } // dB

    host::MeanSquare microphone, output;
};

void cancelEcho(const std::vector<std::string>& files, const Settings& settings) {
    constexpr double kLevelInterval = 0.05; // s
    audio::Reader farEnd(files[0]), microphone(files[1]);
    audio::requireSameShape(farEnd, microphone);
    host::checkOutputs({files[0], files[1]}, {files[2], settings.levelsPath, settings.tapsPath});
    const int rate = farEnd.rate();
    const auto partitions = static_cast<int32_t>(std::ceil(1e-3 * settings.tail * rate / kBlock));

    // The first pass measures the power of the emphasised far end, the second one cancels.
    microphone.requireFinite();
    host::ProgressBar progress("cancelling", 2 * farEnd.frames(), rate);
    std::array<double, audio::kBlockFrames> farBlock, microphoneBlock, outputBlock;
    host::MeanSquare farPower;
    double last = 0.0;
    for (auto x = farEnd.read(farBlock); !x.empty(); x = farEnd.read(farBlock)) {
        emphasise(x, 1.0, last, outputBlock);
        farPower.add(std::span(outputBlock).first(x.size()));
        progress.advance(x.size());
    }
    farEnd.rewind();

    const bool silent = farPower.value() < host::kSilence;
    const double gain = silent ? 1.0 : std::sqrt(kWorkingPower / farPower.value());
    const double mu = silent ? 0.0 : settings.step * 2.0 / (kBlock * partitions);
    EchoCanceller canceller(rate, partitions, mu, gain, host::fromDecibels(settings.floor));

    audio::Writer output(files[2], rate, audio::formatLike(files[2], microphone));
    Levels whole, echo, interval;
    std::vector<host::Signal> levels;
    std::size_t done = 0;
    for (auto x = farEnd.read(farBlock); !x.empty(); x = farEnd.read(farBlock)) {
        const auto d = microphone.read(microphoneBlock);
        const auto e = std::span(outputBlock).first(d.size());
        // Zeros complete the last block of the file.
        std::fill(farBlock.begin() + std::ssize(x), farBlock.end(), 0.0);
        std::fill(microphoneBlock.begin() + std::ssize(d), microphoneBlock.end(), 0.0);
        for (std::size_t from = 0; from < d.size(); from += kBlockSize) {
            canceller.process(ConstBlock(&farBlock[from], kBlockSize),
                              ConstBlock(&microphoneBlock[from], kBlockSize),
                              Block(&outputBlock[from], kBlockSize));
            if (canceller.diverged()) {
                host::fail(files[1], "the filter diverged; use a smaller --step");
            }
            const std::size_t count = std::min(kBlockSize, d.size() - from);
            const auto heard = d.subspan(from, count), left = e.subspan(from, count);
            whole.add(heard, left);
            interval.add(heard, left);
            if (canceller.mostlyEcho()) {
                echo.add(heard, left);
            }
            done += count;
            const auto length = static_cast<double>(interval.output.count());
            if (length >= kLevelInterval * rate) {
                levels.push_back({(static_cast<double>(done) - length / 2.0) / rate,
                                  interval.microphone.level(), interval.output.level(),
                                  static_cast<double>(canceller.copies().count)});
                interval = {};
            }
        }
        output.write(e);
        progress.advance(d.size());
    }
    output.close();
    host::saveTable(settings.levelsPath,
                    "time (s); level (dB re full scale) of microphone and output; number of copies "
                    "to the foreground filter so far",
                    levels);
    host::saveColumn(settings.tapsPath, canceller.taps());

    std::printf("tail %d ms: %d partitions of %d taps, %d Hz, %.2f s -> %s\n", settings.tail,
                partitions, kBlock, rate, farEnd.seconds(), files[2].c_str());
    // The second level leaves out most of the near-end voice, the third one most of the convergence.
    std::printf("microphone level minus output level:\n");
    std::printf("  %5.1f dB over the whole file, near-end voice included\n", whole.reduction());
    if (echo.output.count() > 0) {
        std::printf("  %5.1f dB over the %.1f s of mostly echo, convergence included\n",
                    echo.reduction(), static_cast<double>(echo.output.count()) / rate);
    }
    if (const auto& copies = canceller.copies(); copies.count > 0) {
        std::printf("  %5.1f dB over about 30 ms at %.1f s, at the last of %d copies to the "
                    "foreground filter\n",
                    copies.reduction, copies.time, copies.count);
    }
    if (silent) {
        std::printf("the far end is silent: the output is the microphone signal\n");
    }
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    const auto files = host::commandLine(
        argc, argv, "Removes the echo of a loudspeaker from the signal of a microphone.",
        {"FAR.wav", "MICROPHONE.wav", "OUT.wav"},
        {{"tail", "length of the room response in ms", &s.tail, 1, 2000},
         {"step", "step size relative to the stability limit for white noise", &s.step, 0.0, 10.0},
         {"floor", "power of the far end in dB re full scale, below which no filter adapts",
          &s.floor, -200, 0},
         {"levels", "output file for levels in dB every 50 ms", &s.levelsPath},
         {"save-taps", "output file for the final taps, one per line", &s.tapsPath}});
    return host::runHost(argv[0], [&] { cancelEcho(files, s); });
}
