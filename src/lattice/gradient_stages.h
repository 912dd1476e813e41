// The gradient lattice of three families: the recursion of its stages, and set-up, reset and resizing
// of the records. Stage i, 1 .. stages, has the forward error f(i-1) and the delayed backward error
// b(i-1), that of the previous sample, as inputs and k(i) as its reflection coefficient:
//     f(i) = f(i-1) - b(i-1)*k(i)                                          f(0) = back(0) = x
//     back(i) = b(i-1) - f(i-1)*k(i)                                       b(i) of the next sample
//     power(i) = (b(i)^2 + f(i)^2) * gain + power(i) * keep
//     k(i) = (f(i)*b(i-1) + f(i-1)*back(i)) * (mu/power(i-1) + eps) + k(i)
// Source: Griffiths 1977, A continuously adaptive filter implemented as a lattice structure.
//
// A record has the fields order, mu, coef, parcor with k(i) at i-1, and delayLine, power and backErr
// with b(i), power(i) and back(i) at i. One buffer holds coef and parcor, a second the others.
#pragma once

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lanes.h"
#include "frame/lifecycle.h"
#include "frame/step_up.h"
#include "frame/subnormal.h"
#include "merlo64f.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// Single-precision values widened to double: 0.9800000190734863, 0.009999999776482582 and
// 1.0000000036274937e-15. The weights of the power do not add up to 1.
constexpr double LATTICE_POWER_KEEP = 0.98F;
constexpr double LATTICE_POWER_GAIN = 0.01F;
constexpr double LATTICE_EPS = 1e-15F;

// ---- The recursion. Only f(i) = f(i-1) - b(i-1)*k(i) is serial; the rest is computed for kLanes
// stages at once.

// The forward errors that enter and leave consecutive stages, from `products`, which are b(i-1)*k(i).
// f becomes the error that leaves the last of them.
inline void passForward(double& f, double products, double& entering, double& leaving) {
    entering = f;
    f -= products;
    leaving = f;
}
template <class V>
inline void passForward(double& f, const V& products, V& entering, V& leaving) {
#pragma GCC unroll 8
    for (int32_t lane = 0; lane < kLanesOf<V>; ++lane) {
        entering[lane] = f;
        f -= products[lane];
        leaving[lane] = f;
    }
}

// `energy` is b(i)^2 + f(i)^2.
inline double smoothed(double power, double energy) {
    if (energy == 0.0 && isSubnormalOrZero(power)) {
        // speed only: the formula gives the same bits
        return scaleSubnormal(LATTICE_POWER_KEEP, power);
    }
    return energy * LATTICE_POWER_GAIN + power * LATTICE_POWER_KEEP;
}
template <class V>
inline V smoothed(const V& power, const V& energy) {
    return energy * LATTICE_POWER_GAIN + power * LATTICE_POWER_KEEP;
}

// After long silence mu/power overflows while the gradient is 0. The product would be NaN, so a zero
// gradient leaves k unchanged: by a lane select, or for a single stage by a branch.
template <class V>
inline V adapted(const V& k, const V& gradient, double mu, const V& power) {
    return gradient == 0.0 ? k : gradient * (mu / power + LATTICE_EPS) + k;
}

// The stage whose inputs are at index `at` of the arrays, or kLanes stages from there if V is Lanes.
// `f` and the last of `back` are the errors that leave the previous group. The backward errors that
// enter the stages are stored in backErr and delayLine and passed to eachError(at, errors).
template <bool kAdapt, class V, class State, class EachError>
[[gnu::always_inline]] inline void runGroup(const State& state, int32_t at, double& f, V& back,
                                            EachError& eachError) {
    const V b = load<V>(state.delayLine + at);
    const V k = load<V>(state.parcor + at);
    V entering, leaving;
    passForward(f, b * k, entering, leaving);
    const V backLeaving = b - entering * k;
    const V power = smoothed(load<V>(state.power + at), b * b + entering * entering);
    store(power, state.power + at);
    if constexpr (kAdapt) {
        const V gradient = leaving * b + entering * backLeaving;
        store(adapted(k, gradient, state.mu, power), state.parcor + at);
    }
    const V backEntering = shiftIn(back, backLeaving);
    store(backEntering, state.backErr + at);
    store(backEntering, state.delayLine + at);
    eachError(at, backEntering);
}

// The errors that leave the last stage.
struct LastErrors {
    double forward;
    double backward;
};

// Passes x through the stages, 0 <= stages. Without kAdapt the reflection coefficients do not change.
// All backward errors are stored in backErr and passed to eachError(i, back(i) or lanes from back(i) on),
// upward. Those that enter a stage are copied to delayLine; delayLine[stages] does not change.
// Inlined: gcc 12 otherwise keeps the caller's sum in memory, which takes up to 1.5 times as long.
template <bool kAdapt, class State, class EachError>
[[gnu::always_inline]] inline LastErrors runStages(const State* record, int32_t stages, double x,
                                                   EachError eachError) {
    const State state = *record; // a copy, so that no store can change the pointers
    double f = x;
    double back = x;
    int32_t at = 0;
    // In long silence stages are computed one by one, without subnormal arithmetic.
    if constexpr (kHasVectors) {
        if (x != 0.0 || !isSubnormalOrZero(state.power[0])) { // speed only: single stages follow
            // speed only: with four lanes the fixed filter of order 8 takes 1.2 times as long
            using V = std::conditional_t<kAdapt, Lanes, Pair>;
            constexpr int32_t lanes = kLanesOf<V>;
            V backs{};
            backs[lanes - 1] = x;
            for (; at + lanes <= stages; at += lanes) { // speed only: as above
                runGroup<kAdapt>(state, at, f, backs, eachError);
            }
            back = backs[lanes - 1];
        }
    }
    for (; at < stages; ++at) {
        runGroup<kAdapt>(state, at, f, back, eachError);
    }
    const double b = state.delayLine[stages];
    state.power[stages] = smoothed(state.power[stages], b * b + f * f);
    state.backErr[stages] = back;
    eachError(stages, back);
    return {f, back};
}

// ---- Set-up, reset and resizing of a record

// Sets the fields that all three share. `width` is the length of delayLine, power and backErr, which
// are the first arrays of the second buffer; it holds `arrays` arrays of that length. The order is within
// the family's limit and tested last. A failure is marked in the record, unless `state` is null.
template <class State, class Provide>
inline int32_t setUpStages(State* state, int32_t order, int64_t width, int32_t arrays, double mu,
                           Provide provide) {
    if (state == nullptr) {
        return STS_NULL_PTR;
    }
    if (const int32_t status =
            provide({{&state->coef, int64_t{2} * order}, {&state->delayLine, arrays * width}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->parcor = state->coef + order;
    state->power = state->delayLine + width;
    state->backErr = state->power + width;
    set64f(1.0, state->power, static_cast<int32_t>(width));
    state->order = order;
    state->mu = mu;
    return STS_OK;
}

template <class State>
inline void releaseStages(State* state) {
    release(state->coef);
    release(state->delayLine);
    state->order = 0;
}

template <class State>
inline int32_t resetStages(State* state) {
    if (state == nullptr || state->coef == nullptr || state->parcor == nullptr) {
        return STS_NULL_PTR;
    }
    reset64f(state->coef, state->order);
    reset64f(state->parcor, state->order);
    return STS_OK;
}

// Ends a Resize: copies what fits of coef, parcor and delayLine to `next`, element by element.
template <class State>
inline int32_t replaceStages(State* state, State& next, int32_t requestedOrder,
                             void (*freeRecord)(State*)) {
    return replace(state, next, freeRecord, [&] {
        const int32_t kept = std::min(requestedOrder, state->order);
        int32_t moved = STS_OK;
        for (double* State::*array : {&State::coef, &State::parcor, &State::delayLine}) {
            moved = writeArray(next.*array, next.order, state->*array, 0, kept, 0);
            if (moved < 0) {
                break;
            }
        }
        return moved;
    });
}

// ---- The two prediction-error lattices: `order` stages, order + 1 elements in the stage arrays, the
// direct form in coef

template <class State, class Provide>
inline int32_t setUpPredictor(State* state, int32_t order, int32_t arrays, double mu,
                              Provide provide) {
    order = std::min<int32_t>(order, MAX_PEF_STAGES);
    if (const int32_t status = setUpStages(state, order, int64_t{order} + 1, arrays, mu, provide);
        status != STS_OK) {
        return status;
    }
    state->updateCoef = 1;
    return STS_OK;
}

// One step; returns the errors of the last stage. delayLine[order] enters no stage and is never
// written: it is 0.
template <bool kAdapt, class State>
inline LastErrors predictorStep(State* state, double x) {
    const LastErrors errors =
        runStages<kAdapt>(state, state->order, x, [](int32_t, const auto&) {});
    if constexpr (kAdapt) {
        if (state->updateCoef != 0) {
            directForm(state->parcor, state->order, state->coef);
        }
    }
    return errors;
}

template <class State>
inline int32_t resizePredictor(State* state, int32_t order,
                               int32_t (*init)(State*, int32_t, double),
                               void (*freeRecord)(State*)) {
    if (order == state->order) {
        return STS_OK;
    }
    State next = *state;
    if (const int32_t status = init(&next, order, state->mu); status != STS_OK) {
        return status;
    }
    next.updateCoef = state->updateCoef;
    return replaceStages(state, next, order, freeRecord);
}

} // namespace merlo
