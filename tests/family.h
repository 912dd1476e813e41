// What a family is to the tests: its operations, accessors and resets, and what most families have in
// common. The families themselves are in families.h.
#pragma once

#include "host.h"
#include "list.h"
#include "merlo64f_families.hpp"
#include "signals.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <tuple>

// An array of a record. A Layout lists the buffers of InitStatic in order, and for each buffer its
// arrays in order.
template <class S>
struct Array {
    double* S::*field;
    int64_t length;
};
template <class S>
using Layout = List<List<Array<S>, 6>, 2>;
using Lengths = List<int64_t, 2>; // of the buffers
template <class S>
using Fields = List<double * S::*, 3>;

// A filter operation: the library's and the plain one, each in a wrapper that calls it once.
template <class S>
struct Operation {
    using Call = void (*)(S*, Signal&, Trace&, unsigned variant);
    Call library, plain;
};

// An accessor, and by hand: `read` copies all elements, `write` n elements from `start` on.
template <class S>
struct Accessor {
    int32_t (*get)(S*, double*, int32_t, int32_t, int32_t);
    int32_t (*set)(S*, const double*, int32_t, int32_t, int32_t); // null: there is none
    double* S::*array;                                            // its null is refused
    int32_t (*length)(const S&);
    void (*read)(S&, double* to);
    void (*write)(S&, int32_t start, const double* from, int32_t n);
};

// A reset: the arrays that it tests for null and then clears. None: it restores all start values.
template <class S>
struct ResetOf {
    int32_t (*reset)(S*);
    Fields<S> arrays;
};

// ---- Calls. Samples come from the signal; outputs and errors go to the trace.

template <class S>
int32_t lineLength(const S& s) { // of delayLine
    if constexpr (requires { s.refLen; }) {
        return s.refLen;
    } else if constexpr (requires { s.fftLen; }) {
        return s.fftLen;
    } else {
        return s.order;
    }
}

template <auto f, class S>
void update(S* s, Signal& in, Trace& out, unsigned) {
    const double x = in.next();
    out.add(f(s, x, in.next()));
    out.add(s->err);
}

template <auto f, class S>
void filter(S* s, Signal& in, Trace& out, unsigned) {
    out.add(f(s, in.next()));
}

template <auto f, class S>
void predict(S* s, Signal& in, Trace& out, unsigned) {
    out.add(f(s, in.next()));
    out.add(s->err);
}

template <auto f, class S>
void updateLinear(S* s, Signal& in, Trace& out, unsigned) { // LC: the host shifts the line
    insertSampleLinBuf64f(in.next(), s->delayLine, lineLength(*s));
    out.add(f(s, in.next()));
    if constexpr (!requires { s->fftLen; }) { // the digests of tdlms64f were made without
        out.add(s->err);
    }
}

template <auto f, class S>
void filterLinear(S* s, Signal&, Trace& out, unsigned) {
    out.add(f(s));
}

// In some variants y is x, and e is d or x, where that is allowed.
template <auto f, class S>
void updateBlock(S* s, Signal& in, Trace& out, unsigned variant) {
    const int32_t n = s->blockLen;
    Samples x(n), d(n), y(n), e(n);
    in.fill(x.data(), n);
    in.fill(d.data(), n);
    Samples& output = variant % 2 == 1 ? x : y;
    Samples& error = variant % 4 >= 2 ? d : variant % 8 == 4 ? x : e;
    out.add(f(s, x.data(), d.data(), output.data(), error.data()));
    out.add(output.data(), n);
    out.add(error.data(), n);
}

template <auto f, bool inPlace = true, class S>
void filterBlock(S* s, Signal& in, Trace& out, unsigned variant) {
    const int32_t n = s->blockLen;
    Samples x(n), y(n);
    in.fill(x.data(), n);
    Samples& output = inPlace && variant % 2 == 1 ? x : y;
    out.add(f(s, x.data(), output.data()));
    out.add(output.data(), n);
}

// A call with a flag of the record cleared for its duration.
template <auto flag, auto call, class S>
void without(S* s, Signal& in, Trace& out, unsigned variant) {
    s->*flag = 0;
    call(s, in, out, variant);
    s->*flag = 1;
}

// A frozen step of a least-squares lattice. Before the last stage has settled it may end in NaN, so
// variant 0 updates until then; the energy settles at 33.
template <auto updateCall, auto filterCall, class S>
void onceSettled(S* s, Signal& in, Trace& out, unsigned variant) {
    const double energy = s->bwdEnergy[s->order - 1];
    const bool settled = energy > 4.0 && energy < 100.0;
    (settled || variant != 0 ? filterCall : updateCall)(s, in, out, variant);
}

// ---- Accessors

template <class S>
int32_t orderOf(const S& s) {
    return s.order;
}

template <auto get, class S>
int32_t getter(S* s, double* buf, int32_t start, int32_t count, int32_t reversed) {
    return get(s, buf, start, count, reversed);
}

template <auto get, auto set, auto field, class S>
Accessor<S> plainArray() {
    return {getter<get, S>,
            set,
            field,
            orderOf,
            [](S& s, double* to) { std::copy_n(s.*field, s.order, to); },
            [](S& s, int32_t start, const double* from, int32_t n) {
                std::copy_n(from, n, s.*field + start);
            }};
}

// The sample of that age in delayLine as a ring line.
template <class S>
double& sampleAt(S& s, int64_t age) {
    return s.delayLine[(s.head + 1 + age) % lineLength(s)];
}

// On delayLine as a ring, by age; `length` samples are accessible.
template <class F, auto get, auto set, class S = typename F::State>
Accessor<S> ring() {
    return {getter<get, S>,
            set,
            &S::delayLine,
            F::samplesInReach,
            [](S& s, double* to) {
                for (int32_t age = 0; age < F::samplesInReach(s); ++age) {
                    to[age] = sampleAt(s, age);
                }
            },
            [](S& s, int32_t start, const double* from, int32_t n) {
                for (int32_t i = 0; i < n; ++i) {
                    sampleAt(s, start + i) = from[i];
                }
            }};
}

// On the taps of a coefficient spectrum: F::inTime(state, visit) calls visit(index, tap) for all.
template <class F, class S = typename F::State>
Accessor<S> taps() {
    return {F::Api::getCoef,
            F::Api::setCoef,
            &S::coef,
            F::tapCount,
            [](S& s, double* to) { F::inTime(s, [=](int32_t i, double& tap) { to[i] = tap; }); },
            [](S& s, int32_t start, const double* from, int32_t n) {
                F::inTime(s, [=](int32_t i, double& tap) {
                    if (i >= start && i < start + n) {
                        tap = from[i - start];
                    }
                });
            }};
}

template <class F, class S = typename F::State>
auto accessorsOf() {
    using Api = typename F::Api;
    List<Accessor<S>, 4> all;
    if constexpr (requires { F::tapCount; }) {
        all.push_back(taps<F>());
    } else if constexpr (requires { Api::setCoef; }) {
        all.push_back(plainArray<Api::getCoef, Api::setCoef, &S::coef, S>());
    } else {
        all.push_back(plainArray<Api::getCoef, nullptr, &S::coef, S>());
    }
    if constexpr (requires { Api::getParcor; }) {
        all.push_back(plainArray<Api::getParcor, Api::setParcor, &S::parcor, S>());
    }
    if constexpr (requires { Api::getForwardParcors; }) {
        all.push_back(plainArray<Api::getForwardParcors, nullptr, &S::fwdParcor, S>());
        all.push_back(plainArray<Api::getBackwardParcors, nullptr, &S::bwdParcor, S>());
    }
    if constexpr (requires(S s) {
                      s.head;
                      Api::getDelayLine;
                  }) {
        all.push_back(ring<F, Api::getDelayLine, Api::setDelayLine>());
    } else if constexpr (requires { Api::getDelayLine; }) {
        all.push_back(plainArray<Api::getDelayLine, Api::setDelayLine, &S::delayLine, S>());
    }
    return all;
}

template <class F, class S = typename F::State>
auto resetsOf() {
    List<ResetOf<S>, 2> all;
    if constexpr (requires { F::Api::reset; }) {
        all.push_back({F::Api::reset, F::learned()});
    }
    if constexpr (requires { F::Api::resetDelayLine; }) {
        all.push_back({F::Api::resetDelayLine, F::history()});
    }
    return all;
}

// ---- Set-up

template <class F>
int32_t init(typename F::State* s, const Shape& p, Lent& lent) {
    return std::apply([=](auto... arguments) { return F::Api::init(s, arguments...); },
                      std::tuple_cat(F::arguments(p, lent), F::tables(lent)));
}

template <class F>
int32_t initStatic(typename F::State* s, const Shape& p, Lent& lent, double* const* buffers) {
    const auto given = [=] {
        if constexpr (F::buffers == 1) {
            return std::tuple(buffers[0]);
        } else {
            return std::tuple(buffers[0], buffers[1]);
        }
    };
    return std::apply([=](auto... arguments) { return F::Api::initStatic(s, arguments...); },
                      std::tuple_cat(F::arguments(p, lent), given(), F::tables(lent)));
}

template <class S>
int32_t resize(S* s, const Shape& p) {
    using Api = merlo64f::Family<S>;
    if constexpr (requires { s->partitions; }) {
        return Api::resize(s, p.order, p.blockLen, p.parts);
    } else if constexpr (requires { s->blockLen; }) {
        return Api::resize(s, p.order, p.blockLen);
    } else {
        return Api::resize(s, p.order);
    }
}

// ---- What Resize carries over

template <class S>
void carryArray(const S& from, S& to, double* S::*field, int32_t more = 0) {
    std::copy_n(from.*field, std::min(from.order, to.order) + more, to.*field);
}

// The newest samples of a ring line, in order of age.
inline void carryRing(const double* from, int32_t fromLen, int32_t fromHead, double* to,
                      int32_t toLen, int32_t toHead) {
    for (int32_t age = 0; age < std::min(fromLen, toLen); ++age) {
        to[(toHead + 1 + age) % toLen] = from[(fromHead + 1 + age) % fromLen];
    }
}

template <class S>
void carryDelayLine(const S& from, S& to) {
    carryRing(from.delayLine, lineLength(from), from.head, to.delayLine, lineLength(to), to.head);
}

// ---- What most families have in common; a family hides what is different.

template <class S>
struct Common {
    using State = S;
    using Api = merlo64f::Family<S>;
    static constexpr int32_t smallest = 1;       // order that is not refused
    static constexpr size_t buffers = 2;         // of InitStatic
    static constexpr bool pointersFirst = false; // InitStatic tests its buffers before the order
    static constexpr bool testsRecord = false;   // a null record is refused by set-up and resets
    static constexpr double rate = 0.01;         // mu or lambda
    static constexpr double second = 0.5;        // muCoef or delta

    // The arguments of Init but for the record, and those of InitStatic behind the buffers.
    static auto arguments(const Shape& p, Lent&) { return std::tuple(p.order, p.rate); }
    static auto tables(Lent&) { return std::tuple(); }
    static Layout<S> layout(const Shape& p) {
        return {{{&S::coef, p.order}}, {{&S::delayLine, p.order}}};
    }
    static void carry(const S& from, S& to) {
        carryArray(from, to, &S::coef);
        carryDelayLine(from, to);
        if constexpr (requires { to.power; }) {
            to.power = from.power;
        }
    }
    static void freed(S& s) { s.order = 0; }               // all that Free changes in the record
    static Fields<S> learned() { return {&S::coef}; }      // cleared by Reset
    static Fields<S> history() { return {&S::delayLine}; } // by ResetDelayLine
    static int32_t samplesInReach(const S& s) { return lineLength(s); } // of the ring accessors
};

// ---- Sizes of a record

template <class F>
Shape shapeOf(int32_t order) {
    Shape shape;
    shape.order = order;
    shape.rate = F::rate;
    shape.second = F::second;
    return shape;
}

template <class F>
Shape clamped(Shape shape) {
    shape.order = std::min(shape.order, F::Api::maxOrder);
    return shape;
}

// The sizes and parameters that a record has now.
template <class F>
Shape shapeOf(const typename F::State& s) {
    Shape now = shapeOf<F>(s.order);
    if constexpr (requires { s.blockLen; }) {
        now.blockLen = s.blockLen;
    }
    if constexpr (requires { s.partitions; }) {
        now.parts = s.partitions;
    }
    if constexpr (requires { s.constrained; }) {
        now.constrained = s.constrained;
    }
    if constexpr (requires { s.secLen; }) {
        now.secLen = s.secLen;
        now.estLen = s.estLen;
    }
    if constexpr (requires { s.mu; }) {
        now.rate = s.mu;
    } else if constexpr (requires { s.lambda; }) {
        now.rate = s.lambda;
    }
    if constexpr (requires { s.muCoef; }) {
        now.second = s.muCoef;
    }
    return now;
}

// visit(array, its length) in the order of the buffers
template <class F, class Visit>
void forEachArray(const typename F::State& s, const Shape& shape, Visit visit) {
    for (const auto& buffer : F::layout(shape)) {
        for (const auto& array : buffer) {
            visit(s.*array.field, static_cast<size_t>(array.length));
        }
    }
}

template <class Buffer> // of a Layout
int64_t lengthOf(const Buffer& buffer) {
    int64_t sum = 0;
    for (const auto& array : buffer) {
        sum += array.length;
    }
    return sum;
}
