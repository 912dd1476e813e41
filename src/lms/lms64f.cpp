// Least-mean-squares filter: y = sum of coef[k] * x(n-k), e = d - y, coef[k] += mu * e * x(n-k),
// one step per sample, with the three sign-quantised forms of the gradient (update_rules.h).
// Source: Widrow and Hoff 1960, Adaptive switching circuits.
// Departs from the textbook in sgn(0) = +1.
#include "lms64f.h"

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "frame/transversal.h"
#include "frame/update_rules.h"

using namespace merlo;

namespace {

template <class Provide>
int32_t setUp(lms64fState* state, int32_t order, double mu, Provide provide) {
    if (const int32_t status = provideTapsAndRing(state, order, provide); status != STS_OK) {
        return status;
    }
    state->mu = mu;
    state->head = state->order - 1;
    return STS_OK;
}

template <class Rule>
double ringStep(lms64fState* state, double x, double d) {
    const int32_t newest = state->head;
    const double y = filterStep(state, x);
    const double e = d - y;
    state->err = e;
    adaptRing<Rule>(state->coef, state->delayLine, state->order, state->order, newest,
                    Rule::gain(state->mu, e));
    return y;
}

template <class Rule>
double linearStep(lms64fState* state, double d) {
    const double y = dot64f(state->delayLine, state->coef, state->order);
    const double e = d - y;
    state->err = e;
    adaptRun<Rule>(state->coef, state->delayLine, state->order, Rule::gain(state->mu, e));
    return y;
}

} // namespace

int32_t lms64fInit(lms64fState* state, int32_t order, double mu) {
    return setUp(state, order, mu, fromHeap);
}

int32_t lms64fInitStatic(lms64fState* state, int32_t order, double mu, double* coefBuf,
                         double* delayBuf) {
    return setUp(state, order, mu, FromHost(coefBuf, delayBuf));
}

void lms64fFree(lms64fState* state) { releaseTapsAndRing(state); }

double lms64fFilterUpdate(lms64fState* state, double x, double d) {
    return ringStep<PlainRule>(state, x, d);
}

double lms64fFilterUpdateSignErr(lms64fState* state, double x, double d) {
    return ringStep<SignErrorRule>(state, x, d);
}

double lms64fFilterUpdateSignReg(lms64fState* state, double x, double d) {
    return ringStep<SignRegressorRule>(state, x, d);
}

double lms64fFilterUpdateSignSign(lms64fState* state, double x, double d) {
    return ringStep<SignSignRule>(state, x, d);
}

double lms64fLCFilterUpdate(lms64fState* state, double d) {
    return linearStep<PlainRule>(state, d);
}

double lms64fLCFilterUpdateSignErr(lms64fState* state, double d) {
    return linearStep<SignErrorRule>(state, d);
}

double lms64fLCFilterUpdateSignReg(lms64fState* state, double d) {
    return linearStep<SignRegressorRule>(state, d);
}

double lms64fLCFilterUpdateSignSign(lms64fState* state, double d) {
    return linearStep<SignSignRule>(state, d);
}

double lms64fFilterOnly(lms64fState* state, double x) {
    return filterStep<chainDotSettled>(state, x);
}

double lms64fLCFilterOnly(const lms64fState* state) {
    return dot64f(state->delayLine, state->coef, state->order);
}

int32_t lms64fReset(lms64fState* state) { return reset64f(state->coef, state->order); }

int32_t lms64fResetDelayLine(lms64fState* state) {
    return reset64f(state->delayLine, state->order);
}

int32_t lms64fGetCoef(const lms64fState* state, double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lms64fSetCoef(lms64fState* state, const double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t lms64fGetDelayLine(const lms64fState* state, double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return readLine(state, buf, start, count, reversed);
}

int32_t lms64fSetDelayLine(lms64fState* state, const double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return writeLine(state, buf, start, count, reversed);
}

int32_t lms64fResize(lms64fState* state, int32_t order) {
    if (order == state->order) {
        return STS_OK;
    }
    lms64fState next = *state;
    if (const int32_t status = lms64fInit(&next, order, state->mu); status != STS_OK) {
        return status;
    }
    return replaceTapsAndRing(state, next, order, lms64fFree);
}
