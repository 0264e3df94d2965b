// The tool's reader of transport streams: whatever comes, it ends, accounts for every byte and keeps within its limits.
// Whole sections in whole packets are read without a complaint, and give the same records in each framing.
#include "fuzz.h"
#include "tools/service_information.h"

#include <array>
#include <map>

using fuzz::require;
using zelk::tool::packetSize;

namespace {

constexpr std::uint16_t nullPid = 0x1FFF;

// The checksum of sections: ISO/IEC 13818-1, annex A.
std::uint32_t checksum(const std::string &bytes) {
    std::uint32_t sum = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        sum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(byte)) << 24U;
        for (int bit = 0; bit < 8; ++bit) {
            sum = sum << 1U ^ ((sum & 0x80000000U) != 0 ? 0x04C11DB7U : 0U);
        }
    }
    return sum;
}

std::string bigEndian(std::uint32_t value, int bytes) {
    std::string result;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        result += static_cast<char>(value >> static_cast<unsigned int>(shift) & 0xFFU);
    }
    return result;
}

std::string section(unsigned int table, unsigned int extension, unsigned int version, const std::string &payload) {
    const auto length = static_cast<std::uint32_t>(payload.size() + 9);
    const std::string head = bigEndian(table, 1) + bigEndian(0xF000U | length, 2) + bigEndian(extension, 2);
    std::string bytes = head + bigEndian(0xC1U | version << 1U, 1) + std::string(2, '\0') + payload;
    return bytes + bigEndian(checksum(bytes), 4);
}

class StreamMaker {
public:
    void add(std::uint16_t pid, const std::string &bytes) {
        const std::string all = '\0' + bytes; // the section begins after the pointer
        for (std::size_t at = 0; at < all.size(); at += packetSize - 4) {
            const std::uint32_t head = 0x47000010U | (at == 0 ? 0x400000U : 0U) | std::uint32_t{pid} << 8U;
            std::string packet = bigEndian(head | (continuity_[pid]++ & 0x0FU), 4);
            packet.reserve(packetSize);
            packet.append(all, at, packetSize - 4).resize(packetSize, '\xFF');
            packets_.push_back(std::move(packet));
        }
    }

    std::string framed(const std::string &before, const std::string &after) const {
        std::string stream;
        stream.reserve(packets_.size() * (before.size() + packetSize + after.size()));
        for (const std::string &packet : packets_) {
            stream.append(before).append(packet).append(after);
        }
        return stream;
    }

private:
    std::vector<std::string> packets_;
    std::map<std::uint16_t, unsigned int> continuity_;
};

// Sections of any kind, and packets enough behind them to tell the framing.
StreamMaker wholeSections(fuzz::Input &input, unsigned int count) {
    StreamMaker maker;
    for (; count != 0; --count) {
        constexpr std::array<std::uint16_t, 4> pids{0x10, 0x11, 0x12, 0x30};
        constexpr std::array<unsigned int, 12> tables{0x40, 0x41, 0x42, 0x46, 0x4A, 0x4E,
                                                      0x4F, 0x50, 0x6F, 0x70, 0x00, 0x72};
        const unsigned int kind = input.byte();
        const unsigned int extension = input.byte() % 4;
        const unsigned int times = 1 + input.byte() % 8; // for payloads of several packets
        const std::string line = input.line();
        std::string payload;
        for (unsigned int i = 0; i < times && payload.size() + line.size() < 4000; ++i) {
            payload += line;
        }
        maker.add(pids[kind % pids.size()], section(tables[kind / 4 % tables.size()], extension, kind / 48, payload));
    }
    for (int i = 0; i < 6; ++i) {
        maker.add(nullPid, "");
    }
    return maker;
}

struct Scan {
    zelk::tool::StreamCounts stream;
    zelk::tool::SectionCounts sections;
    std::size_t records = 0;
    std::size_t textBytes = 0;
    std::string listing;

    void list(const std::string &text) {
        listing += std::to_string(text.size()) + ':' + text;
        textBytes += text.size();
    }
    void list(std::uint64_t number) { listing += std::to_string(number) + ' '; }
};

void list(Scan &scan, const zelk::tool::ServiceInformation &found) {
    for (const auto *groups : {&found.networks(), &found.bouquets()}) {
        for (const auto &[id, group] : *groups) {
            scan.list(id);
            scan.list(group.name);
        }
    }
    for (const auto &[key, service] : found.services()) {
        scan.list(key.service);
        scan.list(service.provider);
        scan.list(service.name);
    }
    for (const auto &[key, event] : found.events()) {
        scan.list(key.event);
        scan.listing += key.language;
        scan.list(event.name);
        scan.list(event.text);
        for (const auto &[number, piece] : event.extended) {
            scan.list(number);
            scan.list(piece.text);
            for (const zelk::tool::ExtendedItem &item : piece.items) {
                scan.list(item.description);
                scan.list(item.value);
            }
        }
    }
    scan.records = found.networks().size() + found.bouquets().size() + found.services().size() + found.events().size();
}

Scan scan(std::string stream, zelk::tool::Limits limits = {}) {
    Scan result;
    if (stream.empty()) {
        return result; // no file has no bytes
    }
    zelk::tool::Input file(fmemopen(stream.data(), stream.size(), "rb"), "memory");
    zelk::tool::PacketReader reader(file);
    zelk::tool::ServiceInformation found(limits);
    const bool opened = reader.open();
    while (const zelk::tool::Packet *packet = opened ? reader.next() : nullptr) {
        require((*packet)[0] == 0x47, "a packet begins with its sync byte");
        found.push(*packet);
    }
    found.finish();
    result.stream = reader.counts();
    result.sections = found.counts();
    list(result, found);
    if (opened) {
        const auto &counts = result.stream;
        const std::uint64_t packets = counts.packets + counts.damagedPackets;
        const std::uint64_t others = counts.skippedBytes + counts.truncatedBytes;
        require(counts.bytes == stream.size(), "the stream is read to its end");
        require(packets * packetSize + others <= counts.bytes, "no byte is counted twice");
        require(packets * reader.framing().size() + others >= counts.bytes, "every byte is accounted for");
    }
    return result;
}

void damage(fuzz::Input &input, std::string &stream) {
    for (unsigned int changes = input.byte() % 16; changes != 0 && !stream.empty(); --changes) {
        const std::size_t at = input.unit() % stream.size();
        const unsigned int kind = input.byte();
        if (kind < 0x20) {
            stream.erase(at, kind + 1);
        } else if (kind < 0x40) {
            stream.insert(at, kind - 0x1F, 'G');
        } else {
            stream[at] = static_cast<char>(input.byte());
        }
    }
}

void checkWhole(const StreamMaker &maker, const Scan &bare, bool stamped) {
    const Scan framed = scan(stamped ? maker.framed("TIME", "") : maker.framed("", "SIXTEEN OF CHECK"));
    require(framed.listing == bare.listing, "time stamps and parity change nothing");
    require(bare.sections.damagedPackets + bare.sections.discontinuities + bare.sections.badSections +
                    bare.sections.brokenSections + bare.stream.skippedBytes + bare.stream.truncatedBytes ==
                0,
            "whole packets and sections are no damage");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned int mode = input.byte();
    const zelk::tool::Limits limits{input.byte() % 8U, input.byte()};
    std::string stream;
    if (mode % 4 == 0) {
        stream = input.rest();
    } else {
        const StreamMaker maker = wholeSections(input, mode / 4 % 8);
        stream = maker.framed("", "");
        checkWhole(maker, scan(stream), mode % 2 == 0);
        damage(input, stream);
    }
    if (mode / 32 % 2 == 0) {
        scan(stream);
    } else {
        const Scan limited = scan(stream, limits);
        require(limited.records <= limits.records, "no more records than the limit");
        require(limited.textBytes <= limits.textBytes, "no more text than the limit");
    }
    return 0;
}
