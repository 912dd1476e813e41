// The prediction of x is x - f, f the forward error of the last stage.
#pragma once

#include "plain/gradient_lattice.h"

#include <lfpef64f.h>

namespace plain {

[[gnu::noinline]] inline double lfpef64fFilterUpdate(lfpef64fState* s, double x) {
    s->err = predictorStep<true>(s, x);
    return x - s->err;
}

[[gnu::noinline]] inline double lfpef64fFilterOnly(lfpef64fState* s, double x) {
    s->err = predictorStep<false>(s, x);
    return x - s->err;
}

} // namespace plain
