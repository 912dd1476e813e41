// The five exported kernels.
#include "frame/kernels.h"

#include <cstddef>
#include <cstring>

int32_t nextPow2(int64_t value) {
    if (value < 0) {
        return STS_BAD_SIZE;
    }
    int32_t exponent = 0;
    while ((uint64_t{1} << exponent) < static_cast<uint64_t>(value)) {
        ++exponent;
    }
    return exponent;
}

int32_t insertSampleLinBuf64f(double x, double* buf, int32_t n) {
    if (buf == nullptr) {
        return STS_NULL_PTR;
    }
    if (n > 1) {
        std::memmove(buf + 1, buf, sizeof(double) * static_cast<size_t>(n - 1));
    }
    buf[0] = x;
    return STS_OK;
}

int32_t reset64f(double* buf, int32_t n) {
    if (buf == nullptr) {
        return STS_NULL_PTR;
    }
    if (n > 0) {
        std::memset(buf, 0, sizeof(double) * static_cast<size_t>(n));
    }
    return STS_OK;
}

int32_t set64f(double value, double* buf, int32_t n) {
    if (buf == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t i = 0; i < n; ++i) {
        buf[i] = value;
    }
    return STS_OK;
}

int32_t addIp64f(const double* src, double* dst, int32_t n) {
    if (src == nullptr || dst == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = src[i] + dst[i];
    }
    return STS_OK;
}
