// Other libraries that do the same job, where they are installed when the benchmark is built. Without
// its library a peer is a name alone.
#pragma once

#include "row.h"

namespace bench::peers {

Candidate liquidFilter(int order, int block); // block 1: by the sample
Candidate liquidLms(int order);
Candidate eigenRls(int order, double lambda, double delta);
Candidate fftwTransform(int points, int sign);

// At blocks of 32, 64, 128 and 256 samples.
std::vector<Candidate> echoCancellers(int tail, bool constrained);

} // namespace bench::peers
