// Without memory for a heap every set-up on it is refused with a status, and leaves a record that Free
// accepts.
#include "families.h"

#include <cstdio>
#include <cstdlib>

namespace {

template <class F>
bool refuses() {
    static typename F::State state;
    Lent lent;
    state.order = 5;
    const bool good = init<F>(&state, shapeOf<F>(5), lent) == STS_NO_MEMORY && state.order == 0;
    F::Api::free(&state);
    std::printf("%s: %s\n", F::Api::name, good ? "refused" : "not refused");
    return good;
}

template <class... F>
bool allRefuse(Types<F...>) {
    bool good = true;
    ((good = refuses<F>() && good), ...);
    return good;
}

} // namespace

int main() { return allRefuse(Families{}) ? EXIT_SUCCESS : EXIT_FAILURE; }
