// zelk decode: DVB strings to text, as a receiver of the region reads them.
#include "command.h"
#include "commands.h"
#include "dvb_text.h"
#include "stream.h"
#include "strings.h"
#include "text.h"

#include <charconv>
#include <cstdint>

namespace zelk::tool {

namespace {

struct DecodeOptions {
    StringOptions strings;
    DvbSettings settings;
    std::string to = "utf8";
    std::string language;
    zelkInsightOrigin origin = unknownOrigin;
    bool json = false;
};

// "3201.0001.0065"
bool parseService(const std::string &name, zelkInsightOrigin &origin) {
    const char *at = name.data();
    const char *const end = at + name.size();
    for (unsigned int *const number : {&origin.network, &origin.stream, &origin.service}) {
        std::uint16_t value = 0;
        const auto [stop, error] = std::from_chars(at, end, value, 16);
        const bool last = number == &origin.service;
        if (error != std::errc{} || (last ? stop != end : stop == end || *stop != '.')) {
            return false;
        }
        *number = value;
        at = last ? stop : stop + 1;
    }
    return true;
}

void declare(CLI::App &command, DecodeOptions &options) {
    addStringOptions(command, options.strings);
    addDvbOptions(command, options.settings);
    command.add_option("--to", options.to, "Write UTF-8, or UCS-2 units in hexadecimal [utf8]")
        ->type_name("FORM")
        ->check(oneOf({"utf8", "ucs2"}));
    command.add_option("--language", options.language, "Language of the strings, for overrides: fre")
        ->type_name("CODE");
    command
        .add_option_function<std::string>(
            "--service",
            [&options](const std::string &name) {
                if (!parseService(name, options.origin)) {
                    throw CLI::ValidationError("--service", "expected three numbers such as 3201.0001.0065");
                }
            },
            "Service of the strings, for overrides: network, stream and service in hexadecimal")
        ->type_name("SERVICE");
    command.add_flag("--json", options.json, "Write one JSON object per string");
}

std::string unitsInHex(const std::vector<unsigned short> &units) {
    return fmt::format("{:04X}", fmt::join(units, " "));
}

Json describe(const DecodeOptions &options, const std::string &bytes, const std::string &text) {
    const DvbSelection selection = selectTable(options.settings, bytes);
    Json result = {{"input", hex(bytes)},
                   {"selector", hex(bytes.substr(0, selection.consumed))},
                   {"code", static_cast<int>(selection.code)},
                   {"codeName", codeName(selection.code)},
                   {"extra", selection.extra}};
    if (options.to == "utf8") {
        result["text"] = text;
    } else {
        result["units"] = Json::array();
        for (const unsigned short unit : units(text)) {
            result["units"].push_back(fmt::format("{:04X}", unit));
        }
    }
    return result;
}

ExitStatus run(const DecodeOptions &options) {
    DvbReader reader(options.settings);
    zelkInsightOrigin origin = options.origin;
    origin.language = options.language.empty() ? nullptr : options.language.c_str();
    reader.from(origin);
    forEachString(options.strings, [&options, &reader](const std::string &bytes) {
        const std::string text = reader.text(bytes);
        if (options.json) {
            write(jsonLine(describe(options, bytes, text)));
        } else {
            write((options.to == "utf8" ? text : unitsInHex(units(text))) + '\n');
        }
    });
    flushOutput();
    reportUnread("decode", {}, reader.unread());
    return ExitOk;
}

} // namespace

void addDecodeCommand(CLI::App &app) {
    addCommand<DecodeOptions>(app, {"decode", "Decode DVB strings", group::dvb}, declare, run);
}

} // namespace zelk::tool
