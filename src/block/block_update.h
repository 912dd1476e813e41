// A block of steps that adapt, one after the other: what the sample filters do, without walking a
// ring and without storing the taps that the next step needs first.
#pragma once

#include "kernels.h"
#include "merlo64f.h"
#include "straight_line.h"
#include "update_rules.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// n steps over samples as StraightLine::append returns them. The first kHeld taps stay in registers:
// the next step begins with them, and a store and a load would lie on its chain of additions.
// kHeld <= order. Per step y[i] is written, d[i] is read, e[i] is written.
template <class Rule, int32_t kHeld, class Gain>
inline void adaptStraight(double* coef, int32_t order, const double* samples, const double* d,
                          double* y, double* e, int32_t n, Gain gain) {
    double held[kHeld + 1];
    std::copy(coef, coef + kHeld, held);
    for (int32_t i = 0; i < n; ++i) {
        const double* const x = samples - 1 - i;
        double out = 0.0;
#pragma GCC unroll 8
        for (int32_t k = 0; k < kHeld; ++k) {
            out += x[k] * held[k];
        }
        out = chainDot(x + kHeld, coef + kHeld, order - kHeld, out);
        y[i] = out;
        const double error = d[i] - out;
        e[i] = error;
        const double g = gain(error, x[0]);
#pragma GCC unroll 8
        for (int32_t k = 0; k < kHeld; ++k) {
            held[k] += Rule::term(g, x[k]);
        }
        adaptRun<Rule>(coef + kHeld, x + kHeld, order - kHeld, g);
    }
    std::copy(held, held + kHeld, coef);
}

// The same over a ring line of `order` samples, 1 <= order <= MAX_TAPS: coefficients, line and head
// are left as n single steps would leave them. gain(error, sample) is called once per step.
// y may be x, e may be x or d.
template <class Rule, class Gain>
inline void adaptBlock(double* coef, int32_t order, double* line, int32_t* head, const double* x,
                       const double* d, double* y, double* e, int32_t n, Gain gain) {
    constexpr int32_t kHeld = 4; // as many additions as a store and a load take
    StraightLine history(line, order, *head);
    for (int32_t done = 0; done < n;) {
        const int32_t length = std::min(n - done, StraightLine::kChunk);
        const double* const samples = history.append(x + done, length);
        if (order >= kHeld) {
            adaptStraight<Rule, kHeld>(coef, order, samples, d + done, y + done, e + done, length,
                                       gain);
        } else {
            adaptStraight<Rule, 0>(coef, order, samples, d + done, y + done, e + done, length,
                                   gain);
        }
        done += length;
    }
    history.store(line, head, n);
}

} // namespace merlo
