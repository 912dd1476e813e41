// Fixed transversal filter: y(n) = sum of coef[k] * x(n-k), k = 0 .. order-1, over a ring line or,
// in the LC form, over a linear line that the host shifts. The coefficients are the host's, the line
// is the record's. Source: Oppenheim and Schafer, Discrete-Time Signal Processing.
#include "fir64f.h"

#include "frame/accessors.h"
#include "frame/block_filter.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"
#include "frame/transversal.h"

#include <algorithm>

using namespace merlo;

namespace {

template <class Provide>
int32_t setUp(fir64fState* state, int32_t order, double* coef, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (order < 1) {
        return fail(state, STS_BAD_SIZE);
    }
    if (coef == nullptr) {
        return fail(state, STS_NULL_PTR);
    }
    if (const int32_t status = provide({{&state->delayLine, order}}); status != STS_OK) {
        return fail(state, status);
    }
    state->coef = coef;
    state->order = order;
    state->head = order - 1;
    return STS_OK;
}

} // namespace

int32_t fir64fInit(fir64fState* state, int32_t order, double* coef) {
    return setUp(state, order, coef, fromHeap);
}

int32_t fir64fInitStatic(fir64fState* state, int32_t order, double* coef, double* delayBuf) {
    return setUp(state, order, coef, FromHost(delayBuf));
}

void fir64fFree(fir64fState* state) {
    release(state->delayLine);
    state->order = 0;
}

double fir64fFilter(fir64fState* state, double x) { return filterStep<chainDotSettled>(state, x); }

double fir64fLCFilter(const fir64fState* state) {
    return dot64f(state->delayLine, state->coef, state->order);
}

int32_t fir64fBlockFilter(fir64fState* state, const double* in, double* out, int32_t n) {
    if (in == nullptr || out == nullptr) {
        return STS_NULL_PTR;
    }
    if (n > 0) {
        filterBlock(state->coef, state->order, state->delayLine, &state->head, in, out, n, [] {});
    }
    return STS_OK;
}

int32_t fir64fResetDelayLine(fir64fState* state) {
    return reset64f(state->delayLine, state->order);
}

int32_t fir64fGetCoef(const fir64fState* state, double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t fir64fSetCoef(fir64fState* state, const double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t fir64fGetDelayLine(const fir64fState* state, double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return readLine(state, buf, start, count, reversed);
}

int32_t fir64fSetDelayLine(fir64fState* state, const double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return writeLine(state, buf, start, count, reversed);
}

int32_t fir64fResize(fir64fState* state, int32_t order) {
    if (order < 1) {
        return STS_BAD_SIZE;
    }
    if (order == state->order) {
        return STS_OK;
    }
    fir64fState next;
    if (const int32_t status = fir64fInit(&next, order, state->coef); status != STS_OK) {
        return status;
    }
    return replace(state, next, fir64fFree, [&]() -> int32_t {
        if (state->delayLine == nullptr) {
            return STS_NULL_PTR;
        }
        carryNewest(state->delayLine, state->order, state->head, next.delayLine, next.order,
                    next.head);
        reset64f(state->coef + state->order, next.order - state->order);
        return STS_OK;
    });
}
