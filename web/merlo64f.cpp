// The library as a WebAssembly module with one interface for all families. JavaScript reads describe() once
// and makes a class of every family from it (merlo64f.js).
//
// A filter is a record with what it borrows, at an address. Arrays are addresses in the module's memory. A
// negative result is a status of merlo64f.h. Nothing is tested but what the library tests: merlo64f.js
// passes only what fits.
#include "merlo64f_families.hpp"

#include <array>
#include <cstdlib>
#include <cstring>
#include <type_traits>

using namespace merlo64f;

namespace {

template <class... State>
struct List {};
using Families = List<fir64fState, lms64fState, nlms64fState, adjlms64fState, fxlms64fState,
                      blms64fState, bnlms64fState, lbpef64fState, lfpef64fState, lmslattice64fState,
                      bfdaf64fState, pbfdaf64fState, tdlms64fState, rls64fState, rlslattice64fState,
                      rlslbpef64fState, rlslfpef64fState>;

template <class Tuple, class Visit>
constexpr void forEach(const Tuple& tuple, Visit visit) {
    std::apply([&](const auto&... elements) { (visit(elements), ...); }, tuple);
}

// visit(element) for the element of that index
template <class Tuple, class Visit>
void at(const Tuple& tuple, int32_t index, Visit visit) {
    forEach(tuple, [&](const auto& element) {
        if (index-- == 0) {
            visit(element);
        }
    });
}

// ---- A filter

template <class S>
concept Transforms = requires(S s) {
    s.fftTable;
};
template <class S>
concept Blocks = requires(S s) {
    s.blockLen;
};
template <class S>
concept Predicts = requires(S s) { // from the input alone
    Family<S>::filterUpdate(&s, 1.0);
};
template <class S>
concept Borrows = requires {
    Family<S>::borrowed;
};
template <class S>
constexpr auto borrowedOf() {
    if constexpr (Borrows<S>) {
        return Family<S>::borrowed;
    } else {
        return std::tuple();
    }
}

template <class S>
struct Filter {
    S state;
    // Copies of the borrowed arrays, or the tables of the transform: twiddles and work area.
    std::array<void*, 2> own;
    int32_t longest; // transform of the tables
};

constexpr int32_t kShortest = 128; // points; what smaller transforms borrow

template <class S>
int32_t cover(Filter<S>& filter, int32_t longest) {
    longest = std::max(longest, kShortest);
    if (longest <= filter.longest) {
        return STS_OK;
    }
    auto* const twiddles = static_cast<double*>(
        std::malloc(sizeof(double) * static_cast<size_t>(fftTwiddlesLen(longest))));
    auto* const table = static_cast<int32_t*>(
        std::malloc(sizeof(int32_t) * static_cast<size_t>(fftTableLen(longest))));
    if (twiddles == nullptr || table == nullptr) {
        std::free(twiddles);
        std::free(table);
        return STS_NO_MEMORY;
    }
    fillFftTables(longest, table, twiddles); // the same values for shorter transforms
    std::free(filter.own[0]);
    std::free(filter.own[1]);
    filter.own = {twiddles, table};
    filter.longest = longest;
    filter.state.fftTwiddles = twiddles;
    filter.state.fftTable = table;
    return STS_OK;
}

template <class S>
void destroy(Filter<S>* filter) {
    Family<S>::free(&filter->state);
    std::free(filter->own[0]);
    std::free(filter->own[1]);
    std::free(filter);
}

// An argument of Init from a number.
template <class T>
T from(double value) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(static_cast<uintptr_t>(value));
    } else {
        return static_cast<T>(value);
    }
}

template <class S>
int32_t setUp(Filter<S>& filter, const double* arguments) {
    using Tuple = decltype(Family<S>::arguments(filter.state));
    const auto call = [&]<size_t... i>(std::index_sequence<i...>) {
        const Tuple values{from<std::tuple_element_t<i, Tuple>>(arguments[i])...};
        if constexpr (Transforms<S>) {
            const auto sizes = [&] {
                if constexpr (Blocks<S>) {
                    return transformLength<S>(std::get<0>(values), std::get<1>(values));
                } else {
                    return transformLength<S>(std::get<0>(values));
                }
            };
            const int32_t status = cover(filter, sizes());
            return status != STS_OK ? status
                                    : Family<S>::init(&filter.state, std::get<i>(values)...,
                                                      static_cast<int32_t*>(filter.own[1]),
                                                      static_cast<const double*>(filter.own[0]));
        } else {
            return Family<S>::init(&filter.state, std::get<i>(values)...);
        }
    };
    int32_t status = call(std::make_index_sequence<std::tuple_size_v<Tuple>>());
    size_t i = 0;
    forEach(borrowedOf<S>(), [&](const auto& array) { // room for every order that Resize gives
        const int32_t length = status == STS_OK ? array.length(filter.state) : 0;
        const auto room = static_cast<size_t>(std::max(length, Family<S>::maxOrder));
        auto* const copy = static_cast<double*>(std::calloc(room, sizeof(double)));
        if (copy == nullptr) {
            status = status == STS_OK ? +STS_NO_MEMORY : status;
            return;
        }
        if (status == STS_OK) {
            std::memcpy(copy, filter.state.*array.member,
                        sizeof(double) * static_cast<size_t>(length));
            filter.state.*array.member = copy;
        }
        filter.own[i++] = copy;
    });
    return status;
}

// ---- Operations on arrays

template <class S, auto operation>
void updateAll(S& s, const double* x, const double* d, double* y, double* e, const uint8_t* adapt,
               int32_t n) {
    using F = Family<S>;
    if constexpr (Blocks<S>) {
        for (int32_t i = 0; i < n; i += s.blockLen) {
            if (adapt == nullptr || adapt[i] != 0) {
                operation(&s, x + i, d + i, y + i, e + i);
                continue;
            }
            F::filterOnly(&s, x + i, y + i);
            for (int32_t k = i; k < i + s.blockLen; ++k) {
                e[k] = d[k] - y[k];
            }
        }
    } else {
        for (int32_t i = 0; i < n; ++i) {
            const bool frozen = adapt != nullptr && adapt[i] == 0;
            if constexpr (Predicts<S>) {
                y[i] = frozen ? F::filterOnly(&s, x[i]) : operation(&s, x[i]);
                e[i] = s.err;
            } else if (frozen) {
                y[i] = F::filterOnly(&s, x[i]);
                if constexpr (requires { s.secLen; }) {
                    e[i] = d[i] + y[i];
                } else {
                    e[i] = d[i] - y[i];
                }
            } else {
                y[i] = operation(&s, x[i], d[i]);
                e[i] = s.err;
            }
        }
    }
}

template <class S>
void filterAll(S& s, const double* x, double* y, int32_t n) {
    using F = Family<S>;
    if constexpr (requires { F::blockFilter; }) {
        F::blockFilter(&s, x, y, n);
    } else if constexpr (Blocks<S>) {
        for (int32_t i = 0; i < n; i += s.blockLen) {
            F::filterOnly(&s, x + i, y + i);
        }
    } else {
        for (int32_t i = 0; i < n; ++i) {
            y[i] = F::filterOnly(&s, x[i]);
        }
    }
}

// Rows of `order` samples each, which replace the line. tdlms64f of 2^k + 1 taps has a line of 2^k.
template <class S, class Step>
void onRows(S& s, const double* rows, int32_t n, Step step) {
    int32_t length = s.order;
    if constexpr (Transforms<S>) {
        length = std::min(length, s.fftLen);
    }
    for (int32_t i = 0; i < n; ++i) {
        std::copy_n(rows + static_cast<ptrdiff_t>(i) * s.order, length, s.delayLine);
        step(i);
    }
}

struct Arrays {
    const double *x, *d;
    double *y, *e;
    const uint8_t* adapt;
    int32_t n;
};

// An operation over arrays, by its name in JavaScript.
template <class S>
struct Operation {
    const char* name;
    int32_t (*call)(S&, const Arrays&);
};

template <class S, auto operation>
constexpr Operation<S> updates(const char* name) {
    return {name, [](S& s, const Arrays& a) {
                updateAll<S, operation>(s, a.x, a.d, a.y, a.e, a.adapt, a.n);
                return +STS_OK;
            }};
}
template <class S, auto operation>
constexpr Operation<S> updatesRows(const char* name) {
    return {name, [](S& s, const Arrays& a) {
                onRows(s, a.x, a.n, [&](int32_t i) {
                    a.y[i] = operation(&s, a.d[i]);
                    a.e[i] = s.err;
                });
                return +STS_OK;
            }};
}
template <class S, auto operation>
constexpr Operation<S> filtersRows(const char* name) {
    return {name, [](S& s, const Arrays& a) {
                onRows(s, a.x, a.n, [&](int32_t i) { a.y[i] = operation(&s); });
                return +STS_OK;
            }};
}
template <class S, auto operation>
constexpr Operation<S> resets(const char* name) {
    return {name, [](S& s, const Arrays&) { return operation(&s); }};
}

template <class S>
constexpr auto operationsOf() {
    using F = Family<S>;
    const auto update = [] {
        if constexpr (requires { F::filterUpdate; }) {
            return std::tuple(updates<S, F::filterUpdate>("update"));
        } else {
            return std::tuple();
        }
    };
    const auto signs = [] {
        if constexpr (requires { F::filterUpdateSignErr; }) {
            return std::tuple(updates<S, F::filterUpdateSignErr>("updateSignErr"),
                              updates<S, F::filterUpdateSignReg>("updateSignReg"),
                              updates<S, F::filterUpdateSignSign>("updateSignSign"));
        } else {
            return std::tuple();
        }
    };
    const Operation<S> filter{"filter", [](S& s, const Arrays& a) {
                                  filterAll(s, a.x, a.y, a.n);
                                  return +STS_OK;
                              }};
    const auto rows = [] {
        if constexpr (requires { F::lcFilterUpdate; }) {
            return std::tuple(updatesRows<S, F::lcFilterUpdate>("updateRegressors"),
                              filtersRows<S, F::lcFilterOnly>("filterRegressors"));
        } else if constexpr (requires { F::lcFilter; }) {
            return std::tuple(filtersRows<S, F::lcFilter>("filterRegressors"));
        } else {
            return std::tuple();
        }
    };
    const auto signRows = [] {
        if constexpr (requires { F::lcFilterUpdateSignErr; }) {
            return std::tuple(
                updatesRows<S, F::lcFilterUpdateSignErr>("updateRegressorsSignErr"),
                updatesRows<S, F::lcFilterUpdateSignReg>("updateRegressorsSignReg"),
                updatesRows<S, F::lcFilterUpdateSignSign>("updateRegressorsSignSign"));
        } else {
            return std::tuple();
        }
    };
    const auto clears = [] {
        if constexpr (requires {
                          F::reset;
                          F::resetDelayLine;
                      }) {
            return std::tuple(resets<S, F::reset>("reset"),
                              resets<S, F::resetDelayLine>("resetDelayLine"));
        } else if constexpr (requires { F::reset; }) {
            return std::tuple(resets<S, F::reset>("reset"));
        } else {
            return std::tuple(resets<S, F::resetDelayLine>("resetDelayLine"));
        }
    };
    return std::tuple_cat(update(), signs(), std::tuple(filter), rows(), signRows(), clears());
}

// The functions that read and write an array by its positions; set may be nullptr.
template <class Get, class Set>
struct Accessor {
    const char* name;
    Get get;
    Set set;
};
template <class Get, class Set>
Accessor(const char*, Get, Set) -> Accessor<Get, Set>;

template <class S>
constexpr auto accessorsOf() {
    using F = Family<S>;
    const auto coef = [] {
        if constexpr (requires { F::setCoef; }) {
            return std::tuple(Accessor{"coef", F::getCoef, F::setCoef});
        } else {
            return std::tuple(Accessor{"coef", F::getCoef, nullptr});
        }
    };
    const auto parcors = [] {
        if constexpr (requires { F::getParcor; }) {
            return std::tuple(Accessor{"parcor", F::getParcor, F::setParcor});
        } else if constexpr (requires { F::getForwardParcors; }) {
            return std::tuple(Accessor{"forwardParcors", F::getForwardParcors, nullptr},
                              Accessor{"backwardParcors", F::getBackwardParcors, nullptr});
        } else {
            return std::tuple();
        }
    };
    const auto delayLine = [] {
        if constexpr (requires { F::getDelayLine; }) {
            return std::tuple(Accessor{"delayLine", F::getDelayLine, F::setDelayLine});
        } else {
            return std::tuple();
        }
    };
    return std::tuple_cat(coef(), parcors(), delayLine());
}

// ---- The description, in JSON, written by the compiler

struct Text {
    char at[16384];
    size_t used;

    constexpr Text& operator<<(const char* more) {
        while (*more != '\0') {
            at[used++] = *more++;
        }
        return *this;
    }
    constexpr Text& operator<<(int32_t number) { // of two digits
        at[used++] = static_cast<char>('0' + number / 10);
        at[used++] = static_cast<char>('0' + number % 10);
        return *this;
    }
};

// "name":[element,element ...]; write(element) for each
template <class Tuple, class Write>
constexpr void writeAll(Text& text, const char* name, const Tuple& tuple, Write write) {
    text << ",\"" << name << "\":[";
    const char* comma = "";
    forEach(tuple, [&](const auto& element) {
        text << comma;
        write(element);
        comma = ",";
    });
    text << "]";
}

template <class T>
constexpr const char* typeName() {
    return std::is_pointer_v<T> ? "array" : std::is_same_v<T, int32_t> ? "integer" : "real";
}
template <class S>
constexpr const char* kindOf(const Size<S>&) {
    return "size";
}
template <class S, class T>
constexpr const char* kindOf(const Parameter<S, T>&) {
    return "parameter";
}
template <class S>
constexpr const char* kindOf(const Position<S>&) {
    return "position";
}

double lent[2];

// A record whose fields and borrowed arrays are all different.
template <class S>
constexpr S marked() {
    S state{};
    int32_t mark = 1;
    forEach(Family<S>::fields, [&](const auto& field) {
        using T = std::remove_reference_t<decltype(state.*field.member)>;
        state.*field.member = static_cast<T>(mark++);
    });
    double* next = lent;
    forEach(borrowedOf<S>(), [&](const auto& array) { state.*array.member = next++; });
    return state;
}

// The field that has this value. delta of rls64f is an argument that no field keeps.
template <class S, class T>
constexpr const char* fieldOf(const S& state, const T& value) {
    const char* name = "delta";
    const auto compare = [&](const auto& field) {
        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(state.*field.member)>, T>) {
            name = state.*field.member == value ? field.name : name;
        }
    };
    forEach(Family<S>::fields, compare);
    forEach(borrowedOf<S>(), compare);
    return name;
}

template <class S>
constexpr void describeFamily(Text& text) {
    using F = Family<S>;
    constexpr S state = marked<S>();
    text << "{\"name\":\"" << F::name << "\",\"maxOrder\":" << F::maxOrder;
    writeAll(text, "arguments", F::arguments(state), [&](const auto& value) {
        text << "{\"name\":\"" << fieldOf(state, value) << "\",\"type\":\""
             << typeName<std::remove_cvref_t<decltype(value)>>() << "\"}";
    });
    writeAll(text, "fields", F::fields, [&](const auto& field) {
        using T = std::remove_cvref_t<decltype(state.*field.member)>;
        text << "{\"name\":\"" << field.name << "\",\"kind\":\"" << kindOf(field)
             << "\",\"type\":\"" << typeName<T>() << "\"}";
    });
    writeAll(text, "arrays", F::arrays,
             [&](const auto& array) { text << "\"" << array.name << "\""; });
    writeAll(text, "borrowed", borrowedOf<S>(), [&](const auto& array) {
        text << "{\"name\":\"" << array.name << "\",\"length\":\""
             << fieldOf(state, array.length(state)) << "\"}";
    });
    writeAll(text, "operations", operationsOf<S>(),
             [&](const auto& operation) { text << "\"" << operation.name << "\""; });
    writeAll(text, "accessors", accessorsOf<S>(), [&](const auto& accessor) {
        const bool writable = !std::is_null_pointer_v<decltype(accessor.set)>;
        text << "{\"name\":\"" << accessor.name
             << "\",\"writable\":" << (writable ? "true" : "false") << "}";
    });
    text << ",\"transforms\":" << (Transforms<S> ? "true" : "false")
         << ",\"predicts\":" << (Predicts<S> ? "true" : "false") << "}";
}

template <class First, class... State>
consteval Text describeAll(List<First, State...>) {
    Text text{};
    text << "[";
    describeFamily<First>(text);
    ((text << ",", describeFamily<State>(text)), ...);
    text << "]";
    return text;
}

constexpr auto description = [] {
    std::array<char, describeAll(Families()).used + 1> text{};
    const Text all = describeAll(Families());
    std::copy_n(all.at, all.used, text.data());
    return text;
}();

// visit.operator()<State>() for the family of that index
template <class Visit, class... State>
void dispatch(List<State...>, int32_t family, Visit visit) {
    (void)((family-- == 0 && (visit.template operator()<State>(), true)) || ...);
}
template <class Visit>
void dispatch(int32_t family, Visit visit) {
    dispatch(Families(), family, visit);
}

} // namespace

#define EXPORT(name) [[clang::export_name(name)]]

EXPORT("malloc") void* allocate(size_t bytes) { return std::malloc(bytes); }
EXPORT("free") void release(void* block) { std::free(block); }

// All families, in the order of their indices; a text that ends with 0.
EXPORT("describe") const char* describe() { return description.data(); }

// arguments: those of Init in their order, addresses for arrays. Returns an address or a status.
EXPORT("create") intptr_t create(int32_t family, const double* arguments) {
    intptr_t result = STS_BAD_SIZE;
    dispatch(family, [&]<class S>() {
        auto* const filter = static_cast<Filter<S>*>(std::calloc(1, sizeof(Filter<S>)));
        if (filter == nullptr) {
            result = STS_NO_MEMORY;
            return;
        }
        result = setUp(*filter, arguments);
        if (result == STS_OK) {
            result = reinterpret_cast<intptr_t>(filter);
        } else {
            destroy(filter);
        }
    });
    return result;
}

EXPORT("destroy") void destroyFilter(int32_t family, void* filter) {
    dispatch(family, [&]<class S>() { destroy(static_cast<Filter<S>*>(filter)); });
}

// operation: index in describe(). x is rows in the operations on regressors.
EXPORT("operate")
int32_t operate(int32_t family, void* filter, int32_t operation, const double* x, const double* d,
                double* y, double* e, const uint8_t* adapt, int32_t n) {
    int32_t status = STS_BAD_SIZE;
    dispatch(family, [&]<class S>() {
        at(operationsOf<S>(), operation, [&](const auto& o) {
            status = o.call(static_cast<Filter<S>*>(filter)->state, {x, d, y, e, adapt, n});
        });
    });
    return status;
}

// Families use of the sizes what they have.
EXPORT("resize")
int32_t resize(int32_t family, void* filter, int32_t order, int32_t blockLen, int32_t partitions) {
    int32_t status = STS_BAD_SIZE;
    dispatch(family, [&]<class S>() {
        auto& f = *static_cast<Filter<S>*>(filter);
        using F = Family<S>;
        if constexpr (Transforms<S>) {
            const int32_t longest = [&] {
                if constexpr (Blocks<S>) {
                    return transformLength<S>(order, blockLen);
                } else {
                    return transformLength<S>(order);
                }
            }();
            status = cover(f, longest);
            if (status != STS_OK) {
                return;
            }
        }
        if constexpr (requires { F::resize(&f.state, 1, 1, 1); }) {
            status = F::resize(&f.state, order, blockLen, partitions);
        } else if constexpr (requires { F::resize(&f.state, 1, 1); }) {
            status = F::resize(&f.state, order, blockLen);
        } else {
            status = F::resize(&f.state, order);
        }
    });
    return status;
}

// accessor: index in describe(). Returns the number of elements copied or a status.
EXPORT("access")
int32_t access(int32_t family, void* filter, int32_t accessor, int32_t write, double* buf,
               int32_t start, int32_t count, int32_t reversed) {
    int32_t copied = STS_BAD_SIZE;
    dispatch(family, [&]<class S>() {
        S* const s = &static_cast<Filter<S>*>(filter)->state;
        at(accessorsOf<S>(), accessor, [&](const auto& a) {
            if (write == 0) {
                copied = a.get(s, buf, start, count, reversed);
            } else if constexpr (!std::is_null_pointer_v<decltype(a.set)>) {
                copied = a.set(s, buf, start, count, reversed);
            }
        });
    });
    return copied;
}

// Fields and arrays by their index in describe().
EXPORT("getField") double getField(int32_t family, void* filter, int32_t field) {
    double value = 0.0;
    dispatch(family, [&]<class S>() {
        at(Family<S>::fields, field, [&](const auto& f) {
            value = static_cast<double>(static_cast<Filter<S>*>(filter)->state.*f.member);
        });
    });
    return value;
}

// Returns 0 for a size that the record does not have and a position outside its ring.
EXPORT("setField") int32_t setField(int32_t family, void* filter, int32_t field, double value) {
    int32_t fits = 0;
    dispatch(family, [&]<class S>() {
        S& s = static_cast<Filter<S>*>(filter)->state;
        at(Family<S>::fields, field, [&](const auto& f) {
            using Field = std::remove_cvref_t<decltype(f)>;
            auto& own = s.*f.member;
            const auto wanted = from<std::remove_reference_t<decltype(own)>>(value);
            if constexpr (std::is_same_v<Field, Size<S>>) {
                fits = wanted == own;
            } else if constexpr (std::is_same_v<Field, Position<S>>) {
                fits = wanted >= 0 && wanted < f.limit(s) && wanted % f.step(s) == 0;
            } else {
                fits = 1;
            }
            if (fits != 0) {
                own = wanted;
            }
        });
    });
    return fits;
}

EXPORT("array") double* array(int32_t family, void* filter, int32_t index) {
    double* found = nullptr;
    dispatch(family, [&]<class S>() {
        at(Family<S>::arrays, index,
           [&](const auto& a) { found = static_cast<Filter<S>*>(filter)->state.*a.member; });
    });
    return found;
}

EXPORT("arrayLength") int32_t arrayLength(int32_t family, void* filter, int32_t index) {
    int32_t length = 0;
    dispatch(family, [&]<class S>() {
        at(Family<S>::arrays, index,
           [&](const auto& a) { length = a.length(static_cast<Filter<S>*>(filter)->state); });
    });
    return length;
}

EXPORT("borrowed") const double* borrowed(int32_t family, void* filter, int32_t index) {
    const double* found = nullptr;
    dispatch(family, [&]<class S>() {
        at(borrowedOf<S>(), index,
           [&](const auto& a) { found = static_cast<Filter<S>*>(filter)->state.*a.member; });
    });
    return found;
}

EXPORT("borrowedLength") int32_t borrowedLength(int32_t family, void* filter, int32_t index) {
    int32_t length = 0;
    dispatch(family, [&]<class S>() {
        at(borrowedOf<S>(), index,
           [&](const auto& a) { length = a.length(static_cast<Filter<S>*>(filter)->state); });
    });
    return length;
}

// The tables of the transform families: twiddles of their longest transform, and its points.
EXPORT("twiddles") double* twiddles(int32_t family, void* filter) {
    double* found = nullptr;
    dispatch(family, [&]<class S>() {
        if constexpr (Transforms<S>) {
            found = static_cast<double*>(static_cast<Filter<S>*>(filter)->own[0]);
        }
    });
    return found;
}

EXPORT("twiddlesLength") int32_t twiddlesLength(int32_t family, void* filter) {
    int32_t length = 0;
    dispatch(family, [&]<class S>() { length = static_cast<Filter<S>*>(filter)->longest / 2; });
    return length;
}
