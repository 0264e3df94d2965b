// UTF-16 to UTF-8: every status, every capacity, every code point, and a model that follows the two phases by hand.
#include "zelk.hpp"

#include "helpers/guarded.h"
#include "helpers/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <ostream>
#include <string>

namespace {

using namespace zelk_test;
using zelk::CodeConversion;
using zelk::UErrorCode;

constexpr int notSet = -77;

struct Result {
    bool returnedDest;
    int length;
    UErrorCode status;
    std::string buffer; // all of the capacity, unwritten bytes as the guard pattern

    bool operator==(const Result &) const = default;
};

void PrintTo(const Result &result, std::ostream *os) {
    *os << (result.returnedDest ? "dest" : "null") << ", length " << result.length << ", status " << result.status
        << ", " << testing::PrintToString(result.buffer);
}

// `count` of -1 takes the terminator that `units` then must have; else an exact copy without one is passed.
Result convert(const Units &units, int count, int capacity, UErrorCode status = zelk::ZeroError) {
    const Units exact(units.begin(), count < 0 ? units.end() : units.begin() + count);
    const unsigned short empty = 0x41;
    Guarded<char> dest(static_cast<std::size_t>(capacity));
    int length = notSet;
    const char *returned = CodeConversion::strToUTF8(dest.data(), capacity, &length,
                                                     exact.empty() ? &empty : exact.data(), count, &status);
    EXPECT_TRUE(returned == nullptr || returned == dest.data());
    return {returned != nullptr, length, status, std::string(dest.data(), dest.size())};
}

std::string encoded(unsigned int codePoint) {
    const auto trail = [=](unsigned int shift) { return static_cast<char>(0x80 + (codePoint >> shift) % 64); };
    if (codePoint < 0x80) {
        return {static_cast<char>(codePoint)};
    }
    if (codePoint < 0x800) {
        return {static_cast<char>(0xC0 + codePoint / 64), trail(0)};
    }
    if (codePoint < 0x10000) {
        return {static_cast<char>(0xE0 + codePoint / 4096), trail(6), trail(0)};
    }
    return {static_cast<char>(0xF0 + codePoint / 262144), trail(12), trail(6), trail(0)};
}

std::optional<unsigned int> takeCodePoint(const Units &units, std::size_t &at, std::size_t end) {
    const unsigned int unit = units[at++];
    if (unit < 0xD800 || unit > 0xDFFF) {
        return unit;
    }
    if (unit > 0xDBFF || at == end || units[at] < 0xDC00 || units[at] > 0xDFFF) {
        return std::nullopt;
    }
    return (unit << 10U) + units[at++] - 0x35FDC00U;
}

Result model(const Units &units, int count, int capacity) {
    std::size_t end = static_cast<std::size_t>(count);
    if (count < 0) {
        for (end = 0; units[end] != 0; ++end) {
        }
    }
    Result result{true, 0, zelk::ZeroError, std::string(static_cast<std::size_t>(capacity), Guarded<char>::pattern())};
    std::string written;
    bool fits = true;
    for (std::size_t at = 0; at < end;) {
        const auto codePoint = takeCodePoint(units, at, end);
        if (!codePoint) {
            result.buffer.replace(0, written.size(), written);
            return {false, notSet, zelk::InvalidCharFound, result.buffer};
        }
        const std::string bytes = encoded(*codePoint);
        result.length += static_cast<int>(bytes.size());
        fits = fits && result.length <= capacity;
        if (fits) {
            written += bytes;
        }
    }
    if (result.length < capacity) {
        written += '\0';
    }
    result.buffer.replace(0, written.size(), written);
    result.status = result.length < capacity    ? zelk::ZeroError
                    : result.length == capacity ? zelk::StringNotTerminatedWarning
                                                : zelk::BufferOverflowError;
    return result;
}

void expectAsModel(const Units &units, int count, int capacity) {
    const Result expected = model(units, count, capacity);
    const Result result = convert(units, count, capacity);
    if (!(result == expected)) {
        FAIL() << testing::PrintToString(units) << " count " << count << " capacity " << capacity << ": "
               << testing::PrintToString(result) << ", not " << testing::PrintToString(expected);
    }
}

TEST(Utf16Convert, Preflight) {
    const Units text = terminated({0x41, 0x20AC});
    UErrorCode status = zelk::ZeroError;
    int length = notSet;
    EXPECT_EQ(CodeConversion::strToUTF8(nullptr, 0, &length, text.data(), -1, &status), nullptr);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(status, zelk::BufferOverflowError);

    status = zelk::ZeroError;
    const Units empty = terminated({});
    EXPECT_EQ(CodeConversion::strToUTF8(nullptr, 0, &length, empty.data(), -1, &status), nullptr);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(status, zelk::StringNotTerminatedWarning);
}

TEST(Utf16Convert, ASurrogatePairIsOneCharacter) {
    const Result result = convert(terminated({0xD83D, 0xDE00}), -1, 5);
    EXPECT_EQ(result, (Result{true, 4, zelk::ZeroError, bytes("F0 9F 98 80 00")}));
}

TEST(Utf16Convert, AnUnpairedSurrogateIsAnErrorAlsoWhereItDoesNotFit) {
    const Units bad[] = {terminated({0x41, 0xDE00}), terminated({0x41, 0xD83D, 0x41}), terminated({0x41, 0xD83D}),
                         terminated({0x41, 0xDE00, 0xD83D}), terminated({0x41, 0xD83D, 0xD83D, 0xDE00})};
    for (const Units &text : bad) {
        for (const int count : {-1, static_cast<int>(text.size()) - 1}) {
            for (const int capacity : {0, 1, 2, 20}) {
                const Result result = convert(text, count, capacity);
                EXPECT_FALSE(result.returnedDest);
                EXPECT_EQ(result.length, notSet);
                EXPECT_EQ(result.status, zelk::InvalidCharFound);
                if (capacity > 1) {
                    EXPECT_EQ(result.buffer[0], 'A') << "what was written stays";
                    EXPECT_EQ(result.buffer[1], Guarded<char>::pattern()) << "and is not terminated";
                }
            }
        }
    }
}

TEST(Utf16Convert, AHighSurrogateAtTheCountIsUnpaired) {
    EXPECT_EQ(convert(terminated({0xD83D, 0xDE00}), 1, 10).status, zelk::InvalidCharFound);
}

TEST(Utf16Convert, AZeroUnitIsACharacterWhereThereIsACount) {
    const Result result = convert(terminated({0x41, 0, 0x42}), 3, 10);
    EXPECT_TRUE(result.returnedDest);
    EXPECT_EQ(result.length, 3);
    EXPECT_EQ(result.status, zelk::ZeroError);
    EXPECT_EQ(result.buffer.substr(0, 4), bytes("41 00 42 00"));
    EXPECT_EQ(convert(terminated({0x41, 0, 0x42}), -1, 10).length, 1);
    EXPECT_EQ(convert(Units(20, 0), 20, 30).length, 20) << "whole blocks of them too";
}

TEST(Utf16Convert, Capacities) {
    const Units text = terminated({0x41, 0x20AC});
    const char guard = Guarded<char>::pattern();
    EXPECT_EQ(convert(text, -1, 3), (Result{true, 4, zelk::BufferOverflowError, {'A', guard, guard}}));
    EXPECT_EQ(convert(text, -1, 4), (Result{true, 4, zelk::StringNotTerminatedWarning, bytes("41 E2 82 AC")}));
    EXPECT_EQ(convert(text, -1, 5), (Result{true, 4, zelk::ZeroError, bytes("41 E2 82 AC 00")}));
}

TEST(Utf16Convert, NothingIsWrittenBehindTheFirstThatDoesNotFit) {
    const char guard = Guarded<char>::pattern();
    EXPECT_EQ(convert(terminated({0x20AC, 0x41}), -1, 2), (Result{true, 4, zelk::BufferOverflowError, {guard, guard}}));
}

TEST(Utf16Convert, BadArguments) {
    const Units text = terminated({0x41});
    const auto statusOf = [&](char *dest, int capacity, const unsigned short *src, int count) {
        UErrorCode status = zelk::ZeroError;
        int length = notSet;
        EXPECT_EQ(CodeConversion::strToUTF8(dest, capacity, &length, src, count, &status), nullptr);
        EXPECT_EQ(length, notSet);
        return status;
    };
    Guarded<char> dest(8);
    EXPECT_EQ(statusOf(dest.data(), 8, nullptr, -1), zelk::IllegalArgumentError);
    EXPECT_EQ(statusOf(dest.data(), 8, nullptr, 0), zelk::IllegalArgumentError);
    EXPECT_EQ(statusOf(dest.data(), 8, text.data(), -2), zelk::IllegalArgumentError);
    EXPECT_EQ(statusOf(dest.data(), 8, text.data(), INT_MIN), zelk::IllegalArgumentError);
    EXPECT_EQ(statusOf(dest.data(), -1, text.data(), -1), zelk::IllegalArgumentError);
    EXPECT_EQ(statusOf(dest.data(), INT_MIN, text.data(), -1), zelk::IllegalArgumentError);
    EXPECT_EQ(statusOf(nullptr, 1, text.data(), -1), zelk::IllegalArgumentError);
    EXPECT_TRUE(dest.untouched());
    EXPECT_EQ(CodeConversion::strToUTF8(dest.data(), 8, nullptr, text.data(), -1, nullptr), nullptr);
    EXPECT_TRUE(dest.untouched());
}

TEST(Utf16Convert, AFailureOnEntryStopsTheCall) {
    for (const int code : {1, 2, 10, 15, 99, INT_MAX}) {
        const auto status = static_cast<UErrorCode>(code);
        const Result result = convert(terminated({0x41}), -1, 4, status);
        EXPECT_EQ(result, (Result{false, notSet, status, std::string(4, Guarded<char>::pattern())}));
    }
    UErrorCode status = zelk::BufferOverflowError;
    EXPECT_EQ(CodeConversion::strToUTF8(nullptr, -1, nullptr, nullptr, -5, &status), nullptr);
    EXPECT_EQ(status, zelk::BufferOverflowError) << "a failure is not replaced by another";
}

TEST(Utf16Convert, AWarningOnEntryIsNoFailure) {
    const auto other = static_cast<UErrorCode>(-128);
    EXPECT_EQ(convert(terminated({0x41}), -1, 4, zelk::StringNotTerminatedWarning).status, zelk::ZeroError);
    EXPECT_EQ(convert(terminated({0x41}), -1, 4, other).status, other);
    EXPECT_EQ(convert(terminated({0x41}), -1, 1, other).status, zelk::StringNotTerminatedWarning);
}

TEST(Utf16Convert, TheLengthMayBeNull) {
    Guarded<char> dest(4);
    UErrorCode status = zelk::ZeroError;
    const Units text = terminated({0xE9});
    EXPECT_EQ(CodeConversion::strToUTF8(dest.data(), 4, nullptr, text.data(), -1, &status), dest.data());
    EXPECT_STREQ(dest.data(), "\xC3\xA9");
}

TEST(Utf16Convert, HugeCapacityOfASmallBuffer) {
    char dest[8] = {};
    int length = 0;
    UErrorCode status = zelk::ZeroError;
    const Units text = terminated({0x41, 0x42});
    EXPECT_EQ(CodeConversion::strToUTF8(dest, INT_MAX, &length, text.data(), -1, &status), dest);
    EXPECT_STREQ(dest, "AB");
}

TEST(Utf16Convert, AllCodePoints) {
    for (unsigned int codePoint = 1; codePoint < 0x110000; ++codePoint) {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
            continue;
        }
        Units units;
        if (codePoint < 0x10000) {
            units = {static_cast<unsigned short>(codePoint), 0};
        } else {
            const unsigned int offset = codePoint - 0x10000;
            units = {static_cast<unsigned short>(0xD800 + offset / 1024),
                     static_cast<unsigned short>(0xDC00 + offset % 1024), 0};
        }
        char dest[5] = {};
        UErrorCode status = zelk::ZeroError;
        CodeConversion::strToUTF8(dest, 5, nullptr, units.data(), -1, &status);
        ASSERT_EQ(dest, encoded(codePoint)) << codePoint;
        if (codePoint >= 0x80) {
            unsigned char direct[4] = {};
            unsigned char *end = CodeConversion::appendUTF8(direct, static_cast<int>(codePoint));
            ASSERT_EQ(std::string(direct, end), encoded(codePoint)) << codePoint;
        }
    }
}

TEST(Utf16Convert, AllUnitsBehindAnyOther) {
    const unsigned int leads[] = {0x41, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000};
    for (const unsigned int lead : leads) {
        for (unsigned int unit = 0; unit < 0x10000; ++unit) {
            const Units units = terminated({lead, unit});
            ASSERT_NO_FATAL_FAILURE(expectAsModel(units, -1, 8));
            ASSERT_NO_FATAL_FAILURE(expectAsModel(units, 2, 8));
        }
    }
}

TEST(Utf16Convert, RandomTextsInEveryCapacity) {
    Random random(25);
    for (int i = 0; i < 400; ++i) {
        Units units;
        const std::uint32_t longest = 1 + random.below(50);
        const std::uint32_t plain = random.below(100);
        while (units.size() < longest) {
            if (random.chance(plain)) {
                units.push_back(static_cast<unsigned short>(1 + random.below(0x7F)));
            } else if (random.chance(30)) {
                units.push_back(static_cast<unsigned short>(0xD800 + random.below(0x400)));
                units.push_back(static_cast<unsigned short>(0xDC00 + random.below(0x400)));
            } else if (random.chance(3)) {
                units.push_back(static_cast<unsigned short>(0xD800 + random.below(0x800)));
            } else {
                units.push_back(static_cast<unsigned short>(1 + random.below(random.chance(50) ? 0x7FF : 0xD7FF)));
            }
        }
        const int count = static_cast<int>(units.size());
        units.push_back(0);
        for (int capacity = 0; capacity <= 3 * count + 2; ++capacity) {
            ASSERT_NO_FATAL_FAILURE(expectAsModel(units, -1, capacity));
            ASSERT_NO_FATAL_FAILURE(expectAsModel(units, count, capacity));
        }
        for (int shorter = 0; shorter < count; ++shorter) {
            ASSERT_NO_FATAL_FAILURE(expectAsModel(units, shorter, 2 * count));
        }
    }
}

TEST(Utf16Convert, LongTexts) {
    Units units(70'000, 0x20AC);
    units.push_back(0);
    EXPECT_EQ(convert(units, -1, 210'001).length, 210'000);
    EXPECT_EQ(convert(units, -1, 210'000).status, zelk::StringNotTerminatedWarning);
    ASSERT_NO_FATAL_FAILURE(expectAsModel(units, -1, 123'457));
    ASSERT_NO_FATAL_FAILURE(expectAsModel(Units(70'000, 0x41), 70'000, 69'999));
}

TEST(Utf16Terminate, StatusByLength) {
    const auto run = [](int capacity, int length, UErrorCode status, Guarded<char> &dest) {
        CodeConversion::terminateChars(dest.data(), capacity, length, &status);
        return status;
    };
    for (const int length : {0, 3}) {
        Guarded<char> dest(4);
        EXPECT_EQ(run(4, length, zelk::StringNotTerminatedWarning, dest), zelk::ZeroError);
        EXPECT_EQ(dest[static_cast<std::size_t>(length)], 0);
    }
    Guarded<char> dest(4);
    EXPECT_EQ(run(4, 4, zelk::ZeroError, dest), zelk::StringNotTerminatedWarning);
    EXPECT_EQ(run(4, 5, zelk::ZeroError, dest), zelk::BufferOverflowError);
    EXPECT_EQ(run(4, INT_MAX, zelk::StringNotTerminatedWarning, dest), zelk::BufferOverflowError);
    EXPECT_EQ(run(-1, 0, zelk::ZeroError, dest), zelk::BufferOverflowError);
    EXPECT_EQ(run(4, -1, zelk::StringNotTerminatedWarning, dest), zelk::StringNotTerminatedWarning);
    EXPECT_EQ(run(4, 2, zelk::InvalidCharFound, dest), zelk::InvalidCharFound);
    CodeConversion::terminateChars(dest.data(), 4, 2, nullptr);
    EXPECT_TRUE(dest.untouched());
    EXPECT_EQ(run(4, 1, static_cast<UErrorCode>(-128), dest), static_cast<UErrorCode>(-128)) << "other warnings stay";
    EXPECT_EQ(dest[1], 0);
}

TEST(Utf16Wrapper, Codes) {
    const Units text = terminated({0x41, 0x20AC});
    const Units bad = terminated({0xDE00});
    Guarded<char> dest(5);
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(nullptr, dest.data(), 5), -5);
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(text.data(), nullptr, 5), -5);
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(text.data(), nullptr, 0), -5) << "no preflight here";
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(text.data(), dest.data(), -1), -5);
    EXPECT_TRUE(dest.untouched());
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(bad.data(), dest.data(), 5), -6);
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(text.data(), dest.data(), 3), -2);
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(text.data(), dest.data(), 4), 0) << "full, without terminator";
    EXPECT_EQ(dest[4], Guarded<char>::pattern());
    EXPECT_EQ(CodeConversion::convertUTF16ToUTF8Str(text.data(), dest.data(), 5), 0);
    EXPECT_STREQ(dest.data(), "A\xE2\x82\xAC");
}

} // namespace
