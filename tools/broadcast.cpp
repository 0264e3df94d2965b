#include "broadcast.h"

#include "failure.h"

namespace zelk::tool {

void BroadcastReader::open() {
    if (packets_.open()) {
        return;
    }
    form_ = Form::Sections;
    if (!beginsWithSection(packets_.bytes())) {
        form_ = Form::Event;
        if (!packets_.ended() || !found_.pushLoneEvent(packets_.bytes())) {
            failInput("{}: expected a transport stream, sections or an event, found none of them", input_.name());
        }
        packets_.skip(packets_.bytes().size());
    }
}

bool BroadcastReader::nextSection() {
    constexpr std::size_t headSize = 3;
    constexpr std::uint8_t stuffing = 0xFF;
    while (packets_.fill(1) && packets_.bytes()[0] == stuffing) {
        packets_.skip(1);
    }
    if (!packets_.fill(headSize) || !packets_.fill(sectionLength(packets_.bytes()))) {
        packets_.endHere();
        return false;
    }
    const std::size_t length = sectionLength(packets_.bytes());
    inventory_.add(packets_.bytes()[0]);
    found_.pushSection(packets_.bytes().first(length));
    packets_.skip(length);
    return true;
}

bool BroadcastReader::next() {
    bool more = false;
    if (form_ == Form::Packets) {
        const Packet *const packet = packets_.next();
        more = packet != nullptr;
        if (more) {
            found_.push(*packet);
            if (found_.counts().sections == 0) {
                inventory_.push(*packet);
            }
        }
    } else if (form_ == Form::Sections) {
        more = nextSection();
    }
    return more;
}

} // namespace zelk::tool
