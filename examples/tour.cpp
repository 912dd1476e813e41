// Puts every family to a job that is its own, and tells how long it learns, how far it comes and what
// a sample costs.
//
// What a filter misses is what the job wants of its output less that output, formed before the filter
// has seen the sample. The learning curve is the power of what is missed over that of what is wanted,
// over blocks of 32 samples and over an ensemble of runs, each with signals of its own. A predictor
// cannot miss less than what is new in its signal; the control of noise, less than what the two
// microphones do not share.
//
// Exit code 0: every filter got below its goal and stayed there.
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <adjlms64f.h>
#include <bfdaf64f.h>
#include <blms64f.h>
#include <bnlms64f.h>
#include <fir64f.h>
#include <fxlms64f.h>
#include <lbpef64f.h>
#include <lfpef64f.h>
#include <lms64f.h>
#include <lmslattice64f.h>
#include <nlms64f.h>
#include <pbfdaf64f.h>
#include <rls64f.h>
#include <rlslattice64f.h>
#include <rlslbpef64f.h>
#include <rlslfpef64f.h>
#include <tdlms64f.h>

#include "filters.h"
#include "host.h"

namespace {

using Signal = std::vector<double>;

constexpr char kUsage[] = "tour [--curves FILE]";

constexpr int32_t kOrder = MAX_TAPS;
constexpr int32_t kStages = MAX_PEF_STAGES; // of the predictors
constexpr int32_t kBlock = 32;              // samples, and between two points of a curve
constexpr std::size_t kBlockSize = kBlock;
constexpr int32_t kEchoTaps = 1024;
constexpr std::uint64_t kRuns = 20;   // of the ensemble
constexpr double kNoise = 1e-3;       // at the output of a system, re its amplitude: -60 dB
constexpr std::size_t kChange = 8192; // samples before one system gives way to another
constexpr std::size_t kTimed = 4096;  // samples of a pass
constexpr int kPasses = 25;

// ---- signals ---------------------------------------------------------------------------------

struct Scene {
    Signal x, d;   // what the filter gets
    Signal wanted; // of its output
};

// Of power 1.
Signal white(std::size_t length, std::uint64_t seed) {
    host::WhiteNoise noise(seed);
    Signal x(length);
    std::generate(x.begin(), x.end(), [&] { return std::numbers::sqrt3 * noise.next(); });
    return x;
}

// White noise through a pole; of power 1. The spectrum spans 20 log((1 + pole) / (1 - pole)) dB.
Signal coloured(std::size_t length, std::uint64_t seed, double pole) {
    Signal x = white(length, seed);
    double last = x[0];
    for (double& sample : x) {
        last = pole * last + std::sqrt(1.0 - pole * pole) * sample;
        sample = last;
    }
    return x;
}

// Levels that come and go as those of syllables do, over 20 dB.
Signal syllables(std::size_t length, std::uint64_t seed) {
    Signal x = coloured(length, seed, 0.7);
    for (std::size_t n = 0; n < length; ++n) {
        x[n] *= std::pow(10.0, -1.0 * std::pow(std::cos(static_cast<double>(n) / 1000.0), 2));
    }
    return x;
}

// Noise through two resonances, given by their poles' radius and frequency in cycles per sample.
Signal resonant(std::size_t length, std::uint64_t seed) {
    Signal x = white(length, seed);
    for (const auto& [radius, frequency] : {std::pair{0.97, 0.06}, std::pair{0.9, 0.21}}) {
        const double a = 2.0 * radius * std::cos(2.0 * std::numbers::pi * frequency);
        double before = 0.0, last = 0.0;
        for (double& sample : x) {
            sample += a * last - radius * radius * before;
            before = std::exchange(last, sample);
        }
    }
    return x;
}

// Noise that dies away with a time constant of an eighth of the length; of energy 1.
Signal decaying(int32_t taps, std::uint64_t seed) {
    Signal h = white(static_cast<std::size_t>(taps), seed);
    double energy = 0.0;
    for (std::size_t k = 0; k < h.size(); ++k) {
        h[k] *= std::exp(-8.0 * static_cast<double>(k) / taps);
        energy += h[k] * h[k];
    }
    for (double& tap : h) {
        tap /= std::sqrt(energy);
    }
    return h;
}

// ---- jobs ------------------------------------------------------------------------------------

// A system behind x, or one and then another, and faint noise at its output.
Scene identification(Signal x, std::uint64_t seed, int32_t taps = kOrder, int systems = 1) {
    Scene scene{std::move(x), {}, {}};
    scene.wanted = host::through(decaying(taps, 1000 + seed), scene.x);
    if (systems == 2) {
        const Signal later = host::through(decaying(taps, 2000 + seed), scene.x);
        const auto half = static_cast<std::ptrdiff_t>(later.size() / 2);
        std::copy(later.begin() + half, later.end(), scene.wanted.begin() + half);
    }
    scene.d = scene.wanted;
    const Signal noise = white(scene.x.size(), 3000 + seed);
    const double amplitude = kNoise * std::sqrt(host::power(scene.wanted));
    for (std::size_t n = 0; n < noise.size(); ++n) {
        scene.d[n] += amplitude * noise[n];
    }
    return scene;
}

Signal delayed(Signal h, std::size_t samples) {
    h.insert(h.begin(), samples, 0.0);
    return h;
}

// The path from the loudspeaker to the error microphone, and what is known of it: 20 dB off.
constexpr int32_t kPathLength = 16;
const Signal kSecondary = delayed(decaying(kPathLength - 4, 8), 4);
const Signal kEstimate = [] {
    Signal h = decaying(kPathLength, 9);
    for (std::size_t k = 0; k < h.size(); ++k) {
        h[k] = kSecondary[k] + 0.1 * h[k];
    }
    return h;
}();

// The noise takes eight samples longer to the error microphone than the loudspeaker's sound does.
Scene duct(std::size_t length, std::uint64_t seed) {
    Scene scene{coloured(length, seed, 0.5), {}, {}};
    scene.d = host::through(delayed(decaying(12, 7), 12), scene.x);
    const Signal noise = white(length, 3000 + seed);
    for (std::size_t n = 0; n < length; ++n) {
        scene.wanted.push_back(-scene.d[n]);
        scene.d[n] += kNoise * noise[n];
    }
    return scene;
}

// The sample itself, or the one `delay` samples back.
Scene prediction(const Signal& x, std::size_t delay) {
    Signal wanted(delay);
    wanted.insert(wanted.end(), x.begin(), x.end() - static_cast<std::ptrdiff_t>(delay));
    return {x, x, std::move(wanted)};
}

// ---- filters ---------------------------------------------------------------------------------

// Takes kBlock samples of x and d and writes as many outputs.
using Filter = std::function<void(const double* x, const double* d, double* y)>;
// A fresh filter. `judged`: its outputs are formed before it has seen the sample, whatever it costs.
using Maker = std::function<Filter(bool judged)>;

struct Candidate {
    std::string family;
    Maker make;
};

template <class Result, class State, class... Arguments>
State stateOf(Result (*)(State*, Arguments...));

template <auto kUpdate, class State>
void advance(State* state, const double* x, const double* d, double* y, std::size_t samples) {
    if constexpr (requires { kUpdate(state, x, d, y, y); }) {
        std::array<double, kBlockSize> e;
        kUpdate(state, x, d, y, e.data());
    } else {
        for (std::size_t i = 0; i < samples; ++i) {
            if constexpr (requires { kUpdate(state, *x, *d); }) {
                y[i] = kUpdate(state, x[i], d[i]);
            } else {
                y[i] = kUpdate(state, x[i]);
            }
        }
    }
}

// kPreview: for the families whose updates put out what they know after the sample, the operation
// that gives on a copy what they know before it. kRoom: elements of the longest buffer.
template <auto kInitStatic, auto kUpdate, auto kPreview = nullptr, std::size_t kRoom = 640,
          class... Parameters>
Candidate candidate(const std::string& family, Parameters... parameters) {
    using State = decltype(stateOf(kUpdate));
    struct Held {
        State state;
        std::array<double, kRoom> coef, work;
    };
    const auto make = [=](bool judged) -> Filter {
        static host::TransformTables tables(2 * kBlock);
        const auto held = std::make_shared<Held>();
        State* const state = &held->state;
        const auto initStatic = [=](auto... buffers) {
            if (kInitStatic(state, parameters..., buffers...) != STS_OK) {
                host::fail(family, "cannot be set up");
            }
        };
        double* const coef = held->coef.data();
        double* const work = held->work.data();
        if constexpr (requires { kInitStatic(state, parameters..., coef, work); }) {
            initStatic(coef, work);
        } else if constexpr (requires { kInitStatic(state, parameters..., work); }) {
            initStatic(work);
        } else {
            const double* const twiddles = tables.twiddles.data();
            initStatic(coef, work, tables.table.data(), twiddles);
        }
        return [=](const double* x, const double* d, double* y) {
            if constexpr (!std::is_null_pointer_v<decltype(kPreview)>) {
                for (std::size_t i = 0; judged && i < kBlockSize; ++i) {
                    const Held before = *held;
                    const double output = kPreview(state, x[i]);
                    *held = before;
                    advance<kUpdate>(state, x + i, d + i, y + i, 1);
                    y[i] = output;
                }
                if (judged) {
                    return;
                }
            }
            advance<kUpdate>(state, x, d, y, kBlockSize);
        };
    };
    return {family, make};
}

// Moving stages shake the weights behind them, so they slow down as they settle.
double settlingLattice(lmslattice64fState* state, double x, double d) {
    state->mu *= 0.998;
    return lmslattice64fFilterUpdate(state, x, d);
}

// ---- the tour --------------------------------------------------------------------------------

struct Job {
    Candidate filter;
    std::string text;
    double goal;                               // dB, to get below and to stay below
    std::function<Scene(std::uint64_t)> scene; // by seed
    std::optional<Candidate> plainer = {};     // on the same signals
    std::size_t from = 0;                      // samples before learning counts
};

constexpr double kIdentified = -40.0, kControlled = -30.0, kPredicted = -11.0,
                 kStopped = -50.0;                  // dB
constexpr double kCutoff = 0.125, kStopBand = 0.18; // of the low-pass, cycles per sample

// A sinc under a Hamming window.
Signal lowPass() {
    Signal h(kOrder);
    for (std::size_t k = 0; k < h.size(); ++k) {
        const double t = static_cast<double>(k) - (kOrder - 1) / 2.0; // never 0
        const double turn = 2.0 * std::numbers::pi * t;
        h[k] = std::sin(turn * kCutoff) / (std::numbers::pi * t) *
               (0.54 + 0.46 * std::cos(turn / kOrder));
    }
    return h;
}

// Steps are near the fastest that a job bears.
std::vector<Job> jobs() {
    static Signal taps = lowPass();

    const auto lms =
        candidate<lms64fInitStatic, lms64fFilterUpdate>("lms64f", kOrder, 0.5 / kOrder);
    const auto slow =
        candidate<lms64fInitStatic, lms64fFilterUpdate>("lms64f", kOrder, 0.1 / kOrder);
    const auto nlms =
        candidate<nlms64fInitStatic, nlms64fFilterUpdate>("nlms64f", kOrder, 0.5 / kOrder);
    const auto fxlms = candidate<fxlms64fInitStatic, fxlms64fFilterUpdate>(
        "fxlms64f", kOrder, 0.2 / kOrder, kSecondary.data(), kPathLength, kEstimate.data(),
        kPathLength);
    const auto lfpef =
        candidate<lfpef64fInitStatic, lfpef64fFilterUpdate>("lfpef64f", kStages, 0.005);
    const auto lbpef =
        candidate<lbpef64fInitStatic, lbpef64fFilterUpdate>("lbpef64f", kStages, 0.005);

    const auto whiteInput = [](auto seed) { return identification(white(8192, seed), seed); };
    const auto syllabic = [](auto seed) { return identification(syllables(16384, seed), seed); };
    const auto colouredInput = [](auto seed) {
        return identification(coloured(16384, seed, 0.9), seed);
    };
    const auto changing = [](auto seed) {
        return identification(coloured(2 * kChange, seed, 0.9), seed, kOrder, 2);
    };
    const auto echo = [](auto seed) {
        return identification(coloured(65536, seed, 0.5), seed, kEchoTaps);
    };
    const auto noise = [](auto seed) { return duct(16384, seed); };
    const auto forwards = [](auto seed) { return prediction(resonant(8192, seed), 0); };
    const auto backwards = [](auto seed) { return prediction(resonant(8192, seed), kStages); };
    return {
        {candidate<fir64fInitStatic, fir64fFilter>("fir64f", kOrder, taps.data()), "fixed low-pass",
         kStopped, nullptr},
        {lms, "system, white noise", kIdentified, whiteInput},
        {nlms, "system, syllables", kIdentified, syllabic, slow},
        {candidate<tdlms64fInitStatic, tdlms64fFilterUpdate>("tdlms64f", kOrder, 0.5 / kOrder),
         "system, coloured noise", kIdentified, colouredInput, nlms},
        {candidate<blms64fInitStatic, blms64fFilterUpdate>("blms64f", kOrder, kBlock, 0.5 / kOrder),
         "as lms64f, in blocks of 32", kIdentified, whiteInput},
        {candidate<bnlms64fInitStatic, bnlms64fFilterUpdate>("bnlms64f", kOrder, kBlock,
                                                             0.5 / kOrder),
         "as nlms64f, in blocks of 32", kIdentified, syllabic, slow},
        {candidate<bfdaf64fInitStatic, bfdaf64fFilterUpdate>("bfdaf64f", kOrder, kBlock,
                                                             0.5 / kBlock, 1),
         "change of system, blocks of 32", kIdentified, changing, nlms, kChange},
        {candidate<pbfdaf64fInitStatic, pbfdaf64fFilterUpdate, nullptr, 4 * kEchoTaps>(
             "pbfdaf64f", kBlock, kBlock, kEchoTaps / kBlock, 0.5 / kEchoTaps, 1),
         "echo of 1024 taps", kIdentified, echo, nlms},
        {fxlms, "noise control in a duct", kControlled, noise},
        {candidate<adjlms64fInitStatic, adjlms64fFilterUpdate>("adjlms64f", kOrder, 0.2 / kOrder,
                                                               kSecondary.data(), kPathLength,
                                                               kEstimate.data(), kPathLength),
         "noise control in a duct", kControlled, noise, fxlms},
        {candidate<lmslattice64fInitStatic, settlingLattice>("lmslattice64f", kOrder, 0.01,
                                                             0.5 / kOrder),
         "system, coloured noise", kIdentified, colouredInput, nlms},
        {candidate<rlslattice64fInitStatic, rlslattice64fFilterUpdate, rlslattice64fFilterOnly>(
             "rlslattice64f", kOrder, 0.999),
         "system, fast start", kIdentified, colouredInput, nlms},
        {lfpef, "prediction of resonances", kPredicted, forwards},
        {lbpef, "prediction backwards in time", kPredicted, backwards},
        {candidate<rlslfpef64fInitStatic, rlslfpef64fFilterUpdate, rlslfpef64fFilterOnly>(
             "rlslfpef64f", kStages, 0.99),
         "prediction, fast start", kPredicted, forwards, lfpef},
        {candidate<rlslbpef64fInitStatic, rlslbpef64fFilterUpdate, rlslbpef64fFilterOnly>(
             "rlslbpef64f", kStages, 0.99),
         "backwards, fast start", kPredicted, backwards, lbpef},
        {candidate<rls64fInitStatic, rls64fFilterUpdate>("rls64f", kOrder, 0.99, 1.0),
         "change of system", kIdentified, changing, nlms, kChange},
    };
}

// ---- judgement -------------------------------------------------------------------------------

struct Curve {
    Signal level;                       // dB
    double end;                         // dB, over the last eighth
    std::optional<std::size_t> samples; // until the goal
};

// Residual power over wanted power, block by block, each summed over the ensemble.
class Ensemble {
  public:
    void run(const Filter& filter, const Scene& scene, std::size_t from) {
        const std::size_t blocks = (scene.x.size() - from) / kBlockSize;
        missed_.resize(blocks);
        wanted_.resize(blocks);
        std::array<double, kBlockSize> y;
        for (std::size_t n = 0; n + kBlockSize <= scene.x.size(); n += kBlockSize) {
            filter(&scene.x[n], &scene.d[n], y.data());
            for (std::size_t i = 0; n >= from && i < kBlockSize; ++i) {
                const double wanted = scene.wanted[n + i];
                missed_[(n - from) / kBlockSize] += (wanted - y[i]) * (wanted - y[i]);
                wanted_[(n - from) / kBlockSize] += wanted * wanted;
            }
        }
    }

    Curve curve(double goal) const {
        Curve result{Signal(missed_.size()), 0.0, {}};
        double missed = 0.0, wanted = 0.0;
        std::size_t above = 0; // blocks, up to the last one above the goal
        for (std::size_t k = 0; k < missed_.size(); ++k) {
            result.level[k] = host::decibels(missed_[k] / wanted_[k]);
            if (!(result.level[k] < goal)) {
                above = k + 1;
            }
            if (k >= missed_.size() - missed_.size() / 8) {
                missed += missed_[k];
                wanted += wanted_[k];
            }
        }
        result.end = host::decibels(missed / wanted);
        if (above < missed_.size()) {
            result.samples = (above + 1) * kBlockSize;
        }
        return result;
    }

  private:
    Signal missed_, wanted_;
};

// The low-pass has nothing to learn: level against frequency, and its highest in the stop band.
Curve frequencyResponse(const Filter& filter) {
    constexpr std::size_t kPoints = 200, kBlocks = 16;
    Curve result{{}, -INFINITY, {}};
    for (std::size_t k = 0; k < kPoints; ++k) {
        const double frequency =
            (static_cast<double>(k) + 0.5) * 0.5 / kPoints; // cycles per sample
        host::MeanSquare in, out;
        for (std::size_t block = 0; block < kBlocks; ++block) {
            std::array<double, kBlockSize> x, y;
            for (std::size_t i = 0; i < kBlockSize; ++i) {
                const auto n = static_cast<double>(block * kBlockSize + i);
                x[i] = std::sin(2.0 * std::numbers::pi * frequency * n);
            }
            filter(x.data(), x.data(), y.data());
            if (block > 0) { // the first one fills the line
                in.add(x);
                out.add(y);
            }
        }
        result.level.push_back(host::decibels(out.value() / in.value()));
        if (frequency >= kStopBand) {
            result.end = std::max(result.end, result.level.back());
        }
    }
    return result;
}

struct Row {
    Curve own;
    std::optional<Curve> plainer;
    Scene scene; // of one run, to time with
    Signal nanoseconds;
};

Row judge(const Job& job) {
    if (!job.scene) {
        return {
            frequencyResponse(job.filter.make(true)), {}, identification(white(kTimed, 1), 1), {}};
    }
    Ensemble own, plainer;
    Scene scene;
    for (std::uint64_t seed = 1; seed <= kRuns; ++seed) {
        scene = job.scene(seed);
        own.run(job.filter.make(true), scene, job.from);
        if (job.plainer) {
            plainer.run(job.plainer->make(true), scene, job.from);
        }
    }
    Row row{own.curve(job.goal), {}, std::move(scene), {}};
    if (job.plainer) {
        row.plainer = plainer.curve(job.goal);
    }
    return row;
}

// Pass by pass in turn, so that a neighbour on the machine slows all alike; the median counts.
void time(const std::vector<Job>& all, std::vector<Row>& rows) {
    for (int pass = 0; pass < kPasses; ++pass) {
        for (std::size_t k = 0; k < rows.size(); ++k) {
            const Scene& scene = rows[k].scene;
            const Filter filter = all[k].filter.make(false);
            std::array<double, kBlockSize> y;
            const auto begin = std::chrono::steady_clock::now();
            for (std::size_t n = 0; n < kTimed; n += kBlockSize) {
                filter(&scene.x[n], &scene.d[n], y.data());
            }
            const std::chrono::duration<double, std::nano> taken =
                std::chrono::steady_clock::now() - begin;
            rows[k].nanoseconds.push_back(taken.count() / kTimed);
        }
    }
    for (Row& row : rows) {
        std::sort(row.nanoseconds.begin(), row.nanoseconds.end());
    }
}

std::string samples(const Curve& curve) {
    return curve.samples ? std::to_string(*curve.samples) : "never";
}

void run(const host::Arguments& arguments) {
    arguments.files(0);
    const std::string path = arguments.text("--curves");
    const std::vector<Job> all = jobs();
    std::vector<Row> rows;
    std::transform(all.begin(), all.end(), std::back_inserter(rows), judge);
    time(all, rows);

    std::string missed;
    std::printf("%-13s  %-31s  %9s  %7s  %8s  %9s  %s\n", "family", "job", "goal (dB)", "samples",
                "end (dB)", "ns/sample", "plainer filter");
    for (std::size_t k = 0; k < all.size(); ++k) {
        const Job& job = all[k];
        const Row& row = rows[k];
        std::printf("%-13s  %-31s  %9.0f  %7s  %8.1f  %9.1f", job.filter.family.c_str(),
                    job.text.c_str(), job.goal, job.scene ? samples(row.own).c_str() : "-",
                    row.own.end, row.nanoseconds[kPasses / 2]);
        if (row.plainer) {
            std::printf("  %s: %s", job.plainer->family.c_str(), samples(*row.plainer).c_str());
        }
        std::puts("");
        if (!(row.own.end < job.goal) || (job.scene && !row.own.samples)) {
            missed += " " + job.filter.family;
        }
    }
    if (!path.empty()) {
        host::Table table(path);
        for (const Row& row : rows) {
            table.heading("samples; residual (dB), and that of the plainer filter");
            for (std::size_t k = 0; k < row.own.level.size(); ++k) {
                table.row(Signal{static_cast<double>((k + 1) * kBlockSize), row.own.level[k],
                                 row.plainer ? row.plainer->level[k] : NAN});
            }
            table.row({});
            table.row({});
        }
        table.close();
    }
    if (!missed.empty()) {
        throw host::Failure("short of the goal:" + missed);
    }
}

} // namespace

int main(int argc, char** argv) {
    return host::runHost("tour", [&] { run({argc, argv, kUsage, {"--curves"}}); });
}
