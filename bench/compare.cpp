// Two builds of our own library side by side in one process, on the texts of the family benchmarks: for use while
// tuning.
//
//   bench-compare [--benchmark_...] OLD NEW [WORD...]
#include "harness.h"

#include "zelk.h"

#include <cstdio>
#include <dlfcn.h>
#include <exception>
#include <memory>
#include <stdexcept>
#include <type_traits>

using namespace zelk_bench;

namespace {

// Loaded for itself: its names do not reach the other build.
class Library {
public:
    explicit Library(const char *path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    template <class Function>
    Function *find(const char *name) const {
        void *const address = dlsym(handle_, name);
        if (address == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<Function *>(address);
    }

private:
    void *handle_; // kept until the process ends
};

#define FIND(library, name) (library).find<decltype(name)>(#name)

int asInt(std::size_t count) {
    return static_cast<int>(count);
}

const unsigned char *asBytes(const char *text) {
    return reinterpret_cast<const unsigned char *>(text);
}

unsigned char *asBytes(char *text) {
    return reinterpret_cast<unsigned char *>(text);
}

class Comparison {
public:
    Comparison(const char *before, const char *after) : old_(before), new_(after) {}

    // `make(length)` makes the texts, `bind(library)` the conversion as one build does it.
    template <class Out, class Make, class Bind>
    void conversion(const std::string &work, const std::string &text, Make make, Bind bind) {
        for (const Length length : allLengths) {
            program_.cell(work, text, length, [=, this](Cell &cell) {
                using In = std::remove_cvref_t<decltype(*make(length)[0].data())>;
                auto conversion = std::make_unique<Conversion<In, Out>>(cell, make(length));
                conversion->reference("old", bind(old_));
                conversion->rival("new", bind(new_));
                return conversion;
            });
        }
    }

    // `bind(library)` gives the check of one text.
    template <class Bind>
    void check(const std::string &work, const Languages &languages, Bind bind) {
        for (const Length length : allLengths) {
            program_.cell(work, languages.title, length, [=, this](Cell &cell) {
                auto texts = std::make_unique<Texts<char>>(makeTexts({languages}, length));
                cell.addChecked("old", texts->size(),
                                [check = bind(old_), &texts = *texts](std::size_t i) { return check(texts[i]); });
                cell.addChecked("new", texts->size(),
                                [check = bind(new_), &texts = *texts](std::size_t i) { return check(texts[i]); });
                return texts;
            });
        }
    }

    int run(int argc, char **argv) { return program_.run(argc, argv); }

private:
    Library old_;
    Library new_;
    Program program_;
};

auto textsOf(const Source &source) {
    return [source](Length length) { return makeTexts(source, length); };
}

void addPart(Comparison &comparison, unsigned int part, const Languages &languages) {
    const std::string coding = "ISO-8859-" + std::to_string(part);
    const std::string title = coding + ", " + languages.title;
    comparison.conversion<char>("sets to UTF-8", title, textsOf({languages, coding}), [part](const Library &library) {
        return [part, convert = FIND(library, zelk_isoToUtf8)](std::span<const char> in, char *out, std::size_t room) {
            return convert(part, out, asInt(room), in.data(), asInt(in.size()));
        };
    });
    comparison.conversion<unsigned short>(
        "sets to UCS-2", title, textsOf({languages, coding}), [part](const Library &library) {
            return [part, convert = FIND(library, zelk_isoToUnicode)](std::span<const char> in, unsigned short *out,
                                                                      std::size_t room) {
                return convert(part, out, asInt(room), in.data(), asInt(in.size()));
            };
        });
}

void addCodePage(Comparison &comparison, int page, const Languages &languages) {
    const std::string coding = "windows-" + std::to_string(page);
    comparison.conversion<char>(
        "sets to UTF-8", coding + ", " + languages.title, textsOf({languages, coding}), [page](const Library &library) {
            return
                [page, convert = FIND(library, zelk_winToUtf8)](std::span<const char> in, char *out, std::size_t room) {
                    return convert(page, 0, out, asInt(room), in.data(), asInt(in.size()));
                };
        });
}

void addDvb(Comparison &comparison, const std::string &work, const Source &source) {
    comparison.conversion<char>(
        work + " to UTF-8", source.languages.title, textsOf(source), [](const Library &library) {
            return [convert = FIND(library, zelk_dvb8ToUtf8)](std::span<const char> in, char *out, std::size_t room) {
                return convert(DvbCharSetStandard, out, asInt(room), in.data(), asInt(in.size()), DvbCodeNone, 0, 0);
            };
        });
    comparison.conversion<unsigned short>(
        work + " to UCS-2", source.languages.title, textsOf(source), [](const Library &library) {
            return [convert = FIND(library, zelk_dvb8ToUnicode)](std::span<const char> in, unsigned short *out,
                                                                 std::size_t room) {
                return convert(DvbCharSetStandard, out, asInt(room), in.data(), asInt(in.size()), DvbCodeNone, 0, 0);
            };
        });
}

void addUtf8(Comparison &comparison, const Languages &languages) {
    comparison.conversion<char>(
        "UCS-2 to UTF-8", "native, " + languages.title,
        [languages](Length length) { return makeWideTexts(languages, length); },
        [](const Library &library) {
            return [encode = FIND(library, zelkUtf8EncodeText)](std::span<const unsigned short> in, char *out,
                                                                std::size_t room) {
                return encode(asBytes(out), asInt(room), in.data(), asInt(in.size()));
            };
        });
    comparison.conversion<char>("UCS-2 to UTF-8", "high byte first, " + languages.title,
                                textsOf({languages, "UCS-2BE"}), [](const Library &library) {
                                    return [encode = FIND(library, zelkUtf8EncodeNotAlignedText)](
                                               std::span<const char> in, char *out, std::size_t room) {
                                        return encode(asBytes(out), asInt(room), asBytes(in.data()),
                                                      asInt(in.size() / 2));
                                    };
                                });
    comparison.conversion<unsigned short>(
        "UTF-8 to UCS-2", languages.title, textsOf({languages}), [](const Library &library) {
            return [decode = FIND(library, zelkUtf8DecodeText)](std::span<const char> in, unsigned short *out,
                                                                std::size_t room) {
                return decode(out, asInt(room), asBytes(in.data()), asInt(in.size()));
            };
        });
    comparison.check("UTF-8 validity", languages, [](const Library &library) {
        return [isValid = FIND(library, zelkUtf8TextIsValid)](std::span<const char> text) {
            return isValid(asBytes(text.data()), static_cast<unsigned int>(text.size()));
        };
    });
    comparison.check("UTF-8 width", languages, [](const Library &library) {
        return [width = FIND(library, zelkUtf8GetTextWidth)](std::span<const char> text) {
            return width(asBytes(text.data()), static_cast<unsigned int>(text.size()));
        };
    });
}

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OLD NEW [WORD...]\n", argv[0]);
        return 2;
    }
    try {
        Comparison comparison(argv[1], argv[2]);
        addPart(comparison, 1, western);
        addPart(comparison, 2, english);
        addPart(comparison, 2, eastern);
        addPart(comparison, 5, cyrillic);
        addPart(comparison, 7, greek);
        addPart(comparison, 9, turkish);
        addPart(comparison, 15, western);
        addCodePage(comparison, 1250, eastern);
        addCodePage(comparison, 1251, cyrillic);
        for (const Languages &languages : {english, western, eastern, turkish}) {
            addDvb(comparison, "DVB default table", {languages, "ISO_6937"});
        }
        addDvb(comparison, "DVB with a selector", {cyrillic, "ISO-8859-5", "\x01"});
        addDvb(comparison, "DVB with a selector", {turkish, "ISO-8859-9", "\x05"});
        for (const Languages &languages : {english, western, cyrillic, chinese}) {
            addDvb(comparison, "DVB two-byte text", {languages, "UCS-2BE", "\x11"});
            addDvb(comparison, "DVB UTF-8 text", {languages, "UTF-8", "\x15"});
        }
        for (const Languages &languages : {english, western, cyrillic, chinese}) {
            addUtf8(comparison, languages);
        }
        return comparison.run(argc - 2, argv + 2);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
        return 1;
    }
}
