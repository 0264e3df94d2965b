// DVB text to UTF-8 and to UCS-2: the default table, the sets after selectors, two-byte text and UTF-8.
#include "harness.h"
#include "rivals/dvb.h"
#include "rivals/iconv.h"

#include "zelk.h"

#include <memory>

using namespace zelk_bench;

namespace {

auto toUtf8(const Library &library) {
    return [convert = BENCH_FIND(library, zelk_dvb8ToUtf8)](std::span<const char> in, char *out, std::size_t room) {
        return convert(DvbCharSetStandard, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()),
                       DvbCodeNone, 0, 0);
    };
}

auto toUcs2(const Library &library) {
    return [convert = BENCH_FIND(library, zelk_dvb8ToUnicode)](std::span<const char> in, unsigned short *out,
                                                               std::size_t room) {
        return convert(DvbCharSetStandard, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()),
                       DvbCodeNone, 0, 0);
    };
}

// iconv knows nothing of selectors: it gets the text after them.
template <class Out>
auto iconvAfterSelector(const Source &source, const char *to) {
    return [convert = Iconv<char, Out>(source.coding.c_str(), to),
            skip = source.selector.size()](std::span<const char> text, Out *out, std::size_t room) {
        return convert(text.subspan(skip), out, room);
    };
}

void addToUtf8(Program &program, const std::string &work, const std::string &title, const Source &source) {
    for (const Length length : allLengths) {
        program.cell(work, title, length, [=](Cell &cell) {
            auto conversion = std::make_unique<Conversion<char, char>>(cell, makeTexts(source, length));
            conversion->ours(toUtf8);
            conversion->rival("iconv", iconvAfterSelector<char>(source, "UTF-8"));
            addDvbLibraries(*conversion, length);
            return conversion;
        });
    }
}

void addToUcs2(Program &program, const std::string &work, const std::string &title, const Source &source) {
    for (const Length length : allLengths) {
        program.cell(work, title, length, [=](Cell &cell) {
            auto conversion = std::make_unique<Conversion<char, unsigned short>>(cell, makeTexts(source, length));
            conversion->ours(toUcs2);
            conversion->rival("iconv", iconvAfterSelector<unsigned short>(source, nativeUcs2));
            return conversion;
        });
    }
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    addToUtf8(program, "DVB default table to UTF-8, plain", english.title, {english, "ISO_6937"});
    for (const Languages &languages : {western, eastern, turkish}) {
        addToUtf8(program, "DVB default table to UTF-8, marks", languages.title, {languages, "ISO_6937"});
    }
    for (const Languages &languages : {english, eastern}) {
        addToUcs2(program, "DVB default table to UCS-2", languages.title, {languages, "ISO_6937"});
    }

    const std::string some = ", some accents";
    const std::string letters = ", two-byte letters";
    const Source part2 = {eastern, "ISO-8859-2", std::string("\x10\x00\x02", 3)};
    const Source part5 = {cyrillic, "ISO-8859-5", "\x01"};
    const Source part7 = {greek, "ISO-8859-7", "\x03"};
    const Source part9 = {turkish, "ISO-8859-9", "\x05"};
    const Source part15 = {western, "ISO-8859-15", "\x0B"};
    for (const auto &[kind, source] : {std::pair{some, part2}, std::pair{some, part9}, std::pair{some, part15},
                                       std::pair{letters, part5}, std::pair{letters, part7}}) {
        const std::string title = source.coding + ", " + source.languages.title;
        addToUtf8(program, "DVB with a selector to UTF-8" + kind, title, source);
        addToUcs2(program, "DVB with a selector to UCS-2", title, source);
    }

    for (const Languages &languages : {english, western, cyrillic, chinese}) {
        addToUtf8(program, "DVB two-byte text to UTF-8", languages.title, {languages, "UCS-2BE", "\x11"});
    }
    for (const Languages &languages : {english, western, cyrillic, chinese}) {
        addToUtf8(program, "DVB UTF-8 text to UTF-8", languages.title, {languages, "UTF-8", "\x15"});
    }
    return program.run(argc, argv);
}
