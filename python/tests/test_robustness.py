"""Whatever is passed: an exception that names the argument, or a result; never a crash."""

import copy
import pickle
import threading

import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from hypothesis.extra import numpy as arrays

import merlo64f
from families import FAMILIES, PATHS

REFUSALS = (ValueError, TypeError, MemoryError)
FAMILY = st.sampled_from(FAMILIES)
fuzz = settings(deadline=None, suppress_health_check=list(HealthCheck), max_examples=200)

X = np.zeros(10)
REFUSED = {
    "order 0": (lambda: merlo64f.Nlms(0, 0.1), ValueError, "^order: 0, must be from 1 to "),
    "order 33": (lambda: merlo64f.Nlms(33, 0.1), ValueError, "^order: 33, .*Pbfdaf"),
    "order 33 of parts": (lambda: merlo64f.Pbfdaf(33, 9, 9, 0.1), ValueError, "^order: .*partitions"),
    "stages": (lambda: merlo64f.LfPef(11, 0.1), ValueError, "^order: 11, must be from 1 to 10"),
    "order 2**70": (lambda: merlo64f.Nlms(2**70, 0.1), ValueError, "^order: too large"),
    "order 3.5": (lambda: merlo64f.Nlms(3.5, 0.1), TypeError, "^order: an integer"),
    "order of Tdlms": (lambda: merlo64f.Tdlms(2, 0.1), ValueError, "^order: 2, must be from 3"),
    "mu": (lambda: merlo64f.Nlms(3, "fast"), TypeError, "^mu: a number"),
    "coef": (lambda: merlo64f.Fir(np.zeros(33)), ValueError, "^coef: 33 taps.*Pbfdaf"),
    "no coef": (lambda: merlo64f.Fir([]), ValueError, "^coef: shape"),
    "path": (lambda: merlo64f.FxLms(3, 0.1, [[1.0]], [1.0]), ValueError, "^secCoef: shape"),
    "blockLen": (lambda: merlo64f.Blms(3, 0, 0.1), ValueError, "^blockLen: 0"),
    "channels": (lambda: merlo64f.Nlms(3, 0.1, channels=0), ValueError, "^channels: 0"),
    "memory": (lambda: merlo64f.Pbfdaf(32, 32, 2**30, 0.1), MemoryError, ""),
    "memory of blocks": (lambda: merlo64f.Bfdaf(32, 2**30, 0.1), MemoryError, ""),
    "memory of channels": (
        lambda: merlo64f.Pbfdaf(32, 32, 2**16, 0.1, channels=2**24), MemoryError, ""),
    "memory of resize": (lambda: merlo64f.Bfdaf(3, 3, 0.1).resize(3, 2**30), MemoryError, ""),
    "x 2-D": (lambda: merlo64f.Nlms(3, 0.1).filter(np.zeros((2, 5))), ValueError, "^x: shape"),
    "x 1-D": (lambda: merlo64f.Nlms(3, 0.1, channels=2).filter(X), ValueError, "^x: shape"),
    "x complex": (lambda: merlo64f.Nlms(3, 0.1).filter(X * 1j), ValueError, "^x: dtype complex128"),
    "x long double": (
        lambda: merlo64f.Nlms(3, 0.1).filter(X.astype("g")), ValueError, "^x: dtype"),
    "x text": (lambda: merlo64f.Nlms(3, 0.1).filter(["1"]), ValueError, "^x: dtype <U1"),
    "x None": (lambda: merlo64f.Nlms(3, 0.1).filter(None), TypeError, "^x: an array of numbers"),
    "x ragged": (lambda: merlo64f.Nlms(3, 0.1).filter([[1], [1, 2]]), REFUSALS, "^x: "),
    "d": (lambda: merlo64f.Nlms(3, 0.1).update(X, X[1:]), ValueError, r"^d: shape \(9,\)"),
    "block": (lambda: merlo64f.Blms(3, 4, 0.1).filter(X), ValueError, "^x: 10 samples.*blockLen, 4"),
    "mask length": (
        lambda: merlo64f.Nlms(3, 0.1).update(X, X, [True]), ValueError, "^adapt: shape"),
    "mask dtype": (lambda: merlo64f.Nlms(3, 0.1).update(X, X, X), ValueError, "^adapt: dtype"),
    "mask in a block": (
        lambda: merlo64f.Blms(3, 5, 0.1).update(X, X, np.arange(10) < 3), ValueError,
        "^adapt: changes within a block"),
    "history": (lambda: merlo64f.Nlms(3, 0.1).update(X, X, history=0), ValueError, "^history: 0"),
    "history of blocks": (
        lambda: merlo64f.Blms(3, 5, 0.1).update(X, X, history=3), ValueError, "^history: 3"),
    "out shape": (
        lambda: merlo64f.Nlms(3, 0.1).filter(X, out=np.zeros(9)), ValueError, "^out: shape"),
    "out dtype": (
        lambda: merlo64f.Nlms(3, 0.1).filter(X, out=np.zeros(10, "f4")), ValueError, "^out: dtype"),
    "out read-only": (
        lambda: merlo64f.Nlms(3, 0.1).filter(X, out=np.broadcast_to(0.0, 10)), ValueError,
        "^out: read-only"),
    "out list": (lambda: merlo64f.Nlms(3, 0.1).filter(X, out=[0] * 10), TypeError, "^out: an array"),
    "out single": (lambda: merlo64f.Nlms(3, 0.1).update(X, X, out=X), TypeError, "^out: a pair"),
    "out triple": (
        lambda: merlo64f.Nlms(3, 0.1).update(X, X, out=(X, X, X)), ValueError, "^out: must be"),
    "out twice": (
        lambda: merlo64f.Nlms(3, 0.1).update(X, X, out=(X.copy(),) * 2), ValueError,
        "^out: the arrays overlap"),
    "rule": (lambda: merlo64f.Lms(3, 0.1).update(X, X, rule="sign"), ValueError, "^rule: 'sign'"),
    "X": (
        lambda: merlo64f.Rls(3, 0.9, 1.0).update_regressors(np.zeros((10, 4)), X), ValueError,
        r"^X: shape \(10, 4\), must be \(samples, 3\)"),
    "argument": (lambda: merlo64f.Nlms(3, 0.1).update(X, X, X, X, X, X), TypeError, "^update"),
    "keyword": (lambda: merlo64f.Nlms(3, 0.1).filter(X, rule="lms"), TypeError, "'rule'"),
    "missing": (lambda: merlo64f.Nlms(3, 0.1).update(X), TypeError, "'d'"),
    "twice": (lambda: merlo64f.Nlms(3, 0.1).filter(X, x=X), TypeError, "'x'"),
    "coef length": (lambda: setattr(merlo64f.Nlms(3, 0.1), "coef", [1, 2]), ValueError, "^coef: "),
    "start": (lambda: merlo64f.Nlms(3, 0.1).get_coef(3), ValueError, "out of range"),
    "no __init__": (
        lambda: merlo64f.Nlms.__new__(merlo64f.Nlms).filter(X), TypeError, "__init__"),
    "no __init__, field": (
        lambda: merlo64f.Nlms.__new__(merlo64f.Nlms).coef, TypeError, "__init__"),
}


@pytest.mark.parametrize("call, error, message", REFUSED.values(), ids=REFUSED)
def test_refused(call, error, message):
    with pytest.raises(error, match=message):
        call()


# Sizes that no 32-bit field holds: most others would be granted.
HUGE = st.sampled_from([2**31, 2**32 + 1, 2**63, 2**70, -(2**31), -(2**63) - 1])
ANY_NUMBER = st.one_of(
    st.integers(-5, 40), HUGE, st.floats(), st.none(), st.text(max_size=3), st.booleans()
)
ANY_ARRAY = st.one_of(
    arrays.arrays(
        st.one_of(arrays.scalar_dtypes(), st.just(np.dtype("f8"))),
        arrays.array_shapes(min_dims=0, max_dims=3, min_side=0, max_side=40),
    ),
    ANY_NUMBER,
    st.lists(ANY_NUMBER, max_size=4),
)


@fuzz
@given(FAMILY, st.data())
def test_any_arguments_of_init(family, data):
    arguments = {"order": 5, **family.arguments}
    for key in arguments:
        if data.draw(st.booleans()):
            arguments[key] = data.draw(ANY_ARRAY if key in PATHS else ANY_NUMBER)
    try:
        f = family.make(**arguments, channels=data.draw(st.one_of(st.none(), ANY_NUMBER)))
    except REFUSALS:
        return
    assert 1 <= f.order <= family.most


@st.composite
def strided(draw, shape):
    """Doubles of that shape, at any place and distance in memory."""
    steps = [draw(st.sampled_from([1, 2, 3, -1, -2])) for _ in shape]
    memory = draw(
        arrays.arrays(
            "f8",
            [max(n, 1) * abs(step) for n, step in zip(shape, steps)],
            elements=st.floats(width=64),
            fill=st.floats(-1, 1),
        )
    )
    order = draw(st.sampled_from("CF"))
    view = np.array(memory, order=order)[tuple(slice(None, None, step) for step in steps)]
    return view[tuple(slice(n) for n in shape)]


@fuzz
@given(FAMILY, st.data())
def test_any_strides_give_the_same(family, data):
    channels = data.draw(st.sampled_from([None, 1, 3]))
    samples = data.draw(st.sampled_from([0, 9, 18, 45]))
    shape = (samples,) if channels is None else (channels, samples)
    x, d = data.draw(strided(shape)), data.draw(strided(shape))
    mask = np.repeat(data.draw(arrays.arrays(bool, samples // 9)), 9)
    f, g = family.make(channels=channels), family.make(channels=channels)
    if not family.adapts:
        out = data.draw(strided(shape))
        f.filter(x, out=out)
        np.testing.assert_array_equal(out, g.filter(x.copy()))
        return
    expected = g.update(*family.signals(x.copy(), d.copy()), adapt=mask.copy())
    out = (data.draw(strided(shape)), data.draw(strided(shape)))
    f.update(*family.signals(x, d), adapt=np.repeat(mask, 2)[::2], out=out)
    np.testing.assert_array_equal(out, expected)


@fuzz
@given(FAMILY, st.sampled_from([None, 2]), st.data())
def test_any_arguments_of_calls(family, channels, data):
    f = family.make(channels=channels)
    before = pickle.dumps(f)
    methods = [
        method for method in dir(f) if not method.startswith("__") and callable(getattr(f, method))
    ] + ["__setstate__", "__getitem__"]
    method = getattr(f, data.draw(st.sampled_from(methods)))
    arguments = data.draw(st.lists(ANY_ARRAY, max_size=4))
    names = st.sampled_from(["adapt", "history", "out", "rule", "start", "count", "order", "blockLen"])
    keywords = data.draw(st.dictionaries(names, ANY_ARRAY, max_size=2))
    try:
        method(*arguments, **keywords)
    except REFUSALS + (IndexError,):
        assert pickle.dumps(f) == before
    family.run(f, *np.zeros((2, 9) if channels is None else (2, 2, 9)))


@fuzz
@given(FAMILY, st.data())
def test_any_values_of_properties(family, data):
    f = family.make(channels=data.draw(st.sampled_from([None, 2])))
    names = [n for n in dir(f) if not n.startswith("_") and not callable(getattr(f, n))]
    for _ in range(3):
        try:
            setattr(f, data.draw(st.sampled_from(names)), data.draw(ANY_ARRAY))
        except REFUSALS + (AttributeError,):
            pass
    repr(f)
    pickle.loads(pickle.dumps(f))
    x = np.ones((2, 9) if f.channels is None else (2, 2, 9))
    family.run(f, *x)


@fuzz
@given(FAMILY, st.data())
def test_garbage_in_states(family, data):
    f = family.make()
    name, channels, records = copy.deepcopy(f.__getstate__())
    record = records[0]
    for key in data.draw(st.lists(st.sampled_from(sorted(record)), min_size=1, max_size=3)):
        if data.draw(st.integers(0, 9)) == 0:
            record.pop(key, None)
        elif isinstance(record.get(key), int):
            record[key] = data.draw(st.one_of(st.integers(-2, 70), HUGE))
        else:
            record[key] = data.draw(ANY_ARRAY)
    state = (name, channels, records * data.draw(st.integers(0, 2)))
    g = type(f).__new__(type(f))
    try:
        g.__setstate__(data.draw(st.sampled_from([state, state, state, records, None])))
    except REFUSALS:
        with pytest.raises(TypeError):
            g.copy()
        return
    assert pickle.loads(pickle.dumps(g)).order == g.order
    family.run(g, *np.zeros((2, g.blockLen * 2 if family.blocks else 9)))


@fuzz
@given(FAMILY, st.data())
def test_garbage_in_pickles(family, data):
    state = bytearray(pickle.dumps(family.make().__getstate__()))
    for place in data.draw(st.lists(st.integers(0, len(state) - 1), min_size=1, max_size=4)):
        state[place] = data.draw(st.integers(0, 255))
    try:
        garbage = pickle.loads(bytes(state))
    except Exception:  # what pickle itself makes of it
        return
    try:
        family.make().__setstate__(garbage)
    except REFUSALS:
        pass


def test_filters_run_in_parallel_threads(family, rng):
    x, d = rng.standard_normal((2, 4500))
    expected = family.run(family.make(), x, d)
    results = [None] * 8

    def work(k):
        f = family.make()
        results[k] = np.concatenate(
            [family.run(f, x[i : i + 90], d[i : i + 90]) for i in range(0, 4500, 90)], axis=1
        )

    threads = [threading.Thread(target=work, args=(k,)) for k in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for result in results:
        np.testing.assert_array_equal(result, expected)


def test_a_filter_is_one_threads_at_a_time(family, rng):
    x, d = rng.standard_normal((2, 90000))
    f = family.make()
    outcomes = []

    def work():
        for call in (lambda: family.run(f, x, d), f.copy, lambda: f.resize(6), lambda: f.coef):
            try:
                call()
                outcomes.append("done")
            except RuntimeError as error:
                outcomes.append(str(error))

    threads = [threading.Thread(target=work) for _ in range(6)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert set(outcomes) <= {"done", "the filter is in use by another thread"}
    assert "done" in outcomes
    family.run(f, x[:90], d[:90])
