// Decay of subnormal powers. In long silence a running power falls below the normal range and stays
// there. Multiplying subnormals is slow on many processors (an update of 32 taps takes 1.7 times as
// long); integer arithmetic gives the same bits.
#pragma once

#include <bit>
#include <cstdint>

namespace merlo {

// Positive and below the normal range, or +0.
inline bool isSubnormalOrZero(double value) { return (std::bit_cast<uint64_t>(value) >> 52) == 0; }

// The upper 64 bits of the product.
inline uint64_t multiplyHigh(uint64_t a, uint64_t b) {
    constexpr uint64_t low = UINT32_MAX;
    const uint64_t middle = (a >> 32) * (b & low) + ((a & low) * (b & low) >> 32);
    const uint64_t carry = (a & low) * (b >> 32) + (middle & low);
    return (a >> 32) * (b >> 32) + (middle >> 32) + (carry >> 32);
}

// factor * value, rounded to nearest even; value subnormal or +0, 0.5 <= factor < 1.
inline double scaleSubnormal(double factor, double value) {
    constexpr uint64_t one = uint64_t{1} << 52;
    const uint64_t bits = std::bit_cast<uint64_t>(value);
    // The factor as a fraction of 2^64, so that the upper half of the product is its whole part.
    const uint64_t fraction = ((std::bit_cast<uint64_t>(factor) & (one - 1)) | one) << 11;
    const uint64_t whole = multiplyHigh(fraction, bits);
    const uint64_t rest = fraction * bits;
    constexpr uint64_t half = uint64_t{1} << 63;
    const bool up = rest > half || (rest == half && (whole & 1) != 0);
    return std::bit_cast<double>(whole + (up ? 1 : 0));
}

} // namespace merlo
