#include "plain/loops.h"
#include "plain/plain.h"

double plain::fxlms64fFilterUpdate(fxlms64fState* state, double x, double d) {
    const int newest = insert(state->delayLine, state->refLen, &state->head, x);
    const double y =
        dotLongRing(state->delayLine, state->refLen, state->coef, state->order, newest);
    const int newestOut = insert(state->outLine, state->secLen, &state->outHead, y);
    const double s = dotRing(state->outLine, state->secCoef, state->secLen, newestOut);
    state->err = s + d;
    const double xf =
        dotLongRing(state->delayLine, state->refLen, state->estCoef, state->estLen, newest);
    state->fxHead = stepBack(state->fxHead, state->order);
    state->fxLine[state->fxHead] = xf;
    state->power = xf * xf * 0.01 + state->power * 0.99;
    const double step = (state->mu * state->err) / (state->power + 1e-12);
    addRing(state->coef, state->fxLine, state->order, state->order, state->fxHead,
            [step](double sample) { return -(step * sample); });
    return s;
}

double plain::adjlms64fFilterUpdate(adjlms64fState* state, double x, double d) {
    const int newest = insert(state->delayLine, state->refLen, &state->head, x);
    const double y =
        dotLongRing(state->delayLine, state->refLen, state->coef, state->order, newest);
    const int newestOut = insert(state->outLine, state->secLen, &state->outHead, y);
    const double s = dotRing(state->outLine, state->secCoef, state->secLen, newestOut);
    state->err = s + d;
    const int newestErr = insert(state->errLine, state->estLen, &state->errHead, state->err);
    double r = 0.0;
    int k = state->estLen;
    for (int i = newestErr; i < state->estLen; ++i) {
        r += state->errLine[i] * state->estCoef[--k];
    }
    for (int i = 0; i < newestErr; ++i) {
        r += state->errLine[i] * state->estCoef[--k];
    }
    const int delayed = (state->estLen + state->head + 1) % state->refLen;
    const double older = state->delayLine[delayed];
    state->power = older * older * 0.01 + state->power * 0.99;
    const double step = r * (state->mu / (state->power + 1e-12));
    addRing(state->coef, state->delayLine, state->refLen, state->order,
            stepBack(delayed, state->refLen), [step](double sample) { return -(step * sample); });
    return s;
}
