"""docs/benchmarks.md: one page for all sets of kernels, out of the figures that a run has left."""

import csv
import os
import pathlib
import re
import statistics
import subprocess
import sys

import results
import targets

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "benchmarks.md"
MOST_LINES = 150
TITLES = {"portable": "portable", "sse41": "SSE4.1", "avx2": "AVX2", "avx512": "AVX-512", "neon": "NEON", "wasm": "WASM"}
CYRILLIC = "Russian, Ukrainian, Bulgarian"

# Cells whose times stand on the page: work, text, length.
SHOWN = (
    ("DVB default table to UTF-8, plain", "English", "name"),
    ("DVB default table to UTF-8, marks", "French, German, Spanish, Finnish", "name"),
    ("DVB with a selector to UTF-8, two-byte letters", f"ISO-8859-5, {CYRILLIC}", "name"),
    ("UCS-2 to UTF-8", f"native, {CYRILLIC}", "desc"),
    ("UTF-8 to UCS-2", CYRILLIC, "desc"),
    ("UTF-8 validity", CYRILLIC, "64K"),
    ("collation", "random pairs", "name"),
    ("wildcards", "inner", "desc"),
    ("XML escape", "sparse", "desc"),
)


def number(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}"


def times(ratio):
    digits = 0 if ratio >= 9.95 else 1 if ratio >= 1.05 else 2
    return f"{ratio:.{digits}f}x"


def table(headings, rows):
    yield "| " + " | ".join(headings) + " |"
    yield "|" + "---|" * len(headings)
    for row in rows:
        yield "| " + " | ".join(row) + " |"


def by_work(cells):
    works = {}
    for cell in cells:
        works.setdefault(cell.work, []).append(cell)
    return works


def sentence(parts):
    return ", ".join(parts[:-1]) + " and " + parts[-1] if len(parts) > 1 else "".join(parts)


def rivals_of(cells):
    """The libraries, by the first word of their contenders' names."""
    return sorted({re.split(r"[ ,]", name)[0] for cell in cells for name in cell.passes
                   if name not in results.OURS and name != results.MEMCPY}, key=str.lower)


def with_rivals(cells, kernels):
    """Cells with the ratio of the fastest rival that the set is compared with."""
    for cell in cells:
        rival = cell.best_rival(kernels)
        if rival:
            yield cell, rival, cell.ratio(rival, kernels)


def headline(cells, sets):
    for kernels in sets:
        ratios = [ratio for *_, ratio in with_rivals(cells, kernels)]
        ahead = sum(ratio >= 1 for ratio in ratios)
        yield (f"- **{TITLES[kernels]}**: ahead of every rival in {ahead} of {len(ratios)} rows; the fastest rival takes "
               f"{times(statistics.median(ratios))} our time in the median row.")


def beside_rivals(cells, sets):
    rows = []
    for work, of_work in by_work(cells).items():
        row = [work[0].upper() + work[1:]]
        for kernels in sets:
            ratios = [ratio for *_, ratio in with_rivals(of_work, kernels)]
            if not ratios:
                break
            row.append(f"{times(statistics.median(ratios))} ({times(min(ratios))} to {times(max(ratios))})")
        else:
            fastest = [name for name, *_ in (cell_rival[1:] for cell_rival in with_rivals(of_work, sets[0]))]
            row.append(statistics.mode(fastest))
            rows.append(row)
    yield from table(["Work", *(TITLES[k] for k in sets), f"mostly the fastest rival of {TITLES[sets[0]]}"], rows)


def shown(measured, sets):
    rows = []
    for key in SHOWN:
        cell = measured.cells.get(key)
        if cell is None:
            continue
        rival = cell.best_rival(sets[0])
        work, text, length = key
        rows.append([work[0].upper() + work[1:], text, length, *(number(cell.nanoseconds(k)) for k in sets),
                     f"{rival} {number(cell.nanoseconds(rival))}" if rival else "none",
                     number(cell.nanoseconds(results.MEMCPY)) if results.MEMCPY in cell.passes else ""])
    yield from table(["Work", "text", "length", *(TITLES[k] for k in sets), "fastest rival", "memcpy"], rows)


def over_start(cells, sets):
    """Medians over the rows of a work, by length, beside what AVX2 is to reach in each."""
    rows = []
    for work, ascii_alone, ratios in targets.OVER_PORTABLE:
        of_work = [cell for cell in cells if cell.work == work and targets.over_portable(cell) is not None
                   and targets.is_ascii(cell.text) == ascii_alone]
        if not of_work or targets.START_PORTABLE not in of_work[0].passes:
            continue
        lengths = targets.LENGTHS[:len(ratios)]
        kind = targets.ONE_KIND.get(work) or ("English" if ascii_alone else "others")
        row = [f"{work[0].upper() + work[1:]}: {kind}" if not work.endswith("plain English") else
               work[0].upper() + work[1:], " / ".join(f"{ratio:g}" for ratio in ratios)]
        for kernels in sets:
            medians = []
            for length in lengths:
                found = [cell.ratio(targets.START_PORTABLE, kernels) for cell in of_work if cell.length == length]
                medians.append(f"{statistics.median(found):.2f}" if found else "-")
            row.append(" / ".join(medians))
        rows.append(row)
    yield from table(["Work: text", "AVX2 is to reach", *(TITLES[k] for k in sets)], rows)


def rates(cells, sets):
    for kernels in sets:
        found = [cell.rate(kernels) for cell in cells if cell.work == "Huffman"]
        if found:
            yield f"{TITLES[kernels]} {number(min(found))} to {number(max(found))}"


def ratio(row, kind=""):
    return float(row[f"new{kind}"]) / float(row[f"old{kind}"])


def limit_of(row):
    return targets.arm_limit(row["work"], row["text"], row["length"])


# Machines for which the portable kernels are built.
WITHOUT_VECTORS = {"armhf": "32-bit Arm without NEON", "mips": "32-bit MIPS"}


def counted_on(build, name):
    """The rows that bench/machines.py has left for a machine, by work; none where it has not run."""
    path = build / f"machine-{name}.tsv"
    works = {}
    if path.exists():
        with path.open(encoding="utf-8") as file:
            for row in csv.DictReader(file, delimiter="\t"):
                works.setdefault(row["work"], []).append(row)
    return works


def median_of_length(rows, length):
    found = [ratio(row) for row in rows if row["length"] == length]
    return f"{statistics.median(found):.2f}" if found else "-"


def arm(build):
    """Instructions of the new build over those of the old one, by work."""
    works = counted_on(build, "aarch64")
    rows = [row for of_work in works.values() for row in of_work]
    others = {title: counted_on(build, name) for name, title in WITHOUT_VECTORS.items()}
    others = {title: of_machine for title, of_machine in others.items() if of_machine}
    processors = [column[4:] for column in rows[0] if column.startswith("new ")]
    lines = []
    for work, of_work in works.items():
        line = [work]
        for length in ("name", "desc", "8K"):
            found = [ratio(row) for row in of_work if row["length"] == length]
            line.append(f"{statistics.median(found):.2f} (at most {max(found):.2f})" if found else "")
        cyrillic = [ratio(row) for row in of_work if row["length"] == "8K" and row["text"].endswith(CYRILLIC)]
        limit = targets.ARM_CYRILLIC.get(work)
        line.append((f"{cyrillic[0]:.2f}" + (f" (limit {limit:g})" if limit else "")) if cyrillic else "")
        long = [row for row in of_work if row["length"] == "8K"]
        line.append(" / ".join(f"{statistics.median(ratio(row, f' {p}') for row in long):.2f}" for p in processors)
                    if long else "")
        for of_machine in others.values():
            line.append(" / ".join(median_of_length(of_machine[work], length) for length in ("name", "desc", "8K")))
        lines.append(line)
    yield from table(["Work", "names", "descriptions", "8 KiB", "8 KiB of Cyrillic", "cycles of 8 KiB", *others], lines)
    yield ""
    missed = [row for row in rows if not targets.arm_met(row["work"], row["text"], row["length"], ratio(row))]
    parts = []
    for work in dict.fromkeys(row["work"] for row in missed):
        above = [f"{row['text']}, {row['length']} {ratio(row):.2f} of {limit_of(row):g}" for row in missed
                 if row["work"] == work]
        parts.append(f"{work} ({'; '.join(above)})")
    yield (f"Cycles: as llvm-mca models {', '.join(processors)}, over the old ones. {len(rows) - len(missed)} of "
           f"{len(rows)} rows are within their limits" + (f"; above them: {', '.join(parts)}." if parts else "."))


def behind_rivals(cells, sets):
    for work, of_work in by_work(cells).items():
        parts = []
        for kernels in sets:
            slower = [(ratio, rival, cell) for cell, rival, ratio in with_rivals(of_work, kernels) if ratio < 1]
            if slower:
                ratio, rival, cell = min(slower, key=lambda one: one[0])
                parts.append(f"{TITLES[kernels]} in {len(slower)} of {len(of_work)}, at worst {times(ratio)} of {rival} "
                             f"({cell.text}, {cell.length})")
        if parts:
            yield f"- {work}: {'; '.join(parts)}."


def missed(cells, sets):
    for work, of_work in by_work(cells).items():
        parts = []
        for kernels in sets:
            judged = [(cell, condition) for cell in of_work for condition in targets.conditions(cell, kernels)]
            short = [(condition.value(cell, kernels), cell, condition) for cell, condition in judged
                     if not condition.met(cell, kernels)]
            if short:
                value, cell, condition = min(short, key=lambda one: one[0])
                parts.append(f"{TITLES[kernels]} {len(short)} of {len(judged)}, at worst {value:.2f} where "
                             f"{condition} is wanted ({cell.text}, {cell.length})")
        if parts:
            yield f"- {work}: {'; '.join(parts)}."


def machine():
    cpu = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    found = re.search(r"model name\s*:\s*(.*)", cpu)
    return found.group(1) if found else "unknown processor"


def compiler(build):
    cache = (build / "CMakeCache.txt").read_text(encoding="utf-8")
    command = re.search(r"^CMAKE_CXX_COMPILER:[^=]*=(.*)$", cache, re.MULTILINE).group(1)
    return subprocess.run([command, "--version"], capture_output=True, text=True, check=True).stdout.splitlines()[0]


def document(build, measured):
    cells = list(measured.cells.values())
    sets = sorted(measured.sets, key=lambda k: -targets.LEVELS.index(k) if k in targets.LEVELS else 0)
    judged = [(cell, kernels, condition) for kernels in sets for cell in cells
              for condition in targets.conditions(cell, kernels)]
    met = sum(condition.met(cell, kernels) for cell, kernels, condition in judged)
    yield "# Benchmarks"
    yield ""
    yield "Written by `./dev bench`, which measures every figure anew; do not edit it."
    yield ""
    yield from headline(cells, sets)
    yield f"- **Own targets** (`bench/targets.py`): {met} of {len(judged)} met; those that are not stand at the end."
    yield ""
    yield (f"Measured on {measured.date} in {measured.seconds:.0f} s on one core of {machine()}, {compiler(build)}. "
           f"Rivals: {sentence(rivals_of(cells))}. simdutf has an implementation for each level of the processor; a set of "
           "kernels is compared with those that need no more than it does. encoding_rs is built for AVX2 and compared "
           "with all sets.")
    yield ""
    yield "## Beside the rivals"
    yield ""
    yield ("The time of the fastest rival over ours: the median of a work's rows, the lowest and the highest. Above 1x we "
           "are ahead.")
    yield ""
    yield from beside_rivals(cells, sets)
    yield ""
    compressed = sentence(list(rates(cells, sets)))
    yield f"No rival at hand decodes compressed text. Million bytes of output a second: {compressed}."
    yield ""
    yield "## Times"
    yield ""
    yield ("Nanoseconds for one text, a call's cost included. *name*: 16 to 48 bytes, *desc*: 180 to 220 bytes, *64K*: "
           "65,536 bytes, in the language named.")
    yield ""
    yield from shown(measured, sets)
    yield ""
    if any(targets.START_PORTABLE in cell.passes for cell in cells):
        yield "## Over the kernels of before"
        yield ""
        yield (f"How many times as fast as the portable kernels of commit {targets.START}, measured in the same run: the "
               "median of the rows, for names / descriptions / 64 KiB.")
        yield ""
        yield from over_start(cells, sets)
        yield ""
    if counted_on(build, "aarch64"):
        yield "## Other machines"
        yield ""
        yield (f"Instructions that the NEON kernels of 64-bit Arm execute over those of the portable kernels of commit "
               f"{targets.START}, counted by qemu (`./dev bench --arm`): the median of the rows. The last columns are of "
               "the portable kernels on machines without vectors (`./dev bench --machine`), for names / descriptions / "
               "8 KiB.")
        yield ""
        yield from arm(build)
        yield ""
    behind = list(behind_rivals(cells, sets))
    if behind:
        yield from ["## Where a rival is faster", "", *behind, ""]
    short = list(missed(cells, sets))
    if short:
        yield from ["## Targets that are missed", "", *short, ""]
    yield "## How"
    yield ""
    yield ("Programme titles and descriptions in 14 languages (`bench/corpus/`), 512 names, 128 descriptions and one buffer "
           "a row. Every build of the library and every rival is in one process and runs in many short rounds in random "
           "order; of each process the low tenth of the rounds counts, of the processes the median. Every result is "
           "compared with ours before it is timed. The whole table is left in `build/bench/results.tsv`.")
    if measured.notes:
        yield ""
        works = {}
        for work, _, _, contender, *_ in measured.notes:
            works.setdefault(contender, {})[work] = None
        differing = [f"{contender} ({', '.join(of_rival)})" for contender, of_rival in works.items()]
        yield f"Results of rivals that are not all as ours, and that may be faster for it: {'; '.join(differing)}."


def write(build):
    measured = results.Results.load(build / "results.tsv")
    lines = list(document(build, measured))
    if len(lines) > MOST_LINES:
        print(f"{PAGE} has {len(lines)} lines: {MOST_LINES} are enough for a reader", file=sys.stderr)
    PAGE.write_text("\n".join(lines) + "\n", encoding="utf-8")
    print(f"written: {os.path.relpath(PAGE)}", file=sys.stderr)
