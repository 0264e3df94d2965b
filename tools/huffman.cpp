// zelk huffman: compressed programme-guide text without its selector, by the code that the caller names.
#include "command.h"
#include "commands.h"
#include "multiple_string.h"
#include "stream.h"
#include "strings.h"

#include "zelk.hpp"

namespace zelk::tool {

namespace {

struct HuffmanOptions {
    StringOptions strings;
    bool title = false;
    bool description = false;
    int type = 0;
    unsigned int skip = 0;
};

void declare(CLI::App &command, HuffmanOptions &options) {
    addStringOptions(command, options.strings);
    command.add_flag("--title", options.title, "The code of programme titles");
    command.add_flag("--description", options.description, "The code of programme descriptions");
    command.add_option("--type", options.type, "An encoding type of DVB text: 1, 2, 5 or 6")
        ->type_name("TYPE")
        ->check(oneOf({"1", "2", "5", "6"}));
    command.add_option("--skip", options.skip, "Leave out the first COUNT characters (--title, --description) [0]")
        ->type_name("COUNT")
        ->check(numberFrom(0, 65535));
}

std::string decodeContextTree(unsigned int type, const std::string &compressed) {
    HuffmanStreamState state;
    zelkInitHuffmanDecoder(&state, type);
    std::string text;
    for (const char byte : compressed) {
        unsigned short answer = 0;
        while ((answer = zelkHuffmanDecode(&state, static_cast<unsigned char>(byte))) < 0xFFFE) {
            text.push_back(static_cast<char>(answer));
        }
        if (answer == 0xFFFF) {
            break;
        }
    }
    return text;
}

std::string decodePieces(unsigned int type, const std::string &compressed) {
    const auto *const in = reinterpret_cast<const unsigned char *>(compressed.data());
    // A piece takes at least four bits and has at most four bytes; a literal cut off by the end adds one.
    std::string text(compressed.size() * 8 + 8, '\0');
    int length = 0;
    decompressMalaysiaHuffmanTable(type, in, static_cast<int>(compressed.size()),
                                   reinterpret_cast<unsigned char *>(text.data()), &length);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string decode(const HuffmanOptions &options, const std::string &compressed) {
    if (options.title) {
        return decodeGuideText(ProgramTitleDecoder(options.skip), compressed);
    }
    if (options.description) {
        return decodeGuideText(ProgramDescriptionDecoder(options.skip), compressed);
    }
    const auto type = static_cast<unsigned int>(options.type);
    return type < 5 ? decodeContextTree(type, compressed) : decodePieces(type, compressed);
}

ExitStatus run(const HuffmanOptions &options) {
    const int codes = (options.title ? 1 : 0) + (options.description ? 1 : 0) + (options.type != 0 ? 1 : 0);
    if (codes != 1) {
        failInput("expected exactly one of --title, --description and --type");
    }
    if (options.skip > 0 && options.type != 0) {
        failInput("expected --skip only with --title or --description");
    }
    forEachString(options.strings,
                  [&options](const std::string &compressed) { write(decode(options, compressed) + '\n'); });
    return ExitOk;
}

} // namespace

void addHuffmanCommand(CLI::App &app) {
    addCommand<HuffmanOptions>(app, {"huffman", "Expand compressed programme-guide text", group::dvb}, declare, run);
}

} // namespace zelk::tool
