// What other libraries make of DVB strings: the table of docs/comparison.md. Each gets the string as a program that
// uses it would hand it over: libdvbv5 and GStreamer inside a network name descriptor, iconv with the selector taken
// off and the set that it names.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <string>
#include <vector>
#include <zelk.h>

#include <libdvbv5/desc_network_name.h>
#include <libdvbv5/descriptors.h>
#include <libdvbv5/dvb-fe.h>

#define GST_USE_UNSTABLE_API
#include <gst/mpegts/mpegts.h>

namespace {

struct Case {
    const char *what;
    std::string bytes;
    std::string set; // for iconv; empty: it has none
    std::size_t selector;
};

std::string ours(const std::string &bytes) {
    std::string out(bytes.size() * 24 + 1, '\0');
    std::string in = bytes + ' '; // a mark looks at the byte after it
    out.resize(zelk_dvb8ToUtf8(DvbCharSetStandard, out.data(), static_cast<int>(out.size()), in.data(),
                               static_cast<int>(bytes.size()), DvbCodeNone, 0, 0));
    return out;
}

std::string byIconv(const Case &example) {
    if (example.set.empty()) {
        return "no such set";
    }
    const iconv_t converter = iconv_open("UTF-8", example.set.c_str());
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        return "no such set";
    }
    std::string in = example.bytes.substr(example.selector);
    std::string out(in.size() * 4 + 8, '\0');
    char *from = in.data();
    char *to = out.data();
    std::size_t fromLeft = in.size();
    std::size_t toLeft = out.size();
    const bool failed = iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1);
    iconv(converter, nullptr, nullptr, &to, &toLeft);
    iconv_close(converter);
    out.resize(out.size() - toLeft);
    return failed ? out + " and an error" : out;
}

std::string byLibdvbv5(const std::string &bytes) {
    dvb_v5_fe_parms *const parameters = dvb_fe_dummy();
    static char defaultSet[] = "ISO-6937";
    static char outputSet[] = "UTF-8";
    parameters->default_charset = defaultSet;
    parameters->output_charset = outputSet;
    dvb_desc_network_name descriptor{};
    auto *const base = reinterpret_cast<dvb_desc *>(&descriptor);
    descriptor.type = 0x40;
    descriptor.length = static_cast<std::uint8_t>(bytes.size());
    dvb_desc_network_name_init(parameters, reinterpret_cast<const std::uint8_t *>(bytes.data()), base);
    const std::string text = descriptor.network_name == nullptr ? "nothing" : descriptor.network_name;
    dvb_desc_network_name_free(base);
    std::free(parameters);
    return text;
}

std::string byGstreamer(const std::string &bytes) {
    std::vector<guint8> data = {GST_MTS_DESC_DVB_NETWORK_NAME, static_cast<guint8>(bytes.size())};
    data.insert(data.end(), bytes.begin(), bytes.end());
    GstMpegtsDescriptor descriptor{};
    descriptor.tag = data[0];
    descriptor.length = data[1];
    descriptor.data = data.data();
    gchar *name = nullptr;
    gst_mpegts_descriptor_parse_dvb_network_name(&descriptor, &name);
    const std::string text = name == nullptr ? "nothing" : name;
    g_free(name);
    return text;
}

std::string shown(const std::string &text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool c1 = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        char code[16];
        if (c1 || byte < 0x20) {
            i += c1;
            std::snprintf(code, sizeof code, "`U+%04X`", static_cast<unsigned char>(text[i]));
            out += code;
        } else if (text.compare(i, 3, "\xEF\xBF\xBD") == 0) {
            out += "`U+FFFD`";
            i += 2;
        } else if (byte >= 0xF5) { // in no UTF-8
            std::snprintf(code, sizeof code, "`%02X`", byte);
            out += code;
        } else if (byte == '|') {
            out += "\\|";
        } else {
            out += text[i];
        }
    }
    return out.empty() ? "nothing" : out;
}

} // namespace

int main() {
    using namespace std::string_literals;
    const Case cases[] = {
        {"an accent of the default table",
         "Caf\xC2"
         "e"s,
         "ISO6937", 0},
        {"euro sign of the default table", "5 \xA4"s, "ISO6937", 0},
        {"selector of one byte", "\x03\xCD\xDD\xE1"s, "ISO-8859-7", 1},
        {"selector of three bytes",
         "\x10\x00\x02Ve\xE8"
         "er"s,
         "ISO-8859-2", 3},
        {"two bytes a character", "\x11\x04\x10\x04\x11"s, "UCS-2BE", 1},
        {"UTF-8", "\x15\xD0\x90\xD0\x91"s, "UTF-8", 1},
        {"line break", "\x05one\x8Atwo"s, "ISO-8859-9", 1},
        {"emphasis", "\x05\x86now\x87!"s, "ISO-8859-9", 1},
        {"a mark that does not compose",
         "\xC2"
         "B"s,
         "ISO6937", 0},
        {"a byte without a character",
         "\x03"
         "A\xFF"
         "B"s,
         "ISO-8859-7", 1},
        {"broken UTF-8",
         "\x15"
         "A\xFF"
         "B"s,
         "UTF-8", 1},
        {"compressed text, type 1", "\x1F\x01\x54\x4F"s, "", 2},
    };
    gst_mpegts_initialize();
    std::puts("| String | Bytes | libmurn-zelk | iconv | libdvbv5 | GStreamer |\n|---|---|---|---|---|---|");
    for (const Case &example : cases) {
        std::string bytes;
        for (const char byte : example.bytes) {
            char code[4];
            std::snprintf(code, sizeof code, "%02X ", static_cast<unsigned char>(byte));
            bytes += code;
        }
        bytes.pop_back();
        std::printf("| %s | `%s` | %s | %s | %s | %s |\n", example.what, bytes.c_str(),
                    shown(ours(example.bytes)).c_str(), shown(byIconv(example)).c_str(),
                    shown(byLibdvbv5(example.bytes)).c_str(), shown(byGstreamer(example.bytes)).c_str());
    }
}
