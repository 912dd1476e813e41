/* A host in C99: every header compiles alone and together, and a filter runs from C. */
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
