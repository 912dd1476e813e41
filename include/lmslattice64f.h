/** @file
 * @ref lmslattice64f
 * @defgroup lmslattice64f lmslattice64f: gradient lattice with a joint process
 * The gradient lattice with a joint process, one sample per call: a lattice turns the input into
 * backward errors that hardly correlate, and their weighted sum follows a desired signal.
 *
 *     f = x(n), back[0] = x(n), power[0] = (b[0]^2 + f^2) * gain + power[0] * keep, and then, with b[i]
 *     the backward error back[i] of the sample before, for i = 1 .. order-1 and k = parcor[i-1]:
 *         fNew = f - b[i-1]*k                                            forward error
 *         back[i] = b[i-1] - f*k                                         backward error
 *         parcor[i-1] = (fNew*b[i-1] + f*back[i]) * (mu/power[i-1] + eps) + k
 *         power[i] = (b[i]^2 + fNew^2) * gain + power[i] * keep
 *         f = fNew
 *     y = sum of coef[i] * back[i],  e = d - y
 *     coef[i] += back[i] * muCoef * e / (power[i] + eps),  i = 0 .. order-1
 *     keep = 0.98f, gain = 0.01f, eps = 1e-15f: single-precision values, held as doubles
 *
 * coef weighs backward errors: it is no direct form on x. The lattice has order - 1 stages, and
 * parcor[order-1] belongs to none.
 *
 * @par Source
 * Griffiths 1978, An adaptive lattice structure for noise-cancelling applications; Griffiths 1977,
 * A continuously adaptive filter implemented as a lattice structure.
 *
 * @par Departures from the textbook
 * In the stages those of lfpef64f.h (here adaptParcor = 0 and FilterOnly hold parcor still). In the
 * joint process eps is added to the power, and muCoef = 0 holds coef still.
 *
 * @par Step sizes
 * mu acts on parcor, and silence too, as in lfpef64f.h. coef is stable for about
 * 0 < muCoef < 2 / order, and half of that is the fastest. Whatever moves parcor upsets a little
 * what coef has learned, so let mu be the smaller. No value is refused.
 *
 * For what all families share see merlo64f.h; there is no ResetDelayLine, and InitStatic tests its
 * pointers before the order.
 * @{ */
#ifndef MERLO64F_LMSLATTICE64F_H
#define MERLO64F_LMSLATTICE64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive lattice of order - 1 stages and the `order` weights of its backward errors. */
typedef struct lmslattice64fState {
    int32_t order;       /**< number of backward errors, 1 to MAX_TAPS; 0 after a failure */
    double mu;           /**< step size of parcor; read at every update, the host may change it */
    double muCoef;       /**< step size of coef; likewise */
    double err;          /**< a-priori error d - y of the last update; no value before the first */
    int32_t adaptParcor; /**< not 0: FilterUpdate adapts parcor; 1 at first, the host's to change */
    double* parcor;      /**< `order` elements; parcor[i-1] is the coefficient of stage i */
    double* coef;        /**< `order` weights; coef[i] meets the backward error of stage i */
    double* delayLine;   /**< `order` elements: backward errors of the newest sample */
    double* power;       /**< `order` elements: power of the errors at stage i; 1.0 at first */
    double* backErr;     /**< `order` elements: scratch of the filter operations */
} lmslattice64fState;

/** Sets up a record with zero coefficients and errors from the heap and powers of 1.0.
 * @param order  number of backward errors, reduced to MAX_TAPS
 * @param mu,muCoef  step sizes, any value
 * @return STS_OK; STS_NULL_PTR for a null state, with nothing written; STS_BAD_SIZE for order < 1;
 *   STS_NO_MEMORY. */
MERLO64F_API int32_t lmslattice64fInit(lmslattice64fState* state, int32_t order, double mu,
                                       double muCoef);

#define LMSLATTICE64F_COEF_LEN(order) (2 * MERLO64F_TAPS(order)) /**< elements of coefBuf */
#define LMSLATTICE64F_WORK_LEN(order) (3 * MERLO64F_TAPS(order)) /**< elements of workBuf */

/** As lmslattice64fInit() on the host's own buffers, LMSLATTICE64F_COEF_LEN and
 * LMSLATTICE64F_WORK_LEN elements. All become 0, the powers 1.0.
 * @return STS_OK; STS_NULL_PTR for a null pointer (a null state with nothing written); then
 *   STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t lmslattice64fInitStatic(lmslattice64fState* state, int32_t order, double mu,
                                             double muCoef, double* coefBuf, double* workBuf);

/** Releases both blocks and stores 0 in order. */
MERLO64F_API void lmslattice64fFree(lmslattice64fState* state);

/** One step: x passes the stages, which adapt if adaptParcor is not 0; y is formed, err = d - y,
 * and coef adapts.
 * @param x  input sample
 * @param d  desired sample, in the unit of y
 * @return y, formed with coef from before the update. */
MERLO64F_API double lmslattice64fFilterUpdate(lmslattice64fState* state, double x, double d);

/** One step without adapting: parcor, coef and err stay; errors and powers of the stages move on.
 * @return y. */
MERLO64F_API double lmslattice64fFilterOnly(lmslattice64fState* state, double x);

/** Zero-fills coef and parcor: the lattice learns anew on the errors and powers that it has.
 * @return STS_OK, or STS_NULL_PTR for a null state, coef or parcor. */
MERLO64F_API int32_t lmslattice64fReset(lmslattice64fState* state);

/** Accessors on the weights, the reflection coefficients and the backward errors (element i is
 * delayLine[i]; no ring), each of length `order`: see merlo64f.h. What is set takes effect in the
 * next step. They return the number of elements moved or a negative status. */
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

/** Changes the number of backward errors of a record from lmslattice64fInit(); keeps mu, muCoef,
 * adaptParcor and the first elements of coef, parcor and delayLine. Powers are back at 1.0.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t lmslattice64fResize(lmslattice64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
