"""Measures zelk.spark beside the identity function: measure_spark.py WORKERS ROWS... appends to build/spark.tsv;
measure_spark.py --plot writes docs/spark.svg and the table of docs/bulk.md from it.

Rows are names of 14 languages, generated; results go to Spark's sink that keeps nothing.
"""

import os
import sys
import time
from pathlib import Path

import pyarrow as pa
import pyspark
from pyspark.sql import SparkSession
from pyspark.sql import functions as F

import zelk
import zelk.spark

ROOT = Path(__file__).parents[2]
RESULTS = ROOT / "build/spark.tsv"


def cluster(workers: int) -> SparkSession:
    """A cluster on this machine: so many workers, each a process with one core and executors of its own."""
    os.environ.update(
        SPARK_HOME=str(Path(pyspark.__file__).parent), PYSPARK_PYTHON=sys.executable, SPARK_LOCAL_IP="127.0.0.1"
    )
    session = (
        SparkSession.builder.master(f"local-cluster[{workers},1,1024]")
        .config("spark.ui.enabled", False)
        .config("spark.ui.showConsoleProgress", False)
        .config("spark.driver.host", "127.0.0.1")
        .config("spark.driver.bindAddress", "127.0.0.1")
        .config("spark.executorEnv.PYTHONPATH", os.pathsep.join(sys.path))
        .getOrCreate()
    )
    session.sparkContext.setLogLevel("ERROR")
    return session


def measure(spark: SparkSession, rows: int, rounds: int) -> dict[str, float]:
    """The best seconds of so many rounds, in which the two take turns."""
    names = [
        zelk.encode(line, errors="replace")
        for file in sorted((ROOT / "bench/corpus").glob("*_titles.txt"))
        for line in file.read_text("utf-8").splitlines()[:16]
    ]
    place = (F.pmod(F.hash("id"), F.lit(len(names))) + 1).cast("int")
    source = spark.range(rows, numPartitions=4).select(
        F.element_at(F.array(*[F.lit(name) for name in names]), place).alias("raw")
    )

    def same(batch: pa.Array) -> pa.Array:
        return batch

    calls = {
        "identity": F.arrow_udf(same, returnType="binary")(source.raw),
        "decode": zelk.spark.decode(source.raw),
    }
    seconds: dict[str, float] = {}
    for _ in range(rounds):
        for name, result in calls.items():
            begin = time.perf_counter()
            source.select(result).write.format("noop").mode("overwrite").save()
            seconds[name] = min(seconds.get(name, 1e9), time.perf_counter() - begin)
    return seconds


def plot() -> None:
    import matplotlib

    matplotlib.use("Agg")
    matplotlib.rcParams["svg.hashsalt"] = "zelk"
    import matplotlib.pyplot as plt

    measured = [line.split("\t") for line in RESULTS.read_text().splitlines()]
    figure, axes = plt.subplots(figsize=(7, 4))
    print("| Workers | Rows | Identity | Decode | Decode over identity |\n|---|---|---|---|---|")
    for workers in ("1", "2"):
        points = sorted((int(rows), float(same), float(decoded)) for count, rows, same, decoded in measured if count == workers)
        for rows, same, decoded in points:
            print(f"| {workers} | {rows:,} | {same:.1f} s | {decoded:.1f} s | {decoded / same:.2f} |")
        count = f"{workers} worker{'s' if workers != '1' else ''}"
        axes.loglog(*zip(*[(rows, same) for rows, same, _ in points]), "--", label=f"identity, {count}")
        axes.loglog(*zip(*[(rows, decoded) for rows, _, decoded in points]), "o-", label=f"decode, {count}")
    axes.set_xlabel("rows")
    axes.set_ylabel("seconds")
    axes.legend()
    figure.tight_layout()
    figure.savefig(ROOT / "docs/spark.svg", metadata={"Date": None})


def main() -> None:
    if sys.argv[1:] == ["--plot"]:
        plot()
        return
    workers, *sizes = (int(argument) for argument in sys.argv[1:])
    spark = cluster(workers)
    measure(spark, 100_000, 1)  # the processes start
    for rows in sizes:
        seconds = measure(spark, rows, 3 if rows <= 10_000_000 else 1)
        line = f"{workers}\t{rows}\t{seconds['identity']:.2f}\t{seconds['decode']:.2f}"
        print(line)
        with RESULTS.open("a") as file:
            file.write(line + "\n")
    spark.stop()


if __name__ == "__main__":
    main()
