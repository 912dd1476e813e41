// What the transversal filters on one ring line share: `order` coefficients, `order` samples and the
// step of the filter. A record has the fields order, coef, delayLine and head.
#pragma once

#include "accessors.h"
#include "kernels.h"
#include "lifecycle.h"
#include "ring_line.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// Sets the order and the two blocks; a failure is marked in the record.
template <class State, class Provide>
inline int32_t provideTapsAndRing(State* state, int32_t requestedOrder, Provide provide) {
    const int32_t order = std::min<int32_t>(requestedOrder, MAX_TAPS);
    if (order < 1) {
        return fail(state, STS_BAD_SIZE);
    }
    if (const int32_t status = provide({{&state->coef, order}, {&state->delayLine, order}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->order = order;
    return STS_OK;
}

template <class State>
inline void releaseTapsAndRing(State* state) {
    release(state->coef);
    release(state->delayLine);
}

// x enters the line, and the output is formed.
template <auto kChain = chainDot, class State>
inline double filterStep(State* state, double x) {
    return insertDotCirc64f<kChain>(x, state->delayLine, state->coef, state->order, state->order,
                                    &state->head);
}

template <class State>
inline int32_t readLine(const State* state, double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return readRing(state->delayLine, state->order, state->head, state->order, buf, start, count,
                    reversed);
}

template <class State>
inline int32_t writeLine(State* state, const double* buf, int32_t start, int32_t count,
                         int32_t reversed) {
    return writeRing(state->delayLine, state->order, state->head, state->order, buf, start, count,
                     reversed);
}

// Ends a Resize: the coefficients and the newest samples that fit go over to `next`, whose head
// stands where its Init put it. A live record without coefficients to give is refused.
template <class State>
inline int32_t replaceTapsAndRing(State* state, State& next, int32_t requestedOrder,
                                  void (*freeRecord)(State*)) {
    return replace(state, next, freeRecord, [&] {
        const int32_t moved = writeArray(next.coef, next.order, state->coef, 0,
                                         std::min(requestedOrder, state->order), 0);
        if (moved > 0) {
            carryNewest(state->delayLine, state->order, state->head, next.delayLine, next.order,
                        next.head);
        }
        return moved;
    });
}

} // namespace merlo
