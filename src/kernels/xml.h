// The kernels of XML text.
#pragma once

#include "kernels/progress.h"

#include <cstddef>
#include <cstdint>

namespace zelk::kernels {

// A whole conversion: terminates, and tells the bytes in front of the terminator, for which there is `room`.
using XmlConversion = unsigned int (*)(const char *text, std::size_t length, char *out, std::size_t room);

// Short texts in one go; what is not for it is left to `otherwise`, from its beginning.
unsigned int escapeShortXml(const char *text, std::size_t length, char *out, std::size_t room, XmlConversion otherwise);

unsigned int unescapeShortXml(const char *text, std::size_t length, char *out, std::size_t room,
                              XmlConversion otherwise);

// These go as far as the text goes, at most `length` bytes or to its zero byte, and as what comes out surely fits into
// `room` bytes. Near the end of the output, and at a reference that is no whole predefined entity, they stop; their
// caller goes on by the exact rule and may come back.
Progress escapeXml(const char *text, std::size_t length, char *out, std::size_t room);

Progress unescapeXml(const char *text, std::size_t length, char *out, std::size_t room);

// How many bytes escapeXml() makes of the whole text.
std::uint64_t escapedXmlLength(const char *text, std::size_t length);

} // namespace zelk::kernels
