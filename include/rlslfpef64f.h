/** @file
 * @ref rlslfpef64f
 * @defgroup rlslfpef64f rlslfpef64f: least-squares lattice that predicts forwards
 * A least-squares lattice as a forward predictor, one sample per call. It predicts the newest
 * sample from the `order` samples before it.
 *
 * First fwdEnergy[0] = lambda * fwdEnergy[0] + x * x. Then, with f = b = x and g = 1, for each
 * stage i = 0 .. order-1, where z is delayLine[i], the backward error that came in a sample ago,
 * and p is prevGamma[i]:
 *
 *     fwdEnergy[i] = lambda * fwdEnergy[i] + f * f / p
 *     newB = lambda * bwdEnergy[i] + b * b / g
 *     crossCorr[i] = lambda * crossCorr[i] + f * z / p
 *     fwdParcor[i] = crossCorr[i] / bwdEnergy[i]     the energy of a sample ago
 *     bwdParcor[i] = crossCorr[i] / fwdEnergy[i]
 *     prevGamma[i] = g, then g = g - b * b / newB
 *     bwdEnergy[i] = newB, delayLine[i] = b
 *     f = f - fwdParcor[i] * z and b = z - bwdParcor[i] * f, with the f that came in
 *
 * All errors are a-posteriori errors: a stage forms them with the coefficients that this very
 * sample has just updated. err holds the last f, the forward prediction error.
 *
 * After each call coef is the lattice in direct form, by the step-up recursion on fwdParcor, for
 * the host to read; the filter never reads it. It stands for the lattice as far as fwdParcor and
 * bwdParcor agree: then the sum of coef[j] * x(n-1-j) estimates x(n).
 *
 * @par Departures from the textbook
 * Those of rlslattice64f.h, and fwdEnergy[0] is updated twice a sample, which at lambda = 1 makes
 * it twice, and bwdParcor[0] half, of what they would be, and below lambda = 1 halves its memory.
 *
 * The sources, the start values, the range of lambda and what silence does, with its remedy, are
 * those of rlslattice64f.h.
 *
 * For what all families share see merlo64f.h.
 * @{ */
#ifndef MERLO64F_RLSLFPEF64F_H
#define MERLO64F_RLSLFPEF64F_H

#include "merlo64f.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A lattice predictor of `order` stages. The arrays have `order` elements, one for each stage. */
typedef struct rlslfpef64fState {
    double* fwdEnergy; /**< energy of the forward error; 0.001 at first */
    double* bwdEnergy; /**< energy of the backward error; 0.001 at first */
    double* crossCorr; /**< correlation of the forward and the delayed backward error; 0 at first */
    double* prevGamma; /**< conversion factor that the stage met a sample ago; 1.0 at first */
    double* delayLine; /**< backward error that came in a sample ago; 0 at first */
    double* fwdParcor; /**< forward reflection coefficient; 0 at first */
    double* bwdParcor; /**< backward reflection coefficient; 0 at first */
    double* coef;      /**< direct form; 0 at first */
    int32_t order; /**< number of stages, 1 to MAX_PEF_STAGES; 0 after a failure and after Free */
    double lambda; /**< forgetting factor; read at every call, so the host may change it */
    double err;    /**< last forward error of the last call; no value before the first */
    int32_t updateCoef; /**< not 0: coef is rebuilt at every call; 1 at first and after Resize */
} rlslfpef64fState;

/** Sets up a record in its start state, with buffers from the heap.
 * @param order  number of stages, reduced to MAX_PEF_STAGES
 * @param lambda  forgetting factor, any value
 * @return STS_OK; STS_NULL_PTR for a null state; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslfpef64fInit(rlslfpef64fState* state, int32_t order, double lambda);

/** Elements of coefBuf: coef, bwdParcor, fwdParcor. */
#define RLSLFPEF64F_COEF_LEN(order) (3 * MERLO64F_STAGES(order))
/** Elements of workBuf: delayLine, bwdEnergy, prevGamma, crossCorr, fwdEnergy. */
#define RLSLFPEF64F_WORK_LEN(order) (5 * MERLO64F_STAGES(order))

/** As rlslfpef64fInit() on the host's own buffers, RLSLFPEF64F_COEF_LEN and RLSLFPEF64F_WORK_LEN
 * elements. Every element is written. Pointers are tested before the order.
 * @return STS_OK; STS_NULL_PTR for a null pointer; STS_BAD_SIZE for order < 1. */
MERLO64F_API int32_t rlslfpef64fInitStatic(rlslfpef64fState* state, int32_t order, double lambda,
                                           double* coefBuf, double* workBuf);

/** Releases both blocks and stores 0 in `order`. */
MERLO64F_API void rlslfpef64fFree(rlslfpef64fState* state);

/** One step: energies, correlations and reflection coefficients take in the sample, stage by stage;
 * coef is rebuilt and err stored.
 * @param x  input sample
 * @return the prediction: x less err. */
MERLO64F_API double rlslfpef64fFilterUpdate(rlslfpef64fState* state, double x);

/** The same with frozen reflection coefficients: fwdEnergy, crossCorr, fwdParcor and bwdParcor
 * stay; the arrays of the backward errors and err move on, and coef is rebuilt as it was. Best
 * after some 2 * order updates, and as many after a Resize that adds stages: frozen steps in
 * between can run the conversion factor down to 0 and end in NaN (from 10 stages on, on white
 * noise).
 * @return the prediction. */
MERLO64F_API double rlslfpef64fFilterOnly(rlslfpef64fState* state, double x);

/** Puts all eight arrays back to their start values: a complete restart with the same lambda, and
 * the remedy for NaN; err, updateCoef, lambda and order stay. A record of order 0 is left alone.
 * @return STS_OK, or STS_NULL_PTR for a null state. */
MERLO64F_API int32_t rlslfpef64fReset(rlslfpef64fState* state);

/** Accessors on plain arrays of `order` elements, from stage 0 upward: see merlo64f.h. GetCoef
 * reads the direct form; the delay line holds backward errors, not input samples. They return the
 * number of elements moved or a negative status. */
MERLO64F_API int32_t rlslfpef64fGetCoef(const rlslfpef64fState* state, double* buf, int32_t start,
                                        int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fGetForwardParcors(const rlslfpef64fState* state, double* buf,
                                                  int32_t start, int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fGetBackwardParcors(const rlslfpef64fState* state, double* buf,
                                                   int32_t start, int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fGetDelayLine(const rlslfpef64fState* state, double* buf,
                                             int32_t start, int32_t count, int32_t reversed);
/** See rlslfpef64fGetCoef(). */
MERLO64F_API int32_t rlslfpef64fSetDelayLine(rlslfpef64fState* state, const double* buf,
                                             int32_t start, int32_t count, int32_t reversed);

/** Changes the number of stages of a record from rlslfpef64fInit(); keeps lambda and all arrays of
 * the first stages; added stages begin from their start values, and updateCoef is 1 again.
 * @return STS_OK; STS_BAD_SIZE for order < 1; STS_NO_MEMORY. */
MERLO64F_API int32_t rlslfpef64fResize(rlslfpef64fState* state, int32_t order);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
