/** @file
 * @ref merlo64f_hpp
 * @defgroup merlo64f_hpp merlo64f.hpp: the families for C++
 * For C++20 hosts: every function of a family by the type of its record, for code that works with any
 * family. Header only.
 * @{ */
#ifndef MERLO64F_HPP
#define MERLO64F_HPP

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

namespace merlo64f {

/** The functions of a family, its name and the limit of its order, by the type of its record:
 * Family<lms64fState>::filterUpdate is lms64fFilterUpdate. An operation that a family does not have is
 * no member. */
template <class State>
struct Family;

/** @cond */
template <>
struct Family<fir64fState> {
    static constexpr auto name = "fir64f";
    static constexpr int32_t maxOrder = MAX_TAPS;
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

} // namespace merlo64f

/** @} */

#endif
