// UTF-8 text as DVB strings, for every command that writes them.
#pragma once

#include "converter.h"

#include "zelk_insight.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace zelk::tool {

// The forms whose strings hold no line feed, whatever the text: strings may then stand on lines. Two-byte and
// compressed text may hold any byte, and 0x0A is the selector of ISO 8859-14.
inline constexpr unsigned int lineForms =
    ZelkInsightFormsStandard & ~(static_cast<unsigned int>(ZelkInsightFormTwoByte) | 1U << 14U);

// A line that ends with CR LF is the text before both.
std::string textOfLine(std::string_view line);

// The whole text in one string.
std::string encodeDvb(const zelkInsightEncodeSettings &settings, const std::string &text, zelkInsightEncoded &encoded);

// Lines of UTF-8 to lines of DVB strings. What cannot be said is a question mark and is counted in `unsaid`, which
// outlives the converter; with `strict` it throws Failure. `name` is the input's.
Converter toDvb(dvbCharSet_t region, bool strict, const std::string &name, std::size_t &unsaid);

// Says on standard error how many characters were written as question marks, where any was.
void reportUnsaid(const std::string &command, std::size_t count);

} // namespace zelk::tool
