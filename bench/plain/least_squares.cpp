#include "plain/loops.h"
#include "plain/plain.h"

using namespace plain;

namespace {

template <bool kAdapt>
double stepRls(rls64fState* state, double x, double d) {
    const int order = state->order;
    double* line = state->delayLine;
    double* coef = state->coef;
    double* gain = state->gain;
    double* P = state->invCorr;
    for (int k = order - 2; k >= 0; --k) {
        line[k + 1] = line[k];
    }
    line[0] = x;
    const double y = dotLinear(line, coef, order);
    if (kAdapt) {
        state->err = d - y;
    }
    for (int i = 0; i < order; ++i) {
        gain[i] = 0.0;
        for (int j = 0; j <= i; ++j) {
            gain[i] += P[i * (i + 1) / 2 + j] * line[j];
        }
    }
    for (int i = 0; i < order - 1; ++i) {
        for (int k = i + 1; k < order; ++k) {
            gain[i] += P[k * (k + 1) / 2 + i] * line[k];
        }
    }
    const double q = dotLinear(line, gain, order);
    for (int i = 0; i < order; ++i) {
        const double k = gain[i] / (q + state->lambda);
        if (kAdapt) {
            coef[i] = k * state->err + coef[i];
        }
        for (int j = 0; j <= i; ++j) {
            P[i * (i + 1) / 2 + j] = state->invLambda * P[i * (i + 1) / 2 + j] - k * gain[j];
        }
    }
    return y;
}

struct Errors {
    double f;
    double b;
    double e;
};

template <bool kAdapt, class State>
Errors passStages(State* state, double x, double d) {
    double f = x;
    double b = x;
    double g = 1.0;
    double e = d;
    for (int i = 0; i < state->order; ++i) {
        const double bb = b * b;
        const double newB = state->lambda * state->bwdEnergy[i] + bb / g;
        if constexpr (kAdapt) {
            state->fwdEnergy[i] = state->lambda * state->fwdEnergy[i] + f * f / state->prevGamma[i];
            state->crossCorr[i] =
                state->lambda * state->crossCorr[i] + f * state->delayLine[i] / state->prevGamma[i];
            if constexpr (requires { state->jointCorr; }) {
                state->jointCorr[i] = state->lambda * state->jointCorr[i] + e * b / g;
            }
            state->fwdParcor[i] = state->crossCorr[i] / state->bwdEnergy[i];
            state->bwdParcor[i] = state->crossCorr[i] / state->fwdEnergy[i];
        }
        const double nextF = f - state->fwdParcor[i] * state->delayLine[i];
        const double nextB = state->delayLine[i] - state->bwdParcor[i] * f;
        if constexpr (requires { state->jointCorr; }) {
            if constexpr (kAdapt) {
                state->coef[i] = state->jointCorr[i] / newB;
            }
            e = e - state->coef[i] * b;
        }
        state->prevGamma[i] = g;
        g = g - bb / newB;
        state->bwdEnergy[i] = newB;
        state->delayLine[i] = b;
        f = nextF;
        b = nextB;
    }
    return {f, b, e};
}

void stepUp(const double* parcor, int order, double* coef) {
    double before[MAX_PEF_STAGES];
    for (int m = 0; m < order; ++m) {
        for (int j = 0; j < m; ++j) {
            before[j] = coef[j];
        }
        for (int j = 0; j < m; ++j) {
            coef[j] = before[j] - parcor[m] * before[m - 1 - j];
        }
        coef[m] = parcor[m];
    }
}

template <bool kAdapt>
double predictBackward(rlslbpef64fState* state, double x) {
    if (kAdapt) {
        state->fwdEnergy[0] = state->lambda * state->fwdEnergy[0] + x * x;
    }
    state->err = passStages<kAdapt>(state, x, 0.0).b;
    if (state->updateCoef != 0) {
        stepUp(state->bwdParcor, state->order, state->coef);
    }
    const int lineLen = state->order + 1;
    state->inHead = (state->inHead + 1) % lineLen;
    state->inLine[state->inHead] = x;
    return state->inLine[(state->inHead + 1) % lineLen] - state->err;
}

template <bool kAdapt>
double predictForward(rlslfpef64fState* state, double x) {
    if (kAdapt) {
        state->fwdEnergy[0] = state->lambda * state->fwdEnergy[0] + x * x;
    }
    state->err = passStages<kAdapt>(state, x, 0.0).f;
    if (state->updateCoef != 0) {
        stepUp(state->fwdParcor, state->order, state->coef);
    }
    return x - state->err;
}

} // namespace

double plain::rls64fFilterUpdate(rls64fState* state, double x, double d) {
    return stepRls<true>(state, x, d);
}

double plain::rls64fFilterOnly(rls64fState* state, double x) {
    return stepRls<false>(state, x, 0.0);
}

double plain::rlslattice64fFilterUpdate(rlslattice64fState* state, double x, double d) {
    state->err = passStages<true>(state, x, d).e;
    return d - state->err;
}

double plain::rlslattice64fFilterOnly(rlslattice64fState* state, double x) {
    return -passStages<false>(state, x, 0.0).e;
}

double plain::rlslbpef64fFilterUpdate(rlslbpef64fState* state, double x) {
    return predictBackward<true>(state, x);
}

double plain::rlslbpef64fFilterOnly(rlslbpef64fState* state, double x) {
    return predictBackward<false>(state, x);
}

double plain::rlslfpef64fFilterUpdate(rlslfpef64fState* state, double x) {
    return predictForward<true>(state, x);
}

double plain::rlslfpef64fFilterOnly(rlslfpef64fState* state, double x) {
    return predictForward<false>(state, x);
}
