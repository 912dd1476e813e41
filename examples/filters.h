// Shared by the example hosts: fixed filters, and the tables of the transform.
#ifndef MERLO64F_EXAMPLES_FILTERS_H
#define MERLO64F_EXAMPLES_FILTERS_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

#include <fft_tables.h>
#include <fir64f.h>

#include "host.h"

namespace host {

// A windowed sinc of MAX_TAPS taps with unit gain at 0 Hz.
// cutoff  frequency of -6 dB, in cycles per sample; window  0.54 for Hamming, 0.5 for Hann
inline Signal lowPass(double cutoff, double window = 0.54) {
    constexpr double kLength = MAX_TAPS;
    Signal taps(MAX_TAPS);
    double gain = 0.0;
    for (std::size_t k = 0; k < taps.size(); ++k) {
        const double t = static_cast<double>(k) - (kLength - 1.0) / 2.0; // never 0
        const double turn = 2.0 * std::numbers::pi * t;
        taps[k] =
            std::sin(turn * cutoff) / t * (window + (1.0 - window) * std::cos(turn / kLength));
        gain += taps[k];
    }
    for (double& tap : taps) {
        tap /= gain;
    }
    return taps;
}

// x convolved with a response of any length: the sum of filters of up to MAX_TAPS taps, each
// applied to x delayed by the position of its first tap.
inline Signal through(std::span<const double> response, std::span<const double> x) {
    Signal taps(response.begin(), response.end()), total(x.size()), part(x.size());
    std::array<double, MAX_TAPS> delayLine;
    for (std::size_t from = 0; from < std::min(taps.size(), x.size()); from += MAX_TAPS) {
        const auto order = std::min<std::size_t>(MAX_TAPS, taps.size() - from);
        const auto length = static_cast<int32_t>(x.size() - from);
        fir64fState filter;
        require(
            fir64fInitStatic(&filter, static_cast<int32_t>(order), &taps[from], delayLine.data()),
            "response");
        fir64fBlockFilter(&filter, x.data(), part.data(), length);
        addIp64f(part.data(), &total[from], length);
    }
    return total;
}

// The tables for transforms up to the length `longest`.
struct TransformTables {
    explicit TransformTables(int32_t longest)
        : table(static_cast<std::size_t>(fftTableLen(longest))),
          twiddles(static_cast<std::size_t>(fftTwiddlesLen(longest))) {
        require(fillFftTables(longest, table.data(), twiddles.data()), "transform tables");
    }

    std::vector<int32_t> table;
    Signal twiddles;
};

} // namespace host

#endif
