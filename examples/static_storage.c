/* Two filters without a heap: all records, buffers and tables have static storage duration. Their
 * lengths are constant expressions from the headers.
 *
 * A loudspeaker plays white noise. A microphone picks up its echo from a room, the tone of a fan
 * and white noise. pbfdaf64f removes the echo. nlms64f predicts each sample of the remainder from
 * the samples before it; only the tone is predictable, so the prediction error is the cleaned
 * signal. */
#include <math.h>
#include <stdio.h>

#include <fft_tables.h>
#include <nlms64f.h>
#include <pbfdaf64f.h>

enum {
    RATE = 8000, /* Hz */
    BLOCK = 32,  /* samples */
    PARTS = 8,   /* partitions of the canceller: 32 ms */
    TAPS = 32,   /* of the predictor */
    ROOM = BLOCK * PARTS,
    BLOCKS = 20 * RATE / BLOCK
};

static pbfdaf64fState canceller;
static double cancellerCoef[PBFDAF64F_COEF_LEN(BLOCK, BLOCK, PARTS)];
static double cancellerWork[PBFDAF64F_WORK_LEN(BLOCK, BLOCK, PARTS)];
static int32_t fftTable[FFT_TABLE_LEN(PBFDAF64F_FFT_LEN(BLOCK, BLOCK))];
static double fftTwiddles[FFT_TWIDDLES_LEN(PBFDAF64F_FFT_LEN(BLOCK, BLOCK))];

static nlms64fState predictor;
static double predictorCoef[NLMS64F_COEF_LEN(TAPS)];
static double predictorDelay[NLMS64F_DELAY_LEN(TAPS)];

static double room[ROOM];    /* impulse response */
static double history[ROOM]; /* samples that the loudspeaker has played, newest first */

static double whiteNoise(void) { /* uniform in -1 .. 1 */
    static uint32_t state = 1;
    state = state * 1664525u + 1013904223u;
    return (double)state / 2147483648.0 - 1.0;
}

static double echoOf(double x) {
    double sum = 0.0;
    int k;
    insertSampleLinBuf64f(x, history, ROOM);
    for (k = 0; k < ROOM; ++k) {
        sum += room[k] * history[k];
    }
    return sum;
}

int main(void) {
    static double played[BLOCK], heard[BLOCK], echo[BLOCK], rest[BLOCK];
    double before = 0.0, between = 0.0, after = 0.0, last = 0.0;
    const double counted = (double)(BLOCKS - BLOCKS / 2) * BLOCK;
    int block, i;

    for (i = 0; i < ROOM; ++i) {
        room[i] = 0.2 * exp(-i / 40.0) * whiteNoise();
    }
    if (fillFftTables(PBFDAF64F_FFT_LEN(BLOCK, BLOCK), fftTable, fftTwiddles) != STS_OK ||
        pbfdaf64fInitStatic(&canceller, BLOCK, BLOCK, PARTS, 0.2 / ROOM, 1, cancellerCoef,
                            cancellerWork, fftTable, fftTwiddles) != STS_OK ||
        nlms64fInitStatic(&predictor, TAPS, 0.05 / TAPS, predictorCoef, predictorDelay) != STS_OK) {
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
            nlms64fFilterUpdate(&predictor, last, rest[i]);
            last = rest[i];
            if (block >= BLOCKS / 2) { /* by then both filters have converged */
                before += heard[i] * heard[i];
                between += rest[i] * rest[i];
                after += predictor.err * predictor.err;
            }
        }
    }
    before = 10.0 * log10(before / counted);
    between = 10.0 * log10(between / counted);
    after = 10.0 * log10(after / counted);
    printf("level re full scale: microphone %.1f dB, without the echo %.1f dB, without the tone "
           "%.1f dB\n",
           before, between, after);
    return before - after > 40.0 ? 0 : 1;
}
