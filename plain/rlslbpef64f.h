// The prediction of the sample `order` steps back is that sample minus the last backward error.
#pragma once

#include "plain/lbpef64f.h"
#include "plain/rlslfpef64f.h"

#include <rlslbpef64f.h>

namespace plain {

template <bool kAdapt>
inline double predictBackward(rlslbpef64fState* s, double x) {
    s->err = passPredictorStages<kAdapt>(s, x).b;
    if (s->updateCoef != 0) {
        stepUp(s->bwdParcor, s->order, s->coef);
    }
    return keepInput(s, x) - s->err;
}

[[gnu::noinline]] inline double rlslbpef64fFilterUpdate(rlslbpef64fState* s, double x) {
    return predictBackward<true>(s, x);
}

[[gnu::noinline]] inline double rlslbpef64fFilterOnly(rlslbpef64fState* s, double x) {
    return predictBackward<false>(s, x);
}

} // namespace plain
