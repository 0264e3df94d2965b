"""Lays out what Sphinx builds the documentation site from: pages of the tree, the manual page, the families' interfaces.

    stage.py OUTPUT

Pages keep their places, so that links between them hold. A link to a file that is no page becomes a link to the page
that shows it (the headers, the manual page), or plain text (sources, tests, scripts).
"""

import re
import shutil
import subprocess
import sys
from pathlib import Path

from families import families

ROOT = Path(__file__).resolve().parents[2]
PAGES = ["README.md", "CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md"]
SHOWN = {
    "include/zelk.h": "api/zelk.md",
    "include/zelk.hpp": "api/classes.rst",
    "include/zelk_insight.h": "api/zelk_insight.md",
    "include/zelk_arrow.h": "api/zelk_arrow.md",
    "tools/zelk.1": "api/manual.md",
}
HEADERS = {
    "include/zelk.h": "The flat interface: `zelk.h`",
    "include/zelk_insight.h": "Evidence, guesses and encoding: `zelk_insight.h`",
    "include/zelk_arrow.h": "Whole columns: `zelk_arrow.h`",
}
LINK = re.compile(r"(!?)\[((?:[^\[\]]|\[[^\]]*\])*)\]\(([^()\s]+)\)")


def relative(target, page):
    up = len(Path(page).parts) - 1
    return "../" * up + target


def with_links(text, page, staged):
    """The text of a page with its links as the site needs them."""

    def link(match):
        mark, words, target = match.groups()
        path, _, anchor = target.partition("#")
        if re.match(r"[a-z]+:", target) or not path:
            return match.group(0)
        full = (ROOT / page).parent.joinpath(path).resolve().relative_to(ROOT).as_posix()
        if full in SHOWN:
            return f"[{words}]({relative(SHOWN[full], page)})"
        if full in staged:
            return match.group(0)
        return words

    parts = re.split(r"(?m)(^```[\s\S]*?^```$)", text)
    return "".join(part if part.startswith("```") else LINK.sub(link, part) for part in parts)


def introduction(header):
    """What a header says at its head, of all that it holds."""
    lines = (ROOT / header).read_text(encoding="utf-8").split("*/", 1)[0].splitlines()[1:]
    return "\n".join(re.sub(r"^ \* ?", "", line) for line in lines).strip()


def write_directive(path, title, directive, words=""):
    """A page of Sphinx's own kind, for one directive of Breathe."""
    rule = "=" * len(title)
    path.write_text(
        f"{title}\n{rule}\n\n{words}\n\n.. {directive}\n   :content-only:\n   :members:\n", encoding="utf-8"
    )


def head_words(comments):
    """What a family says at its head: words, and its example as code."""
    out = []
    for lines in comments:
        if lines[0].startswith("Example:"):
            out += [lines[0].replace("`", "``"), "", ".. code-block:: c", *["   " + line[4:] for line in lines[1:]], ""]
        else:
            out += [*[line.replace("`", "``") for line in lines], ""]
    return re.sub(r"(?m)^(?!- |  |$)(.*)\n(?=- )", r"\1\n\n", "\n".join(out))


def write_interfaces(output):
    api = output / "api"
    api.mkdir(parents=True)
    index = ["# Interfaces", "", "Every function, type and constant, in the words of the headers.", ""]
    for header, title in HEADERS.items():
        pages = []
        for name, slug, comments in families(ROOT / header):
            write_directive(api / f"{slug}.rst", name, f"doxygengroup:: {slug}", head_words(comments))
            pages.append(slug)
        stem = Path(header).stem
        words = ["# " + title, "", introduction(header), "", "```{toctree}", ":maxdepth: 1", *pages, "```", ""]
        (api / f"{stem}.md").write_text("\n".join(words), encoding="utf-8")
    words = introduction("include/zelk.hpp").replace("`", "``")
    write_directive(api / "classes.rst", "The classes: zelk.hpp", "doxygennamespace:: zelk", words)
    manual = subprocess.run(
        ["mandoc", "-T", "markdown", ROOT / "tools/zelk.1"], check=True, capture_output=True, text=True
    ).stdout
    # Its first line is the page's header, its last one the footer.
    lines = [re.sub(r"^# ", "## ", line) for line in manual.splitlines()[1:-1]]
    (api / "manual.md").write_text("# The manual page of zelk\n" + "\n".join(lines) + "\n", encoding="utf-8")
    pages = [Path(header).stem for header in HEADERS] + ["classes", "manual"]
    (api / "index.md").write_text(
        "\n".join(index + ["```{toctree}", ":maxdepth: 2", *pages, "```", ""]), encoding="utf-8"
    )


def main():
    output = Path(sys.argv[1])
    shutil.rmtree(output, ignore_errors=True)
    output.mkdir(parents=True)
    docs = ROOT / "docs"
    files = PAGES + sorted(page.relative_to(ROOT).as_posix() for page in ROOT.glob("*/README.md"))
    files += sorted(
        path.relative_to(ROOT).as_posix()
        for path in docs.rglob("*")
        if path.is_file() and path.relative_to(docs).parts[0] not in ("site", "dev")
    )
    for name in files:
        target = output / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if name.endswith(".md"):
            text = (ROOT / name).read_text(encoding="utf-8")
            target.write_text(with_links(text, name, set(files)), encoding="utf-8")
        else:
            shutil.copyfile(ROOT / name, target)
    write_interfaces(output)
    index = (docs / "site/index.md").read_text(encoding="utf-8")
    others = [name[: -len(".md")] for name in files if re.fullmatch(r"[^/]*/[^/]*\.md", name)]
    others = [name for name in others if not re.search(rf"(?m)^{re.escape(name)}$", index)]
    (output / "index.md").write_text(index.replace("OTHER PAGES", "\n".join(others)), encoding="utf-8")
    (output / "static").mkdir()
    shutil.copyfile(docs / "site/site.css", output / "static/site.css")


main()
