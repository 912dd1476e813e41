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

// clang-format off
const struct {
    const char* what;
    size_t actual, expected;
} kRows[] = {
#define AT(field, offset) {#field " of adjlms64fState", offsetof(adjlms64fState, field), offset}
    AT(order, 0), AT(secLen, 4), AT(estLen, 8), AT(refLen, 12), AT(mu, 16), AT(err, 24),
    AT(power, 32), AT(coef, 40), AT(secCoef, 48), AT(estCoef, 56), AT(outLine, 64), AT(errLine, 72),
    AT(delayLine, 80), AT(head, 88), AT(outHead, 92), AT(errHead, 96),
    {"size of adjlms64fState", sizeof(adjlms64fState), 104},
#undef AT
#define AT(field, offset) {#field " of bfdaf64fState", offsetof(bfdaf64fState, field), offset}
    AT(order, 0), AT(blockLen, 4), AT(fftLen, 8), AT(bins, 12), AT(constrained, 16),
    AT(overlap, 20), AT(coefTail, 24), AT(powerGain, 32), AT(mu, 40), AT(invScale, 48),
    AT(delayLine, 56), AT(frame, 64), AT(coef, 72), AT(outBuf, 80), AT(powerAvg, 88),
    AT(powerInst, 96), AT(fftTwiddles, 104), AT(fftTable, 112),
    {"size of bfdaf64fState", sizeof(bfdaf64fState), 120},
#undef AT
#define AT(field, offset) {#field " of blms64fState", offsetof(blms64fState, field), offset}
    AT(order, 0), AT(blockLen, 4), AT(mu, 8), AT(coef, 16), AT(delayLine, 24), AT(head, 32),
    {"size of blms64fState", sizeof(blms64fState), 40},
#undef AT
#define AT(field, offset) {#field " of bnlms64fState", offsetof(bnlms64fState, field), offset}
    AT(order, 0), AT(blockLen, 4), AT(mu, 8), AT(coef, 16), AT(power, 24), AT(delayLine, 32),
    AT(head, 40), {"size of bnlms64fState", sizeof(bnlms64fState), 48},
#undef AT
#define AT(field, offset) {#field " of fir64fState", offsetof(fir64fState, field), offset}
    AT(coef, 0), AT(order, 8), AT(delayLine, 16), AT(head, 24),
    {"size of fir64fState", sizeof(fir64fState), 32},
#undef AT
#define AT(field, offset) {#field " of fxlms64fState", offsetof(fxlms64fState, field), offset}
    AT(order, 0), AT(secLen, 4), AT(estLen, 8), AT(refLen, 12), AT(mu, 16), AT(err, 24),
    AT(power, 32), AT(coef, 40), AT(secCoef, 48), AT(estCoef, 56), AT(outLine, 64), AT(fxLine, 72),
    AT(delayLine, 80), AT(head, 88), AT(outHead, 92), AT(fxHead, 96),
    {"size of fxlms64fState", sizeof(fxlms64fState), 104},
#undef AT
#define AT(field, offset) {#field " of lbpef64fState", offsetof(lbpef64fState, field), offset}
    AT(order, 0), AT(mu, 8), AT(err, 16), AT(updateCoef, 24), AT(inHead, 28), AT(parcor, 32),
    AT(coef, 40), AT(delayLine, 48), AT(power, 56), AT(backErr, 64), AT(inLine, 72),
    {"size of lbpef64fState", sizeof(lbpef64fState), 80},
#undef AT
#define AT(field, offset) {#field " of lfpef64fState", offsetof(lfpef64fState, field), offset}
    AT(order, 0), AT(mu, 8), AT(err, 16), AT(updateCoef, 24), AT(parcor, 32), AT(coef, 40),
    AT(delayLine, 48), AT(power, 56), AT(backErr, 64),
    {"size of lfpef64fState", sizeof(lfpef64fState), 72},
#undef AT
#define AT(field, offset) {#field " of lms64fState", offsetof(lms64fState, field), offset}
    AT(order, 0), AT(mu, 8), AT(err, 16), AT(coef, 24), AT(delayLine, 32), AT(head, 40),
    {"size of lms64fState", sizeof(lms64fState), 48},
#undef AT
#define AT(field, offset) {#field " of lmslattice64fState", offsetof(lmslattice64fState, field), offset}
    AT(order, 0), AT(mu, 8), AT(muCoef, 16), AT(err, 24), AT(adaptParcor, 32), AT(parcor, 40),
    AT(coef, 48), AT(delayLine, 56), AT(power, 64), AT(backErr, 72),
    {"size of lmslattice64fState", sizeof(lmslattice64fState), 80},
#undef AT
#define AT(field, offset) {#field " of nlms64fState", offsetof(nlms64fState, field), offset}
    AT(order, 0), AT(mu, 8), AT(err, 16), AT(power, 24), AT(coef, 32), AT(delayLine, 40),
    AT(head, 48), {"size of nlms64fState", sizeof(nlms64fState), 56},
#undef AT
#define AT(field, offset) {#field " of pbfdaf64fState", offsetof(pbfdaf64fState, field), offset}
    AT(order, 0), AT(blockLen, 4), AT(partitions, 8), AT(fftLen, 12), AT(specLen, 16), AT(bins, 20),
    AT(constrained, 24), AT(overlap, 28), AT(coefTail, 32), AT(powerGain, 40), AT(ringPos, 48),
    AT(mu, 56), AT(invScale, 64), AT(delayLine, 72), AT(ring, 80), AT(coef, 88), AT(outBuf, 96),
    AT(powerAvg, 104), AT(scratch, 112), AT(fftTwiddles, 120), AT(fftTable, 128),
    {"size of pbfdaf64fState", sizeof(pbfdaf64fState), 136},
#undef AT
#define AT(field, offset) {#field " of rls64fState", offsetof(rls64fState, field), offset}
    AT(order, 0), AT(lambda, 8), AT(invLambda, 16), AT(err, 24), AT(coef, 32), AT(delayLine, 40),
    AT(invCorr, 48), AT(gain, 56), {"size of rls64fState", sizeof(rls64fState), 64},
#undef AT
#define AT(field, offset) {#field " of rlslattice64fState", offsetof(rlslattice64fState, field), offset}
    AT(fwdEnergy, 0), AT(bwdEnergy, 8), AT(crossCorr, 16), AT(jointCorr, 24), AT(prevGamma, 32),
    AT(delayLine, 40), AT(fwdParcor, 48), AT(bwdParcor, 56), AT(coef, 64), AT(order, 72),
    AT(lambda, 80), AT(err, 88), {"size of rlslattice64fState", sizeof(rlslattice64fState), 96},
#undef AT
#define AT(field, offset) {#field " of rlslbpef64fState", offsetof(rlslbpef64fState, field), offset}
    AT(fwdEnergy, 0), AT(bwdEnergy, 8), AT(crossCorr, 16), AT(prevGamma, 24), AT(delayLine, 32),
    AT(fwdParcor, 40), AT(bwdParcor, 48), AT(coef, 56), AT(inLine, 64), AT(inHead, 72),
    AT(order, 76), AT(lambda, 80), AT(err, 88), AT(updateCoef, 96),
    {"size of rlslbpef64fState", sizeof(rlslbpef64fState), 104},
#undef AT
#define AT(field, offset) {#field " of rlslfpef64fState", offsetof(rlslfpef64fState, field), offset}
    AT(fwdEnergy, 0), AT(bwdEnergy, 8), AT(crossCorr, 16), AT(prevGamma, 24), AT(delayLine, 32),
    AT(fwdParcor, 40), AT(bwdParcor, 48), AT(coef, 56), AT(order, 64), AT(lambda, 72), AT(err, 80),
    AT(updateCoef, 88), {"size of rlslfpef64fState", sizeof(rlslfpef64fState), 96},
#undef AT
#define AT(field, offset) {#field " of tdlms64fState", offsetof(tdlms64fState, field), offset}
    AT(order, 0), AT(fftLen, 4), AT(bins, 8), AT(mu, 16), AT(err, 24), AT(invScale, 32),
    AT(head, 40), AT(delayLine, 48), AT(frame, 56), AT(coef, 64), AT(powerAvg, 72),
    AT(powerInst, 80), AT(fftTwiddles, 88), AT(fftTable, 96),
    {"size of tdlms64fState", sizeof(tdlms64fState), 104},
#undef AT
};
// clang-format on

TEST(Layout, FieldsLieWhereHostsExpectThem) {
    if (sizeof(void*) != 8) {
        GTEST_SKIP() << "the table is for 64-bit pointers";
    }
    for (const auto& row : kRows) {
        EXPECT_EQ(row.actual, row.expected) << row.what;
    }
}

} // namespace
