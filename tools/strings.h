// Short broadcast strings as input: one per argument or per line, in hexadecimal or as raw bytes.
#pragma once

#include "cli_names.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zelk::tool {

struct StringOptions {
    std::vector<std::string> strings;
    std::vector<std::string> files;
    bool raw = false;
};

// The bytes of words of digit pairs between blanks; a word may begin with 0x. Throws Failure, with the place, for
// others.
std::string parseHex(std::string_view text, const std::string &place);

// STRING..., --file, --raw
void addStringOptions(CLI::App &command, StringOptions &options);

// Calls `use` with the bytes of every string: the arguments, then the lines of the files, or the lines of standard
// input when neither is given. Throws Failure with the place of text that is not hexadecimal.
void forEachString(const StringOptions &options, const std::function<void(const std::string &)> &use);

// Where a string stands.
struct StringPlace {
    std::string name;     // "argument 1", "file:7"
    std::string file;     // empty for an argument and for standard input
    std::size_t line = 0; // in the input, from 1; 0 for an argument
};

void forEachPlacedString(const StringOptions &options,
                         const std::function<void(const std::string &, const StringPlace &)> &use);

} // namespace zelk::tool
