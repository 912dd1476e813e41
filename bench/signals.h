// What every timed loop runs over: white noise, the same in every run and for every candidate.
#pragma once

#include <algorithm>
#include <iterator>
#include <random>

namespace bench {

constexpr int kOrders[] = {8, 16, 32};
constexpr int kMaxOrder = 32;

// Samples in one pass of a timed loop. A thousand would do for the clock, but a processor learns that
// many signs of e by heart: a sign rule that branches on them would look as if it guessed right.
constexpr int kSamples = 65536;
constexpr int kBlock = 256;

struct Signals {
    double x[kSamples];                 // input, white, uniform in [-1, 1)
    double d[kSamples];                 // desired: independent of x, so that e never dies away
    double y[kSamples];                 // output
    double coef[kMaxOrder];             // for a fixed filter, absolute sum at most 1
    double older[kSamples + kMaxOrder]; // x backwards, see line()

    explicit Signals(int /*order*/ = 0) {
        std::mt19937_64 noise(1);
        const auto next = [&] { return static_cast<double>(noise() >> 11) * 0x1p-52 - 1.0; };
        std::generate(std::begin(x), std::end(x), next);
        std::generate(std::begin(d), std::end(d), next);
        std::generate(std::begin(coef), std::end(coef), [&] { return next() / kMaxOrder; });
        std::generate(std::begin(older), std::end(older), next);
        std::reverse_copy(std::begin(x), std::end(x), older);
    }

    // The linear line of sample i, newest first. It slides over a longer array, so that a candidate
    // on a linear line pays for nothing but its own work.
    double* line(int i) { return older + (kSamples - 1 - i); }
};

// A step size far inside the stable range for input of this power, 1/3.
inline double stepSize(int order) { return 0.1 / order; }

} // namespace bench
