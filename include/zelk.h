#ifndef ZELK_H
#define ZELK_H

#define ZELK_VERSION_MAJOR 1
#define ZELK_VERSION_MINOR 0
#define ZELK_VERSION_PATCH 0

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
#define ZELK_INT_ENUM : int
extern "C" {
#else
#define ZELK_INT_ENUM
#endif

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wc99-extensions"
#elif defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#endif

typedef struct CharPacket {
    unsigned short capacity;
    unsigned short length;
    char chars[];
} CharPacket;

typedef struct WideCharPacket {
    unsigned short capacity;
    unsigned short length;
    unsigned short chars[];
} WideCharPacket;

#if defined(__clang__)
#pragma clang diagnostic pop
#elif defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

typedef struct Utf8EncoderState {
    int pendingCount;
    unsigned short pendingBytes[2];
} Utf8EncoderState;

typedef struct Utf8DecoderState {
    unsigned int remaining;
    int tooSmall;
    unsigned short value;
} Utf8DecoderState;

typedef struct HuffmanStreamState {
    int mode;
    unsigned short value;
    unsigned short treeOffset;
    int bitIndex;
    const unsigned char *table;
} HuffmanStreamState;

typedef enum dvbCharSet_t ZELK_INT_ENUM {
    DvbCharSetIso8859_9 = 0,
    DvbCharSetStandard = 1,
    DvbCharSetIso8859_2 = 2,
    DvbCharSetIso8859_7 = 3,
    DvbCharSetIso8859_9Alt = 4,
    DvbCharSetIso8859_15 = 5,
    DvbCharSetGb2312 = 6
} dvbCharSet_t;

typedef enum DvbCode_t ZELK_INT_ENUM {
    DvbCodeTable00 = 0,
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
    DvbCodeIso8859_12 = 12,
    DvbCodeIso8859_13 = 13,
    DvbCodeIso8859_14 = 14,
    DvbCodeIso8859_15 = 15,
    DvbCodeIso8859_16 = 16,
    DvbCodeReserved17 = 17,
    DvbCodeNone = 18,
    DvbCodeUtf8Prepared = 19,
    DvbCodeUcs2 = 20,
    DvbCodeUtf8 = 21,
    DvbCodeCompressed = 22
} DvbCode_t;

enum {
    CharClassDigit = 0x0001,
    CharClassLetter = 0x0002,
    CharClassPunctuation = 0x0004,
    CharClassSpace = 0x0008,
    CharClassOpening = 0x0010,
    CharClassClosing = 0x0020,
    CharClassBreak = 0x0040,
    CharClassStop = 0x0080,
    CharClassSymbol = 0x0100,
    CharClassMark = 0x0200,
    CharClassModifier = 0x0400,
    CharClassFormat = 0x0800,
    CharClassSubscript = 0x2000,
    CharClassSuperscript = 0x4000,
    CharClassControl = 0x8000
};

typedef unsigned short (*zelkCharFilter)(unsigned short character);
typedef int (*zelkUnitGetter)(void *context);
typedef int (*zelkUnitPutter)(unsigned int unit, void *context);

/* ==== Packets and bounded copies ==== */

CharPacket *zelkNewCharPacket(unsigned short size, const char *init);
WideCharPacket *zelkNewWideCharPacket(unsigned short size, const unsigned short *init);
CharPacket *zelkConsCharPacket(const char *first, ...);
WideCharPacket *zelkConsWideCharPacket(const unsigned short *first, ...);
CharPacket *zelkCatCharPackets(const CharPacket *first, ...);
WideCharPacket *zelkCatWideCharPackets(const WideCharPacket *first, ...);
unsigned int zelk_strlcpy(char *dst, int size, const char *src, unsigned int max);
unsigned int zelk_wstrlcpy(unsigned short *dst, int size, const unsigned short *src,
                           unsigned int max);
unsigned int zelk_nawstrlcpy(unsigned char *dst, int size, const unsigned char *src,
                             unsigned int max);
unsigned int zelk_wcslen(const unsigned short *text);
unsigned int zelk_nawcslen(const unsigned char *text);
unsigned int zelk_expand(unsigned short *dst, const char *src, int size);

/* ==== Quoted strings ==== */

unsigned int zelkGetQuotedLength(const char *text, unsigned int examine, char open, char close);
unsigned int zelkCopyQuoted(char *dst, int size, const char *src, int examine, char open,
                            char close);
unsigned int zelkRemoveQuotesFromString(char *dst, int size, const char *src, char first,
                                        char second);
CharPacket *zelkGetQuoted(const CharPacket *text, char open, char close);
unsigned int zelkGetWideQuotedLength(const unsigned short *text, unsigned int examine,
                                     unsigned short open, unsigned short close);
unsigned int zelkCopyWideQuoted(unsigned short *dst, int size, const unsigned short *src,
                                int examine, unsigned short open, unsigned short close);
unsigned int zelkRemoveQuotesFromWideString(unsigned short *dst, int size,
                                            const unsigned short *src, unsigned short first,
                                            unsigned short second);
WideCharPacket *zelkGetWideQuoted(const WideCharPacket *text, unsigned short open,
                                  unsigned short close);

/* ==== Substrings and filters ==== */

unsigned short zelk_filterControlCode0(unsigned short code);
unsigned short zelk_filterMapControlCode8(unsigned short code);
unsigned short zelk_filterMapControlCode8Restricted(unsigned short code);
unsigned short zelk_filterControlChars(unsigned short code);
unsigned int zelkFilterString(char *dst, int size, const char *src, zelkCharFilter filter);
unsigned int zelkFilterWideString(unsigned short *dst, int size, const unsigned short *src,
                                  zelkCharFilter filter);
CharPacket *zelkSubstr(const CharPacket *text, unsigned int start, unsigned int count,
                       const char *replacement);
WideCharPacket *zelkWideSubstr(const WideCharPacket *text, unsigned int start, unsigned int count,
                               const unsigned short *replacement);
int zelk_bitsRevertSequence(unsigned char *dst, const unsigned char *src, int count);
extern const unsigned char zelk_bitsRevSeqTab[256];

/* ==== UTF-8 ==== */

unsigned int zelkUtf8CharGetLength(const unsigned char *text, unsigned int available);
unsigned int zelkUtf8CharDecode(const unsigned char *text, unsigned int available,
                                unsigned short *character);
unsigned int zelkUtf8CharGetEncodedLength(unsigned int character);
unsigned int zelkUtf8CharEncode(unsigned short character, unsigned char *out, int room);

unsigned int zelkUtf8EncodeText(unsigned char *out, int size, const unsigned short *text,
                                int count);
unsigned int zelkUtf8GetLength(const unsigned short *text, int count);
unsigned int zelkUtf8EncodeNotAlignedText(unsigned char *out, int size, const unsigned char *text,
                                          int count);
unsigned int zelkUtf8GetLengthForNotAlignedText(const unsigned char *text, int count);
unsigned int zelkUtf8EncodeNotAlignedInverseText(unsigned char *out, int size,
                                                 const unsigned char *text, int count);
unsigned int zelkUtf8GetLengthForNotAlignedInverseText(const unsigned char *text, int count);
CharPacket *zelkUtf8EncodeString(const unsigned short *text, int count);
CharPacket *zelkUtf8EncodeNotAlignedString(const unsigned char *text, int count);
CharPacket *zelkUtf8EncodeNotAlignedInverseString(const unsigned char *text, int count);
unsigned int zelkUtf8DecodeText(unsigned short *out, int size, const unsigned char *text,
                                int length);
WideCharPacket *zelkUtf8DecodeString(const unsigned char *text, int length);

void zelkInitUtf8Encoder(Utf8EncoderState *state);
unsigned int zelkUtf8Encode(Utf8EncoderState *state, unsigned int unit);
void zelkInitUtf8Decoder(Utf8DecoderState *state);
unsigned int zelkUtf8Decode(Utf8DecoderState *state, unsigned int byte);
int zelkUtf8EncodeStream(zelkUnitGetter getter, void *getterContext, zelkUnitPutter putter,
                         void *putterContext);
int zelkUtf8DecodeStream(zelkUnitGetter getter, void *getterContext, zelkUnitPutter putter,
                         void *putterContext);

unsigned int zelkUtf8GetTextWidth(const unsigned char *text, unsigned int length);
unsigned int zelkUtf8Pos(const unsigned char *text, unsigned int characters);
int zelkUtf8TextIsValid(const unsigned char *text, unsigned int length);
unsigned int zelkUtf8CopyAndCheckIfValid(unsigned char *out, int size, const unsigned char *text,
                                         int length, int *invalid);
unsigned int zelkUtf8CopyQuoted(unsigned char *out, int size, const unsigned char *text,
                                int length, unsigned short open, unsigned short close);
int zelkUtf8GetQuotedLength(const unsigned char *text, int length, unsigned short open,
                            unsigned short close);
CharPacket *zelkUtf8GetQuoted(const CharPacket *text, unsigned short open, unsigned short close);
unsigned int zelkUtf8RemoveQuotesFromString(unsigned char *out, int size,
                                            const unsigned char *text, unsigned short open,
                                            unsigned short close);
int zelkUtf8GetFilteredStringLength(const unsigned char *text, zelkCharFilter filter);
unsigned int zelkUtf8FilterString(unsigned char *out, int size, const unsigned char *text,
                                  zelkCharFilter filter);
CharPacket *zelkUtf8Substr(const CharPacket *text, unsigned int start, unsigned int count,
                           const char *replacement);

/* ==== ISO 8859 ==== */

int combiningMapIso(unsigned int table);
unsigned short zelk_isoConvertSingleChar(unsigned int part, unsigned int character);
unsigned int zelk_isoToUnicodeMaxLength(const char *in, int inLength);
unsigned int zelk_isoToUtf8MaxLength(const char *in, int inLength);
unsigned int zelk_isoToUtf8Length(const char *in, int inLength, unsigned int part);
unsigned int zelk_isoToUnicode(unsigned int part, unsigned short *out, int outSize, const char *in,
                               int inLength);
unsigned int zelk_isoToUtf8(unsigned int part, char *out, int outSize, const char *in,
                            int inLength);
unsigned int zelk_isoToUtf8Checked(unsigned int part, char *out, int outSize, const char *in,
                                   int inLength);
unsigned int zelk_isoToUtf8Tolerant(unsigned int part, char *out, int outSize, const char *in,
                                    int inLength, int *flag);
WideCharPacket *zelkConvertIsoToUnicode(unsigned int part, const char *in, int inLength);
CharPacket *zelkConvertIsoToUtf8(unsigned int part, const char *in, int inLength);
CharPacket *zelkConvertIsoToUtf8Checked(unsigned int part, const char *in, int inLength);
CharPacket *zelkConvertIsoToUtf8Tolerant(unsigned int part, const char *in, int inLength,
                                         int *flag);

/* ==== Windows code pages ==== */

unsigned int zelk_winGetCodeTable(int codePage, unsigned int charSet);
unsigned short zelk_winMapCode(unsigned int table, unsigned int byte);
unsigned int zelk_winToUnicodeMaxLength(const char *in, int inLength);
unsigned int zelk_winToUtf8MaxLength(const char *in, int inLength);
unsigned int zelk_winToUtf8Length(const char *in, int inLength, int codePage,
                                  unsigned int charSet);
unsigned int zelk_winToUnicode(int codePage, unsigned int charSet, unsigned short *out,
                               int outSize, const char *in, int inLength);
unsigned int zelk_winToUtf8(int codePage, unsigned int charSet, char *out, int outSize,
                            const char *in, int inLength);
WideCharPacket *zelkConvertWindowsToUnicode(int codePage, unsigned int charSet, const char *in,
                                            int inLength);
CharPacket *zelkConvertWindowsToUtf8(int codePage, unsigned int charSet, const char *in,
                                     int inLength);

/* ==== Teletext ==== */

unsigned int zelk_pela_ttxConvertToUnicode(unsigned short *out, int outSize,
                                           const unsigned short *in, int inLength);
unsigned int zelk_pela_ttxConvertToUtf8(char *out, int outSize, const unsigned short *in,
                                        int inLength);

/* ==== DVB ==== */

unsigned int zelk_dvbGetDvbCode(const char *text, dvbCharSet_t *charSet, DvbCode_t *code,
                                int *extra, DvbCode_t defaultCode, int defaultExtra);
unsigned short zelkCombineCharWithDiacriticalMark(int set, unsigned int base, unsigned int mark);
int combiningMapDvb(unsigned int table);
unsigned int zelk_dvb8ToUnicode(dvbCharSet_t charSet, unsigned short *out, int outSize,
                                const char *in, int inLen, DvbCode_t defaultCode,
                                int defaultExtra, unsigned int flags);
unsigned int zelk_dvb8ToUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in,
                             int inLen, DvbCode_t defaultCode, int defaultExtra,
                             unsigned int flags);
int zelk_dvb8ToUnicodeMaxLength(const char *in, int inLen, DvbCode_t defaultCode,
                                int defaultExtra, unsigned int flags);
int zelk_dvb8ToUtf8MaxLength(const char *in, int inLen, DvbCode_t defaultCode, int defaultExtra);
int zelk_dvb8PrepUtf8Buffersize(const char *in, int inLen, DvbCode_t defaultCode,
                                int defaultExtra);
unsigned int zelk_dvb8PrepUtf8(dvbCharSet_t charSet, char *out, int outSize, const char *in,
                               int inLen, DvbCode_t defaultCode, int defaultExtra,
                               unsigned int flags);
unsigned int zelk_dvbPrep8ToUtf8(char *out, int outSize, const char *in, int inLen);
CharPacket *zelkPreprocessDvbStringToUtf8(dvbCharSet_t charSet, const char *in, int inLen,
                                          DvbCode_t defaultCode, int defaultExtra,
                                          unsigned int flags);
WideCharPacket *zelkConvertDvb8ToUnicode(dvbCharSet_t charSet, const char *in, int inLen,
                                         DvbCode_t defaultCode, int defaultExtra,
                                         unsigned int flags);
CharPacket *zelkConvertDvb8ToUtf8(dvbCharSet_t charSet, const char *in, int inLen,
                                  DvbCode_t defaultCode, int defaultExtra, unsigned int flags);

/* ==== Huffman ==== */

void zelkInitHuffmanDecoder(HuffmanStreamState *state, unsigned int tableId);
unsigned short zelkHuffmanDecode(HuffmanStreamState *state, unsigned int byte);
int decompressMalaysiaHuffmanTable(unsigned int tableId, const unsigned char *src, int srcLength,
                                   unsigned char *dst, int *outLength);
extern const unsigned char HuffmanDecodeTable_1[4054];
extern const unsigned char HuffmanDecodeTable_2[6320];
extern const unsigned char _title_dec_table[1940];
extern const unsigned char _desc_dec_table[1782];

/* ==== Case, classes, collation, wildcards ==== */

unsigned short zelk2upperChar(unsigned int code);
unsigned short zelk2lowerChar(unsigned int code);
unsigned int zelkcharGetClass(unsigned int code);
int zelkCollateCharsByMainKey(int selector, unsigned int a, unsigned int b);
int zelkCollate(int selector, const char *a, const char *b);
int zelk_patternWildcardMatch(const char *text, const char *pattern);
int zelk_patternWildcardMatchIgnoreCase(const char *text, const char *pattern);
int zelk_patternWildcardMatchIgnoreControlChars(const char *text, const char *pattern);
int zelk_patternWildcardMatchIgnoreCaseAndControlChars(const char *text, const char *pattern);
int zelk_patternCompareIgnoreControlChars(const char *a, const char *b);
int zelk_patternCompareIgnoreCaseAndControlChars(const char *a, const char *b);

/* ==== XML ==== */

const char *zelk_xmlescape(unsigned int c);
unsigned int zelk_xmlifiedLength(const char *in, int inLen);
unsigned int zelk_xmlify(char *out, int outSize, const char *in, int inLen);
unsigned int zelk_unxml(char *out, int outSize, const char *in, int inLen);
CharPacket *zelkXmlify(const char *in, int inLen);
CharPacket *zelkUnXml(const char *in, int inLen);

#ifdef __cplusplus
}
#endif

#if defined(ZELK_BUILDING_LIBRARY)
#pragma GCC visibility pop
#endif

#endif
