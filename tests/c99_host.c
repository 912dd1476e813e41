/* A host in C99: every header compiles alone and together, a filter runs from C, and the static buffers
 * of every family have their exact lengths. */
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

static int32_t noTable;

static int isUnset(const double* buf) { return memcmp(buf, "unset...", sizeof *buf) == 0; }

static void unset(double* buf, int n) {
    int i;
    for (i = 0; i < n; ++i) {
        memcpy(&buf[i], "unset...", sizeof *buf);
    }
}

/* InitStatic writes both buffers to their last element and not beyond. */
#define FILLS(family, coefLen, workLen, ...)                                                       \
    do {                                                                                           \
        static double a[(coefLen) + 1], b[(workLen) + 1];                                          \
        static family##State state;                                                                \
        unset(a, sizeof a / sizeof *a);                                                            \
        unset(b, sizeof b / sizeof *b);                                                            \
        expect(family##InitStatic(&state, __VA_ARGS__) == STS_OK, #family "InitStatic");           \
        expect(!isUnset(&a[(coefLen)-1]) && isUnset(&a[coefLen]), #family ", first buffer");       \
        expect(!isUnset(&b[(workLen)-1]) && isUnset(&b[workLen]), #family ", second buffer");      \
    } while (0)

#define ALL_FILL(n)                                                                                \
    FILLS(fir64f, FIR64F_DELAY_LEN(n), FIR64F_DELAY_LEN(n), n, memset(a, 0, sizeof a - sizeof *a), \
          b);                                                                                      \
    FILLS(lms64f, LMS64F_COEF_LEN(n), LMS64F_DELAY_LEN(n), n, 0.1, a, b);                          \
    FILLS(nlms64f, NLMS64F_COEF_LEN(n), NLMS64F_DELAY_LEN(n), n, 0.1, a, b);                       \
    FILLS(blms64f, BLMS64F_COEF_LEN(n), BLMS64F_DELAY_LEN(n), n, 50, 0.1, a, b);                   \
    FILLS(bnlms64f, BNLMS64F_COEF_LEN(n), BNLMS64F_DELAY_LEN(n), n, 50, 0.1, a, b);                \
    FILLS(fxlms64f, FXLMS64F_COEF_LEN(n), FXLMS64F_WORK_LEN(n, 9, 11), n, 0.1, in, 9, in, 11, a,   \
          b);                                                                                      \
    FILLS(adjlms64f, ADJLMS64F_COEF_LEN(n), ADJLMS64F_WORK_LEN(n, 9, 11), n, 0.1, in, 9, in, 11,   \
          a, b);                                                                                   \
    FILLS(bfdaf64f, BFDAF64F_COEF_LEN(n, 50), BFDAF64F_WORK_LEN(n, 50), n, 50, 0.1, 1, a, b,       \
          &noTable, in);                                                                           \
    FILLS(pbfdaf64f, PBFDAF64F_COEF_LEN(n, 50, 3), PBFDAF64F_WORK_LEN(n, 50, 3), n, 50, 3, 0.1, 1, \
          a, b, &noTable, in);                                                                     \
    FILLS(tdlms64f, TDLMS64F_COEF_LEN(n), TDLMS64F_WORK_LEN(n), n, 0.1, a, b, &noTable, in);       \
    FILLS(lfpef64f, LFPEF64F_COEF_LEN(n), LFPEF64F_WORK_LEN(n), n, 0.1, a, b);                     \
    FILLS(lbpef64f, LBPEF64F_COEF_LEN(n), LBPEF64F_WORK_LEN(n), n, 0.1, a, b);                     \
    FILLS(rlslattice64f, RLSLATTICE64F_COEF_LEN(n), RLSLATTICE64F_WORK_LEN(n), n, 0.1, a, b);      \
    FILLS(rlslfpef64f, RLSLFPEF64F_COEF_LEN(n), RLSLFPEF64F_WORK_LEN(n), n, 0.1, a, b);            \
    FILLS(rlslbpef64f, RLSLBPEF64F_COEF_LEN(n), RLSLBPEF64F_WORK_LEN(n), n, 0.1, a, b);            \
    FILLS(lmslattice64f, LMSLATTICE64F_COEF_LEN(n), LMSLATTICE64F_WORK_LEN(n), n, 0.1, 0.1, a, b); \
    FILLS(rls64f, RLS64F_COEF_LEN(n), RLS64F_WORK_LEN(n), n, 0.1, 0.1, a, b)

int main(void) {
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

    ALL_FILL(7);
    ALL_FILL(15); /* with blocks of 50 a power of two itself */
    ALL_FILL(40); /* above either limit */
    for (i = 1; i < 5000; ++i) {
        expect(MERLO64F_POWER_OF_2(i) == 1 << nextPow2(i), "MERLO64F_POWER_OF_2");
    }
    expect(MERLO64F_POWER_OF_2((1 << 29) + 1) == 1 << 30, "MERLO64F_POWER_OF_2 at its limit");

    expect(fir64fInit(&fir, 4, coef) == STS_OK, "fir64fInit");
    expect(fir64fBlockFilter(&fir, in, out, 6) == STS_OK, "fir64fBlockFilter");
    expect(memcmp(out, response, sizeof out) == 0, "impulse response");
    fir64fResetDelayLine(&fir);

    expect(lms64fInit(&lms, 4, 0.25) == STS_OK, "lms64fInit");
    for (i = 0; i < 4000; ++i) {
        const double x = (i * 7919 % 113) / 56.0 - 1.0;
        lms64fFilterUpdate(&lms, x, fir64fFilter(&fir, x));
    }
    expect(lms64fGetCoef(&lms, read, 0, 4, 0) == 4, "lms64fGetCoef");
    for (i = 0; i < 4; ++i) {
        expect(read[i] - coef[i] < 1e-9 && coef[i] - read[i] < 1e-9, "learned tap");
    }
    lms64fFree(&lms);
    fir64fFree(&fir);

    expect(fillFftTables(8, table, twiddles) == STS_OK && twiddles[0] == 1.0, "fillFftTables");
    return failures;
}
