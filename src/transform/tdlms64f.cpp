// Transform-domain LMS filter, one sample per call: the line is transformed, the output is an inner
// product of two packed spectra, and every bin has its own step, normalised by its smoothed power.
// With X the spectrum of the line: y = sum of C * X over all bins, mirror bins included,
// C += ((err * mu) / (power + 1e-6)) * X.
// Source: Narayan, Peterson and Narasimha 1983, Transform domain LMS algorithm.
// Departs from the textbook in the transform, which is unscaled, and in counting the complex bins twice
// in the output, for their mirror bins: mu is stable up to somewhat below 2 / fftLen.
#include "tdlms64f.h"

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lanes.h"
#include "frame/lifecycle.h"
#include "frame/ring_line.h"
#include "transform/complex_lanes.h"
#include "transform/spectral_record.h"

#include <algorithm>

using namespace merlo;
using complex::SplitComplex;

namespace {

// Single-precision values widened to double: 0.9800000190734863, 0.019999999552965164 and
// 9.999999974752427e-07. The first two do not add up to 1 exactly.
constexpr double kPowerKeep = 0.98F;
constexpr double kPowerGain = 0.02F;
constexpr double kRegulariser = 1e-6F;

template <class Provide>
int32_t setUp(tdlms64fState* state, int32_t order, double mu, int32_t* fftTable,
              const double* fftTwiddles, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (fftTwiddles == nullptr || fftTable == nullptr) {
        return fail(state, STS_NULL_PTR);
    }
    const int32_t fftLen = order < 1 ? 0 : transformLength(order - 1);
    if (fftLen == 0) {
        return fail(state, STS_BAD_SIZE);
    }
    const int32_t bins = fftLen / 2 + 1;
    if (const int32_t status =
            provide({{&state->coef, fftLen}, {&state->delayLine, 2 * fftLen + 2 * bins}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->order = order;
    state->fftLen = fftLen;
    state->bins = bins;
    state->mu = mu;
    state->invScale = 2.0 / fftLen;
    state->head = fftLen - 1;
    state->frame = state->delayLine + fftLen;
    state->powerAvg = state->frame + fftLen;
    state->powerInst = state->powerAvg + bins;
    state->fftTwiddles = fftTwiddles;
    state->fftTable = fftTable;
    return set64f(1.0, state->powerAvg, bins);
}

// In pairs, as the transform reads them.
void copyPairs(const double* from, double* to, int32_t n) {
    int32_t i = 0;
    for (; i + 2 <= n; i += 2) {
        store(load<Pair>(from + i), to + i);
    }
    if (i < n) {
        to[i] = from[i];
    }
}

// Computes in frame the spectrum of the ring line, newest sample first; `newest` is its position.
void ringSpectrum(const tdlms64fState* state, int32_t newest) {
    forEachRun(state->fftLen, state->fftLen, newest,
               [=](int32_t position, int32_t age, int32_t length) {
                   copyPairs(state->delayLine + position, state->frame + age, length);
               });
    toSpectrum(state, state->frame);
}

void linearSpectrum(const tdlms64fState* state) {
    copyPairs(state->delayLine, state->frame, state->fftLen);
    toSpectrum(state, state->frame);
}

// The loops over bins take two bins at a time: the transform of at most 32 points writes single numbers,
// and a wider load would wait for two of its stores. Bins 0, 1 and fftLen / 2 are computed apart.

// visit(k) for k = 2, 4, .., which stands for the bins k and k + 1.
template <class Visit>
void forEachTwoBins(const tdlms64fState* state, Visit visit) {
    for (int32_t k = 2; k < state->bins - 1; k += 2) {
        visit(k);
    }
}

// The real parts of two complex bins, and the imaginary parts.
SplitComplex<Pair> twoBins(const double* spectrum, int32_t k) {
    const Pair first = loadWhole<Pair>(spectrum + 2 * k);
    const Pair second = loadWhole<Pair>(spectrum + 2 * k + 2);
    return {evens(first, second), odds(first, second)};
}

// The inner product of the two spectra. The complex bins count twice, for their mirror bins.
double output(const tdlms64fState* state) {
    const double* const c = state->coef;
    const double* const x = state->frame;
    double sum = 0.0;
    if (state->bins > 2) {
        sum += 2 * (c[3] * x[3] + c[2] * x[2]);
    }
    forEachTwoBins(state, [&](int32_t k) {
        const SplitComplex<Pair> ck = twoBins(c, k);
        const SplitComplex<Pair> xk = twoBins(x, k);
        const Pair terms = 2 * (ck.im * xk.im + ck.re * xk.re);
        sum += terms[0];
        sum += terms[1];
    });
    sum += c[0] * x[0];
    sum += c[1] * x[1];
    return sum;
}

void smoothPowers(const tdlms64fState* state) {
    const double* const x = state->frame;
    const auto smooth = [=]<class V>(int32_t k, V power) {
        store(power, state->powerInst + k);
        store(kPowerGain * power + kPowerKeep * load<V>(state->powerAvg + k), state->powerAvg + k);
    };
    smooth(0, x[0] * x[0]);
    smooth(state->bins - 1, x[1] * x[1]);
    if (state->bins > 2) {
        smooth(1, x[2] * x[2] + x[3] * x[3]);
    }
    forEachTwoBins(state, [=](int32_t k) {
        const SplitComplex<Pair> z = twoBins(x, k);
        smooth(k, z.re * z.re + z.im * z.im);
    });
}

// frame is the spectrum; returns the output, computed before the update.
double adapt(tdlms64fState* state, double d) {
    const double y = output(state);
    state->err = d - y;
    smoothPowers(state);
    const double g = state->err * state->mu;
    double* const c = state->coef;
    const double* const x = state->frame;
    const double* const power = state->powerAvg;
    c[0] += (g / (power[0] + kRegulariser)) * x[0];
    c[1] += (g / (power[state->bins - 1] + kRegulariser)) * x[1];
    const auto move = [=](Pair step, int32_t slot) {
        store(load<Pair>(c + slot) + step * load<Pair>(x + slot), c + slot);
    };
    if (state->bins > 2) {
        move(all<Pair>(g / (power[1] + kRegulariser)), 2);
    }
    forEachTwoBins(state, [=](int32_t k) {
        const Pair steps = g / (load<Pair>(power + k) + kRegulariser);
        move(evens(steps, steps), 2 * k);
        move(odds(steps, steps), 2 * k + 2);
    });
    return y;
}

// The number of taps that the accessors reach: fftLen may be order - 1, or above order.
int32_t tapsInRange(const tdlms64fState* state) { return std::min(state->order, state->fftLen); }

// Calls move(index in coef, index in buf) with the taps in the time domain, where a tap is fftLen times
// its element of coef.
template <class Move>
int32_t accessTaps(const tdlms64fState* state, const double* buf, int32_t start, int32_t count,
                   int32_t reversed, Move move) {
    const int32_t length = tapsInRange(state);
    const int32_t n = elementsInRange(state->coef, buf, length, start, count);
    if (n < 0) {
        return n;
    }
    toTime(state, state->coef);
    scaleIp64f(state->invScale, state->coef, state->fftLen);
    forEachElement(state->coef, buf, length, start, count, reversed, move);
    toSpectrum(state, state->coef);
    return n;
}

} // namespace

int32_t tdlms64fInit(tdlms64fState* state, int32_t order, double mu, int32_t* fftTable,
                     const double* fftTwiddles) {
    return setUp(state, order, mu, fftTable, fftTwiddles, fromHeap);
}

int32_t tdlms64fInitStatic(tdlms64fState* state, int32_t order, double mu, double* coefBuf,
                           double* workBuf, int32_t* fftTable, const double* fftTwiddles) {
    return setUp(state, order, mu, fftTable, fftTwiddles, FromHost(coefBuf, workBuf));
}

void tdlms64fFree(tdlms64fState* state) {
    release(state->delayLine);
    release(state->coef);
    state->order = 0;
}

double tdlms64fFilterUpdate(tdlms64fState* state, double x, double d) {
    ringSpectrum(state, insertSample(x, state->delayLine, state->fftLen, &state->head));
    return adapt(state, d);
}

double tdlms64fFilterOnly(tdlms64fState* state, double x) {
    ringSpectrum(state, insertSample(x, state->delayLine, state->fftLen, &state->head));
    smoothPowers(state);
    return output(state);
}

double tdlms64fLCFilterUpdate(tdlms64fState* state, double d) {
    linearSpectrum(state);
    return adapt(state, d);
}

double tdlms64fLCFilterOnly(tdlms64fState* state) {
    linearSpectrum(state);
    smoothPowers(state);
    return output(state);
}

int32_t tdlms64fReset(tdlms64fState* state) { return reset64f(state->coef, state->fftLen); }

int32_t tdlms64fResetDelayLine(tdlms64fState* state) {
    if (state->frame == nullptr || state->delayLine == nullptr) {
        return STS_NULL_PTR;
    }
    reset64f(state->frame, state->fftLen);
    return reset64f(state->delayLine, state->fftLen);
}

int32_t tdlms64fGetCoef(tdlms64fState* state, double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return accessTaps(state, buf, start, count, reversed, [=](int32_t element, int32_t slot) {
        buf[slot] = state->fftLen * state->coef[element];
    });
}

int32_t tdlms64fSetCoef(tdlms64fState* state, const double* buf, int32_t start, int32_t count,
                        int32_t reversed) {
    return accessTaps(state, buf, start, count, reversed, [=](int32_t element, int32_t slot) {
        state->coef[element] = buf[slot] / state->fftLen;
    });
}

int32_t tdlms64fGetDelayLine(const tdlms64fState* state, double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return readRing(state->delayLine, state->fftLen, state->head, state->fftLen, buf, start, count,
                    reversed);
}

int32_t tdlms64fSetDelayLine(tdlms64fState* state, const double* buf, int32_t start, int32_t count,
                             int32_t reversed) {
    return writeRing(state->delayLine, state->fftLen, state->head, state->fftLen, buf, start, count,
                     reversed);
}

int32_t tdlms64fResize(tdlms64fState* state, int32_t order) {
    if (order == state->order) {
        return STS_OK;
    }
    tdlms64fState next = *state;
    if (const int32_t status =
            tdlms64fInit(&next, order, state->mu, state->fftTable, state->fftTwiddles);
        status != STS_OK) {
        return status;
    }
    return replace(state, next, tdlms64fFree, [&] {
        carryNewest(state->delayLine, state->fftLen, state->head, next.delayLine, next.fftLen,
                    next.head);
        carryPower(*state, next);
        double* const taps = state->frame;
        tdlms64fGetCoef(state, taps, 0, tapsInRange(state), 0);
        return tdlms64fSetCoef(&next, taps, 0, std::min(tapsInRange(state), tapsInRange(&next)), 0);
    });
}
