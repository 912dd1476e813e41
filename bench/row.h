// A row of the benchmark's tables, and how its candidates are timed.
#pragma once

#include "signals.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// Sets up, then runs its pass `for (auto _ : run)` and sets the number of items: samples, or calls.
using Timed = std::function<void(benchmark::State& run)>;

struct Candidate {
    std::string name; // "subject" (the library), "plain", "floor", or a peer's
    Timed timed;      // null: not installed
    int delay = 0;    // of a peer with a longer block, in samples more than the subject's

    bool isPeer() const { return name != "subject" && name != "plain" && name != "floor"; }
};

struct Row {
    std::string family;
    std::string operation;
    std::string sizeName; // what `size` counts
    int size;
    std::vector<Candidate> candidates;

    // The name that --benchmark_filter matches.
    std::string nameOf(const std::string& candidate) const {
        return family + '/' + operation + '/' + std::to_string(size) + '/' + candidate;
    }
};

// Times pass(host, kSamples), which processes all samples, on a Host (a Signals with a filter) made anew
// for every repetition.
template <class Host, class Pass, class... Arguments>
Timed timed(Pass pass, Arguments... arguments) {
    return [=](benchmark::State& run) {
        const auto host = std::make_unique<Host>(arguments...);
        for (auto _ : run) {
            pass(*host, kSamples);
            benchmark::ClobberMemory();
        }
        run.SetItemsProcessed(static_cast<int64_t>(run.iterations()) * kSamples);
        if (!std::isfinite(std::accumulate(std::begin(host->y), std::end(host->y), 0.0))) {
            run.SkipWithError("the output is not finite");
        }
    };
}

// As above, where step(host, i) processes the samples from i to i + block - 1.
template <class Host, class Step, class... Arguments>
Timed timedSteps(int block, Step step, Arguments... arguments) {
    const auto pass = [=](Host& host, int n) {
        for (int i = 0; i < n; i += block) {
            step(host, i);
        }
    };
    return timed<Host>(pass, arguments...);
}

// All rows, in the order of the tables.
std::vector<Row> rows();

} // namespace bench
