// `zelk scan`: what a broadcast announces, with its texts decoded.
#include "broadcast.h"
#include "command.h"
#include "commands.h"
#include "scan_output.h"
#include "stream.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace zelk::tool {

namespace {

struct ScanOptions {
    std::string file = "-";
    DvbSettings dvb;
    FilterOptions filter;
    std::vector<std::uint16_t> pids;
    bool json = false;
    bool csv = false;
    bool ndjson = false;
    bool text = false;
    bool xmltv = false;
    bool wide = false;
    bool follow = false;
    bool evidence = false;
    unsigned int seconds = 0; // 0 is to the end
    Colour colour = Colour::Auto;
};

// ---- Progress and report ----

// A bar on standard error, on a terminal only and only once reading has taken noticeable time.
class Progress {
public:
    explicit Progress(const std::string &file) : shown_(isatty(STDERR_FILENO) != 0), drawn_(Clock::now()) {
        std::error_code failed;
        const std::uintmax_t size = file == "-" ? 0 : std::filesystem::file_size(file, failed);
        size_ = failed ? 0 : size;
    }
    ~Progress() {
        if (visible_) {
            fmt::print(stderr, "\r\x1B[K");
        }
    }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void tell(std::uint64_t bytes) {
        if (!shown_ || Clock::now() - drawn_ < std::chrono::milliseconds(200)) {
            return;
        }
        drawn_ = Clock::now();
        visible_ = true;
        if (size_ == 0) {
            fmt::print(stderr, "\r\x1B[K{} MiB", bytes >> 20U);
        } else {
            constexpr std::uint64_t width = 40;
            const std::uint64_t done = std::min<std::uint64_t>(bytes, size_);
            fmt::print(stderr, "\r\x1B[K[{:<{}}] {:3} %", std::string(done * width / size_, '#'), width,
                       done * 100 / size_);
        }
        (void)std::fflush(stderr);
    }

private:
    using Clock = std::chrono::steady_clock;

    bool shown_;
    bool visible_ = false;
    std::uint64_t size_ = 0;
    Clock::time_point drawn_;
};

void report(const std::string &name, const StreamCounts &stream, const SectionCounts &sections) {
    const auto tell = [&name](std::uint64_t count, const char *one, const char *many) {
        if (count != 0) {
            fmt::print(stderr, "zelk scan: {}: {} {}\n", name, count, count == 1 ? one : many);
        }
    };
    tell(stream.skippedBytes, "byte between packets skipped", "bytes between packets skipped");
    tell(stream.damagedPackets + sections.damagedPackets, "damaged packet", "damaged packets");
    tell(sections.discontinuities, "discontinuity", "discontinuities");
    tell(sections.badSections, "section with a wrong checksum or length", "sections with a wrong checksum or length");
    tell(sections.brokenSections, "section broken off", "sections broken off");
    tell(sections.malformed, "malformed entry", "malformed entries");
    tell(sections.dropped, "record left out: too many for one scan", "records left out: too many for one scan");
    tell(stream.truncatedBytes, "byte of an unfinished packet at the end", "bytes of an unfinished packet at the end");
}

// Reads to the end, or as far as it is wanted.
template <class Full>
void readAll(BroadcastReader &reader, const std::string &file, Full full) {
    Progress progress(file);
    std::uint64_t count = 0;
    while (!full() && reader.next()) {
        if (++count % 1024 == 0) {
            progress.tell(reader.counts().bytes);
        }
    }
}

void writeFound(const ScanOptions &options, const Facts &facts, const Filter &filter) {
    if (options.json) {
        writeJson(facts, filter);
    } else if (options.csv) {
        writeCsv(facts, filter);
    } else if (options.xmltv) {
        writeXmltv(facts, filter);
    } else if (options.text) {
        writeText(facts, filter);
    } else {
        writeTable(facts, filter, useColour(options.colour), options.wide ? 0 : terminalWidth());
    }
}

ExitStatus runScan(const ScanOptions &options) {
    const bool live = options.ndjson || options.follow;
    if (options.follow && (options.json || options.csv || options.text || options.xmltv)) {
        failInput("expected --follow alone or with --ndjson");
    }
    endInputOnSignals();
    Input input(options.file);
    if (options.seconds != 0) {
        input.endAt(Input::Clock::now() + std::chrono::seconds(options.seconds));
    }
    ServiceInformation found({}, options.pids);
    SignalReader signal(options.dvb);
    const Facts facts(found, signal, options.evidence);
    const Filter filter(options.filter, facts);
    LiveWriter writer({options.ndjson, options.follow}, facts, filter);
    std::size_t chosen = 0; // records of a document
    if (live) {
        found.watch([&writer](const Announcement &said) { writer.take(said); });
    } else if (filter.limit() != 0) {
        found.watch(
            [&](const Announcement &said) { chosen += said.isNew && filter.passes(said.kind, said.key) ? 1 : 0; });
    }
    BroadcastReader reader(input, found);
    reader.open();
    const auto full = [&] { return live ? writer.full() : filter.limit() != 0 && chosen >= filter.limit(); };
    readAll(reader, options.file, full);
    const bool toTheEnd = !full() && !input.stopped();
    if (toTheEnd) { // else what is not complete was broken off here
        found.finish();
    }
    if (!live) {
        writeFound(options, facts, filter);
    }
    flushOutput();
    StreamCounts counts = reader.counts();
    counts.truncatedBytes = toTheEnd ? counts.truncatedBytes : 0;
    report(input.name(), counts, found.counts());
    reportUnread("scan", input.name(), signal.unread());
    if (found.counts().sections == 0) {
        fmt::print(stderr, "zelk scan: {}: found no service information; seen: {}; missing: {}\n", input.name(),
                   reader.inventory().seen(), reader.inventory().missing());
        return ExitNegative;
    }
    return ExitOk;
}

void declareScan(CLI::App &command, ScanOptions &options) {
    command
        .add_option("file", options.file, "Transport stream, sections or event to read; none, or -, is standard input")
        ->type_name("FILE");
    addDvbOptions(command, options.dvb);
    command.add_option("--pid", options.pids, "Read the packets of this identifier instead of those of the standards")
        ->type_name("PID")
        ->allow_extra_args(false)
        ->check([](const std::string &text) {
            char *end = nullptr;
            const unsigned long number = std::strtoul(text.c_str(), &end, 0);
            constexpr unsigned long last = 0x1FFE;
            return !text.empty() && *end == 0 && number <= last
                       ? std::string()
                       : fmt::format("expected a packet identifier from 0 to {}, found '{}'", last, text);
        });
    addFilterOptions(command, options.filter);
    const std::pair<CLI::Option *, const char *> forms[] = {
        {command.add_flag("--text", options.text, "Write all that is said, a line for each fact"), "--text"},
        {command.add_flag("--json", options.json, "Write one JSON document"), "--json"},
        {command.add_flag("--ndjson", options.ndjson, "Write each record as it comes, one JSON object a line"),
         "--ndjson"},
        {command.add_flag("--csv", options.csv, "Write comma-separated values (RFC 4180)"), "--csv"},
        {command.add_flag("--xmltv", options.xmltv, "Write a guide in XMLTV"), "--xmltv"},
    };
    for (const auto &[option, name] : forms) {
        for (const auto &[other, otherName] : forms) {
            if (option != other) {
                option->excludes(other);
            }
        }
    }
    command.add_flag("--wide", options.wide, "Do not cut the table to the terminal");
    command.add_flag("--evidence", options.evidence, "Add to each text its bytes, its table and what was found in it");
    command.add_flag("--follow", options.follow, "Write only what a later version of a table brings or changes");
    command.add_option("--limit", options.filter.limit, "End after COUNT records")
        ->type_name("COUNT")
        ->check(numberFrom(1, 1000000000));
    command.add_option("--duration", options.seconds, "End after SECONDS")
        ->type_name("SECONDS")
        ->check(numberFrom(1, 1000000000));
    addColourOption(command, options.colour);
    command.footer("Packets of 188, 192 and 204 bytes are told apart, and from files of sections. Damage is counted on "
                   "standard error\nand never fatal.\nExit status: 0 success; 1 no service information found; 2 wrong "
                   "usage or input; 3 a file could not be read or\nwritten.");
}

} // namespace

void addScanCommand(CLI::App &app) {
    addCommand<ScanOptions>(app,
                            {"scan", "List what a transport stream announces: services, events and more", group::dvb},
                            declareScan, runScan);
}

} // namespace zelk::tool
