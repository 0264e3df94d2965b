// Lint against decoding with evidence: the same findings in the same order, faults of whole strings among them once
// each, all inside the string and its text, and the first ones where there is no room for all. And overrides: any text
// is read, and what is found is told.
#include "dvb.h"

#include "zelk_insight.h"

using fuzz::require;

namespace {

std::vector<zelkInsightFault> lint(const zelkInsightSettings &settings, const fuzz::DvbString &string,
                                   const char *language, unsigned int room, unsigned int &count) {
    static fuzz::Records<zelkInsightFault> faults;
    count = zelkInsightLint(&settings, string.in.get(), string.count, language, faults.begin(room), room);
    return faults.end(count);
}

void checkWholeStringRules(const std::vector<zelkInsightFault> &faults) {
    unsigned int seen = 0;
    for (const zelkInsightFault &fault : faults) {
        if (fault.rule >= ZelkInsightRuleFirst) {
            require(fault.rule < ZelkInsightRuleEnd, "the rule is known");
            const unsigned int bit = 1U << (fault.rule - ZelkInsightRuleFirst);
            require((seen & bit) == 0, "a rule of whole strings has one fault");
            seen |= bit;
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr const char *languages[] = {nullptr, "eng", "rus", "gre", "jpn", "", "xx", "srp"};
    fuzz::Input input(data, size);
    const fuzz::DvbSettings s(input);
    const char *const language = languages[input.byte() % std::size(languages)];
    const unsigned int how = input.byte();
    const unsigned int options = how & 3U; // a guess has no effect
    // The guess in each lint takes most of the time, by the length of its text: few texts are long.
    const std::string text = input.rest().substr(0, (how & 0xE0U) == 0 ? 96 : 24);
    const auto room = static_cast<unsigned int>(3 * text.size() + ZelkInsightRuleEnd - ZelkInsightRuleFirst);
    const fuzz::DvbString string(text, true);
    const zelkInsightSettings settings = {s.region, s.code, s.extra, s.flags, options};

    static fuzz::Records<zelkInsightFinding> found;
    zelkInsightEvidence evidence{};
    evidence.findings = found.begin(room);
    evidence.findingRoom = room;
    fuzz::Output<char> out(string.ample);
    const std::string decoded =
        out.text(zelkInsightDecode(&settings, out.data(), string.ample, string.in.get(), string.count, &evidence));
    const std::vector<zelkInsightFinding> findings = found.end(evidence.findingCount);

    unsigned int count = 0;
    const std::vector<zelkInsightFault> all = lint(settings, string, language, room, count);
    require(count <= evidence.findingCount + ZelkInsightRuleEnd - ZelkInsightRuleFirst, "no fault comes from nowhere");
    checkWholeStringRules(all);
    unsigned int seen = 0;
    unsigned int before = 0;
    for (const zelkInsightFault &fault : all) {
        require(fault.offset >= before, "faults are in order");
        require(fault.offset <= text.size() && fault.length <= text.size() - fault.offset,
                "a fault lies in the string");
        require(fault.textOffset <= decoded.size() && fault.textLength <= decoded.size() - fault.textOffset,
                "a fault lies in the text");
        require(fault.severity == zelkInsightRuleSeverity(fault.rule), "the severity is the rule's");
        before = fault.offset;
        if (fault.rule < ZelkInsightRuleFirst && seen < findings.size()) {
            const zelkInsightFinding &finding = findings[seen++];
            require(fault.rule == static_cast<unsigned int>(finding.kind) && fault.offset == finding.offset &&
                        fault.length == finding.length && fault.textOffset == finding.textOffset &&
                        fault.textLength == finding.textLength && fault.value == finding.value,
                    "a finding is the decoder's");
        }
    }
    require(count > room || seen == evidence.findingCount, "all findings are faults");

    if ((how & 0x1CU) == 0) {
        unsigned int again = 0;
        const std::vector<zelkInsightFault> few = lint(settings, string, language, count / 2, again);
        require(again == count, "the room does not change the count");
        for (std::size_t i = 0; i < few.size(); ++i) {
            require(few[i].rule == all[i].rule && few[i].offset == all[i].offset, "the first faults are stored");
        }
    }

    zelkInsightSettings overridden = settings;
    const std::string entries = "zelk-overrides 1\n" + text;
    const zelkInsightOrigin origin = {1, 2, 3, "fre", "FR"};
    const unsigned int line =
        zelkInsightFindOverride(fuzz::block(entries, 0).get(), static_cast<int>(entries.size()), &origin, &overridden);
    const auto isNew = [&](unsigned int option) { return (overridden.options & ~settings.options & option) != 0; };
    require(line != 0 || overridden.options == settings.options, "without an entry nothing is overridden");
    require(overridden.charSet == settings.charSet || (overridden.options & ZelkInsightRegionOverridden) != 0,
            "a region that is overridden is told");
    require(overridden.defaultCode == settings.defaultCode || (overridden.options & ZelkInsightOverridden) != 0,
            "a default code that is overridden is told");
    require(!isNew(ZelkInsightIgnoreSelector) || (overridden.options & ZelkInsightSelectorOverridden) != 0,
            "a selector that is ignored is told");
    return 0;
}
