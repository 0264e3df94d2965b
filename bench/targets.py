"""What every row of the benchmark is to reach, and whether it does.

A target is a list of conditions, all of which must hold. `m` is our time over the time of a memcpy of the bytes that we
write (for the checks on UTF-8, which write nothing: of the bytes that we read).
"""

from dataclasses import dataclass

LENGTHS = ("name", "desc", "64K")


@dataclass(frozen=True)
class M:
    """At most `limit` times a memcpy, and `extra` ns a call."""

    limit: float
    extra: float = 0

    def __str__(self):
        return f"m ≤ {self.limit:g}" + (f" + {self.extra:g} ns" if self.extra else "")

    def met(self, cell):
        return cell.ours <= self.limit * cell.nanoseconds("memcpy") + self.extra


@dataclass(frozen=True)
class Ahead:
    """At least `ratio` times as fast as the fastest rival, or as the fastest one whose name begins with `rival`."""

    ratio: float
    rival: str = ""

    def __str__(self):
        return f"{self.ratio:g}x {self.rival}".rstrip()

    def met(self, cell):
        best = cell.best_rival(self.rival)
        return best is None or cell.nanoseconds(best) >= self.ratio * cell.ours


@dataclass(frozen=True)
class Rate:
    """At least so many million bytes of output a second."""

    megabytes: float

    def __str__(self):
        return f"{self.megabytes:g} MB/s"

    def met(self, cell):
        return cell.rate >= self.megabytes


def each(condition, *limits, **options):
    """One condition for each length."""
    return {length: [condition(limit, **options)] for length, limit in zip(LENGTHS, limits)}


FEW_ACCENTS = (2, 5, 3)
TWO_BYTES = (2.5, 3.5, 2)
TO_UCS2 = (1.5, 1.6, 1.1)

TARGETS = {
    "sets with some accents to UTF-8": each(M, *FEW_ACCENTS),
    "sets of two-byte letters to UTF-8": each(M, *TWO_BYTES),
    "sets to UTF-8, plain English": each(M, 2, 2.5, 1.1),
    "ISO 8859-1 to UTF-8": each(M, 1.7, 4.5, 2.1),
    "sets to UCS-2": each(M, *TO_UCS2),
    "DVB default table to UTF-8, plain": each(Ahead, 15, 35, 70, rival="iconv"),
    "DVB default table to UTF-8, marks": each(Ahead, 8, 8, 10, rival="iconv"),
    "DVB with a selector to UTF-8, some accents": each(M, *FEW_ACCENTS, extra=3),
    "DVB with a selector to UTF-8, two-byte letters": each(M, *TWO_BYTES, extra=3),
    "DVB with a selector to UCS-2": each(M, *TO_UCS2, extra=3),
    "DVB two-byte text to UTF-8": each(M, 2.5, 5, 2.5),
    "DVB UTF-8 text to UTF-8": each(M, 2.5, 5, 2.5),
    "UCS-2 to UTF-8": each(M, 2.2, 3.5, 2.3),
    "UTF-8 to UCS-2": each(M, 2.4, 5, 3.3),
    "UTF-8 validity": each(M, 1.8, 4.5, 2.5),
    "UTF-8 width": each(M, 1.8, 4.5, 2.5),
    "Huffman": each(Rate, 200, 350, 350),
}

# Where a language has a limit of its own.
BY_LANGUAGE = {
    ("DVB two-byte text to UTF-8", "Chinese"): {"desc": [M(8)], "64K": [M(4.5)]},
    ("DVB UTF-8 text to UTF-8", "Chinese"): {"desc": [M(8)], "64K": [M(4.5)]},
    ("UCS-2 to UTF-8", "English"): {"64K": [M(1.2)]},
    ("UCS-2 to UTF-8", "Chinese"): {"desc": [M(7)], "64K": [M(4)]},
    ("UTF-8 to UCS-2", "English"): {"desc": [M(1.4)], "64K": [M(1)]},
    ("UTF-8 to UCS-2", "Chinese"): {"desc": [M(10)], "64K": [M(5)]},
    ("UTF-8 validity", "English"): {"64K": [M(0.6)]},
    ("UTF-8 width", "English"): {"64K": [M(0.6)]},
}

# What the rows of the other families are to reach, by work and text.
BY_TEXT = {
    ("collation", "random pairs"): [Ahead(3.5, "ICU")],
    ("collation", "nearly equal"): [Ahead(6, "ICU")],
    ("collation", "equal"): [Ahead(6, "ICU")],
    ("collation", "differing in case only"): [Ahead(5, "ICU")],
    ("collation", "sorting 1,000 names"): [Ahead(2.5, "ICU")],
    ("wildcards", "prefix"): [Ahead(1.5)],
    ("wildcards", "suffix"): [Ahead(1)],
    ("wildcards", "inner"): {"name": [Ahead(5)], "desc": [Ahead(9)]},
    ("wildcards", "two parts"): {"name": [Ahead(4)], "desc": [Ahead(6)]},
    ("wildcards", "inner, ignoring case"): {"name": [Ahead(4)], "desc": [Ahead(6)]},
    ("wildcards", "a*a*a*a*b over 10,000 times a"): [Ahead(10)],
    ("XML escape", "sparse"): each(Ahead, 6, 5, 5),
    ("XML escape", "dense"): each(Ahead, 2, 2, 2),
    ("XML unescape", "sparse"): each(Ahead, 14, 7, 6),
    ("XML unescape", "dense"): each(Ahead, 12, 4, 4),
}

# The build without vector kernels is measured against the rivals alone.
PORTABLE = each(Ahead, 2, 1.5, 1.5)


def conditions(work, text, length, portable):
    if portable and work != "Huffman":
        return PORTABLE.get(length, PORTABLE["desc"])
    by_text = BY_TEXT.get((work, text))
    if by_text is not None:
        return by_text.get(length, []) if isinstance(by_text, dict) else by_text
    for (named, language), limits in BY_LANGUAGE.items():
        if work == named and text.endswith(language) and length in limits:
            return limits[length]
    return TARGETS.get(work, {}).get(length, [])
