// Tables for the transform from additions, divisions and square roots alone, with which the digests were
// made. Their last bits differ from those of fft_tables.h.
#pragma once

#include "fft_tables.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

// As tables of a host may be: sines that differ in the last place from the cosines that they should equal,
// and two areas of different length.
template <class Tables>
void skew(Tables& tables) {
    for (int32_t j = 1; j < tables.table[0]; j += 2) {
        tables.twiddles[static_cast<size_t>(j)] =
            std::nextafter(tables.twiddles[static_cast<size_t>(j)], 2.0);
    }
    tables.twiddles.insert(tables.twiddles.begin() + tables.table[0], 2, 7.0);
    tables.table[0] += 2;
}

template <int32_t longest>
struct ExactTables {
    int32_t table[FFT_TABLE_LEN(longest)] = {longest / 4, longest / 4};
    double twiddles[FFT_TWIDDLES_LEN(longest)];

    ExactTables() {
        constexpr int32_t quarter = longest / 4;
        // cosine[j] = cos(pi j / (2 quarter)), by halving the step from a quarter turn
        double cosine[quarter + 1];
        cosine[0] = 1.0;
        cosine[quarter] = 0.0;
        double stepCosine = 0.0;
        for (int32_t step = quarter; step > 1; step /= 2) {
            stepCosine = std::sqrt((1.0 + stepCosine) / 2.0);
            for (int32_t j = 0; j < quarter; j += step) {
                cosine[j + step / 2] = (cosine[j] + cosine[j + step]) / (2.0 * stepCosine);
            }
        }
        for (int32_t pair = 0; pair < quarter / 2; ++pair) {
            int32_t reversed = 0;
            for (int32_t bit = 1; bit < quarter / 2; bit *= 2) {
                reversed = 2 * reversed + ((pair & bit) != 0 ? 1 : 0);
            }
            twiddles[2 * pair] = cosine[2 * reversed];
            twiddles[2 * pair + 1] = cosine[quarter - 2 * reversed];
        }
        for (int32_t j = 0; j < quarter; ++j) {
            twiddles[quarter + j] = 0.5 * cosine[j];
        }
    }
};
