// nlms64f, sample by sample over a block, with single-precision constants.
#pragma once

#include "plain/nlms64f.h"

#include <bnlms64f.h>

namespace plain {

struct BnlmsConstants {
    static constexpr double keep = 0.9900000095367432, gain = 0.009999999776482582,
                            floor = 1.0000000036274937e-15;
};

[[gnu::noinline]] inline int32_t bnlms64fFilterUpdate(bnlms64fState* s, const double* x,
                                                      const double* d, double* y, double* e) {
    for (int32_t i = 0; i < s->blockLen; ++i) {
        y[i] = nlmsStep<BnlmsConstants>(s, x[i], d[i], &e[i]);
    }
    return STS_OK;
}

[[gnu::noinline]] inline int32_t bnlms64fFilterOnly(bnlms64fState* s, const double* x, double* y) {
    for (int32_t i = 0; i < s->blockLen; ++i) {
        y[i] = nlmsFilter<BnlmsConstants>(s, x[i]);
    }
    return STS_OK;
}

} // namespace plain
