#!/usr/bin/env python3
"""Changes a library in one place at a time and prints which changes no test notices.

A mutant is one change: a comparison, an arithmetic, bitwise or boolean operator, a constant one up or down, or one
character of a table or of another string. It is made in a copy of the source tree, compiled, and tried on the tests of
its file; a mutant that survives these is tried on the whole suite, then with the library of portable kernels, which
this processor may not choose, then on the tests of its file under the sanitizers. Mutants that do not compile (a failed
static_assert among the reasons) and those that compile to the very same libraries are counted apart: neither can be
found by a test. Survivors that explained.txt lists, each with its reason, are named and left out of the rate.

The sample is the same on every run: it depends on the seed, on the file's name and on its text.
"""
import argparse
import dataclasses
import hashlib
import os
import random
import re
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

TOKEN = re.compile(r"""
    (?P<skip>//[^\n]*|/\*.*?\*/|^[ ]*\#(?:[^\\\n]|\\.)*|\[\[.*?\]\]|\b(?:alignas|__attribute__)\s*\((?:[^()]|\([^()]*\))*\)
             |\b__asm__[ ]?\((?:[^()]|\((?:[^()]|\([^()]*\))*\))*\))
  | (?P<raw>R"(?P<delimiter>\w*)\(.*?\)(?P=delimiter)")
  | (?P<string>"(?:\\.|[^"\\\n])*")
  | (?P<character>'(?:\\.|[^'\\\n])+')
  | (?P<number>\b(?:0[xX][\dA-Fa-f']+|\d[\d']*)[uUlL]*\b)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<binary>(?<=[ ])(?:<<=|>>=|<=|>=|==|!=|&&|\|\||<<|>>|\+=|-=|\*=|/=|%=|&=|\|=|\^=|<|>|\+|-|\*|/|%|&|\||\^)(?=[ \n]))
  | (?P<unary>\+\+|--|!(?!=))
  | .
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

# The formatter puts blanks around binary operators and around no other use of their signs.
BINARY = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "<<": ">>", ">>": "<<",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|", "+=": "-=", "-=": "+=", "*=": "/=",
    "/=": "*=", "%=": "*=", "&=": "|=", "|=": "&=", "^=": "|=", "<<=": ">>=", ">>=": "<<=",
}
UNARY = {"++": "--", "--": "++", "!": ""}
WORDS = {"true": "false", "false": "true"}

# What notices a change first, by the path below src/, or from insight/ on; the first match counts. Programs below kernels/ are linked with
# the objects, and some take long to compile; the others are linked with the shared library.
TESTS = [
    (r"^insight/.*/(clean|usual|decode|reading|recorder|byte_tables)", ["insight_decode_test", "insight_portable_decode_test",
                                                                   "insight_vectors_test"]),
    (r"^insight/.*/compressed", ["insight_decode_test", "insight_encode_test"]),
    (r"^insight/.*/context_encoder", ["insight_encode_test", "insight_decode_test"]),
    (r"^insight/.*/encode", ["insight_encode_test"]),
    (r"^insight/.*/(guess|repair)", ["insight_guess_test"]),
    (r"^insight/.*/(lint|text_watch|names)", ["insight_lint_test", "insight_decode_test", "insight_composition_test"]),
    (r"^insight/.*/overrides", ["insight_overrides_test"]),
    (r"^insight/.*/utf8\.", ["insight_decode_test", "insight_text_test", "insight_encode_test"]),
    (r"^insight/.*/text\.", ["insight_text_test", "insight_encode_test"]),
    (r"packet", ["packet_test", "allocation_test"]),
    (r"wrap|twins", ["packet_test", "allocation_test", "utf8_class_test", "utf8_text_test", "substr_test"]),
    (r"quote", ["quote_test"]),
    (r"substr|bit_reversal", ["substr_test"]),
    (r"control_filter", ["substr_test", "utf8_util_test", "dvb_decode_test"]),
    (r"utf8_char", ["utf8_char_test", "utf8_text_test", "utf8_util_test"]),
    (r"utf8_text|utf8_stream|detail/units", ["utf8_text_test", "packet_test", "dvb_decode_test"]),
    (r"utf8_util", ["utf8_util_test"]),
    (r"utf8_class", ["utf8_class_test"]),
    (r"utf16", ["utf16_test"]),
    (r"kernels/\w+/utf8|kept_units", ["utf8_kernel_test", "utf8_text_test", "utf8_util_test"]),
    (r"kernels/\w+/(ucs2|units)", ["ucs2_kernel_test", "utf8_text_test", "dvb_decode_test"]),
    (r"kernels/\w+/marked", ["dvb_tables_kernel_test", "dvb_decode_test"]),
    (r"kernels/\w+/(byte_sets|sets|planes)|byte_convert", ["byte_sets_kernel_test", "iso8859_test", "windows_test",
                                                          "byte_sets_test"]),
    (r"tables/byte_set", ["byte_sets_test", "byte_sets_kernel_test", "iso8859_test", "windows_test", "teletext_test"]),
    (r"iso", ["iso8859_test", "byte_sets_test"]),
    (r"windows", ["windows_test", "byte_sets_test"]),
    (r"page_table", ["casemap_test", "collation_test", "teletext_test"]),
    (r"teletext", ["teletext_test"]),
    (r"dvb_compressed", ["dvb_decode_test", "dvb_converter_test"]),
    (r"dvb_select", ["dvb_select_test", "dvb_decode_test"]),
    (r"dvb_prepare", ["dvb_prepare_test"]),
    (r"zelkdvb_|trace|detail/dvb_decode", ["dvb_decode_test", "dvb_converter_test", "dvb_trace_test", "allocation_test"]),
    (r"dvb", ["dvb_decode_test", "dvb_tables_kernel_test", "byte_sets_test", "dvb_select_test"]),
    (r"huffman_malaysia", ["huffman_malaysia_test"]),
    (r"malaysia_rows", ["malaysia_rows_test"]),
    (r"huffman_stream", ["huffman_stream_test", "dvb_decode_test"]),
    (r"huffman_(title|description|class)", ["huffman_table_test", "huffman_class_test"]),
    (r"huffman_dvb|context_tree|context_trees", ["huffman_table_test", "huffman_stream_test", "huffman_class_test"]),
    (r"context|bit_window", ["context_steps_test", "huffman_class_test", "dvb_decode_test", "huffman_malaysia_test"]),
    (r"casemap|char_class", ["casemap_test"]),
    (r"collat", ["collation_kernel_test", "collation_test", "collation_order_test"]),
    (r"wildcard", ["wildcard_kernel_test", "wildcard_test"]),
    (r"dispatch|processor", ["dispatch_test"]),
    (r"xml", ["xml_kernel_test", "xml_test"]),
    (r"sink", ["teletext_test", "dvb_decode_test", "utf8_text_test"]),
    (r"", ["byte_sets_kernel_test", "utf8_kernel_test", "xml_kernel_test", "collation_kernel_test"]),
]
LIBRARIES = {"murn-zelk": "src/libmurn-zelk.so", "zelk-insight": "insight/libzelk-insight.so"}
NESTED_BUILDS = "^(package|size|growth|malaysia_table)$"  # they build or measure; no answers in them
SANITIZERS = "-fsanitize=address,undefined -fno-sanitize-recover=all"
NOT_SANITIZED = ["allocation_test"]  # it replaces malloc()
# Where a change makes the compiler expand all tables of context-tree codes anew, which takes it a minute.
SLOW = r"tables/(context_|huffman_(title|description|dvb))|detail/context_tree\.h"


@dataclasses.dataclass(frozen=True)
class Mutant:
    path: str
    line: int
    start: int
    end: int
    text: str
    change: str

    def name(self) -> str:
        return f"{self.path}: {self.change}"

    def place(self) -> str:
        return f"{self.path}:{self.line}: {self.change}"


def number_changes(literal: str):
    digits, suffix = re.fullmatch(r"(0[xX][\dA-Fa-f']+|[\d']+)([uUlL]*)", literal).groups()
    value = int(digits.replace("'", ""), 0) if not re.fullmatch(r"0\d+", digits) else int(digits, 8)
    form = "0x{:X}{}" if digits[:2].lower() == "0x" else "{}{}"
    for changed in (value + 1, value - 1):
        if changed >= 0:
            yield form.format(changed, suffix)


def neighbour(character: str) -> str:
    return chr(ord(character) - 1) if character in "19fFzZ" else chr(ord(character) + 1)


def static_assertions(text: str) -> list[tuple[int, int]]:
    spans = []
    for found in re.finditer(r"\bstatic_assert\s*\(", text):
        depth, at = 1, found.end()
        while depth and at < len(text):
            depth += {"(": 1, ")": -1}.get(text[at], 0)
            at += 1
        spans.append((found.start(), at))
    return spans


def mutants_of(path: str, text: str) -> list[Mutant]:
    asserted = static_assertions(text)
    mutants = []

    def add(start: int, end: int, changed: str):
        if not any(first <= start < last for first, last in asserted):
            line = text.count("\n", 0, start) + 1
            begin = text.rfind("\n", 0, start) + 1
            rest = re.sub(r" *//.*", "", text[end:text.find("\n", end)])
            shown = f"{text[begin:start].lstrip()}[{text[start:end]} -> {changed}]{rest}"
            mutants.append(Mutant(path, line, start, end, changed, shown))

    for token in TOKEN.finditer(text):
        start, end, kind, found = token.start(), token.end(), token.lastgroup, token.group()
        if kind == "binary":
            add(start, end, BINARY[found])
        elif kind == "unary":
            add(start, end, UNARY[found])
        elif kind == "word" and found in WORDS:
            add(start, end, WORDS[found])
        elif kind == "number":
            for changed in number_changes(found):
                add(start, end, changed)
        elif kind == "character" and len(found) == 3:
            add(start + 1, end - 1, neighbour(found[1]))
        elif token.group("raw") or kind == "string":
            first = text.index("(" if token.group("raw") else '"', start) + 1
            for at in range(first, text.rindex(")" if token.group("raw") else '"', first, end)):
                if text[at].isascii() and text[at].isalnum() and text[at - 1] != "\\":
                    add(at, at + 1, neighbour(text[at]))
    return mutants


def explanations() -> dict[str, str]:
    """The survivors that are known, as `path: change`, with the reason that follows each, indented."""
    known, names, complete = {}, [], False
    for line in (Path(__file__).parent / "explained.txt").read_text().splitlines():
        if line.startswith("#") or not line:
            continue
        if line.startswith(" "):
            known |= {name: f"{known.get(name, '')} {line.strip()}".strip() for name in names}
            complete = True
        else:
            names = [line] if complete else [*names, line]
            complete = False
    return known


def stale_explanations(root: Path) -> list[str]:
    """Those of changes that the sources, as they stand now, have no place for."""
    names = explanations()
    places = set()
    for path in {name.split(":")[0] for name in names}:
        if (root / path).exists():
            places |= {mutant.name() for mutant in mutants_of(path, (root / path).read_text())}
    return sorted(set(names) - places)


def survivors_of(log: Path) -> set[str]:
    """The survivors that an earlier run told, as `path:line: change`."""
    return set(re.findall(r"^ +(?:survived|survives for a reason): (.+:\d+: .+)$", log.read_text(), re.MULTILINE))


class Tree:
    """A copy of the sources and its build."""

    def __init__(self, root: Path, work: Path):
        self.source, self.build = work / "tree", work / "build"
        listed = subprocess.run(["git", "ls-files", "-z"], cwd=root, check=True, capture_output=True, text=True).stdout
        names = set(filter(None, listed.split("\0")))
        for name in names:
            source, target = root / name, self.source / name
            # A file that an interrupted run left mutated is written anew, so that the build sees it change.
            if not target.exists() or target.read_bytes() != source.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
        for old in [path for path in self.source.glob("**/*") if path.is_file()]:
            if str(old.relative_to(self.source)) not in names:
                old.unlink()
        self.portable, self.sanitized = work / "portable", work / "sanitized"
        for build, flags, kernels in ((self.build, "-O1", "auto"), (self.portable, "-O1", "portable"),
                                      (self.sanitized, f"-O1 {SANITIZERS}", "auto")):
            subprocess.run(["cmake", "-S", self.source, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                            f"-DCMAKE_CXX_FLAGS={flags}", "-DZELK_BUILD_TOOLS=OFF", "-DZELK_WERROR=OFF",
                            f"-DZELK_KERNELS={kernels}"], check=True, stdout=subprocess.DEVNULL)

    def compile(self, targets: list[str], build: Path | None = None) -> bool:
        command = ["cmake", "--build", build or self.build, "-j2", "--target", *targets]
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0

    def library(self, target: str, build: Path | None = None) -> str:
        return hashlib.sha256(((build or self.build) / LIBRARIES[target]).read_bytes()).hexdigest()

    def passes(self, program: str, seconds: float, build: Path | None = None) -> bool:
        """False for a failure, a crash, and for no end in time."""
        path = (build or self.build) / "tests" / ("insight" if is_of_insight(program) else "") / program
        try:
            return subprocess.run([path, "--gtest_brief=1"], cwd=build or self.build, timeout=seconds,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  preexec_fn=None if build else limit_memory).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def whole_suite_passes(self, seconds: float, *chosen: str, **environment: str) -> bool:
        command = ["ctest", "--test-dir", self.build, "--stop-on-failure", "--timeout", "300", *chosen]
        try:
            return subprocess.run(command, timeout=seconds, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  env=os.environ | environment).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def suite_kills(self) -> bool:
        return not (self.compile(["all"]) and self.whole_suite_passes(1800, "-E", NESTED_BUILDS))

    def portable_suite_kills(self) -> bool:
        """The tests reach the library by its interface, but for those of kernels, which call both sets in any build."""
        return not (self.compile(["all"]) and self.compile(list(LIBRARIES), self.portable)
                    and self.whole_suite_passes(1800, "-R", "_test$", "-LE", "^kernel$",
                                                LD_LIBRARY_PATH=f"{self.portable}/src:{self.portable}/insight"))

    def sanitizers_kill(self, tests: list[str]) -> bool:
        return any(not self.compile([test], self.sanitized) or not self.passes(test, 600, self.sanitized)
                   for test in tests if test not in NOT_SANITIZED)


def target_of(path: str) -> str:
    return "zelk-insight" if path.startswith("insight/") else "murn-zelk"


def is_of_insight(program: str) -> bool:
    return program.startswith("insight_")


def limit_memory():
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


@dataclasses.dataclass
class Tally:
    killed: int = 0
    survivors: list[Mutant] = dataclasses.field(default_factory=list)
    explained: list[Mutant] = dataclasses.field(default_factory=list)
    uncompiled: int = 0
    same: int = 0

    def judged(self) -> int:
        return self.killed + len(self.survivors)

    def add(self, other: "Tally"):
        self.killed += other.killed
        self.survivors += other.survivors
        self.explained += other.explained
        self.uncompiled += other.uncompiled
        self.same += other.same

    def __str__(self):
        return (f"{self.killed} of {self.judged()} killed ({len(self.explained)} survive for a known reason, "
                f"{self.same} make the same library, {self.uncompiled} do not compile)")


class Run:
    def __init__(self, tree: Tree, options):
        self.tree, self.options = tree, options
        self.explained = explanations()
        self.seconds = {}  # what each test program takes without a mutant
        self.again = survivors_of(options.again) if options.again else None
        if not tree.compile(list(LIBRARIES)) or not tree.compile(list(LIBRARIES), tree.portable):
            sys.exit("the tree does not compile")
        self.libraries = {target: (tree.library(target), tree.library(target, tree.portable)) for target in LIBRARIES}

    def prepare(self, files: list[str]):
        tests = sorted({test for path in files for test in self.tests_of(path)})
        if not self.tree.compile(tests):
            sys.exit("the tests do not compile")
        for test in tests:
            start = time.monotonic()
            if not self.tree.passes(test, 600):
                sys.exit(f"{test} fails without a mutant")
            self.seconds[test] = time.monotonic() - start

    def tests_of(self, path: str) -> list[str]:
        named = next(tests for pattern, tests in TESTS if re.search(pattern, path.removeprefix("src/")))
        return [test for test in named
                if is_of_insight(test) or list((self.tree.source / "tests").glob(f"**/{test}.cpp"))]

    def file(self, path: str) -> Tally:
        tests = self.tests_of(path)
        source = self.tree.source / path
        original = source.read_text()
        mutants = mutants_of(path, original)
        random.Random(f"{self.options.seed} {path}").shuffle(mutants)
        if self.again is not None:
            mutants = [mutant for mutant in mutants if mutant.place() in self.again]
        tally = Tally()
        number = min(self.options.number, 2) if re.search(SLOW, path) else self.options.number
        for mutant in mutants[:number * 2]:
            if tally.judged() + len(tally.explained) == number:
                break
            source.write_text(original[:mutant.start] + mutant.text + original[mutant.end:])
            self.judge(mutant, tests, lambda: source.write_text(original), tally)
        source.write_text(original)
        return tally

    def judge(self, mutant: Mutant, tests: list[str], restore, tally: Tally):
        tree, target = self.tree, target_of(mutant.path)
        if not tree.compile([target]):
            tally.uncompiled += 1
        elif tree.library(target) == self.libraries[target][0]:
            if not tree.compile([target], tree.portable):
                tally.uncompiled += 1
            elif tree.library(target, tree.portable) == self.libraries[target][1]:
                tally.same += 1
            else:
                self.count(mutant, self.later_kill([tree.portable_suite_kills], restore), tally)
        else:
            later = [tree.suite_kills, tree.portable_suite_kills, lambda: tree.sanitizers_kill(tests)]
            self.count(mutant, any(self.kills(test) for test in tests) or self.later_kill(later, restore), tally)

    def later_kill(self, ways, restore) -> bool:
        """Whether what takes longer finds the mutant, and finds nothing without it."""
        for kills in ways if self.options.suite else []:
            if kills():
                restore()
                if kills():
                    sys.exit("the tests fail without a mutant")
                return True
        return False

    def kills(self, test: str) -> bool:
        return not (self.tree.compile([test]) and self.tree.passes(test, 10 + 5 * self.seconds[test]))

    def count(self, mutant: Mutant, killed: bool, tally: Tally):
        if killed:
            tally.killed += 1
        elif mutant.name() in self.explained:
            tally.explained.append(mutant)
        else:
            tally.survivors.append(mutant)
            print(f"  survived: {mutant.place()}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("files", nargs="*", help="sources below src/ or insight/src/ (all of them)")
    parser.add_argument("--number", type=int, default=4, help="mutants to judge in each file (4)")
    parser.add_argument("--seed", default="1", help="of the sample (1)")
    parser.add_argument("--work", type=Path, default=Path("build/mutation"), help="where the copy and its build go")
    parser.add_argument("--no-suite", dest="suite", action="store_false",
                        help="do not try survivors on the whole suite")
    parser.add_argument("--again", type=Path, metavar="LOG", help="try only what survived the run that wrote this")
    parser.add_argument("--list", action="store_true", help="only count the places that can be changed")
    parser.add_argument("--check", action="store_true", help="only check that the sources have what explained.txt names")
    options = parser.parse_args()
    root = Path(__file__).resolve().parents[2]
    listed = subprocess.run(["git", "ls-files", "src", "insight/src"], cwd=root, check=True, capture_output=True, text=True).stdout
    files = options.files or [name for name in listed.split() if name.endswith((".cpp", ".h"))]
    if options.list:
        for name in files:
            print(f"{len(mutants_of(name, (root / name).read_text())):6} {name}")
        return
    if stale := stale_explanations(root):
        sys.exit("\n".join(["explained.txt names changes that the sources have no place for:", *stale]))
    if options.check:
        return
    run = Run(Tree(root, options.work.resolve()), options)
    if options.again:
        files = [name for name in files if any(place.startswith(f"{name}:") for place in run.again)]
    run.prepare(files)
    total = Tally()
    for name in files:
        start = time.monotonic()
        tally = run.file(name)
        total.add(tally)
        print(f"{name}: {tally}, {time.monotonic() - start:.0f} s", flush=True)
    print(f"total: {total}")
    for mutant in total.explained:
        print(f"  survives for a reason: {mutant.place()}\n      {run.explained[mutant.name()]}")
    for mutant in total.survivors:
        print(f"  survived: {mutant.place()}")
    if total.judged():
        rate = total.killed / total.judged()
        print(f"{rate:.1%} killed")
        sys.exit(0 if rate >= 0.95 else 1)


if __name__ == "__main__":
    main()
