// A record with what its host lends it, from the heap or on the host's own buffers.
#pragma once

#include "families.h"
#include "heap.h"

#include <cstring>
#include <memory>

constexpr double kGuard = -7.25; // stands behind every buffer of a host

template <class F>
class Record {
  public:
    typename F::State state;
    Lent lent;

    enum Kind { kHeap, kStatic };

    explicit Record(const Shape& shape, Kind kind = kHeap, const Lent& from = Lent())
        : lent(from), kind_(kind) {
        std::memset(&state, 0x5a, sizeof state);
        if (kind == kHeap) {
            require(F::init(&state, shape, lent) == STS_OK, "Init");
            return;
        }
        Shape clamped = shape;
        clamped.order = std::min(shape.order, F::limit);
        for (const auto& array : F::arrays(clamped)) {
            if (array.startsBlock) {
                buffers_.emplace_back();
            }
            buffers_.back().resize(buffers_.back().size() + array.length, NAN);
        }
        std::vector<double*> pointers;
        for (auto& buffer : buffers_) {
            buffer.push_back(kGuard);
            pointers.push_back(buffer.data());
        }
        require(F::initStatic(&state, shape, lent, pointers.data()) == STS_OK, "InitStatic");
    }
    explicit Record(int32_t order, Kind kind = kHeap) : Record(F::shape(order), kind) {}
    ~Record() {
        if (kind_ == kHeap) {
            typename F::State left;
            std::memcpy(&left, &state, sizeof left);
            F::freed(left);
            F::free(&state);
            EXPECT_EQ(std::memcmp(&left, &state, sizeof left), 0) << F::name << "Free";
            if constexpr (requires { left.lambda; }) {
                EXPECT_EQ(heap::lastFreed(), left.delayLine) << "the coefficients go first";
            }
        }
        for (const auto& buffer : buffers_) {
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
                operation.call(&state, signal, trace, 0);
            }
        }
        return trace;
    }

    // The sizes that the record has now.
    Shape shape() const {
        Shape now = F::shape(state.order);
        if constexpr (requires { state.blockLen; }) {
            now.blockLen = state.blockLen;
        }
        if constexpr (requires { state.partitions; }) {
            now.parts = state.partitions;
        }
        if constexpr (requires { state.secLen; }) {
            now.secLen = state.secLen;
            now.estLen = state.estLen;
        }
        return now;
    }

    // Every byte that belongs to the record: fields, buffers, what the host lent.
    std::vector<char> bytes() const {
        std::vector<char> all;
        const auto append = [&](const void* from, size_t n) {
            all.insert(all.end(), static_cast<const char*>(from),
                       static_cast<const char*>(from) + n);
        };
        append(&state, sizeof state);
        append(&lent, sizeof lent);
        for (const auto& array : F::arrays(shape())) {
            append(state.*array.field, sizeof(double) * array.length);
        }
        return all;
    }

    // One sample, or a block of one, to learn from or to filter only.
    double update(double x, double d) {
        if constexpr (requires { F::kUpdate(&state, &x, &d, &x, &d); }) {
            double y = 0.0;
            EXPECT_EQ(F::kUpdate(&state, &x, &d, &y, &err_), STS_OK);
            return y;
        } else if constexpr (requires { F::kUpdate(&state, x, d); }) {
            return F::kUpdate(&state, x, d);
        } else {
            return F::kUpdate(&state, x);
        }
    }
    double only(double x) {
        if constexpr (requires { F::kOnly(&state, &x, &x); }) {
            double y = 0.0;
            EXPECT_EQ(F::kOnly(&state, &x, &y), STS_OK);
            return y;
        } else {
            return F::kOnly(&state, x);
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

  private:
    double err_ = 0.0; // of a family that hands its errors to the host
    Kind kind_;
    std::vector<std::vector<double>> buffers_;
};
