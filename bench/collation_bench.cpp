// Collation of names: pairs, and sorting a list.
#include "cases.h"
#include "harness.h"

#include "zelk.h"

#include <clocale>
#include <cstdio>
#include <memory>

#if defined(BENCH_HAS_ICU)
#include <unicode/ucol.h>
#include <unicode/ustring.h>
#endif

using namespace zelk_bench;

namespace {

int sign(int value) {
    return (value > 0 ? 1 : 0) - (value < 0 ? 1 : 0);
}

// The program's locale sorts by a language, not by bytes.
bool hasLocale() {
    return std::setlocale(LC_COLLATE, "en_GB.UTF-8") != nullptr;
}

template <class Compare>
auto sortWith(const std::vector<std::string> &names, Compare compare) {
    return [&names, compare, list = std::vector<const std::string *>()](std::size_t) mutable {
        list.clear();
        for (const std::string &name : names) {
            list.push_back(&name);
        }
        std::sort(list.begin(), list.end(), [&](const auto *a, const auto *b) { return compare(*a, *b) < 0; });
        return list.front();
    };
}

#if defined(BENCH_HAS_ICU)
std::shared_ptr<UCollator> openCollator() {
    UErrorCode error = U_ZERO_ERROR;
    return {ucol_open("", &error), ucol_close};
}

int compareByIcu(const UCollator *collator, const std::string &a, const std::string &b) {
    UErrorCode error = U_ZERO_ERROR;
    return ucol_strcollUTF8(collator, a.data(), static_cast<std::int32_t>(a.size()), b.data(),
                            static_cast<std::int32_t>(b.size()), &error);
}

// A key for every name, then a sort of the keys.
auto sortKeys(const std::vector<std::string> &names) {
    return [&names, collator = openCollator()](std::size_t) {
        std::vector<std::string> keys;
        for (const std::string &name : names) {
            UErrorCode error = U_ZERO_ERROR;
            UChar units[256];
            std::int32_t length = 0;
            u_strFromUTF8(units, 256, &length, name.data(), static_cast<std::int32_t>(name.size()), &error);
            std::uint8_t key[1024];
            const std::int32_t size = ucol_getSortKey(collator.get(), units, length, key, sizeof key);
            keys.emplace_back(reinterpret_cast<const char *>(key), static_cast<std::size_t>(size));
        }
        std::sort(keys.begin(), keys.end());
        return keys.front().size();
    };
}
#endif

void addPairs(Program &program, const std::string &kind) {
    program.cell("collation", kind, Length::Name, [=](Cell &cell) {
        auto kept = std::make_unique<Pairs>(collationPairs(kind));
        const Pairs &pairs = *kept;
        cell.ours(pairs.size(), [&pairs](const Library &library) {
            return [&pairs, collate = BENCH_FIND(library, zelkCollate)](std::size_t i) {
                return sign(collate(0, pairs[i].first.c_str(), pairs[i].second.c_str()));
            };
        });
#if defined(BENCH_HAS_ICU)
        cell.rival("ICU ucol_strcollUTF8", pairs.size(), [&pairs, collator = openCollator()](std::size_t i) {
            return sign(compareByIcu(collator.get(), pairs[i].first, pairs[i].second));
        });
#endif
        if (hasLocale()) {
            cell.rival("strcoll", pairs.size(), [&pairs](std::size_t i) {
                return sign(std::strcoll(pairs[i].first.c_str(), pairs[i].second.c_str()));
            });
        }
        return kept;
    });
}

void addSort(Program &program) {
    program.cell("collation", "sorting 1,000 names", Length::Other, [](Cell &cell) {
        auto kept = std::make_unique<std::vector<std::string>>(namesToSort());
        const std::vector<std::string> &names = *kept;
        for (const Library &library : cell.libraries()) {
            cell.add(library.name(), 1,
                     sortWith(names,
                              [collate = BENCH_FIND(library, zelkCollate)](const std::string &a, const std::string &b) {
                                  return collate(0, a.c_str(), b.c_str());
                              }));
        }
        if (!cell.rivals()) {
            return kept;
        }
#if defined(BENCH_HAS_ICU)
        cell.add("ICU ucol_strcollUTF8", 1,
                 sortWith(names, [collator = openCollator()](const std::string &a, const std::string &b) {
                     return compareByIcu(collator.get(), a, b);
                 }));
        cell.add("ICU ucol_getSortKey", 1, sortKeys(names));
#endif
        if (hasLocale()) {
            cell.add("strcoll", 1, sortWith(names, [](const std::string &a, const std::string &b) {
                         return std::strcoll(a.c_str(), b.c_str());
                     }));
        }
        return kept;
    });
}

} // namespace

int main(int argc, char **argv) {
    if (!hasLocale()) {
        std::fputs("no locale en_GB.UTF-8: strcoll is left out\n", stderr);
    }
    Program program;
    for (const char *kind : collationKinds) {
        addPairs(program, kind);
    }
    addSort(program);
    return program.run(argc, argv);
}
