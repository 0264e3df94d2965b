// The DVB converter class and its flat twins: size, decode, wrap. Of its own the class has the way through the system's
// iconv for the GB 2312 region, and two debug traces.
#include "detail/dvb_decode.h"
#include "detail/trace.h"
#include "detail/wrap.h"
#include "zelk.hpp"

#include <iconv.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <cxxabi.h>
#include <stdexcept>

namespace {

using zelk::detail::DvbText;
using zelk::detail::openDvbText;

// Receivers' log filters know the traces by source, line and function; the lines are fixed text.
constexpr const char *traceSource = "zelkdvb_";
constexpr int selectionTraceLine = 179;
constexpr int iconvTraceLine = 277;

// Of an array where sizes have 32 bits: the limit on all machines.
constexpr int mostUnits = INT_MAX / static_cast<int>(sizeof(unsigned short));

// Prepared text whose count cuts its last character leaves that unit as it was. In a buffer of ours it is 0, so that no
// old heap bytes show.
unsigned int decodeToOwnUcs2(const DvbText &text, unsigned short *out, int outSize, unsigned int flags) {
    if (text.code == DvbCodeUtf8Prepared) {
        std::fill_n(out, outSize, static_cast<unsigned short>(0));
    }
    return zelk::detail::decodeToUcs2(text, out, outSize, flags);
}

int lengthOf(const std::string &text) {
    return static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
}

class IconvDescriptor {
public:
    IconvDescriptor(const char *to, const char *from) : descriptor_(iconv_open(to, from)) {}
    ~IconvDescriptor() {
        if (isOpen()) {
            iconv_close(descriptor_);
        }
    }
    IconvDescriptor(const IconvDescriptor &) = delete;
    IconvDescriptor &operator=(const IconvDescriptor &) = delete;

    bool isOpen() const {
        const auto value = reinterpret_cast<std::intptr_t>(descriptor_);
        return value != -1 && value != 0; // GCOVR_EXCL_BR_LINE: 0 from other C libraries than this one
    }

    // Converts all of `in` in one call and terminates what it wrote. `room` does not count the terminator.
    bool convert(const char *in, std::size_t length, char *out, std::size_t room) const {
        char *source = const_cast<char *>(in); // iconv does not write there
        const bool converted = iconv(descriptor_, &source, &length, &out, &room) != static_cast<std::size_t>(-1);
        *out = 0;
        return converted;
    }

private:
    iconv_t descriptor_;
};

} // namespace

namespace zelk {

DvbConverter::DvbConverter(dvbCharSet_t charSet, unsigned int flags) : DvbConverter(charSet, DvbCodeNone, 0, flags) {}

DvbConverter::DvbConverter(dvbCharSet_t charSet, const char *sample, unsigned int flags)
    : DvbConverter(charSet, flags) {
    zelk_dvbGetDvbCode(sample, &charSet_, &code_, &extra_, DvbCodeNone, 0);
}

DvbConverter::DvbConverter(dvbCharSet_t charSet, DvbCode_t code, int extra, unsigned int flags)
    : charSet_(charSet), code_(code), extra_(extra), flags_(flags) {}

void DvbConverter::ResetConverter(dvbCharSet_t charSet, DvbCode_t code, int extra) {
    charSet_ = charSet;
    code_ = code;
    extra_ = extra;
}

// The odd length is our contract: callers count on the first byte of the terminator.
std::string DvbConverter::convertDvb8ToUnicode(const char *in, int len) const {
    if (in == nullptr) {
        return {};
    }
    const DvbText text = openDvbText(charSet_, in, len, code_, extra_);
    const int size = detail::withTerminator(detail::ucs2Bound(text));
    if (size > mostUnits) {
        abi::__cxa_throw_bad_array_new_length(); // as array new does; Clang's throws std::bad_alloc
    }
    return detail::filledString<unsigned short>(static_cast<std::size_t>(size), 1, [&](unsigned short *buffer) {
        return decodeToOwnUcs2(text, buffer, size, flags_);
    });
}

std::string DvbConverter::convertDvb8ToUnicode(const std::string &text) const {
    return text.empty() ? std::string() : convertDvb8ToUnicode(text.data(), lengthOf(text));
}

std::string DvbConverter::convertDvb8ToUtf8(const char *in, int len) const {
    if (in == nullptr) {
        return {};
    }
    const DvbText text = openDvbText(charSet_, in, len, code_, extra_);
    if (const detail::Trace trace; trace.enabled()) {
        trace.print("%s:%d:%s(): zelk_dvbGetDvbCode the dvbcode is %d\n", traceSource, selectionTraceLine,
                    "convertDvb8ToUtf8", static_cast<int>(text.code));
    }
    if (text.code == DvbCodeTable00 && charSet_ == DvbCharSetGb2312) {
        const std::size_t length = len < 0 ? std::strlen(in) : static_cast<std::size_t>(len);
        return IconvConvert("gb2312", "utf-8", in, static_cast<unsigned int>(length));
    }
    const int size = detail::withTerminator(detail::utf8Bound(text));
    return detail::filledString<char>(static_cast<std::size_t>(size), 0,
                                      [&](char *buffer) { return detail::decodeToUtf8(text, buffer, size, flags_); });
}

std::string DvbConverter::convertDvb8ToUtf8(const std::string &text) const {
    return text.empty() ? std::string() : convertDvb8ToUtf8(text.data(), lengthOf(text));
}

std::string DvbConverter::preprocessDvbStringToUtf8(const char *in, int len) const {
    if (in == nullptr) {
        return {};
    }
    const int size = zelk_dvb8PrepUtf8Buffersize(in, len, code_, extra_);
    return detail::filledString<char>(static_cast<std::size_t>(size), 0, [&](char *buffer) {
        return zelk_dvb8PrepUtf8(charSet_, buffer, size, in, len, code_, extra_, flags_);
    });
}

std::string DvbConverter::preprocessDvbStringToUtf8(const std::string &text) const {
    return text.empty() ? std::string() : preprocessDvbStringToUtf8(text.data(), lengthOf(text));
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the published class has it as a member
std::string DvbConverter::IconvConvert(const char *fromcode, const char *tocode, const char *in,
                                       unsigned int len) const {
    if (in == nullptr && len != 0) {
        throw std::logic_error("basic_string::_M_construct null not valid");
    }
    if (const IconvDescriptor descriptor(tocode, fromcode); descriptor.isOpen()) {
        const std::size_t room = std::size_t{3} * len + 10;
        bool converted = false;
        std::string result = detail::filledString<char>(room + 1, 0, [&](char *buffer) {
            converted = descriptor.convert(in, len, buffer, room);
            if (const detail::Trace trace; converted && trace.enabled()) {
                trace.print("%s:%d:%s(): convert result:  inbuf is %s and outbuf  is  %s\n", traceSource,
                            iconvTraceLine, "IconvConvert", std::string(in == nullptr ? "" : in, len).c_str(), buffer);
            }
            return converted ? std::strlen(buffer) : 0;
        });
        if (converted) {
            return result;
        }
    }
    return std::string(in == nullptr ? "" : in, len);
}

// One-byte selectors, then those of three bytes; the literal's own terminator is the last byte.
std::string GetSupportedCharacterSets() {
    constexpr char selectors[] = "\x01\x03\x05\x06\x09\x0A\x0B"
                                 "\x10\x00\x01\x10\x00\x02\x10\x00\x03\x10\x00\x04\x10\x00\x05\x10\x00\x07"
                                 "\x10\x00\x09\x10\x00\x0A\x10\x00\x0D\x10\x00\x0E\x10\x00\x0F";
    static_assert(sizeof selectors == 7 + 11 * 3 + 1);
    return std::string(selectors, sizeof selectors);
}

} // namespace zelk

WideCharPacket *zelkConvertDvb8ToUnicode(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode,
                                         int defaultExtra, unsigned int flags) {
    if (in == nullptr) {
        return nullptr;
    }
    const DvbText text = openDvbText(charSet, in, inLen, defaultCode, defaultExtra);
    const int size = zelk::detail::withTerminator(zelk::detail::ucs2Bound(text));
    return zelk::detail::filledPacket(
        zelk::detail::newWideCharPacketHolding(static_cast<unsigned int>(size)),
        [&](unsigned short *chars, unsigned short /*capacity*/) { return decodeToOwnUcs2(text, chars, size, flags); });
}

CharPacket *zelkConvertDvb8ToUtf8(dvbCharSet_t charSet, const char *in, int inLen, DvbCode_t defaultCode,
                                  int defaultExtra, unsigned int flags) {
    if (in == nullptr) {
        return nullptr;
    }
    const DvbText text = openDvbText(charSet, in, inLen, defaultCode, defaultExtra);
    const int size = zelk::detail::withTerminator(zelk::detail::utf8Bound(text));
    return zelk::detail::filledPacket(
        zelk::detail::newCharPacketHolding(static_cast<unsigned int>(size)),
        [&](char *chars, unsigned short /*capacity*/) { return zelk::detail::decodeToUtf8(text, chars, size, flags); });
}
