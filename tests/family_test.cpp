// The contract, for every family: results, refused arguments, failed allocations, layout.
#include "heap.h"
#include "random_host.h"

#include <utility>

namespace {

// The fuzzer runs the same with inputs that reach new code.
template <class F>
void EqualsThePlainRecursion() {
    for (uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        Signal random(seed);
        std::vector<uint8_t> bytes(1500);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random.choose(256));
        }
        RandomHost<F>({bytes.data(), bytes.size()}).run();
    }
}

template <class F>
void ClampsLargeOrdersAndRefusesSmallOnes() {
    constexpr int32_t limit = F::Api::maxOrder;
    for (int32_t order : {F::smallest, limit, limit + 1, INT32_MAX}) {
        EXPECT_EQ(Record<F>(order).state.order, std::min(order, limit));
        EXPECT_EQ(Record<F>(order, Memory::kStatic).state.order, std::min(order, limit));
    }
    double untouched[] = {kGuard, kGuard};
    double* const buffers[] = {untouched, untouched};
    for (int32_t order : {F::smallest - 1, 0, -1, INT32_MIN}) {
        typename F::State state;
        Lent lent;
        state.order = 5;
        EXPECT_EQ(init<F>(&state, shapeOf<F>(order), lent), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
        state.order = 5;
        EXPECT_EQ(initStatic<F>(&state, shapeOf<F>(order), lent, buffers), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
    }
    EXPECT_EQ(untouched[0], kGuard);
}

template <class F>
void RefusesNullBuffersAndLeavesTheOthersAlone() {
    std::vector<double> buffer(16 * MAX_TAPS, kGuard);
    Lent lent;
    const int calls = heap::calls();
    for (size_t missing = 0; missing < F::buffers; ++missing) {
        std::vector<double*> pointers(2, buffer.data());
        pointers[missing] = nullptr;
        typename F::State state;
        state.order = 5;
        EXPECT_EQ(initStatic<F>(&state, shapeOf<F>(3), lent, pointers.data()), STS_NULL_PTR);
        EXPECT_EQ(initStatic<F>(&state, shapeOf<F>(0), lent, pointers.data()),
                  F::pointersFirst ? STS_NULL_PTR : STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
    }
    if constexpr (F::testsRecord) {
        double* const pointers[] = {buffer.data(), buffer.data()};
        for (int32_t order : {3, 0}) {
            EXPECT_EQ(init<F>(nullptr, shapeOf<F>(order), lent), STS_NULL_PTR);
            EXPECT_EQ(initStatic<F>(nullptr, shapeOf<F>(order), lent, pointers), STS_NULL_PTR);
        }
        for (const auto& reset : resetsOf<F>()) {
            EXPECT_EQ(reset.reset(nullptr), STS_NULL_PTR);
        }
    }
    EXPECT_EQ(heap::calls(), calls);
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), kGuard), std::ssize(buffer));
}

// Hosts find the arrays in their buffers, in the order and with the lengths of the headers.
template <class F>
void LaysItsArraysOutInOrder() {
    for (int32_t order : {7, 15, 40}) { // above each limit, and with blocks that fill a transform
        Shape shape = shapeOf<F>(order);
        shape.blockLen = 50;
        const auto layout = F::layout(clamped<F>(shape));
        const Lengths lengths = F::lengths(shape);
        ASSERT_EQ(layout.size(), F::buffers);
        ASSERT_EQ(lengths.size(), F::buffers);
        Record<F> record(shape, Memory::kStatic);
        for (size_t i = 0; i < layout.size(); ++i) {
            EXPECT_EQ(lengthOf(layout[i]), lengths[i]) << "the macro of buffer " << i;
            const double* next = record.buffer(i);
            for (const auto& array : layout[i]) {
                EXPECT_EQ(record.state.*array.field, next);
                next += array.length;
            }
            EXPECT_EQ(*next, kGuard);
        }
    }
}

// Requests of up to 2^32 elements are asked of the heap in full. Free on the failed record does no harm.
// (The random hosts fail a Resize of usual sizes.)
template <class F>
void SurvivesEveryFailedAllocation() {
    const int before = heap::live();
    Shape shapes[4] = {shapeOf<F>(5), shapeOf<F>(9), shapeOf<F>(9), shapeOf<F>(9)};
    shapes[1].blockLen = 1 << 29;
    shapes[1].parts = 1;
    shapes[2].parts = 1 << 25;
    shapes[3].secLen = INT32_MAX;
    shapes[3].estLen = INT32_MAX - 40;
    for (const Shape& shape : shapes) {
        std::vector<uint64_t> bytes;
        for (int64_t length : F::lengths(shape)) {
            bytes.push_back(sizeof(double) * static_cast<uint64_t>(length));
        }
        const bool addressable = *std::max_element(bytes.begin(), bytes.end()) <= PTRDIFF_MAX;
        const int32_t status = addressable ? STS_NO_MEMORY : STS_BAD_SIZE;
        for (size_t nth = 1; nth <= F::buffers; ++nth) {
            const std::vector expected(bytes.begin(), bytes.begin() + (addressable ? nth : 0));
            typename F::State state;
            std::memset(&state, 0x5a, sizeof state);
            Lent lent;
            heap::failAt(static_cast<int>(nth));
            EXPECT_EQ(init<F>(&state, shape, lent), status);
            EXPECT_EQ(heap::requests(), expected);
            EXPECT_EQ(state.order, 0);
            EXPECT_EQ(heap::live(), before);
            heap::failAt(0);
            F::Api::free(&state);
            EXPECT_EQ(heap::live(), before);
            heap::failAt(0);

            Shape now = shape; // Resize does not change the paths
            now.secLen = Shape().secLen;
            now.estLen = Shape().estLen;
            Record<F> record(8);
            record.run(3);
            const auto content = record.bytes();
            heap::failAt(static_cast<int>(nth));
            EXPECT_EQ(resize(&record.state, now), &shape == &shapes[3] ? STS_NO_MEMORY : status);
            EXPECT_EQ(record.bytes(), content);
            EXPECT_EQ(heap::live(), before + static_cast<int>(F::buffers));
            heap::failAt(0);
        }
    }
}

// The same for a set-up that fails because of its arguments.
template <class F>
void AllowsFreeAfterAFailure() {
    typename F::State state;
    Lent lent;
    double* const none[] = {nullptr, nullptr};
    std::memset(&state, 0x5a, sizeof state);
    EXPECT_EQ(init<F>(&state, shapeOf<F>(0), lent), STS_BAD_SIZE);
    F::Api::free(&state);
    std::memset(&state, 0x5a, sizeof state);
    EXPECT_EQ(initStatic<F>(&state, shapeOf<F>(4), lent, none), STS_NULL_PTR);
    F::Api::free(&state);
}

template <class F>
void RefusesNullArraysAndRecordsWithoutTaps() {
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
    for (const auto& accessor : accessorsOf<F>()) {
        without(accessor.array, [&] { return accessor.get(&s, buf, -1, 1, 0); });
        if (accessor.set != nullptr) {
            without(accessor.array, [&] { return accessor.set(&s, buf, -1, 1, 0); });
        }
    }
    for (const auto& reset : resetsOf<F>()) {
        for (const auto array : reset.arrays) {
            without(array, [&] { return reset.reset(&s); });
        }
    }
    const Shape smaller = shapeOf<F>(3);
    if constexpr (std::is_same_v<F, Fir>) { // its taps are the host's, so its line is tested
        without(&F::State::delayLine, [&] { return resize(&s, smaller); });
        return;
    }
    if constexpr (
        !requires { s.bwdEnergy; } && !requires { s.fftLen; }) {
        without(&F::State::coef, [&] { return resize(&s, smaller); });
    }
    const int32_t order = std::exchange(s.order, 0);
    if constexpr (requires {
                      s.bwdEnergy;
                  }) { // stages are copied one by one: no stage is no failure
        EXPECT_EQ(resetsOf<F>()[0].reset(&s), STS_OK);
    } else {
        EXPECT_EQ(resize(&s, smaller), STS_BAD_SIZE);
        EXPECT_EQ(s.order, 0);
    }
    s.order = order;
}

// After the remedy of its header a record that has had a NaN works like a new one.
template <class F>
void RecoversFromNaN() {
    Shape shape = shapeOf<F>(6);
    shape.blockLen = 1;
    Record<F> record(shape), fresh(shape);
    auto& s = record.state;
    record.update(NAN, 1.0);
    EXPECT_TRUE(std::isnan(record.update(0.5, 1.0)) || std::isnan(record.update(0.5, 1.0)));
    for (const auto& reset : resetsOf<F>()) {
        EXPECT_EQ(reset.reset(&s), STS_OK);
    }
    if constexpr (requires { s.powerAvg; }) {
        set64f(1.0, s.powerAvg, s.bins);
    } else if constexpr (requires { s.power = 1.0; }) {
        s.power = 1.0;
    } else if constexpr (requires { s.parcor; }) {
        const double zeros[MAX_TAPS] = {};
        F::Api::setDelayLine(&s, zeros, 0, s.order, 0);
        set64f(1.0, s.power, s.order + (F::Api::maxOrder == MAX_PEF_STAGES ? 1 : 0));
    } else if constexpr (requires { s.invCorr; }) {
        F::Api::free(&s);
        init<F>(&s, shape, record.lent);
    }
    if constexpr (requires { s.inLine; }) {
        reset64f(s.inLine, s.order + 1);
    }
    Signal signal(4);
    for (int i = 0; i < 50; ++i) {
        const double x = signal.next(), d = signal.next();
        EXPECT_EQ(bits(record.update(x, d)), bits(fresh.update(x, d))) << i;
    }
}

// ---- Every test for every family, under the name <family>.<test>

template <class F>
class FamilyTest : public testing::Test {
  public:
    explicit FamilyTest(void (*body)()) : body_(body) {}
    void TestBody() override { body_(); }

  protected:
    void TearDown() override { EXPECT_EQ(heap::live(), before_) << "allocations left behind"; }

  private:
    void (*body_)();
    int before_ = heap::live();
};

template <class F>
void registerTests() {
    const std::pair<const char*, void (*)()> tests[] = {
        {"EqualsThePlainRecursion", EqualsThePlainRecursion<F>},
        {"ClampsLargeOrdersAndRefusesSmallOnes", ClampsLargeOrdersAndRefusesSmallOnes<F>},
        {"RefusesNullBuffersAndLeavesTheOthersAlone", RefusesNullBuffersAndLeavesTheOthersAlone<F>},
        {"LaysItsArraysOutInOrder", LaysItsArraysOutInOrder<F>},
        {"SurvivesEveryFailedAllocation", SurvivesEveryFailedAllocation<F>},
        {"AllowsFreeAfterAFailure", AllowsFreeAfterAFailure<F>},
        {"RefusesNullArraysAndRecordsWithoutTaps", RefusesNullArraysAndRecordsWithoutTaps<F>},
        {"RecoversFromNaN", RecoversFromNaN<F>}};
    for (const auto& test : tests) {
        testing::RegisterTest(F::Api::name, test.first, nullptr, nullptr, __FILE__, __LINE__,
                              [body = test.second] { return new FamilyTest<F>(body); });
    }
}

template <class... F>
bool registerAll(Types<F...>) {
    (registerTests<F>(), ...);
    return true;
}

const bool registered = registerAll(Families{});

} // namespace
