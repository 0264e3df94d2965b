"""The C interface by ctypes: its records, its functions, and the names of its numbers. A call releases the GIL."""

from __future__ import annotations

import ctypes
import operator
from ctypes import POINTER, Structure, c_char, c_char_p, c_int, c_int64, c_size_t, c_uint, c_void_p, py_object
from pathlib import Path
from typing import Any, Mapping, SupportsIndex, Union

_path = str(Path(__file__).with_name("_zelk.so"))
library = ctypes.CDLL(_path)
_python = ctypes.PyDLL(_path)  # keeps the GIL: what makes objects of Python


class Settings(Structure):
    _fields_ = [
        ("char_set", c_int),
        ("default_code", c_int),
        ("default_extra", c_int),
        ("flags", c_uint),
        ("options", c_uint),
    ]


class Finding(Structure):
    """A finding and a fault alike: the kind of the one is the rule of the other."""

    _fields_ = [
        ("kind", c_uint),
        ("severity", c_int),
        ("offset", c_uint),
        ("length", c_uint),
        ("text_offset", c_uint),
        ("text_length", c_uint),
        ("value", c_uint),
    ]


class Evidence(Structure):
    _fields_ = [
        ("findings", POINTER(Finding)),
        ("finding_room", c_uint),
        ("steps", c_void_p),
        ("step_room", c_uint),
        ("finding_count", c_uint),
        ("step_count", c_uint),
        ("severity", c_int),
        ("char_set", c_int),
        ("code", c_int),
        ("extra", c_int),
        ("table", c_int),
        ("reason", c_int),
        ("selector_length", c_uint),
    ]


class Guess(Structure):
    _fields_ = [("table", c_int), ("confidence", c_uint), ("language", c_char * 4), ("announced", c_int)]


class EncodeSettings(Structure):
    _fields_ = [("char_set", c_int), ("forms", c_uint), ("options", c_uint)]


class Encoded(Structure):
    _fields_ = [
        ("form", c_uint),
        ("code", c_int),
        ("extra", c_int),
        ("table", c_int),
        ("selector_length", c_uint),
        ("used", c_uint),
        ("unsaid", c_uint),
        ("first_unsaid", c_uint),
    ]


class ArrowSchema(Structure):
    pass


class ArrowArray(Structure):
    pass


class ArrowArrayStream(Structure):
    pass


ArrowSchema._fields_ = [
    ("format", c_char_p),
    ("name", c_char_p),
    ("metadata", c_char_p),
    ("flags", c_int64),
    ("n_children", c_int64),
    ("children", POINTER(POINTER(ArrowSchema))),
    ("dictionary", POINTER(ArrowSchema)),
    ("release", ctypes.CFUNCTYPE(None, POINTER(ArrowSchema))),
    ("private_data", c_void_p),
]
ArrowArray._fields_ = [
    ("length", c_int64),
    ("null_count", c_int64),
    ("offset", c_int64),
    ("n_buffers", c_int64),
    ("n_children", c_int64),
    ("buffers", POINTER(c_void_p)),
    ("children", POINTER(POINTER(ArrowArray))),
    ("dictionary", POINTER(ArrowArray)),
    ("release", ctypes.CFUNCTYPE(None, POINTER(ArrowArray))),
    ("private_data", c_void_p),
]
ArrowArrayStream._fields_ = [
    ("get_schema", ctypes.CFUNCTYPE(c_int, POINTER(ArrowArrayStream), POINTER(ArrowSchema))),
    ("get_next", ctypes.CFUNCTYPE(c_int, POINTER(ArrowArrayStream), POINTER(ArrowArray))),
    ("get_last_error", ctypes.CFUNCTYPE(c_char_p, POINTER(ArrowArrayStream))),
    ("release", ctypes.CFUNCTYPE(None, POINTER(ArrowArrayStream))),
    ("private_data", c_void_p),
]

Progress = ctypes.CFUNCTYPE(c_int, c_int64, c_int64, c_void_p)


class Output(Structure):
    _fields_ = [("options", c_uint), ("progress", Progress), ("context", c_void_p)]


class ColumnPair(Structure):
    _fields_ = [("schema", POINTER(ArrowSchema)), ("array", POINTER(ArrowArray))]


class ArrowDecodeSettings(Structure):
    _fields_ = [
        ("columns", c_uint),
        ("reading", Settings),
        ("char_sets", ColumnPair),
        ("default_codes", ColumnPair),
        ("flags", ColumnPair),
        ("output", Output),
    ]


class ArrowEncodeSettings(Structure):
    _fields_ = [("columns", c_uint), ("sending", EncodeSettings), ("most_bytes", c_int), ("output", Output)]


class ArrowConvertSettings(Structure):
    _fields_ = [("set", c_int), ("number", c_int), ("output", Output)]


class ArrowSortKeySettings(Structure):
    _fields_ = [("options", c_uint), ("output", Output)]


class ArrowMatchSettings(Structure):
    _fields_ = [("pattern", c_char_p), ("options", c_uint), ("output", Output)]


def _declare(name: str, result: Any, *arguments: Any, of: ctypes.CDLL = library) -> Any:
    function = getattr(of, name)
    function.restype = result
    function.argtypes = arguments
    return function


_settings = POINTER(Settings)
decode = _declare("zelkInsightDecode", c_uint, _settings, c_void_p, c_int, c_char_p, c_int, POINTER(Evidence))
decode_size = _declare("zelkInsightDecodeSize", c_int, _settings, c_char_p, c_int)
lint = _declare("zelkInsightLint", c_uint, _settings, c_char_p, c_int, c_char_p, POINTER(Finding), c_uint)
guess = _declare("zelkInsightGuessTables", c_uint, _settings, c_char_p, c_int, c_char_p, POINTER(Guess), c_uint)
encode = _declare(
    "zelkInsightEncode", c_uint, POINTER(EncodeSettings), c_void_p, c_int, c_char_p, c_int, POINTER(Encoded)
)
table_name = _declare("zelkInsightTableName", c_char_p, c_int)
rule_name = _declare("zelkInsightRuleName", c_char_p, c_uint)
rule_clause = _declare("zelkInsightRuleClause", c_char_p, c_uint)
rule_meaning = _declare("zelkInsightRuleMeaning", c_char_p, c_uint)
status_text = _declare("zelkArrowStatusText", c_char_p, c_int)

_columns = (POINTER(ArrowSchema), POINTER(ArrowArray), POINTER(ArrowSchema), POINTER(ArrowArray))
batch: Mapping[type[Structure], Any] = {
    settings: _declare(name, c_int, POINTER(settings), *_columns)
    for settings, name in (
        (ArrowDecodeSettings, "zelkArrowDecode"),
        (ArrowEncodeSettings, "zelkArrowEncode"),
        (ArrowConvertSettings, "zelkArrowConvert"),
        (ArrowSortKeySettings, "zelkArrowSortKeys"),
        (ArrowMatchSettings, "zelkArrowMatch"),
    )
}

tell_progress = Progress(("zelkPythonTell", library))
result = _declare("zelkPythonResult", c_void_p, POINTER(ArrowArray), c_size_t, POINTER(ArrowSchema))
drop = _declare("zelkPythonDrop", None, c_void_p)
join = _declare("zelkPythonJoin", c_int, c_void_p, POINTER(c_void_p))
schema_capsule = _declare("zelkPythonSchemaCapsule", py_object, c_void_p, of=_python)
array_capsule = _declare("zelkPythonArrayCapsule", py_object, c_void_p, c_size_t, of=_python)
stream_capsule = _declare("zelkPythonStreamCapsule", py_object, c_void_p, of=_python)

_capsule_pointer = ctypes.pythonapi.PyCapsule_GetPointer
_capsule_pointer.restype = c_void_p
_capsule_pointer.argtypes = (py_object, c_char_p)


def pointer_of(capsule: object, name: bytes) -> int:
    """The pointer in a capsule; a ValueError where the capsule holds something else."""
    return int(_capsule_pointer(capsule, name))


Code = Union[SupportsIndex, str]

REGIONS = {
    name: number
    for number, name in enumerate(
        ("iso8859-9", "standard", "iso8859-2", "iso8859-7", "iso8859-9-alt", "iso8859-15", "gb2312")
    )
}
CODES = {"default": 0, "none": 18, "prepared": 19, "ucs-2": 20, "utf-8": 21, "compressed": 22} | {
    f"iso8859-{part}": part for part in range(1, 17)
}
SEVERITIES = ("note", "warning", "error")
REASONS = ("default", "default-code", "selector", "region", "override", "guess")
KEEP_EMPHASIS = 1
IGNORE_SELECTOR = 1
GUESS_TABLE = 4


def integer(what: str, value: SupportsIndex, lowest: int = -(2**31), highest: int = 2**31 - 1) -> int:
    """An integer of any kind that the C interface holds: ctypes cuts others off."""
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"expected an integer for {what}, found {type(value).__name__}") from None
    if not lowest <= number <= highest:
        raise ValueError(f"expected {what} from {lowest} to {highest}, found {number}")
    return number


def number_of(names: Mapping[str, int], what: str, value: Code) -> int:
    """A number as it is, a name as its number."""
    if not isinstance(value, str):
        return integer(what, value)
    if value not in names:
        raise ValueError(f"expected {what} to be a number, or one of {', '.join(names)}; found {value!r}")
    return names[value]


def text_of(what: str, value: str) -> str:
    if not isinstance(value, str):
        raise TypeError(f"expected a str for {what}, found {type(value).__name__}")
    return value


# The bits of ZelkInsightFormDefault and its kin; there is no ISO 8859-12.
FORMS = 0x00F1EFFF


def forms_of(forms: SupportsIndex) -> int:
    number = integer("forms", forms, 0, 2**32 - 1)
    if number & ~FORMS:
        raise ValueError(f"expected forms of the bits 0x{FORMS:08x}, found 0x{number:08x}")
    return number


def settings_of(
    region: Code, default: Code, extra: int, keep_emphasis: bool, ignore_selector: bool, guess_table: bool
) -> Settings:
    return Settings(
        number_of(REGIONS, "region", region),
        number_of(CODES, "default", default),
        integer("extra", extra),
        KEEP_EMPHASIS if keep_emphasis else 0,
        (IGNORE_SELECTOR if ignore_selector else 0) | (GUESS_TABLE if guess_table else 0),
    )
