/** @file
 * @ref bnlms64f
 * @defgroup bnlms64f bnlms64f: normalised LMS over blocks
 * The normalised LMS transversal filter over blocks of samples.
 *
 *     y[i] = sum of coef[k] * x(i-k),  e[i] = d[i] - y[i],  power = keep * power + gain * (x[i] * x[i])
 *     g = (mu * e[i]) / (power + floor),  coef[k] += g * x(i-k),  k = 0 .. order-1
 *
 * keep, gain and floor are the single-precision values 0.99, 0.01 and 1e-15, widened:
 * 0.9900000095367432, 0.009999999776482582 and 1.0000000036274937e-15.
 *
 * The filter adapts after every sample, in array order: a call equals blockLen single steps. The
 * steps are those of nlms64f with other constants. Source, departure from the textbook, the range
 * of mu and the effect of silence are those of nlms64f.h.
 *
 * @par Level
 * The constant floor halves the step where x has the mean square 1e-15 (-150 dB). Remedy: see
 * merlo64f.h, level. From its start at 1.0, power falls to a level of -60 dB in about 1400 samples.
 *
 * @par After a NaN
 * A NaN stays in coef and power, and in the line for `order` samples. Remedy: bnlms64fReset(),
 * bnlms64fResetDelayLine() and power = 1.0.
 *
 * For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_BNLMS64F_H
#define MERLO64F_BNLMS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter of `order` taps and the power of its input; it takes `blockLen` samples per
 * call. */
typedef struct bnlms64fState {
    int32_t order;     /**< number of taps, 1 to MAX_TAPS; 0 after a failure */
    int32_t blockLen;  /**< samples per call, at least 1 */
    double mu;         /**< step size; read at every call, so the host may change it */
    double* coef;      /**< `order` coefficients; coef[0] weights the newest sample */
    double power;      /**< smoothed x * x; 1.0 at first; Reset does not change it, the host may */
    double* delayLine; /**< ring line, `order` samples */
    int32_t head;      /**< position that the next sample overwrites; 0 at first */
} bnlms64fState;

/** Sets up a record with zero coefficients, a line of zeros from the heap and a power of 1.0.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param blockLen  samples per call, without an upper limit
 * @param mu  step size, any value
 * @return STS_OK; STS_BAD_SIZE for order < 1 or blockLen < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t bnlms64fInit(bnlms64fState* state, int32_t order, int32_t blockLen, double mu);

#define BNLMS64F_COEF_LEN(order) MERLO64F_TAPS(order)  /**< elements of coefBuf */
#define BNLMS64F_DELAY_LEN(order) MERLO64F_TAPS(order) /**< elements of delayBuf */

/** As bnlms64fInit() with the host's buffers, BNLMS64F_COEF_LEN and BNLMS64F_DELAY_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_BAD_SIZE for order < 1 or blockLen < 1; STS_NULL_PTR for a null buffer. */
MERLO64F_API int32_t bnlms64fInitStatic(bnlms64fState* state, int32_t order, int32_t blockLen,
                                        double mu, double* coefBuf, double* delayBuf);

/** Releases both buffers; no field of the record changes. */
MERLO64F_API void bnlms64fFree(bnlms64fState* state);

/** blockLen steps: for i = 0 .. blockLen-1, x[i] enters the line, y[i] is formed,
 * e[i] = d[i] - y[i], then power and then the coefficients are updated.
 * @param x,d  input and desired samples, oldest first, blockLen each
 * @param y,e  outputs and errors, blockLen each; y may be x, e may be x or d; y must be neither d
 *   nor e
 * @return STS_OK, or STS_NULL_PTR for a record without coef or delayLine. The arrays are not
 *   tested. */
MERLO64F_API int32_t bnlms64fFilterUpdate(bnlms64fState* state, const double* x, const double* d,
                                          double* y, double* e);

/** blockLen steps without adapting; power is updated with every x[i].
 * @param x  input samples, blockLen
 * @param y  outputs, blockLen; y must not be x
 * @return STS_OK, or STS_NULL_PTR for a record without coef or delayLine. The arrays are not
 *   tested. */
MERLO64F_API int32_t bnlms64fFilterOnly(bnlms64fState* state, const double* x, double* y);

/** Zero-fills coef; power stays. @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t bnlms64fReset(bnlms64fState* state);

/** Zero-fills the line; `head` and power stay.
 * @return STS_OK, or STS_NULL_PTR for a null delayLine. */
MERLO64F_API int32_t bnlms64fResetDelayLine(bnlms64fState* state);

/** Accessors on the coefficients (length `order`) and on the ring line (length `order`, newest
 * first): see merlo64f.h. They return the number of elements copied or a negative status. */
MERLO64F_API int32_t bnlms64fGetCoef(const bnlms64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See bnlms64fGetCoef(). */
MERLO64F_API int32_t bnlms64fSetCoef(bnlms64fState* state, const double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See bnlms64fGetCoef(). */
MERLO64F_API int32_t bnlms64fGetDelayLine(const bnlms64fState* state, double* buf, int32_t start,
                                          int32_t count, int32_t reversed);
/** See bnlms64fGetCoef(). */
MERLO64F_API int32_t bnlms64fSetDelayLine(bnlms64fState* state, const double* buf, int32_t start,
                                          int32_t count, int32_t reversed);

/** Changes the sizes of a record from bnlms64fInit(). Keeps mu, power, the first coefficients and
 * the newest samples; `head` becomes 0, even if only blockLen changes.
 * @return STS_OK; STS_BAD_SIZE for order < 1 or blockLen < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t bnlms64fResize(bnlms64fState* state, int32_t order, int32_t blockLen);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
