// y = sum of coef[i] * b(i) over the backward errors, e = d - y,
// coef[i] += (b(i) * muCoef * e) / (power(i) + eps)
#pragma once

#include "plain/gradient_lattice.h"

#include <lmslattice64f.h>

namespace plain {

template <bool kAdapt>
inline double jointOutput(lmslattice64fState* s, double x) {
    passGradientStages<kAdapt>(s, s->order - 1, x);
    double y = 0.0;
    for (int32_t i = 0; i < s->order; ++i) {
        s->delayLine[i] = s->backErr[i];
        y += s->delayLine[i] * s->coef[i];
    }
    return y;
}

[[gnu::noinline]] inline double lmslattice64fFilterUpdate(lmslattice64fState* s, double x,
                                                          double d) {
    const double y = s->adaptParcor != 0 ? jointOutput<true>(s, x) : jointOutput<false>(s, x);
    const double e = d - y;
    s->err = e;
    for (int32_t i = 0; i < s->order; ++i) {
        s->backErr[i] = s->delayLine[i] * s->muCoef * e / (s->power[i] + kLatticeEps);
        s->coef[i] = s->backErr[i] + s->coef[i];
    }
    return y;
}

[[gnu::noinline]] inline double lmslattice64fFilterOnly(lmslattice64fState* s, double x) {
    return jointOutput<false>(s, x);
}

} // namespace plain
