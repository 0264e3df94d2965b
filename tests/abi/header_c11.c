/* The flat interface from C: compiled as C11 with -Wpedantic, one call from every family. */
#include "zelk.h"

#include <assert.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static_assert(offsetof(CharPacket, chars) == 4, "two 16-bit fields before the text");
static_assert(offsetof(WideCharPacket, chars) == 4, "two 16-bit fields before the text");
static_assert(sizeof(Utf8EncoderState) == 8, "an int and two units");
static_assert(offsetof(Utf8DecoderState, value) == 8, "two 32-bit fields before the value");
static_assert(offsetof(HuffmanStreamState, bitIndex) == 8, "an int and two 16-bit fields before the bit index");
static_assert(sizeof(dvbCharSet_t) == 4 && sizeof(DvbCode_t) == 4, "enumerations of 32 bits");

static int failures = 0;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "header_c11: %s\n", what);
        ++failures;
    }
}

int main(void) {
    CharPacket *packet = zelkConsCharPacket("a", "(b)", (char *)NULL);
    expect(packet != NULL && packet->length == 4, "packets");
    CharPacket *quoted = zelkGetQuoted(packet, '(', ')');
    expect(quoted != NULL && strcmp(quoted->chars, "b") == 0, "quoted strings");
    CharPacket *part = zelkSubstr(packet, 1, 3, NULL);
    expect(part != NULL && strcmp(part->chars, "(b)") == 0, "substrings");
    free(part);
    free(quoted);
    free(packet);

    char text[64];
    unsigned char utf8[8];
    expect(zelkUtf8CharEncode(0x20AC, utf8, 4) == 3, "UTF-8 characters");
    expect(zelkUtf8TextIsValid((const unsigned char *)"caf\xC3\xA9", 0xFFFFFFFFU) == 1, "UTF-8 text");
    expect(zelk_isoToUtf8(15, text, 64, "\xA4", 1) == 3, "ISO 8859");
    expect(zelk_winToUtf8(1252, 0, text, 64, "\x80", 1) == 3, "Windows code pages");
    const unsigned short teletext[] = {0xE210, 0};
    expect(zelk_pela_ttxConvertToUtf8(text, 64, teletext, -1) == 3, "teletext");
    expect(zelk_dvb8ToUtf8(DvbCharSetStandard, text, 64,
                           "\xC2"
                           "e",
                           -1, DvbCodeNone, 0, 0) == 2 &&
               strcmp(text, "\xC3\xA9") == 0,
           "DVB");
    HuffmanStreamState state;
    zelkInitHuffmanDecoder(&state, 1);
    expect(zelkHuffmanDecode(&state, 0) == 'T', "Huffman");
    expect(zelk2upperChar('a') == 'A' && zelkcharGetClass('a') == CharClassLetter, "case and classes");
    expect(zelkCollate(0, "a", "b") < 0, "collation");
    expect(zelk_patternWildcardMatch("abc", "a*") == 0, "wildcards");
    expect(zelk_xmlify(text, 64, "<", -1) == 4, "XML");
    return failures == 0 ? 0 : 1;
}
