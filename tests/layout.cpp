// The layout table: of every record its size and the offsets of its fields. The records are public, so a
// moved field breaks every host that was built before: the fields lie in their order, each at the next
// multiple of its alignment. The offsets themselves are the target's.
#include "families.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace {

template <class F>
bool check() {
    static typename F::State state;
    size_t end = 0, alignment = 1;
    bool good = true;
    std::printf("%s, %u bytes:", F::Api::name, static_cast<unsigned>(sizeof state));
    const auto placeNext = [&]<class T>(T F::State::*field) {
        static_assert(std::is_same_v<T, int32_t> || std::is_same_v<T, double> ||
                      std::is_pointer_v<T>);
        struct Aligned {
            char before;
            T value;
        };
        constexpr size_t aligned = offsetof(Aligned, value);
        end = (end + aligned - 1) / aligned * aligned;
        alignment = std::max(alignment, aligned);
        const ptrdiff_t offset =
            reinterpret_cast<char*>(&(state.*field)) - reinterpret_cast<char*>(&state);
        std::printf(" %d", static_cast<int>(offset));
        good = good && offset == static_cast<ptrdiff_t>(end);
        end += sizeof(T);
    };
    std::apply([&](auto... fields) { (placeNext(fields), ...); }, F::fields);
    good = good && sizeof state == (end + alignment - 1) / alignment * alignment;
    std::printf(good ? "\n" : "  not in order\n");
    return good;
}

template <class... F>
bool checkAll(Types<F...>) {
    bool good = true;
    ((good = check<F>() && good), ...);
    return good;
}

} // namespace

int main() { return checkAll(Families{}) ? EXIT_SUCCESS : EXIT_FAILURE; }
