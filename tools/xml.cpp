// zelk xml: text into XML character data and back.
#include "command.h"
#include "commands.h"
#include "converter.h"

#include "zelk.hpp"

namespace zelk::tool {

namespace {

struct XmlOptions {
    std::string action;
    std::vector<std::string> files;
};

void declare(CLI::App &command, XmlOptions &options) {
    command.add_option("action", options.action, "escape or unescape")
        ->required()
        ->type_name("ACTION")
        ->check(oneOf({"escape", "unescape"}));
    addFiles(command, options.files);
}

// A reference is decided by what follows its ampersand: a semicolon among the next six bytes, the end of the text, or
// neither. Each is given to the library with no more than that, so that it never sees a cut where the input has none.
std::size_t unescape(std::string_view in, bool last, std::string &out) {
    constexpr std::size_t reach = 6;
    std::size_t at = 0;
    while (at < in.size()) {
        if (in[at] != '&') {
            const std::size_t end = std::min(in.find('&', at), in.size());
            out += in.substr(at, end - at);
            at = end;
            continue;
        }
        const std::string_view window = in.substr(at, reach + 1);
        const std::size_t stop = window.find_first_of(std::string_view(";\0", 2));
        std::size_t length = 0;
        if (stop != std::string_view::npos) {
            length = window[stop] == ';' ? stop + 1 : stop;
        } else if (window.size() > reach) {
            length = 1;
        } else if (last) {
            length = window.size();
        } else {
            break;
        }
        out += XmlConverter::unXml(std::string(window.substr(0, length)));
        at += length;
    }
    return at;
}

ExitStatus run(const XmlOptions &options) {
    const Converter converter = options.action == "escape"
                                    ? betweenZeros([](const std::string &text) { return XmlConverter::xmlify(text); })
                                    : Converter(unescape);
    forEachInput(options.files, [&converter](Input &input) { convertStream(input, converter, write); });
    return ExitOk;
}

} // namespace

void addXmlCommand(CLI::App &app) {
    addCommand<XmlOptions>(app, {"xml", "Escape text for XML, or unescape it", group::text}, declare, run);
}

} // namespace zelk::tool
