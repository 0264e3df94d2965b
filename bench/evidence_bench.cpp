// What evidence costs: text without findings, decoded plainly and with evidence by one build of both libraries.
#include "compressed.h"
#include "harness.h"

#include "zelk.h"
#include "zelk_insight.h"

#include <array>
#include <memory>

using namespace zelk_bench;

namespace {

constexpr int byTerminator = -1;

// How the length of a text is given, and what it is where it has no selector.
struct Call {
    bool counted = true;
    DvbCode_t defaultCode = DvbCodeNone;

    int length(std::span<const char> text) const { return counted ? static_cast<int>(text.size()) : byTerminator; }
};

auto plainly(const Call &call) {
    return [call](const Library &library) {
        return [call, decode = BENCH_FIND(library, zelk_dvb8ToUtf8)](std::span<const char> in, char *out,
                                                                     std::size_t room) {
            return decode(DvbCharSetStandard, out, static_cast<int>(room), in.data(), call.length(in), call.defaultCode,
                          0, 0);
        };
    };
}

// What a caller sets once, and every call fills in.
struct Asked {
    zelkInsightSettings settings{};
    std::array<zelkInsightFinding, 4> findings{};
    zelkInsightEvidence evidence{};
};

auto withEvidence(const Library &library, const Call &call) {
    const auto asked = std::make_shared<Asked>();
    asked->settings.charSet = DvbCharSetStandard;
    asked->settings.defaultCode = call.defaultCode;
    asked->evidence.findings = asked->findings.data();
    asked->evidence.findingRoom = static_cast<unsigned int>(asked->findings.size());
    return [call, asked, decode = BENCH_FIND(library, zelkInsightDecode)](std::span<const char> in, char *out,
                                                                          std::size_t room) {
        return decode(&asked->settings, out, static_cast<int>(room), in.data(), call.length(in), &asked->evidence);
    };
}

// `makeTexts(length, library)` gives the texts.
template <class MakeTexts>
void add(Program &program, const std::string &work, const std::string &title, MakeTexts makeTexts,
         const Call &call = {}) {
    for (const Length length : allLengths) {
        program.cell(work, title, length, [=](Cell &cell) {
            const Library &library = cell.libraries().front();
            auto conversion = std::make_unique<Conversion<char, char>>(cell, makeTexts(length, library));
            conversion->ours(plainly(call));
            conversion->rival("evidence", withEvidence(library, call));
            return conversion;
        });
    }
}

auto textsOf(const Source &source) {
    return [source](Length length, const Library &) { return makeTexts(source, length); };
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    add(program, "default table", english.title, textsOf({english, "ISO_6937"}));
    add(program, "default table, by terminator", english.title, textsOf({english, "ISO_6937"}), {.counted = false});
    for (const Languages &languages : {western, eastern, turkish}) {
        add(program, "default table, marks", languages.title, textsOf({languages, "ISO_6937"}));
    }
    add(program, "default table, marks, by terminator", western.title, textsOf({western, "ISO_6937"}),
        {.counted = false});
    const Source part2 = {eastern, "ISO-8859-2", std::string("\x10\x00\x02", 3)};
    const Source part5 = {cyrillic, "ISO-8859-5", "\x01"};
    const Source part7 = {greek, "ISO-8859-7", "\x03"};
    const Source part9 = {turkish, "ISO-8859-9", "\x05"};
    const Source part15 = {western, "ISO-8859-15", "\x0B"};
    for (const Source &source : {part2, part9, part15, part5, part7}) {
        add(program, "with a selector", source.coding + ", " + source.languages.title, textsOf(source));
    }
    add(program, "by default code", "ISO-8859-9, Turkish", textsOf({turkish, "ISO-8859-9"}),
        {.defaultCode = DvbCodeIso8859_9});
    for (const Languages &languages : {english, western, cyrillic, chinese}) {
        add(program, "two-byte text", languages.title, textsOf({languages, "UCS-2BE", "\x11"}));
    }
    for (const Languages &languages : {english, western, cyrillic, chinese}) {
        add(program, "UTF-8", languages.title, textsOf({languages, "UTF-8", "\x15"}));
    }
    add(program, "UTF-8, prepared", western.title, textsOf({western, "UTF-8"}), {.defaultCode = DvbCodeUtf8Prepared});
    add(program, "compressed", "type 1", [](Length length, const Library &library) {
        return compressedTexts(length, "\x1F\x01", streamEncoder(*BENCH_FIND(library, HuffmanDecodeTable_1)));
    });
    add(program, "compressed", "type 2", [](Length length, const Library &library) {
        return compressedTexts(length, "\x1F\x02", streamEncoder(*BENCH_FIND(library, HuffmanDecodeTable_2)));
    });
    add(program, "compressed", "Malaysia, English",
        [](Length length, const Library &) { return compressedTexts(length, "\x1F\x05", malaysiaEncoder()); });
    return program.run(argc, argv);
}
