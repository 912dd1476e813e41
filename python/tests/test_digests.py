"""The bits of the C library: the runs of tests/digests.cpp once more, through Python."""

import math
from pathlib import Path

import numpy as np
import pytest

DIGESTS = dict(
    line.split()
    for line in (Path(__file__).parents[2] / "tests" / "digests.txt").read_text().splitlines()
)


class Signal:
    """White samples from the 64-bit Mersenne twister."""

    def __init__(self, seed):
        state = [seed]
        for i in range(1, 312):
            last = state[-1]
            state.append((6364136223846793005 * (last ^ last >> 62) + i) % 2**64)
        self.state = np.array(state, dtype=np.uint64)
        self.values = iter(())
        self.exponent = 0
        self.silent = False

    def _refill(self):
        mt = self.state
        one, odd = np.uint64(1), np.uint64(0xB5026F5AA96619E9)
        high, low = np.uint64(0xFFFFFFFF80000000), np.uint64(0x7FFFFFFF)
        for part, next_part, far in (
            (slice(0, 156), slice(1, 157), slice(156, 312)),
            (slice(156, 311), slice(157, 312), slice(0, 155)),
            (slice(311, 312), slice(0, 1), slice(155, 156)),
        ):
            x = mt[part] & high | mt[next_part] & low
            mt[part] = mt[far] ^ x >> one ^ (x & one) * odd
        x = mt.copy()
        x ^= x >> np.uint64(29) & np.uint64(0x5555555555555555)
        x ^= x << np.uint64(17) & np.uint64(0x71D67FFFEDA60000)
        x ^= x << np.uint64(37) & np.uint64(0xFFF7EEE000000000)
        x ^= x >> np.uint64(43)
        self.values = iter(x.tolist())

    def bits(self):
        value = next(self.values, None)
        if value is None:
            self._refill()
            value = next(self.values)
        return value

    def choose(self, choices):
        return self.bits() % choices

    def next(self):
        if self.silent:
            return 0.0
        return math.ldexp(float(self.bits() >> 11), self.exponent - 52) - math.ldexp(1.0, self.exponent)

    def fill(self, n):
        return np.array([self.next() for _ in range(n)])


class Trace:
    def __init__(self):
        self.parts = []

    def add(self, values):
        self.parts.append(np.array(values, dtype=np.float64, ndmin=1))

    def digest(self):
        """FNV-1a over the values, low byte first."""
        value = 0xCBF29CE484222325
        for byte in np.concatenate(self.parts).astype("<f8").tobytes():
            value = (value ^ byte) * 0x100000001B3 & 0xFFFFFFFFFFFFFFFF
        return f"{value:016x}"


# ---- The operations of a family, in the order of the C++ tests; each takes samples and adds to the trace.


def update(f, signal, trace, **options):
    x = signal.next()
    for result in f.update([x], [signal.next()], **options):
        trace.add(result)


def filter_only(f, signal, trace):
    trace.add(f.filter([signal.next()]))


def predict(f, signal, trace):
    for result in f.update([signal.next()]):
        trace.add(result)


def predict_only(f, signal, trace):
    trace.add(f.filter([signal.next()]))
    trace.add(f.err)


def update_linear(f, signal, trace, **options):
    line = f.buffers["delayLine"]
    row = np.concatenate(([signal.next()], line[:-1]))
    y, e = f.update_regressors([row], [signal.next()], **options)
    trace.add(y)
    if not hasattr(f, "fftLen"):
        trace.add(e)


def filter_linear(f, signal, trace):
    trace.add(f.filter_regressors([f.buffers["delayLine"]]))


def update_block(f, signal, trace, **options):
    x, d = signal.fill(f.blockLen), signal.fill(f.blockLen)
    y, e = f.update(x, d, **options)
    trace.add(0)
    trace.add(y)
    trace.add(e)


def filter_block(f, signal, trace):
    trace.add(0)
    trace.add(f.filter(signal.fill(getattr(f, "blockLen", 41))))


def without(flag, call):
    def operation(f, signal, trace):
        setattr(f, flag, False)
        call(f, signal, trace)
        setattr(f, flag, True)

    return operation


def once_settled(update_call, filter_call):
    def operation(f, signal, trace):
        settled = 4.0 < f.bwdEnergy[-1] < 100.0
        (filter_call if settled else update_call)(f, signal, trace)

    return operation


def by_rules(call):
    def with_rule(rule):
        return lambda f, signal, trace: call(f, signal, trace, rule=rule)

    return [with_rule(rule) for rule in ("lms", "sign-error", "sign-regressor", "sign-sign")]


GRADIENT_PREDICTOR = [predict, without("updateCoef", predict), predict_only]
SQUARES_PREDICTOR = [predict, without("updateCoef", predict), once_settled(predict, predict_only)]
OPERATIONS = {
    "fir64f": [filter_only, filter_linear, filter_block],
    "lms64f": [*by_rules(update), *by_rules(update_linear), filter_only, filter_linear],
    "nlms64f": [update, update_linear, filter_only, filter_linear],
    "adjlms64f": [update, filter_only],
    "fxlms64f": [update, filter_only],
    "blms64f": [*by_rules(update_block), filter_block],
    "bnlms64f": [update_block, filter_block],
    "lbpef64f": GRADIENT_PREDICTOR,
    "lfpef64f": GRADIENT_PREDICTOR,
    "lmslattice64f": [update, without("adaptParcor", update), filter_only],
    "bfdaf64f": [update_block, filter_block],
    "pbfdaf64f": [update_block, filter_block],
    "tdlms64f": [update, filter_only, update_linear, filter_linear],
    "rls64f": [update, update_linear, filter_only, filter_linear],
    "rlslattice64f": [update, once_settled(update, filter_only)],
    "rlslbpef64f": SQUARES_PREDICTOR,
    "rlslfpef64f": SQUARES_PREDICTOR,
}


def accessors(f):
    """Getter, setter or None, and the length of their vector. (Getting it all may round it.)"""
    for name in ("coef", "parcor", "forward_parcors", "backward_parcors", "delay_line"):
        get = getattr(f, f"get_{name}", None)
        if get is not None:
            lengths = {"coef": f.coef.size}
            if hasattr(f, "head"):
                lengths["delay_line"] = f.delayLine.size
            yield get, getattr(f, f"set_{name}", None), lengths.get(name, f.order)


def read_and_write(f, signal, trace):
    for get, set_, length in accessors(f):
        start, is_reversed = signal.choose(length), bool(signal.choose(2))
        values = get(start, length, is_reversed)
        trace.add(values)
        if set_ is not None:
            set_(values, 0, not is_reversed)


def clear(f):
    for name in ("reset", "reset_delay_line"):
        getattr(f, name, lambda: None)()


def resize(f, order):
    """As in C, where orders above the limit are reduced and others refused by a status."""
    sizes = [9] if hasattr(f, "blockLen") else []
    sizes += [3] if hasattr(f, "partitions") else []
    try:
        f._resize(order, *sizes)
        return 0
    except ValueError:
        return -2


def exact_twiddles(longest):
    """The tables of the C++ tests, which need no sine: cosines by halving the step."""
    quarter = longest // 4
    cosine, step = [1.0, 0.0], 0.0
    while len(cosine) <= quarter:
        step = math.sqrt((1.0 + step) / 2.0)
        between = [(a + b) / (2.0 * step) for a, b in zip(cosine, cosine[1:])]
        cosine = [value for pair in zip(cosine, between) for value in pair] + cosine[-1:]
    twiddles, bits = [], (quarter // 2).bit_length() - 1
    for pair in range(quarter // 2):
        backwards = int(f"{pair:0{bits}b}"[::-1], 2) if bits else 0
        twiddles += [cosine[2 * backwards], cosine[quarter - 2 * backwards]]
    return twiddles + [0.5 * value for value in cosine[:quarter]]


def long_run(family):
    signal, trace = Signal(20), Trace()
    f = family.make(8)
    if hasattr(f, "fftTwiddles"):
        f.fftTwiddles = exact_twiddles(1024)
    operations = OPERATIONS[family.c_name]
    for i in range(600):
        signal.silent = i % 10 == 3
        signal.exponent = {6: -1060, 9: 16}.get(i % 10, 0)
        large = i % 10 == 9
        if large:
            clear(f)
        for _ in range(3 if large else 40):
            operations[signal.choose(len(operations))](f, signal, trace)
        if large:
            clear(f)
        if i % 7 == 5:
            read_and_write(f, signal, trace)
        if i % 13 == 11:
            trace.add(resize(f, signal.choose(family.most + 2) + 1))
        for array in f.buffers.values():
            trace.add(array)
    return trace.digest()


def test_bits_of_c(family):
    assert long_run(family) == DIGESTS[family.c_name]


def test_all_families_are_there():
    assert set(OPERATIONS) == set(DIGESTS)
