// Filtered-x LMS filter: y = coef * x passes through the secondary path as s, e = d + s is the
// residual, and the regressor is xf, the reference filtered by the estimate of the path:
// coef[k] -= (mu * e) / (power + 1e-12) * xf(n-k), with the smoothed power of xf.
// Source: Morgan 1980, An analysis of multiple correlation cancellation loops with a filter in the
// auxiliary path; Burgess 1981, Active adaptive sound control in a duct: a computer simulation.
// Departs from the textbook in e = d + s, so the update subtracts, and in the normalised step.
#include "fxlms64f.h"

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"
#include "frame/smoothed_power.h"
#include "frame/update_rules.h"
#include "lms/secondary_path.h"

#include <algorithm>

using namespace merlo;

namespace {

// fxHead steps back before the sample is stored, so it is the position of the newest sample.
struct FilteredReferenceLine { // see secondary_path.h
    static constexpr auto line = &fxlms64fState::fxLine;
    static constexpr auto head = &fxlms64fState::fxHead;
    static int32_t length(int32_t order, int32_t) { return order; }
    static int64_t referenceLength(int32_t order, int32_t estLen) {
        return std::max(order, estLen);
    }
    static int32_t ringHead(const fxlms64fState& state) {
        return stepBack(state.fxHead, state.order);
    }
};

// The reference filtered by the estimate of the secondary path.
double filteredReference(const fxlms64fState* state) {
    return dotCirc64f(state->delayLine, state->estCoef, state->refLen, state->estLen,
                      stepUp(state->head, 1, state->refLen));
}

} // namespace

int32_t fxlms64fInit(fxlms64fState* state, int32_t order, double mu, const double* secCoef,
                     int32_t secLen, const double* estCoef, int32_t estLen) {
    return setUpLines<FilteredReferenceLine>(state, order, mu, secCoef, secLen, estCoef, estLen,
                                             fromHeap);
}

int32_t fxlms64fInitStatic(fxlms64fState* state, int32_t order, double mu, const double* secCoef,
                           int32_t secLen, const double* estCoef, int32_t estLen, double* coefBuf,
                           double* workBuf) {
    return setUpLines<FilteredReferenceLine>(state, order, mu, secCoef, secLen, estCoef, estLen,
                                             FromHost(coefBuf, workBuf));
}

void fxlms64fFree(fxlms64fState* state) { releaseLines<FilteredReferenceLine>(state); }

double fxlms64fFilterUpdate(fxlms64fState* state, double x, double d) {
    const double s = throughSecondaryPath(state, x);
    state->err = s + d;
    const double xf = filteredReference(state);
    state->fxHead = stepBack(state->fxHead, state->order);
    state->fxLine[state->fxHead] = xf;
    state->power = smoothPower<DoubleWeights>(state->power, xf);
    const double step = normalisedGain<DoubleWeights>(state->mu, state->err, state->power);
    adaptRing<PlainRule>(state->coef, state->fxLine, state->order, state->order, state->fxHead,
                         -step);
    return s;
}

double fxlms64fFilterOnly(fxlms64fState* state, double x) {
    const double s = throughSecondaryPath(state, x);
    state->power = smoothPower<DoubleWeights>(state->power, filteredReference(state));
    return s;
}

int32_t fxlms64fReset(fxlms64fState* state) { return reset64f(state->coef, state->order); }

int32_t fxlms64fResetDelayLine(fxlms64fState* state) {
    return resetLines<FilteredReferenceLine>(state);
}

int32_t fxlms64fGetCoef(const fxlms64fState* state, double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t fxlms64fSetCoef(fxlms64fState* state, const double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t fxlms64fGetDelayLine(const fxlms64fState* state, double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return readRing(state->delayLine, state->refLen, state->head, state->order, buf, start, count,
                    reversed);
}

int32_t fxlms64fSetDelayLine(fxlms64fState* state, const double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return writeRing(state->delayLine, state->refLen, state->head, state->order, buf, start, count,
                     reversed);
}

int32_t fxlms64fResize(fxlms64fState* state, int32_t order) {
    return resizeLines<FilteredReferenceLine>(state, order, fxlms64fInit, fxlms64fFree);
}
