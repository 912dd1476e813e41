#!/usr/bin/env python3
"""Mutation testing: finds small faults in src/, include/ and support/ that no test notices.

A mutant is one change of one file: a sign, a comparison, a constant, an index, a statement left out, the
parentheses of a macro's parameter. The units that see the file are compiled again and the tests run on
them, in the builds of FLAVOURS one after the other, until something fails. Equivalent are mutants that
compile to the same code and those of tools/equivalent_mutants.txt. Any other that survives fails the run.

A comment "speed only: why" in the source says that the constants, the comparisons and the statement of its
line (or, on a line of its own, of the next) change no result.

Usage: mutate.py [--list | --listed] [FILE...], FILE a part of a path. Needs the builds of FLAVOURS with
their compile_commands.json, which "./test.sh mutation" makes.
"""
import argparse, collections, filecmp, hashlib, json, math, multiprocessing.pool, os, re, resource, shlex, shutil
import struct, subprocess, sys, time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SCRATCH = ROOT / "build/mutants"
TREE = SCRATCH / "tree"  # a copy of the sources
LISTED = ROOT / "tools/equivalent_mutants.txt"
# In the order in which they run: build, more options for the library, and what files have to mention.
FLAVOURS = {"O1": ("gcc-O1", [], ""),
            "v3": ("gcc-O1-v3", [], r"\bk?Lanes(Of)?\b|\bWide\b"),
            "scalar": ("gcc-O1", ["-DMERLO64F_NO_VECTORS"], r"\bkHasVectors\b|\bScalarPair\b"),
            "san": ("sanitize", [], "")}
# The tests that hold a header's contents themselves; without an entry, all that include it and the library.
TESTS_OF = {"include/": ["tests/c99_host.c"],
            "support/fft_tables.h": ["tests/c99_host.c", "tests/real_fft_test.cpp"],
            "support/": ["tests/filter_test.cpp"]}

# ---- Mutants

Mutant = collections.namedtuple("Mutant", "file line kind start end text function before after")

DEFINE = re.compile(r"^#define (\w+)\([^)]*\)((?:[^\n]*\\\n)*[^\n]*)", re.M)
TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*|[\s\\]+)|(?P<string>"(?:\\.|[^"\\])*")
    |(?P<number>\.?\d(?:[eE][+-]|[\w.'])*)|(?P<name>[A-Za-z_]\w*)
    |(?P<op>->|\+\+|--|&&|\|\||<<|::|[-+*/%&|^=!<>]=|.)""", re.S | re.M | re.X)
SWAPPED = {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "==": "!=", "!=": "==",
           "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
FIXED = {"using", "static_assert", "namespace", "struct", "class", "template", "extern", "case", "default",
         "asm", "typedef", "public", "private", "keepScalar", "reloadMemory", "hideOrigin"}  # the last are empty
BRANCHES = {"if", "else", "for", "while", "switch", "try", "catch"}
LEAVING = {"return", "break", "continue", "throw"}


def next_number(text):
    """The literal one up: an integer by one, a floating-point value by one unit in the last place."""
    single = text[-1] in "fF" and not text.startswith("0x")
    if not single and not re.search(r"[.eE]", text):
        digits = re.match(r"(0x[\da-fA-F']+|[\d']+)(.*)", text)
        return str(int(digits[1].replace("'", ""), 0) + 1) + digits[2]
    if not single:
        return repr(math.nextafter(float(text.rstrip("L")), math.inf))
    bits = struct.unpack("<I", struct.pack("<f", float(text[:-1])))[0]
    return repr(struct.unpack("<f", struct.pack("<I", bits + 1))[0]) + "F"


def changes(source, begin=0, end=sys.maxsize, macro=None):
    """Yields (kind, start, end, text, function) for every mutant of a source text, or of a macro's body."""
    tokens = [m for m in TOKEN.finditer(source, begin, end) if m.lastgroup != "skip"]
    texts = [t[0] for t in tokens]

    def is_body(i):  # of a function, a lambda or a control statement, rather than an initialiser
        before = texts[i - 1]
        return before in (")", "else", "do", "try", "const", "noexcept", "]") or "->" in texts[max(i - 4, 0):i]

    def cut(first, last):
        return source[tokens[first].start():tokens[last].end()]

    stack = [["scope", 0, macro or "-", 0]]  # bracket, start of the statement, function, position
    for i, token in enumerate(tokens):
        text, (kind, first, function, opened) = token[0], stack[-1]
        start, end = token.span()
        statement = texts[first:i + 1]
        if "static_assert" in statement or "using" in statement[:2] or first > 1 and texts[first - 2] == "decltype":
            pass
        elif text in ("+", "-", "+=", "-=") and texts[i - 1] != "operator":
            yield "swap + and -", start, end, SWAPPED[text], function
        elif text in SWAPPED and source[start - 1] == " " and source[end:end + 1] in (" ", "\n"):
            yield "comparison", start, end, SWAPPED[text], function
        elif token.lastgroup == "number" and kind != "array" and texts[i - 1] not in ("<", ">="):
            yield "constant", start, end, next_number(text), function
        elif macro and texts[i - 1:i + 2:2] == ["(", ")"] and token.lastgroup == "name" \
                and not re.match(r"\w", texts[i - 2]):
            yield "parentheses", tokens[i - 1].start(), tokens[i + 1].end(), text, function

        if text in "([{":
            if text == "{" and statement[0] in ("namespace", "struct", "class", "extern", "template") \
                    and not is_body(i):
                kind = "scope" if "=" not in statement else "init"
            elif text == "{":
                kind = "branch" if statement[0] in BRANCHES else "body" if is_body(i) else "init"
            elif text == "[":
                name, before = texts[i - 1], texts[i - 2]
                glued = source[tokens[i - 2].start() - 1] != " "
                declared = tokens[i - 2].lastgroup == "name" and before not in LEAVING \
                    or before in "*&>" and glued
                kind = "other" if tokens[i - 1].lastgroup != "name" and name not in ("]", ")") \
                    or name in ("auto", "operator") else "array" if declared else "index"
            else:
                kind = "other"
            if kind in ("body", "scope") and function == "-":
                names = [t for t in statement[:(statement + ["("]).index("(")] if re.match(r"\w", t)]
                function = names[-1] if kind == "body" else "-"
            stack.append([kind, i + 1, function, i])
        elif text in ")]}":
            stack.pop()
            if kind == "index" and i > opened + 1 and (i > opened + 2 or tokens[i - 1].lastgroup == "name"):
                inner = cut(opened + 1, i - 1)
                inner = f"({inner})" if re.search(r"[?&|<,]", inner) else inner
                yield "index", tokens[opened].start(), end, f"[{inner} + 1]", function
            following = texts[i + 1] if i + 1 < len(texts) else ";"
            if text == "}" and kind in ("branch", "body", "scope") and following not in (";", ",", ")", "("):
                stack[-1][1] = i + 1
        elif text == ":" and kind in ("branch", "body", "scope") and statement[0] in FIXED:
            stack[-1][1] = i + 1
        elif text == ";" and kind in ("branch", "body"):
            stack[-1][1] = i + 1
            declares = re.match(r"(const|constexpr|static|auto)\b|[\w:]+(<[^;=(]*>)?[*&]? \w+", cut(first, i))
            if statement[0] not in FIXED and i > first \
                    and (not declares if statement[0] not in LEAVING else kind == "branch"):
                yield "drop statement", tokens[first].start(), end, "", function
        elif text == ";" and kind == "scope":
            stack[-1][1] = i + 1


def mutants_of(file):
    source = (ROOT / file).read_text()
    macros = [changes(source, m.start(2), m.end(2), m[1]) for m in DEFINE.finditer(source)]
    marked = {number + line.lstrip().startswith("//") for number, line in enumerate(source.split("\n"), 1)
              if "// speed only" in line}
    seen = set()
    for kind, start, end, text, function in [*changes(source), *(c for macro in macros for c in macro)]:
        line = source.count("\n", 0, start) + 1
        if kind in ("constant", "comparison", "drop statement") and line in marked:
            continue
        first, last = source.rfind("\n", 0, start) + 1, source.find("\n", end)
        before = " ".join(source[first:last].split())
        after = " ".join((source[first:start] + text + source[end:last]).split())
        while (function, before, after) in seen:  # the same change of an equal line further down
            function += "'"
        seen.add((function, before, after))
        yield Mutant(file, line, kind, start, end, text, function, before, after)


def listed_entries():
    """'= reason', then lines 'file function: before => after', parts of a source line and of its mutant."""
    reason, entries = None, []
    for line in LISTED.read_text().splitlines():
        if line.startswith("= "):
            reason = line
        elif line and line[0] != "#":
            entry = re.fullmatch(r"(\S+) ([^:]+): (.+) => ?(.*)", line)
            if not entry or not reason:
                sys.exit(f"{LISTED.name}: no entry with a reason: {line}")
            entries.append(entry)
    return entries


def is_entry(entry, m):
    return entry.groups()[:2] == (m.file, m.function) and entry[3] in m.before and any(
        m.before[:at.start()] + entry[4] + m.before[at.end():] == m.after
        for at in re.finditer(re.escape(entry[3]), m.before))


# ---- Builds

def run(command, cpu_seconds=None, **options):
    """The exit status; output is dropped. A time-out counts processor time: neighbours do not matter."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds))
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          preexec_fn=limit if cpu_seconds else None, **options).returncode


class Unit:
    """A source file as the flavour's build compiles it."""
    def __init__(self, entry):
        self.path = Path(entry["file"])
        self.name = os.path.relpath(entry["file"], ROOT)
        self.directory = entry["directory"]
        words = shlex.split(entry["command"])
        self.object = Path(self.directory, words[words.index("-o") + 1])
        self.words = words[:words.index("-o")]

    def find_headers(self):
        text = subprocess.run([*self.words, "-MM", str(self.path)], cwd=self.directory,
                              capture_output=True, text=True, check=True).stdout
        self.sees = {os.path.relpath(Path(self.directory, word).resolve(), ROOT) for word in re.findall(r"[^\s\\]+", text)[1:]}
        seen = b"".join((ROOT / name).read_bytes() for name in sorted(self.sees) if name[0] != ".")
        self.version = hashlib.sha1(seen).hexdigest()  # objects without a mutant stay from run to run

    def compile(self, tree, target, *more):
        target.parent.mkdir(parents=True, exist_ok=True)
        words = [re.sub(f"{ROOT}(?!/build/)", str(tree), word) for word in [*self.words, str(self.path)]]
        return run([*words, *more, "-c", "-o", str(target)], cwd=self.directory) == 0


class Flavour:
    """One of the builds: its units, their objects without a mutant, and how to link and run the tests."""
    def __init__(self, name):
        self.name = name
        build, self.more, self.mentions = FLAVOURS[name]
        commands = (ROOT / "build" / build / "compile_commands.json").read_text()
        units = [Unit(entry) for entry in json.loads(commands)]
        self.library = [u for u in units if u.name.startswith("src/")]
        self.tests = [u for u in units if "merlo64f_tests.dir" in str(u.object) or u.name == "tests/c99_host.c"]
        self.heap = next(u for u in self.tests if u.path.name == "heap.cpp")
        self.compiler = [w for w in self.library[0].words if "fsanitize" in w or w == self.library[0].words[0]]
        self.home = SCRATCH / name

    def base(self, unit, level=""):
        return SCRATCH / (self.name + level) / unit.version / (unit.name + ".o")

    def prepare(self):
        self.home.mkdir(parents=True, exist_ok=True)
        header = self.home / "std.h"  # precompiled, it halves the time
        texts = [p.read_text() for p in (ROOT / "src").rglob("*.*")]
        header.write_text("\n".join(sorted(set(re.findall(r"^#include <.*>", "\n".join(texts), re.M)))))
        for unit in self.library:
            unit.words += ["-Werror=return-type", "-fvisibility=default", *self.more]
        run([*self.library[0].words, "-x", "c++-header", str(header), "-o", f"{header}.gch"])
        for unit in self.library:
            unit.words += ["-include", str(header)]

        def compile_base(unit):
            if not self.base(unit).exists() and not unit.compile(TREE, self.base(unit)):
                raise RuntimeError(f"{unit.name} does not compile")
            if self.name != "san" and not self.base(unit, "-O3").exists():
                unit.compile(TREE, self.base(unit, "-O3"), "-O3")

        with multiprocessing.pool.ThreadPool(os.cpu_count()) as pool:
            pool.map(Unit.find_headers, self.library + self.tests)
            pool.map(compile_base, self.library)
        self.library.sort(key=lambda unit: self.base(unit).stat().st_size)
        self.link_library(self.home, {})
        self.program = self.home / "program"
        self.link_tests(self.program, [u.object for u in self.tests if u.path.suffix == ".cpp"], self.home)
        self.limit = 600
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        if not self.passes(self.program, self.home):
            sys.exit(f"the tests ({self.name}) fail without a mutant")
        self.limit = int(2 + 2 * (resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before))

    def link(self, target, *words):
        wraps = "-Wl,--wrap=calloc,--wrap=free,--wrap=memset"
        if run([*self.compiler, wraps, *map(str, words), "-o", str(target)]) != 0:
            raise RuntimeError(f"{target} does not link")

    def link_library(self, directory, changed):
        self.link(directory / "libmutant.so", "-shared", "-Wl,-Bsymbolic",
                  *(changed.get(u.name, self.base(u)) for u in self.library))

    def link_tests(self, target, objects, library):
        main = [] if "c99_host" in str(objects[0]) else ["-lgtest_main", "-lgtest"]
        self.link(target, "-rdynamic", *objects, f"-L{library}", "-lmutant", "-lm", *main)

    def passes(self, program, library, tests="*"):
        limit = self.limit if tests[0] in "*-" else self.limit // 3
        return run([program, "--gtest_fail_fast", f"--gtest_filter={tests}"], limit, cwd=library,
                   env={**os.environ, "LD_LIBRARY_PATH": str(library)}) == 0

    def test_filters(self, changed):
        """Tests in the order in which to run them: those of changed families, then all but those named after
        units that are unchanged and call no changed one."""
        def suites(units):
            return ":".join(f"{u.path.stem}.*:{u.path.stem.title().replace('_', '')}.*" for u in units)
        if any(not (ROOT / f"include/{Path(name).stem}.h").exists() for name in changed):
            return ["*"]  # not of families alone, but called by many
        return [suites(u for u in self.library if u.name in changed),
                "-" + suites(u for u in self.library if u.name not in changed)]


# ---- Judging

class Uncompilable(Exception):
    pass


def judge_in(flavour, mutant, tree):
    """"killed", "same code" or "survived"."""
    directory = tree / "objects"
    shutil.rmtree(directory, ignore_errors=True)
    directory.mkdir()
    own_tests = next((units for start, units in TESTS_OF.items() if mutant.file.startswith(start)), None)
    changed = {}

    def compile_changed(unit, without):
        target = directory / (unit.name + ".o")
        if not unit.compile(tree, target):
            raise Uncompilable
        if not filecmp.cmp(target, without, shallow=False):
            changed[unit.name] = target
        return unit.name in changed

    tried = 0
    units = [u for u in flavour.library if mutant.file in u.sees and own_tests is None]
    for unit in units:
        compile_changed(unit, flavour.base(unit))
        if changed and (not tried or unit is units[-1] and len(changed) > tried):  # the cheapest alone, then all
            tried = len(changed)
            flavour.link_library(directory, changed)
            if not all(flavour.passes(flavour.program, directory, tests) for tests in flavour.test_filters(changed)):
                return "killed"
    library = directory if changed else flavour.home
    is_library_same = own_tests is None and flavour.name != "san" and all(
        u.compile(tree, directory / "O3.o", "-O3")
        and filecmp.cmp(directory / "O3.o", flavour.base(u, "-O3"), shallow=False) for u in units if u.name in changed)
    for unit in flavour.tests:
        if (unit.name in own_tests if own_tests else mutant.file in unit.sees) and compile_changed(unit, unit.object):
            is_library_same = False
            others = [] if unit is flavour.heap else [flavour.heap.object]
            flavour.link_tests(directory / "program", [changed[unit.name], *others], library)
            if not flavour.passes(directory / "program", library):
                return "killed"
    return "same code" if is_library_same else "survived"


def judge(mutant):
    tree = SCRATCH / f"worker{os.getpid()}"
    if not tree.exists():
        shutil.copytree(TREE, tree)
    source = (tree / mutant.file).read_text()
    (tree / mutant.file).write_text(source[:mutant.start] + mutant.text + source[mutant.end:])
    try:
        verdicts = set()
        for flavour in flavours:
            if re.search(flavour.mentions, source) and not (flavour.name == "san" and verdicts == {"same code"}):
                verdicts.add(judge_in(flavour, mutant, tree))
            if "killed" in verdicts:
                break
        return mutant, next(v for v in ("killed", "survived", "same code") if v in verdicts)
    except Uncompilable:
        return mutant, "uncompilable"
    finally:
        (tree / mutant.file).write_text(source)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("files", nargs="*", metavar="FILE", help="only files whose path holds one of these")
    parser.add_argument("--listed", action="store_true", help="only what is listed as equivalent")
    parser.add_argument("--list", action="store_true", help="print the mutants and run nothing")
    options = parser.parse_args()

    paths = (p.relative_to(ROOT).as_posix() for d in ("include", "src", "support") for p in (ROOT / d).rglob("*"))
    mutants = [m for file in sorted(paths) if file.endswith((".h", ".hpp", ".cpp")) for m in mutants_of(file)]
    entries = listed_entries()
    stale = [entry[0] for entry in entries if not any(is_entry(entry, m) for m in mutants)]
    mutants = [m for m in mutants if not options.files or any(part in m.file for part in options.files)]
    listed = {m for m in mutants if any(is_entry(entry, m) for entry in entries)}
    chosen = [m for m in mutants if (m in listed) == options.listed]
    if options.list:
        for m in chosen:
            print(f"{m.file}:{m.line}: {m.kind}\n{m.file} {m.function}: {m.before} => {m.after}")
        return

    begin = time.monotonic()
    for old in [TREE, *SCRATCH.glob("worker*")]:
        shutil.rmtree(old, ignore_errors=True)
    for part in ("include", "plain", "src", "support", "tests"):
        shutil.copytree(ROOT / part, TREE / part)
    global flavours
    flavours = [Flavour(name) for name in FLAVOURS]
    for flavour in flavours:
        flavour.prepare()
    print(f"{len(chosen)} mutants, builds ready after {time.monotonic() - begin:.0f} s", flush=True)
    counts = collections.defaultdict(collections.Counter)
    wrong = "killed" if options.listed else "survived"
    with multiprocessing.get_context("fork").Pool(os.cpu_count()) as pool:
        for done, (m, verdict) in enumerate(pool.imap_unordered(judge, chosen), 1):
            counts[m.file][verdict] += 1
            if verdict == wrong:
                print(f"{m.file}:{m.line}: {m.kind} {wrong}\n{m.file} {m.function}: {m.before} => {m.after}", flush=True)
            if done % 100 == 0:
                print(f"{done} of {len(chosen)} after {time.monotonic() - begin:.0f} s", flush=True)
    for m in listed:
        counts[m.file]["listed"] += not options.listed

    columns = "killed", "survived", "same code", "listed", "uncompilable"
    print(f"{'':36}" + "".join(f"{column:>14}" for column in columns))
    for file, count in [*sorted(counts.items()), ("all", sum(counts.values(), collections.Counter()))]:
        print(f"{file:36}" + "".join(f"{count[column]:14}" for column in columns))
    print(f"{time.monotonic() - begin:.0f} s")
    for entry in stale:
        print(f"{LISTED.name}: no such mutant: {entry}")
    if stale or any(count[wrong] for count in counts.values()):
        sys.exit(1)


if __name__ == "__main__":
    main()
