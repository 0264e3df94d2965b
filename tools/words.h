// Words for what a broadcast says in numbers.
#pragma once

#include "announced.h"

#include <string>

namespace zelk::tool {

// "movie/drama: detective/thriller"; of ATSC "Sports". "0x1b" for what the standards leave open.
std::string genreName(System system, const Genre &genre);

// "running", "not running"; EN 300 468, table 6.
std::string runningStatusName(std::uint8_t status);

// "H.264 video", "MPEG-1 layer 2 audio"; EN 300 468, table 26.
std::string componentName(const Component &component);

// The other one of the two codes that ISO 639-2 has for some languages, such as deu and ger, both in small letters;
// else an empty text.
std::string otherLanguageCode(const std::string &code);

} // namespace zelk::tool
