// Quoted sections of a text, and texts without their quotes, for 8-bit and 16-bit text from the same templates. All
// sections are taken and joined; the quote characters are never copied.
#include "detail/twins.h"
#include "zelk.h"

namespace zelk::detail {

namespace {

// Hands every character inside quotes to take(character), which returns false to end the scan. The opening and the
// closing character may be the same. A section without an end reaches to the end of the text.
template <class Unit, class Take>
void forEachQuoted(const Unit *text, unsigned int examine, Unit open, Unit close, Take take) {
    if (text == nullptr) {
        return;
    }
    bool inside = false;
    for (; examine != 0 && *text != 0; ++text, --examine) {
        if (*text == (inside ? close : open)) {
            inside = !inside;
        } else if (inside && !take(*text)) {
            return;
        }
    }
}

template <class Unit>
unsigned int quotedLength(const Unit *text, unsigned int examine, Unit open, Unit close) {
    unsigned int length = 0;
    forEachQuoted(text, examine, open, close, [&](Unit) {
        ++length;
        return true;
    });
    return length;
}

template <class Unit>
unsigned int copyQuoted(Unit *dst, int size, const Unit *src, int examine, Unit open, Unit close) {
    Unit *at = dst;
    if (size > 1) {
        int room = size;
        forEachQuoted(src, static_cast<unsigned int>(examine), open, close, [&](Unit character) {
            *at++ = character;
            return --room > 1;
        });
    }
    *at = 0;
    return static_cast<unsigned int>(at - dst);
}

// The terminator of the source is a character like the others: where it fits and is no quote, it is copied and counted,
// and a second one follows it.
template <class Unit>
unsigned int removeQuotes(Unit *dst, int size, const Unit *src, Unit first, Unit second) {
    Unit *at = dst;
    if (src != nullptr) {
        for (int room = size; room > 1; ++src) {
            if (*src != first && *src != second) {
                *at++ = *src;
                --room;
            }
            if (*src == 0) {
                break;
            }
        }
    }
    *at = 0;
    return static_cast<unsigned int>(at - dst);
}

// The quoted text in a packet whose length is still 0; null when nothing is quoted.
template <class Packet, class Unit>
Packet *quotedPacket(const Packet *text, Unit open, Unit close, unsigned int *copied) {
    const unsigned int length = text != nullptr ? quotedLength(text->chars, text->length, open, close) : 0;
    auto *result = length != 0 ? newPacketLike(text, length) : nullptr;
    if (result != nullptr) {
        *copied = copyQuoted(result->chars, result->capacity, text->chars, text->length, open, close);
    }
    return result;
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

unsigned int zelkGetQuotedLength(const char *text, unsigned int examine, char open, char close) {
    return detail::quotedLength(text, examine, open, close);
}

unsigned int zelkCopyQuoted(char *dst, int size, const char *src, int examine, char open, char close) {
    return detail::copyQuoted(dst, size, src, examine, open, close);
}

unsigned int zelkRemoveQuotesFromString(char *dst, int size, const char *src, char first, char second) {
    return detail::removeQuotes(dst, size, src, first, second);
}

// The length stays 0, though the text is there and terminated: kept on purpose, the wide twin does store it.
CharPacket *zelkGetQuoted(const CharPacket *text, char open, char close) {
    unsigned int copied = 0;
    return detail::quotedPacket(text, open, close, &copied);
}

unsigned int zelkGetWideQuotedLength(const unsigned short *text, unsigned int examine, unsigned short open,
                                     unsigned short close) {
    return detail::quotedLength(text, examine, open, close);
}

unsigned int zelkCopyWideQuoted(unsigned short *dst, int size, const unsigned short *src, int examine,
                                unsigned short open, unsigned short close) {
    return detail::copyQuoted(dst, size, src, examine, open, close);
}

unsigned int zelkRemoveQuotesFromWideString(unsigned short *dst, int size, const unsigned short *src,
                                            unsigned short first, unsigned short second) {
    return detail::removeQuotes(dst, size, src, first, second);
}

WideCharPacket *zelkGetWideQuoted(const WideCharPacket *text, unsigned short open, unsigned short close) {
    unsigned int copied = 0;
    WideCharPacket *result = detail::quotedPacket(text, open, close, &copied);
    if (result != nullptr) {
        result->length = static_cast<unsigned short>(copied);
    }
    return result;
}
