/** @file
 * @ref bfdaf64f
 * @defgroup bfdaf64f bfdaf64f: block filter in the frequency domain
 * The block frequency-domain adaptive filter by overlap-save: blockLen samples per call and no
 * added delay.
 *
 * Sizes, from the reduced order (BFDAF64F_FFT_LEN is fftLen as a constant expression):
 *
 *     fftLen = smallest power of two >= order + blockLen - 1        bins = fftLen / 2 + 1
 *     overlap = fftLen - blockLen                                   coefTail = fftLen - order
 *
 * Per block, with X the spectrum of the frame (the `overlap` samples before the block, then the
 * block) and C the coefficient spectrum:
 *
 *     y = the last blockLen samples of the inverse transform of C * X
 *     e = d - y, E = the spectrum of `overlap` zeros followed by e
 *     power = (0.02 / blockLen) * |X|^2 + 0.98 * power, bin by bin
 *     C += (mu * (E / (power + 1e-6))) * conj(X), bin by bin
 *     constrained: C is reduced to its first `order` taps in the time domain
 *
 * Without the constraint the filter adapts all fftLen positions of the time-domain vector and saves
 * two of five transforms per update.
 *
 * @par Sources
 * Ferrara 1980, Fast implementation of LMS adaptive filters; Shynk 1992, Frequency-domain and
 * multirate adaptive filtering; Mansour and Gray 1982, Unconstrained frequency-domain adaptive
 * filter.
 *
 * @par Departure from the textbook
 * The transform's forward exponent is positive, so spectra are conjugate to the usual ones, and
 * 0.02 stands for 1.0 - 0.98 in double, 0.020000000000000018.
 *
 * @par Step size
 * Stable on white noise for about 0 < mu < 2 / blockLen with the constraint and up to about
 * 1 / blockLen without it; a tenth of that is a safe start. No value is refused.
 *
 * @par Level
 * For white x of mean square s powerAvg settles at s * fftLen / blockLen, so the constant 1e-6
 * halves the step at s = 1e-6 * blockLen / fftLen: 5e-7 (-63 dB) where fftLen = 2 * blockLen. For
 * coloured x this holds bin by bin: bins in which x is weak adapt slowly. Remedy: see merlo64f.h,
 * level. From its start at 1.0, powerAvg falls to a level of -60 dB in about 650 blocks.
 *
 * @par After a NaN
 * A NaN stays in coef and powerAvg, and in the history for some blocks. Remedy: bfdaf64fReset(),
 * bfdaf64fResetDelayLine() and set64f(1.0, state.powerAvg, state.bins).
 *
 * There are no delay-line accessors. The two tables are tested before the sizes, the buffers of
 * InitStatic after them. For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_BFDAF64F_H
#define MERLO64F_BFDAF64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A filter of `order` taps over blocks, in the frequency domain. Packed spectra: slot 0 is bin 0,
 * slot 1 bin fftLen / 2, slots 2k and 2k+1 the real and imaginary part of bin k. */
typedef struct bfdaf64fState {
    int32_t order;       /**< taps, 1 to MAX_TAPS; 0 after a failure and after Free */
    int32_t blockLen;    /**< samples per call, at least 1 */
    int32_t fftLen;      /**< transform length */
    int32_t bins;        /**< bins of a spectrum */
    int32_t constrained; /**< 1 to reduce the coefficients to `order` taps after every update */
    int32_t overlap;     /**< samples of history in a frame */
    int32_t coefTail;    /**< time-domain positions behind the taps */
    double powerGain;    /**< weight of a new power spectrum */
    double mu;           /**< step size; read at every call, so the host may change it */
    double invScale;     /**< 2 / fftLen, which undoes a pair of transforms */
    double* delayLine;   /**< the `overlap` newest samples, oldest first */
    double* frame;       /**< `fftLen` elements: the frame, then its spectrum */
    double* coef;        /**< `fftLen` elements: the coefficient spectrum, packed */
    double* outBuf;      /**< `fftLen` elements: work array for output and error */
    double* powerAvg;    /**< `bins` elements: running power per bin; 1.0 at first */
    double* powerInst;   /**< `bins` elements: power of the last frame */
    const double* fftTwiddles; /**< the host's table, only read */
    int32_t* fftTable;         /**< the host's table; a transform may write to its work area */
} bfdaf64fState;

/** Sets up a record with zero coefficients from the heap.
 * @param order  number of taps; above MAX_TAPS (32) it is reduced silently
 * @param blockLen  samples per call
 * @param mu  step size, any value
 * @param constrained  not 0 for the constraint
 * @param fftTable,fftTwiddles  tables that fillFftTables() has filled for at least fftLen
 *   (fft_tables.h), borrowed. For a later Resize they must cover the longest fftLen that it
 *   reaches. Tables that were never filled, or filled for a shorter transform, are not detected:
 *   the filter reads wrong values or past their end. Records in concurrent use need an fftTable
 *   each; fftTwiddles can be shared.
 * @return STS_OK; STS_NULL_PTR for a null table; STS_BAD_SIZE for a size below 1, for
 *   order = blockLen = 1 (no transform has length 1), and for an fftLen above 2^30;
 *   STS_NO_MEMORY. */
MERLO64F_API int32_t bfdaf64fInit(bfdaf64fState* state, int32_t order, int32_t blockLen, double mu,
                                  int32_t constrained, int32_t* fftTable,
                                  const double* fftTwiddles);

/** The transform length fftLen. */
#define BFDAF64F_FFT_LEN(order, blockLen) MERLO64F_POWER_OF_2(MERLO64F_TAPS(order) - 1 + (blockLen))
/** Elements of coefBuf. */
#define BFDAF64F_COEF_LEN(order, blockLen) BFDAF64F_FFT_LEN(order, blockLen)
/** Elements of workBuf: overlap + 2 * fftLen + 2 * bins, that is 4 * fftLen - blockLen + 2. */
#define BFDAF64F_WORK_LEN(order, blockLen)                                                         \
    (INT64_C(4) * BFDAF64F_FFT_LEN(order, blockLen) - (blockLen) + 2)

/** As bfdaf64fInit() with the host's buffers, BFDAF64F_COEF_LEN and BFDAF64F_WORK_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_NULL_PTR for a null table or buffer; STS_BAD_SIZE as bfdaf64fInit(). */
MERLO64F_API int32_t bfdaf64fInitStatic(bfdaf64fState* state, int32_t order, int32_t blockLen,
                                        double mu, int32_t constrained, double* coefBuf,
                                        double* workBuf, int32_t* fftTable,
                                        const double* fftTwiddles);

/** Releases both buffers and stores 0 in `order`. The tables belong to the host. */
MERLO64F_API void bfdaf64fFree(bfdaf64fState* state);

/** One block: filters x, forms the errors and adapts.
 * @param x,d  input and desired samples, oldest first, blockLen each
 * @param y,e  outputs and errors d - y, blockLen each; y may be x, e may be x or d; y must be
 *   neither d nor e
 * @return STS_OK, or STS_NULL_PTR for a record without delayLine. The arrays are not tested. */
MERLO64F_API int32_t bfdaf64fFilterUpdate(bfdaf64fState* state, const double* x, const double* d,
                                          double* y, double* e);

/** One block without adapting; history and running power are updated.
 * @param x  input samples, blockLen
 * @param y  outputs, blockLen, which may be x
 * @return STS_OK, or STS_NULL_PTR for a record without delayLine. The arrays are not tested. */
MERLO64F_API int32_t bfdaf64fFilterOnly(bfdaf64fState* state, const double* x, double* y);

/** Zero-fills the coefficients; power and history stay.
 * @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t bfdaf64fReset(bfdaf64fState* state);

/** Zero-fills frame and history; power stays. @return STS_OK, or STS_NULL_PTR if either is null. */
MERLO64F_API int32_t bfdaf64fResetDelayLine(bfdaf64fState* state);

/** Accessors on the time-domain taps (length `order`; tap i weights the sample i places back): see
 * merlo64f.h. They transform the spectrum to the time domain and back, which changes it by
 * rounding, GetCoef too; the positions behind the taps are kept. They return the number of elements
 * copied or a negative status. */
MERLO64F_API int32_t bfdaf64fGetCoef(bfdaf64fState* state, double* buf, int32_t start,
                                     int32_t count, int32_t reversed);
/** See bfdaf64fGetCoef(). */
MERLO64F_API int32_t bfdaf64fSetCoef(bfdaf64fState* state, const double* buf, int32_t start,
                                     int32_t count, int32_t reversed);

/** Changes the sizes of a record from bfdaf64fInit(). Keeps mu, the constraint, the tables, the
 * first taps and the newest samples. The running power is kept if fftLen stays the same; otherwise
 * it is 1.0 again.
 * @return STS_OK; STS_BAD_SIZE as bfdaf64fInit(); STS_NO_MEMORY. */
MERLO64F_API int32_t bfdaf64fResize(bfdaf64fState* state, int32_t order, int32_t blockLen);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
