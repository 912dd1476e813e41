/* Two filters without a heap: every record, buffer and table lies in static storage, at lengths that
 * the headers give as constant expressions.
 *
 * A loudspeaker plays; a microphone hears its echo from a room, the tone of a fan and a noise of its
 * own. pbfdaf64f takes the echo out. nlms64f predicts each sample of the rest from those before it,
 * and what can be predicted is the tone: its error is the clean signal. */
#include <math.h>
#include <stdio.h>

#include <fft_tables.h>
#include <nlms64f.h>
#include <pbfdaf64f.h>

enum {
    RATE = 8000, /* Hz */
    BLOCK = 32,  /* samples */
    PARTS = 8,   /* of the echo: 32 ms */
    TAPS = 32,   /* of the line enhancer */
    ROOM = BLOCK * PARTS,
    BLOCKS = 20 * RATE / BLOCK
};

static pbfdaf64fState canceller;
static double cancellerCoef[PBFDAF64F_COEF_LEN(BLOCK, BLOCK, PARTS)];
static double cancellerWork[PBFDAF64F_WORK_LEN(BLOCK, BLOCK, PARTS)];
static int32_t fftTable[FFT_TABLE_LEN(PBFDAF64F_FFT_LEN(BLOCK, BLOCK))];
static double fftTwiddles[FFT_TWIDDLES_LEN(PBFDAF64F_FFT_LEN(BLOCK, BLOCK))];

static nlms64fState enhancer;
static double enhancerCoef[NLMS64F_COEF_LEN(TAPS)];
static double enhancerDelay[NLMS64F_DELAY_LEN(TAPS)];

static double room[ROOM]; /* response, the direct sound first */
static double air[ROOM];  /* what the loudspeaker has played, newest first */

static double whiteNoise(void) { /* -1 .. 1 */
    static uint32_t state = 1;
    state = state * 1664525u + 1013904223u;
    return (double)state / 2147483648.0 - 1.0;
}

static double echoOf(double x) {
    double sum = 0.0;
    int k;
    insertSampleLinBuf64f(x, air, ROOM);
    for (k = 0; k < ROOM; ++k) {
        sum += room[k] * air[k];
    }
    return sum;
}

static double decibels(double energy, double samples) { return 10.0 * log10(energy / samples); }

int main(void) {
    static double played[BLOCK], heard[BLOCK], echo[BLOCK], rest[BLOCK];
    double before = 0.0, between = 0.0, after = 0.0, counted = 0.0, last = 0.0;
    int block, i;

    for (i = 0; i < ROOM; ++i) {
        room[i] = 0.2 * exp(-i / 40.0) * whiteNoise();
    }
    if (fillFftTables(PBFDAF64F_FFT_LEN(BLOCK, BLOCK), fftTable, fftTwiddles) != STS_OK ||
        pbfdaf64fInitStatic(&canceller, BLOCK, BLOCK, PARTS, 0.2 / ROOM, 1, cancellerCoef,
                            cancellerWork, fftTable, fftTwiddles) != STS_OK ||
        nlms64fInitStatic(&enhancer, TAPS, 0.05 / TAPS, enhancerCoef, enhancerDelay) != STS_OK) {
        return 1;
    }
    for (block = 0; block < BLOCKS; ++block) {
        for (i = 0; i < BLOCK; ++i) {
            const double t = (double)(block * BLOCK + i) / RATE;
            played[i] = whiteNoise();
            heard[i] = echoOf(played[i]) + 0.05 * sin(6.283185307179586 * 440.0 * t) +
                       0.001 * whiteNoise();
        }
        pbfdaf64fFilterUpdate(&canceller, played, heard, echo, rest);
        for (i = 0; i < BLOCK; ++i) {
            nlms64fFilterUpdate(&enhancer, last, rest[i]);
            last = rest[i];
            if (block >= BLOCKS / 2) { /* what the filters do once they have learned */
                before += heard[i] * heard[i];
                between += rest[i] * rest[i];
                after += enhancer.err * enhancer.err;
                counted += 1.0;
            }
        }
    }
    before = decibels(before, counted);
    between = decibels(between, counted);
    after = decibels(after, counted);
    printf("microphone %.1f dB, without the echo %.1f dB, without the tone %.1f dB\n", before,
           between, after);
    return before - after > 40.0 ? 0 : 1;
}
