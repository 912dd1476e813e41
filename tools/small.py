#!/usr/bin/env python3
"""Builds the library for the microcontrollers, counts bytes and instructions, and writes the tables of
docs/small.md, which lie between comments <!-- table NAME --> and <!-- end -->.

    tools/small.py        needs the packages of cmake/targets/cortex-m7.cmake
"""
import re, subprocess, sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/small.md"
BOARDS = {"cortex-m7": "M7", "cortex-m4f": "M4F"}
LEVELS = ["-O2", "-Os"]
CLOCK = 168e6              # of an M4F, in Hz
CYCLES_PER_INSTRUCTION = 1.5
SHARE = 0.8                # of the processor; the host has the rest
RATES = [8000, 16000, 48000]
# what a host of the first column of flash calls beside InitStatic
UPDATE = {"fir64f": "Filter"}

HOST = """\
#include <stddef.h>
{includes}
extern void* calloc(size_t n, size_t size);
extern void free(void* block);
void* calloc(size_t n, size_t size) {{ return n + size ? NULL : NULL; }}
void free(void* block) {{ (void)block; }}
void (*volatile used)(void);
int main(void) {{
{uses}
    return 0;
}}
"""


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, text=True,
                          stdout=subprocess.PIPE, **options).stdout


def build(board, level):
    """The build directory of the library and the counter of instructions."""
    tree = ROOT / f"build/small-{board}{level}"
    run("cmake", "-S", ROOT, "-B", tree, "--toolchain", ROOT / f"cmake/targets/{board}.cmake",
        "-DCMAKE_BUILD_TYPE=Release", "-DMERLO64F_BUILD_TESTS=ON",
        f"-DCMAKE_C_FLAGS_RELEASE={level}", f"-DCMAKE_CXX_FLAGS_RELEASE={level}")
    run("cmake", "--build", tree, "--parallel", "2", "--target", "instructions")
    return tree


def counts(tree):
    """{(family, order): (instructions, of plain, bytes of the record, of its buffers)}"""
    result = subprocess.run(["ctest", "--test-dir", tree, "-R", "^instructions$", "-V"], text=True,
                            stdout=subprocess.PIPE)  # above 1.1 of plain it fails
    rows = re.findall(r"^\d+: (\w+64f) (\d+) (\d+) (\d+) (\d+) (\d+)$", result.stdout, re.M)
    return {(row[0], int(row[1])): tuple(int(n) for n in row[2:]) for row in rows}


def functions():
    """{family: its exported functions}"""
    found = {}
    for header in sorted((ROOT / "include").glob("*64f.h")):
        names = re.findall(r"^MERLO64F_API \w+ (\w+)\(", header.read_text(), re.M)
        if header.stem != "merlo64f":
            found[header.stem] = names
    return found


def flash(board, tree, families, names):
    """Bytes of code and constants that a host of these functions gets."""
    flags = re.search(r'board_flags "(.*)"', (ROOT / f"cmake/targets/{board}.cmake").read_text())[1]
    source, program = tree / "host.c", tree / "host.elf"
    source.write_text(HOST.format(includes="\n".join(f"#include <{f}.h>" for f in families),
                                  uses="\n".join(f"    used = (void (*)(void)){n};" for n in names)))
    run("arm-none-eabi-gcc", "-mthumb", "-mfloat-abi=hard", *flags.split(), "-Os", "-nostartfiles",
        "-ffunction-sections", "-Wl,--gc-sections", "-Wl,-e,main", f"-I{ROOT}/include", source,
        tree / "libmerlo64f.a", "-o", program)
    return int(run("arm-none-eabi-size", program).splitlines()[1].split()[0])


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|---|" + "---:|" * (len(head) - 1)]
    return "\n".join(lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows])


def flash_table(trees):
    rows = []
    families = functions()
    base = {key: flash(key[0], tree, [], []) for key, tree in trees.items()}
    for family, names in families.items():
        row = [f"`{family}`"]
        few = [family + "InitStatic", family + UPDATE.get(family, "FilterUpdate")]
        for key, tree in trees.items():
            row += [flash(key[0], tree, [family], few) - base[key],
                    flash(key[0], tree, [family], names) - base[key]]
        rows.append(row)
    everything = [name for names in families.values() for name in names]
    last = ["all families"]
    for key, tree in trees.items():
        last += ["", flash(key[0], tree, families, everything) - base[key]]
    head = ["Family"]
    for board, level in trees:
        head += [f"{BOARDS[board]} {level}: set-up and update", f"{BOARDS[board]} {level}: all"]
    return table(head, rows + [last])


def ram_table(measured):
    orders = {}
    for (family, order), (_, _, record, buffers) in measured.items():
        orders.setdefault(family, (record, {}))[1][order] = buffers
    rows = [[f"`{family}`", record] + [buffers.get(order, "") for order in (8, 10, 16, 32)]
            for family, (record, buffers) in orders.items()]
    return table(["Family", "Record", "Buffers, order 8", "10", "16", "32"], rows)


def instruction_table(measured):
    rows = []
    for family, order in next(iter(measured.values())):
        row = [f"`{family}`", order]
        for result in measured.values():
            taken, plain = result[family, order][:2]
            row += [taken, f"{taken / plain:.2f}"]
        rows.append(row)
    head = ["Family", "Order"]
    for board, level in measured:
        head += [f"{BOARDS[board]} {level}", "of plain"]
    return table(head, rows)


def capacity_table(measured):
    families = {}
    for (family, order), (taken, *_) in measured.items():
        families.setdefault(family, []).append((order, taken))
    rows = []
    for family, orders in families.items():
        row = [f"`{family}`"]
        for rate in RATES:
            budget = CLOCK * SHARE / CYCLES_PER_INSTRUCTION / rate
            row.append(max((order for order, taken in orders if taken <= budget), default="-"))
        rows.append(row)
    return table(["Family"] + [f"{rate // 1000} kHz" for rate in RATES], rows)


def main():
    trees = {(board, level): build(board, level) for board in BOARDS for level in LEVELS}
    measured = {key: counts(tree) for key, tree in trees.items()}
    compiler = run("arm-none-eabi-gcc", "--version").splitlines()[0]
    qemu = run("qemu-system-arm", "--version").splitlines()[0]
    tables = {
        "tools": f"Compiler: {compiler}. Emulator: {qemu}.",
        "flash": flash_table(trees),
        "ram": ram_table(measured["cortex-m7", "-O2"]),
        "instructions": instruction_table(measured),
        "capacity": capacity_table(measured["cortex-m4f", "-O2"]),
    }
    text = PAGE.read_text()
    for name, content in tables.items():
        text, found = re.subn(rf"(<!-- table {name} -->\n).*?(<!-- end -->)",
                              lambda match: match[1] + content + "\n" + match[2], text, flags=re.S)
        if found != 1:
            sys.exit(f"{PAGE}: {found} tables {name}")
    PAGE.write_text(text)


if __name__ == "__main__":
    main()
