// While the coefficients stand still, the outputs of a block are independent chains: several run
// side by side, a lane each, over a straight copy of the history. Every output keeps its own
// accumulator and its own order of taps, and with them its bits.
#include "block_filter.h"

#include "kernels.h"
#include "merlo64f.h"
#include "ring_line.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace merlo {
namespace {

constexpr int32_t kChunk = 256; // samples straightened at once: 2.3 KB of stack

// As wide as the target's registers: 2 lanes with SSE2 and AArch64, 4 with AVX.
using Lanes = double __attribute__((vector_size(__BIGGEST_ALIGNMENT__)));
constexpr int32_t kLanes = sizeof(Lanes) / sizeof(double);

// kVectors * kLanes neighbouring outputs; newest is the sample that meets coef[0] in the first.
// The asm keeps the tap loop from being unrolled into one that spills its accumulators: loads are
// not carried from tap to tap.
template <int32_t kVectors>
inline void sideBySide(const double* coef, int32_t order, const double* newest, double* out) {
    Lanes sum[kVectors] = {};
    for (int32_t k = 0; k < order; ++k) {
        asm volatile("" ::: "memory");
#pragma GCC unroll 8
        for (int32_t v = 0; v < kVectors; ++v) {
            Lanes x;
            std::memcpy(&x, newest - k + v * kLanes, sizeof x);
            sum[v] += x * coef[k];
        }
    }
    std::memcpy(out, sum, sizeof sum);
}

// n outputs; input[i] is the sample that enters with out[i], its history lies below it.
void filterStraight(const double* coef, int32_t order, const double* input, double* out,
                    int32_t n) {
    constexpr int32_t kWide = 8;
    int32_t i = 0;
    for (; n - i >= kWide * kLanes; i += kWide * kLanes) {
        sideBySide<kWide>(coef, order, input + i, out + i);
    }
    for (; n - i >= kLanes; i += kLanes) {
        sideBySide<1>(coef, order, input + i, out + i);
    }
    for (; i < n; ++i) {
        out[i] = chainDotRev(coef, input + i + 1, order, 0.0);
    }
}

} // namespace

void filterBlock(const double* coef, int32_t order, double* line, int32_t* head, const double* in,
                 double* out, int32_t n) {
    double samples[MAX_TAPS + kChunk]; // oldest first: the line, then the chunk
    double* const chunk = samples + order;
    forEachRun(order, order, ringPosition(*head, 0, order),
               [&](int32_t position, int32_t age, int32_t length) {
                   std::reverse_copy(line + position, line + position + length,
                                     chunk - age - length);
               });
    for (int32_t done = 0; done < n;) {
        const int32_t length = std::min(n - done, kChunk);
        std::memcpy(chunk, in + done, sizeof(double) * static_cast<size_t>(length));
        filterStraight(coef, order, chunk, out + done, length);
        std::memmove(samples, samples + length, sizeof(double) * static_cast<size_t>(order));
        done += length;
    }
    *head = (*head - n % order + order) % order;
    forEachRun(order, order, ringPosition(*head, 0, order),
               [&](int32_t position, int32_t age, int32_t length) {
                   std::reverse_copy(chunk - age - length, chunk - age, line + position);
               });
}

} // namespace merlo
