#!/usr/bin/env python3
"""Runs the benchmark programs on several builds of the library at once, prints what they reach, and writes the tables.

  report.py --build build/bench --library NAME=PATH... [--quick] [WORD...]
      all builds beside all rivals. A whole run (no WORD, not --quick) leaves its figures in BUILD/results.tsv and writes
      docs/benchmarks.md.
  report.py --build build/bench --compare OLD NEW [WORD...]
      two builds side by side, without rivals
  report.py --build build/bench --evidence --library NAME=PATH... [WORD...]
      what evidence costs over plain decoding, for builds of libzelk-insight
  report.py --build build/bench --page
      docs/benchmarks.md anew, from BUILD/results.tsv and, where bench/machines.py has left them, the
      tables of other machines

WORD: only the cells whose name contains one of the words. A build is a set of kernels, or one of the commit that the
targets compare with. Every figure in the document comes from the run that wrote it.
"""

import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # the modules below lie in the source tree

import page
import results
import targets

FAMILIES = ("sets", "dvb", "utf8", "huffman", "collation", "wildcard", "xml")
# Where a process finds its memory differs from one to the next, and with it what collides in the caches: every program
# runs several times. What disturbs a machine that others share comes in bursts: many short rounds find the time between.
FULL = {"processes": 3, "repetitions": 10, "seconds": 0.001}
QUICK = {"processes": 2, "repetitions": 6, "seconds": 0.0005}
COMPARE = {"processes": 5, "repetitions": 30, "seconds": 0.0005}
EVIDENCE = {"processes": 3, "repetitions": 20, "seconds": 0.0005}


def run(program, effort, arguments, environment):
    """Runs one program on one core, and again, and yields the number of the process with each of its lines."""
    command = [str(program), f"--benchmark_min_time={effort['seconds']}",
               f"--benchmark_repetitions={effort['repetitions']}", "--benchmark_enable_random_interleaving=true",
               *arguments]
    core = str(max(os.sched_getaffinity(0)))
    for number in range(effort["processes"]):
        with subprocess.Popen(["taskset", "-c", core, *command], stdout=subprocess.PIPE, text=True,
                              env={**os.environ, **environment}) as process:
            for line in process.stdout:
                yield number, line
        if process.returncode != 0:
            sys.exit(f"{program} ended with {process.returncode}")


def locale_environment(build):
    """The C library collates by a language only if the locale exists: made in the build folder."""
    folder = build / "locale"
    if not (folder / "en_GB.UTF-8").exists():
        folder.mkdir(parents=True, exist_ok=True)
        made = subprocess.run(["localedef", "-i", "en_GB", "-f", "UTF-8", str(folder / "en_GB.UTF-8")],
                              capture_output=True, text=True, check=False)
        if made.returncode != 0:
            print(f"no locale en_GB: strcoll is left out ({made.stderr.strip()})", file=sys.stderr)
    return {"LOCPATH": str(folder)}


def measure(build, effort, arguments, words, families=FAMILIES):
    measured = results.Results()
    for family in families:
        print(f"{family} ...", file=sys.stderr)
        program = build / "bench" / f"{family}_bench"
        for number, line in run(program, effort, [*arguments, *words], locale_environment(build)):
            measured.read(number, line)
    return measured


def print_notes(measured):
    for work, text, length, contender, different, of in measured.notes:
        print(f"results of {contender} differ in {different} of {of} texts: {work}, {text}, {length}")


def compare(build, old, new, words):
    arguments = [f"--library=old={old}", f"--library=new={new}", "--no-rivals"]
    measured = measure(build, COMPARE, arguments, words)
    print(f"{'work':46}{'text':42}{'length':7}{'old, ns':>10}{'new, ns':>10}{'old/new':>9}{'spread':>9}")
    ratios = []
    for cell in measured.cells.values():
        before, after = cell.nanoseconds("old"), cell.nanoseconds("new")
        ratios.append(cell.ratio("old", "new"))
        spread = max(cell.spread("old"), cell.spread("new"))
        print(f"{cell.work[:45]:46}{cell.text[:41]:42}{cell.length:7}{page.number(before):>10}{page.number(after):>10}"
              f"{ratios[-1]:>8.2f}x{spread:>7.1f} %")
    if ratios:
        print(f"old/new: median {statistics.median(ratios):.2f}, lowest {min(ratios):.2f}, highest {max(ratios):.2f}")
    print_notes(measured)
    return 1 if measured.notes else 0


def evidence(build, libraries, words):
    """A process has one build: of two, the second would be linked with the first one's libmurn-zelk."""
    measured = {}
    for library in libraries:
        measured[library.split("=")[0]] = measure(build, EVIDENCE, [f"--library={library}"], words, ("evidence",))
    print(f"{'work':38}{'text':46}{'length':8}" + "".join(f"{kernels:>20}" for kernels in measured))
    missed = 0
    for key in next(iter(measured.values())).cells:
        line = f"{key[0]:38}{key[1]:46}{key[2]:8}"
        for kernels, found in measured.items():
            cell = found.cells[key]
            ratio = cell.ratio("evidence", kernels)
            missed += ratio > targets.EVIDENCE
            line += f"{page.number(cell.nanoseconds(kernels)):>11} ns {ratio:5.2f}{'*' if ratio > targets.EVIDENCE else ' '}"
        print(line)
    print("Beside the time of plain decoding what evidence takes, in multiples of it; "
          f"*: more than {targets.EVIDENCE:g}, of which there are {missed}")
    for found in measured.values():
        print_notes(found)
    return 1 if any(found.notes for found in measured.values()) else 0


def print_cells(measured, sets):
    """Every cell: each set's time, its ratio to the fastest rival, and what it is to reach."""
    missed = judged = 0
    for cell in measured.cells.values():
        parts = []
        for kernels in sets:
            rival = cell.best_rival(kernels)
            beside = f" ({cell.ratio(rival, kernels):.1f}x {rival})" if rival else ""
            parts.append(f"{kernels} {page.number(cell.nanoseconds(kernels))}{beside}")
        print(f"{cell.work}, {cell.text}, {cell.length}: {'; '.join(parts)}")
        for kernels in sets:
            for condition in targets.conditions(cell, kernels):
                judged += 1
                if not condition.met(cell, kernels):
                    missed += 1
                    print(f"    missed by {kernels}: {condition}, is {condition.value(cell, kernels):.2f}")
    print_notes(measured)
    print(f"targets met: {judged - missed} of {judged}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder of the benchmarks")
    parser.add_argument("--library", action="append", default=[], metavar="NAME=PATH", help="a build of the library")
    parser.add_argument("--quick", action="store_true", help="run briefly, print, write nothing")
    parser.add_argument("--compare", nargs=2, metavar=("OLD", "NEW"), help="two libmurn-zelk.so")
    parser.add_argument("--evidence", action="store_true", help="the builds are of libzelk-insight; writes nothing")
    parser.add_argument("--page", action="store_true", help="write the document from the figures that are there")
    parser.add_argument("words", nargs="*", metavar="WORD", help="only the cells whose name contains one; writes nothing")
    options = parser.parse_args()
    if options.compare:
        return compare(options.build, *options.compare, options.words)
    if options.evidence:
        return evidence(options.build, options.library, options.words)
    if not options.page:
        started = time.monotonic()
        arguments = [f"--library={library}" for library in options.library]
        measured = measure(options.build, QUICK if options.quick else FULL, arguments, options.words)
        names = [library.split("=")[0] for library in options.library]
        measured.sets = [name for name in names if name not in (targets.START_PORTABLE, targets.START_AVX512)]
        measured.seconds = time.monotonic() - started
        print_cells(measured, measured.sets)
        print(f"{measured.seconds:.0f} s")
        if options.quick or options.words:
            return 0
        measured.save(options.build / "results.tsv")
    page.write(options.build)
    return 0


if __name__ == "__main__":
    sys.exit(main())
