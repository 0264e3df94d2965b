// The settings of a receiver that decide how a DVB string is read, as command-line options.
#pragma once

#include "zelk.hpp"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace zelk::tool {

struct DvbSettings {
    dvbCharSet_t region = DvbCharSetStandard;
    DvbCode_t defaultCode = DvbCodeNone;
    int extra = 0;
    bool keepEmphasis = false;

    unsigned int flags() const { return keepEmphasis ? 1U : 0U; }
    DvbConverter converter() const { return {region, defaultCode, extra, flags()}; }
};

// The table code of a name such as "iso8859-5" or "utf-8", or of a number from 0 to 22.
std::optional<DvbCode_t> codeOf(const std::string &value);

CLI::Option *addRegionOption(CLI::App &command, dvbCharSet_t &region);

// --region, --default-code, --extra, --keep-emphasis
std::vector<CLI::Option *> addDvbOptions(CLI::App &command, DvbSettings &settings);

// What the selector bytes at the head of a string decide under the settings.
struct DvbSelection {
    dvbCharSet_t charSet;
    DvbCode_t code;
    int extra;
    std::size_t consumed; // bytes of the string, never more than it has
};

DvbSelection selectTable(const DvbSettings &settings, const std::string &bytes);

// "standard", the word of --region.
std::string regionName(dvbCharSet_t region);

// "ISO 8859-5", "UTF-8": what a character table code stands for.
std::string codeName(DvbCode_t code);

} // namespace zelk::tool
