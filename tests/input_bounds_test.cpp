// Of a counted input nothing after the count is read, of a terminated one nothing after the terminator, save inside the
// aligned block that holds it. Every exported function is called on texts between unreadable pages, at every alignment
// between poisoned bytes, in blocks of the heap that are just as long, and with counts far beyond a text that a zero
// ends. What the addresses cannot show, since it lies in the same page, AddressSanitizer and Valgrind see.
#include "helpers/every_function.h"
#include "helpers/guard_pages.h"
#include "helpers/last_case.h"
#include "helpers/poison.h"
#include "helpers/text_kinds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using namespace zelk_test;

namespace {

// No count reaches these: they read a text up to its terminator.
bool readsToTerminator(std::string_view name) {
    static const std::set<std::string_view> functions = {
        "zelkNewCharPacket",
        "zelkNewWideCharPacket",
        "zelkConsCharPacket",
        "zelkConsWideCharPacket",
        "zelkSubstr",
        "zelkWideSubstr",
        "zelkUtf8Substr",
        "zelk_wcslen",
        "zelk_nawcslen",
        "zelk_expand",
        "zelkRemoveQuotesFromString",
        "zelkRemoveQuotesFromWideString",
        "zelkFilterString",
        "zelkFilterWideString",
        "zelkUtf8EncodeStream",
        "zelkUtf8DecodeStream",
        "zelkUtf8Pos",
        "zelkUtf8RemoveQuotesFromString",
        "zelkUtf8GetFilteredStringLength",
        "zelkUtf8FilterString",
        "zelk_dvbGetDvbCode",
        "zelkCollate",
        "zelk_patternWildcardMatch",
        "zelk_patternWildcardMatchIgnoreCase",
        "zelk_patternWildcardMatchIgnoreControlChars",
        "zelk_patternWildcardMatchIgnoreCaseAndControlChars",
        "zelk_patternCompareIgnoreControlChars",
        "zelk_patternCompareIgnoreCaseAndControlChars",
        "CodeConversion::convertUTF16ToUTF8Str(unsigned short const*, char*, int)",
        "DvbConverter::ResetConverter(dvbCharSet_t, DvbCode_t, int)", // whose sample is read for its selector
    };
    return functions.count(name) != 0;
}

// A zero ends what these are given a count of. Other texts that are counted hold zeros like other characters: those of
// DVB strings, of compressed bytes and of CodeConversion.
bool endsAtZero(std::string_view name) {
    static const std::set<std::string_view> functions = {
        "zelk_strlcpy",
        "zelk_wstrlcpy",
        "zelk_nawstrlcpy",
        "zelkGetQuotedLength",
        "zelkCopyQuoted",
        "zelkGetWideQuotedLength",
        "zelkCopyWideQuoted",
        "zelkUtf8EncodeText",
        "zelkUtf8GetLength",
        "zelkUtf8EncodeNotAlignedText",
        "zelkUtf8GetLengthForNotAlignedText",
        "zelkUtf8EncodeNotAlignedInverseText",
        "zelkUtf8GetLengthForNotAlignedInverseText",
        "zelkUtf8EncodeString",
        "zelkUtf8EncodeNotAlignedString",
        "zelkUtf8EncodeNotAlignedInverseString",
        "zelkUtf8DecodeText",
        "zelkUtf8DecodeString",
        "zelkUtf8GetTextWidth",
        "zelkUtf8TextIsValid",
        "zelkUtf8CopyAndCheckIfValid",
        "zelkUtf8CopyQuoted",
        "zelkUtf8GetQuotedLength",
        "zelk_isoToUnicodeMaxLength",
        "zelk_isoToUtf8MaxLength",
        "zelk_isoToUtf8Length",
        "zelk_isoToUnicode",
        "zelk_isoToUtf8",
        "zelk_isoToUtf8Checked",
        "zelk_isoToUtf8Tolerant",
        "zelkConvertIsoToUnicode",
        "zelkConvertIsoToUtf8",
        "zelkConvertIsoToUtf8Checked",
        "zelkConvertIsoToUtf8Tolerant",
        "zelk_winToUnicodeMaxLength",
        "zelk_winToUtf8MaxLength",
        "zelk_winToUtf8Length",
        "zelk_winToUnicode",
        "zelk_winToUtf8",
        "zelkConvertWindowsToUnicode",
        "zelkConvertWindowsToUtf8",
        "zelk_pela_ttxConvertToUnicode",
        "zelk_pela_ttxConvertToUtf8",
        "zelk_dvbPrep8ToUtf8",
        "zelk_xmlifiedLength",
        "zelk_xmlify",
        "zelk_unxml",
        "zelkXmlify",
        "zelkUnXml",
    };
    return functions.count(name) != 0;
}

// One byte after a counted DVB string must be readable: a mark at its end looks at its letter.
bool looksAtOneMore(std::string_view name) {
    return name.find("vb8") != std::string_view::npos || name.find("Dvb") != std::string_view::npos;
}

bool isMark(char byte) {
    return static_cast<unsigned char>(byte) >= 0xA0 && static_cast<unsigned char>(byte) <= 0xCF;
}

struct AnyFunction {
    const char *name;
    const PacketFunction *packet = nullptr;
    const StringFunction *string = nullptr;
    const PlainFunction *plain = nullptr;
    bool terminated; // reads to the terminator
    bool zeroEnds;
    bool oneMore;

    void call(const AnyText &text, AnyRoom &room) const {
        if (packet != nullptr) {
            const std::unique_ptr<void, Free> result(packet->call(text));
        } else if (string != nullptr) {
            string->call(text);
        } else {
            plain->call(text, room);
        }
    }
};

const std::vector<AnyFunction> &functions() {
    static const std::vector<AnyFunction> all = [] {
        std::vector<AnyFunction> result;
        const auto add = [&](AnyFunction function) {
            function.terminated = readsToTerminator(function.name);
            function.zeroEnds = endsAtZero(function.name);
            function.oneMore = looksAtOneMore(function.name);
            result.push_back(function);
        };
        for (const PacketFunction &function : packetFunctions) {
            add({function.name, &function, nullptr, nullptr, false, false, false});
        }
        for (const StringFunction &function : stringFunctions) {
            add({function.name, nullptr, &function, nullptr, false, false, false});
        }
        for (const PlainFunction &function : plainFunctions) {
            add({function.name, nullptr, nullptr, &function, false, false, false});
        }
        return result;
    }();
    return all;
}

// The bytes of a text in its three forms, as a function may read them and no further.
struct Forms {
    Forms(const AnyText &text, bool terminated, bool twoByte)
        : bytes(text.bytes), pairs(text.pairs.substr(0, 2 * text.bytes.size())), other(text.other) {
        for (const char letter : text.bytes) {
            const auto byte = static_cast<unsigned char>(letter);
            wide.push_back(byte < 0x80 ? byte : static_cast<unsigned short>(byte * 0x0101));
        }
        other.push_back('\0');
        if (terminated) {
            bytes.append(twoByte ? 2 : 1, '\0');
            pairs.append(2, '\0');
            wide.push_back(0);
        }
    }
    std::string_view wideBytes() const { return {reinterpret_cast<const char *>(wide.data()), 2 * wide.size()}; }

    std::string bytes;
    std::string pairs;
    std::string other;
    std::vector<unsigned short> wide;
};

constexpr std::size_t room = 4 * longestText + 256;

// Where a test puts a text: four places for its forms.
template <class Place>
void place(AnyText &text, const Forms &forms, Place (&places)[4]) {
    text.placedBytes = reinterpret_cast<const char *>(places[0].put(forms.bytes));
    text.placedPairs = places[1].put(forms.pairs);
    text.placedUnits = reinterpret_cast<const unsigned short *>(places[2].put(forms.wideBytes()));
    text.placedOther = reinterpret_cast<const char *>(places[3].put(forms.other));
}

// Ends right before an unreadable page.
struct BeforePage {
    static constexpr const char *name = "before an unreadable page";
    GuardPages pages{room};
    const unsigned char *put(std::string_view bytes) { return pages.atBack(bytes); }
};

// Begins right after one.
struct AfterPage {
    static constexpr const char *name = "after an unreadable page";
    GuardPages pages{room};
    const unsigned char *put(std::string_view bytes) { return pages.atFront(bytes); }
};

// A block of its own.
struct InHeap {
    static constexpr const char *name = "in a heap block of its length";
    std::unique_ptr<unsigned char[]> block;
    const unsigned char *put(std::string_view bytes) {
        block.reset(new unsigned char[bytes.size()]);
        std::copy(bytes.begin(), bytes.end(), block.get());
        return block.get();
    }
};

// At an alignment of the test's choice, between bytes that nothing may touch: right from the end on, or from the end of
// the aligned block that holds the last byte.
struct AtAlignment {
    static constexpr const char *name = "at an alignment";
    static constexpr std::size_t block = 64; // the longest load of any kernel
    struct alignas(block) Line {
        unsigned char bytes[block];
    };
    std::vector<Line> lines = std::vector<Line>(room / block + 4);
    std::unique_ptr<Poisoned> before;
    std::unique_ptr<Poisoned> after;
    std::size_t alignment = 0;
    bool wholeBlock = false;

    const unsigned char *put(std::string_view bytes) {
        before.reset();
        after.reset();
        unsigned char *const memory = lines[0].bytes;
        unsigned char *const begin = memory + block + alignment;
        std::memset(memory, 0x5C, lines.size() * block);
        std::copy(bytes.begin(), bytes.end(), begin);
        const std::size_t end = block + alignment + bytes.size();
        const std::size_t readable = wholeBlock ? (end + block - 1) / block * block : end;
        const std::size_t first = wholeBlock ? (block + alignment) / block * block : block + alignment;
        before = std::make_unique<Poisoned>(memory, first);
        after = std::make_unique<Poisoned>(memory + readable, lines.size() * block - readable);
        return begin;
    }
};

class InputBounds : public ::testing::Test {
protected:
    // Calls those functions on the text that can be called on it.
    template <class Wanted>
    void callAll(const AnyText &text, const char *kind, const char *where, Wanted wanted) {
        for (const AnyFunction &function : functions()) {
            const bool oneCharacter = function.plain != nullptr && !function.plain->takesText;
            if (wanted(function) && (!oneCharacter || !text.bytes.empty())) {
                lastCase_.is(function.name, kind, text.bytes.size(), text.count, where);
                function.call(text, out_);
            }
        }
    }

    // Counted texts. A mark at the end of a DVB string has a readable byte after it.
    template <class Place>
    void callCounted(AnyText &text, const char *kind, Place (&places)[4]) {
        text.count = static_cast<int>(text.bytes.size());
        place(text, Forms(text, false, false), places);
        const bool mark = !text.bytes.empty() && isMark(text.bytes.back());
        callAll(text, kind, Place::name,
                [&](const AnyFunction &function) { return !function.terminated && !(mark && function.oneMore); });
        if (mark) {
            Forms longer(text, false, false);
            longer.bytes.push_back('e');
            text.placedBytes = reinterpret_cast<const char *>(places[0].put(longer.bytes));
            callAll(text, kind, Place::name, [&](const AnyFunction &function) { return function.oneMore; });
        }
    }

    // Terminated texts.
    template <class Place>
    void callTerminated(AnyText &text, const TextKind &kind, Place (&places)[4]) {
        if (kind.needsCount || (!text.bytes.empty() && text.bytes[0] == '\x1F')) {
            return; // the code's end is read to, which these texts lack
        }
        // A selector of three bytes is there as a whole, and two-byte text consists of whole units.
        std::string &bytes = text.bytes;
        bytes.resize(std::max<std::size_t>(5, bytes.size()), 'a');
        const bool twoByte = bytes[0] == '\x11' || bytes[0] == '\x14';
        bytes.append(twoByte ? 1 - bytes.size() % 2 : 0, 'a');
        text.count = -1;
        place(text, Forms(text, true, twoByte), places);
        callAll(text, kind.name, Place::name, [](const AnyFunction &) { return true; });
    }

    LastCase lastCase_;
    AnyRoom out_{longestText + 16};
};

AnyText textOf(const TextKind &kind, std::size_t length, Random &random) {
    AnyText text(kind.ofLength(length, random));
    text.part = static_cast<unsigned int>(length) % 17;
    text.codePage = 1250 + static_cast<int>(length) % 8;
    return text;
}

} // namespace

TEST(InputLists, NameFunctions) {
    expectCompleteLists(ZELK_EXPORTS);
    std::size_t terminated = 0;
    std::size_t zeroEnds = 0;
    for (const AnyFunction &function : functions()) {
        terminated += function.terminated ? 1 : 0;
        zeroEnds += function.zeroEnds ? 1 : 0;
        EXPECT_FALSE(function.terminated && function.zeroEnds) << function.name;
    }
    EXPECT_EQ(terminated, 30U);
    EXPECT_EQ(zeroEnds, 49U);
}

TEST_F(InputBounds, OfCountedTextsBetweenPages) {
    Random random(31);
    BeforePage before[4];
    AfterPage after[4];
    InHeap heap[4];
    for (std::size_t length = 0; length <= longestText; ++length) {
        forKindsAtLength(length, [&](const TextKind &kind) {
            AnyText text = textOf(kind, length, random);
            callCounted(text, kind.name, before);
            callCounted(text, kind.name, after);
            callCounted(text, kind.name, heap);
        });
    }
}

TEST_F(InputBounds, OfTerminatedTextsBetweenPages) {
    Random random(32);
    BeforePage before[4];
    AfterPage after[4];
    InHeap heap[4];
    for (std::size_t length = 0; length <= longestText; ++length) {
        forKindsAtLength(length, [&](const TextKind &kind) {
            AnyText text = textOf(kind, length, random);
            callTerminated(text, kind, before);
            callTerminated(text, kind, after);
            callTerminated(text, kind, heap);
        });
    }
}

TEST_F(InputBounds, OfTextsAtEveryAlignment) {
    Random random(33);
    AtAlignment exact[4];
    AtAlignment blocks[4];
    for (AtAlignment &whole : blocks) {
        whole.wholeBlock = true;
    }
    std::size_t round = 0;
    for (std::size_t length = 0; length <= longestText; length += length < 140 ? 1 : 7) {
        for (std::size_t alignment = length % textStride(); alignment < AtAlignment::block; alignment += textStride()) {
            const TextKind &kind = textKinds[++round % std::size(textKinds)];
            for (std::size_t i = 0; i < 4; ++i) {
                // Units are aligned; other forms are not.
                exact[i].alignment = blocks[i].alignment = i == 2 ? alignment / 2 * 2 : alignment;
            }
            AnyText text = textOf(kind, length, random);
            callCounted(text, kind.name, exact);
            callTerminated(text, kind, blocks);
        }
    }
}

TEST_F(InputBounds, OfCountsBeyondTheTerminator) {
    Random random(34);
    BeforePage before[4];
    InHeap heap[4];
    for (std::size_t length = 0; length <= longestText; ++length) {
        forKindsAtLength(length, [&](const TextKind &kind) {
            AnyText text = textOf(kind, length, random);
            const Forms forms(text, true, false);
            for (const int count : {static_cast<int>(length) + 1, 65535, INT_MAX}) {
                text.count = count;
                place(text, forms, before);
                callAll(text, kind.name, BeforePage::name,
                        [](const AnyFunction &function) { return function.zeroEnds; });
                place(text, forms, heap);
                callAll(text, kind.name, InHeap::name, [](const AnyFunction &function) { return function.zeroEnds; });
            }
        });
    }
}

// A pattern is a text too.
TEST_F(InputBounds, OfPatterns) {
    Random random(35);
    BeforePage before[4];
    BeforePage patterns;
    InHeap heap;
    const TextKind kind = {"patterns", "", "*|?|e|a|z|ab|**|*?|\x01"};
    for (std::size_t length = 0; length <= longestText; ++length) {
        for (int repeat = 0; repeat < 4; ++repeat) {
            AnyText text(kind.ofLength(random.below(longestText), random));
            std::string pattern = repeat == 0 ? "*" + text.bytes.substr(0, length) : kind.ofLength(length, random);
            pattern.push_back('\0');
            text.count = -1;
            place(text, Forms(text, true, false), before);
            for (const unsigned char *placed : {patterns.put(pattern), heap.put(pattern)}) {
                text.pattern = reinterpret_cast<const char *>(placed);
                callAll(text, kind.name, BeforePage::name, [](const AnyFunction &function) {
                    return std::string_view(function.name).find("_pattern") != std::string_view::npos;
                });
            }
        }
    }
}
