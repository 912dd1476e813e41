/** @file
 * @ref merlo64f_families
 * @defgroup merlo64f_families merlo64f_families.hpp: the families as types
 * For C++20 code that works with any family: every function of a family by the type of its record, and
 * every field of a record by its name. Header only.
 * @{ */
#ifndef MERLO64F_FAMILIES_HPP
#define MERLO64F_FAMILIES_HPP

#include "adjlms64f.h"
#include "bfdaf64f.h"
#include "blms64f.h"
#include "bnlms64f.h"
#include "fft_tables.h"
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
#include "tdlms64f.h"

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace merlo64f {

/** A field that the set-up derives from its arguments: it is the same in every record of that size.
 * This struct and the next four have the members name and member, the pointer to member.
 * @ingroup merlo64f_families */
template <class S>
struct Size {
    /** @cond */
    const char* name;
    int32_t S::*member;
    /** @endcond */
};

/** A field that any value may be stored in: a step size, a flag, a power, an error.
 * @ingroup merlo64f_families */
template <class S, class T>
struct Parameter {
    /** @cond */
    const char* name;
    T S::*member;
    /** @endcond */
};

/** An index into a ring: a multiple of step(record), from 0 to below limit(record). Both are members.
 * @ingroup merlo64f_families */
template <class S>
struct Position {
    /** @cond */
    const char* name;
    int32_t S::*member;
    int32_t (*limit)(const S&);
    int32_t (*step)(const S&) = [](const S&) { return int32_t{1}; };
    /** @endcond */
};

/** An array of the record, in buffers that Init allocates. The member length(record) is its length.
 * @ingroup merlo64f_families */
template <class S>
struct Array {
    /** @cond */
    const char* name;
    double* S::*member;
    int32_t (*length)(const S&);
    /** @endcond */
};

/** An array that the record borrows: the coefficients of fir64f, the paths of fxlms64f and adjlms64f.
 * The tables of the transform families are not listed. @ingroup merlo64f_families */
template <class S, class T>
struct Borrowed {
    /** @cond */
    const char* name;
    T* S::*member;
    int32_t (*length)(const S&);
    /** @endcond */
};

/** @cond */
template <class S>
Size(const char*, int32_t S::*) -> Size<S>;
template <class S, class T>
Parameter(const char*, T S::*) -> Parameter<S, T>;
template <class S, class Length>
Position(const char*, int32_t S::*, Length) -> Position<S>;
template <class S, class Length, class Step>
Position(const char*, int32_t S::*, Length, Step) -> Position<S>;
template <class S, class Length>
Array(const char*, double* S::*, Length) -> Array<S>;
template <class S, class T, class Length>
Borrowed(const char*, T* S::*, Length) -> Borrowed<S, T>;
/** @endcond */

/** A family, by the type of its record. Family<lms64fState> has as members
 * - name, "lms64f", and maxOrder, to which larger orders are reduced;
 * - its functions without the prefix: filterUpdate is lms64fFilterUpdate, lcFilterUpdate is
 *   lms64fLCFilterUpdate. An operation that a family does not have is no member;
 * - fields: a tuple of Size, Position and Parameter, in the order of the record; arrays: a tuple of
 *   Array, in the order of the buffers; borrowed, where it borrows: a tuple of Borrowed;
 * - arguments(record): the arguments of Init, but for the tables, that give a record of the same sizes
 *   and parameters.
 * @ingroup merlo64f_families */
template <class State>
struct Family;

/** @cond */
namespace of { // lengths and limits

constexpr auto order = [](const auto& s) { return s.order; };
constexpr auto orderPlus1 = [](const auto& s) { return s.order + 1; };
constexpr auto triangle = [](const auto& s) { return s.order * (s.order + 1) / 2; };
constexpr auto secLen = [](const auto& s) { return s.secLen; };
constexpr auto estLen = [](const auto& s) { return s.estLen; };
constexpr auto refLen = [](const auto& s) { return s.refLen; };
constexpr auto fftLen = [](const auto& s) { return s.fftLen; };
constexpr auto halfFftLen = [](const auto& s) { return s.fftLen / 2; };
constexpr auto bins = [](const auto& s) { return s.bins; };
constexpr auto overlap = [](const auto& s) { return s.overlap; };
constexpr auto specLen = [](const auto& s) { return s.specLen; };
constexpr auto halfSpecLen = [](const auto& s) { return s.specLen / 2; };

} // namespace of

template <>
struct Family<fir64fState> {
    static constexpr auto name = "fir64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = fir64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Position{"head", &S::head, of::order});
    static constexpr auto arrays = std::tuple(Array{"delayLine", &S::delayLine, of::order});
    static constexpr auto borrowed = std::tuple(Borrowed{"coef", &S::coef, of::order});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.coef); };
    static constexpr auto init = fir64fInit;
    static constexpr auto initStatic = fir64fInitStatic;
    static constexpr auto free = fir64fFree;
    static constexpr auto filter = fir64fFilter;
    static constexpr auto lcFilter = fir64fLCFilter;
    static constexpr auto blockFilter = fir64fBlockFilter;
    static constexpr auto resetDelayLine = fir64fResetDelayLine;
    static constexpr auto getCoef = fir64fGetCoef;
    static constexpr auto setCoef = fir64fSetCoef;
    static constexpr auto getDelayLine = fir64fGetDelayLine;
    static constexpr auto setDelayLine = fir64fSetDelayLine;
    static constexpr auto resize = fir64fResize;
};

template <>
struct Family<lms64fState> {
    static constexpr auto name = "lms64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = lms64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Parameter{"mu", &S::mu}, Parameter{"err", &S::err},
                   Position{"head", &S::head, of::order});
    static constexpr auto arrays = std::tuple(Array{"coef", &S::coef, of::order},
                                              Array{"delayLine", &S::delayLine, of::order});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.mu); };
    static constexpr auto init = lms64fInit;
    static constexpr auto initStatic = lms64fInitStatic;
    static constexpr auto free = lms64fFree;
    static constexpr auto filterUpdate = lms64fFilterUpdate;
    static constexpr auto filterUpdateSignErr = lms64fFilterUpdateSignErr;
    static constexpr auto filterUpdateSignReg = lms64fFilterUpdateSignReg;
    static constexpr auto filterUpdateSignSign = lms64fFilterUpdateSignSign;
    static constexpr auto lcFilterUpdate = lms64fLCFilterUpdate;
    static constexpr auto lcFilterUpdateSignErr = lms64fLCFilterUpdateSignErr;
    static constexpr auto lcFilterUpdateSignReg = lms64fLCFilterUpdateSignReg;
    static constexpr auto lcFilterUpdateSignSign = lms64fLCFilterUpdateSignSign;
    static constexpr auto filterOnly = lms64fFilterOnly;
    static constexpr auto lcFilterOnly = lms64fLCFilterOnly;
    static constexpr auto reset = lms64fReset;
    static constexpr auto resetDelayLine = lms64fResetDelayLine;
    static constexpr auto getCoef = lms64fGetCoef;
    static constexpr auto setCoef = lms64fSetCoef;
    static constexpr auto getDelayLine = lms64fGetDelayLine;
    static constexpr auto setDelayLine = lms64fSetDelayLine;
    static constexpr auto resize = lms64fResize;
};

template <>
struct Family<nlms64fState> {
    static constexpr auto name = "nlms64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = nlms64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Parameter{"mu", &S::mu}, Parameter{"err", &S::err},
                   Parameter{"power", &S::power}, Position{"head", &S::head, of::order});
    static constexpr auto arrays = std::tuple(Array{"coef", &S::coef, of::order},
                                              Array{"delayLine", &S::delayLine, of::order});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.mu); };
    static constexpr auto init = nlms64fInit;
    static constexpr auto initStatic = nlms64fInitStatic;
    static constexpr auto free = nlms64fFree;
    static constexpr auto filterUpdate = nlms64fFilterUpdate;
    static constexpr auto lcFilterUpdate = nlms64fLCFilterUpdate;
    static constexpr auto filterOnly = nlms64fFilterOnly;
    static constexpr auto lcFilterOnly = nlms64fLCFilterOnly;
    static constexpr auto reset = nlms64fReset;
    static constexpr auto resetDelayLine = nlms64fResetDelayLine;
    static constexpr auto getCoef = nlms64fGetCoef;
    static constexpr auto setCoef = nlms64fSetCoef;
    static constexpr auto getDelayLine = nlms64fGetDelayLine;
    static constexpr auto setDelayLine = nlms64fSetDelayLine;
    static constexpr auto resize = nlms64fResize;
};

template <>
struct Family<adjlms64fState> {
    static constexpr auto name = "adjlms64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = adjlms64fState;
    static constexpr auto fields = std::tuple(
        Size{"order", &S::order}, Size{"secLen", &S::secLen}, Size{"estLen", &S::estLen},
        Size{"refLen", &S::refLen}, Parameter{"mu", &S::mu}, Parameter{"err", &S::err},
        Parameter{"power", &S::power}, Position{"head", &S::head, of::refLen},
        Position{"outHead", &S::outHead, of::secLen}, Position{"errHead", &S::errHead, of::estLen});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::order}, Array{"outLine", &S::outLine, of::secLen},
        Array{"errLine", &S::errLine, of::estLen}, Array{"delayLine", &S::delayLine, of::refLen});
    static constexpr auto borrowed = std::tuple(Borrowed{"secCoef", &S::secCoef, of::secLen},
                                                Borrowed{"estCoef", &S::estCoef, of::estLen});
    static constexpr auto arguments = [](const S& s) {
        return std::tuple(s.order, s.mu, s.secCoef, s.secLen, s.estCoef, s.estLen);
    };
    static constexpr auto init = adjlms64fInit;
    static constexpr auto initStatic = adjlms64fInitStatic;
    static constexpr auto free = adjlms64fFree;
    static constexpr auto filterUpdate = adjlms64fFilterUpdate;
    static constexpr auto filterOnly = adjlms64fFilterOnly;
    static constexpr auto reset = adjlms64fReset;
    static constexpr auto resetDelayLine = adjlms64fResetDelayLine;
    static constexpr auto getCoef = adjlms64fGetCoef;
    static constexpr auto setCoef = adjlms64fSetCoef;
    static constexpr auto getDelayLine = adjlms64fGetDelayLine;
    static constexpr auto setDelayLine = adjlms64fSetDelayLine;
    static constexpr auto resize = adjlms64fResize;
};

template <>
struct Family<fxlms64fState> {
    static constexpr auto name = "fxlms64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = fxlms64fState;
    static constexpr auto fields = std::tuple(
        Size{"order", &S::order}, Size{"secLen", &S::secLen}, Size{"estLen", &S::estLen},
        Size{"refLen", &S::refLen}, Parameter{"mu", &S::mu}, Parameter{"err", &S::err},
        Parameter{"power", &S::power}, Position{"head", &S::head, of::refLen},
        Position{"outHead", &S::outHead, of::secLen}, Position{"fxHead", &S::fxHead, of::order});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::order}, Array{"outLine", &S::outLine, of::secLen},
        Array{"fxLine", &S::fxLine, of::order}, Array{"delayLine", &S::delayLine, of::refLen});
    static constexpr auto borrowed = std::tuple(Borrowed{"secCoef", &S::secCoef, of::secLen},
                                                Borrowed{"estCoef", &S::estCoef, of::estLen});
    static constexpr auto arguments = [](const S& s) {
        return std::tuple(s.order, s.mu, s.secCoef, s.secLen, s.estCoef, s.estLen);
    };
    static constexpr auto init = fxlms64fInit;
    static constexpr auto initStatic = fxlms64fInitStatic;
    static constexpr auto free = fxlms64fFree;
    static constexpr auto filterUpdate = fxlms64fFilterUpdate;
    static constexpr auto filterOnly = fxlms64fFilterOnly;
    static constexpr auto reset = fxlms64fReset;
    static constexpr auto resetDelayLine = fxlms64fResetDelayLine;
    static constexpr auto getCoef = fxlms64fGetCoef;
    static constexpr auto setCoef = fxlms64fSetCoef;
    static constexpr auto getDelayLine = fxlms64fGetDelayLine;
    static constexpr auto setDelayLine = fxlms64fSetDelayLine;
    static constexpr auto resize = fxlms64fResize;
};

template <>
struct Family<blms64fState> {
    static constexpr auto name = "blms64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = blms64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Size{"blockLen", &S::blockLen},
                   Parameter{"mu", &S::mu}, Position{"head", &S::head, of::order});
    static constexpr auto arrays = std::tuple(Array{"coef", &S::coef, of::order},
                                              Array{"delayLine", &S::delayLine, of::order});
    static constexpr auto arguments = [](const S& s) {
        return std::tuple(s.order, s.blockLen, s.mu);
    };
    static constexpr auto init = blms64fInit;
    static constexpr auto initStatic = blms64fInitStatic;
    static constexpr auto free = blms64fFree;
    static constexpr auto filterUpdate = blms64fFilterUpdate;
    static constexpr auto filterUpdateSignErr = blms64fFilterUpdateSignErr;
    static constexpr auto filterUpdateSignReg = blms64fFilterUpdateSignReg;
    static constexpr auto filterUpdateSignSign = blms64fFilterUpdateSignSign;
    static constexpr auto filterOnly = blms64fFilterOnly;
    static constexpr auto reset = blms64fReset;
    static constexpr auto resetDelayLine = blms64fResetDelayLine;
    static constexpr auto getCoef = blms64fGetCoef;
    static constexpr auto setCoef = blms64fSetCoef;
    static constexpr auto getDelayLine = blms64fGetDelayLine;
    static constexpr auto setDelayLine = blms64fSetDelayLine;
    static constexpr auto resize = blms64fResize;
};

template <>
struct Family<bnlms64fState> {
    static constexpr auto name = "bnlms64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = bnlms64fState;
    static constexpr auto fields = std::tuple(
        Size{"order", &S::order}, Size{"blockLen", &S::blockLen}, Parameter{"mu", &S::mu},
        Parameter{"power", &S::power}, Position{"head", &S::head, of::order});
    static constexpr auto arrays = std::tuple(Array{"coef", &S::coef, of::order},
                                              Array{"delayLine", &S::delayLine, of::order});
    static constexpr auto arguments = [](const S& s) {
        return std::tuple(s.order, s.blockLen, s.mu);
    };
    static constexpr auto init = bnlms64fInit;
    static constexpr auto initStatic = bnlms64fInitStatic;
    static constexpr auto free = bnlms64fFree;
    static constexpr auto filterUpdate = bnlms64fFilterUpdate;
    static constexpr auto filterOnly = bnlms64fFilterOnly;
    static constexpr auto reset = bnlms64fReset;
    static constexpr auto resetDelayLine = bnlms64fResetDelayLine;
    static constexpr auto getCoef = bnlms64fGetCoef;
    static constexpr auto setCoef = bnlms64fSetCoef;
    static constexpr auto getDelayLine = bnlms64fGetDelayLine;
    static constexpr auto setDelayLine = bnlms64fSetDelayLine;
    static constexpr auto resize = bnlms64fResize;
};

template <>
struct Family<bfdaf64fState> {
    static constexpr auto name = "bfdaf64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = bfdaf64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Size{"blockLen", &S::blockLen},
                   Size{"fftLen", &S::fftLen}, Size{"bins", &S::bins},
                   Parameter{"constrained", &S::constrained}, Size{"overlap", &S::overlap},
                   Size{"coefTail", &S::coefTail}, Parameter{"powerGain", &S::powerGain},
                   Parameter{"mu", &S::mu}, Parameter{"invScale", &S::invScale});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::fftLen}, Array{"delayLine", &S::delayLine, of::overlap},
        Array{"frame", &S::frame, of::fftLen}, Array{"outBuf", &S::outBuf, of::fftLen},
        Array{"powerInst", &S::powerInst, of::bins}, Array{"powerAvg", &S::powerAvg, of::bins});
    static constexpr auto arguments = [](const S& s) {
        return std::tuple(s.order, s.blockLen, s.mu, s.constrained);
    };
    static constexpr auto init = bfdaf64fInit;
    static constexpr auto initStatic = bfdaf64fInitStatic;
    static constexpr auto free = bfdaf64fFree;
    static constexpr auto filterUpdate = bfdaf64fFilterUpdate;
    static constexpr auto filterOnly = bfdaf64fFilterOnly;
    static constexpr auto reset = bfdaf64fReset;
    static constexpr auto resetDelayLine = bfdaf64fResetDelayLine;
    static constexpr auto getCoef = bfdaf64fGetCoef;
    static constexpr auto setCoef = bfdaf64fSetCoef;
    static constexpr auto resize = bfdaf64fResize;
};

template <>
struct Family<pbfdaf64fState> {
    static constexpr auto name = "pbfdaf64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = pbfdaf64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Size{"blockLen", &S::blockLen},
                   Size{"partitions", &S::partitions}, Size{"fftLen", &S::fftLen},
                   Size{"specLen", &S::specLen}, Size{"bins", &S::bins},
                   Parameter{"constrained", &S::constrained}, Size{"overlap", &S::overlap},
                   Size{"coefTail", &S::coefTail}, Parameter{"powerGain", &S::powerGain},
                   Position{"ringPos", &S::ringPos, of::halfSpecLen, of::halfFftLen},
                   Parameter{"mu", &S::mu}, Parameter{"invScale", &S::invScale});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::specLen}, Array{"delayLine", &S::delayLine, of::overlap},
        Array{"ring", &S::ring, of::specLen}, Array{"outBuf", &S::outBuf, of::fftLen},
        Array{"scratch", &S::scratch, of::fftLen}, Array{"powerAvg", &S::powerAvg, of::bins});
    static constexpr auto arguments = [](const S& s) {
        return std::tuple(s.order, s.blockLen, s.partitions, s.mu, s.constrained);
    };
    static constexpr auto init = pbfdaf64fInit;
    static constexpr auto initStatic = pbfdaf64fInitStatic;
    static constexpr auto free = pbfdaf64fFree;
    static constexpr auto filterUpdate = pbfdaf64fFilterUpdate;
    static constexpr auto filterOnly = pbfdaf64fFilterOnly;
    static constexpr auto reset = pbfdaf64fReset;
    static constexpr auto resetDelayLine = pbfdaf64fResetDelayLine;
    static constexpr auto getCoef = pbfdaf64fGetCoef;
    static constexpr auto setCoef = pbfdaf64fSetCoef;
    static constexpr auto resize = pbfdaf64fResize;
};

template <>
struct Family<tdlms64fState> {
    static constexpr auto name = "tdlms64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = tdlms64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Size{"fftLen", &S::fftLen}, Size{"bins", &S::bins},
                   Parameter{"mu", &S::mu}, Parameter{"err", &S::err},
                   Parameter{"invScale", &S::invScale}, Position{"head", &S::head, of::fftLen});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::fftLen}, Array{"delayLine", &S::delayLine, of::fftLen},
        Array{"frame", &S::frame, of::fftLen}, Array{"powerAvg", &S::powerAvg, of::bins},
        Array{"powerInst", &S::powerInst, of::bins});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.mu); };
    static constexpr auto init = tdlms64fInit;
    static constexpr auto initStatic = tdlms64fInitStatic;
    static constexpr auto free = tdlms64fFree;
    static constexpr auto filterUpdate = tdlms64fFilterUpdate;
    static constexpr auto filterOnly = tdlms64fFilterOnly;
    static constexpr auto lcFilterUpdate = tdlms64fLCFilterUpdate;
    static constexpr auto lcFilterOnly = tdlms64fLCFilterOnly;
    static constexpr auto reset = tdlms64fReset;
    static constexpr auto resetDelayLine = tdlms64fResetDelayLine;
    static constexpr auto getCoef = tdlms64fGetCoef;
    static constexpr auto setCoef = tdlms64fSetCoef;
    static constexpr auto getDelayLine = tdlms64fGetDelayLine;
    static constexpr auto setDelayLine = tdlms64fSetDelayLine;
    static constexpr auto resize = tdlms64fResize;
};

template <>
struct Family<lbpef64fState> {
    static constexpr auto name = "lbpef64f";
    static constexpr int32_t maxOrder = MAX_PEF_STAGES;
    using S = lbpef64fState;
    static constexpr auto fields = std::tuple(
        Size{"order", &S::order}, Parameter{"mu", &S::mu}, Parameter{"err", &S::err},
        Parameter{"updateCoef", &S::updateCoef}, Position{"inHead", &S::inHead, of::orderPlus1});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::order}, Array{"parcor", &S::parcor, of::order},
        Array{"delayLine", &S::delayLine, of::orderPlus1},
        Array{"power", &S::power, of::orderPlus1}, Array{"backErr", &S::backErr, of::orderPlus1},
        Array{"inLine", &S::inLine, of::orderPlus1});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.mu); };
    static constexpr auto init = lbpef64fInit;
    static constexpr auto initStatic = lbpef64fInitStatic;
    static constexpr auto free = lbpef64fFree;
    static constexpr auto filterUpdate = lbpef64fFilterUpdate;
    static constexpr auto filterOnly = lbpef64fFilterOnly;
    static constexpr auto reset = lbpef64fReset;
    static constexpr auto getCoef = lbpef64fGetCoef;
    static constexpr auto setCoef = lbpef64fSetCoef;
    static constexpr auto getParcor = lbpef64fGetParcor;
    static constexpr auto setParcor = lbpef64fSetParcor;
    static constexpr auto getDelayLine = lbpef64fGetDelayLine;
    static constexpr auto setDelayLine = lbpef64fSetDelayLine;
    static constexpr auto resize = lbpef64fResize;
};

template <>
struct Family<lfpef64fState> {
    static constexpr auto name = "lfpef64f";
    static constexpr int32_t maxOrder = MAX_PEF_STAGES;
    using S = lfpef64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Parameter{"mu", &S::mu}, Parameter{"err", &S::err},
                   Parameter{"updateCoef", &S::updateCoef});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::order}, Array{"parcor", &S::parcor, of::order},
        Array{"delayLine", &S::delayLine, of::orderPlus1},
        Array{"power", &S::power, of::orderPlus1}, Array{"backErr", &S::backErr, of::orderPlus1});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.mu); };
    static constexpr auto init = lfpef64fInit;
    static constexpr auto initStatic = lfpef64fInitStatic;
    static constexpr auto free = lfpef64fFree;
    static constexpr auto filterUpdate = lfpef64fFilterUpdate;
    static constexpr auto filterOnly = lfpef64fFilterOnly;
    static constexpr auto reset = lfpef64fReset;
    static constexpr auto getCoef = lfpef64fGetCoef;
    static constexpr auto setCoef = lfpef64fSetCoef;
    static constexpr auto getParcor = lfpef64fGetParcor;
    static constexpr auto setParcor = lfpef64fSetParcor;
    static constexpr auto getDelayLine = lfpef64fGetDelayLine;
    static constexpr auto setDelayLine = lfpef64fSetDelayLine;
    static constexpr auto resize = lfpef64fResize;
};

template <>
struct Family<lmslattice64fState> {
    static constexpr auto name = "lmslattice64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = lmslattice64fState;
    static constexpr auto fields = std::tuple(
        Size{"order", &S::order}, Parameter{"mu", &S::mu}, Parameter{"muCoef", &S::muCoef},
        Parameter{"err", &S::err}, Parameter{"adaptParcor", &S::adaptParcor});
    static constexpr auto arrays =
        std::tuple(Array{"coef", &S::coef, of::order}, Array{"parcor", &S::parcor, of::order},
                   Array{"delayLine", &S::delayLine, of::order},
                   Array{"power", &S::power, of::order}, Array{"backErr", &S::backErr, of::order});
    static constexpr auto arguments = [](const S& s) {
        return std::tuple(s.order, s.mu, s.muCoef);
    };
    static constexpr auto init = lmslattice64fInit;
    static constexpr auto initStatic = lmslattice64fInitStatic;
    static constexpr auto free = lmslattice64fFree;
    static constexpr auto filterUpdate = lmslattice64fFilterUpdate;
    static constexpr auto filterOnly = lmslattice64fFilterOnly;
    static constexpr auto reset = lmslattice64fReset;
    static constexpr auto getCoef = lmslattice64fGetCoef;
    static constexpr auto setCoef = lmslattice64fSetCoef;
    static constexpr auto getParcor = lmslattice64fGetParcor;
    static constexpr auto setParcor = lmslattice64fSetParcor;
    static constexpr auto getDelayLine = lmslattice64fGetDelayLine;
    static constexpr auto setDelayLine = lmslattice64fSetDelayLine;
    static constexpr auto resize = lmslattice64fResize;
};

template <>
struct Family<rls64fState> {
    static constexpr auto name = "rls64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = rls64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Parameter{"lambda", &S::lambda},
                   Parameter{"invLambda", &S::invLambda}, Parameter{"err", &S::err});
    static constexpr auto arrays =
        std::tuple(Array{"coef", &S::coef, of::order}, Array{"delayLine", &S::delayLine, of::order},
                   Array{"gain", &S::gain, of::order}, Array{"invCorr", &S::invCorr, of::triangle});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.lambda, 0.0); };
    static constexpr auto init = rls64fInit;
    static constexpr auto initStatic = rls64fInitStatic;
    static constexpr auto free = rls64fFree;
    static constexpr auto filterUpdate = rls64fFilterUpdate;
    static constexpr auto filterOnly = rls64fFilterOnly;
    static constexpr auto lcFilterUpdate = rls64fLCFilterUpdate;
    static constexpr auto lcFilterOnly = rls64fLCFilterOnly;
    static constexpr auto reset = rls64fReset;
    static constexpr auto resetDelayLine = rls64fResetDelayLine;
    static constexpr auto getCoef = rls64fGetCoef;
    static constexpr auto setCoef = rls64fSetCoef;
    static constexpr auto getDelayLine = rls64fGetDelayLine;
    static constexpr auto setDelayLine = rls64fSetDelayLine;
    static constexpr auto resize = rls64fResize;
};

template <>
struct Family<rlslattice64fState> {
    static constexpr auto name = "rlslattice64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
    using S = rlslattice64fState;
    static constexpr auto fields = std::tuple(
        Size{"order", &S::order}, Parameter{"lambda", &S::lambda}, Parameter{"err", &S::err});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::order}, Array{"bwdParcor", &S::bwdParcor, of::order},
        Array{"fwdParcor", &S::fwdParcor, of::order}, Array{"delayLine", &S::delayLine, of::order},
        Array{"bwdEnergy", &S::bwdEnergy, of::order}, Array{"jointCorr", &S::jointCorr, of::order},
        Array{"prevGamma", &S::prevGamma, of::order}, Array{"crossCorr", &S::crossCorr, of::order},
        Array{"fwdEnergy", &S::fwdEnergy, of::order});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.lambda); };
    static constexpr auto init = rlslattice64fInit;
    static constexpr auto initStatic = rlslattice64fInitStatic;
    static constexpr auto free = rlslattice64fFree;
    static constexpr auto filterUpdate = rlslattice64fFilterUpdate;
    static constexpr auto filterOnly = rlslattice64fFilterOnly;
    static constexpr auto reset = rlslattice64fReset;
    static constexpr auto getCoef = rlslattice64fGetCoef;
    static constexpr auto getForwardParcors = rlslattice64fGetForwardParcors;
    static constexpr auto getBackwardParcors = rlslattice64fGetBackwardParcors;
    static constexpr auto getDelayLine = rlslattice64fGetDelayLine;
    static constexpr auto setDelayLine = rlslattice64fSetDelayLine;
    static constexpr auto resize = rlslattice64fResize;
};

template <>
struct Family<rlslbpef64fState> {
    static constexpr auto name = "rlslbpef64f";
    static constexpr int32_t maxOrder = MAX_PEF_STAGES;
    using S = rlslbpef64fState;
    static constexpr auto fields =
        std::tuple(Position{"inHead", &S::inHead, of::orderPlus1}, Size{"order", &S::order},
                   Parameter{"lambda", &S::lambda}, Parameter{"err", &S::err},
                   Parameter{"updateCoef", &S::updateCoef});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::order}, Array{"bwdParcor", &S::bwdParcor, of::order},
        Array{"fwdParcor", &S::fwdParcor, of::order}, Array{"delayLine", &S::delayLine, of::order},
        Array{"bwdEnergy", &S::bwdEnergy, of::order}, Array{"prevGamma", &S::prevGamma, of::order},
        Array{"crossCorr", &S::crossCorr, of::order}, Array{"fwdEnergy", &S::fwdEnergy, of::order},
        Array{"inLine", &S::inLine, of::orderPlus1});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.lambda); };
    static constexpr auto init = rlslbpef64fInit;
    static constexpr auto initStatic = rlslbpef64fInitStatic;
    static constexpr auto free = rlslbpef64fFree;
    static constexpr auto filterUpdate = rlslbpef64fFilterUpdate;
    static constexpr auto filterOnly = rlslbpef64fFilterOnly;
    static constexpr auto reset = rlslbpef64fReset;
    static constexpr auto getCoef = rlslbpef64fGetCoef;
    static constexpr auto getForwardParcors = rlslbpef64fGetForwardParcors;
    static constexpr auto getBackwardParcors = rlslbpef64fGetBackwardParcors;
    static constexpr auto getDelayLine = rlslbpef64fGetDelayLine;
    static constexpr auto setDelayLine = rlslbpef64fSetDelayLine;
    static constexpr auto resize = rlslbpef64fResize;
};

template <>
struct Family<rlslfpef64fState> {
    static constexpr auto name = "rlslfpef64f";
    static constexpr int32_t maxOrder = MAX_PEF_STAGES;
    using S = rlslfpef64fState;
    static constexpr auto fields =
        std::tuple(Size{"order", &S::order}, Parameter{"lambda", &S::lambda},
                   Parameter{"err", &S::err}, Parameter{"updateCoef", &S::updateCoef});
    static constexpr auto arrays = std::tuple(
        Array{"coef", &S::coef, of::order}, Array{"bwdParcor", &S::bwdParcor, of::order},
        Array{"fwdParcor", &S::fwdParcor, of::order}, Array{"delayLine", &S::delayLine, of::order},
        Array{"bwdEnergy", &S::bwdEnergy, of::order}, Array{"prevGamma", &S::prevGamma, of::order},
        Array{"crossCorr", &S::crossCorr, of::order}, Array{"fwdEnergy", &S::fwdEnergy, of::order});
    static constexpr auto arguments = [](const S& s) { return std::tuple(s.order, s.lambda); };
    static constexpr auto init = rlslfpef64fInit;
    static constexpr auto initStatic = rlslfpef64fInitStatic;
    static constexpr auto free = rlslfpef64fFree;
    static constexpr auto filterUpdate = rlslfpef64fFilterUpdate;
    static constexpr auto filterOnly = rlslfpef64fFilterOnly;
    static constexpr auto reset = rlslfpef64fReset;
    static constexpr auto getCoef = rlslfpef64fGetCoef;
    static constexpr auto getForwardParcors = rlslfpef64fGetForwardParcors;
    static constexpr auto getBackwardParcors = rlslfpef64fGetBackwardParcors;
    static constexpr auto getDelayLine = rlslfpef64fGetDelayLine;
    static constexpr auto setDelayLine = rlslfpef64fSetDelayLine;
    static constexpr auto resize = rlslfpef64fResize;
};
/** @endcond */

/** Points of the transform tables that a record of these sizes needs, a power of two of at least 8: the
 * arguments of Init that are sizes, in their order. Sizes that Init refuses give 8. */
template <class State, class... More>
int32_t transformLength(int32_t order, More... more) {
    // The transform is no longer than the power of two that holds order - 1 + blockLen or, without
    // blocks, order.
    int64_t length = std::clamp<int64_t>(order, 1, Family<State>::maxOrder);
    if constexpr (requires(State s) { s.blockLen; }) {
        length += int64_t{std::get<0>(std::tuple(more...))} - 1;
    }
    const int32_t exponent = nextPow2(length);
    return int32_t{1} << (exponent > 30 ? 3 : std::max(exponent, int32_t{3}));
}

} // namespace merlo64f

/** @} */

#endif
