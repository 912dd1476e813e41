// Block frequency-domain adaptive filter: overlap-save filtering of a block by one coefficient spectrum
// C, and C += (mu * (E / (power + 1e-6))) * conj(X), bin by bin, with the smoothed power spectrum of the
// input. The constraint reduces C to `order` taps after every update.
// Source: Ferrara 1980, Fast implementation of LMS adaptive filters; Mansour and Gray 1982,
// Unconstrained frequency-domain adaptive filter (without the constraint).
// Departs from the textbook in the sign of the transform's exponent: C is conjugate to the usual one.
#include "bfdaf64f.h"

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lanes.h"
#include "frame/lifecycle.h"
#include "transform/overlap_save.h"
#include "transform/packed_spectrum.h"

#include <algorithm>

using namespace merlo;

namespace {

struct Weights {
    static constexpr double keep = 0.98;
    static constexpr double regulariser = 1e-6;
};
constexpr double kPowerGain = 1.0 - 0.98; // 0.020000000000000018, not the double nearest to 0.02

template <class Provide>
int32_t setUp(bfdaf64fState* state, int32_t order, int32_t blockLen, double mu, int32_t constrained,
              int32_t* fftTable, const double* fftTwiddles, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (fftTwiddles == nullptr || fftTable == nullptr) {
        return fail(state, STS_NULL_PTR);
    }
    if (blockLen < 1 || order < 1 || !setFraming(state, order, blockLen)) {
        return fail(state, STS_BAD_SIZE);
    }
    const int64_t fftLen = state->fftLen;
    const int64_t bins = state->bins;
    if (const int32_t status = provide(
            {{&state->coef, fftLen}, {&state->delayLine, state->overlap + 2 * fftLen + 2 * bins}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->order = order;
    state->constrained = constrained != 0 ? 1 : 0;
    state->powerGain = kPowerGain / blockLen;
    state->mu = mu;
    state->frame = state->delayLine + state->overlap;
    state->outBuf = state->frame + fftLen;
    state->powerInst = state->outBuf + fftLen;
    state->powerAvg = state->powerInst + bins;
    state->fftTwiddles = fftTwiddles;
    state->fftTable = fftTable;
    return set64f(1.0, state->powerAvg, state->bins);
}

// Scales the block of output in outBuf and copies it to y; in pairs, as the transform of a short frame
// stores it.
void putOut(const bfdaf64fState* state, double* __restrict y) {
    double* const __restrict valid = state->outBuf + state->overlap;
    int32_t i = 0;
    for (; i + 2 <= state->blockLen; i += 2) {
        const Pair scaled = state->invScale * load<Pair>(valid + i);
        store(scaled, valid + i);
        store(scaled, y + i);
    }
    if (i < state->blockLen) {
        y[i] = valid[i] = state->invScale * valid[i];
    }
}

// Computes the output of the block; frame becomes the spectrum of the input.
void filter(bfdaf64fState* state, const double* x, double* y) {
    frameSpectrum(state, x, state->frame);
    mulPacked64f(state->coef, state->frame, state->outBuf, state->bins);
    toTime(state, state->outBuf);
    putOut(state, y);
}

// Calls move() with the taps in the time domain; the positions behind them are kept.
template <class Move>
int32_t accessTaps(const bfdaf64fState* state, const double* buf, int32_t start, int32_t count,
                   Move move) {
    const int32_t n = elementsInRange(state->coef, buf, state->order, start, count);
    if (n < 0) {
        return n;
    }
    toTime(state, state->coef);
    scaleIp64f(state->invScale, state->coef, state->fftLen);
    move();
    toSpectrum(state, state->coef);
    return n;
}

} // namespace

int32_t bfdaf64fInit(bfdaf64fState* state, int32_t order, int32_t blockLen, double mu,
                     int32_t constrained, int32_t* fftTable, const double* fftTwiddles) {
    return setUp(state, order, blockLen, mu, constrained, fftTable, fftTwiddles, fromHeap);
}

int32_t bfdaf64fInitStatic(bfdaf64fState* state, int32_t order, int32_t blockLen, double mu,
                           int32_t constrained, double* coefBuf, double* workBuf, int32_t* fftTable,
                           const double* fftTwiddles) {
    return setUp(state, order, blockLen, mu, constrained, fftTable, fftTwiddles,
                 FromHost(coefBuf, workBuf));
}

void bfdaf64fFree(bfdaf64fState* state) {
    release(state->delayLine);
    release(state->coef);
    state->order = 0;
}

int32_t bfdaf64fFilterUpdate(bfdaf64fState* state, const double* x, const double* d, double* y,
                             double* e) {
    if (state->delayLine == nullptr) {
        return STS_NULL_PTR;
    }
    filter(state, x, y);
    errorSpectrum(state, y, d, e);
    smoothPowerSpectrum<Weights>(state, state->frame, state->powerInst);
    conjPackedIp64f(state->frame, state->bins);
    normaliseError<Weights>(state);
    macPacked64f(state->outBuf, state->frame, state->coef, state->bins);
    if (state->constrained != 0) {
        constrain(state, state->coef);
    }
    return STS_OK;
}

int32_t bfdaf64fFilterOnly(bfdaf64fState* state, const double* x, double* y) {
    if (state->delayLine == nullptr) {
        return STS_NULL_PTR;
    }
    filter(state, x, y);
    smoothPowerSpectrum<Weights>(state, state->frame, state->powerInst);
    return STS_OK;
}

int32_t bfdaf64fReset(bfdaf64fState* state) { return reset64f(state->coef, state->fftLen); }

int32_t bfdaf64fResetDelayLine(bfdaf64fState* state) {
    if (state->frame == nullptr || state->delayLine == nullptr) {
        return STS_NULL_PTR;
    }
    reset64f(state->frame, state->fftLen);
    return reset64f(state->delayLine, state->overlap);
}

int32_t bfdaf64fGetCoef(bfdaf64fState* state, double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return accessTaps(state, buf, start, count,
                      [=] { readArray(state->coef, state->order, buf, start, count, reversed); });
}

int32_t bfdaf64fSetCoef(bfdaf64fState* state, const double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return accessTaps(state, buf, start, count,
                      [=] { writeArray(state->coef, state->order, buf, start, count, reversed); });
}

int32_t bfdaf64fResize(bfdaf64fState* state, int32_t order, int32_t blockLen) {
    if (order == state->order && blockLen == state->blockLen) {
        return STS_OK;
    }
    bfdaf64fState next = *state;
    if (const int32_t status = bfdaf64fInit(&next, order, blockLen, state->mu, state->constrained,
                                            state->fftTable, state->fftTwiddles);
        status != STS_OK) {
        return status;
    }
    return replace(state, next, bfdaf64fFree, [&] {
        carryHistory(*state, next);
        carryPower(*state, next);
        double* const taps = state->frame;
        bfdaf64fGetCoef(state, taps, 0, state->order, 0);
        return bfdaf64fSetCoef(&next, taps, 0, std::min(order, state->order), 0);
    });
}
