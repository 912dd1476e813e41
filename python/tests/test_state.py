"""Fields, arrays, accessors, resets, resizing, copies, pickles."""

import copy
import gc
import pickle
import subprocess
import sys

import numpy as np
import pytest

import merlo64f
from families import FAMILIES

ADAPTIVE = [family for family in FAMILIES if family.adapts]


def name(family):
    return family.c_name


def in_use(family, signals, **options):
    f = family.make(**options)
    family.run(f, *signals)
    return f


def assert_same_state(f, g):
    """The saved states are equal to the bit."""
    assert pickle.dumps(f) == pickle.dumps(g)


def test_numbers(family):
    f = family.make()
    assert f.order == 5
    assert f.channels is None
    for field in ("mu", "muCoef", "lambda_", "power", "err"):
        if isinstance(getattr(f, field, None), float):
            setattr(f, field, 0.125)
            assert getattr(f, field) == 0.125
    with pytest.raises(AttributeError):
        f.order = 6
    for flag in ("constrained", "updateCoef", "adaptParcor"):
        if hasattr(f, flag):
            assert getattr(f, flag) is True
            setattr(f, flag, False)
            assert getattr(f, flag) is False


def test_numbers_of_channels():
    f = merlo64f.Nlms(4, 0.5, channels=3)
    np.testing.assert_array_equal(f.mu, [0.5, 0.5, 0.5])
    f.mu = [1, 2, 3]
    assert f[1].mu == 2.0
    f.mu = 0.25
    np.testing.assert_array_equal(f.mu, [0.25, 0.25, 0.25])
    with pytest.raises(ValueError, match="^mu: shape"):
        f.mu = [1.0, 2.0]


def test_lambda_sets_its_inverse():
    f = merlo64f.Rls(4, 0.99, 1.0)
    f.lambda_ = 0.5
    assert f.invLambda == 2.0


def test_positions_stay_in_their_ring():
    f = merlo64f.Pbfdaf(4, 4, 3, 0.1)
    f.ringPos = 8
    assert f.ringPos == 8
    for wrong in (-1, 1, 12, 2**40):
        with pytest.raises(ValueError, match="^ringPos: "):
            f.ringPos = wrong


def test_arrays_are_views(family):
    f = family.make()
    held = ("coef", "parcor", "fwdParcor", "outLine", "estCoef", "invCorr", "powerAvg", "delayLine")
    for array in held:
        view = getattr(f, array, None)
        if isinstance(view, np.ndarray) and view.flags.writeable:
            view[0] = 0.75
            assert getattr(f, array)[0] == 0.75
            assert not view.flags.owndata
            setattr(f, array, 0.5)
            np.testing.assert_array_equal(view, np.full(view.shape, 0.5))
        elif view is not None:
            with pytest.raises(ValueError, match="read-only"):
                view[0] = 0.75


def test_arrays_outlive_their_filter(family, signals):
    f = in_use(family, signals)
    views = {key: (view, view.copy()) for key, view in f.buffers.items()}
    f.resize(max(family.least, 3))
    family.run(f, *signals)
    del f
    gc.collect()
    for view, before in views.values():
        np.testing.assert_array_equal(view, before)
        view[:] = 0.0


def test_taps_of_transform_families(rng):
    for f in (merlo64f.Bfdaf(5, 9, 0.01), merlo64f.Pbfdaf(5, 9, 3, 0.01), merlo64f.Tdlms(5, 0.01)):
        taps = rng.standard_normal(f.coef.size)
        f.coef = taps
        before = f.copy()
        np.testing.assert_allclose(f.coef, taps, atol=1e-12)
        assert_same_state(f, before)  # reading the property rounds nothing


def test_ring_is_read_newest_first(rng):
    f = merlo64f.Lms(4, 0.1)
    f.filter([1.0, 2.0, 3.0, 4.0, 5.0])
    np.testing.assert_array_equal(f.delayLine, [5, 4, 3, 2])
    f.delayLine = [1, 0, 0, 0]
    assert f.get_delay_line(1).tolist() == [0, 0, 0]
    f.coef = [2, 0, 0, 7]
    assert f.filter([0.0]).tolist() == [0.0]
    assert f.get_coef(2, 9, True).tolist() == [7, 0]
    assert f.set_coef([5, 6, 7], start=2) == 2
    assert f.coef.tolist() == [2, 0, 5, 6]


def test_borrowed_arrays_are_copied():
    path = np.array([0.0, 1.0])
    f = merlo64f.FxLms(4, 0.1, path, path[::-1])
    path[:] = np.nan
    assert f.secCoef.tolist() == [0.0, 1.0]
    assert f.estCoef.tolist() == [1.0, 0.0]
    f.estCoef[0] = 0.5
    assert f.copy().estCoef.tolist() == [0.5, 0.0]


def test_resets(family, signals):
    f = in_use(family, signals)
    if hasattr(f, "reset"):
        f.reset()
        assert not f.coef.any()
    if hasattr(f, "reset_delay_line"):
        f.reset_delay_line()
        assert not f.delayLine.any()


def test_copy_shares_nothing(family, signals):
    f = in_use(family, signals)
    for twin in (f.copy(), copy.copy(f), copy.deepcopy(f)):
        assert_same_state(twin, f)
        np.testing.assert_array_equal(family.run(twin, *signals), family.run(f.copy(), *signals))
        twin.filter(np.ones(9))
        assert pickle.dumps(twin) != pickle.dumps(f)


def test_channel_shares_its_state():
    f = merlo64f.Nlms(4, 0.1, channels=2)
    one = f[-1]
    one.coef[2] = 5.0
    assert f.coef[1, 2] == 5.0
    f.resize(6)
    one.update(np.ones(3), np.ones(3))
    np.testing.assert_array_equal(f.coef[1], one.coef)
    with pytest.raises(TypeError, match="same sizes"):
        one.resize(7)
    assert one.copy().resize(7) is None
    with pytest.raises(IndexError):
        f[2]
    with pytest.raises(TypeError):
        one[0]


def test_resize_keeps_what_fits(family, signals):
    f = in_use(family, signals, channels=None)
    before = f.coef.copy()
    f.resize(7)
    assert f.order == 7
    assert family.run(f, *signals).shape[1] == 360
    g = in_use(family, signals)
    g.resize(max(4, family.least))
    if not family.predicts:
        n = min(g.coef.size, 4)
        np.testing.assert_allclose(g.coef[:n], before[:n], atol=1e-12)
    with pytest.raises(ValueError, match="^order: "):
        g.resize(family.most + 1)
    assert g.order == max(4, family.least)


def test_resize_of_blocks():
    f = merlo64f.Pbfdaf(4, 4, 3, 0.1)
    f.resize(8, blockLen=8)
    assert (f.order, f.blockLen, f.partitions) == (8, 8, 3)
    f.resize(8, partitions=2)
    assert (f.order, f.blockLen, f.partitions, f.coef.size) == (8, 8, 2, 16)


@pytest.mark.parametrize("channels", [None, 2])
@pytest.mark.parametrize("protocol", [2, pickle.HIGHEST_PROTOCOL])
def test_pickle_is_exact(family, signals, channels, protocol):
    x, d = signals if channels is None else np.stack([signals, signals], axis=1)
    f = family.make(channels=channels)
    family.run(f, x, d)
    g = pickle.loads(pickle.dumps(f, protocol))
    assert_same_state(f, g)
    np.testing.assert_array_equal(family.run(f, x, d), family.run(g, x, d))


def test_record_by_names(family, signals):
    f = in_use(family, signals)
    g = family.cls.from_record(f.record)
    assert_same_state(f, g)
    broken = f.record
    del broken["order"]
    with pytest.raises(ValueError, match="order is missing"):
        family.cls.from_record(broken)
    both = family.make(channels=2)
    assert_same_state(both[1], family.cls.from_record(both.record[1]))


def test_pickle_between_processes(family, signals, tmp_path):
    f = in_use(family, signals)
    np.savez(tmp_path / "signals.npz", x=signals[0], d=signals[1])
    (tmp_path / "filter").write_bytes(pickle.dumps((f, family)))
    program = """
import pickle, sys, numpy as np
from pathlib import Path
sys.path.insert(0, sys.argv[2])
there = Path(sys.argv[1])
f, family = pickle.loads((there / "filter").read_bytes())
signals = np.load(there / "signals.npz")
np.save(there / "results", family.run(f, signals["x"], signals["d"]))
"""
    tests = str(__import__("pathlib").Path(__file__).parent)
    subprocess.run([sys.executable, "-c", program, tmp_path, tests], check=True)
    np.testing.assert_array_equal(np.load(tmp_path / "results.npy"), family.run(f, *signals))


def test_repr_says_what_it_is():
    assert repr(merlo64f.Nlms(8, 0.5)) == "Nlms(order=8, mu=0.5)"
    assert repr(merlo64f.Rls(8, 0.99, 1.0, channels=2)) == "Rls(order=8, lambda_=0.99, channels=2)"
    assert repr(merlo64f.Pbfdaf(8, 8, 3, 0.5, False)) == (
        "Pbfdaf(order=8, blockLen=8, partitions=3, mu=0.5, constrained=False)"
    )
