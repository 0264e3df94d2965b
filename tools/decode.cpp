// zelk decode: DVB strings to text, as a receiver of the region reads them.
#include "command.h"
#include "commands.h"
#include "dvb_evidence.h"
#include "stream.h"
#include "strings.h"
#include "text.h"

namespace zelk::tool {

namespace {

struct DecodeOptions {
    StringOptions strings;
    DvbSettings settings;
    std::string to = "utf8";
    OriginOptions origin;
    bool json = false;
};

void declare(CLI::App &command, DecodeOptions &options) {
    addStringOptions(command, options.strings);
    addDvbOptions(command, options.settings);
    command.add_option("--to", options.to, "Write UTF-8, or UCS-2 units in hexadecimal [utf8]")
        ->type_name("FORM")
        ->check(oneOf({"utf8", "ucs2"}));
    addOriginOptions(command, options.origin);
    command.add_flag("--json", options.json, "Write one JSON object per string");
}

std::string unitsInHex(const std::vector<unsigned short> &units) {
    return fmt::format("{:04X}", fmt::join(units, " "));
}

Json describe(const DecodeOptions &options, const DvbReader &reader, const std::string &bytes,
              const std::string &text) {
    const DvbEvidence evidence = evidenceOf(reader, bytes);
    Json result = {{"input", hex(bytes)},
                   {"selector", hex(evidence.selector)},
                   {"code", static_cast<int>(evidence.code)},
                   {"codeName", codeName(evidence.code)},
                   {"extra", evidence.extra},
                   {"table", evidence.table},
                   {"reason", evidence.reason}};
    if (evidence.override != nullptr) {
        result["override"] = toJson(*evidence.override);
    }
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
    reader.from(options.origin.origin());
    forEachString(options.strings, [&options, &reader](const std::string &bytes) {
        const std::string text = reader.text(bytes);
        if (options.json) {
            write(jsonLine(describe(options, reader, bytes, text)));
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
