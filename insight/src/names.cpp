// What rules, kinds of findings among them, and tables are called. Rows of one width instead of pointers: nothing to
// relocate.
#include "zelk_insight.h"

#include <array>

namespace {

struct RuleRow {
    char name[24];
    char clause[24];
    char meaning[80];
    zelkInsightSeverity severity;
};

constexpr std::array<RuleRow, ZelkInsightKindCount> kinds = {{
    {"selector-reserved", "ETSI EN 300 468 A.2", "The standard reserves this selector.", ZelkInsightWarning},
    {"selector-unsupported", "ETSI EN 300 468 A.2", "Receivers do not read what this selector announces.",
     ZelkInsightError},
    {"selector-cut", "ETSI EN 300 468 A.2", "The string ends inside its selector.", ZelkInsightWarning},
    {"byte-unassigned", "ETSI EN 300 468 A.2", "The byte has no character in this table.", ZelkInsightError},
    {"utf8-malformed", "ISO/IEC 10646 Annex D", "The bytes are not UTF-8 although the selector says so.",
     ZelkInsightError},
    {"utf8-four-byte", "ISO/IEC 10646 Annex D", "Receivers show no character above U+FFFF.", ZelkInsightError},
    {"two-byte-odd", "ETSI EN 300 468 A.2", "The last byte of two-byte text is half a character.", ZelkInsightWarning},
    {"surrogate-lone", "ISO/IEC 10646 9.3", "Half of a pair of surrogates is no character.", ZelkInsightError},
    {"mark-without-letter", "ISO/IEC 6937 6.2", "A diacritical mark stands before no letter.", ZelkInsightWarning},
    {"mark-dropped", "ISO/IEC 6937 6.2", "The letter cannot wear this mark and is shown without it.",
     ZelkInsightWarning},
    {"control-dropped", "ETSI EN 300 468 A.1", "The control code is not shown.", ZelkInsightWarning},
    {"emphasis", "ETSI EN 300 468 A.1", "The text is emphasised.", ZelkInsightNote},
    {"emphasis-unbalanced", "ETSI EN 300 468 A.1", "Emphasis is turned on and never off, or off before it is on.",
     ZelkInsightWarning},
    {"compressed-cut", "ETSI EN 300 468 A.2", "The compressed text has no end.", ZelkInsightError},
    {"compressed-rest", "ETSI EN 300 468 A.2", "Bytes follow the end of the compressed text.", ZelkInsightWarning},
    {"compressed-unknown", "ETSI TS 101 162", "The encoding type has no known code.", ZelkInsightError},
    {"text-cut", "", "The text does not fit the output.", ZelkInsightError},
    {"byte-after-count", "", "The byte after the string decides about its last mark.", ZelkInsightNote},
    {"text-after-end", "", "A zero byte ends the text before its count does.", ZelkInsightWarning},
}};

constexpr std::array<RuleRow, ZelkInsightRuleEnd - ZelkInsightRuleFirst> wholeStringRules = {{
    {"table-other", "ETSI EN 300 468 A.2",
     "The text makes sense in another table than that which the string announces.", ZelkInsightError},
    {"utf8-unannounced", "ETSI EN 300 468 A.2", "The text is UTF-8 without the selector of UTF-8.", ZelkInsightError},
    {"control-trailing", "ETSI EN 300 468 A.1", "Control codes are the last thing in the string.", ZelkInsightWarning},
    {"control-doubled", "ETSI EN 300 468 A.1", "A control code follows itself.", ZelkInsightNote},
    {"selector-needless", "ETSI EN 300 468 A.2", "The default table says the same text without this selector.",
     ZelkInsightNote},
    {"language-script", "ETSI EN 300 468 6.2.37",
     "The text has no letter of the script that its language is written in.", ZelkInsightWarning},
    {"composition-mixed", "Unicode UAX #15", "Some letters have their marks in one character, others in two.",
     ZelkInsightNote},
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

constexpr RuleRow noRule = {"unknown", "", "", ZelkInsightNote};

const RuleRow &rowOf(unsigned int rule) {
    return rule < kinds.size() ? kinds[rule]
           : rule >= ZelkInsightRuleFirst && rule < unsigned{ZelkInsightRuleEnd}
               ? wholeStringRules[rule - ZelkInsightRuleFirst]
               : noRule;
}

} // namespace

const char *zelkInsightRuleName(unsigned int rule) {
    return rowOf(rule).name;
}

zelkInsightSeverity zelkInsightRuleSeverity(unsigned int rule) {
    return rowOf(rule).severity;
}

const char *zelkInsightRuleClause(unsigned int rule) {
    return rowOf(rule).clause;
}

const char *zelkInsightRuleMeaning(unsigned int rule) {
    return rowOf(rule).meaning;
}

const char *zelkInsightKindName(zelkInsightKind kind) {
    return kind < ZelkInsightKindCount ? rowOf(static_cast<unsigned int>(kind)).name : noRule.name;
}

zelkInsightSeverity zelkInsightKindSeverity(zelkInsightKind kind) {
    return kind < ZelkInsightKindCount ? rowOf(static_cast<unsigned int>(kind)).severity : noRule.severity;
}

const char *zelkInsightKindClause(zelkInsightKind kind) {
    return kind < ZelkInsightKindCount ? rowOf(static_cast<unsigned int>(kind)).clause : noRule.clause;
}

const char *zelkInsightTableName(zelkInsightTable table) {
    for (const TableRow &row : tableNames) {
        if (row.table == table) {
            return row.name;
        }
    }
    return "unknown";
}
