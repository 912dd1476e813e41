// lms64f, sample by sample over a block.
#pragma once

#include "plain/lms64f.h"

#include <blms64f.h>

namespace plain {

template <class Rule>
[[gnu::noinline]] inline int32_t blmsUpdate(blms64fState* s, const double* x, const double* d,
                                            double* y, double* e) {
    for (int32_t i = 0; i < s->blockLen; ++i) {
        y[i] = lmsStep<Rule>(s, x[i], d[i], &e[i]);
    }
    return STS_OK;
}

[[gnu::noinline]] inline int32_t blms64fFilterOnly(blms64fState* s, const double* x, double* y) {
    for (int32_t i = 0; i < s->blockLen; ++i) {
        const int32_t newest = insert(s->delayLine, s->order, &s->head, x[i]);
        y[i] = dotRing(s->delayLine, s->order, s->coef, s->order, newest);
    }
    return STS_OK;
}

} // namespace plain
