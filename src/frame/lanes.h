// Vectors of doubles, for results that do not depend on one another. Each lane is computed as the
// plain loop computes its element, so the bits are the same for every number of lanes. The helpers
// that a remainder needs too exist for a single double: templates over the type of a value serve both.
#pragma once

#include "frame/barriers.h"
#include "frame/scalar_pair.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace merlo {

// Two doubles, and as many as a vector register of the target holds: 2 with SSE2, AArch64 and WebAssembly,
// 4 with AVX. (clang's __BIGGEST_ALIGNMENT__ does not reflect AVX.) MERLO64F_NO_VECTORS tests, on any target,
// what processors without vectors run.
#if !defined(MERLO64F_NO_VECTORS) &&                                                               \
    (defined(__SSE2__) || defined(__aarch64__) || defined(__wasm_simd128__))
constexpr bool kHasVectors = true;
using Pair = double __attribute__((vector_size(16)));
#else
constexpr bool kHasVectors = false;
using Pair = ScalarPair;
#endif
#if defined(__AVX__) && !defined(MERLO64F_NO_VECTORS)
using Lanes = double __attribute__((vector_size(32)));
#else
using Lanes = Pair;
#endif

template <class V>
constexpr int32_t kLanesOf = sizeof(V) / sizeof(double);
constexpr int32_t kLanes = kLanesOf<Lanes>;

// The vector with half as many lanes. (gcc ignores a vector size that depends on a template argument.)
template <class V>
struct HalfOf {
    using Type = double;
};
#if defined(__AVX__) && !defined(MERLO64F_NO_VECTORS)
template <>
struct HalfOf<Lanes> {
    using Type = Pair;
};
#endif
template <class V>
using Half = typename HalfOf<V>::Type;

template <class V>
inline V load(const double* from) {
    if constexpr (std::is_same_v<V, double>) {
        return *from;
    } else if constexpr (std::is_same_v<V, ScalarPair>) {
        return {from[0], from[1]};
    } else {
        V values;
        std::memcpy(&values, from, sizeof values);
        return values;
    }
}

// For vectors whose lanes are used one by one or shuffled.
template <class V>
inline V loadWhole(const double* from) {
    V values = load<V>(from);
    hideOrigin(values);
    return values;
}

template <class V>
inline void store(V values, double* to) {
    if constexpr (std::is_same_v<V, double>) {
        *to = values;
    } else if constexpr (std::is_same_v<V, ScalarPair>) {
        to[0] = values[0];
        to[1] = values[1];
    } else {
        std::memcpy(to, &values, sizeof values);
    }
}

template <class V>
inline V all(double value) {
    return [=]<size_t... lane>(std::index_sequence<lane...>) {
        return V{(static_cast<void>(lane), value)...};
    }
    (std::make_index_sequence<kLanesOf<V>>());
}

// ---- Shuffles, for any number of lanes. A pattern maps a lane of the result to a lane of a or, from
// `lanes` on, of b.

using Pattern = int32_t (*)(int32_t lane, int32_t lanes);

template <Pattern from, class Out, class In>
inline Out shuffle(In a, In b) {
    return [=]<size_t... lane>(std::index_sequence<lane...>) {
        constexpr int32_t n = kLanesOf<In>;
        if constexpr (std::is_same_v<In, ScalarPair>) {
            const auto at = [=](int32_t i) { return i < n ? a[i] : b[i - n]; };
            return Out{at(from(static_cast<int32_t>(lane), n))...};
        } else {
            return __builtin_shufflevector(a, b, from(static_cast<int32_t>(lane), n)...);
        }
    }
    (std::make_index_sequence<kLanesOf<Out>>());
}

template <Pattern from, class V>
inline V shuffle(V a) {
    return shuffle<from, V>(a, a);
}

constexpr int32_t lastLanesFirst(int32_t lane, int32_t lanes) { return lanes - 1 - lane; }

template <class V>
inline V backwards(V values) {
    return shuffle<lastLanesFirst>(values);
}

// Groups of `size` lanes, taken from a and b in turn: the groups of even number, and those of odd
// number.
template <int32_t size>
constexpr int32_t evenGroups(int32_t lane, int32_t lanes) {
    return (lane & size) == 0 ? lane : lanes + lane - size;
}
template <int32_t size>
constexpr int32_t oddGroups(int32_t lane, int32_t lanes) {
    return (lane & size) == 0 ? lane + size : lanes + lane;
}

template <class V>
inline V evens(V a, V b) {
    return shuffle<evenGroups<1>, V>(a, b);
}
template <class V>
inline V odds(V a, V b) {
    return shuffle<oddGroups<1>, V>(a, b);
}

// As many rows as a row has lanes.
template <int32_t size = 1, class V>
[[gnu::always_inline]] inline void transpose(V* rows) {
    if constexpr (size < kLanesOf<V>) {
#pragma GCC unroll 8
        for (int32_t row = 0; row < kLanesOf<V>; ++row) {
            if ((row & size) == 0) {
                const V a = rows[row];
                const V b = rows[row + size];
                rows[row] = shuffle<evenGroups<size>, V>(a, b);
                rows[row + size] = shuffle<oddGroups<size>, V>(a, b);
            }
        }
        transpose<2 * size>(rows);
    }
}

// The lanes of even number of a and b, and those of odd number.
constexpr int32_t evenLanes(int32_t lane, int32_t) { return 2 * lane; }
constexpr int32_t oddLanes(int32_t lane, int32_t) { return 2 * lane + 1; }

constexpr int32_t lastThenOthers(int32_t lane, int32_t lanes) { return lanes - 1 + lane; }

// `values` shifted up by one lane, with the last lane of `before` in front.
template <class V>
inline V behind(V before, V values) {
    return shuffle<lastThenOthers, V>(before, values);
}

// The same; `values` is left in `before`.
inline double shiftIn(double& before, double value) { return std::exchange(before, value); }
template <class V>
inline V shiftIn(V& before, const V& values) {
    return behind(std::exchange(before, values), values);
}

// Adds the lanes to sum, in their order and in one chain.
inline double addInOrder(double sum, double term) { return sum + term; }
template <class V>
inline double addInOrder(double sum, const V& terms) {
#pragma GCC unroll 8
    for (int32_t lane = 0; lane < kLanesOf<V>; ++lane) {
        sum += terms[lane];
    }
    return sum;
}

} // namespace merlo
