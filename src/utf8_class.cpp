// The UTF-8 classes: each operation sizes a scratch buffer, runs the flat function into it and wraps the result.
#include "detail/wrap.h"
#include "zelk.hpp"

#include <bit>

namespace zelk {

namespace {

using detail::filledString;

const unsigned char *bytesOf(const std::string &text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

// UCS-2 text in a string has the low byte of each unit first, on every machine.
void orderBytes([[maybe_unused]] unsigned short *units, [[maybe_unused]] unsigned int count) {
    // GCOVR_EXCL_START: where the high byte comes first
    if constexpr (std::endian::native == std::endian::big) {
        for (; count != 0; --count, ++units) {
            *units = static_cast<unsigned short>(*units << 8U | *units >> 8U);
        }
    }
    // GCOVR_EXCL_STOP
}

// The bytes that convert(buffer, size) leaves in a buffer of `length` bytes and a terminator; none, and no call, for a
// length that leaves no room for a byte.
template <class Convert>
std::string converted(std::size_t length, Convert convert) {
    const int size = static_cast<int>(length + 1);
    if (size <= 1) {
        return {};
    }
    return filledString<unsigned char>(length + 1, 0, [&](unsigned char *buffer) { return convert(buffer, size); });
}

} // namespace

// One byte of the terminator belongs to the result: utf8Encode reads it back as the unit that ends the text.
std::string Utf8Decoder::utf8Decode(const char *text, int length) {
    if (text == nullptr) {
        return {};
    }
    const auto *bytes = reinterpret_cast<const unsigned char *>(text);
    const unsigned int width = zelkUtf8GetTextWidth(bytes, static_cast<unsigned int>(length));
    return filledString<unsigned short>(std::size_t{width} + 1, 1, [&](unsigned short *buffer) {
        buffer[width == 0 ? 0 : width - 1] = 0; // the unit of a sequence that the length cuts off, if there is one
        const unsigned int units = zelkUtf8DecodeText(buffer, static_cast<int>(width + 1), bytes, length);
        orderBytes(buffer, units);
        return units;
    });
}

std::string Utf8Decoder::utf8Decode(const std::string &text) {
    return text.empty() ? std::string() : utf8Decode(text.data(), static_cast<int>(text.size()));
}

std::string Utf8Encoder::utf8Encode(const unsigned short *text, int count) {
    return converted(zelkUtf8GetLength(text, count),
                     [&](unsigned char *buffer, int size) { return zelkUtf8EncodeText(buffer, size, text, count); });
}

std::string Utf8Encoder::utf8Encode(const std::string &text) {
    return text.empty() ? std::string()
                        : utf8EncodeNotAlignedInverseText(bytesOf(text), static_cast<int>((text.size() + 1) / 2));
}

std::string Utf8Encoder::utf8EncodeNotAlignedText(const unsigned char *text, int count) {
    return converted(zelkUtf8GetLengthForNotAlignedText(text, count), [&](unsigned char *buffer, int size) {
        return zelkUtf8EncodeNotAlignedText(buffer, size, text, count);
    });
}

std::string Utf8Encoder::utf8EncodeNotAlignedInverseText(const unsigned char *text, int count) {
    return converted(zelkUtf8GetLengthForNotAlignedInverseText(text, count), [&](unsigned char *buffer, int size) {
        return zelkUtf8EncodeNotAlignedInverseText(buffer, size, text, count);
    });
}

std::string Utf8Utilities::CopyQuoted(const std::string &text, unsigned short open, unsigned short close) {
    return converted(text.size(), [&](unsigned char *buffer, int size) {
        return zelkUtf8CopyQuoted(buffer, size, bytesOf(text), size - 1, open, close);
    });
}

std::string Utf8Utilities::RemoveQuotes(const std::string &text, unsigned short open, unsigned short close) {
    return converted(text.size(), [&](unsigned char *buffer, int size) {
        return zelkUtf8RemoveQuotesFromString(buffer, size, bytesOf(text), open, close);
    });
}

// Sized by the mapped text, which may be longer; FilterString by the text itself, since a filter only keeps or drops.
std::string Utf8Utilities::MapString(const std::string &text, zelkCharFilter map) {
    const int length = zelkUtf8GetFilteredStringLength(bytesOf(text), map);
    return converted(static_cast<std::size_t>(length), [&](unsigned char *buffer, int size) {
        return zelkUtf8FilterString(buffer, size, bytesOf(text), map);
    });
}

std::string Utf8Utilities::FilterString(const std::string &text, zelkCharFilter filter) {
    return converted(text.size(), [&](unsigned char *buffer, int size) {
        return zelkUtf8FilterString(buffer, size, bytesOf(text), filter);
    });
}

} // namespace zelk
