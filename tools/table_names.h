// Names of tables and regions, as the command line and overrides take them.
#pragma once

#include "zelk.hpp"

#include <optional>
#include <string>
#include <vector>

namespace zelk::tool {

// Names of character sets compare in this form: letter case makes no difference, nor does one hyphen, underscore or
// blank between two other characters, so that ISO_8859-15, iso-8859-15 and ISO885915 are one.
std::string plainName(const std::string &name);

// The table code of a name such as "iso8859-5" or "utf-8", or of a number from 0 to 22.
std::optional<DvbCode_t> codeOf(const std::string &value);

// What codeOf() takes, for a message that refuses the rest.
inline constexpr const char *expectedCodes =
    "iso8859-1 to iso8859-16, utf-8, ucs-2, compressed, default, none or a table code from 0 to 22";

// The words of --region, in the order of dvbCharSet_t.
const std::vector<std::string> &regionNames();

// The region of a word of --region.
std::optional<dvbCharSet_t> regionOf(const std::string &name);

// "standard", the word of --region.
std::string regionName(dvbCharSet_t region);

} // namespace zelk::tool
