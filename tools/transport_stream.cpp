#include "transport_stream.h"

#include <algorithm>

namespace zelk::tool {

namespace {

constexpr std::uint8_t syncByte = 0x47;
constexpr std::array<Framing, 3> framings{{{0, 0}, {4, 0}, {0, 16}}};

// A sync byte is an ordinary value inside packets too, so one alone proves nothing.
constexpr std::size_t packetsToBegin = 5;
constexpr std::size_t packetsToGoOn = 3;
constexpr std::size_t bytesToBegin = packetsToBegin * framings.back().size();

} // namespace

// Makes `wanted` bytes available unless the stream ends before; keeps at most a chunk more than is asked for.
bool PacketReader::fill(std::size_t wanted) {
    while (available() < wanted && !ended_) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(position_));
        position_ = 0;
        const std::size_t kept = buffer_.size();
        buffer_.resize(kept + chunkSize);
        const std::size_t got = input_.read(reinterpret_cast<char *>(buffer_.data() + kept), chunkSize);
        buffer_.resize(kept + got);
        ended_ = got == 0;
        counts_.bytes += got;
    }
    return available() >= wanted;
}

// Whether frames follow each other from `offset` on: `packets` sync bytes, or as many as there is room for, but at
// least one whole packet.
bool PacketReader::inStep(std::size_t offset, const Framing &framing, std::size_t packets) const {
    if (available() < offset + framing.lead + packetSize) {
        return false;
    }
    for (std::size_t i = 0; i < packets; ++i) {
        const std::size_t at = offset + i * framing.size() + framing.lead;
        if (at >= available()) {
            break;
        }
        if (buffer_[position_ + at] != syncByte) {
            return false;
        }
    }
    return true;
}

// Tries every place from `first` on that the bytes at hand can prove. A stream too short to confirm a pattern has to
// begin with a packet; in a longer one some bytes may come first.
bool PacketReader::findFraming(std::size_t first) {
    const bool whole = ended_ && available() <= bytesToBegin;
    const std::size_t offsets = whole ? 1 : available() > bytesToBegin ? available() - bytesToBegin : 0;
    for (std::size_t offset = first; offset < offsets; ++offset) {
        for (const Framing &framing : framings) {
            if (inStep(offset, framing, packetsToBegin)) {
                framing_ = framing;
                position_ += offset;
                if (offset != 0) {
                    ++counts_.lostSteps;
                    counts_.skippedBytes += offset;
                }
                return true;
            }
        }
    }
    return false;
}

bool PacketReader::open() {
    std::size_t tried = 0;
    while (available() < bytesToBegin + chunkSize && fill(available() + 1)) {
        if (available() > bytesToBegin) {
            if (findFraming(tried)) {
                return true;
            }
            tried = available() - bytesToBegin;
        }
    }
    return findFraming(tried);
}

void PacketReader::skipFrame() {
    fill(framing_.size());
    position_ += std::min(framing_.size(), available());
}

// Moves to the next place where frames follow each other; false when there is none.
bool PacketReader::findStep() {
    ++counts_.lostSteps;
    while (fill(packetsToGoOn * framing_.size()) || available() != 0) {
        if (inStep(0, framing_, packetsToGoOn)) {
            return true;
        }
        ++position_;
        ++counts_.skippedBytes;
    }
    return false;
}

void PacketReader::endHere() {
    counts_.truncatedBytes = available();
    position_ = buffer_.size();
}

const Packet *PacketReader::next() {
    const std::size_t lead = framing_.lead;
    for (;;) {
        if (!fill(lead + packetSize)) {
            endHere();
            return nullptr;
        }
        if (buffer_[position_ + lead] == syncByte) {
            std::copy_n(buffer_.begin() + static_cast<std::ptrdiff_t>(position_ + lead), packetSize, packet_.begin());
            ++counts_.packets;
            skipFrame();
            return &packet_;
        }
        if (fill(framing_.size() + lead + 1) && buffer_[position_ + framing_.size() + lead] == syncByte) {
            ++counts_.damagedPackets;
            skipFrame();
        } else if (!findStep()) {
            return nullptr;
        }
    }
}

} // namespace zelk::tool
