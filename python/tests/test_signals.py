"""What filters do with signals: jobs with known solutions, pieces, masks, layouts of arrays."""

import numpy as np
import pytest
import scipy.linalg
import scipy.signal

import merlo64f
from families import FAMILIES

RESPONSE = np.array([0.8, -0.5, 0.3, 0.1])
ADAPTIVE = [family for family in FAMILIES if family.adapts]
JOINT = [family for family in ADAPTIVE if not family.predicts]
SIGN_FORMS = [family for family in JOINT if family.c_name in ("lms64f", "blms64f")]


def name(family):
    return family.c_name


def coloured(rng, samples):
    return scipy.signal.lfilter([1.0], [1.0, -0.6, 0.2], rng.standard_normal(samples))


def test_fixed_filter_is_lfilter(rng):
    coef, x = rng.standard_normal(32), rng.standard_normal(1000)
    np.testing.assert_allclose(
        merlo64f.Fir(coef).filter(x), scipy.signal.lfilter(coef, 1.0, x), rtol=0, atol=1e-12
    )


@pytest.mark.parametrize(
    "f",
    [
        merlo64f.Lms(4, 0.002),
        merlo64f.Nlms(4, 0.003),
        merlo64f.Blms(4, 100, 0.002),
        merlo64f.Bnlms(4, 100, 0.003),
        merlo64f.Bfdaf(4, 100, 0.0005),
        merlo64f.Pbfdaf(2, 2, 2, 0.02),
        merlo64f.Tdlms(4, 0.002),
        merlo64f.Rls(4, 0.9999, 1.0),
    ],
    ids=repr,
)
def test_identification_reaches_the_wiener_solution(f, rng):
    x = coloured(rng, 60000)
    d = scipy.signal.lfilter(RESPONSE, 1.0, x) + 0.05 * rng.standard_normal(x.size)
    f.update(x, d)
    lags = [x[k:] @ x[: x.size - k] / x.size for k in range(4)]
    cross = [d[k:] @ x[: x.size - k] / x.size for k in range(4)]
    wiener = scipy.linalg.solve_toeplitz(lags, cross)
    np.testing.assert_allclose(f.coef, wiener, atol=0.02)


@pytest.mark.parametrize("cls", [merlo64f.LfPef, merlo64f.LbPef])
def test_prediction_reaches_the_wiener_solution(cls, rng):
    x = coloured(rng, 100000)
    f = cls(2, 0.0005)
    f.update(x)
    np.testing.assert_allclose(f.coef, [0.6, -0.2], atol=0.03)


@pytest.mark.parametrize("cls", [merlo64f.FxLms, merlo64f.AdjLms])
def test_control_cancels_through_the_path(cls, rng):
    path = [0.0, 0.7, 0.2]
    x = rng.standard_normal(40000)
    d = scipy.signal.lfilter([0.0, 0.0, 0.5, -0.3, 0.2], 1.0, x)
    s, e = cls(16, 0.01, path, path).update(x, d)
    np.testing.assert_array_equal(e, d + s)
    assert np.mean(e[-5000:] ** 2) < 1e-3 * np.mean(d**2)


@pytest.mark.parametrize("family", JOINT, ids=name)
def test_errors_are_differences(family, signals):
    y, e = family.make().update(*signals)
    if family.c_name in ("fxlms64f", "adjlms64f"):
        y = -y
    elif family.c_name == "rlslattice64f":
        pytest.skip("a-posteriori errors")
    np.testing.assert_array_equal(e, signals[1] - y)


def test_pieces_give_the_whole(family, signals):
    x, d = signals
    whole, pieces = family.make(), family.make()
    expected = family.run(whole, x, d)
    rows = [family.run(pieces, x[i : i + n], d[i : i + n]) for i, n in ((0, 9), (9, 90), (99, 261))]
    np.testing.assert_array_equal(np.concatenate(rows, axis=1), expected)


def test_channels_are_filters(family, rng):
    x, d = rng.standard_normal((2, 3, 90))
    f = family.make(channels=3)
    together = family.run(f, x, d)
    for c in range(3):
        single = family.make()
        np.testing.assert_array_equal(together[:, c], family.run(single, x[c], d[c]))
        np.testing.assert_array_equal(f.coef[c], single.coef)
        np.testing.assert_array_equal(f[c].coef, single.coef)


LAYOUTS = {
    "reversed": lambda a: a[..., ::-1].copy()[..., ::-1],
    "every third": lambda a: np.repeat(a, 3, axis=-1)[..., ::3],
    "time first": lambda a: np.asfortranarray(a),
    "unaligned": lambda a: np.frombuffer(b"\0" + a.tobytes(), dtype=a.dtype, offset=1).reshape(a.shape),
    "swapped": lambda a: a.astype(a.dtype.newbyteorder()),
    "read-only": lambda a: np.frombuffer(a.tobytes(), dtype=a.dtype).reshape(a.shape),
    "list": lambda a: a.tolist(),
    "rows apart": lambda a: np.concatenate((a, a), axis=-1)[..., : a.shape[-1]],
}


@pytest.mark.parametrize("channels", [None, 2])
@pytest.mark.parametrize("layout", LAYOUTS.values(), ids=LAYOUTS)
def test_any_layout_is_read(layout, channels, rng):
    x, d = rng.standard_normal((2, 2, 40)) if channels else rng.standard_normal((2, 40))
    expected = merlo64f.Lms(4, 0.1, channels=channels).update(x, d)
    actual = merlo64f.Lms(4, 0.1, channels=channels).update(layout(x), layout(d))
    np.testing.assert_array_equal(actual, expected)


@pytest.mark.parametrize("dtype", ["float32", "float16", "int8", "uint32", "int64", "bool"])
def test_safe_casts(dtype, rng):
    x = (3 * rng.standard_normal(40)).astype(dtype)
    np.testing.assert_array_equal(
        merlo64f.Fir([0.5, 0.25]).filter(x), merlo64f.Fir([0.5, 0.25]).filter(x.astype(float))
    )


OUTS = {
    "fresh": lambda shape: np.empty(shape),
    "every second": lambda shape: np.empty((*shape[:-1], 2 * shape[-1]))[..., ::2],
    "backwards": lambda shape: np.empty(shape)[..., ::-1],
    "time first": lambda shape: np.empty(shape, order="F"),
}


@pytest.mark.parametrize("channels", [None, 2])
@pytest.mark.parametrize("make", OUTS.values(), ids=OUTS)
def test_out_is_written(make, channels, family, rng):
    shape = (2, 90) if channels else (90,)
    x, d = rng.standard_normal((2, *shape))
    expected = family.run(family.make(channels=channels), x, d)
    f = family.make(channels=channels)
    if family.adapts:
        out = (make(shape), make(shape))
        results = f.update(*family.signals(x, d), out=out)
    else:
        out = (make(shape),)
        results = (f.filter(x, out=out[0]),)
    for result, given, wanted in zip(results, out, expected):
        assert result is given
        np.testing.assert_array_equal(given, wanted)


def test_out_may_be_the_input(family, signals):
    x, d = signals
    expected = family.run(family.make(), x, d)
    x, d = x.copy(), d.copy()
    f = family.make()
    if family.adapts:
        f.update(*family.signals(x, d), out=(x, d))
        np.testing.assert_array_equal([x, d], expected)
    else:
        np.testing.assert_array_equal(f.filter(x, out=x), expected[0])
    only, again = family.make(), family.make()
    wanted = only.filter(signals[0])
    x = signals[0].copy()
    np.testing.assert_array_equal(again.filter(x, out=x), wanted)


@pytest.mark.parametrize("shift", [-1, 1, 7])
def test_out_may_overlap_the_input(family, rng, shift):
    memory = rng.standard_normal(120)
    x, y = memory[10:100], memory[10 + shift : 100 + shift]
    d = rng.standard_normal(90)
    if family.adapts:
        expected = family.make().update(*family.signals(x.copy(), d))[0]
        family.make().update(*family.signals(x, d), out=(y, np.empty(90)))
    else:
        expected = family.make().filter(x.copy())
        family.make().filter(x, out=y)
    np.testing.assert_array_equal(y, expected)


@pytest.mark.parametrize("family", ADAPTIVE, ids=name)
def test_mask_chooses_between_update_and_filter(family, signals):
    x, d = signals
    mask = np.arange(360) % 90 < 45
    expected = family.make()
    parts = []
    for i in range(0, 360, 45):
        piece = family.signals(x[i : i + 45], d[i : i + 45])
        parts.append(expected.update(*piece, adapt=bool(mask[i]))[0])
        if not mask[i]:
            np.testing.assert_array_equal(before.filter(piece[0]), parts[-1])
        before = expected.copy()
    masked = family.make()
    y, _ = masked.update(*family.signals(x, d), adapt=mask)
    np.testing.assert_array_equal(y, np.concatenate(parts))
    np.testing.assert_array_equal(masked.coef, expected.coef)


def test_a_mask_per_channel(rng):
    x, d = rng.standard_normal((2, 2, 30))
    mask = rng.random((2, 30)) < 0.5
    f = merlo64f.Nlms(4, 0.1, channels=2)
    together = f.update(x, d, adapt=mask)
    for c in range(2):
        alone = merlo64f.Nlms(4, 0.1).update(x[c], d[c], adapt=mask[c, ::1])
        np.testing.assert_array_equal([t[c] for t in together], alone)
    shared = merlo64f.Nlms(4, 0.1, channels=2).update(x, d, adapt=mask[0])
    np.testing.assert_array_equal(shared[0][0], together[0][0])


@pytest.mark.parametrize("family", ADAPTIVE, ids=name)
def test_history_are_coefficients_on_the_way(family, signals):
    x, d = signals
    plain, watched = family.make(), family.make()
    expected = [
        (plain.update(*family.signals(x[i : i + 36], d[i : i + 36])), plain.coef.copy())[1]
        for i in range(0, 324, 36)
    ]
    y, e, coefs = watched.update(*family.signals(x[:333], d[:333]), history=36)
    assert coefs.shape == (9, plain.coef.size)
    np.testing.assert_array_equal(coefs, expected)
    np.testing.assert_array_equal([y, e], family.run(family.make(), x[:333], d[:333]))
    both = family.make(channels=2).update(
        *family.signals(np.stack([x, x]), np.stack([d, d])), history=90
    )[2]
    assert both.shape == (2, 4, plain.coef.size)


@pytest.mark.parametrize("family", SIGN_FORMS, ids=name)
@pytest.mark.parametrize("rule", ["sign-error", "sign-regressor", "sign-sign"])
def test_rules_differ_and_learn(family, rule, rng):
    x = rng.standard_normal(45000)
    d = scipy.signal.lfilter(RESPONSE, 1.0, x)
    f = family.make(4, mu=0.001)
    f.update(x, d, rule=rule)
    np.testing.assert_allclose(f.coef, RESPONSE, atol=0.01)
    rows = np.lib.stride_tricks.sliding_window_view(np.concatenate((np.zeros(3), x)), 4)[:, ::-1]
    if hasattr(f, "update_regressors"):
        g = family.make(4, mu=0.001)
        g.update_regressors(rows, d, rule=rule)
        np.testing.assert_array_equal(g.coef, f.coef)


@pytest.mark.parametrize("cls", [merlo64f.Lms, merlo64f.Nlms, merlo64f.Tdlms, merlo64f.Rls])
def test_regressors_may_come_from_a_delay_line(cls, rng):
    x, d = rng.standard_normal((2, 200))
    arguments = (5, 0.99, 0.5) if cls is merlo64f.Rls else (5, 0.01)
    width = 4 if cls is merlo64f.Tdlms else 5
    rows = np.lib.stride_tricks.sliding_window_view(
        np.concatenate((np.zeros(width - 1), x)), width
    )[:, ::-1]
    f = cls(*arguments)
    expected = f.update(x, d)
    np.testing.assert_array_equal(cls(*arguments).update_regressors(rows, d), expected)
    g = cls(*arguments, channels=2)
    twice = g.update_regressors(np.stack([rows, rows]), np.stack([d, d]))
    np.testing.assert_array_equal(twice[1][1], expected[1])
    np.testing.assert_allclose(f.filter_regressors(rows), rows @ np.resize(f.coef, width))


@pytest.mark.parametrize("samples", [0, 9])
def test_few_samples(family, samples):
    x = np.ones(samples)
    assert family.make().filter(x).shape == (samples,)
    assert family.run(family.make(channels=2), np.ones((2, samples)), np.ones((2, samples))).shape[1:] == (
        2,
        samples,
    )
