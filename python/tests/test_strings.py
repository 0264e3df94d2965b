"""Single strings. Expected values are those of ETSI EN 300 468 Annex A and of ISO 8859 as Python has it."""

import threading
from array import array

import pytest

import zelk


def test_decode_reads_the_tables_that_selectors_name() -> None:
    for selector, part in ((b"\x01", 5), (b"\x05", 9), (b"\x0b", 15), (b"\x10\x00\x02", 2)):
        codec = f"iso8859-{part}"
        text = bytes(range(0xC0, 0xFF)).decode(codec)
        assert zelk.decode(selector + text.encode(codec)) == text
    assert zelk.decode(b"\x15" + "Čeština".encode()) == "Čeština"
    assert zelk.decode(b"\x11" + "海岸一台".encode("utf-16-be")) == "海岸一台"
    assert zelk.decode(b"Caf\xc2e") == "Café"
    assert zelk.decode(b"") == ""


def test_decode_takes_settings_by_name_and_number() -> None:
    text = "Вести"
    assert zelk.decode(text.encode("iso8859-5"), default="iso8859-5") == text
    assert zelk.decode(text.encode("iso8859-5"), default=5) == text
    assert zelk.decode(memoryview(b"\x05Ren\xe9")) == "René"
    assert zelk.decode(b"\x05Ren\xe9", ignore_selector=True) == zelk.decode(b"Ren\xe9")
    assert zelk.decode(b"a\x86b\x87") == "ab"
    assert zelk.decode(b"a\x86b\x87", keep_emphasis=True) == "a\x86b\x87"


@pytest.mark.parametrize("arguments", [{"region": "mars"}, {"default": "iso8859-17"}])
def test_wrong_names_are_value_errors(arguments: dict[str, str]) -> None:
    with pytest.raises(ValueError, match="expected (region|default) to be a number, or one of"):
        zelk.decode(b"a", **arguments)  # type: ignore[arg-type]


def test_text_is_no_bytes() -> None:
    with pytest.raises(TypeError, match="expected bytes, found str"):
        zelk.decode("a")  # type: ignore[arg-type]


class Number:
    """An integer as numpy has them."""

    def __init__(self, value: int) -> None:
        self.value = value

    def __index__(self) -> int:
        return self.value


def test_numbers_are_what_the_library_holds() -> None:
    assert zelk.decode(b"\xb2", default=Number(5)) == "В"
    assert zelk.encode("č", Number(2), forms=Number(0), most_bytes=Number(9)) == zelk.encode("č", "iso8859-2")
    for name in ("region", "default", "extra"):
        for number in (2**31, -(2**31) - 1, 2**32 + 5, 2**64):
            with pytest.raises(ValueError, match=f"expected {name} from -2147483648 to 2147483647, found {number}"):
                zelk.decode(b"a", **{name: number})
        with pytest.raises(TypeError, match=f"expected an integer for {name}, found float"):
            zelk.decode(b"a", **{name: 1.0})  # type: ignore[arg-type]
    for forms in (-1, 2**32, 1 << 31, 1 << 12):
        with pytest.raises(ValueError, match="expected forms"):
            zelk.encode("a", forms=forms)
    with pytest.raises(ValueError, match="expected most_bytes from 0 to 2147483647, found -1"):
        zelk.encode("a", most_bytes=-1)


def test_other_types_are_told_by_name() -> None:
    with pytest.raises(TypeError, match="expected a str for text, found bytes"):
        zelk.encode(b"a")  # type: ignore[arg-type]
    with pytest.raises(TypeError, match="expected a str for language, found bytes"):
        zelk.guess(b"a", language=b"eng")  # type: ignore[arg-type]
    with pytest.raises(TypeError, match="expected bytes, found list"):
        zelk.lint([1])  # type: ignore[arg-type]


def test_memory_is_counted_in_bytes() -> None:
    units = array("H", [0x6143, 0xC266, 0x0065])
    assert zelk.decode(memoryview(units)) == zelk.decode(units.tobytes())
    assert zelk.decode(memoryview(b"C-a-f-\xc2-e")[::2]) == "Café"


def test_explain_names_what_was_found_and_where() -> None:
    told = zelk.explain(b"\x05Caf\xe9 \x1b!")
    assert (told.text, told.table, told.reason, told.selector_length) == ("Café !", "ISO 8859-9", "selector", 1)
    (finding,) = told.findings
    assert (finding.kind, finding.offset, finding.length, finding.value) == ("control-dropped", 6, 1, 0x1B)
    assert zelk.explain(b"plain").findings == ()
    worst = zelk.explain(b"A" + b"\xa6" * 1000)
    assert worst.severity == "error" and len(worst.findings) == 1000


def test_lint_gives_the_clause_and_a_sentence() -> None:
    clauses = {fault.kind: fault.clause for fault in zelk.lint(b"\x05News")}
    assert clauses["selector-needless"].startswith("ETSI EN 300 468")
    assert zelk.lint(b"News") == ()
    assert len(zelk.lint(b"A" + b"\xa6" * 100)) >= 100


def test_guess_ranks_tables() -> None:
    best, *others = zelk.guess("Réalisé par une équipe française".encode("iso8859-1"))
    assert best.language == "fre"
    assert best.confidence > 0.7 and not best.announced
    assert all(one.confidence <= best.confidence for one in others)


def test_encode_says_the_text_or_that_it_cannot() -> None:
    for text in ("News", "Café", "Γαλάζιο Κανάλι", "Вечерние вести", "海岸一台", "a\nb", ""):
        assert zelk.decode(zelk.encode(text)) == text
    assert zelk.encode("Γ", forms=1, errors="replace") == b"?"
    with pytest.raises(ValueError, match="no allowed form says 'Γ' at 3"):
        zelk.encode("ab Γ", forms=1)
    with pytest.raises(ValueError, match="does not fit 3 bytes"):
        zelk.encode("News", most_bytes=3)
    assert zelk.encode("News", most_bytes=3, errors="replace") == b"New"


def test_threads_share_nothing() -> None:
    wrong: list[str] = []

    def work() -> None:
        for number in range(2000):
            if zelk.decode(b"Caf\xc2e %d" % number) != f"Café {number}":
                wrong.append(str(number))

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong
