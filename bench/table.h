// The table: families register candidates, run() measures them and lays out the medians.
//
// A family is a file with one function that is declared at the end of this header and called by
// main(). For each row it names the operation and gives its candidates, of which only the subject is
// a must:
//
//     const Row row{.family = "foo64f", .operation = "FilterUpdate", .size = order};
//     row.subject(samples<Foo>(order, [](Foo& foo, int i) {
//         return foo64fFilterUpdate(&foo.state, foo.x[i], foo.d[i]);
//     }));
//     row.plain(...);
//     row.floor(...);
//     row.peer("somebody's foo, double precision", ...);
#pragma once

#include "signals.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>

namespace bench {

// Sets up, then runs its pass `for (auto _ : run)`.
using Timed = std::function<void(benchmark::State& run)>;

// y[i] = step(host, i) for every sample, where Host is a Signals with a filter in it.
template <class Host, class Step>
Timed samples(int order, Step step) {
    return [=](benchmark::State& run) {
        const auto host = std::make_unique<Host>(order);
        for (auto _ : run) {
            for (int i = 0; i < kSamples; ++i) {
                host->y[i] = step(*host, i);
            }
            benchmark::ClobberMemory();
        }
    };
}

// The same a block at a time: step(host, i) takes samples i .. i + length - 1 and writes y itself.
template <class Host, class Step>
Timed parts(int size, int length, Step step) {
    return [=](benchmark::State& run) {
        const auto host = std::make_unique<Host>(size);
        for (auto _ : run) {
            for (int i = 0; i < kSamples; i += length) {
                step(*host, i);
            }
            benchmark::ClobberMemory();
        }
    };
}

template <class Host, class Step>
Timed blocks(int order, Step step) {
    return parts<Host>(order, kBlock, step);
}

// One line of the table.
struct Row {
    std::string family;
    std::string operation;
    int size;                       // rows of one size stand together
    std::string sizeName = "order"; // what the size counts: "order", "points", ...
    std::string twin = "";          // the operation that does the same on a linear line
    int unitsPerPass = kSamples;    // samples in a pass of the timed loop; where the operation is
                                    // timed by the call, and its name says so, calls

    void subject(Timed timed) const;
    void plain(Timed timed) const;
    void floor(Timed timed) const;
    void peer(const std::string& name, Timed timed) const;
    void peerNotInstalled(const std::string& name) const;
};

// Measures what the flags select and prints the table; returns the exit status.
int run(int argc, char** argv);

void registerFir64f();
void registerLms64f();
void registerNlms64f();
void registerSecondaryPath();
void registerBlock64f();
void registerBlockSpectral();
void registerGradientLattice();
void registerLeastSquares();
void registerRealFft64f();

} // namespace bench
