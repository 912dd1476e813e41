/** @file
 * @ref fxlms64f
 * @defgroup fxlms64f fxlms64f: filtered-x LMS
 * The filtered-x LMS filter, one sample per call, for a filter that acts through a secondary path
 * (active control of sound and vibration).
 *
 *     y  = sum of coef[k] * x(n-k), k = 0 .. order-1        output to the actuator
 *     s  = sum of secCoef[j] * y(n-j), j = 0 .. secLen-1    what arrives at the error sensor
 *     e  = s + d                                            residual, stored in err
 *     xf = sum of estCoef[j] * x(n-j), j = 0 .. estLen-1    filtered reference
 *     power = 0.99 * power + 0.01 * (xf * xf)
 *     coef[k] -= ((mu * e) / (power + 1e-12)) * xf(n-k)
 *
 * @par Source
 * Morgan 1980, An analysis of multiple correlation cancellation loops with a filter in the
 * auxiliary path; Burgess 1981, Active adaptive sound control in a duct: a computer simulation.
 *
 * @par Noise-control convention
 * d is the disturbance at the error sensor, the residual is the sum d + s, the update subtracts,
 * and a call returns s: the filter learns an s that cancels d. The textbook's e = d - y is the same
 * with the sign of the secondary path reversed.
 *
 * @par Control of a real plant
 * The formulas simulate the secondary path. With hardware only its estimate is known, and the error
 * sensor measures the residual itself. Pass a secCoef of one zero and the measured residual as d:
 * err is then d, and the call returns 0. The output for the actuator is outLine[0], which is the
 * newest y because secLen is 1:
 *
 *     static const double none[1] = {0.0};
 *     fxlms64fInit(&state, order, mu, none, 1, estCoef, estLen);
 *     // for every sample, after reading the reference and the residual:
 *     fxlms64fFilterUpdate(&state, reference, residual);
 *     play(state.outLine[0]);
 *
 * estCoef[j] is the effect of the output of j turns of this loop ago on the residual that the loop
 * reads. As the residual is read before the output is played, estCoef[0] is about 0; the latency of
 * converters and buffers is part of estCoef. Identify it in the same loop by lms64f or nlms64f,
 * with white noise as x and as the output, and the measured residual as d.
 *
 * @par Step size
 * The step is divided by the smoothed power of one filtered sample, so the update is stable for
 * about 0 < mu < 2 / order at best; a delay of D samples in the secondary path lowers the bound to
 * about 2 / (order + D). A tenth of that is a safe start. If the phase of the estimate is wrong by
 * more than 90 degrees, the filter diverges at any mu. No value is refused.
 *
 * @par Level
 * The constant 1e-12 halves the step where xf has the mean square 1e-12 (-120 dB). Remedy: see
 * merlo64f.h, level. From its start at 1.0, power falls to a level of -60 dB in about 1400 samples.
 *
 * @par After a NaN
 * A NaN stays in coef, power and outLine, and in the other lines for as many samples as they have.
 * Remedy: fxlms64fReset(), fxlms64fResetDelayLine() and power = 1.0.
 *
 * For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_FXLMS64F_H
#define MERLO64F_FXLMS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter of `order` taps with its secondary path and the estimate of that path. */
typedef struct fxlms64fState {
    int32_t order;         /**< number of taps, 1 to MAX_TAPS; 0 after a failure */
    int32_t secLen;        /**< length of secCoef, at least 1 */
    int32_t estLen;        /**< length of estCoef, at least 1 */
    int32_t refLen;        /**< length of delayLine: the larger of order and estLen */
    double mu;             /**< step size; read at every update, so the host may change it */
    double err;            /**< residual d + s of the last update; no value before the first */
    double power;          /**< smoothed power of xf; 1.0 at first */
    double* coef;          /**< `order` coefficients; coef[0] weights the newest sample */
    const double* secCoef; /**< secondary path, the host's */
    const double* estCoef; /**< estimate of the secondary path, the host's */
    double* outLine;       /**< ring line of past outputs y, `secLen` samples */
    double* fxLine;        /**< past filtered references, `order` samples, newest at fxHead */
    double* delayLine;     /**< ring line of the reference, `refLen` samples */
    int32_t head;          /**< position in delayLine that the next sample overwrites; 0 at first */
    int32_t outHead;       /**< position in outLine that the next output overwrites; 0 at first */
    int32_t fxHead;        /**< position of the newest sample in fxLine; steps back; 0 at first */
} fxlms64fState;

/** Sets up a record with zero coefficients, lines of zeros from the heap and a power of 1.0.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param mu  step size, any value
 * @param secCoef,estCoef  secondary path and its estimate, secLen and estLen elements; element 0
 *   weights the newest sample. Both are borrowed and read at every call, so the host may change
 *   their values between calls. secLen and estLen have no upper limit.
 * @return STS_OK; STS_BAD_SIZE for a size below 1; STS_NULL_PTR for a null secCoef or estCoef;
 *   STS_NO_MEMORY. */
MERLO64F_API int32_t fxlms64fInit(fxlms64fState* state, int32_t order, double mu,
                                  const double* secCoef, int32_t secLen, const double* estCoef,
                                  int32_t estLen);

#define FXLMS64F_COEF_LEN(order) MERLO64F_TAPS(order) /**< elements of coefBuf */
/** Elements of workBuf (outLine, fxLine, delayLine), a 64-bit number. */
#define FXLMS64F_WORK_LEN(order, secLen, estLen)                                                   \
    (INT64_C(0) + (secLen) + MERLO64F_TAPS(order) +                                                \
     (MERLO64F_TAPS(order) > (estLen) ? MERLO64F_TAPS(order) : +(estLen)))

/** As fxlms64fInit() with the host's buffers, FXLMS64F_COEF_LEN and FXLMS64F_WORK_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_BAD_SIZE as fxlms64fInit(); STS_NULL_PTR for a null pointer. */
MERLO64F_API int32_t fxlms64fInitStatic(fxlms64fState* state, int32_t order, double mu,
                                        const double* secCoef, int32_t secLen,
                                        const double* estCoef, int32_t estLen, double* coefBuf,
                                        double* workBuf);

/** Releases both buffers and stores null in fxLine and delayLine. secCoef and estCoef belong to the
 * host. */
MERLO64F_API void fxlms64fFree(fxlms64fState* state);

/** One step: x enters the reference line, y is formed and enters outLine, s is formed, err = s + d,
 * then power and then the coefficients are updated.
 * @param x  reference sample
 * @param d  disturbance at the error sensor; with a real plant the measured residual, see above
 * @return s, formed before the update. */
MERLO64F_API double fxlms64fFilterUpdate(fxlms64fState* state, double x, double d);

/** One step without adapting: x enters the reference line, y enters outLine, and power is updated;
 * coef, err and fxLine stay. @return s. */
MERLO64F_API double fxlms64fFilterOnly(fxlms64fState* state, double x);

/** Zero-fills coef; lines and power stay. @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t fxlms64fReset(fxlms64fState* state);

/** Zero-fills all three lines; the heads, power and coef stay.
 * @return STS_OK, or STS_NULL_PTR if a line is null. */
MERLO64F_API int32_t fxlms64fResetDelayLine(fxlms64fState* state);

/** Accessors on the coefficients (length `order`) and on the reference line (its `order` newest
 * samples, newest first): see merlo64f.h. They return the number of elements copied or a negative
 * status. */
MERLO64F_API int32_t fxlms64fGetCoef(const fxlms64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See fxlms64fGetCoef(). */
MERLO64F_API int32_t fxlms64fSetCoef(fxlms64fState* state, const double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See fxlms64fGetCoef(). */
MERLO64F_API int32_t fxlms64fGetDelayLine(const fxlms64fState* state, double* buf, int32_t start,
                                          int32_t count, int32_t reversed);
/** See fxlms64fGetCoef(). */
MERLO64F_API int32_t fxlms64fSetDelayLine(fxlms64fState* state, const double* buf, int32_t start,
                                          int32_t count, int32_t reversed);

/** Changes the number of taps of a record from fxlms64fInit(). Keeps mu, power, both paths, the
 * first coefficients and the newest samples of each line; all heads become 0.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t fxlms64fResize(fxlms64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
