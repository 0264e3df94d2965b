// What other libraries make of DVB strings: the table of docs/comparison.md. Each gets the string as a program that
// uses it would hand it over: libdvbv5 and GStreamer inside a network name descriptor, FFmpeg as the name of a service
// in a transport stream, iconv and ICU with the selector taken off and the set that it names.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <string>
#include <unicode/ucnv.h>
#include <vector>
#include <zelk.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/crc.h>
#include <libavutil/mem.h>
}

#include <libdvbv5/desc_network_name.h>
#include <libdvbv5/descriptors.h>
#include <libdvbv5/dvb-fe.h>

#define GST_USE_UNSTABLE_API
#include <gst/mpegts/mpegts.h>

namespace {

struct Case {
    const char *what;
    std::string bytes;
    std::string set; // for iconv and ICU; empty: they have none
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
    return failed ? (out.empty() ? "nothing" : out) + " and an error" : out;
}

std::string byIcu(const Case &example) {
    UErrorCode status = U_ZERO_ERROR;
    UConverter *const converter = example.set.empty() ? nullptr : ucnv_open(example.set.c_str(), &status);
    if (converter == nullptr || U_FAILURE(status)) {
        return "no such set";
    }
    const std::string in = example.bytes.substr(example.selector);
    std::string out(in.size() * 4 + 8, '\0');
    const auto length = ucnv_toAlgorithmic(UCNV_UTF8, converter, out.data(), static_cast<std::int32_t>(out.size()),
                                           in.data(), static_cast<std::int32_t>(in.size()), &status);
    ucnv_close(converter);
    out.resize(U_FAILURE(status) ? 0 : static_cast<std::size_t>(length));
    return U_FAILURE(status) ? u_errorName(status) : out;
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
    data.push_back(0); // it reads the byte after the text, too
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

// A stream of one service description table (ETSI EN 300 468, 5.2.3), whose one service has the name.
std::string streamOf(const std::string &name) {
    using namespace std::string_literals;
    const auto byte = [](std::size_t value) { return std::string(1, static_cast<char>(value)); };
    const std::string descriptor = "\x48"s + byte(name.size() + 3) + "\x01\0"s + byte(name.size()) + name;
    const std::string service = "\0\x01\xFC\x80"s + byte(descriptor.size()) + descriptor;
    const std::string body = "\0\x01\xC1\0\0\0\x01\xFF"s + service;
    std::string section = "\x42\xF0"s + byte(body.size() + 4) + body;
    const std::uint32_t check = av_crc(av_crc_get_table(AV_CRC_32_IEEE), 0xFFFFFFFF,
                                       reinterpret_cast<const std::uint8_t *>(section.data()), section.size());
    section.append(reinterpret_cast<const char *>(&check), sizeof check); // in the order of bytes that is sent
    std::string stream;
    for (unsigned int packet = 0; packet < 64; ++packet) {
        std::string bytes = "\x47\x40\x11"s + byte(0x10 | (packet & 0x0F)) + "\0"s + section;
        bytes.resize(188, '\xFF');
        stream += bytes;
    }
    return stream;
}

std::string byFfmpeg(const std::string &name) {
    struct Source {
        std::string bytes;
        std::size_t at;
    } source = {streamOf(name), 0};
    constexpr int room = 4096;
    AVFormatContext *context = avformat_alloc_context();
    AVIOContext *const input = avio_alloc_context(
        static_cast<unsigned char *>(av_malloc(room)), room, 0, &source,
        [](void *opaque, std::uint8_t *to, int size) {
            auto &from = *static_cast<Source *>(opaque);
            const std::size_t count =
                from.bytes.copy(reinterpret_cast<char *>(to), static_cast<std::size_t>(size), from.at);
            from.at += count;
            return count == 0 ? AVERROR_EOF : static_cast<int>(count);
        },
        nullptr, nullptr);
    context->pb = input;
    std::string text = "nothing";
    if (avformat_open_input(&context, nullptr, av_find_input_format("mpegts"), nullptr) == 0) {
        for (unsigned int i = 0; i < context->nb_programs; ++i) {
            const AVDictionaryEntry *const entry =
                av_dict_get(context->programs[i]->metadata, "service_name", nullptr, 0);
            text = entry == nullptr ? text : entry->value;
        }
        avformat_close_input(&context);
    }
    av_freep(&input->buffer);
    avio_context_free(const_cast<AVIOContext **>(&input));
    return text;
}

// The bytes of the UTF-8 sequence at a place; 0 where there is none.
std::size_t sequenceAt(const std::string &text, std::size_t place) {
    const int ones = std::countl_one(static_cast<unsigned char>(text[place]));
    const std::size_t length = ones == 0 ? 1 : static_cast<std::size_t>(ones);
    std::size_t there = 1;
    while (place + there < text.size() && (static_cast<unsigned char>(text[place + there]) & 0xC0) == 0x80) {
        ++there;
    }
    return ones != 1 && length <= 4 && there >= length ? length : 0;
}

// As a cell of the table: controls by their code points, bytes that are no UTF-8 in hexadecimal.
std::string shown(const std::string &text) {
    std::string out;
    const auto addCode = [&out](const char *form, unsigned int value) {
        char digits[16];
        std::snprintf(digits, sizeof digits, form, value);
        const bool goesOn = !out.empty() && out.back() == '`';
        out.replace(out.size() - (goesOn ? 1 : 0), 1, goesOn ? " " : "`");
        out += digits;
        out += '`';
    };
    for (std::size_t i = 0, length = 1; i < text.size(); i += std::max<std::size_t>(length, 1)) {
        length = sequenceAt(text, i);
        const std::string character = text.substr(i, length);
        if (length == 0) {
            addCode("%02X", static_cast<unsigned char>(text[i]));
        } else if (character < " " || (character >= "\xC2\x80" && character < "\xC2\xA0")) {
            addCode("U+%04X", static_cast<unsigned char>(character.back()));
        } else if (character == "\xEF\xBF\xBD") {
            addCode("U+%04X", 0xFFFD);
        } else {
            out += character == "|" ? "\\|" : character;
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
        {"two bytes a character", "\x11\x04\x10\x04\x11"s, "UTF-16BE", 1},
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
        {"a character above U+FFFF", "\x15\xF0\x9F\x98\x80"s, "UTF-8", 1},
        {"compressed text, type 1", "\x1F\x01\x54\x4F"s, "", 2},
    };
    gst_mpegts_initialize();
    av_log_set_level(AV_LOG_QUIET);
    std::puts("| String | Bytes | libmurn-zelk | iconv | ICU | libdvbv5 | GStreamer | FFmpeg |\n"
              "|---|---|---|---|---|---|---|---|");
    for (const Case &example : cases) {
        std::string bytes;
        for (const char byte : example.bytes) {
            char code[4];
            std::snprintf(code, sizeof code, "%02X ", static_cast<unsigned char>(byte));
            bytes += code;
        }
        bytes.pop_back();
        std::printf("| %s | `%s` | %s | %s | %s | %s | %s | %s |\n", example.what, bytes.c_str(),
                    shown(ours(example.bytes)).c_str(), shown(byIconv(example)).c_str(), shown(byIcu(example)).c_str(),
                    shown(byLibdvbv5(example.bytes)).c_str(), shown(byGstreamer(example.bytes)).c_str(),
                    shown(byFfmpeg(example.bytes)).c_str());
    }
}
