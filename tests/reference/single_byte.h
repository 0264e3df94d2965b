// The single-byte character sets as the C library's iconv knows them, and conversion written down step by step.
#pragma once

#include <iconv.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace zelk_test::reference {

constexpr unsigned int replacement = 0xFFFD;

// The code point of each byte.
using Set = std::vector<unsigned int>;

// A set as write_sets stored it: 256 code points of two bytes, the low one first.
inline Set storedSet(const std::string &file) {
    std::ifstream bytes(file, std::ios::binary);
    Set set;
    for (int low = bytes.get(); low != EOF; low = bytes.get()) {
        set.push_back(static_cast<unsigned int>(low | bytes.get() << 8));
    }
    if (set.size() != 256) {
        throw std::runtime_error("no stored set: " + file);
    }
    return set;
}

// Where the C library comes without its tables, as those of cross compilers do, the environment names stored ones.
inline Set systemSet(const std::string &name) {
    if (const char *folder = std::getenv("ZELK_TEST_SETS"); folder != nullptr) {
        return storedSet(std::string(folder) + "/" + name);
    }
    const iconv_t descriptor = iconv_open("UTF-16LE", name.c_str());
    if (descriptor == reinterpret_cast<iconv_t>(-1)) {
        throw std::runtime_error("iconv does not know " + name);
    }
    Set set;
    for (unsigned int value = 0; value < 256; ++value) {
        char byte = static_cast<char>(value);
        char units[4] = {};
        char *in = &byte;
        char *out = units;
        std::size_t inLeft = 1;
        std::size_t outLeft = sizeof units;
        iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
        const bool known = iconv(descriptor, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
        const unsigned int low = static_cast<unsigned char>(units[0]);
        const unsigned int high = static_cast<unsigned char>(units[1]);
        set.push_back(known && outLeft == 2 ? high << 8U | low : replacement);
    }
    iconv_close(descriptor);
    return set;
}

inline Set changed(Set set, const std::vector<std::pair<unsigned int, unsigned int>> &positions) {
    for (const auto &[byte, codePoint] : positions) {
        set[byte] = codePoint;
    }
    return set;
}

inline Set asciiSet() {
    return systemSet("ASCII");
}

// What the ISO 8859 functions read for a part.
inline Set isoSet(unsigned int part) {
    if (part == 0 || part == 6 || part == 8 || part == 11 || part == 12 || part > 16) {
        return asciiSet();
    }
    const Set published = systemSet("ISO-8859-" + std::to_string(part));
    if (part == 7) {
        return changed(published, {{0xA5, replacement}, {0xAA, replacement}});
    }
    return part == 16 ? changed(published, {{0xFF, replacement}}) : published;
}

// What the Windows functions read by a table number.
inline Set windowsSet(unsigned int table) {
    const char *const names[] = {"", "CP1250", "CP1251", "CP1252", "CP1253", "CP1254", "CP1257"};
    if (table == 0 || table > 6) {
        return asciiSet();
    }
    return table == 6 ? changed(systemSet(names[table]), {{0xFF, replacement}}) : systemSet(names[table]);
}

// The bytes of a text that a conversion reads: up to a zero byte, and no more than a count that is not negative.
inline std::string usedText(const std::string &text, int count) {
    std::string used;
    for (const char byte : text) {
        if (byte == 0 || (count >= 0 && used.size() == static_cast<std::size_t>(count))) {
            break;
        }
        used.push_back(byte);
    }
    return used;
}

inline std::vector<unsigned int> charactersOf(const Set &set, const std::string &used) {
    std::vector<unsigned int> characters;
    for (const char byte : used) {
        characters.push_back(set[static_cast<unsigned char>(byte)]);
    }
    return characters;
}

inline std::string utf8Of(unsigned int character) {
    std::string sequence;
    if (character < 0x80) {
        sequence.push_back(static_cast<char>(character));
    } else if (character < 0x800) {
        sequence.push_back(static_cast<char>(0xC0 + character / 64));
        sequence.push_back(static_cast<char>(0x80 + character % 64));
    } else {
        sequence.push_back(static_cast<char>(0xE0 + character / 4096));
        sequence.push_back(static_cast<char>(0x80 + character / 64 % 64));
        sequence.push_back(static_cast<char>(0x80 + character % 64));
    }
    return sequence;
}

// The output without its terminator. A size counts the terminator.
inline std::vector<unsigned short> ucs2Text(const std::vector<unsigned int> &characters, int size) {
    std::vector<unsigned short> text;
    for (const unsigned int character : characters) {
        if (static_cast<long>(text.size()) + 1 >= size) {
            break;
        }
        text.push_back(static_cast<unsigned short>(character));
    }
    return text;
}

// What does not fit is skipped, until only the terminator still fits.
inline std::string utf8Text(const std::vector<unsigned int> &characters, int size) {
    std::string text;
    for (const unsigned int character : characters) {
        const long room = size - static_cast<long>(text.size());
        if (room < 2) {
            break;
        }
        const std::string sequence = utf8Of(character);
        if (room > static_cast<long>(sequence.size())) {
            text += sequence;
        }
    }
    return text;
}

inline std::string utf8Text(const std::vector<unsigned int> &characters) {
    return utf8Text(characters, INT_MAX);
}

} // namespace zelk_test::reference
