// The one place that touches the heap.
#include "lifecycle.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace merlo {

namespace {

bool isEmpty(const Block& block) { return block.length < 1; }

} // namespace

int32_t fromHeap(std::initializer_list<Block> blocks) {
    for (const Block& block : blocks) {
        // unreached: where pointers have 64 bits, no family's sizes come to so much
        if (isEmpty(block) || block.length > PTRDIFF_MAX / static_cast<int64_t>(sizeof(double))) {
            return STS_BAD_SIZE;
        }
    }
    for (const Block& block : blocks) {
        *block.field =
            static_cast<double*>(std::calloc(static_cast<size_t>(block.length), sizeof(double)));
        if (*block.field == nullptr) {
            for (const Block* taken = blocks.begin(); taken != &block; ++taken) {
                release(*taken->field);
            }
            return STS_NO_MEMORY;
        }
    }
    return STS_OK;
}

int32_t FromHost::operator()(std::initializer_list<Block> blocks) const {
    for (size_t i = 0; i < blocks.size(); ++i) {
        if (buffers_[i] == nullptr) {
            return STS_NULL_PTR;
        }
    }
    if (std::any_of(blocks.begin(), blocks.end(), isEmpty)) {
        return STS_BAD_SIZE;
    }
    double* const* buffer = buffers_;
    for (const Block& block : blocks) {
        *block.field = *buffer++;
        std::memset(*block.field, 0, sizeof(double) * static_cast<size_t>(block.length));
    }
    return STS_OK;
}

void release(double* block) { std::free(block); }

} // namespace merlo
