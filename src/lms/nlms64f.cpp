// Normalised LMS filter: e = d - y, power = 0.99 * power + 0.01 * x(n)^2,
// coef[k] += g * x(n-k) with g = (mu * e) / (power + 1e-12).
// Source: Nagumo and Noda 1967, A learning method for system identification.
// Departs from the textbook in the normaliser: the smoothed power of one sample instead of the energy
// of the line, so mu is stable up to about 2 / order instead of 2.
#include "nlms64f.h"

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/smoothed_power.h"
#include "frame/transversal.h"
#include "frame/update_rules.h"

using namespace merlo;

namespace {

template <class Provide>
int32_t setUp(nlms64fState* state, int32_t order, double mu, Provide provide) {
    if (const int32_t status = provideTapsAndRing(state, order, provide); status != STS_OK) {
        return status;
    }
    state->mu = mu;
    state->power = 1.0;
    state->head = state->order - 1;
    return STS_OK;
}

// x is the newest sample; returns the gain of the update.
double updateGain(nlms64fState* state, double x, double e) {
    state->err = e;
    state->power = smoothPower<DoubleWeights>(state->power, x);
    return normalisedGain<DoubleWeights>(state->mu, e, state->power);
}

} // namespace

int32_t nlms64fInit(nlms64fState* state, int32_t order, double mu) {
    return setUp(state, order, mu, fromHeap);
}

int32_t nlms64fInitStatic(nlms64fState* state, int32_t order, double mu, double* coefBuf,
                          double* delayBuf) {
    return setUp(state, order, mu, FromHost(coefBuf, delayBuf));
}

void nlms64fFree(nlms64fState* state) { releaseTapsAndRing(state); }

double nlms64fFilterUpdate(nlms64fState* state, double x, double d) {
    const int32_t newest = state->head;
    const double y = filterStep(state, x);
    const double g = updateGain(state, x, d - y);
    adaptRing<PlainRule>(state->coef, state->delayLine, state->order, state->order, newest, g);
    return y;
}

double nlms64fLCFilterUpdate(nlms64fState* state, double d) {
    const double y = dot64f(state->delayLine, state->coef, state->order);
    const double g = updateGain(state, state->delayLine[0], d - y);
    adaptRun<PlainRule>(state->coef, state->delayLine, state->order, g);
    return y;
}

double nlms64fFilterOnly(nlms64fState* state, double x) {
    const double y = filterStep<chainDotSettled>(state, x);
    state->power = smoothPower<DoubleWeights>(state->power, x);
    return y;
}

double nlms64fLCFilterOnly(nlms64fState* state) {
    const double y = dot64f(state->delayLine, state->coef, state->order);
    state->power = smoothPower<DoubleWeights>(state->power, state->delayLine[0]);
    return y;
}

int32_t nlms64fReset(nlms64fState* state) { return reset64f(state->coef, state->order); }

int32_t nlms64fResetDelayLine(nlms64fState* state) {
    return reset64f(state->delayLine, state->order);
}

int32_t nlms64fGetCoef(const nlms64fState* state, double* buf, int32_t start, int32_t count,
                       int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t nlms64fSetCoef(nlms64fState* state, const double* buf, int32_t start, int32_t count,
                       int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t nlms64fGetDelayLine(const nlms64fState* state, double* buf, int32_t start, int32_t count,
                            int32_t reversed) {
    return readLine(state, buf, start, count, reversed);
}

int32_t nlms64fSetDelayLine(nlms64fState* state, const double* buf, int32_t start, int32_t count,
                            int32_t reversed) {
    return writeLine(state, buf, start, count, reversed);
}

int32_t nlms64fResize(nlms64fState* state, int32_t order) {
    if (order == state->order) {
        return STS_OK;
    }
    nlms64fState next = *state;
    if (const int32_t status = nlms64fInit(&next, order, state->mu); status != STS_OK) {
        return status;
    }
    next.power = state->power;
    return replaceTapsAndRing(state, next, order, nlms64fFree);
}
