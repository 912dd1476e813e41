// The records are public: a moved field breaks every host that was built before. Offsets on 64-bit
// targets, field by field in order, then the size.
#include "adjlms64f.h"
#include "blms64f.h"
#include "bnlms64f.h"
#include "fir64f.h"
#include "fxlms64f.h"
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lms64f.h"
#include "lmslattice64f.h"
#include "nlms64f.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

TEST(Layout, FieldsLieWhereHostsExpectThem) {
    if (sizeof(void*) != 8) {
        GTEST_SKIP() << "the table is for 64-bit pointers";
    }
#define AT(record, field, offset)                                                                  \
    { #record "." #field, offsetof(record, field), offset }
#define SIZE(record, size)                                                                         \
    { "sizeof " #record, sizeof(record), size }
    const struct {
        const char* what;
        size_t actual, expected;
    } rows[] = {
        AT(fir64fState, coef, 0),
        AT(fir64fState, order, 8),
        AT(fir64fState, delayLine, 16),
        AT(fir64fState, head, 24),
        SIZE(fir64fState, 32),

        AT(lms64fState, order, 0),
        AT(lms64fState, mu, 8),
        AT(lms64fState, err, 16),
        AT(lms64fState, coef, 24),
        AT(lms64fState, delayLine, 32),
        AT(lms64fState, head, 40),
        SIZE(lms64fState, 48),

        AT(nlms64fState, order, 0),
        AT(nlms64fState, mu, 8),
        AT(nlms64fState, err, 16),
        AT(nlms64fState, power, 24),
        AT(nlms64fState, coef, 32),
        AT(nlms64fState, delayLine, 40),
        AT(nlms64fState, head, 48),
        SIZE(nlms64fState, 56),

        AT(adjlms64fState, order, 0),
        AT(adjlms64fState, secLen, 4),
        AT(adjlms64fState, estLen, 8),
        AT(adjlms64fState, refLen, 12),
        AT(adjlms64fState, mu, 16),
        AT(adjlms64fState, err, 24),
        AT(adjlms64fState, power, 32),
        AT(adjlms64fState, coef, 40),
        AT(adjlms64fState, secCoef, 48),
        AT(adjlms64fState, estCoef, 56),
        AT(adjlms64fState, outLine, 64),
        AT(adjlms64fState, errLine, 72),
        AT(adjlms64fState, delayLine, 80),
        AT(adjlms64fState, head, 88),
        AT(adjlms64fState, outHead, 92),
        AT(adjlms64fState, errHead, 96),
        SIZE(adjlms64fState, 104),

        AT(fxlms64fState, order, 0),
        AT(fxlms64fState, secLen, 4),
        AT(fxlms64fState, estLen, 8),
        AT(fxlms64fState, refLen, 12),
        AT(fxlms64fState, mu, 16),
        AT(fxlms64fState, err, 24),
        AT(fxlms64fState, power, 32),
        AT(fxlms64fState, coef, 40),
        AT(fxlms64fState, secCoef, 48),
        AT(fxlms64fState, estCoef, 56),
        AT(fxlms64fState, outLine, 64),
        AT(fxlms64fState, fxLine, 72),
        AT(fxlms64fState, delayLine, 80),
        AT(fxlms64fState, head, 88),
        AT(fxlms64fState, outHead, 92),
        AT(fxlms64fState, fxHead, 96),
        SIZE(fxlms64fState, 104),

        AT(blms64fState, order, 0),
        AT(blms64fState, blockLen, 4),
        AT(blms64fState, mu, 8),
        AT(blms64fState, coef, 16),
        AT(blms64fState, delayLine, 24),
        AT(blms64fState, head, 32),
        SIZE(blms64fState, 40),

        AT(bnlms64fState, order, 0),
        AT(bnlms64fState, blockLen, 4),
        AT(bnlms64fState, mu, 8),
        AT(bnlms64fState, coef, 16),
        AT(bnlms64fState, power, 24),
        AT(bnlms64fState, delayLine, 32),
        AT(bnlms64fState, head, 40),
        SIZE(bnlms64fState, 48),

        AT(lbpef64fState, order, 0),
        AT(lbpef64fState, mu, 8),
        AT(lbpef64fState, err, 16),
        AT(lbpef64fState, updateCoef, 24),
        AT(lbpef64fState, inHead, 28),
        AT(lbpef64fState, parcor, 32),
        AT(lbpef64fState, coef, 40),
        AT(lbpef64fState, delayLine, 48),
        AT(lbpef64fState, power, 56),
        AT(lbpef64fState, backErr, 64),
        AT(lbpef64fState, inLine, 72),
        SIZE(lbpef64fState, 80),

        AT(lfpef64fState, order, 0),
        AT(lfpef64fState, mu, 8),
        AT(lfpef64fState, err, 16),
        AT(lfpef64fState, updateCoef, 24),
        AT(lfpef64fState, parcor, 32),
        AT(lfpef64fState, coef, 40),
        AT(lfpef64fState, delayLine, 48),
        AT(lfpef64fState, power, 56),
        AT(lfpef64fState, backErr, 64),
        SIZE(lfpef64fState, 72),

        AT(lmslattice64fState, order, 0),
        AT(lmslattice64fState, mu, 8),
        AT(lmslattice64fState, muCoef, 16),
        AT(lmslattice64fState, err, 24),
        AT(lmslattice64fState, adaptParcor, 32),
        AT(lmslattice64fState, parcor, 40),
        AT(lmslattice64fState, coef, 48),
        AT(lmslattice64fState, delayLine, 56),
        AT(lmslattice64fState, power, 64),
        AT(lmslattice64fState, backErr, 72),
        SIZE(lmslattice64fState, 80),
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.actual, row.expected) << row.what;
    }
}

} // namespace
