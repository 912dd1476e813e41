/** @file
 * @ref tdlms64f
 * @defgroup tdlms64f tdlms64f: transform-domain LMS
 * The transform-domain LMS filter, one sample per call.
 *
 * fftLen is the smallest power of two >= order - 1, from the reduced order: 2 for order 3, 4 for 4
 * and 5, 8 for 6 to 9, 16 for 10 to 17, 32 for 18 to 32. The filter has fftLen taps. The
 * coefficient accessors reach the first `order` of them, or all fftLen if that is order - 1.
 *
 *     X = spectrum of the fftLen newest samples, newest first
 *     y = sum of 2 * (Im C(k) * Im X(k) + Re C(k) * Re X(k)), k = 1 .. fftLen/2 - 1,
 *         then + C(0) * X(0), then + C(fftLen/2) * X(fftLen/2)
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
 * The transform is not scaled to be orthonormal, and a complex bin counts twice in the output, for
 * its mirror bin.
 *
 * @par Step size
 * The power of a bin is fftLen times that of a sample, so on white noise mu is stable up to
 * somewhat below 2 / fftLen; a tenth of that is a safe start. No value is refused.
 *
 * @par Level
 * For white x of mean square s powerAvg settles at s * fftLen, so the constant 1e-6 halves the step
 * at s = 1e-6 / fftLen: 3.1e-8 (-75 dB) at fftLen = 32. For coloured x this holds bin by bin: bins
 * in which x is weak adapt slowly. Remedy: see merlo64f.h, level. From its start at 1.0, powerAvg
 * falls to a level of -60 dB in 500 to 650 samples.
 *
 * @par After a NaN
 * A NaN stays in coef and powerAvg, and in the line for fftLen samples. Remedy: tdlms64fReset(),
 * tdlms64fResetDelayLine() and set64f(1.0, state.powerAvg, state.bins).
 *
 * The two tables are tested before the order, the buffers of InitStatic after it. For what all
 * families share see merlo64f.h (@ref contract).
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
    int32_t order;   /**< taps for the accessors, 3 to MAX_TAPS; 0 after a failure and after Free */
    int32_t fftLen;  /**< transform length, number of taps and length of the line */
    int32_t bins;    /**< bins of a spectrum */
    double mu;       /**< step size; read at every update, so the host may change it */
    double err;      /**< a-priori error d - y of the last update; no value before the first */
    double invScale; /**< 2 / fftLen, which undoes a pair of transforms */
    int32_t head;    /**< position that the next sample overwrites; fftLen - 1 at first */
    double* delayLine; /**< ring line of `fftLen` samples, linear under the LC operations */
    double* frame;     /**< `fftLen` elements: the line in order of age, then its spectrum */
    double* coef;      /**< `fftLen` elements: the coefficient spectrum, packed */
    double* powerAvg;  /**< `bins` elements: running power per bin; 1.0 at first */
    double* powerInst; /**< `bins` elements: power of the last frame */
    const double* fftTwiddles; /**< the host's table, only read */
    int32_t* fftTable;         /**< the host's table; a transform may write to its work area */
} tdlms64fState;

/** Sets up a record with zero coefficients and a line of zeros from the heap.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param mu  step size, any value
 * @param fftTable,fftTwiddles  tables that fillFftTables() has filled for at least fftLen
 *   (fft_tables.h), borrowed. Tables for 32 serve every order. Tables that were never filled, or
 *   filled for a shorter transform, are not detected: the filter reads wrong values or past their
 *   end. Records in concurrent use need an fftTable each; fftTwiddles can be shared.
 * @return STS_OK; STS_NULL_PTR for a null table; STS_BAD_SIZE for order < 3 (no transform has
 *   length 1); STS_NO_MEMORY. */
MERLO64F_API int32_t tdlms64fInit(tdlms64fState* state, int32_t order, double mu, int32_t* fftTable,
                                  const double* fftTwiddles);

/** The transform length fftLen. */
#define TDLMS64F_FFT_LEN(order) MERLO64F_POWER_OF_2(MERLO64F_TAPS(order) - 1)
#define TDLMS64F_COEF_LEN(order) TDLMS64F_FFT_LEN(order) /**< elements of coefBuf */
/** Elements of workBuf: 2 * fftLen + 2 * bins. */
#define TDLMS64F_WORK_LEN(order) (3 * TDLMS64F_FFT_LEN(order) + 2)

/** As tdlms64fInit() with the host's buffers, TDLMS64F_COEF_LEN and TDLMS64F_WORK_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_NULL_PTR for a null table or buffer; STS_BAD_SIZE for order < 3. */
MERLO64F_API int32_t tdlms64fInitStatic(tdlms64fState* state, int32_t order, double mu,
                                        double* coefBuf, double* workBuf, int32_t* fftTable,
                                        const double* fftTwiddles);

/** Releases both buffers and stores 0 in `order`. The tables belong to the host. */
MERLO64F_API void tdlms64fFree(tdlms64fState* state);

/** One step: x enters the ring line, y is formed, err = d - y, then powerAvg and then every bin of
 * coef are updated.
 * @param x  input sample
 * @param d  desired sample, in the unit of y
 * @return y, formed before the update. */
MERLO64F_API double tdlms64fFilterUpdate(tdlms64fState* state, double x, double d);

/** One step without adapting: x enters the ring line, and powerAvg is updated; coef and err stay.
 * @return y. */
MERLO64F_API double tdlms64fFilterOnly(tdlms64fState* state, double x);

/** tdlms64fFilterUpdate() on delayLine as a linear line: the host has stored the input sample by
 * insertSampleLinBuf64f(x, state->delayLine, state->fftLen). The length is fftLen, not order.
 * `head` is neither read nor changed.
 * @return y, formed before the update. */
MERLO64F_API double tdlms64fLCFilterUpdate(tdlms64fState* state, double d);

/** tdlms64fFilterOnly() on the linear line. @return y. */
MERLO64F_API double tdlms64fLCFilterOnly(tdlms64fState* state);

/** Zero-fills the coefficients; power and line stay.
 * @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t tdlms64fReset(tdlms64fState* state);

/** Zero-fills frame and line; `head` and power stay.
 * @return STS_OK, or STS_NULL_PTR if either is null. */
MERLO64F_API int32_t tdlms64fResetDelayLine(tdlms64fState* state);

/** Accessors on the time-domain taps (length: the smaller of `order` and fftLen; tap i weights the
 * sample i places back) and on the ring line (length fftLen, newest first): see merlo64f.h. GetCoef
 * and SetCoef transform the spectrum to the time domain and back, which changes it by rounding; the
 * taps from `order` on are kept. They return the number of elements copied or a negative status. */
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

/** Changes the number of taps of a record from tdlms64fInit(). Keeps mu, the tables, the taps that
 * the accessors reach and the newest samples; `head` becomes fftLen - 1. The running power is kept
 * if fftLen stays the same; otherwise it is 1.0 again.
 * @return STS_OK; STS_BAD_SIZE for order < 3; STS_NO_MEMORY. */
MERLO64F_API int32_t tdlms64fResize(tdlms64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
