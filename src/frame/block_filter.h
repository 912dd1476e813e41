// A block through a filter that does not adapt.
#pragma once

#include <cstdint>

namespace merlo {

// n steps of insertDotCirc64f over a ring line of `order` samples, to the bit, line and head included;
// n >= 0, 1 <= order <= MAX_TAPS. in may be out.
void filterBlock(const double* coef, int32_t order, double* line, int32_t* head, const double* in,
                 double* out, int32_t n);

} // namespace merlo
