// The step-up recursion: the direct form of a lattice from its reflection coefficients.
#pragma once

#include <cstdint>

namespace merlo {

// coef = parcor[0]; then for m = 1 .. order-1, with c the vector so far,
// coef[j] = c[j] - parcor[m] * c[m-1-j] for j < m, and coef[m] = parcor[m].
// The pair j, m-1-j is computed together, so no second vector is needed; order >= 1.
inline void directForm(const double* parcor, int32_t order, double* coef) {
    coef[0] = parcor[0];
    for (int32_t m = 1; m < order; ++m) {
        const double k = parcor[m];
        for (int32_t low = 0, high = m - 1; low <= high; ++low, --high) {
            const double below = coef[low];
            const double above = coef[high];
            coef[low] = below - k * above;
            coef[high] = above - k * below;
        }
        coef[m] = k;
    }
}

} // namespace merlo
