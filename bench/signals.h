// The signals of every timed loop: white noise, the same in every run and for every candidate.
#pragma once

#include <algorithm>
#include <iterator>
#include <random>

namespace bench {

constexpr int kMaxOrder = 32;

// Samples in one pass of a timed loop. With a thousand, the branch predictor would learn the signs of
// the error, and a sign rule that branches on them would look cheaper than it is.
constexpr int kSamples = 65536;

// Arrays lie 16 bytes behind a cache line: malloc guarantees 16 bytes and no more.
struct alignas(64) Signals {
    double offset[2];
    double x[kSamples];                 // input, uniform in [-1, 1)
    double d[kSamples];                 // desired; independent of x, so that the error stays large
    double y[kSamples] = {};            // output
    double coef[kMaxOrder];             // of fixed filters, absolute sum at most 1
    double older[kSamples + kMaxOrder]; // x in reverse, see line()

    Signals() {
        std::mt19937_64 noise(1);
        const auto next = [&] { return static_cast<double>(noise() >> 11) * 0x1p-52 - 1.0; };
        std::generate(std::begin(x), std::end(x), next);
        std::generate(std::begin(d), std::end(d), next);
        std::generate(std::begin(coef), std::end(coef), [&] { return next() / kMaxOrder; });
        std::generate(std::begin(older), std::end(older), next);
        std::reverse_copy(std::begin(x), std::end(x), older);
    }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    // The linear line of sample i, newest first. It moves through a longer array, so that shifting
    // costs a candidate on a linear line nothing.
    double* line(int i) { return older + (kSamples - 1 - i); }
};

} // namespace bench
