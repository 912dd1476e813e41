// What every family owes to the contract, over all of them alike.
#include "families.h"
#include "heap.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>

namespace {

constexpr double kGuard = -7.25; // stands behind every buffer of a host

// A record with what its host lends it, from the heap or on the host's own buffers.
template <class F>
class Record {
  public:
    typename F::State state;
    typename F::Lent lent;

    enum Kind { kHeap, kStatic };

    explicit Record(int32_t order, Kind kind = kHeap) : kind_(kind) {
        std::memset(&state, 0x5a, sizeof state);
        if (kind == kHeap) {
            EXPECT_EQ(F::init(&state, order, lent), STS_OK);
            return;
        }
        for (const auto& array : F::arrays(std::min(order, F::limit))) {
            if (array.startsBlock) {
                buffers_.emplace_back();
            }
            buffers_.back().resize(buffers_.back().size() + static_cast<size_t>(array.length),
                                   std::nan(""));
        }
        for (auto& buffer : buffers_) {
            buffer.push_back(kGuard);
        }
        std::vector<double*> pointers;
        for (auto& buffer : buffers_) {
            pointers.push_back(buffer.data());
        }
        EXPECT_EQ(F::initStatic(&state, order, lent, pointers.data()), STS_OK);
    }
    ~Record() {
        if (kind_ == kHeap) {
            F::free(&state);
        }
        for (const auto& buffer : buffers_) {
            EXPECT_EQ(buffer.back(), kGuard) << "a buffer was overrun";
        }
    }
    Record(const Record&) = delete;

    // Every operation in turn, `rounds` times, from a signal of that seed.
    Trace run(int rounds, uint64_t seed = 1) {
        Signal signal(seed);
        Trace trace;
        for (int i = 0; i < rounds; ++i) {
            for (const auto& operation : F::operations()) {
                operation(&state, signal, trace);
            }
        }
        return trace;
    }

    std::vector<double> get(const Accessor<typename F::State>& accessor) {
        std::vector<double> all(static_cast<size_t>(accessor.length(state)));
        EXPECT_EQ(accessor.get(&state, all.data(), 0, INT32_MAX, 0), accessor.length(state));
        return all;
    }

    // Every byte that belongs to the record: fields, buffers, what the host lent.
    std::vector<char> bytes() const {
        std::vector<char> all;
        const auto append = [&](const void* from, size_t n) {
            all.insert(all.end(), static_cast<const char*>(from),
                       static_cast<const char*>(from) + n);
        };
        append(&state, sizeof state);
        append(&lent, sizeof lent);
        for (const auto& array : F::arrays(state.order)) {
            append(state.*array.field, sizeof(double) * static_cast<size_t>(array.length));
        }
        return all;
    }

  private:
    Kind kind_;
    std::vector<std::vector<double>> buffers_;
};

void expectNear(const std::vector<double>& actual, const std::vector<double>& expected,
                double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_NEAR(actual[i], expected[i], tolerance) << "element " << i;
    }
}

template <class F>
int blockCount() {
    const auto arrays = F::arrays(F::smallest);
    return static_cast<int>(std::count_if(arrays.begin(), arrays.end(),
                                          [](const auto& array) { return array.startsBlock; }));
}

template <class F>
class Family : public testing::Test {
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
        typename F::Lent lent;
        state.order = 5;
        EXPECT_EQ(F::init(&state, order, lent), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
        state.order = 5;
        EXPECT_EQ(F::initStatic(&state, order, lent, buffers), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
    }
    EXPECT_EQ(untouched[0], kGuard);
}

TYPED_TEST(Family, RefusesNullBuffersAndLeavesTheOthersAlone) {
    using F = TypeParam;
    const auto count = static_cast<size_t>(blockCount<F>());
    for (size_t missing = 0; missing < count; ++missing) {
        std::vector<double> buffer(4 * MAX_TAPS, kGuard);
        std::vector<double*> pointers(count, buffer.data());
        pointers[missing] = nullptr;
        typename F::State state;
        typename F::Lent lent;
        state.order = 5;
        EXPECT_EQ(F::initStatic(&state, 3, lent, pointers.data()), STS_NULL_PTR);
        EXPECT_EQ(state.order, 0);
        EXPECT_EQ(F::initStatic(&state, 0, lent, pointers.data()),
                  F::pointersFirst ? STS_NULL_PTR : STS_BAD_SIZE);
        EXPECT_EQ(std::count(buffer.begin(), buffer.end(), kGuard), 4 * MAX_TAPS);
    }
}

TYPED_TEST(Family, RefusesANullRecordWhereItTestsIt) {
    using F = TypeParam;
    if constexpr (F::testsRecord) {
        std::vector<double> buffer(8 * MAX_TAPS, kGuard);
        const std::vector<double*> pointers(static_cast<size_t>(blockCount<F>()), buffer.data());
        typename F::Lent lent;
        const int calls = heap::calls();
        for (int32_t order : {3, 0}) {
            EXPECT_EQ(F::init(nullptr, order, lent), STS_NULL_PTR);
            EXPECT_EQ(F::initStatic(nullptr, order, lent, pointers.data()), STS_NULL_PTR);
        }
        for (const auto& reset : F::resets()) {
            EXPECT_EQ(reset.reset(nullptr), STS_NULL_PTR);
        }
        EXPECT_EQ(heap::calls(), calls);
        EXPECT_EQ(std::count(buffer.begin(), buffer.end(), kGuard), 8 * MAX_TAPS);
    }
}

TYPED_TEST(Family, RunsAlikeOnHeapAndHostBuffersWithoutAllocating) {
    using F = TypeParam;
    for (int32_t order : {F::smallest, 2, 3, 7, F::limit}) {
        order = std::max(order, F::smallest);
        Record<F> heapRecord(order);
        Record<F> staticRecord(order, Record<F>::kStatic);
        const int calls = heap::calls();
        const Trace trace = heapRecord.run(30);
        EXPECT_EQ(heap::calls(), calls);
        EXPECT_TRUE(trace == staticRecord.run(30)) << "order " << order;

        const double* end = nullptr;
        for (const auto& array : F::arrays(order)) { // hosts find the arrays in their buffers
            const double* const begin = staticRecord.state.*array.field;
            EXPECT_TRUE(array.startsBlock || begin == end);
            end = begin + array.length;
        }
    }
}

TYPED_TEST(Family, SurvivesEveryFailedAllocation) {
    using F = TypeParam;
    const int allocations = blockCount<F>();
    for (int nth = 1; nth <= allocations; ++nth) {
        typename F::State state;
        typename F::Lent lent;
        const int live = heap::live();
        heap::failAt(nth);
        EXPECT_EQ(F::init(&state, 5, lent), STS_NO_MEMORY);
        EXPECT_EQ(state.order, 0);
        EXPECT_EQ(heap::live(), live);

        Record<F> record(5);
        Record<F> twin(5);
        record.run(3);
        twin.run(3);
        const auto bytes = record.bytes();
        for (int32_t order : {3, 9}) {
            heap::failAt(nth);
            EXPECT_EQ(F::resize(&record.state, order), STS_NO_MEMORY);
            EXPECT_EQ(record.bytes(), bytes);
            EXPECT_EQ(heap::live(), live + 2 * allocations);
        }
        EXPECT_TRUE(record.run(3) == twin.run(3));
    }
}

// Every range of every accessor against a plain copy of what it gives access to.
TYPED_TEST(Family, AccessorsReachWhatTheyName) {
    using F = TypeParam;
    constexpr int32_t order = 5;
    Record<F> record(order);
    for (const auto& accessor : F::accessors()) {
        SCOPED_TRACE(accessor.name);
        const int32_t length = accessor.length(record.state);
        std::vector<double> model = record.get(accessor);
        std::vector<double> buf(static_cast<size_t>(length) + 2);
        for (int32_t start = 0; start < length; ++start) {
            for (int32_t count : {1, 2, length, length + 1, INT32_MAX}) {
                for (int32_t reversed : {0, 1, -3}) {
                    record.run(1); // the write position of a ring moves on
                    model = record.get(accessor);
                    const int32_t n = std::min(length - start, count);
                    const auto slot = [&](int32_t i) {
                        return static_cast<size_t>(reversed != 0 ? n - 1 - i : i);
                    };
                    std::fill(buf.begin(), buf.end(), kGuard);
                    ASSERT_EQ(accessor.get(&record.state, buf.data(), start, count, reversed), n);
                    for (int32_t i = 0; i < n; ++i) {
                        ASSERT_NEAR(buf[slot(i)], model[static_cast<size_t>(start + i)],
                                    accessor.tolerance);
                    }
                    ASSERT_EQ(buf[static_cast<size_t>(n)], kGuard);
                    if (accessor.set == nullptr) {
                        continue;
                    }
                    for (int32_t i = 0; i < n; ++i) {
                        buf[slot(i)] = model[static_cast<size_t>(start + i)] = 0.5 + start - i;
                    }
                    ASSERT_EQ(accessor.set(&record.state, buf.data(), start, count, reversed), n);
                    expectNear(record.get(accessor), model, accessor.tolerance);
                }
            }
        }
    }
}

TYPED_TEST(Family, AccessorsRefuseBadArguments) {
    using F = TypeParam;
    Record<F> record(4);
    record.run(2);
    const auto bytes = record.bytes();
    double buf[4 * MAX_TAPS] = {};
    for (const auto& accessor : F::accessors()) {
        SCOPED_TRACE(accessor.name);
        const int32_t length = accessor.length(record.state);
        const auto expectBoth = [&](double* to, int32_t start, int32_t count, int32_t status) {
            EXPECT_EQ(accessor.get(&record.state, to, start, count, 0), status);
            if (accessor.set != nullptr) {
                EXPECT_EQ(accessor.set(&record.state, to, start, count, 0), status);
            }
        };
        expectBoth(nullptr, length, 0, STS_NULL_PTR);
        expectBoth(buf, 0, 0, STS_BAD_SIZE);
        expectBoth(buf, 0, INT32_MIN, STS_BAD_SIZE);
        expectBoth(buf, -1, 1, STS_BAD_SIZE);
        expectBoth(buf, length, 1, STS_BAD_SIZE);
        expectBoth(buf, INT32_MAX, INT32_MAX, STS_BAD_SIZE);
        EXPECT_EQ(record.bytes(), bytes);

        double* const array = record.state.*accessor.array;
        record.state.*accessor.array = nullptr;
        expectBoth(buf, -1, 1, STS_NULL_PTR);
        record.state.*accessor.array = array;
    }
}

TYPED_TEST(Family, ResetsClearWhatTheyNameAndNothingElse) {
    using F = TypeParam;
    for (const auto& reset : F::resets()) {
        SCOPED_TRACE(reset.name);
        Record<F> record(6);
        Record<F> expected(6);
        record.run(4);
        expected.run(4);
        for (const auto& array : F::arrays(6)) {
            if (std::find(reset.clears.begin(), reset.clears.end(), array.field) ==
                reset.clears.end()) {
                continue;
            }
            std::fill_n(expected.state.*array.field, array.length,
                        reset.start != nullptr ? reset.start(array.field) : 0.0);
            if (reset.start != nullptr) {
                continue;
            }
            const auto bytes = record.bytes();
            double* const pointer = std::exchange(record.state.*array.field, nullptr);
            EXPECT_EQ(reset.reset(&record.state), STS_NULL_PTR);
            record.state.*array.field = pointer;
            EXPECT_EQ(record.bytes(), bytes);
        }
        EXPECT_EQ(reset.reset(&record.state), STS_OK);
        EXPECT_TRUE(record.run(3) == expected.run(3));
    }
}

// A resized record goes on like a fresh one of that size that was given the same values.
TYPED_TEST(Family, ResizeKeepsWhatFits) {
    using F = TypeParam;
    for (int32_t from : {F::smallest, std::max(2, F::smallest), 4, F::limit}) {
        for (int32_t to : {F::smallest, 3, 4, 6, F::limit, F::limit + 8}) {
            SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
            Record<F> record(from);
            Record<F> fresh(to);
            record.run(5);
            std::vector<std::vector<double>> before;
            for (const auto& accessor : F::accessors()) {
                before.push_back(record.get(accessor));
            }
            const auto bytes = record.bytes();
            ASSERT_EQ(F::resize(&record.state, to), STS_OK);
            if (from == to) {
                EXPECT_EQ(record.bytes(), bytes);
                continue;
            }
            EXPECT_EQ(record.state.order, std::min(to, F::limit));
            bool exact = true;
            size_t i = 0;
            for (const auto& accessor : F::accessors()) {
                std::vector<double>& values = before[i++];
                auto after = record.get(accessor);
                if (!accessor.whole) { // what came into reach was there before
                    values.resize(std::min(values.size(), after.size()));
                    after.resize(values.size());
                }
                values.resize(after.size(), 0.0);
                expectNear(after, values, accessor.tolerance);
                exact = exact && accessor.tolerance == 0.0;
                if (accessor.set != nullptr) {
                    accessor.set(&fresh.state, values.data(), 0,
                                 static_cast<int32_t>(values.size()), 0);
                }
            }
            F::carryHidden(record.state, fresh.state);
            EXPECT_TRUE(!exact || record.run(5) == fresh.run(5));
        }
    }
}

TYPED_TEST(Family, ResizeRefusesBadSizes) {
    using F = TypeParam;
    Record<F> record(4);
    record.run(3);
    const auto bytes = record.bytes();
    for (int32_t order : {0, -1, INT32_MIN}) {
        EXPECT_EQ(F::resize(&record.state, order), STS_BAD_SIZE);
        EXPECT_EQ(record.bytes(), bytes);
    }
}

} // namespace
