/** @file
 * @ref tdlms64f
 * @defgroup tdlms64f tdlms64f: transform-domain LMS
 * The transform-domain LMS filter, one sample per call.
 *
 * fftLen is the smallest power of two >= order - 1, with `order` reduced to MAX_TAPS (3 gives 2, 4
 * and 5 give 4, 6 to 9 give 8, 10 to 17 give 16, 18 to 32 give 32). The filter has fftLen taps;
 * `order` bounds what the coefficient accessors show, and where fftLen is order - 1 they end at
 * fftLen.
 *
 *     X = spectrum of the fftLen newest samples, newest first
 *     y = 2 * (sum of Re C(k) Re X(k) + Im C(k) Im X(k), 0 < k < fftLen/2) + C(0) X(0) + C(n/2) X(n/2)
 *     err = d - y
 *     power = 0.02 * |X|^2 + 0.98 * power, bin by bin
 *     C(k) += ((err * mu) / (power(k) + 1e-6)) * X(k)
 *
 * The constants are single-precision values, widened: 0.019999999552965164, 0.9800000190734863 and
 * 9.999999974752427e-07; bins = fftLen / 2 + 1. A tap is fftLen times the element of the inverse
 * transform of C, so that y = sum of tap[i] * x(n-i).
 *
 * @par Source
 * Narayan, Peterson and Narasimha 1983, Transform domain LMS algorithm.
 *
 * @par Departures from the textbook
 * The transform is not scaled to be orthonormal, and the mirror of a complex bin counts in the
 * output.
 *
 * @par Step size
 * The power of a bin is fftLen times that of a sample, so mu is stable up to somewhat below
 * 2 / fftLen. No value is refused.
 *
 * Pointers are tested before sizes here. For what all families share see merlo64f.h.
 * @{ */
#ifndef MERLO64F_TDLMS64F_H
#define MERLO64F_TDLMS64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An adaptive filter over a ring line of fftLen samples, in the frequency domain. Packed spectra:
 * slot 0 is bin 0, slot 1 bin fftLen / 2, slots 2k and 2k+1 real and imaginary part of bin k. */
typedef struct tdlms64fState {
    int32_t order;     /**< taps that the accessors show, 3 to MAX_TAPS; 0 as in bfdaf64f.h */
    int32_t fftLen;    /**< transform length, number of taps and length of the line */
    int32_t bins;      /**< bins of a spectrum */
    double mu;         /**< step size; read at every update, so the host may change it */
    double err;        /**< a-priori error d - y of the last update; no value before the first */
    double invScale;   /**< 2 / fftLen, which undoes a pair of transforms */
    int32_t head;      /**< position that the next sample overwrites; fftLen - 1 at first */
    double* delayLine; /**< ring line of `fftLen` samples, linear under the LC operations */
    double* frame;     /**< `fftLen` elements: the line in order of age, then its spectrum */
    double* coef;      /**< `fftLen` elements: the coefficient spectrum, packed */
    double* powerAvg;  /**< `bins` elements: running power per bin; 1.0 at first */
    double* powerInst; /**< `bins` elements: power of the last frame */
    const double* fftTwiddles; /**< the host's table, only read */
    int32_t* fftTable;         /**< the host's table, written by every transform */
} tdlms64fState;

/** Sets up a record with zero coefficients and a line of zeros from the heap.
 * @param order  number of taps, reduced to MAX_TAPS
 * @param mu  step size, any value
 * @param fftTable,fftTwiddles  tables for at least fftLen, 32 covering all (see
 *   fft_tables.h), borrowed; threads share them as for bfdaf64fInit()
 * @return STS_OK; STS_NULL_PTR for a null table; STS_BAD_SIZE for order < 3 (no transform has
 *   length 1); STS_NO_MEMORY. */
MERLO64F_API int32_t tdlms64fInit(tdlms64fState* state, int32_t order, double mu, int32_t* fftTable,
                                  const double* fftTwiddles);

/** The transform length fftLen. */
#define TDLMS64F_FFT_LEN(order) MERLO64F_POWER_OF_2(MERLO64F_TAPS(order) - 1)
#define TDLMS64F_COEF_LEN(order) TDLMS64F_FFT_LEN(order) /**< elements of coefBuf */
/** Elements of workBuf: 2 * fftLen + 2 * bins. */
#define TDLMS64F_WORK_LEN(order) (3 * TDLMS64F_FFT_LEN(order) + 2)

/** As tdlms64fInit() on the host's own buffers, TDLMS64F_COEF_LEN and TDLMS64F_WORK_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_NULL_PTR for a null table or buffer; STS_BAD_SIZE for order < 3. */
MERLO64F_API int32_t tdlms64fInitStatic(tdlms64fState* state, int32_t order, double mu,
                                        double* coefBuf, double* workBuf, int32_t* fftTable,
                                        const double* fftTwiddles);

/** Releases both blocks and stores 0 in `order`. The tables stay the host's. */
MERLO64F_API void tdlms64fFree(tdlms64fState* state);

/** One step: x enters the ring line, y is formed, err = d - y, power takes in the line's spectrum,
 * and every bin adapts.
 * @param x  input sample
 * @param d  desired sample, in the unit of y
 * @return y, formed before the update. */
MERLO64F_API double tdlms64fFilterUpdate(tdlms64fState* state, double x, double d);

/** One step without adapting: x enters the ring line and power takes in its spectrum; the
 * coefficients and err stay. @return y. */
MERLO64F_API double tdlms64fFilterOnly(tdlms64fState* state, double x);

/** tdlms64fFilterUpdate() on delayLine as a linear line that already holds the input sample at
 * element 0; the host moves it with insertSampleLinBuf64f(x, delayLine, fftLen), the length being
 * fftLen and not order. `head` is neither read nor changed. @return y, formed before the update. */
MERLO64F_API double tdlms64fLCFilterUpdate(tdlms64fState* state, double d);

/** tdlms64fFilterOnly() on the linear line. @return y. */
MERLO64F_API double tdlms64fLCFilterOnly(tdlms64fState* state);

/** Zero-fills the coefficients; power and line stay.
 * @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t tdlms64fReset(tdlms64fState* state);

/** Zero-fills frame and line; `head` and power stay.
 * @return STS_OK, or STS_NULL_PTR if either is null. */
MERLO64F_API int32_t tdlms64fResetDelayLine(tdlms64fState* state);

/** Accessors on the time-domain taps (length: the smaller of `order` and fftLen; tap i weighs the
 * sample i places back) and on the ring line (length fftLen, newest first): see merlo64f.h. Those
 * on the taps take the spectrum through the transform and back, which changes it by rounding; taps
 * out of reach are kept. They return the number of elements moved or a negative status. */
MERLO64F_API int32_t tdlms64fGetCoef(tdlms64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See tdlms64fGetCoef(). */
MERLO64F_API int32_t tdlms64fSetCoef(tdlms64fState* state, const double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See tdlms64fGetCoef(). */
MERLO64F_API int32_t tdlms64fGetDelayLine(const tdlms64fState* state, double* buf, int32_t start,
                                          int32_t count, int32_t reversed);
/** See tdlms64fGetCoef(). */
MERLO64F_API int32_t tdlms64fSetDelayLine(tdlms64fState* state, const double* buf, int32_t start,
                                          int32_t count, int32_t reversed);

/** Changes the number of taps of a record from tdlms64fInit(); keeps mu, the tables, the first taps
 * and the newest samples, and the running power where fftLen stays (elsewhere it is 1.0 again);
 * `head` is fftLen - 1. Taps behind the accessors' reach are lost.
 * @return STS_OK; STS_BAD_SIZE for order < 3; STS_NO_MEMORY. */
MERLO64F_API int32_t tdlms64fResize(tdlms64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
