/** @file
 * @ref fir64f
 * @defgroup fir64f fir64f: fixed filter
 * A fixed transversal filter, per sample and per block.
 *
 *     y = sum of coef[k] * x(n-k), k = 0 .. order-1
 *
 * The host owns the coefficients, the record owns the history. Nothing is learned, so there is no
 * `Reset`. For what all families share see merlo64f.h (@ref contract).
 *
 * @par Longer responses
 * An order above MAX_TAPS (32) is reduced silently: of a response of 101 taps the first 32 would be
 * used. Longer responses need pbfdaf64f.h (pbfdaf64fSetCoef() and pbfdaf64fFilterOnly()).
 *
 * @par After a NaN
 * A NaN stays in the line for `order` samples. Remedy: fir64fResetDelayLine().
 *
 * @par Source
 * Any text on digital filters; Oppenheim and Schafer 1989, Discrete-Time Signal Processing.
 * @{ */
#ifndef MERLO64F_FIR64F_H
#define MERLO64F_FIR64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A fixed filter of `order` taps over a ring line of `order` samples. */
typedef struct fir64fState {
    double* coef;      /**< the host's `order` coefficients; coef[0] weights the newest sample */
    int32_t order;     /**< number of taps, 1 to MAX_TAPS; 0 after a failure and after Free */
    double* delayLine; /**< ring line, `order` samples */
    int32_t head;      /**< position that the next sample overwrites; order - 1 at first */
} fir64fState;

/** Sets up a record with a line of zeros from the heap.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently, see above
 * @param coef  at least `order` coefficients, borrowed; a change takes effect at the next sample
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NULL_PTR for a null coef; STS_NO_MEMORY. */
MERLO64F_API int32_t fir64fInit(fir64fState* state, int32_t order, double* coef);

#define FIR64F_DELAY_LEN(order) MERLO64F_TAPS(order) /**< elements of delayBuf */

/** As fir64fInit() with the host's buffer, FIR64F_DELAY_LEN elements, which is zero-filled; coef is
 * not changed.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NULL_PTR for a null coef or delayBuf. */
MERLO64F_API int32_t fir64fInitStatic(fir64fState* state, int32_t order, double* coef,
                                      double* delayBuf);

/** Releases the line and stores 0 in `order`. The coefficients belong to the host. */
MERLO64F_API void fir64fFree(fir64fState* state);

/** One step: x enters the line, y = sum of coef[k] * x(n-k) for 0 <= k < order, k upward.
 * @return y, in the unit of x times that of coef. */
MERLO64F_API double fir64fFilter(fir64fState* state, double x);

/** The same sum over delayLine as a linear line: the host has stored the input sample by
 * insertSampleLinBuf64f(x, state->delayLine, state->order), which takes the order of the record,
 * not a larger one that was requested. Changes nothing. @return y. */
MERLO64F_API double fir64fLCFilter(const fir64fState* state);

/** n steps: out[i] is to the bit what fir64fFilter(state, in[i]) would return, and the line is left
 * as those calls would leave it. n has no upper limit; below 1 nothing is done.
 * @param in,out  n samples each, oldest first; out may be in
 * @return STS_OK, or STS_NULL_PTR for a null in or out, for any n. */
MERLO64F_API int32_t fir64fBlockFilter(fir64fState* state, const double* in, double* out,
                                       int32_t n);

/** Zero-fills the line; `head` stays. @return STS_OK, or STS_NULL_PTR for a null delayLine. */
MERLO64F_API int32_t fir64fResetDelayLine(fir64fState* state);

/** Accessors on the host's coefficients (length `order`) and on the ring line (length `order`,
 * newest first): see merlo64f.h. They return the number of elements copied or a negative status. */
MERLO64F_API int32_t fir64fGetCoef(const fir64fState* state, double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See fir64fGetCoef(). Writes to the host's array. */
MERLO64F_API int32_t fir64fSetCoef(fir64fState* state, const double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See fir64fGetCoef(). */
MERLO64F_API int32_t fir64fGetDelayLine(const fir64fState* state, double* buf, int32_t start,
                                        int32_t count, int32_t reversed);
/** See fir64fGetCoef(). */
MERLO64F_API int32_t fir64fSetDelayLine(fir64fState* state, const double* buf, int32_t start,
                                        int32_t count, int32_t reversed);

/** Changes the number of taps of a record from fir64fInit() and keeps the newest samples. The
 * coefficients stay where they are. If the order grows, the host's array must already have the new
 * length (the library cannot test that), and the new taps are set to 0.0. If it shrinks, the
 * elements from the new order on are not changed.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY; STS_NULL_PTR for a null coef or
 *   delayLine. */
MERLO64F_API int32_t fir64fResize(fir64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
