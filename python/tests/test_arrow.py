"""Columns: in from each library and out to it, equal to the strings one by one."""

import copy
import pickle
import random
import signal
import subprocess
import sys
import threading
import time
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor

import duckdb
import pandas
import polars
import pyarrow as pa
import pytest

import zelk
import zelk.arrow


def random_rows(count: int, seed: int = 1) -> list[bytes | None]:
    source = random.Random(seed)
    heads = [b"", b"", b"\x05", b"\x01", b"\x11", b"\x15", b"\x1f\x01", b"\x10\x00\x02", b"\x12"]
    rows: list[bytes | None] = []
    for _ in range(count):
        if source.random() < 0.1:
            rows.append(None)
            continue
        row = source.choice(heads) + source.randbytes(source.randrange(40))
        rows.append(row + b"\xc2" if source.random() < 0.3 else row)
    return rows


ROWS = random_rows(3000)
TEXTS = [None if row is None else zelk.decode(row) for row in ROWS]


@pytest.mark.parametrize(
    "type_", [pa.binary(), pa.large_binary(), pa.binary_view(), pa.dictionary(pa.int32(), pa.binary())], ids=str
)
def test_every_layout_of_pyarrow(type_: pa.DataType) -> None:
    value_type = type_.value_type if pa.types.is_dictionary(type_) else type_
    column = pa.array(ROWS, value_type)
    column = column.dictionary_encode() if pa.types.is_dictionary(type_) else column
    result = pa.array(zelk.arrow.decode(column))
    result.validate(full=True)
    assert result.type == pa.string() and result.to_pylist() == TEXTS
    sliced = pa.array(zelk.arrow.decode(column.slice(100, 1000)))
    assert sliced.to_pylist() == TEXTS[100:1100]


def test_a_struct_of_all_columns() -> None:
    result = pa.array(zelk.arrow.decode(pa.array(ROWS, pa.binary()), zelk.arrow.DECODED))
    result.validate(full=True)
    rows = result.to_pylist()
    for row, told in list(zip(ROWS, rows))[:300]:
        if row is None:
            assert told is None
            continue
        explanation = zelk.explain(row)
        best = zelk.guess(row)[0]
        assert told["text"] == explanation.text and told["table"] == explanation.table
        assert told["code"] == explanation.code and told["findings"] == len(explanation.findings)
        assert told["first_finding"] == (explanation.findings[0].kind if explanation.findings else None)
        assert told["guessed_table"] == best.table and told["confidence"] == round(best.confidence * 10000)


def test_chunks_and_threads_change_nothing() -> None:
    column = pa.array(ROWS * 100, pa.binary())
    whole = pa.array(zelk.arrow.decode(column))
    chunked = pa.chunked_array([column.slice(0, 70001), column.slice(70001, 5), column.slice(70006)])
    assert pa.chunked_array(zelk.arrow.decode(chunked)).combine_chunks() == whole
    assert pa.chunked_array(zelk.arrow.decode(column, threads=3)).combine_chunks() == whole
    assert pa.chunked_array(zelk.arrow.decode(chunked, threads=2)).combine_chunks() == whole


def test_results_are_handed_out_many_times_and_outlive_themselves() -> None:
    result = zelk.arrow.decode(pa.array(ROWS, pa.binary()), ["text", "table"])
    first, second = pa.array(result), pa.array(result)
    stream = pa.chunked_array(result)
    assert len(result) == len(ROWS)
    del result
    assert first == second and stream.combine_chunks() == first
    assert first.field("text").to_pylist() == TEXTS


def test_capsules_that_nobody_takes_release_themselves() -> None:
    result = zelk.arrow.decode(pa.array(ROWS, pa.binary()))
    for _ in range(100):
        result.__arrow_c_array__()
        result.__arrow_c_stream__()
    assert pa.array(result).to_pylist() == TEXTS


def test_polars_in_and_out() -> None:
    series = polars.Series(ROWS, dtype=polars.Binary)
    assert polars.Series(zelk.arrow.decode(series)).to_list() == TEXTS
    frame = polars.DataFrame({"raw": series})
    assert polars.Series(zelk.arrow.decode(frame)).to_list() == TEXTS


def test_pandas_in_and_out() -> None:
    series = pandas.Series(pandas.array(ROWS, dtype=pandas.ArrowDtype(pa.binary())))
    result = pandas.Series.from_arrow(zelk.arrow.decode(series))
    assert [None if pandas.isna(text) else text for text in result] == TEXTS


def test_duckdb_in_and_out() -> None:
    connection = duckdb.connect()
    raw = pa.table({"raw": pa.array(ROWS, pa.binary())})
    relation = connection.sql("select raw from raw")
    texts = pa.table({"text": pa.chunked_array(zelk.arrow.decode(relation))})
    assert connection.sql("select text from texts").fetchall() == [(text,) for text in TEXTS]


def test_settings_beside_the_strings() -> None:
    rows = [b"\xc0\xe9", b"\xc0\xe9", b"\x05\xe9", None, b"\xe9"]
    regions = pa.array([1, 2, None, 1, 5], pa.int16())
    codes = pa.array([5, None, 18, 1, 2], pa.int32())
    expected = [
        zelk.decode(b"\xc0\xe9", 1, 5),
        zelk.decode(b"\xc0\xe9", 2, 18),
        zelk.decode(b"\x05\xe9", 1, 18),
        None,
        zelk.decode(b"\xe9", 5, 2),
    ]
    column = pa.array(rows, pa.binary())
    assert pa.array(zelk.arrow.decode(column, region=regions, default=codes)).to_pylist() == expected
    chunked = pa.chunked_array([column.slice(0, 2), column.slice(2)])
    other = pa.chunked_array([regions.slice(0, 3), regions.slice(3)])
    result = pa.chunked_array(zelk.arrow.decode(chunked, region=other, default=codes))
    assert result.to_pylist() == expected
    with pytest.raises(ValueError, match="expected 5 rows for region, found 4"):
        zelk.arrow.decode(column, region=regions.slice(1))


def test_the_other_functions() -> None:
    texts = ["Café", None, "Γαλάζιο", "", "BBC 10", "BBC 2"]
    column = pa.array(texts)
    encoded = pa.array(zelk.arrow.encode(column))
    assert encoded.to_pylist() == [None if text is None else zelk.encode(text) for text in texts]
    told = pa.array(zelk.arrow.encode(column, ["bytes", "unsaid"], forms=1)).to_pylist()
    assert told[2]["unsaid"] == 7 and told[0]["unsaid"] == 0
    keys = pa.array(zelk.arrow.sort_keys(column, natural=True)).to_pylist()
    assert keys[5] < keys[4]
    assert pa.array(zelk.arrow.match(column, "BBC*")).to_pylist() == [False, None, False, False, True, True]


@pytest.mark.parametrize("name", zelk.arrow.SETS)
def test_sets_are_those_of_python(name: str) -> None:
    words = ["Wieża", "żółw", ""]
    if not name.startswith("utf"):
        letters = (bytes([byte]).decode(name, "ignore") for byte in range(0xA0, 0x100))
        words = [f"a{letter}b" for letter in letters if letter]
    raw = pa.array([*(word.encode(name) for word in words), None], pa.binary())
    *told, last = pa.array(zelk.arrow.convert(raw, name)).to_pylist()
    assert last is None
    assert all(text in (word, "a\ufffdb") for word, text in zip(words, told, strict=True))  # sets have holes
    assert sum(text == word for word, text in zip(words, told)) > 0.6 * len(words)


def test_an_empty_column() -> None:
    assert pa.array(zelk.arrow.decode(pa.array([], pa.binary()))).to_pylist() == []
    words = pa.array([], pa.dictionary(pa.int8(), pa.binary()))
    assert pa.array(zelk.arrow.decode(words)).to_pylist() == []
    with pytest.raises(TypeError, match="a column of this type is not taken"):
        zelk.arrow.decode(pa.array([], pa.dictionary(pa.int8(), pa.int64())))
    nothing = pa.chunked_array([], pa.int32())
    assert pa.array(zelk.arrow.decode(pa.chunked_array([], pa.binary()), region=nothing)).to_pylist() == []
    assert pa.chunked_array(zelk.arrow.decode(pa.chunked_array([], pa.binary()))).to_pylist() == []


def test_errors_are_clear() -> None:
    with pytest.raises(TypeError, match="a column of this type is not taken"):
        zelk.arrow.decode(pa.array([1, 2]))
    with pytest.raises(TypeError, match="PyCapsule interface"):
        zelk.arrow.decode([b"a"])
    with pytest.raises(ValueError, match="expected columns of text, table"):
        zelk.arrow.decode(pa.array([b"a"]), "texts")
    with pytest.raises(ValueError, match="expected one column for the strings, found 2"):
        zelk.arrow.decode(pa.table({"a": [b"a"], "b": [b"b"]}))
    for name in ("ebcdic", "iso8859-6", "cp1255"):
        with pytest.raises(ValueError, match=f"expected a source of iso8859-1, .*, utf-16le, found '{name}'"):
            zelk.arrow.convert(pa.array([b"a"]), name)
    with pytest.raises(TypeError, match="expected a str for source, found int"):
        zelk.arrow.convert(pa.array([b"a"]), 5)  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="a pattern holds no zero byte"):
        zelk.arrow.match(pa.array(["a"]), "a\0b")


@pytest.mark.parametrize(
    "call",
    [
        lambda number: zelk.arrow.sort_keys(pa.array(["a"]), threads=number),
        lambda number: zelk.arrow.decode(pa.array([b"a"]), flags=number),
        lambda number: zelk.arrow.encode(pa.array(["a"]), forms=number),
        lambda number: zelk.arrow.encode(pa.array(["a"]), most_bytes=number),
        lambda number: zelk.arrow.encode(pa.array(["a"]), region=number * 2**32),
        lambda number: zelk.arrow.decode(pa.array([b"a"]), extra=number * 2**32),
    ],
)
def test_numbers_are_what_the_library_holds(call: Callable[[object], object]) -> None:
    for number in (-1, 2**32):
        with pytest.raises(ValueError, match="expected .* from .* to .*, found"):
            call(number)
    with pytest.raises(TypeError, match="expected an integer for"):
        call(0.5)


def test_the_longest_budget_is_none() -> None:
    texts = ["Café" * 1000, None]
    for most in (0, 2**31 - 1):
        told = pa.array(zelk.arrow.encode(pa.array(texts), most_bytes=most)).to_pylist()
        assert told == [zelk.encode("Café" * 1000), None]


def test_columns_are_their_own_copies() -> None:
    result = zelk.arrow.decode(pa.array([b"a"]))
    assert copy.copy(result) is result and copy.deepcopy([result])[0] is result
    with pytest.raises(TypeError, match="a Column is not pickled"):
        pickle.dumps(result)
    assert pa.array(result).to_pylist() == ["a"]


class Passing:
    """Hands over the same capsules again and again."""

    def __init__(self, method: str, capsules: object) -> None:
        setattr(type(self), method, lambda self, requested_schema=None: capsules)


def test_capsules_that_were_used_are_refused() -> None:
    class Array(Passing):
        pass

    class Stream(Passing):
        pass

    array = Array("__arrow_c_array__", pa.array([b"a"]).__arrow_c_array__())
    stream = Stream("__arrow_c_stream__", pa.chunked_array([[b"a"]]).__arrow_c_stream__())
    assert len(pa.array(array)) == len(pa.chunked_array(stream)) == 1
    for used in (array, stream):
        with pytest.raises(ValueError, match="the capsule of the strings has been used before"):
            zelk.arrow.decode(used)
        with pytest.raises(ValueError, match="the capsule of region has been used before"):
            zelk.arrow.decode(pa.array([b"a"]), region=used)


def test_a_struct_with_nulls_is_no_column() -> None:
    field = pa.array([b"a", b"b", b"c", b"d"])
    whole = pa.StructArray.from_arrays([field], ["raw"], mask=pa.array([False] * 4))
    broken = pa.StructArray.from_arrays([field], ["raw"], mask=pa.array([False, True, False, False]))
    assert pa.array(zelk.arrow.decode(whole)).to_pylist() == ["a", "b", "c", "d"]
    assert pa.array(zelk.arrow.decode(whole.slice(1, 2))).to_pylist() == ["b", "c"]
    assert pa.array(zelk.arrow.decode(broken.slice(2))).to_pylist() == ["c", "d"]
    for part in (broken, broken.slice(1), broken.slice(0, 2)):
        with pytest.raises(TypeError, match="expected no null among the structs of the strings"):
            zelk.arrow.decode(part)


CALLS = {
    "decode": (pa.array(ROWS, pa.binary()), {"columns": zelk.arrow.DECODED}),
    "encode": (pa.array(TEXTS), {"columns": zelk.arrow.ENCODED}),
    "convert": (pa.array(ROWS, pa.binary()), {"source": "utf-16be"}),
    "sort_keys": (pa.array(TEXTS), {}),
    "match": (pa.array(TEXTS), {"pattern": "*e*"}),
}


@pytest.mark.parametrize("large", [False, True])
@pytest.mark.parametrize("function", CALLS)
def test_chunks_are_joined_for_those_that_take_one_array(function: str, large: bool) -> None:
    column, options = CALLS[function]
    options = options if function == "match" else options | {"large": large}
    run = getattr(zelk.arrow, function)
    whole = pa.array(run(column, **options))
    ends = [0, 0, *(width * (width + 1) // 2 for width in range(1, 40)), len(column)]
    result = run(pa.chunked_array([column.slice(end, after - end) for end, after in zip(ends, ends[1:])]), **options)
    before = pa.chunked_array(result)
    joined = pa.array(result)
    joined.validate(full=True)
    del result
    assert before.num_chunks == len(set(ends)) - 1
    assert joined.type == whole.type == before.type
    assert joined.null_count == whole.null_count > 0
    assert joined.to_pylist() == whole.to_pylist() == before.to_pylist()


def test_two_threads_may_join_one_column() -> None:
    rows = pa.array(ROWS, pa.binary())
    texts = pa.array(TEXTS)
    for _ in range(50):
        column = zelk.arrow.decode(pa.chunked_array([rows.slice(0, 1500), rows.slice(1500)]))
        with ThreadPoolExecutor(4) as pool:
            for array in pool.map(pa.array, [column] * 8):
                assert array.equals(texts)


def test_what_no_array_holds_is_a_stream() -> None:
    part = pa.DictionaryArray.from_arrays(pa.array([0] * 16), pa.array([b"x" * 2**26]))
    column = zelk.arrow.decode(pa.chunked_array([part, part]))
    with pytest.raises(ValueError, match="take the column as a stream, or pass large=True"):
        pa.array(column)
    assert pa.chunked_array(column).num_chunks == 2 and len(column) == 32


def test_threads_grow_as_one_call_does() -> None:
    longest = b"x" * 2**26
    column = pa.DictionaryArray.from_arrays(pa.array([1] * 32 + [0] * 150_000), pa.array([b"", longest]))
    result = pa.chunked_array(zelk.arrow.decode(column, threads=2))
    assert result.type == pa.large_string() and result.num_chunks == 2
    assert result[31].as_py() == longest.decode() and result[-1].as_py() == ""


def test_progress_is_told_and_may_stop() -> None:
    column = pa.array([b"a"] * 200000)
    told: list[tuple[int, int]] = []
    zelk.arrow.decode(column, progress=lambda done, rows: told.append((done, rows)))
    assert told == [(65536, 200000), (131072, 200000), (196608, 200000), (200000, 200000)]

    class Enough(Exception):
        pass

    def stop(done: int, rows: int) -> None:
        raise Enough

    with pytest.raises(Enough):
        zelk.arrow.decode(column, progress=stop)


@pytest.mark.parametrize("threads", [1, 2])
def test_an_interrupt_ends_a_call(threads: int) -> None:
    column = pa.array([b"Caf\xc2e"] * 400_000)
    calls = 0

    def told(done: int, rows: int) -> None:
        nonlocal calls
        calls += 1
        if calls == 2:
            main = threading.main_thread().ident
            assert main is not None
            signal.pthread_kill(main, signal.SIGINT)
        if calls > 2:
            time.sleep(0.02)  # the main thread may need 0.1 seconds, and on a busy machine more

    if threads == 1:
        with pytest.raises(KeyboardInterrupt) as caught:
            zelk.arrow.decode(column, progress=told)
        assert calls == 2
        assert "told" in [entry.name for entry in caught.traceback]
        return
    # The signal reaches the main thread, which waits for the others.
    with pytest.raises(KeyboardInterrupt):
        zelk.arrow.decode(pa.concat_arrays([column] * 40), progress=told, threads=threads)
    assert calls < 200


def test_the_gil_is_released() -> None:
    # One call that holds the interpreter's lock would let the other thread count nothing meanwhile.
    column = pa.array([b"Caf\xc2e"] * 3000000)
    counted = 0
    with ThreadPoolExecutor(1) as pool:
        future = pool.submit(zelk.arrow.decode, column)
        while not future.done():
            counted += 1
    assert counted > 100


def test_large_types() -> None:
    assert pa.array(zelk.arrow.decode(pa.array([b"a"]), large=True)).type == pa.large_string()


def test_no_library_is_needed() -> None:
    program = """
import sys
for name in ("pyarrow", "polars", "pandas", "numpy", "duckdb"):
    sys.modules[name] = None
import zelk.arrow
class Passing:
    def __init__(self, column): self.column = column
    def __arrow_c_array__(self, requested_schema=None): return self.column.__arrow_c_array__()
import ctypes
from zelk import _library as c
data = ctypes.create_string_buffer(b"Caf\\xc2e")
offsets = (ctypes.c_int32 * 2)(0, 5)
buffers = (ctypes.c_void_p * 3)(None, ctypes.addressof(offsets), ctypes.addressof(data))
def kept(structure, **fields):
    return structure(release=dict(structure._fields_)["release"](lambda it: None), **fields)
schema, array = kept(c.ArrowSchema, format=b"z"), kept(c.ArrowArray, length=1, n_buffers=3, buffers=buffers)
new = ctypes.pythonapi.PyCapsule_New
new.restype, new.argtypes = ctypes.py_object, (ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p)
class Own:
    def __arrow_c_array__(self, requested_schema=None):
        return new(ctypes.addressof(schema), b"arrow_schema", None), new(ctypes.addressof(array), b"arrow_array", None)
result = zelk.arrow.decode(Own())
print(len(zelk.arrow.decode(Passing(result))))
"""
    # A result is text, which decodes again: its bytes are another string of the default table.
    assert subprocess.run([sys.executable, "-c", program], capture_output=True, check=True).stdout == b"1\n"
