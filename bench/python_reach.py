#!/usr/bin/env python3
"""How near the Python package comes to the C library, and how far it is ahead of plain Python.

    PYTHONPATH=build/gcc/python bench/python_reach.py build/gcc/bench/c_loop

Candidates of a row are measured in turns; the figures are medians of processor time, ratios medians of
the turns, but for the threads. Exit code 1: a ratio misses its bound.
"""

import argparse
import os
import subprocess
import sys
import threading
import time

import numpy as np

import merlo64f as m

SAMPLES = 1_000_000
CALL = 10_000
PATH = np.zeros(8)
PATH[:3] = [0.5, -0.25, 0.125]
COEF = np.zeros(32)
COEF[:3] = PATH[:3]
# The sizes and parameters of c_loop.cpp.
FILTERS = {
    "Fir": lambda: m.Fir(COEF),
    "Lms": lambda: m.Lms(32, 0.003),
    "Nlms": lambda: m.Nlms(32, 0.003),
    "Tdlms": lambda: m.Tdlms(32, 0.003),
    "FxLms": lambda: m.FxLms(32, 0.0003, PATH, PATH),
    "AdjLms": lambda: m.AdjLms(32, 0.0003, PATH, PATH),
    "Blms": lambda: m.Blms(32, 16, 0.003),
    "Bnlms": lambda: m.Bnlms(32, 16, 0.003),
    "Bfdaf": lambda: m.Bfdaf(32, 16, 0.003),
    "Pbfdaf": lambda: m.Pbfdaf(16, 16, 16, 0.0003),
    "LmsLattice": lambda: m.LmsLattice(32, 0.001, 0.003),
    "LfPef": lambda: m.LfPef(10, 0.001),
    "LbPef": lambda: m.LbPef(10, 0.001),
    "Rls": lambda: m.Rls(32, 0.999, 1.0),
    "RlsLattice": lambda: m.RlsLattice(32, 0.999),
    "RlsLfPef": lambda: m.RlsLfPef(10, 0.999),
    "RlsLbPef": lambda: m.RlsLbPef(10, 0.999),
}
failures = []


# ---- What users would write instead: plainly, and tuned so that no line is shifted (taps oldest first).


def nlms_plain(x, d, order, mu):
    taps, line, power = np.zeros(order), np.zeros(order), 1.0
    y, e = np.empty_like(x), np.empty_like(x)
    for n in range(x.size):
        line = np.roll(line, 1)
        line[0] = x[n]
        y[n] = taps @ line
        e[n] = d[n] - y[n]
        power = 0.99 * power + 0.01 * x[n] * x[n]
        taps = taps + mu * e[n] / (power + 1e-12) * line
    return y, e


def nlms_tuned(x, d, order, mu):
    padded = np.concatenate((np.zeros(order - 1), x))
    taps, power = np.zeros(order), 1.0
    y, e = np.empty_like(x), np.empty_like(x)
    for n in range(x.size):
        line = padded[n : n + order]
        y[n] = np.dot(taps, line)
        e[n] = d[n] - y[n]
        power = 0.99 * power + 0.01 * x[n] * x[n]
        taps += mu * e[n] / (power + 1e-12) * line
    return y, e


def rls_plain(x, d, order, forgetting):
    taps, line, inverse = np.zeros(order), np.zeros(order), np.eye(order)
    y, e = np.empty_like(x), np.empty_like(x)
    for n in range(x.size):
        line = np.roll(line, 1)
        line[0] = x[n]
        y[n] = taps @ line
        e[n] = d[n] - y[n]
        k = (inverse @ line) / (forgetting + line @ inverse @ line)
        taps = taps + k * e[n]
        inverse = (inverse - np.outer(k, line @ inverse)) / forgetting
    return y, e


def rls_tuned(x, d, order, forgetting):
    padded = np.concatenate((np.zeros(order - 1), x))
    taps, inverse = np.zeros(order), np.eye(order)
    y, e = np.empty_like(x), np.empty_like(x)
    for n in range(x.size):
        line = padded[n : n + order]
        y[n] = np.dot(taps, line)
        e[n] = d[n] - y[n]
        gain = np.dot(inverse, line)
        k = gain / (forgetting + np.dot(line, gain))
        taps += k * e[n]
        inverse = inverse / forgetting - np.outer(k, gain)
    return y, e


# ---- Measuring


class CLoop:
    def __init__(self, program):
        self.process = subprocess.Popen(
            [program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1
        )

    def start(self, family, samples=SAMPLES):
        self.process.stdin.write(f"{family} {samples}\n")

    def finish(self):
        return float(self.process.stdout.readline())

    def __call__(self, family, samples=SAMPLES):
        self.start(family, samples)
        return self.finish()


def signals(samples=SAMPLES):
    rng = np.random.default_rng(1)
    x = rng.standard_normal(samples)
    return x, 0.5 * x + 0.1 * rng.standard_normal(samples)


def runner(name, x, d):
    """A call that runs the filter over the signals, in pieces, into arrays that exist."""
    f = FILTERS[name]()
    y, e = np.zeros_like(x), np.zeros_like(x)
    pieces = [slice(i, i + CALL) for i in range(0, x.size, CALL)]
    if name == "Fir":
        calls = [(x[p], y[p]) for p in pieces]
        return lambda: [f.filter(a, out=b) for a, b in calls]
    if name.endswith("Pef"):
        calls = [(x[p], (y[p], e[p])) for p in pieces]
        return lambda: [f.update(a, out=out) for a, out in calls]
    calls = [(x[p], d[p], (y[p], e[p])) for p in pieces]
    return lambda: [f.update(a, b, out=out) for a, b, out in calls]


def ns(call, samples, clock=time.process_time):
    """By processor time, so that the time of other processes does not count."""
    start = clock()
    call()
    return (clock() - start) * 1e9 / samples


def judge(ratio, bound, at_least):
    good = ratio >= bound if at_least else ratio <= bound
    if not good:
        failures.append(ratio)
    return "" if good else "  misses"


def against_c(c, x, d, turns):
    print(f"{'ns a sample':12} {'C':>8} {'Python':>8} {'ratio':>6}   (bound 1.1)")
    for name in FILTERS:
        run = runner(name, x, d)
        c(name), run()
        pairs = [(c(name), ns(run, x.size)) for _ in range(turns)]
        ratio = np.median([b / a for a, b in pairs])
        a, b = np.median(pairs, axis=0)
        print(f"{name:12} {a:8.1f} {b:8.1f} {ratio:6.2f}{judge(ratio, 1.1, False)}", flush=True)


def against_loops(x, d, turns):
    try:
        import numba
    except ImportError:
        numba = None
    print(f"\n{'32 taps':12} {'here':>8} {'numpy':>8} {'ratio':>6} {'numba':>8} {'ratio':>6}")
    for name, how, loop, parameter, bound in (
        ("Nlms", "plain", nlms_plain, 0.003, 150),
        ("Nlms", "tuned", nlms_tuned, 0.003, 1),
        ("Rls", "plain", rls_plain, 0.999, 60),
        ("Rls", "tuned", rls_tuned, 0.999, 1),
    ):
        run, here, plain, jit = runner(name, x, d), [], [], []
        few, some = 5_000, 50_000
        compiled = numba.njit(loop) if numba else None
        if compiled:
            compiled(x[:100], d[:100], 32, parameter)
        for _ in range(turns):
            here.append(ns(run, x.size))
            plain.append(ns(lambda: loop(x[:few], d[:few], 32, parameter), few))
            if compiled:
                jit.append(ns(lambda: compiled(x[:some], d[:some], 32, parameter), some))
        ratio = np.median(np.divide(plain, here))
        line = f"{name + ', ' + how:12} {np.median(here):8.1f} {np.median(plain):8.0f} {ratio:6.0f}"
        misses = judge(ratio, bound, True)
        if compiled:
            times = np.median(np.divide(jit, here))
            line += f" {np.median(jit):8.1f} {times:6.2f}"
            misses += judge(times, 1.0, True)
        print(line + f"   (bounds {bound} and 1){misses}", flush=True)
    if not numba:
        print("(python3-numba is not installed)")


def small_calls(c, turns):
    x, d = signals(64)
    f, out = m.Nlms(32, 0.003), (np.empty(64), np.empty(64))
    count = 2000

    def fresh():
        for _ in range(count):
            f.update(x, d)

    def given():
        for _ in range(count):
            f.update(x, d, out=out)

    rows = []
    for _ in range(turns):
        loop = 64 * c("Nlms", 64 * count)
        rows.append((loop, 64 * ns(fresh, 64 * count), 64 * ns(given, 64 * count)))
    loop, new, old = np.median(rows, axis=0)
    above = np.median([b - a for a, b, _ in rows])
    above_out = np.median([b - a for a, _, b in rows])
    print(f"\nNlms on 64 samples: {new:.0f} ns a call, {old:.0f} with out=, C loop {loop:.0f};")
    print(
        f"above the C loop {above:.0f} and {above_out:.0f} ns   (bound 1000)"
        + judge(above, 1000, False)
    )


def threads(loops, x, d, turns):
    """By the shortest turns: other processes make both cases longer, and two threads more so."""
    runs = [runner("Nlms", x, d) for _ in range(2)]

    def both():
        workers = [threading.Thread(target=run) for run in runs]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()

    def both_in_c():
        for loop in loops:
            loop.start("Nlms")
        for loop in loops:
            loop.finish()

    def gain(one, two):
        times = [
            (ns(one, 1, time.perf_counter), ns(two, 1, time.perf_counter)) for _ in range(5 * turns)
        ]
        return 2 * np.divide(*np.min(times, axis=0))

    ratio, machine = gain(runs[0], both), gain(lambda: loops[0]("Nlms"), both_in_c)
    print(f"\ntwo threads on two filters: {ratio:.2f} times one   (bound 1.8)" + judge(ratio, 1.8, True))
    print(f"two processes of C at once: {machine:.2f} times one")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("c_loop", help="the program of bench/c_loop.cpp")
    parser.add_argument("--turns", type=int, default=7)
    parser.add_argument(
        "--only", choices=["c", "loops", "calls", "threads"], help="one part of the table"
    )
    options = parser.parse_args()
    c, other = CLoop(options.c_loop), CLoop(options.c_loop)
    x, d = signals()
    parts = {
        "c": lambda: against_c(c, x, d, options.turns),
        "loops": lambda: against_loops(x, d, options.turns),
        "calls": lambda: small_calls(c, 3 * options.turns),
        "threads": lambda: threads([c, other], x, d, options.turns),
    }
    processors = os.sched_getaffinity(0)
    for name, part in parts.items():
        if options.only in (None, name):
            # One processor for all candidates, but for the threads.
            allowed = processors if name == "threads" else {max(processors)}
            os.sched_setaffinity(0, allowed)
            os.sched_setaffinity(c.process.pid, allowed)
            part()
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
