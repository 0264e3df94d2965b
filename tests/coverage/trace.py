#!/usr/bin/env python3
"""Tells gcovr what Clang's source-based coverage has counted, each place of the source once.

Clang counts how often a condition was true and how often false, in every instance of a template and in every copy of an
inline function. Here the instances of a place are added up: a way is taken if one of them takes it. Where the compiler
knows the answer there is no branch, and a function that it evaluates itself and does not emit has no lines.

Markers in the source (GCOVR_EXCL_LINE, GCOVR_EXCL_BR_LINE for the branches alone, and both with START and STOP) take
places out. One that takes out nothing but what is reached is an error: it would hide what is not reached later.
"""
import argparse
import collections
import dataclasses
import json
import re
import subprocess
import sys
from pathlib import Path

CODE, EXPANSION = 0, 1  # the kinds of regions that hold code
MARKER = re.compile(r"GCOVR_EXCL_(BR_)?(LINE|START|STOP)\b")


@dataclasses.dataclass(frozen=True)
class Place:
    first: tuple  # line and column
    last: tuple


class Source:
    """What all functions of one file have counted."""

    def __init__(self):
        self.regions = collections.Counter()
        self.branches = collections.defaultdict(lambda: (0, 0))
        self.functions = collections.Counter()

    def lines(self):
        """The count of each line: the most of what begins there and, of what goes on there, the innermost."""
        counts = {}
        for line in {line for place in self.regions for line in range(place.first[0], place.last[0] + 1)}:
            places = [place for place in self.regions if place.first[0] == line]
            around = [place for place in self.regions if place.first[0] < line and place.last > (line, 1)]
            places += [max(around, key=lambda place: place.first)] if around else []
            counts[line] = max((self.regions[place] for place in places), default=0)
        return counts


def command(*words):
    done = subprocess.run(words, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(done.stderr)
    return done.stdout  # what it warns of are functions that a program has, but does not use


def add_function(sources, function):
    files = [sources[name] for name in function["filenames"]]
    for *place, count, file, _, kind in function["regions"]:
        if kind in (CODE, EXPANSION):
            files[file].regions[Place(tuple(place[:2]), tuple(place[2:]))] += count
    files[0].functions[tuple(function["regions"][0][:2])] += function["count"]
    for *place, taken, not_taken, file, _, _ in function["branches"]:
        place = Place(tuple(place[:2]), tuple(place[2:]))
        sums = files[file].branches[place]
        files[file].branches[place] = (sums[0] + taken, sums[1] + not_taken)


def sources_of(profile, programs, directories):
    functions = command("llvm-profdata", "show", "--all-functions", profile)
    emitted = set(re.findall(r"^  (\S.*):$", functions, re.MULTILINE))
    objects = [word for program in programs[1:] for word in ("-object", program)]
    export = json.loads(command("llvm-cov", "export", "-instr-profile", profile, programs[0], *objects,
                                *map(str, directories)))
    sources = collections.defaultdict(Source)
    for function in export["data"][0]["functions"]:
        if function["name"] in emitted:
            add_function(sources, function)
    return {Path(name): source for name, source in sources.items()
            if any(Path(name).is_relative_to(directory) for directory in directories)}


def markers_of(path):
    """What markers take out: the first and the last line, and whether it is their branches alone."""
    markers = []
    begun = {}
    for number, text in enumerate(path.read_text().splitlines(), 1):
        for match in MARKER.finditer(text):
            branches_alone = match[1] is not None
            if match[2] == "START":
                begun[branches_alone] = number
            else:
                first = begun.pop(branches_alone) if match[2] == "STOP" else number
                markers.append((first, number, branches_alone))
    return markers


def trace_of(name, source, markers):
    """The file as gcovr takes it, and the markers that are no use."""
    counts = source.lines()
    branches = collections.defaultdict(list)
    for place, both in sorted(source.branches.items(), key=lambda item: item[0].first):
        branches[place.first[0]] += both
    idle = []
    for first, last, branches_alone in markers:
        out = [branches.pop(line, []) for line in range(first, last + 1)]
        if not branches_alone:
            out.append([counts.pop(line, 1) for line in range(first, last + 1)])
        if not any(0 in taken for taken in out):
            idle.append(f"{name}:{first}: the marker takes out nothing but what is reached")
    lines = [{"line_number": line, "count": count, "gcovr/noncode": False, "gcovr/excluded": False,
              "branches": [{"count": taken, "fallthrough": False, "throw": False} for taken in branches.get(line, [])]}
             for line, count in counts.items()]
    functions = [{"name": f"{name}:{line}:{column}", "lineno": line, "execution_count": count}
                 for (line, column), count in source.functions.items() if line in counts]
    return {"file": str(name), "lines": lines, "functions": functions}, idle


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--profile", required=True, help="what llvm-profdata has merged")
    parser.add_argument("--output", required=True, help="the file for gcovr --add-tracefile")
    parser.add_argument("programs", nargs="+", help="the programs and libraries that have run")
    arguments = parser.parse_args()
    root = Path(__file__).resolve().parents[2]
    directories = [root / "src", root / "insight/src"]
    files, idle = [], []
    for path, source in sorted(sources_of(arguments.profile, arguments.programs, directories).items()):
        trace, useless = trace_of(path.relative_to(root), source, markers_of(path))
        files.append(trace)
        idle += useless
    Path(arguments.output).write_text(json.dumps({"gcovr/format_version": "0.3", "files": files}))
    if idle:
        sys.exit("\n".join(idle))


if __name__ == "__main__":
    main()
