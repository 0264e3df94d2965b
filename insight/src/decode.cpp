// Decoding with evidence.
//
// Most broadcast text has no findings. It is decoded by libmurn-zelk, and counts of its bytes show that nothing was
// lost (clean.h). What is left is decoded here character by character, by the rules that <zelk.h> states, each step
// with what there is to say of it. No rule is in two places: tables and marks are those that the receiver's library is
// built from, and UTF-8 is read by its functions.
#include "decode.h"
#include "byte_tables.h"
#include "clean.h"
#include "compressed.h"
#include "context_encoder.h"
#include "guess.h"
#include "reading.h"
#include "recorder.h"
#include "usual.h"

#include "detail/dvb_select.h"
#include "tables/byte_set_definitions.h"
#include "tables/dvb_marks.h"
#include "tables/dvb_tables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

namespace zelk::insight {
namespace {

// ---- Which table, and why ----

bool isPieces(int compression) {
    return compression == 5 || compression == 6;
}

bool hasContextCode(int compression) {
    return compression == 1 || compression == 2;
}

// Where a string without a count ends, by the kind of its text.
unsigned int endOf(const unsigned char *text, unsigned int begin, DvbCode_t code, int extra) {
    if (code == DvbCodeUcs2) {
        return begin + 2 * zelk_nawcslen(text + begin);
    }
    if (code == DvbCodeCompressed) {
        return hasContextCode(extra) ? UINT_MAX / 8 : begin;
    }
    return begin + static_cast<unsigned int>(std::strlen(reinterpret_cast<const char *>(text) + begin));
}

// Inline where it is used: what it gives is read at once, and would have to wait for the memory.
[[gnu::always_inline]] inline Reading readingOf(const zelkInsightSettings &settings, const char *in, int inLen) {
    Reading reading;
    reading.text = reinterpret_cast<const unsigned char *>(in);
    reading.counted = inLen >= 0;
    reading.charSet = settings.charSet;

    const detail::DvbSelection selection =
        detail::selectDvbCode(in, inLen, settings.charSet, settings.defaultCode, settings.defaultExtra);
    reading.charSet = selection.charSet;
    reading.code = selection.code;
    reading.extra = selection.extra;
    // A terminator in the place of the type of compression cuts the selector as the end of a counted string does.
    const bool typeMissing = inLen < 0 && selection.consumed == 1 && reading.text[0] == 0x1F;
    reading.selectorWanted = typeMissing ? 2 : selection.consumed;
    const auto available = inLen < 0 ? UINT_MAX : static_cast<unsigned int>(inLen);
    reading.begin = selection.consumed < available ? selection.consumed : available;
    if ((settings.options & ZelkInsightIgnoreSelector) != 0 && reading.begin != 0) {
        const detail::DvbSelection defaults =
            detail::selectDvbCode("", 0, settings.charSet, settings.defaultCode, settings.defaultExtra);
        reading.charSet = defaults.charSet;
        reading.code = defaults.code;
        reading.extra = defaults.extra;
    }
    reading.end = inLen < 0 ? endOf(reading.text, reading.begin, reading.code, reading.extra) : available;
    reading.ends = inLen >= 0 || reading.code != DvbCodeCompressed || !hasContextCode(reading.extra);
    reading.table = tableOf(reading.charSet, reading.code);

    const bool ignored = (settings.options & ZelkInsightIgnoreSelector) != 0;
    const bool saysNothing = reading.code == DvbCodeNone || reading.code == DvbCodeReserved17;
    const auto overridden = [&settings](unsigned int options) { return (settings.options & options) != 0; };
    if (reading.begin != 0 && !ignored) {
        const bool byRegion = saysNothing || reading.table != tableOf(DvbCharSetStandard, reading.code);
        reading.reason = !byRegion                                 ? ZelkInsightBySelector
                         : overridden(ZelkInsightRegionOverridden) ? ZelkInsightByOverride
                                                                   : ZelkInsightByRegion;
    } else if (overridden(ZelkInsightOverridden) || (reading.begin != 0 && overridden(ZelkInsightSelectorOverridden))) {
        reading.reason = ZelkInsightByOverride;
    } else {
        reading.reason = settings.defaultCode != DvbCodeNone ? ZelkInsightByDefaultCode : ZelkInsightByDefault;
    }
    return reading;
}

} // namespace

Reading readSelector(const zelkInsightSettings &settings, const char *in, int inLen) {
    return readingOf(settings, in, inLen);
}

namespace {

// What Tables A.3 and A.4 of the standard say of a selector.
int selectorFinding(const unsigned char *text, unsigned int length) {
    switch (text[0]) {
    case 0x08:
    case 0x0C:
    case 0x0D:
    case 0x0E:
    case 0x0F:
        return ZelkInsightSelectorReserved;
    case 0x10:
        return length == 3 && text[2] >= 1 && text[2] <= 15 && text[2] != 12
                   ? noFinding
                   : static_cast<int>(ZelkInsightSelectorReserved);
    case 0x12:
    case 0x13:
        return ZelkInsightSelectorUnsupported;
    case 0x1F:
        return length == 2 && (hasContextCode(text[1]) || isPieces(text[1]))
                   ? noFinding
                   : static_cast<int>(ZelkInsightSelectorUnsupported);
    default:
        return text[0] >= 0x16 ? static_cast<int>(ZelkInsightSelectorReserved) : noFinding;
    }
}

void recordSelector(Recorder &recorder, const Reading &reading) {
    if (reading.begin == 0) {
        return;
    }
    const Span span{0, reading.begin};
    const bool cut = reading.begin < reading.selectorWanted;
    const int finding = cut ? static_cast<int>(ZelkInsightSelectorCut) : selectorFinding(reading.text, reading.begin);
    recorder.silent(ZelkInsightStepSelector, span, 0, finding);
    if (finding != noFinding) {
        recorder.found(static_cast<zelkInsightKind>(finding), span, 0, reading.text[0]);
    }
}

// ---- Character by character ----

class TableRecorder {
public:
    TableRecorder(Recorder &recorder, const Reading &reading, unsigned int flags)
        : recorder_(recorder), reading_(reading), flags_(flags), table_(byteTable(reading.table)),
          set_(tables::codePointsOf(table_.set)) {}

    void record() {
        for (unsigned int at = reading_.begin; at < reading_.end;) {
            at = recordByte(at);
        }
    }

private:
    bool isDefaultTable() const { return table_.set == tables::ByteSet::DvbDefault; }

    // Returns where the next character begins.
    unsigned int recordByte(unsigned int at) {
        const unsigned int byte = reading_.text[at];
        const Span span{at, 1};
        const bool control = byte < 0x20 || (byte >= 0x80 && byte < 0xA0 && !isWindows(reading_.table));
        if (control && isDefaultTable() && byte < 0x20) {
            const unsigned int here = recorder_.length();
            recorder_.silent(ZelkInsightStepDropped, span, 0, ZelkInsightControlDropped);
            recorder_.found(ZelkInsightControlDropped, span, here, byte);
            return at + 1;
        }
        if (control) {
            recordControl(recorder_, byte, flags_, span);
            return at + 1;
        }
        const unsigned int character = set_[byte];
        if (isDefaultTable() && byte >= 0xA0 && character == tables::unassigned) {
            recorder_.malformed(ZelkInsightByteUnassigned, span, byte, 0);
            return at + 1;
        }
        if (table_.marks != tables::noMarks && byte >= 0xA0 && byte <= 0xCF &&
            tables::dvbMarks.sets[table_.marks].columnOf[byte] != 0) {
            return recordMark(at, byte, character);
        }
        recordCharacter(span, byte, character);
        return at + 1;
    }

    void recordCharacter(Span span, unsigned int byte, unsigned int character) {
        if (character == tables::unassigned) {
            recorder_.malformed(ZelkInsightByteUnassigned, span, byte, 1);
        } else {
            recorder_.character(character, span);
        }
    }

    // The last mark of a counted string looks at the byte after the count and, where the two would compose, is lost.
    unsigned int recordMark(unsigned int at, unsigned int byte, unsigned int character) {
        const Span span{at, 1};
        const bool last = at + 1 == reading_.end;
        const bool afterCount = last && reading_.counted;
        const unsigned int next = last && !reading_.counted ? 0 : reading_.text[at + 1];
        const unsigned int composed = tables::composeIn(tables::dvbMarks, table_.marks, next, byte);
        if (composed != 0 && !last) {
            recorder_.silent(ZelkInsightStepMark, span, byte,
                             isDropped(next, composed) ? static_cast<int>(ZelkInsightMarkDropped) : noFinding);
            const unsigned int here = recorder_.length();
            recorder_.character(composed, {at + 1, 1}, byte);
            if (isDropped(next, composed)) {
                recorder_.found(ZelkInsightMarkDropped, {at, 2}, here, byte);
            }
            return at + 2;
        }
        const unsigned int here = recorder_.length();
        const bool spacing = isDefaultTable(); // the other tables have letters in these places
        if (composed != 0) {
            recorder_.silent(ZelkInsightStepDropped, span, byte, ZelkInsightMarkWithoutLetter);
            recorder_.found(ZelkInsightMarkWithoutLetter, span, here, byte);
        } else if (spacing && character != tables::unassigned) {
            recorder_.character(character, span, byte, ZelkInsightMarkWithoutLetter);
            recorder_.found(ZelkInsightMarkWithoutLetter, span, here, byte);
        } else if (afterCount && character != tables::unassigned) {
            recorder_.character(character, span, 0, ZelkInsightByteAfterCount);
        } else {
            recordCharacter(span, byte, character);
        }
        if (afterCount) {
            recorder_.found(ZelkInsightByteAfterCount, span);
        }
        return at + 1;
    }

    // A letter that the mark leaves as it was.
    bool isDropped(unsigned int base, unsigned int composed) const {
        const bool greek = table_.marks == tables::greekMarks;
        const unsigned int letter = greek ? tables::codePointsOf(tables::ByteSet::Iso8859_7)[base] : base;
        return base != ' ' && composed == letter;
    }

    Recorder &recorder_;
    const Reading &reading_;
    unsigned int flags_;
    tables::DvbTable table_;
    const tables::CodePoints &set_;
};

void recordTwoByte(Recorder &recorder, const Reading &reading, unsigned int flags) {
    UnitRecorder units(recorder, flags);
    unsigned int at = reading.begin;
    for (; at + 1 < reading.end; at += 2) {
        units.unit(static_cast<unsigned int>(reading.text[at]) << 8U | reading.text[at + 1], {at, 2});
    }
    units.flush();
    if (at < reading.end) {
        const Span span{at, 1};
        recorder.silent(ZelkInsightStepDropped, span, 0, ZelkInsightTwoByteOdd);
        recorder.found(ZelkInsightTwoByteOdd, span);
    }
}

// The receiver's UTF-8 has three bytes at most, and an unfinished sequence that a byte of ASCII ends leaves nothing.
class Utf8Recorder {
public:
    Utf8Recorder(Recorder &recorder, const Reading &reading, unsigned int flags)
        : recorder_(recorder), reading_(reading), units_(recorder, flags) {
        zelkInitUtf8Decoder(&state_);
    }

    void record() {
        first_ = reading_.begin;
        for (unsigned int at = reading_.begin; at < reading_.end;) {
            at = reading_.text[at] >= 0xF0 ? recordLongLead(at) : recordByte(at);
        }
        if (first_ < reading_.end) {
            malformed(reading_.end, 0);
        }
        units_.flush();
    }

private:
    void malformed(unsigned int end, unsigned int count) {
        units_.flush();
        recorder_.malformed(ZelkInsightUtf8Malformed, {first_, end - first_}, reading_.text[first_], count);
        first_ = end;
    }

    // Each byte of a form of four bytes is rejected by itself, the first one together with a sequence that it cuts off.
    unsigned int recordLongLead(unsigned int at) {
        const Utf8Character character = utf8Read(reading_.text + at, reading_.end - at);
        if (!character.valid) {
            return recordByte(at);
        }
        if (state_.remaining != 0) {
            zelkInitUtf8Decoder(&state_);
            malformed(at, 0);
        }
        units_.flush();
        recorder_.malformed(ZelkInsightUtf8FourByte, {at, 4}, character.codePoint, 4);
        first_ = at + 4;
        return at + 4;
    }

    unsigned int recordByte(unsigned int at) {
        const bool inside = state_.remaining != 0;
        if (!inside) {
            first_ = at;
        }
        const unsigned int result = zelkUtf8Decode(&state_, reading_.text[at]);
        if (result >> 16U != 0) {
            malformed(at, 0); // a byte of ASCII has ended the sequence
        } else if (inside && result == replacement && state_.remaining != 0) {
            malformed(at, 1); // the lead of another one has
            return at + 1;
        }
        if (state_.remaining != 0) {
            return at + 1;
        }
        const unsigned int character = result & 0xFFFFU;
        if (character == replacement && !isReplacementItself(at)) {
            malformed(at + 1, 1);
        } else {
            units_.unit(character, {first_, at + 1 - first_});
            first_ = at + 1;
        }
        return at + 1;
    }

    bool isReplacementItself(unsigned int at) const {
        return at - first_ == 2 && reading_.text[first_] == 0xEF && reading_.text[first_ + 1] == 0xBF &&
               reading_.text[at] == 0xBD;
    }

    Recorder &recorder_;
    const Reading &reading_;
    UnitRecorder units_;
    Utf8DecoderState state_{};
    unsigned int first_ = 0; // of the sequence that is being read
};

// Prepared text passes as it is, and ends at a zero byte. Pairs of surrogates come as two sequences.
void recordPrepared(Recorder &recorder, const Reading &reading) {
    recorder.stopAtCut();
    const auto surrogateAt = [&reading](unsigned int at) -> unsigned int {
        const unsigned char *const text = reading.text + at;
        const bool surrogate = at + 3 <= reading.end && text[0] == 0xED && text[1] >= 0xA0 && text[1] <= 0xBF &&
                               text[2] >= 0x80 && text[2] <= 0xBF;
        return surrogate ? 0xD000U | (text[1] & 0x3FU) << 6U | (text[2] & 0x3FU) : 0U;
    };
    unsigned int at = reading.begin;
    while (at < reading.end && reading.text[at] != 0) {
        const Utf8Character character = utf8Read(reading.text + at, reading.end - at);
        const unsigned int surrogate = character.valid ? 0 : surrogateAt(at);
        unsigned int length = character.length;
        if (character.valid) {
            recorder.character(character.codePoint, {at, length});
        } else if (surrogate != 0) {
            const unsigned int low = isHighSurrogate(surrogate) ? surrogateAt(at + 3) : 0;
            length = isLowSurrogate(low) ? 6 : 3;
            const unsigned int here = recorder.length();
            if (length == 6) {
                recorder.character(joinSurrogates(surrogate, low), {at, length});
            } else {
                recorder.character(surrogate, {at, length}, 0, ZelkInsightSurrogateLone);
                recorder.found(ZelkInsightSurrogateLone, {at, length}, here, surrogate);
            }
        } else {
            recorder.malformed(ZelkInsightUtf8Malformed, {at, length}, reading.text[at], 1);
        }
        at += length;
    }
    if (at < reading.end) {
        const Span rest{at, reading.end - at};
        const int finding = rest.length > 1 ? static_cast<int>(ZelkInsightTextAfterEnd) : noFinding;
        recorder.silent(ZelkInsightStepEnd, rest, 0, finding);
        if (finding != noFinding) {
            recorder.found(ZelkInsightTextAfterEnd, rest);
        }
    }
}

void recordCompressed(Recorder &recorder, const Reading &reading, unsigned int flags) {
    if (reading.begin == reading.end) {
        return;
    }
    if (hasContextCode(reading.extra)) {
        recordContextText(recorder, reading, flags);
    } else if (isPieces(reading.extra)) {
        recordPieces(recorder, reading);
    } else {
        const Span span{reading.begin, reading.end - reading.begin};
        recorder.silent(ZelkInsightStepDropped, span, 0, ZelkInsightCompressedUnknown);
        recorder.found(ZelkInsightCompressedUnknown, span, recorder.length(), static_cast<unsigned int>(reading.extra));
    }
}

void recordBody(Recorder &recorder, const Reading &reading, unsigned int flags) {
    switch (reading.table) {
    case ZelkInsightTableUtf8Prepared:
        recordPrepared(recorder, reading);
        break;
    case ZelkInsightTableTwoByte:
        recordTwoByte(recorder, reading, flags);
        break;
    case ZelkInsightTableUtf8:
        Utf8Recorder(recorder, reading, flags).record();
        break;
    case ZelkInsightTableCompressed:
        recordCompressed(recorder, reading, flags);
        break;
    default:
        TableRecorder(recorder, reading, flags).record();
    }
}

// ---- Text without findings ----

bool hasEmphasis(const unsigned char *body, std::size_t count) {
    return std::memchr(body, 0x86, count) != nullptr || std::memchr(body, 0x87, count) != nullptr;
}

#if !defined(ZELK_COMPACT)
// Whether bytes are characters of Unicode alone.
bool isUtf8(const unsigned char *at, std::size_t count) {
    constexpr std::uint64_t highest = 0x8080808080808080;
    while (count != 0) {
        std::uint64_t high = highest;
        if (count >= sizeof high) {
            std::memcpy(&high, at, sizeof high);
            high &= highest;
        }
        const int before = std::endian::native == std::endian::little ? std::countr_zero(high) : std::countl_zero(high);
        const std::size_t skipped = count >= sizeof high ? static_cast<std::size_t>(before) / 8 : 0;
        at += skipped;
        count -= skipped;
        if (skipped < sizeof high) {
            const Utf8Character character = utf8Read(at, count);
            if (!character.valid) {
                return false;
            }
            at += character.length;
            count -= character.length;
        }
    }
    return true;
}
#endif

// Tries without steps: true when `written` bytes of text are all there is to say. libmurn-zelk decodes, and either the
// string is seen to be whole beforehand or two sums of the text tell afterwards (clean.h).
class CleanDecoder {
public:
    CleanDecoder(const Reading &reading, Bytes kind, const zelkInsightSettings &settings, char *out, int outSize,
                 const char *in, int inLen)
        : reading_(reading), kind_(kind), settings_(settings), out_(out), outSize_(outSize), in_(in), inLen_(inLen),
          body_(reading.text + reading.begin), count_(reading.end - reading.begin),
          room_(outSize < 0 ? 0 : static_cast<std::size_t>(outSize)) {}

    bool decode(unsigned int &written) {
        const bool clean = decodeBody();
        written = written_;
        return clean;
    }

private:
    bool decodeBody() {
        switch (reading_.table) {
        case ZelkInsightTableUtf8:
            return decodeUtf8();
        case ZelkInsightTableTwoByte:
            return decodeTwoByte();
#if !defined(ZELK_COMPACT)
        case ZelkInsightTableUtf8Prepared:
            return decodePrepared();
        case ZelkInsightTableCompressed:
            return decodeCompressed();
#endif
        default:
            return decodeTable();
        }
    }

    static constexpr std::size_t longestCharacter = 3;

    bool isAmple() const {
        return room_ > longestCharacter * count_;
    }
    bool keepsEmphasis() const {
        return (settings_.flags & 1U) != 0 && hasEmphasis(body_, count_);
    }

    // By a count, too, where there is none: the string is measured already.
    void decodePlainly() {
        const int length = reading_.end <= INT_MAX ? static_cast<int>(reading_.end) : inLen_;
        written_ = zelk_dvb8ToUtf8(settings_.charSet, out_, outSize_, in_, length, settings_.defaultCode,
                                   settings_.defaultExtra, settings_.flags);
    }

    void endCopy(std::size_t length) {
        out_[length] = 0;
        written_ = static_cast<unsigned int>(length);
    }

    // Of the tables of bytes alone.
    bool decodeTable() {
        // NOLINTBEGIN(clang-analyzer-core.CallAndMessage): it takes the others to come here
        const tables::DvbTable table = byteTable(reading_.table);
        if (kind_ == Bytes::Unknown) {
            kind_ = room_ > count_ ? copyAscii(out_, body_, count_, table) : kindOf(body_, count_);
        }
        if (kind_ == Bytes::Ascii && room_ > count_) {
            endCopy(count_);
            return true;
        }
        if (kind_ == Bytes::Faulty) {
            return false;
        }
        decodePlainly();
        const bool marks = table.marks != tables::noMarks;
        if (isAmple() &&
            (kind_ == Bytes::Whole || (!compact && kind_ == Bytes::Graphic && !marks && !hasRare(out_, written_)))) {
            return true;
        }
        // NOLINTEND(clang-analyzer-core.CallAndMessage)
        // A mark that stands alone gives a character too many, and room that is short may take one away.
        if (marks && !isAmple() && written_ + longestCharacter >= room_) {
            return false;
        }
        const bool emphasis = kind_ == Bytes::Other && keepsEmphasis();
        const bool markAtEnd = reading_.counted && body_[count_ - 1] >= 0xC1 && body_[count_ - 1] <= 0xCF;
        return !emphasis && table.marks != tables::greekMarks && !(marks && markAtEnd) &&
               isWholeTableText(body_, count_, out_, written_, marks);
    }

    bool decodeUtf8() {
        if (kind_ == Bytes::Unknown && room_ > count_ && copyUtf8(out_, body_, count_)) {
            endCopy(count_);
            return true;
        }
        decodePlainly();
        return written_ == count_ && isSameUtf8(body_, out_, count_) && !keepsEmphasis();
    }

    bool decodeTwoByte() {
        if (count_ % 2 != 0) {
            return false;
        }
        if (kind_ == Bytes::Unknown && room_ > count_ / 2 && copyTwoByteAscii(out_, body_, count_)) {
            endCopy(count_ / 2);
            return true;
        }
        decodePlainly();
        return (isWholeText(out_, written_, count_ / 2) && !keepsEmphasis()) ||
               (isAmple() && isPlainTwoByte(body_, count_));
    }

#if !defined(ZELK_COMPACT)
    // It passes as it is up to a zero; nothing is said of control codes.
    bool decodePrepared() {
        if (room_ <= count_) {
            return false;
        }
        if (!copyUsualUtf8(out_, body_, count_)) {
            if (std::memchr(body_, 0, count_) != nullptr || !isUtf8(body_, count_)) {
                return false;
            }
            std::memcpy(out_, body_, count_);
        }
        endCopy(count_);
        return true;
    }

    // UTF-8 that is left as it was sent has lost nothing.
    bool decodeCompressed() {
        if (isPieces(reading_.extra)) {
            std::size_t length = 0;
            const bool whole = copyPieces(reading_, out_, room_, length);
            if (whole) {
                endCopy(length);
            }
            return whole;
        }
        decodePlainly();
        const auto *const text = reinterpret_cast<const unsigned char *>(out_);
        return isContextText(reading_.extra, out_, written_, body_, count_) && !hasRare(out_, written_) &&
               !((settings_.flags & 1U) != 0 && hasEmphasis(text, written_));
    }
#endif

    const Reading &reading_;
    Bytes kind_;
    const zelkInsightSettings &settings_;
    char *out_;
    int outSize_;
    const char *in_;
    int inLen_;
    const unsigned char *body_;
    std::size_t count_;
    std::size_t room_;
    unsigned int written_ = 0;
};

bool mayBeClean(const Reading &reading, const zelkInsightSettings &settings) {
    const bool selectorIgnored = (settings.options & ZelkInsightIgnoreSelector) != 0 && reading.begin != 0;
    return !selectorIgnored && reading.begin == reading.selectorWanted && reading.begin < reading.end &&
           !(compact && reading.table == ZelkInsightTableUtf8Prepared) &&
           (reading.table != ZelkInsightTableCompressed ||
            (!compact && reading.counted && (hasContextCode(reading.extra) || isPieces(reading.extra)))) &&
           (reading.begin == 0 || selectorFinding(reading.text, reading.begin) == noFinding);
}

// Takes the guess in place of the table, where it says another text and is sure enough of it.
void guessReading(Reading &reading) {
    if (!isGuessable(reading.table)) {
        return;
    }
    zelkInsightGuess guess{};
    guessTables(reading.text + reading.begin, reading.end - reading.begin, reading.table,
                reading.reason == ZelkInsightBySelector, nullptr, &guess, 1);
    if (guess.announced == 0 && guess.confidence >= sureEnough) {
        reading.table = guess.table;
        reading.reason = ZelkInsightByGuess;
    }
}

// By itself, so that text without findings does not pay for what it keeps.
[[gnu::noinline]] unsigned int decodeBySteps(const Reading &reading, unsigned int flags, char *out, int outSize,
                                             zelkInsightEvidence *evidence) {
    Recorder recorder(out, outSize, evidence);
    record(recorder, reading, flags);
    return recorder.finish(reading.end);
}

} // namespace

unsigned int decodeAny(const zelkInsightSettings &settings, char *out, int outSize, const char *in, int inLen,
                       zelkInsightEvidence *evidence) {
    Reading reading = readingOf(settings, in, inLen);
    if ((settings.options & ZelkInsightGuessTable) != 0) {
        guessReading(reading);
    }
    return decodeRead(reading, Bytes::Unknown, settings, out, outSize, in, inLen, evidence);
}

unsigned int decodeRead(const Reading &reading, Bytes kind, const zelkInsightSettings &settings, char *out, int outSize,
                        const char *in, int inLen, zelkInsightEvidence *evidence) {
    unsigned int written = 0;
    if (evidence != nullptr) {
        beginEvidence(*evidence, reading);
    }
    if ((evidence == nullptr || evidence->steps == nullptr) && reading.reason != ZelkInsightByGuess &&
        mayBeClean(reading, settings) &&
        CleanDecoder(reading, kind, settings, out, outSize, in, inLen).decode(written)) {
        return written;
    }
    return decodeBySteps(reading, settings.flags, out, outSize, evidence);
}

bool isSelectorFaulty(const Reading &reading) {
    return reading.begin < reading.selectorWanted || selectorFinding(reading.text, reading.begin) != noFinding;
}

void record(Recorder &recorder, const Reading &reading, unsigned int flags) {
    recordSelector(recorder, reading);
    recordBody(recorder, reading, flags);
}

unsigned int decodeAs(zelkInsightTable table, char *out, int outSize, const unsigned char *bytes, unsigned int length) {
    Reading reading{};
    reading.table = table;
    reading.text = bytes;
    reading.end = length;
    reading.counted = true;
    reading.ends = true;
    Recorder recorder(out, outSize, nullptr);
    recorder.stopAtCut();
    recordBody(recorder, reading, 0);
    return recorder.finish(length);
}

} // namespace zelk::insight

unsigned int zelkInsightDecode(const zelkInsightSettings *settings, char *out, int outSize, const char *in, int inLen,
                               zelkInsightEvidence *evidence) {
    using namespace zelk::insight;
    const bool missing = in == nullptr;
    if (settings != nullptr && evidence != nullptr && evidence->steps == nullptr && settings->options == 0 &&
        !missing && inLen > 1) {
        return decodeUsual(*settings, out, outSize, in, inLen, *evidence);
    }
    return decodeAny(settings == nullptr ? standardSettings : *settings, out, outSize, missing ? "" : in,
                     missing ? 0 : inLen, evidence);
}

unsigned int zelkInsightGuessTables(const zelkInsightSettings *settings, const char *in, int inLen,
                                    const char *language, zelkInsightGuess *guesses, unsigned int room) {
    using namespace zelk::insight;
    const bool missing = in == nullptr;
    const Reading reading =
        readSelector(settings == nullptr ? standardSettings : *settings, missing ? "" : in, missing ? 0 : inLen);
    if (!isGuessable(reading.table)) {
        if (guesses != nullptr && room != 0) {
            guesses[0] = {reading.table, ZELK_INSIGHT_CERTAIN, {}, 1};
        }
        return 1;
    }
    return guessTables(reading.text + reading.begin, reading.end - reading.begin, reading.table,
                       reading.reason == ZelkInsightBySelector, language, guesses, room);
}

int zelkInsightDecodeSize(const zelkInsightSettings *settings, const char *in, int inLen) {
    using namespace zelk::insight;
    if (in == nullptr) {
        return 1;
    }
    const Reading reading = readSelector(settings == nullptr ? standardSettings : *settings, in, inLen);
    if (!reading.ends) {
        return 0;
    }
    const unsigned long long factor = reading.table == ZelkInsightTableCompressed ? 24 : 3;
    const unsigned long long size = factor * (reading.end - reading.begin) + 1;
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}
