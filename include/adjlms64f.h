/** @file
 * @ref adjlms64f
 * @defgroup adjlms64f adjlms64f: adjoint LMS
 * The adjoint LMS filter, one sample per call, for a filter that acts through a secondary path
 * (active control of sound and vibration).
 *
 *     y = sum of coef[k] * x(n-k), k = 0 .. order-1        output to the actuator
 *     s = sum of secCoef[j] * y(n-j), j = 0 .. secLen-1    what arrives at the error sensor
 *     e = s + d                                            residual, stored in err
 *     r = sum of estCoef[estLen-1-j] * e(n-j), j = 0 .. estLen-1
 *     power = 0.99 * power + 0.01 * (x(n-estLen) * x(n-estLen))
 *     coef[k] -= (r * (mu / (power + 1e-12))) * x(n-(estLen-1)-k)
 *
 * fxlms64f filters the reference by the estimate of the secondary path. This filter instead filters
 * the residual by the estimate in reverse order, the adjoint of the path, and delays the reference
 * to match. (With order 1 the line does not hold x(n-estLen); x(n) is used in its place.)
 *
 * @par Source
 * Wan 1996, Adjoint LMS: an efficient alternative to the filtered-x LMS and multiple error LMS
 * algorithms.
 *
 * @par Noise-control convention
 * d is the disturbance at the error sensor, the residual is the sum d + s, the update subtracts,
 * and a call returns s: the filter learns an s that cancels d. The textbook's e = d - y is the same
 * with the sign of the secondary path reversed.
 *
 * @par Control of a real plant
 * As in fxlms64f.h: secCoef = {0.0} and secLen = 1, adjlms64fFilterUpdate(&state, reference,
 * measured residual), and the output for the actuator is state.outLine[0].
 *
 * @par Step size
 * The step is divided by the smoothed power of one sample, so with an estimate of unit energy the
 * update is stable for about 0 < mu < 2 / order at best; the gradient is late by the delay of the
 * path plus estLen samples, which lowers the bound further. A fiftieth to a tenth of 1 / order is a
 * safe start. If the phase of the estimate is wrong by more than 90 degrees, the filter diverges at
 * any mu. No value is refused.
 *
 * @par Level
 * The constant 1e-12 halves the step where x has the mean square 1e-12 (-120 dB). Remedy: see
 * merlo64f.h, level. From its start at 1.0, power falls to a level of -60 dB in about 1400 samples.
 *
 * @par After a NaN
 * A NaN stays in coef, power, outLine and errLine, and in delayLine for refLen samples. Remedy:
 * adjlms64fReset(), adjlms64fResetDelayLine() and power = 1.0.
 *
 * For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_ADJLMS64F_H
#define MERLO64F_ADJLMS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter of `order` taps with its secondary path and the estimate of that path. */
typedef struct adjlms64fState {
    int32_t order;         /**< number of taps, 1 to MAX_TAPS; 0 after a failure */
    int32_t secLen;        /**< length of secCoef, at least 1 */
    int32_t estLen;        /**< length of estCoef, at least 1 */
    int32_t refLen;        /**< length of delayLine: order + estLen - 1 */
    double mu;             /**< step size; read at every update, so the host may change it */
    double err;            /**< residual d + s of the last update; no value before the first */
    double power;          /**< smoothed power of x(n-estLen); 1.0 at first */
    double* coef;          /**< `order` coefficients; coef[0] weights the newest sample */
    const double* secCoef; /**< secondary path, the host's */
    const double* estCoef; /**< estimate of the secondary path, the host's */
    double* outLine;       /**< ring line of past outputs y, `secLen` samples */
    double* errLine;       /**< ring line of past residuals, `estLen` samples */
    double* delayLine;     /**< ring line of the reference, `refLen` samples */
    int32_t head;          /**< position in delayLine that the next sample overwrites; 0 at first */
    int32_t outHead;       /**< position in outLine that the next output overwrites; 0 at first */
    int32_t errHead;       /**< position in errLine that the next residual overwrites; 0 at first */
} adjlms64fState;

/** Sets up a record with zero coefficients, lines of zeros from the heap and a power of 1.0.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param mu  step size, any value
 * @param secCoef,estCoef  secondary path and its estimate, secLen and estLen elements; element 0
 *   weights the newest sample. Both are borrowed and read at every call, so the host may change
 *   their values between calls. secLen has no upper limit; estLen is limited by refLen, which is an
 *   int32_t.
 * @return STS_OK; STS_BAD_SIZE for a size below 1 or order + estLen - 1 > 2^31 - 1; STS_NULL_PTR
 *   for a null secCoef or estCoef; STS_NO_MEMORY. */
MERLO64F_API int32_t adjlms64fInit(adjlms64fState* state, int32_t order, double mu,
                                   const double* secCoef, int32_t secLen, const double* estCoef,
                                   int32_t estLen);

#define ADJLMS64F_COEF_LEN(order) MERLO64F_TAPS(order) /**< elements of coefBuf */
/** Elements of workBuf (outLine, errLine, delayLine), a 64-bit number. */
#define ADJLMS64F_WORK_LEN(order, secLen, estLen)                                                  \
    (INT64_C(2) * (estLen) + (secLen) + MERLO64F_TAPS(order) - 1)

/** As adjlms64fInit() with the host's buffers, ADJLMS64F_COEF_LEN and ADJLMS64F_WORK_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_BAD_SIZE as adjlms64fInit(); STS_NULL_PTR for a null pointer. */
MERLO64F_API int32_t adjlms64fInitStatic(adjlms64fState* state, int32_t order, double mu,
                                         const double* secCoef, int32_t secLen,
                                         const double* estCoef, int32_t estLen, double* coefBuf,
                                         double* workBuf);

/** Releases both buffers and stores null in errLine and delayLine. secCoef and estCoef belong to
 * the host. */
MERLO64F_API void adjlms64fFree(adjlms64fState* state);

/** One step: x enters the reference line, y is formed and enters outLine, s is formed, err = s + d
 * enters errLine, then power and then the coefficients are updated.
 * @param x  reference sample
 * @param d  disturbance at the error sensor; with a real plant the measured residual, see above
 * @return s, formed before the update. */
MERLO64F_API double adjlms64fFilterUpdate(adjlms64fState* state, double x, double d);

/** One step without adapting: x enters the reference line, y enters outLine, and power is updated;
 * coef, err and errLine stay. @return s. */
MERLO64F_API double adjlms64fFilterOnly(adjlms64fState* state, double x);

/** Zero-fills coef; lines and power stay. @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t adjlms64fReset(adjlms64fState* state);

/** Zero-fills all three lines; the heads, power and coef stay.
 * @return STS_OK, or STS_NULL_PTR if a line is null. */
MERLO64F_API int32_t adjlms64fResetDelayLine(adjlms64fState* state);

/** Accessors on the coefficients (length `order`) and on the reference line (length `refLen`,
 * newest first): see merlo64f.h. They return the number of elements copied or a negative
 * status. */
MERLO64F_API int32_t adjlms64fGetCoef(const adjlms64fState* state, double* buf, int32_t start,
                                      int32_t count, int32_t reversed);
/** See adjlms64fGetCoef(). */
MERLO64F_API int32_t adjlms64fSetCoef(adjlms64fState* state, const double* buf, int32_t start,
                                      int32_t count, int32_t reversed);
/** See adjlms64fGetCoef(). */
MERLO64F_API int32_t adjlms64fGetDelayLine(const adjlms64fState* state, double* buf, int32_t start,
                                           int32_t count, int32_t reversed);
/** See adjlms64fGetCoef(). */
MERLO64F_API int32_t adjlms64fSetDelayLine(adjlms64fState* state, const double* buf, int32_t start,
                                           int32_t count, int32_t reversed);

/** Changes the number of taps of a record from adjlms64fInit(). Keeps mu, power, both paths, the
 * first coefficients and the newest samples of each line; all heads become 0.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t adjlms64fResize(adjlms64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
