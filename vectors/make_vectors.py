#!/usr/bin/env python3
"""make_vectors.py [--check]: writes annex-a.json, cases for decoders of the text of ETSI EN 300 468, Annex A.

The expected values come from this file alone: the default table and the selectors of the standard as they are typed
here, the ISO 8859 parts as Python knows them, letters with marks by Unicode's composition, and the codes of compressed
text as src/tables/ lists them. No decoder of this project is run. --check compares with the stored file.
"""
import json
import pathlib
import re
import sys
import unicodedata

HERE = pathlib.Path(__file__).parent
MISSING = "\N{REPLACEMENT CHARACTER}"

A1 = "ETSI EN 300 468 A.1"
A2 = "ETSI EN 300 468 A.2"
UTF8 = "ISO/IEC 10646 Annex D"
MARKS = "ISO/IEC 6937 6.2"

# Where the expected text is this project's choice and not the standard's word: docs/quirks.md has the reasons.
DEVIATIONS = {
    "unassigned-vanish": "Bytes without a character in the default table leave nothing; in the other tables they are U+FFFD.",
    "greek-edition": "ISO 8859-7 is the first edition with the euro sign: A5 and AA have no character.",
    "hebrew-edition": "ISO 8859-8 is the first edition: FD and FE have no character.",
    "mark-alone": "A mark that stands before no letter or blank is its spacing form.",
    "mark-dropped": "Where a letter and its mark have no common character, the letter stands without the mark.",
    "mark-second": "Ring on E is a dot, ogonek on S and T a comma below, dot on H and X is dropped.",
    "controls-dropped": "Control codes other than the line feed and kept emphasis leave nothing.",
    "default-tab": "The default table drops tab and line feed, the other tables keep them.",
    "selector-reserved": "Reserved and unsupported selectors are read, most of them as the default table.",
    "selector-unread": "The text after a selector of a table that is not read is taken for default text.",
    "latin10-marks": "ISO 8859-16 reads letters in the places of marks as marks, before a letter or a blank.",
    "arabic-marks": "ISO 8859-6 has the marks of Greek.",
    "utf8-three-bytes": "UTF-8 ends at U+FFFF: each byte of a longer form is U+FFFD.",
    "utf8-cut": "A sequence that a byte of ASCII cuts leaves nothing; one that another lead cuts is U+FFFD.",
    "c1-controls": "U+0080 to U+009F are control codes in two-byte text and in UTF-8, as U+E080 to U+E09F are.",
    "zero-dropped": "Zero bytes of a counted string are dropped.",
    "region": "The regional setting changes the meaning of a selector.",
}

DEFAULT_UPPER_HALF = (
    "\u00A0¡¢£€¥?§¤‘“«←↑→↓"
    "°±²³×µ¶·÷’”»¼½¾¿"
    "?`´^~¯˘˙¨?˚¸?˝˛ˇ"
    "―¹®©™♪¬¦????⅛⅜⅝⅞"
    "ΩÆÐªĦ?ĲĿŁØŒºÞŦŊŉ"
    "ĸæđðħıĳŀłøœßþŧŋ\u00AD"
)

# By the byte of a mark: the spacing form, the combining characters that it may stand for, the first one that composes.
MARK_BYTES = {
    0xC1: ("`", "\u0300"), 0xC2: ("´", "\u0301"), 0xC3: ("^", "\u0302\u032D"), 0xC4: ("~", "\u0303"),
    0xC5: ("¯", "\u0304"), 0xC6: ("˘", "\u0306\u032E"), 0xC7: ("˙", "\u0307"), 0xC8: ("¨", "\u0308"),
    0xCA: ("˚", "\u030A"), 0xCB: ("¸", "\u0327"), 0xCD: ("˝", "\u030B"), 0xCE: ("˛", "\u0328\u0326"),
    0xCF: ("ˇ", "\u030C"),
}  # fmt: skip

REGIONS = ["iso8859-9", "standard", "iso8859-2", "iso8859-7", "iso8859-9-alt", "iso8859-15", "gb2312"]
STANDARD = 1
NONE = 18  # as a default code: there is none


def letters() -> str:
    return "".join(chr(code) for first in "Aa" for code in range(ord(first), ord(first) + 26))


def iso_set(part: int) -> list[str]:
    """A character for each byte; MISSING for none."""
    return [bytes([byte]).decode(f"iso8859_{part}", "replace") for byte in range(256)]


class Table:
    def __init__(self, name: str, characters: list[str], marks: str = "") -> None:
        self.name = name
        self.characters = characters
        self.marks = marks

    def is_default(self) -> bool:
        return self.name == "DVB default table"


def make_tables() -> dict[int, Table]:
    default = [chr(byte) if 0x20 <= byte < 0x7F else MISSING for byte in range(256)]
    for place, character in enumerate(DEFAULT_UPPER_HALF):
        default[0xA0 + place] = MISSING if character == "?" else character
    tables = {0: Table("DVB default table", default, "latin")}
    for part in range(1, 17):
        if part != 12:
            tables[part] = Table(f"ISO 8859-{part}", iso_set(part), {16: "latin", 6: "greek"}.get(part, ""))
    for byte in (0xA5, 0xAA):
        tables[7].characters[byte] = MISSING
    for byte in (0xFD, 0xFE):
        tables[8].characters[byte] = MISSING
    return tables


TABLES = make_tables()
ASCII_ONLY = Table("ASCII only", [chr(byte) if byte < 0x80 else MISSING for byte in range(256)])
LATIN9_MARKS = Table("ISO 8859-15 with non-spacing marks", iso_set(15), "latin")


def compose_latin(mark: int, base: str) -> tuple[str, str]:
    """The character of a mark before a base, and the deviation that it is; empty texts where they do not meet."""
    spacing, combining = MARK_BYTES[mark]
    if base == " ":
        return spacing, ""
    if base not in letters():
        return "", ""
    if mark == 0xC7 and base in "HXhx":
        return base, "mark-second"
    if mark == 0xCA and base in "Ee":
        return unicodedata.normalize("NFC", base + "\u0307"), "mark-second"
    for place, character in enumerate(combining):
        whole = unicodedata.normalize("NFC", base + character)
        if len(whole) == 1:
            return whole, "mark-second" if place else ""
    return base, "mark-dropped"


class Text:
    """A text while it is decoded, with what is found on the way."""

    def __init__(self, keep_emphasis: bool) -> None:
        self.text = ""
        self.findings: list[dict] = []
        self.deviations: set[str] = set()
        self.keep_emphasis = keep_emphasis
        self.open: dict | None = None

    def length(self) -> int:
        return len(self.text.encode())

    def find(self, kind: str, offset: int, length: int, value: int, text_offset: int | None = None) -> dict:
        begin = self.length() if text_offset is None else text_offset
        finding = {"kind": kind, "offset": offset, "length": length, "textOffset": begin,
                   "textLength": self.length() - begin, "value": value}  # fmt: skip
        self.findings.append(finding)
        return finding

    def control(self, code: int, offset: int, length: int) -> None:
        begin = self.length()
        if code in (0x86, 0x87):
            if self.keep_emphasis:
                self.text += chr(code)
            self.emphasis(code == 0x86, offset, length, begin)
        elif code == 0x8A or code in (0x09, 0x0A):
            self.text += "\n" if code == 0x8A else chr(code)
        else:
            self.deviations.add("zero-dropped" if code == 0 else "controls-dropped")
            self.find("control-dropped", offset, length, code)

    def emphasis(self, on: bool, offset: int, length: int, begin: int) -> None:
        if on or self.open is None:
            finding = self.find("emphasis-unbalanced", offset, length, 0)
            finding["textOffset"] = self.length() if on else begin
            finding["textLength"] = 0
            self.open = finding if on else None
            return
        self.open["kind"] = "emphasis"
        self.open["length"] = offset + length - self.open["offset"]
        self.open["textLength"] = begin - self.open["textOffset"]
        self.open = None


def read_table(table: Table, data: bytes, start: int, out: Text) -> None:
    at = start
    while at < len(data):
        byte = data[at]
        following = chr(data[at + 1]) if at + 1 < len(data) else "\0"
        if table.is_default() and byte < 0x20:
            out.deviations.add("default-tab" if byte in (9, 10) else "zero-dropped" if byte == 0 else "controls-dropped")
            out.find("control-dropped", at, 1, byte)
        elif byte < 0x20 or 0x80 <= byte < 0xA0:
            out.control(byte, at, 1)
        elif table.is_default() and byte >= 0xA0 and table.characters[byte] == MISSING:
            out.deviations.add("unassigned-vanish")
            out.find("byte-unassigned", at, 1, byte)
        elif table.marks == "latin" and byte in MARK_BYTES:
            whole, deviation = compose_latin(byte, following)
            begin = out.length()
            if whole:
                out.text += whole
                out.deviations |= {deviation} - {""}
                if not table.is_default():
                    out.deviations.add("latin10-marks")
                if whole == following and following != " ":
                    out.find("mark-dropped", at, 2, byte, begin)
                at += 2
                continue
            out.text += table.characters[byte]
            if table.is_default():
                out.deviations.add("mark-alone")
                out.find("mark-without-letter", at, 1, byte, begin)
            if at + 1 == len(data):
                out.find("byte-after-count", at, 1, 0)
        else:
            begin = out.length()
            out.text += table.characters[byte]
            if table.characters[byte] == MISSING:
                out.find("byte-unassigned", at, 1, byte, begin)
        at += 1


def read_units(units: list[tuple[int, int, int]], out: Text) -> None:
    """Units of 16 bits with their places; surrogates are joined."""
    place = 0
    while place < len(units):
        unit, offset, length = units[place]
        place += 1
        if 0xD800 <= unit < 0xDC00 and place < len(units) and 0xDC00 <= units[place][0] < 0xE000:
            low, low_offset, low_length = units[place]
            out.text += chr(0x10000 + ((unit & 0x3FF) << 10 | low & 0x3FF))
            place += 1
        elif 0xD800 <= unit < 0xE000:
            begin = out.length()
            out.text += MISSING
            out.find("surrogate-lone", offset, length, unit, begin)
        elif unit < 0x20 or 0x80 <= unit < 0xA0 or 0xE080 <= unit < 0xE0A0:
            if 0x80 <= unit < 0xA0:
                out.deviations.add("c1-controls")
            out.control(unit & 0xFF, offset, length)
        else:
            out.text += chr(unit)


def read_two_byte(data: bytes, start: int, out: Text) -> None:
    even = start + (len(data) - start) // 2 * 2
    read_units([(data[at] << 8 | data[at + 1], at, 2) for at in range(start, even, 2)], out)
    if even < len(data):
        out.find("two-byte-odd", even, 1, 0)


def read_utf8(data: bytes, start: int, out: Text) -> None:
    at = start

    def malformed(length: int, characters: int) -> None:
        nonlocal at
        begin = out.length()
        out.text += characters * MISSING
        out.find("utf8-malformed", at, length, data[at], begin)
        at += length

    while at < len(data):
        lead = data[at]
        if lead < 0x80:
            read_units([(lead, at, 1)], out)
            at += 1
            continue
        if lead >= 0xF0:
            out.deviations.add("utf8-three-bytes")
            longer = code_point_of_four(data[at : at + 4])
            if longer is None:
                malformed(1, 1)
            else:
                begin = out.length()
                out.text += 4 * MISSING
                out.find("utf8-four-byte", at, 4, longer, begin)
                at += 4
            continue
        wanted = 0 if lead < 0xC0 else 2 if lead < 0xE0 else 3
        if wanted == 0:
            malformed(1, 1)
            continue
        end = at + 1
        while end < at + wanted and end < len(data) and 0x80 <= data[end] < 0xC0:
            end += 1
        if end < at + wanted:
            out.deviations.add("utf8-cut")
            if end == len(data) or data[end] < 0x80 or code_point_of_four(data[end : end + 4]) is not None:
                malformed(end - at, 0)
            elif data[end] < 0xF0:
                malformed(end - at, 1)
            else:  # a lead that begins nothing goes with what it cuts
                malformed(end + 1 - at, 1)
            continue
        value = lead & (0x1F if wanted == 2 else 0x0F)
        for byte in data[at + 1 : end]:
            value = value << 6 | byte & 0x3F
        if value < (0x80 if wanted == 2 else 0x800):
            malformed(wanted, 1)
        else:
            read_units([(value, at, wanted)], out)
            at = end


def code_point_of_four(data: bytes) -> int | None:
    """Of a character that is coded in four bytes, if these are one."""
    try:
        return ord(data.decode("utf-8")) if data[0] >= 0xF0 else None
    except (UnicodeDecodeError, TypeError):
        return None


# ---- Selection ----


def select(data: bytes, region: int, default_code: int) -> tuple[int, int, int]:
    """The region, the code and the bytes of the selector."""
    code = 0
    if default_code != NONE:
        region, code = STANDARD, default_code
    first = data[0] if data else 0
    if first == 0 or first >= 0x20:
        return STANDARD, code, 0
    second = data[1] if len(data) > 1 else 0
    third = data[2] if len(data) > 2 else 0
    if first <= 0x0F:
        return region, first + 4, 1
    if first == 0x10 and second == 0:
        return region, third if third <= 16 else NONE, 3
    if first in (0x11, 0x14):
        return region, 20, 1
    if first in (0x15, 0x16):
        return region, 21, 1
    if first == 0x1D:
        return region, 19, 1
    if first == 0x1F:
        return region, 22 if second in (1, 2, 5, 6) else NONE, 2
    return region, NONE, 1


def table_of(region: int, code: int) -> Table:
    if region > 6:
        return TABLES[9]
    code = code if 0 <= code <= 16 else 0
    if region == 6:
        return TABLES[0]
    if code == 0:
        return [TABLES[9], TABLES[0], TABLES[2], TABLES[7], TABLES[9], LATIN9_MARKS][region]
    if code == 5 and region == 2:
        return TABLES[0]
    return ASCII_ONLY if code == 12 else TABLES[code]


def selector_finding(data: bytes) -> tuple[str, str]:
    first = data[0]
    if first in (0x08, 0x0C, 0x0D, 0x0E, 0x0F) or first >= 0x16 and first != 0x1F:
        return "selector-reserved", "selector-reserved"
    if first == 0x10:
        known = len(data) > 2 and data[1] == 0 and 1 <= data[2] <= 15 and data[2] != 12
        return ("", "") if known else ("selector-reserved", "selector-reserved")
    if first in (0x12, 0x13) or first == 0x1F and data[1] not in (1, 2, 5, 6):
        return "selector-unsupported", "selector-unread"
    return "", ""


def decode(data: bytes, settings: dict) -> dict:
    """All of a case but its name: what the model makes of the bytes."""
    region, default_code = settings.get("charSet", STANDARD), settings.get("defaultCode", NONE)
    after, code, wanted = select(data, region, default_code)
    begin = min(wanted, len(data))
    out = Text(settings.get("flags", 0) & 1 != 0)
    if begin < wanted:
        out.find("selector-cut", 0, begin, data[0])
    elif begin and selector_finding(data)[0]:
        kind, deviation = selector_finding(data)
        out.find(kind, 0, begin, data[0])
        out.deviations.add(deviation)
    table = table_of(after, code)
    name = {20: "two-byte characters", 21: "UTF-8"}.get(code, table.name)
    if code == 20:
        read_two_byte(data, begin, out)
    elif code == 21:
        read_utf8(data, begin, out)
    else:
        read_table(table, data, begin, out)
    if code < 19 and table is not table_of(STANDARD, code):
        out.deviations.add("region")
    if begin:
        says_nothing = code in (17, NONE)
        by_region = says_nothing or (code < 19 and table is not table_of(STANDARD, code))
        reason = "region" if by_region else "selector"
    else:
        reason = "default" if default_code == NONE else "default-code"
    return {"text": out.text, "table": name, "reason": reason, "findings": out.findings, "deviations": sorted(out.deviations)}


# ---- Cases ----


class Cases:
    def __init__(self) -> None:
        self.cases: list[dict] = []
        self.names: dict[str, int] = {}

    def add(self, name: str, data: bytes, clause: str, settings: dict | None = None, extra: set[str] = frozenset(),
            text: str | None = None) -> None:  # fmt: skip
        settings = settings or {}
        decoded = decode(data, settings)
        if text is not None and decoded["text"] != text:
            raise SystemExit(f"{name}: {decoded['text']!r} is not {text!r}")
        self.put(name, data, clause, settings, decoded, extra)

    def put(self, name: str, data: bytes, clause: str, settings: dict, decoded: dict, extra: set[str]) -> None:
        number = self.names[name] = self.names.get(name, 0) + 1
        case = {"id": name if number == 1 else f"{name}-{number}", "bytes": data.hex(), "settings": settings, **decoded}
        case["clause"] = clause
        case["deviations"] = sorted(set(case.pop("deviations")) | extra)
        self.cases.append(case)


def selector_of(part: int) -> bytes:
    return bytes([part - 4]) if part >= 5 else bytes([0x10, 0, part])


def add_tables(cases: Cases) -> None:
    """Each byte of the upper half of each table, before a full stop, where no mark composes."""
    for part, table in TABLES.items():
        if part == 16:
            selector, extra = b"\x10\x00\x10", set()
        else:
            selector, extra = (b"" if part == 0 else selector_of(part)), set()
        for byte in range(0xA0, 0x100):
            deviations = set(extra)
            if part == 7 and byte in (0xA5, 0xAA):
                deviations.add("greek-edition")
            if part == 8 and byte in (0xFD, 0xFE):
                deviations.add("hebrew-edition")
            cases.add(f"table-{part}-{byte:02x}", selector + bytes([0x41, byte, 0x2E]), A2, None, deviations)
    for byte in range(0x20, 0x7F):
        cases.add(f"ascii-{byte:02x}", bytes([0x41, byte, 0x2E]), A2)


def add_marks(cases: Cases) -> None:
    for mark in MARK_BYTES:
        for base in " " + letters():
            cases.add(f"mark-{mark:02x}-{ord(base):02x}", bytes([mark, ord(base)]), MARKS)
        for after in b"1-\xE1\xC2\x8A":
            cases.add(f"mark-{mark:02x}-before-{after:02x}", bytes([0x41, mark, after]), MARKS)
        cases.add(f"mark-{mark:02x}-at-end", bytes([0x41, mark]), MARKS)
    cases.add("mark-latin10", b"\x10\x00\x10\xC2e", A2)
    cases.add("mark-latin10", b"\x10\x00\x10\xC8o", A2)


def add_controls(cases: Cases) -> None:
    for code in range(0x80, 0xA0):
        keep = [{}] if code not in (0x86, 0x87) else [{}, {"flags": 1}]
        for settings in keep:
            cases.add(f"control-{code:02x}-default", bytes([0x41, code, 0x42]), A1, settings)
            cases.add(f"control-{code:02x}-latin1", bytes([0x10, 0, 1, 0x41, code, 0x42]), A1, settings)
            cases.add(f"control-{code:02x}-two-byte", bytes([0x11, 0, 0x41, 0xE0, code, 0, 0x42]), A1, settings)
            cases.add(f"control-{code:02x}-utf8", b"\x15A" + chr(0xE000 + code).encode() + b"B", A1, settings)
            cases.add(f"control-{code:02x}-utf8-c1", b"\x15A" + chr(code).encode() + b"B", A1, settings)
    for code in range(0x20):
        cases.add(f"control-{code:02x}-default", bytes([0x41, code, 0x42]), A1)
        cases.add(f"control-{code:02x}-latin5", bytes([5, 0x41, code, 0x42]), A1)
        cases.add(f"control-{code:02x}-utf8", bytes([0x15, 0x41, code, 0x42]), A1)
        cases.add(f"control-{code:02x}-two-byte", bytes([0x11, 0, 0x41, 0, code, 0, 0x42]), A1)
    for string in ("A\x86B\x87C", "\x86A\x87\x86B\x87", "\x86A", "A\x87", "\x86A\x86B\x87", "\x87A\x86", "A\x8A\x8AB", "\x86\x87"):
        for settings in ({}, {"flags": 1}):
            cases.add("emphasis", string.encode("latin-1"), A1, settings)
            cases.add("emphasis-two-byte", b"\x11" + b"".join(bytes([0xE0 if ord(c) > 0x7F else 0, ord(c)]) for c in string), A1, settings)


def add_selectors(cases: Cases) -> None:
    for first in range(1, 0x20):
        if first in (0x0F, 0x1D, 0x1F):  # UTF-8 that was prepared before, and compressed text
            continue
        for rest in (b"Az", b"\xE1.", b"\xC2e1", b""):
            cases.add(f"selector-{first:02x}", bytes([first]) + rest, A2)
    for third in range(0x20):
        for rest in (b"Az", b"\xE1.", b"\xC2.", b""):
            cases.add(f"selector-10-00-{third:02x}", bytes([0x10, 0, third]) + rest, A2)
    for second in (0x01, 0x20, 0x41, 0xFF):
        cases.add(f"selector-10-{second:02x}", bytes([0x10, second, 0x42]), A2)
    for second in (0, 3, 4, 7, 0x41, 0xFF):
        cases.add(f"selector-1f-{second:02x}", bytes([0x1F, second, 0x41, 0xE1, 0x2E]), A2)
    cases.add("selector-1f", b"\x1F", A2)
    cases.add("selector-10", b"\x10", A2)
    cases.add("selector-10-00", b"\x10\x00", A2)
    cases.add("empty", b"", A2)


def add_defaults(cases: Cases) -> None:
    for code in list(range(18)) + [20, 21]:
        for data in (b"Az", b"A\xE1.", b"\x05\xE9", b"\x15\xC3\xA9", b"\xC3\xA9"):
            cases.add(f"default-code-{code}", data, A2, {"defaultCode": code})
    for region, name in enumerate(REGIONS[:6]):
        for data in (b"\xE9.", b"\x01\xC2e", b"\x03\xE1.", b"\x05\xFD", b"\x12\xB1.", b"\x10\x00\x02\xB1", b"\x15\xC3\xA9"):
            cases.add(f"region-{name}", data, A2, {"charSet": region})


def add_unicode(cases: Cases) -> None:
    characters = "A~éżЖאالกज中ー한€♪\uFFFC\uF8FF\uFB01\u200B\u0301"
    for character in characters:
        cases.add(f"utf8-{ord(character):04x}", b"\x15" + character.encode(), UTF8, text=character)
        cases.add(f"two-byte-{ord(character):04x}", b"\x11" + character.encode("utf-16-be"), A2, text=character)
    for character in "😀𝄞𠀀\U0010FFFF":
        cases.add(f"utf8-{ord(character):x}", b"\x15A" + character.encode() + b"B", UTF8)
        cases.add(f"two-byte-{ord(character):x}", b"\x11" + character.encode("utf-16-be"), A2, text=character)
    for bad in ("80", "bf", "c328", "c3", "e282", "e28228", "e2c3a9", "c0af", "c1bf", "e08080", "e09fbf", "eda080", "edb080",
                "f5808080", "f8", "fe", "ff", "f09f98", "f08080af", "c3c3a9", "41c3", "efbfbd", "41e28241", "a9c3a9",
                "e6f09f9880", "e6b8f09f9880", "c3f09f9880", "e6f041", "e6b8f8", "c3ff", "e6f09f98"):  # fmt: skip
        for data in (bytes.fromhex(bad), b"a" + bytes.fromhex(bad) + b"z"):
            cases.add(f"utf8-bad-{bad}", b"\x15" + data, UTF8)
    for bad in ("00", "0041 00", "d83d", "d83d0041", "dc00", "dc00d83d", "d83dd83dde00", "0041de000042", "d800"):
        cases.add(f"two-byte-bad-{bad.replace(' ', '')}", b"\x11" + bytes.fromhex(bad), A2)
    for first in range(0, 0x10000, 0x101):
        if not 0xD800 <= first < 0xE000:
            cases.add("two-byte-units", b"\x11\x00\x41" + first.to_bytes(2, "big") + b"\x00\x42", A2)


SENTENCES = {
    "eng": "The quick brown fox jumps over the lazy dog at 20:15", "fre": "Voix ambiguë d’un cœur préfère les jattes de kiwis",
    "ger": "Zwölf Boxkämpfer jagen Viktor quer über den großen Deich", "spa": "El pingüino Wenceslao hizo kilómetros bajo lluvia",
    "ita": "Perché la città è così bella d'estate", "por": "À noite, vovô Kowalsky vê o ímã cair no pé do pingüim",
    "cat": "Jove xef, porti whisky amb quinze glaçons d'hidrogen", "dut": "Pa’s wijze lynx bezag vroom het fikse aquaduct",
    "swe": "Flygande bäckasiner söka hwila på mjuka tuvor", "dan": "Høj bly gom vandt fræk sexquiz på wc", "nor": "Vår sære Zulu fra badeøya spilte jo whist",
    "ice": "Kæmi ný öxi hér, ykist þjófum nú bæði víl og ádrepa", "fin": "Törkylempijävongahdus", "est": "Põdur Zagrebi tšellomängija",
    "lav": "Glāžšķūņa rūķīši dzērumā čiepj Baha koncertflīģeļu vākus", "lit": "Įlinkdama fechtuotojo špaga sublykčiojusi pragręžė apvalų arbūzą",
    "pol": "Pchnąć w tę łódź jeża lub ośm skrzyń fig", "cze": "Příliš žluťoučký kůň úpěl ďábelské ódy", "slo": "Kŕdeľ šťastných ďatľov učí pri ústí Váhu",
    "slv": "Šerif bo za vajo spet kuhal domače žgance", "hrv": "Gojazni đačić s biciklom drži hmelj i finu vatu u džepu nošnje",
    "hun": "Árvíztűrő tükörfúrógép", "rum": "Muzicologă în bej vând whisky și tequila, preț fix", "alb": "Unë mund të ha qelq dhe nuk më gjen gjë",
    "tur": "Pijamalı hasta yağız şoföre çabucak güvendi", "mlt": "Ġanġetta ħelwa u żgħira", "wel": "Parciais fy jac codi baw hud llawn dŵr ger tŷ Mabon",
    "rus": "Съешь же ещё этих мягких французских булок, да выпей чаю", "ukr": "Чуєш їх, доцю, га? Кумедна ж ти, прощайся без ґольфів!",
    "bul": "Ах чудна българска земьо, полюшвай цъфтящи жита", "srp": "Љубазни фењерџија чађавог лица хоће да ми покаже штос",
    "gre": "Ξεσκεπάζω την ψυχοφθόρα βδελυγμία", "heb": "דג סקרן שט בים מאוכזב ולפתע מצא חברה", "ara": "نص حكيم له سر قاطع وذو شأن عظيم",
    "tha": "เป็นมนุษย์สุดประเสริฐเลิศคุณค่า", "chi": "新闻联播", "jpn": "いろはにほへとちりぬるを", "kor": "키스의 고유조건은 입술끼리 만나야 하고",
}  # fmt: skip

# Parts whose places of marks are read as marks, or that differ from the edition of this project.
UNSURE_PARTS = {6, 16}


def in_default_table(text: str) -> bytes | None:
    """The text with its marks before the letters, or None where the default table cannot say it."""
    result = bytearray()
    for character in text:
        if character.isascii() and character >= " ":
            result.append(ord(character))
            continue
        place = next((0xA0 + at for at, c in enumerate(DEFAULT_UPPER_HALF) if c == character and 0xA0 + at not in MARK_BYTES), None)
        if place is not None and character != "?":
            result.append(place)
            continue
        pair = next(((mark, base) for mark in MARK_BYTES for base in letters() if compose_latin(mark, base)[0] == character), None)
        if pair is None:
            return None
        result += bytes([pair[0], ord(pair[1])])
    return bytes(result)


def add_sentences(cases: Cases) -> None:
    for language, sentence in SENTENCES.items():
        cases.add(f"text-{language}-utf8", b"\x15" + sentence.encode(), A2, text=sentence)
        cases.add(f"text-{language}-two-byte", b"\x11" + sentence.encode("utf-16-be"), A2, text=sentence)
        default = in_default_table(sentence)
        if default is not None:
            cases.add(f"text-{language}-default", default, A2, text=sentence)
        for part in range(1, 16):
            if part == 12 or part in UNSURE_PARTS:
                continue
            try:
                data = sentence.encode(f"iso8859_{part}")
            except UnicodeEncodeError:
                continue
            cases.add(f"text-{language}-part-{part}", selector_of(part) + data, A2, text=sentence)
            cases.add(f"text-{language}-default-code-{part}", data, A2, {"defaultCode": part}, text=sentence)


# ---- Compressed text ----

Codes = dict[int, dict[int, str]]
ESCAPE, END = 0x1B, 0


def read_codes(number: int) -> Codes:
    """The readable form of src/tables/context_tree.h."""
    source = (HERE.parent / "src/tables" / f"huffman_dvb{number}.h").read_text()
    names = {"START": 0, "SP": 0x20, "ESC": ESCAPE, "END": END}
    codes: Codes = {}
    contexts: list[int] = []
    for line in re.search(r'R"codes\(\n(.*?)\)codes"', source, re.S).group(1).splitlines():
        if not line.startswith(" "):
            name, line = line.split(None, 1)
            if re.fullmatch("[0-9A-F]{2}-[0-9A-F]{2}", name):
                contexts = list(range(int(name[:2], 16), int(name[3:], 16) + 1))
            elif re.fullmatch("[0-9A-F]{2}", name):
                contexts = [int(name, 16)]
            else:
                contexts = [names[name] if name in names else ord(name)]
            codes |= {context: {} for context in contexts}
        for word in line.split():
            name, code = word.rsplit("=", 1)
            character = names[name] if name in names else int(name, 16) if re.fullmatch("[0-9A-F]{2}", name) else ord(name)
            for context in contexts:
                codes[context][character] = code
    return codes


def compress(codes: Codes, text: str) -> str:
    bits, before = "", 0
    for byte in text.encode() + b"\0":
        if before >= 0x80:
            bits += f"{byte:08b}"
        elif byte in codes[before] and byte != ESCAPE:
            bits += codes[before][byte]
        else:
            bits += codes[before][ESCAPE] + f"{byte:08b}"
        before = byte
    return bits


def add_compressed(cases: Cases) -> None:
    texts = ["News", "BBC News at Ten", "EastEnders", "The One Show: Live from London.", "Café", "Weather for the Week Ahead",
             "Film: 101 Dalmatians (1961)", "A comedy drama series. [S] [AD]", "0123456789", "New: Sunday 9pm & later", "Łódź"]  # fmt: skip
    for number in (1, 2):
        codes = read_codes(number)
        for text in texts:
            bits = compress(codes, text)
            whole = bytes([0x1F, number]) + int(bits.ljust((len(bits) + 7) // 8 * 8, "0"), 2).to_bytes((len(bits) + 7) // 8, "big")
            decoded = {"text": text, "table": "compressed text", "reason": "selector", "findings": [], "deviations": []}
            cases.put(f"compressed-{number}", whole, A2, {}, decoded, set())
            rest = {"kind": "compressed-rest", "offset": len(whole), "length": 2, "textOffset": len(text.encode()), "textLength": 0, "value": 0}
            cases.put(f"compressed-{number}-rest", whole + b"AB", A2, {}, {**decoded, "findings": [rest]}, set())


def main() -> int:
    cases = Cases()
    for add in (add_tables, add_marks, add_controls, add_selectors, add_defaults, add_unicode, add_sentences, add_compressed):
        add(cases)
    lines = ",\n".join(json.dumps(case, ensure_ascii=False, separators=(",", ":")) for case in cases.cases)
    used = {deviation for case in cases.cases for deviation in case["deviations"]}
    head = json.dumps({name: DEVIATIONS[name] for name in DEVIATIONS if name in used}, ensure_ascii=False, indent=1)
    content = '{\n"format": 1,\n"standard": "ETSI EN 300 468, Annex A",\n"deviations": ' + head + ',\n"cases": [\n' + lines + "\n]\n}\n"
    stored = HERE / "annex-a.json"
    if "--check" in sys.argv:
        return 0 if stored.read_text() == content else "annex-a.json is not what make_vectors.py writes"
    stored.write_text(content)
    return 0


if __name__ == "__main__":
    sys.exit(main())
