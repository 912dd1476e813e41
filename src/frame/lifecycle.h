// The life of a record: where its blocks come from, how a failure is marked, how a resized record
// takes the place of the live one.
#pragma once

#include "merlo64f.h"

#include <cstdint>
#include <initializer_list>

namespace merlo {

// Marks a record that must not be used and passes the reason on.
template <class State>
inline int32_t fail(State* state, int32_t status) {
    state->order = 0;
    return status;
}

// One block of doubles that a record stands on: the field that is to point at it, and its length.
struct Block {
    double** field;
    int64_t length;
};

// Gets all blocks from the heap, zero-filled, in their order, or none of them.
// STS_BAD_SIZE if a block is empty or cannot be addressed, before any is taken; STS_NO_MEMORY.
int32_t fromHeap(std::initializer_list<Block> blocks);

// Takes the host's buffers for the blocks, in their order, and zero-fills them.
// STS_NULL_PTR if one is null, then STS_BAD_SIZE if a block is empty, before any is touched: where
// pointers come before sizes, a set-up leaves the test of its sizes to this.
class FromHost {
  public:
    explicit FromHost(double* first, double* second = nullptr) : buffers_{first, second} {}
    int32_t operator()(std::initializer_list<Block> blocks) const;

  private:
    double* buffers_[2];
};

// Gives a block from the heap back.
void release(double* block);

// Ends a Resize. `next` is a record that `Init` set up; carry() moves to it what is kept of the live
// one. If that fails, `next` is freed and the live record stays as it was; otherwise the live
// record's blocks are freed and `next` takes its place.
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
