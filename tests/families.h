// The families as the shared suite and the digests see them. A family joins by one struct here and
// its name in `Families`.
#pragma once

#include "adjlms64f.h"
#include "bfdaf64f.h"
#include "blms64f.h"
#include "bnlms64f.h"
#include "exact_tables.h"
#include "fir64f.h"
#include "fxlms64f.h"
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lms64f.h"
#include "lmslattice64f.h"
#include "nlms64f.h"
#include "pbfdaf64f.h"
#include "rls64f.h"
#include "rlslattice64f.h"
#include "rlslbpef64f.h"
#include "rlslfpef64f.h"
#include "signal.h"
#include "tdlms64f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

template <class State>
struct Accessor {
    const char* name;
    int32_t (*get)(const State*, double*, int32_t, int32_t, int32_t);
    int32_t (*set)(State*, const double*, int32_t, int32_t, int32_t);
    double* State::*array;           // what they work on
    int32_t (*length)(const State&); // elements in reach
    bool whole = true;               // whether they are all that the array holds
    double tolerance = 0.0;          // by which a value may change on its way in and out
};

// An array of a record, in the order in which they lie in the blocks of Init and InitStatic.
template <class State>
struct ArrayOf {
    double* State::*field;
    int32_t length;
    bool startsBlock = true;
};

template <class State>
struct ResetOf {
    const char* name;
    int32_t (*reset)(State*);
    std::vector<double * State::*> clears;       // arrays that become zero; everything else stays
    double (*start)(double* State::*) = nullptr; // or this; then no pointer is tested
};

// One call of a filter operation, fed from the signal; its outputs and its error go to the trace.
template <class State>
using Operation = void (*)(State*, Signal&, Trace&);

template <class State>
int32_t orderOf(const State& state) {
    return state.order;
}

// Operations of the common shapes: update is the exported function.
template <auto update, class State>
void ring(State* s, Signal& in, Trace& out) {
    const double x = in.next();
    out.add(update(s, x, in.next()));
    out.add(s->err);
}
template <auto update, class State>
void linear(State* s, Signal& in, Trace& out) {
    insertSampleLinBuf64f(in.next(), s->delayLine, s->order);
    out.add(update(s, in.next()));
    out.add(s->err);
}
template <auto update, class State>
void own(State* s, Signal& in, Trace& out) { // a filter that follows its own input
    out.add(update(s, in.next()));
    out.add(s->err);
}
template <auto filter, class State>
void sample(State* s, Signal& in, Trace& out) {
    out.add(filter(s, in.next()));
}
template <auto filter, class State>
void still(State* s, Signal&, Trace& out) {
    out.add(filter(s));
}
template <auto update, class State>
void block(State* s, Signal& in, Trace& out) {
    std::vector<double> x(static_cast<size_t>(s->blockLen)), d(x), y(x), e(x);
    in.fill(x.data(), s->blockLen);
    in.fill(d.data(), s->blockLen);
    out.add(update(s, x.data(), d.data(), y.data(), e.data()));
    out.add(y.data(), s->blockLen);
    out.add(e.data(), s->blockLen);
}
template <auto filter, class State>
void blockOnly(State* s, Signal& in, Trace& out) {
    std::vector<double> x(static_cast<size_t>(s->blockLen)), y(x);
    in.fill(x.data(), s->blockLen);
    out.add(filter(s, x.data(), y.data()));
    out.add(y.data(), s->blockLen);
}

// A getter that changes its record by rounding, in the shape of the others.
template <auto get, class State>
int32_t rounding(const State* s, double* buf, int32_t start, int32_t count, int32_t reversed) {
    return get(const_cast<State*>(s), buf, start, count, reversed);
}

// The accessors of a transversal filter on one line.
template <auto getCoef, auto setCoef, auto getLine, auto setLine, class State>
std::vector<Accessor<State>> tapsAndLine(int32_t (*length)(const State&) = orderOf<State>,
                                         bool whole = true) {
    return {{"Coef", getCoef, setCoef, &State::coef, orderOf<State>},
            {"DelayLine", getLine, setLine, &State::delayLine, length, whole}};
}

template <auto reset, auto resetLine, class State>
std::vector<ResetOf<State>> resetsOf(std::vector<double * State::*> lines = {&State::delayLine}) {
    return {{"Reset", reset, {&State::coef}}, {"ResetDelayLine", resetLine, std::move(lines)}};
}

// The accessors and the reset of a gradient lattice.
template <auto getCoef, auto setCoef, auto getParcor, auto setParcor, auto getLine, auto setLine,
          class State>
std::vector<Accessor<State>> stageArraysOf() {
    return {{"Coef", getCoef, setCoef, &State::coef, orderOf<State>},
            {"Parcor", getParcor, setParcor, &State::parcor, orderOf<State>},
            {"DelayLine", getLine, setLine, &State::delayLine, orderOf<State>}};
}

// What most families have in common; a family overrides what it does otherwise.
struct Defaults {
    struct Lent {};                              // what the host lends to one record
    static constexpr int32_t smallest = 1;       // order that is not refused
    static constexpr bool pointersFirst = false; // InitStatic tests its pointers before the sizes
    static constexpr bool testsRecord = false;   // a null record is refused by set-up and resets
    // Makes `to` equal in what a Resize keeps and no accessor shows; both are of the same sizes.
    template <class State>
    static void carryHidden(const State&, State&) {}
};

template <class S>
struct Transversal : Defaults {
    using State = S;
    static constexpr int32_t limit = MAX_TAPS;
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        return {{&State::coef, order}, {&State::delayLine, order}};
    }
    static void carryHidden(const State& from, State& to) {
        if constexpr (requires { from.power; }) {
            to.power = from.power;
        }
    }
};

struct Fir : Defaults {
    using State = fir64fState;
    struct Lent {
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
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        return {{&State::delayLine, order}};
    }
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
        return {sample<fir64fFilter>, still<fir64fLCFilter>, [](State* s, Signal& in, Trace& out) {
                    double block[41];
                    in.fill(block, 41);
                    out.add(fir64fBlockFilter(s, block, block, 41));
                    out.add(block, 41);
                }};
    }
};

struct Lms : Transversal<lms64fState> {
    static constexpr const char* name = "lms64f";
    static constexpr double mu = 0.05;

    static int32_t init(State* s, int32_t order, Lent&) { return lms64fInit(s, order, mu); }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return lms64fInitStatic(s, order, mu, buffers[0], buffers[1]);
    }
    static constexpr auto free = lms64fFree;
    static constexpr auto resize = lms64fResize;

    static auto accessors() {
        return tapsAndLine<lms64fGetCoef, lms64fSetCoef, lms64fGetDelayLine, lms64fSetDelayLine,
                           State>();
    }
    static auto resets() { return resetsOf<lms64fReset, lms64fResetDelayLine, State>(); }
    static std::vector<Operation<State>> operations() {
        return {ring<lms64fFilterUpdate>,
                ring<lms64fFilterUpdateSignErr>,
                ring<lms64fFilterUpdateSignReg>,
                ring<lms64fFilterUpdateSignSign>,
                linear<lms64fLCFilterUpdate>,
                linear<lms64fLCFilterUpdateSignErr>,
                linear<lms64fLCFilterUpdateSignReg>,
                linear<lms64fLCFilterUpdateSignSign>,
                sample<lms64fFilterOnly>,
                still<lms64fLCFilterOnly>};
    }
};

struct Nlms : Transversal<nlms64fState> {
    static constexpr const char* name = "nlms64f";
    static constexpr double mu = 0.02;

    static int32_t init(State* s, int32_t order, Lent&) { return nlms64fInit(s, order, mu); }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return nlms64fInitStatic(s, order, mu, buffers[0], buffers[1]);
    }
    static constexpr auto free = nlms64fFree;
    static constexpr auto resize = nlms64fResize;

    static auto accessors() {
        return tapsAndLine<nlms64fGetCoef, nlms64fSetCoef, nlms64fGetDelayLine, nlms64fSetDelayLine,
                           State>();
    }
    static auto resets() { return resetsOf<nlms64fReset, nlms64fResetDelayLine, State>(); }
    static std::vector<Operation<State>> operations() {
        return {ring<nlms64fFilterUpdate>, linear<nlms64fLCFilterUpdate>, sample<nlms64fFilterOnly>,
                still<nlms64fLCFilterOnly>};
    }
};

// Both filters behind a secondary path; their third line has thirdLen(order) samples.
template <class S, double* S::*third, auto kFree>
struct BehindPath : Defaults {
    using State = S;
    static constexpr int32_t limit = MAX_TAPS, secLen = 3, estLen = 5;
    static constexpr double mu = 0.01;
    struct Lent {
        double secCoef[secLen] = {0.0, 0.75, -0.25};
        double estCoef[estLen] = {0.0, 0.5, -0.25, 0.125, 0.0625};
    };
    static std::vector<ArrayOf<State>> lines(int32_t order, int32_t thirdLen, int32_t refLen) {
        return {{&State::coef, order},
                {&State::outLine, secLen},
                {third, thirdLen, false},
                {&State::delayLine, refLen, false}};
    }
    static void free(State* s) {
        kFree(s);
        EXPECT_TRUE(s->*third == nullptr && s->delayLine == nullptr);
    }
    static void carryHidden(const State& from, State& to) {
        to.power = from.power;
        std::copy(from.outLine, from.delayLine + from.refLen, to.outLine);
    }
    static std::vector<double * State::*> allLines() {
        return {&State::delayLine, &State::outLine, third};
    }
};

struct Adj : BehindPath<adjlms64fState, &adjlms64fState::errLine, adjlms64fFree> {
    static constexpr const char* name = "adjlms64f";
    static int32_t init(State* s, int32_t order, Lent& lent) {
        return adjlms64fInit(s, order, mu, lent.secCoef, secLen, lent.estCoef, estLen);
    }
    static int32_t initStatic(State* s, int32_t order, Lent& lent, double* const* buffers) {
        return adjlms64fInitStatic(s, order, mu, lent.secCoef, secLen, lent.estCoef, estLen,
                                   buffers[0], buffers[1]);
    }
    static auto arrays(int32_t order) { return lines(order, estLen, order + estLen - 1); }
    static constexpr auto resize = adjlms64fResize;
    static auto accessors() {
        return tapsAndLine<adjlms64fGetCoef, adjlms64fSetCoef, adjlms64fGetDelayLine,
                           adjlms64fSetDelayLine, State>([](const State& s) { return s.refLen; });
    }
    static auto resets() {
        return resetsOf<adjlms64fReset, adjlms64fResetDelayLine, State>(allLines());
    }
    static std::vector<Operation<State>> operations() {
        return {ring<adjlms64fFilterUpdate>, sample<adjlms64fFilterOnly>};
    }
};

struct Fx : BehindPath<fxlms64fState, &fxlms64fState::fxLine, fxlms64fFree> {
    static constexpr const char* name = "fxlms64f";
    static int32_t init(State* s, int32_t order, Lent& lent) {
        return fxlms64fInit(s, order, mu, lent.secCoef, secLen, lent.estCoef, estLen);
    }
    static int32_t initStatic(State* s, int32_t order, Lent& lent, double* const* buffers) {
        return fxlms64fInitStatic(s, order, mu, lent.secCoef, secLen, lent.estCoef, estLen,
                                  buffers[0], buffers[1]);
    }
    static auto arrays(int32_t order) { return lines(order, order, std::max(order, estLen)); }
    static constexpr auto resize = fxlms64fResize;
    static auto accessors() {
        return tapsAndLine<fxlms64fGetCoef, fxlms64fSetCoef, fxlms64fGetDelayLine,
                           fxlms64fSetDelayLine, State>(orderOf<State>, false);
    }
    static auto resets() {
        return resetsOf<fxlms64fReset, fxlms64fResetDelayLine, State>(allLines());
    }
    static std::vector<Operation<State>> operations() {
        return {ring<fxlms64fFilterUpdate>, sample<fxlms64fFilterOnly>};
    }
};

struct Blms : Transversal<blms64fState> {
    static constexpr const char* name = "blms64f";
    static constexpr double mu = 0.05;
    static constexpr int32_t blockLen = 9;

    static int32_t init(State* s, int32_t order, Lent&) {
        return blms64fInit(s, order, blockLen, mu);
    }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return blms64fInitStatic(s, order, blockLen, mu, buffers[0], buffers[1]);
    }
    static constexpr auto free = blms64fFree;
    static int32_t resize(State* s, int32_t order) { return blms64fResize(s, order, blockLen); }

    static auto accessors() {
        return tapsAndLine<blms64fGetCoef, blms64fSetCoef, blms64fGetDelayLine, blms64fSetDelayLine,
                           State>();
    }
    static auto resets() { return resetsOf<blms64fReset, blms64fResetDelayLine, State>(); }
    static std::vector<Operation<State>> operations() {
        return {block<blms64fFilterUpdate>, block<blms64fFilterUpdateSignErr>,
                block<blms64fFilterUpdateSignReg>, block<blms64fFilterUpdateSignSign>,
                blockOnly<blms64fFilterOnly>};
    }
};

struct Bnlms : Transversal<bnlms64fState> {
    static constexpr const char* name = "bnlms64f";
    static constexpr double mu = 0.02;
    static constexpr int32_t blockLen = 9;

    static int32_t init(State* s, int32_t order, Lent&) {
        return bnlms64fInit(s, order, blockLen, mu);
    }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return bnlms64fInitStatic(s, order, blockLen, mu, buffers[0], buffers[1]);
    }
    static constexpr auto free = bnlms64fFree;
    static int32_t resize(State* s, int32_t order) { return bnlms64fResize(s, order, blockLen); }

    static auto accessors() {
        return tapsAndLine<bnlms64fGetCoef, bnlms64fSetCoef, bnlms64fGetDelayLine,
                           bnlms64fSetDelayLine, State>();
    }
    static auto resets() { return resetsOf<bnlms64fReset, bnlms64fResetDelayLine, State>(); }
    static std::vector<Operation<State>> operations() {
        return {block<bnlms64fFilterUpdate>, blockOnly<bnlms64fFilterOnly>};
    }
};

// The gradient lattices that predict: their functions differ in the name alone.
struct Pef : Defaults {
    static constexpr int32_t limit = MAX_PEF_STAGES;
    static constexpr double mu = 0.01;
    static constexpr bool pointersFirst = true;
    static constexpr bool testsRecord = true;

    template <class State>
    static std::vector<ArrayOf<State>> stageArrays(int32_t order) {
        return {{&State::coef, order},
                {&State::parcor, order, false},
                {&State::delayLine, order + 1},
                {&State::power, order + 1, false},
                {&State::backErr, order + 1, false}};
    }
    template <auto update, auto filter, class State>
    static std::vector<Operation<State>> steps() {
        return {own<update>,
                [](State* s, Signal& in, Trace& out) {
                    s->updateCoef = 0;
                    own<update>(s, in, out);
                    s->updateCoef = 1;
                },
                own<filter>};
    }
};

struct Lbpef : Pef {
    using State = lbpef64fState;
    static constexpr const char* name = "lbpef64f";

    static int32_t init(State* s, int32_t order, Lent&) { return lbpef64fInit(s, order, mu); }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return lbpef64fInitStatic(s, order, mu, buffers[0], buffers[1]);
    }
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        auto all = stageArrays<State>(order);
        all.push_back({&State::inLine, order + 1, false});
        return all;
    }
    static constexpr auto free = lbpef64fFree;
    static constexpr auto resize = lbpef64fResize;

    static auto accessors() {
        return stageArraysOf<lbpef64fGetCoef, lbpef64fSetCoef, lbpef64fGetParcor, lbpef64fSetParcor,
                             lbpef64fGetDelayLine, lbpef64fSetDelayLine, State>();
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", lbpef64fReset, {&State::coef, &State::parcor}}};
    }
    static std::vector<Operation<State>> operations() {
        return steps<lbpef64fFilterUpdate, lbpef64fFilterOnly, State>();
    }
};

struct Lfpef : Pef {
    using State = lfpef64fState;
    static constexpr const char* name = "lfpef64f";

    static int32_t init(State* s, int32_t order, Lent&) { return lfpef64fInit(s, order, mu); }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return lfpef64fInitStatic(s, order, mu, buffers[0], buffers[1]);
    }
    static std::vector<ArrayOf<State>> arrays(int32_t order) { return stageArrays<State>(order); }
    static constexpr auto free = lfpef64fFree;
    static constexpr auto resize = lfpef64fResize;

    static auto accessors() {
        return stageArraysOf<lfpef64fGetCoef, lfpef64fSetCoef, lfpef64fGetParcor, lfpef64fSetParcor,
                             lfpef64fGetDelayLine, lfpef64fSetDelayLine, State>();
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", lfpef64fReset, {&State::coef, &State::parcor}}};
    }
    static std::vector<Operation<State>> operations() {
        return steps<lfpef64fFilterUpdate, lfpef64fFilterOnly, State>();
    }
};

struct Lmslattice : Defaults {
    using State = lmslattice64fState;
    static constexpr const char* name = "lmslattice64f";
    static constexpr int32_t limit = MAX_TAPS;
    static constexpr double mu = 0.005, muCoef = 0.02;
    static constexpr bool pointersFirst = true;
    static constexpr bool testsRecord = true;

    static int32_t init(State* s, int32_t order, Lent&) {
        return lmslattice64fInit(s, order, mu, muCoef);
    }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return lmslattice64fInitStatic(s, order, mu, muCoef, buffers[0], buffers[1]);
    }
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        return {{&State::coef, order},
                {&State::parcor, order, false},
                {&State::delayLine, order},
                {&State::power, order, false},
                {&State::backErr, order, false}};
    }
    static constexpr auto free = lmslattice64fFree;
    static constexpr auto resize = lmslattice64fResize;

    static auto accessors() {
        return stageArraysOf<lmslattice64fGetCoef, lmslattice64fSetCoef, lmslattice64fGetParcor,
                             lmslattice64fSetParcor, lmslattice64fGetDelayLine,
                             lmslattice64fSetDelayLine, State>();
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", lmslattice64fReset, {&State::coef, &State::parcor}}};
    }
    static std::vector<Operation<State>> operations() {
        return {ring<lmslattice64fFilterUpdate>,
                [](State* s, Signal& in, Trace& out) {
                    s->adaptParcor = 0;
                    ring<lmslattice64fFilterUpdate>(s, in, out);
                    s->adaptParcor = 1;
                },
                sample<lmslattice64fFilterOnly>};
    }
};

// The tables that the host lends to a filter in the frequency domain.
struct Spectral : Defaults {
    struct Lent {
        FftTables tables{128};
        int32_t* table = tables.table.data();
        const double* twiddles = tables.twiddles.data();
    };
    static constexpr int32_t limit = MAX_TAPS;
    static constexpr bool pointersFirst = false; // the tables are, the buffers are not
    static constexpr double rounding = 1e-12;
};

struct Bfdaf : Spectral {
    using State = bfdaf64fState;
    static constexpr const char* name = "bfdaf64f";
    static constexpr int32_t blockLen = 9;

    static int32_t init(State* s, int32_t order, Lent& lent) {
        return bfdaf64fInit(s, order, blockLen, 0.01, 1, lent.table, lent.twiddles);
    }
    static int32_t initStatic(State* s, int32_t order, Lent& lent, double* const* buffers) {
        return bfdaf64fInitStatic(s, order, blockLen, 0.01, 1, buffers[0], buffers[1], lent.table,
                                  lent.twiddles);
    }
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        const int32_t fftLen = 1 << nextPow2(order + blockLen - 1);
        const int32_t bins = fftLen / 2 + 1;
        return {{&State::coef, fftLen},           {&State::delayLine, fftLen - blockLen},
                {&State::frame, fftLen, false},   {&State::outBuf, fftLen, false},
                {&State::powerInst, bins, false}, {&State::powerAvg, bins, false}};
    }
    static constexpr auto free = bfdaf64fFree;
    static int32_t resize(State* s, int32_t order) { return bfdaf64fResize(s, order, blockLen); }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", ::rounding<bfdaf64fGetCoef, State>, bfdaf64fSetCoef, &State::coef,
                 orderOf<State>, true, rounding}};
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", bfdaf64fReset, {&State::coef}},
                {"ResetDelayLine", bfdaf64fResetDelayLine, {&State::frame, &State::delayLine}}};
    }
    static std::vector<Operation<State>> operations() {
        return {block<bfdaf64fFilterUpdate>, blockOnly<bfdaf64fFilterOnly>};
    }
};

struct Pbfdaf : Spectral {
    using State = pbfdaf64fState;
    static constexpr const char* name = "pbfdaf64f";
    static constexpr int32_t blockLen = 9, parts = 3;

    static int32_t init(State* s, int32_t order, Lent& lent) {
        return pbfdaf64fInit(s, order, blockLen, parts, 0.01, 1, lent.table, lent.twiddles);
    }
    static int32_t initStatic(State* s, int32_t order, Lent& lent, double* const* buffers) {
        return pbfdaf64fInitStatic(s, order, blockLen, parts, 0.01, 1, buffers[0], buffers[1],
                                   lent.table, lent.twiddles);
    }
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        const int32_t fftLen = 1 << nextPow2(order + blockLen - 1);
        return {{&State::coef, parts * fftLen},        {&State::delayLine, fftLen - blockLen},
                {&State::ring, parts * fftLen, false}, {&State::outBuf, fftLen, false},
                {&State::scratch, fftLen, false},      {&State::powerAvg, fftLen / 2 + 1, false}};
    }
    static constexpr auto free = pbfdaf64fFree;
    static int32_t resize(State* s, int32_t order) {
        return pbfdaf64fResize(s, order, blockLen, parts);
    }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", ::rounding<pbfdaf64fGetCoef, State>, pbfdaf64fSetCoef, &State::coef,
                 [](const State& s) { return s.order * s.partitions; }, true, rounding}};
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", pbfdaf64fReset, {&State::coef}},
                {"ResetDelayLine", pbfdaf64fResetDelayLine, {&State::ring, &State::delayLine}}};
    }
    static std::vector<Operation<State>> operations() {
        return {block<pbfdaf64fFilterUpdate>, blockOnly<pbfdaf64fFilterOnly>};
    }
};

struct Tdlms : Spectral {
    using State = tdlms64fState;
    static constexpr const char* name = "tdlms64f";
    static constexpr int32_t smallest = 3;

    static int32_t init(State* s, int32_t order, Lent& lent) {
        return tdlms64fInit(s, order, 0.01, lent.table, lent.twiddles);
    }
    static int32_t initStatic(State* s, int32_t order, Lent& lent, double* const* buffers) {
        return tdlms64fInitStatic(s, order, 0.01, buffers[0], buffers[1], lent.table,
                                  lent.twiddles);
    }
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        const int32_t fftLen = 1 << nextPow2(order - 1);
        return {{&State::coef, fftLen},
                {&State::delayLine, fftLen},
                {&State::frame, fftLen, false},
                {&State::powerAvg, fftLen / 2 + 1, false},
                {&State::powerInst, fftLen / 2 + 1, false}};
    }
    static constexpr auto free = tdlms64fFree;
    static constexpr auto resize = tdlms64fResize;

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", ::rounding<tdlms64fGetCoef, State>, tdlms64fSetCoef, &State::coef,
                 [](const State& s) { return std::min(s.order, s.fftLen); }, true, rounding},
                {"DelayLine", tdlms64fGetDelayLine, tdlms64fSetDelayLine, &State::delayLine,
                 [](const State& s) { return s.fftLen; }}};
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", tdlms64fReset, {&State::coef}},
                {"ResetDelayLine", tdlms64fResetDelayLine, {&State::frame, &State::delayLine}}};
    }
    static std::vector<Operation<State>> operations() {
        return {ring<tdlms64fFilterUpdate>, sample<tdlms64fFilterOnly>,
                [](State* s, Signal& in, Trace& out) {
                    insertSampleLinBuf64f(in.next(), s->delayLine, s->fftLen);
                    out.add(tdlms64fLCFilterUpdate(s, in.next()));
                },
                still<tdlms64fLCFilterOnly>};
    }
};

struct Rls : Defaults {
    using State = rls64fState;
    static constexpr const char* name = "rls64f";
    static constexpr int32_t limit = MAX_TAPS;
    static constexpr double lambda = 0.99, delta = 0.5;

    static int32_t init(State* s, int32_t order, Lent&) {
        return rls64fInit(s, order, lambda, delta);
    }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return rls64fInitStatic(s, order, lambda, delta, buffers[0], buffers[1]);
    }
    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        return {{&State::coef, order},
                {&State::delayLine, order},
                {&State::gain, order, false},
                {&State::invCorr, order * (order + 1) / 2, false}};
    }
    static void free(State* s) { rls64fFree(s); }
    static int32_t resize(State* s, int32_t order) { return rls64fResize(s, order); }
    static void carryHidden(const State& from, State& to) {
        std::copy_n(from.invCorr, from.order * (from.order + 1) / 2, to.invCorr);
    }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", rls64fGetCoef, rls64fSetCoef, &State::coef, orderOf<State>},
                {"DelayLine", rls64fGetDelayLine, rls64fSetDelayLine, &State::delayLine,
                 orderOf<State>}};
    }
    static std::vector<ResetOf<State>> resets() {
        return {{"Reset", rls64fReset, {&State::coef}},
                {"ResetDelayLine", rls64fResetDelayLine, {&State::delayLine}}};
    }
    static std::vector<Operation<State>> operations() {
        return {ring<rls64fFilterUpdate>, linear<rls64fLCFilterUpdate>, sample<rls64fFilterOnly>,
                still<rls64fLCFilterOnly>};
    }
};

// The least-squares lattices; a family says what stands in its work block.
template <class F, class S>
struct LeastSquaresLattice : Defaults {
    using State = S;
    static constexpr bool pointersFirst = true;
    static constexpr bool testsRecord = true;
    static constexpr double lambda = 0.99;

    static std::vector<ArrayOf<State>> arrays(int32_t order) {
        std::vector<ArrayOf<State>> all = {{&State::coef, order},
                                           {&State::bwdParcor, order, false},
                                           {&State::fwdParcor, order, false}};
        for (const auto field : F::work()) {
            all.push_back({field, order, field == F::work().front()});
        }
        if constexpr (requires(State s) { s.inLine; }) {
            all.push_back({&State::inLine, order + 1, false});
        }
        return all;
    }
    static void carryHidden(const State& from, State& to) {
        for (const auto& array : arrays(from.order)) {
            std::copy_n(from.*array.field, array.length, to.*array.field);
        }
    }
    // Frozen steps before the last stage has settled can end in NaN; its energy settles at 33.
    template <Operation<State> update, Operation<State> filter>
    static void onceSettled(State* s, Signal& in, Trace& out) {
        const double energy = s->bwdEnergy[s->order - 1];
        (energy > 4.0 && energy < 100.0 ? filter : update)(s, in, out);
    }
    static double start(double* State::*field) {
        const bool energy = field == &State::fwdEnergy || field == &State::bwdEnergy;
        return energy ? 0.0010000000474974513 : field == &State::prevGamma ? 1.0 : 0.0;
    }
    static std::vector<ResetOf<State>> restart(int32_t (*reset)(State*)) {
        std::vector<double * State::*> fields;
        for (const auto& array : arrays(1)) {
            fields.push_back(array.field);
        }
        return {{"Reset", reset, fields, start}};
    }
};

struct Rlslattice : LeastSquaresLattice<Rlslattice, rlslattice64fState> {
    static constexpr const char* name = "rlslattice64f";
    static constexpr int32_t limit = MAX_TAPS;

    static int32_t init(State* s, int32_t order, Lent&) {
        return rlslattice64fInit(s, order, lambda);
    }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return rlslattice64fInitStatic(s, order, lambda, buffers[0], buffers[1]);
    }
    static std::vector<double * State::*> work() {
        return {&State::delayLine, &State::bwdEnergy, &State::jointCorr,
                &State::prevGamma, &State::crossCorr, &State::fwdEnergy};
    }
    static void free(State* s) { rlslattice64fFree(s); }
    static int32_t resize(State* s, int32_t order) { return rlslattice64fResize(s, order); }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", rlslattice64fGetCoef, nullptr, &State::coef, orderOf<State>},
                {"ForwardParcors", rlslattice64fGetForwardParcors, nullptr, &State::fwdParcor,
                 orderOf<State>},
                {"BackwardParcors", rlslattice64fGetBackwardParcors, nullptr, &State::bwdParcor,
                 orderOf<State>},
                {"DelayLine", rlslattice64fGetDelayLine, rlslattice64fSetDelayLine,
                 &State::delayLine, orderOf<State>}};
    }
    static std::vector<ResetOf<State>> resets() { return restart(rlslattice64fReset); }
    static std::vector<Operation<State>> operations() {
        constexpr Operation<State> update = ring<rlslattice64fFilterUpdate>;
        return {update, onceSettled<update, sample<rlslattice64fFilterOnly>>};
    }
};

struct Rlslbpef : LeastSquaresLattice<Rlslbpef, rlslbpef64fState> {
    static constexpr const char* name = "rlslbpef64f";
    static constexpr int32_t limit = MAX_PEF_STAGES;

    static int32_t init(State* s, int32_t order, Lent&) {
        return rlslbpef64fInit(s, order, lambda);
    }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return rlslbpef64fInitStatic(s, order, lambda, buffers[0], buffers[1]);
    }
    static std::vector<double * State::*> work() {
        return {&State::delayLine, &State::bwdEnergy, &State::prevGamma, &State::crossCorr,
                &State::fwdEnergy};
    }
    static void free(State* s) { rlslbpef64fFree(s); }
    static int32_t resize(State* s, int32_t order) { return rlslbpef64fResize(s, order); }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", rlslbpef64fGetCoef, nullptr, &State::coef, orderOf<State>},
                {"ForwardParcors", rlslbpef64fGetForwardParcors, nullptr, &State::fwdParcor,
                 orderOf<State>},
                {"BackwardParcors", rlslbpef64fGetBackwardParcors, nullptr, &State::bwdParcor,
                 orderOf<State>},
                {"DelayLine", rlslbpef64fGetDelayLine, rlslbpef64fSetDelayLine, &State::delayLine,
                 orderOf<State>}};
    }
    static std::vector<ResetOf<State>> resets() { return restart(rlslbpef64fReset); }
    static std::vector<Operation<State>> operations() {
        auto steps = Pef::steps<rlslbpef64fFilterUpdate, rlslbpef64fFilterOnly, State>();
        steps.back() = onceSettled<own<rlslbpef64fFilterUpdate>, own<rlslbpef64fFilterOnly>>;
        return steps;
    }
};

struct Rlslfpef : LeastSquaresLattice<Rlslfpef, rlslfpef64fState> {
    static constexpr const char* name = "rlslfpef64f";
    static constexpr int32_t limit = MAX_PEF_STAGES;

    static int32_t init(State* s, int32_t order, Lent&) {
        return rlslfpef64fInit(s, order, lambda);
    }
    static int32_t initStatic(State* s, int32_t order, Lent&, double* const* buffers) {
        return rlslfpef64fInitStatic(s, order, lambda, buffers[0], buffers[1]);
    }
    static std::vector<double * State::*> work() {
        return {&State::delayLine, &State::bwdEnergy, &State::prevGamma, &State::crossCorr,
                &State::fwdEnergy};
    }
    static void free(State* s) { rlslfpef64fFree(s); }
    static int32_t resize(State* s, int32_t order) { return rlslfpef64fResize(s, order); }

    static std::vector<Accessor<State>> accessors() {
        return {{"Coef", rlslfpef64fGetCoef, nullptr, &State::coef, orderOf<State>},
                {"ForwardParcors", rlslfpef64fGetForwardParcors, nullptr, &State::fwdParcor,
                 orderOf<State>},
                {"BackwardParcors", rlslfpef64fGetBackwardParcors, nullptr, &State::bwdParcor,
                 orderOf<State>},
                {"DelayLine", rlslfpef64fGetDelayLine, rlslfpef64fSetDelayLine, &State::delayLine,
                 orderOf<State>}};
    }
    static std::vector<ResetOf<State>> resets() { return restart(rlslfpef64fReset); }
    static std::vector<Operation<State>> operations() {
        auto steps = Pef::steps<rlslfpef64fFilterUpdate, rlslfpef64fFilterOnly, State>();
        steps.back() = onceSettled<own<rlslfpef64fFilterUpdate>, own<rlslfpef64fFilterOnly>>;
        return steps;
    }
};

using Families = testing::Types<Fir, Lms, Nlms, Adj, Fx, Blms, Bnlms, Lbpef, Lfpef, Lmslattice,
                                Bfdaf, Pbfdaf, Tdlms, Rls, Rlslattice, Rlslbpef, Rlslfpef>;
