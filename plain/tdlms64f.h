// X the spectrum of the line: y = sum of C * X over all bins, mirror bins included,
// C += ((err * mu) / (power + 1e-6)) * X, bin by bin
#pragma once

#include "plain/loops.h"
#include "plain/pbfdaf64f.h"

#include <tdlms64f.h>

namespace plain {

// frame holds the line, newest sample first.
inline double transformedOutput(tdlms64fState* s) {
    forward(s, s->frame);
    double y = 0.0;
    for (int32_t k = 1; k < s->fftLen / 2; ++k) {
        const Complex c = get(s->coef, k);
        const Complex x = get(s->frame, k);
        y += 2 * (c.im * x.im + c.re * x.re);
    }
    y += s->coef[0] * s->frame[0];
    y += s->coef[1] * s->frame[1];
    smoothSpectrum(s->frame, 0.019999999552965164, 0.9800000190734863, s->powerInst, s->powerAvg,
                   s->fftLen);
    return y;
}

inline double transformedUpdate(tdlms64fState* s, double d) {
    const double y = transformedOutput(s);
    s->err = d - y;
    const double g = s->err * s->mu;
    for (int32_t i = 0; i < s->fftLen; ++i) {
        const double power = s->powerAvg[i == 1 ? s->fftLen / 2 : i / 2];
        s->coef[i] += (g / (power + 9.999999974752427e-07)) * s->frame[i];
    }
    return y;
}

inline void unrollRing(tdlms64fState* s, double x) {
    const int32_t newest = insert(s->delayLine, s->fftLen, &s->head, x);
    forEachTap(s->delayLine, s->fftLen, s->fftLen, newest,
               [=](int32_t age, double sample) { s->frame[age] = sample; });
}

inline void copyLine(tdlms64fState* s) {
    for (int32_t i = 0; i < s->fftLen; ++i) {
        s->frame[i] = s->delayLine[i];
    }
}

[[gnu::noinline]] inline double tdlms64fFilterUpdate(tdlms64fState* s, double x, double d) {
    unrollRing(s, x);
    return transformedUpdate(s, d);
}

[[gnu::noinline]] inline double tdlms64fFilterOnly(tdlms64fState* s, double x) {
    unrollRing(s, x);
    return transformedOutput(s);
}

[[gnu::noinline]] inline double tdlms64fLCFilterUpdate(tdlms64fState* s, double d) {
    copyLine(s);
    return transformedUpdate(s, d);
}

[[gnu::noinline]] inline double tdlms64fLCFilterOnly(tdlms64fState* s) {
    copyLine(s);
    return transformedOutput(s);
}

} // namespace plain
