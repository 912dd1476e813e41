// Bit-reversed order of complex numbers, in place, by swaps.
#pragma once

#include "frame/lanes.h"

#include <array>
#include <bit>
#include <cstdint>

namespace merlo {

inline void swapPairs(double* p, double* q) {
    const Pair first = loadWhole<Pair>(p);
    store(loadWhole<Pair>(q), p);
    store(first, q);
}

// The swaps of a length, as offsets in doubles; n <= 256.
template <int32_t n>
constexpr auto swapsOf() {
    constexpr int32_t bits = std::countr_zero(static_cast<uint32_t>(n / 2));
    constexpr int32_t unmoved = 1 << (bits + 1) / 2;
    std::array<std::array<uint8_t, 2>, (n / 2 - unmoved) / 2> swaps{};
    auto* swap = swaps.data();
    for (int32_t j = 0; j < n / 2; ++j) {
        int32_t k = 0;
        for (int32_t bit = 0; bit < bits; ++bit) {
            k = 2 * k + (j >> bit) % 2;
        }
        if (j < k) {
            *swap++ = {static_cast<uint8_t>(2 * j), static_cast<uint8_t>(2 * k)};
        }
    }
    return swaps;
}

template <int32_t n>
constexpr auto kSwaps = swapsOf<n>();

template <int32_t n>
inline void bitReverseShort(double* a) {
#pragma GCC unroll 32
    for (const auto& [j, k] : kSwaps<n>) {
        swapPairs(a + j, a + k);
    }
}

// Permutes the n/2 complex elements into bit-reversed order; n >= 8. For n <= 128 the swaps are
// compiled in. For longer transforms `work` is filled with the table of the reversed upper bits.
inline void bitReverse64f(int32_t n, int32_t* work, double* a) {
    switch (n) {
    case 8: // speed only: the loops below give the same order
        return bitReverseShort<8>(a);
    case 16: // speed only: the loops below give the same order
        return bitReverseShort<16>(a);
    case 32: // speed only: the loops below give the same order
        return bitReverseShort<32>(a);
    case 64: // speed only: the loops below give the same order
        return bitReverseShort<64>(a);
    case 128: // speed only: the loops below give the same order
        return bitReverseShort<128>(a);
    default:
        break;
    }
    int32_t l = n;
    int32_t m = 1;
    work[0] = 0;
    while (8 * m < l) {
        l /= 2;
        for (int32_t j = 0; j < m; ++j) {
            work[m + j] = work[j] + l;
        }
        m *= 2;
    }
    const bool odd = 8 * m == l;
    const int64_t m2 = 2 * m;
    for (int32_t k = 0; k < m; ++k) {
        double* const p = a + work[k];
        double* const q = a + 2 * k;
        for (int32_t j = 0; j < k; ++j) {
            double* const pj = p + 2 * j;
            double* const qj = q + work[j];
            swapPairs(pj, qj);
            if (odd) {
                swapPairs(pj + m2, qj + 2 * m2);
                swapPairs(pj + 2 * m2, qj + m2);
                swapPairs(pj + 3 * m2, qj + 3 * m2);
            } else {
                swapPairs(pj + m2, qj + m2);
            }
        }
        if (odd) {
            swapPairs(p + 2 * k + m2, p + 2 * k + 2 * m2);
        }
    }
}

} // namespace merlo
