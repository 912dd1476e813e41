// What several of the example hosts ask of the library: a signal through a fixed response, and the
// tables for the transform.
#ifndef MERLO64F_EXAMPLES_FILTERS_H
#define MERLO64F_EXAMPLES_FILTERS_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include <fft_tables.h>
#include <fir64f.h>

#include "host.h"

namespace host {

// A response of any length: in parts of MAX_TAPS, each a filter of its own that acts later by its
// place.
inline std::vector<double> through(std::span<const double> response, std::span<const double> x) {
    std::vector<double> taps(response.begin(), response.end()), sum(x.size()), part(x.size());
    std::array<double, MAX_TAPS> delayLine;
    for (std::size_t from = 0; from < std::min(taps.size(), x.size()); from += MAX_TAPS) {
        const auto order = std::min<std::size_t>(MAX_TAPS, taps.size() - from);
        fir64fState filter;
        if (fir64fInitStatic(&filter, static_cast<int32_t>(order), &taps[from], delayLine.data()) !=
            STS_OK) {
            throw Failure("the response cannot be set up");
        }
        const auto length = static_cast<int32_t>(x.size() - from);
        fir64fBlockFilter(&filter, x.data(), part.data(), length);
        addIp64f(part.data(), &sum[from], length);
    }
    return sum;
}

struct TransformTables {
    explicit TransformTables(int32_t longest)
        : table(static_cast<std::size_t>(fftTableLen(longest))),
          twiddles(static_cast<std::size_t>(fftTwiddlesLen(longest))) {
        if (fillFftTables(longest, table.data(), twiddles.data()) != STS_OK) {
            throw Failure("the tables for the transform cannot be filled");
        }
    }

    std::vector<int32_t> table;
    std::vector<double> twiddles;
};

} // namespace host

#endif
