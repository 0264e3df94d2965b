// XML: the five special characters to entities and back.
//
// The kernels escape, and unescape what is ordinary; here stands the exact rule: for the last bytes that an output has
// room for, and for references that are shortened, numeric or none.
#include "tables/xml.h"
#include "detail/wrap.h"
#include "kernels/kernels.h"
#include "zelk.hpp"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace zelk::detail {

namespace {

// An upper bound of the bytes of a text: its count, or with a negative one where no object reaches.
std::size_t boundOf(int inLength) {
    return inLength < 0 ? static_cast<std::size_t>(PTRDIFF_MAX) : static_cast<std::size_t>(inLength);
}

unsigned int escape(const char *in, std::size_t length, char *out, std::size_t room) {
    const std::size_t written = kernels::kernels().escapeXml(in, length, out, room).written;
    out[written] = 0;
    return static_cast<unsigned int>(written);
}

// A reference ends at a ';', at a zero byte or at the end of the text, one to six bytes after its '&'.
constexpr std::size_t longestName = 6;

// The bytes from the '&' at `at` to the end of its name; 0 where the name does not end in time.
std::size_t nameLength(const char *at, std::size_t left) {
    for (std::size_t length = 1; length <= longestName; ++length) {
        if (length == left || at[length] == ';' || at[length] == 0) {
            return length;
        }
    }
    return 0;
}

// The low 8 bits of a decimal number. strtoul's own leniency is part of the contract: signs and blanks in front are
// taken, and what is no digit ends the number, so that a hexadecimal reference is 0.
char byteOfReference(const char *digits, std::size_t count) {
    char number[longestName] = {};
    std::memcpy(number, digits, count);
    return static_cast<char>(static_cast<unsigned char>(std::strtoul(number, nullptr, 10)));
}

// Names are compared as far as they go: a shortened one matches. Kept on purpose. A longer one meets a zero.
static_assert(sizeof tables::XmlEntity::text >= longestName);
const tables::XmlEntity *entityNamed(const char *name, std::size_t length) {
    for (const tables::XmlEntity &entity : tables::xmlEntities) {
        if (std::memcmp(name, entity.text, length) == 0) {
            return &entity;
        }
    }
    return nullptr;
}

unsigned int unescape(const char *in, std::size_t length, char *out, std::size_t room) {
    std::size_t read = 0;
    std::size_t written = 0;
    for (;;) {
        const kernels::Progress done =
            kernels::kernels().unescapeXml(in + read, length - read, out + written, room - written);
        read += done.read;
        written += done.written;
        if (read == length || in[read] == 0 || written == room) {
            break;
        }
        const char *const at = in + read;
        const std::size_t name = *at == '&' ? nameLength(at, length - read) : 0;
        const bool numeric = name > 1 && at[1] == '#';
        const tables::XmlEntity *entity = numeric || name == 0 ? nullptr : entityNamed(at, name);
        if (numeric || entity != nullptr) {
            out[written++] = numeric ? byteOfReference(at + 2, name - 2) : entity->character;
            read += name;
            read += read != length && in[read] != 0 ? 1 : 0; // the ';'
        } else {
            out[written++] = *at;
            ++read;
        }
    }
    out[written] = 0;
    return static_cast<unsigned int>(written);
}

// What both directions refuse in the same way.
template <auto conversion>
unsigned int convert(char *out, int outSize, const char *in, int inLength) {
    if (outSize < 1) {
        return 0;
    }
    if (in == nullptr) {
        *out = 0;
        return 0;
    }
    return conversion(in, boundOf(inLength), out, static_cast<std::size_t>(outSize) - 1);
}

using Conversion = unsigned int(char *out, int outSize, const char *in, int inLength);

std::string convertedString(Conversion conversion, std::size_t needed, const char *in, int inLength) {
    const std::size_t size = std::min<std::size_t>(needed, INT_MAX - 1) + 1;
    return filledString<char>(size, 0,
                              [=](char *out) { return conversion(out, static_cast<int>(size), in, inLength); });
}

int countOf(const std::string &text) {
    return static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

const char *zelk_xmlescape(unsigned int c) {
    const tables::XmlEntity *entity = tables::xmlEntityOf(c);
    return entity == nullptr ? nullptr : entity->text;
}

unsigned int zelk_xmlifiedLength(const char *in, int inLen) {
    if (in == nullptr) {
        return 0;
    }
    const std::uint64_t length = kernels::kernels().escapedXmlLength(in, detail::boundOf(inLen));
    return static_cast<unsigned int>(std::min<std::uint64_t>(length, UINT_MAX));
}

unsigned int zelk_xmlify(char *out, int outSize, const char *in, int inLen) {
    return detail::convert<detail::escape>(out, outSize, in, inLen);
}

unsigned int zelk_unxml(char *out, int outSize, const char *in, int inLen) {
    return detail::convert<detail::unescape>(out, outSize, in, inLen);
}

CharPacket *zelkXmlify(const char *in, int inLen) {
    if (in == nullptr) {
        return nullptr;
    }
    const auto size = static_cast<unsigned short>(zelk_xmlifiedLength(in, inLen));
    return detail::filledPacket(zelkNewCharPacket(size, nullptr),
                                [=](char *out, int outSize) { return zelk_xmlify(out, outSize, in, inLen); });
}

CharPacket *zelkUnXml(const char *in, int inLen) {
    if (in == nullptr) {
        return nullptr;
    }
    const auto size = static_cast<unsigned short>(inLen < 0 ? std::strlen(in) : static_cast<std::size_t>(inLen));
    return detail::filledPacket(zelkNewCharPacket(size, nullptr),
                                [=](char *out, int outSize) { return zelk_unxml(out, outSize, in, inLen); });
}

std::string XmlConverter::xmlify(const char *in, int len) {
    return detail::convertedString(zelk_xmlify, zelk_xmlifiedLength(in, len), in, len);
}

std::string XmlConverter::xmlify(const std::string &text) {
    return xmlify(text.data(), detail::countOf(text));
}

std::string XmlConverter::unXml(const char *in, int len) {
    if (in == nullptr) {
        return {};
    }
    return detail::convertedString(zelk_unxml, strnlen(in, detail::boundOf(len)), in, len);
}

std::string XmlConverter::unXml(const std::string &text) {
    return unXml(text.data(), detail::countOf(text));
}
