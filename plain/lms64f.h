// y = sum of coef[k] * x(n-k), e = d - y, coef[k] += mu * e * x(n-k), and its sign forms.
#pragma once

#include "plain/loops.h"

#include <lms64f.h>

namespace plain {

template <bool kSignErr, bool kSignReg>
struct LmsRule {
    static double gain(double mu, double e) { return mu * (kSignErr ? sgn(e) : e); }
    static double term(double g, double x) { return kSignReg ? sgn(x) * g : g * x; }
};
using Classic = LmsRule<false, false>;
using SignErr = LmsRule<true, false>;
using SignReg = LmsRule<false, true>;
using SignSign = LmsRule<true, true>;

// Inserts x and adapts; the error goes to *e. State has the fields order, coef, delayLine, head, mu.
template <class Rule, class State>
inline double lmsStep(State* s, double x, double d, double* e) {
    const int32_t newest = insert(s->delayLine, s->order, &s->head, x);
    const double y = dotRing(s->delayLine, s->order, s->coef, s->order, newest);
    *e = d - y;
    const double g = Rule::gain(s->mu, *e);
    double* const coef = s->coef;
    forEachTap(s->delayLine, s->order, s->order, newest,
               [=](int32_t k, double sample) { coef[k] += Rule::term(g, sample); });
    return y;
}

template <class Rule>
[[gnu::noinline]] inline double lmsUpdate(lms64fState* s, double x, double d) {
    return lmsStep<Rule>(s, x, d, &s->err);
}

template <class Rule>
[[gnu::noinline]] inline double lmsLinearUpdate(lms64fState* s, double d) {
    const double y = dotLinear(s->delayLine, s->coef, s->order);
    s->err = d - y;
    const double g = Rule::gain(s->mu, s->err);
    for (int32_t k = 0; k < s->order; ++k) {
        s->coef[k] += Rule::term(g, s->delayLine[k]);
    }
    return y;
}

[[gnu::noinline]] inline double lms64fFilterOnly(lms64fState* s, double x) {
    const int32_t newest = insert(s->delayLine, s->order, &s->head, x);
    return dotRing(s->delayLine, s->order, s->coef, s->order, newest);
}

[[gnu::noinline]] inline double lms64fLCFilterOnly(const lms64fState* s) {
    return dotLinear(s->delayLine, s->coef, s->order);
}

} // namespace plain
