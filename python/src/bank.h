// The Python object over one family: a filter, or one for each channel.
#pragma once

#include "arrays.h"
#include "fast_call.h"
#include "merlo64f.hpp"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <type_traits>
#include <unistd.h>

namespace binding {

template <class State>
using FilterOf = merlo64f::Filter<State>;

template <class State>
concept Transforms = merlo64f::detail::Transforms<State>;
template <class State>
concept Blocks = merlo64f::detail::Blocks<State>;
template <class State>
concept Borrows = merlo64f::detail::Borrows<State>;
template <class State>
concept ThroughPath = merlo64f::detail::ThroughPath<State>;
template <class State>
concept Adapts = requires {
    merlo64f::Family<State>::filterUpdate;
};
template <class State>
concept SignForms = requires {
    merlo64f::Family<State>::filterUpdateSignErr;
};
template <class State>
concept Predicts =
    std::is_invocable_v<decltype(merlo64f::Family<State>::filterOnly), State*, double> && requires {
    merlo64f::Family<State>::filterUpdate(static_cast<State*>(nullptr), 0.0);
};
template <class State>
concept Regresses = requires {
    merlo64f::Family<State>::lcFilterUpdate;
}
|| requires { merlo64f::Family<State>::lcFilter; };
template <class State>
concept RingLine = requires(State s) {
    s.head;
}; // delayLine is a ring

enum class Rule { kLms, kSignError, kSignRegressor, kSignSign };

inline Rule toRule(py::handle value) { // null: the default
    constexpr const char* names[] = {"lms", "sign-error", "sign-regressor", "sign-sign"};
    if (!value) {
        return Rule::kLms;
    }
    if (PyUnicode_Check(value.ptr())) {
        for (int i = 0; i < 4; ++i) {
            if (PyUnicode_CompareWithASCIIString(value.ptr(), names[i]) == 0) {
                return static_cast<Rule>(i);
            }
        }
    }
    refuse("rule", py::repr(value).cast<std::string>() +
                       ", must be 'lms', 'sign-error', 'sign-regressor' or 'sign-sign'");
}

// Requests beyond the machine's memory fail before anything is allocated. An operating system that
// overcommits would grant them and end the process later.
inline void requireMemory(double bytes) {
    const double pages = static_cast<double>(sysconf(_SC_PHYS_PAGES));
    if (pages > 0 && bytes > pages * static_cast<double>(sysconf(_SC_PAGESIZE))) {
        throw std::bad_alloc();
    }
}

// What a transform family allocates for these sizes, with its tables.
inline void requireMemoryForTransform(int64_t blockLen, int64_t partitions) {
    constexpr double arrays = 7;
    const double length = 2.0 * static_cast<double>(blockLen + MAX_TAPS);
    requireMemory(8.0 * length * (arrays + 2.0 * static_cast<double>(partitions)));
}

// A filter with the mark that a thread uses it. A resize replaces the filter and leaves the old one to
// the arrays that refer to it.
template <class State>
struct Channel {
    std::shared_ptr<FilterOf<State>> filter;
    std::atomic_flag isBusy = ATOMIC_FLAG_INIT;

    explicit Channel(FilterOf<State> f) : filter(std::make_shared<FilterOf<State>>(std::move(f))) {}
};

template <class State>
class Bank {
  public:
    using Filter = FilterOf<State>;
    using Family = merlo64f::Family<State>;
    using Channels = std::vector<std::shared_ptr<Channel<State>>>;

    explicit Bank(Filter filter) {
        channels_.push_back(std::make_shared<Channel<State>>(std::move(filter)));
    }
    Bank(Channels channels, bool hasChannels)
        : channels_(std::move(channels)), hasChannels_(hasChannels) {}
    Bank(const Bank&) = delete;

    // With `count` None one filter for 1-D arrays, else so many for 2-D arrays.
    static std::unique_ptr<Bank> make(Filter filter, const py::handle& count) {
        if (count.is_none()) {
            return std::make_unique<Bank>(std::move(filter));
        }
        Channels channels(static_cast<size_t>(toSize("channels", count, 1, 1 << 24)));
        double bytes = 1024.0;
        merlo64f::forEachArray(filter.state(), [&](const char*, std::span<double> array) {
            bytes += 8.0 * static_cast<double>(array.size());
        });
        if constexpr (Transforms<State>) {
            bytes += 8.0 * filter->fftLen;
        }
        requireMemory(bytes * static_cast<double>(channels.size()));
        for (auto& channel : channels) {
            channel = std::make_shared<Channel<State>>(filter.copy());
        }
        return std::make_unique<Bank>(std::move(channels), true);
    }

    // Python can make an object without calling __init__. Its memory must be a bank without channels.
    static void* operator new(size_t size) {
        if (void* memory = std::calloc(1, size)) {
            return memory;
        }
        throw std::bad_alloc();
    }
    static void operator delete(void* memory) { std::free(memory); }

    // The channels are one thread's while a Use exists.
    class Use {
      public:
        explicit Use(Bank& bank) : bank_(bank) {
            bank.requireSetUp();
            for (auto& channel : bank.channels_) {
                if (channel->isBusy.test_and_set(std::memory_order_acquire)) {
                    release();
                    throw std::runtime_error("the filter is in use by another thread");
                }
                ++held_;
            }
        }
        Use(const Use&) = delete;
        ~Use() { release(); }

      private:
        void release() {
            while (held_ > 0) {
                bank_.channels_[--held_]->isBusy.clear(std::memory_order_release);
            }
        }
        Bank& bank_;
        size_t held_ = 0;
    };

    void requireSetUp() const {
        if (channels_.empty()) {
            throw py::type_error(std::string(Family::name) + ": __init__() was not called");
        }
    }
    bool hasChannels() const { return hasChannels_; }
    size_t count() const { return channels_.size(); }
    Channels& channels() { return channels_; }
    Filter& filter(size_t channel = 0) { return *channels_[channel]->filter; }
    State& state(size_t channel = 0) { return filter(channel).state(); }
    const State& state() const { return channels_[0]->filter->state(); } // sizes are those of all

    std::unique_ptr<Bank> at(py::ssize_t index) {
        requireSetUp();
        if (!hasChannels_) {
            throw py::type_error("a filter without channels has no elements");
        }
        const auto size = static_cast<py::ssize_t>(count());
        if (index < -size || index >= size) {
            throw py::index_error("no such channel");
        }
        const auto k = static_cast<size_t>(index < 0 ? index + size : index);
        auto channel = std::make_unique<Bank>(Channels{channels_[k]}, false);
        channel->isChannel_ = true;
        return channel;
    }

    std::unique_ptr<Bank> copy() {
        const Use use(*this);
        Channels copies;
        for (auto& channel : channels_) {
            copies.push_back(std::make_shared<Channel<State>>(channel->filter->copy()));
        }
        return std::make_unique<Bank>(std::move(copies), hasChannels_);
    }

    // ---- Signals

    // d is null for predictors; an argument that is not given is null.
    py::tuple update(py::handle x, py::handle d, py::handle adapt, py::handle history,
                     py::handle out, Rule rule) {
        const Use use(*this);
        Rows<double> in = samples("x", x);
        Rows<double> desired;
        if (d) {
            desired = samples("d", d);
            requireShape("d", desired.array(), in.array());
        }
        const Rows<bool> mask = maskFor(adapt, in);
        const size_t every = isGiven(history) ? spacing(history) : 0;
        const auto [outY, outE] = pairOf(out);
        Result y("out[0]", outY, in.array()), e("out[1]", outE, in.array());
        y.requireApart(e);
        y.protect(in, !Blocks<State>);
        e.protect(in, false);
        if (d) {
            y.protect(desired, false);
            e.protect(desired, true);
        }
        const size_t length = in.length();
        const size_t rows = every == 0 ? 0 : length / every;
        const auto taps = static_cast<size_t>(tapCount(state()));
        py::array coefs = noArray();
        double* snapshot = nullptr;
        std::vector<double> kept;
        if (every != 0) {
            std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(rows),
                                           static_cast<py::ssize_t>(taps)};
            if (hasChannels_) {
                shape.insert(shape.begin(), static_cast<py::ssize_t>(count()));
            }
            coefs = py::array_t<double>(shape);
            snapshot = static_cast<double*>(coefs.mutable_data());
            kept.resize(storedCoefs(state()));
        }
        {
            const WithoutGil released;
            for (size_t c = 0; c < count(); ++c) {
                const size_t piece = every == 0 ? std::max<size_t>(length, 1) : every;
                for (size_t i = 0; i < length; i += piece) {
                    const size_t n = std::min(piece, length - i);
                    adaptPiece(filter(c), rule, in[c].subspan(i, n),
                               d ? desired[c].subspan(i, n) : std::span<const double>(),
                               y[c].subspan(i, n), e[c].subspan(i, n),
                               mask.length() == 0 ? std::span<const bool>()
                                                  : mask[c].subspan(i, n));
                    if (n == every) {
                        readTaps(filter(c), snapshot, kept.data());
                        snapshot += taps;
                    }
                }
            }
        }
        return every == 0 ? py::make_tuple(y.finish(), e.finish())
                          : py::make_tuple(y.finish(), e.finish(), coefs);
    }

    py::array filterOnly(py::handle x, py::handle out) {
        const Use use(*this);
        Rows<double> in = samples("x", x);
        Result y("out", out, in.array());
        y.protect(in, !Blocks<State>);
        {
            const WithoutGil released;
            for (size_t c = 0; c < count(); ++c) {
                filter(c).filter(in[c], y[c]);
            }
        }
        return y.finish();
    }

    py::tuple updateRegressors(const py::handle& rows, const py::handle& d, const py::handle& out,
                               Rule rule) requires(Adapts<State>&& Regresses<State>) {
        const Use use(*this);
        Rows<double> desired = samples("d", d);
        const Rows<double> matrix = regressors(rows, desired.array());
        const auto [outY, outE] = pairOf(out);
        Result y("out[0]", outY, desired.array()), e("out[1]", outE, desired.array());
        y.requireApart(e);
        Rows<double> apart = matrix;
        y.protect(apart, false);
        e.protect(apart, false);
        y.protect(desired, false);
        e.protect(desired, true);
        {
            const WithoutGil released;
            for (size_t c = 0; c < count(); ++c) {
                adaptRows(filter(c), rule, apart[c], desired[c], y[c], e[c]);
            }
        }
        return py::make_tuple(y.finish(), e.finish());
    }

    py::array filterRegressors(const py::handle& rows,
                               const py::handle& out) requires(Regresses<State>) {
        const Use use(*this);
        const py::array given = toArray<double>("X", rows);
        Rows<double> matrix = regressors(given, std::nullopt);
        std::vector<py::ssize_t> shape(given.shape(), given.shape() + given.ndim() - 1);
        Result y("out", out, py::array_t<double>(shape));
        y.protect(matrix, false);
        {
            const WithoutGil released;
            for (size_t c = 0; c < count(); ++c) {
                filter(c).filterRegressors(matrix[c], y[c]);
            }
        }
        return y.finish();
    }

    // ---- State

    template <class Change>
    void change(Change change) {
        const Use use(*this);
        for (size_t c = 0; c < count(); ++c) {
            change(filter(c));
        }
    }

    // All channels are resized, or none is.
    template <class... Sizes>
    void resize(Sizes... sizes) {
        if (isChannel_) {
            throw py::type_error(
                "all channels have the same sizes: resize the filter of the channels");
        }
        const Use use(*this);
        std::vector<std::shared_ptr<Filter>> next;
        for (size_t c = 0; c < count(); ++c) {
            next.push_back(std::make_shared<Filter>(filter(c).copy()));
            next.back()->resize(sizes...);
        }
        for (size_t c = 0; c < count(); ++c) {
            channels_[c]->filter = std::move(next[c]);
        }
    }

    // A number of the record, as an array if there are channels.
    template <class T>
    py::object field(T State::*member) {
        const Use use(*this);
        if (!hasChannels_) {
            return py::cast(state().*member);
        }
        py::array_t<T> values(static_cast<py::ssize_t>(count()));
        for (size_t c = 0; c < count(); ++c) {
            values.mutable_at(c) = state(c).*member;
        }
        return values;
    }

    // An array of the record in place. With channels a copy, which cannot be written to.
    template <class Locate>
    py::array view(Locate locate) {
        const Use use(*this);
        if (!hasChannels_) {
            auto* const owner = new std::shared_ptr<Filter>(channels_[0]->filter);
            const py::capsule base(
                owner, [](void* p) { delete static_cast<std::shared_ptr<Filter>*>(p); });
            const std::span<double> array = locate(state());
            return py::array_t<double>(static_cast<py::ssize_t>(array.size()), array.data(), base);
        }
        return stacked([&](Filter& f) {
            const std::span<double> array = locate(f.state());
            return std::vector<double>(array.begin(), array.end());
        });
    }

    // What a getter of C copies, without the rounding that it leaves in a record of a transform family.
    template <class Get>
    py::array values(Get get) {
        const Use use(*this);
        if (hasChannels_) {
            return stacked(get);
        }
        const std::vector<double> array = get(filter());
        return readOnly(py::array_t<double>(static_cast<py::ssize_t>(array.size()), array.data()));
    }

    static std::vector<double> taps(Filter& filter) {
        std::vector<double> values(static_cast<size_t>(tapCount(filter.state())));
        std::vector<double> kept(storedCoefs(filter.state()));
        readTaps(filter, values.data(), kept.data());
        return values;
    }

    // A number for each channel, from one or as many.
    std::vector<double> numbers(const char* name, const py::handle& value) const {
        const py::array array = toArray<double>(name, value);
        if (array.ndim() > 0 && (!hasChannels_ || array.ndim() > 1 ||
                                 array.size() != static_cast<py::ssize_t>(count()))) {
            refuse(name, "shape " + shapeOf(array) + ", must be a number" +
                             (hasChannels_ ? " or one for each channel" : ""));
        }
        std::vector<double> all(count());
        for (size_t c = 0; c < count(); ++c) {
            all[c] = *static_cast<const double*>(
                array.ndim() == 0 ? array.data() : array.data(static_cast<py::ssize_t>(c)));
        }
        return all;
    }

    // The rows of `value`, broadcast to `length` elements a channel.
    Rows<double> broadcast(const char* name, const py::handle& value, size_t length) const {
        const auto size = static_cast<py::ssize_t>(length);
        const py::object shape =
            hasChannels_ ? py::make_tuple(count(), size) : py::make_tuple(size);
        const py::array array = toArray<double>(name, value);
        try {
            return Rows<double>(py::module_::import("numpy").attr("broadcast_to")(array, shape),
                                !hasChannels_);
        } catch (py::error_already_set&) {
            refuse(name, "shape " + shapeOf(array) + ", must be " + text(shape));
        }
    }

    // ---- Helpers of the binding

    static int32_t tapCount(const State& s) {
        if constexpr (requires { s.partitions; }) {
            return s.order * s.partitions;
        } else if constexpr (Transforms<State>) {
            return std::min(s.order, s.fftLen);
        } else {
            return s.order;
        }
    }

  private:
    template <class Get>
    py::array stacked(Get get) {
        std::vector<double> all;
        for (size_t c = 0; c < count(); ++c) {
            const std::vector<double> row = get(filter(c));
            all.insert(all.end(), row.begin(), row.end());
        }
        const auto rows = static_cast<py::ssize_t>(count());
        return readOnly(py::array_t<double>(
            std::vector<py::ssize_t>{rows, static_cast<py::ssize_t>(all.size()) / rows},
            all.data()));
    }
    static py::array readOnly(py::array array) {
        py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
        return array;
    }

    // Samples in the shape that this filter takes.
    Rows<double> samples(const char* name, const py::handle& value) const {
        py::array array = toArray<double>(name, value);
        if (hasChannels_) {
            if (array.ndim() != 2 || array.shape(0) != static_cast<py::ssize_t>(count())) {
                refuse(name, "shape " + shapeOf(array) +
                                 ", must be (channels, samples) with channels=" +
                                 std::to_string(count()));
            }
        } else if (array.ndim() != 1) {
            refuse(name, "shape " + shapeOf(array) + ", must be (samples,) without channels");
        }
        Rows<double> rows(std::move(array), !hasChannels_);
        if constexpr (Blocks<State>) {
            const auto blockLen = static_cast<size_t>(state().blockLen);
            if (rows.length() % blockLen != 0) {
                refuse(name, std::to_string(rows.length()) +
                                 " samples, must be a multiple of blockLen, " +
                                 std::to_string(blockLen));
            }
        }
        return rows;
    }

    static void requireShape(const char* name, const py::array& array, const py::array& like) {
        if (!std::equal(array.shape(), array.shape() + array.ndim(), like.shape(),
                        like.shape() + like.ndim())) {
            refuse(name, "shape " + shapeOf(array) + ", must be that of x, " + shapeOf(like));
        }
    }

    // No rows: adapt always.
    Rows<bool> maskFor(const py::handle& adapt, const Rows<double>& x) const {
        if (!adapt || adapt.ptr() == Py_True || x.length() == 0) {
            return {};
        }
        py::array array = toArray<bool>("adapt", adapt);
        if (array.ndim() == 0) {
            if (*static_cast<const bool*>(array.data())) {
                return {};
            }
            const auto length = static_cast<py::ssize_t>(x.length());
            return Rows<bool>(py::module_::import("numpy").attr("zeros")(length, array.dtype()),
                              true);
        }
        const bool shared = array.ndim() == 1;
        if (array.shape(array.ndim() - 1) != static_cast<py::ssize_t>(x.length())) {
            refuse("adapt", "shape " + shapeOf(array) + ", must have an element per sample");
        }
        if (!shared) {
            requireShape("adapt", array, x.array());
        }
        Rows<bool> rows(std::move(array), shared);
        if constexpr (Blocks<State>) {
            const auto blockLen = static_cast<size_t>(state().blockLen);
            for (size_t c = 0; c < (shared ? 1 : count()); ++c) {
                const std::span<const bool> mask = rows[c];
                for (size_t i = 0; i < mask.size(); ++i) {
                    if (mask[i] != mask[i - i % blockLen]) {
                        refuse("adapt", "changes within a block of blockLen samples");
                    }
                }
            }
        }
        return rows;
    }

    size_t spacing(const py::handle& history) const {
        const auto every = static_cast<size_t>(toSize("history", history, 1, INT32_MAX));
        if constexpr (Blocks<State>) {
            const auto blockLen = static_cast<size_t>(state().blockLen);
            if (every % blockLen != 0) {
                refuse("history", std::to_string(every) + ", must be a multiple of blockLen, " +
                                      std::to_string(blockLen));
            }
        }
        return every;
    }

    static std::pair<py::handle, py::handle> pairOf(const py::handle& out) {
        if (!isGiven(out)) {
            return {};
        }
        if (!py::isinstance<py::tuple>(out) && !py::isinstance<py::list>(out)) {
            refuseType("out", "a pair (y, e) of arrays is needed");
        }
        if (PySequence_Fast_GET_SIZE(out.ptr()) != 2) {
            refuse("out", "must be a pair (y, e)");
        }
        PyObject* const* const pair = PySequence_Fast_ITEMS(out.ptr());
        return {pair[0], pair[1]};
    }

    Rows<double> regressors(const py::handle& rows, const std::optional<py::array>& d) const {
        const py::array array = toArray<double>("X", rows);
        const State& s = state();
        const py::ssize_t width = [&]() -> py::ssize_t {
            if constexpr (Transforms<State>) {
                return s.fftLen;
            } else {
                return s.order;
            }
        }();
        const py::ssize_t dimensions = hasChannels_ ? 3 : 2;
        if (array.ndim() != dimensions || array.shape(dimensions - 1) != width ||
            (hasChannels_ && array.shape(0) != static_cast<py::ssize_t>(count())) ||
            (d && array.shape(dimensions - 2) != d->shape(dimensions - 2))) {
            refuse("X", "shape " + shapeOf(array) + ", must be " +
                            (hasChannels_ ? "(channels, " : "(") + "samples, " +
                            std::to_string(width) + ")" +
                            (d ? " with the samples of d, " + shapeOf(*d) : std::string()));
        }
        // One row a channel, of all its regressors.
        py::array whole = py::module_::import("numpy").attr("ascontiguousarray")(array);
        const auto channels = static_cast<py::ssize_t>(count());
        const py::ssize_t all = array.shape(dimensions - 2) * width;
        return hasChannels_ ? Rows<double>(whole.reshape({channels, all}), false)
                            : Rows<double>(whole.reshape({all}), true);
    }

    static void adaptPiece(Filter& filter, Rule rule, std::span<const double> x,
                           std::span<const double> d, std::span<double> y, std::span<double> e,
                           std::span<const bool> mask) {
        if constexpr (!Adapts<State>) {
            return;
        } else if constexpr (Predicts<State>) {
            filter.update(x, y, e, mask);
        } else {
            if constexpr (SignForms<State>) {
                switch (rule) {
                case Rule::kSignError:
                    return filter.updateSignErr(x, d, y, e, mask);
                case Rule::kSignRegressor:
                    return filter.updateSignReg(x, d, y, e, mask);
                case Rule::kSignSign:
                    return filter.updateSignSign(x, d, y, e, mask);
                case Rule::kLms:
                    break;
                }
            }
            filter.update(x, d, y, e, mask);
        }
    }

    static void adaptRows(Filter& filter, Rule rule, std::span<const double> rows,
                          std::span<const double> d, std::span<double> y, std::span<double> e) {
        if constexpr (SignForms<State>) {
            switch (rule) {
            case Rule::kSignError:
                return filter.updateRegressorsSignErr(rows, d, y, e);
            case Rule::kSignRegressor:
                return filter.updateRegressorsSignReg(rows, d, y, e);
            case Rule::kSignSign:
                return filter.updateRegressorsSignSign(rows, d, y, e);
            case Rule::kLms:
                break;
            }
        }
        filter.updateRegressors(rows, d, y, e);
    }

    // The getters of the transform families round the spectrum; it is put back.
    static size_t storedCoefs(const State& s) {
        if constexpr (requires { s.specLen; }) {
            return static_cast<size_t>(s.specLen);
        } else if constexpr (Transforms<State>) {
            return static_cast<size_t>(s.fftLen);
        } else {
            return 0;
        }
    }
    static void readTaps(Filter& filter, double* to, double* kept) {
        const size_t stored = storedCoefs(filter.state());
        std::copy_n(filter->coef, stored, kept);
        filter.getCoef({to, static_cast<size_t>(tapCount(filter.state()))});
        std::copy_n(kept, stored, filter->coef);
    }

    Channels channels_;
    bool hasChannels_ = false;
    bool isChannel_ = false; // one of another bank's
};

} // namespace binding
