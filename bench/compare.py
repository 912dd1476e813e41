#!/usr/bin/env python3
"""Compares the speed of two builds of the library in one interleaved run of the benchmark.

    bench/compare.py BENCHMARK BASE_DIR NEW_DIR [--filter REGEX] [--rounds N] [--above RATIO]

BENCHMARK is a merlo64f_bench. BASE_DIR and NEW_DIR hold the two libmerlo64f.so.1 and, if the transform
is to be compared too, libmerlo64f_transform.so. The rounds alternate between them, pinned to one
processor. For every operation the program prints the median time per sample with each library and the
median of the ratios new / base within a round. --above lists only operations whose ratio exceeds the
bound.
"""
import argparse, json, os, statistics, subprocess, sys
from pathlib import Path


def one_round(benchmark, directory, pattern, seconds):
    # Preloaded, since the loader may prefer another build in a subdirectory glibc-hwcaps.
    library, transform = Path(directory) / "libmerlo64f.so.1", Path(directory) / "libmerlo64f_transform.so"
    files = f"{library}:{transform}" if transform.exists() else f"{library}"
    result = json.loads(subprocess.run(
        [benchmark, f"--benchmark_filter={pattern}", "--benchmark_format=json",
         "--benchmark_repetitions=1", f"--benchmark_min_time={seconds}"],
        env={**os.environ, "LD_PRELOAD": files}, check=True, capture_output=True, text=True).stdout)
    if not os.path.samefile(result["context"]["library"], library):
        sys.exit(f"{result['context']['library']} was measured in place of {library}")
    return {run["name"].split("/repeats:")[0]: 1e9 / run["items_per_second"]
            for run in sorted(result["benchmarks"], key=lambda run: run["family_index"])}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("benchmark")
    parser.add_argument("base")
    parser.add_argument("new")
    parser.add_argument("--filter", default="subject", help="operations, as for --benchmark_filter")
    parser.add_argument("--rounds", type=int, default=11)
    parser.add_argument("--seconds", type=float, default=0.03, help="per operation and round")
    parser.add_argument("--above", type=float, default=0.0)
    options = parser.parse_args()
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    rounds = []
    for i in range(options.rounds):
        order = [options.base, options.new] if i % 2 == 0 else [options.new, options.base]
        times = {d: one_round(options.benchmark, d, options.filter, options.seconds) for d in order}
        rounds.append((times[options.base], times[options.new]))
    print(f"{'operation':56}{'base ns':>10}{'new ns':>10}{'ratio':>8}")
    for name in rounds[0][0]:
        base, new = ([r[side][name] for r in rounds] for side in (0, 1))
        ratio = statistics.median(n / b for b, n in zip(base, new))
        if ratio > options.above:
            print(f"{name:56}{statistics.median(base):10.2f}{statistics.median(new):10.2f}{ratio:8.3f}")


if __name__ == "__main__":
    main()
