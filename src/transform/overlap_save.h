// What the two block filters in the frequency domain share. A frame of fftLen samples holds the `overlap`
// newest samples of the history and then the block. A product of spectra is a circular convolution of
// frames; its last blockLen outputs equal those of the linear convolution.
// Source: Shynk 1992, Frequency-domain and multirate adaptive filtering.
#pragma once

#include "frame/kernels.h"
#include "transform/packed_spectrum.h"
#include "transform/spectral_record.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// Sets the record's sizes, order and blockLen being at least 1; false if no transform is long enough.
template <class State>
inline bool setFraming(State* state, int32_t order, int32_t blockLen) {
    const int32_t fftLen = transformLength(int64_t{order} + blockLen - 1);
    if (fftLen == 0) {
        return false;
    }
    state->blockLen = blockLen;
    state->fftLen = fftLen;
    state->bins = fftLen / 2 + 1;
    state->overlap = fftLen - blockLen;
    state->coefTail = fftLen - order;
    state->invScale = 2.0 / fftLen;
    return true;
}

// Computes the spectrum of the frame of block x, and shifts the history by the block.
template <class State>
inline void frameSpectrum(const State* state, const double* x, double* frame) {
    copy64f(state->delayLine, frame, state->overlap);
    copy64f(x, frame + state->overlap, state->blockLen);
    copy64f(frame + state->blockLen, state->delayLine, state->overlap);
    toSpectrum(state, frame);
}

// e = d - y, and in outBuf the spectrum of e at the position of the block in the frame.
template <class State>
inline void errorSpectrum(const State* state, const double* y, const double* d, double* e) {
    sub64f(y, d, e, state->blockLen);
    reset64f(state->outBuf, state->overlap);
    copy64f(e, state->outBuf + state->overlap, state->blockLen);
    toSpectrum(state, state->outBuf);
}

// Smooths powerAvg with the power of a spectrum; `power` is scratch for it.
template <class Weights, class State>
inline void smoothPowerSpectrum(const State* state, const double* spectrum, double* power) {
    powerSpecPacked64f(spectrum, power, state->bins);
    smooth64f(state->powerGain, power, Weights::keep, state->powerAvg, state->bins);
}

// outBuf = mu * (E / (powerAvg + regulariser)), with E the error spectrum that it holds.
template <class Weights, class State>
inline void normaliseError(const State* state) {
    normPackedIp64f(state->powerAvg, Weights::regulariser, state->outBuf, state->bins);
    scaleCplxIp64f(state->mu, state->outBuf, state->bins - 1);
}

// Transforms a coefficient spectrum to its `order` taps and zeroes the rest.
template <class State>
inline void tapsOnly(const State* state, double* coef) {
    toTime(state, coef);
    scaleIp64f(state->invScale, coef, state->order);
    reset64f(coef + state->order, state->coefTail);
}

// The constraint: reduces a coefficient spectrum to `order` taps in the time domain.
template <class State>
inline void constrain(const State* state, double* coef) {
    tapsOnly(state, coef);
    toSpectrum(state, coef);
}

// Copies the newest samples of the history that fit to the end of the new one.
template <class State>
inline void carryHistory(const State& from, State& to) {
    const int32_t kept = std::min(from.overlap, to.overlap);
    copy64f(from.delayLine + (from.overlap - kept), to.delayLine + (to.overlap - kept), kept);
}

} // namespace merlo
