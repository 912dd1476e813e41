/* A duct with a fan at one end, two microphones and a loudspeaker. Only additions and products of doubles,
 * so every machine computes the same samples; compile it with -ffp-contract=off. */
#include "board.h"

#include <merlo64f.h>

enum { SECONDS = 5, RATE = 8000, LONGEST = 12 };

/* Impulse responses from the reference microphone and from the loudspeaker to the error microphone. */
static const double noisePath[LONGEST] = {0.0, 0.0, 0.0,   0.0,  0.0,  0.0,
                                          0.0, 0.6, -0.35, 0.25, -0.1, 0.05};
static const double speakerPath[LONGEST] = {0.0, 0.0, 0.7, 0.3, -0.2, 0.1};

static double reference[LONGEST], played[LONGEST]; /* newest first */
static double fan;

static double whiteNoise(void) { /* uniform in -1 .. 1 */
    static uint32_t state = 1;
    state = state * 1664525u + 1013904223u;
    return (double)state / 2147483648.0 - 1.0;
}

static double through(const double* path, const double* samples) {
    double sum = 0.0;
    int k;
    for (k = 0; k < LONGEST; ++k) {
        sum += path[k] * samples[k];
    }
    return sum;
}

int boardWait(void) {
    static int32_t n = 0;
    fan = 0.5 * fan + 0.5 * whiteNoise();
    insertSampleLinBuf64f(fan, reference, LONGEST);
    insertSampleLinBuf64f(0.0, played, LONGEST);
    return n++ < SECONDS * RATE;
}

double boardReference(void) { return fan; }

double boardResidual(void) { return through(noisePath, reference) + through(speakerPath, played); }

void boardPlay(double sample) { played[0] = sample; }
