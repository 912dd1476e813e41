// The four accessors: read and write a plain array, read and write a ring line. `array` and `line` are
// the record's, `buf` is the host's. They return the number of elements copied or a negative status.
#pragma once

#include "frame/ring_line.h"
#include "merlo64f.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

// The number of elements that an accessor copies, or the status that refuses the call.
inline int32_t elementsInRange(const double* array, const double* buf, int32_t length,
                               int32_t start, int32_t count) {
    if (array == nullptr || buf == nullptr) {
        return STS_NULL_PTR;
    }
    if (count < 1 || start >= length || start < 0) {
        return STS_BAD_SIZE;
    }
    return std::min(length - start, count);
}

// Calls move(index in the record, index in buf) for each element in range; for none if a status is
// returned.
template <class Move>
inline int32_t forEachElement(const double* array, const double* buf, int32_t length, int32_t start,
                              int32_t count, int32_t reversed, Move move) {
    const int32_t n = elementsInRange(array, buf, length, start, count);
    for (int32_t i = 0; i < n; ++i) {
        move(start + i, reversed != 0 ? n - 1 - i : i);
    }
    return n;
}

inline int32_t readArray(const double* array, int32_t length, double* buf, int32_t start,
                         int32_t count, int32_t reversed) {
    return forEachElement(array, buf, length, start, count, reversed,
                          [=](int32_t element, int32_t slot) { buf[slot] = array[element]; });
}

inline int32_t writeArray(double* array, int32_t length, const double* buf, int32_t start,
                          int32_t count, int32_t reversed) {
    return forEachElement(array, buf, length, start, count, reversed,
                          [=](int32_t element, int32_t slot) { array[element] = buf[slot]; });
}

// A ring of lineLen samples of which the `length` newest are accessible; element 0 is the newest.
inline int32_t readRing(const double* line, int32_t lineLen, int32_t head, int32_t length,
                        double* buf, int32_t start, int32_t count, int32_t reversed) {
    return forEachElement(
        line, buf, length, start, count, reversed,
        [=](int32_t age, int32_t slot) { buf[slot] = line[ringPosition(head, age, lineLen)]; });
}

inline int32_t writeRing(double* line, int32_t lineLen, int32_t head, int32_t length,
                         const double* buf, int32_t start, int32_t count, int32_t reversed) {
    return forEachElement(
        line, buf, length, start, count, reversed,
        [=](int32_t age, int32_t slot) { line[ringPosition(head, age, lineLen)] = buf[slot]; });
}

} // namespace merlo
