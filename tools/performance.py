#!/usr/bin/env python3
"""Measures the builds of the library and writes docs/performance.md. The target `performance` runs it.

    tools/performance.py --benchmark FILE --tour FILE --output FILE --library='NAME|FILE|FLAGS' ...

Each --library is a build of libmerlo64f.so.1 with its compile flags, the baseline first. One benchmark
measures them in turn; builds that the processor cannot run are left out.
"""
import argparse, collections, datetime, json, os, platform, re, statistics, subprocess, sys
from pathlib import Path

ROUNDS = 5       # short ones, so that a change of the machine affects all builds equally
REPETITIONS = 2  # per round and build
BUDGET_NS = 0.9 * 1e9 / 48000  # per sample at 48 kHz, a tenth of the core being left to the host

HOW_TO_READ = """\
The build target `performance` writes this file; do not edit it. Times are medians of processor time in
ns per sample, of the transform in ns per call. The benchmark is pinned to one processor; builds and
candidates take turns. The input is white noise. Operations are called one after another on one record,
so its buffers are in the cache. The size of a row is the order (taps or stages), the tail (taps of the
whole response) or the points of the transform.

- *of plain*: over the time of the same recursion as a plain loop, which gives the same bits. It is compiled
  with the benchmark, by the flags above and `-ffp-contract=off`, whatever the build of the library.
- *of floor*: over the time of the sum in tap order on a linear line, with the order known to the
  compiler. An operation by the sample cannot be faster by more than a few percent, since each addition
  depends on the previous one.
- *ring/LC*: over the time of the operation on a linear line (`LC`) that is shifted at no cost.
- *silence*: on zero input, after the powers have decayed as far as they can.
- *of peer*: over the time of another library. Peers work in single precision where that is stated."""

BUDGET = """\
Channels per core at 48 kHz with one update, or one output of `fir64f`, per sample, from the times below
and with a tenth of the core left to the host."""

ECHO_PEERS = """\
`pbfdaf64f` works with partitions of 32 taps on blocks of 32 samples. The other echo cancellers are
measured at the same block and at their best of 32, 64, 128 and 256. A block delays the output by its
length; *more delay* is the best block less 32, in samples."""

TOUR = """\
Each family on a task of its own (`examples/demo/tour.cpp`): samples until the residual stays below the
goal, residual in the end, and time of an update with the builds. The last column is a simpler filter on
the same signals."""


def run(program, arguments, library):
    """The output of a program with one build of the library; None if the processor cannot run it."""
    # Preloaded, since the loader may prefer another build in a subdirectory glibc-hwcaps.
    files = f"{library}:{Path(library).parent}/libmerlo64f_transform.so"
    result = subprocess.run([program, *arguments], env={**os.environ, "LD_PRELOAD": files},
                            stdout=subprocess.PIPE, text=True)
    if result.returncode == -4:  # illegal instruction
        return None
    result.check_returncode()
    return result.stdout


def table(heading, rows, text=1):
    """Markdown without empty columns; the first `text` columns are aligned left."""
    lines = [heading, ["---"] * text + ["--:"] * (len(heading) - text), *rows]
    used = [k for k in range(len(heading)) if any(row[k] != "" for row in rows)]
    return "\n".join("| " + " | ".join(str(line[k]) for k in used) + " |" for line in lines)


def ratio(time, of):
    return f"{time / of:.2f}" if of else ""


# unit: what the size counts
Row = collections.namedtuple("Row", "unit size family operation")


class Results:
    def __init__(self, options):
        self.builds = options.library  # those that ran: [name, file, flags]
        self.samples = {}              # lists by (row, candidate, name of the build)
        for k in range(ROUNDS):
            for build in self.builds[::1 if k % 2 == 0 else -1]:
                print(f"round {k + 1} of {ROUNDS}, {build[0]}", file=sys.stderr)
                output = run(options.benchmark, ["--benchmark_filter=" + options.filter,
                                                 "--benchmark_format=json",
                                                 f"--benchmark_repetitions={REPETITIONS}"], build[1])
                if output is None:
                    print(f"this processor does not run {build[0]}", file=sys.stderr)
                    self.builds = [other for other in self.builds if other is not build]
                else:
                    self.add(json.loads(output), *build[:2])
        self.names = [build[0] for build in self.builds]
        self.rows = sorted({row: None for row, _, _ in self.samples}, key=lambda row: row[:2])

    def add(self, result, name, library):
        self.context = result["context"]
        for used in (self.context["library"], self.context["transform"]):
            if Path(used).resolve().parent != Path(library).resolve().parent:
                sys.exit(f"{used} was measured in place of {library}")
        for timed in sorted(result["benchmarks"], key=lambda timed: timed["family_index"]):
            if timed.get("error_occurred"):
                sys.exit(f"{timed['run_name']}: {timed['error_message']}")
            if timed["run_type"] == "iteration":
                family, operation, size, candidate = timed["run_name"].split("/")
                row = Row(timed["label"], int(size), family, operation)
                times = self.samples.setdefault((row, candidate, name), [])
                times.append(1e9 / timed["items_per_second"])

    def time(self, row, candidate):
        """Of what is not the library, hence the same with all builds; None if it was not measured."""
        times = [t for name in self.names for t in self.samples.get((row, candidate, name), [])]
        return statistics.median(times) if times else None

    def subject(self, row):
        """By build."""
        return [statistics.median(self.samples[row, "subject", name]) for name in self.names]

    def peers(self, row):
        """The times by name and block; block 0 if there is no choice."""
        found = {}
        for candidate in {candidate: None for of, candidate, _ in self.samples if of == row}:
            if candidate not in ("subject", "plain", "floor"):
                name, _, block = candidate.partition(", block ")
                found.setdefault(name, {})[int(block or 0)] = self.time(row, candidate)
        return found

    def spread(self):
        """The largest interquartile range over the median, and their median."""
        quarters = [statistics.quantiles(times, n=4) for times in self.samples.values()]
        spreads = [(high - low) / middle for low, middle, high in quarters]
        return max(spreads), statistics.median(spreads)


def operation_table(results, rows):
    names = results.names
    lines = []
    for row in rows:
        ns, plain, floor = results.subject(row), results.time(row, "plain"), results.time(row, "floor")
        linear = results.samples.get((row._replace(operation="LC" + row.operation), "subject", names[0]))
        lines.append([f"{row.family} {row.operation}", *(f"{t:.2f}" for t in ns)] +
                     [ratio(t, ns[0]) for t in ns[1:]] +
                     [f"{plain:.2f}"] + [ratio(t, plain) for t in ns] +
                     [f"{floor:.2f}" if floor else ""] + [ratio(t, floor) for t in ns] +
                     [ratio(ns[0], linear and statistics.median(linear))])
    return table(["", *names] + [f"{name}/{names[0]}" for name in names[1:]] +
                 ["plain"] + [f"{name} of plain" for name in names] +
                 ["floor"] + [f"{name} of floor" for name in names] + ["ring/LC"], lines)


def peer_tables(results):
    one_block, blocks = [], []
    for row in results.rows:
        ns = results.subject(row)
        for peer, times in results.peers(row).items():
            same, best = min(times), min(times, key=times.get)
            line = [f"{row.family} {row.operation}", row.size, peer, *(f"{t:.2f}" for t in ns),
                    f"{times[same]:.2f}", *(ratio(t, times[same]) for t in ns)]
            if same == 0:
                one_block.append(line)
            else:
                blocks.append(line + [best, best - same, f"{times[best]:.2f}",
                                      *(ratio(t, times[best]) for t in ns)])
    heading = ["", "size", "peer", *results.names]
    of_peer = [f"{name} of peer" for name in results.names]
    parts = [table(heading + ["ns of peer"] + of_peer, one_block, 3)] if one_block else []
    if blocks:
        parts += [ECHO_PEERS, table(heading + ["same block"] + of_peer + [
            "best block", "more delay", "ns"] + of_peer, blocks, 3)]
    if results.context["not installed"]:
        parts.append("Not installed: " + results.context["not installed"] + ".")
    return parts


def budget_table(results):
    largest = {}
    for row in results.rows:  # in ascending order of size
        if re.fullmatch("FilterUpdate(, (un)?constrained)?|(Block)?Filter", row.operation):
            largest[row._replace(size=row.size if row.unit == "tail" else 0)] = row
    return table(["", "size", *results.names],
                 [[f"{row.family} {row.operation}", row.size,
                   *(int(BUDGET_NS / t) for t in results.subject(row))] for row in largest.values()])


def tour_table(program, builds):
    tables = []
    for _, library, _ in builds:
        lines = [re.split(" {2,}", line.strip()) for line in run(program, [], library).splitlines()]
        start = max(k for k, line in enumerate(lines) if line[0] == "family")
        tables.append([line + [""] * (len(lines[start]) - len(line)) for line in lines[start:]])
    at = tables[0][0].index("ns/sample")
    merged = [line[:at] + [of[k][at] for of in tables] + line[at + 1:]
              for k, line in enumerate(tables[0])]
    merged[0][at:at + len(builds)] = [f"ns, {name}" for name, _, _ in builds]
    return table(merged[0], merged[1:], 2)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--benchmark", required=True)
    parser.add_argument("--tour", required=True)
    parser.add_argument("--output", type=Path, required=True)
    parser.add_argument("--library", action="append", required=True,
                        type=lambda text: text.split("|"))
    parser.add_argument("--filter", default=".", help="as for --benchmark_filter")
    options = parser.parse_args()
    results = Results(options)
    context = results.context
    widest, middle = results.spread()
    machine = [["Processor", f"{context['processor']}, {context['num_cpus']} cores"],
               ["System", f"{platform.freedesktop_os_release()['PRETTY_NAME']}, "
                          f"{platform.machine()}, {' '.join(platform.libc_ver())}"],
               ["Date", datetime.date.today()],
               ["Compiler", context["compiler"]],
               ["Flags", f"`{context['flags']}`"]]
    machine += [[f"{Path(file).resolve().name}, {name}", f"`{flags}`"]
                for name, file, flags in results.builds]
    machine += [["Interquartile range / median", f"median {middle:.1%}, largest {widest:.1%}"]]
    parts = ["# Performance", table(["", ""], machine, 2), HOW_TO_READ,
             "## Real-time budget", BUDGET, budget_table(results)]
    for unit, size in {row[:2]: None for row in results.rows}:
        parts += [f"## {unit.capitalize()} {size}",
                  operation_table(results, [row for row in results.rows if row[:2] == (unit, size)])]
    parts += ["## Other libraries", *peer_tables(results),
              "## Samples to learn", TOUR, tour_table(options.tour, results.builds)]
    options.output.write_text("\n\n".join(parts) + "\n")


if __name__ == "__main__":
    main()
