/** @file
 * @ref rlslattice64f
 * @defgroup rlslattice64f rlslattice64f: least-squares lattice with a joint process
 * A least-squares lattice with a joint-process (regression) section, one sample per call. What
 * rls64f does with work of the order of order^2 it does with work of the order of `order`.
 *
 * With f = b = x, g = 1 and e = d, for each stage i = 0 .. order-1, where z is delayLine[i], the
 * backward error that came in a sample ago, and p is prevGamma[i]:
 *
 *     fwdEnergy[i] = lambda * fwdEnergy[i] + f * f / p
 *     newB = lambda * bwdEnergy[i] + b * b / g
 *     crossCorr[i] = lambda * crossCorr[i] + f * z / p
 *     jointCorr[i] = lambda * jointCorr[i] + e * b / g
 *     fwdParcor[i] = crossCorr[i] / bwdEnergy[i]     the energy of a sample ago
 *     bwdParcor[i] = crossCorr[i] / fwdEnergy[i]
 *     coef[i] = jointCorr[i] / newB
 *     e = e - coef[i] * b
 *     prevGamma[i] = g, then g = g - b * b / newB
 *     bwdEnergy[i] = newB, delayLine[i] = b
 *     f = f - fwdParcor[i] * z and b = z - bwdParcor[i] * f, with the f that came in
 *
 * All errors are a-posteriori errors: a stage forms them with the coefficients that this very
 * sample has just updated. err holds the last e, so d - err follows d even where coef has not
 * settled.
 *
 * @par Sources
 * Lee, Morf and Friedlander 1981, Recursive least squares ladder estimation algorithms;
 * Diniz 2013, Adaptive Filtering, algorithm 7.1; Haykin 2002, Adaptive Filter Theory.
 *
 * @par Forgetting factor
 * lambda weighs a square error down by that factor per sample, so the memory is about
 * 1 / (1 - lambda) samples; 0.95 to 1 is usual. No value is refused.
 *
 * @par Departures from the textbook
 * There is no floor under an energy and no small constant in a denominator beyond the start values,
 * the single-precision 0.001 (0.0010000000474974513) of the energies and the 1.0 of prevGamma.
 *
 * @par Silence
 * With lambda below 1 the energies of a silent input decay by lambda per sample. Once they lie
 * below 2^-53 of a sample's square (after some 40 / (1 - lambda) silent samples), the first sample
 * that comes then swallows the energy of its stage: g becomes 0, the stages behind divide by it,
 * and NaN stays in the arrays. A sample of 1e9 on a fresh record does the same, and so may an input
 * that the first stages predict without error. The remedy is Reset, best before the signal sets in
 * again.
 *
 * For what all families share see merlo64f.h.
 * @{ */
#ifndef MERLO64F_RLSLATTICE64F_H
#define MERLO64F_RLSLATTICE64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive lattice of `order` stages. The arrays have `order` elements, one for each stage. */
typedef struct rlslattice64fState {
    double* fwdEnergy; /**< energy of the forward error; 0.001 at first */
    double* bwdEnergy; /**< energy of the backward error; 0.001 at first */
    double* crossCorr; /**< correlation of the forward and the delayed backward error; 0 at first */
    double* jointCorr; /**< correlation of the joint and the backward error; 0 at first */
    double* prevGamma; /**< conversion factor that the stage met a sample ago; 1.0 at first */
    double* delayLine; /**< backward error that came in a sample ago; 0 at first */
    double* fwdParcor; /**< forward reflection coefficient; 0 at first */
    double* bwdParcor; /**< backward reflection coefficient; 0 at first */
    double* coef;      /**< regression coefficient; 0 at first */
    int32_t order;     /**< number of stages, 1 to MAX_TAPS; 0 after a failure and after Free */
    double lambda;     /**< forgetting factor; read at every call, so the host may change it */
    double err; /**< a-posteriori error d - y of the last update; no value before the first */
} rlslattice64fState;

/** Sets up a record in its start state, with buffers from the heap.
 * @param order  number of stages, reduced to MAX_TAPS
 * @param lambda  forgetting factor, any value
 * @return STS_OK; STS_NULL_PTR for a null state; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslattice64fInit(rlslattice64fState* state, int32_t order, double lambda);

/** Elements of coefBuf: coef, bwdParcor, fwdParcor. */
#define RLSLATTICE64F_COEF_LEN(order) (3 * MERLO64F_TAPS(order))
/** Elements of workBuf: delayLine, bwdEnergy, jointCorr, prevGamma, crossCorr, fwdEnergy. */
#define RLSLATTICE64F_WORK_LEN(order) (6 * MERLO64F_TAPS(order))

/** As rlslattice64fInit() on the host's own buffers, RLSLATTICE64F_COEF_LEN and
 * RLSLATTICE64F_WORK_LEN elements. Every element is written. Pointers are tested before the order.
 * @return STS_OK; STS_NULL_PTR for a null pointer; STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t rlslattice64fInitStatic(rlslattice64fState* state, int32_t order,
                                             double lambda, double* coefBuf, double* workBuf);

/** Releases both blocks and stores 0 in `order`. */
MERLO64F_API void rlslattice64fFree(rlslattice64fState* state);

/** One step: energies, correlations and coefficients take in the sample, stage by stage, then
 * err = e.
 * @param x  input sample
 * @param d  desired sample
 * @return d - err, the sum of coef[i] * b over the stages with the coefficients of this very
 *   sample: a d that lattice and coefficients can explain is returned almost whole. */
MERLO64F_API double rlslattice64fFilterUpdate(rlslattice64fState* state, double x, double d);

/** One step without adapting: bwdEnergy, prevGamma and delayLine follow the input; the other arrays
 * and err stay. Best after some 2 * order updates, and as many after a Resize that adds stages:
 * frozen steps in between can run the conversion factor down to 0 and end in NaN (from 10 stages
 * on, on white noise).
 * @return the sum of coef[i] * b over the stages. */
MERLO64F_API double rlslattice64fFilterOnly(rlslattice64fState* state, double x);

/** Puts all nine arrays back to their start values: a complete restart with the same lambda, and
 * the remedy for NaN; order, lambda and err stay. A record of order 0 is left alone.
 * @return STS_OK, or STS_NULL_PTR for a null state. */
MERLO64F_API int32_t rlslattice64fReset(rlslattice64fState* state);

/** Accessors on plain arrays of `order` elements, from stage 0 upward: see merlo64f.h. GetCoef
 * reads the regression coefficients, which meet the backward errors and are no taps of a
 * transversal filter; the delay line holds backward errors, not input samples. They return the
 * number of elements moved or a negative status. */
MERLO64F_API int32_t rlslattice64fGetCoef(const rlslattice64fState* state, double* buf,
                                          int32_t start, int32_t count, int32_t reversed);
/** See rlslattice64fGetCoef(). */
MERLO64F_API int32_t rlslattice64fGetForwardParcors(const rlslattice64fState* state, double* buf,
                                                    int32_t start, int32_t count, int32_t reversed);
/** See rlslattice64fGetCoef(). */
MERLO64F_API int32_t rlslattice64fGetBackwardParcors(const rlslattice64fState* state, double* buf,
                                                     int32_t start, int32_t count,
                                                     int32_t reversed);
/** See rlslattice64fGetCoef(). */
MERLO64F_API int32_t rlslattice64fGetDelayLine(const rlslattice64fState* state, double* buf,
                                               int32_t start, int32_t count, int32_t reversed);
/** See rlslattice64fGetCoef(). */
MERLO64F_API int32_t rlslattice64fSetDelayLine(rlslattice64fState* state, const double* buf,
                                               int32_t start, int32_t count, int32_t reversed);

/** Changes the number of stages of a record from rlslattice64fInit(); keeps lambda and all arrays
 * of the first stages; added stages begin from their start values.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslattice64fResize(rlslattice64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
