#!/usr/bin/env python3
"""Mutation testing: how many small faults in src/ do the tests find?

Each mutant is one change of one source file. The units that see the file are compiled into a scratch
shared library, first the cheapest of them; the digests run against it, then the unit tests, then both
for x86-64-v3 and under the sanitizers, until something fails. What nothing finds is a survivor, save
where the optimiser makes the same code of it or tools/equivalent_mutants.txt says why it is equivalent.

Needs the builds of the presets in FLAVOURS, with compile_commands.json; test.sh mutation makes them.
"""
import argparse, collections, filecmp, json, math, multiprocessing.pool, os, random, re, resource
import shlex, shutil, struct, subprocess, sys, time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SCRATCH = ROOT / "build/mutants"
EQUIVALENTS = ROOT / "tools/equivalent_mutants.txt"
FLAVOURS = {"O1": "gcc-O1", "v3": "gcc-O1-v3", "san": "sanitize"}  # in the order in which they run
PASS = 0.98

# ---- Mutants

Mutant = collections.namedtuple("Mutant", "file line kind start end text function before after")

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*|\s+)|(?P<string>"(?:\\.|[^"\\])*")
    |(?P<number>\.?\d(?:[eE][+-]|[\w.'])*)|(?P<name>[A-Za-z_]\w*)
    |(?P<op>->|\+\+|--|&&|\|\||<<|::|[-+*/%&|^=!<>]=|.)""", re.S | re.M | re.X)
SWAPPED = {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "==": "!=", "!=": "==",
           "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
FIXED = {"using", "static_assert", "namespace", "struct", "class", "template", "extern", "case", "default",
         "asm", "hideOrigin"}  # an asm here is empty
BRANCHES = {"if", "else", "for", "while", "switch"}
LEAVING = {"return", "break", "continue"}
BODIES = "branch", "body", "scope"
PURE = ("static_cast|bit_cast|min|max|load|loadApart|loadWhole|loadFrom|evens|odds|timesI|cosines|cosineStep|smoothed|"
        "stepUp|stepBack|nextPow2|transformLength|rowStart|rowsOn|all|slotAt|sizeof")


def next_number(text):
    """The literal one up: an integer by one, a floating-point value by one unit in the last place."""
    single = text[-1] in "fF" and not text.startswith("0x")
    if not single and not re.search(r"[.eE]", text):
        digits = re.match(r"(0x[\da-fA-F']+|[\d']+)(.*)", text)
        return str(int(digits[1].replace("'", ""), 0) + 1) + digits[2]
    if not single:
        return repr(math.nextafter(float(text), math.inf))
    bits = struct.unpack("<I", struct.pack("<f", float(text[:-1])))[0]
    return repr(struct.unpack("<f", struct.pack("<I", bits + 1))[0]) + "F"


def independent(first, second):
    """Two statements without calls but pure ones that store to scalars the other does not name: order is no matter."""
    for text, other in ((first, second), (second, first)):
        store = re.match(r"(?:[\w:*&]+ )*(\w+->)?(\w+) = ", text)
        if not store or re.search(rf"\b(?!(?:{PURE})\b)\w+(<[^()]*>)?\(|[&^=]\]|\+\+|--", text) \
                or re.search((r"(->|\.)" if store[1] else r"(?<!->)(?<!\.)\b") + store[2] + r"\b", other):
            return False
    return True


def changes(source):
    """Yields (kind, start, end, text, function) for every mutant of a source text."""
    tokens = [m for m in TOKEN.finditer(source) if m.lastgroup != "skip"]
    texts = [t[0] for t in tokens]

    def is_body(i):  # of a function, a lambda or a control statement, rather than an initialiser
        before = texts[i - 1]
        return before in (")", "else", "do", "const", "]") or "->" in texts[max(i - 4, 0):i]

    def cut(first, last):
        return source[tokens[first].start():tokens[last].end()]

    stack = [["scope", 0, None, "-", 0]]  # bracket, start of the statement, statement before it, function
    for i, token in enumerate(tokens):
        text, (kind, begin, previous, function, opened) = token[0], stack[-1]
        start, end = token.span()
        statement = texts[begin:i + 1]
        spaced = source[start - 1] == " " and source[end:end + 1] in (" ", "\n")
        if "static_assert" in statement or "using" in statement[:2]:
            pass
        elif text in ("+", "-", "+=", "-=") and texts[i - 1] != "operator":
            yield "swap + and -", start, end, SWAPPED[text], function
        elif text in SWAPPED and spaced:
            yield "comparison", start, end, SWAPPED[text], function
        elif token.lastgroup == "number" and kind != "array" and texts[i - 1] not in ("<", ">="):
            yield "constant", start, end, next_number(text), function

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
            if kind in BODIES[1:] and function == "-":
                paren = statement.index("(") if "(" in statement else len(statement) - 1
                function = texts[begin + paren - 1] if kind == "body" else "-"
            stack.append([kind, i + 1, None, function, i])
        elif text in ")]}":
            stack.pop()
            if kind == "index" and i > opened + 1 and (i > opened + 2 or tokens[i - 1].lastgroup == "name"):
                inner = cut(opened + 1, i - 1)
                inner = f"({inner})" if re.search(r"[?&|<,]", inner) else inner
                yield "index", tokens[opened].start(), end, f"[{inner} + 1]", function
            following = texts[i + 1] if i + 1 < len(texts) else ";"
            if text == "}" and kind in BODIES and following not in (";", ",", ")", "("):
                stack[-1][1:3] = [i + 1, None]
        elif text == ":" and kind in BODIES and statement[0] in ("case", "default"):
            stack[-1][1:3] = [i + 1, None]
        elif text == ";" and kind in BODIES:
            stack[-1][1:3] = [i + 1, None]
            if kind != "scope" and statement[0] not in FIXED and i > begin:
                declares = re.match(r"(const|constexpr|static|auto)\b|[\w:]+(<[^;=(]*>)?[*&]? \w+", cut(begin, i))
                if not declares if statement[0] not in LEAVING else kind == "branch":
                    yield "drop statement", tokens[begin].start(), end, "", function
                if statement[0] not in LEAVING:
                    if previous is not None and not independent(cut(previous, begin - 1), cut(begin, i)):
                        yield ("swap statements", tokens[previous].start(), end,
                               cut(begin, i) + " " + cut(previous, begin - 1), function)
                    stack[-1][2] = begin


def mutants_of(file):
    source = (ROOT / file).read_text()
    seen = collections.Counter()
    for kind, start, end, text, function in changes(source):
        first, last = source.rfind("\n", 0, start) + 1, source.find("\n", end)
        before = " ".join(source[first:last].split())
        after = " ".join((source[first:start] + text + source[end:last]).split())
        seen[function, before, after] += 1
        if seen[function, before, after] > 1:  # the same change of an equal line further down
            function += f" #{seen[function, before, after]}"
        yield Mutant(file, source.count("\n", 0, start) + 1, kind, start, end, text, function, before, after)


def known_equivalents():
    """Records of a line 'file function', pairs of lines '- before' and '+ after', and '= reason'."""
    known, place, before, open_pairs = {}, None, None, []
    for line in EQUIVALENTS.read_text().splitlines() if EQUIVALENTS.exists() else []:
        mark, rest = line[:2], line[2:]
        if mark == "- ":
            before = rest
        elif mark in ("+ ", "+"):
            open_pairs.append((*place, before, rest))
        elif mark == "= ":
            known.update((pair, rest) for pair in open_pairs)
            open_pairs = []
        elif line and line[0] not in "#= ":
            place = tuple(line.split(" ", 1))
    if open_pairs:
        sys.exit(f"{EQUIVALENTS.name}: no reason given for {open_pairs[0]}")
    return known


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
        self.name = self.path.relative_to(ROOT).as_posix()
        self.directory = entry["directory"]
        words = shlex.split(entry["command"])
        self.object = Path(self.directory, words[words.index("-o") + 1])
        self.words = words[:words.index("-o")] + ["-Werror=return-type", "-fvisibility=default"]
        self.cost = 0

    def sees(self):
        text = subprocess.run([*self.words, "-MM", str(self.path)], cwd=self.directory,
                              capture_output=True, text=True, check=True).stdout
        paths = (Path(self.directory, word).resolve() for word in text.split()[1:] if word != "\\")
        return {p.relative_to(ROOT).as_posix() for p in paths if p.is_relative_to(ROOT)}

    def compile(self, tree, target, *more):
        target.parent.mkdir(parents=True, exist_ok=True)
        words = [w.replace(f"{ROOT}/src", f"{tree}/src") for w in [*self.words, *more]]
        source = str(self.path).replace(f"{ROOT}/src", f"{tree}/src")
        return run([*words, "-c", source, "-o", str(target)], cwd=self.directory) == 0


class Flavour:
    """One of the builds: its units, their objects without a mutant, and how to link and run the tests."""
    def __init__(self, name):
        self.name = name
        build = ROOT / "build" / FLAVOURS[name]
        units = [Unit(e) for e in json.loads((build / "compile_commands.json").read_text())]
        self.sources = [u for u in units if u.name.startswith("src/")]
        self.tests = [u for u in units if "merlo64f_tests.dir" in str(u.object)]
        digests = [u for u in units if u.name == "tests/digests.cpp"]
        self.programs = {"digests": digests + [u for u in self.tests if u.name == "tests/heap.cpp"],
                         "merlo64f_tests": self.tests}
        self.compiler = [w for w in self.sources[0].words if "fsanitize" in w or w == self.sources[0].words[0]]

    def base(self, unit, level=""):
        return SCRATCH / "base" / (self.name + level) / (unit.name + ".o")

    def prepare(self):
        self.home = SCRATCH / "base" / self.name
        self.home.mkdir()
        header = self.home / "std.h"  # precompiled, it halves the time
        texts = [p.read_text() for p in (ROOT / "src").rglob("*.*")]
        header.write_text("\n".join(sorted(set(re.findall(r"^#include <.*>", "\n".join(texts), re.M)))))
        run([*self.sources[0].words, "-x", "c++-header", str(header), "-o", f"{header}.gch"])
        for unit in self.sources:
            unit.words += ["-include", str(header)]

        def compile_base(unit):
            begin = time.monotonic()
            if not unit.compile(SCRATCH / "base", self.base(unit)):
                raise RuntimeError(f"{unit.name} does not compile")
            unit.cost = time.monotonic() - begin
            if self.name != "san":
                unit.compile(SCRATCH / "base", self.base(unit, "-O3"), "-O3")

        with multiprocessing.pool.ThreadPool(os.cpu_count()) as pool:
            pool.map(compile_base, self.sources)
            self.seen = dict(pool.map(lambda unit: (unit.name, unit.sees()), self.sources + self.tests))
        self.sources.sort(key=lambda unit: unit.cost)
        self.link(self.home, {})
        for program in self.programs:
            self.link_program(program, self.home, {})
        self.limits = {}
        for program in self.programs:
            begin = time.monotonic()
            if not self.passes(program, self.home, self.home, 600):
                sys.exit(f"{program} ({self.name}) fails without a mutant")
            self.limits[program] = int(3 + 10 * (time.monotonic() - begin))

    def link(self, directory, changed):
        objects = [str(changed.get(u.name, self.base(u))) for u in self.sources]
        if run([*self.compiler, "-shared", "-Wl,-Bsymbolic", "-Wl,--wrap=calloc,--wrap=free", *objects,
                "-o", str(directory / "libmutant.so")]) != 0:
            sys.exit(f"{directory}/libmutant.so does not link")

    def link_program(self, program, directory, changed):
        objects = [str(changed.get(u.name, u.object)) for u in self.programs[program]]
        main = ["-lgtest_main"] if program == "merlo64f_tests" else []
        if run([*self.compiler, "-rdynamic", "-Wl,--wrap=calloc,--wrap=free", *objects, f"-L{self.home}",
                "-lmutant", *main, "-lgtest", "-o", str(directory / program)]) != 0:
            sys.exit(f"{directory}/{program} does not link")

    def tests_beside(self, changed):
        """A filter that leaves out the tests named after units that are unchanged and call no changed one."""
        stems = {u.path.stem for u in self.sources if u.name not in changed}
        if not all((ROOT / f"include/{Path(name).stem}.h").exists() for name in changed):
            stems = ()  # not of one family, but called by many
        return "-" + ":".join(f"Family/{stem}.*:{stem.title().replace('_', '')}.*" for stem in stems)

    def passes(self, program, programs, library, cpu_seconds=None, tests="*"):
        arguments = [ROOT / "tests/digests.txt"] if program == "digests" else \
            ["--gtest_fail_fast", f"--gtest_filter={tests}"]
        return run([programs / program, *arguments], cpu_seconds or self.limits[program], cwd=library,
                   env={**os.environ, "LD_LIBRARY_PATH": str(library)}) == 0


# ---- Judging

class Uncompilable(Exception):
    pass


def fault_found(flavour, mutant, tree):
    """What finds the mutant in this flavour: a program's name, "same code", or None."""
    directory = tree / flavour.name
    shutil.rmtree(directory, ignore_errors=True)
    directory.mkdir(parents=True)
    changed = {}

    def compile_changed(unit, without):
        target = directory / (unit.name + ".o")
        if not unit.compile(tree, target):
            raise Uncompilable
        if not filecmp.cmp(target, without, shallow=False):
            changed[unit.name] = target

    def failing_program(programs, tests):
        flavour.link(directory, changed)
        return next((p for p in flavour.programs if not flavour.passes(p, programs, directory, tests=tests)), None)

    tried = 0
    sources = [u for u in flavour.sources if mutant.file in flavour.seen[u.name]]
    for unit in sources:
        compile_changed(unit, flavour.base(unit))
        if changed and (not tried or unit is sources[-1] and len(changed) > tried):  # the cheapest alone, then all
            tried = len(changed)
            if found := failing_program(flavour.home, flavour.tests_beside(changed)):
                return found
    for unit in flavour.tests:  # those that hold inline functions themselves
        if mutant.file in flavour.seen[unit.name]:
            compile_changed(unit, unit.object)
    if any(unit.name in changed for unit in flavour.tests):
        flavour.link_program("merlo64f_tests", directory, changed)
        flavour.link_program("digests", directory, changed)
        return failing_program(directory, "*")
    optimised = directory / "O3.o"
    return "same code" if flavour.name != "san" and all(
        u.compile(tree, optimised, "-O3") and filecmp.cmp(optimised, flavour.base(u, "-O3"), shallow=False)
        for u in sources if u.name in changed) else None


def judge(key):
    mutant = mutants[key]
    tree = SCRATCH / f"worker{os.getpid()}"
    if not tree.exists():
        shutil.copytree(SCRATCH / "base/src", tree / "src")
    source = (tree / mutant.file).read_text()
    (tree / mutant.file).write_text(source[:mutant.start] + mutant.text + source[mutant.end:])
    try:
        findings = []
        for flavour in flavours:
            if flavour.name == "v3" and not re.search(r"\bk?Lanes\b|\bWide\b", source):
                findings.append(findings[-1])  # the width of a register is no matter
            elif findings == ["same code"] * 2:
                return key, "same code"
            else:
                findings.append(fault_found(flavour, mutant, tree))
            if findings[-1] not in (None, "same code"):
                return key, "killed"
        return key, "survived"
    except Uncompilable:
        return key, "uncompilable"
    finally:
        (tree / mutant.file).write_text(source)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--file", action="append", help="only files whose path holds this")
    parser.add_argument("--sample", type=int, help="only so many mutants, drawn at random")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--again", action="store_true", help="only what survived the last run")
    parser.add_argument("--listed", action="store_true", help="only what is listed as equivalent")
    parser.add_argument("--list", action="store_true", help="print the mutants and run nothing")
    options = parser.parse_args()

    files = sorted(p.relative_to(ROOT).as_posix() for p in (ROOT / "src").rglob("*") if p.suffix in (".h", ".cpp"))
    global mutants, flavours
    mutants = {(m.file, m.function, m.before, m.after): m for file in files for m in mutants_of(file)}
    known = known_equivalents()
    stale = [key for key in known if key not in mutants]
    chosen = {k: m for k, m in mutants.items() if not options.file or any(f in m.file for f in options.file)}
    last = SCRATCH / "survivors.json"
    if options.again:
        again = {tuple(key) for key in json.loads(last.read_text())}
        chosen = {k: m for k, m in chosen.items() if k in again}
    chosen = {k: m for k, m in chosen.items() if (k in known) == options.listed}
    if options.sample and options.sample < len(chosen):
        chosen = dict(random.Random(options.seed).sample(sorted(chosen.items()), options.sample))
    if options.list:
        for m in chosen.values():
            print(f"{m.file}:{m.line}: {m.function}: {m.kind}\n- {m.before}\n+ {m.after}")
        return

    begin = time.monotonic()
    for old in SCRATCH.glob("*/"):
        shutil.rmtree(old)
    shutil.copytree(ROOT / "src", SCRATCH / "base/src")
    flavours = [Flavour(name) for name in FLAVOURS]
    for flavour in flavours:
        flavour.prepare()
    counts = collections.defaultdict(collections.Counter)
    survivors = []
    order = sorted(chosen, key=lambda key: (mutants[key].file, mutants[key].line))
    with multiprocessing.get_context("fork").Pool(os.cpu_count()) as pool:
        for done, (key, verdict) in enumerate(pool.imap_unordered(judge, order), 1):
            m = mutants[key]
            counts[m.file][verdict] += 1
            if verdict == "survived":
                survivors.append(key)
                print(f"{m.file}:{m.line}: {m.function}: {m.kind}\n- {m.before}\n+ {m.after}", flush=True)
            if done % 100 == 0:
                print(f"# {done} of {len(order)}, {time.monotonic() - begin:.0f} s", file=sys.stderr, flush=True)
    last.write_text(json.dumps(survivors))

    print(f"{'file':36}{'killed':>8}{'survived':>10}{'score':>9}{'listed':>8}{'same code':>11}{'uncompilable':>14}")
    total = collections.Counter()
    for file, count in [*sorted(counts.items()), ("all", total)]:
        if file != "all":
            count["listed"] = sum(key[0] == file for key in known)
            total.update(count)
        judged = count["killed"] + count["survived"]
        score = f"{100 * count['killed'] / judged:8.2f}%" if judged else "        -"
        print(f"{file:36}{count['killed']:8}{count['survived']:10}{score}{count['listed']:8}"
              f"{count['same code']:11}{count['uncompilable']:14}")
    print(f"{time.monotonic() - begin:.0f} s")
    for key in stale:
        print(f"{EQUIVALENTS.name}: no such mutant: {' '.join(key[:2])}\n- {key[2]}\n+ {key[3]}")
    if options.listed and total["killed"]:
        sys.exit("a mutant that is listed as equivalent is found")
    if stale or not options.listed and total["killed"] < PASS * (total["killed"] + total["survived"]):
        sys.exit(1)


if __name__ == "__main__":
    main()
