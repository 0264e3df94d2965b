// The numbers by which Windows text is named: code pages, the character-set identifiers of font descriptions, and the
// tables that both select.
#pragma once

#include "tables/byte_sets.h"

namespace zelk::tables {

inline constexpr unsigned int windowsAsciiTable = 0; // for code pages and identifiers that are not supported
inline constexpr unsigned int windowsNoTable = 7; // reads like ASCII; told apart so that callers see "none was meant"
inline constexpr unsigned int windowsTableCount = 7; // with the ASCII one

inline constexpr std::array<ByteSet, windowsTableCount> windowsTableSets = {
    ByteSet::Ascii,       // 0
    ByteSet::Windows1250, // 1
    ByteSet::Windows1251, // 2
    ByteSet::Windows1252, // 3
    ByteSet::Windows1253, // 4
    ByteSet::Windows1254, // 5
    ByteSet::Windows1257, // 6
};

struct WindowsTable {
    std::uint8_t identifier;
    std::uint16_t codePage;
    std::uint8_t table;
};

inline constexpr std::array<WindowsTable, 6> windowsTables = {{
    {238, 1250, 1}, // eastern European
    {204, 1251, 2}, // Russian
    {1, 1252, 3},   // default
    {161, 1253, 4}, // Greek
    {162, 1254, 5}, // Turkish
    {186, 1257, 6}, // Baltic
}};

inline constexpr int firstWindowsCodePage = 1250;

// The rows by either number; windowsAsciiTable where there is none.
struct WindowsTableNumbers {
    std::array<std::uint8_t, 8> byCodePage; // from the first on
    std::array<std::uint8_t, 256> byIdentifier;
};

inline constexpr WindowsTableNumbers windowsTableNumbers = []() {
    WindowsTableNumbers numbers{};
    for (const WindowsTable &row : windowsTables) {
        numbers.byCodePage[row.codePage - firstWindowsCodePage] = row.table;
        numbers.byIdentifier[row.identifier] = row.table;
    }
    return numbers;
}();

// Identifiers that name no table of their own: the symbol fonts', and one that callers use for "unknown". With those of
// ANSI (0), OEM (255) and all others the code page decides.
inline constexpr unsigned int windowsSymbolIdentifier = 2;
inline constexpr unsigned int windowsUnknownIdentifier = 0xFFFFFFFF;
inline constexpr int windowsNoCodePage = -1;

} // namespace zelk::tables
