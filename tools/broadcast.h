// Reads whatever carries service information into its records: a transport stream, sections one after another as
// analysers store them (.sec, .bin), or one event as receivers keep it beside a recording (.eit).
#pragma once

#include "service_information.h"
#include "stream_inventory.h"

namespace zelk::tool {

class BroadcastReader {
public:
    BroadcastReader(Input &input, ServiceInformation &found) : input_(input), packets_(input), found_(found) {}

    // Finds out what the input is, as soon as its bytes prove it. Throws Failure where it is none of these.
    void open();

    // Reads on: a packet or a section. False at the end.
    bool next();

    const StreamCounts &counts() const { return packets_.counts(); }

    // What there was, while no section was one of those that are collected.
    const StreamInventory &inventory() const { return inventory_; }

private:
    enum class Form { Packets, Sections, Event };

    bool nextSection();

    Input &input_;
    PacketReader packets_;
    ServiceInformation &found_;
    StreamInventory inventory_;
    Form form_ = Form::Packets;
};

} // namespace zelk::tool
