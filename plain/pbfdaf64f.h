// Overlap-save filtering by one spectrum for each partition, and, with E the spectrum of e = d - y,
// coef += (mu * (E / (power + floor))) * conj(X), bin by bin.
#pragma once

#include "plain/real_fft.h"

#include <pbfdaf64f.h>

namespace plain {

// Visits the bins of packed spectra: real(slot, bin) for slots 0 and 1, then complex(k).
template <class Real, class Cplx>
inline void forEachBin(int32_t fftLen, Real real, Cplx cplx) {
    real(0, 0);
    real(1, fftLen / 2);
    for (int32_t k = 1; k < fftLen / 2; ++k) {
        cplx(k);
    }
}

// acc += a * b
inline void addProduct(const double* a, const double* b, double* acc, int32_t fftLen) {
    forEachBin(
        fftLen, [=](int32_t slot, int32_t) { acc[slot] += a[slot] * b[slot]; },
        [=](int32_t k) { put(acc, k, get(acc, k) + get(a, k) * get(b, k)); });
}

// to = conjugate of from
inline void conjugateSpectrum(const double* from, double* to, int32_t fftLen) {
    forEachBin(
        fftLen, [=](int32_t slot, int32_t) { to[slot] = from[slot]; },
        [=](int32_t k) { put(to, k, conjugate(get(from, k))); });
}

// power = |spectrum|^2 and average = gain * power + keep * average
inline void smoothSpectrum(const double* spectrum, double gain, double keep, double* power,
                           double* average, int32_t fftLen) {
    forEachBin(
        fftLen, [=](int32_t slot, int32_t bin) { power[bin] = spectrum[slot] * spectrum[slot]; },
        [=](int32_t k) {
            const Complex x = get(spectrum, k);
            power[k] = x.re * x.re + x.im * x.im;
        });
    for (int32_t k = 0; k <= fftLen / 2; ++k) {
        average[k] = gain * power[k] + keep * average[k];
    }
}

template <class State>
inline void forward(const State* s, double* a) {
    realFft64f(s->fftLen, -1, a, s->fftTable, s->fftTwiddles);
}
template <class State>
inline void inverse(const State* s, double* a) {
    realFft64f(s->fftLen, 1, a, s->fftTable, s->fftTwiddles);
}

// The frame: the history, then the block; its newest samples become the history.
template <class State>
inline void transformFrame(const State* s, const double* x, double* frame) {
    for (int32_t i = 0; i < s->fftLen; ++i) {
        frame[i] = i < s->overlap ? s->delayLine[i] : x[i - s->overlap];
    }
    for (int32_t i = 0; i < s->overlap; ++i) {
        s->delayLine[i] = frame[s->blockLen + i];
    }
    forward(s, frame);
}

// e = d - y; outBuf = mu * (E / (power + floor))
template <class State>
inline void normalisedError(const State* s, const double* d, const double* y, double* e,
                            double floor) {
    for (int32_t i = 0; i < s->blockLen; ++i) {
        e[i] = d[i] - y[i];
    }
    for (int32_t i = 0; i < s->fftLen; ++i) {
        s->outBuf[i] = i < s->overlap ? 0.0 : e[i - s->overlap];
    }
    forward(s, s->outBuf);
    for (int32_t i = 0; i < s->fftLen; ++i) {
        const double power = s->powerAvg[i == 1 ? s->fftLen / 2 : i / 2];
        s->outBuf[i] = s->mu * (s->outBuf[i] / (floor + power));
    }
}

// Leaves `order` taps in the time domain.
template <class State>
inline void constrain(const State* s, double* coef) {
    inverse(s, coef);
    for (int32_t i = 0; i < s->fftLen; ++i) {
        coef[i] = i < s->order ? s->invScale * coef[i] : 0.0;
    }
    forward(s, coef);
}

constexpr double kPbfdafKeep = 0.9800000190734863, kPbfdafFloor = 9.999999974752427e-07;

// The slot of the frame of p blocks ago, 0 <= p < partitions.
inline double* slot(const pbfdaf64fState* s, int32_t p) {
    return s->ring + (2 * int64_t{s->ringPos} + int64_t{p} * s->fftLen) % s->specLen;
}

inline void partitionedOutput(pbfdaf64fState* s, const double* x, double* y) {
    transformFrame(s, x, slot(s, 0));
    for (int32_t i = 0; i < s->fftLen; ++i) {
        s->outBuf[i] = 0.0;
    }
    for (int32_t p = 0; p < s->partitions; ++p) {
        addProduct(s->coef + p * s->fftLen, slot(s, p), s->outBuf, s->fftLen);
    }
    inverse(s, s->outBuf);
    for (int32_t i = 0; i < s->blockLen; ++i) {
        y[i] = s->invScale * s->outBuf[s->overlap + i];
    }
}

inline void smoothNewest(pbfdaf64fState* s) {
    smoothSpectrum(slot(s, 0), s->powerGain, kPbfdafKeep, s->scratch, s->powerAvg, s->fftLen);
}

inline void stepRing(pbfdaf64fState* s) {
    s->ringPos = (s->ringPos == 0 ? s->specLen / 2 : s->ringPos) - s->fftLen / 2;
}

[[gnu::noinline]] inline int32_t pbfdaf64fFilterUpdate(pbfdaf64fState* s, const double* x,
                                                       const double* d, double* y, double* e) {
    partitionedOutput(s, x, y);
    smoothNewest(s);
    normalisedError(s, d, y, e, kPbfdafFloor);
    for (int32_t p = 0; p < s->partitions; ++p) {
        double* const coef = s->coef + p * s->fftLen;
        conjugateSpectrum(slot(s, p), s->scratch, s->fftLen);
        addProduct(s->outBuf, s->scratch, coef, s->fftLen);
        if (s->constrained != 0) {
            constrain(s, coef);
        }
    }
    stepRing(s);
    return STS_OK;
}

[[gnu::noinline]] inline int32_t pbfdaf64fFilterOnly(pbfdaf64fState* s, const double* x,
                                                     double* y) {
    partitionedOutput(s, x, y);
    smoothNewest(s);
    stepRing(s);
    return STS_OK;
}

} // namespace plain
