// The rows of a Malaysian table as its data file has them, and the plainest decoder over them.
#pragma once

#include "reference/bit_string.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zelk_test {

struct MalaysiaRows {
    std::map<std::string, std::string> pieceOf;             // code -> piece
    std::map<std::string, std::string, std::less<>> codeOf; // piece -> code
    std::set<std::string> paths;                            // the codes and all their beginnings, "" among them

    explicit MalaysiaRows(const std::string &file) {
        std::ifstream lines(file, std::ios::binary);
        if (!lines) {
            throw std::runtime_error("cannot read " + file);
        }
        for (std::string line; std::getline(lines, line);) {
            if (line.empty() || line[0] == '#') {
                continue;
            }
            const std::size_t tab = line.find('\t');
            const std::string code = line.substr(0, tab);
            const std::string piece = line.substr(tab + 1);
            pieceOf[code] = piece;
            codeOf[piece] = code;
            for (std::size_t length = 0; length <= code.size(); ++length) {
                paths.insert(code.substr(0, length));
            }
        }
        for (const std::string &path : paths) {
            const auto row = pieceOf.find(path);
            byNumber_[numberOf(path)] = row == pieceOf.end() ? "" : row->second;
        }
    }

    bool isPath(std::string_view path) const { return byNumber_.contains(numberOf(path)); }
    bool isCode(std::string_view path) const { return !pieceAt(path).empty(); }

    // The piece of a code; empty for any other path.
    std::string pieceAt(std::string_view path) const {
        const auto found = byNumber_.find(numberOf(path));
        return found == byNumber_.end() ? "" : found->second;
    }

private:
    std::unordered_map<std::size_t, std::string> byNumber_; // of the paths
};

inline std::string utf8OfLatin1(unsigned int character) {
    if (character < 0x80) {
        return {static_cast<char>(character)};
    }
    return {static_cast<char>(0xC0 + (character >> 6)), static_cast<char>(0x80 + (character & 0x3F))};
}

// `room`: how many bytes may come out; the first piece or literal that does not fit ends the text.
inline std::string decodeMalaysiaBits(const MalaysiaRows &rows, const std::string &bits,
                                      std::size_t room = std::string::npos) {
    std::string text;
    const auto append = [&](const std::string &bytes) {
        const bool fits = bytes.size() <= room - text.size();
        text += fits ? bytes : "";
        return fits;
    };
    std::string path;
    for (std::size_t at = 0; at < bits.size();) {
        if (rows.isPath(path + bits[at])) {
            path += bits[at++];
            if (at == bits.size() && rows.isCode(path)) {
                append(rows.pieceAt(path));
            }
            continue;
        }
        std::string next;
        if (rows.isCode(path)) {
            next = rows.pieceAt(path);
        } else if (bits[at] == '1' && valueOf(path) == 0x7F) {
            return text;
        } else {
            const std::string literal = bits.substr(at + 1, 8);
            next = utf8OfLatin1(literal.size() == 8 ? valueOf(literal) : 0);
            at = std::min(at + 9, bits.size());
        }
        if (!append(next)) {
            return text;
        }
        path.clear();
    }
    return text;
}

} // namespace zelk_test
