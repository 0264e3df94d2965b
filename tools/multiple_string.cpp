#include "multiple_string.h"

#include "bytes.h"
#include "scsu.h"
#include "unicode.h"

#include <fmt/format.h>

namespace zelk::tool {

namespace {

constexpr std::uint8_t modeScsu = 0x3E;
constexpr std::uint8_t modeWide = 0x3F;
constexpr std::uint8_t uncompressed = 0;
constexpr std::uint8_t titleCode = 1;
constexpr std::uint8_t descriptionCode = 2;

// Modes that are the high byte of each character.
bool isPage(std::uint8_t mode) {
    return mode <= 0x06 || (mode >= 0x09 && mode <= 0x0E) || mode == 0x10 || (mode >= 0x20 && mode <= 0x27) ||
           (mode >= 0x30 && mode <= 0x33);
}

std::string readPage(std::uint8_t page, const std::string &bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += utf8(static_cast<unsigned short>(page << 8U | static_cast<unsigned char>(byte)));
    }
    return text;
}

// The bits after the end of a text fill its last bytes.
std::string untilZero(const std::string &text) {
    return text.substr(0, text.find('\0'));
}

std::string readSegment(std::uint8_t compression, std::uint8_t mode, const std::string &bytes) {
    if (compression == titleCode && mode == 0) {
        return readPage(0, untilZero(decodeGuideText(ProgramTitleDecoder(0), bytes)));
    }
    if (compression == descriptionCode && mode == 0) {
        return readPage(0, untilZero(decodeGuideText(ProgramDescriptionDecoder(0), bytes)));
    }
    if (compression == uncompressed && mode == modeWide) {
        return readWideText(bytes);
    }
    if (compression == uncompressed && mode == modeScsu) {
        return readScsu(bytes);
    }
    if (compression == uncompressed && isPage(mode)) {
        return readPage(mode, bytes);
    }
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text += "\xEF\xBF\xBD";
    }
    return text;
}

} // namespace

// The whole text is measured first, then decoded into a buffer of that size.
std::string decodeGuideText(const HuffmanDecoder &decoder, const std::string &compressed) {
    const auto *const in = reinterpret_cast<const unsigned char *>(compressed.data());
    const auto length = static_cast<unsigned int>(compressed.size());
    unsigned int size = 0;
    if (length == 0 || decoder.decode(in, length, nullptr, &size) != 0 || size == 0) {
        return {};
    }
    std::string text(size, '\0');
    if (decoder.decode(in, length, reinterpret_cast<unsigned char *>(text.data()), &size) != 0) {
        return {};
    }
    text.resize(size - 2); // the size counts the terminator and a spare byte
    return text;
}

std::string readSegments(const std::string &segments) {
    std::string text;
    Cursor rest(Bytes(reinterpret_cast<const std::uint8_t *>(segments.data()), segments.size()));
    while (!rest.empty()) {
        const std::uint8_t compression = rest.byte();
        const std::uint8_t mode = rest.byte();
        text += readSegment(compression, mode, rest.shortString());
    }
    text.resize(text.find_last_not_of('\0') + 1); // some are padded
    return text;
}

std::string readWideText(const std::string &bytes) {
    std::string text;
    Cursor rest(Bytes(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()));
    while (rest.size() >= 2) {
        const std::uint16_t unit = rest.word();
        if (unit == 0) {
            return text;
        }
        text += utf8(unit);
    }
    return rest.empty() ? text : text + "\xEF\xBF\xBD";
}

std::string segmentTable(const std::string &segments) {
    Cursor rest(Bytes(reinterpret_cast<const std::uint8_t *>(segments.data()), segments.size()));
    const std::uint8_t compression = rest.byte();
    const std::uint8_t mode = rest.byte();
    if (!rest.good()) {
        return "none";
    }
    if (compression == uncompressed && mode == modeWide) {
        return "UTF-16";
    }
    if (compression == uncompressed && mode == modeScsu) {
        return "SCSU";
    }
    if (compression == uncompressed && isPage(mode)) {
        return mode == 0 ? "ISO 8859-1" : fmt::format("Unicode U+{:02X}00", mode);
    }
    if (mode == 0 && (compression == titleCode || compression == descriptionCode)) {
        return compression == titleCode ? "ATSC title code" : "ATSC description code";
    }
    return "reserved";
}

} // namespace zelk::tool
