// A size that no buffer has says that the result fits: nothing but the result is written, be the buffer ever so small.
// Each conversion runs once with room for anything; then its output lies right in front of an unreadable page, as long
// as that result and its terminator, and the stated size is the least of these sizes, and the largest there is.
#include "helpers/guard_pages.h"
#include "helpers/text.h"
#include "zelk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <string>
#include <vector>

using namespace zelk_test;

namespace {

constexpr int enough = 8192;
constexpr int leastNominal = 1073741824;

template <class Unit>
using Conversion = std::function<unsigned int(Unit *out, int size, const std::string &in)>;

template <class Unit>
void expectSame(const char *name, const Conversion<Unit> &convert, const std::string &in) {
    static GuardPages pages(sizeof(Unit) * enough);
    std::vector<Unit> roomy(enough);
    const unsigned int length = convert(roomy.data(), enough, in);
    const std::size_t bytes = (length + 1) * sizeof(Unit);
    ASSERT_LE(length, static_cast<unsigned int>(enough) - 1);
    auto *const exact = reinterpret_cast<Unit *>(pages.back(bytes));
    for (const int size : {leastNominal, INT_MAX}) {
        std::fill_n(exact, length + 1, Unit{0}); // the unit of a sequence that is cut off keeps its old value
        ASSERT_EQ(convert(exact, size, in), length) << name;
        ASSERT_TRUE(std::equal(exact, exact + length + 1, roomy.begin())) << name;
    }
}

int lengthOf(const std::string &text) {
    return static_cast<int>(text.size());
}

const unsigned char *bytesOf(const std::string &text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

struct Narrow {
    const char *name;
    Conversion<char> convert;
};

const Narrow narrow[] = {
    {"zelk_isoToUtf8",
     [](char *out, int size, const std::string &in) { return zelk_isoToUtf8(2, out, size, in.data(), lengthOf(in)); }},
    {"zelk_isoToUtf8Checked",
     [](char *out, int size, const std::string &in) {
         return zelk_isoToUtf8Checked(5, out, size, in.data(), lengthOf(in));
     }},
    {"zelk_isoToUtf8Tolerant",
     [](char *out, int size, const std::string &in) {
         int flag = 0;
         return zelk_isoToUtf8Tolerant(7, out, size, in.data(), lengthOf(in), &flag);
     }},
    {"zelk_winToUtf8",
     [](char *out, int size, const std::string &in) {
         return zelk_winToUtf8(1251, 0, out, size, in.data(), lengthOf(in));
     }},
    {"zelk_dvb8ToUtf8",
     [](char *out, int size, const std::string &in) {
         return zelk_dvb8ToUtf8(DvbCharSetStandard, out, size, in.data(), lengthOf(in), DvbCodeNone, 0, 0);
     }},
    {"zelk_dvb8PrepUtf8",
     [](char *out, int size, const std::string &in) {
         return zelk_dvb8PrepUtf8(DvbCharSetStandard, out, size, in.data(), lengthOf(in), DvbCodeNone, 0, 0);
     }},
    {"zelk_xmlify",
     [](char *out, int size, const std::string &in) { return zelk_xmlify(out, size, in.data(), lengthOf(in)); }},
    {"zelk_unxml",
     [](char *out, int size, const std::string &in) { return zelk_unxml(out, size, in.data(), lengthOf(in)); }},
    {"zelkUtf8EncodeNotAlignedText",
     [](char *out, int size, const std::string &in) {
         return zelkUtf8EncodeNotAlignedText(reinterpret_cast<unsigned char *>(out), size, bytesOf(in),
                                             lengthOf(in) / 2);
     }},
    {"zelkUtf8CopyAndCheckIfValid",
     [](char *out, int size, const std::string &in) {
         int invalid = 0;
         return zelkUtf8CopyAndCheckIfValid(reinterpret_cast<unsigned char *>(out), size, bytesOf(in), lengthOf(in),
                                            &invalid);
     }},
};

struct Wide {
    const char *name;
    Conversion<unsigned short> convert;
};

const Wide wide[] = {
    {"zelk_isoToUnicode",
     [](unsigned short *out, int size, const std::string &in) {
         return zelk_isoToUnicode(2, out, size, in.data(), lengthOf(in));
     }},
    {"zelk_winToUnicode",
     [](unsigned short *out, int size, const std::string &in) {
         return zelk_winToUnicode(1251, 0, out, size, in.data(), lengthOf(in));
     }},
    {"zelk_dvb8ToUnicode",
     [](unsigned short *out, int size, const std::string &in) {
         return zelk_dvb8ToUnicode(DvbCharSetStandard, out, size, in.data(), lengthOf(in), DvbCodeNone, 0, 0);
     }},
    {"zelkUtf8DecodeText",
     [](unsigned short *out, int size, const std::string &in) {
         return zelkUtf8DecodeText(out, size, bytesOf(in), lengthOf(in));
     }},
};

// Selectors of all kinds, then letters, marks, markup, sequences of UTF-8 whole and cut, or any bytes.
std::string randomText(Random &random) {
    static const std::vector<std::string> selectors = {"",     "\x01", "\x05",         "\x0B",    "\x10",
                                                       "\x11", "\x15", "\x1F\x01\x84", "\x1F\x02"};
    static const std::vector<std::string> pieces = {
        "a", "Title ", "\xC2\x65", "\xC8\x61", "\xCF\x63", "\xE9",         "\xFC", "\xD0\xB4",
        "&", "&amp;",  "&lt;",     "\"",       "<",        "\xE2\x82\xAC", "\xE2", "\x86",
    };
    std::string text = selectors[random.below(static_cast<std::uint32_t>(selectors.size()))];
    const std::uint32_t kinds = random.chance(50) ? 2 : static_cast<std::uint32_t>(pieces.size());
    for (std::uint32_t left = random.below(random.chance(20) ? 300 : 60); left != 0; --left) {
        text += random.chance(3) ? std::string(1, static_cast<char>(random.below(256))) : pieces[random.below(kinds)];
    }
    return text + '\0'; // what reads a byte behind its count finds one
}

} // namespace

TEST(NominalSize, WritesNothingBehindTheResult) {
    Random random(20);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = randomText(random);
        const std::string counted = text.substr(0, text.size() - 1);
        for (const Narrow &function : narrow) {
            ASSERT_NO_FATAL_FAILURE(expectSame<char>(function.name, function.convert, counted));
        }
        for (const Wide &function : wide) {
            ASSERT_NO_FATAL_FAILURE(expectSame<unsigned short>(function.name, function.convert, counted));
        }
    }
}
