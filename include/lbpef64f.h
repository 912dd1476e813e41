/** @file
 * @ref lbpef64f
 * @defgroup lbpef64f lbpef64f: gradient lattice, backward prediction
 * The backward prediction-error filter, an adaptive lattice, one sample per call.
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
 * A call returns the prediction of the sample `order` steps back from those after it,
 * x(n-order) - back[order]. coef is the direct form of the lattice, computed as in lfpef64f.h: with
 * fixed parcor the prediction is the sum of coef[j] * x(n-order+1+j), and x(n) - f is the sum of
 * coef[j] * x(n-1-j), j = 0 .. order-1. It is for the host to read; no operation uses it.
 *
 * Sources, departures from the textbook, the effect of silence and the range of mu are those of
 * lfpef64f.h.
 *
 * @par After a NaN
 * A NaN stays in parcor, coef, power and delayLine. Remedy: lbpef64fReset(), `order` zeros by
 * lbpef64fSetDelayLine(), and set64f(1.0, state.power, state.order + 1). inLine still holds the
 * sample and passes it to one output, `order` samples after it; reset64f(state.inLine,
 * state.order + 1) prevents that.
 *
 * For what all families share see merlo64f.h (@ref contract); there is no ResetDelayLine, and
 * InitStatic tests its pointers before the order.
 * @{ */
#ifndef MERLO64F_LBPEF64F_H
#define MERLO64F_LBPEF64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive lattice of `order` stages. */
typedef struct lbpef64fState {
    int32_t order; /**< number of stages, 1 to MAX_PEF_STAGES; 0 after a failure and after Free */
    double mu;     /**< step size; read at every update, so the host may change it */
    double err;    /**< backward error of the last stage; no value before the first sample */
    int32_t updateCoef; /**< not 0: updates compute coef; 1 at first; the host may change it */
    int32_t inHead;     /**< position of the newest sample in inLine; steps up; `order` at first */
    double* parcor;     /**< `order` reflection coefficients; parcor[i-1] is that of stage i */
    double* coef;       /**< `order` coefficients of the direct form */
    double* delayLine; /**< order + 1 elements: backErr of the last call; element `order` stays 0 */
    double* power;     /**< order + 1 elements: power of the input of stage i + 1; 1.0 at first */
    double* backErr;   /**< order + 1 elements: backward errors of the newest sample */
    double* inLine;    /**< order + 1 elements: ring of the newest samples; the host may write it */
} lbpef64fState;

/** Sets up a record with zero coefficients and errors from the heap and powers of 1.0.
 * @param order  number of stages; above MAX_PEF_STAGES (10) it is reduced silently
 * @param mu  step size, any value
 * @return STS_OK; STS_NULL_PTR for a null state, with nothing written; STS_BAD_SIZE for order < 1;
 *   STS_NO_MEMORY. */
MERLO64F_API int32_t lbpef64fInit(lbpef64fState* state, int32_t order, double mu);

#define LBPEF64F_COEF_LEN(order) (2 * MERLO64F_STAGES(order))       /**< elements of coefBuf */
#define LBPEF64F_WORK_LEN(order) (4 * (MERLO64F_STAGES(order) + 1)) /**< elements of workBuf */

/** As lbpef64fInit() with the host's buffers, LBPEF64F_COEF_LEN and LBPEF64F_WORK_LEN elements.
 * They become 0, the powers 1.0.
 * @return STS_OK; STS_NULL_PTR for a null pointer (a null state with nothing written); then
 *   STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t lbpef64fInitStatic(lbpef64fState* state, int32_t order, double mu,
                                        double* coefBuf, double* workBuf);

/** Releases both buffers and stores 0 in `order`. */
MERLO64F_API void lbpef64fFree(lbpef64fState* state);

/** One step: x passes through the stages, which adapt; then coef is computed from the new parcor if
 * updateCoef is not 0. err is the backward error of the last stage.
 * @return the prediction of the sample `order` steps back, that sample - err; in the first `order`
 *   calls that sample is 0. */
MERLO64F_API double lbpef64fFilterUpdate(lbpef64fState* state, double x);

/** One step without adapting: parcor and coef stay; delayLine, power, inLine and err are updated.
 * @return what lbpef64fFilterUpdate() returns. */
MERLO64F_API double lbpef64fFilterOnly(lbpef64fState* state, double x);

/** Zero-fills coef and parcor; delayLine and power stay.
 * @return STS_OK, or STS_NULL_PTR for a null state, coef or parcor. */
MERLO64F_API int32_t lbpef64fReset(lbpef64fState* state);

/** Accessors on coef, parcor and delayLine (backward errors, no ring; element i is delayLine[i]),
 * each of length `order`: see merlo64f.h. What SetCoef stores lasts until coef is computed again;
 * SetParcor and SetDelayLine take effect in the next step. They return the number of elements
 * copied or a negative status. */
MERLO64F_API int32_t lbpef64fGetCoef(const lbpef64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See lbpef64fGetCoef(). */
MERLO64F_API int32_t lbpef64fSetCoef(lbpef64fState* state, const double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See lbpef64fGetCoef(). */
MERLO64F_API int32_t lbpef64fGetParcor(const lbpef64fState* state, double* buf, int32_t start,
                                       int32_t count, int32_t reversed);
/** See lbpef64fGetCoef(). */
MERLO64F_API int32_t lbpef64fSetParcor(lbpef64fState* state, const double* buf, int32_t start,
                                       int32_t count, int32_t reversed);
/** See lbpef64fGetCoef(). */
MERLO64F_API int32_t lbpef64fGetDelayLine(const lbpef64fState* state, double* buf, int32_t start,
                                          int32_t count, int32_t reversed);
/** See lbpef64fGetCoef(). */
MERLO64F_API int32_t lbpef64fSetDelayLine(lbpef64fState* state, const double* buf, int32_t start,
                                          int32_t count, int32_t reversed);

/** Changes the number of stages of a record from lbpef64fInit(). Keeps mu, updateCoef and the first
 * elements of coef, parcor and delayLine. The powers are 1.0 again, inLine is zero-filled, and
 * inHead is the new order.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t lbpef64fResize(lbpef64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
