// The stages of the least-squares lattice, a-posteriori errors; with jointCorr d is regressed on the
// backward errors.
#pragma once

#include "plain/loops.h"

#include <rlslattice64f.h>

namespace plain {

struct LatticeErrors {
    double f, b, e;
};

template <bool kAdapt, class State>
inline LatticeErrors passLeastSquaresStages(State* s, double x, double d) {
    double f = x;
    double b = x;
    double g = 1.0;
    double e = d;
    for (int32_t i = 0; i < s->order; ++i) {
        const double bb = b * b;
        const double newB = s->lambda * s->bwdEnergy[i] + bb / g;
        if constexpr (kAdapt) {
            s->fwdEnergy[i] = s->lambda * s->fwdEnergy[i] + f * f / s->prevGamma[i];
            s->crossCorr[i] = s->lambda * s->crossCorr[i] + f * s->delayLine[i] / s->prevGamma[i];
            s->fwdParcor[i] = s->crossCorr[i] / s->bwdEnergy[i];
            s->bwdParcor[i] = s->crossCorr[i] / s->fwdEnergy[i];
        }
        const double nextF = f - s->fwdParcor[i] * s->delayLine[i];
        const double nextB = s->delayLine[i] - s->bwdParcor[i] * f;
        if constexpr (requires { s->jointCorr; }) {
            if constexpr (kAdapt) {
                s->jointCorr[i] = s->lambda * s->jointCorr[i] + e * b / g;
                s->coef[i] = s->jointCorr[i] / newB;
            }
            e = e - s->coef[i] * b;
        }
        s->prevGamma[i] = g;
        g = g - bb / newB;
        s->bwdEnergy[i] = newB;
        s->delayLine[i] = b;
        f = nextF;
        b = nextB;
    }
    return {f, b, e};
}

[[gnu::noinline]] inline double rlslattice64fFilterUpdate(rlslattice64fState* s, double x,
                                                          double d) {
    s->err = passLeastSquaresStages<true>(s, x, d).e;
    return d - s->err;
}

[[gnu::noinline]] inline double rlslattice64fFilterOnly(rlslattice64fState* s, double x) {
    return -passLeastSquaresStages<false>(s, x, 0.0).e;
}

} // namespace plain
