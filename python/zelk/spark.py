"""Columns of Apache Spark, decoded in its own workers: the batch call of zelk.arrow, and nothing else.

The workers need this package, and read_ts() the command-line tool. Spark has no unsigned integers and no dictionaries:
columns come as strings and as wider integers.
"""

from __future__ import annotations

import json
import subprocess
from typing import TYPE_CHECKING, Any, Iterator, Union

from . import arrow

if TYPE_CHECKING:
    import pyarrow
    from pyspark.sql import Column, DataFrame, SparkSession

__all__ = ["decode", "decode_frame", "read_ts"]

_TYPES = {
    "text": "string",
    "table": "string",
    "code": "smallint",
    "findings": "bigint",
    "first_finding": "string",
    "guessed_table": "string",
    "confidence": "int",
    "sort_key": "binary",
}


def _type_of(columns: arrow.Names) -> str:
    arrow._bits(columns, arrow.DECODED)  # refuses names that there are not
    if isinstance(columns, str):
        return _TYPES[columns]
    ordered = [name for name in arrow.DECODED if name in columns]
    if len(ordered) == 1:
        return _TYPES[ordered[0]]
    return "struct<" + ",".join(f"{name}:{_TYPES[name]}" for name in ordered) + ">"


# In the types that Spark has.
def _plain(column: "pyarrow.Array[Any]") -> "pyarrow.Array[Any]":
    import pyarrow as pa

    if pa.types.is_struct(column.type):
        fields = [_plain(column.field(i)) for i in range(column.type.num_fields)]
        return pa.StructArray.from_arrays(fields, [field.name for field in column.type], mask=column.is_null())
    wider = {pa.uint8(): pa.int16(), pa.uint16(): pa.int32(), pa.uint32(): pa.int64()}
    if pa.types.is_dictionary(column.type):
        return column.dictionary_decode()
    return column.cast(wider.get(column.type, column.type))


def decode(column: Union["Column", str], columns: arrow.Names = "text", **settings: Any) -> "Column":
    """Decodes a column of binary as zelk.arrow.decode() does, whose settings it takes. Needs Spark 4.1."""
    import pyarrow as pa
    from pyspark.sql import functions

    def run(batch: "pa.Array[Any]") -> "pa.Array[Any]":
        return _plain(pa.array(arrow.decode(batch, columns, **settings)))

    run.__annotations__ = {"batch": pa.Array, "return": pa.Array}  # Spark looks at the types themselves
    arrow_udf: Any = functions.arrow_udf  # type: ignore[attr-defined]
    decoded: Column = arrow_udf(run, returnType=_type_of(columns))(column)
    return decoded


def decode_frame(
    frame: "DataFrame", column: str, columns: arrow.Names = "text", name: str = "decoded", **settings: Any
) -> "DataFrame":
    """Adds a decoded column to a frame by mapInArrow(), for any Spark of 3.3 and later."""
    import pyarrow as pa

    def run(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        for batch in batches:
            decoded = _plain(pa.array(arrow.decode(batch.column(column), columns, **settings)))
            yield pa.RecordBatch.from_arrays([*batch.columns, decoded], [*batch.schema.names, name])

    fields = ", ".join(f"`{field.name}` {field.dataType.simpleString()}" for field in frame.schema.fields)
    return frame.mapInArrow(run, f"{fields}, `{name}` {_type_of(columns)}")


_RECORD = (
    "file string, kind string, original_network int, transport_stream int, service int, event int, start string, "
    "duration string, language string, name string, provider string, text string, extended string, failure string"
)


def read_ts(spark: "SparkSession", files: list[str], tool: str = "zelk") -> "DataFrame":
    """Reads transport streams, a file a task: services and events as `zelk scan` has them, a row each.

    The workers see the files under these names. A file that cannot be read is a row whose `failure` says why.
    """
    names = [part.split()[0] for part in _RECORD.split(", ")]

    def run(batches: Iterator["pyarrow.RecordBatch"]) -> Iterator["pyarrow.RecordBatch"]:
        import pyarrow as pa

        schema = pa.schema([(name, pa.int32() if f"{name} int" in _RECORD else pa.string()) for name in names])
        for batch in batches:
            for file in batch.column("file").to_pylist():
                rows = [dict.fromkeys(names) | record for record in _records(file, tool)]
                yield pa.RecordBatch.from_pylist([{name: row[name] for name in names} for row in rows], schema)

    paths = spark.createDataFrame([(file,) for file in files], "file string").repartition(max(1, len(files)))
    return paths.mapInArrow(run, _RECORD)


def _records(file: str, tool: str) -> list[dict[str, Any]]:
    try:
        scanned = subprocess.run([tool, "scan", "--json", file], capture_output=True, check=False)
    except OSError as error:
        return [{"file": file, "failure": f"{tool}: {error.strerror}"}]
    if scanned.returncode:
        return [{"file": file, "failure": scanned.stderr.decode("utf-8", "replace").strip()}]
    document = json.loads(scanned.stdout)
    kinds = (("services", "service"), ("events", "event"))
    return [{"file": file, "kind": kind} | record for part, kind in kinds for record in document[part]]
