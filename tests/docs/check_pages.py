#!/usr/bin/env python3
"""Checks the pages of the documentation: links, names and examples.

    check_pages.py [--examples BUILD]

- A link to a file of the tree leads to one, and its anchor to a heading there.
- A name in backticks that looks like one of the project's is there: in the headers what programs call or name, in the
  build and the tests what is set, in the tree what is a path, in the manual page an option of `zelk COMMAND`.
- With the release build BUILD: each program in C or C++ compiles without a warning, runs and prints the block "text"
  that follows it, and each command of a block "console" writes the lines after it ("..." at their end: any rest). A
  block in C without main() is the inside of one.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
HEAD = {
    "c": "#undef NDEBUG\n#include <assert.h>\n#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n"
    "#include <zelk_insight.h>\n",
    "cpp": "#undef NDEBUG\n#include <cassert>\n#include <iostream>\n#include <string>\n#include <zelk.hpp>\n"
    "#include <zelk_insight.h>\n",
}
FENCE = re.compile(r"^```(\S*)[^\n]*\n([\s\S]*?)^```$", re.MULTILINE)
NAME = re.compile(
    r"_?(?:zelk|Zelk|ZELK|Dvb|dvbCharSet|CharClass|combiningMap|decompressMalaysia|HuffmanDecode|_title_dec|_desc_dec)"
    r"[A-Za-z0-9_]*|zelk(?:::\w+)+"
)
PATH = re.compile(
    r"(?:src|tests|tools|include|insight|docs|cmake|fuzz|bench|samples|murn-debug|packaging|debian)/[\w./-]*"
)
# Commands and files that are no names of the interface.
OTHER_NAMES = {"zelk"}


def tracked(*patterns):
    out = subprocess.run(["git", "ls-files", "-z", "--", *patterns], cwd=ROOT, check=True, capture_output=True).stdout
    return [name for name in out.decode().split("\0") if name]


def read(name):
    return (ROOT / name).read_text(encoding="utf-8", errors="ignore")


def anchors(text):
    """The anchors of a page's headings, as they are made of their words."""
    found = {}
    for heading in re.findall(r"^#+ (.*)$", FENCE.sub("", text), re.MULTILINE):
        plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()
        anchor = re.sub(r"[^\w\- ]", "", plain).strip().replace(" ", "-")
        count = found.get(anchor, -1) + 1
        found[anchor] = count
        if count:
            found[f"{anchor}-{count}"] = 0
    return set(found)


def check_links(page, text):
    for _, target in re.findall(r"(\[(?:[^\[\]]|\[[^\]]*\])*\])\(([^()\s]+)\)", FENCE.sub("", text)):
        if re.match(r"[a-z]+:", target):
            continue
        path, _, anchor = target.partition("#")
        file = (ROOT / page).parent / path if path else ROOT / page
        if not file.exists():
            yield f"{page}: no file {path}"
        elif anchor and file.suffix == ".md" and anchor not in anchors(file.read_text(encoding="utf-8")):
            yield f"{page}: no heading {target}"


class Names:
    def __init__(self):
        def words(files):
            return {word for name in files for word in re.findall(r"\w+", read(name))}

        self.interface = words(tracked("include"))
        self.settings = words(
            name for name in tracked() if not name.endswith(".md") and not name.startswith("fuzz/corpus/")
        )
        self.paths = {part.as_posix() for name in tracked() for part in [Path(name), *Path(name).parents]}
        manual = read("tools/zelk.1").replace("\\-", "-")
        self.commands = set(re.findall(r"^\.(?:It )?Cm (\w+)", manual, re.MULTILINE))
        self.options = {"--" + name for name in re.findall(r"Fl -([a-z][a-z0-9-]*)", manual)}
        self.options |= {"-" + name for name in re.findall(r"Fl ([A-Za-z])\b", manual)} | {"--help", "--version"}

    def check(self, page, text):
        for code in re.findall(r"`([^`\n]+)`", FENCE.sub("", text)):
            if code.startswith("zelk ") and code.split()[1].isalpha():
                words = code.split()
                if words[1] not in self.commands:
                    yield f"{page}: no command `{code}`"
                yield from (
                    f"{page}: no option {word} in `{code}`"
                    for word in words[2:]
                    if re.fullmatch(r"-{1,2}[A-Za-z][a-z-]*", word) and word not in self.options
                )
            elif PATH.fullmatch(code):
                if code.rstrip("/") not in self.paths:
                    yield f"{page}: no file `{code}`"
            else:
                name = re.match(NAME, code)
                if name is None or name.group(0) in OTHER_NAMES or name.end() < len(code) and code[name.end()] in "-*.<:":
                    continue
                for word in name.group(0).split("::"):
                    known = self.settings | self.interface if word.startswith("ZELK") or page in LOOSE else self.interface
                    if word not in known and word != "zelk":
                        yield f"{page}: unknown name `{code}`"


# Pages for those who work on the project name what is inside it, too.
LOOSE = {"CONTRIBUTING.md", "CHANGELOG.md", "python/README.md"} | {
    f"docs/{name}.md"
    for name in ("tables", "testing", "benchmarks", "collation", "guess", "output", "lint", "bulk", "notebook")
}


def compile_example(language, code, directory, build):
    if "main(" not in code:
        code = f"int main(void) {{\n{code}\nreturn 0;\n}}\n" if language == "c" else f"int main() {{\n{code}\n}}\n"
    source = directory / f"example.{language}"
    source.write_text(HEAD[language] + code, encoding="utf-8")
    compiler = ["cc", "-std=c11"] if language == "c" else ["c++", "-std=c++17"]
    command = [*compiler, "-Wall", "-Wextra", "-Werror", "-Wno-unused-variable", f"-I{ROOT / 'include'}", str(source)]
    command += ["-o", str(directory / "example"), f"-L{build / 'src'}", f"-L{build / 'insight'}"]
    command += ["-lzelk-insight", "-lmurn-zelk", f"-Wl,-rpath,{build / 'src'}:{build / 'insight'}"]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    return done.stderr if done.returncode else ""


def check_examples(page, text, build):
    fences = [(match.group(1), match.group(2), text.count("\n", 0, match.start()) + 1) for match in FENCE.finditer(text)]
    environment = {**os.environ, "PATH": f"{build / 'tools'}:{os.environ['PATH']}"}
    with tempfile.TemporaryDirectory() as name:
        directory = Path(name)
        for at, (language, code, line) in enumerate(fences):
            if language in HEAD:
                fault = compile_example(language, code, directory, build)
                if fault:
                    yield f"{page}:{line}: {fault}"
                    continue
                done = subprocess.run([directory / "example"], capture_output=True, text=True, check=False)
                expected = fences[at + 1][1] if at + 1 < len(fences) and fences[at + 1][0] == "text" else ""
                if done.returncode or done.stdout != expected:
                    yield f"{page}:{line}: prints\n{done.stdout}{done.stderr}and not\n{expected}"
            elif language == "console":
                for command, expected in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", code, re.MULTILINE):
                    done = subprocess.run(
                        ["bash", "-c", command], cwd=ROOT, env=environment, capture_output=True, text=True, check=False
                    )
                    printed = done.stdout + done.stderr
                    start, cut, _ = expected.partition("...\n")
                    if not (printed.startswith(start) if cut else printed == expected):
                        yield f"{page}:{line}: `{command}` writes\n{printed}and not\n{expected}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--examples", type=Path, metavar="BUILD")
    parser.add_argument("pages", nargs="*", help="these alone")
    options = parser.parse_args()
    names = Names()
    faults = []
    for page in options.pages or tracked("*.md"):
        if page == "docs/site/index.md":  # the root of the site
            continue
        text = read(page)
        faults += [*check_links(page, text), *names.check(page, text)]
        if options.examples:
            faults += check_examples(page, text, options.examples.resolve())
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


main()
