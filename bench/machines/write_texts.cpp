// Writes the texts of bench/machines.py into a folder, for the program passes, and one line for each row:
// work, text, length, function, file, bytes of input, texts.
#include "cases.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>

using namespace zelk_bench;

namespace {

const Languages two = {"English and Russian", {"english", "russian"}};
const Languages mixed = {"English, French, Russian and Chinese", {"english", "french", "russian", "chinese"}};

class Writer {
public:
    explicit Writer(std::filesystem::path folder) : folder_(std::move(folder)) {}

    using Make = std::function<Texts<char>(Length)>;
    void row(const std::string &work, const std::string &text, const std::string &function, const Make &make,
             std::initializer_list<Length> lengths = {Length::Name, Length::Description, Length::Page}) {
        for (const Length length : lengths) {
            const Texts<char> texts = make(length);
            const std::filesystem::path path = folder_ / std::to_string(rows_++);
            std::ofstream file(path, std::ios::binary);
            file.exceptions(std::ios::failbit | std::ios::badbit);
            for (std::size_t i = 0; i < texts.size(); ++i) {
                const std::uint32_t size = static_cast<std::uint32_t>(texts[i].size());
                file.write(reinterpret_cast<const char *>(&size), sizeof size);
                file.write(texts[i].data(), size);
                file.write("\0\0", 2 + size % 2);
            }
            std::printf("%s\t%s\t%s\t%s\t%s\t%zu\t%zu\n", work.c_str(), text.c_str(), lengthName(length).data(),
                        function.c_str(), path.c_str(), texts.totalUnits(), texts.size());
        }
    }

    void coded(const std::string &work, const std::string &function, const Languages &languages,
               const std::string &coding) {
        const std::string title = coding.starts_with("ISO-8859") ? coding + ", " + languages.title : languages.title;
        row(work, title, function, [&](Length length) { return makeTexts({languages, coding}, length); });
    }

private:
    std::filesystem::path folder_;
    int rows_ = 0;
};

Texts<char> patternTexts(const std::string &kind, Length length) {
    Texts<char> texts;
    for (const auto &[text, pattern] : wildcardCases(kind, length)) {
        texts.add(text);
        texts.add(pattern);
    }
    return texts;
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", arguments[0]);
        return 2;
    }
    try {
        Writer writer(arguments[1]);
        for (const Languages &languages : {english, cyrillic, mixed}) {
            writer.coded("UTF-8 validity", "validate", languages, "UTF-8");
            writer.coded("UCS-2 to UTF-8", "encode", languages, "UCS-2LE");
            writer.coded("UTF-8 to UCS-2", "decode", languages, "UTF-8");
        }
        for (const Languages &languages : {english, cyrillic, two}) {
            writer.coded("sets to UTF-8", "isoToUtf8-5", languages, "ISO-8859-5");
            writer.coded("sets to UCS-2", "isoToUcs2-5", languages, "ISO-8859-5");
        }
        writer.coded("sets to UTF-8", "isoToUtf8-2", eastern, "ISO-8859-2");
        writer.coded("sets to UCS-2", "isoToUcs2-2", eastern, "ISO-8859-2");
        for (const Languages &languages : {english, western, eastern}) {
            writer.coded("DVB default table to UTF-8", "dvbToUtf8", languages, "ISO_6937");
        }
        for (const std::string kind : {"sparse", "dense"}) {
            writer.row("XML escape", kind, "escape", [&](Length length) { return markupTexts(kind, length); });
            writer.row("XML unescape", kind, "unescape", [&](Length length) { return escapedTexts(kind, length); });
        }
        for (const std::string kind : wildcardKinds) {
            writer.row("wildcards", kind, "match", [&](Length length) { return patternTexts(kind, length); },
                       {Length::Name, Length::Description});
        }
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], failure.what());
        return 1;
    }
}
