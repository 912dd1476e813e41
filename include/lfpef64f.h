/** @file
 * @ref lfpef64f
 * @defgroup lfpef64f lfpef64f: gradient lattice, forward prediction
 * The forward prediction-error filter, an adaptive lattice, one sample per call.
 *
 *     b[i] is back[i] of the previous sample, and b[order] is 0
 *     f = x(n), back[0] = x(n), power[0] = (b[0]^2 + f^2) * gain + power[0] * keep
 *     for i = 1 .. order, with k = parcor[i-1]:
 *         fNew = f - b[i-1]*k                                            forward error
 *         back[i] = b[i-1] - f*k                                         backward error
 *         parcor[i-1] = (fNew*b[i-1] + f*back[i]) * (mu/power[i-1] + eps) + k
 *         power[i] = (b[i]^2 + fNew^2) * gain + power[i] * keep
 *         f = fNew
 *     keep = 0.98f, gain = 0.01f, eps = 1e-15f: single-precision values, held as doubles
 *
 * A call returns the prediction of the newest sample from those before it, x(n) - f. coef is the
 * direct form of the lattice: with fixed parcor the prediction is the sum of coef[j] * x(n-1-j),
 * j = 0 .. order-1. It is for the host to read; no operation uses it. It is computed by the step-up
 * recursion: coef[0] = parcor[0]; for m = 1 .. order-1, with c the vector so far,
 * coef[j] = c[j] - parcor[m] * c[m-1-j] for j < m, and coef[m] = parcor[m].
 *
 * @par Source
 * Griffiths 1977, A continuously adaptive filter implemented as a lattice structure; Makhoul 1977,
 * Stable and efficient lattice methods for linear prediction.
 *
 * @par Departures from the textbook
 * The weights of the power, 0.98 and 0.01, do not add up to 1: the power settles at half the sum of
 * the powers of the two errors, and mu acts like about 2 * mu in the textbook. The step is
 * mu/power + eps: eps does not protect the division, and with mu = 0 parcor still changes a little
 * (not in FilterOnly).
 *
 * @par Silence
 * A gradient of exactly 0 leaves parcor unchanged, however large mu/power is, so any number of
 * zeros is allowed. But input that decays below about 1e-155 without becoming 0 makes mu/power
 * and then parcor infinite: replace such samples by 0.
 *
 * @par Step size
 * A coefficient settles in about 1 / (2 * mu) samples at any level of the input. Below mu = 0.01 it
 * stays in [-1, 1] for every input; towards 0.1 single samples move it out, and from about 0.3 on
 * the lattice diverges. 0.001 to 0.01 is the usual range. Samples above 1e5 increase the step, by
 * eps times their power. No value is refused.
 *
 * @par After a NaN
 * A NaN stays in parcor, coef, power and delayLine. Remedy: lfpef64fReset(), `order` zeros by
 * lfpef64fSetDelayLine(), and set64f(1.0, state.power, state.order + 1).
 *
 * For what all families share see merlo64f.h (@ref contract); there is no ResetDelayLine, and
 * InitStatic tests its pointers before the order.
 * @{ */
#ifndef MERLO64F_LFPEF64F_H
#define MERLO64F_LFPEF64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive lattice of `order` stages. */
typedef struct lfpef64fState {
    int32_t order; /**< number of stages, 1 to MAX_PEF_STAGES; 0 after a failure and after Free */
    double mu;     /**< step size; read at every update, so the host may change it */
    double err;    /**< forward error of the last stage; no value before the first sample */
    int32_t updateCoef; /**< not 0: updates compute coef; 1 at first; the host may change it */
    double* parcor;     /**< `order` reflection coefficients; parcor[i-1] is that of stage i */
    double* coef;       /**< `order` coefficients of the direct form */
    double* delayLine; /**< order + 1 elements: backErr of the last call; element `order` stays 0 */
    double* power;     /**< order + 1 elements: power of the input of stage i + 1; 1.0 at first */
    double* backErr;   /**< order + 1 elements: backward errors of the newest sample */
} lfpef64fState;

/** Sets up a record with zero coefficients and errors from the heap and powers of 1.0.
 * @param order  number of stages; above MAX_PEF_STAGES (10) it is reduced silently
 * @param mu  step size, any value
 * @return STS_OK; STS_NULL_PTR for a null state, with nothing written; STS_BAD_SIZE for order < 1;
 *   STS_NO_MEMORY. */
MERLO64F_API int32_t lfpef64fInit(lfpef64fState* state, int32_t order, double mu);

#define LFPEF64F_COEF_LEN(order) (2 * MERLO64F_STAGES(order))       /**< elements of coefBuf */
#define LFPEF64F_WORK_LEN(order) (3 * (MERLO64F_STAGES(order) + 1)) /**< elements of workBuf */

/** As lfpef64fInit() with the host's buffers, LFPEF64F_COEF_LEN and LFPEF64F_WORK_LEN elements.
 * They become 0, the powers 1.0.
 * @return STS_OK; STS_NULL_PTR for a null pointer (a null state with nothing written); then
 *   STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t lfpef64fInitStatic(lfpef64fState* state, int32_t order, double mu,
                                        double* coefBuf, double* workBuf);

/** Releases both buffers and stores 0 in `order`. */
MERLO64F_API void lfpef64fFree(lfpef64fState* state);

/** One step: x passes through the stages, which adapt; then coef is computed from the new parcor if
 * updateCoef is not 0. err is the forward error of the last stage.
 * @return the prediction of x, x - err. */
MERLO64F_API double lfpef64fFilterUpdate(lfpef64fState* state, double x);

/** One step without adapting: parcor and coef stay; delayLine, power and err are updated.
 * @return what lfpef64fFilterUpdate() returns. */
MERLO64F_API double lfpef64fFilterOnly(lfpef64fState* state, double x);

/** Zero-fills coef and parcor; delayLine and power stay.
 * @return STS_OK, or STS_NULL_PTR for a null state, coef or parcor. */
MERLO64F_API int32_t lfpef64fReset(lfpef64fState* state);

/** Accessors on coef, parcor and delayLine (backward errors, no ring; element i is delayLine[i]),
 * each of length `order`: see merlo64f.h. What SetCoef stores lasts until coef is computed again;
 * SetParcor and SetDelayLine take effect in the next step. They return the number of elements
 * copied or a negative status. */
MERLO64F_API int32_t lfpef64fGetCoef(const lfpef64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See lfpef64fGetCoef(). */
MERLO64F_API int32_t lfpef64fSetCoef(lfpef64fState* state, const double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See lfpef64fGetCoef(). */
MERLO64F_API int32_t lfpef64fGetParcor(const lfpef64fState* state, double* buf, int32_t start,
                                       int32_t count, int32_t reversed);
/** See lfpef64fGetCoef(). */
MERLO64F_API int32_t lfpef64fSetParcor(lfpef64fState* state, const double* buf, int32_t start,
                                       int32_t count, int32_t reversed);
/** See lfpef64fGetCoef(). */
MERLO64F_API int32_t lfpef64fGetDelayLine(const lfpef64fState* state, double* buf, int32_t start,
                                          int32_t count, int32_t reversed);
/** See lfpef64fGetCoef(). */
MERLO64F_API int32_t lfpef64fSetDelayLine(lfpef64fState* state, const double* buf, int32_t start,
                                          int32_t count, int32_t reversed);

/** Changes the number of stages of a record from lfpef64fInit(). Keeps mu, updateCoef and the first
 * elements of coef, parcor and delayLine. The powers are 1.0 again.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t lfpef64fResize(lfpef64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
