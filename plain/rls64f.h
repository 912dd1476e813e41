// gain = P x, q = x . gain, k[i] = gain[i] / (q + lambda), coef[i] += k[i] * e,
// P[i][j] = invLambda * P[i][j] - k[i] * gain[j], P the lower triangle by rows
#pragma once

#include "plain/loops.h"

#include <rls64f.h>

namespace plain {

template <bool kAdapt>
inline double rlsStep(rls64fState* s, double d) {
    const int32_t order = s->order;
    const double* const line = s->delayLine;
    double* const gain = s->gain;
    double* const P = s->invCorr;
    const double y = dotLinear(line, s->coef, order);
    if (kAdapt) {
        s->err = d - y;
    }
    for (int32_t i = 0; i < order; ++i) {
        double sum = 0.0;
        for (int32_t j = 0; j <= i; ++j) {
            sum += P[i * (i + 1) / 2 + j] * line[j];
        }
        for (int32_t k = i + 1; k < order; ++k) {
            sum += P[k * (k + 1) / 2 + i] * line[k];
        }
        gain[i] = sum;
    }
    const double q = dotLinear(line, gain, order);
    for (int32_t i = 0; i < order; ++i) {
        const double k = gain[i] / (q + s->lambda);
        if (kAdapt) {
            s->coef[i] = k * s->err + s->coef[i];
        }
        for (int32_t j = 0; j <= i; ++j) {
            P[i * (i + 1) / 2 + j] = s->invLambda * P[i * (i + 1) / 2 + j] - k * gain[j];
        }
    }
    return y;
}

inline void rlsInsert(rls64fState* s, double x) {
    for (int32_t k = s->order - 2; k >= 0; --k) {
        s->delayLine[k + 1] = s->delayLine[k];
    }
    s->delayLine[0] = x;
}

[[gnu::noinline]] inline double rls64fFilterUpdate(rls64fState* s, double x, double d) {
    rlsInsert(s, x);
    return rlsStep<true>(s, d);
}

[[gnu::noinline]] inline double rls64fFilterOnly(rls64fState* s, double x) {
    rlsInsert(s, x);
    return rlsStep<false>(s, 0.0);
}

[[gnu::noinline]] inline double rls64fLCFilterUpdate(rls64fState* s, double d) {
    return rlsStep<true>(s, d);
}

[[gnu::noinline]] inline double rls64fLCFilterOnly(rls64fState* s) {
    return rlsStep<false>(s, 0.0);
}

} // namespace plain
