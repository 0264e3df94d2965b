"""The families of a header, as its headings name them, and what each says at its head."""

import re
from pathlib import Path

HEADING = r"/\* =+ ([^=]*?)(?: |\n \* )=+\s*\*/"
COMMENT = re.compile(r"\s*/\*\n((?: \*.*\n)*?) \*/\n")


def slug(header, name):
    return Path(header).stem + "-" + re.sub(r"[^a-z0-9]+", "-", name.lower()).strip("-")


def head(body):
    """The lines of each plain comment that a family begins with, and where they end."""
    comments, end = [], 0
    while match := COMMENT.match(body, end):
        comments.append([line[3:] for line in match.group(1).splitlines()])
        end = match.end()
    return comments, end


def families(header):
    """The name, the slug and the comments at the head of each family of a header, in its order."""
    with open(header, encoding="utf-8") as file:
        parts = re.split(HEADING, file.read())
    return [(name, slug(header, name), head(body)[0]) for name, body in zip(parts[1::2], parts[2::2])]
