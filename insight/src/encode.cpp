// UTF-8 into DVB text: the shortest form among those that are allowed.
//
// Every form is measured the same way it is written, character by character, so that the choice is exact: by what it
// can say, then by what fits, then by its bytes. A character is sayable in a form only where receivers of the region
// read exactly it back.
#include "combining.h"
#include "context_encoder.h"
#include "utf8.h"

#include "tables/dvb_marks.h"
#include "tables/dvb_tables.h"

#include "zelk_insight.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

namespace zelk::insight {
namespace {

constexpr zelkInsightEncodeSettings standardSettings = {DvbCharSetStandard, 0, 0};

// ---- Forms ----

enum class Kind { Bytes, Utf8, TwoByte, Context };

struct Form {
    Kind kind;
    unsigned int number; // the bit of zelkInsightEncodeSettings::forms
    DvbCode_t code;
    int extra;
    zelkInsightTable table;
    std::array<unsigned char, 3> selector;
    unsigned int selectorLength;
    tables::DvbTable set; // of Bytes
    bool asciiOnly;
};

constexpr unsigned int formCount = 24;
constexpr unsigned int firstContextForm = 22;

// False where the number is none of a form.
bool makeForm(unsigned int number, dvbCharSet_t charSet, Form &form) {
    form = {};
    form.number = number;
    if (number < tables::dvbCodeCount) {
        const auto region = static_cast<unsigned int>(charSet);
        form.kind = Kind::Bytes;
        form.code = static_cast<DvbCode_t>(number);
        if (number == 0) { // no selector: the default table in every region but that of GB 2312
            form.set = tables::dvbTables[0];
            form.asciiOnly = charSet == DvbCharSetGb2312;
            return true;
        }
        const bool other = region >= tables::dvbRegionCount;
        const unsigned int table = other ? tables::dvbOtherRegionTable : tables::dvbSelectionMatrix[region][number];
        form.table = static_cast<zelkInsightTable>(table);
        form.set = tables::dvbTables[table];
        if (number >= 5 && number <= 15 && number != 12) {
            form.selector = {static_cast<unsigned char>(number - 4)};
            form.selectorLength = 1;
        } else {
            form.selector = {0x10, 0x00, static_cast<unsigned char>(number)};
            form.selectorLength = 3;
        }
        return true;
    }
    switch (number) {
    case DvbCodeUcs2:
        form.kind = Kind::TwoByte;
        form.code = DvbCodeUcs2;
        form.table = ZelkInsightTableTwoByte;
        form.selector = {0x11};
        form.selectorLength = 1;
        return true;
    case DvbCodeUtf8:
        form.kind = Kind::Utf8;
        form.code = DvbCodeUtf8;
        form.table = ZelkInsightTableUtf8;
        form.selector = {0x15};
        form.selectorLength = 1;
        return true;
    case firstContextForm:
    case firstContextForm + 1:
        form.kind = Kind::Context;
        form.code = DvbCodeCompressed;
        form.extra = static_cast<int>(number - firstContextForm + 1);
        form.table = ZelkInsightTableCompressed;
        form.selector = {0x1F, static_cast<unsigned char>(form.extra)};
        form.selectorLength = 2;
        return true;
    default:
        return false;
    }
}

// ---- Characters ----

struct Sequence {
    std::array<unsigned char, 4> bytes;
    unsigned int length; // 0: the form cannot say the character
};

Sequence sequenceOf(unsigned int a) {
    return {{static_cast<unsigned char>(a)}, 1};
}

Sequence sequenceOf(unsigned int a, unsigned int b) {
    return {{static_cast<unsigned char>(a), static_cast<unsigned char>(b)}, 2};
}

constexpr bool isEmphasis(unsigned int codePoint) {
    return codePoint == 0x86 || codePoint == 0x87;
}

// Control codes of the standard: line feed and emphasis; all others cannot be sent.
constexpr unsigned int controlCode(unsigned int codePoint) {
    return codePoint == 0x0A ? 0x8A : isEmphasis(codePoint) ? codePoint : 0;
}

constexpr bool isUnsendable(unsigned int codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x80 && codePoint < 0xA0) || (codePoint >= 0xE080 && codePoint < 0xE0A0);
}

// A mark and its letter, or a mark and a space for the mark alone.
Sequence composedSequence(unsigned int marksOfTable, unsigned int codePoint) {
    const tables::DvbMarks &marks = tables::dvbMarks;
    const tables::MarkSet &set = marks.sets[marksOfTable];
    const unsigned int rows = marksOfTable == tables::greekMarks ? tables::greekRows : tables::latinRows;
    const auto *const begin = marks.composed.data() + set.grid;
    const auto *const end = begin + std::size_t{rows} * set.columns;
    for (const auto *at = std::find(begin, end, codePoint); at != end; at = std::find(at + 1, end, codePoint)) {
        const auto place = static_cast<unsigned int>(at - begin);
        const unsigned int row = place / set.columns + 1;
        const unsigned int column = place % set.columns + 1;
        const auto mark = static_cast<unsigned int>(std::ranges::find(set.columnOf, column) - set.columnOf.begin());
        const auto base = static_cast<unsigned int>(std::ranges::find(set.rowOf, row) - set.rowOf.begin());
        if (mark != set.columnOf.size() && base != set.rowOf.size()) {
            return sequenceOf(mark, base);
        }
    }
    return {};
}

Sequence inTable(const Form &form, unsigned int codePoint) {
    if (codePoint < 0x7F && codePoint >= 0x20) {
        return sequenceOf(codePoint);
    }
    if (const unsigned int control = controlCode(codePoint); control != 0) {
        return sequenceOf(control);
    }
    if ((codePoint == 0x09 || codePoint == 0x7F) && form.set.set != tables::ByteSet::DvbDefault) {
        return sequenceOf(codePoint);
    }
    if (isUnsendable(codePoint) || codePoint > 0xFFFF || codePoint == tables::unassigned || form.asciiOnly) {
        return {};
    }
    const tables::CodePoints &set = tables::codePointsOf(form.set.set);
    const auto *const first = set.data() + 0xA0;
    const auto *const last = set.data() + set.size();
    for (const auto *at = std::find(first, last, codePoint); at != last; at = std::find(at + 1, last, codePoint)) {
        const auto byte = static_cast<unsigned int>(at - set.data());
        const bool mark =
            form.set.marks != tables::noMarks && tables::dvbMarks.sets[form.set.marks].columnOf[byte] != 0;
        if (!mark) {
            return sequenceOf(byte);
        }
    }
    return form.set.marks != tables::noMarks ? composedSequence(form.set.marks, codePoint) : Sequence{};
}

// Two-byte and UTF-8 text has its controls in the private use area.
unsigned int inUnicode(unsigned int codePoint) {
    const unsigned int control = controlCode(codePoint);
    return control != 0 ? 0xE000 + control : codePoint == 0x09 || !isUnsendable(codePoint) ? codePoint : 0;
}

Sequence utf8Sequence(unsigned int codePoint) {
    const unsigned int sent = inUnicode(codePoint);
    if (sent == 0 || sent > 0xFFFF) {
        return {};
    }
    Sequence sequence{};
    char bytes[4];
    sequence.length = utf8Write(sent, bytes);
    std::memcpy(sequence.bytes.data(), bytes, sequence.length);
    return sequence;
}

Sequence twoByteSequence(unsigned int codePoint) {
    const unsigned int sent = inUnicode(codePoint);
    if (sent == 0) {
        return {};
    }
    if (sent <= 0xFFFF) {
        return sequenceOf(sent >> 8U, sent & 0xFFU);
    }
    const unsigned int high = 0xD800 + ((sent - 0x10000) >> 10U);
    const unsigned int low = 0xDC00 + (sent & 0x3FFU);
    return {{static_cast<unsigned char>(high >> 8U), static_cast<unsigned char>(high & 0xFFU),
             static_cast<unsigned char>(low >> 8U), static_cast<unsigned char>(low & 0xFFU)},
            4};
}

// Decoders of compressed text take U+FFFE and U+FFFF for something else.
Sequence exactSequence(const Form &form, unsigned int codePoint) {
    switch (form.kind) {
    case Kind::Bytes:
        return inTable(form, codePoint);
    case Kind::Utf8:
        return utf8Sequence(codePoint);
    case Kind::TwoByte:
        return twoByteSequence(codePoint);
    default:
        return codePoint == 0xFFFE || codePoint == 0xFFFF ? Sequence{} : utf8Sequence(codePoint);
    }
}

struct Sent {
    Sequence sequence;
    bool said; // else it is a question mark of the form
};

Sent sequenceIn(const Form &form, const Utf8Character &character) {
    const Sequence exact = character.valid ? exactSequence(form, character.codePoint) : Sequence{};
    return exact.length != 0 ? Sent{exact, true} : Sent{exactSequence(form, '?'), false};
}

// ---- Texts ----

struct Text {
    const unsigned char *bytes;
    unsigned int length;
};

// How a text looks in a form, as far as `room` bytes go.
struct Measure {
    unsigned int bytes = 0;
    unsigned int used = 0; // of the text
    unsigned int unsaid = 0;
    unsigned int firstUnsaid = 0;
};

// Counts bytes or bits of what is sent, so that a place to cut is known before anything is written.
class Meter {
public:
    Meter(const Form &form, const unsigned char *table) : table_(table), bits_(8ULL * form.selectorLength) {}

    void add(const Sequence &sequence) {
        for (unsigned int i = 0; i < sequence.length; ++i) {
            bits_ += table_ == nullptr ? 8 : contextCode(table_, before_, sequence.bytes[i]).length;
            before_ = sequence.bytes[i];
        }
    }
    unsigned long long bytes() const {
        return (bits_ + (table_ == nullptr ? 0 : contextCode(table_, before_, 0).length) + 7) / 8;
    }

private:
    const unsigned char *table_;
    unsigned long long bits_;
    unsigned int before_ = 0;
};

const unsigned char *tableOf(const Form &form) {
    return form.kind == Kind::Context ? contextTable(static_cast<unsigned int>(form.extra)) : nullptr;
}

// A letter and the combining characters after it stay together. Where more than `mostUnsaid` cannot be said, the rest
// does not matter.
[[gnu::noinline]] Measure measure(const Form &form, Text text, unsigned int room, unsigned int mostUnsaid) {
    Measure whole;
    if (text.length == 0) {
        return whole;
    }
    Meter meter(form, tableOf(form));
    unsigned int unsaid = 0;
    unsigned int at = 0;
    while (at < text.length) {
        const unsigned int first = at;
        for (bool more = true; more;) {
            const Utf8Character character = utf8Read(text.bytes + at, text.length - at);
            const Sent sent = sequenceIn(form, character);
            if (!sent.said) {
                whole.firstUnsaid = whole.unsaid + unsaid == 0 ? at : whole.firstUnsaid;
                ++unsaid;
            }
            meter.add(sent.sequence);
            at += character.length;
            more = at < text.length && isCombining(utf8Read(text.bytes + at, text.length - at).codePoint);
        }
        if (meter.bytes() > room) {
            whole.firstUnsaid = whole.unsaid == 0 ? 0 : whole.firstUnsaid;
            whole.used = first;
            break;
        }
        whole.bytes = static_cast<unsigned int>(meter.bytes());
        whole.used = at;
        whole.unsaid += unsaid;
        if (whole.unsaid > mostUnsaid) {
            break;
        }
        unsaid = 0;
    }
    return whole;
}

// Fewer that cannot be said first, then more of the text, then fewer bytes.
bool isBetter(const Measure &a, const Measure &b) {
    if (a.unsaid != b.unsaid && a.used == b.used) {
        return a.unsaid < b.unsaid;
    }
    const bool aExact = a.unsaid == 0;
    const bool bExact = b.unsaid == 0;
    return aExact != bExact ? aExact && a.used != 0 : a.used != b.used ? a.used > b.used : a.bytes < b.bytes;
}

bool isAscii(Text text) {
    return std::all_of(text.bytes, text.bytes + text.length, [](unsigned char byte) { return byte < 0x80; });
}

unsigned int allowedForms(const zelkInsightEncodeSettings &settings, Text text) {
    const unsigned int forms =
        settings.forms == 0 ? static_cast<unsigned int>(ZelkInsightFormsStandard) : settings.forms;
    constexpr unsigned int utf8 = 1U << static_cast<unsigned int>(DvbCodeUtf8);
    const bool preferred = (settings.options & ZelkInsightPreferUtf8) != 0 && (forms & utf8) != 0;
    return preferred && !isAscii(text) ? utf8 : forms;
}

bool choose(const zelkInsightEncodeSettings &settings, Text text, unsigned int room, Form &best, Measure &bestMeasure) {
    const unsigned int forms = allowedForms(settings, text);
    bool found = false;
    unsigned int mostUnsaid = UINT_MAX;
    for (unsigned int number = 0; number < formCount; ++number) {
        Form form;
        if ((forms >> number & 1U) == 0 || !makeForm(number, settings.charSet, form)) {
            continue;
        }
        const Measure measured = measure(form, text, room, mostUnsaid);
        if (!found || isBetter(measured, bestMeasure)) {
            best = form;
            bestMeasure = measured;
            found = true;
            // What says all of a text, or a part of it exactly, is passed by nothing that says less, nor, if both, by
            // what takes more.
            const bool all = measured.used == text.length;
            const bool exact = measured.unsaid == 0 && measured.used != 0;
            mostUnsaid = all || exact ? measured.unsaid : mostUnsaid;
            room = all && exact ? measured.bytes : room;
        }
    }
    return found;
}

unsigned int write(const Form &form, Text text, char *out, int outSize) {
    if (text.length == 0) {
        *out = 0;
        return 0;
    }
    const unsigned char *const table = tableOf(form);
    BitWriter writer(out, outSize);
    unsigned int before = 0;
    for (unsigned int i = 0; i < form.selectorLength; ++i) {
        writer.put({form.selector[i], 8});
    }
    for (unsigned int at = 0; at < text.length;) {
        const Utf8Character character = utf8Read(text.bytes + at, text.length - at);
        const Sequence sequence = sequenceIn(form, character).sequence;
        for (unsigned int i = 0; i < sequence.length; ++i) {
            writer.put(table == nullptr ? Code{sequence.bytes[i], 8} : contextCode(table, before, sequence.bytes[i]));
            before = sequence.bytes[i];
        }
        at += character.length;
    }
    if (table != nullptr) {
        writer.put(contextCode(table, before, 0));
    }
    return writer.finish();
}

Text textOf(const char *in, int inLen) {
    const auto *const bytes = reinterpret_cast<const unsigned char *>(in);
    const std::size_t length = in == nullptr ? 0 : inLen < 0 ? std::strlen(in) : static_cast<std::size_t>(inLen);
    return {bytes, static_cast<unsigned int>(length)};
}

void describe(const Form &form, const Measure &measured, zelkInsightEncoded &encoded) {
    const unsigned int selector = measured.used == 0 ? 0 : form.selectorLength; // no text, no selector
    encoded = {form.number, form.code,     form.extra,      form.table,
               selector,    measured.used, measured.unsaid, measured.firstUnsaid};
}

constexpr unsigned int mostBytes = 0x0FFFFFFF;

} // namespace
} // namespace zelk::insight

using namespace zelk::insight;

unsigned int zelkInsightEncode(const zelkInsightEncodeSettings *settings, char *out, int outSize, const char *in,
                               int inLen, zelkInsightEncoded *encoded) {
    const Text text = textOf(in, inLen);
    const unsigned int room = outSize < 1 ? 0U : std::min(static_cast<unsigned int>(outSize) - 1, mostBytes);
    Form form{};
    Measure measured;
    if (!choose(settings == nullptr ? standardSettings : *settings, text, room, form, measured)) {
        measured = {};
    }
    if (encoded != nullptr) {
        describe(form, measured, *encoded);
    }
    return write(form, {text.bytes, measured.used}, out, outSize);
}

unsigned int zelkInsightEncodePieces(const zelkInsightEncodeSettings *settings, int pieceSize, const char *in,
                                     int inLen, zelkInsightPieceTaker take, void *context,
                                     zelkInsightEncoded *encoded) {
    Text text = textOf(in, inLen);
    const auto room = static_cast<unsigned int>(std::clamp(pieceSize, 0, ZELK_INSIGHT_LARGEST_PIECE));
    std::array<char, ZELK_INSIGHT_LARGEST_PIECE + 1> out;
    Form form{};
    Measure whole;
    if (!choose(settings == nullptr ? standardSettings : *settings, text, mostBytes, form, whole)) {
        text.length = 0;
    }
    unsigned int count = 0;
    whole = {};
    while (text.length != 0) {
        const Measure piece = measure(form, text, room, UINT_MAX);
        if (piece.used == 0) {
            break;
        }
        const unsigned int bytes = write(form, {text.bytes, piece.used}, out.data(), static_cast<int>(out.size()));
        ++count;
        whole.firstUnsaid = whole.unsaid == 0 && piece.unsaid != 0 ? whole.used + piece.firstUnsaid : whole.firstUnsaid;
        whole.unsaid += piece.unsaid;
        whole.used += piece.used;
        text.bytes += piece.used;
        text.length -= piece.used;
        if (take(out.data(), bytes, context) < 0) {
            break;
        }
    }
    if (encoded != nullptr) {
        describe(form, whole, *encoded);
    }
    return count;
}
