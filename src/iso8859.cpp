// ISO 8859 text, named by the number of its part, to UCS-2 and UTF-8.
#include "detail/byte_convert.h"
#include "detail/utf8_char.h"
#include "tables/iso_tables.h"
#include "zelk.h"
#include "zelk.hpp"

namespace zelk::detail {

namespace {

constexpr unsigned int positionsPerTable = 256;
constexpr std::size_t partOfTerminator = 1; // its first byte belongs to a UCS-2 string, as callers count on

constexpr tables::ByteSet setOfPart(unsigned int part) {
    return part < tables::isoPartCount ? tables::isoTableSets[tables::isoPartTables[part]] : tables::ByteSet::Ascii;
}

// A position counts through the tables: table number * 256 + byte.
unsigned short characterAt(unsigned int position) {
    const unsigned int table = position / positionsPerTable;
    if (table >= tables::isoTableCount) {
        return replacementCharacter;
    }
    return tables::codePointsOf(tables::isoTableSets[table])[position % positionsPerTable];
}

auto ucs2Of(unsigned int part) {
    return [set = setOfPart(part)](unsigned short *out, int outSize, const char *in, int inLength) {
        return bytesToUcs2(set, out, outSize, in, inLength);
    };
}

auto utf8Of(unsigned int part) {
    return [set = setOfPart(part)](char *out, int outSize, const char *in, int inLength) {
        return bytesToUtf8(set, out, outSize, in, inLength);
    };
}

auto checkedUtf8Of(unsigned int part) {
    return [part](char *out, int outSize, const char *in, int inLength) {
        return zelk_isoToUtf8Checked(part, out, outSize, in, inLength);
    };
}

auto tolerantUtf8Of(unsigned int part, int *flag) {
    return [part, flag](char *out, int outSize, const char *in, int inLength) {
        return zelk_isoToUtf8Tolerant(part, out, outSize, in, inLength, flag);
    };
}

unsigned int copyWhileUtf8(char *out, int outSize, const char *in, int inLength, int *flag) {
    return zelkUtf8CopyAndCheckIfValid(reinterpret_cast<unsigned char *>(out), outSize,
                                       reinterpret_cast<const unsigned char *>(in), inLength, flag);
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

int combiningMapIso(unsigned int table) {
    return table < tables::isoTableCount ? tables::isoCombiningModes[table] : -1;
}

// Above the parts the character is a position itself: callers that hold one look it up directly.
unsigned short zelk_isoConvertSingleChar(unsigned int part, unsigned int character) {
    unsigned int position = character;
    if (part < tables::isoPartCount) {
        position |= tables::isoPartTables[part] * detail::positionsPerTable;
    }
    return detail::characterAt(position & 0xFFFFU);
}

unsigned int zelk_isoToUnicodeMaxLength(const char *in, int inLength) {
    return static_cast<unsigned int>(detail::maxUcs2Length(in, inLength));
}

unsigned int zelk_isoToUtf8MaxLength(const char *in, int inLength) {
    return static_cast<unsigned int>(detail::maxUtf8Length(in, inLength));
}

unsigned int zelk_isoToUtf8Length(const char *in, int inLength, unsigned int part) {
    return detail::utf8LengthOfBytes(detail::setOfPart(part), in, inLength);
}

unsigned int zelk_isoToUnicode(unsigned int part, unsigned short *out, int outSize, const char *in, int inLength) {
    return detail::bytesToUcs2(detail::setOfPart(part), out, outSize, in, inLength);
}

unsigned int zelk_isoToUtf8(unsigned int part, char *out, int outSize, const char *in, int inLength) {
    return detail::bytesToUtf8(detail::setOfPart(part), out, outSize, in, inLength);
}

unsigned int zelk_isoToUtf8Checked(unsigned int part, char *out, int outSize, const char *in, int inLength) {
    int flag = 0;
    const unsigned int copied = detail::copyWhileUtf8(out, outSize, in, inLength, &flag);
    return flag == 0 ? copied : zelk_isoToUtf8(part, out, outSize, in, inLength);
}

unsigned int zelk_isoToUtf8Tolerant(unsigned int part, char *out, int outSize, const char *in, int inLength,
                                    int *flag) {
    unsigned int copied = 0;
    if (in != nullptr && *flag == 0) {
        copied = detail::copyWhileUtf8(out, outSize, in, inLength, flag);
        if (*flag == 0) {
            return copied;
        }
    }
    // What is left is ISO 8859: the copy stopped in front of a whole sequence, so input and output stand level.
    const auto done = static_cast<int>(copied);
    const char *rest = in != nullptr ? in + done : nullptr;
    return copied + zelk_isoToUtf8(part, out + done, outSize - done, rest, inLength < 0 ? inLength : inLength - done);
}

WideCharPacket *zelkConvertIsoToUnicode(unsigned int part, const char *in, int inLength) {
    return detail::ucs2Packet(in, inLength, detail::ucs2Of(part));
}

CharPacket *zelkConvertIsoToUtf8(unsigned int part, const char *in, int inLength) {
    return detail::utf8Packet(in, inLength, detail::utf8Of(part));
}

CharPacket *zelkConvertIsoToUtf8Checked(unsigned int part, const char *in, int inLength) {
    return detail::utf8Packet(in, inLength, detail::checkedUtf8Of(part));
}

CharPacket *zelkConvertIsoToUtf8Tolerant(unsigned int part, const char *in, int inLength, int *flag) {
    return detail::utf8Packet(in, inLength, detail::tolerantUtf8Of(part, flag));
}

namespace zelk {

IsoConverter::IsoConverter(unsigned int part) : part_(part) {}

std::string IsoConverter::convertIsoToUnicode(const char *text, int length) const {
    return detail::ucs2String(detail::countedText(text, length), detail::partOfTerminator, detail::ucs2Of(part_));
}

std::string IsoConverter::convertIsoToUnicode(const std::string &text) const {
    return text.empty()
               ? std::string()
               : detail::ucs2String(detail::countedText(text), detail::partOfTerminator, detail::ucs2Of(part_));
}

std::string IsoConverter::convertIsoToUtf8(const char *text, int length) const {
    return detail::utf8String(detail::countedText(text, length), detail::utf8Of(part_));
}

std::string IsoConverter::convertIsoToUtf8(const std::string &text) const {
    return detail::utf8String(detail::countedText(text), detail::utf8Of(part_));
}

std::string IsoConverter::convertIsoToUtf8Checked(const std::string &text) const {
    return detail::utf8String(detail::countedText(text), detail::checkedUtf8Of(part_));
}

// Without memory for the result the flag stays as it was, so that the same piece may be offered again.
std::string IsoConverter::convertIsoToUtf8Tolerant(const std::string &text, int *flag) const {
    int flagAfter = *flag;
    std::string result = detail::utf8String(detail::countedText(text), detail::tolerantUtf8Of(part_, &flagAfter));
    *flag = flagAfter;
    return result;
}

} // namespace zelk
