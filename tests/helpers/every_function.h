// Every exported function, each called once on a text: what holds for all of them is tested by walking these lists.
// expectCompleteLists() compares them with the list of exports.
#pragma once

#include "zelk.hpp"

#include "helpers/twins.h"

#include <gtest/gtest.h>

#include <cxxabi.h>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace zelk_test {

// A text without zeros, in every form that the library takes, and objects of every class.
struct AnyText {
    explicit AnyText(const std::string &text)
        : bytes(text), count(static_cast<int>(text.size())), packet(Narrow::newPacket(0, text.c_str())) {
        for (const char character : text) {
            // Latin-1 below 0x80; above it every byte gives a unit of its own high byte, surrogates among them.
            const auto byte = static_cast<unsigned char>(character);
            units.push_back(byte < 0x80 ? byte : static_cast<unsigned short>(byte * 0x0101));
            pairs.push_back(static_cast<char>(units.back() >> 8));
            pairs.push_back(static_cast<char>(units.back() & 0xFF));
        }
        units.push_back(0);
        pairs.push_back('\0'); // std::string has the second zero of the last pair
        widePacket = Wide::newPacket(0, units.data());
        other = bytes.empty() ? bytes : bytes.substr(0, bytes.size() - 1) + 'z';
    }

    const char *text() const { return placedBytes != nullptr ? placedBytes : bytes.c_str(); }
    const unsigned char *utf8() const { return reinterpret_cast<const unsigned char *>(text()); }
    const unsigned short *wide() const { return placedUnits != nullptr ? placedUnits : units.data(); }
    const unsigned char *bytePairs() const {
        return placedPairs != nullptr ? placedPairs : reinterpret_cast<const unsigned char *>(pairs.c_str());
    }
    const char *otherText() const { return placedOther != nullptr ? placedOther : other.c_str(); }
    unsigned int widthCount() const { return static_cast<unsigned int>(count); } // 0xFFFFFFFF for -1

    std::string bytes;
    std::string other; // differs in its last byte
    std::vector<unsigned short> units;
    std::string pairs;
    int count; // as passed to the functions that take one: the length of `bytes`, or -1
    Owned<CharPacket> packet;
    Owned<WideCharPacket> widePacket;
    const char *pattern = "*e*a*z";
    // Copies that a test has put where it wants them; null for the texts above.
    const char *placedBytes = nullptr;
    const unsigned short *placedUnits = nullptr;
    const unsigned char *placedPairs = nullptr;
    const char *placedOther = nullptr;
    unsigned int part = 2;
    int codePage = 1250;
    unsigned int flags = 0;
    dvbCharSet_t region = DvbCharSetStandard;
    zelk::IsoConverter iso{2};
    zelk::WinConverter windows{1250, 0};
    zelk::DvbConverter dvb{DvbCharSetStandard, 0};
    zelk::DvbConverter gb2312{DvbCharSetGb2312, 0};
};

// Where functions write: room for any result of a text of `length` bytes, or `size` where the test says less; or a
// place of the test's own, with the size that is stated to the function.
struct AnyRoom {
    explicit AnyRoom(std::size_t length) : size(static_cast<int>(8 * length + 64)), own(8 * length + 64) {}
    AnyRoom(void *at, int stated) : size(stated), placed(at) {}

    char *chars() { return static_cast<char *>(at()); }
    unsigned char *utf8() { return static_cast<unsigned char *>(at()); }
    unsigned short *units() { return static_cast<unsigned short *>(at()); }
    void *at() { return placed != nullptr ? placed : own.data(); }

    int size;
    std::vector<unsigned short> own;
    void *placed = nullptr;
    long sum = 0; // of results, so that no call is in vain
};

inline unsigned short capitalA(unsigned short character) {
    return character == 'a' ? 'A' : character;
}

// A reader of units for the stream coders, and a writer that counts.
struct UnitReader {
    const unsigned short *at;
    static int next(void *context) {
        auto &reader = *static_cast<UnitReader *>(context);
        return *reader.at == 0 ? -1 : *reader.at++;
    }
};
struct ByteReader {
    const unsigned char *at;
    static int next(void *context) {
        auto &reader = *static_cast<ByteReader *>(context);
        return *reader.at == 0 ? -1 : *reader.at++;
    }
};
inline int countUnit(unsigned int /*unit*/, void *context) {
    ++*static_cast<long *>(context);
    return 0;
}

// Functions that make a packet.
struct PacketFunction {
    const char *name;
    void *(*call)(const AnyText &);
};

inline constexpr PacketFunction packetFunctions[] = {
    {"zelkNewCharPacket", [](const AnyText &in) -> void * { return zelkNewCharPacket(0, in.text()); }},
    {"zelkNewWideCharPacket", [](const AnyText &in) -> void * { return zelkNewWideCharPacket(0, in.wide()); }},
    {"zelkConsCharPacket",
     [](const AnyText &in) -> void * {
         return zelkConsCharPacket(in.text(), in.text(), static_cast<const char *>(nullptr));
     }},
    {"zelkConsWideCharPacket",
     [](const AnyText &in) -> void * {
         return zelkConsWideCharPacket(in.wide(), in.wide(), static_cast<const unsigned short *>(nullptr));
     }},
    {"zelkCatCharPackets",
     [](const AnyText &in) -> void * {
         return zelkCatCharPackets(in.packet.get(), in.packet.get(), static_cast<const CharPacket *>(nullptr));
     }},
    {"zelkCatWideCharPackets",
     [](const AnyText &in) -> void * {
         return zelkCatWideCharPackets(in.widePacket.get(), in.widePacket.get(),
                                       static_cast<const WideCharPacket *>(nullptr));
     }},
    {"zelkGetQuoted", [](const AnyText &in) -> void * { return zelkGetQuoted(in.packet.get(), '"', '"'); }},
    {"zelkGetWideQuoted", [](const AnyText &in) -> void * { return zelkGetWideQuoted(in.widePacket.get(), '"', '"'); }},
    {"zelkSubstr", [](const AnyText &in) -> void * { return zelkSubstr(in.packet.get(), 1, 2, in.text()); }},
    {"zelkWideSubstr",
     [](const AnyText &in) -> void * { return zelkWideSubstr(in.widePacket.get(), 1, 2, in.wide()); }},
    {"zelkUtf8EncodeString", [](const AnyText &in) -> void * { return zelkUtf8EncodeString(in.wide(), in.count); }},
    {"zelkUtf8EncodeNotAlignedString",
     [](const AnyText &in) -> void * { return zelkUtf8EncodeNotAlignedString(in.bytePairs(), in.count); }},
    {"zelkUtf8EncodeNotAlignedInverseString",
     [](const AnyText &in) -> void * { return zelkUtf8EncodeNotAlignedInverseString(in.bytePairs(), in.count); }},
    {"zelkUtf8DecodeString", [](const AnyText &in) -> void * { return zelkUtf8DecodeString(in.utf8(), in.count); }},
    {"zelkUtf8GetQuoted", [](const AnyText &in) -> void * { return zelkUtf8GetQuoted(in.packet.get(), '"', '"'); }},
    {"zelkUtf8Substr", [](const AnyText &in) -> void * { return zelkUtf8Substr(in.packet.get(), 1, 2, in.text()); }},
    {"zelkConvertIsoToUnicode",
     [](const AnyText &in) -> void * { return zelkConvertIsoToUnicode(2, in.text(), in.count); }},
    {"zelkConvertIsoToUtf8", [](const AnyText &in) -> void * { return zelkConvertIsoToUtf8(2, in.text(), in.count); }},
    {"zelkConvertIsoToUtf8Checked",
     [](const AnyText &in) -> void * { return zelkConvertIsoToUtf8Checked(2, in.text(), in.count); }},
    {"zelkConvertIsoToUtf8Tolerant",
     [](const AnyText &in) -> void * {
         int flag = 0;
         return zelkConvertIsoToUtf8Tolerant(2, in.text(), in.count, &flag);
     }},
    {"zelkConvertWindowsToUnicode",
     [](const AnyText &in) -> void * { return zelkConvertWindowsToUnicode(1250, 0, in.text(), in.count); }},
    {"zelkConvertWindowsToUtf8",
     [](const AnyText &in) -> void * { return zelkConvertWindowsToUtf8(1250, 0, in.text(), in.count); }},
    {"zelkPreprocessDvbStringToUtf8",
     [](const AnyText &in) -> void * {
         return zelkPreprocessDvbStringToUtf8(in.region, in.text(), in.count, DvbCodeNone, 0, in.flags);
     }},
    {"zelkConvertDvb8ToUnicode",
     [](const AnyText &in) -> void * {
         return zelkConvertDvb8ToUnicode(in.region, in.text(), in.count, DvbCodeNone, 0, in.flags);
     }},
    {"zelkConvertDvb8ToUtf8",
     [](const AnyText &in) -> void * {
         return zelkConvertDvb8ToUtf8(in.region, in.text(), in.count, DvbCodeNone, 0, in.flags);
     }},
    {"zelkXmlify", [](const AnyText &in) -> void * { return zelkXmlify(in.text(), in.count); }},
    {"zelkUnXml", [](const AnyText &in) -> void * { return zelkUnXml(in.text(), in.count); }},
};

// Operations of classes that give a string.
struct StringFunction {
    const char *name;
    std::string (*call)(const AnyText &);
};

inline constexpr StringFunction stringFunctions[] = {
    {"Utf8Decoder::utf8Decode(char const*, int)",
     [](const AnyText &in) { return zelk::Utf8Decoder::utf8Decode(in.text(), in.count); }},
    {"Utf8Decoder::utf8Decode(string const&)",
     [](const AnyText &in) { return zelk::Utf8Decoder::utf8Decode(in.bytes); }},
    {"Utf8Encoder::utf8Encode(unsigned short const*, int)",
     [](const AnyText &in) { return zelk::Utf8Encoder::utf8Encode(in.wide(), in.count); }},
    {"Utf8Encoder::utf8Encode(string const&)",
     [](const AnyText &in) { return zelk::Utf8Encoder::utf8Encode(in.pairs); }},
    {"Utf8Encoder::utf8EncodeNotAlignedText(unsigned char const*, int)",
     [](const AnyText &in) { return zelk::Utf8Encoder::utf8EncodeNotAlignedText(in.bytePairs(), in.count); }},
    {"Utf8Encoder::utf8EncodeNotAlignedInverseText(unsigned char const*, int)",
     [](const AnyText &in) { return zelk::Utf8Encoder::utf8EncodeNotAlignedInverseText(in.bytePairs(), in.count); }},
    {"Utf8Utilities::CopyQuoted(string const&, unsigned short, unsigned short)",
     [](const AnyText &in) { return zelk::Utf8Utilities::CopyQuoted(in.bytes, '"', '"'); }},
    {"Utf8Utilities::RemoveQuotes(string const&, unsigned short, unsigned short)",
     [](const AnyText &in) { return zelk::Utf8Utilities::RemoveQuotes(in.bytes, '"', '"'); }},
    {"Utf8Utilities::MapString(string const&, unsigned short (*)(unsigned short))",
     [](const AnyText &in) { return zelk::Utf8Utilities::MapString(in.bytes, capitalA); }},
    {"Utf8Utilities::FilterString(string const&, unsigned short (*)(unsigned short))",
     [](const AnyText &in) { return zelk::Utf8Utilities::FilterString(in.bytes, nullptr); }},
    {"IsoConverter::convertIsoToUnicode(char const*, int) const",
     [](const AnyText &in) { return in.iso.convertIsoToUnicode(in.text(), in.count); }},
    {"IsoConverter::convertIsoToUnicode(string const&) const",
     [](const AnyText &in) { return in.iso.convertIsoToUnicode(in.bytes); }},
    {"IsoConverter::convertIsoToUtf8(char const*, int) const",
     [](const AnyText &in) { return in.iso.convertIsoToUtf8(in.text(), in.count); }},
    {"IsoConverter::convertIsoToUtf8(string const&) const",
     [](const AnyText &in) { return in.iso.convertIsoToUtf8(in.bytes); }},
    {"IsoConverter::convertIsoToUtf8Checked(string const&) const",
     [](const AnyText &in) { return in.iso.convertIsoToUtf8Checked(in.bytes); }},
    {"IsoConverter::convertIsoToUtf8Tolerant(string const&, int*) const",
     [](const AnyText &in) {
         int flag = 0;
         return in.iso.convertIsoToUtf8Tolerant(in.bytes, &flag);
     }},
    {"WinConverter::convertWindowsToUnicode(char const*, int) const",
     [](const AnyText &in) { return in.windows.convertWindowsToUnicode(in.text(), in.count); }},
    {"WinConverter::convertWindowsToUnicode(string const&) const",
     [](const AnyText &in) { return in.windows.convertWindowsToUnicode(in.bytes); }},
    {"WinConverter::convertWindowsToUtf8(char const*, int) const",
     [](const AnyText &in) { return in.windows.convertWindowsToUtf8(in.text(), in.count); }},
    {"WinConverter::convertWindowsToUtf8(string const&) const",
     [](const AnyText &in) { return in.windows.convertWindowsToUtf8(in.bytes); }},
    {"DvbConverter::convertDvb8ToUnicode(char const*, int) const",
     [](const AnyText &in) { return in.dvb.convertDvb8ToUnicode(in.text(), in.count); }},
    {"DvbConverter::convertDvb8ToUnicode(string const&) const",
     [](const AnyText &in) { return in.dvb.convertDvb8ToUnicode(in.bytes); }},
    {"DvbConverter::convertDvb8ToUtf8(char const*, int) const",
     [](const AnyText &in) { return in.dvb.convertDvb8ToUtf8(in.text(), in.count); }},
    {"DvbConverter::convertDvb8ToUtf8(string const&) const",
     [](const AnyText &in) { return in.dvb.convertDvb8ToUtf8(in.bytes); }},
    {"DvbConverter::preprocessDvbStringToUtf8(char const*, int) const",
     [](const AnyText &in) { return in.dvb.preprocessDvbStringToUtf8(in.text(), in.count); }},
    {"DvbConverter::preprocessDvbStringToUtf8(string const&) const",
     [](const AnyText &in) { return in.dvb.preprocessDvbStringToUtf8(in.bytes); }},
    {"GetSupportedCharacterSets()", [](const AnyText & /*in*/) { return zelk::GetSupportedCharacterSets(); }},
    {"XmlConverter::xmlify(char const*, int)",
     [](const AnyText &in) { return zelk::XmlConverter::xmlify(in.text(), in.count); }},
    {"XmlConverter::xmlify(string const&)", [](const AnyText &in) { return zelk::XmlConverter::xmlify(in.bytes); }},
    {"XmlConverter::unXml(char const*, int)",
     [](const AnyText &in) { return zelk::XmlConverter::unXml(in.text(), in.count); }},
    {"XmlConverter::unXml(string const&)", [](const AnyText &in) { return zelk::XmlConverter::unXml(in.bytes); }},
};

// The operation that also calls the C library's iconv, which allocates as it likes.
inline constexpr StringFunction iconvFunctions[] = {
    {"DvbConverter::IconvConvert(char const*, char const*, char const*, unsigned int) const",
     [](const AnyText &in) {
         return in.dvb.IconvConvert("ISO-8859-2", "UTF-8", in.text(), static_cast<unsigned int>(in.bytes.size()));
     }},
};

// Functions that write where the caller says, or only answer.
struct PlainFunction {
    const char *name;
    void (*call)(const AnyText &, AnyRoom &);
    bool takesText = true; // of any length; false for those that look at one character or at settings
};

inline void decodeHuffman(const AnyText &in, AnyRoom &room, unsigned int table) {
    HuffmanStreamState state;
    zelkInitHuffmanDecoder(&state, table);
    for (const char byte : in.bytes) {
        unsigned short answer = 0;
        while ((answer = zelkHuffmanDecode(&state, static_cast<unsigned char>(byte))) < 0xFFFE) {
            room.sum += answer;
        }
        if (answer == 0xFFFF) {
            return;
        }
    }
}

inline void decodeGuide(const zelk::HuffmanDecoder &decoder, const AnyText &in, AnyRoom &room) {
    auto size = static_cast<unsigned int>(room.size);
    room.sum += decoder.decode(in.utf8(), static_cast<unsigned int>(in.bytes.size()), room.utf8(), &size);
}

inline constexpr PlainFunction plainFunctions[] = {
    {"zelk_strlcpy",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_strlcpy(to.chars(), to.size, in.text(), in.widthCount()); }},
    {"zelk_wstrlcpy",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_wstrlcpy(to.units(), to.size, in.wide(), in.widthCount()); }},
    {"zelk_nawstrlcpy",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_nawstrlcpy(to.utf8(), to.size, in.bytePairs(), in.widthCount()); }},
    {"zelk_wcslen", [](const AnyText &in, AnyRoom &to) { to.sum += zelk_wcslen(in.wide()); }},
    {"zelk_nawcslen", [](const AnyText &in, AnyRoom &to) { to.sum += zelk_nawcslen(in.bytePairs()); }},
    {"zelk_expand", [](const AnyText &in, AnyRoom &to) { to.sum += zelk_expand(to.units(), in.text(), to.size); }},
    {"zelkGetQuotedLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkGetQuotedLength(in.text(), in.widthCount(), '"', '"'); }},
    {"zelkCopyQuoted",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkCopyQuoted(to.chars(), to.size, in.text(), in.count, '"', '"');
     }},
    {"zelkRemoveQuotesFromString",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkRemoveQuotesFromString(to.chars(), to.size, in.text(), '"', '"');
     }},
    {"zelkGetWideQuotedLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkGetWideQuotedLength(in.wide(), in.widthCount(), '"', '"'); }},
    {"zelkCopyWideQuoted",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkCopyWideQuoted(to.units(), to.size, in.wide(), in.count, '"', '"');
     }},
    {"zelkRemoveQuotesFromWideString",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkRemoveQuotesFromWideString(to.units(), to.size, in.wide(), '"', '"');
     }},
    {"zelk_filterControlCode0",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_filterControlCode0(in.units[0]); }, false},
    {"zelk_filterMapControlCode8",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_filterMapControlCode8(in.units[0]); }, false},
    {"zelk_filterMapControlCode8Restricted",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_filterMapControlCode8Restricted(in.units[0]); }, false},
    {"zelk_filterControlChars",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_filterControlChars(in.units[0]); }, false},
    {"zelkFilterString",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkFilterString(to.chars(), to.size, in.text(), nullptr); }},
    {"zelkFilterWideString",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkFilterWideString(to.units(), to.size, in.wide(), nullptr);
     }},
    {"zelk_bitsRevertSequence",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_bitsRevertSequence(to.utf8(), in.utf8(), static_cast<int>(in.bytes.size()));
     }},
    {"zelkUtf8CharGetLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8CharGetLength(in.utf8(), in.widthCount()); }, false},
    {"zelkUtf8CharDecode",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8CharDecode(in.utf8(), in.widthCount(), to.units()); }, false},
    {"zelkUtf8CharGetEncodedLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8CharGetEncodedLength(in.units[0]); }, false},
    {"zelkUtf8CharEncode",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8CharEncode(in.units[0], to.utf8(), to.size); }, false},
    {"zelkUtf8EncodeText",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8EncodeText(to.utf8(), to.size, in.wide(), in.count);
     }},
    {"zelkUtf8GetLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8GetLength(in.wide(), in.count); }},
    {"zelkUtf8EncodeNotAlignedText",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8EncodeNotAlignedText(to.utf8(), to.size, in.bytePairs(), in.count);
     }},
    {"zelkUtf8GetLengthForNotAlignedText",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8GetLengthForNotAlignedText(in.bytePairs(), in.count);
     }},
    {"zelkUtf8EncodeNotAlignedInverseText",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8EncodeNotAlignedInverseText(to.utf8(), to.size, in.bytePairs(), in.count);
     }},
    {"zelkUtf8GetLengthForNotAlignedInverseText",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8GetLengthForNotAlignedInverseText(in.bytePairs(), in.count);
     }},
    {"zelkUtf8DecodeText",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8DecodeText(to.units(), to.size, in.utf8(), in.count);
     }},
    {"zelkInitUtf8Encoder",
     [](const AnyText & /*in*/, AnyRoom & /*to*/) {
         Utf8EncoderState state;
         zelkInitUtf8Encoder(&state);
     }, false},
    {"zelkUtf8Encode",
     [](const AnyText &in, AnyRoom &to) {
         Utf8EncoderState state;
         zelkInitUtf8Encoder(&state);
         for (const unsigned short unit : in.units) {
             for (unsigned int byte = zelkUtf8Encode(&state, unit); byte != 0; byte = zelkUtf8Encode(&state, 0)) {
                 ++to.sum;
             }
         }
     }},
    {"zelkInitUtf8Decoder",
     [](const AnyText & /*in*/, AnyRoom & /*to*/) {
         Utf8DecoderState state;
         zelkInitUtf8Decoder(&state);
     }, false},
    {"zelkUtf8Decode",
     [](const AnyText &in, AnyRoom &to) {
         Utf8DecoderState state;
         zelkInitUtf8Decoder(&state);
         for (const char byte : in.bytes) {
             to.sum += zelkUtf8Decode(&state, static_cast<unsigned char>(byte)) & 0xFFFF;
         }
     }},
    {"zelkUtf8EncodeStream",
     [](const AnyText &in, AnyRoom &to) {
         UnitReader reader{in.wide()};
         zelkUtf8EncodeStream(UnitReader::next, &reader, countUnit, &to.sum);
     }},
    {"zelkUtf8DecodeStream",
     [](const AnyText &in, AnyRoom &to) {
         ByteReader reader{in.utf8()};
         zelkUtf8DecodeStream(ByteReader::next, &reader, countUnit, &to.sum);
     }},
    {"zelkUtf8GetTextWidth",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8GetTextWidth(in.utf8(), in.widthCount()); }},
    {"zelkUtf8Pos", [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8Pos(in.utf8(), ~0U); }},
    {"zelkUtf8TextIsValid",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8TextIsValid(in.utf8(), in.widthCount()); }},
    {"zelkUtf8CopyAndCheckIfValid",
     [](const AnyText &in, AnyRoom &to) {
         int invalid = 0;
         to.sum += zelkUtf8CopyAndCheckIfValid(to.utf8(), to.size, in.utf8(), in.count, &invalid);
     }},
    {"zelkUtf8CopyQuoted",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8CopyQuoted(to.utf8(), to.size, in.utf8(), in.count, '"', '"');
     }},
    {"zelkUtf8GetQuotedLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8GetQuotedLength(in.utf8(), in.count, '"', '"'); }},
    {"zelkUtf8RemoveQuotesFromString",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelkUtf8RemoveQuotesFromString(to.utf8(), to.size, in.utf8(), '"', '"');
     }},
    {"zelkUtf8GetFilteredStringLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8GetFilteredStringLength(in.utf8(), nullptr); }},
    {"zelkUtf8FilterString",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkUtf8FilterString(to.utf8(), to.size, in.utf8(), capitalA); }},
    {"combiningMapIso", [](const AnyText & /*in*/, AnyRoom &to) { to.sum += combiningMapIso(2); }, false},
    {"zelk_isoConvertSingleChar",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_isoConvertSingleChar(in.part, in.utf8()[0]); }, false},
    {"zelk_isoToUnicodeMaxLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_isoToUnicodeMaxLength(in.text(), in.count); }},
    {"zelk_isoToUtf8MaxLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_isoToUtf8MaxLength(in.text(), in.count); }},
    {"zelk_isoToUtf8Length",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_isoToUtf8Length(in.text(), in.count, in.part); }},
    {"zelk_isoToUnicode",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_isoToUnicode(in.part, to.units(), to.size, in.text(), in.count);
     }},
    {"zelk_isoToUtf8",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_isoToUtf8(in.part, to.chars(), to.size, in.text(), in.count); }},
    {"zelk_isoToUtf8Checked",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_isoToUtf8Checked(in.part, to.chars(), to.size, in.text(), in.count);
     }},
    {"zelk_isoToUtf8Tolerant",
     [](const AnyText &in, AnyRoom &to) {
         int flag = 0;
         to.sum += zelk_isoToUtf8Tolerant(in.part, to.chars(), to.size, in.text(), in.count, &flag);
     }},
    {"zelk_winGetCodeTable", [](const AnyText & /*in*/, AnyRoom &to) { to.sum += zelk_winGetCodeTable(1250, 0); }, false},
    {"zelk_winMapCode", [](const AnyText &in, AnyRoom &to) { to.sum += zelk_winMapCode(1, in.utf8()[0]); }, false},
    {"zelk_winToUnicodeMaxLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_winToUnicodeMaxLength(in.text(), in.count); }},
    {"zelk_winToUtf8MaxLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_winToUtf8MaxLength(in.text(), in.count); }},
    {"zelk_winToUtf8Length",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_winToUtf8Length(in.text(), in.count, in.codePage, 0); }},
    {"zelk_winToUnicode",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_winToUnicode(in.codePage, 0, to.units(), to.size, in.text(), in.count);
     }},
    {"zelk_winToUtf8",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_winToUtf8(in.codePage, 0, to.chars(), to.size, in.text(), in.count);
     }},
    {"zelk_pela_ttxConvertToUnicode",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_pela_ttxConvertToUnicode(to.units(), to.size, in.wide(), in.count);
     }},
    {"zelk_pela_ttxConvertToUtf8",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_pela_ttxConvertToUtf8(to.chars(), to.size, in.wide(), in.count);
     }},
    {"zelk_dvbGetDvbCode",
     [](const AnyText &in, AnyRoom &to) {
         dvbCharSet_t region = in.region;
         DvbCode_t code = DvbCodeNone;
         to.sum += zelk_dvbGetDvbCode(in.text(), &region, &code, nullptr, DvbCodeNone, 0);
     }, false},
    {"zelkCombineCharWithDiacriticalMark",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkCombineCharWithDiacriticalMark(0, in.utf8()[0], 0xC2); }, false},
    {"combiningMapDvb", [](const AnyText & /*in*/, AnyRoom &to) { to.sum += combiningMapDvb(2); }, false},
    {"zelk_dvb8ToUnicode",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_dvb8ToUnicode(in.region, to.units(), to.size, in.text(), in.count, DvbCodeNone, 0, in.flags);
     }},
    {"zelk_dvb8ToUtf8",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_dvb8ToUtf8(in.region, to.chars(), to.size, in.text(), in.count, DvbCodeNone, 0, in.flags);
     }},
    {"zelk_dvb8ToUnicodeMaxLength",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_dvb8ToUnicodeMaxLength(in.text(), in.count, DvbCodeNone, 0, in.flags);
     }},
    {"zelk_dvb8ToUtf8MaxLength",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_dvb8ToUtf8MaxLength(in.text(), in.count, DvbCodeNone, 0);
     }},
    {"zelk_dvb8PrepUtf8Buffersize",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_dvb8PrepUtf8Buffersize(in.text(), in.count, DvbCodeNone, 0);
     }},
    {"zelk_dvb8PrepUtf8",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_dvb8PrepUtf8(in.region, to.chars(), to.size, in.text(), in.count, DvbCodeNone, 0, in.flags);
     }},
    {"zelk_dvbPrep8ToUtf8",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_dvbPrep8ToUtf8(to.chars(), to.size, in.text(), in.count);
     }},
    {"zelkInitHuffmanDecoder",
     [](const AnyText & /*in*/, AnyRoom & /*to*/) {
         HuffmanStreamState state;
         zelkInitHuffmanDecoder(&state, 2);
     }, false},
    {"zelkHuffmanDecode",
     [](const AnyText &in, AnyRoom &to) { decodeHuffman(in, to, 2); }},
    {"decompressMalaysiaHuffmanTable",
     [](const AnyText &in, AnyRoom &to) {
         int length = 0;
         decompressMalaysiaHuffmanTable(6, in.utf8(), static_cast<int>(in.bytes.size()), to.utf8(), &length);
         to.sum += length;
     }},
    {"zelk2upperChar", [](const AnyText &in, AnyRoom &to) { to.sum += zelk2upperChar(in.units[0]); }, false},
    {"zelk2lowerChar", [](const AnyText &in, AnyRoom &to) { to.sum += zelk2lowerChar(in.units[0]); }, false},
    {"zelkcharGetClass", [](const AnyText &in, AnyRoom &to) { to.sum += zelkcharGetClass(in.units[0]); }, false},
    {"zelkCollateCharsByMainKey",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelkCollateCharsByMainKey(0, in.units[0], 'e'); }, false},
    {"zelkCollate", [](const AnyText &in, AnyRoom &to) { to.sum += zelkCollate(0, in.text(), in.otherText()); }},
    {"zelk_patternWildcardMatch",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_patternWildcardMatch(in.text(), in.pattern); }},
    {"zelk_patternWildcardMatchIgnoreCase",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_patternWildcardMatchIgnoreCase(in.text(), in.pattern); }},
    {"zelk_patternWildcardMatchIgnoreControlChars",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_patternWildcardMatchIgnoreControlChars(in.text(), in.pattern);
     }},
    {"zelk_patternWildcardMatchIgnoreCaseAndControlChars",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_patternWildcardMatchIgnoreCaseAndControlChars(in.text(), in.pattern);
     }},
    {"zelk_patternCompareIgnoreControlChars",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_patternCompareIgnoreControlChars(in.text(), in.otherText());
     }},
    {"zelk_patternCompareIgnoreCaseAndControlChars",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk_patternCompareIgnoreCaseAndControlChars(in.text(), in.otherText());
     }},
    {"zelk_xmlescape",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_xmlescape(in.utf8()[0]) == nullptr ? 0 : 1; }, false},
    {"zelk_xmlifiedLength",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_xmlifiedLength(in.text(), in.count); }},
    {"zelk_xmlify",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_xmlify(to.chars(), to.size, in.text(), in.count); }},
    {"zelk_unxml",
     [](const AnyText &in, AnyRoom &to) { to.sum += zelk_unxml(to.chars(), to.size, in.text(), in.count); }},
    {"CodeConversion::strToUTF8(char*, int, int*, unsigned short const*, int, UErrorCode*)",
     [](const AnyText &in, AnyRoom &to) {
         zelk::UErrorCode status = zelk::ZeroError;
         int length = 0;
         zelk::CodeConversion::strToUTF8(to.chars(), to.size, &length, in.wide(), in.count, &status);
         to.sum += length;
     }},
    {"CodeConversion::appendUTF8(unsigned char*, int)",
     [](const AnyText & /*in*/, AnyRoom &to) { to.sum += *zelk::CodeConversion::appendUTF8(to.utf8(), 0x1F600); }, false},
    {"CodeConversion::terminateChars(char*, int, int, UErrorCode*)",
     [](const AnyText & /*in*/, AnyRoom &to) {
         zelk::UErrorCode status = zelk::ZeroError;
         zelk::CodeConversion::terminateChars(to.chars(), to.size, 1, &status);
     }, false},
    {"CodeConversion::convertUTF16ToUTF8Str(unsigned short const*, char*, int)",
     [](const AnyText &in, AnyRoom &to) {
         to.sum += zelk::CodeConversion::convertUTF16ToUTF8Str(in.wide(), to.chars(), to.size);
     }},
    {"DvbConverter::ResetConverter(dvbCharSet_t, DvbCode_t, int)",
     [](const AnyText &in, AnyRoom & /*to*/) {
         zelk::DvbConverter converter(DvbCharSetStandard, in.text(), 0);
         converter.ResetConverter(DvbCharSetStandard, DvbCodeNone, 0);
     }, false},
    {"HuffmanDecoder::decode(unsigned char const*, unsigned int, unsigned char*, unsigned int*) const",
     [](const AnyText &in, AnyRoom &to) {
         decodeGuide(zelk::ProgramTitleDecoder(0), in, to);
         decodeGuide(zelk::ProgramDescriptionDecoder(1), in, to);
     }},
    {"HuffmanDecoder::byteWriter(unsigned char, unsigned char*, unsigned int, unsigned int*, unsigned int*) const",
     [](const AnyText &in, AnyRoom &to) {
         auto capacity = static_cast<unsigned int>(to.size);
         unsigned int position = 0;
         zelk::ProgramTitleDecoder(0).byteWriter(in.utf8()[0], to.utf8(), 0, &capacity, &position);
     }, false},
    {"HuffmanDecoder::bitReader(unsigned char, unsigned char const*, unsigned int, unsigned char*, _BitReaderPos_t*) "
     "const",
     [](const AnyText &in, AnyRoom &to) {
         zelk::_BitReaderPos_t position{0, 0};
         zelk::ProgramTitleDecoder(0).bitReader(7, in.utf8(), 1, to.utf8(), &position);
     }, false},
};

// A name of the list of exports as the lists above have it: C names as they are, C++ names without `zelk::` and with
// standard strings as `string`. Empty for what is no function of theirs: comments, tables and constructors.
inline std::string functionName(const std::string &exported) {
    static const std::set<std::string> tables = {"zelk_bitsRevSeqTab", "HuffmanDecodeTable_1", "HuffmanDecodeTable_2",
                                                 "_title_dec_table", "_desc_dec_table"};
    if (exported.empty() || exported[0] == '#' || tables.count(exported) != 0) {
        return {};
    }
    if (exported.rfind("_Z", 0) != 0) {
        return exported;
    }
    int status = 0;
    const std::unique_ptr<char, Free> demangled(abi::__cxa_demangle(exported.c_str(), nullptr, nullptr, &status));
    std::string name = status == 0 ? demangled.get() : exported;
    const auto replaceAll = [&name](const std::string &what, const std::string &with) {
        for (std::size_t at = 0; (at = name.find(what, at)) != std::string::npos; at += with.size()) {
            name.replace(at, what.size(), with);
        }
    };
    replaceAll("std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >", "string");
    replaceAll("[abi:cxx11]", "");
    replaceAll("zelk::", "");
    const std::string scope = name.substr(0, name.find("::"));
    const bool constructor = name.rfind(scope + "::" + scope + "(", 0) == 0;
    return constructor ? std::string() : name;
}

inline void expectCompleteLists(const std::string &exportList) {
    std::set<std::string> exported;
    std::ifstream lines(exportList);
    for (std::string line; std::getline(lines, line);) {
        if (const std::string name = functionName(line); !name.empty()) {
            exported.insert(name);
        }
    }
    std::set<std::string> listed;
    const auto add = [&listed](const auto &functions) {
        for (const auto &function : functions) {
            EXPECT_TRUE(listed.insert(function.name).second) << function.name << " is listed twice";
        }
    };
    add(packetFunctions);
    add(stringFunctions);
    add(iconvFunctions);
    add(plainFunctions);
    EXPECT_EQ(listed, exported);
}

} // namespace zelk_test
