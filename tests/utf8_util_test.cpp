// Measuring, checking, quoting and filtering of UTF-8 text against models that work on whole characters and strings.
#include "zelk.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "helpers/twins.h"
#include "reference/utf8_model.h"

#include <climits>
#include <string>

using namespace zelk_test;

namespace {

constexpr unsigned int unbounded = 0xFFFFFFFFU;

// Bytes that often form sequences, whole, broken and overlong, and quotes of one, two and three bytes.
std::string randomBytes(Random &random, std::size_t longest) {
    const char *const pieces[] = {"41", "42",       "01",       "22",       "7F",       "80",    "BF", "C3",
                                  "E2", "E2 82",    "E2 82 AC", "C2 AB",    "C2 BB",    "C2 85", "F0", "C0 80",
                                  "C2", "ED A0 80", "EF BF BD", "E2 80 9C", "E2 80 9D", "61",    "62", "E0 9F BF"};
    std::string text;
    while (text.size() < longest && !random.chance(8)) {
        text += bytes(pieces[random.below(std::size(pieces))]);
    }
    return text;
}

// Exactly these bytes in a block of their own, so that a read after them is found.
class Exact {
public:
    explicit Exact(const std::string &text) : bytes_(new unsigned char[text.size()]) {
        std::copy(text.begin(), text.end(), bytes_.get());
    }
    const unsigned char *data() const { return bytes_.get(); }

private:
    std::unique_ptr<unsigned char[]> bytes_;
};

template <class Call>
std::string written(int size, Call call) {
    Guarded<unsigned char> out(static_cast<std::size_t>(size));
    const unsigned int length = call(out.data());
    EXPECT_LT(length, out.size());
    EXPECT_EQ(out[length], 0);
    for (std::size_t i = length + 1; i < out.size(); ++i) {
        EXPECT_EQ(out[i], Guarded<unsigned char>::pattern());
    }
    return std::string(out.data(), out.data() + length);
}

} // namespace

TEST(Utf8Width, CountsCharacters) {
    const std::string text = bytes("41 C3 A9 E2 82 AC");
    EXPECT_EQ(zelkUtf8GetTextWidth(u8(text), unbounded), 3U);
    EXPECT_EQ(zelkUtf8GetTextWidth(u8(text), 2), 2U);
    EXPECT_EQ(zelkUtf8GetTextWidth(u8(text), 0), 0U);
    EXPECT_EQ(zelkUtf8GetTextWidth(u8(""), unbounded), 0U);
    EXPECT_EQ(zelkUtf8GetTextWidth(nullptr, unbounded), 0U);
    EXPECT_EQ(zelkUtf8GetTextWidth(u8(std::string(70000, 'x')), 0x7FFFFFFFU), 70000U);
}

TEST(Utf8Position, IsAByteOffset) {
    const std::string text = bytes("41 C3 A9 E2 82 AC");
    EXPECT_EQ(zelkUtf8Pos(u8(text), 0), 0U);
    EXPECT_EQ(zelkUtf8Pos(u8(text), 2), 3U);
    EXPECT_EQ(zelkUtf8Pos(u8(text), 10), 6U);
    EXPECT_EQ(zelkUtf8Pos(u8(text), unbounded), 6U);
    EXPECT_EQ(zelkUtf8Pos(u8(""), 3), 0U);
    EXPECT_EQ(zelkUtf8Pos(nullptr, 3), 0U);
    EXPECT_EQ(zelkUtf8Pos(u8(std::string(70000, 'x')), 69999), 69999U);
}

TEST(Utf8Measures, FollowTheModelAtEveryLength) {
    Random random(0x31);
    for (int round = 0; round < 500; ++round) {
        const std::string text = randomBytes(random, 16);
        for (std::size_t length = 0; length <= text.size(); ++length) {
            const std::string counted = text.substr(0, length);
            const auto characters = utf8CharactersModel(counted, TextEnd::Count);
            const Exact exact(counted);
            const bool valid = std::none_of(characters.begin(), characters.end(),
                                            [](const auto &step) { return step.character == 0xFFFDU; });
            ASSERT_EQ(zelkUtf8GetTextWidth(exact.data(), static_cast<unsigned int>(length)), characters.size());
            ASSERT_EQ(zelkUtf8TextIsValid(exact.data(), static_cast<unsigned int>(length)), valid ? 1 : 0);
        }
        const auto characters = utf8CharactersModel(text, TextEnd::Terminator);
        ASSERT_EQ(zelkUtf8GetTextWidth(u8(text), unbounded), characters.size());
        std::size_t offset = 0;
        for (unsigned int i = 0; i <= characters.size(); ++i) {
            ASSERT_EQ(zelkUtf8Pos(u8(text), i), offset);
            offset += i < characters.size() ? characters[i].bytes.size() : 0;
        }
    }
}

TEST(Utf8Validity, RejectsWhatDecodesToTheReplacementCharacter) {
    for (const char *const hex : {"F0 9F 98 80", "C0 80", "E0 80 80", "80", "FF", "EF BF BD", "41 C3", "41 E2 82"}) {
        EXPECT_EQ(zelkUtf8TextIsValid(u8(bytes(hex)), unbounded), 0) << hex;
    }
    for (const char *const hex : {"ED A0 80", "41 C3 A9", "EF BF BF", ""}) {
        EXPECT_EQ(zelkUtf8TextIsValid(u8(bytes(hex)), unbounded), 1) << hex;
    }
}

TEST(Utf8Validity, AcceptsACutOffSequence) {
    EXPECT_EQ(zelkUtf8TextIsValid(u8(bytes("41 C3")), 2), 1);
    EXPECT_EQ(zelkUtf8TextIsValid(u8(bytes("E2 82 AC")), 2), 1);
    EXPECT_EQ(zelkUtf8TextIsValid(u8(bytes("C3")), 1), 1);
}

TEST(Utf8Validity, OfNothingIsGiven) {
    EXPECT_EQ(zelkUtf8TextIsValid(nullptr, unbounded), 1);
    EXPECT_EQ(zelkUtf8TextIsValid(u8(bytes("80")), 0), 1);
}

namespace {

struct Checked {
    std::string text;
    int invalid;

    friend bool operator==(const Checked &, const Checked &) = default;
};

Checked copyChecked(const std::string &text, int size, int length, int invalid = 0) {
    return {
        written(size,
                [&](unsigned char *out) { return zelkUtf8CopyAndCheckIfValid(out, size, u8(text), length, &invalid); }),
        invalid};
}

// Characters are decoded while there is room for a byte; what is copied of the last one is what fits.
Checked checkedModel(const std::string &text, TextEnd end, std::size_t size) {
    std::string result;
    for (const Utf8Character &step : utf8CharactersModel(text, end)) {
        if (result.size() + 1 >= size) {
            break;
        }
        if (step.character == 0xFFFDU) {
            return {result, 1};
        }
        result += step.bytes.substr(0, size - 1 - result.size());
    }
    return {result, 0};
}

} // namespace

TEST(Utf8CheckedCopy, StopsAtTheFirstRejectedByte) {
    EXPECT_EQ(copyChecked(bytes("41 80 42"), 10, -1), (Checked{"A", 1}));
    EXPECT_EQ(copyChecked(bytes("41 EF BF BD 42"), 10, -1), (Checked{"A", 1}));
    EXPECT_EQ(copyChecked(bytes("80"), 10, -1), (Checked{"", 1}));
}

TEST(Utf8CheckedCopy, RefusesToRunWhileTheFlagIsSet) {
    EXPECT_EQ(copyChecked(bytes("41 80 42"), 10, -1, 1), (Checked{"", 1}));
    EXPECT_EQ(copyChecked(bytes("41 42"), 10, -1, -7), (Checked{"", -7}));
}

TEST(Utf8CheckedCopy, CutsByteByByte) {
    EXPECT_EQ(copyChecked(bytes("41 E2 82 AC"), 3, -1), (Checked{bytes("41 E2"), 0}));
    EXPECT_EQ(copyChecked(bytes("41 E2 82 AC"), 4, -1), (Checked{bytes("41 E2 82"), 0}));
}

TEST(Utf8CheckedCopy, KeepsACutOffSequence) {
    EXPECT_EQ(copyChecked(bytes("41 E2 82 AC"), 10, 3), (Checked{bytes("41 E2 82"), 0}));
    EXPECT_EQ(copyChecked(bytes("41 C3"), 10, -1), (Checked{"A", 1}));
}

TEST(Utf8CheckedCopy, TerminatesForNothing) {
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<unsigned char> out(1);
        int invalid = 0;
        EXPECT_EQ(zelkUtf8CopyAndCheckIfValid(out.data(), size, u8(bytes("80")), -1, &invalid), 0U);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(invalid, 0);
    }
    Guarded<unsigned char> out(1);
    int invalid = 0;
    EXPECT_EQ(zelkUtf8CopyAndCheckIfValid(out.data(), 10, nullptr, -1, &invalid), 0U);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(copyChecked("A", 5, 0), (Checked{"", 0}));
    EXPECT_EQ(copyChecked("", 5, -1), (Checked{"", 0}));
}

TEST(Utf8CheckedCopy, FollowsTheModelAtEverySizeAndLength) {
    Random random(0x32);
    for (int round = 0; round < 150; ++round) {
        const std::string text = randomBytes(random, 12);
        const int size = static_cast<int>(text.size());
        for (int outSize = 1; outSize <= size + 2; ++outSize) {
            const auto room = static_cast<std::size_t>(outSize);
            ASSERT_EQ(copyChecked(text, outSize, INT_MIN), checkedModel(text, TextEnd::Terminator, room));
            for (int length = 0; length <= size; ++length) {
                const std::string counted = text.substr(0, static_cast<std::size_t>(length));
                ASSERT_EQ(copyChecked(text, outSize, length), checkedModel(counted, TextEnd::Count, room));
            }
        }
        const Exact exact(text);
        Guarded<unsigned char> out(text.size() + 1);
        int invalid = 0;
        ASSERT_EQ(zelkUtf8CopyAndCheckIfValid(out.data(), INT_MAX, exact.data(), size, &invalid),
                  checkedModel(text, TextEnd::Count, text.size() + 1).text.size());
    }
}

namespace {

std::string copyQuoted(const std::string &text, int size, int length, unsigned short open, unsigned short close) {
    return written(size,
                   [&](unsigned char *out) { return zelkUtf8CopyQuoted(out, size, u8(text), length, open, close); });
}

// A quote is one step, whatever its length in bytes, and so is any other byte.
std::string quotedModel(const std::string &text, unsigned int steps, unsigned int open, unsigned int close) {
    const std::string quotes[] = {utf8EncodeModel(open), utf8EncodeModel(close)};
    std::string result;
    int inside = 0;
    for (std::size_t i = 0; i < text.size() && steps != 0; --steps) {
        if (text.compare(i, quotes[inside].size(), quotes[inside]) == 0) {
            i += quotes[inside].size();
            inside = 1 - inside;
        } else {
            result += inside == 1 ? text.substr(i, 1) : "";
            ++i;
        }
    }
    return result;
}

std::string removeQuotes(const std::string &text, int size, unsigned short open, unsigned short close) {
    return written(
        size, [&](unsigned char *out) { return zelkUtf8RemoveQuotesFromString(out, size, u8(text), open, close); });
}

// The terminator belongs to the text.
std::string withoutQuotesModel(std::string text, unsigned int open, unsigned int close) {
    text.push_back('\0');
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::string rest = text.substr(i);
        if (rest.starts_with(utf8EncodeModel(open))) {
            i += utf8EncodeModel(open).size();
        } else if (rest.starts_with(utf8EncodeModel(close))) {
            i += utf8EncodeModel(close).size();
        } else {
            result += rest[0];
            ++i;
        }
    }
    return result;
}

constexpr std::pair<unsigned short, unsigned short> quotePairs[] = {
    {0x22, 0x22}, {0xAB, 0xBB}, {0x201C, 0x201D}, {0x41, 0xAB}, {0xBB, 0xBB}, {0xE9, 0x42}, {0x22, 0x201C}};

} // namespace

TEST(Utf8Quotes, AreTakenFromEverySection) {
    EXPECT_EQ(copyQuoted(bytes("73 22 68 69 22 20 22 79 6F 22"), 20, -1, 0x22, 0x22), "hiyo");
    EXPECT_EQ(copyQuoted(bytes("C2 AB 41 C2 BB"), 20, -1, 0xAB, 0xBB), "A");
    EXPECT_EQ(copyQuoted("\"abc", 20, -1, 0x22, 0x22), "abc");
    EXPECT_EQ(copyQuoted("abc", 20, -1, 0x22, 0x22), "");
}

TEST(Utf8Quotes, AreOneStepEach) {
    const std::string text = bytes("C2 AB 41 42 C2 BB C2 AB 43 44 C2 BB");
    EXPECT_EQ(copyQuoted(text, 20, 6, 0xAB, 0xBB), "ABC"); // the sixth step is the C, which is the ninth byte
    EXPECT_EQ(zelkUtf8GetQuotedLength(u8(text), 6, 0xAB, 0xBB), 3);
    EXPECT_EQ(copyQuoted("\"AB\"", 20, 2, 0x22, 0x22), "A");
}

TEST(Utf8Quotes, FollowTheModelAtEverySizeAndLength) {
    Random random(0x33);
    for (int round = 0; round < 100; ++round) {
        const std::string text = randomBytes(random, 12);
        for (const auto &[open, close] : quotePairs) {
            const std::string whole = quotedModel(text, UINT_MAX, open, close);
            for (int length = -1; length <= static_cast<int>(text.size()) + 1; ++length) {
                const std::string expected = quotedModel(text, static_cast<unsigned int>(length), open, close);
                ASSERT_EQ(zelkUtf8GetQuotedLength(u8(text), length, open, close), static_cast<int>(expected.size()));
                ASSERT_EQ(copyQuoted(text, 20, length, open, close), expected);
            }
            for (int size = 1; size < 20; ++size) {
                ASSERT_EQ(copyQuoted(text, size, INT_MIN, open, close),
                          whole.substr(0, static_cast<std::size_t>(size) - 1));
            }
        }
    }
}

TEST(Utf8Quotes, OfOneByteAreNotLookedForBehindTheLength) {
    const Exact text("\"ab\"");
    Guarded<unsigned char> out(10);
    EXPECT_EQ(zelkUtf8CopyQuoted(out.data(), 10, text.data(), 4, 0x22, 0x22), 2U);
    EXPECT_EQ(zelkUtf8GetQuotedLength(text.data(), 3, 0x22, 0x22), 2);
}

TEST(Utf8Quotes, OfNothingAreNothing) {
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<unsigned char> out(1);
        EXPECT_EQ(zelkUtf8CopyQuoted(out.data(), size, u8("\"a\""), -1, 0x22, 0x22), 0U);
        EXPECT_EQ(out[0], 0);
        out[0] = 1;
        EXPECT_EQ(zelkUtf8RemoveQuotesFromString(out.data(), size, u8("\"a\""), 0x22, 0x22), 0U);
        EXPECT_EQ(out[0], 0);
    }
    Guarded<unsigned char> out(1);
    EXPECT_EQ(zelkUtf8CopyQuoted(out.data(), 9, nullptr, -1, 0x22, 0x22), 0U);
    EXPECT_EQ(out[0], 0);
    out[0] = 1;
    EXPECT_EQ(zelkUtf8RemoveQuotesFromString(out.data(), 9, nullptr, 0x22, 0x22), 0U);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(zelkUtf8GetQuotedLength(nullptr, -1, 0x22, 0x22), 0);
    EXPECT_EQ(zelkUtf8GetQuotedLength(u8("\"a"), 0, 0x22, 0x22), 0);
    EXPECT_EQ(zelkUtf8GetQuotedLength(u8(""), -1, 0, 0), 0);
    EXPECT_EQ(copyQuoted("ab", 9, -1, 0, 0), "");
}

TEST(Utf8QuotedPackets, HoldTheQuotedBytesOrAreNull) {
    const auto quoted = [](const char *text) {
        const auto packet = Narrow::newPacket(0, text);
        return Owned<CharPacket>(zelkUtf8GetQuoted(packet.get(), 0x22, 0x22));
    };
    EXPECT_EQ(zelkUtf8GetQuoted(nullptr, 0x22, 0x22), nullptr);
    for (const char *const text : {"", "abc", "abc\"", "\"\""}) {
        EXPECT_EQ(quoted(text), nullptr) << text;
    }
    const auto hiyo = quoted("s\"hi\" \"yo\"");
    EXPECT_EQ(hiyo->capacity, 5);
    EXPECT_EQ(hiyo->length, 4);
    EXPECT_STREQ(hiyo->chars, "hiyo");

    // The length ends the text, not the terminator; a quote of several bytes is one step of it.
    const auto shortened = [](const char *text, unsigned short length, unsigned short open, unsigned short close) {
        const auto packet = Narrow::newPacket(0, text);
        packet->length = length;
        return Owned<CharPacket>(zelkUtf8GetQuoted(packet.get(), open, close));
    };
    EXPECT_EQ(shortened("\"xy\"", 0, 0x22, 0x22), nullptr);
    EXPECT_EQ(shortened("\"xy\"", 1, 0x22, 0x22), nullptr);
    EXPECT_EQ(textOf(shortened("\"xy\"", 2, 0x22, 0x22)), units<Narrow>("x"));
    const auto steps = shortened("\xC2\xAB"
                                 "xyz",
                                 3, 0xAB, 0xBB);
    EXPECT_EQ(textOf(steps), units<Narrow>("xy"));
    EXPECT_EQ(steps->capacity, 3);

    const auto longest = quoted(("\"" + std::string(65533, 'x')).c_str());
    EXPECT_EQ(longest->capacity, 65534);
    EXPECT_EQ(longest->length, 65533);
    EXPECT_EQ(terminatedTextOf(longest).size(), 65533U);
}

TEST(Utf8QuoteRemoval, CountsTheTerminator) {
    EXPECT_EQ(removeQuotes(bytes("22 61 62 22"), 10, 0x22, 0x22), bytes("61 62 00"));
    EXPECT_EQ(removeQuotes("abcd", 5, 0x22, 0x22), "abcd");
    EXPECT_EQ(removeQuotes("abcd", 6, 0x22, 0x22), bytes("61 62 63 64 00"));
    EXPECT_EQ(removeQuotes("", 2, 0x22, 0x22), bytes("00"));
    EXPECT_EQ(removeQuotes("a", 9, 0, 0x22), "a"); // the terminator is a quote here
    EXPECT_EQ(removeQuotes("a", 9, 0x22, 0), "a");
}

TEST(Utf8QuoteRemoval, FollowsTheModelAtEverySize) {
    Random random(0x34);
    for (int round = 0; round < 200; ++round) {
        const std::string text = randomBytes(random, 12);
        for (const auto &[open, close] : quotePairs) {
            const std::string expected = withoutQuotesModel(text, open, close);
            for (int size = 1; size < 20; ++size) {
                ASSERT_EQ(removeQuotes(text, size, open, close),
                          expected.substr(0, static_cast<std::size_t>(size) - 1));
            }
        }
    }
}

namespace {

std::string filter(const std::string &text, int size, zelkCharFilter map) {
    return written(size, [&](unsigned char *out) { return zelkUtf8FilterString(out, size, u8(text), map); });
}

unsigned short keep(unsigned short character) {
    return character;
}

unsigned short aToUmlaut(unsigned short character) {
    return character == 'a' ? 0xE4 : character;
}

unsigned short aToEuro(unsigned short character) {
    return character == 'a' ? 0x20AC : character;
}

unsigned short euroToB(unsigned short character) {
    return character == 0x20AC ? 'B' : character;
}

unsigned short zeroToX(unsigned short character) {
    return character == 0 ? 'X' : character;
}

unsigned short dropRejected(unsigned short character) {
    return character == 0xFFFD ? 0 : character;
}

unsigned short lowerAscii(unsigned short character) {
    return character >= 'A' && character <= 'Z' ? static_cast<unsigned short>(character + 0x20) : character;
}

constexpr zelkCharFilter filters[] = {keep, aToUmlaut, aToEuro, euroToB, zeroToX, dropRejected, lowerAscii};

// The rules one by one, on a copy of the text that ends with its terminator.
std::string filterModel(std::string rest, std::size_t size, zelkCharFilter map) {
    rest.push_back('\0');
    std::string result;
    while (!rest.empty() && result.size() + 1 < size) {
        const Utf8Step step = utf8StepModel(u8(rest), unbounded);
        const unsigned int mapped = map(static_cast<unsigned short>(step.character.value()));
        const bool keeps = mapped == step.character.value();
        const std::string piece = mapped == 0 ? "" : keeps ? rest.substr(0, step.consumed) : utf8EncodeModel(mapped);
        if (result.size() + piece.size() >= size) {
            break;
        }
        result += piece;
        rest.erase(0, mapped == 0 ? step.consumed : piece.size());
    }
    return result;
}

int filteredLengthModel(const std::string &text, zelkCharFilter map) {
    std::size_t length = 0;
    auto characters = utf8CharactersModel(text, TextEnd::Terminator);
    characters.push_back({std::string(1, '\0'), 0});
    for (const Utf8Character &step : characters) {
        const unsigned int character = step.character.value();
        const unsigned int mapped = map(static_cast<unsigned short>(character));
        length += mapped == 0 ? 0 : mapped == character ? step.bytes.size() : utf8EncodeModel(mapped).size();
    }
    return static_cast<int>(length);
}

} // namespace

TEST(Utf8Filter, DropsControlsByDefault) {
    const std::string text = bytes("41 01 C2 85 42");
    EXPECT_EQ(zelkUtf8GetFilteredStringLength(u8(text), nullptr), 2);
    EXPECT_EQ(filter(text, 10, nullptr), "AB");
}

TEST(Utf8Filter, KeepsRejectedBytesAsTheyAre) {
    const std::string text = bytes("41 80 F0 9F C0 80 E2 82");
    EXPECT_EQ(filter(text, 20, keep), text);
    EXPECT_EQ(zelkUtf8GetFilteredStringLength(u8(text), keep), static_cast<int>(text.size()));
    EXPECT_EQ(filter(text, 20, dropRejected), "A");
}

TEST(Utf8Filter, MovesByTheLengthOfTheReplacement) {
    EXPECT_EQ(filter("aa", 10, aToUmlaut), bytes("C3 A4"));
    EXPECT_EQ(zelkUtf8GetFilteredStringLength(u8("aa"), aToUmlaut), 4);
    EXPECT_EQ(filter("aab", 10, aToUmlaut), bytes("C3 A4 62"));
    EXPECT_EQ(filter(bytes("E2 82 AC 41"), 10, euroToB), bytes("42 82 AC 41"));
}

TEST(Utf8Filter, EndsWhereAStepWouldPassTheTerminator) {
    const Exact one(bytes("61 00"));
    Guarded<unsigned char> out(10);
    EXPECT_EQ(zelkUtf8FilterString(out.data(), 10, one.data(), aToUmlaut), 2U);
    EXPECT_EQ(zelkUtf8FilterString(out.data(), 10, one.data(), aToEuro), 3U);
    const Exact two(bytes("61 62 00"));
    EXPECT_EQ(zelkUtf8FilterString(out.data(), 10, two.data(), aToEuro), 3U);
    EXPECT_EQ(filter("aab", 10, aToEuro), bytes("E2 82 AC"));
}

TEST(Utf8Filter, EndsWhereAReplacementOrAKeptCharacterDoesNotFit) {
    EXPECT_EQ(filter("xab", 3, aToUmlaut), "x");
    EXPECT_EQ(filter("xabc", 4, aToUmlaut), bytes("78 C3 A4"));
    EXPECT_EQ(filter(bytes("78 E2 82 AC 41"), 4, keep), "x");
    EXPECT_EQ(filter(bytes("78 E2 82 AC 41"), 5, keep), bytes("78 E2 82 AC"));
}

TEST(Utf8Filter, GetsTheTerminatorToo) {
    EXPECT_EQ(filter("ab", 10, zeroToX), "abX");
    EXPECT_EQ(filter("ab", 3, zeroToX), "ab");
    EXPECT_EQ(filter("", 10, zeroToX), "X");
    EXPECT_EQ(zelkUtf8GetFilteredStringLength(u8("ab"), zeroToX), 3);
    EXPECT_EQ(zelkUtf8GetFilteredStringLength(u8(""), zeroToX), 1);
}

TEST(Utf8Filter, TerminatesForNothing) {
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<unsigned char> out(1);
        EXPECT_EQ(zelkUtf8FilterString(out.data(), size, u8("a"), keep), 0U);
        EXPECT_EQ(out[0], 0);
    }
    for (const zelkCharFilter map : {zelkCharFilter(nullptr), zelkCharFilter(keep)}) {
        Guarded<unsigned char> out(1);
        EXPECT_EQ(zelkUtf8FilterString(out.data(), 10, nullptr, map), 0U);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(zelkUtf8GetFilteredStringLength(nullptr, map), 0);
        EXPECT_EQ(zelkUtf8GetFilteredStringLength(u8(""), map), 0);
    }
}

TEST(Utf8Filter, FollowsTheModelAtEverySize) {
    Random random(0x35);
    for (int round = 0; round < 200; ++round) {
        const std::string text = randomBytes(random, 14);
        const Exact exact(text + '\0');
        for (const zelkCharFilter map : filters) {
            ASSERT_EQ(zelkUtf8GetFilteredStringLength(exact.data(), map), filteredLengthModel(text, map));
            for (int size = 1; size < 24; ++size) {
                ASSERT_EQ(
                    written(size,
                            [&](unsigned char *out) { return zelkUtf8FilterString(out, size, exact.data(), map); }),
                    filterModel(text, static_cast<std::size_t>(size), map));
            }
        }
    }
}

TEST(Utf8Filter, TakesLongTexts) {
    const std::string text(70000, 'x');
    EXPECT_EQ(filter(text, 70001, nullptr), text);
    EXPECT_EQ(zelkUtf8GetFilteredStringLength(u8(text), nullptr), 70000);
}

TEST(Utf8Substring, CountsCharacters) {
    const auto text = Narrow::newPacket(0, "a\xC3\xA9\xE2\x82\xAC\x62");
    const auto substr = [&](unsigned int start, unsigned int count, const char *replacement) {
        const Owned<CharPacket> result(zelkUtf8Substr(text.get(), start, count, replacement));
        const auto characters = textOf(result);
        EXPECT_EQ(result->chars[characters.size()], 0);
        return std::string(characters.begin(), characters.end());
    };
    EXPECT_EQ(substr(1, 2, nullptr), bytes("C3 A9 E2 82 AC"));
    EXPECT_EQ(substr(0, 1, nullptr), "a");
    EXPECT_EQ(substr(3, 9, nullptr), "b");
    EXPECT_EQ(substr(4, 1, nullptr), "");
    EXPECT_EQ(substr(99, 99, nullptr), "");
    EXPECT_EQ(substr(unbounded, unbounded, nullptr), "");
    EXPECT_EQ(substr(1, 2, "XYZ"), "aXYZb");
    EXPECT_EQ(substr(2, 0, "-"), bytes("61 C3 A9 2D E2 82 AC 62"));
    EXPECT_EQ(zelkUtf8Substr(nullptr, 0, 1, nullptr), nullptr);
    const Owned<CharPacket> sized(zelkUtf8Substr(text.get(), 1, 99, nullptr));
    EXPECT_EQ(sized->capacity, 7); // the count is turned into bytes before the packet is made
}

// Characters are looked for up to the terminator; then the packet's length ends the text, as for bytes.
TEST(Utf8Substring, OfAPacketWhoseLengthIsNotThatOfItsText) {
    const auto text = Narrow::newPacket(0, "a\xC3\xA9"
                                           "b");
    text->length = 2;
    const Owned<CharPacket> cut(zelkUtf8Substr(text.get(), 1, 1, nullptr));
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(textOf(cut), units<Narrow>("\xC3"));
    EXPECT_EQ(cut->capacity, 3);
    EXPECT_EQ(zelkUtf8Substr(text.get(), 2, 1, nullptr), nullptr);

    const auto zeroInside = Narrow::newPacket(0, "abcde");
    zeroInside->chars[2] = 0;
    for (const unsigned int start : {2U, 3U, unbounded}) {
        const Owned<CharPacket> empty(zelkUtf8Substr(zeroInside.get(), start, 2, nullptr));
        ASSERT_NE(empty, nullptr);
        EXPECT_EQ(empty->capacity, 1);
        EXPECT_EQ(empty->length, 0);
    }
    const Owned<CharPacket> replaced(zelkUtf8Substr(zeroInside.get(), 9, 9, "X"));
    EXPECT_EQ(textOf(replaced), units<Narrow>(std::string_view("abX\0de", 6)));
}
