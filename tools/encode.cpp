// zelk encode: UTF-8 text as DVB strings.
#include "command.h"
#include "commands.h"
#include "dvb_settings.h"
#include "dvb_writer.h"
#include "stream.h"
#include "strings.h"
#include "text.h"

namespace zelk::tool {

namespace {

constexpr int longestDescriptorText = 255; // bytes
constexpr unsigned int compressedForms =
    static_cast<unsigned int>(ZelkInsightFormCompressed1) | static_cast<unsigned int>(ZelkInsightFormCompressed2);

struct EncodeOptions {
    StringOptions texts;
    dvbCharSet_t region = DvbCharSetStandard;
    std::string code;
    bool preferUtf8 = false;
    bool compress = false;
    bool pieces = false;
    bool rawOutput = false;
    int limit = 0;
};

// The forms of a code, 0 where there are none.
unsigned int formsOf(const std::string &name) {
    const auto code = codeOf(name);
    if (!code || *code == DvbCodeNone || *code == DvbCodeReserved17 || *code == DvbCodeUtf8Prepared) {
        return 0;
    }
    return *code == DvbCodeCompressed ? compressedForms : 1U << static_cast<unsigned int>(*code);
}

void declare(CLI::App &command, EncodeOptions &options) {
    options.texts.raw = true;
    command.add_option("texts", options.texts.strings, "Texts in UTF-8")->type_name("TEXT");
    command.add_option("-f,--file", options.texts.files, "Read texts from a file, one per line; - is standard input")
        ->type_name("FILE")
        ->allow_extra_args(false);
    addRegionOption(command, options.region);
    command.add_option("--code", options.code, "Only this: default, iso8859-1 to iso8859-16, ucs-2, utf-8, compressed")
        ->type_name("CODE")
        ->check([](const std::string &name) {
            return formsOf(name) != 0 ? std::string()
                                      : fmt::format("expected default, iso8859-1 to iso8859-16, ucs-2, utf-8 or "
                                                    "compressed, found '{}'",
                                                    name);
        });
    command.add_flag("--prefer-utf8", options.preferUtf8, "UTF-8 for all that is not ASCII");
    command.add_flag("--compress", options.compress, "Allow compressed text, encoding types 1 and 2");
    command.add_option("--limit", options.limit, "The most bytes of a string")
        ->type_name("COUNT")
        ->check(numberFrom(1, longestDescriptorText));
    command.add_flag("--pieces", options.pieces, "What is longer goes on in further strings");
    command.add_flag("-r,--raw", options.rawOutput, "Write raw bytes, in forms without a line feed");
}

zelkInsightEncodeSettings settingsOf(const EncodeOptions &options) {
    unsigned int forms = options.rawOutput ? lineForms : static_cast<unsigned int>(ZelkInsightFormsStandard);
    if (!options.code.empty()) {
        forms = options.rawOutput ? formsOf(options.code) & lineForms : formsOf(options.code);
        if (forms == 0) {
            failInput("expected a form without line feeds for --raw, found '{}'", options.code);
        }
    } else if (options.compress && !options.rawOutput) {
        forms |= compressedForms;
    }
    return {options.region, forms, options.preferUtf8 ? static_cast<unsigned int>(ZelkInsightPreferUtf8) : 0U};
}

void put(const EncodeOptions &options, const std::string &string) {
    write((options.rawOutput ? string : hex(string)) + '\n');
}

// Returns how many characters could not be said.
std::size_t encode(const EncodeOptions &options, const std::string &text) {
    const zelkInsightEncodeSettings settings = settingsOf(options);
    zelkInsightEncoded encoded{};
    if (options.pieces) {
        const auto take = [](const char *piece, unsigned int length, void *context) {
            put(*static_cast<const EncodeOptions *>(context), {piece, length});
            return 0;
        };
        EncodeOptions forPieces = options;
        const int limit = options.limit != 0 ? options.limit : longestDescriptorText;
        const unsigned int pieces = zelkInsightEncodePieces(&settings, limit, text.data(),
                                                            static_cast<int>(text.size()), take, &forPieces, &encoded);
        if (encoded.used < text.size()) {
            failInput("expected a --limit that holds a selector and any one character, found {} after piece {}", limit,
                      pieces);
        }
    } else if (options.limit != 0) {
        std::string string(static_cast<std::size_t>(options.limit) + 1, '\0');
        string.resize(zelkInsightEncode(&settings, string.data(), static_cast<int>(string.size()), text.data(),
                                        static_cast<int>(text.size()), &encoded));
        put(options, string);
    } else {
        put(options, encodeDvb(settings, text, encoded));
    }
    return encoded.unsaid;
}

ExitStatus run(const EncodeOptions &options) {
    std::size_t unsaid = 0;
    forEachString(options.texts, [&](const std::string &text) { unsaid += encode(options, textOfLine(text)); });
    flushOutput();
    reportUnsaid("encode", unsaid);
    return unsaid == 0 ? ExitOk : ExitNegative;
}

} // namespace

void addEncodeCommand(CLI::App &app) {
    addCommand<EncodeOptions>(app, {"encode", "Encode text as DVB strings", group::dvb}, declare, run);
}

} // namespace zelk::tool
