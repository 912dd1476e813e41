// The stage recursion of the three least-squares lattices, and set-up, reset and resizing of their
// records. All errors are a-posteriori errors. No energy has a lower limit: infinities and NaN propagate.
// Source: Lee, Morf and Friedlander 1981, Recursive least squares ladder estimation algorithms;
// Diniz, Adaptive Filtering, algorithm 7.1.
//
// The fields of the record select the variant. A record with jointCorr has a joint-process section,
// which regresses d on the backward errors. A record without is a predictor: it has a lower order limit
// and a second update of fwdEnergy[0]. A record with inLine keeps the last order + 1 input samples.
#pragma once

#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "merlo64f.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace merlo {

constexpr double kStartEnergy = 0.001F; // 0.0010000000474974513

template <class State>
concept JointProcess = requires(State state) {
    state.jointCorr;
};

template <class State>
concept KeepsInput = requires(State state) {
    state.inLine;
};

// The arrays with one element per stage, in the order in which they lie in the two buffers.
template <class State>
constexpr auto kCoefArrays = std::array{&State::coef, &State::bwdParcor, &State::fwdParcor};
template <class State>
constexpr auto kWorkArrays = [] {
    if constexpr (JointProcess<State>) {
        return std::array{&State::delayLine, &State::bwdEnergy, &State::jointCorr,
                          &State::prevGamma, &State::crossCorr, &State::fwdEnergy};
    } else {
        return std::array{&State::delayLine, &State::bwdEnergy, &State::prevGamma,
                          &State::crossCorr, &State::fwdEnergy};
    }
}();

// visit(array of the record) for each of them
template <class State, class Visit>
inline void forEachStageArray(Visit visit) {
    for (const auto array : kCoefArrays<State>) {
        visit(array);
    }
    for (const auto array : kWorkArrays<State>) {
        visit(array);
    }
}

template <class State>
inline void startStages(State* state) {
    forEachStageArray<State>([&](double* State::*array) { reset64f(state->*array, state->order); });
    set64f(kStartEnergy, state->fwdEnergy, state->order);
    set64f(kStartEnergy, state->bwdEnergy, state->order);
    set64f(1.0, state->prevGamma, state->order);
    if constexpr (KeepsInput<State>) {
        reset64f(state->inLine, state->order + 1);
    }
}

// Pointers are tested before the order, which provide() tests. A failure is marked in the record,
// unless `state` is null.
template <class State, class Provide>
inline int32_t setUpLeastSquares(State* state, int32_t order, double lambda, Provide provide) {
    if (state == nullptr) {
        return STS_NULL_PTR;
    }
    order = std::min<int32_t>(order, JointProcess<State> ? MAX_TAPS : MAX_PEF_STAGES);
    constexpr int64_t coefCount = kCoefArrays<State>.size();
    constexpr int64_t workCount = kWorkArrays<State>.size();
    const int64_t history = KeepsInput<State> ? int64_t{order} + 1 : 0;
    if (const int32_t status = provide(
            {{&state->coef, coefCount * order}, {&state->delayLine, workCount * order + history}});
        status != STS_OK) {
        return fail(state, status);
    }
    const auto split = [=](double* buffer, const auto& arrays) {
        for (const auto array : arrays) {
            state->*array = buffer;
            buffer += order;
        }
        return buffer;
    };
    split(state->coef, kCoefArrays<State>);
    double* const end = split(state->delayLine, kWorkArrays<State>);
    if constexpr (KeepsInput<State>) {
        state->inLine = end;
        state->inHead = order;
    }
    if constexpr (!JointProcess<State>) {
        state->updateCoef = 1;
    }
    state->order = order;
    state->lambda = lambda;
    startStages(state);
    return STS_OK;
}

template <class State>
inline void releaseLeastSquares(State* state) {
    release(state->coef);
    release(state->delayLine);
    state->order = 0;
}

template <class State>
inline int32_t resetLeastSquares(State* state) {
    if (state == nullptr) {
        return STS_NULL_PTR;
    }
    if (state->order > 0) {
        startStages(state);
    }
    return STS_OK;
}

// Every array is copied by position. So is inLine, wherever its newest sample is.
template <class State>
inline int32_t resizeLeastSquares(State* state, int32_t order,
                                  int32_t (*init)(State*, int32_t, double),
                                  void (*freeRecord)(State*)) {
    if (order == state->order) {
        return STS_OK;
    }
    State next = *state;
    if (const int32_t status = init(&next, order, state->lambda); status != STS_OK) {
        return status;
    }
    return replace(state, next, freeRecord, [&]() -> int32_t {
        const int32_t kept = std::min(order, state->order);
        forEachStageArray<State>(
            [&](double* State::*array) { copy64f(state->*array, next.*array, kept); });
        if constexpr (KeepsInput<State>) {
            copy64f(state->inLine, next.inLine, kept + 1);
        }
        return STS_OK;
    });
}

// The errors that leave the last stage.
struct StageErrors {
    double f; // forward
    double b; // backward
    double e; // joint
};

// Passes one sample through the stages. z is the backward error that entered the stage at the previous
// sample, g the conversion factor, p that of the previous sample. With kAdapt, in each stage
//     fwdEnergy = lambda * fwdEnergy + f * f / p,     bwdEnergy' = lambda * bwdEnergy + b * b / g,
//     crossCorr = lambda * crossCorr + f * z / p,     jointCorr = lambda * jointCorr + e * b / g,
//     fwdParcor = crossCorr / bwdEnergy, the energy of the previous sample,
//     bwdParcor = crossCorr / fwdEnergy,              coef = jointCorr / bwdEnergy',
// and always
//     f = f - fwdParcor * z,  b = z - bwdParcor * f,  e = e - coef * b,  g = g - b * b / bwdEnergy'
// with f and b on the right as they entered the stage.
// The next stage waits for the two divisions of f, so they are first in the code; the other six overlap
// with them.
template <bool kAdapt, class State>
inline StageErrors throughStages(State* state, double x, double d = {}) {
    double* const fwdEnergy = state->fwdEnergy;
    double* const bwdEnergy = state->bwdEnergy;
    double* const crossCorr = state->crossCorr;
    double* const prevGamma = state->prevGamma;
    double* const delayLine = state->delayLine;
    double* const fwdParcor = state->fwdParcor;
    double* const bwdParcor = state->bwdParcor;
    double* const coef = state->coef;
    const double lambda = state->lambda;
    const int32_t order = state->order;
    if constexpr (kAdapt && !JointProcess<State>) {
        fwdEnergy[0] = lambda * fwdEnergy[0] + x * x;
    }
    double f = x;
    double b = x;
    double g = 1.0;
    double e = d;
    for (int32_t i = 0; i < order; ++i) {
        const double z = delayLine[i];
        const double p = prevGamma[i];
        const double pastEnergy = bwdEnergy[i];
        double c = 0.0;
        if constexpr (kAdapt) {
            c = lambda * crossCorr[i] + f * z / p;
            crossCorr[i] = c;
            fwdParcor[i] = c / pastEnergy;
        }
        const double nextF = f - fwdParcor[i] * z;
        const double bb = b * b;
        const double energy = lambda * pastEnergy + bb / g;
        if constexpr (kAdapt) {
            fwdEnergy[i] = lambda * fwdEnergy[i] + f * f / p;
            bwdParcor[i] = c / fwdEnergy[i];
        }
        const double nextB = z - bwdParcor[i] * f;
        if constexpr (JointProcess<State>) {
            if constexpr (kAdapt) {
                state->jointCorr[i] = lambda * state->jointCorr[i] + e * b / g;
                coef[i] = state->jointCorr[i] / energy;
            }
            e = e - coef[i] * b;
        }
        prevGamma[i] = g;
        g = g - bb / energy;
        bwdEnergy[i] = energy;
        delayLine[i] = b;
        f = nextF;
        b = nextB;
    }
    return {f, b, e};
}

} // namespace merlo
