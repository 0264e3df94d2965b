// The settings of a receiver that decide how a DVB string is read, as command-line options.
#pragma once

#include "cli_names.h"
#include "overrides.h"
#include "table_names.h"

#include "zelk.hpp"
#include "zelk_insight.h"

#include <cstddef>
#include <string>
#include <vector>

namespace zelk::tool {

struct DvbSettings {
    dvbCharSet_t region = DvbCharSetStandard;
    DvbCode_t defaultCode = DvbCodeNone;
    int extra = 0;
    bool keepEmphasis = false;
    bool guess = false;
    bool defaultOverrides = true; // the layers of the system and of its user
    std::vector<std::string> overrideFiles;
    std::string country;

    // All layers of overrides, the given files last. Throws Failure for the first thing that is wrong with one.
    Overrides overrides() const;

    unsigned int flags() const { return keepEmphasis ? 1U : 0U; }
    DvbConverter converter() const { return {region, defaultCode, extra, flags()}; }
};

// Of a string of which nothing is known.
inline constexpr zelkInsightOrigin unknownOrigin = {ZELK_INSIGHT_UNKNOWN, ZELK_INSIGHT_UNKNOWN, ZELK_INSIGHT_UNKNOWN,
                                                    nullptr, nullptr};

CLI::Option *addRegionOption(CLI::App &command, dvbCharSet_t &region);

// --region, --default-code, --extra, --keep-emphasis, --guess, --overrides, --no-overrides, --country
std::vector<CLI::Option *> addDvbOptions(CLI::App &command, DvbSettings &settings);

// What is known of where strings come from, as far as overrides ask.
struct OriginOptions {
    std::string language;
    zelkInsightOrigin numbers = unknownOrigin;

    // Valid as long as the options are.
    zelkInsightOrigin origin() const;
};

// --language, --service
std::vector<CLI::Option *> addOriginOptions(CLI::App &command, OriginOptions &options);

// What the selector bytes at the head of a string decide under the settings.
struct DvbSelection {
    dvbCharSet_t charSet;
    DvbCode_t code;
    int extra;
    std::size_t consumed; // bytes of the string, never more than it has
};

DvbSelection selectTable(const DvbSettings &settings, const std::string &bytes);

// "ISO 8859-5", "UTF-8": what a character table code stands for.
std::string codeName(DvbCode_t code);

} // namespace zelk::tool
