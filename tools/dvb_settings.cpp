#include "dvb_settings.h"

#include "command.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace zelk::tool {

namespace {

// "3201.0001.0065"
bool parseService(const std::string &name, zelkInsightOrigin &origin) {
    const char *at = name.data();
    const char *const end = at + name.size();
    for (unsigned int *const number : {&origin.network, &origin.stream, &origin.service}) {
        std::uint16_t value = 0;
        const auto [stop, error] = std::from_chars(at, end, value, 16);
        const bool last = number == &origin.service;
        if (error != std::errc{} || (last ? stop != end : stop == end || *stop != '.')) {
            return false;
        }
        *number = value;
        at = last ? stop : stop + 1;
    }
    return true;
}

} // namespace

Overrides DvbSettings::overrides() const {
    Overrides overrides;
    if (defaultOverrides) {
        overrides.readDefaults();
    }
    for (const std::string &file : overrideFiles) {
        overrides.read(file);
    }
    if (!overrides.problems().empty()) {
        throw Failure(ExitBadInput, overrides.problems().front());
    }
    return overrides;
}

CLI::Option *addRegionOption(CLI::App &command, dvbCharSet_t &region) {
    return command
        .add_option_function<std::string>(
            "--region", [&region](const std::string &name) { region = *regionOf(name); },
            "Regional character-set setting of the receiver [standard]")
        ->type_name("REGION")
        ->check(oneOf(regionNames()));
}

std::vector<CLI::Option *> addDvbOptions(CLI::App &command, DvbSettings &settings) {
    CLI::Option *const region = addRegionOption(command, settings.region);
    CLI::Option *const code =
        command
            .add_option_function<std::string>(
                "--default-code", [&settings](const std::string &name) { settings.defaultCode = *codeOf(name); },
                "What strings without a selector are coded in: iso8859-1, utf-8, ucs-2, or a table code [18: none]")
            ->type_name("CODE")
            ->check([](const std::string &name) {
                return codeOf(name) ? std::string() : fmt::format("expected {}, found '{}'", expectedCodes, name);
            });
    CLI::Option *const extra =
        command.add_option("--extra", settings.extra, "Encoding type that goes with --default-code 22 [0]")
            ->type_name("TYPE")
            ->check(numberFrom(0, 255));
    CLI::Option *const emphasis =
        command.add_flag("--keep-emphasis", settings.keepEmphasis, "Keep the emphasis codes U+0086 and U+0087");
    CLI::Option *const guess =
        command.add_flag("--guess", settings.guess, "Read a string in another table where its bytes speak for it");
    CLI::Option *const overrides =
        command
            .add_option("--overrides", settings.overrideFiles,
                        "File of what is known about broadcasts; may be given again, the last one counts first")
            ->type_name("FILE")
            ->allow_extra_args(false);
    CLI::Option *const noOverrides = command.add_flag_callback(
        "--no-overrides", [&settings] { settings.defaultOverrides = false; },
        "Read no overrides but the given files: not those of the system and of its user");
    CLI::Option *const country =
        command.add_option("--country", settings.country, "Country of the broadcast, for overrides: FR")
            ->type_name("CODE")
            ->transform(capitals(2, "a country of two letters such as FR"));
    return {region, code, extra, emphasis, guess, overrides, noOverrides, country};
}

zelkInsightOrigin OriginOptions::origin() const {
    zelkInsightOrigin origin = numbers;
    origin.language = language.empty() ? nullptr : language.c_str();
    return origin;
}

std::vector<CLI::Option *> addOriginOptions(CLI::App &command, OriginOptions &options) {
    CLI::Option *const language =
        command.add_option("--language", options.language, "Language of the strings, for overrides: fre")
            ->type_name("CODE")
            ->transform(smallLetters(3, 3, "a language of three letters such as fre"));
    CLI::Option *const service =
        command
            .add_option_function<std::string>(
                "--service",
                [&options](const std::string &name) {
                    if (!parseService(name, options.numbers)) {
                        throw CLI::ValidationError("--service", "expected three numbers such as 3201.0001.0065");
                    }
                },
                "Service of the strings, for overrides: network, stream and service in hexadecimal")
            ->type_name("SERVICE");
    return {language, service};
}

DvbSelection selectTable(const DvbSettings &settings, const std::string &bytes) {
    const std::string readable = bytes + std::string(3, '\0'); // the selection looks at three bytes
    DvbSelection selection = {settings.region, DvbCodeNone, 0, 0};
    const unsigned int consumed = zelk_dvbGetDvbCode(readable.c_str(), &selection.charSet, &selection.code,
                                                     &selection.extra, settings.defaultCode, settings.extra);
    selection.consumed = std::min<std::size_t>(consumed, bytes.size());
    return selection;
}

std::string codeName(DvbCode_t code) {
    switch (code) {
    case DvbCodeTable00:
        return "default table";
    case DvbCodeReserved17:
        return "reserved";
    case DvbCodeNone:
        return "none";
    case DvbCodeUtf8Prepared:
        return "prepared UTF-8";
    case DvbCodeUcs2:
        return "two-byte characters";
    case DvbCodeUtf8:
        return "UTF-8";
    case DvbCodeCompressed:
        return "compressed text";
    default:
        return fmt::format("ISO 8859-{}", static_cast<int>(code));
    }
}

} // namespace zelk::tool
