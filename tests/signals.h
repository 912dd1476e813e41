// Samples by exact arithmetic, the same on every machine, and the trace of all results of a run.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

using Values = std::vector<double>;

inline uint64_t bits(double value) { return std::bit_cast<uint64_t>(value); }
inline bool sameBits(double a, double b) {
    return bits(a) == bits(b) || (std::isnan(a) && std::isnan(b));
}

// The newest samples of a signal, newest first.
struct History : Values {
    using Values::Values;
    void push(double x) {
        insert(begin(), x);
        pop_back();
    }
};

inline double dot(const double* a, const double* b, size_t n) {
    double sum = 0.0;
    for (size_t k = 0; k < n; ++k) {
        sum += a[k] * b[k];
    }
    return sum;
}
inline double dot(const Values& a, const Values& b) { return dot(a.data(), b.data(), a.size()); }

class Signal {
  public:
    explicit Signal(uint64_t seed) : bits_(seed) {}

    // White, uniform in [-1, 1) times 2^exponent; subnormal for exponents below -1022.
    double next() {
        if (wild_ && choose(4) == 0) {
            constexpr double odd[] = {0.0,      -0.0,      5e-324, 1.7976931348623157e308,
                                      HUGE_VAL, -HUGE_VAL, NAN};
            return odd[choose(std::size(odd))];
        }
        return silent_ ? 0.0
                       : std::ldexp(static_cast<double>(bits_() >> 11), exponent_ - 52) -
                             std::ldexp(1.0, exponent_);
    }
    void fill(double* to, int32_t n) {
        for (int32_t i = 0; i < n; ++i) {
            to[i] = next();
        }
    }
    uint64_t choose(uint64_t choices) { return bits_() % choices; }
    void setScale(int exponent) { exponent_ = exponent; }
    void setSilent(bool silent) { silent_ = silent; }
    // Zeros, infinities, NaN and other special values among the samples.
    void setWild(bool wild) { wild_ = wild; }

  private:
    std::mt19937_64 bits_;
    int exponent_ = 0;
    bool silent_ = false;
    bool wild_ = false;
};

// A digest of the bits of all results of a run; all NaN are equal.
class Trace {
  public:
    void add(double value) {
        finite_ = finite_ && std::isfinite(value);
        const uint64_t all = bits(std::isnan(value) ? NAN : value);
        for (int shift = 0; shift < 64; shift += 8) { // FNV-1a, low byte first
            digest_ = (digest_ ^ ((all >> shift) & 0xff)) * 0x100000001b3;
        }
    }
    void add(const double* values, int32_t n) {
        for (int32_t i = 0; i < n; ++i) {
            add(values[i]);
        }
    }
    bool operator==(const Trace&) const = default;
    bool isFinite() const { return finite_; }
    uint64_t digest() const { return digest_; }

  private:
    uint64_t digest_ = 0xcbf29ce484222325;
    bool finite_ = true;
};
