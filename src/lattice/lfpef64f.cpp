// Forward prediction-error filter as a gradient lattice: the prediction of the present sample is
// x(n) - f, where f is the forward error of the last stage (gradient_stages.h). coef is the direct
// form: prediction = sum of coef[j] * x(n-1-j), j = 0 .. order-1.
// Source: Griffiths 1977, A continuously adaptive filter implemented as a lattice structure; Makhoul
// 1977, Stable and efficient lattice methods for linear prediction.
// Departs from the textbook in the weights of the power, 0.98 and 0.01, and in the step mu/power + eps.
#include "lfpef64f.h"

#include "frame/accessors.h"
#include "frame/lifecycle.h"
#include "lattice/gradient_stages.h"

using namespace merlo;

namespace {

constexpr int32_t kStageArrays = 3; // delayLine, power, backErr

template <bool kAdapt>
double step(lfpef64fState* state, double x) {
    state->err = predictorStep<kAdapt>(state, x).forward;
    return x - state->err;
}

} // namespace

int32_t lfpef64fInit(lfpef64fState* state, int32_t order, double mu) {
    return setUpPredictor(state, order, kStageArrays, mu, fromHeap);
}

int32_t lfpef64fInitStatic(lfpef64fState* state, int32_t order, double mu, double* coefBuf,
                           double* workBuf) {
    return setUpPredictor(state, order, kStageArrays, mu, FromHost(coefBuf, workBuf));
}

void lfpef64fFree(lfpef64fState* state) { releaseStages(state); }

double lfpef64fFilterUpdate(lfpef64fState* state, double x) { return step<true>(state, x); }

double lfpef64fFilterOnly(lfpef64fState* state, double x) { return step<false>(state, x); }

int32_t lfpef64fReset(lfpef64fState* state) { return resetStages(state); }

int32_t lfpef64fGetCoef(const lfpef64fState* state, double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lfpef64fSetCoef(lfpef64fState* state, const double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lfpef64fGetParcor(const lfpef64fState* state, double* buf, int32_t start, int32_t count,
                          int32_t reversed) {
    return readArray(state->parcor, state->order, buf, start, count, reversed);
}

int32_t lfpef64fSetParcor(lfpef64fState* state, const double* buf, int32_t start, int32_t count,
                          int32_t reversed) {
    return writeArray(state->parcor, state->order, buf, start, count, reversed);
}

int32_t lfpef64fGetDelayLine(const lfpef64fState* state, double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t lfpef64fSetDelayLine(lfpef64fState* state, const double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t lfpef64fResize(lfpef64fState* state, int32_t order) {
    return resizePredictor(state, order, lfpef64fInit, lfpef64fFree);
}
