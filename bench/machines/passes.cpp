// Runs one function of one build of the library over texts, as often as it is told. It is compiled for another machine,
// whose C library may have no character sets: the texts come ready-made, from write_texts.
//
//   passes LIBRARY FUNCTION TEXTS REPETITIONS
#include "library.h"
#include "zelk.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <span>
#include <string>
#include <utility>
#include <vector>

using zelk_bench::Library;

namespace {

using Bytes = std::span<const char>;

constexpr bool highByteFirst = std::endian::native == std::endian::big;

// Texts in one block, each after its length in four bytes and ended by two zeros. Lengths and units come with the low
// byte first.
std::vector<Bytes> read(std::vector<char> &file, bool units) {
    std::vector<Bytes> texts;
    for (std::size_t at = 0; at < file.size();) {
        std::uint32_t length = 0;
        if (highByteFirst) {
            std::reverse(&file[at], &file[at] + sizeof length);
        }
        std::memcpy(&length, &file[at], sizeof length);
        at += sizeof length;
        texts.emplace_back(&file[at], length);
        for (std::size_t unit = 0; highByteFirst && units && unit + 1 < length; unit += 2) {
            std::swap(file[at + unit], file[at + unit + 1]);
        }
        at += (length + 3) / 2 * 2; // units stay aligned
    }
    return texts;
}

struct Output {
    char *bytes;
    int size;
    unsigned short *units() const { return reinterpret_cast<unsigned short *>(bytes); }
    unsigned char *unsignedBytes() const { return reinterpret_cast<unsigned char *>(bytes); }
};

const unsigned char *asBytes(Bytes text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

int asInt(std::size_t value) {
    return static_cast<int>(value);
}

using Function = std::function<void(std::span<const Bytes>, Output)>;

template <class Call>
Function each(Call call) {
    return [call](std::span<const Bytes> texts, Output out) {
        for (const Bytes text : texts) {
            call(text, out);
        }
    };
}

Function find(const Library &library, const std::string &name) {
    const auto number = [&](const char *prefix) {
        return static_cast<unsigned int>(std::atoi(name.c_str() + std::strlen(prefix)));
    };
    if (name == "validate") {
        return each([call = BENCH_FIND(library, zelkUtf8TextIsValid)](Bytes text, Output) {
            call(asBytes(text), static_cast<unsigned int>(text.size()));
        });
    }
    if (name == "encode") {
        return each([call = BENCH_FIND(library, zelkUtf8EncodeText)](Bytes text, Output out) {
            call(out.unsignedBytes(), out.size, reinterpret_cast<const unsigned short *>(text.data()),
                 asInt(text.size() / 2));
        });
    }
    if (name == "decode") {
        return each([call = BENCH_FIND(library, zelkUtf8DecodeText)](Bytes text, Output out) {
            call(out.units(), out.size / 2, asBytes(text), asInt(text.size()));
        });
    }
    if (name.starts_with("isoToUtf8-")) {
        return each([call = BENCH_FIND(library, zelk_isoToUtf8), part = number("isoToUtf8-")](Bytes text, Output out) {
            call(part, out.bytes, out.size, text.data(), asInt(text.size()));
        });
    }
    if (name.starts_with("isoToUcs2-")) {
        return each(
            [call = BENCH_FIND(library, zelk_isoToUnicode), part = number("isoToUcs2-")](Bytes text, Output out) {
                call(part, out.units(), out.size / 2, text.data(), asInt(text.size()));
            });
    }
    if (name == "dvbToUtf8") {
        return each([call = BENCH_FIND(library, zelk_dvb8ToUtf8)](Bytes text, Output out) {
            call(DvbCharSetStandard, out.bytes, out.size, text.data(), asInt(text.size()), DvbCodeNone, 0, 0);
        });
    }
    if (name == "escape") {
        return each([call = BENCH_FIND(library, zelk_xmlify)](Bytes text, Output out) {
            call(out.bytes, out.size, text.data(), asInt(text.size()));
        });
    }
    if (name == "unescape") {
        return each([call = BENCH_FIND(library, zelk_unxml)](Bytes text, Output out) {
            call(out.bytes, out.size, text.data(), asInt(text.size()));
        });
    }
    if (name == "match") { // texts and patterns alternate
        return [call = BENCH_FIND(library, zelk_patternWildcardMatch)](std::span<const Bytes> texts, Output) {
            for (std::size_t i = 0; i + 1 < texts.size(); i += 2) {
                call(texts[i].data(), texts[i + 1].data());
            }
        };
    }
    throw std::runtime_error("no function " + name);
}

} // namespace

int main(int count, char **arguments) {
    if (count != 5) {
        std::fprintf(stderr, "usage: %s LIBRARY FUNCTION TEXTS REPETITIONS\n", arguments[0]);
        return 2;
    }
    try {
        const Library library("measured", arguments[1]);
        const Function function = find(library, arguments[2]);
        std::ifstream stream(arguments[3], std::ios::binary);
        std::vector<char> file{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        const std::vector<Bytes> texts = read(file, arguments[2] == std::string("encode"));
        std::vector<char> out(file.size() * 6 + 64);
        for (int i = std::atoi(arguments[4]); i > 0; --i) {
            function(texts, {out.data(), asInt(out.size())});
        }
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], failure.what());
        return 1;
    }
}
