// The timed loop of a transform, in place. Every call gets a fresh copy of its input, so that values
// neither grow nor decay.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <random>

namespace bench {

constexpr int kLongest = 8192;

// Aligned to cache lines, or the copy of a short input would cross one for some candidates only.
struct TransformBuffers {
    alignas(64) double x[kLongest + 2];
    alignas(64) double a[kLongest + 2];

    TransformBuffers() {
        std::mt19937 generator(1);
        std::uniform_real_distribution<double> uniform(-1.0, 1.0);
        std::generate(std::begin(x), std::end(x), [&] { return uniform(generator); });
    }
};

// Times transform() on the first `length` numbers of buffers.a, per call.
template <class Transform>
void timeTransform(benchmark::State& run, TransformBuffers& buffers, int length,
                   Transform transform) {
    constexpr int kCalls = 16; // per iteration
    for (auto _ : run) {
        for (int i = 0; i < kCalls; ++i) {
            std::memcpy(buffers.a, buffers.x, static_cast<size_t>(length) * sizeof(double));
            transform();
            benchmark::ClobberMemory();
        }
    }
    run.SetItemsProcessed(static_cast<int64_t>(run.iterations()) * kCalls);
}

} // namespace bench
