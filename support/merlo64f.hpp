/** @file
 * @ref merlo64f_hpp
 * @defgroup merlo64f_hpp merlo64f.hpp: filters for C++
 * For C++20 hosts: one class template over the records, for whole arrays. Header only.
 *
 *     #include <merlo64f.hpp>
 *
 *     merlo64f::Filter<nlms64fState> filter(32, 0.02); // the arguments of nlms64fInit()
 *     filter.update(x, d, y, e);                       // arrays of doubles, of one length
 *     filter->mu = 0.005;                              // the C record
 *
 * A filter owns all its memory: the record's buffers, a copy of the arrays that a family borrows, and
 * the tables of the transform families, which are not among the arguments. It can be moved, and copied
 * by copy(). A failure throws std::bad_alloc or std::invalid_argument and changes nothing. Orders above
 * the limit of the family are reduced as in C: filter->order is the order that is used.
 *
 * @par Arrays
 * All arrays of a call have the same length, which is any multiple of the block length in families with
 * a block length, and any number in the others. A signal may be passed in pieces of any such lengths;
 * the results are those of one call, to the bit. The output y may be x, and the error e may be d;
 * otherwise arrays must not overlap. bnlms64f needs a y of its own.
 *
 * @par Mask
 * `adapt`, where given, has an element per sample: false leaves the coefficients as they are for this
 * sample (FilterOnly), as in double talk or in a quiet passage. Its error is d - y, or d + s through a
 * secondary path. In families with a block length the mask must not change within a block.
 *
 * A filter belongs to one thread at a time; different filters need no locks.
 * @{ */
#ifndef MERLO64F_HPP
#define MERLO64F_HPP

#include "fft_tables.h"
#include "merlo64f_families.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace merlo64f {

/** @cond */
namespace detail {

template <class Family>
[[noreturn]] void refuse(const char* what) {
    throw std::invalid_argument(std::string(Family::name) + ": " + what);
}

template <class Family>
void check(int32_t status) {
    if (status == STS_NO_MEMORY) {
        throw std::bad_alloc();
    }
    if (status == STS_NULL_PTR) {
        refuse<Family>("a required pointer is null");
    }
    if (status < 0) {
        refuse<Family>("an order, length, index or count is out of range");
    }
}

template <class Tuple, class Visit>
void forEach(const Tuple& tuple, Visit visit) {
    std::apply([&](const auto&... elements) { (visit(elements), ...); }, tuple);
}

template <class State>
concept Transforms = requires(State s) {
    s.fftTable;
};
template <class State, class... Arguments>
concept SetUpBy =
    !Transforms<State> && std::is_invocable_v<decltype(Family<State>::init), State*, Arguments...>;
template <class State>
concept Blocks = requires(State s) {
    s.blockLen;
};
template <class State>
concept Borrows = requires {
    Family<State>::borrowed;
};
template <class State>
concept ThroughPath = requires(State s) {
    s.secLen;
};

// Tables for transforms of up to `longest` points.
struct Tables {
    std::vector<int32_t> table;
    std::vector<double> twiddles;

    explicit Tables(int32_t longest)
        : table(static_cast<size_t>(fftTableLen(longest))),
          twiddles(static_cast<size_t>(fftTwiddlesLen(longest))) {
        fillFftTables(longest, table.data(), twiddles.data());
    }
    bool cover(int32_t longest) const { return longest <= 2 * std::ssize(twiddles); }
};

// What a filter owns beside the buffers of its record.
template <class State>
struct Owned {};
template <Borrows State>
struct Owned<State> {
    std::array<std::vector<double>, std::tuple_size_v<decltype(Family<State>::borrowed)>> arrays;
};
template <Transforms State>
struct Owned<State> {
    Tables tables{8};
};

} // namespace detail
/** @endcond */

/** visit(name, field) for every number of a record, in the order of the record.
 * @ingroup merlo64f_hpp */
template <class State, class Visit>
void forEachField(State& state, Visit visit) {
    detail::forEach(Family<std::remove_const_t<State>>::fields,
                    [&](const auto& field) { visit(field.name, state.*field.member); });
}

/** visit(name, span) for every array in the buffers of a record. @ingroup merlo64f_hpp */
template <class State, class Visit>
void forEachArray(State& state, Visit visit) {
    detail::forEach(Family<std::remove_const_t<State>>::arrays, [&](const auto& array) {
        visit(array.name, std::span(state.*array.member, static_cast<size_t>(array.length(state))));
    });
}

/** A filter of the family whose record is State. @ingroup merlo64f_hpp */
template <class State>
class Filter {
  public:
    using Family = merlo64f::Family<State>; /**< its functions, fields and arrays */
    using Input = std::span<const double>;  /**< samples or values to read */
    using Output = std::span<double>;       /**< samples or values to write */
    using Mask = std::span<const bool>;     /**< one element per sample, or empty: adapt always */

    /** The arguments are those of Init in C, without the record and the tables. Borrowed arrays are
     * copied. */
    template <class... Arguments>
    requires detail::SetUpBy<State, Arguments...>
    explicit Filter(Arguments... arguments) {
        detail::check<Family>(Family::init(&state_, arguments...));
        try {
            adopt();
        } catch (...) {
            Family::free(&state_);
            throw;
        }
    }

    /** For the transform families: order, then what follows it in C, without the tables. */
    template <class... Arguments>
    requires detail::Transforms<State>
    explicit Filter(int32_t order, Arguments... arguments) {
        cover(order, arguments...);
        detail::check<Family>(Family::init(&state_, order, arguments..., owned_.tables.table.data(),
                                           owned_.tables.twiddles.data()));
    }

    /** Leaves a filter that can only be assigned to or destroyed. */
    Filter(Filter&& other) noexcept
        : state_(std::exchange(other.state_, State{})), owned_(std::move(other.owned_)) {}
    /** Exchanges the two filters. */
    Filter& operator=(Filter&& other) noexcept {
        std::swap(state_, other.state_);
        std::swap(owned_, other.owned_);
        return *this;
    }
    ~Filter() { Family::free(&state_); }

    /** A filter in the state of the record `saved`, which may be one that a host has filled from a
     * file: its sizes and positions are tested, the lengths of its arrays are taken from its sizes. */
    static Filter from(const State& saved) {
        Filter filter = like(saved);
        filter.assign(saved);
        return filter;
    }

    /** A new filter of the sizes and parameters of a record, whose arrays are not read, except for
     * those that it borrows. */
    static Filter like(const State& saved) {
        return std::apply([](auto... arguments) { return Filter(arguments...); },
                          Family::arguments(saved));
    }

    /** A filter in the same state, which shares nothing with this one. */
    Filter copy() const {
        Filter filter = from(state_);
        if constexpr (detail::Transforms<State>) {
            filter.setTwiddles(twiddles());
        }
        return filter;
    }

    /** The twiddle factors of a transform family, for its longest transform so far or a longer one. */
    Input twiddles() const { return owned_.tables.twiddles; }

    /** Replaces them, as by those of another host, whose bits the filter then has: FFT_TWIDDLES_LEN(n)
     * elements for a power of two n, at least fftLen and 8. A Resize to a longer transform than that
     * computes them again. */
    void setTwiddles(Input values) {
        const size_t n = 2 * values.size();
        if (n < 8 || (n & (n - 1)) != 0 || n > size_t{1} << 30 ||
            n < static_cast<size_t>(state_.fftLen)) {
            detail::refuse<Family>("twiddles of a wrong length");
        }
        if (n != 2 * owned_.tables.twiddles.size()) {
            owned_.tables = detail::Tables(static_cast<int32_t>(n));
            useTables();
        }
        std::copy(values.begin(), values.end(), owned_.tables.twiddles.begin());
    }

    /** The C record. Its buffers belong to the filter. */
    State& state() { return state_; }
    const State& state() const { return state_; }       /**< the same, to read */
    State* operator->() { return &state_; }             /**< a field of the record */
    const State* operator->() const { return &state_; } /**< the same, to read */

    /** Filters x, forms the errors and adapts. y: outputs, or s through a secondary path; e: errors. */
    void update(Input x, Input d, Output y, Output e, Mask adapt = {}) {
        run<Family::filterUpdate>(x, d, y, e, adapt);
    }

    /** The sign-error form. */
    void updateSignErr(Input x, Input d, Output y, Output e, Mask adapt = {}) {
        run<Family::filterUpdateSignErr>(x, d, y, e, adapt);
    }

    /** The sign-regressor form. */
    void updateSignReg(Input x, Input d, Output y, Output e, Mask adapt = {}) {
        run<Family::filterUpdateSignReg>(x, d, y, e, adapt);
    }

    /** The sign-sign form. */
    void updateSignSign(Input x, Input d, Output y, Output e, Mask adapt = {}) {
        run<Family::filterUpdateSignSign>(x, d, y, e, adapt);
    }

    /** The prediction-error lattices: y are the predictions, e the prediction errors. */
    void update(Input x, Output y, Output e, Mask adapt = {}) {
        requireLengths(x.size(), {y.size(), e.size()}, adapt.size());
        for (size_t i = 0; i < x.size(); ++i) {
            y[i] = adapt.empty() || adapt[i] ? Family::filterUpdate(&state_, x[i])
                                             : Family::filterOnly(&state_, x[i]);
            e[i] = state_.err;
        }
    }

    /** Filters without adapting. Running powers, and P in rls64f, follow x, as FilterOnly does. */
    void filter(Input x, Output y) {
        requireLengths(x.size(), {y.size()}, 0);
        if constexpr (requires { Family::blockFilter; }) {
            constexpr size_t most = size_t{1} << 30;
            for (size_t i = 0; i < x.size(); i += most) {
                const auto count = static_cast<int32_t>(std::min(most, x.size() - i));
                Family::blockFilter(&state_, x.data() + i, y.data() + i, count);
            }
        } else if constexpr (detail::Blocks<State>) {
            for (size_t i = 0; i < x.size(); i += blockLen()) {
                Family::filterOnly(&state_, x.data() + i, y.data() + i);
            }
        } else {
            for (size_t i = 0; i < x.size(); ++i) {
                y[i] = Family::filterOnly(&state_, x[i]);
            }
        }
    }

    /** Adapts on regressors from anywhere instead of a delay line: for each sample of d a row of `order`
     * elements, in tdlms64f of fftLen, which LCFilterUpdate takes as its linear line. */
    void updateRegressors(Input rows, Input d, Output y, Output e) {
        runRows<Family::lcFilterUpdate>(rows, d, y, e);
    }

    /** The sign-error form. */
    void updateRegressorsSignErr(Input rows, Input d, Output y, Output e) {
        runRows<Family::lcFilterUpdateSignErr>(rows, d, y, e);
    }

    /** The sign-regressor form. */
    void updateRegressorsSignReg(Input rows, Input d, Output y, Output e) {
        runRows<Family::lcFilterUpdateSignReg>(rows, d, y, e);
    }

    /** The sign-sign form. */
    void updateRegressorsSignSign(Input rows, Input d, Output y, Output e) {
        runRows<Family::lcFilterUpdateSignSign>(rows, d, y, e);
    }

    /** Filters regressors without adapting: an element of y for each row. */
    void filterRegressors(Input rows, Output y) {
        requireRows(rows, y.size());
        for (size_t i = 0; i < y.size(); ++i) {
            insertRow(rows, i);
            if constexpr (requires { Family::lcFilter; }) {
                y[i] = Family::lcFilter(&state_);
            } else {
                y[i] = Family::lcFilterOnly(&state_);
            }
        }
    }

    /** Reset in C. */
    void reset() { Family::reset(&state_); }

    /** ResetDelayLine in C. */
    void resetDelayLine() { Family::resetDelayLine(&state_); }

    /** The sizes of Resize in C. The tables grow as needed. */
    template <class... Sizes>
    requires std::is_invocable_v<decltype(Family::resize), State*, Sizes...>
    void resize(Sizes... sizes) {
        if constexpr (detail::Transforms<State>) {
            cover(sizes...);
            useTables();
        }
        detail::check<Family>(Family::resize(&state_, sizes...));
    }

    /** The accessors of C, for buf.size() elements from `start` on.
     * @return the number of elements copied, which is smaller if the array ends before. */
    int32_t getCoef(Output buf, int32_t start = 0, bool reversed = false) {
        return access(Family::getCoef, buf, start, reversed);
    }
    /** See getCoef(). */
    int32_t setCoef(Input buf, int32_t start = 0, bool reversed = false) {
        return access(Family::setCoef, buf, start, reversed);
    }
    /** See getCoef(). */
    int32_t getParcor(Output buf, int32_t start = 0, bool reversed = false) {
        return access(Family::getParcor, buf, start, reversed);
    }
    /** See getCoef(). */
    int32_t setParcor(Input buf, int32_t start = 0, bool reversed = false) {
        return access(Family::setParcor, buf, start, reversed);
    }
    /** See getCoef(). */
    int32_t getForwardParcors(Output buf, int32_t start = 0, bool reversed = false) {
        return access(Family::getForwardParcors, buf, start, reversed);
    }
    /** See getCoef(). */
    int32_t getBackwardParcors(Output buf, int32_t start = 0, bool reversed = false) {
        return access(Family::getBackwardParcors, buf, start, reversed);
    }
    /** See getCoef(). */
    int32_t getDelayLine(Output buf, int32_t start = 0, bool reversed = false) {
        return access(Family::getDelayLine, buf, start, reversed);
    }
    /** See getCoef(). */
    int32_t setDelayLine(Input buf, int32_t start = 0, bool reversed = false) {
        return access(Family::setDelayLine, buf, start, reversed);
    }

  private:
    // Makes the tables long enough for a record of these sizes.
    template <class... More>
    void cover(int32_t order, More... more) {
        const int32_t longest = transformLength<State>(order, more...);
        if (!owned_.tables.cover(longest)) {
            owned_.tables = detail::Tables(longest); // has the same values for shorter transforms
        }
    }

    void useTables() {
        state_.fftTable = owned_.tables.table.data();
        state_.fftTwiddles = owned_.tables.twiddles.data();
    }

    size_t blockLen() const { return static_cast<size_t>(state_.blockLen); }

    // Copies the borrowed arrays. There is room for the limit of the order: fir64fResize() needs it.
    void adopt() {
        if constexpr (detail::Borrows<State>) {
            size_t i = 0;
            detail::forEach(Family::borrowed, [&](const auto& array) {
                const auto* const lent = state_.*array.member;
                const auto length = static_cast<size_t>(array.length(state_));
                std::vector<double>& own = owned_.arrays[i++];
                own.resize(std::max(length, static_cast<size_t>(Family::maxOrder)));
                std::copy_n(lent, length, own.data());
                state_.*array.member = own.data();
            });
        }
    }

    void assign(const State& saved) {
        detail::forEach(Family::fields, [&](const auto& field) {
            using Field = std::remove_cvref_t<decltype(field)>;
            auto& own = state_.*field.member;
            const auto& value = saved.*field.member;
            if constexpr (std::is_same_v<Field, Size<State>>) {
                if (value != own) {
                    refuse(field.name);
                }
            } else if constexpr (std::is_same_v<Field, Position<State>>) {
                if (value < 0 || value >= field.limit(state_) || value % field.step(state_) != 0) {
                    refuse(field.name);
                }
            }
            own = value;
        });
        detail::forEach(Family::arrays, [&](const auto& array) {
            std::copy_n(saved.*array.member, array.length(state_), state_.*array.member);
        });
    }

    [[noreturn]] static void refuse(const char* field) {
        detail::refuse<Family>(
            (std::string(field) + " of the saved record is out of range").c_str());
    }

    void requireLengths(size_t n, std::initializer_list<size_t> lengths, size_t maskLength) const {
        for (size_t length : lengths) {
            if (length != n) {
                detail::refuse<Family>("arrays of different lengths");
            }
        }
        if (maskLength != 0 && maskLength != n) {
            detail::refuse<Family>("a mask of another length than the arrays");
        }
        if constexpr (detail::Blocks<State>) {
            if (n % blockLen() != 0) {
                detail::refuse<Family>("the length is no multiple of blockLen");
            }
        }
    }

    template <auto updateOperation>
    void run(Input x, Input d, Output y, Output e, Mask adapt) {
        requireLengths(x.size(), {d.size(), y.size(), e.size()}, adapt.size());
        if constexpr (detail::Blocks<State>) {
            runBlocks<updateOperation>(x, d, y, e, adapt);
        } else {
            for (size_t i = 0; i < x.size(); ++i) {
                if (adapt.empty() || adapt[i]) {
                    y[i] = updateOperation(&state_, x[i], d[i]);
                    e[i] = state_.err;
                } else {
                    y[i] = Family::filterOnly(&state_, x[i]);
                    e[i] = detail::ThroughPath<State> ? d[i] + y[i] : d[i] - y[i];
                }
            }
        }
    }

    template <auto updateOperation>
    void runBlocks(Input x, Input d, Output y, Output e, Mask adapt) {
        const size_t length = blockLen();
        for (size_t i = 0; i < adapt.size(); i += length) {
            const Mask block = adapt.subspan(i, length);
            if (std::find(block.begin(), block.end(), !block[0]) != block.end()) {
                detail::refuse<Family>("the mask changes within a block");
            }
        }
        for (size_t i = 0; i < x.size(); i += length) {
            if (adapt.empty() || adapt[i]) {
                updateOperation(&state_, x.data() + i, d.data() + i, y.data() + i, e.data() + i);
                continue;
            }
            Family::filterOnly(&state_, x.data() + i, y.data() + i);
            for (size_t k = i; k < i + length; ++k) {
                e[k] = d[k] - y[k];
            }
        }
    }

    size_t rowLen() const {
        if constexpr (detail::Transforms<State>) {
            return static_cast<size_t>(state_.fftLen);
        } else {
            return static_cast<size_t>(state_.order);
        }
    }
    void requireRows(Input rows, size_t count) const {
        if (rows.size() != count * rowLen()) {
            detail::refuse<Family>("rows of another length than the delay line");
        }
    }
    void insertRow(Input rows, size_t i) {
        std::copy_n(rows.data() + i * rowLen(), rowLen(), state_.delayLine);
    }

    template <auto updateOperation>
    void runRows(Input rows, Input d, Output y, Output e) {
        requireLengths(d.size(), {y.size(), e.size()}, 0);
        requireRows(rows, d.size());
        for (size_t i = 0; i < d.size(); ++i) {
            insertRow(rows, i);
            y[i] = updateOperation(&state_, d[i]);
            e[i] = state_.err;
        }
    }

    template <class Accessor, class Element>
    int32_t access(Accessor accessor, std::span<Element> buf, int32_t start, bool reversed) {
        if (buf.size() > static_cast<size_t>(INT32_MAX)) {
            buf = buf.first(static_cast<size_t>(INT32_MAX));
        }
        const int32_t count =
            accessor(&state_, buf.data(), start, static_cast<int32_t>(buf.size()), reversed);
        detail::check<Family>(count);
        return count;
    }

    State state_{};
    detail::Owned<State> owned_;
};

} // namespace merlo64f

/** @} */

#endif
