"""Columns of Apache Spark, decoded in its own workers: the batch call of zelk.arrow, and nothing else.

The workers need this package, and read_ts() the command-line tool. Spark has no unsigned integers and no dictionaries:
columns come as strings and as wider integers.
"""

from __future__ import annotations

import json
import os
import subprocess
from typing import TYPE_CHECKING, Any, Iterator, SupportsIndex, Union

from . import arrow

if TYPE_CHECKING:
    import pyarrow
    from pyspark.sql import Column, DataFrame, SparkSession
    from pyspark.sql.types import DataType

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


def _type_of(columns: arrow.Names) -> DataType:
    from pyspark.sql import types

    kinds: dict[str, DataType] = {
        "string": types.StringType(),
        "smallint": types.ShortType(),
        "int": types.IntegerType(),
        "bigint": types.LongType(),
        "binary": types.BinaryType(),
    }
    if isinstance(columns, str):
        return kinds[_TYPES[columns]]
    ordered = [name for name in arrow.DECODED if name in columns]
    if len(ordered) == 1:
        return kinds[_TYPES[ordered[0]]]
    return types.StructType([types.StructField(name, kinds[_TYPES[name]]) for name in ordered])


# What is wrong with the call is said here, before a job starts.
def _check(columns: arrow.Names, settings: dict[str, Any]) -> None:
    import pyarrow as pa

    for name in ("region", "default", "flags"):
        if not isinstance(settings.get(name, 0), (str, SupportsIndex)):
            found = type(settings[name]).__name__
            raise TypeError(f"expected one {name} for all rows, a name or a number, found {found}")
    arrow.decode(pa.array([], pa.binary()), columns, **settings)


# In the types that Spark has.
def _plain(column: pyarrow.Array[Any]) -> pyarrow.Array[Any]:
    import pyarrow as pa

    if pa.types.is_struct(column.type):
        fields = [_plain(column.field(i)) for i in range(column.type.num_fields)]
        return pa.StructArray.from_arrays(fields, [field.name for field in column.type], mask=column.is_null())
    wider = {pa.uint8(): pa.int16(), pa.uint16(): pa.int32(), pa.uint32(): pa.int64()}
    if pa.types.is_dictionary(column.type):
        return column.dictionary_decode()
    return column.cast(wider.get(column.type, column.type))


def decode(column: Union["Column", str], columns: arrow.Names = "text", **settings: Any) -> "Column":
    """Decodes a column of binary as zelk.arrow.decode() does, whose settings it takes. Needs Spark 4.1.

    A setting is one for all rows: Spark hands rows over in batches, which no column beside them would fit.
    """
    import pyarrow as pa
    from pyspark.sql import functions

    _check(columns, settings)

    def run(batch: "pa.Array[Any]") -> "pa.Array[Any]":
        return _plain(pa.array(arrow.decode(batch, columns, **settings)))

    run.__annotations__ = {"batch": pa.Array, "return": pa.Array}  # Spark looks at the types themselves
    arrow_udf: Any = functions.arrow_udf  # type: ignore[attr-defined]
    decoded: Column = arrow_udf(run, returnType=_type_of(columns))(column)
    return decoded


def decode_frame(
    frame: "DataFrame", column: str, columns: arrow.Names = "text", name: str = "decoded", **settings: Any
) -> "DataFrame":
    """Adds a decoded column to a frame by mapInArrow(), for any Spark of 3.3 and later. Settings as for decode()."""
    import pyarrow as pa
    from pyspark.sql import types

    _check(columns, settings)
    if column not in frame.columns:
        raise ValueError(f"expected a column of {', '.join(frame.columns)}, found {column!r}")
    place = frame.columns.index(column)
    names = [*frame.columns, name]

    def run(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        for batch in batches:
            decoded = _plain(pa.array(arrow.decode(batch.column(place), columns, **settings)))
            yield pa.RecordBatch.from_arrays([*batch.columns, decoded], names)

    added = types.StructField(name, _type_of(columns))
    # mapInArrow() finds no columns whose names have dots or backticks.
    plain = frame.toDF(*(f"_{number}" for number in range(len(frame.columns))))
    return plain.mapInArrow(run, types.StructType([*frame.schema.fields, added]))


_RECORD = (
    "file string, kind string, original_network int, transport_stream int, service int, source int, event int, "
    "start string, duration string, language string, name string, provider string, text string, extended string, "
    "failure string"
)


def read_ts(spark: "SparkSession", files: list[str], tool: str = "zelk") -> "DataFrame":
    """Reads transport streams, a file a task: services, channels and events as `zelk scan` has them, a row each.

    A channel is what ATSC has for a service: `service` is its program, `source` joins its events, which have the
    channel's numbers as well. The workers see the files under these names. A file that cannot be read is a row whose
    `failure` says why; in `file` bytes that are not UTF-8 are U+FFFD.
    """
    names = [part.split()[0] for part in _RECORD.split(", ")]
    paths = list(files)

    def run(batches: Iterator["pyarrow.RecordBatch"]) -> Iterator["pyarrow.RecordBatch"]:
        import pyarrow as pa

        schema = pa.schema([(name, pa.int32() if f"{name} int" in _RECORD else pa.string()) for name in names])
        for batch in batches:
            for number in batch.column("id").to_pylist():
                rows = [dict.fromkeys(names) | record for record in _records(paths[number], tool)]
                yield pa.RecordBatch.from_pylist([{name: row[name] for name in names} for row in rows], schema)

    # A range has as many rows in each partition as it can, here one.
    return spark.range(len(paths), numPartitions=max(1, len(paths))).mapInArrow(run, _RECORD)


def _records(file: str, tool: str) -> list[dict[str, Any]]:
    name = os.fsencode(file).decode("utf-8", "replace")
    try:
        scanned = subprocess.run(
            [tool, "scan", "--json", "--", file], stdin=subprocess.DEVNULL, capture_output=True, check=False
        )
    except OSError as error:
        return [{"file": name, "failure": f"{tool}: {error.strerror}"}]
    except ValueError as error:  # a zero in the name
        return [{"file": name, "failure": str(error)}]
    if scanned.returncode:
        return [{"file": name, "failure": scanned.stderr.decode("utf-8", "replace").strip()}]
    document = json.loads(scanned.stdout)
    channels = [
        {key: one[key] for key in ("transport_stream", "source", "name")} | {"service": one["program"]}
        for one in document["channels"]
    ]
    places = {one["source"]: {key: one[key] for key in ("transport_stream", "service")} for one in channels}
    events = [places.get(event.get("source"), {}) | event for event in document["events"]]
    kinds = (("service", document["services"]), ("channel", channels), ("event", events))
    return [{"file": name, "kind": kind} | record for kind, records in kinds for record in records]
