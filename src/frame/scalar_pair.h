// A vector of two doubles for processors without vector registers for doubles: a class, whose lanes the
// compiler keeps in two scalar registers. gcc would pass its own vectors through memory there: on a
// Cortex-M7 rls64f of 32 taps takes twice the instructions. Always inlined: at -Os gcc would call these
// functions, and rls64f would take three times the instructions.
#pragma once

#include <cstdint>

namespace merlo {

struct ScalarPair {
    double lanes[2];

    ScalarPair() = default;
    [[gnu::always_inline]] ScalarPair(double both) : lanes{both, both} {}
    [[gnu::always_inline]] ScalarPair(double first, double second) : lanes{first, second} {}

    [[gnu::always_inline]] double& operator[](int32_t lane) { return lanes[lane]; }
    [[gnu::always_inline]] const double& operator[](int32_t lane) const { return lanes[lane]; }

    [[gnu::always_inline]] ScalarPair operator-() const { return {-lanes[0], -lanes[1]}; }
    [[gnu::always_inline]] friend ScalarPair operator+(const ScalarPair& a, const ScalarPair& b) {
        return {a[0] + b[0], a[1] + b[1]};
    }
    [[gnu::always_inline]] friend ScalarPair operator-(const ScalarPair& a, const ScalarPair& b) {
        return {a[0] - b[0], a[1] - b[1]};
    }
    [[gnu::always_inline]] friend ScalarPair operator*(const ScalarPair& a, const ScalarPair& b) {
        return {a[0] * b[0], a[1] * b[1]};
    }
    [[gnu::always_inline]] friend ScalarPair operator/(const ScalarPair& a, const ScalarPair& b) {
        return {a[0] / b[0], a[1] / b[1]};
    }
    [[gnu::always_inline]] ScalarPair& operator+=(const ScalarPair& b) { return *this = *this + b; }
};

} // namespace merlo
