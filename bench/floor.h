// The floor: the same sum in the same order, one call a sample, with everything else taken away: the
// line lies straight in memory, the compiler knows the order, no record is kept. A call that keeps the
// bits does not get below it by more than a few percent, which an instruction set or an alignment can
// make; a block operation does, since its outputs run side by side.
#pragma once

namespace bench::floor {

// Sum of coef[k] * x[k]. Nothing in a call waits for the last one, so calls overlap.
using Dot = double (*)(const double* x, const double* coef);

// The sum, then coef[k] += term; returns the sum. The next call waits for these coefficients.
using Step = double (*)(double* coef, const double* x, double d, double mu);

enum class Gradient { Plain, SignErr, SignReg, SignSign };

// For one of the orders in kOrders.
Dot dot(int order);
Step step(int order, Gradient gradient);

} // namespace bench::floor
