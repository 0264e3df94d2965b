// The pool of single-byte sets against the C library's iconv: every byte of every set, with the deviations that are our
// contract and no others; and the lists of the families, through their functions.
#include "reference/single_byte.h"
#include "tables/byte_sets.h"
#include "zelk.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace {

using namespace zelk_test;
using zelk::tables::ByteSet;
using zelk::tables::codePointsOf;

using Deviations = std::map<unsigned int, unsigned int>; // byte to our code point

struct SystemSet {
    ByteSet set;
    const char *name;
    Deviations deviations;
};

const std::vector<SystemSet> &systemSets() {
    static const std::vector<SystemSet> sets = {
        {ByteSet::Ascii, "ASCII", {}},
        {ByteSet::Iso8859_1, "ISO-8859-1", {}},
        {ByteSet::Iso8859_2, "ISO-8859-2", {}},
        {ByteSet::Iso8859_3, "ISO-8859-3", {}},
        {ByteSet::Iso8859_4, "ISO-8859-4", {}},
        {ByteSet::Iso8859_5, "ISO-8859-5", {}},
        {ByteSet::Iso8859_6, "ISO-8859-6", {}},
        {ByteSet::Iso8859_7, "ISO-8859-7", {{0xA5, 0xFFFD}, {0xAA, 0xFFFD}}},
        {ByteSet::Iso8859_8, "ISO-8859-8", {{0xFD, 0xFFFD}, {0xFE, 0xFFFD}}},
        {ByteSet::Iso8859_9, "ISO-8859-9", {}},
        {ByteSet::Iso8859_10, "ISO-8859-10", {}},
        {ByteSet::Iso8859_11, "ISO-8859-11", {}},
        {ByteSet::Iso8859_13, "ISO-8859-13", {}},
        {ByteSet::Iso8859_14, "ISO-8859-14", {}},
        {ByteSet::Iso8859_15, "ISO-8859-15", {}},
        {ByteSet::Iso8859_16, "ISO-8859-16", {}},
        {ByteSet::Iso8859_16WithoutFF, "ISO-8859-16", {{0xFF, 0xFFFD}}},
        {ByteSet::Iso8859_5WithoutShortI, "ISO-8859-5", {{0xB9, 0xFFFD}, {0xD9, 0xFFFD}}},
        {ByteSet::Windows1250, "CP1250", {}},
        {ByteSet::Windows1251, "CP1251", {}},
        {ByteSet::Windows1252, "CP1252", {}},
        {ByteSet::Windows1253, "CP1253", {}},
        {ByteSet::Windows1254, "CP1254", {}},
        {ByteSet::Windows1257, "CP1257", {{0xFF, 0xFFFD}}},
    };
    return sets;
}

TEST(ByteSets, EqualTheSystemsButForTheListedDeviations) {
    for (const SystemSet &row : systemSets()) {
        SCOPED_TRACE(row.name);
        const reference::Set published = reference::systemSet(row.name);
        Deviations found;
        for (unsigned int byte = 0; byte < 256; ++byte) {
            if (codePointsOf(row.set)[byte] != published[byte]) {
                found[byte] = codePointsOf(row.set)[byte];
            }
        }
        EXPECT_EQ(found, row.deviations);
    }
    EXPECT_EQ(systemSets().size() + 1, zelk::tables::byteSetCount) << "the DVB default table is no system's";
}

// ETSI EN 300 468 Figure A.1 with the receiver's choices, typed a second time; * is unassigned.
const char *const dvbDefaultRows = "A0 A1 A2 A3 20AC A5 * A7 A4 2018 201C AB 2190 2191 2192 2193 "
                                   "B0 B1 B2 B3 D7 B5 B6 B7 F7 2019 201D BB BC BD BE BF "
                                   "* 60 B4 5E 7E AF 2D8 2D9 A8 * 2DA B8 * 2DD 2DB 2C7 "
                                   "2015 B9 AE A9 2122 266A AC A6 * * * * 215B 215C 215D 215E "
                                   "3A9 C6 D0 AA 126 * 132 13F 141 D8 152 BA DE 166 14A 149 "
                                   "138 E6 111 F0 127 131 133 140 142 F8 153 DF FE 167 14B AD";

reference::Set dvbDefaultSet() {
    reference::Set set(256, reference::replacement);
    for (unsigned int byte = 0x20; byte < 0x7F; ++byte) {
        set[byte] = byte;
    }
    std::istringstream cells(dvbDefaultRows);
    std::string cell;
    for (unsigned int byte = 0xA0; cells >> cell; ++byte) {
        set.at(byte) = cell == "*" ? reference::replacement : static_cast<unsigned int>(std::stoul(cell, nullptr, 16));
    }
    return set;
}

TEST(ByteSets, TheDvbDefaultTableRowByRow) {
    const reference::Set expected = dvbDefaultSet();
    for (unsigned int byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(codePointsOf(ByteSet::DvbDefault)[byte], expected[byte]) << std::hex << byte;
    }
}

TEST(ByteSets, OnlyPosition0HoldsZero) {
    for (unsigned int set = 0; set < zelk::tables::byteSetCount; ++set) {
        const auto &codePoints = zelk::tables::byteSetPool[set];
        EXPECT_EQ(codePoints[0], static_cast<ByteSet>(set) == ByteSet::DvbDefault ? 0xFFFD : 0);
        EXPECT_EQ(std::count(codePoints.begin() + 1, codePoints.end(), 0), 0) << set;
    }
}

TEST(ByteSets, IsoPartsReadTheirSets) {
    for (unsigned int part = 0; part <= 16; ++part) {
        const reference::Set expected = reference::isoSet(part);
        for (unsigned int byte = 0; byte < 256; ++byte) {
            ASSERT_EQ(zelk_isoConvertSingleChar(part, byte), expected[byte]) << "part " << part << ", byte " << byte;
        }
    }
}

TEST(ByteSets, WindowsTablesReadTheirSets) {
    for (unsigned int table = 0; table <= 8; ++table) {
        const reference::Set expected = reference::windowsSet(table);
        for (unsigned int byte = 0; byte < 256; ++byte) {
            ASSERT_EQ(zelk_winMapCode(table, byte), expected[byte]) << "table " << table << ", byte " << byte;
        }
    }
}

// What a DVB string of one byte reads for a code: characters only, the controls have rules of their own.
TEST(ByteSets, DvbCodesReadTheirSets) {
    for (int code = 0; code <= 16; ++code) {
        reference::Set expected = dvbDefaultSet();
        if (code == 7) {
            expected = reference::isoSet(7);
        } else if (code == 8) {
            expected = reference::changed(reference::systemSet("ISO-8859-8"), {{0xFD, 0xFFFD}, {0xFE, 0xFFFD}});
        } else if (code == 12) {
            expected = reference::asciiSet();
        } else if (code != 0) {
            expected = reference::systemSet("ISO-8859-" + std::to_string(code));
        }
        for (unsigned int byte = 0x20; byte < 256; ++byte) {
            const bool control = byte >= 0x80 && byte < 0xA0;
            const bool dropped = code == 0 && byte >= 0xA0 && expected[byte] == reference::replacement;
            if (control || dropped) {
                continue;
            }
            const char text[2] = {static_cast<char>(byte), 0};
            unsigned short out[4] = {};
            ASSERT_EQ(zelk_dvb8ToUnicode(DvbCharSetStandard, out, 4, text, -1, static_cast<DvbCode_t>(code), 0, 0), 1U);
            ASSERT_EQ(out[0], expected[byte]) << "code " << code << ", byte " << byte;
        }
    }
}

} // namespace
