// Measuring, checking, cutting, quoting and filtering of UTF-8 text without converting it. A character is one step of
// the codec, so each rejected byte or sequence is a character too.
#include "detail/control_filter.h"
#include "detail/plain_steps.h"
#include "detail/utf8_char.h"
#include "kernels/kernels.h"
#include "zelk.h"

#include <algorithm>
#include <cstring>

namespace zelk::detail {

namespace {

// A quote character as its UTF-8 sequence, which is searched for at every byte position.
class QuoteBytes {
public:
    explicit QuoteBytes(unsigned short character)
        : length_(utf8Encode(character, bytes_, static_cast<int>(sizeof bytes_))) {}

    // The terminator is part of no sequence of several bytes, so the comparison never looks past it.
    bool startsAt(const unsigned char *text) const {
        unsigned int matched = 0;
        while (matched < length_ && text[matched] == bytes_[matched]) {
            ++matched;
        }
        return matched == length_;
    }
    unsigned int length() const { return length_; }

private:
    unsigned char bytes_[4] = {};
    unsigned int length_;
};

// Hands every byte inside quotes to take(byte), which returns false to end the scan. `steps` bounds the steps, and a
// quote is one step however many bytes it has: kept on purpose, see quirks.
template <class Take>
void forEachQuotedByte(const unsigned char *text, unsigned int steps, unsigned short open, unsigned short close,
                       Take take) {
    if (text == nullptr) {
        return;
    }
    const QuoteBytes opening(open);
    const QuoteBytes closing(close);
    bool inside = false;
    for (; steps != 0 && *text != 0; --steps) {
        const QuoteBytes &quote = inside ? closing : opening;
        if (quote.startsAt(text)) {
            inside = !inside;
            text += quote.length();
        } else if (!inside || take(*text)) {
            ++text;
        } else {
            return;
        }
    }
}

// True when a step of `length` bytes from `text` passes the terminator.
bool passesTerminator(const unsigned char *text, unsigned int length) {
    return std::find(text, text + length, 0) != text + length;
}

template <class Filter>
unsigned int filteredLength(const unsigned char *text, Filter filter) {
    unsigned int length = 0;
    if (text != nullptr) {
        for (unsigned short character = replacementCharacter; character != 0;) {
            const unsigned int used = utf8Decode(text, unbounded, &character);
            const unsigned short result = filter(character);
            if (result != 0) {
                length += result == character ? used : utf8EncodedLength(result);
            }
            text += used;
        }
    }
    return length;
}

// A kept character is copied byte by byte, so that a rejected byte stays what it is. A replaced one moves the input on
// by the length of the replacement: kept on purpose, see quirks. What does not fit ends the text.
template <class Filter>
unsigned int filterText(unsigned char *out, int size, const unsigned char *text, Filter filter) {
    unsigned char *at = out;
    if (text != nullptr) {
        unsigned short character = replacementCharacter;
        for (int room = size; room > 1 && character != 0;) {
            const unsigned int used = utf8Decode(text, unbounded, &character);
            const unsigned short result = filter(character);
            if (result == 0) {
                text += used;
            } else if (result == character) {
                room -= static_cast<int>(used);
                if (room < 1) {
                    break;
                }
                for (const unsigned char *const next = text + used; text != next; ++text) {
                    *at++ = *text;
                }
            } else {
                const unsigned int step = utf8Encode(result, at, room);
                at += step;
                if (step == 0 || passesTerminator(text, step)) {
                    break;
                }
                room -= static_cast<int>(step);
                text += step;
            }
        }
    }
    *at = 0;
    return static_cast<unsigned int>(at - out);
}

// Behind the bytes that the kernel found well-formed. A sequence that the length cuts off is valid: the codec stores
// nothing for it.
[[gnu::noinline]] int restIsValid(const unsigned char *text, unsigned int length, std::size_t wellFormed) {
    for (;;) {
        text += wellFormed;
        length -= static_cast<unsigned int>(wellFormed);
        unsigned short character = 0;
        for (std::size_t steps = detail::plainSteps(wellFormed); steps != 0 && length != 0 && *text != 0; --steps) {
            const unsigned int used = utf8Decode(text, length, &character);
            if (character == replacementCharacter) {
                return 0;
            }
            text += used;
            length -= used;
        }
        if (length == 0 || *text == 0) {
            return 1;
        }
        wellFormed = kernels::kernels().wellFormedUtf8(text, length);
    }
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

unsigned int zelkUtf8GetTextWidth(const unsigned char *text, unsigned int length) {
    return text == nullptr ? 0 : static_cast<unsigned int>(kernels::kernels().measureUtf8(text, length).written);
}

unsigned int zelkUtf8Pos(const unsigned char *text, unsigned int characters) {
    const unsigned char *at = text;
    if (text != nullptr) {
        for (; characters != 0 && *at != 0; --characters) {
            at += detail::utf8Length(at, detail::unbounded);
        }
    }
    return static_cast<unsigned int>(at - text);
}

int zelkUtf8TextIsValid(const unsigned char *text, unsigned int length) {
    if (text == nullptr) {
        return 1;
    }
    const std::size_t wellFormed = kernels::kernels().wellFormedUtf8(text, length);
    return wellFormed == length ? 1 : detail::restIsValid(text, length, wellFormed);
}

namespace {

// The terminator of a text, or the place that the room ends at: the room says nothing of how far the text may be read.
const unsigned char *endOrLimit(const unsigned char *text, int room) {
    return text + strnlen(reinterpret_cast<const char *>(text), room > 1 ? static_cast<std::size_t>(room - 1) : 0);
}

} // namespace

// The room is tested for every byte: a character at the end of the room is copied in part.
unsigned int zelkUtf8CopyAndCheckIfValid(unsigned char *out, int size, const unsigned char *text, int length,
                                         int *invalid) {
    unsigned char *at = out;
    if (text != nullptr && *invalid == 0) {
        auto available = static_cast<unsigned int>(length);
        int room = size;
        const unsigned char *const end = length < 0 ? endOrLimit(text, room) : nullptr;
        while (*invalid == 0 && room > 1 && available != 0 && *text != 0) {
            const std::size_t fitting = end != nullptr ? static_cast<std::size_t>(end - text)
                                                       : std::min(available, static_cast<unsigned int>(room - 1));
            const std::size_t wellFormed = kernels::kernels().wellFormedUtf8(text, fitting);
            at = std::copy_n(text, wellFormed, at);
            text += wellFormed;
            available -= static_cast<unsigned int>(wellFormed);
            room -= static_cast<int>(wellFormed);
            unsigned short character = 0;
            for (std::size_t steps = detail::plainSteps(wellFormed);
                 steps != 0 && room > 1 && available != 0 && *text != 0; --steps) {
                const unsigned int used = detail::utf8Decode(text, available, &character);
                if (character == detail::replacementCharacter) {
                    *invalid = 1;
                    break;
                }
                for (unsigned int left = used; left != 0 && room > 1; --left, --room) {
                    *at++ = *text++;
                }
                available -= used;
            }
        }
    }
    *at = 0;
    return static_cast<unsigned int>(at - out);
}

unsigned int zelkUtf8CopyQuoted(unsigned char *out, int size, const unsigned char *text, int length,
                                unsigned short open, unsigned short close) {
    unsigned char *at = out;
    if (size > 1) {
        int room = size;
        detail::forEachQuotedByte(text, static_cast<unsigned int>(length), open, close, [&](unsigned char byte) {
            *at++ = byte;
            return --room > 1;
        });
    }
    *at = 0;
    return static_cast<unsigned int>(at - out);
}

int zelkUtf8GetQuotedLength(const unsigned char *text, int length, unsigned short open, unsigned short close) {
    unsigned int quoted = 0;
    detail::forEachQuotedByte(text, static_cast<unsigned int>(length), open, close, [&](unsigned char) {
        ++quoted;
        return true;
    });
    return static_cast<int>(quoted);
}

CharPacket *zelkUtf8GetQuoted(const CharPacket *text, unsigned short open, unsigned short close) {
    if (text == nullptr) {
        return nullptr;
    }
    const auto *bytes = reinterpret_cast<const unsigned char *>(text->chars);
    const int quoted = zelkUtf8GetQuotedLength(bytes, text->length, open, close);
    CharPacket *result = quoted > 0 ? zelkNewCharPacket(static_cast<unsigned short>(quoted), nullptr) : nullptr;
    if (result != nullptr) {
        result->length = static_cast<unsigned short>(quoted);
        zelkUtf8CopyQuoted(reinterpret_cast<unsigned char *>(result->chars), result->capacity, bytes, text->length,
                           open, close);
    }
    return result;
}

// The terminator is a byte like the others: where it fits and is no quote, it is copied and counted, and a second one
// follows it.
unsigned int zelkUtf8RemoveQuotesFromString(unsigned char *out, int size, const unsigned char *text,
                                            unsigned short open, unsigned short close) {
    unsigned char *at = out;
    if (text != nullptr) {
        const detail::QuoteBytes opening(open);
        const detail::QuoteBytes closing(close);
        unsigned char handled = 0xFF;
        for (int room = size; room > 1 && handled != 0;) {
            handled = *text;
            if (opening.startsAt(text)) {
                text += opening.length();
            } else if (closing.startsAt(text)) {
                text += closing.length();
            } else {
                *at++ = handled;
                --room;
                ++text;
            }
        }
    }
    *at = 0;
    return static_cast<unsigned int>(at - out);
}

int zelkUtf8GetFilteredStringLength(const unsigned char *text, zelkCharFilter filter) {
    return static_cast<int>(filter != nullptr ? detail::filteredLength(text, filter)
                                              : detail::filteredLength(text, detail::filterControlChars));
}

unsigned int zelkUtf8FilterString(unsigned char *out, int size, const unsigned char *text, zelkCharFilter filter) {
    return filter != nullptr ? detail::filterText(out, size, text, filter)
                             : detail::filterText(out, size, text, detail::filterControlChars);
}

CharPacket *zelkUtf8Substr(const CharPacket *text, unsigned int start, unsigned int count, const char *replacement) {
    if (text == nullptr) {
        return nullptr;
    }
    const auto *bytes = reinterpret_cast<const unsigned char *>(text->chars);
    const unsigned int byteStart = zelkUtf8Pos(bytes, start);
    const unsigned int byteCount = zelkUtf8Pos(bytes + byteStart, count);
    return zelkSubstr(text, byteStart, byteCount, replacement);
}
