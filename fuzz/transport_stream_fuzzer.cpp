// The tool's reader of broadcasts: whatever comes, it ends, accounts for every byte and keeps within its limits. Whole
// sections in whole packets are read without a complaint, and give the same records in each framing and in a file of
// sections.
#include "fuzz.h"
#include "helpers/sections.h"
#include "tools/broadcast.h"
#include "tools/dvb_tables.h"
#include "tools/failure.h"

#include <array>

using fuzz::require;
using zelk::tool::nullPid;
using zelk::tool::packetSize;
using zelk_test::streamOf;

namespace {

using Sections = std::vector<std::pair<unsigned int, std::string>>; // each with the identifier of its packets

// What the settings choose from: the packets and tables of one system. A guide of ATSC names further packets.
struct System {
    std::array<unsigned int, 4> pids;
    std::array<unsigned int, 12> tables;
};
constexpr System dvb{{0x10, 0x11, 0x12, 0x14},
                     {0x40, 0x41, 0x42, 0x46, 0x4A, 0x4E, 0x4F, 0x50, 0x6F, 0x70, 0x73, 0x72}};
constexpr System atsc{{0x1FFB, 0x1D00, 0x1E00, 0x30},
                      {0xC7, 0xC8, 0xC9, 0xCB, 0xCC, 0xCD, 0xC7, 0xC8, 0x42, 0xCB, 0xCC, 0x4E}};

// The times of DVB are short sections; one without a checksum is known by its length.
std::string sectionOf(const zelk_test::SectionHead &head, std::string payload) {
    if (head.table == zelk::tool::tableTime) {
        payload.resize(5);
        return zelk_test::shortSection(head.table, payload, false);
    }
    return head.table == zelk::tool::tableTimeOffset ? zelk_test::shortSection(head.table, payload, true)
                                                     : zelk_test::section(head, payload);
}

Sections wholeSections(fuzz::Input &input, const System &system, unsigned int count) {
    Sections sections;
    for (; count != 0; --count) {
        const unsigned int kind = input.byte();
        const unsigned int extension = input.byte() % 4;
        const unsigned int times = 1 + input.byte() % 8; // for payloads of several packets
        const std::string line = input.line();
        std::string payload;
        for (unsigned int i = 0; i < times && payload.size() + line.size() < 4000; ++i) {
            payload += line;
        }
        sections.emplace_back(
            system.pids[kind % system.pids.size()],
            sectionOf({system.tables[kind / 4 % system.tables.size()], extension, kind / 48}, payload));
    }
    return sections;
}

// As packets, with enough of them at the end to tell the framing.
std::string packetsOf(const Sections &sections) {
    return streamOf(sections) + streamOf(Sections(6, {nullPid, ""}));
}

std::string framed(const std::string &packets, const std::string &before, const std::string &after) {
    std::string stream;
    stream.reserve(packets.size() / packetSize * (before.size() + packetSize + after.size()));
    for (std::size_t at = 0; at < packets.size(); at += packetSize) {
        stream.append(before).append(packets, at, packetSize).append(after);
    }
    return stream;
}

struct Scan {
    bool recognized = false;
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
    for (const auto &[key, stream] : found.streams()) {
        scan.list(key.transportStream);
        scan.list(stream.services.size());
        scan.list(stream.numbers.size());
    }
    for (const auto &[key, service] : found.services()) {
        scan.list(key.service);
        scan.list(service.provider);
        scan.list(service.name);
    }
    for (const auto &[key, channel] : found.channels()) {
        scan.list(key.major);
        scan.list(key.minor);
        scan.list(channel.name);
        for (const zelk::tool::LanguageText &name : channel.longNames) {
            scan.list(name.segments);
        }
    }
    for (const auto &[key, event] : found.events()) {
        scan.list(key.event);
        scan.listing += key.language;
        scan.list(static_cast<std::uint64_t>(found.startOf(key, event)));
        scan.list(static_cast<std::uint64_t>(found.positionOf(key, event)));
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
        if (const zelk::tool::Message *message = found.message(key)) {
            scan.listing += message->segments; // which events may share
        }
    }
    for (const auto &[table, time] : found.times()) {
        scan.list(table);
        scan.list(static_cast<std::uint64_t>(time.utc));
        scan.list(time.offsets.size());
    }
    scan.records = found.records();
}

Scan scan(std::string bytes, zelk::tool::Limits limits = {}, const std::vector<std::uint16_t> &pids = {}) {
    Scan result;
    if (bytes.empty()) {
        return result; // no file has no bytes
    }
    zelk::tool::Input file(fmemopen(bytes.data(), bytes.size(), "rb"), "memory");
    zelk::tool::ServiceInformation found(limits, pids);
    zelk::tool::BroadcastReader reader(file, found);
    try {
        reader.open();
    } catch (const zelk::tool::Failure &) {
        return result;
    }
    result.recognized = true;
    while (reader.next()) {
    }
    found.finish();
    result.stream = reader.counts();
    result.sections = found.counts();
    list(result, found);
    const auto &counts = result.stream;
    const std::uint64_t packets = counts.packets + counts.damagedPackets;
    const std::uint64_t others = counts.skippedBytes + counts.truncatedBytes;
    require(counts.bytes == bytes.size(), "the input is read to its end");
    require(packets * packetSize + others <= counts.bytes, "no byte is counted twice");
    if (packets != 0) {
        constexpr std::size_t longestFrame = packetSize + 16;
        require(packets * longestFrame + others >= counts.bytes, "every byte is accounted for");
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

void requireNoDamage(const Scan &scan) {
    require(scan.sections.damagedPackets + scan.sections.discontinuities + scan.sections.badSections +
                    scan.sections.brokenSections + scan.stream.skippedBytes + scan.stream.truncatedBytes ==
                0,
            "whole packets and sections are no damage");
}

void checkPackets(const std::string &packets, bool stamped) {
    const Scan bare = scan(packets);
    requireNoDamage(bare);
    const Scan other = scan(stamped ? framed(packets, "TIME", "") : framed(packets, "", "SIXTEEN OF CHECK"));
    require(other.listing == bare.listing, "time stamps and parity change nothing");
}

// The same as in packets that all have one identifier: a file of sections has none.
void checkFile(const std::string &file, Sections sections) {
    const Scan alone = scan(file);
    if (file.empty() || alone.stream.packets != 0) {
        return; // by chance the bytes look like packets, too
    }
    require(alone.recognized, "whole sections are recognized");
    requireNoDamage(alone);
    constexpr std::uint16_t pid = 0x10;
    for (auto &[any, section] : sections) {
        any = pid;
    }
    require(alone.listing == scan(packetsOf(sections), {}, {pid}).listing, "packets change nothing");
}

std::string concatenated(const Sections &sections) {
    std::string file;
    for (const auto &[pid, section] : sections) {
        file += section;
    }
    return file;
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
        const Sections sections = wholeSections(input, (mode & 0x80U) != 0 ? atsc : dvb, mode / 4 % 8);
        if (mode % 4 == 3) {
            stream = concatenated(sections);
            checkFile(stream, sections);
        } else {
            stream = packetsOf(sections);
            checkPackets(stream, (mode & 0x40U) != 0);
        }
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
