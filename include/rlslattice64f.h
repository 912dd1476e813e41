/** @file
 * @ref rlslattice64f
 * @defgroup rlslattice64f rlslattice64f: least-squares lattice with a joint process
 * A least-squares lattice with a joint-process (regression) section, one sample per call. Its cost
 * grows with `order`, that of rls64f with order^2.
 *
 * With f = b = x, g = 1 and e = d at first, for each stage i = 0 .. order-1, where z is
 * delayLine[i], the backward error that entered the stage at the previous sample, and p is
 * prevGamma[i]:
 *
 *     fwdEnergy[i] = lambda * fwdEnergy[i] + f * f / p
 *     newB = lambda * bwdEnergy[i] + b * b / g
 *     crossCorr[i] = lambda * crossCorr[i] + f * z / p
 *     jointCorr[i] = lambda * jointCorr[i] + e * b / g
 *     fwdParcor[i] = crossCorr[i] / bwdEnergy[i]     bwdEnergy[i] is updated below
 *     bwdParcor[i] = crossCorr[i] / fwdEnergy[i]
 *     coef[i] = jointCorr[i] / newB
 *     e = e - coef[i] * b
 *     prevGamma[i] = g, then g = g - b * b / newB
 *     bwdEnergy[i] = newB, delayLine[i] = b
 *     f = f - fwdParcor[i] * z and b = z - bwdParcor[i] * f, with the f that came in
 *
 * All errors are a-posteriori errors: a stage forms them with the coefficients that the same sample
 * has updated. err is the last e, so d - err is near d even before coef has settled.
 *
 * @par Sources
 * Lee, Morf and Friedlander 1981, Recursive least squares ladder estimation algorithms; Diniz 2013,
 * Adaptive Filtering, algorithm 7.1; Haykin 2002, Adaptive Filter Theory.
 *
 * @par Forgetting factor
 * lambda is the factor by which the weight of a squared error falls per sample, so the memory is
 * about 1 / (1 - lambda) samples. 0.95 to 1 is usual. No value is refused.
 *
 * @par Departures from the textbook
 * No energy has a lower limit, and no denominator has a small constant. Only the start values are
 * not 0: the energies start at the single-precision value 0.001 (0.0010000000474974513), prevGamma
 * at 1.0.
 *
 * @par Silence
 * For lambda below 1 the energies decay by lambda per silent sample. When they are below 2^-53 of
 * the square of the next sample (after some 40 / (1 - lambda) silent samples), that sample makes g
 * exactly 0; the later stages divide by it, and the arrays hold NaN from then on. A sample of 1e9
 * on a new record has the same effect; input that the first stages predict without error can have
 * it too. So call Reset after a long silence, before the signal begins again.
 *
 * @par After a NaN
 * A NaN stays in all arrays. Remedy: Reset, which restores the start values of all arrays.
 *
 * For what all families share see merlo64f.h (@ref contract).
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
    double* prevGamma; /**< conversion factor of the stage at the previous sample; 1.0 at first */
    double* delayLine; /**< backward error that entered at the previous sample; 0 at first */
    double* fwdParcor; /**< forward reflection coefficient; 0 at first */
    double* bwdParcor; /**< backward reflection coefficient; 0 at first */
    double* coef;      /**< regression coefficient; 0 at first */
    int32_t order;     /**< number of stages, 1 to MAX_TAPS; 0 after a failure and after Free */
    double lambda;     /**< forgetting factor; read at every call, so the host may change it */
    double err; /**< a-posteriori error d - y of the last update; no value before the first */
} rlslattice64fState;

/** Sets up a record in its start state, with buffers from the heap.
 * @param order  number of stages; above MAX_TAPS (32) it is reduced silently
 * @param lambda  forgetting factor, any value
 * @return STS_OK; STS_NULL_PTR for a null state; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslattice64fInit(rlslattice64fState* state, int32_t order, double lambda);

/** Elements of coefBuf: coef, bwdParcor, fwdParcor. */
#define RLSLATTICE64F_COEF_LEN(order) (3 * MERLO64F_TAPS(order))
/** Elements of workBuf: delayLine, bwdEnergy, jointCorr, prevGamma, crossCorr, fwdEnergy. */
#define RLSLATTICE64F_WORK_LEN(order) (6 * MERLO64F_TAPS(order))

/** As rlslattice64fInit() with the host's buffers, RLSLATTICE64F_COEF_LEN and
 * RLSLATTICE64F_WORK_LEN elements. Every element is written. Pointers are tested before the order.
 * @return STS_OK; STS_NULL_PTR for a null pointer; STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t rlslattice64fInitStatic(rlslattice64fState* state, int32_t order,
                                             double lambda, double* coefBuf, double* workBuf);

/** Releases both buffers and stores 0 in `order`. */
MERLO64F_API void rlslattice64fFree(rlslattice64fState* state);

/** One step: energies, correlations and coefficients are updated stage by stage, then err = e.
 * @param x  input sample
 * @param d  desired sample
 * @return d - err, which is the sum of coef[i] * b over the stages with the coefficients updated by
 *   this sample. */
MERLO64F_API double rlslattice64fFilterUpdate(rlslattice64fState* state, double x, double d);

/** One step without adapting: bwdEnergy, prevGamma and delayLine are updated; the other arrays and
 * err stay. Call it only after some 2 * order updates, and as many again after a Resize that adds
 * stages: before that the conversion factor can fall to 0, which gives NaN (from 10 stages on, on
 * white noise).
 * @return the sum of coef[i] * b over the stages, formed as -e with e = 0 at first and
 *   e = e - coef[i] * b. */
MERLO64F_API double rlslattice64fFilterOnly(rlslattice64fState* state, double x);

/** Sets all nine arrays to their start values: a complete restart. order, lambda and err stay. A
 * record of order 0 is not changed.
 * @return STS_OK, or STS_NULL_PTR for a null state. */
MERLO64F_API int32_t rlslattice64fReset(rlslattice64fState* state);

/** Accessors on plain arrays of `order` elements, from stage 0 upward: see merlo64f.h. GetCoef
 * reads the regression coefficients, which weight the backward errors and are not the taps of a
 * transversal filter; the delay line holds backward errors, not input samples. They return the
 * number of elements copied or a negative status. */
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

/** Changes the number of stages of a record from rlslattice64fInit(). Keeps lambda and all arrays
 * of the first stages; added stages have their start values.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslattice64fResize(rlslattice64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
