/** @file
 * @ref rlslfpef64f
 * @defgroup rlslfpef64f rlslfpef64f: least-squares lattice, forward prediction
 * A least-squares lattice as a forward predictor, one sample per call. It predicts the newest
 * sample from the `order` samples before it.
 *
 * First fwdEnergy[0] = lambda * fwdEnergy[0] + x * x. Then, with f = b = x and g = 1 at first, for
 * each stage i = 0 .. order-1, where z is delayLine[i], the backward error that entered the stage
 * at the previous sample, and p is prevGamma[i]:
 *
 *     fwdEnergy[i] = lambda * fwdEnergy[i] + f * f / p
 *     newB = lambda * bwdEnergy[i] + b * b / g
 *     crossCorr[i] = lambda * crossCorr[i] + f * z / p
 *     fwdParcor[i] = crossCorr[i] / bwdEnergy[i]     bwdEnergy[i] is updated below
 *     bwdParcor[i] = crossCorr[i] / fwdEnergy[i]
 *     prevGamma[i] = g, then g = g - b * b / newB
 *     bwdEnergy[i] = newB, delayLine[i] = b
 *     f = f - fwdParcor[i] * z and b = z - bwdParcor[i] * f, with the f that came in
 *
 * All errors are a-posteriori errors: a stage forms them with the coefficients that the same sample
 * has updated. err is the last f, the forward prediction error.
 *
 * After each call coef is the direct form of the lattice, by the step-up recursion of lfpef64f.h on
 * fwdParcor. It is for the host to read; no operation uses it. As far as fwdParcor and bwdParcor
 * agree, the sum of coef[j] * x(n-1-j) estimates x(n).
 *
 * @par Departures from the textbook
 * Those of rlslattice64f.h, and fwdEnergy[0] is updated twice per sample. At lambda = 1 this
 * doubles fwdEnergy[0] and halves bwdParcor[0]; below lambda = 1 it halves the memory of
 * fwdEnergy[0].
 *
 * Sources, start values, the range of lambda and the effect of silence are those of
 * rlslattice64f.h.
 *
 * @par After a NaN
 * A NaN stays in all arrays. Remedy: Reset, which restores the start values of all arrays.
 *
 * For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_RLSLFPEF64F_H
#define MERLO64F_RLSLFPEF64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A lattice predictor of `order` stages. The arrays have `order` elements, one for each stage. */
typedef struct rlslfpef64fState {
    double* fwdEnergy; /**< energy of the forward error; 0.001 at first */
    double* bwdEnergy; /**< energy of the backward error; 0.001 at first */
    double* crossCorr; /**< correlation of the forward and the delayed backward error; 0 at first */
    double* prevGamma; /**< conversion factor of the stage at the previous sample; 1.0 at first */
    double* delayLine; /**< backward error that entered at the previous sample; 0 at first */
    double* fwdParcor; /**< forward reflection coefficient; 0 at first */
    double* bwdParcor; /**< backward reflection coefficient; 0 at first */
    double* coef;      /**< direct form; 0 at first */
    int32_t order; /**< number of stages, 1 to MAX_PEF_STAGES; 0 after a failure and after Free */
    double lambda; /**< forgetting factor; read at every call, so the host may change it */
    double err;    /**< last forward error of the last call; no value before the first */
    int32_t updateCoef; /**< not 0: every call computes coef; 1 at first and after Resize */
} rlslfpef64fState;

/** Sets up a record in its start state, with buffers from the heap.
 * @param order  number of stages; above MAX_PEF_STAGES (10) it is reduced silently
 * @param lambda  forgetting factor, any value
 * @return STS_OK; STS_NULL_PTR for a null state; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslfpef64fInit(rlslfpef64fState* state, int32_t order, double lambda);

/** Elements of coefBuf: coef, bwdParcor, fwdParcor. */
#define RLSLFPEF64F_COEF_LEN(order) (3 * MERLO64F_STAGES(order))
/** Elements of workBuf: delayLine, bwdEnergy, prevGamma, crossCorr, fwdEnergy. */
#define RLSLFPEF64F_WORK_LEN(order) (5 * MERLO64F_STAGES(order))

/** As rlslfpef64fInit() with the host's buffers, RLSLFPEF64F_COEF_LEN and RLSLFPEF64F_WORK_LEN
 * elements. Every element is written. Pointers are tested before the order.
 * @return STS_OK; STS_NULL_PTR for a null pointer; STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t rlslfpef64fInitStatic(rlslfpef64fState* state, int32_t order, double lambda,
                                           double* coefBuf, double* workBuf);

/** Releases both buffers and stores 0 in `order`. */
MERLO64F_API void rlslfpef64fFree(rlslfpef64fState* state);

/** One step: energies, correlations and reflection coefficients are updated stage by stage, then
 * coef and err.
 * @param x  input sample
 * @return the prediction, x - err. */
MERLO64F_API double rlslfpef64fFilterUpdate(rlslfpef64fState* state, double x);

/** One step without adapting: bwdEnergy, prevGamma, delayLine and err are updated; fwdEnergy,
 * crossCorr, fwdParcor and bwdParcor stay, and coef is computed from them again. Call it only after
 * some 2 * order updates, and as many again after a Resize that adds stages: before that the
 * conversion factor can fall to 0, which gives NaN (from 10 stages on, on white noise).
 * @return the prediction. */
MERLO64F_API double rlslfpef64fFilterOnly(rlslfpef64fState* state, double x);

/** Sets all eight arrays to their start values: a complete restart. order, lambda, updateCoef and
 * err stay. A record of order 0 is not changed.
 * @return STS_OK, or STS_NULL_PTR for a null state. */
MERLO64F_API int32_t rlslfpef64fReset(rlslfpef64fState* state);

/** Accessors on plain arrays of `order` elements, from stage 0 upward: see merlo64f.h. GetCoef
 * reads the direct form; the delay line holds backward errors, not input samples. They return the
 * number of elements copied or a negative status. */
MERLO64F_API int32_t rlslfpef64fGetCoef(const rlslfpef64fState* state, double* buf, int32_t start,
                                        int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fGetForwardParcors(const rlslfpef64fState* state, double* buf,
                                                  int32_t start, int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fGetBackwardParcors(const rlslfpef64fState* state, double* buf,
                                                   int32_t start, int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fGetDelayLine(const rlslfpef64fState* state, double* buf,
                                             int32_t start, int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fSetDelayLine(rlslfpef64fState* state, const double* buf,
                                             int32_t start, int32_t count, int32_t reversed);

/** Changes the number of stages of a record from rlslfpef64fInit(). Keeps lambda and all arrays of
 * the first stages; added stages have their start values, and updateCoef is 1 again.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslfpef64fResize(rlslfpef64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
