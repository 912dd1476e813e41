// Least-squares lattice as a forward predictor: the forward error of the last stage is the part of x(n)
// that the `order` samples before it do not predict; the prediction is x(n) minus the error.
// coef is the direct form of the lattice, by the step-up recursion on fwdParcor.
// The recursion is in least_squares_stages.h.
// Source: Lee, Morf and Friedlander 1981, Recursive least squares ladder estimation algorithms; Diniz,
// Adaptive Filtering, algorithm 7.1.
// Departs from the textbook in a second update of fwdEnergy[0] per sample; no lower limit
// and no regularisation except the start values.
#include "rlslfpef64f.h"

#include "frame/accessors.h"
#include "frame/lifecycle.h"
#include "frame/step_up.h"
#include "rls/least_squares_stages.h"

using namespace merlo;

namespace {

double predict(rlslfpef64fState* state, double x, const StageErrors& last) {
    if (state->updateCoef != 0) {
        directForm(state->fwdParcor, state->order, state->coef);
    }
    state->err = last.f;
    return x - state->err;
}

} // namespace

int32_t rlslfpef64fInit(rlslfpef64fState* state, int32_t order, double lambda) {
    return setUpLeastSquares(state, order, lambda, fromHeap);
}

int32_t rlslfpef64fInitStatic(rlslfpef64fState* state, int32_t order, double lambda,
                              double* coefBuf, double* workBuf) {
    return setUpLeastSquares(state, order, lambda, FromHost(coefBuf, workBuf));
}

void rlslfpef64fFree(rlslfpef64fState* state) { releaseLeastSquares(state); }

double rlslfpef64fFilterUpdate(rlslfpef64fState* state, double x) {
    return predict(state, x, throughStages<true>(state, x));
}

double rlslfpef64fFilterOnly(rlslfpef64fState* state, double x) {
    return predict(state, x, throughStages<false>(state, x));
}

int32_t rlslfpef64fReset(rlslfpef64fState* state) { return resetLeastSquares(state); }

int32_t rlslfpef64fGetCoef(const rlslfpef64fState* state, double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t rlslfpef64fGetForwardParcors(const rlslfpef64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed) {
    return readArray(state->fwdParcor, state->order, buf, start, count, reversed);
}

int32_t rlslfpef64fGetBackwardParcors(const rlslfpef64fState* state, double* buf, int32_t start,
                                      int32_t count, int32_t reversed) {
    return readArray(state->bwdParcor, state->order, buf, start, count, reversed);
}

int32_t rlslfpef64fGetDelayLine(const rlslfpef64fState* state, double* buf, int32_t start,
                                int32_t count, int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rlslfpef64fSetDelayLine(rlslfpef64fState* state, const double* buf, int32_t start,
                                int32_t count, int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rlslfpef64fResize(rlslfpef64fState* state, int32_t order) {
    return resizeLeastSquares(state, order, rlslfpef64fInit, rlslfpef64fFree);
}
