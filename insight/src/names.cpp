// What kinds and tables are called. Rows of one width instead of pointers: nothing to relocate.
#include "zelk_insight.h"

#include <array>

namespace {

struct KindRow {
    char name[24];
    char clause[24];
    zelkInsightSeverity severity;
};

constexpr std::array<KindRow, ZelkInsightKindCount> kinds = {{
    {"selector-reserved", "ETSI EN 300 468 A.2", ZelkInsightWarning},
    {"selector-unsupported", "ETSI EN 300 468 A.2", ZelkInsightError},
    {"selector-cut", "ETSI EN 300 468 A.2", ZelkInsightWarning},
    {"byte-unassigned", "ETSI EN 300 468 A.2", ZelkInsightError},
    {"utf8-malformed", "ISO/IEC 10646 Annex D", ZelkInsightError},
    {"utf8-four-byte", "ISO/IEC 10646 Annex D", ZelkInsightError},
    {"two-byte-odd", "ETSI EN 300 468 A.2", ZelkInsightWarning},
    {"surrogate-lone", "ISO/IEC 10646 9.3", ZelkInsightError},
    {"mark-without-letter", "ISO/IEC 6937 6.2", ZelkInsightWarning},
    {"mark-dropped", "ISO/IEC 6937 6.2", ZelkInsightWarning},
    {"control-dropped", "ETSI EN 300 468 A.1", ZelkInsightWarning},
    {"emphasis", "ETSI EN 300 468 A.1", ZelkInsightNote},
    {"emphasis-unbalanced", "ETSI EN 300 468 A.1", ZelkInsightWarning},
    {"compressed-cut", "ETSI EN 300 468 A.2", ZelkInsightError},
    {"compressed-rest", "ETSI EN 300 468 A.2", ZelkInsightWarning},
    {"compressed-unknown", "ETSI TS 101 162", ZelkInsightError},
    {"text-cut", "", ZelkInsightError},
    {"byte-after-count", "", ZelkInsightNote},
    {"text-after-end", "", ZelkInsightWarning},
}};

struct TableRow {
    zelkInsightTable table;
    char name[36];
};

constexpr TableRow tableNames[] = {
    {ZelkInsightTableDefault, "DVB default table"},
    {ZelkInsightTableAscii, "ASCII only"},
    {ZelkInsightTableIso8859_1, "ISO 8859-1"},
    {static_cast<zelkInsightTable>(3), "ISO 8859-2"},
    {static_cast<zelkInsightTable>(4), "ISO 8859-3"},
    {static_cast<zelkInsightTable>(5), "ISO 8859-4"},
    {static_cast<zelkInsightTable>(6), "ISO 8859-5"},
    {static_cast<zelkInsightTable>(7), "ISO 8859-6"},
    {static_cast<zelkInsightTable>(8), "ISO 8859-7"},
    {static_cast<zelkInsightTable>(9), "ISO 8859-8"},
    {static_cast<zelkInsightTable>(10), "ISO 8859-9"},
    {static_cast<zelkInsightTable>(11), "ISO 8859-10"},
    {ZelkInsightTableIso8859_11, "ISO 8859-11"},
    {ZelkInsightTableIso8859_13, "ISO 8859-13"},
    {static_cast<zelkInsightTable>(14), "ISO 8859-14"},
    {static_cast<zelkInsightTable>(15), "ISO 8859-15"},
    {ZelkInsightTableIso8859_16, "ISO 8859-16"},
    {ZelkInsightTableLatin9Marks, "ISO 8859-15 with non-spacing marks"},
    {ZelkInsightTableWindows1250, "Windows-1250"},
    {ZelkInsightTableWindows1251, "Windows-1251"},
    {ZelkInsightTableWindows1252, "Windows-1252"},
    {ZelkInsightTableWindows1253, "Windows-1253"},
    {ZelkInsightTableWindows1254, "Windows-1254"},
    {ZelkInsightTableWindows1257, "Windows-1257"},
    {ZelkInsightTableUtf8, "UTF-8"},
    {ZelkInsightTableUtf8Prepared, "UTF-8, no control codes filtered"},
    {ZelkInsightTableTwoByte, "two-byte characters"},
    {ZelkInsightTableCompressed, "compressed text"},
};

constexpr bool isKind(zelkInsightKind kind) {
    return kind >= 0 && kind < ZelkInsightKindCount;
}

} // namespace

const char *zelkInsightKindName(zelkInsightKind kind) {
    return isKind(kind) ? kinds[static_cast<unsigned int>(kind)].name : "unknown";
}

zelkInsightSeverity zelkInsightKindSeverity(zelkInsightKind kind) {
    return isKind(kind) ? kinds[static_cast<unsigned int>(kind)].severity : ZelkInsightNote;
}

const char *zelkInsightKindClause(zelkInsightKind kind) {
    return isKind(kind) ? kinds[static_cast<unsigned int>(kind)].clause : "";
}

const char *zelkInsightTableName(zelkInsightTable table) {
    for (const TableRow &row : tableNames) {
        if (row.table == table) {
            return row.name;
        }
    }
    return "unknown";
}
