// The estimate of the sample `order` steps back is that sample minus the last backward error.
#pragma once

#include "plain/gradient_lattice.h"

#include <lbpef64f.h>

namespace plain {

// inLine keeps the newest sample at inHead, which steps forward; returns the oldest sample.
template <class State>
inline double keepInput(State* s, double x) {
    s->inHead = (s->inHead + 1) % (s->order + 1);
    s->inLine[s->inHead] = x;
    return s->inLine[(s->inHead + 1) % (s->order + 1)];
}

template <bool kAdapt>
inline double estimateBackward(lbpef64fState* s, double x) {
    predictorStep<kAdapt>(s, x);
    s->err = s->backErr[s->order];
    return keepInput(s, x) - s->err;
}

[[gnu::noinline]] inline double lbpef64fFilterUpdate(lbpef64fState* s, double x) {
    return estimateBackward<true>(s, x);
}

[[gnu::noinline]] inline double lbpef64fFilterOnly(lbpef64fState* s, double x) {
    return estimateBackward<false>(s, x);
}

} // namespace plain
