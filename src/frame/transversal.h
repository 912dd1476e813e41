// What the transversal filters with one ring line share: `order` coefficients, `order` samples, the
// filter step. A record has the fields order, coef, delayLine and head.
#pragma once

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// Sets the order and the two buffers; a failure is marked in the record.
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

// Inserts x and returns the output.
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

// Ends a Resize: copies the coefficients and the newest samples that fit to `next`, whose head is
// where Init has set it. A live record without coefficients is refused.
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
