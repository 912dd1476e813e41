// Tables for the transform from additions, divisions and square roots alone: the same bits on every
// machine, whatever its sine does.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

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

struct FftTables {
    std::vector<int32_t> table;
    std::vector<double> twiddles;

    explicit FftTables(size_t longest) {
        const size_t quarter = longest / 4;
        // cosine[j] = cos(pi j / (2 quarter)), by halving the step from a quarter turn
        std::vector<double> cosine = {1.0, 0.0};
        for (double stepCosine = 0.0; cosine.size() <= quarter;) {
            stepCosine = std::sqrt((1.0 + stepCosine) / 2.0);
            std::vector<double> finer;
            for (size_t j = 0; j + 1 < cosine.size(); ++j) {
                finer.push_back(cosine[j]);
                finer.push_back((cosine[j] + cosine[j + 1]) / (2.0 * stepCosine));
            }
            finer.push_back(cosine.back());
            cosine = finer;
        }
        table.assign(2 + longest, 0);
        table[0] = table[1] = static_cast<int32_t>(quarter);
        for (size_t pair = 0; pair < quarter / 2; ++pair) {
            size_t reversed = 0;
            for (size_t bit = 1; bit < quarter / 2; bit *= 2) {
                reversed = 2 * reversed + ((pair & bit) != 0 ? 1 : 0);
            }
            twiddles.push_back(cosine[2 * reversed]);
            twiddles.push_back(cosine[quarter - 2 * reversed]);
        }
        for (size_t j = 0; j < quarter; ++j) {
            twiddles.push_back(0.5 * cosine[j]);
        }
    }
};
