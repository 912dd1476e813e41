/** @file
 * @ref nlms64f
 * @defgroup nlms64f nlms64f: normalised LMS
 * The normalised LMS transversal filter, one sample per call.
 *
 *     y = sum of coef[k] * x(n-k),  e = d - y,  power = 0.99 * power + 0.01 * (x * x)
 *     g = (mu * e) / (power + 1e-12),  coef[k] += g * x(n-k),  k = 0 .. order-1
 *
 * @par Source
 * Nagumo and Noda 1967, A learning method for system identification.
 *
 * @par Departure from the textbook
 * The step is divided by the smoothed power of one sample (time constant 100 samples), not by the
 * energy of the line, which is about `order` times as large.
 *
 * @par Step size
 * Stable for about 0 < mu < 2 / order on white input of any steady level. Coloured input and
 * changes of level need a smaller mu: on speech the filter diverged at 0.4 of that bound and was
 * stable at 0.28. A tenth of the bound is a safe start. No value is refused.
 *
 * @par Silence
 * In silence power decays, by 0.99 per sample, so the first samples after silence get too large a
 * step. If noise remains in d, call nlms64fFilterOnly() while power is below the level that counts
 * as silence.
 *
 * @par Level
 * The constant 1e-12 halves the step where x has the mean square 1e-12 (-120 dB). Remedy: see
 * merlo64f.h, level. From its start at 1.0, power falls to a level of -60 dB in about 1400 samples.
 *
 * @par After a NaN
 * A NaN stays in coef and power, and in the line for `order` samples. Remedy: nlms64fReset(),
 * nlms64fResetDelayLine() and power = 1.0.
 *
 * For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_NLMS64F_H
#define MERLO64F_NLMS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter of `order` taps and the power of its input. */
typedef struct nlms64fState {
    int32_t order;     /**< number of taps, 1 to MAX_TAPS; 0 after a failure */
    double mu;         /**< step size; read at every update, so the host may change it */
    double err;        /**< a-priori error d - y of the last update; no value before the first */
    double power;      /**< smoothed x * x; 1.0 at first; Reset does not change it, the host may */
    double* coef;      /**< `order` coefficients; coef[0] weights the newest sample */
    double* delayLine; /**< `order` samples: a ring line, or a linear one under the LC operations */
    int32_t head;      /**< position that the next sample overwrites; order - 1 at first */
} nlms64fState;

/** Sets up a record with zero coefficients, a line of zeros from the heap and a power of 1.0.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param mu  step size, any value
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t nlms64fInit(nlms64fState* state, int32_t order, double mu);

#define NLMS64F_COEF_LEN(order) MERLO64F_TAPS(order)  /**< elements of coefBuf */
#define NLMS64F_DELAY_LEN(order) MERLO64F_TAPS(order) /**< elements of delayBuf */

/** As nlms64fInit() with the host's buffers, NLMS64F_COEF_LEN and NLMS64F_DELAY_LEN elements, which
 * are zero-filled.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NULL_PTR for a null buffer. */
MERLO64F_API int32_t nlms64fInitStatic(nlms64fState* state, int32_t order, double mu,
                                       double* coefBuf, double* delayBuf);

/** Releases both buffers; no field of the record changes. */
MERLO64F_API void nlms64fFree(nlms64fState* state);

/** One step: x enters the ring line, y is formed, err = d - y, then power and then the coefficients
 * are updated.
 * @param x  input sample
 * @param d  desired sample, in the unit of y
 * @return y, formed before the update. */
MERLO64F_API double nlms64fFilterUpdate(nlms64fState* state, double x, double d);

/** The same on delayLine as a linear line: the host has stored the input sample by
 * insertSampleLinBuf64f(x, state->delayLine, state->order), and power is updated with element 0.
 * @return y, formed before the update. */
MERLO64F_API double nlms64fLCFilterUpdate(nlms64fState* state, double d);

/** One step without adapting: x enters the ring line, and power is updated; coef and err stay.
 * @return y. */
MERLO64F_API double nlms64fFilterOnly(nlms64fState* state, double x);

/** The sum over the linear line; power is updated with element 0, and nothing else changes.
 * @return y. */
MERLO64F_API double nlms64fLCFilterOnly(nlms64fState* state);

/** Zero-fills coef; power stays. @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t nlms64fReset(nlms64fState* state);

/** Zero-fills the line; `head` and power stay.
 * @return STS_OK, or STS_NULL_PTR for a null delayLine. */
MERLO64F_API int32_t nlms64fResetDelayLine(nlms64fState* state);

/** Accessors on the coefficients (length `order`) and on the ring line (length `order`, newest
 * first): see merlo64f.h. They return the number of elements copied or a negative status. */
MERLO64F_API int32_t nlms64fGetCoef(const nlms64fState* state, double* buf, int32_t start,
                                    int32_t count, int32_t reversed);
/** See nlms64fGetCoef(). */
MERLO64F_API int32_t nlms64fSetCoef(nlms64fState* state, const double* buf, int32_t start,
                                    int32_t count, int32_t reversed);
/** See nlms64fGetCoef(). */
MERLO64F_API int32_t nlms64fGetDelayLine(const nlms64fState* state, double* buf, int32_t start,
                                         int32_t count, int32_t reversed);
/** See nlms64fGetCoef(). */
MERLO64F_API int32_t nlms64fSetDelayLine(nlms64fState* state, const double* buf, int32_t start,
                                         int32_t count, int32_t reversed);

/** Changes the number of taps of a record from nlms64fInit(). Keeps mu, power, the first
 * coefficients and the newest samples; `head` becomes order - 1.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t nlms64fResize(nlms64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
