// The plain way: what a host writes without the library, a straightforward loop over the formula.
// Each function stands beside the operation of the same name and works on the same record.
// They live in files of their own, so that no call is folded into a timed loop.
#pragma once

#include "adjlms64f.h"
#include "blms64f.h"
#include "bnlms64f.h"
#include "fir64f.h"
#include "fxlms64f.h"
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lms64f.h"
#include "lmslattice64f.h"
#include "nlms64f.h"
#include "rls64f.h"
#include "rlslattice64f.h"
#include "rlslbpef64f.h"
#include "rlslfpef64f.h"

namespace plain {

double fir64fFilter(fir64fState* state, double x);
double fir64fLCFilter(const fir64fState* state);

double lms64fFilterUpdate(lms64fState* state, double x, double d);
double lms64fFilterUpdateSignErr(lms64fState* state, double x, double d);
double lms64fFilterUpdateSignReg(lms64fState* state, double x, double d);
double lms64fFilterUpdateSignSign(lms64fState* state, double x, double d);
double lms64fLCFilterUpdate(lms64fState* state, double d);
double lms64fLCFilterUpdateSignErr(lms64fState* state, double d);
double lms64fLCFilterUpdateSignReg(lms64fState* state, double d);
double lms64fLCFilterUpdateSignSign(lms64fState* state, double d);
double lms64fFilterOnly(lms64fState* state, double x);
double lms64fLCFilterOnly(const lms64fState* state);

double nlms64fFilterUpdate(nlms64fState* state, double x, double d);
double nlms64fFilterOnly(nlms64fState* state, double x);

double fxlms64fFilterUpdate(fxlms64fState* state, double x, double d);
double adjlms64fFilterUpdate(adjlms64fState* state, double x, double d);

void blms64fFilterUpdate(blms64fState* state, const double* x, const double* d, double* y,
                         double* e);
void blms64fFilterOnly(blms64fState* state, const double* x, double* y);
void bnlms64fFilterUpdate(bnlms64fState* state, const double* x, const double* d, double* y,
                          double* e);
void bnlms64fFilterOnly(bnlms64fState* state, const double* x, double* y);

double lbpef64fFilterUpdate(lbpef64fState* state, double x);
double lbpef64fFilterOnly(lbpef64fState* state, double x);
double lfpef64fFilterUpdate(lfpef64fState* state, double x);
double lfpef64fFilterOnly(lfpef64fState* state, double x);
double lmslattice64fFilterUpdate(lmslattice64fState* state, double x, double d);
double lmslattice64fFilterOnly(lmslattice64fState* state, double x);

double rls64fFilterUpdate(rls64fState* state, double x, double d);
double rls64fFilterOnly(rls64fState* state, double x);
double rlslattice64fFilterUpdate(rlslattice64fState* state, double x, double d);
double rlslattice64fFilterOnly(rlslattice64fState* state, double x);
double rlslbpef64fFilterUpdate(rlslbpef64fState* state, double x);
double rlslbpef64fFilterOnly(rlslbpef64fState* state, double x);
double rlslfpef64fFilterUpdate(rlslfpef64fState* state, double x);
double rlslfpef64fFilterOnly(rlslfpef64fState* state, double x);

} // namespace plain
