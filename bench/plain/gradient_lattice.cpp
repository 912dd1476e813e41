#include "plain/plain.h"

namespace {

constexpr double kKeep = 0.98f;
constexpr double kGain = 0.01f;
constexpr double kEps = 1e-15f;

// Returns the forward error of the last stage.
template <class State>
double runStages(State* state, int stages, bool adapt, double x) {
    double f = x;
    state->backErr[0] = x;
    state->power[0] =
        (state->delayLine[0] * state->delayLine[0] + x * x) * kGain + state->power[0] * kKeep;
    for (int i = 1; i <= stages; ++i) {
        const double k = state->parcor[i - 1];
        const double b = state->delayLine[i - 1];
        const double fNew = f - b * k;
        state->backErr[i] = b - f * k;
        if (adapt) {
            const double gradient = fNew * b + f * state->backErr[i];
            if (gradient != 0.0) {
                state->parcor[i - 1] = gradient * (state->mu / state->power[i - 1] + kEps) + k;
            }
        }
        state->power[i] = (state->delayLine[i] * state->delayLine[i] + fNew * fNew) * kGain +
                          state->power[i] * kKeep;
        f = fNew;
    }
    return f;
}

template <class State>
double predict(State* state, bool adapt, double x) {
    const int order = state->order;
    const double f = runStages(state, order, adapt, x);
    if (adapt && state->updateCoef != 0) {
        double before[MAX_PEF_STAGES];
        state->coef[0] = state->parcor[0];
        for (int m = 1; m < order; ++m) {
            for (int j = 0; j < m; ++j) {
                before[j] = state->coef[j];
            }
            for (int j = 0; j < m; ++j) {
                state->coef[j] = before[j] - state->parcor[m] * before[m - 1 - j];
            }
            state->coef[m] = state->parcor[m];
        }
    }
    for (int i = 0; i < order; ++i) {
        state->delayLine[i] = state->backErr[i];
    }
    return f;
}

double forward(lfpef64fState* state, bool adapt, double x) {
    state->err = predict(state, adapt, x);
    return x - state->err;
}

double backward(lbpef64fState* state, bool adapt, double x) {
    predict(state, adapt, x);
    state->err = state->backErr[state->order];
    const int length = state->order + 1;
    state->inHead = (state->inHead + 1) % length;
    state->inLine[state->inHead] = x;
    return state->inLine[(state->inHead + 1) % length] - state->err;
}

double output(lmslattice64fState* state, bool adapt, double x) {
    runStages(state, state->order - 1, adapt, x);
    double y = 0.0;
    for (int i = 0; i < state->order; ++i) {
        state->delayLine[i] = state->backErr[i];
        y += state->delayLine[i] * state->coef[i];
    }
    return y;
}

} // namespace

double plain::lfpef64fFilterUpdate(lfpef64fState* state, double x) {
    return forward(state, true, x);
}
double plain::lfpef64fFilterOnly(lfpef64fState* state, double x) {
    return forward(state, false, x);
}
double plain::lbpef64fFilterUpdate(lbpef64fState* state, double x) {
    return backward(state, true, x);
}
double plain::lbpef64fFilterOnly(lbpef64fState* state, double x) {
    return backward(state, false, x);
}

double plain::lmslattice64fFilterUpdate(lmslattice64fState* state, double x, double d) {
    const double y = output(state, state->adaptParcor != 0, x);
    const double e = d - y;
    for (int i = 0; i < state->order; ++i) {
        state->backErr[i] = state->delayLine[i] * state->muCoef * e / (state->power[i] + kEps);
        state->coef[i] = state->backErr[i] + state->coef[i];
    }
    state->err = e;
    return y;
}
double plain::lmslattice64fFilterOnly(lmslattice64fState* state, double x) {
    return output(state, false, x);
}
