#include "families.h"

#include "zelk.h"
#include "zelk_insight.h"

namespace {

using Byte = unsigned char;
using Unit = unsigned short;

constexpr unsigned int mostBytes = 96;
constexpr unsigned int room = 24 * mostBytes + 64; // of every output, whatever size a call states
constexpr unsigned int guard = 0xA5;

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 0xD1B54A32D192ED03U) {}

    unsigned int below(unsigned int limit) {
        state_ ^= state_ << 13U;
        state_ ^= state_ >> 7U;
        state_ ^= state_ << 17U;
        return static_cast<unsigned int>((state_ >> 32U) * limit >> 32U);
    }
    bool oneIn(unsigned int limit) { return below(limit) == 0; }

private:
    uint64_t state_;
};

class Hash {
public:
    void add(uint64_t value) {
        state_ = (state_ ^ value) * 0x100000001B3U;
        state_ ^= state_ >> 29U;
    }
    template <class Element>
    void add(const Element *elements, unsigned int count) {
        for (unsigned int i = 0; i < count; ++i) {
            add(elements[i]);
        }
    }
    void addText(const char *text) {
        add(text == nullptr ? 1 : 2);
        for (; text != nullptr && *text != 0; ++text) {
            add(static_cast<Byte>(*text));
        }
    }
    uint64_t value() const { return state_; }

private:
    uint64_t state_ = 0xCBF29CE484222325U;
};

// An output, all of which counts: what a call may not touch must keep its value.
template <class Element>
struct Output {
    Element elements[room];

    Output() {
        for (Element &element : elements) {
            element = static_cast<Element>(guard);
        }
    }
    void addTo(Hash &hash, unsigned int result) const {
        hash.add(result);
        unsigned int end = room;
        while (end > 0 && elements[end - 1] == static_cast<Element>(guard)) {
            --end;
        }
        hash.add(end);
        for (unsigned int i = 0; i < end; ++i) {
            hash.add(static_cast<Unit>(elements[i]));
        }
    }
    // Of the second library, which may overwrite what is between the terminator and the size.
    void addTo(Hash &hash, unsigned int result, int size) const {
        hash.add(result);
        const unsigned int end = size > 0 ? static_cast<unsigned int>(size) : 1;
        for (unsigned int i = 0; i < room; ++i) {
            if (i <= result || (i >= end && elements[i] != static_cast<Element>(guard))) {
                hash.add(i);
                hash.add(static_cast<Unit>(elements[i]));
            }
        }
    }
};

extern "C" void *malloc(__SIZE_TYPE__ size);
extern "C" void free(void *memory);

template <class Packet>
void addPacket(Hash &hash, Packet *packet, bool wholeText = true) {
    hash.add(packet == nullptr ? 1 : 2);
    if (packet != nullptr) {
        hash.add(packet->capacity);
        hash.add(packet->length);
        if (wholeText) {
            for (unsigned int i = 0; packet->chars[i] != 0; ++i) {
                hash.add(static_cast<Unit>(packet->chars[i]));
            }
        }
        free(packet);
    }
}

unsigned int putUtf8(Byte *out, unsigned int character) {
    if (character < 0x80) {
        out[0] = static_cast<Byte>(character);
        return 1;
    }
    if (character < 0x800) {
        out[0] = static_cast<Byte>(0xC0U | character >> 6U);
        out[1] = static_cast<Byte>(0x80U | (character & 0x3FU));
        return 2;
    }
    out[0] = static_cast<Byte>(0xE0U | character >> 12U);
    out[1] = static_cast<Byte>(0x80U | (character >> 6U & 0x3FU));
    out[2] = static_cast<Byte>(0x80U | (character & 0x3FU));
    return 3;
}

unsigned int anyCharacter(Random &random) {
    switch (random.below(8)) {
    case 0:
    case 1:
    case 2:
    case 3:
        return 0x20 + random.below(0x5F);
    case 4:
        return 0xA0 + random.below(0xE0);
    case 5:
        return 0x370 + random.below(0x190);
    case 6:
        return 0x80 + random.below(0x2000);
    default:
        return random.below(0x10000);
    }
}

// A string with at least four zeros after it. Its bytes before them are never all of the buffer.
struct String {
    Byte bytes[mostBytes + 8] = {};
    unsigned int length = 0;

    const char *chars() const { return reinterpret_cast<const char *>(bytes); }
    char *chars() { return reinterpret_cast<char *>(bytes); }
};

String utf8String(Random &random) {
    String string;
    const unsigned int most = random.below(mostBytes - 3);
    while (string.length < most) {
        if (random.oneIn(40)) {
            string.bytes[string.length++] = static_cast<Byte>(1 + random.below(255));
        } else {
            const unsigned int character = anyCharacter(random);
            string.length += putUtf8(string.bytes + string.length, character == 0 ? 1 : character);
        }
    }
    return string;
}

String anyString(Random &random) {
    if (random.oneIn(5)) {
        return utf8String(random);
    }
    String string;
    const unsigned int kind = random.below(4);
    string.length = random.below(random.oneIn(3) ? mostBytes : 24);
    for (unsigned int i = 0; i < string.length; ++i) {
        string.bytes[i] = static_cast<Byte>(kind == 0              ? random.below(256)
                                            : random.below(8) != 0 ? 0x20 + random.below(0x5F)
                                            : kind == 1            ? 0xC0 + random.below(16)
                                                                   : 0x80 + random.below(128));
    }
    return string;
}

// A string of service information, mostly with a selector.
String dvbString(Random &random) {
    String body = anyString(random);
    String string;
    switch (random.below(8)) {
    case 0:
    case 1:
        return body;
    case 2:
        string.bytes[string.length++] = 0x10;
        string.bytes[string.length++] = 0;
        string.bytes[string.length++] = static_cast<Byte>(random.below(18));
        break;
    case 3:
        string.bytes[string.length++] = 0x1F;
        string.bytes[string.length++] = static_cast<Byte>(random.below(8));
        break;
    case 4:
        string.bytes[string.length++] = 0x15;
        body = utf8String(random);
        break;
    default:
        string.bytes[string.length++] = static_cast<Byte>(random.below(0x20));
        break;
    }
    for (unsigned int i = 0; i < body.length && string.length < mostBytes; ++i) {
        string.bytes[string.length++] = body.bytes[i];
    }
    return string;
}

struct Units {
    Unit units[mostBytes + 4] = {};
    unsigned int count = 0;
};

Units anyUnits(Random &random) {
    Units text;
    text.count = random.below(mostBytes);
    for (unsigned int i = 0; i < text.count; ++i) {
        text.units[i] = static_cast<Unit>(random.oneIn(12) ? 0xE000 + random.below(0x300) : anyCharacter(random));
    }
    return text;
}

int anySize(Random &random) {
    return static_cast<int>(random.oneIn(3) ? random.below(24) : mostBytes * 3 + random.below(mostBytes));
}

int anyCount(Random &random, unsigned int length) {
    return random.oneIn(3) ? -1 : static_cast<int>(random.oneIn(3) ? random.below(length + 1) : length);
}

char quoteOf(Random &random) {
    return "\"'<>ae"[random.below(6)];
}

// ---- The families

void packets(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String a = anyString(random);
    const String b = anyString(random);
    const Units wide = anyUnits(random);
    const auto size = static_cast<Unit>(random.below(40));
    addPacket(hash, zelkNewCharPacket(size, random.oneIn(8) ? nullptr : a.chars()));
    addPacket(hash, zelkNewWideCharPacket(size, random.oneIn(8) ? nullptr : wide.units));
    addPacket(hash, zelkConsCharPacket(a.chars(), b.chars(), static_cast<char *>(nullptr)));
    addPacket(hash, zelkConsWideCharPacket(wide.units, wide.units + wide.count / 2, static_cast<Unit *>(nullptr)));
    CharPacket *const first = zelkNewCharPacket(0, a.chars());
    CharPacket *const second = zelkNewCharPacket(0, b.chars());
    addPacket(hash, zelkCatCharPackets(first, second, static_cast<CharPacket *>(nullptr)));
    free(first);
    free(second);
    WideCharPacket *const whole = zelkNewWideCharPacket(0, wide.units);
    addPacket(hash, zelkCatWideCharPackets(whole, whole, static_cast<WideCharPacket *>(nullptr)));
    free(whole);
    const unsigned int max = random.oneIn(2) ? ZELK_NO_LIMIT : random.below(50);
    Output<char> chars;
    chars.addTo(hash, zelk_strlcpy(chars.elements, anySize(random), a.chars(), max));
    Output<Unit> units;
    units.addTo(hash, zelk_wstrlcpy(units.elements, anySize(random), wide.units, max));
    Output<Byte> pairs;
    const auto *const bytes = reinterpret_cast<const Byte *>(wide.units);
    pairs.addTo(hash, zelk_nawstrlcpy(pairs.elements, anySize(random), bytes, max));
    Output<Unit> expanded;
    expanded.addTo(hash, zelk_expand(expanded.elements, b.chars(), anySize(random)));
    hash.add(zelk_wcslen(wide.units));
    hash.add(zelk_nawcslen(bytes));
}

void quotes(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = anyString(random);
    const Units wide = anyUnits(random);
    const char open = quoteOf(random);
    const char close = quoteOf(random);
    const auto wideOpen = static_cast<Unit>(open);
    const auto wideClose = static_cast<Unit>(close);
    const unsigned int examine = random.oneIn(2) ? ZELK_NO_LIMIT : random.below(text.length + 1);
    hash.add(zelkGetQuotedLength(text.chars(), examine, open, close));
    hash.add(zelkGetWideQuotedLength(wide.units, examine, wideOpen, wideClose));
    Output<char> copied;
    copied.addTo(hash, zelkCopyQuoted(copied.elements, anySize(random), text.chars(), anyCount(random, text.length),
                                      open, close));
    Output<char> removed;
    removed.addTo(hash, zelkRemoveQuotesFromString(removed.elements, anySize(random), text.chars(), open, close));
    Output<Unit> wideCopied;
    wideCopied.addTo(hash, zelkCopyWideQuoted(wideCopied.elements, anySize(random), wide.units,
                                              anyCount(random, wide.count), wideOpen, wideClose));
    Output<Unit> wideRemoved;
    wideRemoved.addTo(
        hash, zelkRemoveQuotesFromWideString(wideRemoved.elements, anySize(random), wide.units, wideOpen, wideClose));
    CharPacket *const packet = zelkNewCharPacket(0, text.chars());
    addPacket(hash, zelkGetQuoted(packet, open, close));
    free(packet);
    WideCharPacket *const widePacket = zelkNewWideCharPacket(0, wide.units);
    addPacket(hash, zelkGetWideQuoted(widePacket, wideOpen, wideClose));
    free(widePacket);
}

zelkCharFilter filterOf(Random &random) {
    switch (random.below(5)) {
    case 0:
        return zelk_filterControlCode0;
    case 1:
        return zelk_filterMapControlCode8;
    case 2:
        return zelk_filterMapControlCode8Restricted;
    case 3:
        return zelk_filterControlChars;
    default:
        return nullptr;
    }
}

void substrings(Random &random, Hash &hash, const DifferentialTables &tables) {
    const String text = anyString(random);
    const Units wide = anyUnits(random);
    const String other = anyString(random);
    const Units otherWide = anyUnits(random);
    const unsigned int start = random.below(mostBytes);
    const unsigned int count = random.oneIn(4) ? ZELK_NO_LIMIT : random.below(mostBytes);
    const bool replaces = random.oneIn(2);
    Output<char> filtered;
    filtered.addTo(hash, zelkFilterString(filtered.elements, anySize(random), text.chars(), filterOf(random)));
    Output<Unit> wideFiltered;
    wideFiltered.addTo(hash,
                       zelkFilterWideString(wideFiltered.elements, anySize(random), wide.units, filterOf(random)));
    CharPacket *const packet = zelkNewCharPacket(0, text.chars());
    addPacket(hash, zelkSubstr(packet, start, count, replaces ? other.chars() : nullptr));
    addPacket(hash, zelkUtf8Substr(packet, start / 2, count, replaces ? other.chars() : nullptr));
    free(packet);
    WideCharPacket *const widePacket = zelkNewWideCharPacket(0, wide.units);
    addPacket(hash, zelkWideSubstr(widePacket, start, count, replaces ? otherWide.units : nullptr));
    free(widePacket);
    Output<Byte> reversed;
    reversed.addTo(hash, static_cast<unsigned int>(
                             zelk_bitsRevertSequence(reversed.elements, text.bytes, static_cast<int>(text.length))));
    hash.add(tables.bitReversal[random.below(256)]);
    const auto code = static_cast<Unit>(random.below(0x10000));
    hash.add(zelk_filterControlCode0(code));
    hash.add(zelk_filterMapControlCode8(code));
    hash.add(zelk_filterMapControlCode8Restricted(code));
    hash.add(zelk_filterControlChars(code));
}

void utf8FromUnits(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const Units wide = anyUnits(random);
    const auto *const bytes = reinterpret_cast<const Byte *>(wide.units);
    const int count = anyCount(random, wide.count);
    Output<Byte> encoded;
    encoded.addTo(hash, zelkUtf8EncodeText(encoded.elements, anySize(random), wide.units, count));
    Output<Byte> highFirst;
    highFirst.addTo(hash, zelkUtf8EncodeNotAlignedText(highFirst.elements, anySize(random), bytes, count));
    Output<Byte> lowFirst;
    lowFirst.addTo(hash, zelkUtf8EncodeNotAlignedInverseText(lowFirst.elements, anySize(random), bytes, count));
    hash.add(zelkUtf8GetLength(wide.units, count));
    hash.add(zelkUtf8GetLengthForNotAlignedText(bytes, count));
    hash.add(zelkUtf8GetLengthForNotAlignedInverseText(bytes, count));
    addPacket(hash, zelkUtf8EncodeString(wide.units, count));
    addPacket(hash, zelkUtf8EncodeNotAlignedString(bytes, count));
    addPacket(hash, zelkUtf8EncodeNotAlignedInverseString(bytes, count));
    Utf8EncoderState state;
    zelkInitUtf8Encoder(&state);
    for (unsigned int i = 0; i < wide.count; ++i) {
        hash.add(zelkUtf8Encode(&state, wide.units[i]));
        for (unsigned int rest = random.below(3); rest > 0; --rest) {
            hash.add(zelkUtf8Encode(&state, 0));
        }
    }
    const unsigned int character = random.below(0x20000);
    hash.add(zelkUtf8CharGetEncodedLength(character));
    Output<Byte> one;
    one.addTo(hash, zelkUtf8CharEncode(static_cast<Unit>(character), one.elements, static_cast<int>(random.below(6))));
}

struct Source {
    const String *string;
    unsigned int at;
};

struct Drain {
    Hash *hash;
    int left;
};

int nextByte(void *context) {
    auto *const source = static_cast<Source *>(context);
    return source->at < source->string->length ? source->string->bytes[source->at++] : -1;
}

int takeUnit(unsigned int unit, void *context) {
    auto *const drain = static_cast<Drain *>(context);
    if (drain->left-- == 0) {
        return -1;
    }
    drain->hash->add(unit);
    return 0;
}

void utf8ToUnits(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = random.oneIn(3) ? anyString(random) : utf8String(random);
    const int count = anyCount(random, text.length);
    const unsigned int limit = count < 0 ? ZELK_NO_LIMIT : static_cast<unsigned int>(count);
    Output<Unit> decoded;
    decoded.addTo(hash, zelkUtf8DecodeText(decoded.elements, anySize(random), text.bytes, count));
    addPacket(hash, zelkUtf8DecodeString(text.bytes, count));
    hash.add(zelkUtf8GetTextWidth(text.bytes, limit));
    hash.add(zelkUtf8Pos(text.bytes, random.below(mostBytes)));
    hash.add(static_cast<unsigned int>(zelkUtf8TextIsValid(text.bytes, limit)));
    int invalid = random.oneIn(8) ? 1 : 0;
    Output<Byte> copied;
    copied.addTo(hash, zelkUtf8CopyAndCheckIfValid(copied.elements, anySize(random), text.bytes, count, &invalid));
    hash.add(static_cast<unsigned int>(invalid));
    for (unsigned int at = 0; at < text.length;) {
        Unit character = 0x1234;
        hash.add(zelkUtf8CharGetLength(text.bytes + at, text.length - at));
        const unsigned int used = zelkUtf8CharDecode(text.bytes + at, text.length - at, &character);
        hash.add(character);
        at += used == 0 ? 1 : used;
    }
    Utf8DecoderState state;
    zelkInitUtf8Decoder(&state);
    for (unsigned int i = 0; i < text.length; ++i) {
        hash.add(zelkUtf8Decode(&state, text.bytes[i]));
    }
    Source source{&text, 0};
    Drain drain{&hash, static_cast<int>(random.below(2 * mostBytes))};
    hash.add(static_cast<unsigned int>(zelkUtf8DecodeStream(nextByte, &source, takeUnit, &drain)));
    source.at = 0;
    drain.left = static_cast<int>(random.below(2 * mostBytes));
    hash.add(static_cast<unsigned int>(zelkUtf8EncodeStream(nextByte, &source, takeUnit, &drain)));
}

void utf8Quotes(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = utf8String(random);
    const auto open = static_cast<Unit>(random.oneIn(4) ? anyCharacter(random) : static_cast<Byte>(quoteOf(random)));
    const auto close = static_cast<Unit>(random.oneIn(4) ? anyCharacter(random) : static_cast<Byte>(quoteOf(random)));
    const int count = anyCount(random, text.length);
    Output<Byte> copied;
    copied.addTo(hash, zelkUtf8CopyQuoted(copied.elements, anySize(random), text.bytes, count, open, close));
    hash.add(static_cast<unsigned int>(zelkUtf8GetQuotedLength(text.bytes, count, open, close)));
    Output<Byte> removed;
    removed.addTo(hash, zelkUtf8RemoveQuotesFromString(removed.elements, anySize(random), text.bytes, open, close));
    CharPacket *const packet = zelkNewCharPacket(0, text.chars());
    addPacket(hash, zelkUtf8GetQuoted(packet, open, close));
    free(packet);
    hash.add(static_cast<unsigned int>(zelkUtf8GetFilteredStringLength(text.bytes, filterOf(random))));
    Output<Byte> filtered;
    filtered.addTo(hash, zelkUtf8FilterString(filtered.elements, anySize(random), text.bytes, filterOf(random)));
}

void iso8859(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = anyString(random);
    const unsigned int part = random.below(19);
    const int count = anyCount(random, text.length);
    Output<char> utf8;
    utf8.addTo(hash, zelk_isoToUtf8(part, utf8.elements, anySize(random), text.chars(), count));
    Output<char> verified;
    verified.addTo(hash, zelk_isoToUtf8Checked(part, verified.elements, anySize(random), text.chars(), count));
    int flag = random.oneIn(4) ? 1 : 0;
    Output<char> tolerant;
    tolerant.addTo(hash, zelk_isoToUtf8Tolerant(part, tolerant.elements, anySize(random), text.chars(), count, &flag));
    hash.add(static_cast<unsigned int>(flag));
    Output<Unit> units;
    units.addTo(hash, zelk_isoToUnicode(part, units.elements, anySize(random), text.chars(), count));
    hash.add(zelk_isoToUnicodeMaxLength(text.chars(), count));
    hash.add(zelk_isoToUtf8MaxLength(text.chars(), count));
    hash.add(zelk_isoToUtf8Length(text.chars(), count, part));
    hash.add(zelk_isoConvertSingleChar(part, random.below(part > 16 ? 4096 : 256)));
    hash.add(static_cast<unsigned int>(combiningMapIso(random.below(13))));
    const int whole = static_cast<int>(text.length);
    addPacket(hash, zelkConvertIsoToUnicode(part, text.chars(), whole));
    addPacket(hash, zelkConvertIsoToUtf8(part, text.chars(), whole));
    addPacket(hash, zelkConvertIsoToUtf8Checked(part, text.chars(), whole));
    addPacket(hash, zelkConvertIsoToUtf8Tolerant(part, text.chars(), whole, &flag));
}

void windows(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = anyString(random);
    const int page = random.oneIn(10) ? -1 : 1248 + static_cast<int>(random.below(12));
    static const unsigned int identifiers[] = {0, 1, 2, 3, 161, 162, 186, 204, 238, 255, 0xFFFFFFFF};
    const unsigned int identifier = identifiers[random.below(11)];
    const int count = anyCount(random, text.length);
    Output<char> utf8;
    utf8.addTo(hash, zelk_winToUtf8(page, identifier, utf8.elements, anySize(random), text.chars(), count));
    Output<Unit> units;
    units.addTo(hash, zelk_winToUnicode(page, identifier, units.elements, anySize(random), text.chars(), count));
    hash.add(zelk_winGetCodeTable(page, identifier));
    hash.add(zelk_winMapCode(random.below(300), random.below(512)));
    hash.add(zelk_winToUnicodeMaxLength(text.chars(), count));
    hash.add(zelk_winToUtf8MaxLength(text.chars(), count));
    hash.add(zelk_winToUtf8Length(text.chars(), count, page, identifier));
    const int whole = static_cast<int>(text.length);
    addPacket(hash, zelkConvertWindowsToUnicode(page, identifier, text.chars(), whole));
    addPacket(hash, zelkConvertWindowsToUtf8(page, identifier, text.chars(), whole));
}

void teletext(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const Units text = anyUnits(random);
    const int count = anyCount(random, text.count);
    Output<Unit> units;
    units.addTo(hash, zelk_pela_ttxConvertToUnicode(units.elements, anySize(random), text.units, count));
    Output<char> utf8;
    utf8.addTo(hash, zelk_pela_ttxConvertToUtf8(utf8.elements, anySize(random), text.units, count));
}

// Whether a negative count is allowed: compressed text needs its end, and 10 00 its third byte.
bool endsByItself(const String &string, DvbCode_t defaultCode) {
    return string.bytes[0] != 0x1F && string.bytes[0] != 0x10 && defaultCode != DvbCodeCompressed;
}

void dvb(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = dvbString(random);
    const auto region = static_cast<dvbCharSet_t>(random.below(8));
    const auto code = static_cast<DvbCode_t>(random.oneIn(2) ? 18 : random.below(24));
    static const int types[] = {1, 2, 5, 6};
    const int extra = code == DvbCodeCompressed ? types[random.below(4)] : 0;
    const unsigned int flags = random.below(2);
    const int count =
        endsByItself(text, code) ? anyCount(random, text.length) : static_cast<int>(random.below(text.length + 1));
    Output<char> utf8;
    utf8.addTo(hash, zelk_dvb8ToUtf8(region, utf8.elements, anySize(random), text.chars(), count, code, extra, flags));
    Output<Unit> units;
    units.addTo(hash,
                zelk_dvb8ToUnicode(region, units.elements, anySize(random), text.chars(), count, code, extra, flags));
    Output<char> prepared;
    prepared.addTo(hash, zelk_dvb8PrepUtf8(region, prepared.elements, 2 + anySize(random), text.chars(), count, code,
                                           extra, flags));
    Output<char> unprepared;
    unprepared.addTo(hash, zelk_dvbPrep8ToUtf8(unprepared.elements, anySize(random), text.chars(), count));
    hash.add(static_cast<unsigned int>(zelk_dvb8ToUnicodeMaxLength(text.chars(), count, code, extra, flags)));
    hash.add(static_cast<unsigned int>(zelk_dvb8ToUtf8MaxLength(text.chars(), count, code, extra)));
    hash.add(static_cast<unsigned int>(zelk_dvb8PrepUtf8Buffersize(text.chars(), count, code, extra)));
    addPacket(hash, zelkPreprocessDvbStringToUtf8(region, text.chars(), count, code, extra, flags));
    addPacket(hash, zelkConvertDvb8ToUnicode(region, text.chars(), count, code, extra, flags));
    addPacket(hash, zelkConvertDvb8ToUtf8(region, text.chars(), count, code, extra, flags));
    dvbCharSet_t selectedRegion = region;
    DvbCode_t selected = DvbCodeNone;
    int selectedExtra = -1;
    hash.add(zelk_dvbGetDvbCode(text.chars(), &selectedRegion, &selected, &selectedExtra, code, extra));
    hash.add(static_cast<unsigned int>(selectedRegion));
    hash.add(static_cast<unsigned int>(selected));
    hash.add(static_cast<unsigned int>(selectedExtra));
    hash.add(zelkCombineCharWithDiacriticalMark(static_cast<int>(random.below(5)) - 1, random.below(256),
                                                random.below(256)));
    hash.add(static_cast<unsigned int>(combiningMapDvb(random.below(20))));
}

void huffman(Random &random, Hash &hash, const DifferentialTables &tables) {
    const String text = anyString(random);
    HuffmanStreamState state;
    zelkInitHuffmanDecoder(&state, 1 + random.below(2));
    for (unsigned int i = 0; i < text.length; ++i) {
        unsigned int result = 0;
        for (unsigned int calls = 0; calls < 16 && result < 0xFFFE; ++calls) {
            result = zelkHuffmanDecode(&state, text.bytes[i]);
            hash.add(result);
        }
        if (result == 0xFFFF) {
            break;
        }
    }
    Output<Byte> decoded;
    int length = -1;
    const unsigned int table = 5 + random.below(2);
    hash.add(static_cast<unsigned int>(
        decompressMalaysiaHuffmanTable(table, text.bytes, static_cast<int>(text.length), decoded.elements, &length)));
    decoded.addTo(hash, static_cast<unsigned int>(length));
    hash.add(tables.dvb1[random.below(4054)]);
    hash.add(tables.dvb2[random.below(6320)]);
    hash.add(tables.title[random.below(1940)]);
    hash.add(tables.description[random.below(1782)]);
}

void lettersAndOrder(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const unsigned int code = random.below(0x10200);
    const unsigned int other = anyCharacter(random);
    hash.add(zelk2upperChar(code));
    hash.add(zelk2lowerChar(code));
    hash.add(zelkcharGetClass(code));
    hash.add(static_cast<unsigned int>(zelkCollateCharsByMainKey(0, code, other)));
    const String a = utf8String(random);
    String b = utf8String(random);
    if (random.oneIn(2)) { // alike at the beginning
        b = a;
        b.bytes[b.length == 0 ? 0 : random.below(b.length)] = static_cast<Byte>(0x20 + random.below(0x5F));
    }
    hash.add(static_cast<unsigned int>(zelkCollate(0, a.chars(), b.chars())));
}

void wildcards(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = anyString(random);
    String pattern = text;
    for (unsigned int changes = random.below(6); changes > 0 && pattern.length > 0; --changes) {
        pattern.bytes[random.below(pattern.length)] = static_cast<Byte>("**?aB\x05"[random.below(6)]);
    }
    if (random.oneIn(2) && pattern.length > 2) { // less to match with a star
        const unsigned int cut = random.below(pattern.length - 1);
        pattern.bytes[cut] = '*';
        for (unsigned int i = cut + 1; i < pattern.length; ++i) {
            pattern.bytes[i] = pattern.bytes[i + 1];
        }
    }
    const auto truth = [&](int result) { hash.add(result == 0 ? 1 : 0); };
    truth(zelk_patternWildcardMatch(text.chars(), pattern.chars()));
    truth(zelk_patternWildcardMatchIgnoreCase(text.chars(), pattern.chars()));
    truth(zelk_patternWildcardMatchIgnoreControlChars(text.chars(), pattern.chars()));
    truth(zelk_patternWildcardMatchIgnoreCaseAndControlChars(text.chars(), pattern.chars()));
    hash.add(static_cast<unsigned int>(zelk_patternCompareIgnoreControlChars(text.chars(), pattern.chars())));
    hash.add(static_cast<unsigned int>(zelk_patternCompareIgnoreCaseAndControlChars(text.chars(), pattern.chars())));
}

void xml(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    String text = anyString(random);
    for (unsigned int changes = random.below(12); changes > 0 && text.length > 0; --changes) {
        text.bytes[random.below(text.length)] = static_cast<Byte>("&<>\"'#;ampltx0123"[random.below(17)]);
    }
    if (random.oneIn(2) && text.length > 8) {
        static const char *const names[] = {"&amp;", "&l;", "&#65;", "&#x41;", "&quot;", "&apos;", "&gt;", "&# 7;"};
        const char *name = names[random.below(8)];
        for (unsigned int at = random.below(text.length - 6); *name != 0; ++name) {
            text.bytes[at++] = static_cast<Byte>(*name);
        }
    }
    const int count = anyCount(random, text.length);
    Output<char> escaped;
    escaped.addTo(hash, zelk_xmlify(escaped.elements, anySize(random), text.chars(), count));
    Output<char> unescaped;
    unescaped.addTo(hash, zelk_unxml(unescaped.elements, anySize(random), text.chars(), count));
    hash.add(zelk_xmlifiedLength(text.chars(), count));
    addPacket(hash, zelkXmlify(text.chars(), count));
    addPacket(hash, zelkUnXml(text.chars(), static_cast<int>(text.length)));
    hash.addText(zelk_xmlescape(random.below(128)));
}

zelkInsightSettings anySettings(Random &random) {
    static const int types[] = {1, 2, 5, 6};
    zelkInsightSettings settings;
    settings.charSet = static_cast<dvbCharSet_t>(random.below(8));
    settings.defaultCode = static_cast<DvbCode_t>(random.oneIn(2) ? 18 : random.below(24));
    settings.defaultExtra = settings.defaultCode == DvbCodeCompressed ? types[random.below(4)] : 0;
    settings.flags = random.below(2);
    settings.options = random.oneIn(2) ? 0 : random.below(8);
    return settings;
}

const char *anyLanguage(Random &random) {
    static const char *const languages[] = {nullptr, "eng", "fre", "fra", "de", "cze",
                                            "rus",   "gre", "tur", "pol", "xx"};
    return languages[random.below(11)];
}

template <class Record, unsigned int words>
void addRecords(Hash &hash, const Record *records, unsigned int count) {
    static_assert(sizeof(Record) == 4 * words, "a record of numbers");
    for (unsigned int i = 0; i < count; ++i) {
        hash.add(reinterpret_cast<const unsigned int *>(records + i), words);
    }
}

unsigned int lesser(unsigned int a, unsigned int b) {
    return a < b ? a : b;
}

void evidence(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = dvbString(random);
    const zelkInsightSettings settings = anySettings(random);
    const int count = static_cast<int>(random.below(4) == 0 ? random.below(text.length + 1) : text.length);
    constexpr unsigned int steps = 8 * mostBytes + 8;
    static zelkInsightFinding findings[steps];
    static zelkInsightStep stretches[steps];
    zelkInsightEvidence found = {};
    found.findings = findings;
    found.findingRoom = random.oneIn(3) ? random.below(4) : steps;
    found.steps = random.oneIn(3) ? nullptr : stretches;
    found.stepRoom = random.oneIn(3) ? random.below(8) : steps;
    const int size = random.oneIn(4) ? anySize(random) : static_cast<int>(room);
    Output<char> out;
    const unsigned int length = zelkInsightDecode(&settings, out.elements, size, text.chars(), count, &found);
    out.addTo(hash, length, size);
    hash.add(found.findingCount);
    hash.add(found.stepCount);
    hash.add(reinterpret_cast<const unsigned int *>(&found.severity), 7);
    const unsigned int kept = lesser(found.findingCount, found.findingRoom);
    addRecords<zelkInsightFinding, 7>(hash, findings, kept);
    if (found.steps != nullptr) {
        addRecords<zelkInsightStep, 10>(hash, stretches, lesser(found.stepCount, found.stepRoom));
    }
    hash.add(static_cast<unsigned int>(zelkInsightDecodeSize(&settings, text.chars(), count)));
    Output<char> alone;
    alone.addTo(hash, zelkInsightDecode(&settings, alone.elements, size, text.chars(), count, nullptr), size);
    zelkInsightSpan spans[16];
    const unsigned int pieces = zelkInsightSplitEmphasis(&found, length, spans, 16);
    hash.add(pieces);
    addRecords<zelkInsightSpan, 3>(hash, spans, lesser(pieces, 16));
}

void lint(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = dvbString(random);
    const zelkInsightSettings settings = anySettings(random);
    constexpr unsigned int most = 8 * mostBytes;
    static zelkInsightFault faults[most];
    const unsigned int faultRoom = random.oneIn(4) ? random.below(3) : most;
    const unsigned int count =
        zelkInsightLint(&settings, text.chars(), static_cast<int>(text.length), anyLanguage(random), faults, faultRoom);
    hash.add(count);
    addRecords<zelkInsightFault, 7>(hash, faults, lesser(count, faultRoom));
    const unsigned int rule = random.below(80);
    hash.addText(zelkInsightRuleName(rule));
    hash.addText(zelkInsightRuleClause(rule));
    hash.addText(zelkInsightRuleMeaning(rule));
    hash.add(static_cast<unsigned int>(zelkInsightRuleSeverity(rule)));
    const auto kind = static_cast<zelkInsightKind>(random.below(24));
    hash.addText(zelkInsightKindName(kind));
    hash.addText(zelkInsightKindClause(kind));
    hash.add(static_cast<unsigned int>(zelkInsightKindSeverity(kind)));
    hash.addText(zelkInsightTableName(static_cast<zelkInsightTable>(random.below(70))));
}

void guess(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = dvbString(random);
    const zelkInsightSettings settings = anySettings(random);
    zelkInsightGuess guesses[ZELK_INSIGHT_MOST_GUESSES];
    const unsigned int guessRoom = random.oneIn(3) ? random.below(4) : ZELK_INSIGHT_MOST_GUESSES;
    const unsigned int count = zelkInsightGuessTables(&settings, text.chars(), static_cast<int>(text.length),
                                                      anyLanguage(random), guesses, guessRoom);
    hash.add(count);
    addRecords<zelkInsightGuess, 4>(hash, guesses, lesser(count, guessRoom));
    const String wrong = utf8String(random);
    zelkInsightRepaired repaired;
    Output<char> out;
    const int size = anySize(random);
    out.addTo(hash,
              zelkInsightRepair(out.elements, size, wrong.chars(), anyCount(random, wrong.length), anyLanguage(random),
                                &repaired),
              size);
    addRecords<zelkInsightRepaired, 3>(hash, &repaired, 1);
}

void texts(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = utf8String(random);
    const int count = anyCount(random, text.length);
    const int size = anySize(random);
    Output<char> lower;
    lower.addTo(hash, zelkInsightLower(lower.elements, size, text.chars(), count), size);
    Output<char> upper;
    upper.addTo(hash, zelkInsightUpper(upper.elements, size, text.chars(), count), size);
    Output<char> folded;
    folded.addTo(hash, zelkInsightFold(folded.elements, size, text.chars(), count), size);
    Output<char> key;
    const int keySize = zelkInsightSortKeySize(text.chars(), count);
    hash.add(static_cast<unsigned int>(keySize));
    const int keyRoom = random.oneIn(3) ? size : keySize;
    key.addTo(hash, zelkInsightSortKey(key.elements, keyRoom, text.chars(), count, random.below(2)), keyRoom);
    const String parts[] = {dvbString(random), dvbString(random), dvbString(random)};
    const zelkInsightPiece pieces[] = {{parts[0].chars(), static_cast<int>(parts[0].length)},
                                       {parts[1].chars(), static_cast<int>(parts[1].length)},
                                       {parts[2].chars(), static_cast<int>(parts[2].length)}};
    unsigned int used = 0;
    Output<char> joined;
    joined.addTo(hash, zelkInsightJoinPieces(joined.elements, size, pieces, random.below(4), &used), size);
    hash.add(used);
}

int takePiece(const char *piece, unsigned int length, void *context) {
    auto *const hash = static_cast<Hash *>(context);
    hash->add(length);
    hash->add(reinterpret_cast<const Byte *>(piece), length);
    return 0;
}

void encode(Random &random, Hash &hash, const DifferentialTables & /*tables*/) {
    const String text = utf8String(random);
    const int count = anyCount(random, text.length);
    zelkInsightEncodeSettings settings;
    settings.charSet = static_cast<dvbCharSet_t>(random.below(8));
    settings.forms = random.oneIn(3) ? 0 : random.oneIn(2) ? 1U << random.below(24) : random.below(1U << 24U);
    settings.options = random.below(2);
    zelkInsightEncoded encoded = {};
    const int size = anySize(random);
    Output<char> out;
    out.addTo(hash, zelkInsightEncode(&settings, out.elements, size, text.chars(), count, &encoded), size);
    addRecords<zelkInsightEncoded, 8>(hash, &encoded, 1);
    hash.add(zelkInsightEncodePieces(&settings, static_cast<int>(1 + random.below(60)), text.chars(), count, takePiece,
                                     &hash, &encoded));
    addRecords<zelkInsightEncoded, 8>(hash, &encoded, 1);
    Output<char> compressed;
    compressed.addTo(hash, zelkInsightCompress(random.below(6), compressed.elements, size, text.chars(), count), size);
}

struct Family {
    const char *name;
    void (*run)(Random &random, Hash &hash, const DifferentialTables &tables);
};

constexpr Family families[] = {
    {"packets", packets},
    {"quotes", quotes},
    {"substrings", substrings},
    {"utf8-from-units", utf8FromUnits},
    {"utf8-to-units", utf8ToUnits},
    {"utf8-quotes", utf8Quotes},
    {"iso8859", iso8859},
    {"windows", windows},
    {"teletext", teletext},
    {"dvb", dvb},
    {"huffman", huffman},
    {"letters-and-order", lettersAndOrder},
    {"wildcards", wildcards},
    {"xml", xml},
    {"evidence", evidence},
    {"lint", lint},
    {"guess", guess},
    {"texts", texts},
    {"encode", encode},
};

constexpr unsigned int familyCount = sizeof families / sizeof families[0];

} // namespace

const char *differentialFamily(unsigned int family) {
    return family < familyCount ? families[family].name : nullptr;
}

uint64_t differentialRun(const DifferentialTables *tables, unsigned int family, unsigned int first,
                         unsigned int count) {
    Hash hash;
    for (unsigned int i = 0; i < count; ++i) {
        Random random(uint64_t{family} << 32U | (first + i));
        random.below(2); // the first number of neighbours is alike
        families[family].run(random, hash, *tables);
    }
    return hash.value();
}
