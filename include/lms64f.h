/** @file
 * @ref lms64f
 * @defgroup lms64f lms64f: least mean squares (LMS)
 * The least-mean-squares transversal filter, one sample per call.
 *
 *     y = sum of coef[k] * x(n-k),  e = d - y,  coef[k] += term(k),  k = 0 .. order-1
 *
 *     operation                  gain g         term(k)            source
 *     FilterUpdate               mu * e         g * x(n-k)         Widrow and Hoff 1960, Adaptive
 *                                                                  switching circuits
 *     FilterUpdateSignErr        mu * sgn(e)    g * x(n-k)         Gersho 1984, Adaptive filtering
 *                                                                  with binary reinforcement
 *     FilterUpdateSignReg        mu * e         sgn(x(n-k)) * g    Moschner 1970, Adaptive filter with
 *                                                                  clipped input data
 *     FilterUpdateSignSign       mu * sgn(e)    sgn(x(n-k)) * g    Lucky 1966, Techniques for adaptive
 *                                                                  equalization of digital
 *                                                                  communication systems
 *
 * @par Departure from the textbook
 * sgn(v) is +1 for v >= 0, zeros of either sign included, and -1 otherwise, NaN included; it is
 * never 0. So the sign-error forms change the taps at e = 0 too, and the sign-data forms change
 * every tap while the line is silent.
 *
 * @par Step size
 * For white Gaussian x of power s the classic update converges in the mean square for
 * 0 < mu < 2 / ((order + 2) * s); a tenth of that is a safe start. The sign-error forms change a
 * tap by mu times |x(n-k)| per sample, the sign-sign form by mu, and a ripple of that size remains.
 * No value is refused.
 *
 * @par After a NaN
 * A NaN stays in coef (except in the sign-sign form), and in the line for `order` samples. Remedy:
 * lms64fReset() and lms64fResetDelayLine().
 *
 * Each update exists on the record's ring line and, with `LC` in its name, on a linear line that
 * the host shifts. For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_LMS64F_H
#define MERLO64F_LMS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter of `order` taps. */
typedef struct lms64fState {
    int32_t order;     /**< number of taps, 1 to MAX_TAPS; 0 after a failure */
    double mu;         /**< step size; read at every update, so the host may change it */
    double err;        /**< a-priori error d - y of the last update; no value before the first */
    double* coef;      /**< `order` coefficients; coef[0] weights the newest sample */
    double* delayLine; /**< `order` samples: a ring line, or a linear one under the LC operations */
    int32_t head;      /**< position that the next sample overwrites; order - 1 at first */
} lms64fState;

/** Sets up a record with zero coefficients and a line of zeros from the heap.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param mu  step size, any value
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t lms64fInit(lms64fState* state, int32_t order, double mu);

#define LMS64F_COEF_LEN(order) MERLO64F_TAPS(order)  /**< elements of coefBuf */
#define LMS64F_DELAY_LEN(order) MERLO64F_TAPS(order) /**< elements of delayBuf */

/** As lms64fInit() with the host's buffers, LMS64F_COEF_LEN and LMS64F_DELAY_LEN elements, which
 * are zero-filled.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NULL_PTR for a null buffer. */
MERLO64F_API int32_t lms64fInitStatic(lms64fState* state, int32_t order, double mu, double* coefBuf,
                                      double* delayBuf);

/** Releases both buffers; no field of the record changes. */
MERLO64F_API void lms64fFree(lms64fState* state);

/** One step: x enters the ring line, y = sum of coef[k] * x(n-k), err = d - y,
 * coef[k] += (mu * err) * x(n-k).
 * @param x  input sample
 * @param d  desired sample, in the unit of y
 * @return y, formed before the update. */
MERLO64F_API double lms64fFilterUpdate(lms64fState* state, double x, double d);

/** The same with coef[k] += (mu * sgn(err)) * x(n-k); err still holds the error itself. */
MERLO64F_API double lms64fFilterUpdateSignErr(lms64fState* state, double x, double d);

/** The same with coef[k] += sgn(x(n-k)) * (mu * err). */
MERLO64F_API double lms64fFilterUpdateSignReg(lms64fState* state, double x, double d);

/** The same with coef[k] += sgn(x(n-k)) * (mu * sgn(err)); err still holds the error itself. */
MERLO64F_API double lms64fFilterUpdateSignSign(lms64fState* state, double x, double d);

/** lms64fFilterUpdate() on delayLine as a linear line: the host has stored the input sample by
 * insertSampleLinBuf64f(x, state->delayLine, state->order). `head` is neither read nor changed.
 * @return y, formed before the update. */
MERLO64F_API double lms64fLCFilterUpdate(lms64fState* state, double d);

/** lms64fFilterUpdateSignErr() on the linear line. */
MERLO64F_API double lms64fLCFilterUpdateSignErr(lms64fState* state, double d);

/** lms64fFilterUpdateSignReg() on the linear line. */
MERLO64F_API double lms64fLCFilterUpdateSignReg(lms64fState* state, double d);

/** lms64fFilterUpdateSignSign() on the linear line. */
MERLO64F_API double lms64fLCFilterUpdateSignSign(lms64fState* state, double d);

/** One step without adapting: x enters the ring line; coef and err stay. Can be mixed with the
 * updates. @return y. */
MERLO64F_API double lms64fFilterOnly(lms64fState* state, double x);

/** The sum over the linear line; changes nothing. @return y. */
MERLO64F_API double lms64fLCFilterOnly(const lms64fState* state);

/** Zero-fills coef; the line stays.
 * @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t lms64fReset(lms64fState* state);

/** Zero-fills the line; `head` stays. @return STS_OK, or STS_NULL_PTR for a null delayLine. */
MERLO64F_API int32_t lms64fResetDelayLine(lms64fState* state);

/** Accessors on the coefficients (length `order`) and on the ring line (length `order`, newest
 * first): see merlo64f.h. They return the number of elements copied or a negative status. */
MERLO64F_API int32_t lms64fGetCoef(const lms64fState* state, double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See lms64fGetCoef(). */
MERLO64F_API int32_t lms64fSetCoef(lms64fState* state, const double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See lms64fGetCoef(). */
MERLO64F_API int32_t lms64fGetDelayLine(const lms64fState* state, double* buf, int32_t start,
                                        int32_t count, int32_t reversed);
/** See lms64fGetCoef(). */
MERLO64F_API int32_t lms64fSetDelayLine(lms64fState* state, const double* buf, int32_t start,
                                        int32_t count, int32_t reversed);

/** Changes the number of taps of a record from lms64fInit(). Keeps mu, the first coefficients and
 * the newest samples; `head` becomes order - 1.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t lms64fResize(lms64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
