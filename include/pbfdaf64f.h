/** @file
 * @ref pbfdaf64f
 * @defgroup pbfdaf64f pbfdaf64f: partitioned block filter in the frequency domain
 * The partitioned block frequency-domain adaptive filter (multidelay filter), for long responses at
 * a short transform length: blockLen samples per call and no added delay.
 *
 * The response has `partitions` parts of `order` taps; part p acts p blocks later than part 0:
 *
 *     y(t) = sum over p and i of tap[p][i] * x(t - p * blockLen - i), 0 <= p < partitions, 0 <= i < order
 *
 * @attention Use order = blockLen <= 32: then the parts join into one response of
 *   order * partitions taps. With order < blockLen only `order` of every `blockLen` lags are
 *   modelled, and the filter cannot learn the others, although the status is STS_OK. As `order` is
 *   reduced to MAX_TAPS (32), a blockLen above 32 always leaves such gaps. With order > blockLen
 *   the parts overlap and add up.
 *
 * Sizes, from the reduced order (PBFDAF64F_FFT_LEN is fftLen as a constant expression):
 *
 *     fftLen = smallest power of two >= order + blockLen - 1        bins = fftLen / 2 + 1
 *     overlap = fftLen - blockLen     coefTail = fftLen - order     specLen = fftLen * partitions
 *
 * Per block, with X(p) the spectrum of the frame of p blocks ago and C(p) that of part p:
 *
 *     y = the last blockLen samples of the inverse transform of the sum of C(p) * X(p)
 *     e = d - y, E = the spectrum of `overlap` zeros followed by e
 *     power = (0.02 / blockLen) * |X(0)|^2 + 0.98 * power, bin by bin
 *     C(p) += (mu * (E / (power + 1e-6))) * conj(X(p)), bin by bin
 *     constrained: every C(p) is reduced to its first `order` taps in the time domain
 *
 * 0.98 and 1e-6 are single-precision values, widened (0.9800000190734863, 9.999999974752427e-07),
 * and 0.02 is 1.0 minus the former (0.019999980926513672).
 *
 * @par Source
 * Soo and Pang 1990, Multidelay block frequency domain adaptive filter.
 *
 * @par Departure from the textbook
 * The transform's forward exponent is positive, so spectra are conjugate to the usual ones.
 *
 * @par Step size
 * All parts adapt by the same error. Stable on white noise for about
 * 0 < mu < 2 / (blockLen * partitions) with the constraint and up to about half of that without it;
 * a tenth of that is a safe start. No value is refused.
 *
 * @par Level
 * For white x of mean square s powerAvg settles at s * fftLen / blockLen, so the constant 1e-6
 * halves the step at s = 1e-6 * blockLen / fftLen: 5e-7 (-63 dB) where fftLen = 2 * blockLen. For
 * coloured x this holds bin by bin: bins in which x is weak adapt slowly. Remedy: see merlo64f.h,
 * level. From its start at 1.0, powerAvg falls to a level of -60 dB in about 650 blocks. Measured with
 * coloured x (a pole at 0.8), a response of 256 taps and a tenth of the bound: after 40000 samples e
 * is 57 dB below d at -20 and at -40 dB, 32 dB at -60 dB and 6 dB at -80 dB.
 *
 * @par After a NaN
 * A NaN stays in coef and powerAvg, and in the history for some blocks. Remedy: pbfdaf64fReset(),
 * pbfdaf64fResetDelayLine() and set64f(1.0, state.powerAvg, state.bins).
 *
 * There are no delay-line accessors. The two tables are tested before the sizes, the buffers of
 * InitStatic after them. For what all families share see merlo64f.h (@ref contract).
 * @{ */
#ifndef MERLO64F_PBFDAF64F_H
#define MERLO64F_PBFDAF64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A filter of `partitions` times `order` taps over blocks, in the frequency domain. Packed
 * spectra: slot 0 is bin 0, slot 1 bin fftLen / 2, slots 2k and 2k+1 real and imaginary part of
 * bin k. */
typedef struct pbfdaf64fState {
    int32_t order;       /**< taps of a part, 1 to MAX_TAPS; 0 after a failure and after Free */
    int32_t blockLen;    /**< samples per call, at least 1 */
    int32_t partitions;  /**< number of parts, at least 1 */
    int32_t fftLen;      /**< transform length */
    int32_t specLen;     /**< fftLen * partitions */
    int32_t bins;        /**< bins of a spectrum */
    int32_t constrained; /**< 1 to reduce the coefficients to `order` taps after every update */
    int32_t overlap;     /**< samples of history in a frame */
    int32_t coefTail;    /**< time-domain positions behind the taps */
    double powerGain;    /**< weight of a new power spectrum */
    int32_t ringPos;     /**< slot of the next frame in ring, in pairs of doubles; steps back */
    double mu;           /**< step size; read at every call, so the host may change it */
    double invScale;     /**< 2 / fftLen, which undoes a pair of transforms */
    double* delayLine;   /**< the `overlap` newest samples, oldest first */
    double* ring;        /**< `partitions` slots of `fftLen` elements: spectra of frames */
    double* coef;        /**< `partitions` packed spectra of `fftLen` elements */
    double* outBuf;      /**< `fftLen` elements: work array for output and error */
    double* powerAvg;    /**< `bins` elements: running power per bin; 1.0 at first */
    double* scratch;     /**< `fftLen` elements: work array for spectra */
    const double* fftTwiddles; /**< the host's table, only read */
    int32_t* fftTable;         /**< the host's table; a transform may write to its work area */
} pbfdaf64fState;

/** Sets up a record with zero coefficients from the heap.
 * @param order  taps of a part; above MAX_TAPS (32) it is reduced silently
 * @param blockLen  samples per call; as large as order, see above
 * @param partitions  number of parts
 * @param mu  step size, any value
 * @param constrained  not 0 for the constraint
 * @param fftTable,fftTwiddles  tables that fillFftTables() has filled for at least fftLen
 *   (fft_tables.h), borrowed. For a later Resize they must cover the longest fftLen that it
 *   reaches. Tables that were never filled, or filled for a shorter transform, are not detected:
 *   the filter reads wrong values or past their end. Records in concurrent use need an fftTable
 *   each; fftTwiddles can be shared.
 * @return STS_OK; STS_NULL_PTR for a null table; STS_BAD_SIZE for a size below 1, for
 *   order = blockLen = 1 (no transform has length 1), for an fftLen above 2^30 and a specLen above
 *   2^31 - 1; STS_NO_MEMORY. */
MERLO64F_API int32_t pbfdaf64fInit(pbfdaf64fState* state, int32_t order, int32_t blockLen,
                                   int32_t partitions, double mu, int32_t constrained,
                                   int32_t* fftTable, const double* fftTwiddles);

/** The transform length fftLen. */
#define PBFDAF64F_FFT_LEN(order, blockLen)                                                         \
    MERLO64F_POWER_OF_2(MERLO64F_TAPS(order) - 1 + (blockLen))
/** Elements of coefBuf: specLen. */
#define PBFDAF64F_COEF_LEN(order, blockLen, partitions)                                            \
    (PBFDAF64F_FFT_LEN(order, blockLen) * (partitions))
/** Elements of workBuf: overlap + specLen + 2 * fftLen + bins. */
#define PBFDAF64F_WORK_LEN(order, blockLen, partitions)                                            \
    (PBFDAF64F_FFT_LEN(order, blockLen) * (INT64_C(3) + (partitions)) - (blockLen) +               \
     PBFDAF64F_FFT_LEN(order, blockLen) / 2 + 1)

/** As pbfdaf64fInit() with the host's buffers, PBFDAF64F_COEF_LEN and PBFDAF64F_WORK_LEN elements,
 * which are zero-filled.
 * @return STS_OK; STS_NULL_PTR for a null table or buffer; STS_BAD_SIZE as pbfdaf64fInit(). */
MERLO64F_API int32_t pbfdaf64fInitStatic(pbfdaf64fState* state, int32_t order, int32_t blockLen,
                                         int32_t partitions, double mu, int32_t constrained,
                                         double* coefBuf, double* workBuf, int32_t* fftTable,
                                         const double* fftTwiddles);

/** Releases both buffers and stores 0 in `order`. The tables belong to the host. */
MERLO64F_API void pbfdaf64fFree(pbfdaf64fState* state);

/** One block: filters x, forms the errors and adapts.
 * @param x,d  input and desired samples, oldest first, blockLen each
 * @param y,e  outputs and errors d - y, blockLen each; y may be x, e may be x or d; y must be
 *   neither d nor e
 * @return STS_OK, or STS_NULL_PTR for a record without delayLine. The arrays are not tested. */
MERLO64F_API int32_t pbfdaf64fFilterUpdate(pbfdaf64fState* state, const double* x, const double* d,
                                           double* y, double* e);

/** One block without adapting; history, ring and running power are updated.
 * @param x  input samples, blockLen
 * @param y  outputs, blockLen, which may be x
 * @return STS_OK, or STS_NULL_PTR for a record without delayLine. The arrays are not tested. */
MERLO64F_API int32_t pbfdaf64fFilterOnly(pbfdaf64fState* state, const double* x, double* y);

/** Zero-fills the coefficients; power and history stay.
 * @return STS_OK, or STS_NULL_PTR for a null coef. */
MERLO64F_API int32_t pbfdaf64fReset(pbfdaf64fState* state);

/** Zero-fills the ring of frames and the history; power and ringPos stay.
 * @return STS_OK, or STS_NULL_PTR if either is null. */
MERLO64F_API int32_t pbfdaf64fResetDelayLine(pbfdaf64fState* state);

/** Accessors on the time-domain taps as one flat vector (length order * partitions; element g is
 * tap g mod order of part g / order): see merlo64f.h. They transform every spectrum to the time
 * domain and back, which changes it by rounding, and zero-fill the positions behind the taps of
 * every part, in or out of the range. GetCoef does so too. They return the number of elements
 * copied or a negative status. */
MERLO64F_API int32_t pbfdaf64fGetCoef(pbfdaf64fState* state, double* buf, int32_t start,
                                      int32_t count, int32_t reversed);
/** See pbfdaf64fGetCoef(). */
MERLO64F_API int32_t pbfdaf64fSetCoef(pbfdaf64fState* state, const double* buf, int32_t start,
                                      int32_t count, int32_t reversed);

/** Changes the sizes of a record from pbfdaf64fInit(). Keeps mu, the constraint, the tables, the
 * first elements of the flat vector of taps (a new order moves them to other parts), the newest
 * samples, and the frames in the ring, shortened or zero-padded at their ends. The running power is
 * kept if fftLen stays the same; otherwise it is 1.0 again.
 * @return STS_OK; STS_BAD_SIZE as pbfdaf64fInit(); STS_NO_MEMORY. */
MERLO64F_API int32_t pbfdaf64fResize(pbfdaf64fState* state, int32_t order, int32_t blockLen,
                                     int32_t partitions);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
