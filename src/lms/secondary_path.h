// What the two filters that act through a secondary path share: the life of their record, which
// stands on a coefficient block and on a block of three lines, and the way of a sample through them.
//
// The records differ in the third line, and `Third` says how:
//     line, head        its fields in the record
//     length            its number of samples
//     referenceLength   what the reference line must hold for it
//     ringHead          its head as that of a ring line, which its next sample overwrites
#pragma once

#include "accessors.h"
#include "kernels.h"
#include "lifecycle.h"
#include "merlo64f.h"
#include "ring_line.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

template <class Third, class State, class Provide>
inline int32_t setUpLines(State* state, int32_t order, double mu, const double* secCoef,
                          int32_t secLen, const double* estCoef, int32_t estLen, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (order < 1 || secLen < 1 || estLen < 1) {
        return fail(state, STS_BAD_SIZE);
    }
    const int32_t thirdLen = Third::length(order, estLen);
    const int64_t refLen = Third::referenceLength(order, estLen);
    const int64_t lines = int64_t{secLen} + thirdLen + refLen;
    if (lines > INT32_MAX) {
        return fail(state, STS_BAD_SIZE);
    }
    if (secCoef == nullptr || estCoef == nullptr) {
        return fail(state, STS_NULL_PTR);
    }
    if (const int32_t status = provide({{&state->coef, order}, {&state->outLine, lines}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->*Third::line = state->outLine + secLen;
    state->delayLine = state->*Third::line + thirdLen;
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
    state->*Third::head = 0;
    return STS_OK;
}

template <class Third, class State>
inline void releaseLines(State* state) {
    release(state->coef);
    release(state->outLine);
    state->*Third::line = nullptr;
    state->delayLine = nullptr;
}

template <class Third, class State>
inline int32_t resetLines(State* state) {
    double* const third = state->*Third::line;
    if (state->delayLine == nullptr || state->outLine == nullptr || third == nullptr) {
        return STS_NULL_PTR;
    }
    reset64f(state->delayLine, state->refLen);
    reset64f(state->outLine, state->secLen);
    reset64f(third, Third::length(state->order, state->estLen));
    return STS_OK;
}

// x through the adaptive filter and the secondary path; returns what arrives at the error point.
template <class State>
inline double throughSecondaryPath(State* state, double x) {
    const double y = insertDotCirc64f(x, state->delayLine, state->coef, state->refLen, state->order,
                                      &state->head);
    return insertDotCirc64f(y, state->outLine, state->secCoef, state->secLen, state->secLen,
                            &state->outHead);
}

template <class Third, class State, class Init>
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
            carryNewest(state->*Third::line, Third::length(state->order, state->estLen),
                        Third::ringHead(*state), next.*Third::line,
                        Third::length(next.order, next.estLen), Third::ringHead(next));
        }
        return moved;
    });
}

} // namespace merlo
