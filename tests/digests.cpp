// One digest per family over its long run: the promise about bits, held against tests/digests.txt on
// every build. Usage: digests [FILE with the expected lines].
// Needs no heap, and no files if NO_FILES is defined.
#include "long_run.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Line {
    char family[32];
    uint64_t digest;
};
using Expected = List<Line, 32>;

#ifdef NO_FILES
bool read(const char*, Expected&) { return false; }
#else
bool read(const char* name, Expected& expected) {
    std::FILE* const file = std::fopen(name, "r");
    Line line;
    while (file != nullptr && std::fscanf(file, "%31s %" SCNx64, line.family, &line.digest) == 2) {
        expected.push_back(line);
    }
    if (file != nullptr) {
        std::fclose(file);
    }
    return !expected.empty();
}
#endif

template <class F>
bool check(const Expected& expected) {
    const Trace trace = longRun<F, WithoutHeap>();
    const bool finite =
        trace.isFinite(); // bits of a NaN are no promise, so a run must not rest on them
    const bool good =
        expected.empty() || std::any_of(expected.begin(), expected.end(), [&](const Line& known) {
            return std::strcmp(known.family, F::Api::name) == 0 && known.digest == trace.digest();
        });
    std::printf("%s %016" PRIx64 "%s%s\n", F::Api::name, trace.digest(),
                finite ? "" : "  not finite", good ? "" : "  differs from the expected");
    return finite && good;
}

template <class... F>
bool checkAll(Types<F...>, const Expected& expected) {
    bool good = true;
    ((good = check<F>(expected) && good), ...); // every family is checked and printed
    return good;
}

} // namespace

int main(int argc, char** argv) {
    Expected expected;
    if (argc > 1 && !read(argv[1], expected)) {
        std::printf("digests: %s has no digests\n", argv[1]);
        return EXIT_FAILURE;
    }
    return checkAll(Families{}, expected) ? EXIT_SUCCESS : EXIT_FAILURE;
}
