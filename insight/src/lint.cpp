// The rules of whole strings, beside the findings that decoding has.
//
// The string is decoded without an output; what goes by is watched (text_watch.h). Rules have one fault for a string,
// so that they are few, and are put into the order of the findings afterwards.
#include "byte_tables.h"
#include "decode.h"
#include "guess.h"

#include "tables/dvb_marks.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace zelk::insight {
namespace {

// ---- Languages and their scripts ----

struct LanguageRow {
    char code[4]; // ISO 639-2, of either kind, or ISO 639-1
    unsigned int scripts;
};

// Languages that are not here are not checked.
// clang-format off
constexpr LanguageRow languages[] = {
    {"afr", Latin}, {"af", Latin}, {"alb", Latin}, {"sqi", Latin}, {"sq", Latin}, {"baq", Latin}, {"eus", Latin},
    {"eu", Latin}, {"bre", Latin}, {"br", Latin}, {"cat", Latin}, {"ca", Latin}, {"cze", Latin}, {"ces", Latin},
    {"cs", Latin}, {"dan", Latin}, {"da", Latin}, {"dut", Latin}, {"nld", Latin}, {"nl", Latin}, {"eng", Latin},
    {"en", Latin}, {"est", Latin}, {"et", Latin}, {"fao", Latin}, {"fo", Latin}, {"fin", Latin}, {"fi", Latin},
    {"fre", Latin}, {"fra", Latin}, {"fr", Latin}, {"ger", Latin}, {"deu", Latin}, {"de", Latin}, {"gla", Latin},
    {"gd", Latin}, {"gle", Latin}, {"ga", Latin}, {"glg", Latin}, {"gl", Latin}, {"hrv", Latin}, {"hr", Latin},
    {"hun", Latin}, {"hu", Latin}, {"ice", Latin}, {"isl", Latin}, {"is", Latin}, {"ind", Latin}, {"id", Latin},
    {"ita", Latin}, {"it", Latin}, {"lat", Latin}, {"la", Latin}, {"lav", Latin}, {"lv", Latin}, {"lit", Latin},
    {"lt", Latin}, {"ltz", Latin}, {"lb", Latin}, {"mlt", Latin}, {"mt", Latin}, {"nno", Latin}, {"nn", Latin},
    {"nob", Latin}, {"nb", Latin}, {"nor", Latin}, {"no", Latin}, {"pol", Latin}, {"pl", Latin}, {"por", Latin},
    {"pt", Latin}, {"roh", Latin}, {"rm", Latin}, {"slo", Latin}, {"slk", Latin}, {"sk", Latin}, {"slv", Latin},
    {"sl", Latin}, {"spa", Latin}, {"es", Latin}, {"swa", Latin}, {"sw", Latin}, {"swe", Latin}, {"sv", Latin},
    {"tgl", Latin}, {"tl", Latin}, {"tur", Latin}, {"tr", Latin}, {"vie", Latin}, {"vi", Latin}, {"wel", Latin},
    {"cym", Latin}, {"cy", Latin},
    {"may", Latin | Arabic}, {"msa", Latin | Arabic}, {"ms", Latin | Arabic},
    {"rum", Latin | Cyrillic}, {"ron", Latin | Cyrillic}, {"ro", Latin | Cyrillic},
    {"bos", Latin | Cyrillic}, {"bs", Latin | Cyrillic}, {"srp", Latin | Cyrillic}, {"scc", Latin | Cyrillic},
    {"sr", Latin | Cyrillic}, {"tuk", Latin | Cyrillic}, {"tk", Latin | Cyrillic}, {"uzb", Latin | Cyrillic},
    {"uz", Latin | Cyrillic}, {"kur", Latin | Cyrillic | Arabic}, {"ku", Latin | Cyrillic | Arabic},
    {"aze", Latin | Cyrillic | Arabic}, {"az", Latin | Cyrillic | Arabic}, {"kaz", Latin | Cyrillic | Arabic},
    {"kk", Latin | Cyrillic | Arabic},
    {"bel", Cyrillic}, {"be", Cyrillic}, {"bul", Cyrillic}, {"bg", Cyrillic}, {"kir", Cyrillic}, {"ky", Cyrillic},
    {"mac", Cyrillic}, {"mkd", Cyrillic}, {"mk", Cyrillic}, {"rus", Cyrillic}, {"ru", Cyrillic}, {"tat", Cyrillic},
    {"tt", Cyrillic}, {"tgk", Cyrillic}, {"tg", Cyrillic}, {"ukr", Cyrillic}, {"uk", Cyrillic},
    {"gre", Greek}, {"ell", Greek}, {"el", Greek}, {"arm", Armenian}, {"hye", Armenian}, {"hy", Armenian},
    {"geo", Georgian}, {"kat", Georgian}, {"ka", Georgian}, {"heb", Hebrew}, {"he", Hebrew}, {"yid", Hebrew},
    {"yi", Hebrew}, {"ara", Arabic}, {"ar", Arabic}, {"per", Arabic}, {"fas", Arabic}, {"fa", Arabic}, {"pus", Arabic},
    {"ps", Arabic}, {"urd", Arabic}, {"ur", Arabic}, {"hin", Devanagari}, {"hi", Devanagari}, {"mar", Devanagari},
    {"mr", Devanagari}, {"nep", Devanagari}, {"ne", Devanagari}, {"ben", Bengali}, {"bn", Bengali}, {"pan", Gurmukhi},
    {"guj", Gujarati}, {"gu", Gujarati}, {"tam", Tamil}, {"ta", Tamil}, {"tel", Telugu}, {"te", Telugu},
    {"kan", Kannada}, {"kn", Kannada}, {"mal", Malayalam}, {"ml", Malayalam}, {"sin", Sinhala}, {"si", Sinhala},
    {"tha", Thai}, {"th", Thai}, {"lao", Lao}, {"lo", Lao}, {"chi", Han}, {"zho", Han}, {"zh", Han},
    {"jpn", Han | Kana}, {"ja", Han | Kana}, {"kor", Hangul | Han}, {"ko", Hangul | Han},
};
// clang-format on

unsigned int scriptsOf(const char *language) {
    const auto *const row =
        std::find_if(std::begin(languages), std::end(languages), [language](const LanguageRow &candidate) {
            return language != nullptr && std::strcmp(candidate.code, language) == 0;
        });
    return row == std::end(languages) ? static_cast<unsigned int>(NoScript) : row->scripts;
}

// ---- What the string would say without its selector ----

// Whether a byte is the same character in both tables, and no mark in either.
bool isSameIn(const tables::DvbTable &table, const tables::DvbTable &other, unsigned int byte) {
    const auto isDefault = [](const tables::DvbTable &of) { return of.set == tables::ByteSet::DvbDefault; };
    if (byte == 0x09 || byte == 0x0A) { // the default table alone has none of these
        return isDefault(table) == isDefault(other);
    }
    if (byte < 0x7F || (byte >= 0x80 && byte < 0xA0)) {
        return true;
    }
    const auto isMark = [byte](const tables::DvbTable &of) {
        return of.marks != tables::noMarks && tables::dvbMarks.sets[of.marks].columnOf[byte] != 0;
    };
    const unsigned int character = tables::codePointsOf(table.set)[byte];
    return character != tables::unassigned && character == tables::codePointsOf(other.set)[byte] && !isMark(table) &&
           !isMark(other);
}

bool isSelectorNeedless(const Reading &reading, const zelkInsightSettings &settings, const TextWatch &watch) {
    const bool ignored = (settings.options & ZelkInsightIgnoreSelector) != 0;
    if (reading.begin == 0 || ignored || isSelectorFaulty(reading) || reading.table == ZelkInsightTableCompressed ||
        settings.charSet == DvbCharSetGb2312) {
        return false;
    }
    const unsigned char *const body = reading.text + reading.begin;
    const unsigned char *const end = reading.text + reading.end;
    const zelkInsightTable otherwise = settings.defaultCode == DvbCodeNone
                                           ? ZelkInsightTableDefault
                                           : tableOf(DvbCharSetStandard, settings.defaultCode);
    const bool same = reading.table == otherwise;
    if (same || reading.table < ZelkInsightTableUtf8) {
        const bool selects = body != end && *body <= detail::lastDvbSelector; // it would be taken for a selector
        return !selects &&
               (same || (otherwise < ZelkInsightTableUtf8 && std::all_of(body, end, [&](unsigned char byte) {
                             return isSameIn(byteTable(reading.table), byteTable(otherwise), byte);
                         })));
    }
    return otherwise < ZelkInsightTableUtf8 && watch.isPlain();
}

// ---- What the bytes speak for ----

struct Doubt {
    unsigned int rule = ZelkInsightRuleEnd; // none
    unsigned int table = 0;
};

Doubt doubtOf(const Reading &reading, const char *language) {
    if (!isGuessable(reading.table)) {
        return {};
    }
    zelkInsightGuess guess{};
    guessTables(reading.text + reading.begin, reading.end - reading.begin, reading.table,
                reading.reason == ZelkInsightBySelector, language, &guess, 1);
    if (guess.announced != 0) {
        return {};
    }
    const auto table = static_cast<unsigned int>(guess.table);
    if (guess.table == ZelkInsightTableUtf8 && reading.begin == 0) {
        return {ZelkInsightRuleUtf8Unannounced, table}; // that bytes are UTF-8 by chance is rare enough
    }
    return guess.confidence >= sureEnough ? Doubt{ZelkInsightRuleTableOther, table} : Doubt{};
}

// ---- Faults in order ----

class Faults {
public:
    Faults(zelkInsightFault *faults, unsigned int room, unsigned int count)
        : faults_(faults), room_(room), count_(count) {}

    // Keeps the order of offsets; the last one falls out where there is no room.
    void add(unsigned int rule, Place place, unsigned int value = 0) {
        unsigned int at = std::min(count_, room_);
        ++count_;
        if (room_ == 0) {
            return;
        }
        while (at > 0 && faults_[at - 1].offset > place.offset) {
            --at;
        }
        if (at < room_) {
            const unsigned int end = std::min(count_, room_);
            std::copy_backward(faults_ + at, faults_ + end - 1, faults_ + end);
            faults_[at] = {
                rule, zelkInsightRuleSeverity(rule), place.offset, place.length, place.textOffset, place.textLength,
                value};
        }
    }

    void addIfAny(unsigned int rule, Place place, unsigned int value = 0) {
        if (place.length != 0) {
            add(rule, place, value);
        }
    }

    unsigned int count() const { return count_; }

private:
    zelkInsightFault *faults_;
    unsigned int room_;
    unsigned int count_;
};

unsigned int lint(const zelkInsightSettings &settings, const char *in, int inLen, const char *language,
                  zelkInsightFault *faults, unsigned int room) {
    const Reading reading = readSelector(settings, in, inLen);
    const Doubt doubt = doubtOf(reading, language);
    unsigned int firstHigh = reading.end;
    unsigned int lastHigh = 0;
    if (doubt.rule != ZelkInsightRuleEnd) {
        const unsigned char *const body = reading.text + reading.begin;
        const unsigned char *const end = reading.text + reading.end;
        const auto isHigh = [](unsigned char byte) { return byte >= 0x80; };
        const auto *const first = std::find_if(body, end, isHigh);
        const auto last = std::find_if(std::make_reverse_iterator(end), std::make_reverse_iterator(first), isHigh);
        firstHigh = static_cast<unsigned int>(first - reading.text);
        lastHigh = static_cast<unsigned int>(last.base() - reading.text) - 1;
    }

    TextWatch watch(scriptsOf(language), firstHigh, lastHigh);
    zelkInsightEvidence evidence{};
    evidence.findingRoom = room;
    Recorder recorder(watch, faults, evidence);
    record(recorder, reading, settings.flags);
    recorder.finish(reading.end);

    Faults all(faults, room, evidence.findingCount);
    if (doubt.rule != ZelkInsightRuleEnd) {
        Place place = watch.high();
        place.offset = firstHigh;
        place.length = lastHigh + 1 - firstHigh;
        all.add(doubt.rule, place, doubt.table);
    }
    all.addIfAny(ZelkInsightRuleControlTrailing, watch.trailingControls());
    all.addIfAny(ZelkInsightRuleControlDoubled, watch.doubledControls(), watch.doubledControl());
    if (isSelectorNeedless(reading, settings, watch)) {
        all.add(ZelkInsightRuleSelectorNeedless, {0, reading.begin, 0, 0});
    }
    all.addIfAny(ZelkInsightRuleLanguageScript, watch.foreignLetters(), watch.foreignLetter());
    all.addIfAny(ZelkInsightRuleCompositionMixed, watch.mixedComposition());
    return all.count();
}

} // namespace
} // namespace zelk::insight

unsigned int zelkInsightLint(const zelkInsightSettings *settings, const char *in, int inLen, const char *language,
                             zelkInsightFault *faults, unsigned int room) {
    using namespace zelk::insight;
    const bool missing = in == nullptr;
    return lint(settings == nullptr ? standardSettings : *settings, missing ? "" : in, missing ? 0 : inLen, language,
                faults, faults == nullptr ? 0 : room);
}
