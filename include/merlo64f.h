/** @page contract The contract
 *
 * The rules that all families of filters share. The header of a family, `<family>.h`, says what is
 * its own. Families that work in the frequency domain also need the tables of fft_tables.h.
 *
 * ## Records and arguments
 * A filter is one plain record, `<family>State`. The host allocates it anywhere and passes it as
 * the first argument of every call; it is tested for null only where a docstring says so. Sizes and
 * parameters follow, then what the record borrows, then the host's buffers. A record holds no
 * pointer into itself: a plain copy moves it. The host may read all fields at any time and write
 * those that a docstring allows it to write.
 *
 * ## Numbers
 * Samples, coefficients and parameters are double; orders, lengths, indices, counts and status
 * values are int32_t. Arrays are contiguous. The arrays of a call must not overlap one another or
 * the record's buffers, unless a docstring allows it.
 *
 * ## Set-up and release
 * `Init` allocates zero-filled buffers on the heap, and `Free` releases them. `InitStatic` uses
 * buffers of the host, zero-fills them and never allocates; its record must not be passed to `Free`
 * or `Resize`. Arrays that a family borrows (coefficients of a fixed filter, secondary paths,
 * tables) are stored by pointer, not copied, and must outlive the record. `Init` on a live record
 * leaks its buffers. A record must not be freed twice.
 *
 * The length of a buffer `...Buf` of `InitStatic` is the macro `<FAMILY>_..._LEN`, in elements:
 * LMS64F_DELAY_LEN(order) is that of delayBuf in lms64fInitStatic(). It takes the requested order,
 * before any reduction. For constant arguments it is a constant expression, so a filter can be
 * placed in static storage. fft_tables.h has such macros for the tables.
 *
 * ## Order limits
 * An order above the family's limit, MAX_TAPS or MAX_PEF_STAGES, is reduced to the limit silently:
 * the status is STS_OK, and `order` of the record holds the reduced value. Every length in a
 * docstring is computed from that value. After a set-up use the record's `order`, not the requested
 * one: insertSampleLinBuf64f(x, state.delayLine, 64) on a record of 32 taps writes past the end of
 * the line. Responses of more than 32 taps need pbfdaf64f.h.
 *
 * ## Status values
 * STS_OK: done. STS_NULL_PTR: a required pointer is null. STS_BAD_SIZE: an order, length, index or
 * count is out of range, or a size does not fit its 32-bit field or the address space.
 * STS_NO_MEMORY: an allocation failed. Sizes are tested before pointers, and both before memory is
 * allocated, unless a family says otherwise.
 *
 * ## After a failure
 * A failed `Init` or `InitStatic` stores 0 in `order`, leaves nothing allocated and does not write
 * to the host's buffers. The fields that `Free` releases are null then, so `Free` is allowed; the
 * other fields are undefined. Any other call that fails leaves the record and its buffers bit for
 * bit as they were, and a live record goes on working.
 *
 * ## Filter operations
 * They allocate nothing and take no lock, and they need a record that was set up. Those that take a
 * sample test nothing and return the output sample. Those that take a block return a status and
 * test one thing: blms64f and bnlms64f return STS_NULL_PTR if the record's coef or delayLine is
 * null, bfdaf64f and pbfdaf64f if its delayLine is null, fir64fBlockFilter() if one of its two
 * arrays is null.
 *
 * ## NaN and infinities
 * They are not detected. One such sample in `x` or `d` makes outputs NaN and enters the record. A
 * delay line drops it after as many samples as the line has; coefficients, running powers, energies
 * and matrices keep it, and then every later output is NaN. `Reset` and `ResetDelayLine` clear
 * coefficients and delay lines, but no running power and no matrix. The paragraph "After a NaN" of
 * a family says how to clear the record. Afterwards it works like a new one, and SetCoef can
 * restore coefficients that the host has saved. `err` is finite again after the next update. A host
 * can test its samples, or `err` after an update, with isfinite().
 *
 * ## Level
 * Filters with a running power divide their step by the power plus a small constant. So very quiet
 * input gets a smaller step. The paragraph "Level" of a family gives the level that halves the
 * step, as a mean square and in dB re full scale 1.0, which is 10 * log10(mean square). The remedy
 * is to multiply x and d by the same power of two: this is exact, does not change the coefficients,
 * and scales outputs and errors by the same factor. Running powers start at 1.0 and take time to
 * fall to a low level; the host may store a better estimate after the set-up. They also lag behind
 * a rising level, so the first samples after a quiet passage get too large a step.
 *
 * ## Accessors
 * `Get...` copies `count` elements from a vector of the record to `buf`, `Set...` from `buf` to the
 * vector, from the 0-based index `start` of the vector upward. A range past the end is shortened,
 * not refused. With `reversed` not 0, the order in `buf` is reversed: the first element of the
 * range is the last one used in `buf`. They return the number of elements copied, at least 1;
 * STS_NULL_PTR if `buf` or the record's array is null; STS_BAD_SIZE if count < 1, start < 0 or
 * start is past the end. In a delay line that is a ring, index 0 is the newest sample, index 1 the
 * sample before it, and so on, wherever `head` is.
 *
 * ## Delay lines
 * In a ring line `head` is the position that the next sample overwrites. It steps back by one per
 * sample and wraps, so the newest sample is one position above it. In a linear line element 0 is
 * the newest sample. coef[0] weights the newest sample in both. Operations with `LC` in their name
 * take no sample and use `delayLine` as a linear line, which the host shifts with
 * insertSampleLinBuf64f() by the length that the record holds; they neither read nor change `head`.
 * As long as a record runs only `LC` operations, `head` has its first value, and the accessors read
 * the linear line from element 0.
 *
 * ## Reset
 * `Reset` zero-fills the coefficients and `ResetDelayLine` the sample history. Neither changes
 * anything else, unless a family says otherwise.
 *
 * ## Resize
 * `Resize` replaces the buffers of a record from `Init` and keeps what fits: parameters, the first
 * coefficients, the newest samples; new taps are 0. Pointers to the old buffers become invalid.
 * `err` is undefined until the next update. A request equal to the record's sizes changes nothing;
 * it is compared before its order is reduced.
 *
 * ## Threads
 * There is no global state and no lock. Different records can be used at the same time on different
 * threads; one record belongs to one thread at a time. Records in concurrent use need an fftTable
 * each (fft_tables.h).
 *
 * ## Bits
 * For finite input every output, error and record field has the same bits on every compiler,
 * optimisation level and processor. Formulas are evaluated in the order and grouping in which the
 * docstrings state them, sums run in tap order in one accumulator, and nothing is fused or held in
 * a wider format. The transform tables of fft_tables.h are the same everywhere too. Outside the
 * promise are a process that changes the arithmetic (subnormals flushed to zero, another rounding
 * mode), and the sign and payload of a NaN, which are the processor's. */

/** @file
 * @ref contract and @ref merlo64f
 * @defgroup merlo64f merlo64f: status values, limits and vector kernels
 * What the headers of all families include. The rules that all families share are on the page
 * @ref contract, which is the first comment of merlo64f.h.
 * @{ */
#ifndef MERLO64F_H
#define MERLO64F_H

#include <stdint.h>

/** Marks an exported function. On Windows a host may define MERLO64F_DLL, which saves a jump per call
 * of the DLL; without it a host can be linked with the DLL or with the static library. */
#if defined(_WIN32) && defined(MERLO64F_DLL)
#define MERLO64F_API __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32)
#define MERLO64F_API __attribute__((visibility("default")))
#else
#define MERLO64F_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Status values, as int32_t results. Accessors return a positive count instead of STS_OK. */
enum {
    STS_OK = 0,        /**< success */
    STS_NULL_PTR = -1, /**< a required pointer is null */
    STS_BAD_SIZE = -2, /**< an order, length, index or count is out of range */
    STS_NO_MEMORY = -3 /**< a heap allocation failed */
};

/** Order limits. A larger order is reduced to the limit of the family silently. */
enum {
    MAX_TAPS = 32,      /**< of every family but the four prediction-error lattices */
    MAX_PEF_STAGES = 10 /**< of the four prediction-error lattices */
};

/** The requested order reduced to MAX_TAPS, as a constant expression. The unary plus converts
 * enumerators. */
#define MERLO64F_TAPS(order) (+(order) < +MAX_TAPS ? +(order) : +MAX_TAPS)

/** The requested order reduced to MAX_PEF_STAGES. */
#define MERLO64F_STAGES(order) (+(order) < +MAX_PEF_STAGES ? +(order) : +MAX_PEF_STAGES)

/** The smallest power of two >= n as a constant expression, 1 <= n <= 2^30. */
#define MERLO64F_POWER_OF_2(n) (MERLO64F_SPREAD_16(-1 + (n)) + 1)

/** @cond */
#define MERLO64F_SPREAD_1(m) ((m) | (m) >> 1)
#define MERLO64F_SPREAD_2(m) (MERLO64F_SPREAD_1(m) | MERLO64F_SPREAD_1(m) >> 2)
#define MERLO64F_SPREAD_4(m) (MERLO64F_SPREAD_2(m) | MERLO64F_SPREAD_2(m) >> 4)
#define MERLO64F_SPREAD_8(m) (MERLO64F_SPREAD_4(m) | MERLO64F_SPREAD_4(m) >> 8)
#define MERLO64F_SPREAD_16(m) (MERLO64F_SPREAD_8(m) | MERLO64F_SPREAD_8(m) >> 16)
/** @endcond */

/** The smallest p >= 0 with 2^p >= value: the exponent, not the power.
 * @return 0 for 0 and 1, 63 for every value above 2^62, STS_BAD_SIZE for a negative value. */
MERLO64F_API int32_t nextPow2(int64_t value);

/** Shifts a linear line up by one place, which drops its oldest sample, and stores x at element 0.
 * @param buf  n samples, newest first
 * @param n  length of the line, at least 1: in a record its `order`, or fftLen in tdlms64f
 * @return STS_OK, or STS_NULL_PTR for a null buf. */
MERLO64F_API int32_t insertSampleLinBuf64f(double x, double* buf, int32_t n);

/** buf[i] = +0.0 for 0 <= i < n; an n below 1 does nothing.
 * @return STS_OK, or STS_NULL_PTR for a null buf, for any n. */
MERLO64F_API int32_t reset64f(double* buf, int32_t n);

/** buf[i] = value, bit for bit, for 0 <= i < n; an n below 1 does nothing.
 * @return STS_OK, or STS_NULL_PTR for a null buf, for any n. */
MERLO64F_API int32_t set64f(double value, double* buf, int32_t n);

/** dst[i] = src[i] + dst[i] for 0 <= i < n; an n below 1 does nothing. src may be dst.
 * @return STS_OK, or STS_NULL_PTR for a null src or dst, for any n. */
MERLO64F_API int32_t addIp64f(const double* src, double* dst, int32_t n);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
