#include "dvb_settings.h"

#include "command.h"

#include <algorithm>
#include <array>

namespace zelk::tool {

namespace {

// In the order of dvbCharSet_t.
const std::vector<std::string> regionNames = {"iso8859-9",     "standard",   "iso8859-2", "iso8859-7",
                                              "iso8859-9-alt", "iso8859-15", "gb2312"};

} // namespace

CLI::Option *addRegionOption(CLI::App &command, dvbCharSet_t &region) {
    return command
        .add_option_function<std::string>(
            "--region",
            [&region](const std::string &name) {
                const auto found = std::find(regionNames.begin(), regionNames.end(), name);
                region = static_cast<dvbCharSet_t>(found - regionNames.begin());
            },
            "Regional character-set setting of the receiver [standard]")
        ->type_name("REGION")
        ->check(oneOf(regionNames));
}

void addDvbOptions(CLI::App &command, DvbSettings &settings) {
    addRegionOption(command, settings.region);
    command
        .add_option_function<int>(
            "--default-code", [&settings](int code) { settings.defaultCode = static_cast<DvbCode_t>(code); },
            "Table code of strings without a selector [18: none]")
        ->type_name("CODE")
        ->check(numberFrom(DvbCodeTable00, DvbCodeCompressed));
    command.add_option("--extra", settings.extra, "Encoding type that goes with --default-code 22 [0]")
        ->type_name("TYPE")
        ->check(numberFrom(0, 255));
    command.add_flag("--keep-emphasis", settings.keepEmphasis, "Keep the emphasis codes U+0086 and U+0087");
}

DvbSelection selectTable(const DvbSettings &settings, const std::string &bytes) {
    const std::string readable = bytes + std::string(3, '\0'); // the selection looks at three bytes
    DvbSelection selection = {settings.region, DvbCodeNone, 0, 0};
    const unsigned int consumed = zelk_dvbGetDvbCode(readable.c_str(), &selection.charSet, &selection.code,
                                                     &selection.extra, settings.defaultCode, settings.extra);
    selection.consumed = std::min<std::size_t>(consumed, bytes.size());
    return selection;
}

std::string regionName(dvbCharSet_t region) {
    return regionNames.at(static_cast<std::size_t>(region));
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
