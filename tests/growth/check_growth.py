#!/usr/bin/env python3
"""Runs a growth program and compares what each call costs at n, 2n and 4n.

usage: check_growth.py instructions PROGRAM VALGRIND OUTPUT
       check_growth.py blocks PROGRAM

Linear: what the second half of 4n costs is at most twice what the second half of 2n costs, with some slack. Product
(text times pattern, both growing): at most four times. The counts are the same on every run.
"""
import collections
import os
import re
import subprocess
import sys

SLACK = {"instructions": 3000, "blocks": 100}  # the ends of blocks, the allocator's moods
LIMIT = {"linear": 2.3, "product": 4.6}


def instructions(program: str, valgrind: str, output: str) -> dict[tuple[str, str], list[int]]:
    # Valgrind counts every step of a string instruction: the C library is told to copy and fill by vectors alone.
    tunables = "glibc.cpu.x86_rep_movsb_threshold=0x40000000:glibc.cpu.x86_rep_stosb_threshold=0x40000000"
    subprocess.run([valgrind, "--tool=callgrind", "--collect-atstart=no", "--combine-dumps=yes", "--dump-line=no",
                    "--quiet", f"--callgrind-out-file={output}", program],
                   env=os.environ | {"GLIBC_TUNABLES": tunables}, check=True)
    counts = collections.defaultdict(list)
    label = None
    with open(output, encoding="latin-1") as lines:
        for line in lines:
            if found := re.match(r"desc: Trigger: Client Request: (\w+)\|(.*)\|\d+$", line):
                label = found.groups()
            elif label is not None and line.startswith("summary: "):
                counts[label].append(int(line.split()[1]))
                label = None
    return counts


def blocks(program: str) -> dict[tuple[str, str], list[int]]:
    counts = collections.defaultdict(list)
    for line in subprocess.run([program], check=True, capture_output=True, encoding="latin-1").stdout.splitlines():
        growth, name, count = re.fullmatch(r"(\w+)\|(.*)\|\d+ (\d+)", line).groups()
        counts[growth, name].append(int(count))
    return counts


def main() -> None:
    unit = sys.argv[1]
    counts = {"instructions": instructions, "blocks": blocks}[unit](*sys.argv[2:])
    slack = SLACK[unit]
    steepest = {growth: (0.0, "none") for growth in LIMIT}
    failures = 0
    for (growth, name), calls in counts.items():
        n, twice, four = calls  # a call that was not measured three times is a mistake in the program
        before, after = twice - n, four - twice
        if before > slack:
            steepest[growth] = max(steepest[growth], (after / before, name))
        if after > LIMIT[growth] * max(before, 0) + slack:
            failures += 1
            print(f"{name}: {n}, {twice}, {four} {unit} are more than {growth}")
    if len(counts) < 1000:
        sys.exit(f"only {len(counts)} calls were measured")
    print(f"{len(counts)} calls measured")
    for growth, (ratio, name) in steepest.items():
        print(f"the steepest of {growth} growth: {ratio:.2f}, {name}")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
