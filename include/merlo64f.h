/** @mainpage The contract
 *
 * What all families of filters share. The header of a family says only what is its own:
 *
 * - fixed filter: fir64f.h
 * - gradient filters: lms64f.h, nlms64f.h, over blocks blms64f.h, bnlms64f.h, through a secondary
 *   path fxlms64f.h, adjlms64f.h
 * - in the frequency domain: bfdaf64f.h, pbfdaf64f.h, tdlms64f.h, with the tables of fft_tables.h
 * - gradient lattices: lfpef64f.h, lbpef64f.h, lmslattice64f.h
 * - least squares: rls64f.h, and as lattices rlslattice64f.h, rlslfpef64f.h, rlslbpef64f.h
 *
 * ## Records and arguments
 * A filter is one plain record, `<family>State`, which the host allocates wherever it likes and
 * passes as the first argument of every call. Then come sizes, parameters, what the record borrows,
 * and the host's buffers. A record holds no pointer into itself: a plain copy moves it. Its fields
 * may be read at any time.
 *
 * ## Numbers
 * Samples, coefficients and parameters are double; orders, lengths, indices, counts and status
 * values are int32_t. Arrays are contiguous. Where a docstring does not allow aliasing, the arrays
 * of a call must not overlap one another nor the record's own buffers.
 *
 * ## Setting up
 * `Init` takes zero-filled buffers from the heap, and `Free` gives them back. `InitStatic` uses
 * buffers that the host gives and keeps, zero-fills them itself and never allocates; such a record
 * goes neither to `Free` nor to `Resize`. A family says what it borrows (coefficients of a fixed
 * filter, tables): that is stored, not copied, and must outlive the record. `Init` on a live record
 * abandons its buffers, and a record must not be freed twice.
 *
 * The length of a buffer `...Buf` of `InitStatic` is the macro `<FAMILY>_..._LEN`, in elements, as
 * LMS64F_DELAY_LEN(order) is that of delayBuf in lms64fInitStatic(). It takes the arguments of
 * `InitStatic` that matter, before an order is reduced, and is a constant expression where they
 * are, so a filter can lie in static storage. fft_tables.h has the same for the tables.
 *
 * ## Order limits
 * An order above the family's limit (MAX_TAPS or MAX_PEF_STAGES) is reduced to the limit, which is
 * no error: the record then holds the reduced value, and every length that a docstring gives as a
 * formula is meant with it.
 *
 * ## Status values
 * STS_OK: done. STS_NULL_PTR: a pointer that is needed is null. STS_BAD_SIZE: an order, length,
 * index or count is out of range, or a size does not fit its 32-bit field. Sizes are tested before
 * pointers unless a family says otherwise. STS_NO_MEMORY: the heap has no room.
 *
 * ## After a failure
 * A failed `Init` or `InitStatic` stores 0 in `order` and leaves nothing allocated and no buffer of
 * the host's touched; the other fields are undefined. Every other refused call leaves the record
 * and its buffers bit for bit as they were, and a live record goes on working.
 *
 * ## Filter operations
 * They test nothing, allocate nothing and take no lock; they need a record that was set up and
 * return the output sample (sample by sample) or a status (blocks). Infinities and NaN run their
 * course and stay in the record until what holds them is reset.
 *
 * ## Accessors
 * `Get...` and `Set...` move `count` elements between the record and `buf`, from the 0-based index
 * `start` of the record's vector upward. A range past the end is clipped, not refused. With
 * `reversed` not 0, `buf` is walked backwards: the record's first element of the range meets the
 * last element of `buf` in use. They return the number of elements moved, at least 1; STS_NULL_PTR
 * if `buf` or the record's array is null; STS_BAD_SIZE if count < 1, start < 0 or start is past the
 * end. On a delay line that is a ring, index 0 is the newest sample, index 1 the sample before it,
 * and so on, wherever the write position stands.
 *
 * ## Delay lines
 * In a ring line `head` is the position that the next sample overwrites; it steps back and wraps,
 * so the newest sample lies one place above it. In a linear line element 0 is the newest sample.
 * coef[0] meets the newest sample in both. Operations with `LC` in their name take no sample: they
 * work on `delayLine` as a linear line that the host moves with insertSampleLinBuf64f(), and
 * neither read nor change `head`. A record that sees only `LC` operations has its first `head`,
 * with which the accessors read the linear line in place.
 *
 * ## Resetting
 * `Reset` clears what the filter has learned, `ResetDelayLine` the sample history, and neither
 * anything else, unless a family says otherwise.
 *
 * ## Resizing
 * `Resize` replaces the buffers of a record from `Init` and keeps what fits: parameters, the first
 * coefficients, the newest samples; new taps are 0. Pointers to the old buffers are stale
 * afterwards. `err` has no defined value until the next update. A request equal to the record's
 * sizes changes nothing at all.
 *
 * ## Threads
 * There is no global state and no lock. Different records can be used at the same time on different
 * threads; one record belongs to one thread at a time.
 *
 * ## Bits
 * For finite input every output, error and record field has the same bits on every compiler,
 * optimisation level and processor: formulas are evaluated in the order and grouping in which the
 * docstrings state them, sums run in tap order in one accumulator, and nothing is fused or held
 * wider. The promise ends where the host changes the arithmetic itself (a process that flushes
 * subnormals to zero, another rounding mode), at the sign and payload of a NaN, which are the
 * processor's, and at tables that the host computes.
 */

/** @file
 * @ref index and @ref merlo64f
 * @defgroup merlo64f merlo64f: status values, limits and vector kernels
 * What the headers of all families include. What they have in common is the contract
 * (@ref index "the main page", and the comment at the head of merlo64f.h).
 * @{ */
#ifndef MERLO64F_H
#define MERLO64F_H

#include <stdint.h>

/** Marks what the library exports. */
#if defined(__GNUC__)
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

/** Order limits. A larger order is reduced to the limit of the family. */
enum {
    MAX_TAPS = 32,      /**< of every family but the four prediction-error lattices */
    MAX_PEF_STAGES = 10 /**< of the four prediction-error lattices */
};

/** What a record holds for the requested order, by the limit MAX_TAPS; a constant expression. The
 * plus signs make numbers of enumerators. */
#define MERLO64F_TAPS(order) (+(order) < +MAX_TAPS ? +(order) : +MAX_TAPS)

/** The same by the limit MAX_PEF_STAGES. */
#define MERLO64F_STAGES(order) (+(order) < +MAX_PEF_STAGES ? +(order) : +MAX_PEF_STAGES)

/** The smallest power of two >= n as a constant expression, 1 <= n <= 2^30: the bits of n - 1 are
 * spread downwards, which fills all places below the highest. */
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

/** Moves a linear line one place up, dropping its oldest sample, and stores x at element 0.
 * @param buf  n samples, newest first
 * @param n  at least 1
 * @return STS_OK, or STS_NULL_PTR for a null buf. */
MERLO64F_API int32_t insertSampleLinBuf64f(double x, double* buf, int32_t n);

/** buf[i] = +0.0 for 0 <= i < n; an n below 1 does nothing.
 * @return STS_OK, or STS_NULL_PTR for a null buf, whatever n is. */
MERLO64F_API int32_t reset64f(double* buf, int32_t n);

/** buf[i] = value, bit for bit, for 0 <= i < n; an n below 1 does nothing.
 * @return STS_OK, or STS_NULL_PTR for a null buf, whatever n is. */
MERLO64F_API int32_t set64f(double value, double* buf, int32_t n);

/** dst[i] = src[i] + dst[i] for 0 <= i < n; an n below 1 does nothing. src may be dst.
 * @return STS_OK, or STS_NULL_PTR for a null src or dst, whatever n is. */
MERLO64F_API int32_t addIp64f(const double* src, double* dst, int32_t n);

#ifdef __cplusplus
}
#endif

/** @} */

#endif
