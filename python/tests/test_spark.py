"""zelk.spark on a cluster of two worker processes, each with executors of its own."""

import json
import os
import signal
import subprocess
import threading
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import measure_spark
import pyarrow as pa
import pytest
from conftest import ROOT
from pyspark.sql import DataFrame, SparkSession, types
from pyspark.sql import functions as F
from test_arrow import ROWS, TEXTS

import zelk
import zelk.spark

COLUMNS = ["text", "table", "code", "findings", "first_finding", "confidence", "sort_key"]


@pytest.fixture(scope="module")
def spark() -> Iterator[SparkSession]:
    session = measure_spark.cluster(2)
    yield session
    session.stop()


def frame(spark: SparkSession, partitions: int) -> DataFrame:
    return spark.createDataFrame(list(enumerate(ROWS)), "id int, raw binary").repartition(partitions)


def texts(decoded: DataFrame) -> list[str | None]:
    return [text for _id, text in sorted(decoded.select("id", "decoded").collect())]


def test_rows_are_those_of_one_machine_whatever_the_partitions(spark: SparkSession) -> None:
    for partitions in (1, 3, 16):
        source = frame(spark, partitions)
        assert texts(source.withColumn("decoded", zelk.spark.decode(source.raw))) == TEXTS
    assert texts(zelk.spark.decode_frame(frame(spark, 5), "raw")) == TEXTS


def test_a_poisoned_row_is_a_finding(spark: SparkSession) -> None:
    source = frame(spark, 4)
    decoded = source.withColumn("decoded", zelk.spark.decode(source.raw, COLUMNS)).collect()
    assert len(decoded) == len(ROWS)
    for row in decoded[:500]:
        if row.raw is None:
            assert row.decoded is None
            continue
        told = zelk.explain(bytes(row.raw))
        assert (row.decoded.text, row.decoded.table, row.decoded.code) == (told.text, told.table, told.code)
        assert row.decoded.findings == len(told.findings)
        assert row.decoded.first_finding == (told.findings[0].kind if told.findings else None)


def test_settings_and_names(spark: SparkSession) -> None:
    source = spark.createDataFrame([(bytearray(b"\xb2"),)], "raw binary")
    assert source.select(zelk.spark.decode(source.raw, default="iso8859-5")).first()[0] == "В"
    with pytest.raises(ValueError, match="expected columns of"):
        zelk.spark.decode(source.raw, "texts")


def test_what_is_wrong_with_a_call_is_said_before_a_job(spark: SparkSession) -> None:
    source = spark.createDataFrame([(bytearray(b"\xb2"), 1)], "raw binary, region int")
    for name in ("region", "default", "flags"):
        for column in (pa.array([1]), source.region):
            with pytest.raises(TypeError, match=f"expected one {name} for all rows, a name or a number, found "):
                zelk.spark.decode(source.raw, **{name: column})
            with pytest.raises(TypeError, match=f"expected one {name} for all rows"):
                zelk.spark.decode_frame(source, "raw", **{name: column})
    with pytest.raises(ValueError, match="expected region to be a number, or one of"):
        zelk.spark.decode(source.raw, region="mars")
    with pytest.raises(ValueError, match="expected columns of"):
        zelk.spark.decode_frame(source, "raw", "texts")
    with pytest.raises(ValueError, match="expected a column of raw, region, found 'text'"):
        zelk.spark.decode_frame(source, "text")
    with pytest.raises(TypeError, match="regoin"):
        zelk.spark.decode_frame(source, "raw", regoin="standard")


def test_several_threads_in_a_batch_of_many_rows(spark: SparkSession) -> None:
    size = "spark.sql.execution.arrow.maxRecordsPerBatch"
    before = spark.conf.get(size)
    spark.conf.set(size, "200000")
    try:
        source = spark.range(150_000, numPartitions=1).selectExpr("cast(cast(id as string) as binary) as raw")
        for decoded in (
            source.withColumn("decoded", zelk.spark.decode(source.raw, threads=2)),
            zelk.spark.decode_frame(source, "raw", threads=2),
        ):
            assert decoded.where("decoded = cast(raw as string)").count() == 150_000
    finally:
        spark.conf.set(size, before)


def test_frames_keep_the_names_and_types_of_their_fields(spark: SparkSession) -> None:
    kind = types.StructType(
        [
            types.StructField("id", types.LongType(), False),
            types.StructField("a `quoted`.name", types.StringType()),
            types.StructField("inner", types.StructType([types.StructField("a b", types.IntegerType(), False)])),
            types.StructField("many", types.ArrayType(types.IntegerType(), False)),
            types.StructField("raw", types.BinaryType()),
        ]
    )
    source = spark.createDataFrame([(1, "x", (2,), [3], bytearray(b"Caf\xc2e"))], kind)
    decoded = zelk.spark.decode_frame(source, "raw", ["text", "code"], name="de`coded")
    assert decoded.schema.names == [*kind.names, "de`coded"]
    assert [field.dataType for field in decoded.schema.fields[:-1]] == [field.dataType for field in kind.fields]
    (row,) = decoded.collect()
    assert (row[0], row[1], row[2][0], row[3]) == (1, "x", 2, [3])
    assert row[-1].asDict() == {"text": "Café", "code": zelk.explain(b"Caf\xc2e").code}


def executors() -> list[int]:
    """The executors that descend from this process."""

    def parent(process: int) -> int:
        try:
            return int(Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()[1])
        except OSError:
            return 0

    found = []
    for entry in Path("/proc").iterdir():
        if entry.name.isdecimal():
            try:
                command = (entry / "cmdline").read_bytes()
            except OSError:
                continue
            ancestor = int(entry.name)
            while ancestor > 1 and ancestor != os.getpid():
                ancestor = parent(ancestor)
            if b"CoarseGrainedExecutorBackend" in command and ancestor == os.getpid():
                found.append(int(entry.name))
    return found


def test_a_killed_worker_loses_nothing(spark: SparkSession) -> None:
    begun = spark.sparkContext.accumulator(0)

    def slow(batches: Iterator[Any]) -> Iterator[Any]:
        begun.add(1)
        time.sleep(1)
        yield from batches

    killed: list[int] = []

    def kill() -> None:
        time.sleep(3)
        killed.extend(executors()[:1])
        for process in killed:
            os.kill(process, signal.SIGKILL)

    source = frame(spark, 16).mapInArrow(slow, "id int, raw binary")
    killer = threading.Thread(target=kill)
    killer.start()
    found = texts(zelk.spark.decode_frame(source, "raw"))
    killer.join()
    assert killed and found == TEXTS


def test_streams_are_spread_and_broken_ones_are_told(
    spark: SparkSession, tool: Path, sample: Path, tmp_path: Path
) -> None:
    files = []
    for number in range(4):
        files.append(str(tmp_path / f"{number}.ts"))
        Path(files[-1]).write_bytes(sample.read_bytes())
    (tmp_path / "broken.ts").write_bytes(b"no transport stream" * 100)
    read = zelk.spark.read_ts(spark, [*files, str(tmp_path / "broken.ts"), str(tmp_path / "none.ts")], str(tool))
    counts = {(Path(row.file).name, row.kind): row["count"] for row in read.groupBy("file", "kind").count().collect()}
    assert counts["0.ts", "service"] == counts["3.ts", "service"] == 64
    assert counts["broken.ts", None] == counts["none.ts", None] == 1
    failures = read.where("failure is not null").select("failure").collect()
    assert any("expected a transport stream" in row.failure for row in failures)
    names = {row.name for row in read.where("kind = 'service'").select("name").collect()}
    assert "Γαλάζιο Κανάλι" in names


def test_a_file_is_a_task(spark: SparkSession, tool: Path, tmp_path: Path) -> None:
    files = [str(tmp_path / f"{number}.ts") for number in range(24)]
    read = zelk.spark.read_ts(spark, files, str(tool))
    tasks = read.select("file", F.spark_partition_id().alias("task")).collect()
    assert sorted(row.file for row in tasks) == sorted(files)
    assert len({row.task for row in tasks}) == len(files)
    assert zelk.spark.read_ts(spark, [], str(tool)).count() == 0


def test_names_of_files_are_no_options(tool: Path, sample: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    for name in ("-x", "--version", os.fsdecode(b"\xff.ts")):
        Path(name).symlink_to(sample)
        records = zelk.spark._records(name, str(tool))
        assert len(records) > 64 and all("failure" not in record for record in records)
        assert {record["file"] for record in records} == {name.replace("\udcff", "\ufffd")}
    (record,) = zelk.spark._records("-", str(tool))
    assert record["failure"]
    (record,) = zelk.spark._records("a\0b", str(tool))
    assert record["failure"]


def test_channels_of_atsc_join_their_events(spark: SparkSession, tool: Path) -> None:
    guide = ROOT / "samples/guide.ts"
    scanned = json.loads(subprocess.run([tool, "scan", "--json", guide], capture_output=True, check=True).stdout)
    read = zelk.spark.read_ts(spark, [str(guide)], str(tool))
    names = ("transport_stream", "service", "source", "name")
    channels = {tuple(row[name] for name in names) for row in read.where("kind = 'channel'").collect()}
    expected = {tuple(one[name] for name in ("transport_stream", "program", "source", "name")) for one in scanned["channels"]}
    assert channels == expected and channels
    events = read.where("kind = 'event' and source is not null").collect()
    assert len(events) == sum("source" in event for event in scanned["events"]) > 0
    assert {(row.transport_stream, row.service, row.source) for row in events} <= {channel[:3] for channel in channels}


@pytest.mark.rate
def test_decoding_costs_little_more_than_handing_rows_over(
    spark: SparkSession, measured: Callable[[str], None]
) -> None:
    seconds = measure_spark.measure(spark, 2_000_000, rounds=4)
    measured(f"2000000 rows: identity {seconds['identity']:.2f} s, decode {seconds['decode']:.2f} s")
    assert seconds["decode"] <= 1.3 * seconds["identity"]
