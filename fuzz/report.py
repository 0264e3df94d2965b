#!/usr/bin/env python3
"""Prints the table of fuzz targets for docs/testing.md from the logs that ./dev fuzz left: report.py [BUILD/fuzz]"""
import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent


def last(pattern: str, text: str) -> int:
    found = re.findall(pattern, text)
    return int(found[-1]) if found else 0


def main() -> None:
    logs = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE.parent / "build/fuzz"
    print("| Target | Seconds | Executions | Branches of the library and the target | Corpus |")
    print("|---|---|---|---|---|")
    for log in sorted(logs.glob("*.log")):
        text = log.read_text(errors="replace")
        corpus = len(list((HERE / "corpus" / log.stem).iterdir()))
        seconds = last(r"in (\d+) second", text)
        executions = last(r"stat::number_of_executed_units: *(\d+)", text)
        branches = last(r"cov: (\d+)", text)
        print(f"| `{log.stem}` | {seconds:,} | {executions:,} | {branches:,} | {corpus} |")


if __name__ == "__main__":
    main()
