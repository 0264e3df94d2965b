// The whole pool as a constant expression, for the sources that expand it into data.
#pragma once

#include "tables/byte_sets.h"
#include "tables/dvb_default.h"
#include "tables/iso8859.h"
#include "tables/windows.h"

namespace zelk::tables {

consteval std::array<CodePoints, byteSetCount> expandByteSets() {
    std::array<CodePoints, byteSetCount> pool{};
    const auto define = [&pool](ByteSet set, const CodePoints &codePoints) {
        pool[static_cast<unsigned int>(set)] = codePoints;
    };
    define(ByteSet::Ascii, ascii);
    define(ByteSet::Iso8859_1, iso8859_1);
    define(ByteSet::Iso8859_2, iso8859_2);
    define(ByteSet::Iso8859_3, iso8859_3);
    define(ByteSet::Iso8859_4, iso8859_4);
    define(ByteSet::Iso8859_5, iso8859_5);
    define(ByteSet::Iso8859_6, iso8859_6);
    define(ByteSet::Iso8859_7, iso8859_7);
    define(ByteSet::Iso8859_8, iso8859_8);
    define(ByteSet::Iso8859_9, iso8859_9);
    define(ByteSet::Iso8859_10, iso8859_10);
    define(ByteSet::Iso8859_11, iso8859_11);
    define(ByteSet::Iso8859_13, iso8859_13);
    define(ByteSet::Iso8859_14, iso8859_14);
    define(ByteSet::Iso8859_15, iso8859_15);
    define(ByteSet::Iso8859_16, iso8859_16);
    define(ByteSet::Iso8859_16WithoutFF, iso8859_16WithoutFF);
    define(ByteSet::Iso8859_5WithoutShortI, iso8859_5WithoutShortI);
    define(ByteSet::Windows1250, windows1250);
    define(ByteSet::Windows1251, windows1251);
    define(ByteSet::Windows1252, windows1252);
    define(ByteSet::Windows1253, windows1253);
    define(ByteSet::Windows1254, windows1254);
    define(ByteSet::Windows1257, windows1257);
    define(ByteSet::DvbDefault, dvbDefault);
    return pool;
}

} // namespace zelk::tables
