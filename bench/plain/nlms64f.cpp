#include "plain/loops.h"
#include "plain/plain.h"

double plain::nlms64fFilterUpdate(nlms64fState* state, double x, double d) {
    const int order = state->order;
    const int newest = insert(state->delayLine, order, &state->head, x);
    const double y = dotRing(state->delayLine, state->coef, order, newest);
    const double e = d - y;
    state->err = e;
    state->power = 0.99 * state->power + 0.01 * (x * x);
    const double g = (state->mu * e) / (state->power + 1e-12);
    addRing(state->coef, state->delayLine, order, order, newest,
            [g](double sample) { return g * sample; });
    return y;
}

double plain::nlms64fFilterOnly(nlms64fState* state, double x) {
    const int newest = insert(state->delayLine, state->order, &state->head, x);
    const double y = dotRing(state->delayLine, state->coef, state->order, newest);
    state->power = 0.99 * state->power + 0.01 * (x * x);
    return y;
}
