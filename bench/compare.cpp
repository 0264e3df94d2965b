// Two builds of our own library side by side in one process, on the texts of the family benchmarks: for use while
// tuning.
//
//   bench-compare [--benchmark_...] OLD NEW [WORD...]
#include "cases.h"
#include "compressed.h"
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

    // `bind(library)` gives the comparison of two strings, or the match of a text with a pattern.
    template <class Make, class Bind>
    void pairs(const std::string &work, const std::string &text, Length length, Make make, Bind bind) {
        program_.cell(work, text, length, [=, this](Cell &cell) {
            auto kept = std::make_unique<Pairs>(make());
            const auto call = [&pairs = *kept](const auto &function) {
                return [&pairs, function](std::size_t i) {
                    return function(pairs[i].first.c_str(), pairs[i].second.c_str());
                };
            };
            cell.addChecked("old", kept->size(), call(bind(old_)));
            cell.addChecked("new", kept->size(), call(bind(new_)));
            return kept;
        });
    }

    const Library &oldLibrary() const { return old_; }

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

void addCompressed(Comparison &comparison, const std::string &title, const std::string &selector,
                   const Encode &encode) {
    comparison.conversion<char>(
        "Huffman", title, [=](Length length) { return compressedTexts(length, selector, encode); },
        [](const Library &library) {
            return [convert = FIND(library, zelk_dvb8ToUtf8)](std::span<const char> in, char *out, std::size_t room) {
                return convert(DvbCharSetStandard, out, asInt(room), in.data(), asInt(in.size()), DvbCodeNone, 0, 0);
            };
        });
}

void addPairs(Comparison &comparison) {
    for (const std::string kind : collationKinds) {
        comparison.pairs(
            "collation", kind, Length::Name, [kind] { return collationPairs(kind); },
            [](const Library &library) {
                return [collate = FIND(library, zelkCollate)](const char *a, const char *b) {
                    const int order = collate(0, a, b);
                    return (order > 0 ? 1 : 0) - (order < 0 ? 1 : 0);
                };
            });
    }
    for (const std::string kind : wildcardKinds) {
        for (const Length length : {Length::Name, Length::Description}) {
            const auto make = [kind, length] { return wildcardCases(kind, length); };
            comparison.pairs("wildcards", kind, length, make, [](const Library &library) {
                return [match = FIND(library, zelk_patternWildcardMatch)](const char *text, const char *pattern) {
                    return match(text, pattern) == 0;
                };
            });
            comparison.pairs("wildcards", kind + ", ignoring case", length, make, [](const Library &library) {
                return [match = FIND(library, zelk_patternWildcardMatchIgnoreCase)](
                           const char *text, const char *pattern) { return match(text, pattern) == 0; };
            });
        }
    }
}

void addXml(Comparison &comparison, const std::string &kind) {
    comparison.conversion<char>(
        "XML escape", kind, [kind](Length length) { return markupTexts(kind, length); },
        [](const Library &library) {
            return [escape = FIND(library, zelk_xmlify)](std::span<const char> in, char *out, std::size_t room) {
                return escape(out, asInt(room), in.data(), asInt(in.size()));
            };
        });
    comparison.conversion<char>(
        "XML unescape", kind,
        [kind, escape = FIND(comparison.oldLibrary(), zelk_xmlify)](Length length) {
            const Texts<char> texts = markupTexts(kind, length);
            Texts<char> escaped;
            std::vector<char> out(texts.longest() * 6 + 1);
            for (std::size_t i = 0; i < texts.size(); ++i) {
                escaped.add(
                    {out.data(), escape(out.data(), asInt(out.size()), texts[i].data(), asInt(texts[i].size()))});
            }
            return escaped;
        },
        [](const Library &library) {
            return [unescape = FIND(library, zelk_unxml)](std::span<const char> in, char *out, std::size_t room) {
                return unescape(out, asInt(room), in.data(), asInt(in.size()));
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
        const Library &library = comparison.oldLibrary();
        addCompressed(comparison, "DVB, type 1", "\x1F\x01", streamEncoder(*FIND(library, HuffmanDecodeTable_1)));
        addCompressed(comparison, "DVB, type 2", "\x1F\x02", streamEncoder(*FIND(library, HuffmanDecodeTable_2)));
        addCompressed(comparison, "Malaysia, English", "\x1F\x05", malaysiaEncoder());
        addPairs(comparison);
        addXml(comparison, "sparse");
        addXml(comparison, "dense");
        return comparison.run(argc - 2, argv + 2);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
        return 1;
    }
}
