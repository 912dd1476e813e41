/* A host in C99: every header compiles, alone and together with the others, and filters run from C,
 * without a heap. */
#include "all_headers.h"

#include <stdio.h>
#include <string.h>

static int failures = 0;

static void expect(int holds, const char* what) {
    if (!holds) {
        printf("failed: %s\n", what);
        ++failures;
    }
}

/* The lengths of static buffers are constant expressions in C, and take expressions. */
#define MOST 0x7fffffff
static const struct {
    int64_t actual, expected;
} lengths[] = {
    {MERLO64F_TAPS(31), 31},
    {MERLO64F_TAPS(32), 32},
    {MERLO64F_TAPS(MOST), 32},
    {MERLO64F_TAPS(40 & 7), 0},
    {MERLO64F_STAGES(9), 9},
    {MERLO64F_STAGES(10), 10},
    {MERLO64F_STAGES(MOST), 10},
    {MERLO64F_STAGES(40 & 7), 0},
    {MERLO64F_POWER_OF_2((1 << 29) + 1), 1 << 30},
    {MERLO64F_POWER_OF_2(4 | 1), 8},
    {FIR64F_DELAY_LEN(7), 7},
    {LMS64F_COEF_LEN(7), 7},
    {LMS64F_DELAY_LEN(7), 7},
    {NLMS64F_COEF_LEN(7), 7},
    {NLMS64F_DELAY_LEN(7), 7},
    {BLMS64F_COEF_LEN(7), 7},
    {BLMS64F_DELAY_LEN(7), 7},
    {BNLMS64F_COEF_LEN(7), 7},
    {BNLMS64F_DELAY_LEN(7), 7},
    {FXLMS64F_COEF_LEN(7), 7},
    {FXLMS64F_WORK_LEN(7, 8 | 1, 8 | 1), 25},
    {FXLMS64F_WORK_LEN(40, 8 + 1, 8), 73},
    {FXLMS64F_WORK_LEN(1, MOST, MOST), 4294967295},
    {ADJLMS64F_COEF_LEN(7), 7},
    {ADJLMS64F_WORK_LEN(7, 8 | 1, 8 | 1), 33},
    {ADJLMS64F_WORK_LEN(1, MOST, MOST), 6442450941},
    {BFDAF64F_COEF_LEN(7, 58), 64},
    {BFDAF64F_COEF_LEN(7, 59), 128},
    {BFDAF64F_WORK_LEN(7, 32 | 26), 200},
    {BFDAF64F_WORK_LEN(4, (1 << 30) - 3), 3221225477},
    {PBFDAF64F_COEF_LEN(7, 58, 2 | 1), 192},
    {PBFDAF64F_COEF_LEN(7, 59, 2 + 1), 384},
    {PBFDAF64F_WORK_LEN(7, 32 | 26, 2 | 1), 359},
    {PBFDAF64F_WORK_LEN(4, 5, (1 << 28) - 1), 2147483664},
    {TDLMS64F_COEF_LEN(9), 8},
    {TDLMS64F_COEF_LEN(10), 16},
    {TDLMS64F_WORK_LEN(9), 26},
    {LFPEF64F_COEF_LEN(7), 14},
    {LFPEF64F_WORK_LEN(7), 24},
    {LBPEF64F_COEF_LEN(7), 14},
    {LBPEF64F_WORK_LEN(7), 32},
    {LMSLATTICE64F_COEF_LEN(7), 14},
    {LMSLATTICE64F_WORK_LEN(7), 21},
    {RLS64F_COEF_LEN(7), 7},
    {RLS64F_WORK_LEN(7), 42},
    {RLSLATTICE64F_COEF_LEN(7), 21},
    {RLSLATTICE64F_WORK_LEN(7), 42},
    {RLSLFPEF64F_COEF_LEN(7), 21},
    {RLSLFPEF64F_WORK_LEN(7), 35},
    {RLSLBPEF64F_COEF_LEN(7), 21},
    {RLSLBPEF64F_WORK_LEN(7), 43},
    {FFT_TABLE_LEN(8 | 1), 4},
    {FFT_TWIDDLES_LEN(8 | 2), 5},
};

/* The tables of 1024 points have the same bits on every target: FNV-1a over the twiddle factors. */
static uint64_t digestOfTables(void) {
    static int32_t table[FFT_TABLE_LEN(1024)];
    static double twiddles[FFT_TWIDDLES_LEN(1024)];
    uint64_t digest = 0xcbf29ce484222325u;
    int i, shift;
    memset(table, 1, sizeof table);
    expect(fillFftTables(1024, table, twiddles) == STS_OK, "fillFftTables");
    for (i = 2; i < FFT_TABLE_LEN(1024); ++i) {
        expect(table[i] == 0, "work area");
    }
    for (i = 0; i < FFT_TWIDDLES_LEN(1024); ++i) {
        uint64_t bits;
        memcpy(&bits, &twiddles[i], sizeof bits);
        for (shift = 0; shift < 64; shift += 8) {
            digest = (digest ^ ((bits >> shift) & 0xffu)) * 0x100000001b3u;
        }
    }
    return digest;
}

int main(void) {
    static double firDelay[FIR64F_DELAY_LEN(4)];
    static double lmsCoef[LMS64F_COEF_LEN(4)], lmsDelay[LMS64F_DELAY_LEN(4)];
    double coef[MAX_TAPS] = {1.0, 2.0, 3.0, 4.0};
    double in[6] = {1.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    const double response[6] = {1.0, 2.0, 3.0, 4.0, 0.0, 0.0};
    double out[6];
    double read[4];
    int32_t table[3];
    double twiddles[4];
    int i;
    fir64fState fir;
    lms64fState lms;

    /* Hosts are compiled with these numbers. */
    expect(STS_OK == 0 && STS_NULL_PTR == -1 && STS_BAD_SIZE == -2 && STS_NO_MEMORY == -3,
           "status");
    expect(MAX_TAPS == 32 && MAX_PEF_STAGES == 10, "limits");
    for (i = 0; i < (int)(sizeof lengths / sizeof *lengths); ++i) {
        if (lengths[i].actual != lengths[i].expected) {
            printf("failed: length %d\n", i);
            ++failures;
        }
    }
    for (i = 1; i < 5000; ++i) {
        expect(MERLO64F_POWER_OF_2(i) == 1 << nextPow2(i), "MERLO64F_POWER_OF_2");
    }

    expect(fir64fInitStatic(&fir, 4, coef, firDelay) == STS_OK, "fir64fInitStatic");
    expect(fir64fBlockFilter(&fir, in, out, 6) == STS_OK, "fir64fBlockFilter");
    expect(memcmp(out, response, sizeof out) == 0, "impulse response");
    fir64fResetDelayLine(&fir);

    expect(lms64fInitStatic(&lms, 4, 0.25, lmsCoef, lmsDelay) == STS_OK, "lms64fInitStatic");
    for (i = 0; i < 4000; ++i) {
        const double x = (i * 7919 % 113) / 56.0 - 1.0;
        lms64fFilterUpdate(&lms, x, fir64fFilter(&fir, x));
    }
    expect(lms64fGetCoef(&lms, read, 0, 4, 0) == 4, "lms64fGetCoef");
    for (i = 0; i < 4; ++i) {
        expect(read[i] - coef[i] < 1e-9 && coef[i] - read[i] < 1e-9, "learned tap");
    }

    expect(fillFftTables(8, table, twiddles) == STS_OK && twiddles[0] == 1.0, "fillFftTables");
    expect(digestOfTables() == 0x4466283d379a1920u, "the values of the tables");
    return failures;
}
