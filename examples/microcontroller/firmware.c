/* Active noise control on a microcontroller: a filtered-x filter in static storage, called once per sample
 * at a fixed rate. From sample LOG_FROM on it logs the record and then LOG_SAMPLES samples, in which an
 * engineer finds on his desk, with replay.cpp, what the filter did. */
#include "board.h"
#include "log.h"

#include <fxlms64f.h>

enum { TAPS = 32, PATH = 6, LOG_FROM = 16000, LOG_SAMPLES = 64 };

/* The path from the loudspeaker to the error microphone, as measured before. Its first sample is 0: the
 * residual is read before the output is played. The path itself is real, so the record has none. */
static const double pathEstimate[PATH] = {0.0, 0.0, 0.68, 0.31, -0.18, 0.1};
static const double noPath[1] = {0.0};

static fxlms64fState control;
static double controlCoef[FXLMS64F_COEF_LEN(TAPS)];
static double controlWork[FXLMS64F_WORK_LEN(TAPS, 1, PATH)];

static void logRecord(const fxlms64fState* s) {
    logInteger("order", s->order);
    logInteger("secLen", s->secLen);
    logInteger("estLen", s->estLen);
    logInteger("refLen", s->refLen);
    logArray("mu", &s->mu, 1);
    logArray("err", &s->err, 1);
    logArray("power", &s->power, 1);
    logInteger("head", s->head);
    logInteger("outHead", s->outHead);
    logInteger("fxHead", s->fxHead);
    logArray("coef", s->coef, s->order);
    logArray("outLine", s->outLine, s->secLen);
    logArray("fxLine", s->fxLine, s->order);
    logArray("delayLine", s->delayLine, s->refLen);
    logArray("secCoef", s->secCoef, s->secLen);
    logArray("estCoef", s->estCoef, s->estLen);
}

int main(void) {
    double atFirst = 0.0, inTheEnd = 0.0;
    int32_t n;
    if (fxlms64fInitStatic(&control, TAPS, 0.01, noPath, 1, pathEstimate, PATH, controlCoef,
                           controlWork) != STS_OK) {
        return 1;
    }
    for (n = 0; boardWait(); ++n) {
        const double x = boardReference();
        const double d = boardResidual();
        if (n == LOG_FROM) {
            logRecord(&control);
            printf("samples x d y err\n");
        }
        fxlms64fFilterUpdate(&control, x, d);
        boardPlay(control.outLine[0]);
        if (n >= LOG_FROM && n < LOG_FROM + LOG_SAMPLES) {
            logDouble(x);
            logDouble(d);
            logDouble(control.outLine[0]);
            logDouble(control.err);
            printf("\n");
        }
        if (n < 800) {
            atFirst += d * d;
        }
        inTheEnd = 0.999 * inTheEnd + 0.001 * d * d;
    }
    printf("end\n");
    /* 20 dB less noise than in the first tenth of a second, or the control has failed */
    return inTheEnd < 0.01 * (atFirst / 800.0) ? 0 : 1;
}
