#include "text.h"

#include "command.h"

#include "zelk.h"
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <numeric>
#include <span>
#include <sys/ioctl.h>
#include <unistd.h>

namespace zelk::tool {

namespace {

constexpr std::size_t gap = 2; // between columns

// Takes columns one by one from the widest of some, while they are too many and the widest has more than `least`.
void narrow(std::span<std::size_t> widths, std::size_t least, std::size_t &tooMany) {
    for (; tooMany > 0; --tooMany) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (widest == widths.end() || *widest <= least) {
            return;
        }
        --*widest;
    }
}

void fitColumns(std::span<std::size_t> widths, std::size_t firstText, std::size_t width) {
    constexpr std::size_t leastOfText = 7;
    constexpr std::size_t leastOfAll = 4; // which still says something
    for (std::size_t &column : widths) {
        column = std::min(column, width);
    }
    const std::size_t total = std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
    std::size_t tooMany = total - std::min(total, width);
    narrow(widths.subspan(firstText), leastOfText, tooMany);
    narrow(widths, leastOfAll, tooMany);
}

} // namespace

std::string jsonLine(const Json &value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string hex(std::string_view bytes) {
    std::string result;
    for (const char byte : bytes) {
        fmt::format_to(std::back_inserter(result), "{}{:02X}", result.empty() ? "" : " ",
                       static_cast<unsigned char>(byte));
    }
    return result;
}

std::string codePointName(unsigned int character) {
    return fmt::format("U+{:04X}", character);
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    forEachCharacter(text, [&width](utf8proc_int32_t codePoint, std::string_view) {
        width += codePoint < 0 ? 1 : static_cast<std::size_t>(std::max(utf8proc_charwidth(codePoint), 0));
    });
    return width;
}

std::string fitted(std::string_view text, std::size_t width) {
    if (displayWidth(text) <= width) {
        return std::string(text);
    }
    std::string result;
    std::size_t used = 1; // of the ellipsis
    bool full = false;
    forEachCharacter(text, [&](utf8proc_int32_t, std::string_view bytes) {
        used += displayWidth(bytes);
        full = full || used > width;
        result += full ? std::string_view() : bytes;
    });
    return result + "\xE2\x80\xA6";
}

std::size_t terminalWidth() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void addColourOption(CLI::App &command, Colour &colour) {
    static const std::map<std::string, Colour> names = {
        {"auto", Colour::Auto}, {"always", Colour::Always}, {"never", Colour::Never}};
    command
        .add_option_function<std::string>(
            "--color", [&colour](const std::string &name) { colour = names.at(name); },
            "Colour: on a terminal without NO_COLOR, always, or never")
        ->type_name("WHEN")
        ->check(oneOf({"auto", "always", "never"}));
}

bool useColour(Colour colour) {
    if (colour != Colour::Auto) {
        return colour == Colour::Always;
    }
    const char *const noColour = std::getenv("NO_COLOR");
    return (noColour == nullptr || *noColour == 0) && isatty(STDOUT_FILENO) != 0;
}

std::string Table::format(bool colour, std::size_t width) const {
    std::vector<std::size_t> widths;
    for (const Row &row : rows_) {
        widths.resize(std::max(widths.size(), row.cells.size()));
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row.cells[i]));
        }
    }
    if (width != 0) {
        fitColumns(widths, firstText_, width);
    }
    std::string result;
    for (const Row &row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            const std::string cell = fitted(row.cells[i], widths[i]);
            line += cell;
            line.append(widths[i] - displayWidth(cell) + gap, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        const fmt::text_style style = &row == &rows_.front() ? fmt::text_style(fmt::emphasis::bold) : row.style;
        result += colour ? fmt::format(style, "{}", line) : line;
        result += '\n';
    }
    return result;
}

} // namespace zelk::tool
