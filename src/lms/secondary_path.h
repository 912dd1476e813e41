// What the two filters with a secondary path share: set-up, reset and resizing of their record, and
// the output path. A record has one buffer for the coefficients and one for three lines: outLine, an
// auxiliary line, delayLine. The auxiliary line differs, and AuxLine describes it:
//     line, head        its fields in the record
//     length            its number of samples
//     referenceLength   the length of the reference line, delayLine
//     ringHead          the position in it that the next sample overwrites
#pragma once

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"
#include "merlo64f.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

template <class AuxLine, class State, class Provide>
inline int32_t setUpLines(State* state, int32_t order, double mu, const double* secCoef,
                          int32_t secLen, const double* estCoef, int32_t estLen, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (order < 1 || secLen < 1 || estLen < 1) {
        return fail(state, STS_BAD_SIZE);
    }
    const int32_t auxLen = AuxLine::length(order, estLen);
    const int64_t refLen = AuxLine::referenceLength(order, estLen);
    if (refLen > INT32_MAX) {
        return fail(state, STS_BAD_SIZE);
    }
    if (secCoef == nullptr || estCoef == nullptr) {
        return fail(state, STS_NULL_PTR);
    }
    if (const int32_t status =
            provide({{&state->coef, order}, {&state->outLine, secLen + (auxLen + refLen)}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->*AuxLine::line = state->outLine + secLen;
    state->delayLine = state->*AuxLine::line + auxLen;
    state->order = order;
    state->secLen = secLen;
    state->estLen = estLen;
    state->refLen = static_cast<int32_t>(refLen);
    state->mu = mu;
    state->power = 1.0;
    state->secCoef = secCoef;
    state->estCoef = estCoef;
    state->head = 0;
    state->outHead = 0;
    state->*AuxLine::head = 0;
    return STS_OK;
}

template <class AuxLine, class State>
inline void releaseLines(State* state) {
    release(state->coef);
    release(state->outLine);
    state->*AuxLine::line = nullptr;
    state->delayLine = nullptr;
}

template <class AuxLine, class State>
inline int32_t resetLines(State* state) {
    double* const auxLine = state->*AuxLine::line;
    if (state->delayLine == nullptr || state->outLine == nullptr || auxLine == nullptr) {
        return STS_NULL_PTR;
    }
    reset64f(state->delayLine, state->refLen);
    reset64f(state->outLine, state->secLen);
    reset64f(auxLine, AuxLine::length(state->order, state->estLen));
    return STS_OK;
}

// Filters x by coef and the result by secCoef; returns the output of the secondary path.
template <class State>
inline double throughSecondaryPath(State* state, double x) {
    const double y = insertDotCirc64f(x, state->delayLine, state->coef, state->refLen, state->order,
                                      &state->head);
    return insertDotCirc64f(y, state->outLine, state->secCoef, state->secLen, state->secLen,
                            &state->outHead);
}

template <class AuxLine, class State, class Init>
inline int32_t resizeLines(State* state, int32_t order, Init init, void (*freeRecord)(State*)) {
    if (order == state->order) {
        return STS_OK;
    }
    State next = *state;
    if (const int32_t status = init(&next, order, state->mu, state->secCoef, state->secLen,
                                    state->estCoef, state->estLen);
        status != STS_OK) {
        return status;
    }
    next.power = state->power;
    return replace(state, next, freeRecord, [&] {
        const int32_t moved =
            writeArray(next.coef, next.order, state->coef, 0, std::min(order, state->order), 0);
        if (moved > 0) {
            carryNewest(state->delayLine, state->refLen, state->head, next.delayLine, next.refLen,
                        next.head);
            carryNewest(state->outLine, state->secLen, state->outHead, next.outLine, next.secLen,
                        next.outHead);
            carryNewest(state->*AuxLine::line, AuxLine::length(state->order, state->estLen),
                        AuxLine::ringHead(*state), next.*AuxLine::line,
                        AuxLine::length(next.order, next.estLen), AuxLine::ringHead(next));
        }
        return moved;
    });
}

} // namespace merlo
