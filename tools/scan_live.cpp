#include "scan_output.h"
#include "stream.h"

namespace zelk::tool {

void LiveWriter::take(const Announcement &said) {
    if (full() || (options_.follow && (!said.later || !(said.isNew || said.differs))) ||
        !filter_.passes(said.kind, said.key)) {
        return;
    }
    ++written_;
    write(options_.json ? jsonLine(describe(said)) : line(said));
}

std::string LiveWriter::formerName(const Announcement &said) const {
    const bool atsc = said.kind == RecordKind::Event && std::get<EventKey>(said.key).service.system == System::Atsc;
    const TextForm form = said.kind == RecordKind::Channel ? TextForm::Wide : atsc ? TextForm::Segments : TextForm::Dvb;
    return facts_.text({form, said.formerName});
}

// The type of a service is a number of its own: what kind of record this is goes by "type" in every line, and the
// service's number by "service_type".
Json LiveWriter::describe(const Announcement &said) const {
    Json result = {{"type", kindName(said.kind)}, {"table_id", said.origin.table}, {"version", said.origin.version}};
    if (options_.follow) {
        result["change"] = said.isNew ? "new" : "changed";
        if (!said.isNew) {
            result["former_name"] = formerName(said);
        }
    }
    const Json facts = facts_.of(said.kind, said.key);
    for (const auto &[name, value] : facts.items()) {
        result[name == "type" ? "service_type" : name] = value;
    }
    return result;
}

std::string LiveWriter::line(const Announcement &said) const {
    const Json facts = facts_.of(said.kind, said.key);
    std::string result = kindName(said.kind);
    if (said.kind == RecordKind::Service) {
        result += ' ' + locator(std::get<ServiceKey>(said.key));
    } else if (said.kind == RecordKind::Event) {
        const auto &key = std::get<EventKey>(said.key);
        result += fmt::format(" {} {:04x} {}", locator(key.service), key.event,
                              facts["start"].is_null() ? "-" : facts["start"].get<std::string>());
    } else if (said.kind == RecordKind::Channel) {
        result += ' ' + facts["channel"].get<std::string>();
    } else if (said.kind == RecordKind::Stream) {
        const auto &key = std::get<StreamKey>(said.key);
        result += fmt::format(" {:04x}.{:04x} of {} {:04x}", key.originalNetwork, key.transportStream,
                              key.bouquet ? "bouquet" : "network", key.group);
    } else {
        result += fmt::format(" {:04x}", std::get<std::uint16_t>(said.key));
    }
    const std::string name = facts.value("name", "");
    const std::string former = formerName(said);
    const bool renamed = !said.isNew && name != former;
    result += said.isNew ? " new" : renamed ? " renamed" : " changed";
    if (name.empty() && !renamed) {
        return result + '\n';
    }
    return result + ": " + (renamed ? printable(former) + " -> " : "") + printable(name) + '\n';
}

} // namespace zelk::tool
