// The predefined entities of XML 1.0 (section 4.6): five records, and the index from a character to its record.
//
// The order of the records is the order in which an unescaped name is looked up, and a shortened name takes the first
// that begins like it: `&a;` is an ampersand, not an apostrophe. The texts stand in the records themselves, so the
// table needs no relocation.
#pragma once

#include <algorithm>
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
inline constexpr std::array<std::uint8_t, 64> xmlEntityIndex = []() {
    std::array<std::uint8_t, 64> index{};
    std::uint8_t record = 0;
    for (const XmlEntity &entity : xmlEntities) {
        index[static_cast<unsigned char>(entity.character)] = ++record;
    }
    return index;
}();

constexpr const XmlEntity *xmlEntityOf(unsigned int character) {
    const unsigned int record = character < xmlEntityIndex.size() ? xmlEntityIndex[character] : 0;
    return record == 0 ? nullptr : &xmlEntities[record - 1];
}

static_assert(xmlEntityIndex[0x26] == 1 && xmlEntityIndex[0x3C] == 2 && xmlEntityIndex[0x3E] == 3 &&
              xmlEntityIndex[0x22] == 4 && xmlEntityIndex[0x27] == 5);
static_assert(std::ranges::all_of(xmlEntities, [](const XmlEntity &entity) {
    return entity.text[entity.length - 1] == ';' && entity.text[entity.length] == 0;
}));

// The one entity that eight bytes may begin with, by the sum of the two letters after its '&'. It is there where the
// bytes under the mask are its text; entries without an entity fit nothing.
struct XmlReference {
    char text[8];
    std::uint8_t mask[8];
    char character;
    std::uint8_t length;
};

constexpr std::size_t xmlReferenceIndex(unsigned int firstLetter, unsigned int secondLetter) {
    return (firstLetter + secondLetter) % 16;
}

inline constexpr std::array<XmlReference, 16> xmlReferences = []() {
    std::array<XmlReference, 16> references{};
    for (XmlReference &reference : references) {
        reference.text[0] = '&';
    }
    for (const XmlEntity &entity : xmlEntities) {
        const auto letter = [&](std::size_t at) { return static_cast<unsigned char>(entity.text[at]); };
        XmlReference &reference = references[xmlReferenceIndex(letter(1), letter(2))];
        std::copy_n(entity.text, entity.length, reference.text);
        std::fill_n(reference.mask, entity.length, std::uint8_t{0xFF});
        reference.character = entity.character;
        reference.length = entity.length;
    }
    return references;
}();

static_assert(std::ranges::all_of(xmlEntities,
                                  [](const XmlEntity &entity) {
                                      return std::ranges::any_of(xmlReferences, [&](const XmlReference &reference) {
                                          return reference.character == entity.character;
                                      });
                                  }),
              "each entity has an index of its own");

// What stands for each character: itself or its entity. Eight bytes an entry, to be loaded and stored at once.
struct XmlCharacter {
    char text[7];
    std::uint8_t length;
};
static_assert(sizeof(XmlCharacter) == 8);

inline constexpr std::size_t longestXmlEntity = 6;

inline constexpr std::array<XmlCharacter, 256> xmlCharacters = []() {
    std::array<XmlCharacter, 256> characters{};
    for (unsigned int code = 0; code < characters.size(); ++code) {
        characters[code] = {{static_cast<char>(code)}, 1};
    }
    for (const XmlEntity &entity : xmlEntities) {
        XmlCharacter &character = characters[static_cast<unsigned char>(entity.character)];
        std::copy_n(entity.text, entity.length, character.text);
        character.length = entity.length;
    }
    return characters;
}();

static_assert(std::ranges::all_of(xmlCharacters,
                                  [](const XmlCharacter &character) { return character.length <= longestXmlEntity; }));

} // namespace zelk::tables
