#!/usr/bin/env python3
"""Runs the benchmark programs and writes docs/benchmarks.md with a chart for each family.

  report.py --build build/bench              run everything and write the document
  report.py --build build/bench --quick      run everything briefly and print the table
  report.py --build build/bench WORD...      the same for the cells whose name contains one of the words
  report.py --build build/bench --compare OLD NEW [WORD...]
                                             two builds of the library side by side

Every figure in the document comes from the run that wrote it.
"""

import argparse
import datetime
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # the two modules below lie in the source tree

import chart
import limits
import targets

ROOT = pathlib.Path(__file__).resolve().parent.parent
FAMILIES = {
    "sets": "Single-byte sets",
    "dvb": "DVB text",
    "utf8": "UTF-8 and UCS-2",
    "huffman": "Compressed text",
    "collation": "Collation",
    "wildcard": "Wildcards",
    "xml": "XML",
}
# Where a process finds its memory differs from one to the next, and with it what collides in the caches: every program
# runs several times.
FULL = {"processes": 5, "repetitions": 2, "seconds": 0.012}
QUICK = {"processes": 3, "repetitions": 1, "seconds": 0.003}


class Cell:
    """One kind of work on one kind of text in one length."""

    def __init__(self, work, text, length, texts, written):
        self.work, self.text, self.length = work, text, length
        self.texts, self.written = texts, written
        self.passes = {}  # contender -> nanoseconds that each repetition took for all texts

    def nanoseconds(self, contender):
        return statistics.median(self.passes[contender]) / self.texts

    @property
    def ours(self):
        return self.nanoseconds("zelk")

    @property
    def rate(self):
        """Million bytes of output a second."""
        return self.written / self.texts / self.ours * 1e3

    def spread(self, contender):
        """Half the distance between the quartiles, in percent of the median."""
        passes = self.passes[contender]
        if len(passes) < 2:
            return 0.0
        low, median, high = statistics.quantiles(passes, n=4, method="inclusive")
        return (high - low) / 2 / median * 100

    def best_rival(self, prefix=""):
        rivals = [name for name in self.passes if name not in ("zelk", "memcpy") and name.startswith(prefix)]
        return min(rivals, key=self.nanoseconds, default=None)


class Results:
    def __init__(self):
        self.cells = {}
        self.notes = []

    def read(self, line):
        kind, *fields = line.rstrip("\n").split("\t")
        if kind == "cell":
            work, text, length, texts, written = fields
            self.cells.setdefault((work, text, length), Cell(work, text, length, int(texts), int(written)))
        elif kind == "run":
            work, text, length, contender, nanoseconds = fields
            self.cells[work, text, length].passes.setdefault(contender, []).append(float(nanoseconds))
        elif kind == "note" and fields not in self.notes:
            self.notes.append(fields)


def run(program, effort, arguments, environment):
    """Runs one program on one core, and again, and yields its lines."""
    for _ in range(effort["processes"]):
        yield from run_once(program, effort, arguments, environment)


def run_once(program, effort, arguments, environment):
    command = [str(program), f"--benchmark_min_time={effort['seconds']}",
               f"--benchmark_repetitions={effort['repetitions']}", "--benchmark_enable_random_interleaving=true",
               *arguments]
    core = str(max(os.sched_getaffinity(0)))
    with subprocess.Popen(["taskset", "-c", core, *command], stdout=subprocess.PIPE, text=True,
                          env={**os.environ, **environment}) as process:
        yield from process.stdout
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


def number(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}"


def table(cells, portable):
    """Rows of cells: what is shown of each."""
    rows = []
    for cell in cells:
        conditions = targets.conditions(cell.work, cell.text, cell.length, portable)
        rival = cell.best_rival()
        row = [cell.work, cell.text, cell.length, number(cell.ours), f"{cell.spread('zelk'):.1f} %"]
        if "memcpy" in cell.passes:
            row.append(f"{cell.ours / cell.nanoseconds('memcpy'):.2f}")
        elif cell.written:
            row.append(f"{cell.rate:,.0f} MB/s")
        else:
            row.append("")
        if rival is None:
            row += ["", "", ""]
        else:
            row += [rival, number(cell.nanoseconds(rival)), f"{cell.nanoseconds(rival) / cell.ours:.1f}x"]
        row.append(", ".join(str(condition) for condition in conditions))
        row.append("" if not conditions else "yes" if all(c.met(cell) for c in conditions) else "**no**")
        rows.append(row)
    return rows


HEADINGS = ("work", "text", "length", "ours, ns", "spread", "m or rate", "best rival", "its ns", "ratio", "target", "met")


def count_met(rows):
    judged = [row for row in rows if row[-1]]
    return sum(row[-1] == "yes" for row in judged), len(judged)


def print_table(rows, out=sys.stdout):
    widths = [max(len(row[i]) for row in [HEADINGS, *rows]) for i in range(len(HEADINGS))]
    for row in [HEADINGS, *rows]:
        print("  ".join(field.ljust(width) for field, width in zip(row, widths)).rstrip(), file=out)


def markdown_table(headings, rows):
    yield "| " + " | ".join(headings) + " |"
    yield "|" + "---|" * len(headings)
    for row in rows:
        yield "| " + " | ".join(field.replace("|", "\\|").replace("*a", "\\*a").replace("*b", "\\*b")
                                for field in row) + " |"


def missed(rows, portable):
    """What was tried for the rows that miss their target, each text once with the lengths or texts that it is about."""
    about = {}
    for work, text, length, *_, met in rows:
        if met == "**no**":
            about.setdefault(limits.tried(work, text, length, portable), []).append(f"{text}, {length}" if length != "-" else text)
    for tried, cells in about.items():
        yield f"- {'; '.join(cells)}: {tried}"


def machine():
    cpu = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    found = re.search(r"model name\s*:\s*(.*)", cpu)
    flags = set(re.search(r"flags\s*:\s*(.*)", cpu).group(1).split()) if "flags" in cpu else set()
    return (found.group(1) if found else "unknown processor"), flags


def cache_entry(build, name):
    found = re.search(rf"^{name}:[^=]*=(.*)$", (build / "CMakeCache.txt").read_text(encoding="utf-8"), re.MULTILINE)
    return found.group(1) if found else ""


AVX512 = {"avx512f", "avx512bw", "avx512dq", "avx512vl", "avx512vbmi", "avx512_vbmi2", "bmi2"}


def kernels(build, flags):
    forced = cache_entry(build, "ZELK_KERNELS")
    if forced != "auto":
        return f"{forced} (forced by the build)"
    return "AVX-512 (chosen by the dynamic linker)" if AVX512 <= flags else "portable (chosen by the dynamic linker)"


def compiler(build):
    command = cache_entry(build, "CMAKE_CXX_COMPILER") or "c++"
    return subprocess.run([command, "--version"], capture_output=True, text=True, check=True).stdout.splitlines()[0]


def document(build, results, by_family, portable, effort, seconds):
    processor, flags = machine()
    rows = {family: table(cells, portable) for family, cells in by_family.items()}
    met, judged = count_met([row for family in rows.values() for row in family])
    flags_used = " ".join(filter(None, [cache_entry(build, "CMAKE_CXX_FLAGS"), cache_entry(build, "CMAKE_CXX_FLAGS_RELEASE")]))
    hardened = ", hardened (`ZELK_HARDENED`)" if cache_entry(build, "ZELK_HARDENED") == "ON" else ""
    yield "# Benchmarks" + (" of the portable build" if portable else "")
    yield ""
    yield (f"Written by `./dev bench{' --portable' if portable else ''}`, which measures every figure of this page anew; "
           "do not edit it.")
    yield ""
    yield f"- Date: {datetime.date.today().isoformat()}; the run took {seconds:.0f} s."
    yield f"- Processor: {processor}, one pinned core of {os.cpu_count()}."
    yield f"- Compiler: {compiler(build)}, `{flags_used}`{hardened}."
    yield f"- Kernels: {kernels(build, flags)}."
    yield f"- Targets met: {met} of {judged}."
    yield ""
    yield ("Texts are programme titles and descriptions in 14 languages (`bench/corpus/`): *name* is 512 strings of 16 to 48 "
           "bytes, *desc* 128 strings of 180 to 220 bytes, *64K* one buffer of 65,536 bytes. Times are processor time for "
           "one string, a call's cost included: the median of "
           f"{effort['processes']} processes with {effort['repetitions']} repetitions each, in which the contenders of a "
           "cell take turns in random order. *Spread* is "
           "half the distance between the quartiles. *m* is our time over the time of a `memcpy` of the bytes that we write "
           "(for validity and width, which write nothing, of those that we read). *Ratio* is the time of the fastest rival "
           "over ours: below 1x we are behind.")
    for family, cells in by_family.items():
        yield ""
        yield f"## {FAMILIES[family]}"
        yield ""
        yield f"![Speed against the fastest rival](benchmarks/{chart_name(family, portable)})"
        works = dict.fromkeys(cell.work for cell in cells)
        for work in works:
            yield ""
            yield f"### {work[0].upper() + work[1:]}"
            yield ""
            of_work = [row for row in rows[family] if row[0] == work]
            yield from markdown_table(HEADINGS[1:], [row[1:] for row in of_work])
            behind = list(missed(of_work, portable))
            if behind:
                yield from ["", "Behind the target, with what was tried and what limits it:", "", *behind]
        yield ""
        yield "<details><summary>Every contender: ns for one string, spread</summary>"
        yield ""
        lines = []
        for cell in cells:
            contenders = "; ".join(f"{name} {number(cell.nanoseconds(name))} ± {cell.spread(name):.1f} %"
                                   for name in sorted(cell.passes, key=cell.nanoseconds))
            lines.append([cell.work, cell.text, cell.length, contenders])
        yield from markdown_table(("work", "text", "length", "contenders"), lines)
        yield ""
        yield "</details>"
    if results.notes:
        yield ""
        yield "## Where results differ from ours"
        yield ""
        yield ("Results were compared before the timing. A rival that does not do the whole job, or does another one, may "
               "be faster for it.")
        yield ""
        yield from markdown_table(("work", "text", "length", "rival", "different", "of"), results.notes)


def chart_name(family, portable):
    return f"{family}{'-portable' if portable else ''}.svg"


def write(build, results, by_family, effort, seconds):
    portable = cache_entry(build, "ZELK_KERNELS") == "portable"
    charts = ROOT / "docs" / "benchmarks"
    charts.mkdir(parents=True, exist_ok=True)
    for family, cells in by_family.items():
        (charts / chart_name(family, portable)).write_text(chart.family(FAMILIES[family], cells), encoding="utf-8")
    name = "benchmarks-portable.md" if portable else "benchmarks.md"
    text = "\n".join(document(build, results, by_family, portable, effort, seconds)) + "\n"
    (ROOT / "docs" / name).write_text(text, encoding="utf-8")
    print(f"written: docs/{name}", file=sys.stderr)


def compare(build, old, new, effort, words):
    results = Results()
    for line in run(build / "bench" / "bench-compare", effort, [old, new, *words], {}):
        results.read(line)
    print(f"{'work':34}{'text':34}{'length':8}{'old, ns':>10}{'new, ns':>10}{'old/new':>9}{'spread':>8}")
    for cell in results.cells.values():
        before, after = cell.nanoseconds("old"), cell.nanoseconds("new")
        print(f"{cell.work[:33]:34}{cell.text[:33]:34}{cell.length:8}{number(before):>10}{number(after):>10}"
              f"{before / after:>8.2f}x{max(cell.spread('old'), cell.spread('new')):>6.1f} %")
    for work, text, length, contender, different, of in results.notes:
        print(f"different results: {work}, {text}, {length}: {different} of {of}")
    return 1 if results.notes else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder")
    parser.add_argument("--quick", action="store_true", help="run briefly, print, write nothing")
    parser.add_argument("--compare", nargs=2, metavar=("OLD", "NEW"), help="two libmurn-zelk.so")
    parser.add_argument("words", nargs="*", metavar="WORD", help="only the cells whose name contains one; writes nothing")
    options = parser.parse_args()
    effort = QUICK if options.quick else FULL
    if options.compare:
        return compare(options.build, *options.compare, effort, options.words)

    started = time.monotonic()
    results = Results()
    by_family = {}
    for family, title in FAMILIES.items():
        program = options.build / "bench" / f"{family}_bench"
        if not program.exists():
            continue
        print(f"{title} ...", file=sys.stderr)
        known = len(results.cells)
        for line in run(program, effort, options.words, locale_environment(options.build)):
            results.read(line)
        by_family[family] = list(results.cells.values())[known:]
    by_family = {family: cells for family, cells in by_family.items() if cells}
    seconds = time.monotonic() - started

    portable = cache_entry(options.build, "ZELK_KERNELS") == "portable"
    rows = [row for cells in by_family.values() for row in table(cells, portable)]
    print_table(rows)
    for work, text, length, contender, different, of in results.notes:
        print(f"results of {contender} differ from ours in {different} of {of} texts: {work}, {text}, {length}")
    met, judged = count_met(rows)
    print(f"targets met: {met} of {judged}; {seconds:.0f} s")
    if not options.quick and not options.words:
        write(options.build, results, by_family, effort, seconds)
    return 0


if __name__ == "__main__":
    sys.exit(main())
