// Texts of ATSC program information: the segments of a multiple string structure (A/65, 6.10) to UTF-8.
#pragma once

#include "zelk.hpp"

#include <string>

namespace zelk::tool {

// A text compressed by the code of programme titles or of descriptions, byte for byte.
std::string decodeGuideText(const HuffmanDecoder &decoder, const std::string &compressed);

// The segments of one string: each says how it is compressed, what its bytes are, how many they are. U+FFFD stands for
// what is reserved, and for the bytes of the standard compression scheme for Unicode, which is not read.
std::string readSegments(const std::string &segments);

// Two bytes for each unit, high byte first, up to a zero unit.
std::string readWideText(const std::string &bytes);

// How the first segment is coded: "ATSC title code", "UTF-16", "ISO 8859-1".
std::string segmentTable(const std::string &segments);

} // namespace zelk::tool
