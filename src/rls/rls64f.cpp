// Recursive least-squares filter. With x the line, newest sample first:
// y = coef . x, e = d - y, gain = P x, q = x . gain, k[i] = gain[i] / (q + lambda),
// coef[i] = k[i] * e + coef[i], P[i][j] = invLambda * P[i][j] - k[i] * gain[j] for j <= i.
// Sources: Haykin, Adaptive Filter Theory; Sayed, Fundamentals of Adaptive Filtering.
// Departs from the textbook in P(0) = delta * I, and in applying 1 / lambda to the first term of the
// matrix update only.
#include "rls64f.h"

#include "frame/accessors.h"
#include "frame/barriers.h"
#include "frame/kernels.h"
#include "frame/lanes.h"
#include "frame/lifecycle.h"
#include "rls/tiles.h"

#include <algorithm>

using namespace merlo;

namespace {

constexpr double kResizeDelta = 0.01F; // 0.009999999776482582; the record does not hold delta

constexpr int32_t kWideFrom = 16; // speed only: a smaller triangle has too few wide tiles

struct Outputs {
    double y;
    double q;
};

// Both sums are chains of additions, which overlap.
Outputs dots(const double* x, const double* coef, const double* gain, int32_t order) {
    double y = 0.0;
    double q = 0.0;
#pragma GCC unroll 4
    for (int32_t i = 0; i < order; ++i) {
        keepScalar();
        y += x[i] * coef[i];
        q += x[i] * gain[i];
    }
    return {y, q};
}

// One step of all four operations: kInsert stores x, kAdapt computes err and changes coef.
template <bool kInsert, bool kAdapt, class V>
double stepInTiles(rls64fState* state, double x, double d) {
    const int32_t order = state->order;
    const double* const line = state->delayLine;
    if constexpr (kInsert) {
        insertInTiles<V>(x, state->delayLine, order);
    }
    formGain<V>(state->invCorr, order, line, state->gain);
    const auto [y, q] = dots(line, state->coef, state->gain, order);
    const double e = d - y;
    if constexpr (kAdapt) {
        state->err = e;
    }
    updateMatrix<kAdapt, V>(state->invCorr, state->gain, state->coef, order,
                            {q + state->lambda, state->invLambda, e});
    return y;
}

template <bool kInsert, bool kAdapt>
double step(rls64fState* state, double x = {}, double d = {}) {
    // speed only: both widths give the same bits
    return state->order < kWideFrom ? stepInTiles<kInsert, kAdapt, Pair>(state, x, d)
                                    : stepInTiles<kInsert, kAdapt, Lanes>(state, x, d);
}

template <class Provide>
int32_t setUp(rls64fState* state, int32_t order, double lambda, double delta, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (order < 1 || !(delta >= 0.0 && delta <= 1.0)) {
        return fail(state, STS_BAD_SIZE);
    }
    const int64_t work = 2 * order + order * (order + 1) / 2;
    if (const int32_t status = provide({{&state->coef, order}, {&state->delayLine, work}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->gain = state->delayLine + order;
    state->invCorr = state->gain + order;
    for (int32_t i = 0; i < order; ++i) {
        state->invCorr[rowStart(i) + i] = delta;
    }
    state->order = order;
    state->lambda = lambda;
    state->invLambda = 1.0 / lambda;
    return STS_OK;
}

} // namespace

int32_t rls64fInit(rls64fState* state, int32_t order, double lambda, double delta) {
    return setUp(state, order, lambda, delta, fromHeap);
}

int32_t rls64fInitStatic(rls64fState* state, int32_t order, double lambda, double delta,
                         double* coefBuf, double* workBuf) {
    return setUp(state, order, lambda, delta, FromHost(coefBuf, workBuf));
}

void rls64fFree(rls64fState* state) {
    release(state->coef);
    release(state->delayLine);
    state->order = 0;
}

double rls64fFilterUpdate(rls64fState* state, double x, double d) {
    return step<true, true>(state, x, d);
}

double rls64fFilterOnly(rls64fState* state, double x) { return step<true, false>(state, x); }

double rls64fLCFilterUpdate(rls64fState* state, double d) {
    return step<false, true>(state, {}, d);
}

double rls64fLCFilterOnly(rls64fState* state) { return step<false, false>(state); }

int32_t rls64fReset(rls64fState* state) { return reset64f(state->coef, state->order); }

int32_t rls64fResetDelayLine(rls64fState* state) {
    return reset64f(state->delayLine, state->order);
}

int32_t rls64fGetCoef(const rls64fState* state, double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t rls64fSetCoef(rls64fState* state, const double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t rls64fGetDelayLine(const rls64fState* state, double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rls64fSetDelayLine(rls64fState* state, const double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rls64fResize(rls64fState* state, int32_t order) {
    if (order == state->order) {
        return STS_OK;
    }
    rls64fState next = *state;
    if (const int32_t status = rls64fInit(&next, order, state->lambda, kResizeDelta);
        status != STS_OK) {
        return status;
    }
    return replace(state, next, rls64fFree, [&] {
        const int32_t kept = std::min(order, state->order);
        const int32_t taps = writeArray(next.coef, next.order, state->coef, 0, kept, 0);
        return taps == kept ? writeArray(next.delayLine, next.order, state->delayLine, 0, kept, 0)
                            : taps;
    });
}
