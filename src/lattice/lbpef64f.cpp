// Backward prediction-error filter as a gradient lattice: the estimate of the sample `order` steps
// back is that sample minus the backward error of the last stage (gradient_stages.h). coef is the
// direct form: estimate = sum of coef[j] * x(n-order+1+j), j = 0 .. order-1.
// Source: Griffiths 1977, A continuously adaptive filter implemented as a lattice structure; Makhoul
// 1977, Stable and efficient lattice methods for linear prediction.
// Departs from the textbook in the weights of the power, 0.98 and 0.01, and in the step mu/power + eps.
#include "lbpef64f.h"

#include "frame/accessors.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"
#include "lattice/gradient_stages.h"

using namespace merlo;

namespace {

constexpr int32_t kStageArrays = 4; // delayLine, power, backErr, inLine

template <class Provide>
int32_t setUp(lbpef64fState* state, int32_t order, double mu, Provide provide) {
    if (const int32_t status = setUpPredictor(state, order, kStageArrays, mu, provide);
        status != STS_OK) {
        return status;
    }
    state->inLine = state->backErr + (state->order + 1);
    state->inHead = state->order;
    return STS_OK;
}

// inLine holds order + 1 samples. inHead steps forward and is the position of the newest sample, so
// the oldest is at the next position.
template <bool kAdapt>
double step(lbpef64fState* state, double x) {
    state->err = predictorStep<kAdapt>(state, x).backward;
    const int32_t lineLen = state->order + 1;
    state->inHead = stepUp(state->inHead, 1, lineLen);
    state->inLine[state->inHead] = x;
    return state->inLine[stepUp(state->inHead, 1, lineLen)] - state->err;
}

} // namespace

int32_t lbpef64fInit(lbpef64fState* state, int32_t order, double mu) {
    return setUp(state, order, mu, fromHeap);
}

int32_t lbpef64fInitStatic(lbpef64fState* state, int32_t order, double mu, double* coefBuf,
                           double* workBuf) {
    return setUp(state, order, mu, FromHost(coefBuf, workBuf));
}

void lbpef64fFree(lbpef64fState* state) { releaseStages(state); }

double lbpef64fFilterUpdate(lbpef64fState* state, double x) { return step<true>(state, x); }

double lbpef64fFilterOnly(lbpef64fState* state, double x) { return step<false>(state, x); }

int32_t lbpef64fReset(lbpef64fState* state) { return resetStages(state); }

int32_t lbpef64fGetCoef(const lbpef64fState* state, double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lbpef64fSetCoef(lbpef64fState* state, const double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lbpef64fGetParcor(const lbpef64fState* state, double* buf, int32_t start, int32_t count,
                          int32_t reversed) {
    return readArray(state->parcor, state->order, buf, start, count, reversed);
}

int32_t lbpef64fSetParcor(lbpef64fState* state, const double* buf, int32_t start, int32_t count,
                          int32_t reversed) {
    return writeArray(state->parcor, state->order, buf, start, count, reversed);
}

int32_t lbpef64fGetDelayLine(const lbpef64fState* state, double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t lbpef64fSetDelayLine(lbpef64fState* state, const double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t lbpef64fResize(lbpef64fState* state, int32_t order) {
    return resizePredictor(state, order, lbpef64fInit, lbpef64fFree);
}
