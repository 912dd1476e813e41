// The gradient lattice, which three families share: the recursion of its stages and the life of a
// record that stands on them. Stage i, 1 .. stages, takes the forward error f(i-1) and the backward
// error of the sample before, b(i-1), with the reflection coefficient k(i):
//     f(i) = f(i-1) - b(i-1)*k(i)                                          f(0) = back(0) = x
//     back(i) = b(i-1) - f(i-1)*k(i)                                       b of the next sample
//     power(i) = (b(i)^2 + f(i)^2) * gain + power(i) * keep
//     k(i) = (f(i)*b(i-1) + f(i-1)*back(i)) * (mu/power(i-1) + eps) + k(i)
// Source: Griffiths 1977, A continuously adaptive filter implemented as a lattice structure.
//
// A record has the fields order, mu, coef, parcor with k(i) at i-1, and delayLine, power and backErr
// with b(i), power(i) and back(i) at i. coef and parcor lie in one block, the others in a second.
#pragma once

#include "accessors.h"
#include "kernels.h"
#include "lanes.h"
#include "lifecycle.h"
#include "merlo64f.h"
#include "step_up.h"
#include "subnormal.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// Single-precision values, widened: 0.9800000190734863, 0.009999999776482582 and
// 1.0000000036274937e-15. The weights of the power do not add up to 1.
constexpr double LATTICE_POWER_KEEP = 0.98F;
constexpr double LATTICE_POWER_GAIN = 0.01F;
constexpr double LATTICE_EPS = 1e-15F;

// ---- The recursion. Subtracting b(i-1)*k(i) stage by stage is the one chain in it; all else stands
// beside the chain, for several stages at once.

// The forward errors that enter and leave neighbouring stages; f is left behind the last of them.
// `products` holds b(i-1)*k(i).
inline void passForward(double& f, double products, double& entering, double& leaving) {
    entering = f;
    f -= products;
    leaving = f;
}
inline void passForward(double& f, const Lanes& products, Lanes& entering, Lanes& leaving) {
#pragma GCC unroll 8
    for (int32_t lane = 0; lane < kLanes; ++lane) {
        entering[lane] = f;
        f -= products[lane];
        leaving[lane] = f;
    }
}

// `energy` is b(i)^2 + f(i)^2.
inline double smoothed(double power, double energy) {
    if (energy == 0.0 && isFaint(power)) {
        return scaleFaint(LATTICE_POWER_KEEP, power);
    }
    return energy * LATTICE_POWER_GAIN + power * LATTICE_POWER_KEEP;
}
inline Lanes smoothed(const Lanes& power, const Lanes& energy) {
    return energy * LATTICE_POWER_GAIN + power * LATTICE_POWER_KEEP;
}

// After long silence mu/power overflows. The gradient is 0 there and must move nothing, where the
// product would be NaN. Of lanes both sides are formed and one is taken, so no branch is left; a
// single stage without gradient is spared the division.
template <class V>
inline V adapted(const V& k, const V& gradient, double mu, const V& power) {
    return gradient == 0.0 ? k : gradient * (mu / power + LATTICE_EPS) + k;
}

// The stage that place `at` of the arrays enters or, by V, the kLanes stages from there. `f` and the last
// of `back` are the errors that pass from group to group. The backward errors that enter the stages become
// backErr and delayLine and go to eachError(at, them).
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

// Takes x through the stages, 0 <= stages; without kAdapt the reflection coefficients stay. Every backward
// error is left in backErr and handed to eachError(i, back(i) or lanes of it and its successors), upward.
// Those that enter a stage are moved to delayLine; delayLine[stages] stays.
template <bool kAdapt, class State, class EachError>
inline LastErrors runStages(const State* record, int32_t stages, double x, EachError eachError) {
    const State state = *record; // so that no store makes the pointers be read again
    double f = x;
    double back = x;
    int32_t at = 0;
    // In long silence stages go one by one: lanes cannot step around subnormal numbers.
    if (x != 0.0 || !isFaint(state.power[0])) {
        Lanes backs{};
        backs[kLanes - 1] = x;
        for (; at + kLanes <= stages; at += kLanes) {
            runGroup<kAdapt>(state, at, f, backs, eachError);
        }
        back = backs[kLanes - 1];
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

// ---- The life of a record.

// Sets what all three share. `width` is the length of delayLine, power and backErr, which begin the
// second block; the block holds `arrays` of that length. The order is within the family's limit and
// tested last. A failure is marked in the record, unless there is none.
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

// Ends a Resize: what fits of coef, parcor and delayLine goes over to `next`, place by place.
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

// ---- The two prediction-error lattices: as many stages as reflection coefficients, one place more in
// the stage arrays, and the direct form in coef.

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

// One step. Returns the errors of the last stage. delayLine[order] enters no stage and is never
// written: it holds 0.
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
