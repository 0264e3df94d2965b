#!/usr/bin/env python3
"""make_guess_tables.py [--work DIR]: writes guess_tables.h, the language models of the guess.

Sources, fetched into DIR by the ordinary clients: word lists of Debian 12 (packages w* and the dictionaries of
hunspell), and from npm, pinned, the exemplar characters and the names of languages and countries of the Unicode CLDR.
Nothing else goes in; the texts that the guess is measured on (measure_guess.py) are not among them.

A model is the cost in whole bits, 0 to 15, of a letter after another, in an alphabet of its own: letters in small form,
0 for whatever is no letter. It is counted over the words of the list, each once, and over the names, each ten times.
"""
import argparse
import json
import math
import re
import subprocess
import unicodedata
from collections import Counter
from pathlib import Path

CLDR_VERSION = "48.2.0"

# ISO 639-1, the codes of ISO 639-2 that broadcasts use, package, file below its root (None: names alone).
LANGUAGES = [
    ("en", "eng", "eng", "wamerican-small", "usr/share/dict/american-english-small"),
    ("fr", "fre", "fra", "wfrench", "usr/share/dict/french"),
    ("de", "ger", "deu", "wngerman", "usr/share/dict/ngerman"),
    ("es", "spa", "spa", "wspanish", "usr/share/dict/spanish"),
    ("it", "ita", "ita", "witalian", "usr/share/dict/italian"),
    ("pt", "por", "por", "wportuguese", "usr/share/dict/portuguese"),
    ("ca", "cat", "cat", "wcatalan", "usr/share/dict/catalan"),
    ("gl", "glg", "glg", "hunspell-gl", "usr/share/hunspell/gl_ES.dic"),
    ("nl", "dut", "nld", "wdutch", "usr/share/dict/dutch"),
    ("sv", "swe", "swe", "wswedish", "usr/share/dict/swedish"),
    ("da", "dan", "dan", "wdanish", "usr/share/dict/danish"),
    ("no", "nor", "nob", "wnorwegian", "usr/share/dict/bokmaal"),
    ("is", "ice", "isl", "hunspell-is", "usr/share/hunspell/is_IS.dic"),
    ("fi", "fin", "fin", None, None),
    ("ga", "gle", "gle", "wirish", "usr/share/dict/irish"),
    ("et", "est", "est", "myspell-et", "usr/share/hunspell/et_EE.dic"),
    ("lt", "lit", "lit", "hunspell-lt", "usr/share/hunspell/lt_LT.dic"),
    ("lv", "lav", "lav", "hunspell-lv", "usr/share/hunspell/lv_LV.dic"),
    ("pl", "pol", "pol", "wpolish", "usr/share/dict/polish"),
    ("cs", "cze", "ces", "hunspell-cs", "usr/share/hunspell/cs_CZ.dic"),
    ("sk", "slo", "slk", "hunspell-sk", "usr/share/hunspell/sk_SK.dic"),
    ("sl", "slv", "slv", "hunspell-sl", "usr/share/hunspell/sl_SI.dic"),
    ("hr", "hrv", "hrv", "hunspell-hr", "usr/share/hunspell/hr_HR.dic"),
    ("hu", "hun", "hun", "hunspell-hu", "usr/share/hunspell/hu_HU.dic"),
    ("ro", "rum", "ron", "hunspell-ro", "usr/share/hunspell/ro_RO.dic"),
    ("sq", "alb", "sqi", None, None),
    ("tr", "tur", "tur", "hunspell-tr", "usr/share/hunspell/tr_TR.dic"),
    ("ru", "rus", "rus", "hunspell-ru", "usr/share/hunspell/ru_RU.dic"),
    ("uk", "ukr", "ukr", "wukrainian", "usr/share/dict/ukrainian"),
    ("be", "bel", "bel", "hunspell-be", "usr/share/hunspell/be_BY.dic"),
    ("bg", "bul", "bul", "wbulgarian", "usr/share/dict/bulgarian"),
    ("sr", "srp", "srp", "hunspell-sr", "usr/share/hunspell/sr_RS.dic"),
    ("mk", "mac", "mkd", None, None),
    ("el", "gre", "ell", "hunspell-el", "usr/share/hunspell/el_GR.dic"),
    ("he", "heb", "heb", "hunspell-he", "usr/share/hunspell/he_IL.dic"),
    ("ar", "ara", "ara", "hunspell-ar", "usr/share/hunspell/ar.dic"),
    ("th", "tha", "tha", "hunspell-th", "usr/share/hunspell/th_TH.dic"),
]
MOST_WORDS = 60000
NAME_WEIGHT = 10
RAREST = 0.0002  # share of the letters below which a letter that no exemplar names is left out
SMOOTHING = 8.0
BITS = 15


def run(*command: str, cwd: Path) -> None:
    subprocess.run(command, cwd=cwd, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def fetch(work: Path) -> None:
    work.mkdir(parents=True, exist_ok=True)
    for _, _, _, package, _ in LANGUAGES:
        if package and not (work / package).is_dir():
            run("apt-get", "download", package, cwd=work)
            run("dpkg", "-x", str(next(work.glob(f"{package}_*.deb"))), str(work / package), cwd=work)
    for package in ("cldr-misc-full", "cldr-localenames-full"):
        if not (work / package).is_dir():
            run("npm", "pack", f"{package}@{CLDR_VERSION}", cwd=work)
            (work / package).mkdir()
            run("tar", "xzf", f"{package}-{CLDR_VERSION}.tgz", "-C", package, cwd=work)


def small(text: str) -> str:
    """Small letters, as the library maps them."""
    return unicodedata.normalize("NFC", text).replace("İ", "i").lower()


def decoded(data: bytes) -> str:
    """The lists of some western languages are still in ISO 8859-1."""
    try:
        return data.decode()
    except UnicodeDecodeError:
        return data.decode("iso8859-1")


def words_of(path: Path) -> str:
    data = path.read_bytes()
    encoding = "utf-8"
    if path.suffix == ".dic":
        for line in path.with_suffix(".aff").read_bytes().splitlines():
            if line.startswith(b"SET "):
                encoding = line[4:].strip().decode()
                break
        lines = [re.split(r"[/\t]", line)[0] for line in data.decode(encoding, "replace").splitlines()[1:]]
    else:
        lines = decoded(data).splitlines()
    words = [line.strip() for line in lines if line.strip() and "\ufffd" not in line]
    step = max(1, len(words) // MOST_WORDS)
    return small(" ".join(words[::step]))


def names_of(work: Path, language: str) -> str:
    main = work / "cldr-localenames-full/package/main" / language
    names = []
    for kind, path in (("languages", "languages.json"), ("territories", "territories.json")):
        content = json.loads((main / path).read_text())["main"][language]["localeDisplayNames"][kind]
        names += [value for key, value in content.items() if value != key]
    return small(" ".join(names))


def exemplars_of(work: Path, language: str) -> set[str]:
    path = work / "cldr-misc-full/package/main" / language / "characters.json"
    content = json.loads(path.read_text())["main"][language]["characters"]["exemplarCharacters"]
    return {small(c) for c in content if unicodedata.category(c)[0] in "LM"}


def model_of(work: Path, language: tuple) -> tuple[list[str], list[list[int]]]:
    code, _, _, package, path = language
    cldr = {"no": "no"}.get(code, code)
    texts = [(f" {names_of(work, cldr)} ", NAME_WEIGHT)]
    if package:
        texts.append((f" {words_of(work / package / path)} ", 1))
    letters, neighbours = Counter(), Counter()
    for text, weight in texts:
        for c, count in Counter(text).items():
            letters[c] += weight * count
        for pair, count in Counter(zip(text, text[1:])).items():
            neighbours[pair] += weight * count
    total = sum(letters.values())
    exemplars = exemplars_of(work, cldr)
    alphabet = sorted(c for c in letters
                      if (unicodedata.category(c)[0] in "LM") and (c in exemplars or letters[c] > RAREST * total)
                      and ord(c) < 0x10000 and ("a" <= c <= "z" or ord(c) >= 0xA0))
    index = {c: i + 1 for i, c in enumerate(alphabet)}
    pairs = Counter()
    for (before, now), count in neighbours.items():
        pairs[index.get(before, 0), index.get(now, 0)] += count
    size = len(alphabet) + 1
    singles = [sum(pairs[a, b] for a in range(size)) + 1 for b in range(size)]
    everything = sum(singles)
    matrix = []
    for a in range(size):
        row = sum(pairs[a, b] for b in range(size))
        costs = []
        for b in range(size):
            share = (pairs[a, b] + SMOOTHING * singles[b] / everything) / (row + SMOOTHING)
            costs.append(min(BITS, max(0, round(-math.log2(share)))))
        matrix.append(costs)
    matrix[0][0] = 1
    return alphabet, matrix


def wrapped(numbers: list[str], width: int = 112) -> str:
    lines, line = [], ""
    for number in numbers:
        if len(line) + len(number) + 2 > width:
            lines.append("    " + line.rstrip())
            line = ""
        line += number + ", "
    return "\n".join(lines + ["    " + line.rstrip()])


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--work", type=Path, default=Path("build/guess"))
    work = parser.parse_args().work.resolve()
    fetch(work)
    rows, letters, costs = [], [], []
    for language in LANGUAGES:
        alphabet, matrix = model_of(work, language)
        flat = [cost for line in matrix for cost in line]
        flat += [0] * (len(flat) % 2)
        rows.append(f'    {{"{language[0]}", "{language[1]}", "{language[2]}", {len(alphabet)}, {len(letters)}, {len(costs)}}},')
        letters += [f"0x{ord(c):04X}" for c in alphabet]
        costs += [f"0x{flat[i] << 4 | flat[i + 1]:02X}" for i in range(0, len(flat), 2)]
    Path(__file__).with_name("guess_tables.h").write_text(f"""// Written by make_guess_tables.py from Debian's word lists and the Unicode CLDR {CLDR_VERSION}: do not edit.
//
// A language has an alphabet, `letterCount` code points in order from guessLetters[letters], and the cost in bits of
// each letter after each: a square of 4-bit numbers, the high half of a byte first, from guessCosts[costs], whose row
// is the letter before and whose column the letter, both from 1; 0 stands for what is no letter.
#pragma once

#include <cstdint>

namespace zelk::insight::models {{

struct GuessLanguage {{
    char code[3];          // ISO 639-1
    char bibliographic[4]; // ISO 639-2/B
    char terminologic[4];  // ISO 639-2/T
    std::uint8_t letterCount;
    std::uint16_t letters;
    std::uint16_t costs;
}};

// clang-format off
inline constexpr GuessLanguage guessLanguages[] = {{
{chr(10).join(rows)}
}};

inline constexpr std::uint16_t guessLetters[] = {{
{wrapped(letters)}
}};

inline constexpr std::uint8_t guessCosts[] = {{
{wrapped(costs)}
}};
// clang-format on

}} // namespace zelk::insight::models
""")
    print(f"{len(rows)} languages, {len(letters)} letters, {len(costs)} bytes of costs")


if __name__ == "__main__":
    main()
