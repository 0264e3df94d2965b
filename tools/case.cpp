// zelk case: UTF-8 text in capital or small letters, by the library's fixed mapping.
#include "command.h"
#include "commands.h"
#include "converter.h"
#include "text.h"

namespace zelk::tool {

namespace {

struct CaseOptions {
    std::string direction;
    std::vector<std::string> files;
};

void declare(CLI::App &command, CaseOptions &options) {
    command.add_option("direction", options.direction, "upper or lower")
        ->required()
        ->type_name("DIRECTION")
        ->check(oneOf({"upper", "lower"}));
    addFiles(command, options.files);
}

// Characters without a counterpart and malformed bytes stay as they are.
std::size_t mapCase(std::string_view in, std::string &out, unsigned short (*map)(unsigned int)) {
    for (std::size_t at = 0; at < in.size();) {
        unsigned short character = 0;
        const unsigned int length = zelkUtf8CharDecode(reinterpret_cast<const unsigned char *>(in.data()) + at,
                                                       static_cast<unsigned int>(in.size() - at), &character);
        const unsigned short mapped = map(character);
        if (mapped == character) {
            out += in.substr(at, length);
        } else {
            out += utf8(mapped);
        }
        at += length;
    }
    return in.size();
}

ExitStatus run(const CaseOptions &options) {
    const auto map = options.direction == "upper" ? zelk2upperChar : zelk2lowerChar;
    const Converter converter =
        holdCharacters([map](std::string_view in, bool, std::string &out) { return mapCase(in, out, map); });
    forEachInput(options.files, [&converter](Input &input) { convertStream(input, converter, write); });
    return ExitOk;
}

} // namespace

void addCaseCommand(CLI::App &app) {
    addCommand<CaseOptions>(app, {"case", "Map UTF-8 text to capital or small letters", group::text}, declare, run);
}

} // namespace zelk::tool
