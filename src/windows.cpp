// Windows text, named by a code page and by a font's character-set identifier, to UCS-2 and UTF-8.
#include "detail/byte_convert.h"
#include "detail/utf8_char.h"
#include "tables/windows_tables.h"
#include "zelk.h"
#include "zelk.hpp"

namespace zelk::detail {

namespace {

constexpr std::size_t noExtraBytes = 0; // a UCS-2 string ends with its last unit, unlike those of IsoConverter

// A specific identifier wins, otherwise the code page decides.
unsigned int tableFor(int codePage, unsigned int identifier) {
    if (identifier == tables::windowsSymbolIdentifier) {
        return tables::windowsNoTable;
    }
    if (identifier == tables::windowsUnknownIdentifier) {
        return tables::windowsAsciiTable;
    }
    const auto &[byCodePage, byIdentifier] = tables::windowsTableNumbers;
    if (identifier < byIdentifier.size() && byIdentifier[identifier] != tables::windowsAsciiTable) {
        return byIdentifier[identifier];
    }
    if (codePage == tables::windowsNoCodePage) {
        return tables::windowsNoTable;
    }
    const auto place = static_cast<unsigned int>(codePage) - tables::firstWindowsCodePage;
    return place < byCodePage.size() ? byCodePage[place] : tables::windowsAsciiTable;
}

tables::ByteSet setFor(int codePage, unsigned int identifier) {
    const unsigned int table = tableFor(codePage, identifier);
    return table < tables::windowsTableCount ? tables::windowsTableSets[table] : tables::ByteSet::Ascii;
}

auto ucs2Of(int codePage, unsigned int identifier) {
    return [set = setFor(codePage, identifier)](unsigned short *out, int outSize, const char *in, int inLength) {
        return bytesToUcs2(set, out, outSize, in, inLength);
    };
}

auto utf8Of(int codePage, unsigned int identifier) {
    return [set = setFor(codePage, identifier)](char *out, int outSize, const char *in, int inLength) {
        return bytesToUtf8(set, out, outSize, in, inLength);
    };
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

unsigned int zelk_winGetCodeTable(int codePage, unsigned int charSet) {
    return detail::tableFor(codePage, charSet);
}

// ASCII is the same in every table. Above it the low eight bits count, and table numbers modulo 256: a position of
// table and byte has 16 bits.
unsigned short zelk_winMapCode(unsigned int table, unsigned int byte) {
    if (byte < 128) {
        return static_cast<unsigned short>(byte);
    }
    const unsigned int low = byte & 0xFFU;
    const unsigned int known = table & 0xFFU;
    return known < tables::windowsTableCount ? tables::codePointsOf(tables::windowsTableSets[known])[low]
                                             : detail::replacementCharacter;
}

unsigned int zelk_winToUnicodeMaxLength(const char *in, int inLength) {
    return static_cast<unsigned int>(detail::maxUcs2Length(in, inLength));
}

unsigned int zelk_winToUtf8MaxLength(const char *in, int inLength) {
    return static_cast<unsigned int>(detail::maxUtf8Length(in, inLength));
}

unsigned int zelk_winToUtf8Length(const char *in, int inLength, int codePage, unsigned int charSet) {
    return detail::utf8LengthOfBytes(detail::setFor(codePage, charSet), in, inLength);
}

unsigned int zelk_winToUnicode(int codePage, unsigned int charSet, unsigned short *out, int outSize, const char *in,
                               int inLength) {
    return detail::bytesToUcs2(detail::setFor(codePage, charSet), out, outSize, in, inLength);
}

unsigned int zelk_winToUtf8(int codePage, unsigned int charSet, char *out, int outSize, const char *in, int inLength) {
    return detail::bytesToUtf8(detail::setFor(codePage, charSet), out, outSize, in, inLength);
}

WideCharPacket *zelkConvertWindowsToUnicode(int codePage, unsigned int charSet, const char *in, int inLength) {
    return detail::ucs2Packet(in, inLength, detail::ucs2Of(codePage, charSet));
}

CharPacket *zelkConvertWindowsToUtf8(int codePage, unsigned int charSet, const char *in, int inLength) {
    return detail::utf8Packet(in, inLength, detail::utf8Of(codePage, charSet));
}

namespace zelk {

WinConverter::WinConverter(int codePage, unsigned int charSet) : codePage_(codePage), charSet_(charSet) {}

std::string WinConverter::convertWindowsToUnicode(const char *text, int length) const {
    return detail::ucs2String(detail::countedText(text, length), detail::noExtraBytes,
                              detail::ucs2Of(codePage_, charSet_));
}

std::string WinConverter::convertWindowsToUnicode(const std::string &text) const {
    return detail::ucs2String(detail::countedText(text), detail::noExtraBytes, detail::ucs2Of(codePage_, charSet_));
}

std::string WinConverter::convertWindowsToUtf8(const char *text, int length) const {
    return detail::utf8String(detail::countedText(text, length), detail::utf8Of(codePage_, charSet_));
}

std::string WinConverter::convertWindowsToUtf8(const std::string &text) const {
    return detail::utf8String(detail::countedText(text), detail::utf8Of(codePage_, charSet_));
}

} // namespace zelk
