// Makes a Python class of a family. All that it offers follows from merlo64f::Family; a family adds its
// name, its arguments and its text.
#pragma once

#include "bank.h"
#include "docs.h"
#include "pickle.h"

#include <tuple>
#include <utility>

namespace binding {

// ---- Arguments of __init__, in the order of Init in C. Each gives the arguments of C that it stands
// for, and its paragraph of the docstring.

struct Order {
    static constexpr const char* name = "order";
    int32_t least = 1;
    std::string doc(int32_t most) const {
        return "order : int\n    Number of taps or stages, " + std::to_string(least) + " to " +
               std::to_string(most) + ".\n";
    }
};
struct SizeArgument {
    const char* name;
    const char* what;
    std::string doc(int32_t) const { return std::string(name) + " : int\n    " + what + "\n"; }
};
struct Number {
    const char* name;
    const char* what;
    std::string doc(int32_t) const { return std::string(name) + " : float\n    " + what + "\n"; }
};
struct Flag { // True unless given
    const char* name;
    const char* what;
    std::string doc(int32_t) const {
        return std::string(name) + " : bool, default True\n    " + what + "\n";
    }
};
struct Coefs { // 1-D, copied; its length is an argument in C
    const char* name;
    const char* what;
    std::string doc(int32_t) const {
        return std::string(name) + " : array_like\n    " + what + "\n";
    }
};

template <class State>
int32_t toOrder(const py::handle& value, int32_t least = 1) {
    const int32_t order = toSize("order", value, least, INT32_MAX);
    constexpr int32_t most = merlo64f::Family<State>::maxOrder;
    if (order > most) {
        std::string why = std::to_string(order) + ", must be from " + std::to_string(least) +
                          " to " + std::to_string(most);
        if constexpr (requires(State s) { s.partitions; }) {
            why += "; longer responses take more partitions";
        } else if constexpr (most == MAX_TAPS) {
            why += "; for longer responses use Pbfdaf";
        }
        refuse("order", why);
    }
    return order;
}

template <class State>
auto toC(const Order& argument, const py::object& value, std::vector<py::array>&) {
    return std::tuple(toOrder<State>(value, argument.least));
}
template <class State>
auto toC(const SizeArgument& argument, const py::object& value, std::vector<py::array>&) {
    return std::tuple(toSize(argument.name, value, 1, INT32_MAX));
}
template <class State>
auto toC(const Number& argument, const py::object& value, std::vector<py::array>&) {
    return std::tuple(toNumber(argument.name, value));
}
template <class State>
auto toC(const Flag& argument, const py::object& value, std::vector<py::array>&) {
    return std::tuple(int32_t{toFlag(argument.name, value)});
}
template <class State>
auto toC(const Coefs& argument, const py::object& value, std::vector<py::array>& kept) {
    py::array array = withRows<double>(toArray<double>(argument.name, value));
    if (array.ndim() != 1 || array.size() == 0 || array.size() > INT32_MAX) {
        refuse(argument.name, "shape " + shapeOf(array) + ", must be 1-D with an element or more");
    }
    kept.push_back(array);
    auto* const first = static_cast<double*>(const_cast<void*>(array.data()));
    const auto length = static_cast<int32_t>(array.size());
    if constexpr (requires(State s) { s.secCoef; }) {
        return std::tuple(static_cast<const double*>(first), length);
    } else { // fir64f: the order comes first, and is checked here
        if (length > merlo64f::Family<State>::maxOrder) {
            refuse(argument.name, std::to_string(length) + " taps, must be at most " +
                                      std::to_string(merlo64f::Family<State>::maxOrder) +
                                      "; for longer responses use Pbfdaf");
        }
        return std::tuple(length, first);
    }
}

inline py::arg asArgument(const Order& a) { return py::arg(a.name); }
inline py::arg asArgument(const SizeArgument& a) { return py::arg(a.name); }
inline py::arg asArgument(const Number& a) { return py::arg(a.name); }
inline py::arg asArgument(const Coefs& a) { return py::arg(a.name); }
inline py::arg_v asArgument(const Flag& a) { return py::arg(a.name) = true; }

// The name in Python of a field of C.
inline std::string pythonName(const char* name) {
    return std::string(name) == "lambda" ? "lambda_" : name;
}

template <class State>
class Class {
  public:
    using Family = merlo64f::Family<State>;
    using B = Bank<State>;

    // The text of the docstring: what the filter computes in one line, then notes and references.
    template <class... Arguments>
    Class(py::module_& module, const char* name, const char* summary,
          std::tuple<Arguments...> arguments, const char* notes)
        : name_(name), class_(module, name, classDoc(name, summary, arguments, notes).c_str()) {
        defineInit(arguments, std::index_sequence_for<Arguments...>());
        defineSignals();
        defineFields();
        defineArrays();
        defineAccessors();
        defineState();
    }

  private:
    template <class Argument>
    static std::string signature(const Argument& argument) {
        return std::string(argument.name) + (std::is_same_v<Argument, Flag> ? "=True" : "");
    }
    template <class... Arguments>
    static std::string classDoc(const char* name, const char* summary,
                                const std::tuple<Arguments...>& arguments, const char* notes) {
        std::string doc = std::string(name) + "(";
        merlo64f::detail::forEach(arguments, [&](const auto& a) { doc += signature(a) + ", "; });
        doc += std::string("*, channels=None)\n--\n\n") + summary + "\n\nParameters\n----------\n";
        merlo64f::detail::forEach(arguments,
                                  [&](const auto& a) { doc += a.doc(Family::maxOrder); });
        doc += docs::kChannels;
        return doc + "\n" + notes;
    }

    template <class... Arguments, size_t... i>
    void defineInit(const std::tuple<Arguments...>& arguments, std::index_sequence<i...>) {
        const auto make = [arguments](decltype((void(i), py::object()))... values,
                                      const py::object& channels) {
            std::vector<py::array> kept; // what the arguments of C point to
            const auto c = std::tuple_cat(toC<State>(std::get<i>(arguments), values, kept)...);
            if constexpr (Transforms<State> && Blocks<State>) {
                requireMemoryForTransform(std::get<1>(c), partitionsOf(c));
            }
            return B::make(std::apply([](auto... a) { return merlo64f::Filter<State>(a...); }, c),
                           channels);
        };
        class_.def(py::init(make), asArgument(std::get<i>(arguments))..., py::kw_only(),
                   py::arg("channels") = py::none());
    }
    template <class Tuple>
    static int64_t partitionsOf(const Tuple& arguments) {
        if constexpr (requires(State s) { s.partitions; }) {
            return std::get<2>(arguments);
        } else {
            return 1;
        }
    }

    // ---- Signals

    static PyObject* update(PyObject* self, PyObject* const* arguments, Py_ssize_t positional,
                            PyObject* keywords) {
        return guarded([&] {
            const auto call = [&](py::handle x, py::handle d, const auto& bound, size_t options) {
                Rule rule = Rule::kLms;
                if constexpr (SignForms<State>) {
                    rule = toRule(bound[options + 3]);
                }
                return selfOf<B>(self).update(x, d, bound[options], bound[options + 1],
                                              bound[options + 2], rule);
            };
            if constexpr (Predicts<State>) {
                static constexpr Signature<4> kParameters{
                    "update", {"x", "adapt", "history", "out"}, 1};
                const auto bound = kParameters.bind(arguments, positional, keywords);
                return call(bound[0], {}, bound, 1);
            } else if constexpr (SignForms<State>) {
                static constexpr Signature<6> kParameters{
                    "update", {"x", "d", "adapt", "history", "out", "rule"}, 2};
                const auto bound = kParameters.bind(arguments, positional, keywords);
                return call(bound[0], bound[1], bound, 2);
            } else {
                static constexpr Signature<5> kParameters{
                    "update", {"x", "d", "adapt", "history", "out"}, 2};
                const auto bound = kParameters.bind(arguments, positional, keywords);
                return call(bound[0], bound[1], bound, 2);
            }
        });
    }
    static PyObject* filter(PyObject* self, PyObject* const* arguments, Py_ssize_t positional,
                            PyObject* keywords) {
        return guarded([&] {
            static constexpr Signature<2> kParameters{"filter", {"x", "out"}, 1};
            const auto bound = kParameters.bind(arguments, positional, keywords);
            return selfOf<B>(self).filterOnly(bound[0], bound[1]);
        });
    }

    void defineSignals() {
        using py::arg;
        using Object = const py::object&;
        const py::none none;
        if constexpr (Adapts<State>) {
            defineFast(class_, "update", update,
                       SignForms<State>     ? docs::kUpdateByRule
                       : Predicts<State>    ? docs::kPredict
                       : ThroughPath<State> ? docs::kUpdateThroughPath
                                            : docs::kUpdate);
        }
        defineFast(class_, "filter", filter, Adapts<State> ? docs::kFilterOnly : docs::kFilter);
        if constexpr (Regresses<State>) {
            if constexpr (SignForms<State>) {
                class_.def(
                    "update_regressors",
                    [](B& b, Object rows, Object d, Object out, Object rule) {
                        return b.updateRegressors(rows, d, out, toRule(rule));
                    },
                    arg("X"), arg("d"), arg("out") = none, arg("rule") = "lms",
                    docs::kUpdateRegressors);
            } else if constexpr (Adapts<State>) {
                class_.def(
                    "update_regressors",
                    [](B& b, Object rows, Object d, Object out) {
                        return b.updateRegressors(rows, d, out, Rule::kLms);
                    },
                    arg("X"), arg("d"), arg("out") = none, docs::kUpdateRegressors);
            }
            class_.def("filter_regressors", &B::filterRegressors, arg("X"), arg("out") = none,
                       docs::kFilterRegressors);
        }
    }

    // ---- Fields and arrays as properties

    void defineFields() {
        merlo64f::detail::forEach(Family::fields, [&](const auto& field) { defineField(field); });
        class_.def_property_readonly(
            "channels",
            [](B& b) { return b.hasChannels() ? py::object(py::int_(b.count())) : py::none(); },
            "int or None: number of channels; None for 1-D arrays.");
    }

    void defineField(const merlo64f::Size<State>& field) { // the same in all channels
        const auto member = field.member;
        class_.def_property_readonly(
            pythonName(field.name).c_str(),
            [member](B& b) {
                const typename B::Use use(b);
                return b.state().*member;
            },
            docs::ofField(field.name));
    }
    template <class T>
    void defineField(const merlo64f::Parameter<State, T>& field) {
        const auto member = field.member;
        if constexpr (std::is_same_v<T, double>) {
            const std::string name = pythonName(field.name);
            class_.def_property(
                name.c_str(), [member](B& b) { return b.field(member); },
                [member, name](B& b, const py::object& value) {
                    b.requireSetUp();
                    const std::vector<double> values = b.numbers(name.c_str(), value);
                    const typename B::Use use(b);
                    for (size_t c = 0; c < b.count(); ++c) {
                        b.state(c).*member = values[c];
                        if constexpr (requires(State s) { s.invLambda; }) {
                            if (name == "lambda_") {
                                b.state(c).invLambda = 1 / values[c];
                            }
                        }
                    }
                },
                docs::ofField(field.name));
        } else { // a flag, which all channels share
            class_.def_property(
                field.name,
                [member](B& b) {
                    const typename B::Use use(b);
                    return b.state().*member != 0;
                },
                [member, name = field.name](B& b, const py::object& value) {
                    const int32_t flag = toFlag(name, value);
                    const typename B::Use use(b);
                    for (size_t c = 0; c < b.count(); ++c) {
                        b.state(c).*member = flag;
                    }
                },
                docs::ofField(field.name));
        }
    }
    void defineField(const merlo64f::Position<State>& field) {
        class_.def_property(
            field.name, [member = field.member](B& b) { return b.field(member); },
            [field](B& b, const py::object& value) {
                const typename B::Use use(b);
                const int32_t limit = field.limit(b.state());
                const int32_t step = field.step(b.state());
                const int32_t position = toSize(field.name, value, 0, limit - 1);
                if (position % step != 0) {
                    refuse(field.name, std::to_string(position) + ", must be a multiple of " +
                                           std::to_string(step));
                }
                for (size_t c = 0; c < b.count(); ++c) {
                    b.state(c).*field.member = position;
                }
            },
            docs::ofField(field.name));
    }

    void defineArrays() {
        merlo64f::detail::forEach(Family::arrays, [&](const auto& array) {
            const std::string name = array.name;
            if (name == "coef" && Transforms<State>) {
                defineTaps();
            } else if (name == "delayLine" && RingLine<State>) {
                defineRing();
            } else {
                defineView(array);
            }
        });
        if constexpr (Borrows<State>) {
            merlo64f::detail::forEach(Family::borrowed,
                                      [&](const auto& lent) { defineView(lent); });
        }
        if constexpr (Transforms<State>) {
            defineTwiddles();
        }
        class_.def_property_readonly(
            "buffers",
            [](B& b) {
                py::dict all;
                merlo64f::detail::forEach(Family::arrays, [&](const auto& array) {
                    all[array.name] = b.view(locate(array));
                });
                return all;
            },
            docs::kBuffers);
    }
    template <class Array>
    static auto locate(const Array& array) {
        return [array](State& s) {
            return std::span<double>(const_cast<double*>(s.*array.member),
                                     static_cast<size_t>(array.length(s)));
        };
    }
    template <class Array>
    void defineView(const Array& array) {
        class_.def_property(
            array.name, [array](B& b) { return b.view(locate(array)); },
            [array](B& b, const py::object& value) {
                const typename B::Use use(
                    b); // before the length is read: another thread may resize
                const Rows<double> values =
                    b.broadcast(array.name, value, static_cast<size_t>(array.length(b.state())));
                for (size_t c = 0; c < b.count(); ++c) {
                    const std::vector<double> copy(values[c].begin(), values[c].end());
                    std::copy(copy.begin(), copy.end(), locate(array)(b.state(c)).begin());
                }
            },
            docs::ofField(array.name));
    }
    void defineTaps() {
        if constexpr (Transforms<State>) {
            class_.def_property(
                "coef", [](B& b) { return b.values(B::taps); },
                [](B& b, const py::object& value) {
                    b.requireSetUp();
                    const Rows<double> values =
                        b.broadcast("coef", value, static_cast<size_t>(B::tapCount(b.state())));
                    const typename B::Use use(b);
                    for (size_t c = 0; c < b.count(); ++c) {
                        b.filter(c).setCoef(values[c]);
                    }
                },
                docs::kTaps);
        }
    }
    void defineTwiddles() {
        using F = merlo64f::Filter<State>;
        class_.def_property(
            "fftTwiddles",
            [](B& b) {
                return b.values([](F& f) {
                    return std::vector<double>(f.twiddles().begin(), f.twiddles().end());
                });
            },
            [](B& b, const py::object& value) {
                b.requireSetUp();
                const py::array array = withRows<double>(toArray<double>("fftTwiddles", value));
                const size_t length = static_cast<size_t>(array.size());
                if (array.ndim() != 1 || length < 4 || (length & (length - 1)) != 0 ||
                    length < static_cast<size_t>(b.state().fftLen) / 2) {
                    refuse("fftTwiddles",
                           "shape " + shapeOf(array) +
                               ", must be a power of two of at least fftLen / 2 and 4");
                }
                const std::span<const double> values(static_cast<const double*>(array.data()),
                                                     length);
                b.change([&](F& f) { f.setTwiddles(values); });
            },
            docs::kTwiddles);
    }
    void defineRing() {
        if constexpr (RingLine<State>) {
            class_.def_property(
                "delayLine", [](B& b) { return b.values(newest); },
                [](B& b, const py::object& value) {
                    b.requireSetUp();
                    const Rows<double> values =
                        b.broadcast("delayLine", value, newest(b.filter()).size());
                    const typename B::Use use(b);
                    for (size_t c = 0; c < b.count(); ++c) {
                        b.filter(c).setDelayLine(values[c]);
                    }
                },
                docs::kRing);
        }
    }
    static std::vector<double> newest(merlo64f::Filter<State>& filter) {
        return got(&merlo64f::Filter<State>::getDelayLine, filter, 0, INT32_MAX, false);
    }

    // ---- The accessors of C

    template <class Get>
    static std::vector<double> got(Get get, merlo64f::Filter<State>& filter, int32_t start,
                                   int32_t count, bool reversed) {
        const size_t longest = [&] { // of any vector of the record
            size_t most = static_cast<size_t>(B::tapCount(filter.state()));
            merlo64f::forEachArray(filter.state(), [&](const char*, std::span<double> array) {
                most = std::max(most, array.size());
            });
            return most;
        }();
        std::vector<double> values(std::min(longest, static_cast<size_t>(count)));
        values.resize(static_cast<size_t>((filter.*get)(values, start, reversed)));
        return values;
    }
    template <class Get>
    void defineGetter(const char* name, Get get) {
        class_.def(
            name,
            [get](B& b, const py::object& start, const py::object& count,
                  const py::object& reversed) {
                const int32_t from = toSize("start", start, 0, INT32_MAX);
                const int32_t most =
                    count.is_none() ? INT32_MAX : toSize("count", count, 1, INT32_MAX);
                const bool backwards = toFlag("reversed", reversed);
                return b.values(
                    [&](merlo64f::Filter<State>& f) { return got(get, f, from, most, backwards); });
            },
            py::arg("start") = 0, py::arg("count") = py::none(), py::arg("reversed") = false,
            docs::kGetter);
    }
    template <class Set>
    void defineSetter(const char* name, Set set) {
        class_.def(
            name,
            [set](B& b, const py::object& values, const py::object& start,
                  const py::object& reversed) {
                const int32_t from = toSize("start", start, 0, INT32_MAX);
                const bool backwards = toFlag("reversed", reversed);
                const py::array array = toArray<double>("values", values);
                if (array.ndim() < 1 || array.size() == 0) {
                    refuse("values", "an element or more is needed");
                }
                const Rows<double> rows = b.broadcast(
                    "values", array, static_cast<size_t>(array.shape(array.ndim() - 1)));
                int32_t count = 0;
                b.change([&, c = size_t{0}](merlo64f::Filter<State>& f) mutable {
                    count = (f.*set)(rows[c++], from, backwards);
                });
                return count;
            },
            py::arg("values"), py::arg("start") = 0, py::arg("reversed") = false, docs::kSetter);
    }
    void defineAccessors() {
        using F = merlo64f::Filter<State>;
        if constexpr (requires { Family::getCoef; }) {
            defineGetter("get_coef", &F::getCoef);
        }
        if constexpr (requires { Family::setCoef; }) {
            defineSetter("set_coef", &F::setCoef);
        }
        if constexpr (requires { Family::getParcor; }) {
            defineGetter("get_parcor", &F::getParcor);
            defineSetter("set_parcor", &F::setParcor);
        }
        if constexpr (requires { Family::getForwardParcors; }) {
            defineGetter("get_forward_parcors", &F::getForwardParcors);
            defineGetter("get_backward_parcors", &F::getBackwardParcors);
        }
        if constexpr (requires { Family::getDelayLine; }) {
            defineGetter("get_delay_line", &F::getDelayLine);
            defineSetter("set_delay_line", &F::setDelayLine);
        }
    }

    // ---- Life

    void defineState() {
        using F = merlo64f::Filter<State>;
        if constexpr (requires { Family::reset; }) {
            class_.def(
                "reset", [](B& b) { b.change([](F& f) { f.reset(); }); }, docs::kReset);
        }
        if constexpr (requires { Family::resetDelayLine; }) {
            class_.def(
                "reset_delay_line", [](B& b) { b.change([](F& f) { f.resetDelayLine(); }); },
                docs::kResetDelayLine);
        }
        defineResize("resize", [](const py::object& order) {
            return toOrder<State>(order, Family::name == std::string("tdlms64f") ? 3 : 1);
        });
        // As in C: larger orders are reduced.
        defineResize("_resize",
                     [](const py::object& order) { return toSize("order", order, 1, INT32_MAX); });
        class_.def("copy", &B::copy, docs::kCopy);
        class_.def("__copy__", &B::copy);
        class_.def("__deepcopy__", [](B& b, const py::object&) { return b.copy(); });
        class_.def("__getitem__", &B::at, docs::kChannel);
        class_.def("__repr__", [name = name_](B& b) { return repr(name, b); });
        class_.def_property_readonly(
            "record",
            [](B& b) -> py::object {
                const typename B::Use use(b);
                return b.hasChannels() ? py::object(records(b)) : saved::save(b.filter());
            },
            docs::kRecord);
        const py::cpp_function fromRecord(
            [](const py::object&, const py::object& record) {
                return std::make_unique<B>(saved::load<State>(record));
            },
            py::name("from_record"), py::arg("cls"), py::arg("record"), docs::kFromRecord);
        class_.attr("from_record") =
            py::reinterpret_steal<py::object>(PyClassMethod_New(fromRecord.ptr()));
        class_.def(py::pickle(&save<State>, &restore<State>));
    }
    template <class ToOrder>
    void defineResize(const char* name, ToOrder orderOf) {
        using py::arg;
        const py::none none;
        const auto sizeOr = [](const char* what, const py::object& value, int32_t now) {
            return value.is_none() ? now : toSize(what, value, 1, INT32_MAX);
        };
        if constexpr (requires(State s) { s.partitions; }) {
            class_.def(
                name,
                [=](B& b, const py::object& order, const py::object& blockLen,
                    const py::object& partitions) {
                    b.requireSetUp();
                    const int32_t block = sizeOr("blockLen", blockLen, b.state().blockLen);
                    const int32_t parts = sizeOr("partitions", partitions, b.state().partitions);
                    requireMemoryForTransform(block, parts);
                    b.resize(orderOf(order), block, parts);
                },
                arg("order"), arg("blockLen") = none, arg("partitions") = none, docs::kResize);
        } else if constexpr (Blocks<State>) {
            class_.def(
                name,
                [=](B& b, const py::object& order, const py::object& blockLen) {
                    b.requireSetUp();
                    const int32_t block = sizeOr("blockLen", blockLen, b.state().blockLen);
                    if constexpr (Transforms<State>) {
                        requireMemoryForTransform(block, 1);
                    }
                    b.resize(orderOf(order), block);
                },
                arg("order"), arg("blockLen") = none, docs::kResize);
        } else {
            class_.def(
                name,
                [=](B& b, const py::object& order) {
                    b.requireSetUp();
                    b.resize(orderOf(order));
                },
                arg("order"), docs::kResize);
        }
    }

    static std::string repr(const char* name, B& bank) {
        const typename B::Use use(bank);
        const State& s = bank.state();
        std::string all;
        const auto add = [&](const std::string& what, const py::object& value) {
            all += (all.empty() ? "" : ", ") + what + "=" + py::repr(value).cast<std::string>();
        };
        add("order", py::int_(s.order));
        if constexpr (requires { s.blockLen; }) {
            add("blockLen", py::int_(s.blockLen));
        }
        if constexpr (requires { s.partitions; }) {
            add("partitions", py::int_(s.partitions));
        }
        const auto addNumber = [&](const char* what, double State::*member) {
            for (size_t c = 1; c < bank.count(); ++c) {
                if (bank.state(c).*member != s.*member) {
                    all += std::string(", ") + what + "=...";
                    return;
                }
            }
            add(what, py::float_(s.*member));
        };
        if constexpr (requires { s.mu; }) {
            addNumber("mu", &State::mu);
        }
        if constexpr (requires { s.muCoef; }) {
            addNumber("muCoef", &State::muCoef);
        }
        if constexpr (requires { s.lambda; }) {
            addNumber("lambda_", &State::lambda);
        }
        if constexpr (requires { s.constrained; }) {
            add("constrained", py::bool_(s.constrained != 0));
        }
        if constexpr (requires { s.secLen; }) {
            add("secLen", py::int_(s.secLen));
            add("estLen", py::int_(s.estLen));
        }
        if (bank.hasChannels()) {
            add("channels", py::int_(bank.count()));
        }
        return std::string(name) + "(" + all + ")";
    }

    const char* name_;
    py::class_<B> class_;
};

} // namespace binding
