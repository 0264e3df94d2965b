// What the module has beside the functions of the two headers: its start, an allocator, and batches, for a call from
// JavaScript costs more than a short text.
//
// The layouts that the package reads and writes are checked here.
#include "zelk_insight.h"

#include <cstddef>
#include <cstdint>

#include <wasm_simd128.h>

static_assert(sizeof(void *) == 4);
static_assert(sizeof(zelkInsightSettings) == 20 && sizeof(zelkInsightEvidence) == 52);
static_assert(sizeof(zelkInsightFinding) == 28 && sizeof(zelkInsightStep) == 40 && sizeof(zelkInsightGuess) == 16);
static_assert(sizeof(zelkInsightEncodeSettings) == 12 && sizeof(zelkInsightEncoded) == 32);
static_assert(sizeof(zelkInsightRepaired) == 12 && sizeof(zelkInsightPiece) == 8);

extern "C" {

void __wasm_call_ctors();

// Called once, before all else.
[[clang::export_name("_initialize")]] void _initialize() {
    __wasm_call_ctors();
}

extern unsigned char __heap_base;
}

// ---- The allocator: sizes in four steps for each power of two, a list of free blocks for each size.

namespace {

struct alignas(16) Block {
    std::uint32_t number; // of its size
    Block *next;          // while it is free
};

constexpr std::uint32_t pageBytes = 65536;
constexpr std::uint32_t smallest = 16;
constexpr std::uint32_t largest = 0x70000000;

constexpr std::uint32_t sizeOf(std::uint32_t number) {
    return (smallest << number / 4) / 4 * (4 + number % 4);
}

constexpr std::uint32_t numberOf(std::uint32_t size) {
    std::uint32_t number = 0;
    while (sizeOf(number) < size) {
        ++number;
    }
    return number;
}

Block *freeBlocks[numberOf(largest) + 1];
std::uintptr_t unused; // where no block has been yet; 0 before the first one

// The end of the memory that there is, as a number that holds it.
std::uint64_t memoryEnd() {
    return std::uint64_t{__builtin_wasm_memory_size(0)} * pageBytes;
}

Block *newBlock(std::uint32_t bytes) {
    if (unused == 0) {
        unused =
            (reinterpret_cast<std::uintptr_t>(&__heap_base) + alignof(Block) - 1) / alignof(Block) * alignof(Block);
    }
    const std::uint64_t end = std::uint64_t{unused} + sizeof(Block) + bytes;
    if (end > memoryEnd()) {
        const std::uint64_t missing = (end - memoryEnd() + pageBytes - 1) / pageBytes;
        if (end > UINT32_MAX - pageBytes ||
            __builtin_wasm_memory_grow(0, static_cast<std::size_t>(missing)) == static_cast<std::size_t>(-1)) {
            return nullptr;
        }
    }
    auto *block = reinterpret_cast<Block *>(unused);
    unused = static_cast<std::uintptr_t>(end);
    return block;
}

} // namespace

extern "C" {

[[clang::export_name("malloc")]] void *malloc(std::size_t size) {
    if (size > largest) {
        return nullptr;
    }
    const std::uint32_t number = numberOf(size);
    Block *block = freeBlocks[number];
    if (block != nullptr) {
        freeBlocks[number] = block->next;
        return block + 1;
    }
    block = newBlock(sizeOf(number));
    if (block == nullptr) {
        return nullptr;
    }
    block->number = number;
    return block + 1;
}

[[clang::export_name("free")]] void free(void *memory) {
    if (memory != nullptr) {
        Block *block = static_cast<Block *>(memory) - 1;
        block->next = freeBlocks[block->number];
        freeBlocks[block->number] = block;
    }
}

// The standard library's operator new refers to it. Nothing in the module calls that: the linker leaves both out.
void *aligned_alloc(std::size_t /*alignment*/, std::size_t /*size*/) {
    return nullptr;
}
}

// ---- Batches

namespace {

// Blocks are read and written whole: the caller's memory goes on for so many bytes after the strings and the texts.
constexpr unsigned int block = 16;

// The most that bytes of a string without compressed text give, of UTF-8 and of UTF-16.
constexpr unsigned int mostOfByte = 3;

// Whether strings without a selector have one byte for a character, and nothing is guessed.
bool readsByTables(const zelkInsightSettings &settings) {
    return settings.options == 0 && static_cast<unsigned int>(settings.defaultCode) <= DvbCodeNone;
}

// The bytes of the block that are no graphic ASCII, a bit each.
unsigned int othersOf(v128_t bytes) {
    return wasm_i8x16_bitmask(
        wasm_i8x16_gt(wasm_i8x16_sub(bytes, wasm_i8x16_splat(0x20 - 128)), wasm_i8x16_splat(0x7E - 0x20 - 128)));
}

void putBlock(char *out, v128_t bytes) {
    wasm_v128_store(out, bytes);
}

void putBlock(unsigned short *out, v128_t bytes) {
    wasm_v128_store(out, wasm_u16x8_extend_low_u8x16(bytes));
    wasm_v128_store(out + block / 2, wasm_u16x8_extend_high_u8x16(bytes));
}

// Copies a string of graphic ASCII; false for any other.
template <class Unit>
bool copyAscii(Unit *out, const char *in, unsigned int length) {
    unsigned int at = 0;
    for (;;) {
        const v128_t bytes = wasm_v128_load(in + at);
        putBlock(out + at, bytes);
        const auto graphic = static_cast<unsigned int>(__builtin_ctz(othersOf(bytes) | 1U << block));
        if (length - at <= graphic) {
            return true;
        }
        if (graphic < block) {
            return false;
        }
        at += block;
    }
}

// Valid UTF-8 as UTF-16.
unsigned int toUtf16(unsigned short *out, const char *text, unsigned int length) {
    const auto *at = reinterpret_cast<const unsigned char *>(text);
    const unsigned char *const end = at + length;
    unsigned short *to = out;
    while (at < end) {
        const unsigned int first = *at;
        if (first < 0x80) {
            *to++ = static_cast<unsigned short>(first);
            at += 1;
        } else if (first < 0xE0) {
            *to++ = static_cast<unsigned short>((first & 0x1FU) << 6U | (at[1] & 0x3FU));
            at += 2;
        } else if (first < 0xF0) {
            *to++ = static_cast<unsigned short>((first & 0x0FU) << 12U | (at[1] & 0x3FU) << 6U | (at[2] & 0x3FU));
            at += 3;
        } else {
            const unsigned int above =
                ((first & 0x07U) << 18U | (at[1] & 0x3FU) << 12U | (at[2] & 0x3FU) << 6U | (at[3] & 0x3FU)) - 0x10000;
            *to++ = static_cast<unsigned short>(0xD800U | above >> 10U);
            *to++ = static_cast<unsigned short>(0xDC00U | (above & 0x3FFU));
            at += 4;
        }
    }
    return static_cast<unsigned int>(to - out);
}

unsigned int decodeTable(const zelkInsightSettings &settings, char *out, int outSize, const char *in, int length) {
    return zelk_dvb8ToUtf8(settings.charSet, out, outSize, in, length, settings.defaultCode, settings.defaultExtra,
                           settings.flags);
}

unsigned int decodeTable(const zelkInsightSettings &settings, unsigned short *out, int outSize, const char *in,
                         int length) {
    return zelk_dvb8ToUnicode(settings.charSet, out, outSize, in, length, settings.defaultCode, settings.defaultExtra,
                              settings.flags);
}

// By the rule of zelkInsightDecode(). The UTF-16 of a text is never longer than its UTF-8, which lies in the other half
// of the room until then.
unsigned int decodeAny(const zelkInsightSettings &settings, char *out, unsigned int size, const char *in, int length) {
    return zelkInsightDecode(&settings, out, static_cast<int>(size), in, length, nullptr);
}

unsigned int decodeAny(const zelkInsightSettings &settings, unsigned short *out, unsigned int size, const char *in,
                       int length) {
    char *const scratch = reinterpret_cast<char *>(out + size);
    return toUtf16(out, scratch, zelkInsightDecode(&settings, scratch, static_cast<int>(size), in, length, nullptr));
}

// Texts of single-byte tables, for which both libraries give the same.
bool isTableText(const zelkInsightSettings &settings, const char *in, unsigned int length) {
    const auto first = static_cast<unsigned char>(*in);
    return readsByTables(settings) && (first >= 0x20 || (first != 0 && first <= 0x0B && length > 1));
}

// ---- Characters that do not hang on their neighbours, as the library decodes them alone. Large batches to UTF-16
// learn them when they first come: a block is widened, and what is no ASCII put in its place.

constexpr unsigned int longestSelector = 3;
constexpr unsigned int selectorTables = 0x0C; // no selector, and those of one byte
constexpr unsigned int firstMark = 0xC0;
constexpr unsigned int marks = 16;
constexpr unsigned int leastToLearn = 256; // strings: to learn a character takes as long as many of them
constexpr unsigned short unlearnt = 0;
constexpr unsigned short notAlone = 1; // what is left to the library

unsigned short learntBytes[selectorTables + 0x10][0x100]; // the last tables are those of selectors of three bytes
unsigned short learntPairs[marks][0x100];                 // a mark and its letter, where there is no selector
zelkInsightSettings learntSettings;

// A string's selector and the number of its table.
struct Selector {
    const unsigned char *in;
    unsigned int bytes;
    unsigned int table;
};

// Whether it is one that is learnt, with text after it.
bool readSelector(const unsigned char *in, unsigned int length, Selector &selector) {
    selector = {in, 0, 0};
    if (in[0] < 0x20) {
        selector =
            in[0] == 0x10 ? Selector{in, longestSelector, selectorTables + in[2] % 0x10U} : Selector{in, 1, in[0]};
        if (selector.bytes == 1 ? in[0] == 0 || in[0] >= selectorTables : in[1] != 0 || in[2] >= 0x10) {
            return false;
        }
    }
    return length > selector.bytes;
}

// What the characters decode to, where nothing that follows changes it.
unsigned short learn(const zelkInsightSettings &settings, const Selector &selector, const unsigned char *in,
                     unsigned int length) {
    constexpr unsigned int room = 16;
    char string[longestSelector + 4];
    unsigned short next[room];
    unsigned short out[room];
    __builtin_memcpy(string, selector.in, selector.bytes);
    char *const text = string + selector.bytes;
    const auto decode = [&](unsigned short *to, unsigned int bytes) {
        text[bytes] = 0;
        return decodeTable(settings, to, room, string, static_cast<int>(selector.bytes + bytes));
    };
    __builtin_memcpy(text, in, length);
    if (decode(out, length) != 1) {
        return notAlone;
    }
    const unsigned short alone = out[0];
    for (unsigned int byte = 1; byte < 0x100; ++byte) {
        text[0] = static_cast<char>(byte);
        const unsigned int nextLength = decode(next, 1);
        __builtin_memcpy(text, in, length);
        text[length] = static_cast<char>(byte);
        if (decode(out, length + 1) != 1 + nextLength || out[0] != alone ||
            __builtin_memcmp(out + 1, next, 2 * nextLength) != 0) {
            return notAlone;
        }
    }
    return alone;
}

// Decodes strings as one, as far as all have learnt characters: those without a selector, or one that has its own.
// Returns how many. Places are counted as `ends` does, and the first string begins at `begin`.
unsigned int putLearnt(const zelkInsightSettings &settings, const char *strings, unsigned int begin,
                       const unsigned int *ends, unsigned int count, unsigned short *out, unsigned int written,
                       unsigned int *textEnds) {
    const auto *const first = reinterpret_cast<const unsigned char *>(strings);
    Selector selector{first, 0, 0};
    if (ends[0] != begin && first[0] < 0x20) {
        if (!readSelector(first, ends[0] - begin, selector)) {
            return 0;
        }
        count = 1;
    }
    const unsigned int end = ends[count - 1];
    unsigned int done = 0;
    unsigned int place = begin + selector.bytes;
    unsigned int shift = written - place; // from a place to that of its character
    const auto endTexts = [&](unsigned int before) {
        for (; done < count && ends[done] <= before; ++done) {
            textEnds[done] = ends[done] + shift;
        }
    };
    while (place < end) {
        const unsigned char *const in = first + (place - begin);
        unsigned short *const to = out + (place + shift);
        const v128_t bytes = wasm_v128_load(in);
        putBlock(to, bytes);
        unsigned int next = place + block;
        for (unsigned int others = othersOf(bytes); others != 0; others &= others - 1) {
            const auto at = static_cast<unsigned int>(__builtin_ctz(others));
            const unsigned int here = place + at;
            if (here >= end) {
                break;
            }
            unsigned short &character = learntBytes[selector.table][in[at]];
            if (character == unlearnt) {
                character = learn(settings, selector, in + at, 1);
            }
            to[at] = character;
            if (character != notAlone) { // as no selector is
                continue;
            }
            endTexts(here);
            if (in[at] - firstMark >= marks || selector.bytes != 0 || here + 1 == ends[done]) {
                return done;
            }
            unsigned short &pair = learntPairs[in[at] - firstMark][in[at + 1]];
            if (pair == unlearnt) {
                pair = learn(settings, selector, in + at, 2);
            }
            if (pair == notAlone) {
                return done;
            }
            to[at] = pair;
            next = here + 2; // the letter's place is the next block's first
            --shift;
            break;
        }
        place = next;
    }
    endTexts(end);
    return done;
}

template <class Unit>
unsigned int decodeBatch(const zelkInsightSettings &settings, char *in, unsigned int begin, const unsigned int *ends,
                         unsigned int count, Unit *out, unsigned int size, unsigned int *textEnds) {
    const bool byTables = readsByTables(settings);
    const bool learns = byTables && sizeof(Unit) == 2 && count >= leastToLearn;
    if (learns && __builtin_memcmp(&settings, &learntSettings, sizeof settings) != 0) {
        __builtin_memset(learntBytes, 0, sizeof learntBytes);
        __builtin_memset(learntPairs, 0, sizeof learntPairs);
        learntSettings = settings;
    }
    unsigned int written = 0;
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned int most = (size - written) / mostOfByte;
        if constexpr (sizeof(Unit) == 2) {
            const unsigned int done =
                learns && ends[count - 1] - begin < most
                    ? putLearnt(settings, in, begin, ends + i, count - i, out, written, textEnds + i)
                    : 0;
            if (done != 0) {
                i += done - 1;
                in += ends[i] - begin;
                begin = ends[i];
                written = textEnds[i];
                continue;
            }
        }
        const char *const string = in;
        const unsigned int length = ends[i] - begin;
        const unsigned int left = size - written;
        in += length;
        begin = ends[i];
        if (length >= most) {
            return i;
        }
        Unit *const text = out + written;
        if (length == 0 || (byTables && sizeof(Unit) == 1 && copyAscii(text, string, length))) {
            written += length;
        } else {
            // A mark in the last place looks at the byte after it, which is no part of this string.
            char &after = *in;
            const char kept = after;
            after = 0;
            const auto bytes = static_cast<int>(length);
            if (isTableText(settings, string, length)) {
                written += decodeTable(settings, text, static_cast<int>(left), string, bytes);
            } else {
                const auto needed = static_cast<unsigned int>(zelkInsightDecodeSize(&settings, string, bytes));
                if (needed > left) {
                    after = kept;
                    return i;
                }
                written += decodeAny(settings, text, needed, string, bytes);
            }
            after = kept;
        }
        textEnds[i] = written;
    }
    return count;
}

} // namespace

extern "C" {

// Decodes strings that lie one after the other, each up to where `ends` says (the first from `begin`), as
// zelkInsightDecode() does. In their memory there are 16 bytes after the last
// string. What may not fit stays for another call.
//
// out, size  room for the texts, of `size` and 16 bytes
// textEnds   where each text ends in `out`
// Returns the number of strings that were decoded.
[[clang::export_name("zelkBatchToUtf8")]] unsigned int zelkBatchToUtf8(const zelkInsightSettings *settings, char *in,
                                                                       unsigned int begin, const unsigned int *ends,
                                                                       unsigned int count, char *out, unsigned int size,
                                                                       unsigned int *textEnds) {
    return decodeBatch(*settings, in, begin, ends, count, out, size, textEnds);
}

// The same in UTF-16, counted in its units. The room has three times `size` and 16 bytes: UTF-8 comes between.
[[clang::export_name("zelkBatchToUtf16")]] unsigned int zelkBatchToUtf16(const zelkInsightSettings *settings, char *in,
                                                                         unsigned int begin, const unsigned int *ends,
                                                                         unsigned int count, unsigned short *out,
                                                                         unsigned int size, unsigned int *textEnds) {
    return decodeBatch(*settings, in, begin, ends, count, out, size, textEnds);
}
}
