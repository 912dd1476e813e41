// The stages of the gradient lattices. Stage i with the delayed backward error b = delayLine[i-1]:
// f(i) = f(i-1) - b*k, back(i) = b - f(i-1)*k, k += (f(i)*b + f(i-1)*back(i)) * (mu/power(i-1) + eps)
#pragma once

#include "plain/loops.h"

namespace plain {

constexpr double kLatticeEps = 1.0000000036274937e-15;

inline double smoothStage(double power, double b, double f) {
    return (b * b + f * f) * 0.009999999776482582 + power * 0.9800000190734863;
}

// Returns the forward error of the last stage.
template <bool kAdapt, class State>
inline double passGradientStages(State* s, int32_t stages, double x) {
    double f = x;
    s->backErr[0] = x;
    s->power[0] = smoothStage(s->power[0], s->delayLine[0], x);
    for (int32_t i = 1; i <= stages; ++i) {
        const double b = s->delayLine[i - 1];
        const double k = s->parcor[i - 1];
        const double fNew = f - b * k;
        s->backErr[i] = b - f * k;
        const double gradient = fNew * b + f * s->backErr[i];
        if (kAdapt && gradient != 0.0) { // mu/power may be infinite after long silence
            s->parcor[i - 1] = gradient * (s->mu / s->power[i - 1] + kLatticeEps) + k;
        }
        s->power[i] = smoothStage(s->power[i], s->delayLine[i], fNew);
        f = fNew;
    }
    return f;
}

// One step of a predictor with `order` stages and the direct form in coef.
template <bool kAdapt, class State>
inline double predictorStep(State* s, double x) {
    const double f = passGradientStages<kAdapt>(s, s->order, x);
    if (kAdapt && s->updateCoef != 0) {
        stepUp(s->parcor, s->order, s->coef);
    }
    for (int32_t i = 0; i < s->order; ++i) {
        s->delayLine[i] = s->backErr[i];
    }
    return f;
}

} // namespace plain
