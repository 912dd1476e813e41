// A block of adaptive steps, one after the other, as the sample filters do them. It is faster than
// single calls: it needs no ring line, and it keeps the first taps in registers between steps.
#pragma once

#include "frame/kernels.h"
#include "frame/linear_line.h"
#include "frame/update_rules.h"
#include "merlo64f.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// n steps over samples as LinearLine::append returns them. The first kHeld taps stay in registers: the
// next step begins with them, and a store and a load would delay its chain of additions.
// kHeld <= order. In each step y[i] is written, then d[i] is read, then e[i] is written.
template <class Rule, int32_t kHeld, class Gain>
inline void adaptLinear(double* coef, int32_t order, const double* samples, const double* d,
                        double* y, double* e, int32_t n, Gain gain) {
    double held[kHeld + 1]; // kHeld of them are used, and an array may not be empty
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

// The same over a ring line of `order` samples, 1 <= order <= MAX_TAPS. Coefficients, line and head
// end as n single steps would leave them. gain(error, sample) is called once per step.
// y may be x, e may be x or d.
template <class Rule, class Gain>
inline void adaptBlock(double* coef, int32_t order, double* line, int32_t* head, const double* x,
                       const double* d, double* y, double* e, int32_t n, Gain gain) {
    constexpr int32_t kHeld = 4; // speed only: as many additions as a store and a load take
    LinearLine history(line, order, *head);
    for (int32_t done = 0; done < n;) {
        const int32_t length = std::min(n - done, LinearLine::kChunk);
        const double* const samples = history.append(x + done, length);
        if (order >= kHeld) { // speed only: both ways give the same bits
            adaptLinear<Rule, kHeld>(coef, order, samples, d + done, y + done, e + done, length,
                                     gain);
        } else {
            // speed only: as above
            adaptLinear<Rule, 0>(coef, order, samples, d + done, y + done, e + done, length, gain);
        }
        done += length;
    }
    history.store(line, head, n);
}

} // namespace merlo
