// zelk convert: files of any size from one character set to another.
#include "command.h"
#include "commands.h"
#include "converter.h"
#include "dvb_settings.h"
#include "dvb_writer.h"
#include "table_names.h"
#include "text.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>

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
    DvbSettings dvb;
    OriginOptions origin;
    bool dvbGiven = false;
    bool checked = false;
    bool tolerant = false;
    bool strict = false;
    bool list = false;
    std::string output;
};

const CharacterSet *findSet(const std::string &name) {
    const std::string wanted = plainName(name);
    const auto found = std::find_if(characterSets.begin(), characterSets.end(), [&wanted](const CharacterSet &set) {
        return plainName(set.name) == wanted ||
               std::any_of(set.otherNames.begin(), set.otherNames.end(),
                           [&wanted](const char *other) { return plainName(other) == wanted; });
    });
    return found == characterSets.end() ? nullptr : &*found;
}

// Of a name that is one.
const CharacterSet &setOf(const std::string &name) {
    const CharacterSet *const set = findSet(name);
    if (set == nullptr) {
        throw std::logic_error("no set is called " + name);
    }
    return *set;
}

bool isWritten(const CharacterSet &set) {
    return set.family != Family::Teletext;
}

std::vector<std::string> writtenNames() {
    std::vector<std::string> names;
    for (const CharacterSet &set : characterSets) {
        if (isWritten(set)) {
            names.emplace_back(set.name);
        }
    }
    return names;
}

bool isSingleByte(const CharacterSet &set) {
    return set.family == Family::Iso || set.family == Family::Windows;
}

Converter fromSingleByte(const CharacterSet &set) {
    return set.family == Family::Iso ? fromIso(static_cast<unsigned int>(set.number)) : fromWindows(set.number);
}

void declare(CLI::App &command, ConvertOptions &options) {
    addFiles(command, options.files);
    command.add_option("-f,--from", options.from, "Character set of the input, see --list")
        ->type_name("SET")
        ->check([](const std::string &name) {
            return findSet(name) != nullptr
                       ? std::string()
                       : fmt::format("expected a character set of 'zelk convert --list', found '{}'", name);
        });
    command.add_option("-t,--to", options.to, "Character set of the output, see --list [utf8]")
        ->type_name("SET")
        ->check([](const std::string &name) {
            const CharacterSet *const set = findSet(name);
            return set != nullptr && isWritten(*set)
                       ? std::string()
                       : fmt::format("expected one of {}, found '{}'", fmt::join(writtenNames(), ", "), name);
        });
    std::vector<CLI::Option *> dvbOptions = addDvbOptions(command, options.dvb);
    const std::vector<CLI::Option *> originOptions = addOriginOptions(command, options.origin);
    dvbOptions.insert(dvbOptions.end(), originOptions.begin(), originOptions.end());
    for (CLI::Option *const option : dvbOptions) {
        option->each([&options](const std::string &) { options.dvbGiven = true; });
    }
    command.add_flag("--checked", options.checked, "Leave a file that is UTF-8 throughout as it is (ISO sets)");
    command.add_flag("--tolerant", options.tolerant, "Take a file as UTF-8 up to its first fault (ISO sets)");
    command.add_option("-o,--output", options.output, "Write to a file")->type_name("FILE");
    command.add_flag("--strict", options.strict, "Stop at the first character that cannot be read or written");
    command.add_flag("--list", options.list, "List the character sets and their names");
}

ExitStatus writeList() {
    // How many of its bytes have a character, or which characters it has.
    const auto completeness = [](const CharacterSet &set) -> std::string {
        if (!isSingleByte(set)) {
            return "U+0000-FFFF";
        }
        const CharacterTable characters = charactersOf(fromSingleByte(set));
        const auto missing = std::count(characters.begin(), characters.end(), 0xFFFD);
        return fmt::format("{} of 256", 256 - missing);
    };
    Table table({"Set", "Also", "Direction", "Characters", "What it is"});
    for (const CharacterSet &set : characterSets) {
        table.add({set.name, fmt::format("{}", fmt::join(set.otherNames, ", ")), isWritten(set) ? "from, to" : "from",
                   completeness(set), set.description});
    }
    write(table.format(false));
    return ExitOk;
}

Converter makeConverter(const CharacterSet &set, DvbReader &reader) {
    switch (set.family) {
    case Family::Iso:
        return fromIso(static_cast<unsigned int>(set.number));
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
    return fromDvb(reader);
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

// Sets that the library reads as ASCII alone.
bool isAsciiOnly(const CharacterSet &set) {
    return set.family == Family::Iso && (set.number == 6 || set.number == 8 || set.number == 11);
}

// How many U+FFFD the input brings along: they are characters and no replacements.
std::size_t marksOf(const CharacterSet &set, std::string_view in) {
    if (set.family == Family::Utf8) {
        return countMarks(in);
    }
    std::size_t count = 0;
    if (set.family == Family::Ucs2) {
        const std::string_view mark = set.number != 0 ? "\xFF\xFD" : "\xFD\xFF";
        for (std::size_t at = 0; at + 1 < in.size(); at += 2) {
            count += in.substr(at, 2) == mark ? 1 : 0;
        }
    }
    return count;
}

// The first bytes of a stretch that give U+FFFD and are none: where they begin, and how many there are; 0 if there are
// none.
std::pair<std::size_t, std::size_t> firstUnread(const CharacterSet &set, const Converter &converter,
                                                std::string_view in) {
    std::size_t length = 1;
    for (std::size_t at = 0; at < in.size(); at += length) {
        if (set.family == Family::Utf8) {
            unsigned short unused = 0;
            length = zelkUtf8CharDecode(reinterpret_cast<const unsigned char *>(in.data()) + at,
                                        static_cast<unsigned int>(in.size() - at), &unused);
        } else if (set.family == Family::Dvb) {
            length = std::min(in.find('\n', at), in.size() - 1) + 1 - at;
        } else {
            length = set.family == Family::Iso || set.family == Family::Windows ? 1 : 2;
        }
        const std::string_view character = in.substr(at, length);
        std::string out;
        (void)converter(character, true, out);
        if (countMarks(out) > marksOf(set, character)) {
            return {at, length};
        }
    }
    return {0, 0};
}

// An input while it is read: its name in messages, its set, and what of it is UTF-8 instead.
struct Source {
    std::string name;
    const CharacterSet &set;
    Utf8Prefix prefix = {set.family == Family::Utf8 ? std::string_view::npos : 0, 0};
};

// Counts what could not be read on the way, or stops there. Reading is to UTF-8.
class Watch {
public:
    Watch(bool strict, DvbReader &reader) : strict_(strict), reader_(reader) {}

    Converter over(Converter converter, const Source &source) {
        return [this, &source, converter = std::move(converter),
                offset = std::size_t{0}](std::string_view in, bool last, std::string &out) mutable {
            const std::size_t before = out.size();
            const std::size_t done = converter(in, last, out);
            const std::size_t marks = countMarks(std::string_view(out).substr(before));
            if (marks != 0) {
                const std::size_t prefix = std::min(done, source.prefix.bytes - std::min(source.prefix.bytes, offset));
                const std::string_view utf8 = in.substr(0, prefix);
                const std::string_view rest = in.substr(prefix, done - prefix);
                const std::size_t own = countMarks(utf8) + marksOf(source.set, rest);
                if (marks > own && strict_) {
                    out.resize(before);
                    failUnread(source, setOf("utf8"), utf8, offset, out);
                    failUnread(source, source.set, rest, offset + prefix, out);
                }
                count_ += marks - std::min(own, marks);
            }
            offset += done;
            return done;
        };
    }

    // What cannot be read of a source that is not read to UTF-8: bytes at an offset.
    void noteUnread(const Source &source, std::size_t offset, std::string_view found) {
        if (strict_) {
            fail(source, source.set, offset, found);
        }
        ++count_;
    }

    void noteSurrogate(const Source &source, std::size_t unitsBefore, unsigned short unit) {
        const bool highFirst = source.set.number != 0;
        const auto high = static_cast<char>(unit >> 8U);
        const auto low = static_cast<char>(unit & 0xFFU);
        noteUnread(source, 2 * unitsBefore, highFirst ? std::string{high, low} : std::string{low, high});
    }

    std::size_t count() const { return count_; }

private:
    [[noreturn]] static void fail(const Source &source, const CharacterSet &set, std::size_t offset,
                                  std::string_view found) {
        constexpr std::size_t shown = 16;
        failInput("{}: offset {}: expected a character of {}, found {}", source.name, offset, set.name,
                  hex(found.substr(0, shown)));
    }

    // Converts a stretch of a set, which begins at `offset`, up to what cannot be read, and fails there.
    void failUnread(const Source &source, const CharacterSet &set, std::string_view in, std::size_t offset,
                    std::string &out) const {
        const Converter converter = withoutSurrogates(makeConverter(set, reader_));
        const auto [at, length] = firstUnread(set, converter, in);
        (void)converter(length != 0 ? in.substr(0, at) : in, true, out);
        if (length != 0) {
            fail(source, set, offset + at, in.substr(at, length));
        }
    }

    bool strict_;
    DvbReader &reader_;
    std::size_t count_ = 0;
};

// `utf8Bytes` and `characters` were before the character, of which `prefix` was UTF-8 in the input.
[[noreturn]] void failMissing(const Source &source, const CharacterSet &target, std::size_t utf8Bytes,
                              std::size_t characters, unsigned short character) {
    const Utf8Prefix &prefix = source.prefix;
    const std::size_t offset =
        utf8Bytes < prefix.bytes ? utf8Bytes
                                 : prefix.bytes + (characters - prefix.characters) * (isSingleByte(source.set) ? 1 : 2);
    const std::string place = source.set.family == Family::Dvb ? fmt::format("character {}", characters + 1)
                                                               : fmt::format("offset {}", offset);
    failInput("{}: {}: expected a character of {}, found {} ({})", source.name, place, target.name,
              codePointName(character), hex(utf8(character)));
}

// Files are read while the output is written: what is both would lose what has not been read.
void refuseInputAsOutput(const ConvertOptions &options) {
    std::error_code failed; // and then they are not the same
    if (!std::filesystem::is_regular_file(options.output, failed)) {
        return;
    }
    const std::vector<std::string> standardInput = {"-"};
    for (const std::string &name : options.files.empty() ? standardInput : options.files) {
        if (std::filesystem::equivalent(name == "-" ? "/dev/stdin" : name, options.output, failed)) {
            failInput("{}: expected an output file that is not read, too", options.output);
        }
    }
}

ExitStatus run(const ConvertOptions &options) {
    if (options.list) {
        return writeList();
    }
    if (options.from.empty()) {
        failInput("expected --from SET; 'zelk convert --list' lists the sets");
    }
    const CharacterSet &set = setOf(options.from);
    if ((options.checked || options.tolerant) && set.family != Family::Iso) {
        failInput("expected --checked and --tolerant only with an ISO 8859 set");
    }
    if (options.checked && options.tolerant) {
        failInput("expected only one of --checked and --tolerant");
    }
    const CharacterSet &target = setOf(options.to);
    if (options.dvbGiven && set.family != Family::Dvb && target.family != Family::Dvb) {
        failInput("expected the options of DVB text only with --from dvb or --to dvb");
    }
    refuseInputAsOutput(options);

    for (const CharacterSet *const used : {&set, &target}) {
        if (isAsciiOnly(*used)) {
            fmt::print(stderr, "zelk convert: of {} only the ASCII part is supported\n", used->name);
        }
    }

    DvbSettings dvb = options.dvb;
    dvb.defaultOverrides = dvb.defaultOverrides && set.family == Family::Dvb; // nothing else asks for them
    DvbReader reader(dvb);
    reader.from(options.origin.origin());
    Watch watch(options.strict, reader);
    std::size_t unsaid = 0;
    std::optional<OutputFile> file; // from the first text on: an input that is not there costs no output
    const auto put = [&](std::string_view text) {
        if (!options.output.empty() && !file) {
            file.emplace(options.output);
        }
        file ? file->write(text) : write(text);
    };
    const CharacterTable targetCharacters =
        isSingleByte(target) ? charactersOf(fromSingleByte(target)) : CharacterTable{};
    const auto convert = [&](Input &input, const CharacterSet &from) {
        Source source{input.name(), from};
        Converter converter = options.tolerant ? fromIsoTolerant(static_cast<unsigned int>(from.number), source.prefix)
                                               : makeConverter(from, reader);
        const MissingCharacter missing = [&](std::size_t utf8Bytes, std::size_t characters, unsigned short character) {
            ++unsaid;
            if (options.strict) {
                failMissing(source, target, utf8Bytes, characters, character);
            }
        };
        UnitWriter units;
        if (target.family == Family::Ucs2) {
            units = writeUcs2(target.number != 0);
        } else if (isSingleByte(target)) {
            units = writeSingleByte(targetCharacters, missing);
        }
        const bool wide = target.family == Family::Ucs2; // which has surrogates, too
        if (isSingleByte(target) && isSingleByte(from) && !options.tolerant) {
            converter = byteToByte(charactersOf(converter), targetCharacters,
                                   [&](std::size_t offset, char byte, unsigned short character) {
                                       if (character == 0xFFFD) {
                                           watch.noteUnread(source, offset, {&byte, 1});
                                       }
                                       missing(0, offset, character);
                                   });
        } else if (units && from.family == Family::Ucs2) {
            MissingCharacter surrogate = [&](std::size_t, std::size_t before, unsigned short unit) {
                watch.noteSurrogate(source, before, unit);
            };
            converter = ucs2To(from.number != 0, units, wide ? nullptr : std::move(surrogate));
        } else { // every other way goes through UTF-8, which carries all UCS-2 units
            converter = watch.over(wide ? std::move(converter) : withoutSurrogates(std::move(converter)), source);
            if (units) {
                converter = chain(std::move(converter), utf8To(units));
            } else if (target.family == Family::Dvb) {
                converter = chain(std::move(converter), toDvb(options.dvb.region, options.strict, source.name, unsaid));
            }
        }
        convertStream(input, converter, put, "two bytes for each character");
    };
    forEachInput(options.files, [&](Input &input) {
        if (options.checked) {
            bool valid = false;
            Input spooled = spool(input, valid);
            convert(spooled, valid ? setOf("utf8") : set);
        } else {
            convert(input, set);
        }
    });
    put({});
    if (file) {
        file->close();
    }
    flushOutput();
    if (!isSingleByte(target)) { // else these are question marks, too
        reportUnread("convert", {}, watch.count());
    }
    reportUnsaid("convert", unsaid);
    return ExitOk;
}

} // namespace

void addConvertCommand(CLI::App &app) {
    addCommand<ConvertOptions>(app, {"convert", "Convert files between character sets", group::convert}, declare, run);
}

} // namespace zelk::tool
