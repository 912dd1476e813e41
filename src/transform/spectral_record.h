// What the records of all three transform families share: the transform length, the transform with the
// record's tables, the smoothed power at a Resize.
#pragma once

#include "frame/kernels.h"
#include "merlo64f.h"
#include "transform/real_fft.h"

#include <cstdint>

namespace merlo {

// The smallest transform length of at least `samples`, or 0 if there is none; lengths are 2 to 2^30.
inline int32_t transformLength(int64_t samples) {
    const int32_t exponent = nextPow2(samples);
    return exponent >= 1 && exponent <= 30 ? int32_t{1} << exponent : 0;
}

template <class State>
inline void toSpectrum(const State* state, double* frame) {
    realFft64f(state->fftLen, -1, frame, state->fftTable, state->fftTwiddles);
}

// Unscaled: the result is 1 / invScale times the samples.
template <class State>
inline void toTime(const State* state, double* spectrum) {
    realFft64f(state->fftLen, 1, spectrum, state->fftTable, state->fftTwiddles);
}

// Copies the smoothed power if the transform length is unchanged: otherwise the bins differ.
template <class State>
inline void carryPower(const State& from, State& to) {
    if (from.fftLen == to.fftLen) {
        copy64f(from.powerAvg, to.powerAvg, to.bins);
    }
}

} // namespace merlo
