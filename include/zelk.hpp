/*
 * libmurn-zelk: character sets and text for digital-television receivers. The class interface.
 *
 * The converters of <zelk.h> for callers that work with standard strings. Every operation that returns one sizes a
 * scratch buffer, calls the flat function of the same name and returns what it wrote; <zelk.h> says what is converted
 * and how. C++17.
 *
 * What holds for every operation unless its comment says otherwise: a null text gives an empty string; an empty
 * std::string gives an empty string; a negative length means "up to the terminating zero"; the only errors are the
 * allocator's exceptions. UCS-2 in a std::string is two bytes a unit. Objects hold nothing but their settings: a const
 * operation may run on any number of threads at once.
 */
#ifndef ZELK_HPP
#define ZELK_HPP

#include "zelk.h"

#include <string>

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility push(default)
#endif

namespace zelk {

/** UTF-8 to UCS-2. */
class Utf8Decoder {
public:
    /**
     * The result is the units, low byte first on every machine, and one zero byte: 2 * units + 1 bytes. An empty text
     * that is neither null nor a std::string gives that one byte. A sequence that `length` cuts off gives a zero unit.
     */
    static std::string utf8Decode(const char *text, int length);
    static std::string utf8Decode(const std::string &text);
};

/** UCS-2 to UTF-8. */
class Utf8Encoder {
public:
    static std::string utf8Encode(const unsigned short *text, int count);

    /** Takes units as Utf8Decoder gives them, low byte first; an odd last byte is read with the string's terminator. */
    static std::string utf8Encode(const std::string &text);

    /** Takes byte pairs, high byte first, at any alignment; `count` is in pairs. */
    static std::string utf8EncodeNotAlignedText(const unsigned char *text, int count);

    /** Takes byte pairs, low byte first, at any alignment; `count` is in pairs. */
    static std::string utf8EncodeNotAlignedInverseText(const unsigned char *text, int count);
};

/** Quotes and filters on UTF-8. */
class Utf8Utilities {
public:
    /** zelkUtf8CopyQuoted(). */
    static std::string CopyQuoted(const std::string &text, unsigned short open, unsigned short close);

    /** zelkUtf8RemoveQuotesFromString(): the result carries the terminating zero that the flat function counts. */
    static std::string RemoveQuotes(const std::string &text, unsigned short open, unsigned short close);

    /** zelkUtf8FilterString() with room for the mapped text: for maps, which may lengthen characters. */
    static std::string MapString(const std::string &text, zelkCharFilter map);

    /** zelkUtf8FilterString() with room for the text as it is: for filters, which keep or drop. */
    static std::string FilterString(const std::string &text, zelkCharFilter filter);
};

/** The status of CodeConversion: above 0 a failure, below 0 a warning. */
enum UErrorCode : int {
    StringNotTerminatedWarning = -124, /**< the result fills the buffer: no room for the terminator */
    ZeroError = 0,                     /**< success */
    IllegalArgumentError = 1,          /**< bad arguments */
    InvalidCharFound = 10,             /**< a surrogate without its partner */
    BufferOverflowError = 15           /**< the result does not fit; the length needed is reported */
};

/** UTF-16 to UTF-8 with surrogate pairs, exact lengths and status codes (RFC 2781, RFC 3629). */
class CodeConversion {
public:
    /**
     * Converts, or measures: `dest` null with capacity 0 reports the length alone.
     *
     * @param dest         receives the bytes, whole characters only, and a zero where there is room for it
     * @param destCapacity bytes in `dest`
     * @param destLength   receives the length of the whole result, unless null is returned for a failure; may be null
     * @param src          units; a zero unit is a character like others where there is a count
     * @param srcLength    units in `src`; -1: up to the zero unit; less is an IllegalArgumentError
     * @param status       a failure on entry makes the call do nothing; receives the status. Surrogates are checked
     *                     over the whole source, also after what fits.
     * @return `dest`; null on InvalidCharFound (then `dest` may hold what came before, without a zero),
     *         IllegalArgumentError, a null status or a failure on entry
     */
    static char *strToUTF8(char *dest, int destCapacity, int *destLength, const unsigned short *src, int srcLength,
                           UErrorCode *status);

    /** Writes a code point of 0x80 to 0x10FFFF as two to four bytes and returns the position after them. */
    static unsigned char *appendUTF8(unsigned char *position, int codePoint);

    /**
     * Terminates a result of `length` bytes: a zero where there is room (and ZeroError in place of
     * StringNotTerminatedWarning), else StringNotTerminatedWarning or BufferOverflowError. Does nothing on a failure, a
     * null status or a negative length.
     */
    static void terminateChars(char *dest, int destCapacity, int length, UErrorCode *status);

    /**
     * Converts a terminated text.
     *
     * @return 0 for success, also when the result fills `dest` without a terminator; -5 for a null argument or a
     *         negative capacity, -6 for a surrogate without its partner, -2 when the result does not fit
     */
    static int convertUTF16ToUTF8Str(const unsigned short *src, char *dest, int destCapacity);
};

/** Text of one ISO 8859 part. */
class IsoConverter {
public:
    explicit IsoConverter(unsigned int part);

    /** The result is the units in native byte order and one zero byte: 2 * units + 1 bytes. */
    std::string convertIsoToUnicode(const char *text, int length) const;
    std::string convertIsoToUnicode(const std::string &text) const;

    /** The scratch holds 3 * length bytes: where every character takes three bytes, the last one is dropped. */
    std::string convertIsoToUtf8(const char *text, int length) const;
    std::string convertIsoToUtf8(const std::string &text) const;

    /** zelk_isoToUtf8Checked() with the text's size as its count, in a scratch of 3 * size bytes. */
    std::string convertIsoToUtf8Checked(const std::string &text) const;

    /** zelk_isoToUtf8Tolerant() likewise; an empty text does not change `*flag`. */
    std::string convertIsoToUtf8Tolerant(const std::string &text, int *flag) const;

private:
    unsigned int part_;
};

/** Text of one Windows code page. */
class WinConverter {
public:
    WinConverter(int codePage, unsigned int charSet);

    /** The result is the units in native byte order: 2 * units bytes, without the byte that IsoConverter adds. */
    std::string convertWindowsToUnicode(const char *text, int length) const;
    std::string convertWindowsToUnicode(const std::string &text) const;

    /** The scratch holds 3 * length bytes, as with IsoConverter. */
    std::string convertWindowsToUtf8(const char *text, int length) const;
    std::string convertWindowsToUtf8(const std::string &text) const;

private:
    int codePage_;
    unsigned int charSet_;
};

/** DVB strings, by a receiver's settings. */
class DvbConverter {
public:
    /** No default code: strings without a selector are read in the DVB default table. */
    DvbConverter(dvbCharSet_t charSet, unsigned int flags);

    /**
     * Takes the default code from the selector of a sample string, as zelk_dvbGetDvbCode() reads it. Null, or a string
     * without a selector, gives the DVB default table. A string without a selector also makes the region
     * DvbCharSetStandard; in all other cases the region stays.
     */
    DvbConverter(dvbCharSet_t charSet, const char *sample, unsigned int flags);

    DvbConverter(dvbCharSet_t charSet, DvbCode_t code, int extra, unsigned int flags);

    /** Replaces all settings but the flags. */
    void ResetConverter(dvbCharSet_t charSet, DvbCode_t code, int extra);

    /**
     * The result is the units in native byte order and one zero byte: 2 * units + 1 bytes. The scratch has
     * zelk_dvb8ToUnicodeMaxLength() units: compressed text that is longer is cut there.
     *
     * @throws std::bad_array_new_length for a count of 0x3FFFFFFF and more
     */
    std::string convertDvb8ToUnicode(const char *in, int len) const;
    std::string convertDvb8ToUnicode(const std::string &text) const;

    /**
     * With the region DvbCharSetGb2312, a string whose code is the default table is converted by the system's iconv as
     * GB 2312, its selector bytes included, up to the first zero byte of the result; where that fails it comes back
     * unchanged.
     *
     * The scratch has zelk_dvb8ToUtf8MaxLength() bytes: UTF-8 text whose rejected bytes grow to U+FFFD is cut there.
     * For the whole text call zelk_dvb8ToUtf8() with three bytes for each byte of the string.
     *
     * Traces the code through the receiver's debug library where that is loaded and enabled.
     */
    std::string convertDvb8ToUtf8(const char *in, int len) const;
    std::string convertDvb8ToUtf8(const std::string &text) const;

    /** zelk_dvb8PrepUtf8(). */
    std::string preprocessDvbStringToUtf8(const char *in, int len) const;
    std::string preprocessDvbStringToUtf8(const std::string &text) const;

    /**
     * Converts with the system's iconv, between any sets that it knows; the result ends at its first zero byte. Where
     * that fails the result is the input. Traces input and output of a conversion as convertDvb8ToUtf8() traces a code.
     *
     * @throws std::logic_error for a null `in` with a `len` other than 0
     */
    std::string IconvConvert(const char *fromcode, const char *tocode, const char *in, unsigned int len) const;

private:
    dvbCharSet_t charSet_;
    DvbCode_t code_;
    int extra_;
    unsigned int flags_;
};

/** The selectors that a receiver offers: 41 bytes, each selector of one or three bytes, then a zero that counts. */
std::string GetSupportedCharacterSets();

/** A position in compressed input. */
struct _BitReaderPos_t {
    unsigned char bitIndex; /**< next bit of the byte, 0 is the most significant */
    unsigned int byteIndex; /**< the byte */
};

/**
 * Text compressed by a context-tree table (ATSC A/65 Annex C); <zelk.h> describes the layout. The output is bytes; the
 * caller knows their character set.
 */
class HuffmanDecoder {
public:
    HuffmanDecoder(const HuffmanDecoder &other);
    HuffmanDecoder &operator=(const HuffmanDecoder &other) = default;

    /**
     * Decodes, or measures: `dst` null with a capacity of 0 reports the size alone.
     *
     * The code has no end: a decoded zero is a character, and the input alone ends the text (a last byte of zero is a
     * terminator and not decoded).
     *
     * @param dst       receives the bytes after the skipped ones and a zero, as many of them as fit; where
     *                  `*dstLength` becomes 0 nothing is written, not even the zero
     * @param dstLength on entry the capacity of `dst`; receives the size needed: bytes, terminator and one to spare; 0
     *                  when nothing was decoded, or less than is to be skipped
     * @return 0; -1 for bad arguments, with `*dstLength` untouched; -2 when `dst` is too small
     */
    int decode(const unsigned char *src, unsigned int srcLength, unsigned char *dst, unsigned int *dstLength) const;

    /**
     * Puts one byte at `*position` and moves on. Positions before `skipCount` and after the capacity are passed
     * without writing; a null `dst` with a capacity of 0 only counts.
     *
     * @return 0; -1 for a null `dstCapacity` or `position`, or a null `dst` with a capacity
     */
    int byteWriter(unsigned char c, unsigned char *dst, unsigned int skipCount, unsigned int *dstCapacity,
                   unsigned int *position) const;

    /**
     * Reads 0 to 8 bits, the most significant first.
     *
     * @return 0; 1 when the input ends first: `*out` is not written, and `*position` is the end; -1, with nothing
     *         changed, for bad arguments
     */
    int bitReader(unsigned char bitCount, const unsigned char *src, unsigned int srcLength, unsigned char *out,
                  _BitReaderPos_t *position) const;

protected:
    HuffmanDecoder(const unsigned char *table, unsigned int skipCount);

private:
    const unsigned char *table_;
    unsigned int skipCount_;
};

/** HuffmanDecoder for programme titles; the first `skipCount` bytes of every text are left out. */
class ProgramTitleDecoder : public HuffmanDecoder {
public:
    explicit ProgramTitleDecoder(unsigned int skipCount);
};

/** HuffmanDecoder for programme descriptions; the first `skipCount` bytes of every text are left out. */
class ProgramDescriptionDecoder : public HuffmanDecoder {
public:
    explicit ProgramDescriptionDecoder(unsigned int skipCount);
};

/** Entities of XML. */
class XmlConverter {
public:
    /** zelk_xmlify() with room for all. */
    static std::string xmlify(const char *in, int len);
    static std::string xmlify(const std::string &text);

    /** zelk_unxml() with room for all. */
    static std::string unXml(const char *in, int len);
    static std::string unXml(const std::string &text);
};

} // namespace zelk

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility pop
#endif

#endif // ZELK_HPP
