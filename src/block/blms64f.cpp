// LMS filter over blocks: `blockLen` samples per call, one update per sample in array order. A call
// equals that many single steps; no gradient is summed over the block. Four update rules.
// Source: Widrow and Hoff 1960, Adaptive switching circuits; for the sign forms see update_rules.h.
// Departs from the textbook's block LMS in updating at every sample, and in sgn(0) = +1.
#include "blms64f.h"

#include "block/block_update.h"
#include "frame/accessors.h"
#include "frame/block_filter.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/transversal.h"
#include "frame/update_rules.h"

using namespace merlo;

namespace {

template <class Provide>
int32_t setUp(blms64fState* state, int32_t order, int32_t blockLen, double mu, Provide provide) {
    if (blockLen < 1) {
        return fail(state, STS_BAD_SIZE);
    }
    if (const int32_t status = provideTapsAndRing(state, order, provide); status != STS_OK) {
        return status;
    }
    state->blockLen = blockLen;
    state->mu = mu;
    state->head = 0;
    return STS_OK;
}

bool isSetUp(const blms64fState* state) {
    return state->coef != nullptr && state->delayLine != nullptr;
}

template <class Rule>
int32_t update(blms64fState* state, const double* x, const double* d, double* y, double* e) {
    if (!isSetUp(state)) {
        return STS_NULL_PTR;
    }
    const double mu = state->mu;
    adaptBlock<Rule>(state->coef, state->order, state->delayLine, &state->head, x, d, y, e,
                     state->blockLen, [mu](double error, double) { return Rule::gain(mu, error); });
    return STS_OK;
}

} // namespace

int32_t blms64fInit(blms64fState* state, int32_t order, int32_t blockLen, double mu) {
    return setUp(state, order, blockLen, mu, fromHeap);
}

int32_t blms64fInitStatic(blms64fState* state, int32_t order, int32_t blockLen, double mu,
                          double* coefBuf, double* delayBuf) {
    return setUp(state, order, blockLen, mu, FromHost(coefBuf, delayBuf));
}

void blms64fFree(blms64fState* state) { releaseTapsAndRing(state); }

int32_t blms64fFilterUpdate(blms64fState* state, const double* x, const double* d, double* y,
                            double* e) {
    return update<PlainRule>(state, x, d, y, e);
}

int32_t blms64fFilterUpdateSignErr(blms64fState* state, const double* x, const double* d, double* y,
                                   double* e) {
    return update<SignErrorRule>(state, x, d, y, e);
}

int32_t blms64fFilterUpdateSignReg(blms64fState* state, const double* x, const double* d, double* y,
                                   double* e) {
    return update<SignRegressorRule>(state, x, d, y, e);
}

int32_t blms64fFilterUpdateSignSign(blms64fState* state, const double* x, const double* d,
                                    double* y, double* e) {
    return update<SignSignRule>(state, x, d, y, e);
}

int32_t blms64fFilterOnly(blms64fState* state, const double* x, double* y) {
    if (!isSetUp(state)) {
        return STS_NULL_PTR;
    }
    filterBlock(state->coef, state->order, state->delayLine, &state->head, x, y, state->blockLen,
                [] {});
    return STS_OK;
}

int32_t blms64fReset(blms64fState* state) { return reset64f(state->coef, state->order); }

int32_t blms64fResetDelayLine(blms64fState* state) {
    return reset64f(state->delayLine, state->order);
}

int32_t blms64fGetCoef(const blms64fState* state, double* buf, int32_t start, int32_t count,
                       int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t blms64fSetCoef(blms64fState* state, const double* buf, int32_t start, int32_t count,
                       int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t blms64fGetDelayLine(const blms64fState* state, double* buf, int32_t start, int32_t count,
                            int32_t reversed) {
    return readLine(state, buf, start, count, reversed);
}

int32_t blms64fSetDelayLine(blms64fState* state, const double* buf, int32_t start, int32_t count,
                            int32_t reversed) {
    return writeLine(state, buf, start, count, reversed);
}

int32_t blms64fResize(blms64fState* state, int32_t order, int32_t blockLen) {
    if (order == state->order && blockLen == state->blockLen) {
        return STS_OK;
    }
    blms64fState next = *state;
    if (const int32_t status = blms64fInit(&next, order, blockLen, state->mu); status != STS_OK) {
        return status;
    }
    return replaceTapsAndRing(state, next, order, blms64fFree);
}
