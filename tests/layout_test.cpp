// The records are public: a moved field breaks every host that was built before. Offsets on 64-bit
// targets, field by field in order, then the size.
#include "adjlms64f.h"
#include "bfdaf64f.h"
#include "blms64f.h"
#include "bnlms64f.h"
#include "fir64f.h"
#include "fxlms64f.h"
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lms64f.h"
#include "lmslattice64f.h"
#include "nlms64f.h"
#include "pbfdaf64f.h"
#include "rls64f.h"
#include "rlslattice64f.h"
#include "rlslbpef64f.h"
#include "rlslfpef64f.h"
#include "tdlms64f.h"

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

        AT(bfdaf64fState, order, 0),
        AT(bfdaf64fState, blockLen, 4),
        AT(bfdaf64fState, fftLen, 8),
        AT(bfdaf64fState, bins, 12),
        AT(bfdaf64fState, constrained, 16),
        AT(bfdaf64fState, overlap, 20),
        AT(bfdaf64fState, coefTail, 24),
        AT(bfdaf64fState, powerGain, 32),
        AT(bfdaf64fState, mu, 40),
        AT(bfdaf64fState, invScale, 48),
        AT(bfdaf64fState, delayLine, 56),
        AT(bfdaf64fState, frame, 64),
        AT(bfdaf64fState, coef, 72),
        AT(bfdaf64fState, outBuf, 80),
        AT(bfdaf64fState, powerAvg, 88),
        AT(bfdaf64fState, powerInst, 96),
        AT(bfdaf64fState, fftTwiddles, 104),
        AT(bfdaf64fState, fftTable, 112),
        SIZE(bfdaf64fState, 120),

        AT(pbfdaf64fState, order, 0),
        AT(pbfdaf64fState, blockLen, 4),
        AT(pbfdaf64fState, partitions, 8),
        AT(pbfdaf64fState, fftLen, 12),
        AT(pbfdaf64fState, specLen, 16),
        AT(pbfdaf64fState, bins, 20),
        AT(pbfdaf64fState, constrained, 24),
        AT(pbfdaf64fState, overlap, 28),
        AT(pbfdaf64fState, coefTail, 32),
        AT(pbfdaf64fState, powerGain, 40),
        AT(pbfdaf64fState, ringPos, 48),
        AT(pbfdaf64fState, mu, 56),
        AT(pbfdaf64fState, invScale, 64),
        AT(pbfdaf64fState, delayLine, 72),
        AT(pbfdaf64fState, ring, 80),
        AT(pbfdaf64fState, coef, 88),
        AT(pbfdaf64fState, outBuf, 96),
        AT(pbfdaf64fState, powerAvg, 104),
        AT(pbfdaf64fState, scratch, 112),
        AT(pbfdaf64fState, fftTwiddles, 120),
        AT(pbfdaf64fState, fftTable, 128),
        SIZE(pbfdaf64fState, 136),

        AT(tdlms64fState, order, 0),
        AT(tdlms64fState, fftLen, 4),
        AT(tdlms64fState, bins, 8),
        AT(tdlms64fState, mu, 16),
        AT(tdlms64fState, err, 24),
        AT(tdlms64fState, invScale, 32),
        AT(tdlms64fState, head, 40),
        AT(tdlms64fState, delayLine, 48),
        AT(tdlms64fState, frame, 56),
        AT(tdlms64fState, coef, 64),
        AT(tdlms64fState, powerAvg, 72),
        AT(tdlms64fState, powerInst, 80),
        AT(tdlms64fState, fftTwiddles, 88),
        AT(tdlms64fState, fftTable, 96),
        SIZE(tdlms64fState, 104),

        AT(rls64fState, order, 0),
        AT(rls64fState, lambda, 8),
        AT(rls64fState, invLambda, 16),
        AT(rls64fState, err, 24),
        AT(rls64fState, coef, 32),
        AT(rls64fState, delayLine, 40),
        AT(rls64fState, invCorr, 48),
        AT(rls64fState, gain, 56),
        SIZE(rls64fState, 64),

        AT(rlslattice64fState, fwdEnergy, 0),
        AT(rlslattice64fState, bwdEnergy, 8),
        AT(rlslattice64fState, crossCorr, 16),
        AT(rlslattice64fState, jointCorr, 24),
        AT(rlslattice64fState, prevGamma, 32),
        AT(rlslattice64fState, delayLine, 40),
        AT(rlslattice64fState, fwdParcor, 48),
        AT(rlslattice64fState, bwdParcor, 56),
        AT(rlslattice64fState, coef, 64),
        AT(rlslattice64fState, order, 72),
        AT(rlslattice64fState, lambda, 80),
        AT(rlslattice64fState, err, 88),
        SIZE(rlslattice64fState, 96),

        AT(rlslbpef64fState, fwdEnergy, 0),
        AT(rlslbpef64fState, bwdEnergy, 8),
        AT(rlslbpef64fState, crossCorr, 16),
        AT(rlslbpef64fState, prevGamma, 24),
        AT(rlslbpef64fState, delayLine, 32),
        AT(rlslbpef64fState, fwdParcor, 40),
        AT(rlslbpef64fState, bwdParcor, 48),
        AT(rlslbpef64fState, coef, 56),
        AT(rlslbpef64fState, inLine, 64),
        AT(rlslbpef64fState, inHead, 72),
        AT(rlslbpef64fState, order, 76),
        AT(rlslbpef64fState, lambda, 80),
        AT(rlslbpef64fState, err, 88),
        AT(rlslbpef64fState, updateCoef, 96),
        SIZE(rlslbpef64fState, 104),

        AT(rlslfpef64fState, fwdEnergy, 0),
        AT(rlslfpef64fState, bwdEnergy, 8),
        AT(rlslfpef64fState, crossCorr, 16),
        AT(rlslfpef64fState, prevGamma, 24),
        AT(rlslfpef64fState, delayLine, 32),
        AT(rlslfpef64fState, fwdParcor, 40),
        AT(rlslfpef64fState, bwdParcor, 48),
        AT(rlslfpef64fState, coef, 56),
        AT(rlslfpef64fState, order, 64),
        AT(rlslfpef64fState, lambda, 72),
        AT(rlslfpef64fState, err, 80),
        AT(rlslfpef64fState, updateCoef, 88),
        SIZE(rlslfpef64fState, 96),
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.actual, row.expected) << row.what;
    }
}

} // namespace
