"""Text of digital television: decoded with evidence, checked by rules, guessed, encoded.

Single strings are decoded, explained, checked and encoded here; zelk.arrow does it by the column. Strings are bytes as
broadcast (ETSI EN 300 468 Annex A). Wrong arguments are a ValueError or a TypeError; no byte sequence is.
"""

from __future__ import annotations

from ctypes import byref, create_string_buffer
from dataclasses import dataclass
from typing import Optional, Union

from . import _library as c
from ._library import Code

__all__ = ["Code", "Explanation", "Fault", "Finding", "Guess", "decode", "encode", "explain", "guess", "lint"]

Data = Union[bytes, bytearray, memoryview]
_LONGEST = 89478485  # what comes of a string is counted by an int


@dataclass(frozen=True)
class Finding:
    """One thing that was found: offsets and lengths are bytes of the string, and of the text's UTF-8."""

    kind: str
    severity: str
    offset: int
    length: int
    text_offset: int
    text_length: int
    value: int


@dataclass(frozen=True)
class Fault(Finding):
    """A finding with the clause of the standard that it rests on, and a sentence about it."""

    clause: str
    meaning: str


@dataclass(frozen=True)
class Explanation:
    """A text, the table that it was read with, on whose word, and what was found."""

    text: str
    table: str
    code: int
    reason: str
    selector_length: int
    severity: str
    findings: tuple[Finding, ...]


@dataclass(frozen=True)
class Guess:
    """A table that a string may be in; the confidence is from 0 to 1."""

    table: str
    confidence: float
    language: str
    announced: bool


def _bytes_of(data: Data) -> bytes:
    if not isinstance(data, (bytes, bytearray, memoryview)):
        raise TypeError(f"expected bytes, found {type(data).__name__}")
    count = data.nbytes if isinstance(data, memoryview) else len(data)
    if count > _LONGEST:
        raise ValueError(f"expected at most {_LONGEST} bytes, found {count}")
    return bytes(data)  # which end with a zero byte, as the library wants it


def _language_of(language: Optional[str]) -> Optional[bytes]:
    return None if language is None else c.text_of("language", language).encode("ascii")


def _decode(data: bytes, settings: c.Settings, evidence: c.Evidence | None) -> str:
    size = c.decode_size(byref(settings), data, len(data))
    out = create_string_buffer(size)
    length = c.decode(byref(settings), out, size, data, len(data), None if evidence is None else byref(evidence))
    return out.raw[:length].decode("utf-8")


def decode(
    data: Data,
    region: Code = "standard",
    default: Code = "none",
    *,
    extra: int = 0,
    keep_emphasis: bool = False,
    ignore_selector: bool = False,
    guess_table: bool = False,
) -> str:
    """Decodes a DVB string.

    `region` is the receiver's regional setting; `default` what a string without a selector is coded in, with the
    encoding type `extra` where that is "compressed". Both take the names of the command-line tool, and numbers.
    """
    return _decode(
        _bytes_of(data),
        c.settings_of(region, default, extra, keep_emphasis, ignore_selector, guess_table),
        None,
    )


def explain(
    data: Data,
    region: Code = "standard",
    default: Code = "none",
    *,
    extra: int = 0,
    keep_emphasis: bool = False,
    ignore_selector: bool = False,
    guess_table: bool = False,
) -> Explanation:
    """Decodes a DVB string as decode() does, and says what was found."""
    string = _bytes_of(data)
    settings = c.settings_of(region, default, extra, keep_emphasis, ignore_selector, guess_table)
    room = 16
    while True:
        findings = (c.Finding * room)()
        evidence = c.Evidence(findings=findings, finding_room=room)
        text = _decode(string, settings, evidence)
        if evidence.finding_count <= room:
            break
        room = evidence.finding_count
    return Explanation(
        text,
        c.table_name(evidence.table).decode(),
        evidence.code,
        c.REASONS[evidence.reason],
        evidence.selector_length,
        c.SEVERITIES[evidence.severity],
        tuple(Finding(*_fields_of(findings[i])) for i in range(evidence.finding_count)),
    )


def _fields_of(found: c.Finding) -> tuple[str, str, int, int, int, int, int]:
    return (
        c.rule_name(found.kind).decode(),
        c.SEVERITIES[found.severity],
        found.offset,
        found.length,
        found.text_offset,
        found.text_length,
        found.value,
    )


def lint(
    data: Data,
    region: Code = "standard",
    default: Code = "none",
    *,
    extra: int = 0,
    language: Optional[str] = None,
) -> tuple[Fault, ...]:
    """Checks a DVB string by rules. `language` is the ISO 639 code that the broadcast gives, where it gives one."""
    string = _bytes_of(data)
    settings = c.settings_of(region, default, extra, False, False, False)
    room = 16
    while True:
        faults = (c.Finding * room)()
        count = c.lint(byref(settings), string, len(string), _language_of(language), faults, room)
        if count <= room:
            break
        room = count
    return tuple(
        Fault(
            *_fields_of(faults[i]),
            clause=c.rule_clause(faults[i].kind).decode(),
            meaning=c.rule_meaning(faults[i].kind).decode(),
        )
        for i in range(count)
    )


def guess(
    data: Data,
    region: Code = "standard",
    default: Code = "none",
    *,
    extra: int = 0,
    language: Optional[str] = None,
) -> tuple[Guess, ...]:
    """Ranks the tables that a DVB string may be in, best first."""
    string = _bytes_of(data)
    settings = c.settings_of(region, default, extra, False, False, False)
    guesses = (c.Guess * 32)()
    count = c.guess(byref(settings), string, len(string), _language_of(language), guesses, len(guesses))
    return tuple(
        Guess(c.table_name(one.table).decode(), one.confidence / 10000, one.language.decode(), one.announced != 0)
        for one in guesses[:count]
    )


def encode(
    text: str,
    region: Code = "standard",
    *,
    forms: int = 0,
    prefer_utf8: bool = False,
    most_bytes: Optional[int] = None,
    errors: str = "strict",
) -> bytes:
    """Encodes a text as a DVB string, in the shortest form that says it exactly.

    `forms` limits the choice (the bits of ZelkInsightFormDefault and its kin, 0 for the standard's). A character that
    no form says, or a text beyond `most_bytes`, is a ValueError; with errors="replace" it becomes a question mark, and
    the text is cut.
    """
    if errors not in ("strict", "replace"):
        raise ValueError(f"expected errors 'strict' or 'replace', found {errors!r}")
    most = None if most_bytes is None else c.integer("most_bytes", most_bytes, 0)
    data = _bytes_of(c.text_of("text", text).encode("utf-8", "replace" if errors == "replace" else "strict"))
    size = 4 * len(data) + 16
    if most is not None:
        size = min(size, most + 1)
    settings = c.EncodeSettings(c.number_of(c.REGIONS, "region", region), c.forms_of(forms), 1 if prefer_utf8 else 0)
    out = create_string_buffer(size)
    encoded = c.Encoded()
    length = c.encode(byref(settings), out, size, data, len(data), byref(encoded))
    if errors == "strict" and encoded.unsaid:
        place = len(data[: encoded.first_unsaid].decode("utf-8"))
        raise ValueError(f"no allowed form says {text[place]!r} at {place}")
    if errors == "strict" and encoded.used < len(data):
        raise ValueError(f"the text does not fit {most} bytes")
    return out.raw[:length]
