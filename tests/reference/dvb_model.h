// The slowest, clearest reader of DVB strings: selection, the 19 tables with marks and controls, two-byte and UTF-8
// text. Its tables come from the system's iconv and from rows typed here; it shares nothing with the library.
#pragma once

#include "reference/latin_decompositions.h"
#include "reference/single_byte.h"
#include "reference/utf8_model.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace zelk_test {

// ETSI EN 300 468 Annex A, the default table as this receiver reads it: 0xA0 to 0xFF. A question mark: unassigned.
inline constexpr std::u16string_view defaultTableUpperHalf = u"\u00A0¡¢£€¥?§¤‘“«←↑→↓"
                                                             u"°±²³×µ¶·÷’”»¼½¾¿"
                                                             u"?`´^~¯˘˙¨?˚¸?˝˛ˇ"
                                                             u"―¹®©™♪¬¦????⅛⅜⅝⅞"
                                                             u"ΩÆÐªĦ?ĲĿŁØŒºÞŦŊŉ"
                                                             u"ĸæđðħıĳŀłøœßþŧŋ\u00AD";

using DvbTables = std::array<std::array<unsigned int, 256>, 19>;

inline std::array<unsigned int, 256> published(const std::string &name) {
    const reference::Set set = reference::systemSet(name);
    std::array<unsigned int, 256> result{};
    std::copy(set.begin(), set.end(), result.begin());
    return result;
}

inline DvbTables makeDvbTables() {
    DvbTables tables;
    for (unsigned int byte = 0; byte < 256; ++byte) {
        const bool graphic = byte >= 0x20 && byte < 0x7F;
        tables[0][byte] = graphic ? byte : 0xFFFD;
        if (byte >= 0xA0 && defaultTableUpperHalf[byte - 0xA0] != u'?') {
            tables[0][byte] = defaultTableUpperHalf[byte - 0xA0];
        }
        tables[1][byte] = byte < 0x80 ? byte : 0xFFFD;
    }
    for (unsigned int part = 1; part <= 16; ++part) {
        if (part != 12) {
            tables[part < 12 ? part + 1 : part] = published("ISO-8859-" + std::to_string(part));
        }
    }
    tables[8][0xA5] = tables[8][0xAA] = 0xFFFD;
    tables[9][0xFD] = tables[9][0xFE] = 0xFFFD;
    tables[17] = tables[6];
    tables[17][0xB9] = tables[17][0xD9] = 0xFFFD;
    tables[18] = tables[15];
    return tables;
}

inline const DvbTables &dvbModelTables() {
    static const DvbTables tables = makeDvbTables();
    return tables;
}

// The spacing form, the Unicode mark and, for letters that it has below, a second mark; by byte of ISO/IEC 6937.
struct ModelMark {
    unsigned int byte;
    unsigned int spacing;
    unsigned int mark;
    unsigned int secondMark;
};

inline constexpr ModelMark modelMarks[] = {
    {0xC1, 0x0060, 0x0300, 0}, {0xC2, 0x00B4, 0x0301, 0}, {0xC3, 0x005E, 0x0302, 0x032D},
    {0xC4, 0x007E, 0x0303, 0}, {0xC5, 0x00AF, 0x0304, 0}, {0xC6, 0x02D8, 0x0306, 0x032E},
    {0xC7, 0x02D9, 0x0307, 0}, {0xC8, 0x00A8, 0x0308, 0}, {0xCA, 0x02DA, 0x030A, 0},
    {0xCB, 0x00B8, 0x0327, 0}, {0xCD, 0x02DD, 0x030B, 0}, {0xCE, 0x02DB, 0x0328, 0x0326},
    {0xCF, 0x02C7, 0x030C, 0},
};

inline unsigned int decomposed(char letter, unsigned int mark) {
    for (const Decomposition &entry : latinDecompositions) {
        if (entry.letter == letter && entry.mark == mark) {
            return entry.character;
        }
    }
    return 0;
}

inline unsigned int modelComposeLatin(unsigned int base, unsigned int mark) {
    const bool letter = (base >= 'A' && base <= 'Z') || (base >= 'a' && base <= 'z');
    if (base != ' ' && !letter) {
        return 0;
    }
    for (const ModelMark &entry : modelMarks) {
        if (entry.byte != mark) {
            continue;
        }
        if (base == ' ') {
            return entry.spacing;
        }
        const char character = static_cast<char>(base);
        // Where the receiver leaves Unicode: four letters stay bare under the dot, and E and e wear it for the ring.
        if (mark == 0xC7 && std::string_view("HXhx").find(character) != std::string_view::npos) {
            return base;
        }
        if (mark == 0xCA && (base == 'E' || base == 'e')) {
            return decomposed(character, 0x0307);
        }
        const unsigned int first = decomposed(character, entry.mark);
        const unsigned int second = entry.secondMark != 0 ? decomposed(character, entry.secondMark) : 0;
        return first != 0 ? first : second != 0 ? second : base;
    }
    return 0;
}

// Base letters by their places in ISO 8859-7, with tonos (0xB4), diaeresis (0xA8) and both (0xB5).
inline unsigned int modelComposeGreek(unsigned int base, unsigned int mark) {
    constexpr std::string_view bases = "\x20\xC1\xC5\xC7\xC9\xCF\xD5\xD9\xE1\xE5\xE7\xE9\xEF\xF5\xF9";
    constexpr std::u16string_view tonos = u"\u0384ΆΈΉΊΌΎΏάέήίόύώ";
    constexpr std::u16string_view diaeresis = u"\u00A8ΑΕΗΪΟΫΩαεηϊοϋω";
    constexpr std::u16string_view both = u"\u0385ΑΕΗΪΟΫΩαεηΐοΰω";
    const std::size_t place = base > 0xFF ? std::string_view::npos : bases.find(static_cast<char>(base));
    if (place == std::string_view::npos) {
        return 0;
    }
    return mark == 0xB4 ? tonos[place] : mark == 0xA8 ? diaeresis[place] : mark == 0xB5 ? both[place] : 0U;
}

inline unsigned int modelCompose(int set, unsigned int base, unsigned int mark) {
    switch (set) {
    case 0:
        return modelComposeLatin(base, mark);
    case 1:
        return modelComposeGreek(base, mark);
    case 2:
        return mark == 0xA8   ? modelComposeLatin(base, 0xC8)
               : mark == 0xB4 ? modelComposeLatin(base, 0xC2)
               : mark == 0xB8 ? modelComposeLatin(base, 0xCB)
                              : 0;
    default:
        return 0;
    }
}

inline int modelMarkSet(unsigned int table) {
    return table == 7 ? 1 : table == 0 || (table >= 16 && table <= 18) ? 0 : -1;
}

struct ModelSelection {
    int charSet;
    int code;
    int extra;
    unsigned int consumed;
};

// `available` bytes may be read; missing ones are zero.
inline ModelSelection modelSelect(int charSet, const std::string *text, std::size_t available, int defaultCode,
                                  int defaultExtra) {
    ModelSelection result{charSet, 0, 0, 0};
    if (defaultCode != 18) {
        result = {1, defaultCode, defaultExtra, 0};
    }
    if (text == nullptr) {
        return result;
    }
    const auto at = [&](std::size_t i) -> int {
        return i < available && i < text->size() ? static_cast<unsigned char>((*text)[i]) : 0;
    };
    const int first = at(0);
    if (first == 0 || first > 0x1F) {
        result.charSet = 1;
        return result;
    }
    result.consumed = 1;
    if (first <= 0x0F) {
        result.code = first + 4;
    } else if (first == 0x10 && at(1) == 0) {
        result.code = at(2) <= 0x10 ? at(2) : 18;
        result.consumed = 3;
    } else if (first == 0x11 || first == 0x14) {
        result.code = 20;
    } else if (first == 0x15 || first == 0x16) {
        result.code = 21;
    } else if (first == 0x1D) {
        result.code = 19;
    } else if (first == 0x1F) {
        const int type = at(1);
        result.code = type == 1 || type == 2 || type == 5 || type == 6 ? 22 : 18;
        result.extra = type;
        result.consumed = 2;
    } else {
        result.code = 18;
    }
    return result;
}

// The table of a region and a code, as ETSI EN 300 468 numbers its tables and as the regions bend it.
inline unsigned int modelTable(int charSet, int code) {
    if (charSet < 0 || charSet > 6) {
        return 10;
    }
    const int column = code >= 0 && code <= 16 ? code : 0;
    if (charSet == 6) {
        return 0;
    }
    if (column == 0) {
        constexpr unsigned int regional[] = {10, 0, 3, 8, 10, 18};
        return regional[charSet];
    }
    if (column == 5 && charSet == 2) {
        return 0;
    }
    return static_cast<unsigned int>(column == 12 ? 1 : column < 12 ? column + 1 : column);
}

inline unsigned int modelControl8(unsigned int code, unsigned int flags) {
    if (code == 0x8A) {
        return 0x0A;
    }
    return (flags & 1U) != 0 && (code == 0x86 || code == 0x87) ? code : 0;
}

inline unsigned int modelControls(unsigned int unit, unsigned int flags) {
    if ((unit >= 0x80 && unit <= 0x9F) || (unit >= 0xE080 && unit <= 0xE09F)) {
        return modelControl8(unit & 0xFF, flags);
    }
    return unit < 0x20 && unit != 0x09 && unit != 0x0A ? 0 : unit;
}

// One step of the table path, with the composed character waiting for the byte after it.
class ModelTableReader {
public:
    ModelTableReader(unsigned int table, unsigned int flags) : table_(table), flags_(flags) {}

    unsigned int step(unsigned int byte, unsigned int next) {
        if (table_ == 0) {
            constexpr std::string_view dropped = "\xA6\xC0\xC9\xCC\xD8\xD9\xDA\xDB\xE5";
            if (byte < 0x20 || dropped.find(static_cast<char>(byte)) != std::string_view::npos) {
                return 0;
            }
        } else if (byte < 0x20) {
            return byte == 0x09 || byte == 0x0A ? byte : 0;
        }
        if (byte >= 0x80 && byte <= 0x9F) {
            return modelControl8(byte, flags_);
        }
        if (byte >= 0xA0 && byte <= 0xCF && modelMarkSet(table_) != -1) {
            const unsigned int composed = modelCompose(modelMarkSet(table_), next, byte);
            if (composed != 0) {
                pending_ = composed;
                return 0;
            }
        }
        const unsigned int character = pending_ != 0 ? pending_ : dvbModelTables()[table_][byte];
        pending_ = 0;
        return character;
    }

private:
    unsigned int table_;
    unsigned int flags_;
    unsigned int pending_ = 0;
};

// UTF-8 byte by byte; what it hands out before a byte of ASCII that cuts a sequence off is lost.
class ModelUtf8Reader {
public:
    unsigned int step(unsigned int byte) {
        if (byte < 0x80) {
            expected_ = 0;
            return byte;
        }
        if (byte < 0xC0) {
            if (expected_ == 0) {
                return 0xFFFD;
            }
            value_ = value_ * 64 + byte % 64;
            if (--expected_ > 0) {
                return 0;
            }
            return value_ < least_ ? 0xFFFD : value_;
        }
        const bool cut = expected_ != 0;
        if (byte >= 0xF0) {
            expected_ = 0;
            return 0xFFFD;
        }
        expected_ = byte < 0xE0 ? 1 : 2;
        least_ = byte < 0xE0 ? 0x80 : 0x800;
        value_ = byte < 0xE0 ? byte % 32 : byte % 16;
        return cut ? 0xFFFD : 0;
    }

private:
    int expected_ = 0;
    unsigned int least_ = 0;
    unsigned int value_ = 0;
};

// All characters of a string of codes 0 to 18, 20 and 21. Without a count the string ends at its terminator; after a
// count stands a zero byte.
inline std::vector<unsigned int> modelCharacters(const ModelSelection &selection, const std::string &text, bool counted,
                                                 unsigned int flags) {
    std::vector<unsigned int> characters;
    const auto keep = [&characters](unsigned int character) {
        if (character != 0) {
            characters.push_back(character);
        }
    };
    const auto at = [&text](std::size_t i) -> unsigned int {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const std::size_t start = selection.consumed;
    if (selection.code == 20) {
        const std::size_t last = counted ? text.size() : text.size() + 1; // an uncounted odd byte has a zero after it
        for (std::size_t i = start; i + 1 < last; i += 2) {
            const unsigned int unit = at(i) * 256 + at(i + 1);
            if (unit == 0 && !counted) {
                break;
            }
            keep(modelControls(unit, flags));
        }
        return characters;
    }
    ModelUtf8Reader utf8;
    ModelTableReader table(modelTable(selection.charSet, selection.code), flags);
    for (std::size_t i = start; i < text.size() && (counted || at(i) != 0); ++i) {
        keep(selection.code == 21 ? modelControls(utf8.step(at(i)), flags) : table.step(at(i), at(i + 1)));
    }
    return characters;
}

// What fits a buffer of `size` bytes: a sequence that does not fit is left out, and the last byte ends the text.
inline std::string modelUtf8(const std::vector<unsigned int> &characters, int size) {
    std::string result;
    for (const unsigned int character : characters) {
        const std::string sequence = utf8EncodeModel(character);
        const int room = size - static_cast<int>(result.size());
        if (room <= 1) {
            break;
        }
        if (static_cast<int>(sequence.size()) < room) {
            result += sequence;
        }
    }
    return result;
}

} // namespace zelk_test
