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
 *     power = 0.99 * power + 0.01 * xf^2
 *     coef[k] -= ((mu * e) / (power + 1e-12)) * xf(n-k)
 *
 * @par Source
 * Morgan 1980, An analysis of multiple correlation cancellation loops with a filter in the
 * auxiliary path; Burgess 1981, Active adaptive sound control in a duct: a computer simulation.
 *
 * @par Noise-control convention
 * d is the disturbance at the error sensor, the residual is the sum d + s, the update subtracts,
 * and a call returns s, so that s comes to cancel d. (The textbook's e = d - y is this with the
 * secondary path's sign turned round.)
 *
 * @par Step size
 * The smoothed power of one filtered sample normalises, so the update is stable for about
 * 0 < mu < 2 / order at the very best; the delay D of the secondary path lowers the bound to about
 * 2 / (order + D). A tenth of that is a safe start. An estimate whose phase is off by more than 90
 * degrees diverges at any mu. No value is refused.
 *
 * For what all families share see merlo64f.h.
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
    double power;          /**< smoothed power of the filtered reference; 1.0 at first */
    double* coef;          /**< `order` coefficients; coef[0] meets the newest sample */
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
 * @param order  number of taps, reduced to MAX_TAPS
 * @param mu  step size, any value
 * @param secCoef,estCoef  secondary path and its estimate, secLen and estLen elements, element 0
 *   meeting the newest sample. Both are borrowed and read anew by every call, so the host may
 *   change their values between calls.
 * @return STS_OK; STS_BAD_SIZE for a size below 1 or lines that come to more than 2^31 - 1
 *   elements; STS_NULL_PTR for a null secCoef or estCoef; STS_NO_MEMORY. */
MERLO64F_API int32_t fxlms64fInit(fxlms64fState* state, int32_t order, double mu,
                                  const double* secCoef, int32_t secLen, const double* estCoef,
                                  int32_t estLen);

#define FXLMS64F_COEF_LEN(order) MERLO64F_TAPS(order) /**< elements of coefBuf */
/** Elements of workBuf: outLine, fxLine, delayLine. */
#define FXLMS64F_WORK_LEN(order, secLen, estLen)                                                   \
    (+(secLen) + MERLO64F_TAPS(order) +                                                            \
     (MERLO64F_TAPS(order) > (estLen) ? MERLO64F_TAPS(order) : +(estLen)))

/** As fxlms64fInit() on the host's own buffers, FXLMS64F_COEF_LEN and FXLMS64F_WORK_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_BAD_SIZE as fxlms64fInit(); STS_NULL_PTR for a null pointer. */
MERLO64F_API int32_t fxlms64fInitStatic(fxlms64fState* state, int32_t order, double mu,
                                        const double* secCoef, int32_t secLen,
                                        const double* estCoef, int32_t estLen, double* coefBuf,
                                        double* workBuf);

/** Releases both blocks and clears the pointers fxLine and delayLine. secCoef and estCoef stay the
 * host's. */
MERLO64F_API void fxlms64fFree(fxlms64fState* state);

/** One step: x enters the reference line, y is formed and passes the secondary path, err = s + d,
 * power takes in the filtered reference, and the coefficients move against the gradient.
 * @param x  reference sample
 * @param d  disturbance at the error sensor
 * @return s, what arrives at the error sensor, formed before the update. */
MERLO64F_API double fxlms64fFilterUpdate(fxlms64fState* state, double x, double d);

/** One step without adapting: the lines of the reference and of the output move on, power takes in
 * the filtered reference; coef, err and the line of filtered references stay. @return s. */
MERLO64F_API double fxlms64fFilterOnly(fxlms64fState* state, double x);

/** Zero-fills coef; lines and power stay. @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t fxlms64fReset(fxlms64fState* state);

/** Zero-fills all three lines; their heads, power and coef stay.
 * @return STS_OK, or STS_NULL_PTR if a line is null. */
MERLO64F_API int32_t fxlms64fResetDelayLine(fxlms64fState* state);

/** Accessors on the coefficients (length `order`) and on the reference line (its `order` newest
 * samples, newest first): see merlo64f.h. They return the number of elements moved or a negative
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

/** Changes the number of taps of a record from fxlms64fInit(); keeps mu, power, both paths, the
 * first coefficients and the newest samples of each line, and puts all heads at 0.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t fxlms64fResize(fxlms64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
