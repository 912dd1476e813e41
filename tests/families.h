// The families as the tests see them. One joins by a struct here and its name in `Families`.
#pragma once

#include "adjlms64f.h"
#include "bfdaf64f.h"
#include "blms64f.h"
#include "bnlms64f.h"
#include "fir64f.h"
#include "fxlms64f.h"
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lms64f.h"
#include "lmslattice64f.h"
#include "models.h"
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
#include <functional>
#include <type_traits>
#include <vector>

// An array of a record, in the order in which they lie in the blocks of Init and InitStatic.
template <class State>
struct ArrayOf {
    double* State::*field;
    int32_t length;
    bool startsBlock = true;
};

// One call of a filter operation, fed from the signal; its outputs and its error go to the trace. What
// the model owes comes from the same signal. `variant` 0 is the plain call; others alias arrays, say.
template <class State, class Model>
struct Operation {
    void (*call)(State*, Signal&, Trace&, unsigned variant);
    void (*model)(Model&, Signal&, Trace&, unsigned variant);
};

template <class State, class Model>
struct Accessor {
    int32_t (*get)(State*, double*, int32_t, int32_t, int32_t);
    int32_t (*set)(State*, const double*, int32_t, int32_t, int32_t); // null: none
    double* State::*array;                                            // what they work on
    int32_t (*length)(const State&);                                  // elements in reach
    Values (*read)(Model&);
    void (*write)(Model&, int32_t start, const Values&);
};

template <class State, class Model>
struct ResetOf {
    int32_t (*reset)(State*);
    void (*model)(Model&);
    std::vector<double * State::*> tested; // pointers whose null is refused
};

template <auto get, class State>
int32_t getter(State* s, double* buf, int32_t start, int32_t count, int32_t reversed) {
    return get(s, buf, start, count, reversed);
}

// What most families have in common; a family overrides what it does otherwise.
template <class Family, class S, class M>
struct Base {
    using State = S;
    using Model = M;
    using Op = Operation<S, M>;
    using Access = Accessor<S, M>;
    using Clear = ResetOf<S, M>;
    static constexpr int32_t limit = MAX_TAPS;
    static constexpr int32_t smallest = 1;       // order that is not refused
    static constexpr int32_t buffers = 2;        // of InitStatic
    static constexpr bool pointersFirst = false; // InitStatic tests its pointers before the sizes
    static constexpr bool testsRecord = false;   // a null record is refused by set-up and resets
    static constexpr double rate = 0.01, second = 0.5;
    static constexpr bool inPlace =
        true; // a block that is filtered only may take its input's place

    static Shape shape(int32_t order) {
        Shape usual;
        usual.order = order;
        usual.rate = Family::rate;
        usual.second = Family::second;
        return usual;
    }
    static bool fits(const Shape& p) { return p.order >= Family::smallest; }
    static bool isAsLarge(const State& s, const Shape& p) { return s.order == p.order; }
    static int32_t resize(State* s, const Shape& p) { return Family::kResize(s, p.order); }
    static void freed(State& s) { s.order = 0; } // all that Free changes of the record
    static int32_t init(State* s, const Shape& p, Lent& l) {
        return Family::setUp(Family::kInit, s, p, l);
    }
    static int32_t initStatic(State* s, const Shape& p, Lent& l, double* const* b) {
        if constexpr (Family::buffers == 1) {
            return Family::setUp(Family::kInitStatic, s, p, l, b[0]);
        } else {
            return Family::setUp(Family::kInitStatic, s, p, l, b[0], b[1]);
        }
    }
    template <class F, class... B>
    static int32_t setUp(F f, State* s, const Shape& p, Lent&, B... b) {
        return f(s, p.order, p.rate, b...);
    }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        return {{&State::coef, p.order}, {&State::delayLine, p.order}};
    }

    static int32_t lineLength(const State* s) {
        if constexpr (requires { s->fftLen; }) {
            return s->fftLen;
        } else {
            return s->order;
        }
    }

    // ---- Operations of the common shapes: f is the exported function, g what the model does.

    template <auto f, auto g>
    static constexpr Op ring() {
        return {[](State* s, Signal& in, Trace& out, unsigned) {
                    const double x = in.next();
                    out.add(f(s, x, in.next()));
                    out.add(s->err);
                },
                [](Model& m, Signal& in, Trace& out, unsigned) {
                    const Values x = m.enter(in.next());
                    out.add(std::invoke(g, m, x, in.next()));
                    out.add(m.err);
                }};
    }
    template <auto f, auto g, bool showErr = true> // on the line that the host keeps
    static constexpr Op linear() {
        return {[](State* s, Signal& in, Trace& out, unsigned) {
                    insertSampleLinBuf64f(in.next(), s->delayLine, lineLength(s));
                    out.add(f(s, in.next()));
                    if constexpr (showErr) {
                        out.add(s->err);
                    }
                },
                [](Model& m, Signal& in, Trace& out, unsigned) {
                    m.delayLine.push(in.next());
                    out.add(std::invoke(g, m, m.delayLine.at, in.next()));
                    if constexpr (showErr) {
                        out.add(m.err);
                    }
                }};
    }
    template <auto f, auto g> // a filter that follows its own input
    static constexpr Op own() {
        return {[](State* s, Signal& in, Trace& out, unsigned) {
                    out.add(f(s, in.next()));
                    out.add(s->err);
                },
                [](Model& m, Signal& in, Trace& out, unsigned) {
                    out.add(std::invoke(g, m, m.enter(in.next())));
                    out.add(m.err);
                }};
    }
    template <auto f, auto g>
    static constexpr Op sample() {
        return {[](State* s, Signal& in, Trace& out, unsigned) { out.add(f(s, in.next())); },
                [](Model& m, Signal& in, Trace& out, unsigned) {
                    out.add(std::invoke(g, m, m.enter(in.next())));
                }};
    }
    template <auto f, auto g>
    static constexpr Op still() {
        return {[](State* s, Signal&, Trace& out, unsigned) { out.add(f(s)); },
                [](Model& m, Signal&, Trace& out, unsigned) {
                    out.add(std::invoke(g, m, m.delayLine.at));
                }};
    }
    // The variants put y in the place of x and e in that of d or x.
    template <auto f, auto g>
    static constexpr Op block() {
        return {[](State* s, Signal& in, Trace& out, unsigned variant) {
                    Values x(s->blockLen), d(x), y(x), e(x);
                    in.fill(x.data(), s->blockLen);
                    in.fill(d.data(), s->blockLen);
                    Values& output = variant % 2 == 1 ? x : y;
                    Values& error = variant % 4 >= 2 ? d : variant % 8 == 4 ? x : e;
                    out.add(f(s, x.data(), d.data(), output.data(), error.data()));
                    out.add(output.data(), s->blockLen);
                    out.add(error.data(), s->blockLen);
                },
                [](Model& m, Signal& in, Trace& out, unsigned) {
                    const int32_t n = m.blockLength();
                    Values x(n), d(n), y(n), e(n);
                    in.fill(x.data(), n);
                    in.fill(d.data(), n);
                    std::invoke(g, m, x, d, y, e);
                    out.add(STS_OK);
                    out.add(y.data(), n);
                    out.add(e.data(), n);
                }};
    }
    template <auto f, auto g>
    static constexpr Op blockOnly() {
        return {[](State* s, Signal& in, Trace& out, unsigned variant) {
                    Values x(s->blockLen), y(x);
                    in.fill(x.data(), s->blockLen);
                    Values& output = Family::inPlace && variant % 2 == 1 ? x : y;
                    out.add(f(s, x.data(), output.data()));
                    out.add(output.data(), s->blockLen);
                },
                [](Model& m, Signal& in, Trace& out, unsigned) {
                    const int32_t n = m.blockLength();
                    Values x(n), y(n);
                    in.fill(x.data(), n);
                    std::invoke(g, m, x, y);
                    out.add(STS_OK);
                    out.add(y.data(), n);
                }};
    }
    // Other arrays' names in the model are those of the record.
    template <auto get, auto set, auto field, auto modelled>
    static Access plain(int32_t (*length)(const State&) = order) {
        return {getter<get, State>,
                set,
                field,
                length,
                [](Model& m) -> Values { return m.*modelled; },
                [](Model& m, int32_t start, const Values& from) {
                    std::copy(from.begin(), from.end(), (m.*modelled).begin() + start);
                }};
    }
    template <auto get, auto set> // of a ring or a straight line, by age
    static Access line(int32_t (*length)(const State&) = order) {
        return {getter<get, State>,
                set,
                &State::delayLine,
                length,
                [](Model& m) { return m.delayLine.newest(); },
                [](Model& m, int32_t start, const Values& from) {
                    Values byAge = m.delayLine.newest();
                    std::copy(from.begin(), from.end(), byAge.begin() + start);
                    m.delayLine.load(byAge);
                }};
    }
    static int32_t order(const State& s) { return s.order; }
    template <auto field>
    static void clear(Model& m) {
        if constexpr (requires(Model x) { (x.*field).at; }) {
            std::fill((m.*field).at.begin(), (m.*field).at.end(), 0.0);
        } else {
            std::fill((m.*field).begin(), (m.*field).end(), 0.0);
        }
    }
};

#define RECORD_OF(f)                                                                               \
    static constexpr const char* name = #f;                                                        \
    static constexpr auto kInit = f##Init;                                                         \
    static constexpr auto kInitStatic = f##InitStatic;                                             \
    static constexpr auto kResize = f##Resize;                                                     \
    static constexpr auto free = f##Free
#define FAMILY(f)                                                                                  \
    RECORD_OF(f);                                                                                  \
    static constexpr auto kUpdate = f##FilterUpdate;                                               \
    static constexpr auto kOnly = f##FilterOnly

// The accessors and resets of a transversal filter on one line.
#define TAPS_AND_LINE(f, ...)                                                                      \
    static std::vector<Access> accessors() {                                                       \
        return {plain<f##GetCoef, f##SetCoef, &State::coef, &Model::coef>(),                       \
                line<f##GetDelayLine, f##SetDelayLine>(__VA_ARGS__)};                              \
    }
#define RESETS_OF_TAPS_AND_LINE(f)                                                                 \
    static std::vector<Clear> resets() {                                                           \
        return {{f##Reset, clear<&Model::coef>, {&State::coef}},                                   \
                {f##ResetDelayLine, clear<&Model::delayLine>, {&State::delayLine}}};               \
    }

struct Fir : Base<Fir, fir64fState, FirModel> {
    RECORD_OF(fir64f);
    TAPS_AND_LINE(fir64f)
    static constexpr int32_t buffers = 1;
    template <class F, class... B>
    static int32_t setUp(F f, State* s, const Shape& p, Lent& l, B... b) {
        return f(s, p.order, l.coef, b...);
    }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        return {{&State::delayLine, p.order}};
    }
    static std::vector<Clear> resets() {
        return {{fir64fResetDelayLine, clear<&Model::delayLine>, {&State::delayLine}}};
    }
    static int32_t length(unsigned variant) {
        return static_cast<int32_t>(variant == 0 ? 41 : variant % 5 == 0 ? 3 * variant : variant);
    }
    static std::vector<Op> operations() {
        return {sample<fir64fFilter, &Model::only>(),
                still<fir64fLCFilter, &Model::only>(),
                {[](State* s, Signal& in, Trace& out, unsigned variant) {
                     const int32_t n = length(variant);
                     Values x(n), y(n);
                     in.fill(x.data(), n);
                     double* const to = variant % 3 == 0 ? x.data() : y.data();
                     out.add(fir64fBlockFilter(s, x.data(), to, n));
                     out.add(to, n);
                 },
                 [](Model& m, Signal& in, Trace& out, unsigned variant) {
                     out.add(STS_OK);
                     for (int32_t i = 0; i < length(variant); ++i) {
                         out.add(m.only(m.enter(in.next())));
                     }
                 }}};
    }
};

struct Lms : Base<Lms, lms64fState, LmsModel> {
    FAMILY(lms64f);
    TAPS_AND_LINE(lms64f)
    RESETS_OF_TAPS_AND_LINE(lms64f)
    static void freed(State&) {}
    static constexpr double rate = 0.05;
    static std::vector<Op> operations() {
        return {ring<lms64fFilterUpdate, &Model::update<>>(),
                ring<lms64fFilterUpdateSignErr, &Model::update<true, false>>(),
                ring<lms64fFilterUpdateSignReg, &Model::update<false, true>>(),
                ring<lms64fFilterUpdateSignSign, &Model::update<true, true>>(),
                linear<lms64fLCFilterUpdate, &Model::update<>>(),
                linear<lms64fLCFilterUpdateSignErr, &Model::update<true, false>>(),
                linear<lms64fLCFilterUpdateSignReg, &Model::update<false, true>>(),
                linear<lms64fLCFilterUpdateSignSign, &Model::update<true, true>>(),
                sample<lms64fFilterOnly, &Model::only>(),
                still<lms64fLCFilterOnly, &Model::only>()};
    }
};

struct Nlms : Base<Nlms, nlms64fState, NlmsModel> {
    FAMILY(nlms64f);
    TAPS_AND_LINE(nlms64f)
    RESETS_OF_TAPS_AND_LINE(nlms64f)
    static void freed(State&) {}
    static constexpr double rate = 0.02;
    static std::vector<Op> operations() {
        return {ring<nlms64fFilterUpdate, &Model::update<>>(),
                linear<nlms64fLCFilterUpdate, &Model::update<>>(),
                sample<nlms64fFilterOnly, &Model::only>(),
                still<nlms64fLCFilterOnly, &Model::only>()};
    }
};

// Both filters behind a secondary path.
template <class Family, class S, bool adjoint, double* S::*third>
struct BehindPath : Base<Family, S, PathModel<adjoint>> {
    using State = S;
    using Model = PathModel<adjoint>;
    template <class F, class... B>
    static int32_t setUp(F f, State* s, const Shape& p, Lent& l, B... b) {
        return f(s, p.order, p.rate, l.secCoef, p.secLen, l.estCoef, p.estLen, b...);
    }
    static bool fits(const Shape& p) { return p.order >= 1 && p.secLen >= 1 && p.estLen >= 1; }
    static void freed(State& s) { s.delayLine = s.*third = nullptr; }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        const Lent none;
        return {{&State::coef, p.order},
                {&State::outLine, p.secLen},
                {third, adjoint ? p.estLen : p.order, false},
                {&State::delayLine, Model(p, none).refLen(), false}};
    }
    static std::vector<Operation<State, Model>> operations() {
        using B = Base<Family, S, Model>;
        return {B::template ring<Family::kUpdate, &Model::update>(),
                B::template sample<Family::kOnly, &Model::only>()};
    }
    static std::vector<ResetOf<State, Model>> resetsBy(int32_t (*taps)(State*),
                                                       int32_t (*lines)(State*)) {
        return {
            {taps, Base<Family, S, Model>::template clear<&Model::coef>, {&State::coef}},
            {lines, [](Model& m) { m.resetLines(); }, {&State::delayLine, &State::outLine, third}}};
    }
};

struct Adj : BehindPath<Adj, adjlms64fState, true, &adjlms64fState::errLine> {
    FAMILY(adjlms64f);
    TAPS_AND_LINE(adjlms64f, [](const State& s) { return s.refLen; })
    static auto resets() { return resetsBy(adjlms64fReset, adjlms64fResetDelayLine); }
};

struct Fx : BehindPath<Fx, fxlms64fState, false, &fxlms64fState::fxLine> {
    FAMILY(fxlms64f);
    TAPS_AND_LINE(fxlms64f)
    static auto resets() { return resetsBy(fxlms64fReset, fxlms64fResetDelayLine); }
};

// The LMS filters that take blocks.
template <class Family, class S, class M>
struct Blocks : Base<Family, S, M> {
    template <class F, class... B>
    static int32_t setUp(F f, S* s, const Shape& p, Lent&, B... b) {
        return f(s, p.order, p.blockLen, p.rate, b...);
    }
    static bool fits(const Shape& p) { return p.order >= 1 && p.blockLen >= 1; }
    static void freed(S&) {}
    static bool isAsLarge(const S& s, const Shape& p) {
        return s.order == p.order && s.blockLen == p.blockLen;
    }
    static int32_t resize(S* s, const Shape& p) { return Family::kResize(s, p.order, p.blockLen); }
};

struct Blms : Blocks<Blms, blms64fState, BlmsModel> {
    FAMILY(blms64f);
    TAPS_AND_LINE(blms64f)
    RESETS_OF_TAPS_AND_LINE(blms64f)
    static constexpr double rate = 0.05;
    static std::vector<Op> operations() {
        return {block<blms64fFilterUpdate, &Model::block<>>(),
                block<blms64fFilterUpdateSignErr, &Model::block<true, false>>(),
                block<blms64fFilterUpdateSignReg, &Model::block<false, true>>(),
                block<blms64fFilterUpdateSignSign, &Model::block<true, true>>(),
                blockOnly<blms64fFilterOnly, &Model::blockOnly>()};
    }
};

struct Bnlms : Blocks<Bnlms, bnlms64fState, BnlmsModel> {
    FAMILY(bnlms64f);
    TAPS_AND_LINE(bnlms64f)
    RESETS_OF_TAPS_AND_LINE(bnlms64f)
    static constexpr double rate = 0.02;
    static constexpr bool inPlace = false;
    static std::vector<Op> operations() {
        return {block<bnlms64fFilterUpdate, &Model::block<>>(),
                blockOnly<bnlms64fFilterOnly, &Model::blockOnly>()};
    }
};

// ---- Lattices

template <class Family, class S, class M>
struct Lattice : Base<Family, S, M> {
    static constexpr bool pointersFirst = true;
    static constexpr bool testsRecord = true;

    template <auto flag, Operation<S, M> (*update)(), Operation<S, M> (*filter)()>
    static std::vector<Operation<S, M>> steps() {
        return {update(), without<flag, update>(), filter()};
    }
    // `op` with the record's flag lowered for its time.
    template <auto flag, Operation<S, M> (*op)()>
    static constexpr Operation<S, M> without() {
        return {[](S* s, Signal& in, Trace& out, unsigned variant) {
                    s->*flag = 0;
                    op().call(s, in, out, variant);
                    s->*flag = 1;
                },
                [](M& m, Signal& in, Trace& out, unsigned variant) {
                    m.adapting = 0;
                    op().model(m, in, out, variant);
                    m.adapting = 1;
                }};
    }
};

#define STAGE_ACCESSORS(f)                                                                         \
    static std::vector<Access> accessors() {                                                       \
        return {plain<f##GetCoef, f##SetCoef, &State::coef, &Model::coef>(),                       \
                plain<f##GetParcor, f##SetParcor, &State::parcor, &Model::parcor>(),               \
                plain<f##GetDelayLine, f##SetDelayLine, &State::delayLine, &Model::delayLine>()};  \
    }                                                                                              \
    static std::vector<Clear> resets() {                                                           \
        return {{f##Reset, [](Model& m) { m.reset(); }, {&State::coef, &State::parcor}}};          \
    }

template <class Family, class S, bool backward>
struct Pef : Lattice<Family, S, PredictorModel<backward>> {
    static constexpr int32_t limit = MAX_PEF_STAGES;
    static constexpr auto flag = &S::updateCoef;
    using L = Lattice<Family, S, PredictorModel<backward>>;
    static std::vector<typename L::Op> operations() {
        return L::template steps<flag, L::template own<Family::kUpdate, &L::Model::update>,
                                 L::template own<Family::kOnly, &L::Model::only>>();
    }
    static std::vector<ArrayOf<S>> arrays(const Shape& p) {
        std::vector<ArrayOf<S>> all = {{&S::coef, p.order},
                                       {&S::parcor, p.order, false},
                                       {&S::delayLine, p.order + 1},
                                       {&S::power, p.order + 1, false},
                                       {&S::backErr, p.order + 1, false}};
        if constexpr (requires(S s) { s.inLine; }) {
            all.push_back({&S::inLine, p.order + 1, false});
        }
        return all;
    }
};

struct Lbpef : Pef<Lbpef, lbpef64fState, true> {
    FAMILY(lbpef64f);
    STAGE_ACCESSORS(lbpef64f)
};

struct Lfpef : Pef<Lfpef, lfpef64fState, false> {
    FAMILY(lfpef64f);
    STAGE_ACCESSORS(lfpef64f)
};

struct Lmslattice : Lattice<Lmslattice, lmslattice64fState, JointModel> {
    FAMILY(lmslattice64f);
    STAGE_ACCESSORS(lmslattice64f)
    static constexpr double rate = 0.005, second = 0.02;
    static constexpr auto flag = &State::adaptParcor;
    template <class F, class... B>
    static int32_t setUp(F f, State* s, const Shape& p, Lent&, B... b) {
        return f(s, p.order, p.rate, p.second, b...);
    }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        return {{&State::coef, p.order},
                {&State::parcor, p.order, false},
                {&State::delayLine, p.order},
                {&State::power, p.order, false},
                {&State::backErr, p.order, false}};
    }
    static std::vector<Op> operations() {
        return steps<flag, ring<kUpdate, &Model::update>, sample<kOnly, &Model::only>>();
    }
};

// ---- In the frequency domain; the host lends the tables.

#define BLOCK_SPECTRAL(f, frames, ...)                                                             \
    static std::vector<Access> accessors() {                                                       \
        return {{f##GetCoef, f##SetCoef, &State::coef, __VA_ARGS__,                                \
                 [](Model& m) { return m.readCoef(); },                                            \
                 [](Model& m, int32_t start, const Values& v) { m.writeCoef(start, v); }}};        \
    }                                                                                              \
    static std::vector<Clear> resets() {                                                           \
        return {{f##Reset, [](Model& m) { m.resetCoef(); }, {&State::coef}},                       \
                {f##ResetDelayLine,                                                                \
                 [](Model& m) { m.resetLines(); },                                                 \
                 {&State::frames, &State::delayLine}}};                                            \
    }                                                                                              \
    static std::vector<Op> operations() {                                                          \
        return {block<kUpdate, &Model::block>(), blockOnly<kOnly, &Model::blockOnly>()};           \
    }

struct Bfdaf : Base<Bfdaf, bfdaf64fState, BlockModel<false>> {
    FAMILY(bfdaf64f);
    static int32_t setUp(auto f, State* s, const Shape& p, Lent& l, auto... b) {
        return f(s, p.order, p.blockLen, p.rate, p.constrained, b..., l.table, l.twiddles);
    }
    static bool fits(const Shape& p) {
        return p.order >= 1 && p.blockLen >= 1 && p.order + p.blockLen > 2;
    }
    static bool isAsLarge(const State& s, const Shape& p) {
        return s.order == p.order && s.blockLen == p.blockLen;
    }
    static int32_t resize(State* s, const Shape& p) {
        return bfdaf64fResize(s, p.order, p.blockLen);
    }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        const int32_t fftLen = Model::powerOfTwo(p.order + p.blockLen - 1);
        const int32_t bins = fftLen / 2 + 1;
        return {{&State::coef, fftLen},           {&State::delayLine, fftLen - p.blockLen},
                {&State::frame, fftLen, false},   {&State::outBuf, fftLen, false},
                {&State::powerInst, bins, false}, {&State::powerAvg, bins, false}};
    }
    BLOCK_SPECTRAL(bfdaf64f, frame, order)
};

struct Pbfdaf : Base<Pbfdaf, pbfdaf64fState, BlockModel<true>> {
    FAMILY(pbfdaf64f);
    static int32_t setUp(auto f, State* s, const Shape& p, Lent& l, auto... b) {
        return f(s, p.order, p.blockLen, p.parts, p.rate, p.constrained, b..., l.table, l.twiddles);
    }
    static bool fits(const Shape& p) { return Bfdaf::fits(p) && p.parts >= 1; }
    static bool isAsLarge(const State& s, const Shape& p) {
        return s.order == p.order && s.blockLen == p.blockLen && s.partitions == p.parts;
    }
    static int32_t resize(State* s, const Shape& p) {
        return pbfdaf64fResize(s, p.order, p.blockLen, p.parts);
    }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        const int32_t fftLen = Model::powerOfTwo(p.order + p.blockLen - 1);
        return {{&State::coef, p.parts * fftLen},        {&State::delayLine, fftLen - p.blockLen},
                {&State::ring, p.parts * fftLen, false}, {&State::outBuf, fftLen, false},
                {&State::scratch, fftLen, false},        {&State::powerAvg, fftLen / 2 + 1, false}};
    }
    BLOCK_SPECTRAL(pbfdaf64f, ring, [](const State& s) { return s.order * s.partitions; })
};

struct Tdlms : Base<Tdlms, tdlms64fState, TdlmsModel> {
    FAMILY(tdlms64f);
    static constexpr int32_t smallest = 3;
    static int32_t setUp(auto f, State* s, const Shape& p, Lent& l, auto... b) {
        return f(s, p.order, p.rate, b..., l.table, l.twiddles);
    }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        const int32_t fftLen = Model::lengthOf(p.order);
        return {{&State::coef, fftLen},
                {&State::delayLine, fftLen},
                {&State::frame, fftLen, false},
                {&State::powerAvg, fftLen / 2 + 1, false},
                {&State::powerInst, fftLen / 2 + 1, false}};
    }
    static std::vector<Access> accessors() {
        return {{tdlms64fGetCoef, tdlms64fSetCoef, &State::coef,
                 [](const State& s) { return std::min(s.order, s.fftLen); },
                 [](Model& m) { return m.readCoef(); },
                 [](Model& m, int32_t start, const Values& from) { m.writeCoef(start, from); }},
                line<tdlms64fGetDelayLine, tdlms64fSetDelayLine>(
                    [](const State& s) { return s.fftLen; })};
    }
    static std::vector<Clear> resets() {
        return {
            {tdlms64fReset, clear<&Model::coef>, {&State::coef}},
            {tdlms64fResetDelayLine, clear<&Model::delayLine>, {&State::frame, &State::delayLine}}};
    }
    static std::vector<Op> operations() {
        return {ring<tdlms64fFilterUpdate, &Model::update>(),
                sample<tdlms64fFilterOnly, &Model::only>(),
                linear<tdlms64fLCFilterUpdate, &Model::update, false>(),
                still<tdlms64fLCFilterOnly, &Model::only>()};
    }
};

// ---- By least squares

struct Rls : Base<Rls, rls64fState, RlsModel> {
    FAMILY(rls64f);
    TAPS_AND_LINE(rls64f)
    RESETS_OF_TAPS_AND_LINE(rls64f)
    static constexpr double rate = 0.99;
    template <class F, class... B>
    static int32_t setUp(F f, State* s, const Shape& p, Lent&, B... b) {
        return f(s, p.order, p.rate, p.second, b...);
    }
    static std::vector<ArrayOf<State>> arrays(const Shape& p) {
        return {{&State::coef, p.order},
                {&State::delayLine, p.order},
                {&State::gain, p.order, false},
                {&State::invCorr, p.order * (p.order + 1) / 2, false}};
    }
    static std::vector<Op> operations() {
        return {ring<rls64fFilterUpdate, &Model::update>(),
                linear<rls64fLCFilterUpdate, &Model::update>(),
                sample<rls64fFilterOnly, &Model::only>(),
                still<rls64fLCFilterOnly, &Model::only>()};
    }
};

template <class Family, class S, class M>
struct LeastSquaresLattice : Lattice<Family, S, M> {
    static constexpr double rate = 0.99;

    static std::vector<ArrayOf<S>> arrays(const Shape& p) {
        std::vector<double* S::*> work = {&S::delayLine, &S::bwdEnergy};
        if constexpr (requires(S s) { s.jointCorr; }) {
            work.push_back(&S::jointCorr);
        }
        work.insert(work.end(), {&S::prevGamma, &S::crossCorr, &S::fwdEnergy});
        std::vector<ArrayOf<S>> all = {
            {&S::coef, p.order}, {&S::bwdParcor, p.order, false}, {&S::fwdParcor, p.order, false}};
        for (const auto field : work) {
            all.push_back({field, p.order, field == work.front()});
        }
        if constexpr (requires(S s) { s.inLine; }) {
            all.push_back({&S::inLine, p.order + 1, false});
        }
        return all;
    }
    // The plain call filters only where the last stage has settled, and updates before; see the model.
    template <Operation<S, M> (*update)(), Operation<S, M> (*filter)()>
    static constexpr Operation<S, M> onceSettled() {
        return {[](S* s, Signal& in, Trace& out, unsigned variant) {
                    const double energy = s->bwdEnergy[s->order - 1];
                    const bool settled = energy > 4.0 && energy < 100.0;
                    (settled || variant != 0 ? filter() : update()).call(s, in, out, variant);
                },
                [](M& m, Signal& in, Trace& out, unsigned variant) {
                    (m.settled() || variant != 0 ? filter() : update()).model(m, in, out, variant);
                }};
    }
};

#define LEAST_SQUARES_ACCESSORS(f)                                                                 \
    static std::vector<Access> accessors() {                                                       \
        using Stage = LatticeModel::Stage;                                                         \
        return {{getter<f##GetCoef, State>, nullptr, &State::coef, order,                          \
                 [](Model& m) { return m.coef(); }, nullptr},                                      \
                {getter<f##GetForwardParcors, State>, nullptr, &State::fwdParcor, order,           \
                 [](Model& m) { return m.all(&Stage::fwdParcor); }, nullptr},                      \
                {getter<f##GetBackwardParcors, State>, nullptr, &State::bwdParcor, order,          \
                 [](Model& m) { return m.all(&Stage::bwdParcor); }, nullptr},                      \
                {getter<f##GetDelayLine, State>, f##SetDelayLine, &State::delayLine, order,        \
                 [](Model& m) { return m.all(&Stage::delayed); },                                  \
                 [](Model& m, int32_t start, const Values& v) { m.setDelayed(start, v); }}};       \
    }                                                                                              \
    static std::vector<Clear> resets() {                                                           \
        return {{f##Reset, [](Model& m) { m.reset(); }, {}}};                                      \
    }

struct Rlslattice : LeastSquaresLattice<Rlslattice, rlslattice64fState, LatticeJointModel> {
    FAMILY(rlslattice64f);
    LEAST_SQUARES_ACCESSORS(rlslattice64f)
    static std::vector<Op> operations() {
        constexpr auto update = ring<rlslattice64fFilterUpdate, &Model::update>;
        return {update(), onceSettled<update, sample<rlslattice64fFilterOnly, &Model::only>>()};
    }
};

template <class Family, class S, bool backward>
struct RlsPef : LeastSquaresLattice<Family, S, LatticePredictorModel<backward>> {
    static constexpr int32_t limit = MAX_PEF_STAGES;
    static constexpr auto flag = &S::updateCoef;
    using L = LeastSquaresLattice<Family, S, LatticePredictorModel<backward>>;
    static std::vector<typename L::Op> operations() {
        using Model = typename L::Model;
        constexpr auto update = L::template own<Family::kUpdate, &Model::update>;
        constexpr auto filter = L::template own<Family::kOnly, &Model::only>;
        return L::template steps<flag, update, L::template onceSettled<update, filter>>();
    }
};

struct Rlslbpef : RlsPef<Rlslbpef, rlslbpef64fState, true> {
    FAMILY(rlslbpef64f);
    LEAST_SQUARES_ACCESSORS(rlslbpef64f)
};

struct Rlslfpef : RlsPef<Rlslfpef, rlslfpef64fState, false> {
    FAMILY(rlslfpef64f);
    LEAST_SQUARES_ACCESSORS(rlslfpef64f)
};

using Families = testing::Types<Fir, Lms, Nlms, Adj, Fx, Blms, Bnlms, Lbpef, Lfpef, Lmslattice,
                                Bfdaf, Pbfdaf, Tdlms, Rls, Rlslattice, Rlslbpef, Rlslfpef>;
