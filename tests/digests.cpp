// One digest per family over its long run: the promise about bits, held against tests/digests.txt on
// every build. Usage: digests [FILE with the expected lines].
#include "long_run.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

namespace {

using Expected = std::map<std::string, std::string>;

template <class F>
bool check(const Expected& expected) {
    const Trace trace = longRun<F>();
    char digest[17];
    std::snprintf(digest, sizeof digest, "%016" PRIx64, trace.digest());
    std::printf("%s %s", F::Api::name, digest);
    bool good = true;
    if (!trace.isFinite()) { // bits of a NaN are no promise, so a run must not rest on them
        std::printf("  not finite");
        good = false;
    }
    if (!expected.empty() &&
        (!expected.contains(F::Api::name) || expected.at(F::Api::name) != digest)) {
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
