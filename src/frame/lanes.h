// Several doubles side by side, for results that do not depend on one another. The lane is the element
// itself, so its bits are those of the plain loop. The helpers exist for a single double too: a
// template over the type of the values serves the lanes and what is left over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace merlo {

// As wide as the target's registers: 2 lanes with SSE2 and AArch64, 4 with AVX.
using Lanes = double __attribute__((vector_size(__BIGGEST_ALIGNMENT__)));
constexpr int32_t kLanes = sizeof(Lanes) / sizeof(double);

template <class V>
inline V load(const double* from) {
    V values;
    std::memcpy(&values, from, sizeof values);
    return values;
}

template <class V>
inline void store(const V& values, double* to) {
    std::memcpy(to, &values, sizeof values);
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
