// Single-byte sets to UTF-8 and to UCS-2.
#include "harness.h"
#include "rivals/iconv.h"
#include "rivals/icu.h"

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
                conversion->ours([part = set.part](std::span<const char> in, char *out, std::size_t room) {
                    return zelk_isoToUtf8(part, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
                });
            } else {
                conversion->ours([page = set.codePage](std::span<const char> in, char *out, std::size_t room) {
                    return zelk_winToUtf8(page, 0, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
                });
            }
            conversion->rival("iconv", Iconv<char, char>(set.coding.c_str(), "UTF-8"));
            addIcuToUtf8(*conversion, set.coding);
            return conversion;
        });
    }
}

void addToUcs2(Program &program, const Set &set, const Languages &languages) {
    for (const Length length : allLengths) {
        program.cell("sets to UCS-2", set.coding + ", " + languages.title, length, [=](Cell &cell) {
            auto conversion =
                std::make_unique<Conversion<char, unsigned short>>(cell, makeTexts({languages, set.coding}, length));
            if (set.part != 0) {
                conversion->ours([part = set.part](std::span<const char> in, unsigned short *out, std::size_t room) {
                    return zelk_isoToUnicode(part, out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
                });
            } else {
                conversion->ours(
                    [page = set.codePage](std::span<const char> in, unsigned short *out, std::size_t room) {
                        return zelk_winToUnicode(page, 0, out, static_cast<int>(room), in.data(),
                                                 static_cast<int>(in.size()));
                    });
            }
            conversion->rival("iconv", Iconv<char, unsigned short>(set.coding.c_str(), nativeUcs2));
            addIcuToUcs2(*conversion, set.coding);
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

    addToUcs2(program, iso1, western);
    addToUcs2(program, iso2, eastern);
    addToUcs2(program, iso5, cyrillic);
    addToUcs2(program, iso7, greek);
    addToUcs2(program, iso9, turkish);
    addToUcs2(program, iso15, western);
    addToUcs2(program, windows1250, eastern);
    addToUcs2(program, windows1251, cyrillic);
    addToUcs2(program, windows1254, turkish);
    return program.run(argc, argv);
}
