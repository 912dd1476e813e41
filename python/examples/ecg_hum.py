#!/usr/bin/env python3
"""Mains hum out of an electrocardiogram, by a sine and a cosine as the reference.

    ecg_hum.py [DIRECTORY for the picture]

The recording is that of scipy: five minutes at 360 Hz, in millivolts, with the hum of the place where it
was made. Prints by how much the line at 60 Hz stands above its surroundings before and after, and the
change of everything else.
"""

import sys
from pathlib import Path

import matplotlib

matplotlib.use("agg")

import matplotlib.pyplot as plt
import numpy as np
import scipy
import scipy.signal

import merlo64f

RATE = 360.0  # Hz
MAINS = 60.0  # Hz
LEAST_REDUCTION = 10.0  # dB


def recording() -> np.ndarray:
    """The file behind scipy.misc.electrocardiogram(), which needs no download."""
    with np.load(Path(scipy.__file__).parent / "misc" / "ecg.dat") as file:
        return (file["ecg"].astype(float) - 1024.0) / 200.0


def spectrum(signal: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    f, p = scipy.signal.welch(signal, RATE, nperseg=7200)
    return f, 10 * np.log10(p)


def line(signal: np.ndarray) -> float:
    """dB by which the hum stands above the frequencies beside it."""
    f, p = spectrum(signal)
    hum = np.abs(f - MAINS) < 0.15
    beside = (np.abs(f - MAINS) > 1) & (np.abs(f - MAINS) < 4)
    return float(10 * np.log10(np.mean(10 ** (p[hum] / 10)) / np.mean(10 ** (p[beside] / 10))))


def main() -> int:
    out = Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    ecg = recording()
    angle = 2 * np.pi * MAINS / RATE * np.arange(ecg.size)
    reference = np.column_stack([np.sin(angle), np.cos(angle)])
    # Two taps: amplitude and phase. The step sets the width of the notch, about mu * RATE / (2 pi) Hz. The
    # filter adapts on the band of the hum, so that the heart disturbs it less.
    band = scipy.signal.butter(2, 40.0, "highpass", fs=RATE, output="sos")
    hum, _ = merlo64f.Lms(2, mu=0.003).update_regressors(reference, scipy.signal.sosfiltfilt(band, ecg))
    clean = ecg - hum

    before, after = line(ecg[7200:]), line(clean[7200:])
    removed = np.mean(hum[7200:] ** 2) / np.mean(ecg[7200:] ** 2)
    print(f"hum above its surroundings: {before:.1f} dB before, {after:.1f} dB after")
    print(f"reduction {before - after:.1f} dB; removed {100 * removed:.2f} % of the power")

    figure, (top, middle, bottom) = plt.subplots(3, 1, figsize=(9, 8), layout="constrained")
    part = slice(36000, 36000 + 540)
    t = np.arange(ecg.size)[part] / RATE
    top.plot(t, ecg[part], color="0.6", label="recording")
    top.plot(t, clean[part], label="without hum", linewidth=1)
    top.set_ylabel("mV")
    top.legend()
    middle.plot(t, 1000 * hum[part], linewidth=1)
    middle.set_ylabel("hum in \N{GREEK SMALL LETTER MU}V")
    middle.set_xlabel("time in s")
    for signal, style in ((ecg, {"color": "0.6"}), (clean, {"linewidth": 1})):
        frequencies, level = spectrum(signal[7200:])
        bottom.plot(frequencies, level, **style)
    bottom.set_xlim(40, 80)
    bottom.set_ylim(-60, -25)
    bottom.set_xlabel("frequency in Hz")
    bottom.set_ylabel("dB re 1 mV\N{SUPERSCRIPT TWO}/Hz")
    for ax in (top, middle, bottom):
        ax.grid(True, alpha=0.3)
    figure.savefig(out / "python_ecg.png", dpi=120)
    return 0 if before - after >= LEAST_REDUCTION and removed < 0.01 else 1


if __name__ == "__main__":
    sys.exit(main())
