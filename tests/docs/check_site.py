#!/usr/bin/env python3
"""Checks the built documentation site: check_site.py DIRECTORY

Every link and every picture leads to a file of the site, and an anchor to an element there; nothing is fetched from
elsewhere; and every function of the interface is shown.
"""

import re
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urldefrag

ROOT = Path(__file__).resolve().parents[2]


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.loaded, self.anchors = [], [], set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        attributes = dict(attrs)
        self.anchors.update(value for key, value in attrs if key in ("id", "name") and value)
        if tag == "a" and attributes.get("href"):
            self.links.append(attributes["href"])
        elif tag in ("img", "script") and attributes.get("src"):
            self.loaded.append(attributes["src"])
        elif tag == "link" and attributes.get("rel") in ("stylesheet", "icon"):
            self.loaded.append(attributes["href"])


def faults(root):
    pages = {path: Page(path) for path in root.rglob("*.html")}
    if not pages:
        yield f"{root}: no pages"
    for path, page in pages.items():
        for link in page.links + page.loaded:
            if re.match(r"[a-z]+:", link):
                if link in page.loaded and not link.startswith("data:"):
                    yield f"{path}: loads {link}"
                continue
            target, anchor = urldefrag(unquote(link))
            file = (path.parent / target.split("?")[0]).resolve() if target else path.resolve()
            if not file.is_file():
                yield f"{path}: no file {link}"
            elif anchor and file.suffix == ".html" and anchor not in pages[root / file.relative_to(root)].anchors:
                yield f"{path}: no anchor {link}"
    shown = "".join((root / "api" / page.name).read_text(encoding="utf-8") for page in (root / "api").glob("*.html"))
    for exports in ("src/exports.txt", "insight/exports.txt", "arrow/exports.txt"):
        for name in re.findall(r"(?m)^(?!#|_Z)(\w+)$", (ROOT / exports).read_text(encoding="utf-8")):
            if f"c.{name}" not in shown:
                yield f"{name} is not shown"


def main():
    found = list(faults(Path(sys.argv[1]).resolve()))
    for fault in found:
        print(fault, file=sys.stderr)
    sys.exit(1 if found else 0)


main()
