/** @file
 * @ref lmslattice64f
 * @defgroup lmslattice64f lmslattice64f: gradient lattice with a joint process
 * The gradient lattice with a joint process, one sample per call: a lattice transforms the input
 * into almost uncorrelated backward errors, and their weighted sum estimates a desired signal.
 *
 *     b[i] is back[i] of the previous sample
 *     f = x(n), back[0] = x(n), power[0] = (b[0]^2 + f^2) * gain + power[0] * keep
 *     for i = 1 .. order-1, with k = parcor[i-1]:
 *         fNew = f - b[i-1]*k                                            forward error
 *         back[i] = b[i-1] - f*k                                         backward error
 *         parcor[i-1] = (fNew*b[i-1] + f*back[i]) * (mu/power[i-1] + eps) + k
 *         power[i] = (b[i]^2 + fNew^2) * gain + power[i] * keep
 *         f = fNew
 *     y = sum of coef[i] * back[i],  e = d - y
 *     coef[i] += back[i] * muCoef * e / (power[i] + eps),  i = 0 .. order-1
 *     keep = 0.98f, gain = 0.01f, eps = 1e-15f: single-precision values, held as doubles
 *
 * coef weights backward errors; it is not a direct form on x. The lattice has order - 1 stages; no
 * stage uses parcor[order-1].
 *
 * @par Source
 * Griffiths 1978, An adaptive lattice structure for noise-cancelling applications; Griffiths 1977,
 * A continuously adaptive filter implemented as a lattice structure.
 *
 * @par Departures from the textbook
 * In the stages those of lfpef64f.h (with adaptParcor = 0 and in FilterOnly parcor does not
 * change). In the joint process eps is added to the power, and with muCoef = 0 coef does not
 * change.
 *
 * @par Step sizes
 * mu, and the effect of silence on parcor, are those of lfpef64f.h. On steady input coef is stable
 * for about 0 < muCoef < 2 / order; a tenth of that is a safe start. Each change of parcor disturbs
 * what coef has learned, so mu should be the smaller of the two. No value is refused.
 *
 * @par After a NaN
 * A NaN stays in parcor, coef, power and delayLine. Remedy: lmslattice64fReset(), `order` zeros by
 * lmslattice64fSetDelayLine(), and set64f(1.0, state.power, state.order).
 *
 * For what all families share see merlo64f.h (@ref contract); there is no ResetDelayLine, and
 * InitStatic tests its pointers before the order.
 * @{ */
#ifndef MERLO64F_LMSLATTICE64F_H
#define MERLO64F_LMSLATTICE64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive lattice of order - 1 stages and the `order` weights of its backward errors. */
typedef struct lmslattice64fState {
    int32_t order; /**< backward errors, 1 to MAX_TAPS; 0 after a failure and after Free */
    double mu;     /**< step size of parcor; read at every update, so the host may change it */
    double muCoef; /**< step size of coef; read at every update, so the host may change it */
    double err;    /**< a-priori error d - y of the last update; no value before the first */
    int32_t adaptParcor; /**< not 0: updates adapt parcor; 1 at first; the host may change it */
    double* parcor;      /**< `order` elements; parcor[i-1] is the coefficient of stage i */
    double* coef;        /**< `order` weights; coef[i] weights the backward error of stage i */
    double* delayLine;   /**< `order` elements: backward errors of the newest sample */
    double* power;       /**< `order` elements: power of the errors at stage i; 1.0 at first */
    double* backErr;     /**< `order` elements: work array */
} lmslattice64fState;

/** Sets up a record with zero coefficients and errors from the heap and powers of 1.0.
 * @param order  number of backward errors; above MAX_TAPS (32) it is reduced silently
 * @param mu,muCoef  step sizes, any value
 * @return STS_OK; STS_NULL_PTR for a null state, with nothing written; STS_BAD_SIZE for order < 1;
 *   STS_NO_MEMORY. */
MERLO64F_API int32_t lmslattice64fInit(lmslattice64fState* state, int32_t order, double mu,
                                       double muCoef);

#define LMSLATTICE64F_COEF_LEN(order) (2 * MERLO64F_TAPS(order)) /**< elements of coefBuf */
#define LMSLATTICE64F_WORK_LEN(order) (3 * MERLO64F_TAPS(order)) /**< elements of workBuf */

/** As lmslattice64fInit() with the host's buffers, LMSLATTICE64F_COEF_LEN and
 * LMSLATTICE64F_WORK_LEN elements. They become 0, the powers 1.0.
 * @return STS_OK; STS_NULL_PTR for a null pointer (a null state with nothing written); then
 *   STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t lmslattice64fInitStatic(lmslattice64fState* state, int32_t order, double mu,
                                             double muCoef, double* coefBuf, double* workBuf);

/** Releases both buffers and stores 0 in `order`. */
MERLO64F_API void lmslattice64fFree(lmslattice64fState* state);

/** One step: x passes through the stages, which adapt if adaptParcor is not 0; y is formed,
 * err = d - y, and coef is updated.
 * @param x  input sample
 * @param d  desired sample, in the unit of y
 * @return y, formed before the update. */
MERLO64F_API double lmslattice64fFilterUpdate(lmslattice64fState* state, double x, double d);

/** One step without adapting: parcor, coef and err stay; delayLine and power are updated.
 * @return y. */
MERLO64F_API double lmslattice64fFilterOnly(lmslattice64fState* state, double x);

/** Zero-fills coef and parcor; delayLine and power stay.
 * @return STS_OK, or STS_NULL_PTR for a null state, coef or parcor. */
MERLO64F_API int32_t lmslattice64fReset(lmslattice64fState* state);

/** Accessors on coef, parcor and delayLine (backward errors, no ring; element i is delayLine[i]),
 * each of length `order`: see merlo64f.h. Values that are set take effect in the next step. They
 * return the number of elements copied or a negative status. */
MERLO64F_API int32_t lmslattice64fGetCoef(const lmslattice64fState* state, double* buf,
                                          int32_t start, int32_t count, int32_t reversed);
/** See lmslattice64fGetCoef(). */
MERLO64F_API int32_t lmslattice64fSetCoef(lmslattice64fState* state, const double* buf,
                                          int32_t start, int32_t count, int32_t reversed);
/** See lmslattice64fGetCoef(). */
MERLO64F_API int32_t lmslattice64fGetParcor(const lmslattice64fState* state, double* buf,
                                            int32_t start, int32_t count, int32_t reversed);
/** See lmslattice64fGetCoef(). */
MERLO64F_API int32_t lmslattice64fSetParcor(lmslattice64fState* state, const double* buf,
                                            int32_t start, int32_t count, int32_t reversed);
/** See lmslattice64fGetCoef(). */
MERLO64F_API int32_t lmslattice64fGetDelayLine(const lmslattice64fState* state, double* buf,
                                               int32_t start, int32_t count, int32_t reversed);
/** See lmslattice64fGetCoef(). */
MERLO64F_API int32_t lmslattice64fSetDelayLine(lmslattice64fState* state, const double* buf,
                                               int32_t start, int32_t count, int32_t reversed);

/** Changes the number of backward errors of a record from lmslattice64fInit(). Keeps mu, muCoef,
 * adaptParcor and the first elements of coef, parcor and delayLine. The powers are 1.0 again.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t lmslattice64fResize(lmslattice64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
