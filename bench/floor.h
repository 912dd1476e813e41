// The floor of an operation: the same sum in the same order, one call per sample, on a linear line,
// with the order known to the compiler and no record. An operation by the sample that keeps the bits
// cannot be faster by more than a few percent (instruction set, alignment). Block operations can,
// since they compute several outputs at once.
#pragma once

namespace bench::floor {

// Sum of coef[k] * x[k]. No call depends on the previous one, so calls overlap.
using Dot = double (*)(const double* x, const double* coef);

// The sum, then coef[k] += term; returns the sum. The next call depends on these coefficients.
using Step = double (*)(double* coef, const double* x, double d, double mu);

// For the orders 8, 16 and 32.
Dot dot(int order);
Step step(int order, bool signOfError, bool signOfSample);

} // namespace bench::floor
