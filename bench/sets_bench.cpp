// Single-byte sets to UTF-8 and to UCS-2.
#include "harness.h"
#include "rivals/encoding_rs.h"
#include "rivals/iconv.h"
#include "rivals/icu.h"
#include "rivals/simdutf.h"

#include "zelk.h"

#include <memory>

using namespace zelk_bench;

namespace {

struct Set {
    std::string coding; // by its name in iconv and ICU
    unsigned int part;  // of ISO 8859, or 0
    int codePage;       // of Windows, or 0
};

const Set iso1 = {"ISO-8859-1", 1, 0};
const Set iso2 = {"ISO-8859-2", 2, 0};
const Set iso5 = {"ISO-8859-5", 5, 0};
const Set iso7 = {"ISO-8859-7", 7, 0};
const Set iso9 = {"ISO-8859-9", 9, 0};
const Set iso15 = {"ISO-8859-15", 15, 0};
const Set windows1250 = {"windows-1250", 0, 1250};
const Set windows1251 = {"windows-1251", 0, 1251};
const Set windows1254 = {"windows-1254", 0, 1254};

void addToUtf8(Program &program, const std::string &work, const Set &set, const Languages &languages) {
    for (const Length length : allLengths) {
        program.cell(work, set.coding + ", " + languages.title, length, [=](Cell &cell) {
            auto conversion =
                std::make_unique<Conversion<char, char>>(cell, makeTexts({languages, set.coding}, length));
            if (set.part != 0) {
                conversion->ours([part = set.part](const Library &library) {
                    return [part, convert = BENCH_FIND(library, zelk_isoToUtf8)](std::span<const char> in, char *out,
                                                                                 std::size_t room) {
                        return convert(part, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
                    };
                });
            } else {
                conversion->ours([page = set.codePage](const Library &library) {
                    return [page, convert = BENCH_FIND(library, zelk_winToUtf8)](std::span<const char> in, char *out,
                                                                                 std::size_t room) {
                        return convert(page, 0, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
                    };
                });
            }
            conversion->rival("iconv", Iconv<char, char>(set.coding.c_str(), "UTF-8"));
            addIcuToUtf8(*conversion, set.coding);
            addEncodingRsToUtf8(*conversion, set.coding);
            if (set.part == 1) {
                addSimdutfLatin1(*conversion);
            }
            return conversion;
        });
    }
}

void addToUcs2(Program &program, const std::string &work, const Set &set, const Languages &languages) {
    for (const Length length : allLengths) {
        program.cell(work, set.coding + ", " + languages.title, length, [=](Cell &cell) {
            auto conversion =
                std::make_unique<Conversion<char, unsigned short>>(cell, makeTexts({languages, set.coding}, length));
            if (set.part != 0) {
                conversion->ours([part = set.part](const Library &library) {
                    return [part, convert = BENCH_FIND(library, zelk_isoToUnicode)](
                               std::span<const char> in, unsigned short *out, std::size_t room) {
                        return convert(part, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
                    };
                });
            } else {
                conversion->ours([page = set.codePage](const Library &library) {
                    return [page, convert = BENCH_FIND(library, zelk_winToUnicode)](
                               std::span<const char> in, unsigned short *out, std::size_t room) {
                        return convert(page, 0, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
                    };
                });
            }
            conversion->rival("iconv", Iconv<char, unsigned short>(set.coding.c_str(), nativeUcs2));
            addIcuToUcs2(*conversion, set.coding);
            addEncodingRsToUcs2(*conversion, set.coding);
            if (set.part == 1) {
                addSimdutfLatin1(*conversion);
            }
            return conversion;
        });
    }
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    const std::string fewMarks = "sets with some accents to UTF-8";
    addToUtf8(program, fewMarks, iso2, eastern);
    addToUtf8(program, fewMarks, iso9, turkish);
    addToUtf8(program, fewMarks, iso15, western);
    addToUtf8(program, fewMarks, windows1250, eastern);
    addToUtf8(program, fewMarks, windows1254, turkish);

    const std::string twoBytes = "sets of two-byte letters to UTF-8";
    addToUtf8(program, twoBytes, iso5, cyrillic);
    addToUtf8(program, twoBytes, iso7, greek);
    addToUtf8(program, twoBytes, windows1251, cyrillic);

    const std::string plain = "sets to UTF-8, plain English";
    addToUtf8(program, plain, iso2, english);
    addToUtf8(program, plain, iso5, english);
    addToUtf8(program, plain, windows1254, english);

    addToUtf8(program, "ISO 8859-1 to UTF-8", iso1, western);

    const std::string units = "sets to UCS-2";
    addToUcs2(program, units, iso2, eastern);
    addToUcs2(program, units, iso5, cyrillic);
    addToUcs2(program, units, iso7, greek);
    addToUcs2(program, units, iso9, turkish);
    addToUcs2(program, units, iso15, western);
    addToUcs2(program, units, windows1250, eastern);
    addToUcs2(program, units, windows1251, cyrillic);
    addToUcs2(program, units, windows1254, turkish);

    const std::string plainUnits = "sets to UCS-2, plain English";
    addToUcs2(program, plainUnits, iso2, english);
    addToUcs2(program, plainUnits, iso5, english);
    addToUcs2(program, plainUnits, windows1254, english);

    addToUcs2(program, "ISO 8859-1 to UCS-2", iso1, western);
    return program.run(argc, argv);
}
