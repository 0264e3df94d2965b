// Decoding with evidence against plain decoding: the same text wherever that is valid UTF-8, findings and steps inside
// their bounds and in order, steps that cover the string and add up to the text, and the same answer with and without
// them.
#include "dvb.h"

#include "zelk_insight.h"

using fuzz::require;

namespace {

// Plain RFC 3629, byte by byte.
bool isUtf8(const std::string &text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto at = [&](std::size_t offset) -> unsigned int {
            return i + offset < text.size() ? static_cast<unsigned char>(text[i + offset]) : 0U;
        };
        const unsigned int lead = at(0);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        unsigned int value = lead < 0x80 ? lead : lead & (0x7FU >> length);
        for (std::size_t k = 1; k < length; ++k) {
            if ((at(k) & 0xC0U) != 0x80) {
                return false;
            }
            value = value * 64 + (at(k) & 0x3FU);
        }
        constexpr unsigned int least[] = {0, 0x80, 0x800, 0x10000};
        if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || value < least[length - 1] || value > 0x10FFFF ||
            (value >= 0xD800 && value <= 0xDFFF)) {
            return false;
        }
        i += length;
    }
    return true;
}

struct Decoded {
    std::string text;
    zelkInsightEvidence evidence{};
    std::vector<zelkInsightFinding> findings;
    std::vector<zelkInsightStep> steps;
};

// `room` is that of findings and of steps.
Decoded decode(const zelkInsightSettings &settings, const fuzz::DvbString &string, int size, unsigned int room,
               bool withSteps) {
    static fuzz::Records<zelkInsightFinding> findings;
    static fuzz::Records<zelkInsightStep> steps;
    Decoded result;
    result.evidence.findings = findings.begin(room);
    result.evidence.findingRoom = room;
    result.evidence.steps = withSteps ? steps.begin(room) : nullptr;
    result.evidence.stepRoom = withSteps ? room : 0;
    fuzz::Output<char> out(size);
    result.text =
        out.text(zelkInsightDecode(&settings, out.data(), size, string.in.get(), string.count, &result.evidence));
    result.findings = findings.end(result.evidence.findingCount);
    if (withSteps) {
        result.steps = steps.end(result.evidence.stepCount);
    }
    return result;
}

void checkFindings(const Decoded &decoded, std::size_t length) {
    unsigned int before = 0;
    for (const zelkInsightFinding &finding : decoded.findings) {
        require(finding.offset >= before, "findings are in order");
        require(finding.offset <= length && finding.length <= length - finding.offset, "a finding lies in the string");
        require(finding.textOffset <= decoded.text.size() &&
                    finding.textLength <= decoded.text.size() - finding.textOffset,
                "a finding lies in the text");
        require(finding.severity == zelkInsightKindSeverity(finding.kind), "the severity is the kind's");
        require(finding.severity <= decoded.evidence.severity, "the worst severity is told");
        before = finding.offset;
    }
}

void checkSteps(const Decoded &decoded, std::size_t length) {
    std::size_t covered = 0; // bits
    std::size_t shown = 0;
    for (const zelkInsightStep &step : decoded.steps) {
        const bool bits = step.bitCount != 0;
        require((bits ? step.bitOffset : 8 * step.offset) == covered ||
                    (!bits && 8 * step.offset == (covered + 7) / 8 * 8),
                "steps have no gap");
        covered = bits ? step.bitOffset + step.bitCount : 8 * (step.offset + std::size_t{step.length});
        require(step.textOffset == shown, "steps add up to the text");
        shown += step.textLength;
    }
    require((covered + 7) / 8 == length, "steps cover the string");
    require(shown == decoded.text.size(), "steps show the text");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const fuzz::DvbSettings s(input);
    const int small = input.size();
    const bool coin = input.coin();
    const unsigned int how = input.byte();
    const std::string text = input.rest();
    // A guess takes most of the time, by the length of its text: few are of long ones.
    const bool guesses = text.size() <= 16 || (how & 0xF0U) == 0;
    const unsigned int options = how & (guesses ? 7U : 7U & ~static_cast<unsigned int>(ZelkInsightGuessTable));
    const fuzz::DvbSelected selected(s, text);
    // The end of compressed text must be there, and of two-byte text after a selector that reaches into the zeros.
    const bool ignoring = (options & ZelkInsightIgnoreSelector) != 0;
    const bool counted = coin || selected.compressed() || s.code == DvbCodeCompressed ||
                         (ignoring && s.code == DvbCodeUcs2 && selected.consumed > text.size());
    const fuzz::DvbString string(text, counted);
    const zelkInsightSettings settings = {s.region, s.code, s.extra, s.flags, options};

    const unsigned int room = 64 + 8 * static_cast<unsigned int>(text.size());
    const Decoded quick = decode(settings, string, string.ample, room, false);
    const Decoded full = decode(settings, string, string.ample, room, true);
    const Decoded cut = decode(settings, string, small, room, false);
    require(isUtf8(quick.text) && isUtf8(cut.text), "the text is UTF-8");
    require(quick.text == full.text && quick.evidence.findingCount == full.evidence.findingCount &&
                quick.evidence.severity == full.evidence.severity,
            "steps change nothing");
    require(quick.evidence.reason == full.evidence.reason && quick.evidence.table == full.evidence.table &&
                quick.evidence.code == full.evidence.code && quick.evidence.extra == full.evidence.extra &&
                quick.evidence.charSet == full.evidence.charSet &&
                quick.evidence.selectorLength == full.evidence.selectorLength,
            "a string is read alike with steps and without");
    require(cut.text.size() <= quick.text.size() || cut.evidence.findingCount != 0, "what is cut is told");

    const bool ignored = ignoring && quick.evidence.selectorLength != 0;
    const bool guessed = quick.evidence.reason == ZelkInsightByGuess;
    if (!ignored && !guessed) {
        const std::string plain = string.utf8(s, string.ample);
        require(!isUtf8(plain) || plain == quick.text, "the text is that of plain decoding");
        const std::string plainCut = string.utf8(s, small);
        require(!isUtf8(plainCut) || plainCut == cut.text, "the cut text is that of plain decoding");
        require(quick.text.size() < static_cast<std::size_t>(std::max(1, string.ample)), "there is room");
    }
    const int bound = zelkInsightDecodeSize(&settings, string.in.get(), string.count);
    if (counted) {
        require(quick.text.size() < static_cast<std::size_t>(bound), "the bound holds");
    }
    const bool twoByte = full.evidence.table == ZelkInsightTableTwoByte;
    const std::size_t length = counted              ? text.size()
                               : full.steps.empty() ? 0
                                                    : full.steps.back().offset + std::size_t{full.steps.back().length};
    require(twoByte || counted || length <= text.size() + 3, "a terminated string ends at its terminator");
    if (full.evidence.stepCount == full.steps.size() && full.evidence.findingCount == full.findings.size()) {
        checkFindings(full, length);
        checkFindings(quick, length);
        if (!(full.steps.empty() && length == 0)) {
            checkSteps(full, length);
        }
    }
    return 0;
}
