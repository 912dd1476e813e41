// Least-squares lattice with a joint-process section: the stages transform x into uncorrelated backward
// errors b and regress d on them. y = d - e is the sum of coef[i] * b over the stages.
// The recursion is in least_squares_stages.h.
// Source: Lee, Morf and Friedlander 1981, Recursive least squares ladder estimation algorithms; Diniz,
// Adaptive Filtering, algorithm 7.1.
// Departs from the textbook: no lower limit and no regularisation except the start values.
#include "rlslattice64f.h"

#include "frame/accessors.h"
#include "frame/lifecycle.h"
#include "rls/least_squares_stages.h"

using namespace merlo;

int32_t rlslattice64fInit(rlslattice64fState* state, int32_t order, double lambda) {
    return setUpLeastSquares(state, order, lambda, fromHeap);
}

int32_t rlslattice64fInitStatic(rlslattice64fState* state, int32_t order, double lambda,
                                double* coefBuf, double* workBuf) {
    return setUpLeastSquares(state, order, lambda, FromHost(coefBuf, workBuf));
}

void rlslattice64fFree(rlslattice64fState* state) { releaseLeastSquares(state); }

double rlslattice64fFilterUpdate(rlslattice64fState* state, double x, double d) {
    state->err = throughStages<true>(state, x, d).e;
    return d - state->err;
}

double rlslattice64fFilterOnly(rlslattice64fState* state, double x) {
    return -throughStages<false>(state, x, 0.0).e;
}

int32_t rlslattice64fReset(rlslattice64fState* state) { return resetLeastSquares(state); }

int32_t rlslattice64fGetCoef(const rlslattice64fState* state, double* buf, int32_t start,
                             int32_t count, int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t rlslattice64fGetForwardParcors(const rlslattice64fState* state, double* buf, int32_t start,
                                       int32_t count, int32_t reversed) {
    return readArray(state->fwdParcor, state->order, buf, start, count, reversed);
}

int32_t rlslattice64fGetBackwardParcors(const rlslattice64fState* state, double* buf, int32_t start,
                                        int32_t count, int32_t reversed) {
    return readArray(state->bwdParcor, state->order, buf, start, count, reversed);
}

int32_t rlslattice64fGetDelayLine(const rlslattice64fState* state, double* buf, int32_t start,
                                  int32_t count, int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rlslattice64fSetDelayLine(rlslattice64fState* state, const double* buf, int32_t start,
                                  int32_t count, int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rlslattice64fResize(rlslattice64fState* state, int32_t order) {
    return resizeLeastSquares(state, order, rlslattice64fInit, rlslattice64fFree);
}
