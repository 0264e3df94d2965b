"""The Python of the pages runs as it stands there, a page as one program, in a folder of its own."""

import re
from pathlib import Path

import matplotlib
import pytest
from conftest import ROOT

matplotlib.use("Agg")


def blocks(page: Path, language: str, after: str = "") -> list[str]:
    text = page.read_text("utf-8")
    return re.findall(rf"^```{language}\n(.*?)^```", text[text.index(after) :], re.MULTILINE | re.DOTALL)


def run(programs: list[str], folder: Path, tool: Path, extension: Path, sample: Path, monkeypatch) -> dict:
    assert programs
    (folder / "captures").mkdir()
    for number in range(2):
        (folder / "captures" / f"{number}.ts").symlink_to(sample)
    (folder / "build/bulk").mkdir(parents=True)
    (folder / "build/bulk/duckdb").symlink_to(extension.parent)
    monkeypatch.chdir(folder)
    monkeypatch.setenv("PATH", f"{tool.parent}:/usr/bin:/bin")
    names: dict = {"__name__": "page"}
    for program in programs:
        exec(compile(program, "page", "exec"), names)
    return names


def test_readme(tmp_path: Path, tool: Path, extension: Path, sample: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    import duckdb

    programs = blocks(ROOT / "README.md", "python", "## Whole columns")
    assert len(programs[0].splitlines()) <= 10
    run(programs[:1], tmp_path, tool, extension, sample, monkeypatch)
    (rows,) = duckdb.sql("select count(*), count(text), count(faults) from 'texts.parquet'").fetchall()
    assert rows[0] > 500 and rows[0] == rows[1] == rows[2]


def test_notebook(tmp_path: Path, tool: Path, extension: Path, sample: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    names = run(blocks(ROOT / "docs/notebook.md", "python"), tmp_path, tool, extension, sample, monkeypatch)
    ranking = names["ranking"]
    assert list(ranking["texts"]) == sorted(ranking["texts"], reverse=True) and len(ranking) > 2
    assert (tmp_path / "faults.png").read_bytes().startswith(b"\x89PNG")
