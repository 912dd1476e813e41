// A block through a filter that does not adapt. With fixed coefficients the outputs do not depend on
// one another: several are computed at once, a lane each, over a linear copy of the history. Each
// output has its own accumulator and its own order of taps, so its bits do not change.
#pragma once

#include "frame/barriers.h"
#include "frame/kernels.h"
#include "frame/lanes.h"
#include "frame/linear_line.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace merlo {

// kVectors * kLanes consecutive outputs. `newest` is the sample that coef[0] weights in the last
// of them. The history lies newest first, so the lanes run from the last output to the first.
// perOutput() is called once per output, inside the tap loop, so that an independent recurrence
// overlaps with the sums.
template <int32_t kVectors, class PerOutput>
[[gnu::always_inline]] inline void filterOutputs(const double* coef, int32_t order,
                                                 const double* newest, double* out,
                                                 PerOutput& perOutput) {
    constexpr int32_t kOutputs = kVectors * kLanes;
    Lanes sum[kVectors] = {};
    for (int32_t k = 0; k < order; ++k) {
        reloadMemory();
#pragma GCC unroll 16
        for (int32_t v = 0; v < kVectors; ++v) {
            sum[v] += load<Lanes>(newest + k + v * kLanes) * coef[k];
        }
        if (k < kOutputs) {
            perOutput();
        }
    }
    for (int32_t k = order; k < kOutputs; ++k) {
        perOutput();
    }
#pragma GCC unroll 16
    for (int32_t v = 0; v < kVectors; ++v) {
        store(backwards(sum[v]), out + (kVectors - 1 - v) * kLanes);
    }
}

// n outputs over samples as LinearLine::append returns them.
template <class PerOutput>
[[gnu::always_inline]] inline void filterLinear(const double* coef, int32_t order,
                                                const double* samples, double* out, int32_t n,
                                                PerOutput& perOutput) {
    // speed only: as many accumulators as there are registers beside what perOutput needs
    constexpr int32_t kWide = std::is_empty_v<PerOutput> ? 12 : 8;
    constexpr int32_t kMiddle = 4; // speed only: shortens the remainder
    int32_t i = 0;
    for (; n - i >= kWide * kLanes; i += kWide * kLanes) { // speed only: remainder loops follow
        filterOutputs<kWide>(coef, order, samples - i - kWide * kLanes, out + i, perOutput);
    }
    for (; n - i >= kMiddle * kLanes; i += kMiddle * kLanes) { // speed only: as above
        filterOutputs<kMiddle>(coef, order, samples - i - kMiddle * kLanes, out + i, perOutput);
    }
    for (; n - i >= kLanes; i += kLanes) { // speed only: as above
        filterOutputs<1>(coef, order, samples - i - kLanes, out + i, perOutput);
    }
    for (; i < n; ++i) {
        out[i] = dot64f(samples - 1 - i, coef, order);
        perOutput();
    }
}

// The same result as n steps of insertDotCirc64f over a ring line of `order` samples, line and head
// included; n >= 0, 1 <= order <= MAX_TAPS. in may be out.
// perOutput() is called n times; it is returned in its final state.
template <class PerOutput>
inline PerOutput filterBlock(const double* coef, int32_t order, double* line, int32_t* head,
                             const double* in, double* out, int32_t n, PerOutput perOutput) {
    LinearLine history(line, order, *head);
    for (int32_t done = 0; done < n;) {
        const int32_t length = std::min(n - done, LinearLine::kChunk);
        filterLinear(coef, order, history.append(in + done, length), out + done, length, perOutput);
        done += length;
    }
    history.store(line, head, n);
    return perOutput;
}

} // namespace merlo
