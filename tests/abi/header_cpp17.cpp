// Both headers from C++17, and the size of every record and class that callers lay out themselves.
#include "zelk.hpp"

#include <type_traits>

static_assert(sizeof(zelk::IsoConverter) == 4, "the part number");
static_assert(sizeof(zelk::WinConverter) == 8, "code page and identifier");
static_assert(sizeof(zelk::DvbConverter) == 16, "region, code, extra value, flags");
static_assert(sizeof(zelk::HuffmanDecoder) == 2 * sizeof(void *), "table and skip count");
static_assert(sizeof(zelk::_BitReaderPos_t) == 8, "bit and byte index");
static_assert(!std::is_polymorphic_v<zelk::DvbConverter> && !std::is_polymorphic_v<zelk::HuffmanDecoder>,
              "no virtual operations");
static_assert(std::is_same_v<std::underlying_type_t<zelk::UErrorCode>, int>, "a signed 32-bit status");
static_assert(std::is_convertible_v<zelk::UErrorCode, int>, "and no scoped one");
static_assert(!std::is_convertible_v<unsigned int, zelk::IsoConverter>, "a number alone is no converter");
static_assert(!std::is_constructible_v<zelk::HuffmanDecoder, const unsigned char *, unsigned int>,
              "its tables are chosen by those who derive from it");
static_assert(std::is_copy_constructible_v<zelk::HuffmanDecoder>, "a copy is open to all");

int main() {
    const zelk::IsoConverter euro(15);
    const zelk::WinConverter windows(1252, 0);
    const zelk::DvbConverter dvb(DvbCharSetStandard, 0);
    const bool holds =
        euro.convertIsoToUtf8("A\xA4") == "A\xE2\x82\xAC" && windows.convertWindowsToUtf8("\x8A") == "\xC5\xA0" &&
        dvb.convertDvb8ToUtf8("\xC2"
                              "e") == "\xC3\xA9" &&
        zelk::XmlConverter::xmlify("<") == "&lt;" && zelk::Utf8Utilities::CopyQuoted("a'b'", '\'', '\'') == "b";
    return holds ? 0 : 1;
}
