// The prediction of x is x - f, f the forward error of the last stage.
#pragma once

#include "plain/rlslattice64f.h"

#include <rlslfpef64f.h>

namespace plain {

// fwdEnergy[0] is updated twice per sample.
template <bool kAdapt, class State>
inline LatticeErrors passPredictorStages(State* s, double x) {
    if (kAdapt) {
        s->fwdEnergy[0] = s->lambda * s->fwdEnergy[0] + x * x;
    }
    return passLeastSquaresStages<kAdapt>(s, x, 0.0);
}

template <bool kAdapt>
inline double predictForward(rlslfpef64fState* s, double x) {
    s->err = passPredictorStages<kAdapt>(s, x).f;
    if (s->updateCoef != 0) {
        stepUp(s->fwdParcor, s->order, s->coef);
    }
    return x - s->err;
}

[[gnu::noinline]] inline double rlslfpef64fFilterUpdate(rlslfpef64fState* s, double x) {
    return predictForward<true>(s, x);
}

[[gnu::noinline]] inline double rlslfpef64fFilterOnly(rlslfpef64fState* s, double x) {
    return predictForward<false>(s, x);
}

} // namespace plain
