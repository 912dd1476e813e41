"""Step sizes, learning curves, stubs, docstrings, the guide."""

import inspect
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import scipy.signal

import merlo64f
from families import FAMILIES
from merlo64f import steps

ROOT = Path(__file__).parents[2]


def coloured(rng, samples=60000):
    return scipy.signal.lfilter([1.0], [1.0, -0.9], rng.standard_normal(samples))


def test_limit_on_white_noise(rng):
    x = 3.0 * rng.standard_normal(200000)
    assert steps.lms_limit(x, 16) == pytest.approx(2 / (18 * 9), rel=0.3)
    assert steps.nlms_limit(x, 16) == pytest.approx(2 / 18, rel=0.3)


@pytest.mark.parametrize(
    "cls, limit", [(merlo64f.Lms, steps.lms_limit), (merlo64f.Nlms, steps.nlms_limit)]
)
@pytest.mark.parametrize("colour", [lambda rng: rng.standard_normal(60000), coloured])
def test_limits_divide_stable_from_unstable(cls, limit, colour, rng):
    x = colour(rng)
    d = np.convolve(x, rng.standard_normal(16))[: x.size] + 0.01 * rng.standard_normal(x.size)
    bound = limit(x, 16)
    _, e = cls(16, 0.5 * bound).update(x, d)
    assert np.max(np.abs(e)) < 10 * np.max(np.abs(d))
    assert np.mean(e[-10000:] ** 2) < 0.001
    _, e = cls(16, 3 * bound).update(x, d)
    assert not np.max(np.abs(e)) < 100 * np.max(np.abs(d))


def test_conversions():
    assert steps.nlms_mu(0.5, 10) == 0.05
    assert steps.memory_lambda(100) == 0.99
    assert steps.memory_lambda(np.inf) == 1.0
    assert steps.rls_lambda(0.5) == 2 / 3
    assert steps.rls_delta(0.01) == 100.0
    assert steps.power([3.0, 4.0]) == 12.5
    for wrong in (
        lambda: steps.lms_limit(np.zeros(100), 4),
        lambda: steps.lms_limit(np.ones(4), 4),
        lambda: steps.nlms_limit(np.ones((2, 9)), 4),
        lambda: steps.memory_lambda(1),
        lambda: steps.rls_lambda(1.5),
        lambda: steps.rls_delta(0.0),
    ):
        with pytest.raises(ValueError, match="^[a-z]+: "):
            wrong()


def test_learning_curve():
    pytest.importorskip("matplotlib")
    from merlo64f import plot

    e = np.array([1.0, 1.0, 0.1, 0.1, 0.0, 0.0])
    np.testing.assert_allclose(plot.level(e, 2)[[1, 3, 5]], [0.0, -20.0, -400.0])
    ax = plot.learning_curve([e, e], rate=2.0, window=2, label="two runs")
    (line,) = ax.get_lines()
    assert line.get_xdata()[-1] == 2.5
    assert plot.learning_curve(e, ax=ax) is ax


def test_stubs_agree_with_the_package(tmp_path):
    package = Path(merlo64f.__file__).parent
    # classes have the metaclass of pybind11, and one name is imported for the types only
    (tmp_path / "allowed").write_text(r"merlo64f(\.\w+)?\.[A-Z]\w+" + "\n")
    subprocess.run(
        [sys.executable, "-m", "mypy.stubtest", "--mypy-config-file", ROOT / "pyproject.toml"]
        + ["--allowlist", tmp_path / "allowed", "merlo64f"],
        check=True,
        cwd=package.parent,
    )
    subprocess.run(
        [sys.executable, "-m", "mypy", "--config-file", ROOT / "pyproject.toml"]
        + ["--cache-dir", tmp_path, "-p", "merlo64f"],
        check=True,
        cwd=package.parent,
    )


USE = """
import numpy as np
import merlo64f as m
f = m.Nlms(32, mu=0.01)
x = np.zeros(100)
y, e = f.update(x, x, adapt=x > 0, out=(x, x))
y, e, coefs = f.update(x, x, history=10)
f.mu = 0.5
f.coef = [1, 2]
f.coef[3] = 2.0
y, e = m.LfPef(4, 0.1, channels=2).update(np.zeros((2, 9)))
m.Lms(4, 0.1).update(x, x, rule="sign-error")
"""


def test_types_of_uses(tmp_path):
    (tmp_path / "merlo64f").symlink_to(Path(merlo64f.__file__).parent)

    def check(program):
        (tmp_path / "program.py").write_text(program)
        return subprocess.run(
            [sys.executable, "-m", "mypy", "--strict", "--cache-dir", tmp_path, "program.py"],
            cwd=tmp_path,
            capture_output=True,
            text=True,
        ).stdout

    assert "Success" in check(USE)
    wrong = [
        "m.Nlms(32)",
        "m.LfPef(4, 0.1).update(np.zeros(3), np.zeros(3))",
        "m.Lms(4, 0.1).update([1], [1], rule='sign')",
        "m.Fir([1.0]).order = 3",
        "m.Rls(3, 0.9, 1.0).lms",
    ]
    output = check("import numpy as np\nimport merlo64f as m\n" + "\n".join(wrong) + "\n")
    for line in range(3, 3 + len(wrong)):
        assert f"program.py:{line}: error" in output


def test_everything_is_documented(family):
    doc = inspect.getdoc(family.cls)
    assert family.c_name in doc.splitlines()[0]
    for section in ("Parameters", "Notes", "References", "Raises"):
        assert f"\n{section}\n{'-' * len(section)}\n" in doc
    for name in dir(family.cls):
        if not name.startswith("_"):
            assert len(inspect.getdoc(getattr(family.cls, name))) > 15, name
    header = (ROOT / "include" / f"{family.c_name}.h").read_text()
    for argument in family.arguments:
        assert argument.rstrip("_") in header


def test_every_family_of_c_is_there():
    headers = {path.stem for path in (ROOT / "include").glob("*64f.h")} - {"merlo64f"}
    assert {family.c_name for family in FAMILIES} == headers
    assert {family.cls.__name__ for family in FAMILIES} == set(merlo64f.__all__) - {"steps"}


@pytest.mark.parametrize("page", ["README.md", "docs/guide/python.md"])
def test_printed_programs_run(page, tmp_path, monkeypatch):
    """The code of the page, in its order, in one interpreter."""
    monkeypatch.chdir(tmp_path)
    text = (ROOT / page).read_text()
    program = "\n".join(block.split("\n```")[0] for block in text.split("```python\n")[1:])
    exec(compile(program, page, "exec"), {"__name__": "__page__"})
    assert (tmp_path / "learning_curve.png").stat().st_size > 1000
