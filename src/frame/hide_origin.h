// gcc for x86 takes a vector that it has seen loaded apart again, and loads every lane anew for each of
// its uses; so it must lose sight of where the vector came from.
#pragma once

namespace merlo {

template <class V>
inline void hideOrigin(V& values) {
#if defined(__x86_64__) && !defined(__clang__)
    asm volatile("" : "+x"(values));
#else
    (void)values;
#endif
}

} // namespace merlo
