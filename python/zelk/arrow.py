"""Columns of strings in one call, by the Arrow PyCapsule interface.

Every function takes any object with `__arrow_c_array__` or `__arrow_c_stream__` (columns of pyarrow, polars and pandas,
relations of DuckDB with one column) and gives a Column, which these libraries take as well: `pyarrow.array(column)`,
`pyarrow.chunked_array(column)`, `polars.Series(column)`. Nothing is copied on the way, but to join the chunks of a
result for those that take one array; and none of them is needed.
"""

from __future__ import annotations

from concurrent.futures import FIRST_EXCEPTION, ThreadPoolExecutor, wait
from ctypes import POINTER, Structure, byref, c_void_p, cast, pointer, py_object, string_at
from threading import Lock
from typing import Any, Callable, Iterable, Optional, Sequence, SupportsIndex, Union

from . import _library as c
from ._library import Code

__all__ = ["Column", "convert", "decode", "encode", "match", "sort_keys"]

DECODED = ("text", "table", "code", "findings", "first_finding", "guessed_table", "confidence", "sort_key")
ENCODED = ("bytes", "table", "unsaid", "used")
SETS = (
    {f"iso8859-{part}": (0, part) for part in (1, 2, 3, 4, 5, 7, 9, 10, 13, 14, 15, 16)}
    | {f"cp{page}": (1, page) for page in (1250, 1251, 1252, 1253, 1254, 1257)}
    | {"utf-16be": (2, 0), "utf-16le": (3, 0)}
)
Names = Union[str, Sequence[str]]
Tell = Callable[[int, int], object]

_LARGE = 1
_GROW = 2
_STATUS_NO_MEMORY = 1
_STATUS_WRONG_TYPE = 2
_STATUS_TOO_LARGE = 4


class Column:
    """A result. It may be handed out any number of times, and never changes."""

    def __init__(self, arrays: Sequence[c.ArrowArray], schema: c.ArrowSchema) -> None:
        chunks = (c.ArrowArray * len(arrays))(*arrays)
        self._length = sum(int(array.length) for array in arrays)
        self._chunks = len(arrays)
        self._joining = Lock()
        self._result = c.result(chunks, len(arrays), byref(schema))
        if not self._result:
            raise MemoryError

    def __len__(self) -> int:
        return self._length

    def __arrow_c_schema__(self) -> object:
        with self._joining:
            return c.schema_capsule(self._result)

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        with self._joining:
            if self._chunks != 1:
                joined = c_void_p()
                _raise_for(c.join(self._result, byref(joined)), ": take the column as a stream, or pass large=True")
                c.drop(self._result)
                self._result, self._chunks = joined.value, 1
        return c.schema_capsule(self._result), c.array_capsule(self._result, 0)

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        with self._joining:
            return c.stream_capsule(self._result)

    def __copy__(self) -> Column:
        return self

    def __deepcopy__(self, _memo: object) -> Column:
        return self

    def __reduce__(self) -> str:
        raise TypeError("a Column is not pickled: make a column of pyarrow or polars of it")

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
            self._require_kept(what, self.schema, self.chunks[0])
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
        self._require_kept(what, stream.contents)
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

    # Whoever takes over what is in a capsule sets its release to null.
    @staticmethod
    def _require_kept(what: str, *structures: Any) -> None:
        if not all(structure.release for structure in structures):
            raise ValueError(f"the capsule of {what} has been used before")

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
            if _has_nulls(chunk):
                raise TypeError(f"expected no null among the structs of {what}: take their field as a column")
            child = _copy(chunk.children[0].contents)
            child.offset += chunk.offset
            child.length = chunk.length
            children.append(child)
        self._parents, self.chunks = self.chunks, children

    def piece(self, begin: int, end: int) -> c.ArrowArray:
        """The rows from `begin` to `end`, which lie in one chunk."""
        if begin == end:
            return c.ArrowArray()
        for chunk in self.chunks:
            if begin < chunk.length:
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


def _has_nulls(array: c.ArrowArray) -> bool:
    if array.null_count == 0 or not array.buffers or not array.buffers[0]:
        return False
    end = array.offset + array.length
    bits = int.from_bytes(string_at(array.buffers[0], (end + 7) // 8), "little")
    return bool((bits & ((1 << end) - 1)) >> array.offset != (1 << array.length) - 1)


def _is_column(value: object) -> bool:
    return hasattr(value, "__arrow_c_array__") or hasattr(value, "__arrow_c_stream__")


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


# Calls the function of `settings` for pieces of one chunk each, on so many threads, and joins what comes out. `beside`
# has columns of settings: by field, the caller's name for it and the column.
def _run(
    settings: Structure,
    column: object,
    beside: dict[str, tuple[str, object]],
    large: bool,
    threads: SupportsIndex,
    progress: Optional[Tell],
) -> Column:
    threads = c.integer("threads", threads, 1)
    source = _Input(column, "the strings")
    others = {field: _Input(other, name) for field, (name, other) in beside.items()}
    for field, other in others.items():
        if other.length != source.length:
            raise ValueError(f"expected {source.length} rows for {beside[field][0]}, found {other.length}")
    ends = sorted({end for one in (source, *others.values()) for end in one.ends() if end} or {0})
    grows = len(ends) == 1
    if threads > 1:
        share = max(_STEP, -(-source.length // threads))
        ends = sorted({*ends, *range(share, source.length, share)})
    options = _LARGE if large else _GROW if len(ends) == 1 else 0
    try:
        pieces = _run_pieces(settings, source, others, ends, options, threads, progress)
    except _TooLarge:
        if options or not grows:
            raise
        pieces = _run_pieces(settings, source, others, ends, _LARGE, threads, progress)
    for schema, _array in pieces[1:]:
        _release(schema)
    return Column([array for _schema, array in pieces], pieces[0][0])


# What a callback of C needs: the function that is told, and what it raised.
class _Progress:
    def __init__(self, tell: Tell, rows: int, pieces: int) -> None:
        self._tell = tell
        self._rows = rows
        self._done = [0] * pieces
        self.stopped = False

    def of(self, piece: int) -> list[object]:
        def tell(done: int) -> bool:
            self._done[piece] = done
            self._tell(sum(self._done), self._rows)
            return self.stopped

        return [tell, None]


def _run_pieces(
    settings: Structure,
    source: _Input,
    others: dict[str, _Input],
    ends: Sequence[int],
    options: int,
    threads: int,
    progress: Optional[Tell],
) -> list[tuple[c.ArrowSchema, c.ArrowArray]]:
    begins = [0, *ends[:-1]]
    told = None if progress is None else _Progress(progress, source.length, len(ends))

    def one(number: int) -> tuple[c.ArrowSchema, c.ArrowArray]:
        begin, end = begins[number], ends[number]
        mine = type(settings).from_buffer_copy(settings)
        mine.output.options = options
        context = [None, None] if told is None else told.of(number)
        if told is not None:
            mine.output.progress = c.tell_progress
            mine.output.context = c_void_p.from_buffer(py_object(context)).value
        kept = []
        for field, other in others.items():
            piece = other.piece(begin, end)
            kept.append(piece)
            setattr(mine, field, c.ColumnPair(pointer(other.schema), pointer(piece)))
        strings = source.piece(begin, end)
        schema, array = c.ArrowSchema(), c.ArrowArray()
        try:
            status = c.batch[type(settings)](
                byref(mine), byref(source.schema), byref(strings), byref(schema), byref(array)
            )
            if isinstance(context[1], BaseException):
                raise context[1]
            _raise_for(status, "" if options == _LARGE else ": pass large=True")
        except BaseException:
            _release(schema, array)
            raise
        return schema, array

    results: dict[int, tuple[c.ArrowSchema, c.ArrowArray]] = {}
    given_up = False

    def work(number: int) -> None:
        pair = one(number)
        if given_up:  # the pool waits for no thread that was just starting when the call was interrupted
            _release(*pair)
        else:
            results[number] = pair

    try:
        if threads == 1 or len(ends) == 1:
            for number in range(len(ends)):
                work(number)
        else:
            with ThreadPoolExecutor(threads) as pool:
                try:
                    pending = {pool.submit(work, number) for number in range(len(ends))}
                    while pending:
                        # Python misses a signal that comes just before a thread falls asleep: it wakes up for it.
                        done, pending = wait(pending, 0.1, FIRST_EXCEPTION)
                        for future in done:
                            future.result()
                except BaseException:
                    if told is not None:
                        told.stopped = True
                    pool.shutdown(wait=False, cancel_futures=True)
                    raise
    except BaseException:
        given_up = True
        for pair in results.values():
            _release(*pair)
        raise
    return [results[number] for number in range(len(ends))]


def _release(*structures: Any) -> None:
    for structure in structures:
        if structure.release:
            structure.release(byref(structure))


class _TooLarge(ValueError):
    """What does not fit 32-bit offsets."""


def _raise_for(status: int, advice: str) -> None:
    if not status:
        return
    message = c.status_text(status).decode()
    if status == _STATUS_NO_MEMORY:
        raise MemoryError(message)
    if status == _STATUS_WRONG_TYPE:
        raise TypeError(message)
    raise _TooLarge(message + advice) if status == _STATUS_TOO_LARGE else ValueError(message)


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
    2 GiB need; a column of one chunk takes them by itself. `progress(done, rows)` is called every 65536 rows
    and at the end; what it raises ends the call.
    """
    beside: dict[str, tuple[str, object]] = {}

    def scalar(name: str, field: str, value: Any, number: Callable[[Any], int], otherwise: int) -> int:
        if not _is_column(value):
            return number(value)
        beside[field] = name, value
        return otherwise

    reading = c.Settings(
        scalar("region", "char_sets", region, lambda value: c.number_of(c.REGIONS, "region", value), 1),
        scalar("default", "default_codes", default, lambda value: c.number_of(c.CODES, "default", value), 18),
        c.integer("extra", extra),
        scalar("flags", "flags", flags, lambda value: c.integer("flags", value, 0, 2**32 - 1), 0),
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
    """Encodes a column of texts as DVB strings; `columns` are names of ENCODED. What cannot be said is counted.

    `forms` are those of zelk.encode(). A `most_bytes` of 0 sets no limit.
    """
    sending = c.EncodeSettings(c.number_of(c.REGIONS, "region", region), c.forms_of(forms), 1 if prefer_utf8 else 0)
    most = c.integer("most_bytes", most_bytes, 0)
    settings = c.ArrowEncodeSettings(columns=_bits(columns, ENCODED), sending=sending, most_bytes=most)
    return _run(settings, column, {}, large, threads, progress)


def convert(
    column: object, source: str, *, large: bool = False, threads: int = 1, progress: Optional[Tell] = None
) -> Column:
    """Converts a column of bytes to text: `source` is a name of SETS, such as "iso8859-2", "cp1250" or "utf-16be"."""
    if c.text_of("source", source) not in SETS:
        raise ValueError(f"expected a source of {', '.join(SETS)}, found {source!r}")
    return _run(c.ArrowConvertSettings(*SETS[source]), column, {}, large, threads, progress)


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
    if "\0" in c.text_of("pattern", pattern):
        raise ValueError("a pattern holds no zero byte")
    options = (1 if ignore_case else 0) | (2 if ignore_controls else 0)
    return _run(c.ArrowMatchSettings(pattern.encode(), options), column, {}, False, threads, progress)
