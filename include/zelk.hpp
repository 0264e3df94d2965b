#ifndef ZELK_HPP
#define ZELK_HPP

#include "zelk.h"

#include <string>

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility push(default)
#endif

namespace zelk {

class Utf8Decoder {
public:
    static std::string utf8Decode(const char *text, int length);
    static std::string utf8Decode(const std::string &text);
};

class Utf8Encoder {
public:
    static std::string utf8Encode(const unsigned short *text, int count);
    static std::string utf8Encode(const std::string &text);
    static std::string utf8EncodeNotAlignedText(const unsigned char *text, int count);
    static std::string utf8EncodeNotAlignedInverseText(const unsigned char *text, int count);
};

class Utf8Utilities {
public:
    static std::string CopyQuoted(const std::string &text, unsigned short open,
                                  unsigned short close);
    static std::string RemoveQuotes(const std::string &text, unsigned short open,
                                    unsigned short close);
    static std::string MapString(const std::string &text, zelkCharFilter map);
    static std::string FilterString(const std::string &text, zelkCharFilter filter);
};

enum UErrorCode : int {
    StringNotTerminatedWarning = -124,
    ZeroError = 0,
    IllegalArgumentError = 1,
    InvalidCharFound = 10,
    BufferOverflowError = 15
};

class CodeConversion {
public:
    static char *strToUTF8(char *dest, int destCapacity, int *destLength,
                           const unsigned short *src, int srcLength, UErrorCode *status);
    static unsigned char *appendUTF8(unsigned char *position, int codePoint);
    static void terminateChars(char *dest, int destCapacity, int length, UErrorCode *status);
    static int convertUTF16ToUTF8Str(const unsigned short *src, char *dest, int destCapacity);
};

class IsoConverter {
public:
    explicit IsoConverter(unsigned int part);
    std::string convertIsoToUnicode(const char *text, int length) const;
    std::string convertIsoToUnicode(const std::string &text) const;
    std::string convertIsoToUtf8(const char *text, int length) const;
    std::string convertIsoToUtf8(const std::string &text) const;
    std::string convertIsoToUtf8Checked(const std::string &text) const;
    std::string convertIsoToUtf8Tolerant(const std::string &text, int *flag) const;

private:
    unsigned int part_;
};

class WinConverter {
public:
    WinConverter(int codePage, unsigned int charSet);
    std::string convertWindowsToUnicode(const char *text, int length) const;
    std::string convertWindowsToUnicode(const std::string &text) const;
    std::string convertWindowsToUtf8(const char *text, int length) const;
    std::string convertWindowsToUtf8(const std::string &text) const;

private:
    int codePage_;
    unsigned int charSet_;
};

class DvbConverter {
public:
    DvbConverter(dvbCharSet_t charSet, unsigned int flags);
    DvbConverter(dvbCharSet_t charSet, const char *sample, unsigned int flags);
    DvbConverter(dvbCharSet_t charSet, DvbCode_t code, int extra, unsigned int flags);
    void ResetConverter(dvbCharSet_t charSet, DvbCode_t code, int extra);
    std::string convertDvb8ToUnicode(const char *in, int len) const;
    std::string convertDvb8ToUnicode(const std::string &text) const;
    std::string convertDvb8ToUtf8(const char *in, int len) const;
    std::string convertDvb8ToUtf8(const std::string &text) const;
    std::string preprocessDvbStringToUtf8(const char *in, int len) const;
    std::string preprocessDvbStringToUtf8(const std::string &text) const;
    std::string IconvConvert(const char *fromcode, const char *tocode, const char *in,
                             unsigned int len) const;

private:
    dvbCharSet_t charSet_;
    DvbCode_t code_;
    int extra_;
    unsigned int flags_;
};

std::string GetSupportedCharacterSets();

struct _BitReaderPos_t {
    unsigned char bitIndex;
    unsigned int byteIndex;
};

class HuffmanDecoder {
public:
    HuffmanDecoder(const HuffmanDecoder &other);
    HuffmanDecoder &operator=(const HuffmanDecoder &other) = default;
    int decode(const unsigned char *src, unsigned int srcLength, unsigned char *dst,
               unsigned int *dstLength) const;
    int byteWriter(unsigned char c, unsigned char *dst, unsigned int skipCount,
                   unsigned int *dstCapacity, unsigned int *position) const;
    int bitReader(unsigned char bitCount, const unsigned char *src, unsigned int srcLength,
                  unsigned char *out, _BitReaderPos_t *position) const;

protected:
    HuffmanDecoder(const unsigned char *table, unsigned int skipCount);

private:
    const unsigned char *table_;
    unsigned int skipCount_;
};

class ProgramTitleDecoder : public HuffmanDecoder {
public:
    explicit ProgramTitleDecoder(unsigned int skipCount);
};

class ProgramDescriptionDecoder : public HuffmanDecoder {
public:
    explicit ProgramDescriptionDecoder(unsigned int skipCount);
};

class XmlConverter {
public:
    static std::string xmlify(const char *in, int len);
    static std::string xmlify(const std::string &text);
    static std::string unXml(const char *in, int len);
    static std::string unXml(const std::string &text);
};

} // namespace zelk

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility pop
#endif

#endif
