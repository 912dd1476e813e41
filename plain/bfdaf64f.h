// pbfdaf64f with one partition and double-precision constants.
#pragma once

#include "plain/pbfdaf64f.h"

#include <bfdaf64f.h>

namespace plain {

inline void singleOutput(bfdaf64fState* s, const double* x, double* y) {
    transformFrame(s, x, s->frame);
    forEachBin(
        s->fftLen, [=](int32_t slot, int32_t) { s->outBuf[slot] = s->coef[slot] * s->frame[slot]; },
        [=](int32_t k) { put(s->outBuf, k, get(s->coef, k) * get(s->frame, k)); });
    inverse(s, s->outBuf);
    for (int32_t i = 0; i < s->blockLen; ++i) {
        s->outBuf[s->overlap + i] = s->invScale * s->outBuf[s->overlap + i];
        y[i] = s->outBuf[s->overlap + i];
    }
    smoothSpectrum(s->frame, s->powerGain, 0.98, s->powerInst, s->powerAvg, s->fftLen);
}

[[gnu::noinline]] inline int32_t bfdaf64fFilterUpdate(bfdaf64fState* s, const double* x,
                                                      const double* d, double* y, double* e) {
    singleOutput(s, x, y);
    normalisedError(s, d, y, e, 1e-6);
    conjugateSpectrum(s->frame, s->frame, s->fftLen);
    addProduct(s->outBuf, s->frame, s->coef, s->fftLen);
    if (s->constrained != 0) {
        constrain(s, s->coef);
    }
    return STS_OK;
}

[[gnu::noinline]] inline int32_t bfdaf64fFilterOnly(bfdaf64fState* s, const double* x, double* y) {
    singleOutput(s, x, y);
    return STS_OK;
}

} // namespace plain
