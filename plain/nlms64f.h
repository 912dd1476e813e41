// power = 0.99 * power + 0.01 * x^2, coef[k] += (mu * e) / (power + 1e-12) * x(n-k)
#pragma once

#include "plain/loops.h"

#include <nlms64f.h>

namespace plain {

struct NlmsConstants {
    static constexpr double keep = 0.99, gain = 0.01, floor = 1e-12;
};

template <class Constants, class State>
inline void nlmsSmooth(State* s, double x) {
    s->power = Constants::keep * s->power + Constants::gain * (x * x);
}

// Inserts x and adapts; the error goes to *e.
template <class Constants, class State>
inline double nlmsStep(State* s, double x, double d, double* e) {
    const int32_t newest = insert(s->delayLine, s->order, &s->head, x);
    const double y = dotRing(s->delayLine, s->order, s->coef, s->order, newest);
    *e = d - y;
    nlmsSmooth<Constants>(s, x);
    const double g = (s->mu * *e) / (s->power + Constants::floor);
    double* const coef = s->coef;
    forEachTap(s->delayLine, s->order, s->order, newest,
               [=](int32_t k, double sample) { coef[k] += g * sample; });
    return y;
}

template <class Constants, class State>
inline double nlmsFilter(State* s, double x) {
    const int32_t newest = insert(s->delayLine, s->order, &s->head, x);
    const double y = dotRing(s->delayLine, s->order, s->coef, s->order, newest);
    nlmsSmooth<Constants>(s, x);
    return y;
}

[[gnu::noinline]] inline double nlms64fFilterUpdate(nlms64fState* s, double x, double d) {
    return nlmsStep<NlmsConstants>(s, x, d, &s->err);
}

[[gnu::noinline]] inline double nlms64fLCFilterUpdate(nlms64fState* s, double d) {
    const double y = dotLinear(s->delayLine, s->coef, s->order);
    s->err = d - y;
    nlmsSmooth<NlmsConstants>(s, s->delayLine[0]);
    const double g = (s->mu * s->err) / (s->power + NlmsConstants::floor);
    for (int32_t k = 0; k < s->order; ++k) {
        s->coef[k] += g * s->delayLine[k];
    }
    return y;
}

[[gnu::noinline]] inline double nlms64fFilterOnly(nlms64fState* s, double x) {
    return nlmsFilter<NlmsConstants>(s, x);
}

[[gnu::noinline]] inline double nlms64fLCFilterOnly(nlms64fState* s) {
    const double y = dotLinear(s->delayLine, s->coef, s->order);
    nlmsSmooth<NlmsConstants>(s, s->delayLine[0]);
    return y;
}

} // namespace plain
