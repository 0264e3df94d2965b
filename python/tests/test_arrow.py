"""Columns: in from each library and out to it, equal to the strings one by one."""

import random
import subprocess
import sys
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
    with pytest.raises(ValueError, match="expected 5 rows for char_sets, found 4"):
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
    for codec, name in (("iso8859-2", "iso8859-2"), ("cp1250", "cp1250"), ("utf-16-be", "utf-16be")):
        polish = ["Wieża", "żółw", None]
        raw = pa.array([None if text is None else text.encode(codec) for text in polish], pa.binary())
        assert pa.array(zelk.arrow.convert(raw, name)).to_pylist() == polish


def test_an_empty_column() -> None:
    assert pa.array(zelk.arrow.decode(pa.array([], pa.binary()))).to_pylist() == []
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
    with pytest.raises(ValueError, match="iso8859-1, cp1250"):
        zelk.arrow.convert(pa.array([b"a"]), "ebcdic")


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
schema, array = c.ArrowSchema(format=b"z"), c.ArrowArray(length=1, n_buffers=3, buffers=buffers)
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
