#include "converter.h"

#include "command.h"
#include "dvb_settings.h"
#include "text.h"

#include <cstring>
#include <memory>

namespace zelk::tool {

namespace {

// A DVB string is at most 255 bytes in a descriptor; joined descriptors of an event stay far below this.
constexpr std::size_t longestDvbString = 65535;

// Room for `count` characters of up to three bytes and the terminator.
template <class Convert>
std::string convertText(std::size_t count, Convert convert) {
    std::string out(3 * count + 1, '\0');
    out.resize(convert(out.data(), static_cast<int>(out.size())));
    return out;
}

const unsigned char *bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

// Calls text(first, count) for the units between zero units of whole pairs; a zero unit becomes a zero byte.
template <class Text>
std::size_t betweenZeroUnits(std::string_view in, std::string &out, Text text) {
    const std::size_t pairs = in.size() / 2;
    std::size_t first = 0;
    for (std::size_t i = 0; i <= pairs; ++i) {
        const bool zero = i < pairs && in[2 * i] == 0 && in[2 * i + 1] == 0;
        if (i == pairs || zero) {
            if (i > first) {
                out += text(in.substr(2 * first), i - first);
            }
            first = i + 1;
        }
        if (zero) {
            out.push_back('\0');
        }
    }
    return 2 * pairs;
}

unsigned short unitAt(std::string_view in, std::size_t index, bool highFirst) {
    const unsigned int first = static_cast<unsigned char>(in[2 * index]);
    const unsigned int second = static_cast<unsigned char>(in[2 * index + 1]);
    return static_cast<unsigned short>(highFirst ? first << 8U | second : second << 8U | first);
}

// Calls put(unit) for every character; an unfinished sequence at the end is one U+FFFD.
template <class Put>
void decodeUtf8(Utf8DecoderState &state, std::string_view in, bool last, Put put) {
    for (const char character : in) {
        const auto byte = static_cast<unsigned char>(character);
        const unsigned int result = zelkUtf8Decode(&state, byte);
        if (result >> 16U != 0) {
            put(static_cast<unsigned short>(result >> 16U));
        }
        if (result != 0 || byte == 0) {
            put(static_cast<unsigned short>(result));
        }
    }
    if (last && state.remaining != 0) {
        zelkInitUtf8Decoder(&state);
        put(static_cast<unsigned short>(0xFFFD));
    }
}

std::shared_ptr<Utf8DecoderState> newDecoder() {
    auto state = std::make_shared<Utf8DecoderState>();
    zelkInitUtf8Decoder(state.get());
    return state;
}

} // namespace

void convertStream(Input &input, const Converter &converter, const std::function<void(std::string_view)> &take,
                   std::string_view expected) {
    std::string pending;
    std::string out;
    for (bool last = false; !last;) {
        const std::size_t kept = pending.size();
        pending.resize(kept + chunkSize);
        const std::size_t count = input.read(pending.data() + kept, chunkSize);
        pending.resize(kept + count);
        last = count < chunkSize;

        out.clear();
        pending.erase(0, converter(pending, last, out));
        take(out);
    }
    if (!pending.empty()) {
        failInput("{}: expected {}", input.name(), expected);
    }
}

Converter chain(Converter first, Converter second) {
    return [first = std::move(first), second = std::move(second),
            between = std::string()](std::string_view in, bool last, std::string &out) mutable {
        const std::size_t done = first(in, last, between);
        between.erase(0, second(between, last, out));
        return done;
    };
}

Converter betweenZeros(std::function<std::string(const std::string &)> convert) {
    return [convert = std::move(convert)](std::string_view in, bool, std::string &out) {
        for (std::size_t at = 0; at < in.size();) {
            const std::size_t end = std::min(in.find('\0', at), in.size());
            if (end > at) {
                out += convert(std::string(in.substr(at, end - at)));
            }
            if (end < in.size()) {
                out.push_back('\0');
            }
            at = end + 1;
        }
        return in.size();
    };
}

std::size_t wholeCharacters(std::string_view in) {
    for (std::size_t tail = std::min<std::size_t>(2, in.size()); tail > 0; --tail) {
        // The decoder stores nothing for a sequence that ends with its count.
        unsigned short character = 0;
        const std::string_view end = in.substr(in.size() - tail);
        const unsigned int consumed = zelkUtf8CharDecode(bytesOf(end), static_cast<unsigned int>(tail), &character);
        if (consumed == tail && character == 0 && end.front() != 0) {
            return in.size() - tail;
        }
    }
    return in.size();
}

Converter holdCharacters(Converter converter) {
    return [converter = std::move(converter)](std::string_view in, bool last, std::string &out) {
        return converter(last ? in : in.substr(0, wholeCharacters(in)), last, out);
    };
}

Converter fromUtf8() {
    return [state = newDecoder()](std::string_view in, bool last, std::string &out) {
        decodeUtf8(*state, in, last, [&out](unsigned short unit) { out += utf8(unit); });
        return in.size();
    };
}

Converter toUcs2(bool highFirst) {
    return [state = newDecoder(), highFirst](std::string_view in, bool last, std::string &out) {
        decodeUtf8(*state, in, last, [&out, highFirst](unsigned short unit) {
            const auto high = static_cast<char>(unit >> 8U);
            const auto low = static_cast<char>(unit & 0xFFU);
            out.push_back(highFirst ? high : low);
            out.push_back(highFirst ? low : high);
        });
        return in.size();
    };
}

Converter fromUcs2(bool highFirst) {
    return [highFirst](std::string_view in, bool, std::string &out) {
        return betweenZeroUnits(in, out, [highFirst](std::string_view pairs, std::size_t count) {
            return convertText(count, [&](char *room, int size) {
                const auto encode = highFirst ? zelkUtf8EncodeNotAlignedText : zelkUtf8EncodeNotAlignedInverseText;
                return encode(reinterpret_cast<unsigned char *>(room), size, bytesOf(pairs), static_cast<int>(count));
            });
        });
    };
}

Converter fromTeletext(bool highFirst) {
    return [highFirst](std::string_view in, bool, std::string &out) {
        return betweenZeroUnits(in, out, [highFirst](std::string_view pairs, std::size_t count) {
            std::vector<unsigned short> units(count);
            for (std::size_t i = 0; i < count; ++i) {
                units[i] = unitAt(pairs, i, highFirst);
            }
            return convertText(count, [&](char *room, int size) {
                return zelk_pela_ttxConvertToUtf8(room, size, units.data(), static_cast<int>(count));
            });
        });
    };
}

Converter fromDvb(dvbCharSet_t region) {
    DvbSettings settings;
    settings.region = region;
    return [converter = settings.converter()](std::string_view in, bool last, std::string &out) {
        std::size_t at = 0;
        while (at < in.size()) {
            const std::size_t feed = in.find('\n', at);
            const std::size_t end = std::min(feed, in.size());
            if (end - at > longestDvbString) {
                failInput("expected DVB strings of at most {} bytes, one per line", longestDvbString);
            }
            if (feed == std::string_view::npos && !last) {
                break;
            }
            out += converter.convertDvb8ToUtf8(std::string(in.substr(at, end - at)));
            if (end < in.size()) {
                out.push_back('\n');
            }
            at = std::min(end + 1, in.size());
        }
        return at;
    };
}

Converter fromIso(unsigned int part) {
    return betweenZeros([part](const std::string &text) {
        return convertText(text.size(), [&](char *room, int size) {
            return zelk_isoToUtf8(part, room, size, text.data(), static_cast<int>(text.size()));
        });
    });
}

Converter fromIsoTolerant(unsigned int part) {
    // A text up to its terminator, since one with a count may end inside a sequence and still pass as UTF-8.
    return holdCharacters(betweenZeros([part, flag = 0](const std::string &text) mutable {
        return convertText(text.size(), [&](char *room, int size) {
            return zelk_isoToUtf8Tolerant(part, room, size, text.c_str(), -1, &flag);
        });
    }));
}

Converter fromWindows(int codePage) {
    return betweenZeros([codePage](const std::string &text) {
        return convertText(text.size(), [&](char *room, int size) {
            return zelk_winToUtf8(codePage, 0, room, size, text.data(), static_cast<int>(text.size()));
        });
    });
}

} // namespace zelk::tool
