// Which single-byte set and marks a table of zelk_insight.h has.
#pragma once

#include "tables/dvb_tables.h"

#include "zelk_insight.h"

namespace zelk::insight {

inline bool isWindows(zelkInsightTable table) {
    return table >= ZelkInsightTableWindows1250 && table <= ZelkInsightTableWindows1257;
}

inline tables::DvbTable byteTable(zelkInsightTable table) {
    static constexpr tables::ByteSet windows[] = {tables::ByteSet::Windows1250, tables::ByteSet::Windows1251,
                                                  tables::ByteSet::Windows1252, tables::ByteSet::Windows1253,
                                                  tables::ByteSet::Windows1254, tables::ByteSet::Windows1257};
    return isWindows(table) ? tables::DvbTable{windows[table - ZelkInsightTableWindows1250], tables::noMarks}
                            : tables::dvbTables[static_cast<unsigned int>(table)];
}

} // namespace zelk::insight
