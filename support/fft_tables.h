/** @file
 * @ref fft_tables
 * @defgroup fft_tables fft_tables: the tables of the transform
 * The two tables that the filters in the frequency domain borrow. Header only.
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
 * Sines and cosines are computed in 96-bit integers, without the mathematical library, so the tables are
 * the same on every processor, with every compiler and with every floating-point option. Every value
 * is the double nearest to the exact one; above 2^20 points rare near-ties may go to
 * its neighbour.
 * @{ */
#ifndef MERLO64F_FFT_TABLES_H
#define MERLO64F_FFT_TABLES_H

#include "merlo64f.h"

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
/* Fixed point: the sum of word[i] * 2^(32 * i - 96). Results are cut off there. */
typedef struct {
    uint32_t word[4];
} FftTablesFixed;

/* a * b, for 0 <= a < 2 and 0 <= b <= 1: no sum over j carries out of its last word. */
static inline FftTablesFixed fftTablesProduct(FftTablesFixed a, FftTablesFixed b) {
    uint32_t product[7] = {0};
    FftTablesFixed result;
    int i, j;
    for (i = 0; i < 4; ++i) {
        uint64_t sum = 0;
        for (j = 0; j < 4; ++j) {
            sum = (sum >> 32) + product[i + j] + (uint64_t)a.word[i] * b.word[j];
            product[i + j] = (uint32_t)sum;
        }
    }
    for (i = 0; i < 4; ++i) {
        result.word[i] = product[i + 3];
    }
    return result;
}

/* 1 - a / divisor, for 0 <= a < 1, less 2^-96. */
static inline FftTablesFixed fftTablesOneMinus(FftTablesFixed a, uint32_t divisor) {
    uint64_t rest = 0;
    int i;
    for (i = 2; i >= 0; --i) {
        rest = (rest << 32) + a.word[i];
        a.word[i] = ~(uint32_t)(rest / divisor);
        rest %= divisor;
    }
    return a;
}

/* The double nearest to a, for a = 0 and 2^-32 <= a < 1. */
static inline double fftTablesRounded(FftTablesFixed a) {
    double unit = 1.0 / 9007199254740992.0; /* 2^-53 */
    int64_t bits;
    if (a.word[2] == 0) {
        return 0.0;
    }
    while (a.word[2] >> 31 == 0) {
        a.word[2] = a.word[2] << 1 | a.word[1] >> 31;
        a.word[1] = a.word[1] << 1 | a.word[0] >> 31;
        a.word[0] <<= 1;
        unit *= 0.5;
    }
    bits = (int64_t)a.word[2] << 22 | a.word[1] >> 10; /* 54, one more than a double has */
    return unit * (double)((bits + 1) / 2);
}

/* cos(pi/2 * k / quarter), 0 <= k <= quarter, quarter a power of two up to 2^28, by the Taylor series of
 * the sine or the cosine of an angle up to pi/4. The first term left out is below 2^-107. */
static inline double fftTablesCosine(int32_t k, int32_t quarter) {
    const FftTablesFixed halfPi = {{0x898cc517U, 0x42d18469U, 0x921fb544U, 1}};
    const int32_t rest = quarter - k;
    const int sine = rest < k;
    FftTablesFixed angle = {{0}};
    FftTablesFixed series = {{0}};
    FftTablesFixed square;
    uint32_t n;
    angle.word[2] = (uint32_t)(sine ? rest : k) * (0x80000000U / (uint32_t)quarter) * 2U;
    angle = fftTablesProduct(halfPi, angle);
    square = fftTablesProduct(angle, angle);
    for (n = sine ? 29 : 28; n > 1; n -= 2) { /* 1 - square / (n * (n - 1)) * (1 - ...) */
        series = fftTablesOneMinus(fftTablesProduct(square, series), n * (n - 1));
    }
    return fftTablesRounded(sine ? fftTablesProduct(angle, series) : series);
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
