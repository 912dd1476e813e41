// Linked with --wrap for calloc, free and memset, so every object of the program calls these functions.
#include "heap.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {
std::atomic<int> liveBlocks = 0;
std::atomic<int> callsSeen = 0;
std::atomic<int> countdown = 0;
std::atomic<void*> last = nullptr;

// While an allocation is to fail: the requested sizes, and a substitute for more memory than a test machine
// has. The library does not write to a buffer before it has all of them.
std::array<uint64_t, 4> sizes;
std::atomic<size_t> sizeCount = 0;
char standIn;
constexpr uint64_t kHuge = uint64_t{1} << 28;

std::atomic<int> catching = 0; // an int, or RISC-V would need libatomic
uint64_t caught = 0;
} // namespace

extern "C" {
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);
void* __real_memset(void* to, int value, size_t count);

void* __wrap_calloc(size_t count, size_t size) {
    ++callsSeen;
    void* block = nullptr;
    if (countdown > 0) {
        const uint64_t bytes = uint64_t{count} * size;
        if (sizeCount < sizes.size()) {
            sizes[sizeCount++] = bytes;
        }
        if (--countdown == 0) {
            return nullptr;
        }
        block = bytes > kHuge ? &standIn : nullptr;
    }
    block = block != nullptr ? block : __real_calloc(count, size);
    liveBlocks += block != nullptr;
    return block;
}

void __wrap_free(void* block) {
    ++callsSeen;
    liveBlocks -= block != nullptr;
    last = block;
    if (block != &standIn) {
        __real_free(block);
    }
}

void* __wrap_memset(void* to, int value, size_t count) {
    if (catching != 0 && catching.exchange(0) != 0) {
        caught = count;
        return to;
    }
    return __real_memset(to, value, count);
}
}

#if defined(_WIN32) || defined(__wasm__)
// The C++ library is static there and so linked with --wrap; what it allocates is not counted.
void* operator new(size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
void operator delete(void* block) noexcept { __real_free(block); }
void operator delete(void* block, size_t) noexcept { __real_free(block); }
#endif

namespace heap {
int live() { return liveBlocks; }
int calls() { return callsSeen; }
void* lastFreed() { return last; }
void failAt(int nth) {
    sizeCount = 0;
    countdown = nth;
}
void catchMemset() { catching = 1; }
uint64_t caughtBytes() { return caught; }
std::vector<uint64_t> requests() { return {sizes.begin(), sizes.begin() + sizeCount}; }
} // namespace heap
