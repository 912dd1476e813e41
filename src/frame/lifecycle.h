// Setting up, failing, resizing and freeing a record.
#pragma once

#include "merlo64f.h"

#include <cstdint>
#include <initializer_list>

namespace merlo {

// Marks a record that must not be used and returns the status. The fields that Free releases become
// null, so Free releases nothing.
template <class State>
inline int32_t fail(State* state, int32_t status) {
    state->order = 0;
    state->coef = nullptr;
    if constexpr (requires { state->outLine; }) {
        state->outLine = nullptr;
    } else {
        state->delayLine = nullptr;
    }
    return status;
}

// One buffer of a record: the field that points at its start, and its length in doubles.
struct Buffer {
    double** field;
    int64_t length;
};

// Allocates all buffers, zero-filled, in their order, or none of them.
// STS_BAD_SIZE if a buffer is empty or its size in bytes exceeds the address space, before any is
// allocated; STS_NO_MEMORY.
int32_t fromHeap(std::initializer_list<Buffer> buffers);

// Uses the host's memory for the buffers, in their order, and zero-fills it.
// STS_NULL_PTR if one is null, then STS_BAD_SIZE if a buffer is empty, before any is written. Families
// that test pointers before sizes leave the test of their sizes to this.
class FromHost {
  public:
    explicit FromHost(double* first, double* second = nullptr) : given_{first, second} {}
    int32_t operator()(std::initializer_list<Buffer> buffers) const;

  private:
    double* given_[2];
};

// Frees a buffer from fromHeap; null is allowed.
void release(double* buffer);

// Ends a Resize. `next` is a record that Init has set up; carry() copies to it what is kept of the
// live one. If that fails, `next` is freed and the live record stays as it was; otherwise the live
// record's buffers are freed and `next` replaces it.
template <class State, class Carry>
inline int32_t replace(State* state, State& next, void (*freeRecord)(State*), Carry carry) {
    if (const int32_t status = carry(); status < 0) {
        freeRecord(&next);
        return status;
    }
    freeRecord(state);
    *state = next;
    return STS_OK;
}

} // namespace merlo
