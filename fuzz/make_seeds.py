#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets: corpus/<family>/seed_<n>, settings first, then a text of our own invention.

The settings are those that the target reads from the front of its input. What fuzzing finds is kept beside the seeds.
"""
from pathlib import Path

WORDS = ["Abendschau & Wetter", "Café <Zoë> \"Õhtu\"", "Ελλάδα σήμερα", "Новости дня", "Příliš žluťoučký kůň", "ıĞüşÖç İyi geceler"]
LEGACY = [word.encode(name, "replace") for word, name in zip(
    WORDS, ["iso8859-1", "iso8859-15", "iso8859-7", "iso8859-5", "iso8859-2", "iso8859-9"])]
UTF8 = [word.encode() for word in WORDS]
PAIRS = [word.encode("utf-16-be") for word in WORDS]
BROKEN = [b"\xC3", b"\xE2\x82", b"\xC0\x80\xE0\x80\xAF", b"\xF0\x9F\x98\x80", b"a\x80b\xFFc", b"\xED\xA0\x80\xEF\xBF\xBD", b"",
          b"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", b"\xC1\xBF\xE0\x9F\xBF\xE0\xA0\xBF\xF0"]
# The DVB default table: marks and letters, a line break, emphasis; each selector; two-byte, prepared and compressed.
DVB = [b"\xC2e\xC8o\xCFs \x8A \x86x\x87 \xE1\xFB\xC1", b"\xC1\xC1", b"plain text that is longer than one block of the kernels\x8A" * 2]
DVB += [bytes([selector]) + text for selector, text in zip(range(1, 12), LEGACY * 2)]
DVB += [b"\x10\x00" + bytes([part]) + text for part, text in zip(range(1, 16), LEGACY * 3)]
DVB += [selector + pairs for selector in (b"\x11", b"\x14") for pairs in PAIRS[:3]]
DVB += [selector + text for selector in (b"\x15", b"\x16", b"\x1D") for text in UTF8[:4] + BROKEN]
DVB += [b"\x1F" + bytes([kind]) + b"\x12\x34\x56\x78\x9A\xBC\xDE\xF0" for kind in range(0, 8)]
XML = [b"&amp;&lt;&gt;&quot;&apos;", b"a & b < c > \"d\" 'e'", b"&a;&;&l;&am", b"&#65;&#0;&#x41;&#12345;&#65", b"&unknown;&toolong"]
PATTERNS = [b"*\nabc", b"a*c\nabbbc", b"?b?\nabc", b"*?\nwhat?", b"**a\nx*bca", b"a**\nab", b"*a*b*c\nxxaxxbxxc", b"A\x01*\x9FZ\na..z\x7F"]
LISTS = [b"\n".join(UTF8[i:i + 3]) for i in range(4)] + [b"Zebra\nzebra\n\xC3\x84pfel", b"co-op\ncoop\nco op", b"\xC3\x86gir\nAegir\nAEGIR"]
SURROGATES = [b"\xD8\x3D\xDE\x00", b"\xD8\x3D", b"\xDE\x00", b"\xD8\x3D\x00A", b"\x00A\x00\xE9\x20\xAC"]
TELETEXT = [bytes([0xE0 + page, low]) for page in range(3) for low in (0x00, 0x10, 0x41, 0xFF)] + [b"\xE2\x10\x00A\xE3\x00"]

# A function of columns as the target picks it, its settings, and rows.
READ = bytes([1, 18, 0, 0, 0])
ARROW = [(0, b"\1\1\1" + READ + b"\1\1\1", [text for text in DVB[:9] if b"\n" not in text]),
         (0, b"\x9F\1\1" + READ + b"\0\x04\x08", DVB[30:40] + BROKEN[:4]),
         (0, b"\xFF\1\0" + READ + b"\1\1\1", DVB[2:4]),
         (3, b"\x0F\1\0\0\0\0\2", UTF8),
         (4, b"\0\2", LEGACY), (4, b"\1\x0A", LEGACY), (4, b"\2\0", PAIRS[:4] + SURROGATES),
         (5, b"\1", UTF8 + [b"BBC 2", b"BBC 10"]), (6, b"\1a*b?\n", [b"abc", b"aXXbc", b"b", b""])]


def described(tag: int, content: bytes) -> bytes:
    return bytes([tag, len(content)]) + content


def counted(text: bytes) -> bytes:
    return bytes([len(text)]) + text


def looped(descriptors: bytes, above: int = 0xF000) -> bytes:
    return (above | len(descriptors)).to_bytes(2, "big") + descriptors


# A section as the target reads it: packet identifier and table in one byte, its extension, how often its payload stands
# in it, and the payload up to a line feed.
def sections() -> list[bytes]:
    name = LEGACY[0]
    short = described(0x4D, b"eng" + counted(name) + counted(b"A text."))
    extended = described(0x4E, b"\x00eng" + counted(counted(b"Cast") + counted(name)) + counted(b"A long text."))
    event = b"\0\7\xEF\x7C\x12\x45\0\1\x30\0" + looped(short + extended)
    service = b"\0\x65\xFC" + looped(described(0x48, b"\1" + counted(b"Provider") + counted(name)))
    return [b"\x00\1\0" + looped(described(0x40, b"Network")) + b"\xF0\0",
            b"\x11\1\0" + looped(described(0x47, b"Bouquet")) + b"\xF0\0",
            b"\x09\1\0" + b"\x32\1\xFF" + service,
            b"\x09\1\7" + b"\x32\1\xFF" + service,
            b"\x16\2\0" + b"\0\1\x32\1\0\x4E" + event,
            b"\x1E\2\7" + b"\0\1\x32\1\0\x50" + event,
            b"\x27\0\0\xEF\x7C\x12\x45\0",
            b"\x2B\0\0\xEF\x7C\x12\x45\0" + looped(described(0x58, b"DEU\x02\1\0\xEF\x7C\1\0\0\2\0"))]


# The same of ATSC: a guide that names packets, a channel, events with and without a longer text, the time.
def atsc_sections() -> list[bytes]:
    strings = lambda text: b"\1eng\1\0\0" + counted(text)
    entry = lambda kind, pid: kind + (0xE000 | pid).to_bytes(2, "big") + b"\xE1\0\0\0\0\xF0\0"
    channel = "ZELK-TV".encode("utf-16-be") + b"\xF0\x04\x01\4\0\0\0\0\0\1\0\1\x0D\xC2\0\1"
    event = b"\xC0\7\x50\0\0\0\xD0\x0E\x10" + counted(strings(b"News")) + looped(described(0xAB, b"\xE1\x26"))
    return [b"\x00\0\0\0\0\2" + entry(b"\1\0", 0x1D00) + entry(b"\2\0", 0x1E00) + b"\xF0\0",
            b"\x04\1\0\0\1" + channel + looped(described(0xA0, strings(b"Zelk television")), 0xFC00) + b"\xFC\0",
            b"\x0D\1\0\0\1" + event,
            b"\x12\0\0\0\0\1\0\x1E" + strings(b"What has happened."),
            b"\x14\0\0\0\x50\0\0\1\x12\x60\0"]


def seeds() -> dict[str, list[bytes]]:
    ample, few = b"\xFF", b"\x07"
    with_size = lambda texts: [size + coin + text for size in (ample, few) for coin in (b"\0", b"\1") for text in texts]
    regions = [bytes([region, code, 0, flags]) for region, code, flags in [(1, 18, 0), (0, 18, 1), (3, 7, 0), (5, 18, 0), (6, 0, 1), (2, 5, 0)]]
    settings = lambda texts: [regions[i % len(regions)] + text for i, text in enumerate(texts)]
    return {
        "dvb": settings(with_size(DVB)[::3]),
        "dvb_class": settings([coin + text for coin in (b"\0", b"\1") for text in DVB][::2]),
        "huffman_class": [bytes([title, 0, 40]) + text for title in (0, 1) for text in UTF8 + [b"\x12\x34\x56\x00", b""]],
        "huffman_stream": [bytes([table]) + text for table in (0, 1) for text in UTF8 + [b"\x12\x34\x56\x78"]],
        "huffman_malaysia": [bytes([table, 40]) + text for table in (0, 1) for text in LEGACY + [b"\xCA\x35\x81\x7F", b"\xFF\xFF"]],
        "utf8_char": UTF8 + BROKEN,
        "utf8_stream": [ample + text for text in UTF8 + BROKEN + PAIRS],
        "utf8_text": with_size(UTF8 + BROKEN + PAIRS[:2])[::2],
        "utf8_util": [ample + b"\2\5" + text for text in UTF8 + BROKEN + [b"xaxbx"]],
        "utf8_quote": [size + b"\1\0'" + b"a'b\xC3\xA9'c'd" for size in (ample, few)] + [ample + b"\0\x20\x19\x20\x1B" + "o\u2019in\u201Bo".encode()],
        "iso8859": [bytes([part]) + ample + b"\0\4" + text for part, text in zip(range(19), (LEGACY + UTF8) * 2)],
        "windows": [bytes([page, identifier]) + ample + b"\0" + text for page, identifier, text in zip(range(9), range(9), LEGACY * 2)],
        "teletext": with_size([b"".join(TELETEXT)] + TELETEXT[:2]),
        "packet": [b"\5" + text for text in (b"one\ntwo", b"\n", b"\0A\0B\n\0C", b"\xE4\xF6\n\xFC")],
        "copy": with_size([b"one", b"\0o\0n\0e", b"\xE4\xF6\xFC!", b""]),
        "quote": [size + b"\xFF'\1a'b'c'd'" for size in (ample, few)] + [ample + b"\xFF(\0)x(in)out(open"],
        "substr": [b"\xFF\1\2" + b"new\nabcdef", b"\7\0\xFF\n\x01a\x80b\x9F", b"\xFF\x3F\1x\nshort"],
        "xml": with_size(XML),
        "wildcard": PATTERNS,
        "collate": [shared + texts for shared in (b"\0", b"\x40") for texts in LISTS],
        "transport_stream": [bytes([1 | few << 2, limit, limit * 30]) + b"\n".join(sections()[:few]) + b"\n" + damage
                             for few in (1, 4, 6) for limit in (1, 7) for damage in (b"", b"\3\1\x02\x80\xFF\2\0\x10\0\x30\xB0")]
                            + [bytes([1 | 1 << 2, 7, 255]) + section + b"\n" for section in sections()]
                            + [bytes([form | 5 << 2 | system, 7, 255]) + b"\n".join(of[-5:]) + b"\n"
                               for system, of in ((0, sections()), (0x80, atsc_sections())) for form in (1, 3)]
                            + [b"\0\7\xFF" + before + b"G\x40\x11\x10" + b"\0" * 184 for before in (b"", b"TIME", b"G")],
        "utf16": with_size(SURROGATES + PAIRS[:3]),
        "arrow": [bytes([function, layout, nulls, layout % 2, layout // 2, layout % 4, 1]) + settings + b"\n".join(rows)
                  for function, settings, rows in ARROW for layout, nulls in enumerate((0, 2, 0, 8, 0, 1, 0))],
    }


def main() -> None:
    for family, texts in seeds().items():
        folder = Path(__file__).parent / "corpus" / family
        folder.mkdir(parents=True, exist_ok=True)
        for number, text in enumerate(texts):
            (folder / f"seed_{number:02}").write_bytes(text)


if __name__ == "__main__":
    main()
