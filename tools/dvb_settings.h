// The settings of a receiver that decide how a DVB string is read, as command-line options.
#pragma once

#include "overrides.h"

#include "zelk.hpp"
#include "zelk_insight.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zelk::tool {

struct DvbSettings {
    dvbCharSet_t region = DvbCharSetStandard;
    DvbCode_t defaultCode = DvbCodeNone;
    int extra = 0;
    bool keepEmphasis = false;
    bool guess = false;
    std::shared_ptr<Overrides> overrides; // null for none
    std::string country;

    // Whether strings are read by what goes beyond the converter.
    bool needInsight() const { return guess || overrides != nullptr; }

    // For a string from there; where it is overridden, `entry` receives the line of the compact form, else 0.
    zelkInsightSettings insight(const zelkInsightOrigin &origin, unsigned int *entry = nullptr) const;

    unsigned int flags() const { return keepEmphasis ? 1U : 0U; }
    DvbConverter converter() const { return {region, defaultCode, extra, flags()}; }
};

// The table code of a name such as "iso8859-5" or "utf-8", or of a number from 0 to 22.
std::optional<DvbCode_t> codeOf(const std::string &value);

// The region of a word of --region.
std::optional<dvbCharSet_t> regionOf(const std::string &name);

// Of a string of which nothing is known.
inline constexpr zelkInsightOrigin unknownOrigin = {ZELK_INSIGHT_UNKNOWN, ZELK_INSIGHT_UNKNOWN, ZELK_INSIGHT_UNKNOWN,
                                                    nullptr, nullptr};

CLI::Option *addRegionOption(CLI::App &command, dvbCharSet_t &region);

// --region, --default-code, --extra, --keep-emphasis, --guess, --overrides, --country
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
