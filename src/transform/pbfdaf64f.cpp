// Partitioned block frequency-domain adaptive filter: the response is divided into `partitions` parts
// with a coefficient spectrum each. A ring holds the spectra of the last frames; partition p
// filters the frame of p blocks ago, and all partitions use the same normalised error.
// Source: Soo and Pang 1990, Multidelay block frequency domain adaptive filter.
// Departs from the textbook in the sign of the transform's exponent: spectra are conjugate to the usual
// ones.
#include "pbfdaf64f.h"

#include "frame/accessors.h"
#include "frame/kernels.h"
#include "frame/lifecycle.h"
#include "transform/constraint.h"
#include "transform/overlap_save.h"
#include "transform/packed_spectrum.h"

#include <algorithm>

using namespace merlo;

namespace {

// Single-precision values widened to double: 0.9800000190734863 and 9.999999974752427e-07.
struct Weights {
    static constexpr double keep = 0.98F;
    static constexpr double regulariser = 1e-6F;
};
constexpr double kPowerGain = 1.0 - double{0.98F}; // 0.019999980926513672

template <class Provide>
int32_t setUp(pbfdaf64fState* state, int32_t order, int32_t blockLen, int32_t partitions, double mu,
              int32_t constrained, int32_t* fftTable, const double* fftTwiddles, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (fftTwiddles == nullptr || fftTable == nullptr) {
        return fail(state, STS_NULL_PTR);
    }
    if (blockLen < 1 || order < 1 || partitions < 1 || !setFraming(state, order, blockLen)) {
        return fail(state, STS_BAD_SIZE);
    }
    const int64_t fftLen = state->fftLen;
    const int64_t specLen = fftLen * partitions;
    if (specLen > INT32_MAX) {
        return fail(state, STS_BAD_SIZE);
    }
    const int64_t work = specLen + 2 * fftLen + state->overlap + state->bins;
    if (const int32_t status = provide({{&state->coef, specLen}, {&state->delayLine, work}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->order = order;
    state->partitions = partitions;
    state->specLen = static_cast<int32_t>(specLen);
    state->constrained = constrained != 0 ? 1 : 0;
    state->powerGain = kPowerGain / blockLen;
    state->ringPos = state->specLen / 2 - state->fftLen / 2;
    state->mu = mu;
    state->ring = state->delayLine + state->overlap;
    state->outBuf = state->ring + specLen;
    state->scratch = state->outBuf + fftLen;
    state->powerAvg = state->scratch + fftLen;
    state->fftTwiddles = fftTwiddles;
    state->fftTable = fftTable;
    return set64f(1.0, state->powerAvg, state->bins);
}

// Positions in the ring count pairs of doubles. The next slot up holds the next older frame.
double* slotAt(const pbfdaf64fState* state, int32_t position) {
    return state->ring + 2 * int64_t{position};
}

int32_t olderSlot(const pbfdaf64fState* state, int32_t position) {
    return stepUp(position, state->fftLen / 2, state->specLen / 2);
}

// Calls visit(coefficient spectrum, spectrum of the frame that it filters) for every partition.
template <class Visit>
void forEachPartition(const pbfdaf64fState* state, Visit visit) {
    int32_t position = state->ringPos;
    for (int32_t p = 0; p < state->partitions; ++p) {
        visit(state->coef + int64_t{p} * state->fftLen, slotAt(state, position));
        position = olderSlot(state, position);
    }
}

// Computes the output of the block; its frame enters the ring at ringPos.
void filter(pbfdaf64fState* state, const double* x, double* y) {
    frameSpectrum(state, x, slotAt(state, state->ringPos));
    reset64f(state->outBuf, state->fftLen);
    forEachPartition(state, [=](const double* coef, const double* frame) {
        macPacked64f(coef, frame, state->outBuf, state->bins);
    });
    toTime(state, state->outBuf);
    copy64f(state->outBuf + state->overlap, y, state->blockLen);
    scaleIp64f(state->invScale, y, state->blockLen);
}

// C(p) += step * conj(X(p)) for every partition, then the constraint: kLanes partitions at once, the
// remainder one by one. scratch becomes the conjugate of the last frame.
void adapt(pbfdaf64fState* state) {
    const bool constrained = state->constrained != 0;
    const int32_t inBatches =
        canConstrainTogether<Lanes>(state) ? state->partitions - state->partitions % kLanes : 0;
    int32_t done = 0;
    const double* lastFrame = nullptr;
    forEachPartition(state, [&](double* coef, const double* frame) {
        macConjPacked64f(state->outBuf, frame, coef, state->bins);
        lastFrame = frame;
        ++done;
        if (constrained && done > inBatches) {
            constrain(state, coef);
        } else if (kHasVectors && constrained && done % kLanes == 0) {
            constrainTogether<Lanes>(state, coef - (kLanes - 1) * int64_t{state->fftLen});
        }
    });
    conjPacked64f(lastFrame, state->scratch, state->bins);
}

void stepRing(pbfdaf64fState* state) {
    state->ringPos -= state->fftLen / 2;
    if (state->ringPos < 0) {
        state->ringPos = state->specLen / 2 - state->fftLen / 2;
    }
}

// Visits the flat vector of order * partitions taps, partition by partition in the time domain:
// move(tap, index in buf) for those in range. Every partition is reduced to its taps.
template <class Move>
int32_t accessTaps(const pbfdaf64fState* state, const double* buf, int32_t start, int32_t count,
                   int32_t reversed, Move move) {
    const int32_t total = state->order * state->partitions;
    const int32_t n = elementsInRange(state->coef, buf, total, start, count);
    if (n < 0) {
        return n;
    }
    for (int32_t p = 0; p < state->partitions; ++p) {
        double* const coef = state->coef + int64_t{p} * state->fftLen;
        const int32_t first = p * state->order;
        tapsOnly(state, coef);
        const int32_t from = std::max(start, first);
        const int32_t to = std::min(start + n, first + state->order);
        for (int32_t flat = from; flat < to; ++flat) {
            const int32_t moved = flat - start;
            move(&coef[flat - first], reversed != 0 ? n - 1 - moved : moved);
        }
        toSpectrum(state, coef);
    }
    return n;
}

// Copies every frame of the live ring, truncated or zero-padded in the time domain, to the new ring.
// The frame that is overwritten next stays the next. The live ring is left in the time domain.
void carryRing(const pbfdaf64fState& from, pbfdaf64fState& to) {
    const int32_t kept = std::min(from.fftLen, to.fftLen);
    int32_t oldPosition = from.ringPos;
    int32_t newPosition = to.ringPos;
    for (int32_t p = 0; p < from.partitions; ++p) {
        double* const oldFrame = slotAt(&from, oldPosition);
        double* const newFrame = slotAt(&to, newPosition);
        toTime(&from, oldFrame);
        scaleIp64f(from.invScale, oldFrame, kept);
        copy64f(oldFrame, newFrame, kept);
        reset64f(newFrame + kept, to.fftLen - kept); // a smaller ring is written more than once
        toSpectrum(&to, newFrame);
        oldPosition = olderSlot(&from, oldPosition);
        newPosition = olderSlot(&to, newPosition);
    }
}

} // namespace

int32_t pbfdaf64fInit(pbfdaf64fState* state, int32_t order, int32_t blockLen, int32_t partitions,
                      double mu, int32_t constrained, int32_t* fftTable,
                      const double* fftTwiddles) {
    return setUp(state, order, blockLen, partitions, mu, constrained, fftTable, fftTwiddles,
                 fromHeap);
}

int32_t pbfdaf64fInitStatic(pbfdaf64fState* state, int32_t order, int32_t blockLen,
                            int32_t partitions, double mu, int32_t constrained, double* coefBuf,
                            double* workBuf, int32_t* fftTable, const double* fftTwiddles) {
    return setUp(state, order, blockLen, partitions, mu, constrained, fftTable, fftTwiddles,
                 FromHost(coefBuf, workBuf));
}

void pbfdaf64fFree(pbfdaf64fState* state) {
    release(state->delayLine);
    release(state->coef);
    state->order = 0;
}

int32_t pbfdaf64fFilterUpdate(pbfdaf64fState* state, const double* x, const double* d, double* y,
                              double* e) {
    if (state->delayLine == nullptr) {
        return STS_NULL_PTR;
    }
    filter(state, x, y);
    errorSpectrum(state, y, d, e);
    smoothPowerSpectrum<Weights>(state, slotAt(state, state->ringPos), state->scratch);
    normaliseError<Weights>(state);
    adapt(state);
    stepRing(state);
    return STS_OK;
}

int32_t pbfdaf64fFilterOnly(pbfdaf64fState* state, const double* x, double* y) {
    if (state->delayLine == nullptr) {
        return STS_NULL_PTR;
    }
    filter(state, x, y);
    smoothPowerSpectrum<Weights>(state, slotAt(state, state->ringPos), state->scratch);
    stepRing(state);
    return STS_OK;
}

int32_t pbfdaf64fReset(pbfdaf64fState* state) { return reset64f(state->coef, state->specLen); }

int32_t pbfdaf64fResetDelayLine(pbfdaf64fState* state) {
    if (state->ring == nullptr || state->delayLine == nullptr) {
        return STS_NULL_PTR;
    }
    reset64f(state->ring, state->specLen);
    return reset64f(state->delayLine, state->overlap);
}

int32_t pbfdaf64fGetCoef(pbfdaf64fState* state, double* buf, int32_t start, int32_t count,
                         int32_t reversed) {
    return accessTaps(state, buf, start, count, reversed,
                      [=](const double* tap, int32_t slot) { buf[slot] = *tap; });
}

int32_t pbfdaf64fSetCoef(pbfdaf64fState* state, const double* buf, int32_t start, int32_t count,
                         int32_t reversed) {
    return accessTaps(state, buf, start, count, reversed,
                      [=](double* tap, int32_t slot) { *tap = buf[slot]; });
}

int32_t pbfdaf64fResize(pbfdaf64fState* state, int32_t order, int32_t blockLen,
                        int32_t partitions) {
    if (order == state->order && blockLen == state->blockLen && partitions == state->partitions) {
        return STS_OK;
    }
    pbfdaf64fState next = *state;
    if (const int32_t status =
            pbfdaf64fInit(&next, order, blockLen, partitions, state->mu, state->constrained,
                          state->fftTable, state->fftTwiddles);
        status != STS_OK) {
        return status;
    }
    return replace(state, next, pbfdaf64fFree, [&] {
        carryHistory(*state, next);
        carryPower(*state, next);
        carryRing(*state, next);
        double* const taps = state->ring;
        const int32_t total = state->order * state->partitions;
        pbfdaf64fGetCoef(state, taps, 0, total, 0);
        return pbfdaf64fSetCoef(&next, taps, 0, std::min(next.order * next.partitions, total), 0);
    });
}
