// y = sum of coef[k] * x(n-k)
#pragma once

#include "plain/loops.h"

#include <fir64f.h>

namespace plain {

[[gnu::noinline]] inline double fir64fFilter(fir64fState* s, double x) {
    const int32_t newest = insert(s->delayLine, s->order, &s->head, x);
    return dotRing(s->delayLine, s->order, s->coef, s->order, newest);
}

[[gnu::noinline]] inline double fir64fLCFilter(const fir64fState* s) {
    return dotLinear(s->delayLine, s->coef, s->order);
}

[[gnu::noinline]] inline int32_t fir64fBlockFilter(fir64fState* s, const double* in, double* out,
                                                   int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        out[i] = plain::fir64fFilter(s, in[i]);
    }
    return STS_OK;
}

} // namespace plain
