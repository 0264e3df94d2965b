#include "dvb_text.h"

#include "text.h"

#include <fmt/format.h>
#include <iconv.h>

#include <cerrno>
#include <cstdint>

namespace zelk::tool {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// Three bytes for each byte of the string, which is the most that one of any table becomes. A compressed byte holds at
// most eight characters.
std::size_t roomFor(const std::string &bytes, DvbCode_t code) {
    const std::size_t characters = code == DvbCodeCompressed ? 8 * bytes.size() : bytes.size();
    return 3 * characters + 4;
}

std::string fromTables(const DvbSettings &settings, const std::string &bytes, DvbCode_t code) {
    std::string out(roomFor(bytes, code), '\0');
    out.resize(zelk_dvb8ToUtf8(settings.region, out.data(), static_cast<int>(out.size()), bytes.data(),
                               static_cast<int>(bytes.size()), settings.defaultCode, settings.extra, settings.flags()));
    return out;
}

// By a guess or by what is known about the broadcast.
std::string byInsight(const zelkInsightSettings &settings, const std::string &bytes) {
    const int length = static_cast<int>(bytes.size());
    std::string out(static_cast<std::size_t>(zelkInsightDecodeSize(&settings, bytes.c_str(), length)), '\0');
    out.resize(zelkInsightDecode(&settings, out.data(), static_cast<int>(out.size()), bytes.c_str(), length, nullptr));
    return out;
}

// As the library's converter class reads it, selector bytes and all and up to the first zero byte; but where iconv
// stops, one byte is passed over, so that the text after it is read too.
std::string fromGb2312(const std::string &bytes) {
    iconv_t descriptor = iconv_open("utf-8", "gb2312");
    const bool isOpen = reinterpret_cast<std::intptr_t>(descriptor) != -1; // as POSIX says
    std::string out(3 * bytes.size() + 4, '\0');
    char *to = out.data();
    std::size_t room = out.size();
    char *from = const_cast<char *>(bytes.data()); // iconv does not write there
    std::size_t left = bytes.find('\0') == std::string::npos ? bytes.size() : bytes.find('\0');
    while (left != 0) {
        if (isOpen) {
            (void)iconv(descriptor, &from, &left, &to, &room);
        }
        if (left != 0) {
            to = std::copy(replacement.begin(), replacement.end(), to);
            room -= replacement.size();
            ++from;
            --left;
        }
    }
    if (isOpen) {
        (void)iconv_close(descriptor);
    }
    out.resize(out.size() - room);
    return out;
}

} // namespace

DvbReader::DvbReader(const DvbSettings &settings)
    : given_(settings), overrides_(settings.overrides()), current_(settings) {
    from(unknownOrigin);
}

void DvbReader::from(const zelkInsightOrigin &origin) {
    insight_ = {given_.region, given_.defaultCode, given_.extra, given_.flags(),
                given_.guess ? static_cast<unsigned int>(ZelkInsightGuessTable) : 0U};
    zelkInsightOrigin where = origin;
    where.country = given_.country.empty() ? origin.country : given_.country.c_str();
    const std::string &compact = overrides_.compact();
    line_ = zelkInsightFindOverride(compact.data(), static_cast<int>(compact.size()), &where, &insight_);
    current_.region = insight_.charSet;
    current_.defaultCode = insight_.defaultCode;
}

bool DvbReader::readsGb2312(const std::string &bytes) const {
    constexpr unsigned int beyond = ZelkInsightGuessTable | ZelkInsightIgnoreSelector;
    return current_.region == DvbCharSetGb2312 && (insight_.options & beyond) == 0 &&
           selectTable(current_, bytes).code == DvbCodeTable00;
}

std::string DvbReader::text(const std::string &bytes) {
    std::string result = readsGb2312(bytes)      ? fromGb2312(bytes)
                         : insight_.options != 0 ? byInsight(insight_, bytes)
                                                 : fromTables(current_, bytes, selectTable(current_, bytes).code);
    unread_ += replaceInvalid(result);
    return result;
}

void reportUnread(const std::string &command, const std::string &subject, std::size_t count) {
    if (count != 0) {
        fmt::print(stderr, "zelk {}: {}{}{} unreadable character{} written as U+FFFD\n", command, subject,
                   subject.empty() ? "" : ": ", count, count == 1 ? "" : "s");
    }
}

} // namespace zelk::tool
