// The kernels: fast ways through text, one table of functions for each instruction set.
//
// What holds for all of them:
//
// - A kernel takes a text from its beginning and returns how far it came. It stops in front of what is not for it; its
//   family goes on by the exact rule and may come back. For what a kernel consumes it gives what the rule gives.
// - Of the output nothing changes but what the kernel returns as written, whatever `room` is stated. `room` is what may
//   be written; the terminator, which the family writes, is not counted.
// - A text ends at its count or in front of a zero before it. Nothing after the count is read. After a zero that comes
//   first nothing is read but the rest of the aligned block that holds it: a block of the set, at most 64 bytes on
//   x86, 16 bytes elsewhere. So a count may be larger than the memory of a text that a zero ends.
// - A terminated text is read up to its terminator, and the rest of that aligned block.
// - Kernels call nothing outside of src/kernels/ and src/tables/, and have no state.
#pragma once

#include "kernels/lesser_differences.h"
#include "tables/byte_sets.h"

#include <climits>
#include <cstddef>
#include <cstdint>

namespace zelk::kernels {

// Input units consumed, and output units written for them.
struct Progress {
    std::size_t read = 0;
    std::size_t written = 0;
};

// Places in two texts side by side.
struct TextPlaces {
    const unsigned char *left;
    const unsigned char *right;
};

// The answer of a kernel that leaves a whole text to the rule.
inline constexpr int notTaken = INT_MIN;

struct Kernels {
    // Text of a single-byte set, up to a zero. To UTF-8 as far as the text is sure to fit: kernels differ in how far.
    Progress (*bytesToUtf8)(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                            std::size_t room);
    Progress (*bytesToUcs2)(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                            std::size_t room);

    // DVB text of a table without marks: the same up to the first control (0x00 to 0x1F, 0x80 to 0x9F). Of DVB text,
    // here and below, all of the count may be read: a zero is a control like others.
    Progress (*cleanToUtf8)(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                            std::size_t room);
    Progress (*cleanToUcs2)(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                            std::size_t room);

    // DVB text whose marks are those of ISO/IEC 6937: the same, also up to a mark that does not compose, a mark in the
    // last place and a byte that has no character.
    Progress (*markedToUtf8)(tables::ByteSet set, const unsigned char *text, std::size_t length, char *out,
                             std::size_t room);
    Progress (*markedToUcs2)(tables::ByteSet set, const unsigned char *text, std::size_t length, unsigned short *out,
                             std::size_t room);

    // UCS-2 as pairs of bytes at any address, to UTF-8, up to a zero unit. `count` is in units.
    Progress (*lowFirstToUtf8)(const unsigned char *text, std::size_t count, char *out, std::size_t room);
    Progress (*highFirstToUtf8)(const unsigned char *text, std::size_t count, char *out, std::size_t room);

    // DVB text: the same up to a control too, U+0000 to U+001F, U+0080 to U+009F, and their images U+E080 to U+E09F.
    Progress (*cleanHighFirstToUtf8)(const unsigned char *text, std::size_t count, char *out, std::size_t room);
    Progress (*cleanHighFirstToNative)(const unsigned char *text, std::size_t count, unsigned short *out,
                                       std::size_t room);

    // The units before the end of a text (read) and the bytes of UTF-8 that they need (written).
    Progress (*measureLowFirst)(const unsigned char *text, std::size_t count);
    Progress (*measureHighFirst)(const unsigned char *text, std::size_t count);

    // UTF-8 that begins with a character, to UCS-2: up to a zero, to a sequence that is rejected, to one that the count
    // cuts off; the clean form up to a control too, as above.
    Progress (*utf8ToUcs2)(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room);
    Progress (*cleanUtf8ToUcs2)(const unsigned char *text, std::size_t length, unsigned short *out, std::size_t room);

    // The bytes at the front that such a conversion takes, U+FFC0 to U+FFFF left out: U+FFFD is the answer for what is
    // rejected. The clean form copies them, to a place for as many.
    std::size_t (*wellFormedUtf8)(const unsigned char *text, std::size_t length);
    std::size_t (*copyCleanUtf8)(const unsigned char *text, std::size_t length, char *out);

    // The bytes before the end of a text (read) and the steps of utf8Length() through them (written). All of it.
    Progress (*measureUtf8)(const unsigned char *text, std::size_t length);

    // Of two terminated texts: the places after the bytes at the front that both have, up to the end of the first that
    // ends.
    TextPlaces (*passShared)(const unsigned char *a, const unsigned char *b);

    // The number of bytes at the front that are equal, or differing ASCII characters of one main key that do not
    // expand; the lesser differences among them are noted.
    std::size_t (*alikeBytes)(const unsigned char *a, const unsigned char *b, LesserDifferences &differences);

    // Wildcard patterns, for the variants that pass over no bytes: the answer of the rule, or notTaken. In any case,
    // bytes are equal where the C library's table of 256 small letters has the same for both.
    int (*matchWildcards)(const char *text, const char *pattern);
    int (*matchWildcardsInAnyCase)(const char *text, const char *pattern, const int *smallLetters);

    // XML, up to a zero. Escaping as far as characters fit. Unescaping also up to a reference that is no whole
    // predefined entity, and as far as the text is sure to fit: kernels differ in how far. There `out` may be `text`.
    Progress (*escapeXml)(const char *text, std::size_t length, char *out, std::size_t room);
    Progress (*unescapeXml)(const char *text, std::size_t length, char *out, std::size_t room);

    // How many bytes escaping makes of the whole text.
    std::uint64_t (*escapedXmlLength)(const char *text, std::size_t length);
};

// The tables; a build has those of its machine, or the one that ZELK_KERNELS names.
extern const Kernels portableKernels;
extern const Kernels sse41Kernels;
extern const Kernels avx2Kernels;
extern const Kernels avx512Kernels;
extern const Kernels neonKernels;
extern const Kernels wasmKernels;

// The table in use.
#if defined(ZELK_KERNELS_ONLY)
inline const Kernels &kernels() {
    return ZELK_KERNELS_ONLY;
}
#else
// In form the address of a function, in truth that of a table: what the resolver of an indirect function returned. The
// dynamic linker stores it in the global offset table while it loads the library, and then write-protects it, so there
// is no state, no first call and no start-up code. Read by name, for a compiler that looks across files would take the
// function's own address.
inline const Kernels &kernels() {
    const Kernels *chosen = nullptr;
    __asm__("movq zelkKernels@GOTPCREL(%%rip), %0" : "=r"(chosen));
    return *chosen;
}
#endif

} // namespace zelk::kernels
