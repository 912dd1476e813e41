// The ring line: an array of lineLen samples and the position `head` that the next sample overwrites.
// The head steps back, so the newest sample lies one position above it, and older ones further up.
#pragma once

#include <algorithm>
#include <cstdint>

namespace merlo {

// Visits n elements from `position` upward as two contiguous runs, the second from the start of the
// array: run(first position of the run, number of elements before it, length).
// 0 <= position < lineLen, n <= lineLen; a run may be empty. Always inlined, so that a sum over both
// runs stays in its register.
template <class Run>
[[gnu::always_inline]] inline void forEachRun(int32_t lineLen, int32_t n, int32_t position,
                                              Run run) {
    const int32_t first = std::min(lineLen - position, n);
    run(position, 0, first);
    run(0, first, n - first);
}

// 0 <= head < lineLen
inline int32_t stepBack(int32_t head, int32_t lineLen) {
    return head == 0 ? lineLen - 1 : head - 1;
}

// The position `steps` above; 0 <= position < lineLen, 0 <= steps <= lineLen.
inline int32_t stepUp(int32_t position, int32_t steps, int32_t lineLen) {
    const int32_t room = lineLen - position;
    return steps < room ? position + steps : steps - room;
}

// Stores x at the head, leaves the head one step back and returns the position of x.
inline int32_t insertSample(double x, double* line, int32_t lineLen, int32_t* head) {
    const int32_t position = *head;
    line[position] = x;
    *head = stepBack(position, lineLen);
    return position;
}

// Position of the sample of that age, 0 being the newest; 0 <= head < lineLen, 0 <= age < lineLen.
inline int32_t ringPosition(int32_t head, int32_t age, int32_t lineLen) {
    return stepUp(head, age + 1, lineLen);
}

// Copies the newest samples of one line to another as far as they fit; other positions do not change.
inline void carryNewest(const double* from, int32_t fromLen, int32_t fromHead, double* to,
                        int32_t toLen, int32_t toHead) {
    const int32_t kept = std::min(fromLen, toLen);
    for (int32_t age = 0; age < kept; ++age) {
        to[ringPosition(toHead, age, toLen)] = from[ringPosition(fromHead, age, fromLen)];
    }
}

} // namespace merlo
