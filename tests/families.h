// The families as the tests see them, a struct each. A family joins the tests by its struct here, its
// name in `Families` at the end, and its line in digests.txt.
//
// A struct states the expected properties of a family, independently of the library:
//     fields       of the record, in their order
//     arguments    of Init
//     lengths      of the buffers of InitStatic, as the header gives them
//     layout       of the arrays in these buffers
//     start        the fields after Init, and the elements of arrays that are not 0
//     carry        copies what Resize keeps; `to` has been set up
//     operations   the filter operations, each with its plain one
// and, where it differs from Common: what Free changes (freed), what Reset and ResetDelayLine clear
// (learned, history), how taps are read from a spectrum (tapCount, inTime).
#pragma once

#include "family.h"
#include "plain/adjlms64f.h"
#include "plain/bfdaf64f.h"
#include "plain/blms64f.h"
#include "plain/bnlms64f.h"
#include "plain/fir64f.h"
#include "plain/fxlms64f.h"
#include "plain/lbpef64f.h"
#include "plain/lfpef64f.h"
#include "plain/lms64f.h"
#include "plain/lmslattice64f.h"
#include "plain/nlms64f.h"
#include "plain/pbfdaf64f.h"
#include "plain/rls64f.h"
#include "plain/rlslattice64f.h"
#include "plain/rlslbpef64f.h"
#include "plain/rlslfpef64f.h"
#include "plain/tdlms64f.h"

// ---- Transversal filters on one line

struct Fir : Common<fir64fState> {
    static constexpr auto fields =
        std::tuple(&State::coef, &State::order, &State::delayLine, &State::head);
    static constexpr size_t buffers = 1;
    static auto arguments(const Shape& p, Lent& lent) { return std::tuple(p.order, lent.coef); }
    static Lengths lengths(const Shape& p) { return {FIR64F_DELAY_LEN(p.order)}; }
    static Layout<State> layout(const Shape& p) { return {{{&State::delayLine, p.order}}}; }
    static void start(State& s, const Shape& p, Lent& lent) {
        s.coef = lent.coef;
        s.order = p.order;
        s.head = p.order - 1;
    }
    static void carry(const State& from, State& to) {
        std::fill(to.coef + std::min(from.order, to.order), to.coef + to.order, 0.0);
        carryDelayLine(from, to);
    }
    template <auto f>
    static void block(State* s, Signal& in, Trace& out, unsigned variant) {
        const unsigned n = variant == 0 ? 41 : variant % 5 == 0 ? 3 * variant : variant;
        const auto length = static_cast<int32_t>(n);
        Samples x(length), y(length);
        in.fill(x.data(), length);
        double* const to = variant % 3 == 0 ? x.data() : y.data();
        out.add(f(s, x.data(), to, length));
        out.add(to, length);
    }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{filter<fir64fFilter>, filter<plain::fir64fFilter>},
             {filterLinear<fir64fLCFilter>, filterLinear<plain::fir64fLCFilter>},
             {block<fir64fBlockFilter>, block<plain::fir64fBlockFilter>}});
    }
};

struct Lms : Common<lms64fState> {
    static constexpr auto fields = std::tuple(&State::order, &State::mu, &State::err, &State::coef,
                                              &State::delayLine, &State::head);
    static constexpr double rate = 0.05;
    static Lengths lengths(const Shape& p) {
        return {LMS64F_COEF_LEN(p.order), LMS64F_DELAY_LEN(p.order)};
    }
    static void start(State& s, const Shape& p, Lent&) {
        s.order = p.order;
        s.mu = p.rate;
        s.head = p.order - 1;
    }
    static void freed(State&) {}
    static auto operations() {
        using namespace plain;
        return std::to_array<Operation<State>>(
            {{update<Api::filterUpdate>, update<lmsUpdate<Classic>>},
             {update<Api::filterUpdateSignErr>, update<lmsUpdate<SignErr>>},
             {update<Api::filterUpdateSignReg>, update<lmsUpdate<SignReg>>},
             {update<Api::filterUpdateSignSign>, update<lmsUpdate<SignSign>>},
             {updateLinear<Api::lcFilterUpdate>, updateLinear<lmsLinearUpdate<Classic>>},
             {updateLinear<Api::lcFilterUpdateSignErr>, updateLinear<lmsLinearUpdate<SignErr>>},
             {updateLinear<Api::lcFilterUpdateSignReg>, updateLinear<lmsLinearUpdate<SignReg>>},
             {updateLinear<Api::lcFilterUpdateSignSign>, updateLinear<lmsLinearUpdate<SignSign>>},
             {filter<Api::filterOnly>, filter<plain::lms64fFilterOnly>},
             {filterLinear<Api::lcFilterOnly>, filterLinear<plain::lms64fLCFilterOnly>}});
    }
};

struct Nlms : Common<nlms64fState> {
    static constexpr auto fields = std::tuple(&State::order, &State::mu, &State::err, &State::power,
                                              &State::coef, &State::delayLine, &State::head);
    static constexpr double rate = 0.02;
    static Lengths lengths(const Shape& p) {
        return {NLMS64F_COEF_LEN(p.order), NLMS64F_DELAY_LEN(p.order)};
    }
    static void start(State& s, const Shape& p, Lent&) {
        s.order = p.order;
        s.mu = p.rate;
        s.power = 1.0;
        s.head = p.order - 1;
    }
    static void freed(State&) {}
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{update<nlms64fFilterUpdate>, update<plain::nlms64fFilterUpdate>},
             {updateLinear<nlms64fLCFilterUpdate>, updateLinear<plain::nlms64fLCFilterUpdate>},
             {filter<nlms64fFilterOnly>, filter<plain::nlms64fFilterOnly>},
             {filterLinear<nlms64fLCFilterOnly>, filterLinear<plain::nlms64fLCFilterOnly>}});
    }
};

// ---- Filters with a secondary path

template <class S, double* S::*auxLine>
struct SecondaryPath : Common<S> {
    static auto arguments(const Shape& p, Lent& lent) {
        return std::tuple(p.order, p.rate, lent.secCoef, p.secLen, lent.estCoef, p.estLen);
    }
    static void start(S& s, const Shape& p, Lent& lent, int64_t refLen) {
        s.order = p.order;
        s.secLen = p.secLen;
        s.estLen = p.estLen;
        s.refLen = static_cast<int32_t>(refLen);
        s.mu = p.rate;
        s.power = 1.0;
        s.secCoef = lent.secCoef;
        s.estCoef = lent.estCoef;
    }
    static void carry(const S& from, S& to) {
        Common<S>::carry(from, to);
        carryRing(from.outLine, from.secLen, from.outHead, to.outLine, to.secLen, to.outHead);
    }
    static void freed(S& s) { s.delayLine = s.*auxLine = nullptr; }
    static Fields<S> history() { return {&S::delayLine, &S::outLine, auxLine}; }
};

struct Adjlms : SecondaryPath<adjlms64fState, &adjlms64fState::errLine> {
    static constexpr auto fields = std::tuple(
        &State::order, &State::secLen, &State::estLen, &State::refLen, &State::mu, &State::err,
        &State::power, &State::coef, &State::secCoef, &State::estCoef, &State::outLine,
        &State::errLine, &State::delayLine, &State::head, &State::outHead, &State::errHead);
    static Lengths lengths(const Shape& p) {
        return {ADJLMS64F_COEF_LEN(p.order), ADJLMS64F_WORK_LEN(p.order, p.secLen, p.estLen)};
    }
    static int64_t refLen(const Shape& p) { return int64_t{p.order} + p.estLen - 1; }
    static Layout<State> layout(const Shape& p) {
        return {{{&State::coef, p.order}},
                {{&State::outLine, p.secLen},
                 {&State::errLine, p.estLen},
                 {&State::delayLine, refLen(p)}}};
    }
    static void start(State& s, const Shape& p, Lent& lent) {
        SecondaryPath::start(s, p, lent, refLen(p));
    }
    static void carry(const State& from, State& to) {
        SecondaryPath::carry(from, to);
        carryRing(from.errLine, from.estLen, from.errHead, to.errLine, to.estLen, to.errHead);
    }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{update<adjlms64fFilterUpdate>, update<plain::adjlms64fFilterUpdate>},
             {filter<adjlms64fFilterOnly>, filter<plain::adjlms64fFilterOnly>}});
    }
};

struct Fxlms : SecondaryPath<fxlms64fState, &fxlms64fState::fxLine> {
    static constexpr auto fields = std::tuple(
        &State::order, &State::secLen, &State::estLen, &State::refLen, &State::mu, &State::err,
        &State::power, &State::coef, &State::secCoef, &State::estCoef, &State::outLine,
        &State::fxLine, &State::delayLine, &State::head, &State::outHead, &State::fxHead);
    static Lengths lengths(const Shape& p) {
        return {FXLMS64F_COEF_LEN(p.order), FXLMS64F_WORK_LEN(p.order, p.secLen, p.estLen)};
    }
    static int64_t refLen(const Shape& p) { return std::max(p.order, p.estLen); }
    static Layout<State> layout(const Shape& p) {
        return {{{&State::coef, p.order}},
                {{&State::outLine, p.secLen},
                 {&State::fxLine, p.order},
                 {&State::delayLine, refLen(p)}}};
    }
    static void start(State& s, const Shape& p, Lent& lent) {
        SecondaryPath::start(s, p, lent, refLen(p));
    }
    static void carry(const State& from, State& to) {
        SecondaryPath::carry(from, to);
        for (int32_t age = 0; age < std::min(from.order, to.order); ++age) {
            to.fxLine[age] = from.fxLine[(from.fxHead + age) % from.order];
        }
    }
    static int32_t samplesInReach(const State& s) { return s.order; }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{update<fxlms64fFilterUpdate>, update<plain::fxlms64fFilterUpdate>},
             {filter<fxlms64fFilterOnly>, filter<plain::fxlms64fFilterOnly>}});
    }
};

// ---- LMS filters over blocks

template <class S>
struct Block : Common<S> {
    static auto arguments(const Shape& p, Lent&) { return std::tuple(p.order, p.blockLen, p.rate); }
    static void start(S& s, const Shape& p, Lent&) {
        s.order = p.order;
        s.blockLen = p.blockLen;
        s.mu = p.rate;
        s.head = 0;
        if constexpr (requires { s.power; }) {
            s.power = 1.0;
        }
    }
    static void freed(S&) {}
};

struct Blms : Block<blms64fState> {
    static constexpr auto fields = std::tuple(&State::order, &State::blockLen, &State::mu,
                                              &State::coef, &State::delayLine, &State::head);
    static constexpr double rate = 0.05;
    static Lengths lengths(const Shape& p) {
        return {BLMS64F_COEF_LEN(p.order), BLMS64F_DELAY_LEN(p.order)};
    }
    static auto operations() {
        using namespace plain;
        return std::to_array<Operation<State>>(
            {{updateBlock<Api::filterUpdate>, updateBlock<blmsUpdate<Classic>>},
             {updateBlock<Api::filterUpdateSignErr>, updateBlock<blmsUpdate<SignErr>>},
             {updateBlock<Api::filterUpdateSignReg>, updateBlock<blmsUpdate<SignReg>>},
             {updateBlock<Api::filterUpdateSignSign>, updateBlock<blmsUpdate<SignSign>>},
             {filterBlock<Api::filterOnly>, filterBlock<plain::blms64fFilterOnly>}});
    }
};

struct Bnlms : Block<bnlms64fState> {
    static constexpr auto fields =
        std::tuple(&State::order, &State::blockLen, &State::mu, &State::coef, &State::power,
                   &State::delayLine, &State::head);
    static constexpr double rate = 0.02;
    static Lengths lengths(const Shape& p) {
        return {BNLMS64F_COEF_LEN(p.order), BNLMS64F_DELAY_LEN(p.order)};
    }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{updateBlock<bnlms64fFilterUpdate>, updateBlock<plain::bnlms64fFilterUpdate>},
             {filterBlock<bnlms64fFilterOnly, false>, // y must not be x
              filterBlock<plain::bnlms64fFilterOnly, false>}});
    }
};

// ---- Gradient lattices

template <class S>
struct GradientLattice : Common<S> {
    static constexpr bool pointersFirst = true;
    static constexpr bool testsRecord = true;
    // delayLine, power and backErr have `width` elements.
    static Layout<S> layout(const Shape& p, int32_t width) {
        return {{{&S::coef, p.order}, {&S::parcor, p.order}},
                {{&S::delayLine, width}, {&S::power, width}, {&S::backErr, width}}};
    }
    static void carry(const S& from, S& to) {
        for (double* S::*array : {&S::coef, &S::parcor, &S::delayLine}) {
            carryArray(from, to, array);
        }
    }
    static Fields<S> learned() { return {&S::coef, &S::parcor}; }
};

template <class S>
struct GradientPredictor : GradientLattice<S> {
    static constexpr auto flag = &S::updateCoef;
    static Layout<S> layout(const Shape& p) { return GradientLattice<S>::layout(p, p.order + 1); }
    static void start(S& s, const Shape& p, Lent&) {
        s.order = p.order;
        s.mu = p.rate;
        s.updateCoef = 1;
        std::fill_n(s.power, p.order + 1, 1.0);
    }
    static void carry(const S& from, S& to) {
        GradientLattice<S>::carry(from, to);
        to.updateCoef = from.updateCoef;
    }
};

struct Lbpef : GradientPredictor<lbpef64fState> {
    static constexpr auto fields = std::tuple(
        &State::order, &State::mu, &State::err, &State::updateCoef, &State::inHead, &State::parcor,
        &State::coef, &State::delayLine, &State::power, &State::backErr, &State::inLine);
    static Lengths lengths(const Shape& p) {
        return {LBPEF64F_COEF_LEN(p.order), LBPEF64F_WORK_LEN(p.order)};
    }
    static Layout<State> layout(const Shape& p) {
        Layout<State> arrays = GradientPredictor::layout(p);
        arrays[1].push_back({&State::inLine, p.order + 1});
        return arrays;
    }
    static void start(State& s, const Shape& p, Lent& lent) {
        GradientPredictor::start(s, p, lent);
        s.inHead = p.order;
    }
    static auto operations() {
        constexpr auto update = predict<lbpef64fFilterUpdate, State>;
        constexpr auto plainUpdate = predict<plain::lbpef64fFilterUpdate, State>;
        return std::to_array<Operation<State>>(
            {{update, plainUpdate},
             {without<flag, update>, without<flag, plainUpdate>},
             {predict<lbpef64fFilterOnly>, predict<plain::lbpef64fFilterOnly>}});
    }
};

struct Lfpef : GradientPredictor<lfpef64fState> {
    static constexpr auto fields =
        std::tuple(&State::order, &State::mu, &State::err, &State::updateCoef, &State::parcor,
                   &State::coef, &State::delayLine, &State::power, &State::backErr);
    static Lengths lengths(const Shape& p) {
        return {LFPEF64F_COEF_LEN(p.order), LFPEF64F_WORK_LEN(p.order)};
    }
    static auto operations() {
        constexpr auto update = predict<lfpef64fFilterUpdate, State>;
        constexpr auto plainUpdate = predict<plain::lfpef64fFilterUpdate, State>;
        return std::to_array<Operation<State>>(
            {{update, plainUpdate},
             {without<flag, update>, without<flag, plainUpdate>},
             {predict<lfpef64fFilterOnly>, predict<plain::lfpef64fFilterOnly>}});
    }
};

struct Lmslattice : GradientLattice<lmslattice64fState> {
    static constexpr auto fields =
        std::tuple(&State::order, &State::mu, &State::muCoef, &State::err, &State::adaptParcor,
                   &State::parcor, &State::coef, &State::delayLine, &State::power, &State::backErr);
    static constexpr double rate = 0.005, second = 0.02;
    static constexpr auto flag = &State::adaptParcor;
    static auto arguments(const Shape& p, Lent&) { return std::tuple(p.order, p.rate, p.second); }
    static Lengths lengths(const Shape& p) {
        return {LMSLATTICE64F_COEF_LEN(p.order), LMSLATTICE64F_WORK_LEN(p.order)};
    }
    static Layout<State> layout(const Shape& p) { return GradientLattice::layout(p, p.order); }
    static void start(State& s, const Shape& p, Lent&) {
        s.order = p.order;
        s.mu = p.rate;
        s.muCoef = p.second;
        s.adaptParcor = 1;
        std::fill_n(s.power, p.order, 1.0);
    }
    static void carry(const State& from, State& to) {
        GradientLattice::carry(from, to);
        to.adaptParcor = from.adaptParcor;
    }
    static auto operations() {
        constexpr auto both = update<lmslattice64fFilterUpdate, State>;
        constexpr auto plainBoth = update<plain::lmslattice64fFilterUpdate, State>;
        return std::to_array<Operation<State>>(
            {{both, plainBoth},
             {without<flag, both>, without<flag, plainBoth>},
             {filter<lmslattice64fFilterOnly>, filter<plain::lmslattice64fFilterOnly>}});
    }
};

// ---- Transform families; the tables belong to the host.

inline int32_t powerOfTwo(int32_t n) {
    int32_t power = 1;
    while (power < n) {
        power *= 2;
    }
    return power;
}

template <class S>
struct Spectral : Common<S> {
    static auto tables(Lent& lent) { return std::tuple(lent.table, lent.twiddles); }
    static void start(S& s, int32_t fftLen, const Shape& p, Lent& lent) {
        s.order = p.order;
        s.fftLen = fftLen;
        s.bins = fftLen / 2 + 1;
        s.mu = p.rate;
        s.invScale = 2.0 / fftLen;
        s.fftTwiddles = lent.twiddles;
        s.fftTable = lent.table;
        std::fill_n(s.powerAvg, s.bins, 1.0);
    }
    static void carryPower(const S& from, S& to) {
        if (from.fftLen == to.fftLen) {
            std::copy_n(from.powerAvg, to.bins, to.powerAvg);
        }
    }
    // The first taps, through the time domain, which changes bits.
    template <class F>
    static void carryTaps(S& from, S& to) {
        const int32_t n = F::tapCount(from);
        Samples kept(n);
        F::inTime(from, [&](int32_t i, double& tap) { kept[i] = tap; });
        F::inTime(to, [&](int32_t i, double& tap) { tap = i < n ? kept[i] : tap; });
    }
};

template <class S>
struct BlockSpectral : Spectral<S> {
    static int32_t fftLen(const Shape& p) { return powerOfTwo(p.order + p.blockLen - 1); }
    static void start(S& s, const Shape& p, Lent& lent) {
        Spectral<S>::start(s, fftLen(p), p, lent);
        s.blockLen = p.blockLen;
        s.constrained = p.constrained != 0;
        s.overlap = s.fftLen - p.blockLen;
        s.coefTail = s.fftLen - p.order;
    }
    static void carryHistory(const S& from, S& to) {
        const int32_t kept = std::min(from.overlap, to.overlap);
        std::copy_n(from.delayLine + from.overlap - kept, kept, to.delayLine + to.overlap - kept);
    }
};

struct Bfdaf : BlockSpectral<bfdaf64fState> {
    static constexpr auto fields = std::tuple(
        &State::order, &State::blockLen, &State::fftLen, &State::bins, &State::constrained,
        &State::overlap, &State::coefTail, &State::powerGain, &State::mu, &State::invScale,
        &State::delayLine, &State::frame, &State::coef, &State::outBuf, &State::powerAvg,
        &State::powerInst, &State::fftTwiddles, &State::fftTable);
    static auto arguments(const Shape& p, Lent&) {
        return std::tuple(p.order, p.blockLen, p.rate, p.constrained);
    }
    static Lengths lengths(const Shape& p) {
        return {BFDAF64F_COEF_LEN(p.order, p.blockLen), BFDAF64F_WORK_LEN(p.order, p.blockLen)};
    }
    static Layout<State> layout(const Shape& p) {
        const int64_t n = fftLen(p), bins = n / 2 + 1;
        return {{{&State::coef, n}},
                {{&State::delayLine, n - p.blockLen},
                 {&State::frame, n},
                 {&State::outBuf, n},
                 {&State::powerInst, bins},
                 {&State::powerAvg, bins}}};
    }
    static void start(State& s, const Shape& p, Lent& lent) {
        BlockSpectral::start(s, p, lent);
        s.powerGain = 0.020000000000000018 / p.blockLen;
    }
    static constexpr auto tapCount = orderOf<State>;
    // All fftLen positions are scaled and kept.
    template <class Visit>
    static void inTime(State& s, Visit visit) {
        plain::inverse(&s, s.coef);
        for (int32_t i = 0; i < s.fftLen; ++i) {
            s.coef[i] = s.invScale * s.coef[i];
        }
        for (int32_t i = 0; i < s.order; ++i) {
            visit(i, s.coef[i]);
        }
        plain::forward(&s, s.coef);
    }
    static void carry(State& from, State& to) {
        carryHistory(from, to);
        carryPower(from, to);
        carryTaps<Bfdaf>(from, to);
    }
    static Fields<State> history() { return {&State::frame, &State::delayLine}; }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{updateBlock<bfdaf64fFilterUpdate>, updateBlock<plain::bfdaf64fFilterUpdate>},
             {filterBlock<bfdaf64fFilterOnly>, filterBlock<plain::bfdaf64fFilterOnly>}});
    }
};

struct Pbfdaf : BlockSpectral<pbfdaf64fState> {
    static constexpr auto fields =
        std::tuple(&State::order, &State::blockLen, &State::partitions, &State::fftLen,
                   &State::specLen, &State::bins, &State::constrained, &State::overlap,
                   &State::coefTail, &State::powerGain, &State::ringPos, &State::mu,
                   &State::invScale, &State::delayLine, &State::ring, &State::coef, &State::outBuf,
                   &State::powerAvg, &State::scratch, &State::fftTwiddles, &State::fftTable);
    static auto arguments(const Shape& p, Lent&) {
        return std::tuple(p.order, p.blockLen, p.parts, p.rate, p.constrained);
    }
    static Lengths lengths(const Shape& p) {
        return {PBFDAF64F_COEF_LEN(p.order, p.blockLen, p.parts),
                PBFDAF64F_WORK_LEN(p.order, p.blockLen, p.parts)};
    }
    static Layout<State> layout(const Shape& p) {
        const int64_t n = fftLen(p);
        return {{{&State::coef, p.parts * n}},
                {{&State::delayLine, n - p.blockLen},
                 {&State::ring, p.parts * n},
                 {&State::outBuf, n},
                 {&State::scratch, n},
                 {&State::powerAvg, n / 2 + 1}}};
    }
    static void start(State& s, const Shape& p, Lent& lent) {
        BlockSpectral::start(s, p, lent);
        s.partitions = p.parts;
        s.specLen = s.fftLen * p.parts;
        s.powerGain = 0.019999980926513672 / p.blockLen;
        s.ringPos = s.specLen / 2 - s.fftLen / 2;
    }
    static int32_t tapCount(const State& s) { return s.order * s.partitions; }
    // Every partition is scaled and reduced to its taps.
    template <class Visit>
    static void inTime(State& s, Visit visit) {
        for (int32_t p = 0; p < s.partitions; ++p) {
            double* const coef = s.coef + p * s.fftLen;
            plain::inverse(&s, coef);
            for (int32_t i = 0; i < s.fftLen; ++i) {
                coef[i] = i < s.order ? s.invScale * coef[i] : 0.0;
            }
            for (int32_t i = 0; i < s.order; ++i) {
                visit(p * s.order + i, coef[i]);
            }
            plain::forward(&s, coef);
        }
    }
    static void carry(State& from, State& to) {
        carryHistory(from, to);
        carryPower(from, to);
        const int32_t kept = std::min(from.fftLen, to.fftLen);
        for (int32_t p = 0; p < from.partitions; ++p) { // later frames may replace earlier ones
            Samples before(from.fftLen), after(to.fftLen);
            std::copy_n(plain::slot(&from, p), from.fftLen, before.data());
            plain::inverse(&from, before.data());
            for (int32_t i = 0; i < kept; ++i) {
                after[i] = from.invScale * before[i];
            }
            plain::forward(&to, after.data());
            std::copy_n(after.data(), to.fftLen, plain::slot(&to, p % to.partitions));
        }
        carryTaps<Pbfdaf>(from, to);
    }
    static Fields<State> history() { return {&State::ring, &State::delayLine}; }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{updateBlock<pbfdaf64fFilterUpdate>, updateBlock<plain::pbfdaf64fFilterUpdate>},
             {filterBlock<pbfdaf64fFilterOnly>, filterBlock<plain::pbfdaf64fFilterOnly>}});
    }
};

struct Tdlms : Spectral<tdlms64fState> {
    static constexpr auto fields =
        std::tuple(&State::order, &State::fftLen, &State::bins, &State::mu, &State::err,
                   &State::invScale, &State::head, &State::delayLine, &State::frame, &State::coef,
                   &State::powerAvg, &State::powerInst, &State::fftTwiddles, &State::fftTable);
    static constexpr int32_t smallest = 3;
    static Lengths lengths(const Shape& p) {
        return {TDLMS64F_COEF_LEN(p.order), TDLMS64F_WORK_LEN(p.order)};
    }
    static Layout<State> layout(const Shape& p) {
        const int64_t n = powerOfTwo(p.order - 1), bins = n / 2 + 1;
        return {{{&State::coef, n}},
                {{&State::delayLine, n},
                 {&State::frame, n},
                 {&State::powerAvg, bins},
                 {&State::powerInst, bins}}};
    }
    static void start(State& s, const Shape& p, Lent& lent) {
        Spectral::start(s, powerOfTwo(p.order - 1), p, lent);
        s.head = s.fftLen - 1;
    }
    static int32_t tapCount(const State& s) { return std::min(s.order, s.fftLen); }
    // A tap is fftLen times its position. Those that visit() does not change are not divided again.
    template <class Visit>
    static void inTime(State& s, Visit visit) {
        plain::inverse(&s, s.coef);
        for (int32_t i = 0; i < s.fftLen; ++i) {
            s.coef[i] = s.invScale * s.coef[i];
        }
        for (int32_t i = 0; i < tapCount(s); ++i) {
            const double before = s.fftLen * s.coef[i];
            double tap = before;
            visit(i, tap);
            s.coef[i] = bits(tap) == bits(before) ? s.coef[i] : tap / s.fftLen;
        }
        plain::forward(&s, s.coef);
    }
    static void carry(State& from, State& to) {
        carryDelayLine(from, to);
        carryPower(from, to);
        carryTaps<Tdlms>(from, to);
    }
    static Fields<State> history() { return {&State::frame, &State::delayLine}; }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{update<tdlms64fFilterUpdate>, update<plain::tdlms64fFilterUpdate>},
             {filter<tdlms64fFilterOnly>, filter<plain::tdlms64fFilterOnly>},
             {updateLinear<tdlms64fLCFilterUpdate>, updateLinear<plain::tdlms64fLCFilterUpdate>},
             {filterLinear<tdlms64fLCFilterOnly>, filterLinear<plain::tdlms64fLCFilterOnly>}});
    }
};

// ---- Recursive least squares

struct Rls : Common<rls64fState> {
    static constexpr auto fields =
        std::tuple(&State::order, &State::lambda, &State::invLambda, &State::err, &State::coef,
                   &State::delayLine, &State::invCorr, &State::gain);
    static constexpr double rate = 0.99;
    static auto arguments(const Shape& p, Lent&) { return std::tuple(p.order, p.rate, p.second); }
    static Lengths lengths(const Shape& p) {
        return {RLS64F_COEF_LEN(p.order), RLS64F_WORK_LEN(p.order)};
    }
    static Layout<State> layout(const Shape& p) {
        return {{{&State::coef, p.order}},
                {{&State::delayLine, p.order},
                 {&State::gain, p.order},
                 {&State::invCorr, p.order * (p.order + 1) / 2}}};
    }
    static void setDiagonal(State& s, double delta) {
        for (int32_t i = 0; i < s.order; ++i) {
            s.invCorr[(i + 1) * (i + 2) / 2 - 1] = delta;
        }
    }
    static void start(State& s, const Shape& p, Lent&) {
        s.order = p.order;
        s.lambda = p.rate;
        s.invLambda = 1 / p.rate;
        setDiagonal(s, p.second);
    }
    static void carry(const State& from, State& to) {
        carryArray(from, to, &State::coef);
        carryArray(from, to, &State::delayLine);
        setDiagonal(to, 0.009999999776482582);
    }
    static auto operations() {
        return std::to_array<Operation<State>>(
            {{update<rls64fFilterUpdate>, update<plain::rls64fFilterUpdate>},
             {updateLinear<rls64fLCFilterUpdate>, updateLinear<plain::rls64fLCFilterUpdate>},
             {filter<rls64fFilterOnly>, filter<plain::rls64fFilterOnly>},
             {filterLinear<rls64fLCFilterOnly>, filterLinear<plain::rls64fLCFilterOnly>}});
    }
};

template <class S>
struct LeastSquaresLattice : Common<S> {
    static constexpr bool pointersFirst = true;
    static constexpr bool testsRecord = true;
    static constexpr double rate = 0.99;
    static Layout<S> layout(const Shape& p) {
        Layout<S> arrays = {
            {{&S::coef, p.order}, {&S::bwdParcor, p.order}, {&S::fwdParcor, p.order}},
            {{&S::delayLine, p.order}, {&S::bwdEnergy, p.order}}};
        if constexpr (requires(S s) { s.jointCorr; }) {
            arrays[1].push_back({&S::jointCorr, p.order});
        }
        for (double* S::*field : {&S::prevGamma, &S::crossCorr, &S::fwdEnergy}) {
            arrays[1].push_back({field, p.order});
        }
        if constexpr (requires(S s) { s.inLine; }) {
            arrays[1].push_back({&S::inLine, p.order + 1});
        }
        return arrays;
    }
    static void startArrays(S& s) { // those that are not 0
        std::fill_n(s.fwdEnergy, s.order, 0.0010000000474974513);
        std::fill_n(s.bwdEnergy, s.order, 0.0010000000474974513);
        std::fill_n(s.prevGamma, s.order, 1.0);
    }
    static void start(S& s, const Shape& p, Lent&) {
        s.order = p.order;
        s.lambda = p.rate;
        startArrays(s);
        if constexpr (requires { s.updateCoef; }) {
            s.updateCoef = 1;
        }
        if constexpr (requires { s.inHead; }) {
            s.inHead = p.order;
        }
    }
    // All arrays by position, inLine too.
    static void carry(const S& from, S& to) {
        Shape common;
        common.order = std::min(from.order, to.order);
        for (const auto& buffer : layout(common)) {
            for (const auto& array : buffer) {
                std::copy_n(from.*array.field, array.length, to.*array.field);
            }
        }
    }
    static Fields<S> learned() { return {}; }
};

struct Rlslattice : LeastSquaresLattice<rlslattice64fState> {
    static constexpr auto fields =
        std::tuple(&State::fwdEnergy, &State::bwdEnergy, &State::crossCorr, &State::jointCorr,
                   &State::prevGamma, &State::delayLine, &State::fwdParcor, &State::bwdParcor,
                   &State::coef, &State::order, &State::lambda, &State::err);
    static Lengths lengths(const Shape& p) {
        return {RLSLATTICE64F_COEF_LEN(p.order), RLSLATTICE64F_WORK_LEN(p.order)};
    }
    static auto operations() {
        constexpr auto both = update<rlslattice64fFilterUpdate, State>;
        constexpr auto plainBoth = update<plain::rlslattice64fFilterUpdate, State>;
        return std::to_array<Operation<State>>(
            {{both, plainBoth},
             {onceSettled<both, filter<rlslattice64fFilterOnly, State>>,
              onceSettled<plainBoth, filter<plain::rlslattice64fFilterOnly, State>>}});
    }
};

struct Rlslbpef : LeastSquaresLattice<rlslbpef64fState> {
    static constexpr auto fields = std::tuple(
        &State::fwdEnergy, &State::bwdEnergy, &State::crossCorr, &State::prevGamma,
        &State::delayLine, &State::fwdParcor, &State::bwdParcor, &State::coef, &State::inLine,
        &State::inHead, &State::order, &State::lambda, &State::err, &State::updateCoef);
    static constexpr auto flag = &State::updateCoef;
    static Lengths lengths(const Shape& p) {
        return {RLSLBPEF64F_COEF_LEN(p.order), RLSLBPEF64F_WORK_LEN(p.order)};
    }
    static auto operations() {
        constexpr auto update = predict<rlslbpef64fFilterUpdate, State>;
        constexpr auto plainUpdate = predict<plain::rlslbpef64fFilterUpdate, State>;
        return std::to_array<Operation<State>>(
            {{update, plainUpdate},
             {without<flag, update>, without<flag, plainUpdate>},
             {onceSettled<update, predict<rlslbpef64fFilterOnly, State>>,
              onceSettled<plainUpdate, predict<plain::rlslbpef64fFilterOnly, State>>}});
    }
};

struct Rlslfpef : LeastSquaresLattice<rlslfpef64fState> {
    static constexpr auto fields =
        std::tuple(&State::fwdEnergy, &State::bwdEnergy, &State::crossCorr, &State::prevGamma,
                   &State::delayLine, &State::fwdParcor, &State::bwdParcor, &State::coef,
                   &State::order, &State::lambda, &State::err, &State::updateCoef);
    static constexpr auto flag = &State::updateCoef;
    static Lengths lengths(const Shape& p) {
        return {RLSLFPEF64F_COEF_LEN(p.order), RLSLFPEF64F_WORK_LEN(p.order)};
    }
    static auto operations() {
        constexpr auto update = predict<rlslfpef64fFilterUpdate, State>;
        constexpr auto plainUpdate = predict<plain::rlslfpef64fFilterUpdate, State>;
        return std::to_array<Operation<State>>(
            {{update, plainUpdate},
             {without<flag, update>, without<flag, plainUpdate>},
             {onceSettled<update, predict<rlslfpef64fFilterOnly, State>>,
              onceSettled<plainUpdate, predict<plain::rlslfpef64fFilterOnly, State>>}});
    }
};

// The names of the families in typed suites.
struct NameOf {
    template <class F>
    static std::string GetName(int) {
        return F::Api::name;
    }
};

// A list type, such as testing::Types, of all families.
template <template <class...> class Types>
using FamiliesIn = Types<Fir, Lms, Nlms, Adjlms, Fxlms, Blms, Bnlms, Lbpef, Lfpef, Lmslattice,
                         Bfdaf, Pbfdaf, Tdlms, Rls, Rlslattice, Rlslbpef, Rlslfpef>;
template <class...>
struct Types {};
using Families = FamiliesIn<Types>;
