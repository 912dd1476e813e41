/** @file
 * @ref rls64f
 * @defgroup rls64f rls64f: recursive least squares (RLS)
 * The recursive least-squares transversal filter, one sample per call.
 *
 *     y = sum of coef[k] * x(n-k),  e = d - y                          a-priori error, stored in err
 *     gain = P * x                                                     x the line, newest first
 *     q = sum of x(n-k) * gain[k]
 *     k[i] = gain[i] / (q + lambda)
 *     coef[i] = k[i] * e + coef[i]
 *     P[i][j] = (1 / lambda) * P[i][j] - k[i] * gain[j]                i = 0 .. order-1, j = 0 .. i
 *
 * P is symmetric, and only its lower triangle is stored: P[i][j] with j <= i is
 * invCorr[i * (i + 1) / 2 + j]. gain[i] is summed over k upward, with P[i][k] up to the diagonal
 * and P[k][i] beyond it. The cost of a call grows with order^2.
 *
 * @par Sources
 * Haykin 2002, Adaptive Filter Theory; Sayed 2003, Fundamentals of Adaptive Filtering.
 *
 * @par Departures from the textbook
 * P starts as delta * I, with delta from 0 to 1; in the textbook as I / delta. The matrix update is
 * P = P / lambda - k * gain'; in the textbook P = (P - k * gain') / lambda, so here the second term
 * lacks the factor 1 / lambda. For lambda below 1 this P settles at a larger value, and the filter
 * forgets a little faster, than in the textbook; for lambda = 1 they agree.
 *
 * @par Parameters
 * lambda is the factor by which the weight of a squared error falls per sample, so the memory is
 * about 1 / (1 - lambda) samples. 0.95 to 1 is usual; the memory must be longer than the filter to
 * be of use. No lambda is refused. delta is the start value of P's diagonal, in the unit of
 * 1 / x^2; a larger one gives a faster start. With delta = 0 the filter never adapts.
 *
 * @par Silence
 * P has no upper limit. While the line is silent, or does not excite all directions, P grows by
 * 1 / lambda per sample: for lambda below 1 it overflows in the end (after 70000 samples at
 * lambda = 0.99) and then holds NaN. So do not call the filter in a known pause.
 *
 * @par After a NaN
 * A NaN stays in P, gain and coef, and in the line for `order` samples. Reset does not change P.
 * Remedy: Free and Init, or InitStatic again; or rls64fReset(), rls64fResetDelayLine() and a Resize
 * to another order. Without allocation: the two resets, zeros in all of invCorr and delta on its
 * diagonal, invCorr[i * (i + 3) / 2].
 *
 * For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_RLS64F_H
#define MERLO64F_RLS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter of `order` taps with the inverse correlation matrix of its input. */
typedef struct rls64fState {
    int32_t order;     /**< number of taps, 1 to MAX_TAPS; 0 after a failure and after Free */
    double lambda;     /**< forgetting factor */
    double invLambda;  /**< 1 / lambda, set by Init; a host that changes lambda must change both */
    double err;        /**< a-priori error d - y of the last update; no value before the first */
    double* coef;      /**< `order` coefficients; coef[0] weights the newest sample */
    double* delayLine; /**< linear line, `order` samples, newest first */
    double* invCorr;   /**< lower triangle of P by rows, order * (order + 1) / 2 elements */
    double* gain;      /**< `order` elements: P * x of the last call, with P from before it */
} rls64fState;

/** Sets up a record with zero coefficients, a line of zeros and P = delta * I, from the heap.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param lambda  forgetting factor, any value
 * @param delta  start value of P's diagonal, from 0.0 to 1.0
 * @return STS_OK; STS_BAD_SIZE for order < 1 or a delta outside its range or NaN; STS_NO_MEMORY. */
MERLO64F_API int32_t rls64fInit(rls64fState* state, int32_t order, double lambda, double delta);

#define RLS64F_COEF_LEN(order) MERLO64F_TAPS(order) /**< elements of coefBuf */
/** Elements of workBuf: delayLine, gain, invCorr. */
#define RLS64F_WORK_LEN(order)                                                                     \
    (2 * MERLO64F_TAPS(order) + MERLO64F_TAPS(order) * (MERLO64F_TAPS(order) + 1) / 2)

/** As rls64fInit() with the host's buffers, RLS64F_COEF_LEN and RLS64F_WORK_LEN elements, which are
 * zero-filled before delta is stored.
 * @return STS_OK; STS_BAD_SIZE as rls64fInit(); STS_NULL_PTR for a null buffer. */
MERLO64F_API int32_t rls64fInitStatic(rls64fState* state, int32_t order, double lambda,
                                      double delta, double* coefBuf, double* workBuf);

/** Releases both buffers and stores 0 in `order`. */
MERLO64F_API void rls64fFree(rls64fState* state);

/** One step: x enters the line, y is formed, err = d - y, coefficients and P are updated.
 * @param x  input sample
 * @param d  desired sample, in the unit of y
 * @return y, formed before the update. */
MERLO64F_API double rls64fFilterUpdate(rls64fState* state, double x, double d);

/** One step without adapting: x enters the line, and P is updated; coef and err stay. @return y. */
MERLO64F_API double rls64fFilterOnly(rls64fState* state, double x);

/** rls64fFilterUpdate() on the line as it is: the host has stored the input sample by
 * insertSampleLinBuf64f(x, state->delayLine, state->order). @return y, formed before the update. */
MERLO64F_API double rls64fLCFilterUpdate(rls64fState* state, double d);

/** rls64fFilterOnly() on the line as it is. @return y. */
MERLO64F_API double rls64fLCFilterOnly(rls64fState* state);

/** Zero-fills coef. P stays as the past input has left it, and so do gain, the line and err.
 * @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t rls64fReset(rls64fState* state);

/** Zero-fills the line. @return STS_OK, or STS_NULL_PTR for a null delayLine. */
MERLO64F_API int32_t rls64fResetDelayLine(rls64fState* state);

/** Accessors on the coefficients and on the line (length `order`, newest first): see merlo64f.h.
 * They return the number of elements copied or a negative status. */
MERLO64F_API int32_t rls64fGetCoef(const rls64fState* state, double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See rls64fGetCoef(). */
MERLO64F_API int32_t rls64fSetCoef(rls64fState* state, const double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See rls64fGetCoef(). */
MERLO64F_API int32_t rls64fGetDelayLine(const rls64fState* state, double* buf, int32_t start,
                                        int32_t count, int32_t reversed);
/** See rls64fGetCoef(). */
MERLO64F_API int32_t rls64fSetDelayLine(rls64fState* state, const double* buf, int32_t start,
                                        int32_t count, int32_t reversed);

/** Changes the number of taps of a record from rls64fInit(). Keeps lambda, the first coefficients
 * and the newest samples. P starts again, with the single-precision value 0.01
 * (0.009999999776482582) on its diagonal for any delta, and gain starts again with zeros.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rls64fResize(rls64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
