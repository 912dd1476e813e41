// Normalised LMS filter over blocks: `blockLen` samples per call, one update per sample in array
// order, g = (mu * e) / (power + floor) with power = keep * power + gain * x(n)^2.
// Source: Nagumo and Noda 1967, A learning method for system identification.
// Departs from the textbook in updating at every sample, and in the normaliser: the smoothed power of
// one sample, with single-precision constants, so mu is stable up to about 2 / order.
#include "bnlms64f.h"

#include "block/block_update.h"
#include "frame/accessors.h"
#include "frame/block_filter.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/smoothed_power.h"
#include "frame/transversal.h"
#include "frame/update_rules.h"

using namespace merlo;

namespace {

template <class Provide>
int32_t setUp(bnlms64fState* state, int32_t order, int32_t blockLen, double mu, Provide provide) {
    if (blockLen < 1) {
        return fail(state, STS_BAD_SIZE);
    }
    if (const int32_t status = provideTapsAndRing(state, order, provide); status != STS_OK) {
        return status;
    }
    state->blockLen = blockLen;
    state->mu = mu;
    state->power = 1.0;
    state->head = 0;
    return STS_OK;
}

bool isSetUp(const bnlms64fState* state) {
    return state->coef != nullptr && state->delayLine != nullptr;
}

// Smooths the power with the next sample at every call.
struct RunningPower {
    double power;
    const double* next;
    void operator()() { power = smoothPower<SingleWeights>(power, *next++); }
};

} // namespace

int32_t bnlms64fInit(bnlms64fState* state, int32_t order, int32_t blockLen, double mu) {
    return setUp(state, order, blockLen, mu, fromHeap);
}

int32_t bnlms64fInitStatic(bnlms64fState* state, int32_t order, int32_t blockLen, double mu,
                           double* coefBuf, double* delayBuf) {
    return setUp(state, order, blockLen, mu, FromHost(coefBuf, delayBuf));
}

void bnlms64fFree(bnlms64fState* state) { releaseTapsAndRing(state); }

int32_t bnlms64fFilterUpdate(bnlms64fState* state, const double* x, const double* d, double* y,
                             double* e) {
    if (!isSetUp(state)) {
        return STS_NULL_PTR;
    }
    double power = state->power;
    const double mu = state->mu;
    adaptBlock<PlainRule>(state->coef, state->order, state->delayLine, &state->head, x, d, y, e,
                          state->blockLen, [&power, mu](double error, double sample) {
                              power = smoothPower<SingleWeights>(power, sample);
                              return normalisedGain<SingleWeights>(mu, error, power);
                          });
    state->power = power;
    return STS_OK;
}

int32_t bnlms64fFilterOnly(bnlms64fState* state, const double* x, double* y) {
    if (!isSetUp(state)) {
        return STS_NULL_PTR;
    }
    state->power = filterBlock(state->coef, state->order, state->delayLine, &state->head, x, y,
                               state->blockLen, RunningPower{state->power, x})
                       .power;
    return STS_OK;
}

int32_t bnlms64fReset(bnlms64fState* state) { return reset64f(state->coef, state->order); }

int32_t bnlms64fResetDelayLine(bnlms64fState* state) {
    return reset64f(state->delayLine, state->order);
}

int32_t bnlms64fGetCoef(const bnlms64fState* state, double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t bnlms64fSetCoef(bnlms64fState* state, const double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t bnlms64fGetDelayLine(const bnlms64fState* state, double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return readLine(state, buf, start, count, reversed);
}

int32_t bnlms64fSetDelayLine(bnlms64fState* state, const double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return writeLine(state, buf, start, count, reversed);
}

int32_t bnlms64fResize(bnlms64fState* state, int32_t order, int32_t blockLen) {
    if (order == state->order && blockLen == state->blockLen) {
        return STS_OK;
    }
    bnlms64fState next = *state;
    if (const int32_t status = bnlms64fInit(&next, order, blockLen, state->mu); status != STS_OK) {
        return status;
    }
    next.power = state->power;
    return replaceTapsAndRing(state, next, order, bnlms64fFree);
}
