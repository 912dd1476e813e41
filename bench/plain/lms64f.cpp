#include "plain/plain.h"

#include "plain/loops.h"

namespace {

using namespace plain;

template <bool kSignErr, bool kSignReg>
double updateRing(lms64fState* state, double x, double d) {
    double* line = state->delayLine;
    double* coef = state->coef;
    const int order = state->order;
    const int head = state->head;
    line[head] = x;
    const double y = dotRing(line, coef, order, head);
    const double e = d - y;
    state->err = e;
    const double g = state->mu * (kSignErr ? sgn(e) : e);
    int k = 0;
    for (int i = head; i < order; ++i) {
        coef[k++] += kSignReg ? sgn(line[i]) * g : g * line[i];
    }
    for (int i = 0; i < head; ++i) {
        coef[k++] += kSignReg ? sgn(line[i]) * g : g * line[i];
    }
    state->head = stepBack(head, order);
    return y;
}

template <bool kSignErr, bool kSignReg>
double updateLinear(lms64fState* state, double d) {
    const double* line = state->delayLine;
    double* coef = state->coef;
    const int order = state->order;
    const double y = dotLinear(line, coef, order);
    const double e = d - y;
    state->err = e;
    const double g = state->mu * (kSignErr ? sgn(e) : e);
    for (int k = 0; k < order; ++k) {
        coef[k] += kSignReg ? sgn(line[k]) * g : g * line[k];
    }
    return y;
}

} // namespace

double plain::lms64fFilterUpdate(lms64fState* state, double x, double d) {
    return updateRing<false, false>(state, x, d);
}

double plain::lms64fFilterUpdateSignErr(lms64fState* state, double x, double d) {
    return updateRing<true, false>(state, x, d);
}

double plain::lms64fFilterUpdateSignReg(lms64fState* state, double x, double d) {
    return updateRing<false, true>(state, x, d);
}

double plain::lms64fFilterUpdateSignSign(lms64fState* state, double x, double d) {
    return updateRing<true, true>(state, x, d);
}

double plain::lms64fLCFilterUpdate(lms64fState* state, double d) {
    return updateLinear<false, false>(state, d);
}

double plain::lms64fLCFilterUpdateSignErr(lms64fState* state, double d) {
    return updateLinear<true, false>(state, d);
}

double plain::lms64fLCFilterUpdateSignReg(lms64fState* state, double d) {
    return updateLinear<false, true>(state, d);
}

double plain::lms64fLCFilterUpdateSignSign(lms64fState* state, double d) {
    return updateLinear<true, true>(state, d);
}

double plain::lms64fFilterOnly(lms64fState* state, double x) {
    const int head = state->head;
    state->delayLine[head] = x;
    state->head = stepBack(head, state->order);
    return dotRing(state->delayLine, state->coef, state->order, head);
}

double plain::lms64fLCFilterOnly(const lms64fState* state) {
    return dotLinear(state->delayLine, state->coef, state->order);
}
