/*
 * libmurn-zelk: character sets and text for digital-television receivers. The flat interface.
 *
 * A receiver gets text as it was broadcast or stored: DVB service information, compressed programme guides, ISO 8859
 * and Windows code pages, teletext, UCS-2. This library turns it into UCS-2 or UTF-8 that can be shown, compared,
 * sorted, matched and stored. This header is C11 and C++17, needs no other header, and holds every function by family;
 * <zelk.hpp> offers the same converters as C++ classes.
 *
 * What holds for every function unless its comment says otherwise:
 *
 * - Text. 8-bit text is `char`, UTF-8 and compressed bytes are `unsigned char` in their own families, and a UCS-2 unit
 *   is an `unsigned short` in native byte order. UTF-8 here has one- to three-byte forms (U+0000 to U+FFFF); surrogates
 *   are ordinary units. Text ends at a zero (byte or unit).
 * - Counts. An input count is in the input's own units; a negative one means "up to the terminating zero". With a count
 *   of 0 or more nothing after the count is read. Of a text that a zero ends nothing after the zero is read, except
 *   inside the aligned block of memory that holds it (16 bytes on Arm, at most 64 elsewhere).
 * - Sizes. An output size is in output units and includes the terminator. The output is always terminated, and the
 *   terminator is written even where the size is 0 or 1: give every output at least one unit. Results never count the
 *   terminator. A text that does not fit is cut without notice; a UTF-8 sequence that does not fit is skipped
 *   whole, and a later, shorter character may still be written. Most families have a function that gives the size
 *   needed; elsewhere the comment does.
 *   Of an output only the text and its terminator change, whatever size is stated: what follows the terminator keeps
 *   its value, inside the stated size too.
 * - Overlap. Input and output are different memory, unless the comment says that they may be the same.
 * - Null. A null input text gives an empty output and 0, or a null packet. A null output is not accepted.
 * - Errors. There are none: what cannot be converted becomes U+FFFD (or nothing, where a comment says so), and no byte
 *   sequence is refused.
 * - Packets. A function that returns a CharPacket or WideCharPacket returns one block of malloc; release it with
 *   free(). Null means that the input was null or that there was no memory.
 * - Threads. No function keeps state between calls: all may run on any number of threads at once. Records that a caller
 *   passes (stream states, flags) belong to one thread at a time.
 */
#ifndef ZELK_H
#define ZELK_H

/** The version of this header; the shared object's name carries the major number. */
#define ZELK_VERSION_MAJOR 1
#define ZELK_VERSION_MINOR 0
#define ZELK_VERSION_PATCH 0

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
/* C has 32-bit enumerations on every receiver; C++ needs to know it, since values without a name may arrive. */
#define ZELK_INT_ENUM : int
extern "C" {
#else
#define ZELK_INT_ENUM
#endif

/* ================================================== Records ================================================== */

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wc99-extensions"
#elif defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#endif

/**
 * A text of 8-bit characters in one block of malloc. Release it with free().
 *
 * The fields hold 16 bits: a size of 65535 is stored as a capacity of 0 (65536 modulo 65536). `length` alone says where
 * the text ends; it may be smaller than `capacity` - 1.
 */
typedef struct CharPacket {
    unsigned short capacity; /**< Character slots in `chars`, the terminator included, modulo 65536. */
    unsigned short length;   /**< Characters before the terminator, modulo 65536. */
    char chars[];            /**< The text, then a zero byte. */
} CharPacket;

/** A text of UCS-2 units; otherwise as CharPacket. */
typedef struct WideCharPacket {
    unsigned short capacity; /**< Unit slots in `chars`, the terminator included, modulo 65536. */
    unsigned short length;   /**< Units before the terminator, modulo 65536. */
    unsigned short chars[];  /**< The text, then a zero unit. */
} WideCharPacket;

#if defined(__clang__)
#pragma clang diagnostic pop
#elif defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/** The bytes that zelkUtf8Encode() has still to return. Set it up with zelkInitUtf8Encoder(). */
typedef struct Utf8EncoderState {
    int pendingCount;               /**< 0, 1 or 2 bytes are pending. */
    unsigned short pendingBytes[2]; /**< Returned from slot `pendingCount` - 1 downward. */
} Utf8EncoderState;

/** The sequence that zelkUtf8Decode() is inside of. Set it up with zelkInitUtf8Decoder(). */
typedef struct Utf8DecoderState {
    unsigned int remaining; /**< Continuation bytes still expected: 0, 1 or 2. */
    int tooSmall;           /**< Set when the sequence is longer than its character needs. */
    unsigned short value;   /**< The bits gathered so far. */
} Utf8DecoderState;

/** Where zelkHuffmanDecode() stands. Set it up with zelkInitHuffmanDecoder(); one record serves one text. */
typedef struct HuffmanStreamState {
    int mode;                   /**< 0 start, 1 inside a code, 2 between codes, 3 inside a literal, -1 unusable. */
    unsigned short value;       /**< By mode: the character before, the node to go on at, or the byte saved; in mode 3
                                     0xFFFF when there is none. */
    unsigned short treeOffset;  /**< Where in the table the current tree begins. */
    int bitIndex;               /**< Next bit of the input byte, 7 is the most significant; -1 when it is used up. */
    const unsigned char *table; /**< HuffmanDecodeTable_1 or HuffmanDecodeTable_2. */
} HuffmanStreamState;

/**
 * The receiver's regional setting: what a DVB string is read in whose selector names no table of its own (10 00 00, 0D
 * and all that give DvbCodeNone).
 *
 * A string without a selector is read in the DVB default table, whatever the region, and where a default code is given
 * the region has no effect. (Only GB 2312 differs in both, by zelk::DvbConverter.) Values without a name are accepted
 * everywhere and read every single-byte text after a selector as ISO 8859-9.
 */
typedef enum dvbCharSet_t ZELK_INT_ENUM {
    DvbCharSetIso8859_9 = 0,    /**< ISO 8859-9 */
    DvbCharSetStandard = 1,     /**< the DVB default table, ETSI EN 300 468 Figure A.1 */
    DvbCharSetIso8859_2 = 2,    /**< ISO 8859-2; a selector for ISO 8859-5 is read as the DVB default table */
    DvbCharSetIso8859_7 = 3,    /**< ISO 8859-7 */
    DvbCharSetIso8859_9Alt = 4, /**< as 0 */
    DvbCharSetIso8859_15 = 5,   /**< ISO 8859-15, with 0xC1 to 0xCF as non-spacing marks where they compose */
    DvbCharSetGb2312 = 6        /**< GB 2312, by zelk::DvbConverter; else all single-byte tables are the default one */
} dvbCharSet_t;

/** What a DVB string is coded in, as its selector bytes say (ETSI EN 300 468 Annex A). */
typedef enum DvbCode_t ZELK_INT_ENUM {
    DvbCodeTable00 = 0, /**< the DVB default table */
    DvbCodeIso8859_1 = 1,
    DvbCodeIso8859_2 = 2,
    DvbCodeIso8859_3 = 3,
    DvbCodeIso8859_4 = 4,
    DvbCodeIso8859_5 = 5,
    DvbCodeIso8859_6 = 6,
    DvbCodeIso8859_7 = 7,
    DvbCodeIso8859_8 = 8,
    DvbCodeIso8859_9 = 9,
    DvbCodeIso8859_10 = 10,
    DvbCodeIso8859_11 = 11,
    DvbCodeIso8859_12 = 12, /**< no such part: ASCII only */
    DvbCodeIso8859_13 = 13,
    DvbCodeIso8859_14 = 14,
    DvbCodeIso8859_15 = 15,
    DvbCodeIso8859_16 = 16,
    DvbCodeReserved17 = 17,   /**< selector 0x0D; decoded like 0 */
    DvbCodeNone = 18,         /**< as a default: none given; as a result: a selector without support, decoded like 0 */
    DvbCodeUtf8Prepared = 19, /**< UTF-8 after the library's private selector 0x1D; selector 0x0F gives it too */
    DvbCodeUcs2 = 20,         /**< two bytes a character, high byte first (selectors 0x11 and 0x14) */
    DvbCodeUtf8 = 21,         /**< UTF-8 (selectors 0x15 and 0x16) */
    DvbCodeCompressed = 22    /**< Huffman-compressed (selector 0x1F with encoding type 1, 2, 5 or 6) */
} DvbCode_t;

/** The bits of a character class; a class is the OR of any of them. The bit 0x1000 is never set. */
enum {
    CharClassDigit = 0x0001,       /**< digits, also superscript and subscript ones */
    CharClassLetter = 0x0002,      /**< letters */
    CharClassPunctuation = 0x0004, /**< punctuation */
    CharClassSpace = 0x0008,       /**< spaces */
    CharClassOpening = 0x0010,     /**< opening brackets and quotes */
    CharClassClosing = 0x0020,     /**< closing brackets and quotes */
    CharClassBreak = 0x0040,       /**< a line may be broken after it */
    CharClassStop = 0x0080,        /**< ends a clause or a sentence */
    CharClassSymbol = 0x0100,      /**< symbols and currency signs */
    CharClassMark = 0x0200,        /**< combining marks */
    CharClassModifier = 0x0400,    /**< spacing accents and modifier symbols */
    CharClassFormat = 0x0800,      /**< invisible format characters */
    CharClassSubscript = 0x2000,   /**< subscript forms */
    CharClassSuperscript = 0x4000, /**< superscript forms */
    CharClassControl = 0x8000      /**< C0 and C1 controls */
};

/** Maps a character to its replacement: itself to keep it, 0 to drop it. 8-bit text arrives as 0 to 255. */
typedef unsigned short (*zelkCharFilter)(unsigned short character);

/** Gives the next input unit (its low 16 bits count), or -1 at the end of the input. */
typedef int (*zelkUnitGetter)(void *context);

/** Takes one output unit; a negative result stops the run, and that unit does not count. */
typedef int (*zelkUnitPutter)(unsigned int unit, void *context);

/** As an unsigned count: all of the text, up to its terminator. */
#define ZELK_NO_LIMIT 0xFFFFFFFFU

/** A flag of the DVB functions: keep the codes for emphasis on and off, U+0086 and U+0087. */
#define ZELK_KEEP_EMPHASIS 0x1U

/* ========================================= Packets and bounded copies ========================================= */

/*
 * Example:
 *
 *     CharPacket *name = zelkConsCharPacket("BBC", " ", "One", (char *)NULL);
 *     assert(name->length == 7 && strcmp(name->chars, "BBC One") == 0);
 *     char start[4];
 *     assert(zelk_strlcpy(start, sizeof start, name->chars, ZELK_NO_LIMIT) == 3 && strcmp(start, "BBC") == 0);
 *     free(name);
 */

/**
 * Makes a packet.
 *
 * - init null: an empty text with room for `size` characters (capacity `size` + 1).
 * - init given, size not 0: as much of `init` as fits in `size` characters. With a size of 65535 the capacity wraps
 *   to 0, so nothing is copied and `chars` stays unwritten.
 * - init given, size 0: a packet sized to `init`. A text of 65535 characters or more is dropped, not cut: the packet is
 *   empty with capacity 1.
 *
 * @param size room in characters, the terminator not counted
 * @param init zero-terminated text, or null
 * @return the packet (a block of `size` + 6 bytes; of its length + 6 where it is sized to `init`), or null when there
 * is no memory
 */
CharPacket *zelkNewCharPacket(unsigned short size, const char *init);

/** As zelkNewCharPacket(), on 16-bit units; the block holds (`size` or the length, + 3) * 2 bytes. */
WideCharPacket *zelkNewWideCharPacket(unsigned short size, const unsigned short *init);

/**
 * Joins zero-terminated strings in order. The list ends with a null pointer.
 *
 * @return a packet of their joined length; null when `first` is null, when the joined length is 65536 or more, or when
 *         there is no memory
 */
CharPacket *zelkConsCharPacket(const char *first, ...);

/** As zelkConsCharPacket(), on 16-bit units. */
WideCharPacket *zelkConsWideCharPacket(const unsigned short *first, ...);

/**
 * Joins the texts of packets in order: exactly `length` characters of each, zeros among them included. The list ends
 * with a null pointer; the packets stay the caller's and are not changed.
 *
 * @return a packet of their joined length; null when `first` is null, when the joined length is 65536 or more, or when
 *         there is no memory
 */
CharPacket *zelkCatCharPackets(const CharPacket *first, ...);

/** As zelkCatCharPackets(), on 16-bit units; but a null `first` gives a new empty packet of capacity 1. */
WideCharPacket *zelkCatWideCharPackets(const WideCharPacket *first, ...);

/**
 * Copies at most `max` characters of a string, and never more than `size` - 1, and terminates the copy.
 *
 * @param dst  receives the copy; untouched when `size` is 0 or less; may be `src`
 * @param size slots in `dst`, the terminator included
 * @param src  zero-terminated text, or null for an empty one
 * @param max  characters to copy at most: 0 copies nothing, ZELK_NO_LIMIT sets none
 * @return the characters copied
 */
unsigned int zelk_strlcpy(char *dst, int size, const char *src, unsigned int max);

/** As zelk_strlcpy(), on 16-bit units. */
unsigned int zelk_wstrlcpy(unsigned short *dst, int size, const unsigned short *src, unsigned int max);

/**
 * As zelk_wstrlcpy(), from units stored as byte pairs, high byte first, at any alignment (as they lie inside a
 * broadcast string). The two bytes of each unit are exchanged: `dst` holds the low byte first on every machine. A unit
 * is zero when both of its bytes are.
 *
 * @param dst  receives `size` * 2 bytes at most, terminated by two zero bytes; may be `src`
 * @param size 16-bit units in `dst`, the terminator included
 * @param src  byte pairs ended by a zero pair, or null
 * @param max  units to copy at most
 * @return the units copied
 */
unsigned int zelk_nawstrlcpy(unsigned char *dst, int size, const unsigned char *src, unsigned int max);

/** Counts the units before the zero unit; 0 for null. */
unsigned int zelk_wcslen(const unsigned short *text);

/** Counts the byte pairs before the first pair of zero bytes, at any alignment; 0 for null. */
unsigned int zelk_nawcslen(const unsigned char *text);

/**
 * Widens 8-bit text to 16-bit units, each byte taken as its code point (as ISO 8859-1).
 *
 * @param dst  receives the units and a zero unit; the zero unit is written also when `size` is 0 or less
 * @param src  zero-terminated text, or null for an empty one
 * @param size units in `dst`, the terminator included
 * @return the units written before the terminator
 */
unsigned int zelk_expand(unsigned short *dst, const char *src, int size);

/* ================================================ Quoted strings ================================================ */

/*
 * Example:
 *
 *     char inside[16];
 *     assert(zelkCopyQuoted(inside, sizeof inside, "play 'News' now", -1, '\'', '\'') == 4);
 *     assert(strcmp(inside, "News") == 0);
 */

/*
 * A quoted section begins after an opening quote character and ends before the next closing one, or with the text. The
 * two may be the same character. All sections of a text count, joined; the quote characters around them do not.
 * Sections do not nest: an opening character inside a section is a character like others ("[a[b]c]" gives "a[b"). There
 * is no escape character. UTF-8 text has functions of its own, see zelkUtf8CopyQuoted().
 */

/**
 * Counts the characters inside quotes.
 *
 * @param text    zero-terminated, or null for 0
 * @param examine how many characters of the text to look at, quote characters included; ZELK_NO_LIMIT: all of them
 */
unsigned int zelkGetQuotedLength(const char *text, unsigned int examine, char open, char close);

/**
 * Copies the characters inside quotes.
 *
 * @param dst     receives the characters and a zero; with a size of 1 or less the zero alone; may be `src`
 * @param size    slots in `dst`, the terminator included
 * @param src     zero-terminated, or null for an empty text
 * @param examine how many characters of `src` to look at; negative: all of them
 * @return the characters written
 */
unsigned int zelkCopyQuoted(char *dst, int size, const char *src, int examine, char open, char close);

/**
 * Copies a text without its quote characters.
 *
 * The terminating zero is treated like any character: when neither quote character is zero and there is room, it is
 * copied and counted. The result of a text that fits is therefore one above its visible length, and `dst` ends with two
 * zeros; callers rely on it.
 *
 * @param dst   receives the text and a zero; with a size of 1 or less, or a null `src`, the zero alone; may be `src`
 * @param size  slots in `dst`, the terminator included; the length of `src` + 2 suffices
 * @param first,second the two characters left out; they may be equal
 * @return the characters written, the copied zero included
 */
unsigned int zelkRemoveQuotesFromString(char *dst, int size, const char *src, char first, char second);

/**
 * Makes a packet of the characters inside quotes. Its `length` stays 0 although the text is in place: take the length
 * from the terminator. (The wide twin stores it.)
 *
 * @return the packet; null for null, for a text without quoted characters, or when there is no memory
 */
CharPacket *zelkGetQuoted(const CharPacket *text, char open, char close);

/** As zelkGetQuotedLength(), on 16-bit units. */
unsigned int zelkGetWideQuotedLength(const unsigned short *text, unsigned int examine, unsigned short open,
                                     unsigned short close);

/** As zelkCopyQuoted(), on 16-bit units. */
unsigned int zelkCopyWideQuoted(unsigned short *dst, int size, const unsigned short *src, int examine,
                                unsigned short open, unsigned short close);

/** As zelkRemoveQuotesFromString(), on 16-bit units. */
unsigned int zelkRemoveQuotesFromWideString(unsigned short *dst, int size, const unsigned short *src,
                                            unsigned short first, unsigned short second);

/** As zelkGetQuoted(), on 16-bit units; the packet's `length` is the count of units copied. */
WideCharPacket *zelkGetWideQuoted(const WideCharPacket *text, unsigned short open, unsigned short close);

/* ============================================ Substrings and filters ============================================ */

/*
 * Example:
 *
 *     CharPacket *line = zelkNewCharPacket(0, "Wetter heute");
 *     CharPacket *day = zelkSubstr(line, 7, 5, NULL);
 *     assert(strcmp(day->chars, "heute") == 0);
 *     free(day);
 *     free(line);
 */

/** Keeps tab and line feed of the C0 controls (0x00 to 0x1F) and gives 0 for the others; other codes pass unchanged. */
unsigned short zelk_filterControlCode0(unsigned short code);

/** Turns the DVB line break 0x8A into a line feed and gives 0 for the other C1 controls; other codes pass unchanged. */
unsigned short zelk_filterMapControlCode8(unsigned short code);

/** As zelk_filterMapControlCode8(), but keeps 0x86 and 0x87, the DVB codes for emphasis on and off. */
unsigned short zelk_filterMapControlCode8Restricted(unsigned short code);

/** Gives 0 for 0x00 to 0x1F and 0x80 to 0x9F; every other code passes unchanged. */
unsigned short zelk_filterControlChars(unsigned short code);

/**
 * Copies a text through a filter. The terminating zero is passed to the filter too, and ends the text.
 *
 * @param dst    receives the characters that the filter keeps (low 8 bits of its results) and a zero; may be `src`
 * @param size   slots in `dst`, the terminator included; with 1 or less the zero alone is written. The length of `src`
 *               + 1 suffices, + 2 where the filter replaces the terminating zero.
 * @param src    zero-terminated, or null for an empty text
 * @param filter null selects zelk_filterControlChars()
 * @return the characters written
 */
unsigned int zelkFilterString(char *dst, int size, const char *src, zelkCharFilter filter);

/** As zelkFilterString(), on 16-bit units. */
unsigned int zelkFilterWideString(unsigned short *dst, int size, const unsigned short *src, zelkCharFilter filter);

/**
 * Cuts a stretch out of a packet's text, or replaces it.
 *
 * @param text        the packet; not changed
 * @param start       where the stretch begins; `length` is allowed, more gives null
 * @param count       characters in the stretch; cut at the end of the text
 * @param replacement null: the result is the stretch, in a packet whose capacity follows the `count` asked for.
 *                    Otherwise the result is the whole text with the stretch replaced by this zero-terminated text.
 * @return a new packet; null when `text` is null, when `start` is after the text, when there is no memory, and
 *         - with a replacement: when the result has more than 65535 characters,
 *         - without one: when `count` modulo 65536 is less than the length of the stretch
 */
CharPacket *zelkSubstr(const CharPacket *text, unsigned int start, unsigned int count, const char *replacement);

/** As zelkSubstr(), on 16-bit units. */
WideCharPacket *zelkWideSubstr(const WideCharPacket *text, unsigned int start, unsigned int count,
                               const unsigned short *replacement);

/**
 * Reverses the order of the bits in each of `count` bytes. `dst` and `src` may be the same buffer.
 *
 * @return `count`; 0, with nothing written, for a null `src` or a count below 1
 */
int zelk_bitsRevertSequence(unsigned char *dst, const unsigned char *src, int count);

/** Entry i is i with its eight bits in reverse order. */
extern const unsigned char zelk_bitsRevSeqTab[256];

/* ===================================================== UTF-8 ===================================================== */

/*
 * Example:
 *
 *     unsigned short units[8];
 *     assert(zelkUtf8DecodeText(units, 8, (const unsigned char *)"caf\xC3\xA9", -1) == 4 && units[3] == 0x00E9);
 *     assert(zelkUtf8TextIsValid((const unsigned char *)"caf\xE9!", ZELK_NO_LIMIT) == 0);
 */

/*
 * The forms are those of RFC 3629 up to three bytes. A byte that begins no sequence, a sequence that breaks off, an
 * overlong form and every byte of a four-byte form give U+FFFD, one per rejected byte or sequence; a rejected sequence
 * consumes only the bytes before the first bad one. Surrogates (ED A0 80 to ED BF BF) are characters like others.
 * U+FFFD in the text counts as an error, too: nothing distinguishes the two.
 */

/**
 * Returns how many bytes the character at `text` takes, by its first byte and by the continuation bytes that follow.
 * Overlong forms are not looked for (C0 80 takes 2).
 *
 * @param available bytes that may be looked at; ZELK_NO_LIMIT for text bounded by its terminator only
 * @return 1 to 3, never more than `available`; 0 for a null text or nothing available
 */
unsigned int zelkUtf8CharGetLength(const unsigned char *text, unsigned int available);

/**
 * Reads one character.
 *
 * A sequence cut off by `available` stores nothing and consumes what is there: `*character` keeps its value, and
 * callers rely on it. A null text, or nothing available, stores nothing either.
 *
 * @param available bytes that may be looked at; ZELK_NO_LIMIT for text bounded by its terminator only
 * @param character receives the character or U+FFFD; must not be null
 * @return the bytes consumed, as zelkUtf8CharGetLength() has them
 */
unsigned int zelkUtf8CharDecode(const unsigned char *text, unsigned int available, unsigned short *character);

/** Gives the bytes that a character takes: 1 up to 0x7F, 2 up to 0x7FF, 3 for anything larger. */
unsigned int zelkUtf8CharGetEncodedLength(unsigned int character);

/**
 * Writes one character. No terminator is written, but room for one is kept: n bytes need a room of n + 1.
 *
 * @param room bytes left at `out`, the terminator's included; may be negative
 * @return the bytes written; 0, with nothing written, when they do not fit
 */
unsigned int zelkUtf8CharEncode(unsigned short character, unsigned char *out, int room);

/**
 * Converts UCS-2 to UTF-8. A character that does not fit is skipped, and a later, shorter one may still be written.
 *
 * @param out   receives the bytes and a zero
 * @param size  bytes in `out`, the terminator included
 * @param text  units ended by a zero unit, or null for an empty text
 * @param count units to convert at most; negative: up to the zero unit
 * @return the bytes written
 */
unsigned int zelkUtf8EncodeText(unsigned char *out, int size, const unsigned short *text, int count);

/** Counts the bytes that zelkUtf8EncodeText() writes when there is room for all; 0 for null. */
unsigned int zelkUtf8GetLength(const unsigned short *text, int count);

/** As zelkUtf8EncodeText(), from byte pairs with the high byte first, at any alignment; `count` is in pairs. */
unsigned int zelkUtf8EncodeNotAlignedText(unsigned char *out, int size, const unsigned char *text, int count);

/** Counts the bytes that zelkUtf8EncodeNotAlignedText() writes when there is room for all. */
unsigned int zelkUtf8GetLengthForNotAlignedText(const unsigned char *text, int count);

/** As zelkUtf8EncodeText(), from byte pairs with the low byte first, at any alignment; `count` is in pairs. */
unsigned int zelkUtf8EncodeNotAlignedInverseText(unsigned char *out, int size, const unsigned char *text, int count);

/** Counts the bytes that zelkUtf8EncodeNotAlignedInverseText() writes when there is room for all. */
unsigned int zelkUtf8GetLengthForNotAlignedInverseText(const unsigned char *text, int count);

/**
 * Converts UCS-2 to UTF-8 in a new packet. The packet is sized to the result's length modulo 65536: a result of 65535
 * bytes has a capacity of 0 and stays empty, a longer one is cut.
 *
 * @return the packet; null for a null text or when there is no memory
 */
CharPacket *zelkUtf8EncodeString(const unsigned short *text, int count);

/** As zelkUtf8EncodeString(), from byte pairs with the high byte first, at any alignment. */
CharPacket *zelkUtf8EncodeNotAlignedString(const unsigned char *text, int count);

/** As zelkUtf8EncodeString(), from byte pairs with the low byte first, at any alignment. */
CharPacket *zelkUtf8EncodeNotAlignedInverseString(const unsigned char *text, int count);

/**
 * Converts UTF-8 to UCS-2.
 *
 * A sequence that `length` cuts off still takes a unit of the result, and that unit keeps what `out` held before: end a
 * count on a character boundary, or pass -1.
 *
 * @param out    receives the units and a zero unit
 * @param size   units in `out`, the terminator included
 * @param text   bytes ended by a zero byte, or null for an empty text
 * @param length bytes to convert at most; negative: up to the zero byte
 * @return the units written
 */
unsigned int zelkUtf8DecodeText(unsigned short *out, int size, const unsigned char *text, int length);

/**
 * Converts UTF-8 to UCS-2 in a new packet of zelkUtf8GetTextWidth() units modulo 65536: a result of 65535 units has a
 * capacity of 0 and stays empty, a longer one is cut. A unit for a sequence that `length` cuts off is 0.
 *
 * @return the packet; null for a null text or when there is no memory
 */
WideCharPacket *zelkUtf8DecodeString(const unsigned char *text, int length);

/** Sets a record up for zelkUtf8Encode(). */
void zelkInitUtf8Encoder(Utf8EncoderState *state);

/**
 * Encodes a unit byte by byte: returns its first byte; call again with 0 for the following bytes, until 0 comes back.
 * A unit of two or three bytes passed while bytes are pending replaces them; a unit up to 0x7F leaves them for later.
 * A unit above 0xFFFF is not masked: its first result is 0xF0 or more, which begins no character here.
 */
unsigned int zelkUtf8Encode(Utf8EncoderState *state, unsigned int unit);

/** Sets a record up for zelkUtf8Decode(). */
void zelkInitUtf8Decoder(Utf8DecoderState *state);

/**
 * Decodes one byte.
 *
 * @param byte 0 to 255; any larger value counts as a byte that begins no sequence
 * @return up to two units: the high 16 bits come first (U+FFFD for a sequence that a byte up to 0x7F breaks off, else 0
 *         for none), then the low 16 bits (0 for none yet). For a byte of 0 the low half is the character U+0000. A
 *         lead that breaks a sequence off gives U+FFFD and begins its own; any other rejected byte gives one U+FFFD for
 *         itself and for the sequence that it breaks off.
 */
unsigned int zelkUtf8Decode(Utf8DecoderState *state, unsigned int byte);

/**
 * Converts a stream of UCS-2 units to UTF-8 bytes, until the getter gives -1 or the putter a negative value. A zero
 * unit is a zero byte and ends nothing.
 *
 * @return the bytes that the putter took
 */
int zelkUtf8EncodeStream(zelkUnitGetter getter, void *getterContext, zelkUnitPutter putter, void *putterContext);

/**
 * Converts a stream of UTF-8 bytes to UCS-2 units, until the getter gives -1 or the putter a negative value. A sequence
 * that the end of the input breaks off is dropped.
 *
 * @return the units that the putter took
 */
int zelkUtf8DecodeStream(zelkUnitGetter getter, void *getterContext, zelkUnitPutter putter, void *putterContext);

/**
 * Counts the characters of a text, which are also the units that zelkUtf8DecodeText() makes of it. A rejected byte or
 * sequence counts as one.
 *
 * @param text   ended by a zero byte, or null for 0
 * @param length bytes to look at; ZELK_NO_LIMIT: up to the zero byte
 */
unsigned int zelkUtf8GetTextWidth(const unsigned char *text, unsigned int length);

/** Gives the byte offset of character number `characters`, counted from 0, or the text's length after its end. */
unsigned int zelkUtf8Pos(const unsigned char *text, unsigned int characters);

/**
 * Returns whether a text is free of rejected bytes and of U+FFFD.
 *
 * A sequence that `length` cuts off is no error. Null and empty texts are valid.
 *
 * @param length bytes to look at; ZELK_NO_LIMIT: up to the zero byte
 * @return 1 or 0
 */
int zelkUtf8TextIsValid(const unsigned char *text, unsigned int length);

/**
 * Copies a text up to its first rejected byte or U+FFFD. The copy is cut byte by byte: a character that meets the end
 * of `out` is copied in part. So is a sequence that `length` cuts off, which is no error.
 *
 * @param out     receives the bytes and a zero; may be `text`
 * @param size    bytes in `out`, the terminator included
 * @param text    ended by a zero byte, or null for an empty text
 * @param length  bytes to copy at most; negative: up to the zero byte
 * @param invalid set to 1 when the copy ended at a rejected byte or U+FFFD; where it is not 0 on entry, nothing is
 *                copied; must not be null
 * @return the bytes copied
 */
unsigned int zelkUtf8CopyAndCheckIfValid(unsigned char *out, int size, const unsigned char *text, int length,
                                         int *invalid);

/**
 * Copies the bytes inside quotes; all sections of the text, joined. A section that is not closed runs to the end. The
 * copy is cut byte by byte.
 *
 * @param out    receives the bytes and a zero; may be `text`
 * @param size   bytes in `out`, the terminator included
 * @param text   ended by a zero byte, or null for an empty text
 * @param length steps to take at most; negative: up to the zero byte. A quote of several bytes is one step, so that
 *               with such quotes the scan may pass `length` bytes: the text must then reach that far or end with its
 *               zero.
 * @param open,close the quote characters, as UCS-2 units
 * @return the bytes written
 */
unsigned int zelkUtf8CopyQuoted(unsigned char *out, int size, const unsigned char *text, int length,
                                unsigned short open, unsigned short close);

/** Counts the bytes that zelkUtf8CopyQuoted() writes when there is room for all; 0 for null. */
int zelkUtf8GetQuotedLength(const unsigned char *text, int length, unsigned short open, unsigned short close);

/**
 * Makes a packet of the bytes inside quotes.
 *
 * @return the packet; null for null, for a text without quoted bytes, or when there is no memory
 */
CharPacket *zelkUtf8GetQuoted(const CharPacket *text, unsigned short open, unsigned short close);

/**
 * Copies a text without its quote characters, every occurrence of either; cut byte by byte. The terminating zero is
 * copied and counted where there is room, as zelkRemoveQuotesFromString() does. `out` may be `text`.
 *
 * @return the bytes written, the copied zero included
 */
unsigned int zelkUtf8RemoveQuotesFromString(unsigned char *out, int size, const unsigned char *text,
                                            unsigned short open, unsigned short close);

/**
 * Counts the bytes of a text after a filter: the bytes read for a character that it keeps, the length of the
 * replacement for one that it replaces.
 *
 * @param filter null selects zelk_filterControlChars(); it gets the terminating zero too
 */
int zelkUtf8GetFilteredStringLength(const unsigned char *text, zelkCharFilter filter);

/**
 * Copies a text through a filter.
 *
 * - A kept character is copied as it was read, an invalid byte included. One that does not fit ends the text.
 * - After a replacement the input moves by the length of the replacement, not of the character read: this is right
 *   for maps that keep the length, and callers rely on it. A replacement that does not fit ends the text and is not
 *   written. One that would move the input past the terminator is written and ends the text.
 * - `out` may be `text` where no replacement is longer than what it replaces.
 *
 * @param size   bytes in `out`, the terminator included; the length of `text` + 4 suffices, and
 *               zelkUtf8GetFilteredStringLength() + 1 where no replacement is shorter than what it replaces
 * @param filter null selects zelk_filterControlChars(); it gets the terminating zero too
 * @return the bytes written
 */
unsigned int zelkUtf8FilterString(unsigned char *out, int size, const unsigned char *text, zelkCharFilter filter);

/**
 * As zelkSubstr(), with `start` and `count` in characters. They are looked for up to the first zero byte, also where
 * the packet's `length` is another: a `start` after that byte means its place. The capacity follows the bytes that were
 * found.
 */
CharPacket *zelkUtf8Substr(const CharPacket *text, unsigned int start, unsigned int count, const char *replacement);

/* ==================================================== ISO 8859 ==================================================== */

/*
 * Example:
 *
 *     char price[8]; // three bytes for each byte of the text, and the terminator
 *     assert(zelk_isoToUtf8(15, price, sizeof price, "5\xA4", -1) == 4 && strcmp(price, "5\xE2\x82\xAC") == 0);
 */

/*
 * `part` is the number in the standard's name: 1 for ISO 8859-1. The tables are those of ISO/IEC 8859 with these
 * choices: parts 0, 6, 8, 11, 12 and all above 16 are ASCII only; part 7 is the first edition with the euro sign at
 * 0xA4; 0xFF of part 16 is unassigned. Unassigned positions give U+FFFD. A zero byte ends the text, counted or not, and
 * is never written.
 */

/** Gives the combining mode of a table number (0 to 12): 1 for table 6 (part 7), 2 for table 7 (part 9), else -1. */
int combiningMapIso(unsigned int table);

/**
 * Converts one byte. For a part above 16, `character` is a position in the list of tables (table number * 256 + byte),
 * for callers that hold one: tables 0 to 12 are ASCII, then parts 1, 2, 3, 4, 5, 7, 9, 10, 13, 14, 15, 16.
 *
 * @param character a byte; a larger value is combined with the position of the part's table by OR
 * @return the character; U+FFFD for unassigned positions and positions of 3328 and more
 */
unsigned short zelk_isoConvertSingleChar(unsigned int part, unsigned int character);

/** Gives the units that zelk_isoToUnicode() writes at most: the count, or the text's length for a negative one. */
unsigned int zelk_isoToUnicodeMaxLength(const char *in, int inLength);

/** Gives the bytes that zelk_isoToUtf8() writes at most: three a byte, at most 2147483647. */
unsigned int zelk_isoToUtf8MaxLength(const char *in, int inLength);

/** Counts the bytes that zelk_isoToUtf8() writes when there is room for all. `part` comes last here. */
unsigned int zelk_isoToUtf8Length(const char *in, int inLength, unsigned int part);

/**
 * Converts to UCS-2.
 *
 * @param out      receives the units and a zero unit
 * @param outSize  units in `out`, the terminator included
 * @param in       the text, or null for an empty one
 * @param inLength bytes to convert at most; negative: up to the zero byte
 * @return the units written
 */
unsigned int zelk_isoToUnicode(unsigned int part, unsigned short *out, int outSize, const char *in, int inLength);

/** As zelk_isoToUnicode(), to UTF-8: `outSize` and the result are in bytes, and what does not fit is skipped. */
unsigned int zelk_isoToUtf8(unsigned int part, char *out, int outSize, const char *in, int inLength);

/**
 * As zelk_isoToUtf8(), for text that may be UTF-8 already: valid UTF-8 is copied as zelkUtf8CopyAndCheckIfValid() does
 * (cut byte by byte where the room ends, which ends the check too), any other text is read as ISO 8859 from its start,
 * over what was copied. Where the room cuts that text off, a few bytes of the copy may stay after its terminator.
 *
 * A sequence that the count cuts off is no error, and a last byte of 0xC0 to 0xEF looks like one: "Caf\xE9" with a
 * count of 4 is copied as it is. Pass -1 where the text is whole and ends with a zero.
 */
unsigned int zelk_isoToUtf8Checked(unsigned int part, char *out, int outSize, const char *in, int inLength);

/**
 * As zelk_isoToUtf8Checked(), for a text in pieces: what was valid UTF-8 stays, and from the first byte that is not,
 * this piece and all later ones are ISO 8859. Each piece is decoded alone: end it where a character ends.
 *
 * @param flag 0 before the first piece; set when the text has proved not to be UTF-8. Not touched for a null `in`;
 *             must not be null.
 */
unsigned int zelk_isoToUtf8Tolerant(unsigned int part, char *out, int outSize, const char *in, int inLength, int *flag);

/** Converts to UCS-2 in a new packet of `inLength` units modulo 65536. Null for a null text or without memory. */
WideCharPacket *zelkConvertIsoToUnicode(unsigned int part, const char *in, int inLength);

/** Converts to UTF-8 in a new packet of 3 * `inLength` bytes modulo 65536. Null for a null text or without memory. */
CharPacket *zelkConvertIsoToUtf8(unsigned int part, const char *in, int inLength);

/**
 * zelk_isoToUtf8Checked() in a packet as zelkConvertIsoToUtf8() makes it. A negative count is replaced by the text's
 * length: an unfinished sequence at the end is no error here, and "Caf\xE9" is copied as it is.
 */
CharPacket *zelkConvertIsoToUtf8Checked(unsigned int part, const char *in, int inLength);

/** zelk_isoToUtf8Tolerant() in such a packet; a negative count is as for zelkConvertIsoToUtf8Checked(). */
CharPacket *zelkConvertIsoToUtf8Tolerant(unsigned int part, const char *in, int inLength, int *flag);

/* =============================================== Windows code pages =============================================== */

/*
 * Example:
 *
 *     char name[8];
 *     assert(zelk_winToUtf8(1250, 0, name, sizeof name, "\x8Dt", -1) == 3 && strcmp(name, "\xC5\xA4t") == 0);
 */

/*
 * A text is named by a code page (1250, 1251, 1252, 1253, 1254, 1257) and by the character-set identifier of a Windows
 * font description. A specific identifier wins: 238 Eastern European (1250), 204 Russian (1251), 1 default (1252), 161
 * Greek (1253), 162 Turkish (1254), 186 Baltic (1257); 2 (symbol) and 0xFFFFFFFF are ASCII only; with 0, 3, 255 and any
 * other the code page decides. The tables are Microsoft's; what they leave undefined, and 0xFF of 1257, is U+FFFD.
 */

/**
 * Gives the table for a code page and an identifier: 1 to 6 for 1250, 1251, 1252, 1253, 1254, 1257; 7 for the
 * identifier 2, and for code page -1 where the code page decides; 0 for the identifier 0xFFFFFFFF and for any other
 * code page. Tables 0 and 7 are ASCII with U+FFFD above.
 */
unsigned int zelk_winGetCodeTable(int codePage, unsigned int charSet);

/**
 * Converts one byte by a table of zelk_winGetCodeTable(); tables of 7 and more are ASCII with U+FFFD above.
 *
 * @param table counts modulo 256
 * @param byte  up to 127 it is the result; above, its low 8 bits count in tables 0 to 6, and others give U+FFFD
 */
unsigned short zelk_winMapCode(unsigned int table, unsigned int byte);

/** As zelk_isoToUnicodeMaxLength(). */
unsigned int zelk_winToUnicodeMaxLength(const char *in, int inLength);

/** As zelk_isoToUtf8MaxLength(). */
unsigned int zelk_winToUtf8MaxLength(const char *in, int inLength);

/** As zelk_isoToUtf8Length(); code page and identifier come last here. */
unsigned int zelk_winToUtf8Length(const char *in, int inLength, int codePage, unsigned int charSet);

/** As zelk_isoToUnicode(). */
unsigned int zelk_winToUnicode(int codePage, unsigned int charSet, unsigned short *out, int outSize, const char *in,
                               int inLength);

/** As zelk_isoToUtf8(). */
unsigned int zelk_winToUtf8(int codePage, unsigned int charSet, char *out, int outSize, const char *in, int inLength);

/** As zelkConvertIsoToUnicode(). */
WideCharPacket *zelkConvertWindowsToUnicode(int codePage, unsigned int charSet, const char *in, int inLength);

/** As zelkConvertIsoToUtf8(). */
CharPacket *zelkConvertWindowsToUtf8(int codePage, unsigned int charSet, const char *in, int inLength);

/* ==================================================== Teletext ==================================================== */

/*
 * Example:
 *
 *     const unsigned short page[] = {'1', 0xE210, 0};
 *     char row[8];
 *     assert(zelk_pela_ttxConvertToUtf8(row, sizeof row, page, -1) == 4);
 */

/**
 * Replaces the private-use characters that a teletext decoder leaves (U+E000 to U+E2FF: letters with diacritics, and
 * placeholders, which become spaces) by ordinary ones; everything else passes.
 *
 * @param out      receives the units and a zero unit; may be `in`
 * @param outSize  units in `out`, the terminator included; the units of the text + 1 suffice
 * @param in       the text, or null for an empty one; a zero unit ends it, counted or not
 * @param inLength units to convert at most; negative: up to the zero unit
 * @return the units written
 */
unsigned int zelk_pela_ttxConvertToUnicode(unsigned short *out, int outSize, const unsigned short *in, int inLength);

/** As zelk_pela_ttxConvertToUnicode(), to UTF-8 in other memory: `outSize` and the result are in bytes; three a unit +
 * 1 suffice. */
unsigned int zelk_pela_ttxConvertToUtf8(char *out, int outSize, const unsigned short *in, int inLength);

/* ====================================================== DVB ====================================================== */

/*
 * Example:
 *
 *     const char name[] = "\x05" "Ren\xE9"; // selector 05: ISO 8859-9
 *     char text[3 * sizeof name]; // three bytes for each byte: enough for any text that is not compressed
 *     unsigned int length = zelk_dvb8ToUtf8(DvbCharSetStandard, text, sizeof text, name, -1, DvbCodeNone, 0, 0);
 *     assert(length == 5 && strcmp(text, "Ren\xC3\xA9") == 0);
 */

/*
 * Text of service information as ETSI EN 300 468 Annex A codes it: one to three selector bytes may name the table of
 * the rest; without them it is the DVB default table. The arguments shared by the decoding functions:
 *
 * - charSet: the regional setting, for selectors that name no table;
 * - defaultCode, defaultExtra: what strings without a selector are coded in, in place of the DVB default table, or
 *   DvbCodeNone. A default code also takes the place of the regional setting, after selectors too. `defaultExtra` is
 *   the encoding type (1, 2, 5 or 6) that goes with DvbCodeCompressed; with any other code give 0;
 * - in, inLen: the string and its bytes. Negative: up to the first zero byte after the selector; in two-byte text up to
 *   the zero unit, in compressed text up to the code's end of text, which must then be there;
 * - flags: 0 or ZELK_KEEP_EMPHASIS; the other bits have no effect.
 *
 * Of the controls 00 to 1F and 80 to 9F, tab and line feed stay, except in the default table; 8A becomes a line feed;
 * all others are dropped. In two-byte, UTF-8 and compressed text U+E080 to U+E09F are controls, too. Two more things
 * are dropped: the bytes of the default table that have no character (A6, C0, C9, CC, D8 to DB, E5); and, in UTF-8 and
 * compressed text, a sequence that ASCII or the end of the text breaks off. Prepared text passes as it is.
 *
 * What a caller must guarantee for hostile input:
 *
 * - with a positive count, one byte after the string must be readable (a mark looks at its letter);
 * - with a negative count, a string that begins 10 00 must have a third byte and what ends a text after that.
 */

/**
 * Reads the selector bytes of a DVB string.
 *
 * Bytes are hexadecimal here. 01 to 0B give ISO 8859-5 to -15, 0C gives ISO 8859-16; 10 00 n with n from 00 to 10
 * gives code n, 0 to 16; 11 and 14 two-byte text; 15 and 16 UTF-8; 1D and 0F prepared text; 1F t compressed text of
 * type t = 1, 2, 5 or 6. 0D gives DvbCodeReserved17.
 *
 * All others from 01 to 1F give DvbCodeNone and are skipped, too: three bytes of 10 00 n, two of 1F t, one of any
 * other. A string that begins with 00, or with 20 and more, has no selector.
 *
 * @param text         the string, or null for the default
 * @param charSet      set to DvbCharSetStandard when a default code is given or a string has no selector; not null
 * @param code         receives the table code; must not be null
 * @param extra        receives the extra value (the encoding type of compressed text); may be null
 * @param defaultCode  what a string without a selector is coded in, or DvbCodeNone
 * @param defaultExtra the encoding type, 1, 2, 5 or 6, where `defaultCode` is DvbCodeCompressed; else 0
 * @return the selector bytes to skip, 0 to 3. They may be more than the string has: three bytes are read when the first
 *         two are 10 00.
 */
unsigned int zelk_dvbGetDvbCode(const char *text, dvbCharSet_t *charSet, DvbCode_t *code, int *extra,
                                DvbCode_t defaultCode, int defaultExtra);

/**
 * Composes a non-spacing mark and the byte after it.
 *
 * @param set  a combining set of combiningMapDvb() or combiningMapIso(): 0 the marks of ISO/IEC 6937, 1 Greek, 2 the
 *             accents A8, B4, B8 of ISO 8859-1 and similar sets; any other composes nothing
 * @param base the byte that follows the mark; a space gives the spacing form of the mark
 * @param mark the mark's byte
 * @return the character (the plain letter where there is no composed one), or 0 when the two do not compose
 */
unsigned short zelkCombineCharWithDiacriticalMark(int set, unsigned int base, unsigned int mark);

/** Gives the combining set of a table number (0 to 18): 0 for tables 0, 16, 17 and 18, 1 for table 7, else -1. */
int combiningMapDvb(unsigned int table);

/**
 * Converts a DVB string to UCS-2.
 *
 * - Prepared text passes with its controls. A count that ends inside one of its characters leaves that unit of `out` as
 *   it was, and the result counts it: end a count at a character.
 * - Compressed text of types 1 and 2 is decoded; that of types 5 and 6 gives an empty text. With a count the bytes
 *   after the end of text are decoded too.
 *
 * @param out     receives the units and a zero unit
 * @param outSize units in `out`, the terminator included
 * @return the units written
 */
unsigned int zelk_dvb8ToUnicode(dvbCharSet_t charSet, unsigned short *out, int outSize, const char *in, int inLen,
                                DvbCode_t defaultCode, int defaultExtra, unsigned int flags);

/**
 * Converts a DVB string to UTF-8.
 *
 * - Prepared text is copied with its controls, and cut byte by byte where it does not fit.
 * - Compressed text of types 5 and 6 is decoded here only, with a count, and ends where a piece does not fit; its bound
 *   is a fixed 511 bytes. Text of types 1 and 2 ends at its end of text, counted or not.
 *
 * @param out     receives the bytes and a zero
 * @param outSize bytes in `out`, the terminator included
 * @return the bytes written
 */
unsigned int zelk_dvb8ToUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in, int inLen,
                             DvbCode_t defaultCode, int defaultExtra, unsigned int flags);

/**
 * Gives the units that zelk_dvb8ToUnicode() needs at most, the terminator not counted: the count where there is one;
 * else by the text's length. Null gives 0.
 *
 * Compressed text may be longer than this bound, which is 0 without a count: then it is cut in a buffer of that size.
 * It needs eight units for each byte at most.
 */
int zelk_dvb8ToUnicodeMaxLength(const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra, unsigned int flags);

/**
 * Gives the bytes that zelk_dvb8ToUtf8() needs at most, the terminator not counted. Null gives 0, and no result is
 * above 2147483647. By the code:
 *
 * - UTF-8: the count, or the text's length without one;
 * - compressed text of types 1 and 2: the decoded bytes; 0 without a count;
 * - compressed text of types 5 and 6: 511;
 * - any other: three for each byte of the count; without one, for each byte or two-byte unit of the text.
 *
 * A text is cut where that is too little: for bytes of UTF-8 that are rejected, which grow to U+FFFD, and for a long
 * text of types 5 and 6.
 *
 * A buffer that holds any text whole has three bytes for each byte of the string, and for compressed text twenty-four,
 * and one for the terminator.
 */
int zelk_dvb8ToUtf8MaxLength(const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra);

/**
 * Gives a size for zelk_dvb8PrepUtf8(): zelk_dvb8ToUtf8MaxLength() + 2, marker and terminator included, and at most
 * 2147483647. Where that bound is too little the prepared text is cut.
 */
int zelk_dvb8PrepUtf8Buffersize(const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra);

/**
 * Converts a DVB string to the prepared form: the private selector 0x1D, then UTF-8. All DVB functions read it back.
 *
 * @param out     receives the bytes and a zero: two bytes also where `outSize` is 1, so give it at least 2
 * @param outSize bytes in `out`; below 1 gives an empty text
 * @return the bytes written, the marker included
 */
unsigned int zelk_dvb8PrepUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in, int inLen,
                               DvbCode_t defaultCode, int defaultExtra, unsigned int flags);

/**
 * Copies a prepared string without its marker; a string without the marker is copied as it is.
 *
 * @param out     receives the bytes and a zero; may be `in`
 * @param outSize bytes in `out`, the terminator included; a text that does not fit is cut byte by byte
 * @param in      the string, or null for an empty one; a zero byte ends it, counted or not
 * @param inLen   its bytes, the marker included; negative: up to the zero byte
 * @return the bytes copied
 */
unsigned int zelk_dvbPrep8ToUtf8(char *out, int outSize, const char *in, int inLen);

/**
 * zelk_dvb8PrepUtf8() in a new packet made for zelk_dvb8PrepUtf8Buffersize() bytes. Where that is more than 65535 the
 * packet is as one of zelkConvertDvb8ToUtf8(). Null for a null string or without memory.
 */
CharPacket *zelkPreprocessDvbStringToUtf8(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode,
                                          int defaultExtra, unsigned int flags);

/**
 * zelk_dvb8ToUnicode() in a new packet made for the bound + 1 units (a capacity of the bound + 2). What the bound is
 * too small for is cut. Where the capacity is more than 65535, capacity and length hold their low 16 bits while the
 * block holds the whole text, terminated. Null for a null string or without memory.
 */
WideCharPacket *zelkConvertDvb8ToUnicode(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode,
                                         int defaultExtra, unsigned int flags);

/** As zelkConvertDvb8ToUnicode(), to UTF-8. */
CharPacket *zelkConvertDvb8ToUtf8(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode,
                                  int defaultExtra, unsigned int flags);

/* ==================================================== Huffman ==================================================== */

/*
 * Example:
 *
 *     HuffmanStreamState state;
 *     zelkInitHuffmanDecoder(&state, 1);
 *     assert(zelkHuffmanDecode(&state, 0x00) == 'T'); // call again with the same byte until it gives 0xFFFE
 */

/*
 * Two kinds of code. In the context-tree tables (encoding types 1 and 2 of DVB strings; titles and descriptions of the
 * North American guide, ATSC A/65 Annex C) the character before chooses the code. The Malaysian code (types 5 and 6)
 * gives pieces of one to four characters.
 *
 * Table layout: bytes 0 to 255 are 128 offsets of 16 bits, high byte first, one for each character before (0 at the
 * start). A tree is an array of two-byte nodes: where to go on a 0 bit, where to go on a 1 bit. A byte below 0x80 is a
 * node of the same tree; from 0x80 on it is a leaf, the character plus 0x80. Leaf 0x9B is the escape: the next 8 bits
 * are a byte as it is. After such a byte of 0x80 or more, another follows without an escape.
 */

/**
 * Sets a record up for one text: `mode`, `value` and `table`. A table other than 1 and 2 leaves `table` as it is and
 * makes the record unusable: zelkHuffmanDecode() gives 0xFFFF for every byte.
 */
void zelkInitHuffmanDecoder(HuffmanStreamState *state, unsigned int tableId);

/**
 * Decodes from one input byte. Call again with the same byte until 0xFFFE or 0xFFFF comes back.
 *
 * @param byte 0 to 255; a larger value gives 0xFFFE and changes nothing
 * @return a decoded byte (of UTF-8 text), 0xFFFE when the next input byte is needed, 0xFFFF at the end of the text and
 *         for an unusable record
 */
unsigned short zelkHuffmanDecode(HuffmanStreamState *state, unsigned int byte);

/**
 * Decodes a Malaysian compressed text to UTF-8.
 *
 * The rows of the code stand in data files of the source; until the official ones of SKMM MTSFB TC G001:2013 are in,
 * most of them are provisional, and real broadcasts of types 5 and 6 do not decode.
 *
 * A bit with which no code continues is an escape: the next 8 bits are a character of ISO 8859-1, U+0000 where fewer
 * are left. There is one exception: after seven 1 bits of an unfinished code, with or without 0 bits before them, a
 * further 1 bit with which no code continues ends the text. A code that the input cuts off gives nothing.
 *
 * @param tableId   6 for the Malay table, any other value for the English one
 * @param src       the compressed bytes after the selector, or null for an empty text
 * @param srcLength their count; 0 or less gives an empty text
 * @param dst       receives the text, without a terminator and without a bound: 8 bytes for each byte of `src`, and 2
 *                  more, always suffice; null to count only
 * @param outLength receives the bytes written
 * @return 0
 */
int decompressMalaysiaHuffmanTable(unsigned int tableId, const unsigned char *src, int srcLength, unsigned char *dst,
                                   int *outLength);

/** The code of encoding type 1: DTG D-Book, under ETSI EN 300 468 Annex A and ETSI TS 101 162. */
extern const unsigned char HuffmanDecodeTable_1[4054];

/** The code of encoding type 2: from the same documents. */
extern const unsigned char HuffmanDecodeTable_2[6320];

/** The code of programme titles: ATSC A/65, Table C.5. */
extern const unsigned char _title_dec_table[1940];

/** The code of programme descriptions: ATSC A/65, Table C.7. */
extern const unsigned char _desc_dec_table[1782];

/* ==================================== Case, classes, collation, wildcards ==================================== */

/*
 * Example:
 *
 *     assert(zelk2upperChar(0x00E9) == 0x00C9 && (zelkcharGetClass('7') & CharClassDigit) != 0);
 *     assert(zelkCollate(0, "Arte", "ARD") > 0);
 *     assert(zelk_patternWildcardMatch("BBC One HD", "BBC*HD") == 0);
 */

/*
 * Fixed tables for Latin (with chosen letters of Latin Extended Additional), Greek and Cyrillic: not Unicode's. A code
 * of 0x10000 and more comes back as its low 16 bits, with class 0.
 */

/** Gives the capital of a small letter; other codes, and all above U+1EF9, come back unchanged. */
unsigned short zelk2upperChar(unsigned int code);

/** Gives the small letter of a capital; other codes, and all above U+1EF8, come back unchanged. */
unsigned short zelk2lowerChar(unsigned int code);

/** Gives the class of a character, the OR of CharClass bits; 0 above U+20F0. */
unsigned int zelkcharGetClass(unsigned int code);

/**
 * Compares two characters by their place in the alphabet, without accent and case.
 *
 * @param selector ignored
 * @return main key of `a` minus main key of `b`, -255 to 255. Codes above U+215E have the main key 255.
 */
int zelkCollateCharsByMainKey(int selector, unsigned int a, unsigned int b);

/**
 * Compares two UTF-8 texts for sorting: by letters, then accents, then case (small after capital). Spaces and most
 * punctuation are ignored. docs/collation.md has the order.
 *
 * @param selector ignored
 * @param a,b zero-terminated UTF-8; null is an empty text
 * @return negative when `a` sorts first, positive when `b` sorts first, 0 when they have the same place. Different
 *         texts may have it: "BBC 1" and "BBC1" do. Where each text needs a place of its own, as in a std::set or the
 *         keys of a std::map, break ties with strcmp().
 */
int zelkCollate(int selector, const char *a, const char *b);

/**
 * Matches a text against a pattern, byte by byte: `*` stands for any bytes, `?` for one.
 *
 * The byte after a `*` must be in the text as it is, also where it is a wildcard: `*?` looks for a question mark and
 * `**` for a star. A star that was found is then a wildcard again: `**c` matches "a*c" and "a*bc", but not "abc". Stars
 * that end the pattern match any rest.
 *
 * The time grows at most with the length of the text times that of the pattern; with one star it is linear. The stack
 * does not grow.
 *
 * @param text,pattern zero-terminated; null is not accepted
 * @return 0 for a match, else a value other than 0
 */
int zelk_patternWildcardMatch(const char *text, const char *pattern);

/** As zelk_patternWildcardMatch(), bytes compared in lower case by the C library's locale. */
int zelk_patternWildcardMatchIgnoreCase(const char *text, const char *pattern);

/**
 * As zelk_patternWildcardMatch(), control characters skipped in text and pattern before every comparison. A byte is a
 * control when its low 7 bits are one, by the C library's locale: 0x80 to 0x9F and 0xFF count too.
 */
int zelk_patternWildcardMatchIgnoreControlChars(const char *text, const char *pattern);

/** As zelk_patternWildcardMatch(), both case and controls ignored. */
int zelk_patternWildcardMatchIgnoreCaseAndControlChars(const char *text, const char *pattern);

/**
 * Compares two texts without their control characters; no wildcards. Null is not accepted.
 *
 * @return 0 when they are equal; the difference of the first differing bytes; a positive byte when one is the beginning
 *         of the other, in both orders
 */
int zelk_patternCompareIgnoreControlChars(const char *a, const char *b);

/** As zelk_patternCompareIgnoreControlChars(), bytes compared in lower case. */
int zelk_patternCompareIgnoreCaseAndControlChars(const char *a, const char *b);

/* ====================================================== XML ====================================================== */

/*
 * Example:
 *
 *     char escaped[32];
 *     assert(zelk_xmlify(escaped, sizeof escaped, "Tom & Ann", -1) == 13 && strcmp(escaped, "Tom &amp; Ann") == 0);
 */

/** Gives the entity of `&`, `<`, `>`, `"` or `'` (XML 1.0, 4.6), a constant text; null for any other character. */
const char *zelk_xmlescape(unsigned int c);

/** Counts the bytes of a text after zelk_xmlify(); 0 for null. A negative count means up to the zero byte. */
unsigned int zelk_xmlifiedLength(const char *in, int inLen);

/**
 * Replaces the five characters by their entities. An entity that does not fit ends the text.
 *
 * @param out     receives the bytes and a zero; untouched when `outSize` is below 1
 * @param outSize bytes in `out`, the terminator included
 * @param in      the text, or null for an empty one; a zero byte ends it, counted or not
 * @param inLen   bytes to escape at most; negative: up to the zero byte
 * @return the bytes written
 */
unsigned int zelk_xmlify(char *out, int outSize, const char *in, int inLen);

/**
 * Replaces entities and decimal references by their bytes; arguments and result as zelk_xmlify().
 *
 * - A name may be shortened: `&a;` and `&;` are ampersands, `&l;` is a less-than.
 * - A decimal reference has at most 4 digits, and the low 8 bits of its number are the byte. The number is read as
 *   strtoul() does: spaces and a sign may lead, what follows the digits is ignored, and where there are none (`&#;`,
 *   and every hexadecimal reference) it is 0. A zero byte counts in the result like others.
 * - A name that matches nothing, or is not ended within six bytes, is copied as it is. A zero byte, or the end of the
 *   count, ends a name.
 * - `out` may be `in`, or lie before it in the same buffer.
 */
unsigned int zelk_unxml(char *out, int outSize, const char *in, int inLen);

/**
 * zelk_xmlify() in a new packet whose capacity is zelk_xmlifiedLength() + 1, modulo 65536: a result of 65535 bytes has
 * a capacity of 0 and stays empty, a longer one is cut. Null for a null text or without memory.
 */
CharPacket *zelkXmlify(const char *in, int inLen);

/** zelk_unxml() in a new packet. Its capacity is the count, or the text's length without one, + 1, modulo 65536. */
CharPacket *zelkUnXml(const char *in, int inLen);

#ifdef __cplusplus
} /* extern "C" */
#endif

#undef ZELK_INT_ENUM

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility pop
#endif

#endif /* ZELK_H */
