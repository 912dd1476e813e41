// Runs each family on a typical job of that family and prints the time of adaptation, the final
// residual and the cost per sample.
//
// The residual is the ideal output less the output of the filter, which is formed before the filter
// adapts to the sample. A point of the learning curve is the power of the residual over that of the
// ideal output, over a block of 32 samples and an ensemble of 20 runs. Noise in the desired signal
// is no part of the ideal output. The residual of a predictor cannot be smaller than the
// unpredictable part of its signal.
//
// Exit code 0: each filter got below its goal and stayed below it.
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
#include <numeric>
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
#include "tour_scenes.h"

namespace {

using namespace tour;

constexpr int32_t kOrder = MAX_TAPS;
constexpr int32_t kStages = MAX_PEF_STAGES; // of the predictors
constexpr int32_t kBlock = 32;              // samples per block and per point of a curve
constexpr std::size_t kBlockSize = kBlock;
constexpr int32_t kEchoTaps = 1024;
constexpr std::uint64_t kRuns = 20;   // of the ensemble
constexpr std::size_t kChange = 8192; // samples before the system changes
constexpr std::size_t kTimed = 4096;  // samples per timing pass
constexpr int kPasses = 25;

// ---- filters ---------------------------------------------------------------------------------

// Processes a block of kBlock samples: input, desired signal, output.
using Filter = std::function<void(const double* x, const double* d, double* y)>;
// Makes a new filter. aPriori  the output is formed before the update, even where this takes longer
using Maker = std::function<Filter(bool aPriori)>;

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

// kPreview: the operation that forms the output without adapting, for families whose updates return
// the output of the updated filter. kRoom: elements of the longest buffer.
template <auto kInitStatic, auto kUpdate, auto kPreview = nullptr, std::size_t kRoom = 640,
          class... Parameters>
Candidate candidate(const std::string& family, Parameters... parameters) {
    using State = decltype(stateOf(kUpdate));
    struct Held {
        State state;
        std::array<double, kRoom> coef, work;
    };
    const auto make = [=](bool aPriori) -> Filter {
        static host::TransformTables tables(2 * kBlock);
        const auto held = std::make_shared<Held>();
        State* const state = &held->state;
        double *const coef = held->coef.data(), *const work = held->work.data();
        int32_t status;
        if constexpr (requires { kInitStatic(state, parameters..., coef, work); }) {
            status = kInitStatic(state, parameters..., coef, work);
        } else if constexpr (requires { kInitStatic(state, parameters..., work); }) {
            status = kInitStatic(state, parameters..., work);
        } else {
            const double* const twiddles = tables.twiddles.data();
            status = kInitStatic(state, parameters..., coef, work, tables.table.data(), twiddles);
        }
        host::require(status, family);
        return [=](const double* x, const double* d, double* y) {
            if constexpr (!std::is_null_pointer_v<decltype(kPreview)>) {
                for (std::size_t i = 0; aPriori && i < kBlockSize; ++i) {
                    const Held before = *held;
                    const double output = kPreview(state, x[i]);
                    *held = before;
                    advance<kUpdate>(state, x + i, d + i, y + i, 1);
                    y[i] = output;
                }
                if (aPriori) {
                    return;
                }
            }
            advance<kUpdate>(state, x, d, y, kBlockSize);
        };
    };
    return {family, make};
}

// Stages that still adapt disturb the regression coefficients, so their step size decreases.
double settlingLattice(lmslattice64fState* state, double x, double d) {
    state->mu *= 0.998;
    return lmslattice64fFilterUpdate(state, x, d);
}

// ---- the tour --------------------------------------------------------------------------------

struct Job {
    Candidate filter;
    std::string text;
    double goal;                               // dB, for the residual
    std::function<Scene(std::uint64_t)> scene; // by seed
    std::optional<Candidate> plainer = {};     // a simpler filter on the same signals
    std::size_t from = 0;                      // samples before the learning curve begins
};

constexpr double kIdentified = -40.0, kControlled = -30.0, kPredicted = -11.0,
                 kStopped = -50.0;                  // dB
constexpr double kCutoff = 0.125, kStopBand = 0.18; // of the low-pass, cycles per sample

// Step sizes are a quarter of the stability limit or less.
std::vector<Job> jobs() {
    static Signal taps = host::lowPass(kCutoff);

    const auto lms =
        candidate<lms64fInitStatic, lms64fFilterUpdate>("lms64f", kOrder, 0.5 / kOrder);
    const auto nlms =
        candidate<nlms64fInitStatic, nlms64fFilterUpdate>("nlms64f", kOrder, 0.5 / kOrder);
    const auto fxlms = candidate<fxlms64fInitStatic, fxlms64fFilterUpdate>(
        "fxlms64f", kOrder, 0.2 / kOrder, kSecondary.data(), kPathLength, kEstimate.data(),
        kPathLength);
    const auto lfpef =
        candidate<lfpef64fInitStatic, lfpef64fFilterUpdate>("lfpef64f", kStages, 0.005);
    const auto lbpef =
        candidate<lbpef64fInitStatic, lbpef64fFilterUpdate>("lbpef64f", kStages, 0.005);

    const auto whiteInput = [](auto seed) {
        return identification(white(8192, seed), seed, kOrder);
    };
    const auto syllabic = [](auto seed) {
        return identification(syllables(16384, seed), seed, kOrder);
    };
    const auto colouredInput = [](auto seed) {
        return identification(coloured(16384, seed, 0.9), seed, kOrder);
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
        {lms, "identification, white noise", kIdentified, whiteInput},
        {nlms, "identification, varying level", kIdentified, syllabic, lms},
        {candidate<tdlms64fInitStatic, tdlms64fFilterUpdate>("tdlms64f", kOrder, 0.5 / kOrder),
         "identification, coloured noise", kIdentified, colouredInput, nlms},
        {candidate<blms64fInitStatic, blms64fFilterUpdate>("blms64f", kOrder, kBlock, 0.5 / kOrder),
         "as lms64f, in blocks of 32", kIdentified, whiteInput},
        {candidate<bnlms64fInitStatic, bnlms64fFilterUpdate>("bnlms64f", kOrder, kBlock,
                                                             0.5 / kOrder),
         "as nlms64f, in blocks of 32", kIdentified, syllabic, lms},
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
         "identification, coloured noise", kIdentified, colouredInput, nlms},
        {candidate<rlslattice64fInitStatic, rlslattice64fFilterUpdate, rlslattice64fFilterOnly>(
             "rlslattice64f", kOrder, 0.999),
         "identification, fast start", kIdentified, colouredInput, nlms},
        {lfpef, "prediction, two resonances", kPredicted, forwards},
        {lbpef, "backward prediction", kPredicted, backwards},
        {candidate<rlslfpef64fInitStatic, rlslfpef64fFilterUpdate, rlslfpef64fFilterOnly>(
             "rlslfpef64f", kStages, 0.99),
         "prediction, fast start", kPredicted, forwards, lfpef},
        {candidate<rlslbpef64fInitStatic, rlslbpef64fFilterUpdate, rlslbpef64fFilterOnly>(
             "rlslbpef64f", kStages, 0.99),
         "backward prediction, fast start", kPredicted, backwards, lbpef},
        {candidate<rls64fInitStatic, rls64fFilterUpdate>("rls64f", kOrder, 0.99, 1.0),
         "change of system", kIdentified, changing, nlms, kChange},
    };
}

// ---- evaluation ------------------------------------------------------------------------------

struct Curve {
    Signal x, level;                    // samples, or cycles per sample; dB
    double end;                         // dB, over the last eighth
    std::optional<std::size_t> samples; // until the residual stays below the goal
};

Curve learningCurve(const Maker& make, const std::vector<Scene>& runs, const Job& job) {
    const std::size_t blocks = (runs[0].x.size() - job.from) / kBlockSize;
    Signal residual(blocks), wanted(blocks);
    for (const Scene& scene : runs) {
        const Filter filter = make(true);
        for (std::size_t n = 0; n < scene.x.size(); n += kBlockSize) {
            std::array<double, kBlockSize> y;
            filter(&scene.x[n], &scene.d[n], y.data());
            for (std::size_t i = 0; n >= job.from && i < kBlockSize; ++i) {
                const double output = scene.wanted[n + i];
                residual[(n - job.from) / kBlockSize] += (output - y[i]) * (output - y[i]);
                wanted[(n - job.from) / kBlockSize] += output * output;
            }
        }
    }
    Curve curve;
    std::size_t above = 0; // blocks up to and including the last one above the goal
    for (std::size_t k = 0; k < blocks; ++k) {
        curve.x.push_back(static_cast<double>((k + 1) * kBlockSize));
        curve.level.push_back(host::decibels(residual[k] / wanted[k]));
        if (!(curve.level.back() < job.goal)) {
            above = k + 1;
        }
    }
    if (above < blocks) {
        curve.samples = (above + 1) * kBlockSize;
    }
    const auto last = static_cast<std::ptrdiff_t>(blocks / 8);
    curve.end = host::decibels(std::accumulate(residual.end() - last, residual.end(), 0.0) /
                               std::accumulate(wanted.end() - last, wanted.end(), 0.0));
    return curve;
}

// The low-pass does not adapt: its level over frequency, and as `end` the highest in the stop band.
Curve frequencyResponse(const Filter& filter) {
    constexpr int kPoints = 200;
    std::array<double, kBlockSize> impulse{1.0}, h;
    filter(impulse.data(), impulse.data(), h.data());
    Curve curve{{}, {}, -std::numeric_limits<double>::infinity(), {}};
    for (int k = 0; k < kPoints; ++k) {
        const double frequency = (k + 0.5) * 0.5 / kPoints;
        std::complex<double> response;
        for (std::size_t n = 0; n < kBlockSize; ++n) {
            response += h[n] * std::polar(1.0, -2.0 * std::numbers::pi * frequency *
                                                   static_cast<double>(n));
        }
        curve.x.push_back(frequency);
        curve.level.push_back(host::decibels(std::norm(response)));
        if (frequency >= kStopBand) {
            curve.end = std::max(curve.end, curve.level.back());
        }
    }
    return curve;
}

struct Row {
    Curve own;
    std::optional<Curve> plainer;
    Scene scene;        // of one run, for the timing
    Signal nanoseconds; // per sample, of each pass
};

Row evaluate(const Job& job) {
    if (!job.scene) {
        const Signal x = white(kTimed, 1);
        return {frequencyResponse(job.filter.make(true)), {}, {x, x, {}}, {}};
    }
    std::vector<Scene> runs;
    for (std::uint64_t seed = 1; seed <= kRuns; ++seed) {
        runs.push_back(job.scene(seed));
    }
    Row row{learningCurve(job.filter.make, runs, job), {}, runs[0], {}};
    if (job.plainer) {
        row.plainer = learningCurve(job.plainer->make, runs, job);
    }
    return row;
}

// Processor time, which other processes do not influence.
double nanosecondsSoFar() {
    timespec t{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return 1e9 * static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec);
}

// The filters take turns, so that a change of the clock rate affects all of them alike.
void time(const std::vector<Job>& all, std::vector<Row>& rows) {
    for (int pass = 0; pass < kPasses; ++pass) {
        for (std::size_t k = 0; k < rows.size(); ++k) {
            const Scene& scene = rows[k].scene;
            const Filter filter = all[k].filter.make(false);
            std::array<double, kBlockSize> y;
            const double begin = nanosecondsSoFar();
            for (std::size_t n = 0; n < kTimed; n += kBlockSize) {
                filter(&scene.x[n], &scene.d[n], y.data());
            }
            rows[k].nanoseconds.push_back((nanosecondsSoFar() - begin) / kTimed);
        }
    }
    for (Row& row : rows) {
        std::sort(row.nanoseconds.begin(), row.nanoseconds.end());
    }
}

void runTour(const std::string& curvesPath) {
    const auto samples = [](const Curve& curve) {
        return curve.samples ? std::to_string(*curve.samples) : "never";
    };
    const std::vector<Job> all = jobs();
    std::vector<Row> rows;
    std::transform(all.begin(), all.end(), std::back_inserter(rows), evaluate);
    time(all, rows);

    std::string missed;
    std::vector<Signal> curves;
    std::printf("%-13s  %-31s  %9s  %17s  %8s  %9s  %s\n", "family", "job", "goal (dB)",
                "to goal (samples)", "end (dB)", "ns/sample", "plainer filter (samples)");
    for (std::size_t k = 0; k < all.size(); ++k) {
        const Job& job = all[k];
        const Row& row = rows[k];
        std::printf("%-13s  %-31s  %9.0f  %17s  %8.1f  %9.1f", job.filter.family.c_str(),
                    job.text.c_str(), job.goal, job.scene ? samples(row.own).c_str() : "-",
                    row.own.end, row.nanoseconds[kPasses / 2]);
        if (row.plainer) {
            std::printf("  %s: %s", job.plainer->family.c_str(), samples(*row.plainer).c_str());
        }
        std::puts("");
        if (!(row.own.end < job.goal) || (job.scene && !row.own.samples)) {
            missed += " " + job.filter.family;
        }
        for (std::size_t i = 0; i < row.own.x.size(); ++i) {
            const double plainer = row.plainer ? row.plainer->level[i] : NAN;
            curves.push_back({row.own.x[i], row.own.level[i], plainer});
        }
        curves.insert(curves.end(), 2, Signal{}); // two empty lines end a curve
    }
    host::saveTable(curvesPath,
                    "samples; residual (dB) of the family and of the plainer filter. First block: "
                    "frequency (cycles per sample); response (dB)",
                    curves);
    if (!missed.empty()) {
        host::fail("above the goal", missed.substr(1));
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string curvesPath;
    host::commandLine(argc, argv, "Runs each family of filters on a typical job.", {},
                      {{"curves", "output file for the learning curves in dB", &curvesPath}});
    return host::runHost(argv[0], [&] { runTour(curvesPath); });
}
