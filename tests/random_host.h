// A host that does what it may, in an order that bytes decide, beside a model that does it the slow way.
// After each call the record holds what the model holds, to the bit, or the host throws.
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
    template <class T, size_t n>
    T of(const T (&values)[n]) {
        return values[below(n)];
    }

  private:
    const uint8_t* next_;
    size_t left_;
};

template <class F>
class RandomHost {
    using State = typename F::State;
    using Model = typename F::Model;

  public:
    explicit RandomHost(Choices choices) : choices_(choices), signal_(choices_.below(256)) {}

    void run() {
        while (choices_.left()) {
            live();
        }
    }

  private:
    Shape anyShape() {
        Shape p = F::shape(choices_.of({1, 2, 3, 4, 5, 8, 9, 10, 11, 17, 31, 32, 33, 40, 7, 6}));
        p.order = std::max(p.order, F::smallest);
        p.blockLen = choices_.of({1, 2, 3, 4, 5, 8, 9, 16, 33, 47});
        if constexpr (requires(State s) { s.fftLen; }) {
            p.blockLen += p.order + p.blockLen == 2; // no transform of length 1
        } else {
            p.blockLen = p.blockLen == 47 ? 300 : p.blockLen; // more than is worked on at a time
        }
        p.parts = choices_.of({1, 2, 3, 5});
        p.secLen = choices_.of({1, 2, 3, 7});
        p.estLen = choices_.of({1, 2, 3, 5, 9, 40});
        p.constrained = choices_.of({0, 1, -5});
        return p;
    }
    Shape clamped(Shape p) {
        p.order = std::min(p.order, F::limit);
        return p;
    }

    // One record from its set-up to its end.
    void live() {
        Shape shape = anyShape();
        shape.rate = choices_.of({F::rate, F::rate, F::rate, F::rate / 7, 0.0, 1.0, -0.5});
        Lent lent;
        for (double* array : {lent.coef, lent.secCoef, lent.estCoef}) {
            signal_.fill(array, 32);
        }
        kind_ = choices_.below(4) == 0 ? Record<F>::kStatic : Record<F>::kHeap;
        record_ = std::make_unique<Record<F>>(shape, kind_, lent);
        lent_ = lent;
        model_ = std::make_unique<Model>(clamped(shape), lent_);
        forgetErr();
        compare(record_->state);
        while (choices_.left() && choices_.below(128) != 0) {
            step();
            require(record_->state.order >= F::smallest && record_->state.order <= F::limit,
                    "order");
            compare(record_->state);
        }
        record_.reset();
    }
    void compare(const State& s) {
        model_->compare(s);
        if constexpr (requires { s.err; }) {
            same(s.err, model_->err, "err");
        }
        if constexpr (requires { s.mu; }) {
            same(s.mu, model_->mu, "mu");
        }
        if constexpr (requires { s.lambda; }) {
            same(s.lambda, model_->lambda, "lambda");
        }
        if constexpr (requires { F::flag; }) {
            require(s.*F::flag == model_->adapting, "flag");
        }
    }
    void forgetErr() { // it holds no defined value
        if constexpr (requires(State s) { s.err; }) {
            model_->err = record_->state.err;
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
    template <class T>
    T oneOf(const std::vector<T>& all) {
        return all[choices_.below(static_cast<uint32_t>(all.size()))];
    }
    void operate() {
        const auto operation = oneOf(F::operations());
        const unsigned variant = choices_.below(256);
        Signal again = signal_;
        Trace actual, expected;
        for (int i = choices_.below(4) == 0 ? 20 : 1; i > 0; --i) {
            const int calls = heap::calls();
            operation.call(&record_->state, signal_, actual, variant);
            require(heap::calls() == calls, "an operation that allocates");
            operation.model(*model_, again, expected, variant);
        }
        require(actual == expected, std::string(F::name) + ": an operation's results");
    }
    // The signal's kind, or what a host may write into a record and lend it.
    void tune() {
        State& s = record_->state;
        switch (choices_.below(10)) {
        case 0:
            return signal_.setSilent(choices_.below(2) == 1);
        case 1:
            return signal_.setWild(choices_.below(4) == 1);
        case 2:
            return signal_.setScale(choices_.of({0, 0, 0, 12, -24, -1060}));
        case 3:
            if constexpr (requires { s.mu; }) {
                s.mu = model_->mu = choices_.of({F::rate, 0.0, -0.01});
            }
            return;
        case 4:
            if constexpr (requires { F::flag; }) {
                s.*F::flag = model_->adapting = choices_.of({1, 0, -3});
            }
            return;
        case 5: // as after silence
            return setPower(choices_.of({1e-310, 5e-324, 0.0, 1e-15, 1e-12, 1e-6}));
        default: // the paths are the host's, and each call reads them anew
            record_->lent.secCoef[0] = lent_.secCoef[0] = signal_.next();
            record_->lent.estCoef[0] = lent_.estCoef[0] = signal_.next();
        }
    }
    void setPower(double value) {
        State& s = record_->state;
        if constexpr (requires { s.powerAvg; }) {
            std::fill(model_->powerAvg.begin(), model_->powerAvg.end(), value);
            std::fill_n(s.powerAvg, model_->powerAvg.size(), value);
        } else if constexpr (requires { s.power = value; }) {
            s.power = model_->power = value;
        } else if constexpr (requires { s.power; }) {
            std::fill(model_->power.begin(), model_->power.end(), value);
            std::fill_n(s.power, model_->power.size(), value);
        }
    }
    void access() {
        const auto accessor = oneOf(F::accessors());
        const int32_t length = accessor.length(record_->state);
        const int32_t start = static_cast<int32_t>(choices_.below(length + 3)) - 1;
        const int32_t count = choices_.of({1, 2, 3, 5, 200, INT32_MAX, 0, INT32_MIN});
        const int32_t reversed = choices_.of({0, 1, -3});
        const bool null = choices_.below(32) == 0;
        const bool write = accessor.set != nullptr && choices_.below(2) == 0;
        const int32_t n = null ? STS_NULL_PTR
                          : count < 1 || start < 0 || start >= length
                              ? STS_BAD_SIZE
                              : std::min(length - start, count);
        const auto kept = static_cast<size_t>(std::max(n, 0));
        Values buffer(kept + 1, kGuard);
        double* const to = null ? nullptr : buffer.data();
        if (write) {
            signal_.fill(buffer.data(), static_cast<int32_t>(kept));
            require(accessor.set(&record_->state, to, start, count, reversed) == n, "count set");
        } else {
            require(accessor.get(&record_->state, to, start, count, reversed) == n, "count got");
        }
        require(buffer.back() == kGuard, "an accessor that writes too far");
        if (n < 0) {
            return;
        }
        buffer.pop_back();
        if (reversed != 0) {
            std::reverse(buffer.begin(), buffer.end());
        }
        if (write) {
            accessor.write(*model_, start, buffer);
        } else {
            const Values all = accessor.read(*model_);
            same(buffer.data(), Values(all.begin() + start, all.begin() + start + n), "read");
        }
    }
    void reset() {
        const auto chosen = oneOf(F::resets());
        require(chosen.reset(&record_->state) == STS_OK, "Reset");
        chosen.model(*model_);
    }
    void resize() {
        if (kind_ == Record<F>::kStatic) {
            return;
        }
        Shape wanted = anyShape();
        Shape now = record_->shape(); // what no resize changes
        wanted.secLen = now.secLen;
        wanted.estLen = now.estLen;
        const auto bytes = record_->bytes();
        const uint32_t trouble = choices_.below(4);
        if (trouble == 0) {
            wanted.*choices_.of({&Shape::order, &Shape::blockLen, &Shape::parts}) =
                choices_.of({0, -1, INT32_MIN});
        }
        const bool changes = !F::isAsLarge(record_->state, wanted);
        int32_t expected = STS_OK;
        if (!F::fits(wanted)) {
            expected = STS_BAD_SIZE;
        } else if (changes && trouble == 1) {
            heap::failAt(1 + static_cast<int>(choices_.below(F::buffers)));
            expected = STS_NO_MEMORY;
        }
        require(F::resize(&record_->state, wanted) == expected, "Resize");
        if (expected != STS_OK || !changes) {
            require(record_->bytes() == bytes, "a resize that changes nothing");
            return;
        }
        model_->resize(clamped(wanted));
        forgetErr();
    }

    Choices choices_;
    Signal signal_;
    Lent lent_;
    typename Record<F>::Kind kind_{};
    std::unique_ptr<Record<F>> record_;
    std::unique_ptr<Model> model_;
};
