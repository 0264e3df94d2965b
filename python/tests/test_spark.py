"""zelk.spark on a cluster of two worker processes, each with executors of its own."""

import os
import signal
import threading
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import measure_spark
import pytest
from pyspark.sql import DataFrame, SparkSession
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


@pytest.mark.rate
def test_decoding_costs_little_more_than_handing_rows_over(
    spark: SparkSession, measured: Callable[[str], None]
) -> None:
    seconds = measure_spark.measure(spark, 2_000_000, rounds=4)
    measured(f"2000000 rows: identity {seconds['identity']:.2f} s, decode {seconds['decode']:.2f} s")
    assert seconds["decode"] <= 1.3 * seconds["identity"]
