/** @file
 * @ref fir64f
 * @defgroup fir64f fir64f: fixed filter
 * A fixed transversal filter, per sample and per block.
 *
 *     y = sum of coef[k] * x(n-k), k = 0 .. order-1
 *
 * The host owns the coefficients, the record owns the history. There is no `Reset`:
 * nothing is learned. For what all families share see merlo64f.h.
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
    double* coef; /**< the host's coefficients, at least `order`; coef[0] meets the newest sample */
    int32_t order;     /**< number of taps, 1 to MAX_TAPS; 0 after a failure and after Free */
    double* delayLine; /**< ring line, `order` samples */
    int32_t head;      /**< position that the next sample overwrites; order - 1 at first */
} fir64fState;

/** Sets up a record with a line of zeros from the heap.
 * @param order  number of taps, reduced to MAX_TAPS
 * @param coef  at least `order` coefficients, borrowed: a change takes effect at the next sample
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NULL_PTR for a null coef; STS_NO_MEMORY. */
MERLO64F_API int32_t fir64fInit(fir64fState* state, int32_t order, double* coef);

#define FIR64F_DELAY_LEN(order) MERLO64F_TAPS(order) /**< elements of delayBuf */

/** As fir64fInit() on the host's own line of FIR64F_DELAY_LEN samples, which is zero-filled; coef
 * is not touched.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NULL_PTR for a null coef or delayBuf. */
MERLO64F_API int32_t fir64fInitStatic(fir64fState* state, int32_t order, double* coef,
                                      double* delayBuf);

/** Releases the line and stores 0 in `order`. The coefficients stay the host's. */
MERLO64F_API void fir64fFree(fir64fState* state);

/** One step: x enters the line, y = sum of coef[k] * x(n-k) for 0 <= k < order, k upward.
 * @return y, in the unit of x times that of coef. */
MERLO64F_API double fir64fFilter(fir64fState* state, double x);

/** The same sum over delayLine as a linear line that the host moves (see merlo64f.h, delay lines).
 * Changes nothing. @return y. */
MERLO64F_API double fir64fLCFilter(const fir64fState* state);

/** n steps at once, any n: out[i] is what fir64fFilter(state, in[i]) would return, to the bit, and
 * the line is left as those calls would leave it. An n below 1 does nothing.
 * @param in,out  n samples each, oldest first; out may be in
 * @return STS_OK, or STS_NULL_PTR for a null in or out, whatever n is. */
MERLO64F_API int32_t fir64fBlockFilter(fir64fState* state, const double* in, double* out,
                                       int32_t n);

/** Zero-fills the line; `head` stays. @return STS_OK, or STS_NULL_PTR for a null delayLine. */
MERLO64F_API int32_t fir64fResetDelayLine(fir64fState* state);

/** Accessors on the host's coefficients (length `order`) and on the ring line (length `order`,
 * newest first): see merlo64f.h. They return the number of elements moved or a negative status. */
MERLO64F_API int32_t fir64fGetCoef(const fir64fState* state, double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See fir64fGetCoef(). Writes straight into the host's vector. */
MERLO64F_API int32_t fir64fSetCoef(fir64fState* state, const double* buf, int32_t start,
                                   int32_t count, int32_t reversed);
/** See fir64fGetCoef(). */
MERLO64F_API int32_t fir64fGetDelayLine(const fir64fState* state, double* buf, int32_t start,
                                        int32_t count, int32_t reversed);
/** See fir64fGetCoef(). */
MERLO64F_API int32_t fir64fSetDelayLine(fir64fState* state, const double* buf, int32_t start,
                                        int32_t count, int32_t reversed);

/** Changes the number of taps of a record from fir64fInit() and keeps the newest samples.
 * The coefficients stay where they are. A filter that grows needs a vector of the new length by
 * then (the library cannot test that), and its new taps are set to 0.0; one that shrinks leaves the
 * elements behind the new order alone.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY; STS_NULL_PTR for a null coef or
 *   delayLine. */
MERLO64F_API int32_t fir64fResize(fir64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
