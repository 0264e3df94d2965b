#include "dvb_writer.h"

#include "failure.h"

namespace zelk::tool {

std::string textOfLine(std::string_view line) {
    return std::string(line.substr(0, line.size() - (line.ends_with('\r') ? 1 : 0)));
}

std::string encodeDvb(const zelkInsightEncodeSettings &settings, const std::string &text, zelkInsightEncoded &encoded) {
    constexpr std::size_t mostSelectorBytes = 3;
    std::string string(4 * text.size() + mostSelectorBytes + 1, '\0');
    string.resize(zelkInsightEncode(&settings, string.data(), static_cast<int>(string.size()), text.data(),
                                    static_cast<int>(text.size()), &encoded));
    return string;
}

Converter toDvb(dvbCharSet_t region, bool strict, const std::string &name, std::size_t &unsaid) {
    const zelkInsightEncodeSettings settings = {region, lineForms, 0};
    return [=, &unsaid, number = std::size_t{0}](std::string_view in, bool last, std::string &out) mutable {
        std::size_t done = 0;
        while (done < in.size()) {
            const std::size_t end = in.find('\n', done);
            if (end == std::string_view::npos && !last) {
                break;
            }
            const std::string_view line = in.substr(done, end == std::string_view::npos ? end : end - done);
            zelkInsightEncoded encoded{};
            out += encodeDvb(settings, textOfLine(line), encoded);
            ++number;
            if (strict && encoded.unsaid != 0) {
                failInput("{}:{}: expected a character that DVB text can say, found one that it cannot at byte {}",
                          name, number, encoded.firstUnsaid + 1);
            }
            unsaid += encoded.unsaid;
            done += line.size();
            if (end != std::string_view::npos) {
                out += '\n';
                ++done;
            }
        }
        return done;
    };
}

void reportUnsaid(const std::string &command, std::size_t count) {
    if (count != 0) {
        fmt::print(stderr, "zelk {}: {} character{} written as a question mark\n", command, count,
                   count == 1 ? "" : "s");
    }
}

} // namespace zelk::tool
