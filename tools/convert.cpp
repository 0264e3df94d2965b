// zelk convert: files of any size from one character set to UTF-8 or UCS-2.
#include "command.h"
#include "commands.h"
#include "converter.h"
#include "dvb_settings.h"
#include "text.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>

namespace zelk::tool {

namespace {

enum class Family { Iso, Windows, Teletext, Ucs2, Utf8, Dvb };

struct CharacterSet {
    const char *name;
    std::vector<const char *> otherNames;
    const char *description;
    Family family;
    int number; // ISO part, code page, or 1 where the high byte comes first
};

const std::vector<CharacterSet> characterSets = {
    {"ascii", {"us-ascii"}, "ASCII; other bytes become U+FFFD", Family::Iso, 0},
    {"iso8859-1", {"1", "latin1"}, "Western European", Family::Iso, 1},
    {"iso8859-2", {"2", "latin2"}, "Central European", Family::Iso, 2},
    {"iso8859-3", {"3", "latin3"}, "South European", Family::Iso, 3},
    {"iso8859-4", {"4", "latin4"}, "North European", Family::Iso, 4},
    {"iso8859-5", {"5", "cyrillic"}, "Cyrillic", Family::Iso, 5},
    {"iso8859-6", {"6", "arabic"}, "Arabic: only its ASCII part is supported", Family::Iso, 6},
    {"iso8859-7", {"7", "greek"}, "Greek", Family::Iso, 7},
    {"iso8859-8", {"8", "hebrew"}, "Hebrew: only its ASCII part is supported", Family::Iso, 8},
    {"iso8859-9", {"9", "latin5"}, "Turkish", Family::Iso, 9},
    {"iso8859-10", {"10", "latin6"}, "Nordic", Family::Iso, 10},
    {"iso8859-11", {"11", "thai"}, "Thai: only its ASCII part is supported", Family::Iso, 11},
    {"iso8859-13", {"13", "latin7"}, "Baltic", Family::Iso, 13},
    {"iso8859-14", {"14", "latin8"}, "Celtic", Family::Iso, 14},
    {"iso8859-15", {"15", "latin9"}, "Western European with the euro sign", Family::Iso, 15},
    {"iso8859-16", {"16", "latin10"}, "South-Eastern European", Family::Iso, 16},
    {"windows-1250", {"1250", "cp1250"}, "Central European", Family::Windows, 1250},
    {"windows-1251", {"1251", "cp1251"}, "Cyrillic", Family::Windows, 1251},
    {"windows-1252", {"1252", "cp1252"}, "Western European", Family::Windows, 1252},
    {"windows-1253", {"1253", "cp1253"}, "Greek", Family::Windows, 1253},
    {"windows-1254", {"1254", "cp1254"}, "Turkish", Family::Windows, 1254},
    {"windows-1257", {"1257", "cp1257"}, "Baltic", Family::Windows, 1257},
    {"teletext", {"teletext-be"}, "Units of a teletext decoder, high byte first", Family::Teletext, 1},
    {"teletext-le", {}, "Units of a teletext decoder, low byte first", Family::Teletext, 0},
    {"ucs2be", {"ucs2"}, "Two-byte characters, high byte first", Family::Ucs2, 1},
    {"ucs2le", {}, "Two-byte characters, low byte first", Family::Ucs2, 0},
    {"utf8", {}, "UTF-8; malformed sequences become U+FFFD", Family::Utf8, 0},
    {"dvb", {"en300468"}, "DVB strings, one per line", Family::Dvb, 0},
};

struct ConvertOptions {
    std::vector<std::string> files;
    std::string from;
    std::string to = "utf8";
    dvbCharSet_t region = DvbCharSetStandard;
    bool regionGiven = false;
    bool checked = false;
    bool tolerant = false;
    bool list = false;
};

// Letter case, hyphens, underscores and a stray blank make no difference: ISO_8859-15, iso-8859-15, ISO885915.
std::string plainName(const std::string &name) {
    std::string result;
    for (const char character : name) {
        if (character >= 'A' && character <= 'Z') {
            result.push_back(static_cast<char>(character | 0x20));
        } else if (character != '-' && character != '_' && character != ' ') {
            result.push_back(character);
        }
    }
    return result;
}

const CharacterSet *findSet(const std::string &name) {
    const std::string wanted = plainName(name);
    const auto found = std::find_if(characterSets.begin(), characterSets.end(), [&wanted](const CharacterSet &set) {
        return plainName(set.name) == wanted ||
               std::any_of(set.otherNames.begin(), set.otherNames.end(),
                           [&wanted](const char *other) { return plainName(other) == wanted; });
    });
    return found == characterSets.end() ? nullptr : &*found;
}

void declare(CLI::App &command, ConvertOptions &options) {
    addFiles(command, options.files);
    command.add_option("--from", options.from, "Character set of the input, see --list")
        ->type_name("SET")
        ->check([](const std::string &name) {
            return findSet(name) != nullptr
                       ? std::string()
                       : fmt::format("expected a character set of 'zelk convert --list', found '{}'", name);
        });
    command.add_option("--to", options.to, "Character set of the output; ucs2 is ucs2be [utf8]")
        ->type_name("SET")
        ->check(oneOf({"utf8", "ucs2", "ucs2be", "ucs2le"}));
    addRegionOption(command, options.region)->each([&options](const std::string &) { options.regionGiven = true; });
    command.add_flag("--checked", options.checked, "Leave a file that is UTF-8 throughout as it is (ISO sets)");
    command.add_flag("--tolerant", options.tolerant, "Take a file as UTF-8 up to its first fault (ISO sets)");
    command.add_flag("--list", options.list, "List the character sets and their names");
}

ExitStatus writeList() {
    Table table({"Set", "Also", "What it is"});
    for (const CharacterSet &set : characterSets) {
        table.add({set.name, fmt::format("{}", fmt::join(set.otherNames, ", ")), set.description});
    }
    write(table.format(false));
    return ExitOk;
}

Converter makeConverter(const CharacterSet &set, const ConvertOptions &options) {
    switch (set.family) {
    case Family::Iso:
        return options.tolerant ? fromIsoTolerant(static_cast<unsigned int>(set.number))
                                : fromIso(static_cast<unsigned int>(set.number));
    case Family::Windows:
        return fromWindows(set.number);
    case Family::Teletext:
        return fromTeletext(set.number != 0);
    case Family::Ucs2:
        return fromUcs2(set.number != 0);
    case Family::Utf8:
        return fromUtf8();
    case Family::Dvb:
        break;
    }
    return fromDvb(options.region);
}

// Whether a text is UTF-8 is known only at its end, so the input waits in a temporary file, not in memory.
Input spool(Input &input, bool &valid) {
    std::FILE *const file = std::tmpfile();
    if (file == nullptr) {
        failSystem("temporary file", errno);
    }
    Input spooled(file, input.name());
    valid = true;
    const Converter check = holdCharacters(betweenZeros([&valid](const std::string &text) {
        valid = valid && zelkUtf8TextIsValid(reinterpret_cast<const unsigned char *>(text.c_str()), ~0U) != 0;
        return std::string();
    }));
    convertStream(
        input,
        [&](std::string_view in, bool last, std::string &out) {
            const std::size_t done = check(in, last, out);
            if (std::fwrite(in.data(), 1, done, file) != done) {
                failSystem("temporary file", errno);
            }
            return done;
        },
        [](std::string_view) {});
    if (std::fflush(file) != 0) {
        failSystem("temporary file", errno);
    }
    std::rewind(file);
    return spooled;
}

ExitStatus run(const ConvertOptions &options) {
    if (options.list) {
        return writeList();
    }
    if (options.from.empty()) {
        failInput("expected --from SET; 'zelk convert --list' lists the sets");
    }
    const CharacterSet &set = *findSet(options.from);
    if ((options.checked || options.tolerant) && set.family != Family::Iso) {
        failInput("expected --checked and --tolerant only with an ISO 8859 set");
    }
    if (options.checked && options.tolerant) {
        failInput("expected only one of --checked and --tolerant");
    }
    if (options.regionGiven && set.family != Family::Dvb) {
        failInput("expected --region only with --from dvb");
    }

    forEachInput(options.files, [&set, &options](Input &input) {
        // Every set goes through UTF-8, which carries all UCS-2 units.
        const auto convert = [&options](Input &from, Converter converter) {
            if (options.to != "utf8") {
                converter = chain(std::move(converter), toUcs2(options.to != "ucs2le"));
            }
            convertStream(from, converter, write, "two bytes for each character");
        };
        if (options.checked) {
            bool valid = false;
            Input spooled = spool(input, valid);
            convert(spooled, valid ? fromUtf8() : makeConverter(set, options));
        } else {
            convert(input, makeConverter(set, options));
        }
    });
    return ExitOk;
}

} // namespace

void addConvertCommand(CLI::App &app) {
    addCommand<ConvertOptions>(app, {"convert", "Convert files between character sets", group::convert}, declare, run);
}

} // namespace zelk::tool
