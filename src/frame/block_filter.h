// A block through a filter that does not adapt. While the coefficients stand still, the outputs are
// independent chains: several run side by side, a lane each, over a straight copy of the history.
// Every output keeps its own accumulator and its own order of taps, and with them its bits.
#pragma once

#include "kernels.h"
#include "lanes.h"
#include "straight_line.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace merlo {

// kVectors * kLanes neighbouring outputs. `newest` is the sample that meets coef[0] in the last of
// them; since the history lies newest first, the lanes run from the last output to the first.
// beside() is called once per output, between the taps, where a slow chain of its own costs nothing.
// The asm keeps the tap loop from being unrolled into one that spills its accumulators: loads are
// not carried from tap to tap.
template <int32_t kVectors, class Beside>
[[gnu::always_inline]] inline void sideBySide(const double* coef, int32_t order,
                                              const double* newest, double* out, Beside& beside) {
    constexpr int32_t kOutputs = kVectors * kLanes;
    Lanes sum[kVectors] = {};
    for (int32_t k = 0; k < order; ++k) {
        asm volatile("" ::: "memory");
#pragma GCC unroll 16
        for (int32_t v = 0; v < kVectors; ++v) {
            sum[v] += load<Lanes>(newest + k + v * kLanes) * coef[k];
        }
        if (k < kOutputs) {
            beside();
        }
    }
    for (int32_t k = order; k < kOutputs; ++k) {
        beside();
    }
#pragma GCC unroll 16
    for (int32_t v = 0; v < kVectors; ++v) {
        store(backwards(sum[v]), out + (kVectors - 1 - v) * kLanes);
    }
}

// n outputs over samples as StraightLine::append returns them.
template <class Beside>
[[gnu::always_inline]] inline void filterStraight(const double* coef, int32_t order,
                                                  const double* samples, double* out, int32_t n,
                                                  Beside& beside) {
    // As many accumulators as the registers hold beside what else runs in the loop.
    constexpr int32_t kWide = std::is_empty_v<Beside> ? 12 : 8;
    int32_t i = 0;
    for (; n - i >= kWide * kLanes; i += kWide * kLanes) {
        sideBySide<kWide>(coef, order, samples - i - kWide * kLanes, out + i, beside);
    }
    for (; n - i >= 4 * kLanes; i += 4 * kLanes) {
        sideBySide<4>(coef, order, samples - i - 4 * kLanes, out + i, beside);
    }
    for (; n - i >= kLanes; i += kLanes) {
        sideBySide<1>(coef, order, samples - i - kLanes, out + i, beside);
    }
    for (; i < n; ++i) {
        out[i] = dot64f(samples - 1 - i, coef, order);
        beside();
    }
}

// n steps of insertDotCirc64f over a ring line of `order` samples, to the bit, line and head included;
// n >= 0, 1 <= order <= MAX_TAPS. in may be out.
// beside() is called n times; it is returned with what it has come to.
template <class Beside>
inline Beside filterBlock(const double* coef, int32_t order, double* line, int32_t* head,
                          const double* in, double* out, int32_t n, Beside beside) {
    StraightLine history(line, order, *head);
    for (int32_t done = 0; done < n;) {
        const int32_t length = std::min(n - done, StraightLine::kChunk);
        filterStraight(coef, order, history.append(in + done, length), out + done, length, beside);
        done += length;
    }
    history.store(line, head, n);
    return beside;
}

} // namespace merlo
