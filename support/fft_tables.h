/** @file
 * For hosts: the two tables that the transform-domain filters borrow. Header only; needs -lm, which
 * the pkg-config file and the CMake target bring along.
 *
 *     int32_t* fftTable = malloc(fftTableLen(nMax) * sizeof *fftTable);
 *     double* fftTwiddles = malloc(fftTwiddlesLen(nMax) * sizeof *fftTwiddles);
 *     int32_t status = fillFftTables(nMax, fftTable, fftTwiddles);
 *
 * nMax is the longest transform in use, a power of two and at least 8; one pair of tables serves
 * every shorter one. The filters only read fftTwiddles, so any number of them can share it, on any
 * threads. They write to fftTable at every transform: filters that run at the same time on different
 * threads need one each.
 *
 * Values. Angles are taken back to the first octant by symmetry, on integers, and go to cosl and
 * sinl. Where long double is wider than double (x86, AArch64 Linux), every value is the double
 * nearest the true one but for a rare near-tie, in which it is its neighbour; elsewhere it is as
 * near as the host's cos and sin come. Hosts that need the same bits everywhere ship the tables.
 */
#ifndef MERLO64F_FFT_TABLES_H
#define MERLO64F_FFT_TABLES_H

#include "merlo64f.h"

#include <math.h>
#include <stddef.h>
#include <stdint.h>

/** Number of elements of fftTable, or STS_BAD_SIZE. */
static inline int32_t fftTableLen(int32_t nMax) {
    int32_t l = nMax;
    int32_t m = 1;
    if (nMax < 8 || (nMax & (nMax - 1)) != 0) {
        return STS_BAD_SIZE;
    }
    while (8 * m < l) {
        l /= 2;
        m *= 2;
    }
    return 2 + m;
}

/** Number of elements of fftTwiddles, or STS_BAD_SIZE. */
static inline int32_t fftTwiddlesLen(int32_t nMax) {
    return fftTableLen(nMax) < 0 ? STS_BAD_SIZE : nMax / 2;
}

/* cos(pi/2 * k / quarter), 0 <= k <= quarter. */
static inline double fftTablesCosine(int32_t k, int32_t quarter) {
    const long double unit = 1.57079632679489661923132169163975144L / (long double)quarter;
    const int32_t rest = quarter - k;
    return (double)(k <= rest ? cosl(unit * (long double)k) : sinl(unit * (long double)rest));
}

/** Fills both tables for transforms of up to nMax points.
 * fftTable  fftTableLen(nMax) elements; fftTwiddles  fftTwiddlesLen(nMax) elements.
 * Returns STS_OK; STS_BAD_SIZE if nMax is below 8 or no power of two; STS_NULL_PTR for a null
 * array. After a failure nothing has been touched. */
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

#endif
