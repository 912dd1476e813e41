// One digest per family over a long run that visits every operation: the promise about bits, held
// against tests/digests.txt on every build. Usage: digests [FILE with the expected lines].
// The samples are white noise in stretches: ordinary, silent, subnormal, and now and then so large
// that what the filter learned from them has to be cleared.
#include "families.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

namespace {

template <class F>
void visit(typename F::State* state, Signal& signal, Trace& trace, int calls) {
    const auto operations = F::operations();
    for (int i = 0; i < calls; ++i) {
        operations[signal.choose(operations.size())].call(state, signal, trace, 0);
    }
}

template <class F>
void readAndWrite(typename F::State* state, Signal& signal, Trace& trace) {
    for (const auto& accessor : F::accessors()) {
        const int32_t length = accessor.length(*state);
        std::vector<double> values(static_cast<size_t>(length));
        const auto start = static_cast<int32_t>(signal.choose(static_cast<uint64_t>(length)));
        const auto reversed = static_cast<int32_t>(signal.choose(2));
        const int32_t n = accessor.get(state, values.data(), start, length, reversed);
        trace.add(values.data(), n);
        if (accessor.set != nullptr) {
            accessor.set(state, values.data(), 0, n, 1 - reversed);
        }
    }
}

template <class F>
Trace longRun() {
    constexpr int stretches = 600;
    Signal signal(20);
    Trace trace;
    typename F::State state;
    Lent lent;
    if (F::init(&state, F::shape(8), lent) != STS_OK) {
        std::abort();
    }
    const auto clear = [&] {
        for (const auto& reset : F::resets()) {
            reset.reset(&state);
        }
    };
    for (int i = 0; i < stretches; ++i) {
        signal.setSilent(i % 10 == 3);
        signal.setScale(i % 10 == 6 ? -1060 : i % 10 == 9 ? 16 : 0);
        if (i % 10 == 9) {
            clear();
            visit<F>(&state, signal, trace, 3);
            clear();
        } else {
            visit<F>(&state, signal, trace, 40);
        }
        if (i % 7 == 5) {
            readAndWrite<F>(&state, signal, trace);
        }
        if (i % 13 == 11) {
            const auto order = static_cast<int32_t>(signal.choose(F::limit + 2)) + 1;
            trace.add(F::resize(&state, F::shape(order)));
        }
        for (const auto& array : F::arrays(F::shape(state.order))) {
            trace.add(state.*array.field, array.length);
        }
    }
    F::free(&state);
    return trace;
}

using Expected = std::map<std::string, std::string>;

template <class F>
bool check(const Expected& expected) {
    const Trace trace = longRun<F>();
    char digest[17];
    std::snprintf(digest, sizeof digest, "%016" PRIx64, trace.digest());
    std::printf("%s %s", F::name, digest);
    bool good = true;
    if (!trace.isFinite()) { // bits of a NaN are no promise, so a run must not rest on them
        std::printf("  not finite");
        good = false;
    }
    if (!expected.empty() && (!expected.contains(F::name) || expected.at(F::name) != digest)) {
        std::printf("  differs from the expected");
        good = false;
    }
    std::printf("\n");
    return good;
}

template <class... F>
bool checkAll(testing::Types<F...>, const Expected& expected) {
    bool good = true;
    ((good = check<F>(expected) && good), ...); // every family is checked and printed
    return good;
}

} // namespace

int main(int argc, char** argv) {
    Expected expected;
    if (argc > 1) {
        std::ifstream file(argv[1]);
        for (std::string name, digest; file >> name >> digest;) {
            expected[name] = digest;
        }
        if (expected.empty()) {
            std::fprintf(stderr, "digests: %s has no digests\n", argv[1]);
            return EXIT_FAILURE;
        }
    }
    return checkAll(Families{}, expected) ? EXIT_SUCCESS : EXIT_FAILURE;
}
