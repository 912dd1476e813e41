// The only file that calls the heap.
#include "frame/lifecycle.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace merlo {

namespace {

bool isEmpty(const Buffer& buffer) { return buffer.length < 1; }

} // namespace

int32_t fromHeap(std::initializer_list<Buffer> buffers) {
    constexpr int64_t longest = PTRDIFF_MAX / sizeof(double);
    for (const Buffer& buffer : buffers) {
        // unreached: with 64-bit pointers, no family's buffer is longer than `longest`
        if (isEmpty(buffer) || buffer.length > longest) {
            return STS_BAD_SIZE;
        }
    }
    for (const Buffer& buffer : buffers) {
        *buffer.field =
            static_cast<double*>(std::calloc(static_cast<size_t>(buffer.length), sizeof(double)));
        if (*buffer.field == nullptr) {
            for (const Buffer* taken = buffers.begin(); taken != &buffer; ++taken) {
                release(*taken->field);
            }
            return STS_NO_MEMORY;
        }
    }
    return STS_OK;
}

int32_t FromHost::operator()(std::initializer_list<Buffer> buffers) const {
    for (size_t i = 0; i < buffers.size(); ++i) {
        if (given_[i] == nullptr) {
            return STS_NULL_PTR;
        }
    }
    if (std::any_of(buffers.begin(), buffers.end(), isEmpty)) {
        return STS_BAD_SIZE;
    }
    double* const* given = given_;
    for (const Buffer& buffer : buffers) {
        *buffer.field = *given++;
        std::memset(*buffer.field, 0, sizeof(double) * static_cast<size_t>(buffer.length));
    }
    return STS_OK;
}

void release(double* buffer) { std::free(buffer); }

} // namespace merlo
