// Adjoint LMS filter: y = coef * x passes through the secondary path as s, e = d + s is the residual,
// r is the residual filtered by the time-reversed estimate of the path, and
// coef[k] -= r * (mu / (power + 1e-12)) * x(n - (estLen - 1) - k),
// with the smoothed power of the reference estLen samples back.
// Source: Wan 1996, Adjoint LMS: an efficient alternative to the filtered-x LMS and multiple error
// LMS algorithms.
// Departs from the textbook in e = d + s, so the update subtracts, and in the normalised step.
#include "adjlms64f.h"

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"
#include "frame/smoothed_power.h"
#include "frame/update_rules.h"
#include "lms/secondary_path.h"

using namespace merlo;

namespace {

struct ErrorLine { // see secondary_path.h
    static constexpr auto line = &adjlms64fState::errLine;
    static constexpr auto head = &adjlms64fState::errHead;
    static int32_t length(int32_t, int32_t estLen) { return estLen; }
    static int64_t referenceLength(int32_t order, int32_t estLen) {
        return int64_t{order} + estLen - 1;
    }
    static int32_t ringHead(const adjlms64fState& state) { return state.errHead; }
};

// Smooths the power with the reference sample estLen steps back; returns the position of the sample.
int32_t smoothDelayedPower(adjlms64fState* state) {
    const int32_t newest = stepUp(state->head, 1, state->refLen);
    const int32_t delayed = stepUp(newest, state->estLen, state->refLen);
    state->power = smoothPower<DoubleWeights>(state->power, state->delayLine[delayed]);
    return delayed;
}

} // namespace

int32_t adjlms64fInit(adjlms64fState* state, int32_t order, double mu, const double* secCoef,
                      int32_t secLen, const double* estCoef, int32_t estLen) {
    return setUpLines<ErrorLine>(state, order, mu, secCoef, secLen, estCoef, estLen, fromHeap);
}

int32_t adjlms64fInitStatic(adjlms64fState* state, int32_t order, double mu, const double* secCoef,
                            int32_t secLen, const double* estCoef, int32_t estLen, double* coefBuf,
                            double* workBuf) {
    return setUpLines<ErrorLine>(state, order, mu, secCoef, secLen, estCoef, estLen,
                                 FromHost(coefBuf, workBuf));
}

void adjlms64fFree(adjlms64fState* state) { releaseLines<ErrorLine>(state); }

double adjlms64fFilterUpdate(adjlms64fState* state, double x, double d) {
    const double s = throughSecondaryPath(state, x);
    state->err = s + d;
    const double r = insertDotCircRev64f(state->err, state->errLine, state->estCoef, state->estLen,
                                         state->estLen, &state->errHead);
    const int32_t delayed = smoothDelayedPower(state);
    const double step = r * (state->mu / (state->power + DoubleWeights::floor));
    // The first tap is updated with the sample after the delayed one.
    adaptRing<PlainRule>(state->coef, state->delayLine, state->refLen, state->order,
                         stepBack(delayed, state->refLen), -step);
    return s;
}

double adjlms64fFilterOnly(adjlms64fState* state, double x) {
    const double s = throughSecondaryPath(state, x);
    smoothDelayedPower(state);
    return s;
}

int32_t adjlms64fReset(adjlms64fState* state) { return reset64f(state->coef, state->order); }

int32_t adjlms64fResetDelayLine(adjlms64fState* state) { return resetLines<ErrorLine>(state); }

int32_t adjlms64fGetCoef(const adjlms64fState* state, double* buf, int32_t start, int32_t count,
                         int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t adjlms64fSetCoef(adjlms64fState* state, const double* buf, int32_t start, int32_t count,
                         int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t adjlms64fGetDelayLine(const adjlms64fState* state, double* buf, int32_t start,
                              int32_t count, int32_t reversed) {
    return readRing(state->delayLine, state->refLen, state->head, state->refLen, buf, start, count,
                    reversed);
}

int32_t adjlms64fSetDelayLine(adjlms64fState* state, const double* buf, int32_t start,
                              int32_t count, int32_t reversed) {
    return writeRing(state->delayLine, state->refLen, state->head, state->refLen, buf, start, count,
                     reversed);
}

int32_t adjlms64fResize(adjlms64fState* state, int32_t order) {
    return resizeLines<ErrorLine>(state, order, adjlms64fInit, adjlms64fFree);
}
