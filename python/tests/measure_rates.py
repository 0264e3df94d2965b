"""Measures nanoseconds of processor time a row, one thread: the first table of docs/bulk.md under "Rates".

Rows are names of 14 languages in all tables of DVB, from bench/corpus.
"""

import time
from collections.abc import Callable
from pathlib import Path

import pyarrow as pa

import zelk
import zelk.arrow

ROOT = Path(__file__).parents[2]
ROWS = 1_000_000
ROUNDS = 5


def nanoseconds(work: Callable[[], object]) -> float:
    best = float("inf")
    for _ in range(ROUNDS):
        begin = time.process_time()
        work()
        best = min(best, time.process_time() - begin)
    return best * 1e9 / ROWS


def main() -> None:
    names = [
        zelk.encode(line, errors="replace")
        for file in sorted((ROOT / "bench/corpus").glob("*_titles.txt"))
        for line in file.read_text("utf-8").splitlines()
    ]
    # Steps of a prime go over all names in an order that no processor foretells from the last rows.
    rows = [names[i * 7919 % len(names)] for i in range(ROWS)]
    column = pa.array(rows, pa.binary())
    calls: dict[str, Callable[[], object]] = {
        'Python, `[row.decode("iso8859-5", "replace") for row in rows]`: one table, no selectors': lambda: [
            row.decode("iso8859-5", "replace") for row in rows
        ],
        "Python, `[zelk.decode(row) for row in rows]`": lambda: [zelk.decode(row) for row in rows],
        "`zelk.arrow.decode(column)`": lambda: zelk.arrow.decode(column),
        "the same, and the texts as a list of Python": lambda: pa.array(zelk.arrow.decode(column)).to_pylist(),
    }
    for name, call in calls.items():
        print(f"| {name} | {nanoseconds(call):.0f} |")


if __name__ == "__main__":
    main()
