// The predefined entities of XML 1.0 (section 4.6): five records, and the index from a character to its record.
//
// The order of the records is the order in which an unescaped name is looked up, and a shortened name takes the first
// that begins like it: `&a;` is an ampersand, not an apostrophe. The texts stand in the records themselves, so the
// table needs no relocation.
#pragma once

#include <array>
#include <cstdint>

namespace zelk::tables {

struct XmlEntity {
    char character;
    std::uint8_t length; // of the text, without its terminator
    char text[8];
};

inline constexpr std::array<XmlEntity, 5> xmlEntities = {{
    {'&', 5, "&amp;"},
    {'<', 4, "&lt;"},
    {'>', 4, "&gt;"},
    {'"', 6, "&quot;"},
    {'\'', 6, "&apos;"},
}};

// By character code: the number of the record, counted from 1; 0 where there is none. Codes of 64 and more have none.
inline constexpr std::array<std::uint8_t, 64> xmlEntityIndex = [] {
    std::array<std::uint8_t, 64> index{};
    for (std::uint8_t i = 0; i < xmlEntities.size(); ++i) {
        index[static_cast<unsigned char>(xmlEntities[i].character)] = static_cast<std::uint8_t>(i + 1);
    }
    return index;
}();

constexpr const XmlEntity *xmlEntityOf(unsigned int character) {
    const unsigned int record = character < xmlEntityIndex.size() ? xmlEntityIndex[character] : 0;
    return record == 0 ? nullptr : &xmlEntities[record - 1];
}

static_assert(xmlEntityIndex[0x26] == 1 && xmlEntityIndex[0x3C] == 2 && xmlEntityIndex[0x3E] == 3 &&
              xmlEntityIndex[0x22] == 4 && xmlEntityIndex[0x27] == 5);
static_assert([] {
    for (const XmlEntity &entity : xmlEntities) {
        if (entity.text[entity.length - 1] != ';' || entity.text[entity.length] != 0) {
            return false;
        }
    }
    return true;
}());

} // namespace zelk::tables
