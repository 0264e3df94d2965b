// Bounded output: a sink counts room in its own units, the terminator included, and never writes past it. What is
// converted character by character is written through one of the two sinks.
#pragma once

#include "detail/utf8_char.h"

namespace zelk::detail {

// UCS-2 units in native byte order.
class Ucs2Sink {
public:
    using Unit = unsigned short;

    Ucs2Sink(Unit *out, int size) : begin_(out), at_(out), room_(size) {}

    // True when only the terminator still fits.
    bool full() const { return room_ < 2; }

    // Call only while not full().
    void put(unsigned int character) {
        *at_++ = static_cast<Unit>(character);
        --room_;
    }

    // Terminates, also where the size was 0 or less: a refused call leaves an empty text.
    unsigned int finish() {
        *at_ = 0;
        return static_cast<unsigned int>(at_ - begin_);
    }

    Unit *position() { return at_; }
    int room() const { return room_; }
    void advance(int units) {
        at_ += units;
        room_ -= units;
    }

private:
    Unit *begin_;
    Unit *at_;
    int room_;
};

// UTF-8 bytes. A character whose sequence does not fit is skipped, never split; a later, shorter one may still fit.
class Utf8Sink {
public:
    using Unit = char;

    Utf8Sink(Unit *out, int size) : begin_(out), at_(out), room_(size) {}

    bool full() const { return room_ < 2; }

    void put(unsigned int character) { advance(static_cast<int>(utf8Encode(character, at_, room_))); }

    unsigned int finish() {
        *at_ = 0;
        return static_cast<unsigned int>(at_ - begin_);
    }

    Unit *position() { return at_; }
    int room() const { return room_; }
    void advance(int bytes) {
        at_ += bytes;
        room_ -= bytes;
    }

private:
    Unit *begin_;
    Unit *at_;
    int room_;
};

// The plain loop of single-byte sets, teletext and UCS-2 text: one input unit, one character. A zero unit ends the
// text, counted or not; a negative count runs to it. A character of value 0 is not written. `in` is a pointer, or
// BytePairs.
template <class Sink, class In, class Map>
unsigned int convertUnits(typename Sink::Unit *out, int outSize, In in, int inLength, Map map) {
    Sink sink(out, outSize);
    if (in != nullptr && inLength != 0) {
        for (auto left = static_cast<unsigned int>(inLength); !sink.full(); ++in) {
            const unsigned int character = map(*in);
            if (character != 0) {
                sink.put(character);
            }
            if (*in == 0 || --left == 0) {
                break;
            }
        }
    }
    return sink.finish();
}

} // namespace zelk::detail
