#!/usr/bin/env python3
"""Counts the instructions that two builds of the library for another machine execute.

  machines.py --machine MACHINE --build build/bench --passes PASSES --old OLD --new NEW --output TABLE [WORD...]

qemu's user emulation counts exactly, by the plugin of bench/machines/plugin.c. The same program runs with four and with two
repetitions; the difference is two passes over the texts, without what starting takes. The program's own instructions are
left out, those of the C library are not.

For 64-bit Arm and one pass over 8 KiB llvm-mca counts the cycles of the instructions that were executed, in their order,
on models of four processors, as if every branch were foreseen and all data lay in the first cache.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import typing

sys.dont_write_bytecode = True

import targets

PROCESSORS = ("cortex-a53", "cortex-a55", "cortex-a72", "neoverse-n1")


class Machine(typing.NamedTuple):
    qemu: tuple
    sysroot: str  # where the C library is
    modelled: bool = False


MACHINES = {
    "aarch64": Machine(("qemu-aarch64", "-cpu", "cortex-a53"), "/usr/aarch64-linux-gnu", modelled=True),
    "armhf": Machine(("qemu-arm", "-cpu", "cortex-a7"), "/usr/arm-linux-gnueabihf"),
    "mips": Machine(("qemu-mips",), "/usr/mips-linux-gnu"),
}
WINDOW = 4000  # instructions out of the last passes that llvm-mca sees
COLUMNS = ("work", "text", "length", "old", "new", *(f"{kind} {cpu}" for cpu in PROCESSORS for kind in ("old", "new")))


def run(options, library, row, repetitions, folder, trace=None):
    """The number of instructions outside of the program itself."""
    count = pathlib.Path(folder, "count")
    plugin = f"{options.build / 'bench' / 'libinstructions.so'},count={count}" + (f",trace={trace}" if trace else "")
    machine = MACHINES[options.machine]
    subprocess.run([*machine.qemu, "-L", machine.sysroot, "-plugin", plugin, str(options.passes),
                    library, row["function"], row["file"], str(repetitions)], check=True)
    return int(count.read_text(encoding="ascii"))


def cycles(words):
    """Cycles of the instructions on each processor, by its name."""
    code = "\n".join(" ".join(f"0x{byte:02x}" for byte in words[at:at + 4]) for at in range(0, len(words), 4))
    features = "-mattr=+v8.2a,+neon,+fp-armv8"
    text = subprocess.run(["llvm-mc", "--disassemble", "-triple=aarch64", features], input=code, capture_output=True,
                          text=True, check=True).stdout
    text = re.sub(r"^\s*\.text.*$", "", text, flags=re.MULTILINE)
    found = {}
    for processor in PROCESSORS:
        report = subprocess.run(["llvm-mca", "-mtriple=aarch64", f"-mcpu={processor}", features, "-iterations=1",
                                 "-all-stats=false", "-all-views=false", "-summary-view"],
                                input=text, capture_output=True, text=True, check=True).stdout
        found[processor] = int(re.search(r"Total Cycles:\s+(\d+)", report).group(1))
    return found


def measure(options, row):
    result = {name: row[name] for name in ("work", "text", "length")}
    with tempfile.TemporaryDirectory() as folder:
        for name, library in (("old", options.old), ("new", options.new)):
            modelled = MACHINES[options.machine].modelled and row["length"] == "8K"
            trace = pathlib.Path(folder, "trace") if modelled else None
            four = run(options, library, row, 4, folder, trace)
            passes = four - run(options, library, row, 2, folder)
            result[name] = passes / 2 / row["bytes"]
            if trace:
                # Two passes before the end: what ending takes is less than one.
                window = min(WINDOW, passes // 2)
                executed = trace.read_bytes()
                begin = len(executed) - passes * 4
                for processor, count in cycles(executed[begin:begin + window * 4]).items():
                    result[f"{name} {processor}"] = count / window * result[name]
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="where write_texts and the plugin are")
    parser.add_argument("--machine", choices=MACHINES, required=True, help="which one")
    parser.add_argument("--passes", type=pathlib.Path, required=True, help="the program passes, for this machine")
    parser.add_argument("--old", required=True, help="a libmurn-zelk.so for this machine")
    parser.add_argument("--new", required=True, help="another one")
    parser.add_argument("--output", type=pathlib.Path, required=True, help="the table, tab-separated")
    parser.add_argument("words", nargs="*", metavar="WORD", help="only the rows whose name contains one")
    options = parser.parse_args()

    texts = options.build / "machine-texts"
    texts.mkdir(exist_ok=True)
    listed = subprocess.run([str(options.build / "bench" / "write_texts"), str(texts)], capture_output=True, text=True,
                            check=True).stdout
    rows = []
    for line in listed.splitlines():
        work, text, length, function, file, size, _ = line.split("\t")
        name = f"{work}/{text}/{length}"
        if not options.words or any(word in name for word in options.words):
            rows.append({"work": work, "text": text, "length": length, "function": function, "file": file,
                         "bytes": int(size)})
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda row: measure(options, row), rows))

    columns = COLUMNS if MACHINES[options.machine].modelled else COLUMNS[:5]
    with options.output.open("w", encoding="utf-8") as file:
        print(*columns, sep="\t", file=file)
        for result in results:
            print(*(f"{result[c]:.4f}" if isinstance(result.get(c), float) else result.get(c, "") for c in columns),
                  sep="\t", file=file)
    show(results, MACHINES[options.machine].modelled)


def show(results, modelled):
    print(f"{'instructions for a byte of input':58}{'old':>8}{'new':>8}{'new/old':>9}"
          + (f"{'limit':>7}   cycles, new/old: {', '.join(PROCESSORS)}" if modelled else ""))
    missed = 0
    for result in results:
        ratio = result["new"] / result["old"]
        line = (f"{result['work'] + ', ' + result['text']:52.51}{result['length']:6}{result['old']:8.2f}"
                f"{result['new']:8.2f}{ratio:9.2f}")
        if modelled:
            row = result["work"], result["text"], result["length"]
            met = targets.arm_met(*row, ratio)
            missed += not met
            models = [f"{result[f'new {c}'] / result[f'old {c}']:.2f}" for c in PROCESSORS if f"new {c}" in result]
            line += f"{targets.arm_limit(*row):6.2f}{' ' if met else '!'}   {'  '.join(models)}"
        print(line)
    if modelled:
        print(f"{len(results) - missed} of {len(results)} within their limits")


if __name__ == "__main__":
    main()
