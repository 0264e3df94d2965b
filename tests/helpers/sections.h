// Makes sections and the packets that carry them, field by field as the standards have them.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zelk_test {

inline std::string bigEndian(std::uint64_t value, int count) {
    std::string result;
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        result += static_cast<char>(value >> static_cast<unsigned int>(shift) & 0xFFU);
    }
    return result;
}

// Text after a byte that counts it, and bytes after twelve bits that count them, below four ones.
inline std::string counted(const std::string &text) {
    if (text.size() > 255) {
        throw std::length_error("a text is too long for its place");
    }
    return bigEndian(text.size(), 1) + text;
}
inline std::string loop(const std::string &bytes, unsigned int above = 0xF000U) {
    return bigEndian(above | bytes.size(), 2) + bytes;
}
inline std::string descriptor(unsigned int tag, const std::string &content) {
    return bigEndian(tag, 1) + counted(content);
}

// The checksum of sections: ISO/IEC 13818-1, annex A.
inline std::uint32_t checksum(const std::string &text) {
    std::uint32_t sum = 0xFFFFFFFFU;
    for (const char byte : text) {
        sum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(byte)) << 24U;
        for (int bit = 0; bit < 8; ++bit) {
            sum = sum << 1U ^ ((sum & 0x80000000U) != 0 ? 0x04C11DB7U : 0U);
        }
    }
    return sum;
}

struct SectionHead {
    unsigned int table = 0;
    unsigned int extension = 0;
    unsigned int version = 0;
    unsigned int number = 0;
    unsigned int last = 0;
};

inline std::string section(const SectionHead &head, const std::string &payload) {
    std::string bytes = bigEndian(head.table, 1) + bigEndian(0xF000U | (payload.size() + 9), 2) +
                        bigEndian(head.extension, 2) + bigEndian(0xC1U | (head.version & 31U) << 1U, 1) +
                        bigEndian(head.number, 1) + bigEndian(head.last, 1) + payload;
    return bytes + bigEndian(checksum(bytes), 4);
}

// The short form, without a checksum (TDT) or with one (TOT).
inline std::string shortSection(unsigned int table, const std::string &payload, bool checked) {
    std::string bytes = bigEndian(table, 1) + bigEndian(0x7000U | (payload.size() + (checked ? 4 : 0)), 2) + payload;
    return checked ? bytes + bigEndian(checksum(bytes), 4) : bytes;
}

class PacketMaker {
public:
    // A section in packets of its own.
    std::string packets(unsigned int pid, const std::string &section) {
        std::string result;
        std::string rest = '\0' + section; // it begins at once
        for (bool first = true; !rest.empty(); first = false) {
            std::string packet =
                bigEndian((first ? 0x47400010U : 0x47000010U) | pid << 8U | (counters_[pid]++ & 0x0FU), 4);
            packet += rest.substr(0, 184);
            rest.erase(0, 184);
            packet.resize(188, '\xFF');
            result += packet;
        }
        return result;
    }

private:
    std::map<unsigned int, unsigned int> counters_;
};

// Sections, each with the identifier of its packets, as a stream.
inline std::string streamOf(const std::vector<std::pair<unsigned int, std::string>> &sections) {
    PacketMaker maker;
    std::string stream;
    for (const auto &[pid, section] : sections) {
        stream += maker.packets(pid, section);
    }
    return stream;
}

} // namespace zelk_test
