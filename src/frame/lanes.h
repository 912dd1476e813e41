// Several doubles side by side, for results that do not depend on one another. The lane is the element
// itself, so its bits are those of the plain loop. Some helpers exist for a single double too: a
// template over the type of the values serves the lanes and what is left over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace merlo {

// Two doubles, and as many as the target's registers hold: 2 with SSE2 and AArch64, 4 with AVX. (clang
// says nothing of AVX in __BIGGEST_ALIGNMENT__.)
using Pair = double __attribute__((vector_size(16)));
#ifdef __AVX__
using Lanes = double __attribute__((vector_size(32)));
#else
using Lanes = Pair;
#endif

template <class V>
constexpr int32_t kLanesOf = sizeof(V) / sizeof(double);
constexpr int32_t kLanes = kLanesOf<Lanes>;

template <class V>
inline V load(const double* from) {
    V values;
    std::memcpy(&values, from, sizeof values);
    return values;
}

// For values that are taken apart or shuffled. gcc for x86 takes a vector that it has seen loaded apart
// again, and loads every lane anew for each of its uses; so it must lose sight of where the vector
// came from.
template <class V>
inline V loadWhole(const double* from) {
    V values = load<V>(from);
#if defined(__x86_64__) && !defined(__clang__)
    asm volatile("" : "+x"(values));
#endif
    return values;
}

template <class V>
inline void store(V values, double* to) {
    std::memcpy(to, &values, sizeof values);
}

template <class V>
inline V all(double value) {
    if constexpr (kLanesOf<V> == 2) {
        return V{value, value};
    } else {
        return V{value, value, value, value};
    }
}

template <class V>
inline V backwards(V values) {
    if constexpr (kLanesOf<V> == 2) {
        return __builtin_shufflevector(values, values, 1, 0);
    } else {
        return __builtin_shufflevector(values, values, 3, 2, 1, 0);
    }
}

// The lanes of even number of a and b by turns, and those of odd number.
template <class V>
inline V evens(V a, V b) {
    if constexpr (kLanesOf<V> == 2) {
        return __builtin_shufflevector(a, b, 0, 2);
    } else {
        return __builtin_shufflevector(a, b, 0, 4, 2, 6);
    }
}

template <class V>
inline V odds(V a, V b) {
    if constexpr (kLanesOf<V> == 2) {
        return __builtin_shufflevector(a, b, 1, 3);
    } else {
        return __builtin_shufflevector(a, b, 1, 5, 3, 7);
    }
}

// As many rows as a row has lanes.
template <class V>
inline void transpose(V* rows) {
    const V even01 = evens(rows[0], rows[1]);
    const V odd01 = odds(rows[0], rows[1]);
    if constexpr (kLanesOf<V> == 2) {
        rows[0] = even01;
        rows[1] = odd01;
    } else {
        const V even23 = evens(rows[2], rows[3]);
        const V odd23 = odds(rows[2], rows[3]);
        rows[0] = __builtin_shufflevector(even01, even23, 0, 1, 4, 5);
        rows[1] = __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5);
        rows[2] = __builtin_shufflevector(even01, even23, 2, 3, 6, 7);
        rows[3] = __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7);
    }
}

template <size_t... lane>
inline Lanes lastThenOthers(const Lanes& before, const Lanes& values,
                            std::index_sequence<lane...>) {
    return __builtin_shufflevector(before, values, (kLanes - 1 + lane)...);
}

// `values` one place up, behind the last of `before`; `values` is left in `before`.
inline double shiftIn(double& before, double value) { return std::exchange(before, value); }
inline Lanes shiftIn(Lanes& before, const Lanes& values) {
    const Lanes shifted = lastThenOthers(before, values, std::make_index_sequence<kLanes>());
    before = values;
    return shifted;
}

// Adds the lanes to sum, in their order and in one chain.
inline double addInOrder(double sum, double term) { return sum + term; }
inline double addInOrder(double sum, const Lanes& terms) {
#pragma GCC unroll 8
    for (int32_t lane = 0; lane < kLanes; ++lane) {
        sum += terms[lane];
    }
    return sum;
}

} // namespace merlo
