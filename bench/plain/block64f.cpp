#include "plain/loops.h"
#include "plain/plain.h"

using namespace plain;

namespace {

constexpr double kKeep = 0.99F;
constexpr double kGain = 0.01F;
constexpr double kFloor = 1e-15F;

} // namespace

void plain::blms64fFilterUpdate(blms64fState* state, const double* x, const double* d, double* y,
                                double* e) {
    const int order = state->order;
    for (int i = 0; i < state->blockLen; ++i) {
        const int newest = insert(state->delayLine, order, &state->head, x[i]);
        y[i] = dotRing(state->delayLine, state->coef, order, newest);
        e[i] = d[i] - y[i];
        const double g = state->mu * e[i];
        addRing(state->coef, state->delayLine, order, order, newest,
                [g](double sample) { return g * sample; });
    }
}

void plain::blms64fFilterOnly(blms64fState* state, const double* x, double* y) {
    for (int i = 0; i < state->blockLen; ++i) {
        const int newest = insert(state->delayLine, state->order, &state->head, x[i]);
        y[i] = dotRing(state->delayLine, state->coef, state->order, newest);
    }
}

void plain::bnlms64fFilterUpdate(bnlms64fState* state, const double* x, const double* d, double* y,
                                 double* e) {
    const int order = state->order;
    for (int i = 0; i < state->blockLen; ++i) {
        const double sample = x[i];
        const int newest = insert(state->delayLine, order, &state->head, sample);
        y[i] = dotRing(state->delayLine, state->coef, order, newest);
        e[i] = d[i] - y[i];
        state->power = kKeep * state->power + kGain * (sample * sample);
        const double g = (state->mu * e[i]) / (state->power + kFloor);
        addRing(state->coef, state->delayLine, order, order, newest,
                [g](double older) { return g * older; });
    }
}

void plain::bnlms64fFilterOnly(bnlms64fState* state, const double* x, double* y) {
    for (int i = 0; i < state->blockLen; ++i) {
        const int newest = insert(state->delayLine, state->order, &state->head, x[i]);
        y[i] = dotRing(state->delayLine, state->coef, state->order, newest);
        state->power = kKeep * state->power + kGain * (x[i] * x[i]);
    }
}
