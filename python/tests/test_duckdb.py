"""The DuckDB extension in the DuckDB that is imported: ./dev bulk runs this with two versions of it."""

import json
import os
import subprocess
import time
from collections.abc import Callable
from pathlib import Path

import duckdb
import pytest
from conftest import ROOT

import zelk


@pytest.fixture
def db(extension: Path) -> duckdb.DuckDBPyConnection:
    connection = duckdb.connect(config={"allow_unsigned_extensions": "true"})
    connection.load_extension(str(extension))
    return connection


def one(db: duckdb.DuckDBPyConnection, expression: str, *values: object) -> object:
    (row,) = db.execute(f"select {expression}", list(values)).fetchall()
    return row[0]


def test_decode_in_every_form(db: duckdb.DuckDBPyConnection) -> None:
    assert one(db, "zelk_decode($1::blob)", b"Caf\xc2e") == "Café"
    assert one(db, "zelk_decode($1::blob, 'iso8859-2')", b"\x10\x00\x00\xe8") == "č"
    assert one(db, "zelk_decode($1::blob, 'standard', 'iso8859-5')", b"\xb2") == "В"
    assert one(db, "zelk_decode(null)") is None
    assert one(db, "zelk_decode(''::blob)") == ""
    with pytest.raises(duckdb.Error, match="no region is called 'mars'"):
        one(db, "zelk_decode('a'::blob, 'mars')")
    with pytest.raises(duckdb.Error, match="no default code is called 'koi8'"):
        one(db, "zelk_decode('a'::blob, 'standard', 'koi8')")


def test_settings_are_names_or_numbers(db: duckdb.DuckDBPyConnection) -> None:
    assert one(db, "zelk_decode($1::blob, 2)", b"\x10\x00\x00\xe8") == "č"
    for code in ("5", "'5'", "5::utinyint", "5::bigint", "'ISO_8859-5'"):
        for region in ("1", "'1'", "'standard'"):
            assert one(db, f"zelk_decode($1::blob, {region}, {code})", b"\xb2") == "В"
            assert one(db, f"zelk_explain($1::blob, {region}, {code}).text", b"\xb2") == "В"
    assert one(db, "zelk_decode($1::blob, $2, $3)", b"\xb2", 1, 5) == "В"
    assert one(db, "zelk_decode($1::blob, $2, $3)", b"\xb2", "standard", "iso8859-5") == "В"
    assert one(db, "zelk_encode('č', 2)") == zelk.encode("č", region="iso8859-2")
    for call in ("zelk_decode('a'::blob, null)", "zelk_decode('a'::blob, 1, null)", "zelk_encode('a', null::integer)"):
        assert one(db, call) is None
    told = db.execute(
        "select zelk_decode('\\xB2'::blob, 1, code) from (values (5), (null), (18), (7), (7)) as codes(code)"
    ).fetchall()
    assert [text for (text,) in told] == ["В", None, zelk.decode(b"\xb2"), zelk.decode(b"\xb2", default=7), "²"]


def test_settings_that_the_tool_refuses_are_refused(db: duckdb.DuckDBPyConnection) -> None:
    names = ("iso8859-0", "iso8859-18", "iso8859-21", "iso8859--1", "iso8859-", "23", "99", "-1", "-99", "5x", "")
    for code in (*(f"'{name}'" for name in names), "-1", "23", "4294967301"):
        with pytest.raises(duckdb.Error, match="no default code is called .*expected iso8859-1 to iso8859-16, utf-8"):
            one(db, f"zelk_decode('a'::blob, 'standard', {code})")
    for region in ("'99'", "'-1'", "'7'", "''", "'mars'", "7", "-1", "4294967298"):
        with pytest.raises(duckdb.Error, match="no region is called .*standard.* or a number from 0 to 6"):
            one(db, f"zelk_explain('a'::blob, {region})")
        with pytest.raises(duckdb.Error, match="no region is called"):
            one(db, f"zelk_encode('a', {region})")


def test_all_vectors(db: duckdb.DuckDBPyConnection) -> None:
    cases = json.loads((ROOT / "vectors/annex-a.json").read_text("utf-8"))["cases"]
    cases = [case for case in cases if not case["settings"].get("flags")]
    rows = [
        (i, bytes.fromhex(case["bytes"]), str(case["settings"].get("charSet", 1)), str(case["settings"].get("defaultCode", 18)))
        for i, case in enumerate(cases)
    ]
    db.execute("create table cases (i integer, raw blob, region varchar, code varchar)")
    db.executemany("insert into cases values (?, ?, ?, ?)", rows)
    told = db.execute("select zelk_decode(raw, region, code), zelk_explain(raw, region, code) from cases order by i")
    for case, (text, explanation) in zip(cases, told.fetchall(), strict=True):
        assert text == explanation["text"] == case["text"], case["id"]
        assert explanation["table"] == case.get("table", explanation["table"])
        kinds = [finding["kind"] for finding in explanation["findings"]]
        assert kinds == [finding["kind"] for finding in case.get("findings", explanation["findings"])]


def test_rows_know_nothing_of_each_other(db: duckdb.DuckDBPyConnection) -> None:
    rows = [None if i % 7 == 0 else bytes([0x41 + i % 26, 0xC2 if i % 3 == 0 else 0x61]) * (i % 20) for i in range(9000)]
    db.execute("create table many as select generate_subscripts($1::blob[], 1) as i, unnest($1::blob[]) as raw", [rows])
    query = "select zelk_decode(raw), zelk_explain(raw), zelk_lint(raw) from many order by i"
    for row, (text, explanation, faults) in zip(rows, db.execute(query).fetchall(), strict=True):
        if row is None:
            assert text is None and explanation is None and faults is None
            continue
        assert text == zelk.decode(row) == explanation["text"]
        assert len(explanation["findings"]) == len(zelk.explain(row).findings)
        assert [fault["rule"] for fault in faults] == [fault.kind for fault in zelk.lint(row)]
    assert [len(one(db, "zelk_explain($1::blob)", b"A" + b"\xa6" * n)["findings"]) for n in (16, 17, 999)] == [16, 17, 999]
    # A column of a struct that is null in some rows.
    assert db.sql("select count(zelk_explain(raw).text) from many").fetchall() == [(sum(row is not None for row in rows),)]


def test_guess_encode_and_order(db: duckdb.DuckDBPyConnection) -> None:
    french = "Réalisé par une équipe française".encode("iso8859-1")
    guess = one(db, "zelk_guess($1::blob)", french)
    assert guess["language"] == "fre" and guess["confidence"] > 0.7
    assert one(db, "zelk_guess($1::blob, 'fre')", french)["table"] == zelk.guess(french, language="fre")[0].table
    for text in ("Café", "Γαλάζιο", "海岸一台"):
        assert one(db, "zelk_decode(zelk_encode($1))", text) == text
        assert one(db, "zelk_encode($1)", text) == zelk.encode(text)
    names = db.sql("select unnest(['Zebra', 'école', 'Ecole', 'BBC 10', 'BBC 2']) as name order by zelk_sort_key(name, true)")
    assert [name for (name,) in names.fetchall()] == ["BBC 2", "BBC 10", "Ecole", "école", "Zebra"]


def test_streams_read_as_the_tool_reads_them(
    db: duckdb.DuckDBPyConnection, tool: Path, sample: Path, tmp_path: Path
) -> None:
    scanned = json.loads(subprocess.run([tool, "scan", "--json", sample], capture_output=True, check=True).stdout)
    services = db.sql(f"select original_network, transport_stream, service, type, name, provider from read_ts_services('{sample}')")
    names = ("original_network", "transport_stream", "service", "type", "name", "provider")
    assert sorted(services.fetchall()) == sorted(tuple(one[name] for name in names) for one in scanned["services"])
    events = db.sql(
        "select service, event, language, strftime(start, '%Y-%m-%dT%H:%M:%SZ'), name, text, extended "
        f"from read_ts_events('{sample}')"
    )
    names = ("service", "event", "language", "start", "name", "text", "extended")
    assert sorted(events.fetchall()) == sorted(tuple(one[name] for name in names) for one in scanned["events"])
    raw = db.sql(f"select raw, text from read_ts('{sample}')").fetchall()
    assert len(raw) > len(scanned["services"]) and all(zelk.decode(data) == text for data, text in raw)

    for i in range(3):
        (tmp_path / f"{i}.ts").write_bytes(sample.read_bytes())
    counts = db.sql(f"select file, count(*) from read_ts('{tmp_path}/*.ts') group by file").fetchall()
    assert sorted(count for _file, count in counts) == [len(raw)] * 3
    (tmp_path / "no.ts").write_bytes(b"no transport stream" * 100)
    with pytest.raises(duckdb.Error, match="expected a transport stream"):
        db.sql(f"from read_ts('{tmp_path}/no.ts')").fetchall()
    with pytest.raises(duckdb.Error, match="no file is called"):
        db.sql(f"from read_ts('{tmp_path}/*.mpg')")


def test_null_is_no_file(db: duckdb.DuckDBPyConnection) -> None:
    for table in ("read_ts", "read_ts_services", "read_ts_events"):
        with pytest.raises(duckdb.Error, match=f"zelk: {table} expected the name of a file, found null"):
            db.sql(f"from {table}(null)")
        with pytest.raises(duckdb.Error, match=f"zelk: {table} expected the name of a file, found null"):
            db.execute(f"from {table}(?)", [None])


def test_a_file_of_exactly_that_name_is_no_pattern(
    db: duckdb.DuckDBPyConnection, sample: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    def files(pattern: str) -> list[str]:
        found = db.execute("select distinct file from read_ts_services(?) order by file", [pattern]).fetchall()
        return [file for (file,) in found]

    monkeypatch.chdir(tmp_path)
    for name in ("a[1].ts", "b*.ts", "bc.ts", "c?.ts", "-"):
        (tmp_path / name).symlink_to(sample)
    for name in ("a[1].ts", "b*.ts", "c?.ts", "-"):
        assert files(name) == [name]
    assert files("b?.ts") == ["b*.ts", "bc.ts"]
    assert files("a\\[1].ts") == files("a[[]1].ts") == ["a[1].ts"]


def test_a_name_that_is_no_text(db: duckdb.DuckDBPyConnection, sample: Path, tmp_path: Path) -> None:
    (tmp_path / "0.ts").symlink_to(sample)
    Path(os.fsdecode(os.fsencode(tmp_path) + b"/\xff\xe9.ts")).symlink_to(sample)
    for table in ("read_ts", "read_ts_services", "read_ts_events"):
        told = db.sql(f"select file, count(*) from {table}('{tmp_path}/*.ts') group by file order by file").fetchall()
        assert [file for file, _count in told] == [f"{tmp_path}/0.ts", f"{tmp_path}/\ufffd\ufffd.ts"]
        assert told[0][1] == told[1][1] > 0
    Path(os.fsdecode(os.fsencode(tmp_path) + b"/\xff.mpg")).write_bytes(b"no transport stream" * 100)
    with pytest.raises(duckdb.Error, match="expected a transport stream"):
        db.sql(f"from read_ts('{tmp_path}/*.mpg')").fetchall()


def test_channels_and_events_of_atsc(db: duckdb.DuckDBPyConnection, tool: Path) -> None:
    guide = ROOT / "samples/guide.ts"
    scanned = json.loads(subprocess.run([tool, "scan", "--json", guide], capture_output=True, check=True).stdout)
    channels = db.sql(f"select transport_stream, service, type, name from read_ts_services('{guide}') where original_network is null")
    names = ("transport_stream", "program", "type", "name")
    assert sorted(channels.fetchall()) == sorted(tuple(one[name] for name in names) for one in scanned["channels"])
    programs = {one["source"]: one["program"] for one in scanned["channels"]}
    events = db.sql(
        "select service, event, language, strftime(start, '%Y-%m-%dT%H:%M:%SZ'), name, text, extended "
        f"from read_ts_events('{guide}')"
    )
    names = ("event", "language", "start", "name", "text", "extended")
    expected = [(programs[one["source"]], *(one[name] for name in names)) for one in scanned["events"]]
    assert len(expected) == 6 and sorted(events.fetchall()) == sorted(expected)
    texts = db.sql(f"select kind, field, text from read_ts('{guide}') where raw is null").fetchall()
    assert ("channel", "long_name", "Harbor One") in texts and ("event", "ratings", "TV-G") in texts


@pytest.mark.rate
def test_decoding_costs_no_more_than_hexadecimal_digits(
    db: duckdb.DuckDBPyConnection, measured: Callable[[str], None]
) -> None:
    rows = 10_000_000
    names = [
        zelk.encode(line, errors="replace")
        for file in sorted((ROOT / "bench/corpus").glob("*_titles.txt"))
        for line in file.read_text("utf-8").splitlines()
    ]
    db.execute("set threads = 1")
    db.execute("create table names as select generate_subscripts($1::blob[], 1) - 1 as i, unnest($1::blob[]) as raw", [names])
    db.execute(
        f"create table many as select raw from range({rows}) as r join names on names.i = hash(r.range) % {len(names)}"
    )
    seconds: dict[str, float] = {}
    for _ in range(3):
        for call in ("upper(hex(raw))", "zelk_decode(raw)"):
            begin = time.process_time()
            db.execute(f"select max({call}) from many").fetchall()
            seconds[call] = min(seconds.get(call, 1e9), time.process_time() - begin)
    hexadecimal, decoded = seconds.values()
    measured(f"{rows} rows: zelk_decode {decoded * 1e9 / rows:.0f} ns, upper(hex()) {hexadecimal * 1e9 / rows:.0f} ns a row")
    assert decoded <= 1.2 * hexadecimal
