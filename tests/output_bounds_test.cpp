// Of an output only the text and its terminator change, whatever size is stated: no byte after the terminator, inside
// the stated size or outside of it. Every exported function that writes to its caller's memory is called on texts of
// every kind and length, with every size from none to the largest there is, and finds two different patterns there.
#include "helpers/every_function.h"
#include "helpers/guard_pages.h"
#include "helpers/last_case.h"
#include "helpers/text_kinds.h"
#include "reference/utf8_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

using namespace zelk_test;

namespace {

// Functions that write a terminated text, as the size allows that the caller states.
struct TextOutput {
    const char *name;
    std::size_t unit; // bytes of one unit of the size
};

constexpr TextOutput textOutputs[] = {
    {"zelk_strlcpy", 1},
    {"zelk_wstrlcpy", 2},
    {"zelk_nawstrlcpy", 2},
    {"zelk_expand", 2},
    {"zelkCopyQuoted", 1},
    {"zelkRemoveQuotesFromString", 1},
    {"zelkCopyWideQuoted", 2},
    {"zelkRemoveQuotesFromWideString", 2},
    {"zelkFilterString", 1},
    {"zelkFilterWideString", 2},
    {"zelkUtf8EncodeText", 1},
    {"zelkUtf8EncodeNotAlignedText", 1},
    {"zelkUtf8EncodeNotAlignedInverseText", 1},
    {"zelkUtf8DecodeText", 2},
    {"zelkUtf8CopyAndCheckIfValid", 1},
    {"zelkUtf8CopyQuoted", 1},
    {"zelkUtf8RemoveQuotesFromString", 1},
    {"zelkUtf8FilterString", 1},
    {"zelk_isoToUnicode", 2},
    {"zelk_isoToUtf8", 1},
    {"zelk_isoToUtf8Checked", 1},
    {"zelk_isoToUtf8Tolerant", 1},
    {"zelk_winToUnicode", 2},
    {"zelk_winToUtf8", 1},
    {"zelk_pela_ttxConvertToUnicode", 2},
    {"zelk_pela_ttxConvertToUtf8", 1},
    {"zelk_dvb8ToUnicode", 2},
    {"zelk_dvb8ToUtf8", 1},
    {"zelk_dvb8PrepUtf8", 1},
    {"zelk_dvbPrep8ToUtf8", 1},
    {"zelk_xmlify", 1},
    {"zelk_unxml", 1},
};

// Functions whose outputs have tests of their own below.
constexpr const char *otherOutputs[] = {
    "zelk_bitsRevertSequence",
    "zelkUtf8CharDecode",
    "zelkUtf8CharEncode",
    "zelkInitUtf8Encoder",
    "zelkUtf8Encode",
    "zelkInitUtf8Decoder",
    "zelkUtf8Decode",
    "zelk_dvbGetDvbCode",
    "zelkInitHuffmanDecoder",
    "zelkHuffmanDecode",
    "decompressMalaysiaHuffmanTable",
    "CodeConversion::strToUTF8(char*, int, int*, unsigned short const*, int, UErrorCode*)",
    "CodeConversion::appendUTF8(unsigned char*, int)",
    "CodeConversion::terminateChars(char*, int, int, UErrorCode*)",
    "CodeConversion::convertUTF16ToUTF8Str(unsigned short const*, char*, int)",
    "HuffmanDecoder::decode(unsigned char const*, unsigned int, unsigned char*, unsigned int*) const",
    "HuffmanDecoder::byteWriter(unsigned char, unsigned char*, unsigned int, unsigned int*, unsigned int*) const",
    ("HuffmanDecoder::bitReader(unsigned char, unsigned char const*, unsigned int, unsigned char*, _BitReaderPos_t*) "
     "const"),
};

// Functions that write nothing but a result: they only answer, or hand units to a caller's function.
constexpr const char *answers[] = {
    "zelk_wcslen",
    "zelk_nawcslen",
    "zelkGetQuotedLength",
    "zelkGetWideQuotedLength",
    "zelk_filterControlCode0",
    "zelk_filterMapControlCode8",
    "zelk_filterMapControlCode8Restricted",
    "zelk_filterControlChars",
    "zelkUtf8CharGetLength",
    "zelkUtf8CharGetEncodedLength",
    "zelkUtf8GetLength",
    "zelkUtf8GetLengthForNotAlignedText",
    "zelkUtf8GetLengthForNotAlignedInverseText",
    "zelkUtf8EncodeStream",
    "zelkUtf8DecodeStream",
    "zelkUtf8GetTextWidth",
    "zelkUtf8Pos",
    "zelkUtf8TextIsValid",
    "zelkUtf8GetQuotedLength",
    "zelkUtf8GetFilteredStringLength",
    "combiningMapIso",
    "zelk_isoConvertSingleChar",
    "zelk_isoToUnicodeMaxLength",
    "zelk_isoToUtf8MaxLength",
    "zelk_isoToUtf8Length",
    "zelk_winGetCodeTable",
    "zelk_winMapCode",
    "zelk_winToUnicodeMaxLength",
    "zelk_winToUtf8MaxLength",
    "zelk_winToUtf8Length",
    "zelkCombineCharWithDiacriticalMark",
    "combiningMapDvb",
    "zelk_dvb8ToUnicodeMaxLength",
    "zelk_dvb8ToUtf8MaxLength",
    "zelk_dvb8PrepUtf8Buffersize",
    "zelk2upperChar",
    "zelk2lowerChar",
    "zelkcharGetClass",
    "zelkCollateCharsByMainKey",
    "zelkCollate",
    "zelk_patternWildcardMatch",
    "zelk_patternWildcardMatchIgnoreCase",
    "zelk_patternWildcardMatchIgnoreControlChars",
    "zelk_patternWildcardMatchIgnoreCaseAndControlChars",
    "zelk_patternCompareIgnoreControlChars",
    "zelk_patternCompareIgnoreCaseAndControlChars",
    "zelk_xmlescape",
    "zelk_xmlifiedLength",
    "DvbConverter::ResetConverter(dvbCharSet_t, DvbCode_t, int)",
};

void call(const TextOutput &output, const AnyText &text, AnyRoom &room) {
    static const std::map<std::string_view, const PlainFunction *> functions = [] {
        std::map<std::string_view, const PlainFunction *> byName;
        for (const PlainFunction &function : plainFunctions) {
            byName[function.name] = &function;
        }
        return byName;
    }();
    functions.at(output.name)->call(text, room);
}

// Memory that holds one of two patterns, none of which repeats at the width of a kernel's block, right before an
// unreadable page.
class Canaries {
public:
    static constexpr int patterns = 2;

    Canaries() {
        for (std::vector<unsigned char> &pattern : patterns_) {
            Random random(static_cast<std::uint32_t>(&pattern - patterns_ + 7));
            for (std::size_t i = 0; i < size; ++i) {
                pattern.push_back(static_cast<unsigned char>(random.below(256)));
            }
        }
        for (std::size_t i = 0; i < size; ++i) {
            patterns_[1][i] = static_cast<unsigned char>(patterns_[0][i] ^ (1 + patterns_[1][i] % 255)); // never equal
        }
    }

    // The last `bytes` bytes of the memory, filled, and before them as many as a block has.
    unsigned char *filled(int pattern, std::size_t bytes) {
        pattern_ = pattern;
        bytes_ = bytes;
        const std::size_t all = bytes + before;
        std::memcpy(pages_.back(all), patternOf(all), all);
        return pages_.back(bytes);
    }

    // Whether all but the first `written` bytes still hold the pattern, and what lies before them.
    bool keptAfter(std::size_t written) {
        return std::memcmp(pages_.back(bytes_ - written), patternOf(bytes_ - written), bytes_ - written) == 0 &&
               std::memcmp(pages_.back(bytes_ + before), patternOf(bytes_ + before), before) == 0;
    }
    // The first byte that does not hold the pattern, from the beginning of the output on.
    std::size_t firstChange(std::size_t from) {
        const unsigned char *const now = pages_.back(bytes_);
        return static_cast<std::size_t>(std::mismatch(now + from, now + bytes_, patternOf(bytes_) + from).first - now);
    }
    const unsigned char *patternOf(std::size_t bytes) const { return patterns_[pattern_].data() + size - bytes; }

private:
    static constexpr std::size_t size = 16384;
    static constexpr std::size_t before = 64;
    GuardPages pages_{size};
    std::vector<unsigned char> patterns_[patterns];
    int pattern_ = 0;
    std::size_t bytes_ = 0;
};

constexpr int roomy = 2048;
constexpr std::size_t tail = 160; // bytes after the terminator that are looked at

// One text in the forms of AnyText, each with more zeros at its end than any selector asks for.
struct Placed {
    Placed(const TextKind &of, std::size_t length, Random &random)
        : kind(of), text(of.ofLength(length, random)), bytes(text.bytes + std::string(4, '\0')) {
        text.placedBytes = bytes.data();
        text.pairs += std::string(2, '\0');
    }
    bool isPrepared() const { return !text.bytes.empty() && (text.bytes[0] == '\x1D' || text.bytes[0] == '\x0F'); }
    // Compressed text is read to the end that its code has, which these need not have.
    bool needsCount() const { return kind.needsCount || (!text.bytes.empty() && text.bytes[0] == '\x1F'); }
    // Whether the text ends within a sequence that takes a unit of the output and writes nothing there.
    bool endsInsideSequence(std::size_t selector) const {
        if (text.count < 0 || text.bytes.size() <= selector) {
            return false;
        }
        const std::string used = text.bytes.substr(selector);
        return used.find('\0') == std::string::npos &&
               !utf8CharactersModel(used, TextEnd::Count).back().character.has_value();
    }

    const TextKind &kind;
    AnyText text;
    std::string bytes;
};

// One failure a function shows where to look; a wrong kernel would fill the screen.
class Failures {
public:
    void add(const std::string &function, const Placed &in, int size, const std::string &what) {
        if (count_[function]++ == 0) {
            ADD_FAILURE() << function << ": " << what << "; " << in.kind.name << ", length " << in.text.bytes.size()
                          << ", count " << in.text.count << ", size " << size;
        }
    }
    ~Failures() {
        for (const auto &[function, count] : count_) {
            std::fprintf(stderr, "%s: %d wrong calls\n", function.c_str(), count);
        }
    }
    Failures() = default;
    Failures(const Failures &) = delete;
    Failures &operator=(const Failures &) = delete;

private:
    std::map<std::string, int> count_;
};

class OutputBounds : public ::testing::Test {
protected:
    // Calls with `bytes` bytes of memory before the unreadable page and returns the units written.
    std::size_t write(const TextOutput &output, const Placed &in, int size, int pattern, std::size_t bytes) {
        out_ = canaries_.filled(pattern, bytes);
        lastCase_.is(output.name, in.kind.name, in.text.bytes.size(), in.text.count, "output");
        AnyRoom room(out_, size);
        call(output, in.text, room);
        return static_cast<std::size_t>(room.sum);
    }

    // The text as it is with room for anything; of a unit that keeps its old value, the first pattern's.
    void expectRoomy(const TextOutput &output, const Placed &in) {
        const std::size_t unit = output.unit;
        length_ = write(output, in, roomy, 0, roomy * unit);
        const std::size_t used = (length_ + 1) * unit;
        ASSERT_LT(length_, static_cast<std::size_t>(roomy)) << output.name;
        if (!canaries_.keptAfter(used)) {
            failures_.add(output.name, in, roomy, "writes after the terminator");
        }
        text_.assign(out_, out_ + used);
        if (!std::all_of(out_ + used - unit, out_ + used, [](unsigned char byte) { return byte == 0; })) {
            failures_.add(output.name, in, roomy, "writes no terminator");
        }
        keepsUnit_ = in.endsInsideSequence(std::string_view(output.name) == "zelk_dvb8ToUnicode" ? 1 : 0) &&
                     (std::string_view(output.name) == "zelkUtf8DecodeText" ||
                      (std::string_view(output.name) == "zelk_dvb8ToUnicode" && in.isPrepared()));
    }

    // With a size that suffices the text is the same, and nothing else changes.
    void expectFits(const TextOutput &output, const Placed &in, int size, std::size_t bytesAfter) {
        const std::size_t unit = output.unit;
        const std::size_t used = (length_ + 1) * unit;
        for (int pattern = 0; pattern < Canaries::patterns; ++pattern) {
            const std::size_t length = write(output, in, size, pattern, used + bytesAfter);
            if (length != length_) {
                failures_.add(output.name, in, size, "gives another length");
            } else if (!canaries_.keptAfter(used)) {
                failures_.add(output.name, in, size,
                              "writes " + std::to_string(canaries_.firstChange(used) - used) +
                                  " bytes after the terminator");
            } else if (keepsUnit_) {
                const std::size_t kept = used - 2 * unit;
                if (std::memcmp(out_, text_.data(), kept) != 0) {
                    failures_.add(output.name, in, size, "gives another text");
                }
                if (std::memcmp(out_ + kept, canaries_.patternOf(used + bytesAfter) + kept, unit) != 0) {
                    failures_.add(output.name, in, size, "changes the unit of a sequence that the count cuts off");
                }
            } else if (std::memcmp(out_, text_.data(), used) != 0) {
                failures_.add(output.name, in, size, "gives another text, or leaves a part of it unwritten");
            }
        }
    }

    // With a size that does not, the text is cut, terminated, and nothing else changes. A size of 0 and less gets the
    // terminator or nothing.
    void expectCut(const TextOutput &output, const Placed &in, int size) {
        const std::string_view name = output.name;
        const std::size_t unit = output.unit;
        // The selector of prepared text takes its byte also where the size is 1.
        const std::size_t least = name == "zelk_dvb8PrepUtf8" && size == 1 ? 2 : 1;
        const std::size_t most = std::max(static_cast<std::size_t>(std::max(size, 0)), least);
        for (int pattern = 0; pattern < Canaries::patterns; ++pattern) {
            const std::size_t bytes = most * unit + (pattern == 0 ? 0 : tail);
            std::size_t length = write(output, in, size, pattern, bytes);
            if (length >= most) {
                failures_.add(output.name, in, size, "gives a text that is too long");
                continue;
            }
            if (name == "zelk_isoToUtf8Checked") {
                // What was copied before it proved not to be UTF-8 is overwritten by a text that may end earlier.
                std::vector<unsigned char> copy(most);
                int invalid = 0;
                length = std::max<std::size_t>(
                    length, zelkUtf8CopyAndCheckIfValid(copy.data(), size, in.text.utf8(), in.text.count, &invalid));
            }
            if (!canaries_.keptAfter((length + 1) * unit)) {
                failures_.add(output.name, in, size, "writes after the terminator of a text that is cut");
            }
        }
    }

    Canaries canaries_;
    LastCase lastCase_;
    Failures failures_;
    unsigned char *out_ = nullptr;
    std::size_t length_ = 0;
    std::vector<unsigned char> text_;
    bool keepsUnit_ = false;
};

constexpr unsigned int parts[] = {1, 2, 3, 4, 5, 7, 9, 10, 11, 13, 14, 15, 16};
constexpr int codePages[] = {1250, 1251, 1252, 1253, 1254, 1257, 0};

void vary(AnyText &text, std::size_t round) {
    text.part = parts[round % std::size(parts)];
    text.codePage = codePages[round % std::size(codePages)];
    text.flags = round % 2 == 0 ? 0 : 1;
}

// Calls check() with every function that gives a text, on texts of the length, counted and terminated.
template <class Check>
void forEveryOutput(std::size_t length, Random &random, Check check) {
    std::size_t round = length;
    forKindsAtLength(length, [&](const TextKind &kind) {
        Placed in(kind, length, random);
        vary(in.text, ++round);
        for (const int count : {static_cast<int>(length), -1}) {
            in.text.count = count;
            for (const TextOutput &output : textOutputs) {
                if (count >= 0 || !in.needsCount()) {
                    check(output, in);
                }
            }
        }
    });
}

} // namespace

TEST(OutputLists, HoldEveryFunction) {
    expectCompleteLists(ZELK_EXPORTS);
    std::multiset<std::string> listed(std::begin(otherOutputs), std::end(otherOutputs));
    listed.insert(std::begin(answers), std::end(answers));
    for (const TextOutput &output : textOutputs) {
        listed.insert(output.name);
    }
    std::multiset<std::string> all;
    for (const PlainFunction &function : plainFunctions) {
        all.insert(function.name);
    }
    EXPECT_EQ(listed, all);
}

TEST_F(OutputBounds, KeepWhatFollowsTheTerminator) {
    constexpr int more[] = {0, 1, 2, 7, 8, 15, 16, 17, 31, 32, 33, 47, 48, 63, 64, 65, 95, 96, 124, 127, 128, 130};
    constexpr int large[] = {65535, 1 << 29, (1 << 29) + 1, 1 << 30, INT_MAX - 1};
    Random random(21);
    std::size_t round = 0;
    for (std::size_t length = 0; length <= longestText; ++length) {
        forEveryOutput(length, random, [&](const TextOutput &output, const Placed &in) {
            ASSERT_NO_FATAL_FAILURE(expectRoomy(output, in));
            const int exact = static_cast<int>(length_) + 1;
            expectFits(output, in, exact, tail);
            expectFits(output, in, exact + more[++round % std::size(more)], tail);
            expectFits(output, in, exact + more[(round * 7 + 3) % std::size(more)], tail);
            expectFits(output, in, large[round % std::size(large)], tail);
            expectFits(output, in, INT_MAX, round % 2 * tail); // also right before the unreadable page
        });
    }
}

// All sizes around blocks, at lengths around blocks.
TEST_F(OutputBounds, KeepWhatFollowsAtEverySize) {
    Random random(22);
    for (const std::size_t length : {1U, 15U, 16U, 17U, 31U, 32U, 33U, 63U, 64U, 65U, 100U, 129U}) {
        forEveryOutput(length, random, [&](const TextOutput &output, const Placed &in) {
            ASSERT_NO_FATAL_FAILURE(expectRoomy(output, in));
            for (int more = 0; more <= 130; more += more < 66 ? 1 : 7) {
                expectFits(output, in, static_cast<int>(length_) + 1 + more, tail);
            }
        });
    }
}

// A byte that begins or continues no sequence, at every place of a text.
TEST_F(OutputBounds, KeepWhatFollowsBrokenTexts) {
    Random random(23);
    for (const std::size_t length : {17U, 40U, 66U, 131U}) {
        for (const TextKind &kind : textKinds) {
            if (kind.sly == 0) {
                continue;
            }
            for (std::size_t place = 0; place < length; place += textStride()) {
                TextKind whole = kind;
                whole.sly = 0;
                Placed in(whole, length, random);
                in.text.bytes[place] = static_cast<char>(kind.sly);
                in.bytes[place] = static_cast<char>(kind.sly);
                for (const int count : {static_cast<int>(length), -1}) {
                    in.text.count = count;
                    vary(in.text, place);
                    for (const TextOutput &output : textOutputs) {
                        ASSERT_NO_FATAL_FAILURE(expectRoomy(output, in));
                        expectFits(output, in, static_cast<int>(length_) + 1, tail);
                        expectFits(output, in, INT_MAX, tail);
                    }
                }
            }
        }
    }
}

TEST_F(OutputBounds, KeepWhatFollowsATextThatIsCut) {
    Random random(24);
    for (std::size_t length = 0; length <= longestText; length += length < 36 ? 1 : 23) {
        forEveryOutput(length, random, [&](const TextOutput &output, const Placed &in) {
            ASSERT_NO_FATAL_FAILURE(expectRoomy(output, in));
            const int needed = static_cast<int>(length_) + 1;
            if (length < 20) {
                for (int size = 0; size < needed; ++size) {
                    expectCut(output, in, size);
                }
            }
            for (const int size : {-1, 0, 1, 2, needed - 1, needed - 2, needed - 3, needed - 4}) {
                expectCut(output, in, std::min(size, needed - 1));
            }
            for (int sizes = 0; sizes < 4; ++sizes) {
                expectCut(output, in, static_cast<int>(random.below(static_cast<std::uint32_t>(needed))));
            }
        });
    }
}

// Below are outputs without a terminator, without a size, or with a size that is a record of its own.

namespace {

class OtherOutputBounds : public ::testing::Test {
protected:
    // write(out) returns the bytes that it says it has written.
    template <class Write>
    void expectKept(const char *name, Write write) {
        std::vector<unsigned char> first;
        for (int pattern = 0; pattern < Canaries::patterns; ++pattern) {
            unsigned char *const out = canaries_.filled(pattern, room);
            const std::size_t written = write(out);
            ASSERT_LE(written, room) << name;
            ASSERT_TRUE(canaries_.keptAfter(written)) << name << " changes byte " << canaries_.firstChange(written)
                                                      << " after the " << written << " that it writes";
            if (pattern == 0) {
                first.assign(out, out + written);
            }
            ASSERT_TRUE(std::equal(first.begin(), first.end(), out)) << name << " leaves a part unwritten";
        }
    }

    static constexpr std::size_t room = 8192;
    Canaries canaries_;
    Random random_{25};
};

std::string anyBytes(std::size_t length, Random &random) {
    return TextKind{"", "", ""}.ofLength(length, random);
}

} // namespace

TEST_F(OtherOutputBounds, OfBytesOneByOne) {
    for (std::size_t length = 0; length <= longestText; ++length) {
        const std::string text = anyBytes(length, random_);
        expectKept("zelk_bitsRevertSequence", [&](unsigned char *out) {
            return static_cast<std::size_t>(zelk_bitsRevertSequence(out, u8(text), static_cast<int>(length)));
        });
    }
}

TEST_F(OtherOutputBounds, OfCharacters) {
    for (unsigned int unit = 0; unit <= 0xFFFF; unit += unit < 0x900 ? 1 : 61) {
        for (const int size : {-1, 0, 1, 2, 3, 4, 5, INT_MAX}) {
            expectKept("zelkUtf8CharEncode", [&](unsigned char *out) {
                return std::size_t{zelkUtf8CharEncode(static_cast<unsigned short>(unit), out, size)};
            });
        }
    }
    for (const int codePoint : {0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF}) {
        expectKept("CodeConversion::appendUTF8", [&](unsigned char *out) {
            return static_cast<std::size_t>(zelk::CodeConversion::appendUTF8(out, codePoint) - out);
        });
    }
    for (int round = 0; round < 3000; ++round) {
        const std::string text = TextKind{"", "", "a|\xC3\xA9|\xE2\x82\xAC|\xE2\x82|\xFF"}.ofLength(3, random_);
        for (const unsigned int available : {0U, 1U, 2U, 3U}) {
            expectKept("zelkUtf8CharDecode", [&](unsigned char *out) {
                zelkUtf8CharDecode(u8(text), available, reinterpret_cast<unsigned short *>(out));
                return utf8StepModel(u8(text), available).character.has_value() ? sizeof(unsigned short) : 0;
            });
        }
    }
}

TEST_F(OtherOutputBounds, OfCompressedTexts) {
    const zelk::ProgramTitleDecoder title(0);
    const zelk::ProgramTitleDecoder titleWithoutStart(2);
    const zelk::ProgramDescriptionDecoder description(1);
    for (std::size_t length = 1; length <= longestText; ++length) {
        const std::string text = anyBytes(length, random_);
        for (const unsigned int table : {5U, 6U}) {
            expectKept("decompressMalaysiaHuffmanTable", [&](unsigned char *out) {
                int written = 0;
                decompressMalaysiaHuffmanTable(table, u8(text), static_cast<int>(length), out, &written);
                return static_cast<std::size_t>(written);
            });
        }
        for (const zelk::HuffmanDecoder &decoder :
             {zelk::HuffmanDecoder(title), zelk::HuffmanDecoder(titleWithoutStart),
              zelk::HuffmanDecoder(description)}) {
            unsigned int needed = 0;
            decoder.decode(u8(text), static_cast<unsigned int>(length), nullptr, &needed);
            for (const unsigned int size : {0U, 1U, 2U, needed / 2, needed - 1, needed, needed + 1, needed + 63, 255U,
                                            256U, 65535U, 1U << 30U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
                if (needed == 0 && size == 0xFFFFFFFFU) {
                    continue;
                }
                expectKept("HuffmanDecoder::decode", [&](unsigned char *out) {
                    unsigned int outLength = size;
                    decoder.decode(u8(text), static_cast<unsigned int>(length), out, &outLength);
                    return std::size_t{std::min(size, outLength - std::min(outLength, 1U))}; // it counts one to spare
                });
            }
        }
    }
}

TEST_F(OtherOutputBounds, OfUtf16) {
    const TextKind kind = {"", "", "a|b|c|\xC3|\xE9|\xF9"};
    for (std::size_t length = 0; length <= longestText; ++length) {
        AnyText text(kind.ofLength(length, random_));
        const bool broken = length % 3 == 0 && length != 0;
        const std::size_t good = broken ? random_.below(static_cast<std::uint32_t>(length)) : length;
        if (broken) {
            text.units[good] = 0xDC00; // a surrogate without the one before it
        }
        std::size_t needed = 0;
        for (std::size_t i = 0; i < good; ++i) {
            needed += utf8EncodeModel(text.units[i]).size();
        }
        const auto exact = static_cast<int>(needed);
        for (const int size : {exact, exact + 1, exact + 2, exact + 130, 4096, 65535, 1 << 30, INT_MAX}) {
            // A text that is broken gets no terminator.
            const std::size_t written = needed + (broken || size == exact ? 0 : 1);
            expectKept("CodeConversion::convertUTF16ToUTF8Str", [&](unsigned char *out) {
                EXPECT_EQ(zelk::CodeConversion::convertUTF16ToUTF8Str(text.wide(), reinterpret_cast<char *>(out), size),
                          broken ? -6 : 0);
                return written;
            });
            for (const int count : {-1, static_cast<int>(length)}) {
                expectKept("CodeConversion::strToUTF8", [&](unsigned char *out) {
                    zelk::UErrorCode status = zelk::ZeroError;
                    zelk::CodeConversion::strToUTF8(reinterpret_cast<char *>(out), size, nullptr, text.wide(), count,
                                                    &status);
                    return written;
                });
            }
        }
        // What does not fit: whole characters, nothing outside of the size.
        for (const int size : {0, exact / 2, exact - 1}) {
            for (int pattern = 0; pattern < Canaries::patterns && size >= 0; ++pattern) {
                auto *const out = reinterpret_cast<char *>(canaries_.filled(pattern, room));
                zelk::CodeConversion::convertUTF16ToUTF8Str(text.wide(), out, size);
                ASSERT_TRUE(canaries_.keptAfter(static_cast<std::size_t>(size)));
            }
        }
    }
    for (const int length : {0, 1, 5}) {
        for (const int size : {0, 1, 5, 6, INT_MAX}) {
            expectKept("CodeConversion::terminateChars", [&](unsigned char *out) {
                zelk::UErrorCode status = zelk::ZeroError;
                zelk::CodeConversion::terminateChars(reinterpret_cast<char *>(out) - length, size, length, &status);
                return std::size_t{length < size ? 1U : 0U};
            });
        }
    }
}

TEST_F(OtherOutputBounds, OfBitsAndBytes) {
    const zelk::ProgramTitleDecoder decoder(0);
    for (unsigned int position = 0; position < 6; ++position) {
        for (unsigned int size = 0; size < 6; ++size) {
            expectKept("HuffmanDecoder::byteWriter", [&](unsigned char *out) {
                unsigned int at = position;
                unsigned int capacity = size;
                // Its byte is the first of the memory that is looked at; two positions are skipped.
                decoder.byteWriter('x', out - (position < 2 ? 0 : position - 2), 2, &capacity, &at);
                return std::size_t{position >= 2 && position - 2 < size ? 1U : 0U};
            });
        }
    }
    const std::string text = anyBytes(4, random_);
    for (unsigned char count = 1; count <= 9; ++count) {
        for (unsigned char bit = 0; bit < 8; ++bit) {
            for (unsigned int byte = 0; byte < 4; ++byte) {
                const unsigned int left = (4 - byte) * 8 - bit;
                expectKept("HuffmanDecoder::bitReader", [&](unsigned char *out) {
                    zelk::_BitReaderPos_t position{bit, byte};
                    decoder.bitReader(count, u8(text), 4, out, &position);
                    return std::size_t{count <= 8 && count <= left ? 1U : 0U};
                });
            }
        }
    }
}

// Records of the caller: nothing beside them.
TEST_F(OtherOutputBounds, OfRecords) {
    const auto recordAt = [](auto *out, const auto &use) {
        use(out);
        return sizeof *out;
    };
    const auto record = [&](const char *name, auto type, const auto &use) {
        using Record = decltype(type);
        for (int pattern = 0; pattern < Canaries::patterns; ++pattern) {
            unsigned char *const out = canaries_.filled(pattern, room);
            const std::size_t written = recordAt(reinterpret_cast<Record *>(out), use);
            EXPECT_TRUE(canaries_.keptAfter(written)) << name;
        }
    };
    const std::string text = anyBytes(longestText, random_);
    record("zelkInitUtf8Encoder, zelkUtf8Encode", Utf8EncoderState{}, [&](Utf8EncoderState *state) {
        zelkInitUtf8Encoder(state);
        for (unsigned int unit = 0; unit < 0x10000; unit += 13) {
            zelkUtf8Encode(state, unit);
        }
    });
    record("zelkInitUtf8Decoder, zelkUtf8Decode", Utf8DecoderState{}, [&](Utf8DecoderState *state) {
        zelkInitUtf8Decoder(state);
        for (const char byte : text) {
            zelkUtf8Decode(state, static_cast<unsigned char>(byte));
        }
    });
    for (const unsigned int table : {1U, 2U, 3U}) {
        record("zelkInitHuffmanDecoder, zelkHuffmanDecode", HuffmanStreamState{}, [&](HuffmanStreamState *state) {
            zelkInitHuffmanDecoder(state, table);
            for (const char byte : text) {
                while (state->mode >= 0 && zelkHuffmanDecode(state, static_cast<unsigned char>(byte)) < 0xFFFE) {
                }
            }
        });
    }
    for (const char *const start : {"a", "\x01", "\x1F\x05", "\x15"}) {
        record("zelk_dvbGetDvbCode, code", DvbCode_t{}, [&](DvbCode_t *code) {
            dvbCharSet_t region = DvbCharSetStandard;
            zelk_dvbGetDvbCode(start, &region, code, nullptr, DvbCodeNone, 0);
        });
        record("zelk_dvbGetDvbCode, extra", int{}, [&](int *extra) {
            dvbCharSet_t region = DvbCharSetStandard;
            DvbCode_t code = DvbCodeNone;
            zelk_dvbGetDvbCode(start, &region, &code, extra, DvbCodeNone, 0);
        });
        record("zelk_dvbGetDvbCode, region", dvbCharSet_t{}, [&](dvbCharSet_t *region) {
            DvbCode_t code = DvbCodeNone;
            zelk_dvbGetDvbCode(start, region, &code, nullptr, DvbCodeNone, 0);
        });
    }
}
