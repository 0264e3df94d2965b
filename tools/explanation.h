// What each byte of a DVB string did: the table chosen and why, and step by step what came out.
#pragma once

#include "dvb_settings.h"

#include <cstddef>
#include <string>
#include <vector>

namespace zelk::tool {

enum class StepKind {
    Selector,   // names the character table
    Text,       // a character
    Mark,       // waits for the letter that it stands above
    Control,    // a control code that is kept
    Dropped,    // gives nothing
    Unassigned, // no character of the table, or a malformed sequence
    Piece,      // compressed bits that complete no character
    End         // end of the text
};

struct Step {
    StepKind kind = StepKind::Text;
    std::size_t offset = 0; // of its first byte
    std::string bytes;
    std::string bits; // of compressed text, first bit first
    std::vector<unsigned short> output;
    std::string note;
};

struct Explanation {
    DvbSelection selection{};
    int table = -1; // internal number of the character table, or -1 where none is used
    std::string tableName;
    std::string reason;
    std::vector<Step> steps;
    std::string text; // what the receiver shows, in UTF-8
    std::vector<std::string> warnings;
};

Explanation explain(const DvbSettings &settings, const std::string &bytes);

// "selector", "text", ...
std::string kindName(StepKind kind);

// "letter", "punctuation, opening", ...: the classes of a character, empty when it has none.
std::string className(unsigned short character);

} // namespace zelk::tool
