// Linked with --wrap, so that the calls of every object in the program come by here.
#include "heap.h"

#include <atomic>
#include <cstddef>

namespace {
std::atomic<int> liveBlocks = 0;
std::atomic<int> callsSeen = 0;
std::atomic<int> countdown = 0;
thread_local void* last = nullptr;
} // namespace

extern "C" {
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);

void* __wrap_calloc(size_t count, size_t size) {
    ++callsSeen;
    if (countdown > 0 && --countdown == 0) {
        return nullptr;
    }
    void* const block = __real_calloc(count, size);
    liveBlocks += block != nullptr;
    return block;
}

void __wrap_free(void* block) {
    ++callsSeen;
    liveBlocks -= block != nullptr;
    last = block;
    __real_free(block);
}
}

namespace heap {
int live() { return liveBlocks; }
int calls() { return callsSeen; }
void* lastFreed() { return last; }
void failAt(int nth) { countdown = nth; }
} // namespace heap
