// Reads an MPEG-2 transport stream (ISO/IEC 13818-1) packet by packet. The framing is found by looking: bare packets of
// 188 bytes, 192 bytes (a time stamp of four bytes before each packet) or 204 (parity of sixteen bytes after it).
// Damage is never fatal: the reader finds its step again, goes on, and counts what it met.
#pragma once

#include "stream.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelk::tool {

inline constexpr std::size_t packetSize = 188;
inline constexpr std::uint16_t nullPid = 0x1FFF; // of packets that fill the stream up

using Packet = std::array<std::uint8_t, packetSize>;

struct Framing {
    std::size_t lead = 0;  // bytes before each packet
    std::size_t trail = 0; // bytes after it

    constexpr std::size_t size() const { return lead + packetSize + trail; }
};

struct StreamCounts {
    std::uint64_t bytes = 0;          // read so far
    std::uint64_t packets = 0;        // handed out
    std::uint64_t damagedPackets = 0; // the sync byte alone was wrong: the packet was left out
    std::uint64_t lostSteps = 0;      // places where the packets were lost and found again
    std::uint64_t skippedBytes = 0;   // bytes passed over at those places
    std::uint64_t truncatedBytes = 0; // bytes of a last packet that the stream does not finish
};

class PacketReader {
public:
    explicit PacketReader(Input &input) : input_(input) {}

    // Finds the framing and the first packet as soon as the bytes read prove them; false when the stream does not begin
    // like a transport stream.
    bool open();

    // The next packet, or null at the end; valid until the next call.
    const Packet *next();

    const Framing &framing() const { return framing_; }
    const StreamCounts &counts() const { return counts_; }

    // What open() read and found no packets in can be read as it is: the bytes at hand, whether they are the last, more
    // of them, and fewer.
    std::span<const std::uint8_t> bytes() const { return std::span(buffer_).subspan(position_); }
    bool ended() const { return ended_; }
    bool fill(std::size_t wanted);
    void skip(std::size_t count) { position_ += count; }

    // Counts the bytes at hand as those of an end that is cut off.
    void endHere();

private:
    std::size_t available() const { return buffer_.size() - position_; }
    bool inStep(std::size_t offset, const Framing &framing, std::size_t packets) const;
    bool findFraming(std::size_t first);
    bool findStep();
    void skipFrame();

    Input &input_;
    bool ended_ = false;
    std::vector<std::uint8_t> buffer_;
    std::size_t position_ = 0; // of the next frame in buffer_
    Framing framing_;
    Packet packet_{};
    StreamCounts counts_;
};

} // namespace zelk::tool
