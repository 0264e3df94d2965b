"""Columns of strings in one call, by the Arrow PyCapsule interface.

Every function takes any object with `__arrow_c_array__` or `__arrow_c_stream__` (columns of pyarrow, polars and pandas,
relations of DuckDB with one column) and gives a Column, which these libraries take as well: `pyarrow.array(column)`,
`pyarrow.chunked_array(column)`, `polars.Series(column)`. Nothing is copied on the way, and none of them is needed.
"""

from __future__ import annotations

from concurrent.futures import ThreadPoolExecutor
from ctypes import POINTER, Structure, byref, c_void_p, cast, pointer
from typing import Any, Callable, Iterable, Optional, Sequence, Union

from . import _library as c
from ._library import Code

__all__ = ["Column", "convert", "decode", "encode", "match", "sort_keys"]

DECODED = ("text", "table", "code", "findings", "first_finding", "guessed_table", "confidence", "sort_key")
ENCODED = ("bytes", "table", "unsaid", "used")
Names = Union[str, Sequence[str]]
Tell = Callable[[int, int], object]

_LARGE = 1
_GROW = 2
_STATUS_NO_MEMORY = 1
_STATUS_WRONG_TYPE = 2
_STATUS_TOO_LARGE = 4


class Column:
    """A result. It may be handed out any number of times."""

    def __init__(self, arrays: Sequence[c.ArrowArray], schema: c.ArrowSchema) -> None:
        chunks = (c.ArrowArray * len(arrays))(*arrays)
        self._length = sum(int(array.length) for array in arrays)
        self._chunks = len(arrays)
        self._result = c.result(chunks, len(arrays), byref(schema))
        if not self._result:
            raise MemoryError

    def __len__(self) -> int:
        return self._length

    def __arrow_c_schema__(self) -> object:
        return c.schema_capsule(self._result)

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        if self._chunks != 1:
            raise ValueError(f"expected one chunk, found {self._chunks}: take the column as a stream")
        return c.schema_capsule(self._result), c.array_capsule(self._result, 0)

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return c.stream_capsule(self._result)

    def __del__(self) -> None:
        if getattr(self, "_result", None):
            c.drop(self._result)


class _Input:
    """A column of the caller: its type and its chunks, read in place."""

    def __init__(self, column: object, what: str) -> None:
        self._owned: list[Any] = []
        self._capsules: Any = None
        self.chunks: list[c.ArrowArray] = []
        if hasattr(column, "__arrow_c_array__"):
            self._capsules = column.__arrow_c_array__()
            self.schema = cast(c.pointer_of(self._capsules[0], b"arrow_schema"), POINTER(c.ArrowSchema)).contents
            self.chunks.append(cast(c.pointer_of(self._capsules[1], b"arrow_array"), POINTER(c.ArrowArray)).contents)
        elif hasattr(column, "__arrow_c_stream__"):
            self._read_stream(column.__arrow_c_stream__(), what)
        else:
            raise TypeError(f"expected a column with the Arrow PyCapsule interface for {what}, found {type(column)}")
        if self.schema.format == b"+s":
            self._take_only_child(what)
        self.length = sum(int(chunk.length) for chunk in self.chunks)

    def _read_stream(self, capsule: object, what: str) -> None:
        self._capsules = capsule
        stream = cast(c.pointer_of(capsule, b"arrow_array_stream"), POINTER(c.ArrowArrayStream))
        self.schema = c.ArrowSchema()
        self._check(stream, stream.contents.get_schema(stream, byref(self.schema)), what)
        self._owned.append(self.schema)
        while True:
            array = c.ArrowArray()
            self._check(stream, stream.contents.get_next(stream, byref(array)), what)
            if not array.release:
                break
            self._owned.append(array)
            self.chunks.append(array)

    @staticmethod
    def _check(stream: Any, error: int, what: str) -> None:
        if error:
            message = stream.contents.get_last_error(stream) or b""
            raise ValueError(f"the stream of {what} failed: {message.decode('utf-8', 'replace')} ({error})")

    # A relation with one column is that column.
    def _take_only_child(self, what: str) -> None:
        if self.schema.n_children != 1:
            raise ValueError(f"expected one column for {what}, found {self.schema.n_children}")
        self._parent = self.schema
        self.schema = self.schema.children[0].contents
        children = []
        for chunk in self.chunks:
            child = _copy(chunk.children[0].contents)
            child.offset += chunk.offset
            child.length = chunk.length
            children.append(child)
        self._parents, self.chunks = self.chunks, children

    def piece(self, begin: int, end: int) -> c.ArrowArray:
        """The rows from `begin` to `end`, which lie in one chunk."""
        for chunk in self.chunks:
            if begin < chunk.length or (begin == end and begin == chunk.length):
                piece = _copy(chunk)
                piece.offset += begin
                piece.length = end - begin
                piece.null_count = -1 if chunk.null_count else 0
                return piece
            begin -= chunk.length
            end -= chunk.length
        raise IndexError(begin)

    def ends(self) -> Iterable[int]:
        end = 0
        for chunk in self.chunks:
            end += int(chunk.length)
            yield end

    def __del__(self) -> None:
        for structure in self._owned:
            structure.release(byref(structure))


def _copy(array: c.ArrowArray) -> c.ArrowArray:
    return c.ArrowArray.from_buffer_copy(array)


def _bits(names: Names, known: Sequence[str]) -> int:
    bits = 0
    for name in [names] if isinstance(names, str) else names:
        if name not in known:
            raise ValueError(f"expected columns of {', '.join(known)}, found {name!r}")
        bits |= 1 << known.index(name)
    if not bits:
        raise ValueError("expected at least one column")
    return bits


_STEP = 65536


# Calls `work(piece, begin, end)` in pieces of one chunk each, on so many threads, and joins what comes out.
def _run(
    settings: Structure,
    column: object,
    beside: dict[str, object],
    large: bool,
    threads: int,
    progress: Optional[Tell],
) -> Column:
    if threads < 1:
        raise ValueError(f"expected threads of 1 or more, found {threads}")
    source = _Input(column, "the strings")
    others = {name: _Input(other, name) for name, other in beside.items()}
    for name, other in others.items():
        if other.length != source.length:
            raise ValueError(f"expected {source.length} rows for {name}, found {other.length}")
    ends = sorted({end for one in (source, *others.values()) for end in one.ends() if end} or {0})
    if threads > 1:
        share = max(_STEP, -(-source.length // threads))
        ends = sorted({*ends, *range(share, source.length, share)})
    begins = [0, *ends[:-1]]
    only = len(ends) == 1
    raised: list[BaseException] = []
    done = [0] * len(ends)

    def one(number: int) -> tuple[c.ArrowSchema, c.ArrowArray]:
        begin, end = begins[number], ends[number]

        def tell(rows: int, _all: int, _context: Any) -> int:
            done[number] = rows
            try:
                if progress is not None:
                    progress(sum(done), source.length)
                return 1 if raised else 0
            except BaseException as exception:  # comes back from the call, which it stops
                raised.append(exception)
                return 1

        mine = type(settings).from_buffer_copy(settings)
        callback = c.Progress(tell)
        if progress is not None:
            mine.output.progress = callback
        mine.output.options = _LARGE if large else _GROW if only else 0
        kept = []
        for name, other in others.items():
            piece = other.piece(begin, end)
            kept.append(piece)
            setattr(mine, name, c.ColumnPair(pointer(other.schema), pointer(piece)))
        strings = source.piece(begin, end) if source.chunks else c.ArrowArray()
        schema, array = c.ArrowSchema(), c.ArrowArray()
        status = c.batch[type(settings)](byref(mine), byref(source.schema), byref(strings), byref(schema), byref(array))
        if raised:
            _release(schema, array)
            raise raised[0]
        _raise_for(status)
        return schema, array

    results: list[tuple[c.ArrowSchema, c.ArrowArray]] = []
    try:
        if threads > 1 and not only:
            with ThreadPoolExecutor(threads) as pool:
                futures = [pool.submit(one, number) for number in range(len(ends))]
                failure: Optional[BaseException] = None
                for future in futures:
                    try:
                        results.append(future.result())
                    except BaseException as exception:
                        failure = failure or exception
                if failure is not None:
                    raise failure
        else:
            for number in range(len(ends)):
                results.append(one(number))
    except BaseException:
        for schema, array in results:
            _release(schema, array)
        raise
    for schema, _array in results[1:]:
        schema.release(byref(schema))
    return Column([array for _schema, array in results], results[0][0])


def _release(*structures: Any) -> None:
    for structure in structures:
        if structure.release:
            structure.release(byref(structure))


def _raise_for(status: int) -> None:
    if not status:
        return
    message = c.status_text(status).decode()
    if status == _STATUS_NO_MEMORY:
        raise MemoryError(message)
    if status == _STATUS_WRONG_TYPE:
        raise TypeError(message)
    raise ValueError(message + (": pass large=True" if status == _STATUS_TOO_LARGE else ""))


def decode(
    column: object,
    columns: Names = "text",
    *,
    region: Union[Code, object] = "standard",
    default: Union[Code, object] = "none",
    flags: Union[int, object] = 0,
    extra: int = 0,
    ignore_selector: bool = False,
    guess_table: bool = False,
    large: bool = False,
    threads: int = 1,
    progress: Optional[Tell] = None,
) -> Column:
    """Decodes a column of DVB strings, each as zelk.decode() does.

    `columns` is one name of DECODED for a plain column, or several for a struct of them. `region`, `default` and
    `flags` may be columns of integers, too, beside the strings. `large` takes 64-bit offsets, which texts of more than
    2 GiB need; a column of one chunk takes them by itself. `progress(done, rows)` is called every 65536 rows.
    """
    beside: dict[str, object] = {}

    def scalar(name: str, value: Any, names: dict[str, int]) -> int:
        if isinstance(value, (int, str)):
            return c.number_of(names, name, value)
        beside[{"region": "char_sets", "default": "default_codes", "flags": "flags"}[name]] = value
        return {"region": 1, "default": 18, "flags": 0}[name]

    reading = c.Settings(
        scalar("region", region, c.REGIONS),
        scalar("default", default, c.CODES),
        extra,
        scalar("flags", flags, {}),
        (c.IGNORE_SELECTOR if ignore_selector else 0) | (c.GUESS_TABLE if guess_table else 0),
    )
    settings = c.ArrowDecodeSettings(columns=_bits(columns, DECODED), reading=reading)
    return _run(settings, column, beside, large, threads, progress)


def encode(
    column: object,
    columns: Names = "bytes",
    *,
    region: Code = "standard",
    forms: int = 0,
    prefer_utf8: bool = False,
    most_bytes: int = 0,
    large: bool = False,
    threads: int = 1,
    progress: Optional[Tell] = None,
) -> Column:
    """Encodes a column of texts as DVB strings; `columns` are names of ENCODED. What cannot be said is counted."""
    sending = c.EncodeSettings(c.number_of(c.REGIONS, "region", region), forms, 1 if prefer_utf8 else 0)
    settings = c.ArrowEncodeSettings(columns=_bits(columns, ENCODED), sending=sending, most_bytes=most_bytes)
    return _run(settings, column, {}, large, threads, progress)


def convert(
    column: object, source: str, *, large: bool = False, threads: int = 1, progress: Optional[Tell] = None
) -> Column:
    """Converts a column of bytes to text: `source` is iso8859-1 to -16, cp1250 and its kin, utf-16be or utf-16le."""
    for prefix, kind in (("iso8859-", 0), ("cp", 1)):
        if source.startswith(prefix) and source[len(prefix) :].isdecimal():
            settings = c.ArrowConvertSettings(kind, int(source[len(prefix) :]))
            break
    else:
        if source not in ("utf-16be", "utf-16le"):
            raise ValueError(f"expected iso8859-1, cp1250, utf-16be, utf-16le or their kin, found {source!r}")
        settings = c.ArrowConvertSettings(2 if source == "utf-16be" else 3, 0)
    return _run(settings, column, {}, large, threads, progress)


def sort_keys(
    column: object,
    *,
    natural: bool = False,
    large: bool = False,
    threads: int = 1,
    progress: Optional[Tell] = None,
) -> Column:
    """Makes keys whose bytes order the texts; with `natural`, "BBC 2" is before "BBC 10"."""
    return _run(c.ArrowSortKeySettings(1 if natural else 0), column, {}, large, threads, progress)


def match(
    column: object,
    pattern: str,
    *,
    ignore_case: bool = False,
    ignore_controls: bool = False,
    threads: int = 1,
    progress: Optional[Tell] = None,
) -> Column:
    """Matches texts against a pattern: `*` stands for any bytes, `?` for one. A column of booleans."""
    options = (1 if ignore_case else 0) | (2 if ignore_controls else 0)
    return _run(c.ArrowMatchSettings(pattern.encode(), options), column, {}, False, threads, progress)
