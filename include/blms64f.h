/** @file
 * @ref blms64f
 * @defgroup blms64f blms64f: LMS over blocks
 * The least-mean-squares transversal filter over blocks of samples.
 *
 *     y[i] = sum of coef[k] * x(i-k),  e[i] = d[i] - y[i],  coef[k] += term(k),  k = 0 .. order-1
 *
 *     operation                  gain g            term(k)
 *     FilterUpdate               mu * e[i]         g * x(i-k)
 *     FilterUpdateSignErr        mu * sgn(e[i])    g * x(i-k)
 *     FilterUpdateSignReg        mu * e[i]         sgn(x(i-k)) * g
 *     FilterUpdateSignSign       mu * sgn(e[i])    sgn(x(i-k)) * g
 *
 * The filter adapts after every sample, in array order: a call gives to the bit what blockLen steps
 * of lms64f give. Blocks save calls and are somewhat faster per sample.
 *
 * @par Departure from the textbook
 * The textbook's block LMS adapts once per block, by a gradient summed over the block. sgn is that
 * of lms64f.h.
 *
 * @par After a NaN
 * A NaN stays in coef (except in the sign-sign form), and in the line for `order` samples. Remedy:
 * blms64fReset() and blms64fResetDelayLine().
 *
 * Step sizes and sources are those of lms64f.h. For what all families share see merlo64f.h
 * (@ref contract).
 * @{ */
#ifndef MERLO64F_BLMS64F_H
#define MERLO64F_BLMS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter of `order` taps that takes `blockLen` samples per call. */
typedef struct blms64fState {
    int32_t order;     /**< number of taps, 1 to MAX_TAPS; 0 after a failure */
    int32_t blockLen;  /**< samples per call, at least 1 */
    double mu;         /**< step size; read at every call, so the host may change it */
    double* coef;      /**< `order` coefficients; coef[0] weights the newest sample */
    double* delayLine; /**< ring line, `order` samples */
    int32_t head;      /**< position that the next sample overwrites; 0 at first */
} blms64fState;

/** Sets up a record with zero coefficients and a line of zeros from the heap.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param blockLen  samples per call, without an upper limit
 * @param mu  step size, any value
 * @return STS_OK; STS_BAD_SIZE for order < 1 or blockLen < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t blms64fInit(blms64fState* state, int32_t order, int32_t blockLen, double mu);

#define BLMS64F_COEF_LEN(order) MERLO64F_TAPS(order)  /**< elements of coefBuf */
#define BLMS64F_DELAY_LEN(order) MERLO64F_TAPS(order) /**< elements of delayBuf */

/** As blms64fInit() with the host's buffers, BLMS64F_COEF_LEN and BLMS64F_DELAY_LEN elements, which
 * are zero-filled.
 * @return STS_OK; STS_BAD_SIZE for order < 1 or blockLen < 1; STS_NULL_PTR for a null buffer. */
MERLO64F_API int32_t blms64fInitStatic(blms64fState* state, int32_t order, int32_t blockLen,
                                       double mu, double* coefBuf, double* delayBuf);

/** Releases both buffers; no field of the record changes. */
MERLO64F_API void blms64fFree(blms64fState* state);

/** blockLen steps: for i = 0 .. blockLen-1, x[i] enters the line, y[i] is formed,
 * e[i] = d[i] - y[i], and coef[k] += (mu * e[i]) * x(i-k).
 * @param x,d  input and desired samples, oldest first, blockLen each
 * @param y,e  outputs and errors, blockLen each; y may be x, e may be x or d; y must be neither d
 *   nor e
 * @return STS_OK, or STS_NULL_PTR for a record without coef or delayLine. The arrays are not
 *   tested. */
MERLO64F_API int32_t blms64fFilterUpdate(blms64fState* state, const double* x, const double* d,
                                         double* y, double* e);

/** The same with coef[k] += (mu * sgn(e[i])) * x(i-k); e holds the errors themselves. */
MERLO64F_API int32_t blms64fFilterUpdateSignErr(blms64fState* state, const double* x,
                                                const double* d, double* y, double* e);

/** The same with coef[k] += sgn(x(i-k)) * (mu * e[i]). */
MERLO64F_API int32_t blms64fFilterUpdateSignReg(blms64fState* state, const double* x,
                                                const double* d, double* y, double* e);

/** The same with coef[k] += sgn(x(i-k)) * (mu * sgn(e[i])); e holds the errors themselves. */
MERLO64F_API int32_t blms64fFilterUpdateSignSign(blms64fState* state, const double* x,
                                                 const double* d, double* y, double* e);

/** blockLen steps without adapting.
 * @param x  input samples, blockLen
 * @param y  outputs, blockLen, which may be x
 * @return STS_OK, or STS_NULL_PTR for a record without coef or delayLine. The arrays are not
 *   tested. */
MERLO64F_API int32_t blms64fFilterOnly(blms64fState* state, const double* x, double* y);

/** Zero-fills coef. @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t blms64fReset(blms64fState* state);

/** Zero-fills the line; `head` stays. @return STS_OK, or STS_NULL_PTR for a null delayLine. */
MERLO64F_API int32_t blms64fResetDelayLine(blms64fState* state);

/** Accessors on the coefficients (length `order`) and on the ring line (length `order`, newest
 * first): see merlo64f.h. They return the number of elements copied or a negative status. */
MERLO64F_API int32_t blms64fGetCoef(const blms64fState* state, double* buf, int32_t start,
                                    int32_t count, int32_t reversed);
/** See blms64fGetCoef(). */
MERLO64F_API int32_t blms64fSetCoef(blms64fState* state, const double* buf, int32_t start,
                                    int32_t count, int32_t reversed);
/** See blms64fGetCoef(). */
MERLO64F_API int32_t blms64fGetDelayLine(const blms64fState* state, double* buf, int32_t start,
                                         int32_t count, int32_t reversed);
/** See blms64fGetCoef(). */
MERLO64F_API int32_t blms64fSetDelayLine(blms64fState* state, const double* buf, int32_t start,
                                         int32_t count, int32_t reversed);

/** Changes the sizes of a record from blms64fInit(). Keeps mu, the first coefficients and the
 * newest samples; `head` becomes 0, even if only blockLen changes.
 * @return STS_OK; STS_BAD_SIZE for order < 1 or blockLen < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t blms64fResize(blms64fState* state, int32_t order, int32_t blockLen);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
