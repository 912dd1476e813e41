// A random host: bytes select a sequence of valid calls. Each is applied to a record of the library and to
// its model. Throws if they differ afterwards in any bit.
#pragma once

#include "heap.h"
#include "record.h"

#include <cstddef>

class Choices {
  public:
    Choices(const uint8_t* bytes, size_t count) : next_(bytes), left_(count) {}
    bool left() const { return left_ > 0; }
    uint32_t below(uint32_t limit) { // one of 0 .. limit - 1, limit at most 256
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *next_++ % limit;
    }
    bool oneIn(uint32_t n) { return below(n) == n - 1; }
    template <class T, size_t n>
    T of(const T (&values)[n]) {
        return values[below(n)];
    }
    template <class Values>
    auto of(const Values& values) {
        return values[below(static_cast<uint32_t>(values.size()))];
    }

  private:
    const uint8_t* next_;
    size_t left_;
};

template <class F>
class RandomHost {
    using State = typename F::State;
    using Api = typename F::Api;

  public:
    explicit RandomHost(Choices choices) : choices_(choices), signal_(choices_.below(256)) {}

    void run() {
        while (choices_.left()) {
            useOneRecord();
        }
    }

  private:
    // Every order up to the limit and above, and block lengths around those that the library works in.
    Shape anyShape() {
        Shape p = shapeOf<F>(static_cast<int32_t>(choices_.below(Api::maxOrder + 2)) + 1);
        p.order = p.order == Api::maxOrder + 2 ? INT32_MAX : std::max(p.order, F::smallest);
        p.blockLen = choices_.oneIn(8)
                         ? choices_.of({100, 200, 225, 255, 256, 257, 511, 512, 513, 600})
                         : static_cast<int32_t>(choices_.below(64)) + 1;
        p.parts = choices_.oneIn(4) ? choices_.of({7, 8, 9, 12})
                                    : static_cast<int32_t>(choices_.below(5)) + 1;
        if constexpr (requires(State s) {
                          s.fftLen;
                          s.blockLen;
                      }) {
            p.blockLen += std::max(p.order, p.blockLen) == 1; // there is no transform of length 1
            p.parts = std::min(p.parts, 2400 / p.blockLen);
        }
        p.secLen = choices_.of({1, 2, 3, 7, 10, 33, Lent::longest});
        p.estLen = choices_.of({1, 2, 3, 5, 9, 11, 31, 32, 33, 40, Lent::longest});
        p.constrained = choices_.of({0, 1, -5});
        return p;
    }

    void useOneRecord() {
        Shape shape = anyShape();
        shape.rate = choices_.of({F::rate, F::rate, F::rate, F::rate / 7, 0.95, 0.0, 1.0, -0.5});
        Lent lent;
        signal_.fill(lent.coef, 32);
        signal_.fill(lent.secCoef, Lent::longest);
        signal_.fill(lent.estCoef, Lent::longest);
        memory_ = choices_.oneIn(4) ? Memory::kStatic : Memory::kHeap;
        record_ = std::make_unique<Record<F>>(shape, memory_, lent);
        model_ = std::make_unique<Model<F>>(clamped<F>(shape), lent);
        forgetErr();
        model_->compare(record_->state);
        while (choices_.left() && !choices_.oneIn(128)) {
            step();
            model_->compare(record_->state);
        }
        record_.reset();
    }
    void forgetErr() { // it holds no defined value
        if constexpr (requires(State s) { s.err; }) {
            model_->state.err = record_->state.err;
        }
    }

    void step() {
        switch (choices_.below(16)) {
        case 0:
            return tune();
        case 1:
        case 2:
            return access();
        case 3:
            return reset();
        case 4:
            return resize();
        default:
            return operate();
        }
    }

    void operate() {
        const Operation<State> operation = choices_.of(F::operations());
        const unsigned variant = choices_.below(256);
        Signal again = signal_;
        Trace actual, expected;
        for (int i = choices_.oneIn(4) ? 20 : 1; i > 0; --i) {
            const int calls = heap::calls();
            operation.library(&record_->state, signal_, actual, variant);
            require(heap::calls() == calls, "an operation calls the heap");
            operation.plain(&model_->state, again, expected, variant);
        }
        require(actual == expected, "an operation's results differ");
    }

    // Changes the kind of signal, or what a host may write to a record and to what it lends.
    void tune() {
        State& s = record_->state;
        State& m = model_->state;
        switch (choices_.below(10)) {
        case 0:
            return signal_.setSilent(choices_.oneIn(2));
        case 1:
            return signal_.setWild(choices_.oneIn(4));
        case 2:
            return signal_.setScale(choices_.of({0, 0, 0, 12, -24, -1060}));
        case 3:
            if constexpr (requires { s.mu; }) {
                s.mu = m.mu = choices_.of({F::rate, 0.0, -0.01});
            } else if constexpr (requires { s.lambda; }) {
                s.lambda = m.lambda = choices_.of({F::rate, 0.95, 0.9});
            }
            return;
        case 4:
            if constexpr (requires { F::flag; }) {
                s.*F::flag = m.*F::flag = choices_.of({1, 0, -3});
            }
            return;
        case 5: // as after silence
            return setPower(choices_.of({1e-310, 5e-324, 0.0, 1e-15, 1e-12, 1e-6}));
        default: // a call reads the paths anew
            record_->lent.secCoef[0] = model_->lent.secCoef[0] = signal_.next();
            record_->lent.estCoef[0] = model_->lent.estCoef[0] = signal_.next();
        }
    }
    void setPower(double value) {
        State& s = record_->state;
        State& m = model_->state;
        if constexpr (requires { s.powerAvg; }) {
            std::fill_n(s.powerAvg, s.bins, value);
            std::fill_n(m.powerAvg, s.bins, value);
        } else if constexpr (requires { s.power = value; }) {
            s.power = m.power = value;
        } else if constexpr (requires { s.power; }) {
            std::fill_n(s.power, s.order, value);
            std::fill_n(m.power, s.order, value);
        }
    }

    void access() {
        const Accessor<State> accessor = choices_.of(accessorsOf<F>());
        const int32_t length = accessor.length(record_->state);
        const int32_t start = choices_.oneIn(32)
                                  ? choices_.of({INT32_MAX, INT32_MIN})
                                  : static_cast<int32_t>(choices_.below(
                                        static_cast<uint32_t>(std::min(length, 250) + 3))) -
                                        1;
        const int32_t count = choices_.of({1, 2, 3, 5, 200, INT32_MAX, 0, INT32_MIN});
        const int32_t reversed = choices_.of({0, 1, -3});
        const bool null = choices_.oneIn(32);
        const bool write = accessor.set != nullptr && choices_.oneIn(2);
        const int32_t n = null ? STS_NULL_PTR
                          : count < 1 || start < 0 || start >= length
                              ? STS_BAD_SIZE
                              : std::min(length - start, count);
        const int32_t copied = std::max(n, 0);
        Values buffer(static_cast<size_t>(copied) + 1, kGuard);
        double* const to = null ? nullptr : buffer.data();
        if (write) {
            signal_.fill(buffer.data(), copied);
            require(accessor.set(&record_->state, to, start, count, reversed) == n, "count set");
        } else {
            require(accessor.get(&record_->state, to, start, count, reversed) == n, "count got");
        }
        require(buffer.back() == kGuard, "an accessor writes beyond buf");
        if (n < 0) {
            return;
        }
        buffer.pop_back();
        if (reversed != 0) {
            std::reverse(buffer.begin(), buffer.end());
        }
        if (write) {
            return accessor.write(model_->state, start, buffer.data(), copied);
        }
        Values all(static_cast<size_t>(length));
        accessor.read(model_->state, all.data());
        require(std::equal(buffer.begin(), buffer.end(), all.begin() + start, sameBits),
                "an accessor reads other values");
    }

    void reset() {
        const ResetOf<State> chosen = choices_.of(resetsOf<F>());
        require(chosen.reset(&record_->state) == STS_OK, "a reset is refused");
        model_->reset(chosen);
    }

    void resize() {
        if (memory_ == Memory::kStatic) {
            return;
        }
        Shape wanted = choices_.oneIn(8) ? shapeOf<F>(record_->state) : anyShape();
        const uint32_t trouble = choices_.below(4);
        if (trouble == 0) {
            wanted.*choices_.of({&Shape::order, &Shape::blockLen, &Shape::parts}) =
                choices_.of({0, -1, INT32_MIN});
        }
        const State& s = record_->state;
        bool changes = s.order != wanted.order;
        bool fits = wanted.order >= F::smallest;
        if constexpr (requires { s.blockLen; }) {
            changes = changes || s.blockLen != wanted.blockLen;
            fits = fits && wanted.blockLen >= 1;
        }
        if constexpr (requires { s.partitions; }) {
            changes = changes || s.partitions != wanted.parts;
            fits = fits && wanted.parts >= 1;
        }
        const auto bytes = record_->bytes();
        int32_t expected = STS_OK;
        if (!fits) {
            expected = STS_BAD_SIZE;
        } else if (changes && trouble == 1) {
            heap::failAt(1 + static_cast<int>(choices_.below(F::buffers)));
            expected = STS_NO_MEMORY;
        }
        require(::resize(&record_->state, wanted) == expected, "the status of Resize");
        if (expected != STS_OK || !changes) {
            require(record_->bytes() == bytes, "a Resize without effect changes the record");
            return;
        }
        model_->resize(clamped<F>(wanted));
        forgetErr();
    }

    Choices choices_;
    Signal signal_;
    Memory memory_{};
    std::unique_ptr<Record<F>> record_;
    std::unique_ptr<Model<F>> model_;
};
