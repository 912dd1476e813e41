// What the two block filters in the frequency domain share. A frame of fftLen samples holds the
// `overlap` newest samples of the history and the block behind them; of the circular convolution that
// a product of spectra is, the last blockLen outputs are those of the linear one.
// Source: Shynk 1992, Frequency-domain and multirate adaptive filtering.
#pragma once

#include "kernels.h"
#include "lifecycle.h"
#include "merlo64f.h"
#include "packed_spectrum.h"
#include "real_fft.h"

#include <cstdint>

namespace merlo {

// The smallest transform length that holds `samples`, or 0 where there is none: lengths run from 2 to
// 2^30.
inline int32_t transformLength(int64_t samples) {
    const int32_t exponent = nextPow2(samples);
    return exponent >= 1 && exponent <= 30 ? int32_t{1} << exponent : 0;
}

template <class State>
inline void toSpectrum(const State* state, double* frame) {
    realFft64f(state->fftLen, -1, frame, state->fftTable, state->fftTwiddles);
}

// Without the factor 2 / fftLen, which is invScale.
template <class State>
inline void toTime(const State* state, double* spectrum) {
    realFft64f(state->fftLen, 1, spectrum, state->fftTable, state->fftTwiddles);
}

// The record's sizes, once order and blockLen are at least 1; false if they fit no transform.
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

// The frame of the block x, as a spectrum; the history moves on by the block.
template <class State>
inline void frameSpectrum(const State* state, const double* x, double* frame) {
    copy64f(state->delayLine, frame, state->overlap);
    copy64f(x, frame + state->overlap, state->blockLen);
    copy64f(frame + state->blockLen, state->delayLine, state->overlap);
    toSpectrum(state, frame);
}

// e = d - y, and its spectrum in outBuf, from the place in the frame that the block has.
template <class State>
inline void errorSpectrum(const State* state, const double* y, const double* d, double* e) {
    sub64f(y, d, e, state->blockLen);
    reset64f(state->outBuf, state->overlap);
    copy64f(e, state->outBuf + state->overlap, state->blockLen);
    toSpectrum(state, state->outBuf);
}

// Takes the power of a frame's spectrum into the running one; `power` is room for it.
template <class Weights, class State>
inline void smoothPowerSpectrum(const State* state, const double* spectrum, double* power) {
    powerSpecPacked64f(spectrum, power, state->bins);
    smooth64f(state->powerGain, power, Weights::keep, state->powerAvg, state->bins);
}

// outBuf from the spectrum of the error to that of the step: mu * E / (power + regulariser).
template <class Weights, class State>
inline void normaliseError(const State* state) {
    normPackedIp64f(state->powerAvg, Weights::regulariser, state->outBuf, state->bins);
    scaleCplxIp64f(state->mu, state->outBuf, state->bins - 1);
}

// A coefficient spectrum as its `order` taps, and whatever lies behind them, scaled.
template <class State>
inline void tapsOnly(const State* state, double* coef) {
    toTime(state, coef);
    scaleIp64f(state->invScale, coef, state->order);
    reset64f(coef + state->order, state->coefTail);
}

// Cuts a coefficient spectrum to `order` taps in the time domain.
template <class State>
inline void constrain(const State* state, double* coef) {
    tapsOnly(state, coef);
    toSpectrum(state, coef);
}

// The newest samples of the history that fit go over to the end of the new one.
template <class State>
inline void carryHistory(const State& from, State& to) {
    const int32_t kept = std::min(from.overlap, to.overlap);
    copy64f(from.delayLine + (from.overlap - kept), to.delayLine + (to.overlap - kept), kept);
}

// A running power means the same only at the same length.
template <class State>
inline void carryPower(const State& from, State& to) {
    if (from.fftLen == to.fftLen) {
        copy64f(from.powerAvg, to.powerAvg, to.bins);
    }
}

} // namespace merlo
