#!/usr/bin/env python3
"""The same unknown system and coloured noise for one filter of each kind: who learns how fast.

    compare_filters.py [DIRECTORY for the picture]

Prints a line per filter: samples until the error has fallen to 3 dB above the noise of the measurement.
(RlsLattice is left out: its errors are a-posteriori errors, which are small from the start.)
"""

import sys
from pathlib import Path

import matplotlib

matplotlib.use("agg")

import matplotlib.pyplot as plt
import numpy as np

import merlo64f
from merlo64f import plot, steps

RUNS, SAMPLES, ORDER = 20, 30000, 16
NOISE = 0.01  # standard deviation; d has about 1


def signals(rng: np.random.Generator) -> tuple[np.ndarray, np.ndarray]:
    """Noise of a first-order process, and what a system of ORDER taps makes of it."""
    x = rng.standard_normal((RUNS, SAMPLES))
    for n in range(1, SAMPLES):
        x[:, n] += 0.9 * x[:, n - 1]
    system = rng.standard_normal(ORDER) * 0.8 ** np.arange(ORDER)
    d = merlo64f.Fir(system, channels=RUNS).filter(x)
    scale = d.std()
    return x * np.sqrt(1 - 0.81), d / scale + NOISE * rng.standard_normal(d.shape)


def main() -> int:
    out = Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    x, d = signals(np.random.default_rng(1))
    lms = 0.1 * steps.lms_limit(x[0], ORDER)
    nlms = 0.1 * steps.nlms_limit(x[0], ORDER)
    white = steps.nlms_mu(0.2, ORDER)  # a tenth of the bound
    filters = [
        merlo64f.Lms(ORDER, lms, channels=RUNS),
        merlo64f.Nlms(ORDER, nlms, channels=RUNS),
        merlo64f.Tdlms(ORDER, white, channels=RUNS),
        merlo64f.Bfdaf(ORDER, 16, white, channels=RUNS),
        merlo64f.LmsLattice(ORDER, 1e-5, white, channels=RUNS),
        merlo64f.Rls(ORDER, 0.999, 1.0, channels=RUNS),
    ]
    figure, ax = plt.subplots(figsize=(9, 5), layout="constrained")
    goal = 20 * np.log10(NOISE) + 3
    settled = {}
    for f in filters:
        name = type(f).__name__
        _, e = f.update(x, d)
        plot.learning_curve(e, window=100, ax=ax, label=name, linewidth=1.2)
        above = np.flatnonzero(plot.level(e, 100) > goal)
        settled[name] = int(above[-1]) + 1 if above.size else 0
        text = settled[name] if settled[name] < SAMPLES else "not yet"
        print(f"{name:12} {text}", flush=True)
    ax.axhline(goal - 3, color="black", linestyle=":", linewidth=1)
    ax.set_title(f"One system of {ORDER} taps, coloured noise, mean of {RUNS} runs")
    ax.set_ylim(-45, 10)
    ax.set_xscale("log")
    ax.set_xlim(10, SAMPLES)
    figure.savefig(out / "python_comparison.png", dpi=120)
    # Least squares does not mind the colour, the transform hardly.
    good = settled["Rls"] < 1000 and settled["Tdlms"] < 0.5 * settled["Nlms"]
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
