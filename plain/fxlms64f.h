// y = coef * x, s = secCoef * y, e = s + d, xf = estCoef * x,
// power = 0.99 * power + 0.01 * xf^2, coef[k] -= (mu * e) / (power + 1e-12) * xf(n-k)
#pragma once

#include "plain/loops.h"

#include <fxlms64f.h>

namespace plain {

// The reference through coef and secCoef; returns s. The newest sample goes to *newest.
template <class State>
inline double throughPath(State* s, double x, int32_t* newest) {
    *newest = insert(s->delayLine, s->refLen, &s->head, x);
    const double y = dotRing(s->delayLine, s->refLen, s->coef, s->order, *newest);
    const int32_t newestOutput = insert(s->outLine, s->secLen, &s->outHead, y);
    return dotRing(s->outLine, s->secLen, s->secCoef, s->secLen, newestOutput);
}

[[gnu::noinline]] inline double fxlms64fFilterUpdate(fxlms64fState* s, double x, double d) {
    int32_t newest;
    const double output = throughPath(s, x, &newest);
    s->err = output + d;
    const double xf = dotRing(s->delayLine, s->refLen, s->estCoef, s->estLen, newest);
    s->fxHead = stepBack(s->fxHead, s->order);
    s->fxLine[s->fxHead] = xf;
    s->power = 0.99 * s->power + 0.01 * (xf * xf);
    const double g = (s->mu * s->err) / (s->power + 1e-12);
    double* const coef = s->coef;
    forEachTap(s->fxLine, s->order, s->order, s->fxHead,
               [=](int32_t k, double filtered) { coef[k] -= g * filtered; });
    return output;
}

[[gnu::noinline]] inline double fxlms64fFilterOnly(fxlms64fState* s, double x) {
    int32_t newest;
    const double output = throughPath(s, x, &newest);
    const double xf = dotRing(s->delayLine, s->refLen, s->estCoef, s->estLen, newest);
    s->power = 0.99 * s->power + 0.01 * (xf * xf);
    return output;
}

} // namespace plain
