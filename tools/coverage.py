#!/usr/bin/env python3
"""Coverage of src/ by the tests, in regions of code and branches: prints it and fails unless it is complete.

Usage: coverage.py BUILD: a build by clang with -fprofile-instr-generate -fcoverage-mapping, whose tests left
their counters in BUILD/profiles. A place counts once, however many instances a template has. A line with a
comment "unreached: why", on it or right above, is left out; that it has to be is tested. So is, where nothing
counts it, what the compiler settles.
"""
import collections, json, subprocess, sys
from pathlib import Path

SOURCES = f"{Path(__file__).resolve().parent.parent}/src/"
CODE = 0  # a region that is neither an expansion nor a gap


def llvm(tool, *arguments):
    path = subprocess.check_output(["clang", f"-print-prog-name=llvm-{tool}"], text=True).strip()
    return subprocess.check_output([path, *map(str, arguments)])


build = Path(sys.argv[1])
llvm("profdata", "merge", *build.glob("profiles/*.profraw"), "-o", build / "merged.profdata")
export = json.loads(llvm("cov", "export", f"-instr-profile={build}/merged.profdata",
                         build / "tests/merlo64f_tests", "-object", build / "libmerlo64f.so"))

files = collections.defaultdict(collections.Counter)  # place: how often it was reached
for function in export["data"][0]["functions"]:
    reached = files[function["filenames"][0]]
    for line, column, _, _, count, *_, kind in function["regions"]:
        if kind == CODE:
            reached[line, column, "code"] += count
    for line, column, _, _, taken, passed, *_ in function["branches"]:
        reached[line, column, "true"] += taken
        reached[line, column, "false"] += passed


def print_row(name, counts):
    print(f"{name:36}", *(f"{counts[kind, 'reached']:6} / {counts[kind]:<5}" for kind in ("region", "branch")))


faults = []
total = collections.Counter()
print(f"{'':36} {'regions':>14} {'branches':>14}")
for name, reached in sorted(files.items()):
    if not name.startswith(SOURCES):
        continue
    text = Path(name).read_text().splitlines()
    excused = {n + line.lstrip().startswith("//") for n, line in enumerate(text, 1) if "// unreached: " in line}
    settled = {line for (line, column, what), count in reached.items() if what == "true" and count == 0 and
               reached[line, column, "false"] == 0 < reached[line, column, "code"]}  # at compile time
    missed = set()
    counts = collections.Counter()
    for (line, column, what), count in sorted(reached.items()):
        if count == 0 and (line in settled or "constexpr" in text[line - 1]):
            continue
        if count == 0:
            missed.add(line)
            if line not in excused:
                faults.append(f"{name}:{line}:{column}: {what} not reached: {text[line - 1].strip()}")
        if count > 0 or line not in excused:
            kind = "region" if what == "code" else "branch"
            counts[kind] += 1
            counts[kind, "reached"] += count > 0
    faults += [f"{name}:{line}: is reached" for line in excused - missed]
    total.update(counts)
    print_row(name[len(SOURCES):], counts)
print_row("all", total)
sys.exit("\n".join(faults) or None)
