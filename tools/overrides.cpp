#include "overrides.h"

#include "dvb_settings.h"
#include "failure.h"
#include "stream.h"
#include "text.h"
#include "words.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <unistd.h>

#include <toml.hpp>

namespace zelk::tool {

namespace {

constexpr std::int64_t version = 1;
constexpr std::int64_t largestNumber = 0xFFFF;

std::string contentOf(const std::string &file) {
    Input input(file);
    std::string content;
    std::string chunk(chunkSize, '\0');
    for (std::size_t count = input.read(chunk.data(), chunk.size()); count != 0;
         count = input.read(chunk.data(), chunk.size())) {
        content.append(chunk, 0, count);
    }
    return content;
}

// The line of a fault. Of a date that does not exist the parser knows the text alone.
std::size_t lineOf(const toml::source_location &fault, const std::string &content) {
    const bool apart = fault.line() == 1 && !content.starts_with(fault.line_str());
    const std::size_t at = apart ? content.find(fault.line_str()) : std::string::npos;
    return at == std::string::npos
               ? fault.line()
               : 1 + static_cast<std::size_t>(std::count(content.data(), content.data() + at, '\n'));
}

// The directories that a variable of the XDG Base Directory Specification names, the most important first; relative
// ones count for nothing.
std::vector<std::string> directoriesOf(const char *variable, const std::string &otherwise) {
    const char *const value = std::getenv(variable);
    std::istringstream list(value == nullptr || *value == 0 ? otherwise : value);
    std::vector<std::string> directories;
    for (std::string directory; std::getline(list, directory, ':');) {
        if (!directory.empty() && directory.front() == '/') {
            directories.push_back(directory);
        }
    }
    return directories;
}

// The least important first.
std::vector<OverrideLayer> defaultLayers() {
    std::vector<OverrideLayer> layers;
    const auto add = [&layers](const char *name, const std::string &directory) {
        layers.push_back({name, directory + "/zelk/overrides.toml"});
    };
    add("system", ZELK_SYSTEM_DIRECTORY);
    const std::vector<std::string> shared = directoriesOf("XDG_CONFIG_DIRS", "/etc/xdg");
    std::for_each(shared.rbegin(), shared.rend(), [&add](const std::string &directory) { add("system", directory); });
    const char *const home = std::getenv("HOME");
    for (const std::string &directory :
         directoriesOf("XDG_CONFIG_HOME", home == nullptr || *home == 0 ? "" : std::string(home) + "/.config")) {
        add("user", directory);
    }
    return layers;
}

bool isCode(const std::string &value, std::size_t length, char first, char last) {
    return value.size() == length && std::all_of(value.begin(), value.end(), [first, last](char letter) {
               return letter >= first && letter <= last;
           });
}

// One entry on its way to lines of the compact form.
class EntryReader {
public:
    EntryReader(std::string file, std::vector<std::string> &problems) : file_(std::move(file)), problems_(problems) {}

    // None where anything is wrong.
    std::vector<std::string> lines(const toml::value &entry) {
        const std::size_t before = problems_.size();
        for (const auto &[key, value] : entry.as_table()) {
            read(key, value);
        }
        expect(!where_.empty() || !languages_.front().empty(), entry,
               "a network, stream, service, language or country");
        expect(hasHow_, entry, "a region, default-code or ignore-selector");
        expect(hasSource_, entry, "a source");
        expect(hasDate_, entry, "a date");
        if (problems_.size() != before) {
            return {};
        }
        std::vector<std::string> lines;
        for (const std::string &language : languages_) {
            const std::string words = language + where_ + how_;
            lines.push_back(words.substr(0, words.size() - 1));
        }
        return lines;
    }

private:
    void expect(bool holds, const toml::value &value, const std::string &what) {
        if (!holds) {
            problems_.push_back(fmt::format("{}:{}: expected {}", file_, value.location().line(), what));
        }
    }

    void readNumber(const char *word, const toml::value &value) {
        const bool good = value.is_integer() && value.as_integer() >= 0 && value.as_integer() <= largestNumber;
        expect(good, value, "a number from 0 to 65535");
        if (good) {
            where_ += fmt::format("{}={} ", word, value.as_integer());
        }
    }

    // Empty where it is none.
    std::string codeIn(const toml::value &value, std::size_t length, char first, const char *what) {
        const bool good =
            value.is_string() && isCode(value.as_string().str, length, first, static_cast<char>(first + 25));
        expect(good, value, what);
        return good ? value.as_string().str : std::string();
    }

    void readLanguage(const toml::value &value) {
        const std::string code = codeIn(value, 3, 'a', "a language as in ISO 639-2, such as \"fre\"");
        const std::string other = otherLanguageCode(code);
        languages_ = {"l=" + code + ' '};
        if (!other.empty()) {
            languages_.push_back("l=" + other + ' ');
        }
    }

    void readHow(const std::string &key, const toml::value &value) {
        hasHow_ = true;
        if (key == "ignore-selector") {
            expect(value.is_boolean(), value, "true or false");
            how_ += value.is_boolean() && value.as_boolean() ? "i " : "";
            return;
        }
        const std::string name = value.is_string() ? value.as_string().str : std::string();
        if (key == "region") {
            const auto region = regionOf(name);
            expect(region.has_value(), value, "a region as --region takes it");
            how_ += region ? fmt::format("r={} ", static_cast<int>(*region)) : std::string();
        } else {
            const auto code = codeOf(name);
            expect(code.has_value(), value, "a code as --default-code takes it");
            how_ += code ? fmt::format("d={} ", static_cast<int>(*code)) : std::string();
        }
    }

    void read(const std::string &key, const toml::value &value) {
        if (key == "network" || key == "stream" || key == "service") {
            readNumber(key == "network" ? "n" : key == "stream" ? "t" : "s", value);
        } else if (key == "language") {
            readLanguage(value);
        } else if (key == "country") {
            where_ += "c=" + codeIn(value, 2, 'A', "a country as in ISO 3166, such as \"FR\"") + ' ';
        } else if (key == "region" || key == "default-code" || key == "ignore-selector") {
            readHow(key, value);
        } else if (key == "source") {
            hasSource_ = value.is_string() && !value.as_string().str.empty();
        } else if (key == "date") {
            hasDate_ = value.is_local_date();
        } else {
            expect(false, value, fmt::format("a key of overrides, found '{}'", key));
        }
    }

    std::string file_;
    std::vector<std::string> &problems_;
    std::vector<std::string> languages_ = {""}; // a word for each code, after which the others are the same
    std::string where_;
    std::string how_;
    bool hasHow_ = false; // "ignore-selector = false" alone takes back what an earlier layer says
    bool hasSource_ = false;
    bool hasDate_ = false;
};

std::string dateOf(const toml::value &entry) {
    std::ostringstream text;
    text << entry.at("date").as_local_date();
    return text.str();
}

} // namespace

std::string OverrideEntry::text() const {
    return fmt::format("{}:{}, {}, {}", onOneLine(file), line, onOneLine(source), date);
}

void Overrides::readDefaults() {
    for (OverrideLayer &layer : defaultLayers()) {
        if (access(layer.file.c_str(), R_OK) == 0) {
            read(std::move(layer));
        } else {
            layers_.push_back(std::move(layer));
        }
    }
}

void Overrides::read(OverrideLayer layer) {
    const std::size_t before = entries_.size();
    readEntries(layer);
    layer.readable = true;
    layer.entries = entries_.size() - before;
    layers_.push_back(std::move(layer));
}

void Overrides::readEntries(const OverrideLayer &layer) {
    const std::string &file = layer.file;
    const std::string content = contentOf(file);
    std::optional<toml::value> document;
    try {
        std::istringstream stream(content);
        document = toml::parse(stream, file);
    } catch (const toml::exception &error) {
        problems_.push_back(fmt::format("{}:{}: expected TOML", file, lineOf(error.location(), content)));
        return;
    }
    const toml::value &root = *document;
    const bool known =
        root.contains("version") && root.at("version").is_integer() && root.at("version").as_integer() == version;
    if (!known) {
        problems_.push_back(fmt::format("{}:1: expected 'version = {}'", file, version));
        return;
    }
    for (const auto &[key, value] : root.as_table()) {
        if (key != "version" && !(key == "override" && value.is_array())) {
            problems_.push_back(
                fmt::format("{}:{}: expected [[override]], found '{}'", file, value.location().line(), key));
        }
    }
    if (!root.contains("override") || !root.at("override").is_array()) {
        return;
    }
    for (const toml::value &entry : root.at("override").as_array()) {
        if (!entry.is_table()) {
            problems_.push_back(fmt::format("{}:{}: expected [[override]]", file, entry.location().line()));
            continue;
        }
        const std::vector<std::string> lines = EntryReader(file, problems_).lines(entry);
        for (const std::string &line : lines) {
            compact_ += line + '\n';
            entriesOfLines_.push_back(entries_.size());
        }
        if (!lines.empty()) {
            entries_.push_back(
                {layer.name, file, entry.location().line(), entry.at("source").as_string().str, dateOf(entry)});
        }
    }
}

const OverrideEntry &Overrides::entryOf(unsigned int line) const {
    constexpr unsigned int firstEntry = 2;
    return entries_.at(entriesOfLines_.at(line - firstEntry));
}

} // namespace zelk::tool
