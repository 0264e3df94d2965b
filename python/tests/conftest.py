"""Where the tests find the tool, the sample and the DuckDB extension; ./dev python and ./dev bulk build them."""

import os
from collections.abc import Callable
from pathlib import Path

import pytest

ROOT = Path(__file__).parents[2]


def built(variable: str, default: str) -> Path:
    path = Path(os.environ.get(variable, ROOT / default))
    if not path.exists():
        pytest.fail(f"{path} is not there: ./dev python and ./dev bulk build it")
    return path


@pytest.fixture(scope="session")
def tool() -> Path:
    return built("ZELK_TOOL", "build/release/tools/zelk")


@pytest.fixture(scope="session")
def extension() -> Path:
    return built("ZELK_EXTENSION", "build/bulk/duckdb/zelk.duckdb_extension")


@pytest.fixture(scope="session")
def sample() -> Path:
    return ROOT / "samples/multiplex.ts"


MEASURED = pytest.StashKey[list[str]]()


@pytest.fixture
def measured(request: pytest.FixtureRequest) -> Callable[[str], None]:
    """Takes a line that says what was measured, to be printed at the end whether the test passes or not."""
    return request.config.stash.setdefault(MEASURED, []).append


def pytest_terminal_summary(terminalreporter: pytest.TerminalReporter, config: pytest.Config) -> None:
    for line in config.stash.get(MEASURED, []):
        terminalreporter.write_line(line)
