// DVB text of a table with marks, on every machine.
//
//   graphic ASCII    words
//   Latin to UTF-8   on x86, a vector or half of it as it is, with a gap for each character that grows, then the
//                    characters of two bytes over it; the last bytes one by one, and so names on other machines
//   others           up to eight ASCII bytes with one store, then the character that comes after them; of the last
//                    bytes a word with zeros after them
//
// What comes next may end the text, so that whole words of others cannot be stored where the text goes: they are put
// into a buffer, some hundred bytes of the text at a time, and copied from there.
#pragma once

#include "detail/utf8_char.h"
#include "kernels/plain/byte_sets.h"
#include "tables/dvb_marks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <type_traits>

namespace zelk::kernels::ZELK_KERNEL_SET::plain {

inline constexpr std::size_t bufferedText = 512; // bytes: the last step may begin with the last of them

// The high bits of the bytes that are no graphic ASCII (0x20 to 0x7E).
inline std::uint64_t notGraphicAscii(std::uint64_t word) {
    const std::uint64_t low = word & lowBits; // no byte's sum carries into its neighbour
    return (word | (low + everyByte) | ~(low + 0x60 * everyByte)) & highBits;
}

inline bool isGraphicAscii(unsigned char byte) {
    return byte - 0x20U < 0x5F;
}

// Of eight bytes, those in front of the first that is no graphic ASCII.
inline std::size_t graphicAsciiBytes(std::uint64_t word) {
    return firstByteOf(notGraphicAscii(word));
}

// Of the last eight bytes of a text those that are left, and zeros.
inline std::uint64_t lastWord(const unsigned char *last, std::size_t left) {
    const std::size_t taken = 8 * (wordBytes - left);
    return std::endian::native == std::endian::little ? wordAt(last) >> taken : wordAt(last) << taken;
}

// The character at a byte that is no graphic ASCII, and the bytes of the text that it takes: none at a control, at what
// has no character and at a mark that does not compose.
struct MarkedCharacter {
    unsigned int character;
    unsigned int bytes;
};

inline MarkedCharacter markedAt(const tables::CodePoints &codePoints, const unsigned char *in, std::size_t left) {
    const unsigned int byte = *in;
    if (tables::dvbMarks.sets[0].columnOf[byte] != 0) {
        const unsigned int composed = left > 1 ? composeIn(tables::dvbMarks, 0, in[1], byte) : 0U;
        return {composed, composed != 0 ? 2U : 0U};
    }
    const unsigned int character = codePoints[byte];
    return {character, (byte & 0x60U) != 0 && character != tables::unassigned ? 1U : 0U};
}

// ---- Latin text: graphic ASCII, and characters of two bytes in UTF-8, a byte's own or a mark's with its letter ----

// A character of two bytes as it is stored, by one number: two bytes would have to be put together from memory.
using Pair = std::uint16_t;

// 0 where there is none, or not one of two bytes.
constexpr Pair pairOf(const MarkedCharacter &next) {
    const unsigned int lead = detail::leadByte(next.character, 2);
    const unsigned int later = detail::continuationByte(next.character, 0);
    const unsigned int pair = std::endian::native == std::endian::little ? later << 8U | lead : lead << 8U | later;
    const bool isPair = next.bytes != 0 && detail::utf8EncodedLength(next.character) == sizeof(Pair);
    return isPair ? static_cast<Pair>(pair) : Pair{0};
}

// The x86 processors wait where a buffer is read by other sizes than it was written with. Those that execute in order,
// as most Arm cores of receivers do, take fewer instructions by the buffer.
#if defined(__SSE2__)
inline constexpr bool hasLatinSteps = true;
#else
inline constexpr bool hasLatinSteps = false;
#endif

// A vector or half a vector of a text's bytes that become as many bytes of UTF-8. Each character that grows opens a
// gap, so that the last ones are for the next step.
struct LatinStep {
    std::size_t size;
    Bytes bytes;

    LatinStep(const unsigned char *in, std::size_t left)
        : size(left >= vectorBytes ? vectorBytes : wordBytes),
          bytes(left >= vectorBytes ? vectorAt<Bytes>(in) : reinterpret_cast<Bytes>(Words{wordAt(in), 0})) {}

    void storeTo(char *out) const {
        if (size == vectorBytes) {
            store(out, bytes);
        } else {
            store(out, reinterpret_cast<Words>(bytes)[0]);
        }
    }

    // A bit for each byte that is no graphic ASCII, that of the first one lowest. Graphic ASCII is above 0x20 once one
    // is added, as signed numbers.
    unsigned int others() const {
        return highBitsOf(signedBelow(bytes + everyByteIs(1), everyByteIs(0x21))) & ((1U << size) - 1);
    }

    // Moves the bytes from a place on by one. What is there then has no meaning.
    void open(std::size_t place) {
        const Bytes kept = firstBytes(place);
        bytes = (bytes & kept) | (oneUp(bytes) & ~kept);
    }
};

// False where the text is not Latin; else less than half a vector of it is left.
inline bool putLatinSteps(const tables::CodePoints &codePoints, const unsigned char *in, std::size_t length, char *out,
                          Progress &done) {
    while (length - done.read >= wordBytes) {
        const unsigned char *const from = in + done.read;
        char *const to = out + done.written;
        LatinStep step(from, length - done.read);
        std::array<std::uint8_t, vectorBytes> places; // in the output; `count` of these are set
        std::array<Pair, vectorBytes> pairs;
        std::size_t count = 0;
        std::size_t grown = 0;
        std::size_t end = step.size;
        for (unsigned int others = step.others(); others != 0; others &= others - 1) {
            const auto at = static_cast<std::size_t>(std::countr_zero(others));
            const std::size_t place = at + grown;
            if (place >= step.size) {
                break;
            }
            const MarkedCharacter next = markedAt(codePoints, from + at, length - done.read - at);
            const Pair pair = pairOf(next);
            if (pair == 0) {
                return false;
            }
            if (next.bytes == 1) {
                step.open(place + 1);
                ++grown;
            }
            places[count] = static_cast<std::uint8_t>(place);
            pairs[count] = pair;
            ++count;
            end = std::max(end, place + sizeof pair);
        }
        step.storeTo(to);
        for (std::size_t i = 0; i < count; ++i) {
            store(to + places[i], pairs[i]);
        }
        done.read += end - grown;
        done.written += end;
    }
    return true;
}

inline void putLatin(const tables::CodePoints &codePoints, const unsigned char *in, std::size_t length, char *out,
                     Progress &done) {
    if constexpr (hasLatinSteps) {
        if (!putLatinSteps(codePoints, in, length, out, done)) {
            return;
        }
    }
    const unsigned char *at = in + done.read;
    const unsigned char *const end = in + length;
    char *to = out + done.written;
    while (at != end) {
        if (isGraphicAscii(*at)) {
            *to++ = static_cast<char>(*at++);
            continue;
        }
        const MarkedCharacter next = markedAt(codePoints, at, static_cast<std::size_t>(end - at));
        const Pair pair = pairOf(next);
        if (pair == 0) {
            break;
        }
        store(to, pair);
        to += sizeof pair;
        at += next.bytes;
    }
    done = {static_cast<std::size_t>(at - in), static_cast<std::size_t>(to - out)};
}

// Eight bytes at once, whatever overlaps.
inline void putWord(char *out, std::uint64_t word) {
    store(out, word);
}

inline void putWord(unsigned short *out, std::uint64_t word) {
    putUnitsOf(out, word);
}

// How a character is put into a buffer. The place in it is no member: the compiler would store it after each character.
struct Utf8Form {
    using Unit = char;
    static constexpr std::size_t most = mostBytes; // units of a character

    tables::PackedUtf8 packed;

    explicit Utf8Form(tables::ByteSet set) : packed(tables::packedUtf8Of(set)) {}

    char *put(char *at, unsigned char byte, unsigned int /*character*/) const { return putEntry(at, packed[byte]); }
    static char *putComposed(char *at, unsigned int character) {
        return at + detail::utf8Encode(character, at, entryBytes);
    }
};

struct Ucs2Form {
    using Unit = unsigned short;
    static constexpr std::size_t most = 1;

    explicit Ucs2Form(tables::ByteSet /*set*/) {}

    static unsigned short *put(unsigned short *at, unsigned char /*byte*/, unsigned int character) {
        return putComposed(at, character);
    }
    static unsigned short *putComposed(unsigned short *at, unsigned int character) {
        *at = static_cast<unsigned short>(character);
        return at + 1;
    }
};

// The bytes of the text that the next character takes; 0, and nothing is put, where a kernel has none.
template <class Form>
inline std::size_t putMarked(const tables::CodePoints &codePoints, const Form &form, typename Form::Unit *&at,
                             const unsigned char *in, std::size_t left) {
    const MarkedCharacter next = markedAt(codePoints, in, left);
    if (next.bytes == 2) {
        at = form.putComposed(at, next.character);
    } else if (next.bytes == 1) {
        at = form.put(at, *in, next.character);
    }
    return next.bytes;
}

// What a buffer gets of a text: `bufferedText` bytes or little more; `stopped` where the next one is not for a kernel.
template <class Unit>
struct MarkedPart {
    std::size_t read;
    Unit *end;
    bool stopped;
};

// The last bytes of a text, less than eight.
template <class Form>
[[gnu::noinline]] MarkedPart<typename Form::Unit> putLastPart(const tables::CodePoints &codePoints, const Form &form,
                                                              typename Form::Unit *at, const unsigned char *in,
                                                              std::size_t length, std::size_t place) {
    while (place < length) {
        if (length >= wordBytes) {
            const std::uint64_t word = lastWord(in + length - wordBytes, length - place);
            const std::size_t ascii = graphicAsciiBytes(word);
            putWord(at, word);
            at += ascii;
            place += ascii;
            if (place == length) {
                break;
            }
        }
        const std::size_t taken = putMarked(codePoints, form, at, in + place, length - place);
        if (taken == 0) {
            return {place, at, true};
        }
        place += taken;
    }
    return {place, at, false};
}

// From a place of the text on.
template <class Form>
inline MarkedPart<typename Form::Unit> putMarkedPart(const tables::CodePoints &codePoints, const Form &form,
                                                     typename Form::Unit *at, const unsigned char *in,
                                                     std::size_t length, std::size_t place = 0) {
    while (length - place >= wordBytes) {
        if (place >= bufferedText) {
            return {place, at, false};
        }
        const std::uint64_t word = wordAt(in + place);
        const std::size_t ascii = graphicAsciiBytes(word);
        putWord(at, word);
        at += ascii;
        place += ascii;
        if (ascii == wordBytes) {
            continue;
        }
        const std::size_t taken = putMarked(codePoints, form, at, in + place, length - place);
        if (taken == 0) {
            return {place, at, true};
        }
        place += taken;
    }
    return putLastPart(codePoints, form, at, in, length, place);
}

// The steps of a conversion: by words here, by blocks where a set has them.
struct StepsByWords {
    // The graphic ASCII that a text begins with: all of it, or whole words.
    template <class Unit>
    static std::size_t putAscii(const unsigned char *in, std::size_t length, Unit *out) {
        const auto isAscii = [in](std::size_t place) { return notGraphicAscii(wordAt(in + place)) == 0; };
        std::size_t done = 0;
        for (; length - done >= wordBytes && isAscii(done); done += wordBytes) {
            putWord(out + done, wordAt(in + done));
        }
        if (length - done >= wordBytes || length < wordBytes || !isAscii(length - wordBytes)) {
            return done;
        }
        putWord(out + length - wordBytes, wordAt(in + length - wordBytes));
        return length;
    }

    // So many bytes are quicker without the buffer.
    static constexpr std::size_t mostLatin = hasLatinSteps ? SIZE_MAX : 64;

    // What a buffer gets. A step and a text's last bytes may be `surplus` bytes more than it should take, and as many
    // units may be written too far.
    static constexpr std::size_t surplus = 2 * wordBytes;
    template <class Form>
    static MarkedPart<typename Form::Unit> putPart(const tables::CodePoints &codePoints, const Form &form,
                                                   typename Form::Unit *at, const unsigned char *in,
                                                   std::size_t length) {
        return putMarkedPart(codePoints, form, at, in, length);
    }
};

// The rest of a text that has begun with so much graphic ASCII. A call of its own: text without marks needs no buffer.
template <class Form, class Steps>
[[gnu::noinline]] Progress convertOthers(tables::ByteSet set, const unsigned char *in, std::size_t length,
                                         typename Form::Unit *out, std::size_t ascii) {
    const tables::CodePoints &codePoints = tables::codePointsOf(set);
    const Form form(set);
    typename Form::Unit buffer[Form::most * (bufferedText + Steps::surplus) + Steps::surplus];
    Progress done{ascii, ascii};
    for (;;) {
        if constexpr (Steps::mostLatin != 0 && std::is_same_v<typename Form::Unit, char>) {
            if (length - done.read <= Steps::mostLatin) {
                putLatin(codePoints, in, length, out, done);
            }
        }
        if (done.read == length) {
            return done;
        }
        const auto part = Steps::putPart(codePoints, form, buffer, in + done.read, length - done.read);
        const auto count = static_cast<std::size_t>(part.end - buffer);
        std::copy_n(buffer, count, out + done.written);
        done.read += part.read;
        done.written += count;
        if (part.stopped) {
            return done;
        }
    }
}

template <class Form, class Steps>
inline Progress convertMarked(tables::ByteSet set, const unsigned char *in, std::size_t length,
                              typename Form::Unit *out) {
    const std::size_t ascii = Steps::putAscii(in, length, out);
    return ascii == length ? Progress{ascii, ascii} : convertOthers<Form, Steps>(set, in, length, out, ascii);
}

// Of a text, as many bytes as are sure to fit.
constexpr std::size_t fittingBytes(std::size_t length, std::size_t room) {
    return std::min(length, room / mostBytes);
}

ZELK_STAGE Progress markedToUtf8(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                                 std::size_t room) {
    return convertMarked<Utf8Form, StepsByWords>(set, text, fittingBytes(length, room), out);
}

ZELK_STAGE Progress markedToUcs2(tables::ByteSet set, const unsigned char *text, std::size_t length,
                                 unsigned short *out, std::size_t room) {
    return convertMarked<Ucs2Form, StepsByWords>(set, text, std::min(length, room), out);
}

} // namespace zelk::kernels::ZELK_KERNEL_SET::plain
