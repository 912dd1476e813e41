// A record of the library with the arrays that it borrows, and the Model that it must equal, which is set up,
// resized and reset here and whose filter operations are those of plain/.
#pragma once

#include "families.h"
#include "heap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <deque>
#include <memory>
#include <stdexcept>
#include <string>

constexpr double kGuard = -7.25; // behind every buffer of a host

inline void require(bool holds, const std::string& what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

// Sets the pointers of a record to its arrays in the buffers.
template <class S>
void place(S& s, const Layout<S>& layout, double* const* buffers) {
    for (size_t i = 0; i < layout.size(); ++i) {
        double* at = buffers[i];
        for (const auto& array : layout[i]) {
            s.*array.field = at;
            at += array.length;
        }
    }
}

enum class Memory { kHeap, kStatic };

// A live record of the library.
template <class F>
class Record {
  public:
    typename F::State state;
    Lent lent;

    explicit Record(const Shape& shape, Memory memory = Memory::kHeap, const Lent& from = Lent())
        : lent(from), memory_(memory) {
        std::memset(&state, 0x5a, sizeof state);
        if (memory == Memory::kHeap) {
            require(init<F>(&state, shape, lent) == STS_OK, "Init");
            return;
        }
        std::vector<double*> pointers;
        for (int64_t length : F::lengths(shape)) {
            Values& buffer = buffers_.emplace_back(static_cast<size_t>(length), NAN);
            buffer.push_back(kGuard);
            pointers.push_back(buffer.data());
        }
        require(initStatic<F>(&state, shape, lent, pointers.data()) == STS_OK, "InitStatic");
    }
    explicit Record(int32_t order, Memory memory = Memory::kHeap)
        : Record(shapeOf<F>(order), memory) {}
    ~Record() {
        if (memory_ == Memory::kHeap) {
            typename F::State left;
            std::memcpy(&left, &state, sizeof left);
            F::freed(left);
            F::Api::free(&state);
            EXPECT_EQ(std::memcmp(&left, &state, sizeof left), 0) << F::Api::name << "Free";
            if constexpr (requires { left.lambda; }) {
                EXPECT_EQ(heap::lastFreed(), left.delayLine) << "the coefficients are freed first";
            }
        }
        for (const Values& buffer : buffers_) {
            EXPECT_EQ(buffer.back(), kGuard) << "a buffer was overrun";
        }
    }
    Record(const Record&) = delete;

    // Every operation in turn, `rounds` times, from a signal of that seed.
    Trace run(int rounds, uint64_t seed = 1) {
        Signal signal(seed);
        Trace trace;
        for (int i = 0; i < rounds; ++i) {
            for (const auto& operation : F::operations()) {
                operation.library(&state, signal, trace, 0);
            }
        }
        return trace;
    }

    // Every byte of the record: fields, arrays, borrowed arrays.
    std::vector<char> bytes() const {
        std::vector<char> all;
        const auto append = [&](const void* from, size_t n) {
            const auto* const begin = static_cast<const char*>(from);
            all.insert(all.end(), begin, begin + n);
        };
        append(&state, sizeof state);
        append(&lent, sizeof lent);
        forEachArray<F>(state, shapeOf<F>(state), [&](const double* array, size_t length) {
            append(array, sizeof(double) * length);
        });
        return all;
    }

    // One sample, or a block of one, to learn from or to filter only.
    double update(double x, double d) {
        using Api = typename F::Api;
        if constexpr (requires { Api::filterUpdate(&state, &x, &d, &x, &d); }) {
            double y = 0.0;
            EXPECT_EQ(Api::filterUpdate(&state, &x, &d, &y, &err_), STS_OK);
            return y;
        } else if constexpr (requires { Api::filterUpdate(&state, x, d); }) {
            return Api::filterUpdate(&state, x, d);
        } else if constexpr (requires { Api::filterUpdate; }) {
            return Api::filterUpdate(&state, x);
        } else {
            return Api::filter(&state, x);
        }
    }
    double only(double x) {
        using Api = typename F::Api;
        if constexpr (requires { Api::filterOnly(&state, &x, &x); }) {
            double y = 0.0;
            EXPECT_EQ(Api::filterOnly(&state, &x, &y), STS_OK);
            return y;
        } else {
            return Api::filterOnly(&state, x);
        }
    }
    double err() const {
        if constexpr (requires { state.err; }) {
            return state.err;
        } else {
            return err_;
        }
    }
    Values coef() const { return Values(state.coef, state.coef + state.order); }

    const double* buffer(size_t i) const { return buffers_[i].data(); } // of a host

  private:
    double err_ = 0.0; // of a family that writes its errors to the host's array
    Memory memory_;
    std::deque<Values> buffers_;
};

template <class F>
class Model {
  public:
    typename F::State state{};
    Lent lent;

    Model(const Shape& shape, const Lent& from) : lent(from) { buffers_ = setUp(state, shape); }

    void resize(const Shape& wanted) {
        Shape shape = shapeOf<F>(state);
        shape.order = wanted.order;
        shape.blockLen = wanted.blockLen;
        shape.parts = wanted.parts;
        typename F::State next{};
        std::vector<Values> buffers = setUp(next, shape);
        F::carry(state, next);
        state = next;
        buffers_ = std::move(buffers);
    }

    void reset(const ResetOf<typename F::State>& which) {
        for (const auto& buffer : F::layout(shapeOf<F>(state))) {
            for (const auto& array : buffer) {
                const auto& cleared = which.arrays;
                if (cleared.empty() ||
                    std::count(cleared.begin(), cleared.end(), array.field) > 0) {
                    std::fill_n(state.*array.field, array.length, 0.0);
                }
            }
        }
        if constexpr (requires { F::startArrays(state); }) {
            F::startArrays(state);
        }
    }

    // Throws unless every field and every element of every array has the same bits.
    void compare(const typename F::State& actual) const {
        std::apply([&](auto... fields) { (compareField(actual, fields), ...); }, F::fields);
        const Shape shape = shapeOf<F>(state);
        for (const auto& buffer : F::layout(shape)) {
            for (size_t n = 0; n < buffer.size(); ++n) {
                const double* const expected = state.*buffer[n].field;
                const double* const values = actual.*buffer[n].field;
                for (int64_t i = 0; i < buffer[n].length; ++i) {
                    if (!sameBits(values[i], expected[i])) {
                        require(false, "array " + std::to_string(n) + " of its buffer, element " +
                                           std::to_string(i) + ": " + std::to_string(values[i]) +
                                           ", not " + std::to_string(expected[i]));
                    }
                }
            }
        }
    }

  private:
    std::vector<Values> setUp(typename F::State& s, const Shape& shape) {
        std::vector<Values> buffers;
        std::vector<double*> pointers;
        const auto layout = F::layout(shape);
        for (const auto& buffer : layout) {
            buffers.emplace_back(static_cast<size_t>(lengthOf(buffer)));
            pointers.push_back(buffers.back().data());
        }
        place(s, layout, pointers.data());
        F::start(s, shape, lent);
        return buffers;
    }
    void compareField(const typename F::State& actual, double F::State::*field) const {
        require(sameBits(actual.*field, state.*field), "a field: " + std::to_string(actual.*field) +
                                                           ", not " + std::to_string(state.*field));
    }
    void compareField(const typename F::State& actual, int32_t F::State::*field) const {
        require(actual.*field == state.*field, "a field: " + std::to_string(actual.*field) +
                                                   ", not " + std::to_string(state.*field));
    }
    template <class T>
    void compareField(const typename F::State&, T* F::State::*) const {} // the arrays are compared

    std::vector<Values> buffers_;
};
