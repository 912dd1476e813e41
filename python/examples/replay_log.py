#!/usr/bin/env python3
"""Replays the log of a microcontroller on the desk and compares every output bit for bit.

    replay_log.py LOG [DIRECTORY for the picture]

The log is that of examples/microcontroller: the record of an FxLms by the names of its fields, then the
samples. Doubles are the 16 hexadecimal digits of their bits.
"""

import struct
import sys
from pathlib import Path

import matplotlib

matplotlib.use("agg")

import matplotlib.pyplot as plt
import numpy as np

import merlo64f


def number(word: str) -> float | int:
    return struct.unpack(">d", bytes.fromhex(word))[0] if len(word) == 16 else int(word)


def read(log: Path) -> tuple[dict, np.ndarray]:
    """The record, and a row (x, d, y, err) for each sample."""
    head, samples = log.read_text().split("samples x d y err\n")
    record = {}
    for line in head.splitlines():
        name, *values = line.split()
        record[name] = [number(word) for word in values]
    record = {name: v[0] if len(v) == 1 else np.array(v) for name, v in record.items()}
    rows = [line.split() for line in samples.split("end")[0].splitlines()]
    return record, np.array([[number(word) for word in row] for row in rows])


def main() -> int:
    log = Path(sys.argv[1])
    out = Path(sys.argv[2] if len(sys.argv) > 2 else ".")
    record, samples = read(log)
    x, d, played, err = samples.T
    f = merlo64f.FxLms.from_record(record)
    print(f"{log.name}: {f}, {x.size} samples")

    again = f.copy()
    _, e = again.update(x, d)
    outputs = np.array([(f.update([a], [b]), f.outLine[0])[1] for a, b in zip(x, d)])
    same = np.array_equal(e, err) and np.array_equal(outputs, played)
    print("every output and error as in the log" if same else "differs from the log")

    # On the desk one can look further: what would another step have changed?
    faster = merlo64f.FxLms.from_record({**record, "mu": 2 * record["mu"]})
    faster.update(x, d)

    figure, (top, bottom) = plt.subplots(2, 1, figsize=(9, 6), layout="constrained")
    top.plot(played, label="loudspeaker, log")
    top.plot(outputs, "k.", markersize=3, label="replayed")
    top.plot(err, label="residual")
    top.set_xlabel("samples")
    top.legend()
    bottom.axhline(0, color="black", linewidth=0.5)
    bottom.stem(again.coef - record["coef"], basefmt=" ", label="change of the taps during the log")
    bottom.plot(faster.coef - record["coef"], "r.", label="with twice the step")
    bottom.set_xlabel("tap")
    bottom.legend()
    figure.savefig(out / "python_replay.png", dpi=120)
    return 0 if same else 1


if __name__ == "__main__":
    sys.exit(main())
