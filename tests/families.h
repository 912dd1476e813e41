// The families as the shared suite and the digests see them. A family joins by one struct here and
// its name in `Families`.
#pragma once

#include "fir64f.h"
#include "lms64f.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

template <class State>
struct Accessor {
    const char* name;
    int32_t (*get)(const State*, double*, int32_t, int32_t, int32_t);
    int32_t (*set)(State*, const double*, int32_t, int32_t, int32_t);
    double* State::*array;           // what they work on
    int32_t (*length)(const State&); // elements in reach
};

template <class State>
struct ResetOf {
    const char* name;
    int32_t (*reset)(State*);
    std::vector<double * State::*> clears; // arrays that become zero; everything else stays
};

// One call of a filter operation, fed from the signal; its outputs and its error go to the trace.
template <class State>
using Operation = void (*)(State*, Signal&, Trace&);

template <class State>
int32_t orderOf(const State& state) {
    return state.order;
}

struct Fir {
    using State = fir64fState;
    struct Lent { // what the host lends to one record
        double coef[MAX_TAPS] = {0.5, -0.25, 1.0, 0.125, -0.75, 0.0625, 0.375, -1.0};
    };
    static constexpr const char* name = "fir64f";
    static constexpr int32_t limit = MAX_TAPS;

    static int32_t init(State* s, int32_t order, Lent& lent) {
        return fir64fInit(s, order, lent.coef);
    }
    static int32_t initStatic(State* s, int32_t order, Lent& lent, double* const* buffers) {
        return fir64fInitStatic(s, order, lent.coef, buffers[0]);
    }
    // The buffers in the order of Init and InitStatic: lengths in elements, fields.
    static std::vector<int32_t> lengths(int32_t order) { return {order}; }
    static std::vector<double*> blocks(const State& s) { return {s.delayLine}; }
    static void free(State* s) { fir64fFree(s); }
    static int32_t resize(State* s, int32_t order) { return fir64fResize(s, order); }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", fir64fGetCoef, fir64fSetCoef, &State::coef, orderOf<State>},
                {"DelayLine", fir64fGetDelayLine, fir64fSetDelayLine, &State::delayLine,
                 orderOf<State>}};
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"ResetDelayLine", fir64fResetDelayLine, {&State::delayLine}}};
    }
    static std::vector<Operation<State>> operations() {
        return {[](State* s, Signal& in, Trace& out) { out.add(fir64fFilter(s, in.next())); },
                [](State* s, Signal&, Trace& out) { out.add(fir64fLCFilter(s)); },
                [](State* s, Signal& in, Trace& out) {
                    double block[41];
                    in.fill(block, 41);
                    out.add(fir64fBlockFilter(s, block, block, 41));
                    out.add(block, 41);
                }};
    }
};

struct Lms {
    using State = lms64fState;
    struct Lent {};
    static constexpr const char* name = "lms64f";
    static constexpr int32_t limit = MAX_TAPS;
    static constexpr double mu = 0.05;

    static int32_t init(State* s, int32_t order, Lent&) { return lms64fInit(s, order, mu); }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return lms64fInitStatic(s, order, mu, buffers[0], buffers[1]);
    }
    static std::vector<int32_t> lengths(int32_t order) { return {order, order}; }
    static std::vector<double*> blocks(const State& s) { return {s.coef, s.delayLine}; }
    static void free(State* s) { lms64fFree(s); }
    static int32_t resize(State* s, int32_t order) { return lms64fResize(s, order); }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", lms64fGetCoef, lms64fSetCoef, &State::coef, orderOf<State>},
                {"DelayLine", lms64fGetDelayLine, lms64fSetDelayLine, &State::delayLine,
                 orderOf<State>}};
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", lms64fReset, {&State::coef}},
                {"ResetDelayLine", lms64fResetDelayLine, {&State::delayLine}}};
    }
    template <double (*update)(State*, double, double)>
    static void ring(State* s, Signal& in, Trace& out) {
        const double x = in.next();
        out.add(update(s, x, in.next()));
        out.add(s->err);
    }
    template <double (*update)(State*, double)>
    static void linear(State* s, Signal& in, Trace& out) {
        insertSampleLinBuf64f(in.next(), s->delayLine, s->order);
        out.add(update(s, in.next()));
        out.add(s->err);
    }
    static std::vector<Operation<State>> operations() {
        return {ring<lms64fFilterUpdate>,
                ring<lms64fFilterUpdateSignErr>,
                ring<lms64fFilterUpdateSignReg>,
                ring<lms64fFilterUpdateSignSign>,
                linear<lms64fLCFilterUpdate>,
                linear<lms64fLCFilterUpdateSignErr>,
                linear<lms64fLCFilterUpdateSignReg>,
                linear<lms64fLCFilterUpdateSignSign>,
                [](State* s, Signal& in, Trace& out) { out.add(lms64fFilterOnly(s, in.next())); },
                [](State* s, Signal&, Trace& out) { out.add(lms64fLCFilterOnly(s)); }};
    }
};

using Families = testing::Types<Fir, Lms>;
