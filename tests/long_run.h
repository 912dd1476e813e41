// A long run of a family through everything that a host may call on the signal path, with resizes in
// between. The samples are white noise in stretches: ordinary, silent, subnormal, and so large that what
// the filter learned from them has to be cleared.
#pragma once

#include "families.h"

#include <cstdlib>

template <class F>
void filterAndAdapt(typename F::State* state, Signal& signal, Trace& trace, int calls) {
    const auto operations = F::operations();
    for (int i = 0; i < calls; ++i) {
        operations[signal.choose(operations.size())].library(state, signal, trace, 0);
    }
}

template <class F>
void readAndWrite(typename F::State* state, Signal& signal, Trace& trace) {
    for (const auto& accessor : accessorsOf<F>()) {
        const int32_t length = accessor.length(*state);
        std::vector<double> values(static_cast<size_t>(length));
        const auto start = static_cast<int32_t>(signal.choose(static_cast<uint64_t>(length)));
        const auto reversed = static_cast<int32_t>(signal.choose(2));
        const int32_t n = accessor.get(state, values.data(), start, length, reversed);
        trace.add(values.data(), n);
        if (accessor.set != nullptr) {
            accessor.set(state, values.data(), 0, n, 1 - reversed);
        }
    }
}

// The ith stretch: filter operations, resets, accessors.
template <class F>
void stretch(int i, typename F::State* state, Signal& signal, Trace& trace) {
    const auto clear = [&] {
        for (const auto& reset : resetsOf<F>()) {
            reset.reset(state);
        }
    };
    signal.setSilent(i % 10 == 3);
    signal.setScale(i % 10 == 6 ? -1060 : i % 10 == 9 ? 16 : 0);
    if (i % 10 == 9) {
        clear();
        filterAndAdapt<F>(state, signal, trace, 3);
        clear();
    } else {
        filterAndAdapt<F>(state, signal, trace, 40);
    }
    if (i % 7 == 5) {
        readAndWrite<F>(state, signal, trace);
    }
}

template <class F>
Trace longRun(decltype(stretch<F>) runStretch = stretch<F>, int stretches = 600,
              int32_t blockLen = Shape().blockLen) {
    const auto shape = [=](int32_t order) {
        Shape p = shapeOf<F>(order);
        p.blockLen = blockLen;
        return p;
    };
    Signal signal(20);
    Trace trace;
    typename F::State state;
    Lent lent;
    if (init<F>(&state, shape(8), lent) != STS_OK) {
        std::abort();
    }
    for (int i = 0; i < stretches; ++i) {
        runStretch(i, &state, signal, trace);
        if (i % 13 == 11) {
            const auto order = static_cast<int32_t>(signal.choose(F::Api::maxOrder + 2)) + 1;
            trace.add(resize(&state, shape(order)));
        }
        forEachArray<F>(state, shapeOf<F>(state), [&](const double* array, size_t length) {
            trace.add(array, static_cast<int32_t>(length));
        });
    }
    F::Api::free(&state);
    return trace;
}
