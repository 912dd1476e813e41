// The records are public: a moved field breaks every host that was built before.
#include "families.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>

namespace {

struct Field {
    const char* name;
    size_t actual, expected;
};

void expectLayout(const char* record, std::initializer_list<Field> fields) {
    for (const Field& field : fields) {
        EXPECT_EQ(field.actual, field.expected) << field.name << " of " << record;
    }
}

#define AT(field, offset)                                                                          \
    { #field, offsetof(S, field), offset }
#define RECORD(record, size, ...)                                                                  \
    {                                                                                              \
        using S = record;                                                                          \
        expectLayout(#record, {{"size", sizeof(S), size}, __VA_ARGS__});                           \
    }

TEST(Layout, FieldsLieWhereHostsExpectThem) {
    if (sizeof(void*) != 8) {
        GTEST_SKIP() << "the table is for 64-bit pointers";
    }
    // clang-format off
    RECORD(adjlms64fState, 104, AT(order, 0), AT(secLen, 4), AT(estLen, 8), AT(refLen, 12),
        AT(mu, 16), AT(err, 24), AT(power, 32), AT(coef, 40), AT(secCoef, 48), AT(estCoef, 56),
        AT(outLine, 64), AT(errLine, 72), AT(delayLine, 80), AT(head, 88), AT(outHead, 92),
        AT(errHead, 96))
    RECORD(bfdaf64fState, 120, AT(order, 0), AT(blockLen, 4), AT(fftLen, 8), AT(bins, 12),
        AT(constrained, 16), AT(overlap, 20), AT(coefTail, 24), AT(powerGain, 32), AT(mu, 40),
        AT(invScale, 48), AT(delayLine, 56), AT(frame, 64), AT(coef, 72), AT(outBuf, 80),
        AT(powerAvg, 88), AT(powerInst, 96), AT(fftTwiddles, 104), AT(fftTable, 112))
    RECORD(blms64fState, 40, AT(order, 0), AT(blockLen, 4), AT(mu, 8), AT(coef, 16),
        AT(delayLine, 24), AT(head, 32))
    RECORD(bnlms64fState, 48, AT(order, 0), AT(blockLen, 4), AT(mu, 8), AT(coef, 16), AT(power, 24),
        AT(delayLine, 32), AT(head, 40))
    RECORD(fir64fState, 32, AT(coef, 0), AT(order, 8), AT(delayLine, 16), AT(head, 24))
    RECORD(fxlms64fState, 104, AT(order, 0), AT(secLen, 4), AT(estLen, 8), AT(refLen, 12),
        AT(mu, 16), AT(err, 24), AT(power, 32), AT(coef, 40), AT(secCoef, 48), AT(estCoef, 56),
        AT(outLine, 64), AT(fxLine, 72), AT(delayLine, 80), AT(head, 88), AT(outHead, 92),
        AT(fxHead, 96))
    RECORD(lbpef64fState, 80, AT(order, 0), AT(mu, 8), AT(err, 16), AT(updateCoef, 24),
        AT(inHead, 28), AT(parcor, 32), AT(coef, 40), AT(delayLine, 48), AT(power, 56),
        AT(backErr, 64), AT(inLine, 72))
    RECORD(lfpef64fState, 72, AT(order, 0), AT(mu, 8), AT(err, 16), AT(updateCoef, 24),
        AT(parcor, 32), AT(coef, 40), AT(delayLine, 48), AT(power, 56), AT(backErr, 64))
    RECORD(lms64fState, 48, AT(order, 0), AT(mu, 8), AT(err, 16), AT(coef, 24), AT(delayLine, 32),
        AT(head, 40))
    RECORD(lmslattice64fState, 80, AT(order, 0), AT(mu, 8), AT(muCoef, 16), AT(err, 24),
        AT(adaptParcor, 32), AT(parcor, 40), AT(coef, 48), AT(delayLine, 56), AT(power, 64),
        AT(backErr, 72))
    RECORD(nlms64fState, 56, AT(order, 0), AT(mu, 8), AT(err, 16), AT(power, 24), AT(coef, 32),
        AT(delayLine, 40), AT(head, 48))
    RECORD(pbfdaf64fState, 136, AT(order, 0), AT(blockLen, 4), AT(partitions, 8), AT(fftLen, 12),
        AT(specLen, 16), AT(bins, 20), AT(constrained, 24), AT(overlap, 28), AT(coefTail, 32),
        AT(powerGain, 40), AT(ringPos, 48), AT(mu, 56), AT(invScale, 64), AT(delayLine, 72),
        AT(ring, 80), AT(coef, 88), AT(outBuf, 96), AT(powerAvg, 104), AT(scratch, 112),
        AT(fftTwiddles, 120), AT(fftTable, 128))
    RECORD(rls64fState, 64, AT(order, 0), AT(lambda, 8), AT(invLambda, 16), AT(err, 24),
        AT(coef, 32), AT(delayLine, 40), AT(invCorr, 48), AT(gain, 56))
    RECORD(rlslattice64fState, 96, AT(fwdEnergy, 0), AT(bwdEnergy, 8), AT(crossCorr, 16),
        AT(jointCorr, 24), AT(prevGamma, 32), AT(delayLine, 40), AT(fwdParcor, 48),
        AT(bwdParcor, 56), AT(coef, 64), AT(order, 72), AT(lambda, 80), AT(err, 88))
    RECORD(rlslbpef64fState, 104, AT(fwdEnergy, 0), AT(bwdEnergy, 8), AT(crossCorr, 16),
        AT(prevGamma, 24), AT(delayLine, 32), AT(fwdParcor, 40), AT(bwdParcor, 48), AT(coef, 56),
        AT(inLine, 64), AT(inHead, 72), AT(order, 76), AT(lambda, 80), AT(err, 88),
        AT(updateCoef, 96))
    RECORD(rlslfpef64fState, 96, AT(fwdEnergy, 0), AT(bwdEnergy, 8), AT(crossCorr, 16),
        AT(prevGamma, 24), AT(delayLine, 32), AT(fwdParcor, 40), AT(bwdParcor, 48), AT(coef, 56),
        AT(order, 64), AT(lambda, 72), AT(err, 80), AT(updateCoef, 88))
    RECORD(tdlms64fState, 104, AT(order, 0), AT(fftLen, 4), AT(bins, 8), AT(mu, 16), AT(err, 24),
        AT(invScale, 32), AT(head, 40), AT(delayLine, 48), AT(frame, 56), AT(coef, 64),
        AT(powerAvg, 72), AT(powerInst, 80), AT(fftTwiddles, 88), AT(fftTable, 96))
    // clang-format on
}

} // namespace
