// What every family owes to the contract: what it does, what it refuses, what it survives.
#include "heap.h"
#include "random_host.h"

#include <string>
#include <utility>

namespace {

template <class F>
class Family : public testing::Test {
  protected:
    int before_ = heap::live();
    void TearDown() override { EXPECT_EQ(heap::live(), before_) << "allocations left behind"; }
};

struct NameOf {
    template <class F>
    static std::string GetName(int) {
        return F::name;
    }
};

TYPED_TEST_SUITE(Family, Families, NameOf);

// The fuzzer looks further by the same way.
TYPED_TEST(Family, DoesWhatItsModelDoes) {
    for (uint64_t seed = 0; seed < 25; ++seed) {
        SCOPED_TRACE(seed);
        Signal random(seed);
        std::vector<uint8_t> bytes(1500);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random.choose(256));
        }
        RandomHost<TypeParam>({bytes.data(), bytes.size()}).run();
    }
}

TYPED_TEST(Family, ClampsLargeOrdersAndRefusesThoseBelowOne) {
    using F = TypeParam;
    for (int32_t order : {F::smallest, F::limit, F::limit + 1, INT32_MAX}) {
        Record<F> heapRecord(order);
        Record<F> staticRecord(order, Record<F>::kStatic);
        EXPECT_EQ(heapRecord.state.order, std::min(order, F::limit));
        EXPECT_EQ(staticRecord.state.order, std::min(order, F::limit));
    }
    double untouched[] = {kGuard, kGuard};
    double* const buffers[] = {untouched, untouched};
    for (int32_t order : {F::smallest - 1, 0, -1, INT32_MIN}) {
        typename F::State state;
        Lent lent;
        state.order = 5;
        EXPECT_EQ(F::init(&state, F::shape(order), lent), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
        state.order = 5;
        EXPECT_EQ(F::initStatic(&state, F::shape(order), lent, buffers), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
    }
    EXPECT_EQ(untouched[0], kGuard);
}

TYPED_TEST(Family, RefusesNullBuffersAndRecordsAndLeavesTheOthersAlone) {
    using F = TypeParam;
    std::vector<double> buffer(16 * MAX_TAPS, kGuard);
    Lent lent;
    const int calls = heap::calls();
    for (int missing = -1; missing < F::buffers; ++missing) {
        std::vector<double*> pointers(2, buffer.data());
        typename F::State state;
        state.order = 5;
        typename F::State* record = &state;
        if (missing < 0) {
            if (!F::testsRecord) {
                continue;
            }
            record = nullptr;
            EXPECT_EQ(F::init(record, F::shape(3), lent), STS_NULL_PTR);
            EXPECT_EQ(F::init(record, F::shape(0), lent), STS_NULL_PTR);
            for (const auto& reset : F::resets()) {
                EXPECT_EQ(reset.reset(record), STS_NULL_PTR);
            }
        } else {
            pointers[missing] = nullptr;
        }
        EXPECT_EQ(F::initStatic(record, F::shape(3), lent, pointers.data()), STS_NULL_PTR);
        EXPECT_EQ(F::initStatic(record, F::shape(0), lent, pointers.data()),
                  F::pointersFirst ? STS_NULL_PTR : STS_BAD_SIZE);
        EXPECT_EQ(state.order, missing < 0 ? 5 : 0);
    }
    EXPECT_EQ(heap::calls(), calls);
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), kGuard), std::ssize(buffer));
}

// Hosts find the arrays in their buffers.
TYPED_TEST(Family, LaysItsArraysOutInOrder) {
    using F = TypeParam;
    Record<F> record(7, Record<F>::kStatic);
    const double* end = nullptr;
    for (const auto& array : F::arrays(F::shape(7))) {
        const double* const begin = record.state.*array.field;
        EXPECT_TRUE(array.startsBlock || begin == end);
        end = begin + array.length;
    }
}

// Also where the sizes are near their limit; failures of an ordinary Resize are the random hosts' matter.
TYPED_TEST(Family, SurvivesEveryFailedAllocation) {
    using F = TypeParam;
    Shape shapes[4] = {F::shape(5), F::shape(9), F::shape(9), F::shape(9)};
    shapes[1].blockLen = 1 << 29;
    shapes[1].parts = 1;
    shapes[2].parts = (1 << 30) / 64;
    shapes[3].secLen = INT32_MAX - 100;
    for (const Shape& shape : shapes) {
        for (int nth = 1; nth <= (&shape == shapes ? F::buffers : 1); ++nth) {
            typename F::State state;
            Lent lent;
            heap::failAt(nth);
            EXPECT_EQ(F::init(&state, shape, lent), STS_NO_MEMORY);
            EXPECT_EQ(state.order, 0);

            Record<F> record(8);
            record.run(3);
            const auto bytes = record.bytes();
            heap::failAt(nth);
            EXPECT_EQ(F::resize(&record.state, shape), STS_NO_MEMORY);
            EXPECT_EQ(record.bytes(), bytes);
            EXPECT_EQ(heap::live(), F::buffers + this->before_);
        }
    }
}

TYPED_TEST(Family, RefusesNullArraysAndRecordsWithoutTaps) {
    using F = TypeParam;
    Record<F> record(4);
    auto& s = record.state;
    record.run(2);
    double buf[4 * MAX_TAPS] = {};
    const auto without = [&](auto array, auto call) {
        const auto bytes = record.bytes();
        double* const pointer = std::exchange(s.*array, nullptr);
        EXPECT_EQ(call(), STS_NULL_PTR);
        s.*array = pointer;
        EXPECT_EQ(record.bytes(), bytes);
    };
    for (const auto& accessor : F::accessors()) {
        without(accessor.array, [&] { return accessor.get(&s, buf, -1, 1, 0); });
        if (accessor.set != nullptr) {
            without(accessor.array, [&] { return accessor.set(&s, buf, -1, 1, 0); });
        }
    }
    for (const auto& reset : F::resets()) {
        for (const auto array : reset.tested) {
            without(array, [&] { return reset.reset(&s); });
        }
    }
    if constexpr (std::is_same_v<F, Fir>) { // its taps are the host's, so the line is what it needs
        without(&F::State::delayLine, [&] { return F::resize(&s, F::shape(3)); });
        return;
    }
    if constexpr (
        !requires { s.bwdEnergy; } && !requires { s.fftLen; }) {
        without(&F::State::coef, [&] { return F::resize(&s, F::shape(3)); });
    }
    const int32_t order = std::exchange(s.order, 0);
    if constexpr (requires { s.bwdEnergy; }) { // its stages carry over one by one, so none is none
        EXPECT_EQ(F::resets()[0].reset(&s), STS_OK);
    } else {
        EXPECT_EQ(F::resize(&s, F::shape(3)), STS_BAD_SIZE);
        EXPECT_EQ(s.order, 0);
    }
    s.order = order;
}

} // namespace
