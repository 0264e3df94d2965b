// How text is shown: code points, display width, columns, colour, JSON.
#pragma once

#include "cli_names.h"
#include "unicode.h"

#include <fmt/color.h>
#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelk::tool {

// Members keep the order in which they are written.
using Json = nlohmann::ordered_json;

// One line of JSON with its line feed; bytes that are no UTF-8 become U+FFFD.
std::string jsonLine(const Json &value);

// "05 41 62"
std::string hex(std::string_view bytes);

// "U+00E9"
std::string codePointName(unsigned int character);

// Columns that UTF-8 text takes on a terminal.
std::size_t displayWidth(std::string_view text);

// The beginning of a text that fits in so many columns, with an ellipsis where it is not the whole.
std::string fitted(std::string_view text, std::size_t width);

// Columns of the terminal that standard output is; 0 where it is none.
std::size_t terminalWidth();

enum class Colour { Auto, Always, Never };

// --color auto|always|never
void addColourOption(CLI::App &command, Colour &colour);

// Auto: standard output is a terminal and NO_COLOR is unset or empty.
bool useColour(Colour colour);

// Rows of cells, written in aligned columns; the last column is not padded.
class Table {
public:
    // The columns from `firstText` on are text that can be cut and still says something.
    explicit Table(std::vector<std::string> heading, std::size_t firstText = 0)
        : firstText_(firstText), rows_{{std::move(heading), {}}} {}

    void add(std::vector<std::string> cells, fmt::text_style style = {}) { rows_.push_back({std::move(cells), style}); }

    // The styles take effect when `colour` is set; the heading is bold. Lines are cut to `width` columns of a terminal
    // with an ellipsis, the widest texts first, and all else only where texts are too narrow to be read; 0 cuts none.
    std::string format(bool colour, std::size_t width = 0) const;

private:
    struct Row {
        std::vector<std::string> cells;
        fmt::text_style style;
    };
    std::size_t firstText_;
    std::vector<Row> rows_;
};

} // namespace zelk::tool
