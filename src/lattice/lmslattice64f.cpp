// Joint-process estimator on a gradient lattice: order - 1 stages (gradient_stages.h) transform the
// input into backward errors b(0) .. b(order-1), y = sum of coef[i] * b(i), e = d - y, and
// coef[i] += (b(i) * muCoef * e) / (power(i) + eps).
// Source: Griffiths 1978, An adaptive lattice structure for noise-cancelling applications.
// Departs from the textbook in the weights of the power, 0.98 and 0.01, and in the step mu/power + eps
// of the stages.
#include "lmslattice64f.h"

#include "frame/accessors.h"
#include "frame/lanes.h"
#include "frame/lifecycle.h"
#include "lattice/gradient_stages.h"

#include <algorithm>

using namespace merlo;

namespace {

constexpr int32_t kStageArrays = 3; // delayLine, power, backErr

template <class Provide>
int32_t setUp(lmslattice64fState* state, int32_t order, double mu, double muCoef, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (const int32_t status = setUpStages(state, order, order, kStageArrays, mu, provide);
        status != STS_OK) {
        return status;
    }
    state->muCoef = muCoef;
    state->adaptParcor = 1;
    return STS_OK;
}

// Passes x through the lattice. Returns y, the sum of coef[i] * b(i), i = 0 .. order-1, which
// accumulates while the stages run.
template <bool kAdapt>
double output(lmslattice64fState* state, double x) {
    const int32_t stages = state->order - 1;
    double y = 0.0;
    const LastErrors errors = runStages<kAdapt>(
        state, stages, x, [&y, coef = state->coef]<class V>(int32_t i, const V& b) {
            y = addInOrder(y, b * load<V>(coef + i));
        });
    state->delayLine[stages] = errors.backward;
    return y;
}

// backErr becomes the increments of the coefficients.
void adaptCoef(double* __restrict coef, const double* __restrict b, const double* __restrict power,
               double* __restrict backErr, int32_t order, double muCoef, double e) {
    for (int32_t i = 0; i < order; ++i) {
        backErr[i] = b[i] * muCoef * e / (power[i] + LATTICE_EPS);
        coef[i] = backErr[i] + coef[i];
    }
}

} // namespace

int32_t lmslattice64fInit(lmslattice64fState* state, int32_t order, double mu, double muCoef) {
    return setUp(state, order, mu, muCoef, fromHeap);
}

int32_t lmslattice64fInitStatic(lmslattice64fState* state, int32_t order, double mu, double muCoef,
                                double* coefBuf, double* workBuf) {
    return setUp(state, order, mu, muCoef, FromHost(coefBuf, workBuf));
}

void lmslattice64fFree(lmslattice64fState* state) { releaseStages(state); }

double lmslattice64fFilterUpdate(lmslattice64fState* state, double x, double d) {
    const double y = state->adaptParcor != 0 ? output<true>(state, x) : output<false>(state, x);
    const double e = d - y;
    state->err = e;
    adaptCoef(state->coef, state->delayLine, state->power, state->backErr, state->order,
              state->muCoef, e);
    return y;
}

double lmslattice64fFilterOnly(lmslattice64fState* state, double x) {
    return output<false>(state, x);
}

int32_t lmslattice64fReset(lmslattice64fState* state) { return resetStages(state); }

int32_t lmslattice64fGetCoef(const lmslattice64fState* state, double* buf, int32_t start,
                             int32_t count, int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lmslattice64fSetCoef(lmslattice64fState* state, const double* buf, int32_t start,
                             int32_t count, int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lmslattice64fGetParcor(const lmslattice64fState* state, double* buf, int32_t start,
                               int32_t count, int32_t reversed) {
    return readArray(state->parcor, state->order, buf, start, count, reversed);
}

int32_t lmslattice64fSetParcor(lmslattice64fState* state, const double* buf, int32_t start,
                               int32_t count, int32_t reversed) {
    return writeArray(state->parcor, state->order, buf, start, count, reversed);
}

int32_t lmslattice64fGetDelayLine(const lmslattice64fState* state, double* buf, int32_t start,
                                  int32_t count, int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t lmslattice64fSetDelayLine(lmslattice64fState* state, const double* buf, int32_t start,
                                  int32_t count, int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t lmslattice64fResize(lmslattice64fState* state, int32_t order) {
    if (order == state->order) {
        return STS_OK;
    }
    lmslattice64fState next = *state;
    if (const int32_t status = lmslattice64fInit(&next, order, state->mu, state->muCoef);
        status != STS_OK) {
        return status;
    }
    next.adaptParcor = state->adaptParcor;
    return replaceStages(state, next, order, lmslattice64fFree);
}
