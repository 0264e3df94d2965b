#include "lint_broadcast.h"

#include "command.h"
#include "service_information.h"
#include "stream.h"
#include "transport_stream.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zelk::tool {

namespace {

// ---- Sections ----

constexpr std::size_t sectionHead = 3; // bytes up to the length, which counts those after it
constexpr std::size_t longestSection = 4096;

// The packets that the tables of EN 300 468 are sent in; 0 for other tables.
std::uint16_t packetsOf(std::uint8_t table) {
    return table == 0x40 || table == 0x41                    ? 0x10
           : table == 0x42 || table == 0x46 || table == 0x4A ? 0x11
           : table >= 0x4E && table <= 0x6F                  ? 0x12
                                                             : 0;
}

// Puts sections into packets, for the one reader of both.
class SectionPackets {
public:
    explicit SectionPackets(ServiceInformation &found) : found_(found) {}

    void push(std::string_view section) {
        const std::uint16_t pid = packetsOf(static_cast<std::uint8_t>(section[0]));
        bool first = true;
        while (pid != 0 && !section.empty()) {
            constexpr std::size_t packetHead = 4;
            Packet packet;
            packet.fill(0xFF);
            const std::uint8_t counter = counters_[pid % counters_.size()]++ & 0x0FU;
            packet[0] = 0x47;
            packet[1] = static_cast<std::uint8_t>((first ? 0x40U : 0U) | pid >> 8U);
            packet[2] = static_cast<std::uint8_t>(pid & 0xFFU);
            packet[3] = static_cast<std::uint8_t>(0x10U | counter);
            std::size_t at = packetHead;
            if (first) {
                packet[at++] = 0; // the section begins at once
            }
            const std::size_t count = std::min(section.size(), packet.size() - at);
            std::copy_n(section.begin(), count, packet.begin() + static_cast<std::ptrdiff_t>(at));
            section.remove_prefix(count);
            found_.push(packet);
            first = false;
        }
    }

private:
    ServiceInformation &found_;
    std::array<std::uint8_t, 4> counters_{};
};

// False where the bytes are no sections from the first to the last.
bool readSections(Input &input, ServiceInformation &found) {
    SectionPackets packets(found);
    std::string buffer;
    std::array<char, chunkSize> chunk;
    bool any = false;
    for (;;) {
        std::size_t at = 0;
        while (buffer.size() - at >= sectionHead) {
            const auto byte = [&buffer, at](std::size_t i) { return static_cast<unsigned char>(buffer[at + i]); };
            const std::size_t length = sectionHead + ((byte(1) & 0x0FU) << 8U | byte(2));
            if (length > longestSection || (!any && packetsOf(byte(0)) == 0 && byte(0) != 0 && byte(0) != 0x02)) {
                return false;
            }
            if (buffer.size() - at < length) {
                break;
            }
            packets.push(std::string_view(buffer).substr(at, length));
            at += length;
            any = true;
        }
        buffer.erase(0, at);
        const std::size_t count = input.read(chunk.data(), chunk.size());
        if (count == 0) {
            return any;
        }
        buffer.append(chunk.data(), count);
    }
}

void readBroadcast(const std::string &file, ServiceInformation &found) {
    Input input(file);
    PacketReader reader(input);
    if (reader.open()) {
        while (const Packet *const packet = reader.next()) {
            found.push(*packet);
        }
        found.finish();
        return;
    }
    Input again(file);
    if (file == "-" || !readSections(again, found)) {
        failInput("{}: expected a transport stream or sections, found neither", input.name());
    }
    found.finish();
}

// ---- Texts ----

// A long text is cut anywhere, so that its pieces are one string.
std::vector<std::string> joined(const std::map<std::uint8_t, ExtendedPiece> &pieces) {
    std::vector<zelkInsightPiece> all;
    std::size_t size = 1;
    for (const auto &[number, piece] : pieces) {
        all.push_back({piece.text.data(), static_cast<int>(piece.text.size())});
        size += piece.text.size();
    }
    std::vector<std::string> strings;
    for (std::size_t done = 0; done < all.size();) {
        std::string string(size, '\0');
        unsigned int used = 0;
        string.resize(zelkInsightJoinPieces(string.data(), static_cast<int>(string.size()), all.data() + done,
                                            static_cast<unsigned int>(all.size() - done), &used));
        strings.push_back(std::move(string));
        done += used;
    }
    return strings;
}

// In small letters; empty where the bytes are none of a code.
std::string languageOf(const std::string &code) {
    std::string language;
    for (const char letter : code) {
        const auto small = static_cast<char>(letter | 0x20);
        if (small < 'a' || small > 'z') {
            return {};
        }
        language.push_back(small);
    }
    return language;
}

std::string nameOf(const ServiceKey &key) {
    return fmt::format("{:04x}.{:04x}.{:04x}", key.originalNetwork, key.transportStream, key.service);
}

} // namespace

void forEachBroadcastText(const std::string &file, const std::function<void(LintedText)> &use) {
    ServiceInformation found;
    readBroadcast(file, found);
    const auto give = [&](const std::string &place, const char *member, const std::string &language,
                          const std::string &bytes) {
        if (!bytes.empty()) {
            LintedText text;
            text.file = file == "-" ? std::string() : file;
            text.place = fmt::format("{}: {}", file == "-" ? "standard input" : file, place);
            text.member = member;
            text.language = language;
            text.bytes = bytes;
            use(std::move(text));
        }
    };
    for (const auto &[id, network] : found.networks()) {
        give(fmt::format("network {:04x}", id), "name", {}, network.name);
    }
    for (const auto &[id, bouquet] : found.bouquets()) {
        give(fmt::format("bouquet {:04x}", id), "name", {}, bouquet.name);
    }
    for (const auto &[key, service] : found.services()) {
        const std::string place = "service " + nameOf(key);
        give(place, "provider", {}, service.provider);
        give(place, "name", {}, service.name);
    }
    for (const auto &[key, event] : found.events()) {
        const std::string place = fmt::format("event {} {:04x}", nameOf(key.service), key.event);
        const std::string language = languageOf(key.language);
        give(place, "name", language, event.name);
        give(place, "text", language, event.text);
        for (const std::string &text : joined(event.extended)) {
            give(place, "extended text", language, text);
        }
        for (const auto &[number, piece] : event.extended) {
            for (const ExtendedItem &item : piece.items) {
                give(place, "item description", language, item.description);
                give(place, "item", language, item.value);
            }
        }
    }
}

} // namespace zelk::tool
