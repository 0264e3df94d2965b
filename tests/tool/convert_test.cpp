// zelk convert: every set, and streams of any length.
#include "helpers/text.h"
#include "tool/run.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using namespace zelk_test;

// Bytes that the tool reads at a time; characters are laid across its multiples.
constexpr std::size_t chunk = 65536;

Result convert(const std::string &from, const std::string &input, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"convert", "--from", from});
    return run(more, input);
}

TEST(Convert, EverySet) {
    struct Case {
        const char *set;
        const char *input;
        const char *output;
    };
    const Case cases[] = {
        {"ascii", "41 E9", "41 EF BF BD"},
        {"iso8859-1", "41 E9", "41 C3 A9"},
        {"iso8859-2", "B1", "C4 85"},
        {"iso8859-3", "A1 A5", "C4 A6 EF BF BD"},
        {"iso8859-4", "A2", "C4 B8"},
        {"iso8859-5", "C3", "D0 A3"},
        {"iso8859-6", "41 C7", "41 EF BF BD"},
        {"iso8859-7", "E1", "CE B1"},
        {"iso8859-8", "41 E0", "41 EF BF BD"},
        {"iso8859-9", "FD", "C4 B1"},
        {"iso8859-10", "BD", "E2 80 95"},
        {"iso8859-11", "41 A1", "41 EF BF BD"},
        {"iso8859-13", "A1", "E2 80 9D"},
        {"iso8859-14", "A1", "E1 B8 82"},
        {"iso8859-15", "A4", "E2 82 AC"},
        {"iso8859-16", "AA", "C8 98"},
        {"windows-1250", "8A", "C5 A0"},
        {"windows-1251", "C0", "D0 90"},
        {"windows-1252", "80 81", "E2 82 AC EF BF BD"},
        {"windows-1253", "E1", "CE B1"},
        {"windows-1254", "FD", "C4 B1"},
        {"windows-1257", "C0", "C4 84"},
        {"teletext", "00 41 E2 00 E0 00 20 AC", "41 C4 BD 20 E2 82 AC"},
        {"teletext-le", "41 00 00 E2", "41 C4 BD"},
        {"ucs2be", "00 41 20 AC D8 00", "41 E2 82 AC EF BF BD"},
        {"ucs2le", "41 00 AC 20", "41 E2 82 AC"},
        {"utf8", "41 C3 A9 C0 80 F0 9F C3", "41 C3 A9 EF BF BD EF BF BD EF BF BD EF BF BD"},
        {"dvb", "05 E9 0A 0A C2 65 0A 41", "C3 A9 0A 0A C3 A9 0A 41"},
    };
    for (const Case &c : cases) {
        const Result result = convert(c.set, bytes(c.input));
        EXPECT_EQ(result.status, 0) << c.set;
        EXPECT_EQ(result.out, bytes(c.output)) << c.set;
        EXPECT_EQ(result.error.empty(), result.out.find("\xEF\xBF\xBD") == std::string::npos) << result;
    }
}

TEST(Convert, CountsWhatItCouldNotRead) {
    const auto report = [](const char *count) {
        return std::string("zelk convert: ") + count + " written as U+FFFD\n";
    };
    const std::string mark = "\xEF\xBF\xBD";
    EXPECT_EQ(convert("1252", "\x81"
                              "a\x8D"),
              (Result{0, mark + "a" + mark, report("2 unreadable characters")}));
    EXPECT_EQ(convert("1252", "\x81", {"--to", "ucs2"}), (Result{0, "\xFF\xFD", report("1 unreadable character")}));
    // A U+FFFD of the input is a character like others.
    EXPECT_EQ(convert("utf8", mark + "\xFF"), (Result{0, mark + mark, report("1 unreadable character")}));
    EXPECT_EQ(convert("utf8", mark), success(mark));
    EXPECT_EQ(convert("ucs2", "\xFF\xFD"), success(mark));
    EXPECT_EQ(convert("utf8", mark, {"--to", "ucs2"}), success("\xFF\xFD"));
}

TEST(Convert, StrictStopsAtTheFirstFault) {
    const std::string filler(chunk, 'x');
    EXPECT_EQ(convert("1252", "ab\x81", {"--strict"}),
              failure(2, "zelk convert: standard input: offset 2: expected a character of windows-1252, found 81"));
    const Result late = convert("utf8", filler + "\xC3\xA9\xE2\x82(", {"--strict", "--to", "ucs2"});
    EXPECT_EQ(late.status, 2);
    EXPECT_EQ(late.error, "zelk convert: standard input: offset 65538: expected a character of utf8, found E2 82\n");
    EXPECT_EQ(convert("ucs2le", bytes("41 00 00 D8"), {"--strict"}).error,
              "zelk convert: standard input: offset 2: expected a character of ucs2le, found 00 D8\n");
    EXPECT_EQ(convert("dvb", "a\n\x15\xFF\n", {"--strict"}).error,
              "zelk convert: standard input: offset 2: expected a character of dvb, found 15 FF 0A\n");
    EXPECT_EQ(convert("latin1", "\xE9", {"--strict"}), success("\xC3\xA9"));
}

TEST(Convert, TakesTheOptionsOfIconv) {
    const File out("");
    EXPECT_EQ(run({"convert", "-f", "latin1", "-t", "utf8", "-o", out.path()}, "\xE9"), success(""));
    EXPECT_EQ(run({"convert", "-f", "utf8", out.path()}), success("\xC3\xA9"));
    EXPECT_EQ(run({"convert", "-f", "1", "-o", "/no/such/file"}, "a"),
              failure(3, "zelk convert: /no/such/file: No such file or directory"));
}

// A file that is written while it is read would lose what has not been read.
TEST(Convert, LeavesAnInputThatIsTheOutputAsItIs) {
    const File file("\xE9\n");
    const File other("a\n");
    const Result refused =
        failure(2, "zelk convert: " + file.path() + ": expected an output file that is not read, too");
    EXPECT_EQ(run({"convert", "-f", "latin1", "-o", file.path(), file.path()}), refused);
    EXPECT_EQ(run({"convert", "-f", "latin1", "-o", file.path(), other.path(), file.path()}), refused);
    const std::string redirected = "\"$0\" convert -f latin1 -o \"$1\" < \"$1\"";
    EXPECT_EQ(runProgram("sh", {"-c", redirected, ZELK_TOOL, file.path()}), refused);
    EXPECT_EQ(run({"convert", "-f", "latin1", file.path()}), success("\xC3\xA9\n"));
}

TEST(Convert, LeavesTheOutputAsItIsWithoutAnInput) {
    const File out("kept\n");
    EXPECT_EQ(run({"convert", "-f", "latin1", "-o", out.path(), "/no/such/file"}),
              failure(3, "zelk convert: /no/such/file: No such file or directory"));
    EXPECT_EQ(run({"convert", "-f", "ascii", out.path()}), success("kept\n"));
    EXPECT_EQ(run({"convert", "-f", "latin1", "-o", out.path()}), success("")); // of nothing, nothing
    EXPECT_EQ(run({"convert", "-f", "ascii", out.path()}), success(""));
}

TEST(Convert, WarnsOfSetsThatAreAsciiAlone) {
    for (const char *set : {"iso8859-6", "iso8859-8", "iso8859-11"}) {
        EXPECT_EQ(convert(set, "A"),
                  (Result{0, "A", std::string("zelk convert: of ") + set + " only the ASCII part is supported\n"}));
    }
}

TEST(Convert, ListsItsSets) {
    const Result list = run({"convert", "--list"});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.out.substr(0, list.out.find('\n')),
              "Set           Also          Direction  Characters   What it is");
    EXPECT_NE(
        list.out.find("\niso8859-15    15, latin9    from, to   256 of 256   Western European with the euro sign\n"),
        std::string::npos);
    EXPECT_NE(list.out.find("\niso8859-6     6, arabic     from, to   128 of 256   Arabic"), std::string::npos) << list;
    EXPECT_NE(list.out.find("\nteletext      teletext-be   from       U+0000-FFFF  Units"), std::string::npos) << list;
    // Every set is converted above, and every other name is taken.
    std::size_t sets = 0;
    for (std::size_t at = list.out.find('\n') + 1; at < list.out.size(); at = list.out.find('\n', at) + 1, ++sets) {
        std::string others = list.out.substr(at + 14, 14);
        others.erase(std::min(others.find("  "), others.size()));
        for (std::size_t comma = 0; !others.empty(); others.erase(0, comma + 2)) {
            comma = std::min(others.find(", "), others.size() - 1);
            const std::string other = others.substr(0, others.find(", "));
            EXPECT_EQ(convert(other, "").status, 0) << other;
            if (others.find(", ") == std::string::npos) {
                break;
            }
        }
    }
    EXPECT_EQ(sets, 28U);
}

// What a single-byte set reads it also writes, as iconv does. The library has an earlier edition of ISO 8859-7.
TEST(Convert, WritesSingleByteSets) {
    for (const char *set : {"iso8859-1", "iso8859-2", "iso8859-5", "iso8859-9", "iso8859-15", "windows-1250",
                            "windows-1251", "windows-1252"}) {
        const std::string name = std::string(set).rfind("windows", 0) == 0 ? "CP" + std::string(set).substr(8) : set;
        std::string all;
        for (int byte = 0x20; byte < 0x100; ++byte) {
            const std::string one(1, static_cast<char>(byte));
            const bool assigned =
                byte < 0x7F || (byte > 0x9F && runProgram("iconv", {"-f", name, "-t", "UTF-8"}, one).status == 0);
            all += assigned ? one : "";
        }
        const Result text = runProgram("iconv", {"-f", name, "-t", "UTF-8"}, all);
        ASSERT_EQ(text.status, 0) << name << text;
        EXPECT_EQ(convert("utf8", text.out, {"-t", set}), success(all)) << set;
    }
    EXPECT_EQ(convert("latin1", std::string("a\0\xE9", 3), {"-t", "ucs2"}), success(bytes("00 61 00 00 00 E9")));
    EXPECT_EQ(convert("utf8", std::string("a\0\xC3\xA9", 4), {"-t", "latin1"}), success(bytes("61 00 E9")));
    EXPECT_EQ(convert("1252", "\x80 100", {"-t", "latin9"}), success("\xA4 100"));
    EXPECT_EQ(convert("utf8",
                      "\xE2\x82\xAC"
                      "a\xE4\xB8\x80",
                      {"-t", "latin1"}),
              (Result{0, "?a?", "zelk convert: 2 characters written as a question mark\n"}));
    EXPECT_EQ(convert("utf8", "\xFF", {"-t", "latin1"}),
              (Result{0, "?", "zelk convert: 1 character written as a question mark\n"}));
    EXPECT_EQ(convert("utf8", "a", {"-t", "iso8859-6"}),
              (Result{0, "a", "zelk convert: of iso8859-6 only the ASCII part is supported\n"}));
}

TEST(Convert, StrictStopsAtACharacterWithoutAPlace) {
    const std::string filler(chunk, 'x');
    EXPECT_EQ(convert("utf8", "\xC3\xA9\xE2\x82\xAC", {"-t", "latin1", "--strict"}).error,
              "zelk convert: standard input: offset 2: expected a character of iso8859-1, found U+20AC (E2 82 AC)\n");
    const Result late = convert("ucs2", bytes("00 41 20 AC"), {"-t", "ascii", "--strict"});
    EXPECT_EQ(late.status, 2);
    EXPECT_EQ(late.error,
              "zelk convert: standard input: offset 2: expected a character of ascii, found U+20AC (E2 82 AC)\n");
    EXPECT_EQ(
        convert("1252", filler + "\x80", {"-t", "latin1", "--strict"}).error,
        "zelk convert: standard input: offset 65536: expected a character of iso8859-1, found U+20AC (E2 82 AC)\n");
}

// Of two faults in one stretch the first counts, be it in reading or in writing.
TEST(Convert, StrictStopsAtTheFirstOfTwoFaults) {
    const auto found = [](const std::string &from, const std::string &to, const std::string &input) {
        const std::string error = convert(from, input, {"-t", to, "--strict"}).error;
        return error.substr(error.find("standard input: ") + 16);
    };
    EXPECT_EQ(found("1257", "latin9", "a\xD4\x81"),
              "offset 1: expected a character of iso8859-15, found U+014C (C5 8C)\n");
    EXPECT_EQ(found("1257", "latin9", "a\x81\xD4"), "offset 1: expected a character of windows-1257, found 81\n");
    EXPECT_EQ(found("utf8", "latin1", "\xC3\xA9\xE2\x82\xAC\xFF"),
              "offset 2: expected a character of iso8859-1, found U+20AC (E2 82 AC)\n");
    EXPECT_EQ(found("utf8", "latin1", "\xFF\xE2\x82\xAC"), "offset 0: expected a character of utf8, found FF\n");
}

// Where an ISO text is UTF-8, or was up to some place, the offset is of the input, too.
TEST(Convert, StrictCountsBytesOfTheInput) {
    const std::string filler(chunk, 'x');
    const auto message = [](std::size_t offset, const std::string &what) {
        return "zelk convert: standard input: offset " + std::to_string(offset) + ": expected a character of " + what +
               '\n';
    };
    const auto strict = [](const std::string &from, const std::string &input, const std::string &to,
                           const std::string &option) {
        return convert(from, input, {"-t", to, "--strict", option}).error;
    };
    const std::string euro = "iso8859-1, found U+20AC (E2 82 AC)";
    for (const char *option : {"--checked", "--tolerant"}) {
        EXPECT_EQ(strict("latin9", "a\xC3\xA9\xE2\x82\xAC", "latin1", option), message(3, euro));
        EXPECT_EQ(strict("latin9", filler + "\xC3\xA9" + filler + "\xE2\x82\xAC", "latin1", option),
                  message(2 * chunk + 2, euro));
    }
    EXPECT_EQ(strict("latin9", std::string("\xC3\xA9\0b\xFF\xA4", 6), "latin1", "--tolerant"), message(5, euro));
    EXPECT_EQ(strict("latin9", "\xC3\xA9" + filler + "\xFF" + filler + "\xA4", "latin1", "--tolerant"),
              message(2 * chunk + 3, euro));
    EXPECT_EQ(strict("latin9", "\xC3\xA9\xFF\xA4", "latin1", "--checked"), message(3, euro));
    // U+FFFD in what is UTF-8 is a character; a byte without one is none.
    EXPECT_EQ(strict("iso8859-3", "\xEF\xBF\xBD", "utf8", "--checked"), "");
    EXPECT_EQ(strict("iso8859-3", "\xC3\xA9\xFFz\xA5", "utf8", "--tolerant"), message(4, "iso8859-3, found A5"));
}

TEST(Convert, SurrogatesAreNoCharactersOfSingleBytes) {
    const std::string pair = bytes("00 61 D8 3D DE 00 00 62");
    EXPECT_EQ(convert("ucs2", pair, {"-t", "latin1"}),
              (Result{0, "a??b", "zelk convert: 2 characters written as a question mark\n"}));
    EXPECT_EQ(convert("ucs2", pair, {"-t", "latin1", "--strict"}).error,
              "zelk convert: standard input: offset 2: expected a character of ucs2be, found D8 3D\n");
    EXPECT_EQ(convert("ucs2le", bytes("61 00 3D D8"), {"-t", "latin1", "--strict"}).error,
              "zelk convert: standard input: offset 2: expected a character of ucs2le, found 3D D8\n");
    EXPECT_EQ(convert("ucs2", pair, {"-t", "ucs2le"}), success(bytes("61 00 3D D8 00 DE 62 00")));
}

TEST(Convert, NamesAreForgiving) {
    for (const char *name : {"ISO-8859-15", "iso_8859-15", "ISO885915", "Latin9", "latin-9", "15"}) {
        EXPECT_EQ(convert(name, "\xA4"), success("\xE2\x82\xAC")) << name;
    }
    for (const char *name : {"UTF-8", "utf8"}) {
        EXPECT_EQ(convert(name, "A"), success("A")) << name;
    }
}

TEST(Convert, WritesUcs2InBothOrders) {
    const std::string input = bytes("41 A4 00 0A");
    EXPECT_EQ(convert("latin9", input, {"--to", "ucs2"}), success(bytes("00 41 20 AC 00 00 00 0A")));
    EXPECT_EQ(convert("latin9", input, {"--to", "ucs2be"}), success(bytes("00 41 20 AC 00 00 00 0A")));
    EXPECT_EQ(convert("latin9", input, {"--to", "ucs2le"}), success(bytes("41 00 AC 20 00 00 0A 00")));
    EXPECT_EQ(convert("latin9", input, {"--to", "utf8"}), success(bytes("41 E2 82 AC 00 0A")));
}

// A zero byte ends a text for the library; in a stream it is a character.
TEST(Convert, ZeroBytesPassThrough) {
    EXPECT_EQ(convert("latin1", bytes("00 41 00 00 E9 00")), success(bytes("00 41 00 00 C3 A9 00")));
    EXPECT_EQ(convert("1252", bytes("00 80 00")), success(bytes("00 E2 82 AC 00")));
    EXPECT_EQ(convert("ucs2", bytes("00 00 00 41 00 00")), success(bytes("00 41 00")));
    EXPECT_EQ(convert("teletext", bytes("00 00 E2 00 00 00")), success(bytes("00 C4 BD 00")));
    EXPECT_EQ(convert("utf8", bytes("00 C3 A9 00")), success(bytes("00 C3 A9 00")));
    EXPECT_EQ(convert("latin1", bytes("00 C3 A9 00 E9 00"), {"--tolerant"}), success(bytes("00 C3 A9 00 C3 A9 00")));
    EXPECT_EQ(convert("latin1", bytes("00 C3 A9 00"), {"--checked"}), success(bytes("00 C3 A9 00")));
}

// Beside other control codes, of which a text has some or all.
TEST(Convert, ZeroBytesStandBesideControlCodes) {
    std::string controls;
    for (const char last : {'\0', '\x01', '\x1E', '\x1F'}) {
        while (controls.empty() || controls.back() != last) {
            controls += static_cast<char>(controls.size());
        }
        const std::string latin = controls + '\xE9' + controls;
        const std::string utf8 = controls + "\xC3\xA9" + controls;
        std::string wide;
        for (const char byte : latin) {
            wide += {'\0', byte};
        }
        EXPECT_EQ(convert("latin1", latin), success(utf8));
        EXPECT_EQ(convert("1252", latin), success(utf8));
        EXPECT_EQ(convert("latin1", latin, {"-t", "1252"}), success(latin));
        EXPECT_EQ(convert("latin1", latin, {"-t", "ucs2"}), success(wide));
        EXPECT_EQ(convert("utf8", utf8), success(utf8));
        EXPECT_EQ(convert("utf8", utf8, {"-t", "latin1"}), success(latin));
        EXPECT_EQ(convert("utf8", utf8, {"-t", "ucs2"}), success(wide));
        EXPECT_EQ(convert("ucs2", wide), success(utf8));
    }
    // A zero byte cuts a sequence off as the end does.
    const std::pair<const char *, const char *> cuts[] = {
        {"C3", "EF BF BD"}, {"E2 82", "EF BF BD"}, {"FF 41 E2", "EF BF BD 41 EF BF BD"}};
    for (const auto &[cut, marked] : cuts) {
        EXPECT_EQ(convert("utf8", bytes(cut) + controls + bytes(cut)).out, bytes(marked) + controls + bytes(marked))
            << cut;
    }
    EXPECT_EQ(convert("utf8", std::string("a\xC3\0", 3), {"--strict"}).error,
              "zelk convert: standard input: offset 1: expected a character of utf8, found C3\n");
    const std::string strict = std::string("\x01\0\0a\0", 5) + "\xE2\x82\xAC";
    EXPECT_EQ(convert("utf8", strict, {"-t", "latin1", "--strict"}).error,
              "zelk convert: standard input: offset 5: expected a character of iso8859-1, found U+20AC (E2 82 AC)\n");
}

TEST(Convert, CheckedKeepsUtf8OrConvertsAll) {
    EXPECT_EQ(convert("latin1", bytes("41 C3 A9"), {"--checked"}), success(bytes("41 C3 A9")));
    EXPECT_EQ(convert("latin1", bytes("C3 A9 42 E9"), {"--checked"}), success(bytes("C3 83 C2 A9 42 C3 A9")));
    EXPECT_EQ(convert("latin1", bytes("C3 A9 42 E9"), {"--checked", "--to", "ucs2"}),
              success(bytes("00 C3 00 A9 00 42 00 E9")));
    // The fault may come late: the beginning is not written before it is known.
    const std::string prefix(3 * chunk, 'x');
    EXPECT_EQ(convert("latin1", prefix + "\xC3\xA9" + prefix + "\xE9", {"--checked"}),
              success(prefix + bytes("C3 83 C2 A9") + prefix + bytes("C3 A9")));
    // Each file is judged for itself.
    const File utf8("\xC3\xA9\n");
    const File latin("\xE9\n");
    EXPECT_EQ(run({"convert", "--from", "latin1", "--checked", utf8.path(), latin.path()}),
              success(bytes("C3 A9 0A C3 A9 0A")));
}

TEST(Convert, TolerantKeepsUtf8UpToTheFirstFault) {
    EXPECT_EQ(convert("latin1", bytes("C3 A9 42 E9 C3 A9"), {"--tolerant"}),
              success(bytes("C3 A9 42 C3 A9 C3 83 C2 A9")));
    const std::string filler(chunk, 'x');
    EXPECT_EQ(convert("latin1", "\xC3\xA9" + filler + "\xE9" + filler + "\xC3\xA9", {"--tolerant"}),
              success("\xC3\xA9" + filler + "\xC3\xA9" + filler + bytes("C3 83 C2 A9")));
    // A sequence that the end cuts off is a fault too.
    EXPECT_EQ(convert("latin1", bytes("C3 A9 C3"), {"--tolerant"}), success(bytes("C3 A9 C3 83")));
    EXPECT_EQ(convert("latin1", bytes("41 C3"), {"--checked"}), success(bytes("41 C3 83")));
}

// A character at every position around the end of a buffer, in every set that has characters of several bytes: the
// n-th euro sign begins n - 3 bytes after the end of the n-th buffer.
TEST(Convert, CharactersMayStraddleBuffers) {
    std::string utf8;
    for (std::size_t n = 1; n <= 5; ++n) {
        utf8.resize(n * chunk + n - 3, 'x');
        utf8 += "\xE2\x82\xAC\xC3\xA9";
    }
    EXPECT_TRUE(convert("utf8", utf8) == success(utf8)); // too long to print
    EXPECT_TRUE(convert("latin1", utf8, {"--tolerant"}) == success(utf8));
    EXPECT_TRUE(convert("latin1", utf8, {"--checked"}) == success(utf8));
    EXPECT_TRUE(convert("latin1", utf8 + "\xE9", {"--tolerant"}) == success(utf8 + "\xC3\xA9"));

    std::string wide;
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        if (utf8[at] == 'x') {
            wide += {'\0', 'x'};
        } else if (utf8[at] == '\xE2') {
            wide += bytes("20 AC 00 E9");
        }
    }
    EXPECT_TRUE(convert("utf8", utf8, {"--to", "ucs2"}) == success(wide));
    EXPECT_TRUE(convert("ucs2", wide) == success(utf8));
    EXPECT_TRUE(convert("teletext", wide) == success(utf8));
}

// A string of DVB text, its selector, mark and letter on different sides of the end of a buffer.
TEST(Convert, StringsMayStraddleBuffers) {
    std::string lines;
    std::string expected;
    for (std::size_t n = 1; n <= 7; ++n) {
        while (lines.size() < n * chunk - 300) {
            lines += std::string(199, 'x') + '\n';
            expected += std::string(199, 'x') + '\n';
        }
        const std::string pad(n * chunk + n - 6 - lines.size(), 'y');
        lines += pad + "\n" + bytes("0B A4 0A C2 65 0A");
        expected += pad + "\n\xE2\x82\xAC\n\xC3\xA9\n";
    }
    EXPECT_TRUE(convert("dvb", lines) == success(expected));
    lines.pop_back();
    expected.pop_back();
    EXPECT_TRUE(convert("dvb", lines) == success(expected));
}

// Random text of several buffers through all forms and back.
TEST(Convert, RandomTextComesBack) {
    Random random(3);
    std::string utf8;
    while (utf8.size() < 3 * chunk) {
        const std::uint32_t kind = random.below(4);
        if (kind == 0) {
            utf8 += static_cast<char>(random.below(0x80));
        } else if (kind == 1) {
            utf8 += {static_cast<char>(0xC2 + random.below(0x1E)), static_cast<char>(0x80 + random.below(0x40))};
        } else {
            const std::uint32_t lead = 0xE1 + random.below(0xF);
            utf8 += {static_cast<char>(lead == 0xED ? 0xEE : lead), static_cast<char>(0x80 + random.below(0x40)),
                     static_cast<char>(0x80 + random.below(0x40))};
        }
    }
    for (const char *order : {"ucs2be", "ucs2le"}) {
        const Result wide = convert("utf8", utf8, {"--to", order});
        ASSERT_EQ(wide.status, 0);
        const Result back = convert(order, wide.out);
        EXPECT_EQ(back.status, 0);
        EXPECT_TRUE(back.out == utf8) << order; // too long to print
    }
    EXPECT_TRUE(convert("utf8", utf8).out == utf8);
}

// Input arrives in stretches of any length: a pipe gives what it has.
TEST(Convert, StretchesOfInputMakeNoDifference) {
    for (const std::size_t stretch : {1U, 2U, 3U, 5U, 4095U}) {
        const std::string text = "a\xE2\x82\xAC\xC3\xA9\n&amp;" + std::string(20, 'b');
        std::size_t at = 0;
        std::string out;
        const Result result = stream(
            {"convert", "--from", "utf8"},
            [&] {
                std::string part = text.substr(at, stretch);
                at += part.size();
                return part;
            },
            [&out](const std::string &part) { out += part; });
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(out, text) << stretch;
    }
}

// 200 MB through a pipe: within 64 MB of address space where the build allows such a limit.
TEST(Convert, StreamsInConstantMemory) {
#ifdef ZELK_TOOL_SANITIZED
    constexpr std::size_t total = 8U << 20U;
    const Environment environment;
#else
    constexpr std::size_t total = 200U << 20U;
    Environment environment;
    environment.addressSpace = 64U << 20U;
#endif
    const std::string line = "Caf\xE9 \xA4 100\n"; // 11 bytes become 14
    std::string stretch;
    for (int i = 0; i < 8000; ++i) {
        stretch += line;
    }
    const std::size_t stretches = total / stretch.size();
    for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
             {"convert", "--from", "iso8859-15"}, {"convert", "--from", "iso8859-15", "--tolerant"}}) {
        std::size_t given = 0;
        std::size_t taken = 0;
        std::uint64_t sum = 0;
        const Result result = stream(
            arguments, [&] { return given++ < stretches ? stretch : std::string(); },
            [&](const std::string &part) {
                taken += part.size();
                for (const char c : part) {
                    sum += static_cast<unsigned char>(c);
                }
            },
            environment);
        EXPECT_EQ(result.status, 0) << result.error;
        const std::uint64_t lines = stretches * 8000;
        std::uint64_t lineSum = 0;
        for (const char c : std::string("Caf\xC3\xA9 \xE2\x82\xAC 100\n")) {
            lineSum += static_cast<unsigned char>(c);
        }
        EXPECT_EQ(taken, lines * 14);
        EXPECT_EQ(sum, lines * lineSum);
    }
}

TEST(Convert, ReadsFilesInTurn) {
    const File first("\xE9");
    const File second("\xE8");
    EXPECT_EQ(run({"convert", "--from", "1", first.path(), "-", second.path()}, "x"), success("\xC3\xA9x\xC3\xA8"));
    // A character does not reach from one file into the next.
    const File lead("\xC3");
    const File continuation("\xA9");
    EXPECT_EQ(run({"convert", "--from", "utf8", lead.path(), continuation.path()}),
              (Result{0, bytes("EF BF BD EF BF BD"), "zelk convert: 2 unreadable characters written as U+FFFD\n"}));
}

TEST(Convert, SaysWhatIsWrong) {
    EXPECT_EQ(run({"convert"}), failure(2, "zelk convert: expected --from SET; 'zelk convert --list' lists the sets"));
    EXPECT_EQ(run({"convert", "--from", "latin99"}),
              failure(2, "zelk convert: --from: expected a character set of 'zelk convert --list', found 'latin99'; "
                         "see 'zelk convert --help'"));
    const Result target = run({"convert", "--from", "1", "--to", "teletext"});
    EXPECT_EQ(target.status, 2);
    EXPECT_EQ(target.error.find("zelk convert: --to: expected one of ascii, iso8859-1, "), 0U) << target;
    EXPECT_NE(target.error.find(", dvb, found 'teletext'; see 'zelk convert --help'\n"), std::string::npos) << target;
    for (const char *option : {"--checked", "--tolerant"}) {
        EXPECT_EQ(run({"convert", "--from", "1252", option}),
                  failure(2, "zelk convert: expected --checked and --tolerant only with an ISO 8859 set"));
    }
    EXPECT_EQ(run({"convert", "--from", "1", "--checked", "--tolerant"}),
              failure(2, "zelk convert: expected only one of --checked and --tolerant"));
    EXPECT_EQ(run({"convert", "--from", "1", "--region", "standard"}),
              failure(2, "zelk convert: expected the options of DVB text only with --from dvb or --to dvb"));
    EXPECT_EQ(convert("ucs2", bytes("00 41 00")),
              (Result{2, "A", "zelk convert: standard input: expected two bytes for each character\n"}));
    EXPECT_EQ(convert("dvb", std::string(65536, 'x')),
              failure(2, "zelk convert: expected DVB strings of at most 65535 bytes, one per line"));
    EXPECT_EQ(convert("dvb", std::string(65535, 'x') + "\n").out.size(), 65536U);
}

TEST(Convert, RegionReadsDvbStrings) {
    EXPECT_EQ(convert("dvb", bytes("01 C3 65"), {"--region", "iso8859-2"}), success("\xC3\xAA"));
    EXPECT_EQ(convert("dvb", bytes("C4 E3"), {"--region", "gb2312", "--to", "ucs2"}), success(bytes("4F 60")));
}

} // namespace
