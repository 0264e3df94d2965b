"""What the builds of the library are to reach, and whether they do.

A build is the library with one set of kernels. Ratios "over start" compare it with builds of the commit START, the last
one whose kernels were written once per instruction set; they are measured in the same run. Ratios are times of the other
over ours: above 1 we are faster.
"""

from dataclasses import dataclass

START = "ec0553d"
START_PORTABLE = "start portable"
START_AVX512 = "start avx512"

# The most that decoding with evidence may take of text without findings, in times of plain decoding.
EVIDENCE = 2

LENGTHS = ("name", "desc", "64K")

# What each set needs of an x86-64 processor includes what those before it need.
LEVELS = ("portable", "sse41", "avx2", "avx512")

# Rivals that need more than the first of LEVELS; a set is compared with those that need no more than it does.
# encoding_rs, which ./dev bench builds for AVX2, is compared with every set all the same.
RIVAL_LEVELS = {"simdutf westmere": "sse41", "simdutf haswell": "avx2", "simdutf icelake": "avx512"}


def is_rival_of(rival, kernels):
    level = RIVAL_LEVELS.get(rival)
    return level is None or kernels not in LEVELS or LEVELS.index(level) <= LEVELS.index(kernels)


@dataclass(frozen=True)
class Over:
    """At least `ratio` times as fast as another build."""

    ratio: float
    build: str

    def __str__(self):
        return f"{self.ratio:g}x {self.build}"

    def value(self, cell, kernels):
        return cell.ratio(self.build, kernels)

    def met(self, cell, kernels):
        return self.value(cell, kernels) >= self.ratio


@dataclass(frozen=True)
class NoLoss:
    """At most 5 % or 0.5 ns slower than another build."""

    build: str

    def __str__(self):
        return f"no loss over {self.build}"

    def value(self, cell, kernels):
        return cell.ratio(self.build, kernels)

    def met(self, cell, kernels):
        lost = cell.nanoseconds(kernels) - cell.nanoseconds(self.build)
        return self.value(cell, kernels) >= 1 / 1.05 or lost <= 0.5


@dataclass(frozen=True)
class Level:
    """As fast as the fastest rival whose name begins with `rival`."""

    rival: str

    def __str__(self):
        return f"level with {self.rival}"

    def value(self, cell, kernels):
        return cell.ratio(cell.best_rival(kernels, self.rival), kernels)

    def met(self, cell, kernels):
        return self.value(cell, kernels) >= 1


@dataclass(frozen=True)
class Rate:
    """At least so many million bytes of output a second."""

    megabytes: float

    def __str__(self):
        return f"{self.megabytes:g} MB/s"

    def value(self, cell, kernels):
        return cell.rate(kernels)

    def met(self, cell, kernels):
        return self.value(cell, kernels) >= self.megabytes


# AVX2 over the portable build of START: works, whether English alone (True) or all else (False), and ratios by length.
OVER_PORTABLE = [
    ("sets with some accents to UTF-8", False, (1.4, 1.6, 1.75)),
    ("sets of two-byte letters to UTF-8", False, (1.6, 2.3, 2.6)),
    ("sets to UTF-8, plain English", True, (2.2, 3.0, 3.8)),
    ("ISO 8859-1 to UTF-8", False, (1.9, 2.0, 2.7)),
    ("sets to UCS-2", False, (1.15, 1.6, 1.8)),
    ("sets to UCS-2, plain English", True, (2.6, 7, 9)),
    ("UCS-2 to UTF-8", True, (1.4, 2.6, 4.0)),
    ("UCS-2 to UTF-8", False, (1.2, 1.5, 1.7)),
    ("UTF-8 to UCS-2", True, (3.6, 4.1, 5.7)),
    ("UTF-8 to UCS-2", False, (1.8, 1.9, 1.9)),
    ("UTF-8 validity", True, (1.0, 3.0, 13)),
    ("UTF-8 validity", False, (1.5, 2.4, 2.4)),
    ("DVB default table to UTF-8, plain", True, (1.15, 2.0, 3.7)),
    ("DVB default table to UTF-8, marks", False, (1.0, 1.1, 1.15)),
    ("XML escape", False, (2.4, 3.4, 3.2)),  # the sparse texts
    ("wildcards", False, (1.45, 1.5)),  # the kind "inner"
]
ONE_KIND = {"XML escape": "sparse", "wildcards": "inner"}

# SSE4.1: names as AVX2; longer texts at least so much, where AVX2 is not to reach less.
SSE41_LONG, SSE41_LONG_ASCII, SSE41_VALIDITY = 1.2, 2, 8

# AVX-512 over that of START: work, text (True: English alone; None: any), length.
OVER_AVX512 = {
    ("UTF-8 to UCS-2", None, "name"): 1.7,
    ("UTF-8 to UCS-2", True, "desc"): 2.2,
    ("UCS-2 to UTF-8", None, "name"): 1.6,
    ("UCS-2 to UTF-8", True, "desc"): 1.6,
    ("UTF-8 validity", True, "desc"): 1.7,
    ("UTF-8 validity", False, "desc"): 1.3,
    ("ISO 8859-1 to UCS-2", None, "desc"): 1.7,
}
LEVEL_WITH_GLIB = ("question mark", "suffix")  # wildcards, AVX-512

HUFFMAN_RATE, HUFFMAN_RATE_PORTABLE = 350, 150


def is_ascii(text):
    return text.endswith("English")


def over_portable(cell):
    """What AVX2 is to reach over the portable build of START, or None."""
    for work, ascii_alone, ratios in OVER_PORTABLE:
        if cell.work == work and is_ascii(cell.text) == ascii_alone and cell.length in LENGTHS[: len(ratios)]:
            if ONE_KIND.get(work, cell.text) == cell.text:
                return ratios[LENGTHS.index(cell.length)]
    return None


def over_avx512(cell):
    for ascii_alone in (None, is_ascii(cell.text)):
        ratio = OVER_AVX512.get((cell.work, ascii_alone, cell.length))
        if ratio is not None:
            return ratio
    return None


def conditions(cell, kernels):
    """What a cell is to reach with a set of kernels. Builds of START that did not run are not compared with."""
    if cell.work == "Huffman":
        yield Rate(HUFFMAN_RATE_PORTABLE if kernels == "portable" else HUFFMAN_RATE)
    ratio = over_portable(cell)
    if ratio is not None and START_PORTABLE in cell.passes:
        if kernels == "avx2":
            yield Over(ratio, START_PORTABLE)
        elif kernels == "sse41" and cell.length == "name":
            yield Over(ratio, START_PORTABLE)
        elif kernels == "sse41":
            least = SSE41_LONG_ASCII if is_ascii(cell.text) else SSE41_LONG
            if cell.work == "UTF-8 validity" and is_ascii(cell.text) and cell.length == "64K":
                least = SSE41_VALIDITY
            yield Over(min(least, ratio), START_PORTABLE)
    if kernels == "avx512" and START_AVX512 in cell.passes:
        ratio = over_avx512(cell)
        yield NoLoss(START_AVX512) if ratio is None else Over(ratio, START_AVX512)
    if kernels == "avx512" and cell.work == "wildcards" and cell.text in LEVEL_WITH_GLIB:
        if cell.best_rival(kernels, "GLib"):
            yield Level("GLib")


# 64-bit Arm: instructions with Advanced SIMD over those of the portable build of START, at most: by work, for 8 KiB of
# Cyrillic; for names in the same works; for all other rows.
ARM_CYRILLIC = {
    "UTF-8 validity": 0.4,
    "UCS-2 to UTF-8": 0.55,
    "UTF-8 to UCS-2": 0.55,
    "sets to UTF-8": 0.5,
}
ARM_NAME = 0.65
ARM_ALL = 1.0
ARM_ROUNDING = 0.005  # a few instructions of a call are no loss


def arm_limit(work, text, length):
    if work in ARM_CYRILLIC and length == "8K" and text.endswith("Russian, Ukrainian, Bulgarian"):
        return ARM_CYRILLIC[work]
    return ARM_NAME if work in ARM_CYRILLIC and length == "name" else ARM_ALL


def arm_met(work, text, length, ratio):
    return ratio <= arm_limit(work, text, length) + ARM_ROUNDING
