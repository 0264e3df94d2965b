"""Draws the pictures of docs/pictures: pictures.py OUTPUT. What they show are facts of the standard and of the tables."""

import sys
from html import escape
from pathlib import Path

INK, SOFT, FILL, ACCENT, PAPER = "#1b1f24", "#57606a", "#eef2f7", "#d6e4ff", "#ffffff"


class Picture:
    """Boxes of text and arrows between them, on a ground of its own, so that it reads in light and dark pages."""

    def __init__(self, width, height, title):
        self.size = (width, height)
        self.title = title
        self.parts = []

    def box(self, x, y, width, height, *lines, fill=FILL, mono=False):
        self.parts.append(
            f'<rect x="{x}" y="{y}" width="{width}" height="{height}" rx="4" fill="{fill}" stroke="{SOFT}"/>'
        )
        first = y + height / 2 - (len(lines) - 1) * 9 + 5
        for number, line in enumerate(lines):
            self.text(x + width / 2, first + number * 18, line, anchor="middle", mono=mono)

    def text(self, x, y, words, anchor="start", mono=False, color=INK, size=14):
        family = "monospace" if mono else "sans-serif"
        self.parts.append(
            f'<text x="{x:g}" y="{y:g}" font-family="{family}" font-size="{size}" text-anchor="{anchor}" '
            f'fill="{color}">{escape(words)}</text>'
        )

    def arrow(self, *points):
        path = " ".join(f"{x:g},{y:g}" for x, y in points)
        self.parts.append(f'<polyline points="{path}" fill="none" stroke="{SOFT}" marker-end="url(#head)"/>')

    def svg(self):
        width, height = self.size
        body = "\n".join(self.parts)
        return (
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
            f'role="img">\n<title>{escape(self.title)}</title>\n'
            f'<defs><marker id="head" viewBox="0 0 8 8" refX="7" refY="4" markerWidth="8" markerHeight="8" '
            f'orient="auto"><path d="M0,0 L8,4 L0,8 z" fill="{SOFT}"/></marker></defs>\n'
            f'<rect width="{width}" height="{height}" fill="{PAPER}"/>\n{body}\n</svg>\n'
        )


def selector():
    picture = Picture(760, 470, "From the first byte of a DVB string to its table")
    picture.box(20, 200, 130, 60, "first byte", "of the string", fill=ACCENT)
    rows = [
        ("20 and above", "no selector", "default code, or default table"),
        ("01 to 0C", "one byte", "ISO 8859-5 to -16"),
        ("10 00 01 to 10 00 0A", "three bytes", "ISO 8859-1 to -10"),
        ("11, 14", "one byte", "two bytes a character"),
        ("15, 16", "one byte", "UTF-8"),
        ("1F and 01, 02, 05, 06", "two bytes", "compressed text of that type"),
        ("1D, 0F", "one byte", "prepared text: UTF-8 as it is"),
        ("all others up to 1F", "1 to 3 bytes", "the table of the region"),
    ]
    for number, (first, length, table) in enumerate(rows):
        y = 20 + number * 55
        picture.arrow((150, 230), (180, 230), (180, y + 20), (210, y + 20))
        picture.box(210, y, 190, 40, first, mono=True)
        picture.text(412, y + 15, length, color=SOFT, size=11)
        picture.arrow((400, y + 20), (480, y + 20))
        picture.box(480, y, 265, 40, table, fill=ACCENT)
    return picture


def marks():
    picture = Picture(680, 210, "A mark and its letter become one character")
    picture.text(20, 25, "bytes", color=SOFT)
    for number, byte in enumerate(["43", "61", "66", "C2", "65"]):
        picture.box(120 + number * 80, 10, 70, 40, byte, mono=True, fill=ACCENT if number > 2 else FILL)
    picture.text(20, 105, "in the table", color=SOFT)
    for number, letter in enumerate(["C", "a", "f", "◌́", "e"]):
        picture.arrow((155 + number * 80, 50), (155 + number * 80, 80))
        picture.box(120 + number * 80, 80, 70, 40, letter, fill=ACCENT if number > 2 else FILL)
    picture.text(20, 175, "text", color=SOFT)
    for number, letter in enumerate(["C", "a", "f"]):
        picture.arrow((155 + number * 80, 120), (155 + number * 80, 150))
        picture.box(120 + number * 80, 150, 70, 40, letter)
    picture.arrow((395, 120), (425, 150))
    picture.arrow((475, 120), (445, 150))
    picture.box(400, 150, 70, 40, "é", fill=ACCENT)
    picture.text(485, 175, "one character: U+00E9", color=SOFT)
    return picture


def context_tree():
    picture = Picture(720, 190, "Each character chooses the code of the next one")
    picture.text(20, 35, "bytes 54 4F", color=SOFT)
    steps = [("start", "010", "B"), ("B", "101", "r"), ("r", "000", "space"), ("space", "1001", "T"), ("T", "111", "V")]
    for number, (context, bits, letter) in enumerate(steps):
        x = 120 + number * 118
        picture.box(x, 10, 100, 40, bits, mono=True)
        picture.arrow((x + 50, 50), (x + 50, 75))
        picture.box(x, 75, 100, 40, f"after {context}", fill=PAPER)
        picture.arrow((x + 50, 115), (x + 50, 140))
        picture.box(x, 140, 100, 40, letter, fill=ACCENT)
        if number + 1 < len(steps):
            picture.arrow((x + 100, 160), (x + 109, 160), (x + 109, 95), (x + 117, 95))
    picture.text(20, 100, "code", color=SOFT)
    picture.text(20, 165, "character", color=SOFT)
    return picture


def context_table():
    picture = Picture(760, 250, "The bytes of a context-tree table")
    cells = [("offset 0", 80), ("offset 1", 80), ("…", 40), ("offset 127", 90), ("tree 0", 110), ("tree 1", 110), ("…", 40),
             ("tree 127", 110)]
    x = 20
    for number, (words, width) in enumerate(cells):
        picture.box(x, 20, width, 40, words, fill=FILL if number < 4 else ACCENT)
        if number == 0:
            picture.arrow((x + 40, 60), (x + 40, 90), (340, 90), (340, 62))
        x += width
    picture.text(20, 110, "bytes 0 to 255: where the tree of each character before begins", color=SOFT, size=12)
    picture.text(20, 145, "a tree: nodes of two bytes", color=SOFT)
    nodes = [("node 0", "on 0", "on 1"), ("node 1", "on 0", "on 1"), ("node 2", "on 0", "on 1")]
    for number, (name, zero, one) in enumerate(nodes):
        left = 20 + number * 150
        picture.text(left + 70, 165, name, anchor="middle", color=SOFT, size=12)
        picture.box(left, 172, 70, 34, zero, fill=PAPER)
        picture.box(left + 70, 172, 70, 34, one, fill=PAPER)
    picture.text(490, 180, "below 80: a node of this tree", size=12)
    picture.text(490, 198, "80 and above: the character + 80", size=12)
    picture.text(490, 216, "9B: escape, 8 bits are a byte", size=12)
    return picture


def collation():
    picture = Picture(720, 210, "The keys of three names on three levels")
    rows = [("cote", "16 28 2F 1B", "00 00 00 00", "1 1 1 1"), ("Côte", "16 28 2F 1B", "00 03 00 00", "0 1 1 1"),
            ("côte", "16 28 2F 1B", "00 03 00 00", "1 1 1 1")]
    for x, words in ((20, "text"), (130, "1. letters"), (330, "2. accents"), (530, "3. case")):
        picture.text(x, 25, words, color=SOFT)
    for number, (word, letters, accents, case) in enumerate(rows):
        y = 40 + number * 55
        picture.box(20, y, 90, 40, word)
        picture.box(130, y, 180, 40, letters, mono=True)
        picture.box(330, y, 180, 40, accents, mono=True, fill=ACCENT if number == 0 else FILL)
        picture.box(530, y, 170, 40, case, mono=True, fill=ACCENT if number == 1 else FILL)
    return picture


def main():
    output = Path(sys.argv[1])
    for name, draw in (("selector", selector), ("marks", marks), ("context-tree", context_tree),
                       ("context-table", context_table), ("collation", collation)):
        (output / f"{name}.svg").write_text(draw().svg(), encoding="utf-8")


main()
