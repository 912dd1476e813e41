/** @file
 * @ref fft_tables
 * @defgroup fft_tables fft_tables: the tables of the transform
 * The two tables that the filters in the frequency domain borrow. Header only; needs -lm, which the
 * pkg-config file and the CMake target add.
 *
 *     static int32_t fftTable[FFT_TABLE_LEN(nMax)]; // or, on the heap, fftTableLen(nMax) elements
 *     static double fftTwiddles[FFT_TWIDDLES_LEN(nMax)];
 *     int32_t status = fillFftTables(nMax, fftTable, fftTwiddles);
 *
 * nMax is the longest transform in use, a power of two from 8 to 2^30; a pair of tables serves
 * every shorter one too. Tables that were never filled, or filled for a shorter transform, are not
 * detected by the filters. fftTwiddles is only read, so any number of filters can share it, on any
 * threads. A transform may write to the work area of fftTable (those of 256 points and more do):
 * records in concurrent use need an fftTable each.
 *
 * @par Values
 * Angles are reduced to the first octant by symmetry, with integers, and passed to cosl and sinl.
 * Where long double is wider than double (x86, AArch64 Linux), every value is the double nearest to
 * the exact one, or, in a rare near-tie, its neighbour. Elsewhere it is as accurate as the host's
 * cos and sin. Hosts that need the same bits everywhere contain precomputed tables.
 * @{ */
#ifndef MERLO64F_FFT_TABLES_H
#define MERLO64F_FFT_TABLES_H

#include "merlo64f.h"

#include <math.h>
#include <stddef.h>
#include <stdint.h>

/** Elements of fftTable, a constant expression: 2 + m, m the smallest power of two with
 * 8 * m * m >= nMax. */
#define FFT_TABLE_LEN(nMax)                                                                        \
    (2 + (1 << (((nMax) > 0x8) + ((nMax) > 0x20) + ((nMax) > 0x80) + ((nMax) > 0x200) +            \
                ((nMax) > 0x800) + ((nMax) > 0x2000) + ((nMax) > 0x8000) + ((nMax) > 0x20000) +    \
                ((nMax) > 0x80000) + ((nMax) > 0x200000) + ((nMax) > 0x800000) +                   \
                ((nMax) > 0x2000000) + ((nMax) > 0x8000000) + ((nMax) > 0x20000000))))

/** Elements of fftTwiddles, a constant expression. */
#define FFT_TWIDDLES_LEN(nMax) ((nMax) / 2)

/** FFT_TABLE_LEN, or STS_BAD_SIZE if nMax is below 8 or no power of two. */
static inline int32_t fftTableLen(int32_t nMax) {
    return nMax < 8 || (nMax & (nMax - 1)) != 0 ? +STS_BAD_SIZE : FFT_TABLE_LEN(nMax);
}

/** FFT_TWIDDLES_LEN, or STS_BAD_SIZE as fftTableLen. */
static inline int32_t fftTwiddlesLen(int32_t nMax) {
    return fftTableLen(nMax) < 0 ? +STS_BAD_SIZE : FFT_TWIDDLES_LEN(nMax);
}

/** @cond */
/* cos(pi/2 * k / quarter), 0 <= k <= quarter. */
static inline double fftTablesCosine(int32_t k, int32_t quarter) {
    const long double unit = 1.57079632679489661923132169163975144L / (long double)quarter;
    const int32_t rest = quarter - k;
    return (double)(k <= rest ? cosl(unit * (long double)k) : sinl(unit * (long double)rest));
}
/** @endcond */

/** Fills both tables for transforms of up to nMax points.
 * @param nMax  a power of two, at least 8
 * @param fftTable  FFT_TABLE_LEN(nMax) elements
 * @param fftTwiddles  FFT_TWIDDLES_LEN(nMax) elements
 * @return STS_OK; STS_BAD_SIZE if nMax is below 8 or no power of two; STS_NULL_PTR for a null
 *   array. After a failure neither array is changed. */
static inline int32_t fillFftTables(int32_t nMax, int32_t* fftTable, double* fftTwiddles) {
    const int32_t tableLen = fftTableLen(nMax);
    const int32_t area = nMax / 4; /* of the twiddles, and of the cosines behind them */
    const int32_t quarter = area / 2;
    int32_t reversed = 0;
    int32_t i;
    if (tableLen < 0) {
        return STS_BAD_SIZE;
    }
    if (fftTable == NULL || fftTwiddles == NULL) {
        return STS_NULL_PTR;
    }
    fftTable[0] = area;
    fftTable[1] = area;
    for (i = 2; i < tableLen; ++i) {
        fftTable[i] = 0; /* the work area */
    }
    for (i = 0; i < quarter; ++i) { /* cos, sin of pi/2 * reversed / quarter */
        int32_t bit = quarter / 2;
        fftTwiddles[2 * i] = fftTablesCosine(reversed, quarter);
        fftTwiddles[2 * i + 1] = fftTablesCosine(quarter - reversed, quarter);
        while ((reversed & bit) != 0) { /* counts up from the highest bit */
            reversed ^= bit;
            bit /= 2;
        }
        reversed |= bit;
    }
    for (i = 0; i < area; ++i) {
        fftTwiddles[area + i] = 0.5 * fftTablesCosine(i, area);
    }
    return STS_OK;
}

/** @} */

#endif
