// Substrings, character filters and bit reversal, for 8-bit and 16-bit text from the same templates.
#include "detail/control_filter.h"
#include "detail/twins.h"
#include "zelk.h"

#include <algorithm>
#include <type_traits>

namespace zelk::detail {

namespace {

// The terminator goes through the filter like any other character, and is written if the filter makes something of it.
// The two texts may be one: a unit is read once, before anything is written in its place.
template <class Unit, class Filter>
unsigned int filterText(Unit *dst, int size, const Unit *src, Filter filter) {
    Unit *at = dst;
    if (src != nullptr) {
        for (int room = size; room > 1; ++src) {
            const Unit unit = *src;
            const unsigned short result = filter(static_cast<std::make_unsigned_t<Unit>>(unit));
            if (result != 0) {
                *at++ = static_cast<Unit>(result);
                --room;
            }
            if (unit == 0) {
                break;
            }
        }
    }
    *at = 0;
    return static_cast<unsigned int>(at - dst);
}

template <class Unit>
unsigned int filterTextBy(Unit *dst, int size, const Unit *src, zelkCharFilter filter) {
    return filter != nullptr ? filterText(dst, size, src, filter) : filterText(dst, size, src, filterControlChars);
}

// The result is sized by the requested count: its capacity is what was asked for, its length what was there.
template <class Packet>
Packet *cut(const Packet *text, unsigned int start, unsigned int count, unsigned int taken) {
    if (taken > (count & longestPacketText)) {
        return nullptr;
    }
    auto *result = newPacketLike(text, count);
    if (result != nullptr) {
        *std::copy_n(text->chars + start, taken, result->chars) = 0;
        result->length = static_cast<unsigned short>(taken);
    }
    return result;
}

template <class Packet, class Unit>
Packet *replace(const Packet *text, unsigned int start, unsigned int taken, const Unit *replacement) {
    const std::size_t inserted = textLength(replacement);
    const std::size_t length = text->length - taken + inserted;
    if (length > longestPacketText) {
        return nullptr;
    }
    auto *result = newPacketLike(text, length);
    if (result != nullptr) {
        Unit *at = std::copy_n(text->chars, start, result->chars);
        at = std::copy_n(replacement, inserted, at);
        *std::copy(text->chars + start + taken, text->chars + text->length, at) = 0;
        result->length = static_cast<unsigned short>(length);
    }
    return result;
}

template <class Packet, class Unit>
Packet *substring(const Packet *text, unsigned int start, unsigned int count, const Unit *replacement) {
    if (text == nullptr || start > text->length) {
        return nullptr;
    }
    const unsigned int taken = std::min(count, text->length - start);
    return replacement != nullptr ? replace(text, start, taken, replacement) : cut(text, start, count, taken);
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

unsigned short zelk_filterControlCode0(unsigned short code) {
    return detail::filterControlCode0(code);
}

unsigned short zelk_filterMapControlCode8(unsigned short code) {
    return detail::filterControlCode8(code);
}

unsigned short zelk_filterMapControlCode8Restricted(unsigned short code) {
    return detail::filterControlCode8Restricted(code);
}

unsigned short zelk_filterControlChars(unsigned short code) {
    return detail::filterControlChars(code);
}

unsigned int zelkFilterString(char *dst, int size, const char *src, zelkCharFilter filter) {
    return detail::filterTextBy(dst, size, src, filter);
}

unsigned int zelkFilterWideString(unsigned short *dst, int size, const unsigned short *src, zelkCharFilter filter) {
    return detail::filterTextBy(dst, size, src, filter);
}

CharPacket *zelkSubstr(const CharPacket *text, unsigned int start, unsigned int count, const char *replacement) {
    return detail::substring(text, start, count, replacement);
}

WideCharPacket *zelkWideSubstr(const WideCharPacket *text, unsigned int start, unsigned int count,
                               const unsigned short *replacement) {
    return detail::substring(text, start, count, replacement);
}

int zelk_bitsRevertSequence(unsigned char *dst, const unsigned char *src, int count) {
    if (src == nullptr || count < 1) {
        return 0;
    }
    std::transform(src, src + count, dst, [](unsigned char byte) { return zelk_bitsRevSeqTab[byte]; });
    return count;
}
