// Packets and the bounded copies that fill them, for 8-bit and 16-bit text from the same templates.
//
// A packet is one malloc block: two 16-bit fields, the characters, the terminator. The blocks of the two kinds differ
// by one spare byte, which is part of the documented layout.
#include "detail/twins.h"
#include "detail/units.h"
#include "detail/utf8_char.h"
#include "detail/words.h"
#include "detail/wrap.h"
#include "kernels/kernels.h"
#include "zelk.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <span>

namespace zelk::detail {

namespace {

template <class Packet>
constexpr std::size_t spareBytes = 0;
template <>
constexpr std::size_t spareBytes<CharPacket> = 1;

static_assert(sizeof(CharPacket) == 4 && sizeof(WideCharPacket) == 4, "the characters follow the fields at once");

// Everything but the characters.
template <class Packet>
Packet *allocate(unsigned int size) {
    constexpr std::uint64_t unitBytes = sizeof(Packet::chars[0]);
    const std::uint64_t blockBytes = sizeof(Packet) + (std::uint64_t{size} + 1) * unitBytes + spareBytes<Packet>;
    // GCOVR_EXCL_START: where pointers have 32 bits
    if (blockBytes > PTRDIFF_MAX) {
        return nullptr;
    }
    // GCOVR_EXCL_STOP
    auto *packet = static_cast<Packet *>(std::malloc(static_cast<std::size_t>(blockBytes)));
    if (packet != nullptr) {
        packet->capacity = static_cast<unsigned short>(size + 1);
        packet->length = 0;
    }
    return packet;
}

template <class Packet>
Packet *emptyPacket(unsigned int size) {
    auto *packet = allocate<Packet>(size);
    if (packet != nullptr) {
        packet->chars[0] = 0;
    }
    return packet;
}

// The characters before the zero one, as far as there are so many.
std::size_t lengthUpTo(std::size_t limit, const char *text) {
    const void *const end = std::memchr(text, 0, limit);
    return end == nullptr ? limit : static_cast<std::size_t>(static_cast<const char *>(end) - text);
}

// By aligned words of four units, which may begin before the text and end after its zero: sanitizers do not look there.
__attribute__((noinline, no_sanitize("address", "thread"))) std::size_t lengthUpTo(std::size_t limit,
                                                                                   const unsigned short *text) {
    using Word [[gnu::may_alias]] = std::uint64_t;
    constexpr std::size_t atOnce = sizeof(Word) / sizeof *text;
    constexpr std::uint64_t lowBitsOfUnits = 0x7FFF7FFF7FFF7FFFU;
    const std::size_t before = reinterpret_cast<std::uintptr_t>(text) / sizeof *text % atOnce;
    const unsigned short *const first = text - before;
    const std::size_t end = std::min<std::size_t>(limit, PTRDIFF_MAX) + before;
    std::size_t at = 0;
    std::uint64_t notText = firstBytes(before * sizeof *text);
    for (; end - at >= atOnce; at += atOnce) {
        const std::uint64_t units = *reinterpret_cast<const Word *>(first + at) | notText;
        const std::uint64_t zeros = ~(((units & lowBitsOfUnits) + lowBitsOfUnits) | units | lowBitsOfUnits);
        if (zeros != 0) {
            return at + firstByteOf(zeros) / sizeof *text - before;
        }
        notText = 0;
    }
    for (at = std::max(at, before); at < end && first[at] != 0; ++at) {
    }
    return at - before;
}

// By itself, since packets are filled with it, too.
template <class Unit>
[[gnu::noinline]] unsigned int copyText(Unit *dst, int size, const Unit *src, unsigned int max) {
    if (size <= 0) {
        return 0;
    }
    const std::size_t limit = std::min(max, static_cast<unsigned int>(size - 1));
    std::size_t length = src == nullptr ? 0 : lengthUpTo(limit, src);
    if (std::less<>()(src, dst) && !std::less<>()(src + length, dst)) {
        // A copy into the text itself, after its beginning, takes in what it has written: that has no zero, and goes on
        // to the limit.
        for (length = 0; length < limit; ++length) {
            dst[length] = src[length];
        }
    } else if (length != 0) {
        std::memmove(dst, src, length * sizeof(Unit));
    }
    dst[length] = 0;
    return static_cast<unsigned int>(length);
}

template <class Unit>
std::span<const Unit> unitsOf(const Unit *text) {
    return {text, textLength(text)};
}

// A packet's text is as long as its length says; zero characters inside it are text.
std::span<const char> unitsOf(const CharPacket *packet) {
    return {packet->chars, packet->length};
}

std::span<const unsigned short> unitsOf(const WideCharPacket *packet) {
    return {packet->chars, packet->length};
}

template <class Packet, class Unit>
Packet *newPacket(unsigned short size, const Unit *init) {
    if (init == nullptr) {
        return emptyPacket<Packet>(size);
    }
    if (size == 0) {
        const std::size_t length = textLength(init);
        if (length >= longestPacketText) {
            return emptyPacket<Packet>(0); // dropped whole: the caller asked for all of it
        }
        size = static_cast<unsigned short>(length);
    }
    // A size of 65,535 wraps the capacity to 0: the copy is refused and nothing is written.
    auto *packet = allocate<Packet>(size);
    if (packet != nullptr) {
        packet->length = static_cast<unsigned short>(copyText(packet->chars, packet->capacity, init, unbounded));
    }
    return packet;
}

// Joins the texts of a list that ends with null. The list is walked twice, to measure and to copy.
template <class Packet, class Source>
Packet *join(const Source *first, std::va_list rest) {
    std::va_list again;
    va_copy(again, rest);
    std::size_t length = 0;
    for (const Source *source = first; source != nullptr && length <= longestPacketText;
         source = va_arg(rest, const Source *)) {
        length += unitsOf(source).size();
    }
    auto *packet = length <= longestPacketText ? emptyPacket<Packet>(static_cast<unsigned int>(length)) : nullptr;
    if (packet != nullptr) {
        auto *at = packet->chars;
        for (const Source *source = first; source != nullptr; source = va_arg(again, const Source *)) {
            const auto units = unitsOf(source);
            at = std::copy(units.begin(), units.end(), at);
        }
        *at = 0;
        packet->length = static_cast<unsigned short>(length);
    }
    va_end(again);
    return packet;
}

} // namespace

CharPacket *newCharPacketHolding(unsigned int size) {
    return emptyPacket<CharPacket>(size);
}

WideCharPacket *newWideCharPacketHolding(unsigned int size) {
    return emptyPacket<WideCharPacket>(size);
}

} // namespace zelk::detail

using namespace zelk;

CharPacket *zelkNewCharPacket(unsigned short size, const char *init) {
    return detail::newPacket<CharPacket>(size, init);
}

WideCharPacket *zelkNewWideCharPacket(unsigned short size, const unsigned short *init) {
    return detail::newPacket<WideCharPacket>(size, init);
}

CharPacket *zelkConsCharPacket(const char *first, ...) {
    if (first == nullptr) {
        return nullptr;
    }
    std::va_list rest;
    va_start(rest, first);
    CharPacket *packet = detail::join<CharPacket>(first, rest);
    va_end(rest);
    return packet;
}

WideCharPacket *zelkConsWideCharPacket(const unsigned short *first, ...) {
    if (first == nullptr) {
        return nullptr;
    }
    std::va_list rest;
    va_start(rest, first);
    WideCharPacket *packet = detail::join<WideCharPacket>(first, rest);
    va_end(rest);
    return packet;
}

CharPacket *zelkCatCharPackets(const CharPacket *first, ...) {
    if (first == nullptr) {
        return nullptr;
    }
    std::va_list rest;
    va_start(rest, first);
    CharPacket *packet = detail::join<CharPacket>(first, rest);
    va_end(rest);
    return packet;
}

// Alone of the four, an empty list gives an empty packet here: callers append to what they get.
WideCharPacket *zelkCatWideCharPackets(const WideCharPacket *first, ...) {
    std::va_list rest;
    va_start(rest, first);
    WideCharPacket *packet = detail::join<WideCharPacket>(first, rest);
    va_end(rest);
    return packet;
}

unsigned int zelk_strlcpy(char *dst, int size, const char *src, unsigned int max) {
    return detail::copyText(dst, size, src, max);
}

unsigned int zelk_wstrlcpy(unsigned short *dst, int size, const unsigned short *src, unsigned int max) {
    return detail::copyText(dst, size, src, max);
}

// High byte first in, low byte first out.
unsigned int zelk_nawstrlcpy(unsigned char *dst, int size, const unsigned char *src, unsigned int max) {
    if (size <= 0) {
        return 0;
    }
    const unsigned int limit = std::min(max, static_cast<unsigned int>(size - 1));
    unsigned int count = 0;
    for (detail::HighByteFirst unit(src); src != nullptr && count < limit && *unit != 0; ++unit) {
        const unsigned int value = *unit;
        *dst++ = static_cast<unsigned char>(value & 0xFFU);
        *dst++ = static_cast<unsigned char>(value >> 8U);
        ++count;
    }
    dst[0] = dst[1] = 0;
    return count;
}

unsigned int zelk_wcslen(const unsigned short *text) {
    return text == nullptr ? 0U : static_cast<unsigned int>(detail::lengthUpTo(detail::unbounded, text));
}

unsigned int zelk_nawcslen(const unsigned char *text) {
    if (reinterpret_cast<std::uintptr_t>(text) % sizeof(unsigned short) == 0) {
        return zelk_wcslen(reinterpret_cast<const unsigned short *>(text));
    }
    unsigned int count = 0;
    for (detail::HighByteFirst unit(text); *unit != 0; ++unit) {
        ++count;
    }
    return count;
}

// Unlike the copies above it terminates whatever the size is.
unsigned int zelk_expand(unsigned short *dst, const char *src, int size) {
    const std::size_t limit = size > 0 ? static_cast<unsigned int>(size) - 1U : 0U;
    const std::size_t length = src == nullptr ? 0 : detail::lengthUpTo(limit, src);
    if (length != 0) {
        kernels::kernels().bytesToUcs2(tables::ByteSet::Iso8859_1, reinterpret_cast<const unsigned char *>(src), length,
                                       dst, length);
    }
    dst[length] = 0;
    return static_cast<unsigned int>(length);
}
