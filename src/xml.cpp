// XML: the five special characters to entities and back.
//
// Both directions copy runs of ordinary bytes whole, and look closer only at what ends a run. The input is cut at its
// zero byte beforehand, no further than the output can reach, so that no loop needs to look out for it.
#include "tables/xml.h"
#include "detail/wrap.h"
#include "zelk.hpp"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace zelk::detail {

namespace {

// An output of fixed size; a place for the terminator is kept free.
class XmlOutput {
public:
    XmlOutput(char *out, int size) : begin_(out), at_(out), left_(static_cast<std::size_t>(size) - 1) {}

    // Bytes that still fit in front of the terminator.
    std::size_t left() const { return left_; }

    void put(char byte) { write(&byte, 1); }
    void write(const char *bytes, std::size_t count) {
        std::memcpy(at_, bytes, count);
        at_ += count;
        left_ -= count;
    }
    unsigned int finish() {
        *at_ = 0;
        return static_cast<unsigned int>(at_ - begin_);
    }

private:
    char *begin_;
    char *at_;
    std::size_t left_;
};

// Where the text ends: at its zero byte, at the count if that is not negative, or after `reach` bytes.
const char *endOf(const char *in, int inLength, std::uint64_t reach = PTRDIFF_MAX) {
    const std::uint64_t limit = inLength < 0 ? reach : std::min(reach, static_cast<std::uint64_t>(inLength));
    return in + strnlen(in, static_cast<std::size_t>(std::min<std::uint64_t>(limit, PTRDIFF_MAX)));
}

// The high bits of those of eight bytes that are special. The codes of & and ' differ in bit 0, those of < and > in bit
// 1, so three comparisons find all five; a byte that is equal is zero after the exclusive or.
std::uint64_t specialBytes(std::uint64_t eight) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t lowBits = 0x7F * ones;
    const auto nonZero = [](std::uint64_t x) { return ((x & lowBits) + lowBits) | x; };
    return ~(nonZero((eight | ones) ^ '\'' * ones) & nonZero((eight | 2 * ones) ^ '>' * ones) &
             nonZero(eight ^ '"' * ones)) &
           ~lowBits;
}

const tables::XmlEntity *entityOf(char character) {
    return tables::xmlEntityOf(static_cast<unsigned char>(character));
}

const char *findSpecial(const char *at, const char *end) {
    constexpr bool lowFirst = std::endian::native == std::endian::little;
    std::uint64_t eight = 0;
    for (; end - at >= static_cast<std::ptrdiff_t>(sizeof eight); at += sizeof eight) {
        std::memcpy(&eight, at, sizeof eight);
        const std::uint64_t special = specialBytes(eight);
        if (special != 0) {
            return at + (lowFirst ? std::countr_zero(special) : std::countl_zero(special)) / CHAR_BIT;
        }
    }
    while (at != end && entityOf(*at) == nullptr) {
        ++at;
    }
    return at;
}

unsigned int escape(char *out, int outSize, const char *in, int inLength) {
    XmlOutput output(out, outSize);
    const char *const end = endOf(in, inLength, output.left());
    for (const char *at = in;;) {
        const char *special = findSpecial(at, end);
        const std::size_t run = std::min(static_cast<std::size_t>(special - at), output.left());
        output.write(at, run);
        at += run;
        if (at == end || output.left() == 0) {
            break;
        }
        const tables::XmlEntity &entity = *entityOf(*at++);
        if (entity.length > output.left()) {
            break;
        }
        output.write(entity.text, entity.length);
    }
    return output.finish();
}

// A reference ends at a ';', at a zero byte or at the end of the text, one to six bytes behind its '&'.
constexpr std::size_t longestName = 6;

// The bytes from the '&' at `at` to the end of its name; 0 where the name does not end in time.
std::size_t nameLength(const char *at, const char *end) {
    const auto left = static_cast<std::size_t>(end - at);
    for (std::size_t length = 1; length <= longestName; ++length) {
        if (length == left || at[length] == ';') {
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

unsigned int unescape(char *out, int outSize, const char *in, int inLength) {
    // No byte of output takes more input than the longest reference and its ';'.
    XmlOutput output(out, outSize);
    const char *const end = endOf(in, inLength, std::uint64_t{output.left()} * (longestName + 1));
    for (const char *at = in; at != end && output.left() != 0;) {
        if (*at != '&') {
            const std::size_t most = std::min(static_cast<std::size_t>(end - at), output.left());
            const void *reference = std::memchr(at, '&', most);
            const std::size_t run =
                reference == nullptr ? most : static_cast<std::size_t>(static_cast<const char *>(reference) - at);
            output.write(at, run);
            at += run;
            continue;
        }
        const std::size_t length = nameLength(at, end);
        const bool numeric = length > 1 && at[1] == '#';
        const tables::XmlEntity *entity = numeric || length == 0 ? nullptr : entityNamed(at, length);
        if (!numeric && entity == nullptr) {
            output.put(*at++);
            continue;
        }
        output.put(numeric ? byteOfReference(at + 2, length - 2) : entity->character);
        at += length;
        at += at != end ? 1 : 0; // the ';'
    }
    return output.finish();
}

using Conversion = unsigned int(char *out, int outSize, const char *in, int inLength);

// What both directions refuse in the same way.
unsigned int convert(Conversion conversion, char *out, int outSize, const char *in, int inLength) {
    if (outSize < 1) {
        return 0;
    }
    if (in == nullptr) {
        *out = 0;
        return 0;
    }
    return conversion(out, outSize, in, inLength);
}

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
    const char *const end = detail::endOf(in, inLen);
    std::uint64_t length = static_cast<std::uint64_t>(end - in);
    for (const char *at = detail::findSpecial(in, end); at != end; at = detail::findSpecial(at + 1, end)) {
        length += detail::entityOf(*at)->length - 1U;
    }
    return static_cast<unsigned int>(std::min<std::uint64_t>(length, UINT_MAX));
}

unsigned int zelk_xmlify(char *out, int outSize, const char *in, int inLen) {
    return detail::convert(detail::escape, out, outSize, in, inLen);
}

unsigned int zelk_unxml(char *out, int outSize, const char *in, int inLen) {
    return detail::convert(detail::unescape, out, outSize, in, inLen);
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
    const auto needed = static_cast<std::size_t>(detail::endOf(in, len) - in);
    return detail::convertedString(zelk_unxml, needed, in, len);
}

std::string XmlConverter::unXml(const std::string &text) {
    return unXml(text.data(), detail::countOf(text));
}
