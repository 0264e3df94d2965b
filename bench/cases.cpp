#include "cases.h"

#include <algorithm>
#include <cctype>
#include <random>
#include <stdexcept>

namespace zelk_bench {

namespace {

const Languages european = {"thirteen languages",
                            {"english", "french", "german", "spanish", "finnish", "polish", "czech", "hungarian",
                             "turkish", "greek", "russian", "ukrainian", "bulgarian"}};
const Languages latin = {
    "nine languages", {"english", "french", "german", "spanish", "finnish", "polish", "czech", "hungarian", "turkish"}};

std::string toString(std::span<const char> text) {
    return {text.begin(), text.end()};
}

// ASCII letters alone: what a change of case means is then beyond dispute.
std::string capitals(std::string text) {
    for (char &c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return text;
}

// Words of letters, five at least, none of which is special in a pattern.
std::vector<std::string> wordsOf(const std::string &text) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && std::isalpha(static_cast<unsigned char>(text[end])) != 0) {
            ++end;
        }
        if (end - at >= 5) {
            words.push_back(text.substr(at, end - at));
        }
        at = end + 1;
    }
    return words;
}

std::string patternOf(const std::string &kind, const std::string &text, std::mt19937 &random) {
    const std::vector<std::string> words = wordsOf(text);
    if (words.empty()) {
        return {};
    }
    const std::size_t first = random() % words.size();
    if (kind == "prefix") {
        return text.substr(0, text.find(words[0])) + words[0] + "*";
    }
    if (kind == "suffix") {
        return "*" + words.back() + text.substr(text.rfind(words.back()) + words.back().size());
    }
    if (kind == "inner") {
        return "*" + words[first] + "*";
    }
    if (kind == "question mark") {
        const std::size_t letter = text.find(words[first]) + 1;
        return text.substr(0, letter) + "?" + text.substr(letter + 1);
    }
    return "*" + words[first / 2] + "*" + words[std::min(first / 2 + 1, words.size() - 1)] + "*";
}

// Long enough, and nothing in it is special but what its kind has put there.
bool isOrdinary(const std::string &pattern, const std::string &kind) {
    const auto questionMarks = std::count(pattern.begin(), pattern.end(), '?');
    return pattern.size() >= 5 && questionMarks == (kind == "question mark" ? 1 : 0) &&
           pattern.find_first_of("[\\") == std::string::npos;
}

} // namespace

Pairs collationPairs(const std::string &kind) {
    const bool byCase = kind == "differing in case only";
    const Texts<char> names = makeTexts({byCase ? latin : european}, Length::Name);
    std::mt19937 random(20260302);
    Pairs pairs;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string name = toString(names[i]);
        if (byCase) {
            pairs.emplace_back(name, capitals(name));
        } else if (kind == "random pairs") {
            pairs.emplace_back(name, toString(names[random() % names.size()]));
        } else if (kind == "nearly equal") {
            pairs.emplace_back(name + " " + std::to_string(random() % 50), name + " " + std::to_string(random() % 50));
        } else {
            pairs.emplace_back(name, name);
        }
    }
    return pairs;
}

std::vector<std::string> namesToSort() {
    const std::vector<std::string> known = titles(european);
    std::mt19937 random(20260303);
    std::vector<std::string> names;
    while (names.size() < 1000) {
        const std::string &title = known[random() % known.size()];
        names.push_back(names.size() < known.size() ? known[names.size()]
                                                    : title + " " + std::to_string(random() % 90));
    }
    std::shuffle(names.begin(), names.end(), random);
    return names;
}

Pairs wildcardCases(const std::string &kind, Length length) {
    const Texts<char> texts = makeTexts({english}, length);
    std::mt19937 random(20260304);
    Pairs cases;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::string pattern;
        std::size_t from = i % 2 == 0 ? i : random() % texts.size();
        while (!isOrdinary(pattern, kind)) {
            pattern = patternOf(kind, toString(texts[from]), random);
            from = random() % texts.size();
        }
        cases.emplace_back(toString(texts[i]), pattern);
    }
    return cases;
}

Texts<char> markupTexts(const std::string &kind, Length length) {
    constexpr char special[] = {'&', '<', '>', '"', '\''};
    const Texts<char> plain = makeTexts({english}, length);
    const std::size_t every = kind == "dense" ? 1 : 10;
    std::size_t blanks = 0;
    Texts<char> texts;
    for (std::size_t i = 0; i < plain.size(); ++i) {
        std::string text = toString(plain[i]);
        for (char &c : text) {
            if (c == '\'') {
                c = 'x';
            } else if (c == ' ' && ++blanks % every == 0) {
                c = special[blanks / every % std::size(special)];
            }
        }
        texts.add(text);
    }
    return texts;
}

Texts<char> escapedTexts(const std::string &kind, Length length) {
    const Texts<char> texts = markupTexts(kind, length);
    Texts<char> escaped;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::string text;
        for (const char c : texts[i]) {
            switch (c) {
            case '&':
                text += "&amp;";
                break;
            case '<':
                text += "&lt;";
                break;
            case '>':
                text += "&gt;";
                break;
            case '"':
                text += "&quot;";
                break;
            case '\'':
                text += "&apos;";
                break;
            default:
                text += c;
            }
        }
        escaped.add(text);
    }
    return escaped;
}

} // namespace zelk_bench
