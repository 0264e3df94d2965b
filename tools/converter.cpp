#include "converter.h"

#include "failure.h"
#include "text.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace zelk::tool {

namespace {

// A DVB string is at most 255 bytes in a descriptor; joined descriptors of an event stay far below this.
constexpr std::size_t longestDvbString = 65535;

constexpr std::string_view replacementMark = "\xEF\xBF\xBD";

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

// Copies units between the machine's order of bytes and a given one.
void copyUnits(void *to, const void *from, std::size_t count, bool highFirst) {
    std::memcpy(to, from, 2 * count);
    if (highFirst == (std::endian::native == std::endian::big)) {
        return;
    }
    auto *const bytes = static_cast<unsigned char *>(to);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint16_t unit = 0;
        std::memcpy(&unit, bytes + 2 * i, sizeof unit);
        unit = static_cast<std::uint16_t>(unit >> 8U | unit << 8U);
        std::memcpy(bytes + 2 * i, &unit, sizeof unit);
    }
}

// Calls text(part) for the stretches between zero bytes, and zero() for each of those.
template <class Text, class Zero>
void betweenZeroBytes(std::string_view in, Text text, Zero zero) {
    for (std::size_t at = 0; at < in.size();) {
        const std::size_t end = std::min(in.find('\0', at), in.size());
        if (end > at) {
            text(in.substr(at, end - at));
        }
        if (end < in.size()) {
            zero();
        }
        at = end + 1;
    }
}

// A text without zero bytes, at which the library ends one: a control code that the text does not have stands for them.
struct WithoutZeros {
    std::string_view text;
    char zero; // what stands for them; a zero byte if there were none
};

// Nothing if the text has all control codes. `copy` may hold the result.
std::optional<WithoutZeros> withoutZeros(std::string_view text, std::string &copy) {
    if (text.find('\0') == std::string_view::npos) {
        return WithoutZeros{text, '\0'};
    }
    for (char control = 1; control < 0x20; ++control) {
        if (text.find(control) == std::string_view::npos) {
            copy.assign(text);
            std::replace(copy.begin(), copy.end(), '\0', control);
            return WithoutZeros{copy, control};
        }
    }
    return std::nullopt;
}

// A single-byte set that has the control codes at their places, by convert(text), which returns the text as UTF-8.
template <class Convert>
Converter fromBytes(Convert convert) {
    return [convert, copy = std::string()](std::string_view in, bool, std::string &out) mutable {
        if (const auto text = withoutZeros(in, copy)) {
            const std::size_t before = out.size();
            out += convert(text->text);
            if (text->zero != 0) {
                std::replace(out.begin() + static_cast<std::ptrdiff_t>(before), out.end(), text->zero, '\0');
            }
        } else {
            betweenZeroBytes(
                in, [&](std::string_view part) { out += convert(part); }, [&out] { out.push_back('\0'); });
        }
        return in.size();
    };
}

// UTF-8 without a zero byte and without a cut at its end, as units in a buffer that is used again.
std::size_t decodeUtf8(std::string_view text, std::vector<unsigned short> &units) {
    units.resize(std::max(units.size(), text.size() + 1));
    return zelkUtf8DecodeText(units.data(), static_cast<int>(units.size()), bytesOf(text),
                              static_cast<int>(text.size()));
}

// Counts the characters of well-formed UTF-8 by the bytes that begin one.
std::size_t countCharacters(std::string_view utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char byte) { return static_cast<signed char>(byte) >= -0x40; }));
}

bool isSurrogate(unsigned short unit) {
    return (unit & 0xF800U) == 0xD800;
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
        last = count == 0;

        out.clear();
        pending.erase(0, converter(pending, last, out));
        take(out);
    }
    if (!pending.empty()) {
        failInput("{}: expected {}", input.name(), expected);
    }
}

std::size_t countMarks(std::string_view utf8) {
    std::size_t count = 0;
    for (std::size_t at = utf8.find(replacementMark); at != std::string_view::npos;
         at = utf8.find(replacementMark, at + replacementMark.size())) {
        ++count;
    }
    return count;
}

Converter withoutSurrogates(Converter converter) {
    return [converter = std::move(converter)](std::string_view in, bool last, std::string &out) {
        const std::size_t before = out.size();
        const std::size_t done = converter(in, last, out);
        for (std::size_t at = out.find('\xED', before); at < out.size(); at = out.find('\xED', at + 1)) {
            if (at + 2 < out.size() && static_cast<unsigned char>(out[at + 1]) >= 0xA0) {
                out.replace(at, replacementMark.size(), replacementMark);
            }
        }
        return done;
    };
}

Converter chain(Converter first, Converter second) {
    return [first = std::move(first), second = std::move(second),
            between = std::string()](std::string_view in, bool last, std::string &out) mutable {
        std::size_t done = 0;
        try {
            done = first(in, last, between);
        } catch (const Failure &) {
            (void)second(between, true, out); // which fails itself where there is a fault before
            throw;
        }
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
    return [units = std::vector<unsigned short>(), copy = std::string()](std::string_view in, bool last,
                                                                         std::string &out) mutable {
        const std::size_t whole = wholeCharacters(in);
        const auto isValid = [](std::string_view text) {
            return zelkUtf8TextIsValid(bytesOf(text), static_cast<unsigned int>(text.size())) != 0;
        };
        const auto text = withoutZeros(in.substr(0, whole), copy);
        if (text && isValid(text->text)) {
            out += in.substr(0, whole);
        } else {
            betweenZeroBytes(
                in.substr(0, whole),
                [&](std::string_view part) {
                    const std::string_view characters = part.substr(0, wholeCharacters(part));
                    if (isValid(characters)) {
                        out += characters;
                    } else {
                        const std::size_t count = decodeUtf8(characters, units);
                        out += convertText(count, [&](char *room, int size) {
                            return zelkUtf8EncodeText(reinterpret_cast<unsigned char *>(room), size, units.data(),
                                                      static_cast<int>(count));
                        });
                    }
                    out += characters.size() < part.size() ? replacementMark : std::string_view();
                },
                [&out] { out.push_back('\0'); });
        }
        if (last && whole < in.size()) {
            out += replacementMark;
        }
        return last ? in.size() : whole;
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
            copyUnits(units.data(), pairs.data(), count, highFirst);
            return convertText(count, [&](char *room, int size) {
                return zelk_pela_ttxConvertToUtf8(room, size, units.data(), static_cast<int>(count));
            });
        });
    };
}

Converter fromDvb(DvbReader &reader) {
    return [&reader](std::string_view in, bool last, std::string &out) {
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
            out += reader.text(std::string(in.substr(at, end - at)));
            if (end < in.size()) {
                out.push_back('\n');
            }
            at = std::min(end + 1, in.size());
        }
        return at;
    };
}

Converter fromIso(unsigned int part) {
    return fromBytes([part](std::string_view text) {
        return convertText(text.size(), [&](char *room, int size) {
            return zelk_isoToUtf8(part, room, size, text.data(), static_cast<int>(text.size()));
        });
    });
}

Converter fromIsoTolerant(unsigned int part, Utf8Prefix &prefix) {
    prefix.bytes = std::string_view::npos;
    return holdCharacters([part, &prefix, bytes = std::size_t{0}](std::string_view in, bool, std::string &out) mutable {
        const auto keep = [&](std::string_view utf8) {
            out += utf8;
            bytes += utf8.size();
            prefix.characters += countCharacters(utf8);
        };
        betweenZeroBytes(
            in,
            [&](std::string_view stretch) {
                if (prefix.bytes == std::string_view::npos) {
                    // A text up to its terminator, since one with a count may end inside a sequence and still pass.
                    const std::string text(stretch);
                    std::string copy(text.size() + 1, '\0');
                    int invalid = 0;
                    copy.resize(zelkUtf8CopyAndCheckIfValid(reinterpret_cast<unsigned char *>(copy.data()),
                                                            static_cast<int>(copy.size()), bytesOf(text), -1,
                                                            &invalid));
                    keep(copy);
                    prefix.bytes = invalid != 0 ? bytes : prefix.bytes;
                    stretch.remove_prefix(copy.size());
                }
                if (!stretch.empty()) {
                    out += convertText(stretch.size(), [&](char *room, int size) {
                        return zelk_isoToUtf8(part, room, size, stretch.data(), static_cast<int>(stretch.size()));
                    });
                }
            },
            [&] {
                if (prefix.bytes == std::string_view::npos) {
                    keep(std::string_view("\0", 1));
                } else {
                    out.push_back('\0');
                }
            });
        return in.size();
    });
}

Converter fromWindows(int codePage) {
    return fromBytes([codePage](std::string_view text) {
        return convertText(text.size(), [&](char *room, int size) {
            return zelk_winToUtf8(codePage, 0, room, size, text.data(), static_cast<int>(text.size()));
        });
    });
}

CharacterTable charactersOf(const Converter &set) {
    CharacterTable table;
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        std::string utf8;
        (void)set(std::string(1, static_cast<char>(byte)), true, utf8);
        unsigned short character = 0xFFFD;
        const unsigned int length =
            zelkUtf8CharDecode(bytesOf(utf8), static_cast<unsigned int>(utf8.size()), &character);
        table[byte] = !utf8.empty() && length == utf8.size() ? character : 0xFFFD;
    }
    return table;
}

UnitWriter writeUcs2(bool highFirst) {
    return [highFirst](const unsigned short *units, std::size_t count, std::size_t, std::string &out) {
        const std::size_t before = out.size();
        out.resize(before + 2 * count);
        copyUnits(out.data() + before, units, count, highFirst);
    };
}

UnitWriter writeSingleByte(const CharacterTable &set, MissingCharacter missing) {
    std::vector<char> byteOf(0x10000, '\0'); // a zero byte is no character but of U+0000
    for (std::size_t byte = set.size(); byte-- > 1;) {
        if (set[byte] != 0xFFFD) {
            byteOf[set[byte]] = static_cast<char>(byte);
        }
    }
    return [byteOf = std::move(byteOf), missing = std::move(missing), utf8Before = std::size_t{0},
            characters = std::size_t{0}](const unsigned short *units, std::size_t count, std::size_t utf8Bytes,
                                         std::string &out) mutable {
        const std::size_t before = out.size();
        out.resize(before + count);
        std::size_t counted = 0; // units that `bytes` holds
        std::size_t bytes = utf8Before;
        for (std::size_t i = 0; i < count; ++i) {
            const char byte = byteOf[units[i]];
            out[before + i] = byte;
            if (byte == 0 && units[i] != 0) {
                for (; counted < i; ++counted) {
                    bytes += units[counted] < 0x80 ? 1U : units[counted] < 0x800 ? 2U : 3U;
                }
                missing(bytes, characters + i, units[i]);
                out[before + i] = '?';
            }
        }
        utf8Before += utf8Bytes;
        characters += count;
    };
}

Converter byteToByte(const CharacterTable &from, const CharacterTable &to, MissingByte missing) {
    constexpr std::uint16_t lacking = 0x100; // above the byte
    std::array<std::uint16_t, 256> bytes{};  // a zero byte stays one
    for (std::size_t byte = 1; byte < bytes.size(); ++byte) {
        const auto *const found = from[byte] == 0xFFFD ? to.end() : std::find(to.begin() + 1, to.end(), from[byte]);
        bytes[byte] = static_cast<std::uint16_t>(found != to.end() ? found - to.begin() : lacking | '?');
    }
    return [from, bytes, missing = std::move(missing), offset = std::size_t{0}](std::string_view in, bool,
                                                                                std::string &out) mutable {
        const std::size_t before = out.size();
        out.resize(before + in.size());
        unsigned int any = 0;
        for (std::size_t i = 0; i < in.size(); ++i) {
            const unsigned int byte = bytes[static_cast<unsigned char>(in[i])];
            any |= byte;
            out[before + i] = static_cast<char>(byte);
        }
        for (std::size_t i = 0; (any & lacking) != 0 && i < in.size(); ++i) {
            const auto byte = static_cast<unsigned char>(in[i]);
            if ((bytes[byte] & lacking) != 0) {
                missing(offset + i, in[i], from[byte]);
            }
        }
        offset += in.size();
        return in.size();
    };
}

Converter utf8To(UnitWriter writer) {
    return [writer = std::move(writer), units = std::vector<unsigned short>(),
            copy = std::string()](std::string_view in, bool last, std::string &out) mutable {
        const std::size_t whole = last ? in.size() : wholeCharacters(in);
        if (const auto text = withoutZeros(in.substr(0, whole), copy)) {
            const std::size_t count = decodeUtf8(text->text, units);
            if (text->zero != 0) {
                const unsigned short control = static_cast<unsigned char>(text->zero);
                std::replace(units.begin(), units.begin() + static_cast<std::ptrdiff_t>(count), control,
                             static_cast<unsigned short>(0));
            }
            writer(units.data(), count, whole, out);
        } else {
            betweenZeroBytes(
                in.substr(0, whole),
                [&](std::string_view part) {
                    const std::size_t count = decodeUtf8(part, units); // before units.data(), for it may grow them
                    writer(units.data(), count, part.size(), out);
                },
                [&] {
                    const unsigned short zero = 0;
                    writer(&zero, 1, 1, out);
                });
        }
        return whole;
    };
}

Converter ucs2To(bool highFirst, UnitWriter writer, MissingCharacter surrogate) {
    return
        [highFirst, writer = std::move(writer), surrogate = std::move(surrogate), units = std::vector<unsigned short>(),
         characters = std::size_t{0}](std::string_view in, bool, std::string &out) mutable {
            const std::size_t count = in.size() / 2;
            units.resize(count);
            copyUnits(units.data(), in.data(), count, highFirst);
            for (std::size_t i = 0; surrogate && i < count; ++i) {
                if (isSurrogate(units[i])) {
                    surrogate(0, characters + i, units[i]);
                    units[i] = 0xFFFD;
                }
            }
            writer(units.data(), count, 0, out);
            characters += count;
            return 2 * count;
        };
}

} // namespace zelk::tool
