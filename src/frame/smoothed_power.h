// The power-normalised step: gain = (mu * e) / (power + floor), where `power` is the squared input
// sample smoothed over time. There are two sets of constants, and their exact values matter.
#pragma once

#include "frame/subnormal.h"

namespace merlo {

// The doubles nearest the decimals; the weights add up to 1.
struct DoubleWeights {
    static constexpr double keep = 0.99;
    static constexpr double gain = 0.01;
    static constexpr double floor = 1e-12;
};

// Single-precision values, widened: 0.9900000095367432, 0.009999999776482582 and
// 1.0000000036274937e-15. The weights add up to a little more than 1.
struct SingleWeights {
    static constexpr double keep = 0.99F;
    static constexpr double gain = 0.01F;
    static constexpr double floor = 1e-15F;
};

template <class Weights>
inline double smoothPower(double power, double x) {
    if (isSubnormalOrZero(power) && x == 0.0) {
        // speed only: the formula gives the same bits
        return scaleSubnormal(Weights::keep, power);
    }
    return Weights::keep * power + Weights::gain * (x * x);
}

template <class Weights>
inline double normalisedGain(double mu, double e, double power) {
    return (mu * e) / (power + Weights::floor);
}

} // namespace merlo
