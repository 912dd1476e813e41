// Least-squares lattice as a backward predictor: the backward error of the last stage is the part of
// x(n-order) that the `order` newer samples do not predict; the prediction is x(n-order) minus the error.
// coef is the direct form of the lattice, by the step-up recursion on bwdParcor.
// The recursion is in least_squares_stages.h.
// Source: Lee, Morf and Friedlander 1981, Recursive least squares ladder estimation algorithms; Diniz,
// Adaptive Filtering, algorithm 7.1.
// Departs from the textbook in a second update of fwdEnergy[0] per sample; no lower limit
// and no regularisation except the start values.
#include "rlslbpef64f.h"

#include "frame/accessors.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"
#include "frame/step_up.h"
#include "rls/least_squares_stages.h"

using namespace merlo;

namespace {

double predict(rlslbpef64fState* state, double x, const StageErrors& last) {
    if (state->updateCoef != 0) {
        directForm(state->bwdParcor, state->order, state->coef);
    }
    state->err = last.b;
    // inHead steps forward and is the position of the newest sample, so the oldest is at the next one.
    const int32_t lineLen = state->order + 1;
    state->inHead = stepUp(state->inHead, 1, lineLen);
    state->inLine[state->inHead] = x;
    return state->inLine[stepUp(state->inHead, 1, lineLen)] - state->err;
}

} // namespace

int32_t rlslbpef64fInit(rlslbpef64fState* state, int32_t order, double lambda) {
    return setUpLeastSquares(state, order, lambda, fromHeap);
}

int32_t rlslbpef64fInitStatic(rlslbpef64fState* state, int32_t order, double lambda,
                              double* coefBuf, double* workBuf) {
    return setUpLeastSquares(state, order, lambda, FromHost(coefBuf, workBuf));
}

void rlslbpef64fFree(rlslbpef64fState* state) { releaseLeastSquares(state); }

double rlslbpef64fFilterUpdate(rlslbpef64fState* state, double x) {
    return predict(state, x, throughStages<true>(state, x));
}

double rlslbpef64fFilterOnly(rlslbpef64fState* state, double x) {
    return predict(state, x, throughStages<false>(state, x));
}

int32_t rlslbpef64fReset(rlslbpef64fState* state) { return resetLeastSquares(state); }

int32_t rlslbpef64fGetCoef(const rlslbpef64fState* state, double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t rlslbpef64fGetForwardParcors(const rlslbpef64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed) {
    return readArray(state->fwdParcor, state->order, buf, start, count, reversed);
}

int32_t rlslbpef64fGetBackwardParcors(const rlslbpef64fState* state, double* buf, int32_t start,
                                      int32_t count, int32_t reversed) {
    return readArray(state->bwdParcor, state->order, buf, start, count, reversed);
}

int32_t rlslbpef64fGetDelayLine(const rlslbpef64fState* state, double* buf, int32_t start,
                                int32_t count, int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rlslbpef64fSetDelayLine(rlslbpef64fState* state, const double* buf, int32_t start,
                                int32_t count, int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rlslbpef64fResize(rlslbpef64fState* state, int32_t order) {
    return resizeLeastSquares(state, order, rlslbpef64fInit, rlslbpef64fFree);
}
