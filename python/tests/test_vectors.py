"""The conformance vectors, by the string and by the column."""

import json
from collections import defaultdict

import pyarrow as pa
import pytest
from conftest import ROOT

import zelk
import zelk.arrow

CASES = json.loads((ROOT / "vectors/annex-a.json").read_text("utf-8"))["cases"]
KINDS = ("kind", "offset", "length", "textOffset", "textLength", "value")


@pytest.mark.parametrize("case", CASES, ids=lambda case: case["id"])
def test_case(case: dict) -> None:
    settings = case["settings"]
    told = zelk.explain(
        bytes.fromhex(case["bytes"]),
        settings.get("charSet", 1),
        settings.get("defaultCode", 18),
        keep_emphasis=settings.get("flags", 0) == 1,
    )
    assert told.text == case["text"]
    if "table" in case:
        assert told.table == case["table"]
    if "reason" in case:
        assert told.reason == case["reason"]
    if "findings" in case:
        found = [
            dict(zip(KINDS, (one.kind, one.offset, one.length, one.text_offset, one.text_length, one.value)))
            for one in told.findings
        ]
        assert found == case["findings"]


def test_all_cases_as_one_column() -> None:
    settings = defaultdict(list)
    for case in CASES:
        for name, otherwise in (("charSet", 1), ("defaultCode", 18), ("flags", 0)):
            settings[name].append(case["settings"].get(name, otherwise))
    result = zelk.arrow.decode(
        pa.array([bytes.fromhex(case["bytes"]) for case in CASES], pa.binary()),
        region=pa.array(settings["charSet"], pa.int32()),
        default=pa.array(settings["defaultCode"], pa.int32()),
        flags=pa.array(settings["flags"], pa.int32()),
    )
    assert pa.array(result).to_pylist() == [case["text"] for case in CASES]
