// No rule of decoding is repeated here. What a byte did is the difference between the decoding of the string up to it
// and with it; the table is known by what it decodes; marks and codes are judged by the library's own functions.
#include "explanation.h"

#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zelk::tool {

namespace {

using Units = std::vector<unsigned short>;

unsigned char byteAt(const std::string &bytes, std::size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

// The UCS-2 decoding of the first `count` bytes. The byte after them is seen, as in the decoding of the whole.
Units decodeFirst(const DvbSettings &settings, const std::string &bytes, std::size_t count) {
    Units units(count + 1);
    units.resize(zelk_dvb8ToUnicode(settings.region, units.data(), static_cast<int>(units.size()), bytes.c_str(),
                                    static_cast<int>(count), settings.defaultCode, settings.extra, settings.flags()));
    return units;
}

bool composes(int set, unsigned char mark, unsigned char base) {
    return zelkCombineCharWithDiacriticalMark(set, base, mark) != 0;
}

// ---- Which table is it? ----

struct NumberedTable {
    int number; // as combiningMapDvb() counts
    const char *name;
    dvbCharSet_t region;
    const char *selector; // three bytes that choose it in that region
};

constexpr std::array<NumberedTable, 18> numberedTables = {{
    {0, "DVB default table", DvbCharSetStandard, "\x10\0\0"},
    {1, "ASCII only", DvbCharSetStandard, "\x10\0\x0C"},
    {2, "ISO 8859-1", DvbCharSetStandard, "\x10\0\x01"},
    {3, "ISO 8859-2", DvbCharSetStandard, "\x10\0\x02"},
    {4, "ISO 8859-3", DvbCharSetStandard, "\x10\0\x03"},
    {5, "ISO 8859-4", DvbCharSetStandard, "\x10\0\x04"},
    {6, "ISO 8859-5", DvbCharSetStandard, "\x10\0\x05"},
    {7, "ISO 8859-6", DvbCharSetStandard, "\x10\0\x06"},
    {8, "ISO 8859-7", DvbCharSetStandard, "\x10\0\x07"},
    {9, "ISO 8859-8", DvbCharSetStandard, "\x10\0\x08"},
    {10, "ISO 8859-9", DvbCharSetStandard, "\x10\0\x09"},
    {11, "ISO 8859-10", DvbCharSetStandard, "\x10\0\x0A"},
    {12, "ISO 8859-11", DvbCharSetStandard, "\x10\0\x0B"},
    {13, "ISO 8859-13", DvbCharSetStandard, "\x10\0\x0D"},
    {14, "ISO 8859-14", DvbCharSetStandard, "\x10\0\x0E"},
    {15, "ISO 8859-15", DvbCharSetStandard, "\x10\0\x0F"},
    {16, "ISO 8859-16", DvbCharSetStandard, "\x10\0\x10"},
    {18, "ISO 8859-15 with non-spacing marks", DvbCharSetIso8859_15, "\x10\0\0"},
}};

// Tables differ in what they give for some byte of their upper half alone, or for a mark with a letter.
bool agree(const DvbSettings &settings, const std::string &selector, const NumberedTable &table) {
    DvbSettings plain;
    plain.region = table.region;
    const auto agreeOn = [&](const std::string &text) {
        return decodeFirst(settings, selector + text, selector.size() + text.size()) ==
               decodeFirst(plain, std::string(table.selector, 3) + text, 3 + text.size());
    };
    for (unsigned int byte = 0xA0; byte <= 0xFF; ++byte) {
        if (!agreeOn(std::string(1, static_cast<char>(byte)))) {
            return false;
        }
    }
    return agreeOn("\xC1\x41");
}

const NumberedTable *identifyTable(const DvbSettings &settings, const std::string &selector) {
    const auto *const found =
        std::find_if(numberedTables.begin(), numberedTables.end(),
                     [&](const NumberedTable &table) { return agree(settings, selector, table); });
    return found == numberedTables.end() ? nullptr : &*found;
}

// ---- What does the selector say? ----

// The tables of ETSI EN 300 468, Annex A.
std::string standardMeaning(const std::string &selector) {
    const unsigned char first = byteAt(selector, 0);
    constexpr std::array<int, 12> parts = {0, 5, 6, 7, 8, 9, 10, 11, 0, 13, 14, 15};
    if (first < parts.size() && parts.at(first) != 0) {
        return fmt::format("ISO 8859-{}", parts.at(first));
    }
    switch (first) {
    case 0x10: {
        const unsigned char part = byteAt(selector, 2);
        const bool known = selector.size() == 3 && part >= 1 && part <= 15 && part != 12;
        return known ? fmt::format("ISO 8859-{}", part) : "reserved";
    }
    case 0x11:
        return "ISO 10646, two bytes for each character";
    case 0x12:
        return "KS X 1001";
    case 0x13:
        return "GB 2312";
    case 0x14:
        return "the Big5 part of ISO 10646";
    case 0x15:
        return "UTF-8";
    case 0x1F:
        return fmt::format("encoding type {}", byteAt(selector, 1));
    default:
        return "reserved";
    }
}

void explainSelection(const DvbSettings &settings, const std::string &bytes, Explanation &result) {
    const DvbSelection &selection = result.selection;
    const std::string selector = bytes.substr(0, selection.consumed);
    if (selector.empty()) {
        result.reason = settings.defaultCode == DvbCodeNone
                            ? "no selector: the default table"
                            : fmt::format("no selector: the default code {}", static_cast<int>(settings.defaultCode));
        return;
    }
    const std::string meaning = standardMeaning(selector);
    const std::string bytesOfSelector = hex(selector);
    result.reason = fmt::format("selector {}: {}", bytesOfSelector, meaning);
    if (selection.code == DvbCodeNone || selection.code == DvbCodeReserved17) {
        result.warnings.push_back(fmt::format("selector {} ({}) is not supported: the default table of the region "
                                              "is used",
                                              bytesOfSelector, meaning));
    } else if (meaning == "reserved") {
        result.warnings.push_back(
            fmt::format("selector {} is reserved: it is read as {}", bytesOfSelector, codeName(selection.code)));
    }
    result.steps.push_back({StepKind::Selector, 0, selector, {}, {}, meaning});
}

// ---- Steps ----

// A character that came out: text, a control code that was kept, or the mark of a byte without a character.
StepKind kindOf(unsigned short character) {
    if (character == 0xFFFD) {
        return StepKind::Unassigned;
    }
    return (zelkcharGetClass(character) & CharClassControl) != 0 ? StepKind::Control : StepKind::Text;
}

std::string noteOf(unsigned short character) {
    switch (character) {
    case 0x0A:
        return "line break";
    case 0x86:
        return "emphasis on";
    case 0x87:
        return "emphasis off";
    default:
        return character >= 0xD800 && character <= 0xDFFF ? "surrogate, no character by itself" : className(character);
    }
}

void appendNote(std::string &note, const std::string &more) {
    note += note.empty() || more.empty() ? "" : ", ";
    note += more;
}

// One string under one setting; the step functions append to the explanation.
class Explainer {
public:
    Explainer(const DvbSettings &settings, const std::string &bytes, Explanation &result)
        : settings_(settings), bytes_(bytes), result_(result), begin_(result.selection.consumed) {}

    void explain() {
        if (settings_.region == DvbCharSetGb2312 && result_.selection.code == DvbCodeTable00) {
            explainGb2312();
            return;
        }
        switch (result_.selection.code) {
        case DvbCodeUtf8Prepared:
            result_.tableName = "UTF-8, no control codes filtered";
            explainPrepared();
            break;
        case DvbCodeUcs2:
            result_.tableName = "two-byte characters";
            explainPairs();
            break;
        case DvbCodeUtf8:
            result_.tableName = "UTF-8";
            explainUtf8();
            break;
        case DvbCodeCompressed:
            result_.tableName = fmt::format("Huffman code of encoding type {}", result_.selection.extra);
            if (result_.selection.extra == 5 || result_.selection.extra == 6) {
                explainPieces();
            } else {
                explainContextTree();
            }
            break;
        default:
            explainTable();
        }
    }

private:
    // What the bytes from `first` to before `end` added to the decoding.
    Units added(std::size_t first, std::size_t end) const {
        const Units before = decodeFirst(settings_, bytes_, first);
        const Units with = decodeFirst(settings_, bytes_, end);
        return {with.begin() + static_cast<std::ptrdiff_t>(std::min(before.size(), with.size())), with.end()};
    }

    void add(StepKind kind, std::size_t first, std::size_t end, Units output, std::string note) {
        result_.steps.push_back(
            {kind, first, bytes_.substr(first, end - first), {}, std::move(output), std::move(note)});
    }

    void addCharacter(std::size_t first, std::size_t end, unsigned short character) {
        add(kindOf(character), first, end, {character}, noteOf(character));
    }

    void warn(std::string warning) { result_.warnings.push_back(std::move(warning)); }

    void explainTable() {
        const NumberedTable *const table = identifyTable(settings_, bytes_.substr(0, begin_));
        result_.table = table == nullptr ? -1 : table->number;
        result_.tableName = table == nullptr ? "unknown" : table->name;
        const DvbCode_t code = result_.selection.code;
        if (code >= DvbCodeIso8859_1 && code <= DvbCodeIso8859_16 && code != DvbCodeIso8859_12 &&
            result_.tableName != codeName(code)) {
            result_.reason += fmt::format(", which region {} reads otherwise", regionName(settings_.region));
        }

        const int set = combiningMapDvb(static_cast<unsigned int>(result_.table));
        std::string ofMark; // what to say of the last one's letter, while that has not come
        std::size_t unassigned = 0;
        for (std::size_t i = begin_; i < bytes_.size(); ++i) {
            const unsigned char byte = byteAt(bytes_, i);
            const Units output = added(i, i + 1);
            if (output.empty()) {
                if (composes(set, byte, byteAt(bytes_, i + 1))) {
                    ofMark = fmt::format("with the mark {:02X}", byte);
                    add(StepKind::Mark, i, i + 1, {}, "non-spacing mark of the next letter");
                } else if (byte < 0x20 || (byte >= 0x80 && byte < 0xA0)) {
                    add(StepKind::Dropped, i, i + 1, {}, "control code");
                } else {
                    ++unassigned;
                    add(StepKind::Unassigned, i, i + 1, {}, "dropped");
                }
                continue;
            }
            addCharacter(i, i + 1, output.back());
            std::string &note = result_.steps.back().note;
            if (!ofMark.empty()) {
                appendNote(note, ofMark);
                ofMark.clear();
            } else if (isMark(set, byte)) {
                appendNote(note, "mark without a letter");
            }
            unassigned += output.back() == 0xFFFD ? 1 : 0;
        }
        if (unassigned > 0) {
            warn(unassigned == 1 ? "one byte has no character in this table"
                                 : fmt::format("{} bytes have no character in this table", unassigned));
        }
    }

    static bool isMark(int set, unsigned char byte) {
        for (unsigned int base = 0; base <= 0xFF; ++base) {
            if (composes(set, byte, static_cast<unsigned char>(base))) {
                return true;
            }
        }
        return false;
    }

    void explainPairs() {
        std::size_t i = begin_;
        for (; i + 2 <= bytes_.size(); i += 2) {
            if (const Units output = added(i, i + 2); !output.empty()) {
                addCharacter(i, i + 2, output.back());
            } else {
                add(StepKind::Dropped, i, i + 2, {}, "control code");
            }
        }
        if (i < bytes_.size()) {
            add(StepKind::Dropped, i, bytes_.size(), {}, "half a character");
            warn("the string ends inside a two-byte character");
        }
    }

    void explainUtf8() {
        Utf8DecoderState state;
        zelkInitUtf8Decoder(&state);
        std::size_t first = begin_; // of the sequence that is being read
        for (std::size_t i = begin_; i < bytes_.size(); ++i) {
            const bool inside = state.remaining != 0;
            const unsigned int result = zelkUtf8Decode(&state, byteAt(bytes_, i));
            const Units output = added(i, i + 1);
            const bool asciiAfterCut = result >> 16U != 0;
            const bool leadAfterCut = inside && result == 0xFFFD && state.remaining != 0;
            if (asciiAfterCut) {
                add(StepKind::Dropped, first, i, {}, "unfinished sequence");
                warn(fmt::format("the unfinished sequence at offset {} is lost", first));
                first = i;
            } else if (leadAfterCut) {
                add(StepKind::Unassigned, first, i, output, "unfinished sequence");
                warn(fmt::format("the sequence at offset {} is unfinished", first));
                first = i;
                continue;
            }
            if (state.remaining != 0) {
                continue;
            }
            if (output.empty()) {
                add(StepKind::Dropped, first, i + 1, {}, "control code");
            } else {
                addCharacter(first, i + 1, output.back());
                warnOfMalformed(first, i + 1);
            }
            first = i + 1;
        }
        addCutOff(first);
    }

    void explainPrepared() {
        std::size_t i = begin_;
        while (i < bytes_.size()) {
            const auto available = static_cast<unsigned int>(bytes_.size() - i);
            const auto *const at = reinterpret_cast<const unsigned char *>(bytes_.data()) + i;
            if (*at == 0) {
                add(StepKind::End, i, bytes_.size(), {}, "a zero byte ends the text");
                return;
            }
            unsigned short character = 0; // stays for a sequence that the end cuts off
            const unsigned int length = zelkUtf8CharDecode(at, available, &character);
            if (character == 0) {
                break;
            }
            addCharacter(i, i + length, character);
            warnOfMalformed(i, i + length);
            i += length;
        }
        addCutOff(i);
    }

    void warnOfMalformed(std::size_t first, std::size_t end) {
        Step &step = result_.steps.back();
        if (step.kind == StepKind::Unassigned && bytes_.compare(first, end - first, "\xEF\xBF\xBD") != 0) {
            step.note = "malformed UTF-8";
            warn(fmt::format("malformed UTF-8 at offset {}", first));
        }
    }

    void addCutOff(std::size_t first) {
        if (first < bytes_.size()) {
            add(StepKind::Dropped, first, bytes_.size(), {}, "unfinished sequence");
            warn("the string ends inside a UTF-8 sequence");
        }
    }

    // ---- Compressed text ----

    // The bits from `first` to before `end`, counted from the first bit of the string.
    std::string bits(std::size_t first, std::size_t end) const {
        std::string result;
        for (std::size_t i = first; i < end; ++i) {
            result.push_back((byteAt(bytes_, i / 8) >> (7 - i % 8) & 1U) != 0 ? '1' : '0');
        }
        return result;
    }

    void addBits(StepKind kind, std::size_t first, std::size_t end, Units output, std::string note) {
        const std::size_t firstByte = first / 8;
        const std::size_t endByte = (end + 7) / 8;
        result_.steps.push_back({kind, firstByte, bytes_.substr(firstByte, endByte - firstByte), bits(first, end),
                                 std::move(output), std::move(note)});
    }

    // The control codes are filtered alike in all text of DVB; two-byte text takes one character at a time.
    Units filtered(unsigned int character) const {
        const std::string pair = {0x11, static_cast<char>(character >> 8U & 0xFFU),
                                  static_cast<char>(character & 0xFFU)};
        return decodeFirst(settings_, pair, pair.size());
    }

    void explainContextTree() {
        HuffmanStreamState state;
        zelkInitHuffmanDecoder(&state, static_cast<unsigned int>(result_.selection.extra));
        if (state.mode < 0) {
            warn(fmt::format("there is no code of encoding type {}", result_.selection.extra));
            explainRest(begin_, "no code");
            return;
        }
        Utf8DecoderState utf8State;
        zelkInitUtf8Decoder(&utf8State);
        std::size_t first = 8 * begin_; // bit at which the next code begins
        for (std::size_t i = begin_; i < bytes_.size(); ++i) {
            for (;;) {
                const unsigned short answer = zelkHuffmanDecode(&state, byteAt(bytes_, i));
                if (answer == 0xFFFE) {
                    break;
                }
                const std::size_t end = 8 * i + static_cast<std::size_t>(7 - state.bitIndex);
                if (answer == 0xFFFF) {
                    addBits(StepKind::End, first, end, {}, "end of the text");
                    explainRest(i + 1, "after the end of the text");
                    return;
                }
                explainCode(utf8State, answer, first, end);
                first = end;
            }
        }
        if (first < 8 * bytes_.size()) {
            addBits(StepKind::Piece, first, 8 * bytes_.size(), {}, "unfinished code");
        }
        warn("the text ends without an end code");
    }

    void explainCode(Utf8DecoderState &state, unsigned short byte, std::size_t first, std::size_t end) {
        const unsigned int character = zelkUtf8Decode(&state, byte) & 0xFFFFU;
        std::string note = fmt::format("byte {:02X}", byte);
        if (character == 0) {
            addBits(StepKind::Piece, first, end, {}, note);
            return;
        }
        const Units output = filtered(character);
        appendNote(note, output.empty() ? "control code" : noteOf(output.back()));
        addBits(output.empty() ? StepKind::Dropped : kindOf(output.back()), first, end, output, note);
    }

    void explainRest(std::size_t first, const std::string &note) {
        if (first < bytes_.size()) {
            add(StepKind::Dropped, first, bytes_.size(), {}, note);
        }
    }

    // The text of the first `count` bytes of compressed pieces.
    std::string expanded(std::size_t count) const {
        std::string text(8 * count + 8, '\0');
        int length = 0;
        decompressMalaysiaHuffmanTable(static_cast<unsigned int>(result_.selection.extra),
                                       reinterpret_cast<const unsigned char *>(bytes_.data()) + begin_,
                                       static_cast<int>(count), reinterpret_cast<unsigned char *>(text.data()),
                                       &length);
        text.resize(static_cast<std::size_t>(length));
        return text;
    }

    // A piece may begin and end inside a byte: each byte shows the text that is certain with it.
    void explainPieces() {
        const std::size_t count = bytes_.size() - begin_;
        const std::string whole = expanded(count);
        std::size_t shown = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string text = i + 1 == count ? whole : expanded(i + 1);
            const auto certain = static_cast<std::size_t>(
                std::mismatch(text.begin(), text.end(), whole.begin(), whole.end()).first - text.begin());
            const std::size_t end = std::max(shown, certain);
            const Units output = units(whole.substr(shown, end - shown));
            const std::size_t bit = 8 * (begin_ + i);
            addBits(output.empty() ? StepKind::Piece : StepKind::Text, bit, bit + 8, output, {});
            shown = end;
        }
    }

    // ---- GB 2312, which the system's converter reads ----

    void explainGb2312() {
        result_.tableName = "GB 2312, read by the system's converter";
        const DvbConverter converter = settings_.converter();
        result_.steps.clear(); // a selector goes through the converter like text
        for (std::size_t i = 0; i < bytes_.size();) {
            const std::size_t length = byteAt(bytes_, i) < 0x80 ? 1 : std::min<std::size_t>(2, bytes_.size() - i);
            const std::string piece = bytes_.substr(i, length);
            const std::string text =
                converter.IconvConvert("gb2312", "utf-8", piece.data(), static_cast<unsigned int>(length));
            if (byteAt(piece, 0) >= 0x80 && text == piece) {
                warn(fmt::format("no GB 2312 at offset {}: the string is handed on unchanged", i));
                add(StepKind::Unassigned, i, bytes_.size(), {}, "not GB 2312");
                return;
            }
            if (text.empty()) {
                add(StepKind::End, i, bytes_.size(), {}, "a zero byte ends the text");
                return;
            }
            addCharacter(i, i + length, units(text).front());
            i += length;
        }
    }

    const DvbSettings &settings_;
    const std::string &bytes_;
    Explanation &result_;
    std::size_t begin_;
};

// The receiver's room for UTF-8 and for compressed text is a bound that broken or very long text exceeds.
void warnOfCut(Explanation &result) {
    std::size_t whole = 0;
    for (const Step &step : result.steps) {
        whole += utf8(step.output).size();
    }
    const DvbCode_t code = result.selection.code;
    if ((code == DvbCodeUtf8 || code == DvbCodeCompressed) && whole > result.text.size()) {
        result.warnings.push_back(
            fmt::format("the receiver has room for {} of {} bytes of text", result.text.size(), whole));
    }
}

} // namespace

Explanation explain(const DvbSettings &settings, const std::string &bytes) {
    Explanation result;
    result.selection = selectTable(settings, bytes);
    result.text = settings.converter().convertDvb8ToUtf8(bytes);
    explainSelection(settings, bytes, result);
    Explainer(settings, bytes, result).explain();
    warnOfCut(result);
    return result;
}

std::string kindName(StepKind kind) {
    switch (kind) {
    case StepKind::Selector:
        return "selector";
    case StepKind::Text:
        return "text";
    case StepKind::Mark:
        return "mark";
    case StepKind::Control:
        return "control";
    case StepKind::Dropped:
        return "dropped";
    case StepKind::Unassigned:
        return "unassigned";
    case StepKind::Piece:
        return "piece";
    case StepKind::End:
        break;
    }
    return "end";
}

std::string className(unsigned short character) {
    constexpr std::array<std::pair<unsigned int, const char *>, 15> names = {{
        {CharClassDigit, "digit"},
        {CharClassLetter, "letter"},
        {CharClassPunctuation, "punctuation"},
        {CharClassSpace, "space"},
        {CharClassOpening, "opening"},
        {CharClassClosing, "closing"},
        {CharClassBreak, "break"},
        {CharClassStop, "stop"},
        {CharClassSymbol, "symbol"},
        {CharClassMark, "combining mark"},
        {CharClassModifier, "modifier"},
        {CharClassFormat, "format"},
        {CharClassSubscript, "subscript"},
        {CharClassSuperscript, "superscript"},
        {CharClassControl, "control"},
    }};
    const unsigned int classes = zelkcharGetClass(character);
    std::string result;
    for (const auto &[bit, name] : names) {
        if ((classes & bit) != 0) {
            result += result.empty() ? "" : ", ";
            result += name;
        }
    }
    return result;
}

} // namespace zelk::tool
