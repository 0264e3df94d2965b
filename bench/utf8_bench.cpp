// UCS-2 to UTF-8 and back, and the checks on UTF-8.
#include "harness.h"
#include "rivals/encoding_rs.h"
#include "rivals/glib.h"
#include "rivals/iconv.h"
#include "rivals/icu.h"
#include "rivals/simdutf.h"
#include "rivals/utfcpp.h"

#include "zelk.h"

#include <memory>

using namespace zelk_bench;

namespace {

const unsigned char *asBytes(const char *text) {
    return reinterpret_cast<const unsigned char *>(text);
}

unsigned char *asBytes(char *text) {
    return reinterpret_cast<unsigned char *>(text);
}

void addFromNative(Program &program, const Languages &languages, Length length) {
    program.cell("UCS-2 to UTF-8", "native, " + languages.title, length, [=](Cell &cell) {
        auto conversion = std::make_unique<Conversion<unsigned short, char>>(cell, makeWideTexts(languages, length));
        conversion->ours([](const Library &library) {
            return [encode = BENCH_FIND(library, zelkUtf8EncodeText)](std::span<const unsigned short> in, char *out,
                                                                      std::size_t room) {
                return encode(asBytes(out), static_cast<int>(room), in.data(), static_cast<int>(in.size()));
            };
        });
        conversion->rival("iconv", Iconv<unsigned short, char>(nativeUcs2, "UTF-8"));
        addIcuUtf(*conversion);
        addUtfcpp(*conversion);
        addSimdutf(*conversion);
        addEncodingRs(*conversion);
        return conversion;
    });
}

void addFromBytePairs(Program &program, const std::string &order, const char *coding, const Languages &languages,
                      Length length) {
    program.cell("UCS-2 to UTF-8", order + ", " + languages.title, length, [=](Cell &cell) {
        auto conversion = std::make_unique<Conversion<char, char>>(cell, makeTexts({languages, coding}, length));
        const bool highFirst = coding == std::string("UCS-2BE");
        conversion->ours([highFirst](const Library &library) {
            return [encode = highFirst ? BENCH_FIND(library, zelkUtf8EncodeNotAlignedText)
                                       : BENCH_FIND(library, zelkUtf8EncodeNotAlignedInverseText)](
                       std::span<const char> in, char *out, std::size_t room) {
                return encode(asBytes(out), static_cast<int>(room), asBytes(in.data()),
                              static_cast<int>(in.size() / 2));
            };
        });
        conversion->rival("iconv", Iconv<char, char>(coding, "UTF-8"));
        addSimdutfBytePairs(*conversion, highFirst);
        return conversion;
    });
}

void addToUcs2(Program &program, const Languages &languages, Length length) {
    program.cell("UTF-8 to UCS-2", languages.title, length, [=](Cell &cell) {
        auto conversion = std::make_unique<Conversion<char, unsigned short>>(cell, makeTexts({languages}, length));
        conversion->ours([](const Library &library) {
            return [decode = BENCH_FIND(library, zelkUtf8DecodeText)](std::span<const char> in, unsigned short *out,
                                                                      std::size_t room) {
                return decode(out, static_cast<int>(room), asBytes(in.data()), static_cast<int>(in.size()));
            };
        });
        conversion->rival("iconv", Iconv<char, unsigned short>("UTF-8", nativeUcs2));
        addIcuUtf(*conversion);
        addUtfcpp(*conversion);
        addSimdutf(*conversion);
        addEncodingRs(*conversion);
        return conversion;
    });
}

// Nothing is written: memcpy copies what is read.
void addMemcpy(Cell &cell, const Texts<char> &texts) {
    cell.setBytesWritten(texts.totalUnits());
    if (cell.rivals()) {
        cell.add("memcpy", texts.size(), [&texts, out = Buffer<char>(texts.longest())](std::size_t i) mutable {
            return std::memcpy(out.data(), texts[i].data(), texts[i].size());
        });
    }
}

void addValidity(Program &program, const Languages &languages, Length length) {
    program.cell("UTF-8 validity", languages.title, length, [=](Cell &cell) {
        auto kept = std::make_unique<Texts<char>>(makeTexts({languages}, length));
        const Texts<char> &texts = *kept;
        cell.ours(texts.size(), [&texts](const Library &library) {
            return [&texts, isValid = BENCH_FIND(library, zelkUtf8TextIsValid)](std::size_t i) {
                return isValid(asBytes(texts[i].data()), static_cast<unsigned int>(texts[i].size()));
            };
        });
        addMemcpy(cell, texts);
        addGlibValidity(cell, texts);
        addUtfcppValidity(cell, texts);
        addSimdutfValidity(cell, texts);
        addEncodingRsValidity(cell, texts);
        return kept;
    });
}

void addWidth(Program &program, const Languages &languages, Length length) {
    program.cell("UTF-8 width", languages.title, length, [=](Cell &cell) {
        auto kept = std::make_unique<Texts<char>>(makeTexts({languages}, length));
        const Texts<char> &texts = *kept;
        cell.ours(texts.size(), [&texts](const Library &library) {
            return [&texts, width = BENCH_FIND(library, zelkUtf8GetTextWidth)](std::size_t i) {
                return width(asBytes(texts[i].data()), static_cast<unsigned int>(texts[i].size()));
            };
        });
        addMemcpy(cell, texts);
        addGlibWidth(cell, texts);
        addUtfcppWidth(cell, texts);
        addSimdutfWidth(cell, texts);
        addIcuWidth(cell, texts);
        return kept;
    });
}

template <class Add>
void forEachText(Add add) {
    for (const Languages &languages : {english, western, cyrillic, chinese}) {
        for (const Length length : allLengths) {
            add(languages, length);
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    forEachText([&](const Languages &languages, Length length) { addFromNative(program, languages, length); });
    forEachText([&](const Languages &languages, Length length) {
        addFromBytePairs(program, "high byte first", "UCS-2BE", languages, length);
    });
    forEachText([&](const Languages &languages, Length length) {
        addFromBytePairs(program, "low byte first", "UCS-2LE", languages, length);
    });
    forEachText([&](const Languages &languages, Length length) { addToUcs2(program, languages, length); });
    forEachText([&](const Languages &languages, Length length) { addValidity(program, languages, length); });
    forEachText([&](const Languages &languages, Length length) { addWidth(program, languages, length); });
    return program.run(argc, argv);
}
