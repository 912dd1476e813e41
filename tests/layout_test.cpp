// The records are public: a moved field breaks every host that was built before. Offsets on 64-bit
// targets, field by field in order, then the size.
#include "fir64f.h"
#include "lms64f.h"

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
        AT(fir64fState, coef, 0),  AT(fir64fState, order, 8),      AT(fir64fState, delayLine, 16),
        AT(fir64fState, head, 24), SIZE(fir64fState, 32),

        AT(lms64fState, order, 0), AT(lms64fState, mu, 8),         AT(lms64fState, err, 16),
        AT(lms64fState, coef, 24), AT(lms64fState, delayLine, 32), AT(lms64fState, head, 40),
        SIZE(lms64fState, 48),
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.actual, row.expected) << row.what;
    }
}

} // namespace
