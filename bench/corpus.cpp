#include "corpus.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iconv.h>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <utility>

namespace zelk_bench {

namespace {

std::vector<std::string> lines(const Languages &languages, const std::string &kind) {
    std::vector<std::string> all;
    for (const std::string &language : languages.files) {
        const std::string path = std::string(BENCH_CORPUS) + "/" + language + "_" + kind + ".txt";
        std::ifstream file(path);
        if (!file) {
            throw std::runtime_error("cannot read " + path);
        }
        for (std::string line; std::getline(file, line);) {
            all.push_back(line);
        }
    }
    return all;
}

// From UTF-8 to another coding; text that has no place in it is refused.
class Recoder {
public:
    explicit Recoder(const std::string &coding) : descriptor_(iconv_open(coding.c_str(), "UTF-8"), iconv_close) {
        if (descriptor_.get() == iconv_t(-1)) {
            descriptor_.release();
            throw std::runtime_error("iconv does not know " + coding);
        }
    }

    std::string operator()(std::string utf8) const {
        std::string out(utf8.size() * 4 + 16, '\0');
        char *inAt = utf8.data();
        char *outAt = out.data();
        std::size_t inLeft = utf8.size();
        std::size_t outLeft = out.size();
        if (iconv(descriptor_.get(), &inAt, &inLeft, &outAt, &outLeft) == std::size_t(-1) ||
            iconv(descriptor_.get(), nullptr, nullptr, &outAt, &outLeft) == std::size_t(-1)) {
            throw std::runtime_error("no place for: " + utf8);
        }
        out.resize(out.size() - outLeft);
        return out;
    }

private:
    std::unique_ptr<void, int (*)(iconv_t)> descriptor_;
};

std::vector<std::string> charactersOf(const std::string &utf8, const Recoder &recoder) {
    std::vector<std::string> characters;
    for (std::size_t at = 0; at < utf8.size();) {
        std::size_t end = at + 1;
        while (end < utf8.size() && (static_cast<unsigned char>(utf8[end]) & 0xC0U) == 0x80U) {
            ++end;
        }
        characters.push_back(recoder(utf8.substr(at, end - at)));
        at = end;
    }
    return characters;
}

struct Shape {
    std::size_t texts;
    std::size_t shortest;
    std::size_t longest;
    const char *separator;
};

Shape shapeOf(Length length) {
    switch (length) {
    case Length::Name:
        return {512, 16, 48, " - "};
    case Length::Description:
        return {128, 180, 220, " "};
    case Length::Page:
        return {1, 8192, 8192, " "};
    case Length::Buffer:
    case Length::Other:
        break;
    }
    return {1, 65536, 65536, " "};
}

} // namespace

std::string_view lengthName(Length length) {
    constexpr std::string_view names[] = {"name", "desc", "64K", "8K", "-"};
    return names[static_cast<std::size_t>(length)];
}

std::vector<std::string> titles(const Languages &languages) {
    return lines(languages, "titles");
}

std::vector<std::string> descriptions(const Languages &languages) {
    return lines(languages, "descriptions");
}

Texts<char> makeTexts(const Source &source, Length length) {
    const Shape shape = shapeOf(length);
    const Recoder recoder(source.coding);
    std::vector<std::vector<std::string>> stock;
    for (const std::string &line : length == Length::Name ? titles(source.languages) : descriptions(source.languages)) {
        stock.push_back(charactersOf(line + shape.separator, recoder));
    }
    std::mt19937 random(20260301);
    std::vector<std::size_t> order(stock.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::size_t next = order.size();

    Texts<char> texts;
    while (texts.size() < shape.texts) {
        const std::size_t wanted = shape.shortest + random() % (shape.longest - shape.shortest + 1);
        std::string text;
        for (bool full = false; !full;) {
            if (next == order.size()) {
                std::shuffle(order.begin(), order.end(), random);
                next = 0;
            }
            for (const std::string &character : stock[order[next++]]) {
                full = full || text.size() + character.size() > wanted;
                if (!full) {
                    text += character;
                }
            }
            full = full || text.size() == wanted;
        }
        texts.add(source.selector + text);
    }
    return texts;
}

Texts<unsigned short> makeWideTexts(const Languages &languages, Length length) {
    const Texts<char> bytes = makeTexts({languages, nativeUcs2}, length);
    Texts<unsigned short> texts;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::vector<unsigned short> units(bytes[i].size() / 2);
        std::memcpy(units.data(), bytes[i].data(), units.size() * 2);
        texts.add(units);
    }
    return texts;
}

} // namespace zelk_bench
