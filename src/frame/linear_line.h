// The history of a ring line as a linear line, newest sample first, for the length of a block call.
// There is room for a chunk of newer samples in front of it.
#pragma once

#include "frame/ring_line.h"
#include "merlo64f.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace merlo {

class LinearLine {
  public:
    static constexpr int32_t kChunk = 256; // speed only: 2.3 KB of stack with the history

    // 1 <= order <= MAX_TAPS, 0 <= head < order
    LinearLine(const double* line, int32_t order, int32_t head) : order_(order) {
        forEachRun(order, order, ringPosition(head, 0, order),
                   [=, this](int32_t position, int32_t age, int32_t length) {
                       std::memcpy(samples_ + kChunk + age, line + position, bytes(length));
                   });
    }
    LinearLine(const LinearLine&) = delete;
    LinearLine& operator=(const LinearLine&) = delete;

    // Copies the next samples, 1 <= length <= kChunk. Returns p such that p[-1 - i + k] is the sample
    // k steps before in[i], 0 <= k < order.
    const double* append(const double* __restrict in, int32_t length) {
        std::memmove(samples_ + kChunk, newest(), bytes(order_));
        appended_ = length;
        double* __restrict const chunk = samples_ + (kChunk - length);
        for (int32_t i = 0; i < length; ++i) {
            chunk[i] = in[length - 1 - i];
        }
        return samples_ + kChunk;
    }

    // Writes the history back, as n single steps would have left it; n is the sum of all lengths
    // appended.
    void store(double* line, int32_t* head, int32_t n) const {
        *head = (*head - n % order_ + order_) % order_;
        forEachRun(order_, order_, ringPosition(*head, 0, order_),
                   [=, this](int32_t position, int32_t age, int32_t length) {
                       std::memcpy(line + position, newest() + age, bytes(length));
                   });
    }

  private:
    static size_t bytes(int32_t length) { return sizeof(double) * static_cast<size_t>(length); }
    const double* newest() const { return samples_ + (kChunk - appended_); }

    double samples_[kChunk + MAX_TAPS];
    int32_t order_;
    int32_t appended_ = 0; // samples of the last chunk, in front of samples_ + kChunk
};

} // namespace merlo
