// The transform of the library: real, in place, of a power-of-two length, with tables that the host
// fills.
#pragma once

#include <cstdint>

namespace merlo {

// sign < 0, forward: from x[0 .. n-1] the packed spectrum X[0], X[n/2], then Re and Im of
// X[k] = sum of x[j] * (cos(2 pi j k / n) + i sin(2 pi j k / n)) for k = 1 .. n/2-1. No scaling.
// sign >= 0, inverse: back to n/2 times the samples.
// n >= 2. fftTable holds the lengths of the two areas of fftTwiddles and a work area, which may be
// written (n >= 256).
void realFft64f(int32_t n, int32_t sign, double* a, int32_t* fftTable, const double* fftTwiddles);

} // namespace merlo
