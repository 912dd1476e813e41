// The exact state of a bank as plain Python objects, and back. What comes back may be anything: sizes,
// positions and lengths are tested before they are used.
#pragma once

#include "bank.h"

namespace binding {

namespace saved {

constexpr const char* kTwiddles = "fftTwiddles";

template <class State>
py::dict save(merlo64f::Filter<State>& filter) {
    py::dict record;
    State& state = filter.state();
    merlo64f::forEachField(state,
                           [&](const char* name, const auto& field) { record[name] = field; });
    merlo64f::forEachArray(state, [&](const char* name, std::span<double> array) {
        record[name] = py::array_t<double>(static_cast<py::ssize_t>(array.size()), array.data());
    });
    if constexpr (Borrows<State>) {
        merlo64f::detail::forEach(merlo64f::Family<State>::borrowed, [&](const auto& lent) {
            record[lent.name] = py::array_t<double>(lent.length(state), state.*lent.member);
        });
    }
    if constexpr (Transforms<State>) {
        const std::span<const double> twiddles = filter.twiddles();
        record[kTwiddles] =
            py::array_t<double>(static_cast<py::ssize_t>(twiddles.size()), twiddles.data());
    }
    return record;
}

inline py::object item(const py::dict& record, const char* name) {
    if (!record.contains(name)) {
        refuse("state", std::string(name) + " is missing");
    }
    return record[name];
}

// Keeps the arrays that the record under construction points to.
template <class State>
struct Record {
    State state{};
    std::vector<Rows<double>> arrays;
    std::span<const double> twiddles;

    explicit Record(const py::dict& from) {
        using Family = merlo64f::Family<State>;
        merlo64f::forEachField(state, [&]<class T>(const char* name, T& field) {
            if constexpr (std::is_same_v<T, int32_t>) {
                field = toSize(name, item(from, name), INT32_MIN, INT32_MAX);
            } else {
                field = toNumber(name, item(from, name));
            }
        });
        if (state.order < 1 || state.order > Family::maxOrder) {
            refuse("order", std::to_string(state.order) + " is out of range");
        }
        int64_t longest = 0;
        merlo64f::detail::forEach(Family::arrays, [&](const auto& array) {
            take(from, array);
            longest = std::max<int64_t>(longest, array.length(state));
        });
        if constexpr (Borrows<State>) {
            merlo64f::detail::forEach(Family::borrowed,
                                      [&](const auto& lent) { take(from, lent); });
        }
        if constexpr (Transforms<State>) {
            if (from.contains(kTwiddles)) {
                arrays.push_back(rowOf(from, kTwiddles));
                twiddles = arrays.back()[0];
            }
            // No more memory is asked for than the arrays have.
            merlo64f::detail::forEach(Family::fields, [&](const auto& field) {
                using Field = std::remove_cvref_t<decltype(field)>;
                if constexpr (std::is_same_v<Field, merlo64f::Size<State>>) {
                    if (state.*field.member > longest + Family::maxOrder) {
                        refuse(field.name, "is out of range");
                    }
                }
            });
        }
    }

  private:
    static Rows<double> rowOf(const py::dict& from, const char* name) {
        return {toArray<double>(name, item(from, name)).attr("ravel")(), true};
    }
    template <class Array>
    void take(const py::dict& from, const Array& array) {
        Rows<double> values = rowOf(from, array.name);
        if (static_cast<int64_t>(values.length()) != array.length(state)) {
            refuse(array.name, std::to_string(values.length()) + " elements, must be " +
                                   std::to_string(array.length(state)));
        }
        state.*array.member = const_cast<double*>(values[0].data());
        arrays.push_back(std::move(values));
    }
};

// The filter of a saved record.
template <class State>
merlo64f::Filter<State> load(const py::handle& record) {
    if (!py::isinstance<py::dict>(record)) {
        refuseType("record", "a dict is needed");
    }
    const Record<State> parsed(py::reinterpret_borrow<py::dict>(record));
    auto filter = merlo64f::Filter<State>::from(parsed.state);
    if constexpr (Transforms<State>) {
        if (!parsed.twiddles.empty()) {
            filter.setTwiddles(parsed.twiddles);
        }
    }
    return filter;
}

} // namespace saved

// One for each channel.
template <class State>
py::list records(Bank<State>& bank) {
    py::list all;
    for (size_t c = 0; c < bank.count(); ++c) {
        all.append(saved::save(bank.filter(c)));
    }
    return all;
}

template <class State>
py::object save(Bank<State>& bank) {
    const typename Bank<State>::Use use(bank);
    return py::make_tuple(merlo64f::Family<State>::name, bank.hasChannels(), records(bank));
}

template <class State>
std::unique_ptr<Bank<State>> restore(const py::object& from) {
    const std::string name = merlo64f::Family<State>::name;
    if (!py::isinstance<py::tuple>(from)) {
        refuse("state", "not that of a " + name + " filter");
    }
    const auto state = py::reinterpret_borrow<py::tuple>(from);
    if (state.size() != 3 || !py::isinstance<py::str>(state[0]) || text(state[0]) != name ||
        !py::isinstance<py::list>(state[2])) {
        refuse("state", "not that of a " + name + " filter");
    }
    const bool hasChannels = toFlag("state", state[1]);
    const auto records = py::reinterpret_borrow<py::list>(state[2]);
    if (records.empty() || (records.size() > 1 && !hasChannels)) {
        refuse("state", "wrong number of channels");
    }
    typename Bank<State>::Channels channels;
    for (const py::handle record : records) {
        auto filter = saved::load<State>(record);
        if (!channels.empty()) { // channels have the sizes of the first
            merlo64f::detail::forEach(merlo64f::Family<State>::fields, [&](const auto& field) {
                using Field = std::remove_cvref_t<decltype(field)>;
                if constexpr (std::is_same_v<Field, merlo64f::Size<State>>) {
                    if (filter.state().*field.member !=
                        channels[0]->filter->state().*field.member) {
                        refuse(field.name, "differs between the channels");
                    }
                }
            });
        }
        channels.push_back(std::make_shared<Channel<State>>(std::move(filter)));
    }
    return std::make_unique<Bank<State>>(std::move(channels), hasChannels);
}

} // namespace binding
