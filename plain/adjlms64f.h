// y = coef * x, s = secCoef * y, e = s + d, r = sum of estCoef[estLen-1-j] * e(n-j),
// power = 0.99 * power + 0.01 * x(n-estLen)^2,
// coef[k] -= r * (mu / (power + 1e-12)) * x(n-(estLen-1)-k)
#pragma once

#include "plain/fxlms64f.h"

#include <adjlms64f.h>

namespace plain {

// The line holds order + estLen - 1 samples. With order 1 the sample estLen steps back is the newest.
inline int32_t delayedBy(const adjlms64fState* s, int32_t newest, int32_t steps) {
    return (newest + steps) % s->refLen;
}

inline void adjSmooth(adjlms64fState* s, int32_t newest) {
    const double x = s->delayLine[delayedBy(s, newest, s->estLen)];
    s->power = 0.99 * s->power + 0.01 * (x * x);
}

[[gnu::noinline]] inline double adjlms64fFilterUpdate(adjlms64fState* s, double x, double d) {
    int32_t newest;
    const double output = throughPath(s, x, &newest);
    s->err = output + d;
    const int32_t newestError = insert(s->errLine, s->estLen, &s->errHead, s->err);
    double r = 0.0;
    forEachTap(s->errLine, s->estLen, s->estLen, newestError,
               [&](int32_t j, double e) { r += s->estCoef[s->estLen - 1 - j] * e; });
    adjSmooth(s, newest);
    const double g = r * (s->mu / (s->power + 1e-12));
    double* const coef = s->coef;
    forEachTap(s->delayLine, s->refLen, s->order, delayedBy(s, newest, s->estLen - 1),
               [=](int32_t k, double sample) { coef[k] -= g * sample; });
    return output;
}

[[gnu::noinline]] inline double adjlms64fFilterOnly(adjlms64fState* s, double x) {
    int32_t newest;
    const double output = throughPath(s, x, &newest);
    adjSmooth(s, newest);
    return output;
}

} // namespace plain
