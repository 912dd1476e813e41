// A long run of a family: all calls of the signal path, with resizes in between. The samples are white noise
// in stretches of different level: ordinary, zero, subnormal, and so large that the coefficients have to be
// cleared afterwards.
#pragma once

#include "families.h"

#include <cstdlib>

template <class F>
void filterAndAdapt(typename F::State* state, Signal& signal, Trace& trace, int calls) {
    const auto operations = F::operations();
    for (int i = 0; i < calls; ++i) {
        const auto chosen = static_cast<size_t>(signal.choose(operations.size()));
        operations[chosen].library(state, signal, trace, 0);
    }
}

template <class F>
void readAndWrite(typename F::State* state, Signal& signal, Trace& trace) {
    for (const auto& accessor : accessorsOf<F>()) {
        const int32_t length = accessor.length(*state);
        Samples values(length);
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

// A record as Init sets it up.
template <class F>
class OnHeap {
  public:
    typename F::State state;

    explicit OnHeap(const Shape& shape) {
        if (init<F>(&state, shape, lent_) != STS_OK) {
            std::abort();
        }
    }
    ~OnHeap() { F::Api::free(&state); }
    OnHeap(const OnHeap&) = delete;
    int32_t resize(const Shape& shape) { return ::resize(&state, shape); }

  private:
    Lent lent_;
};

// A record as InitStatic sets it up. It is resized by hand: set up in other buffers, where it gets what
// Resize would carry over.
template <class F>
class WithoutHeap {
  public:
    typename F::State state;

    explicit WithoutHeap(const Shape& shape) {
        if (setUp(state, shape) != STS_OK) {
            std::abort();
        }
    }
    WithoutHeap(const WithoutHeap&) = delete;
    int32_t resize(const Shape& wanted) {
        Shape shape = shapeOf<F>(state);
        if (shape.order == wanted.order) {
            return STS_OK;
        }
        shape.order = wanted.order;
        typename F::State next{};
        const int32_t status = setUp(next, shape);
        if (status == STS_OK) {
            F::carry(state, next);
            state = next;
        }
        return status;
    }

  private:
    // Uses the buffers that are free, and leaves the others to the next record.
    int32_t setUp(typename F::State& s, const Shape& shape) {
        const Lengths lengths = F::lengths(clamped<F>(shape));
        if (std::any_of(lengths.begin(), lengths.end(), [](auto n) { return n > longest; })) {
            std::abort();
        }
        double* const buffers[] = {buffers_[used_][0], buffers_[used_][1]};
        const int32_t status = initStatic<F>(&s, shape, lent_, buffers);
        used_ = status == STS_OK ? 1 - used_ : used_;
        return status;
    }

    static constexpr int32_t longest = 1024;
    Lent lent_;
    int used_ = 0;
    static inline double buffers_[2][2][longest]; // of one run at a time
};

template <class F, template <class> class Record = OnHeap>
Trace longRun(decltype(stretch<F>) runStretch = stretch<F>, int stretches = 600,
              int32_t blockLen = Shape().blockLen) {
    const auto shape = [=](int32_t order) {
        Shape p = shapeOf<F>(order);
        p.blockLen = blockLen;
        return p;
    };
    Signal signal(20);
    Trace trace;
    Record<F> record(shape(8));
    for (int i = 0; i < stretches; ++i) {
        runStretch(i, &record.state, signal, trace);
        if (i % 13 == 11) {
            const auto order = static_cast<int32_t>(signal.choose(F::Api::maxOrder + 2)) + 1;
            trace.add(record.resize(shape(order)));
        }
        forEachArray<F>(record.state, shapeOf<F>(record.state),
                        [&](const double* array, size_t length) {
                            trace.add(array, static_cast<int32_t>(length));
                        });
    }
    return trace;
}
