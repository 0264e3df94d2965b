// Wildcard patterns on programme titles and descriptions.
#include "cases.h"
#include "harness.h"

#include "zelk.h"

#include <fnmatch.h>
#include <memory>

#if defined(BENCH_HAS_GLIB)
#include <glib.h>
#endif

using namespace zelk_bench;

namespace {

#if defined(BENCH_HAS_GLIB)
// Patterns that GLib has prepared: its best case, since the others read the pattern anew in each call. Everybody gets
// the text as a string that its zero ends.
class PreparedPatterns {
public:
    explicit PreparedPatterns(const Pairs &cases) {
        for (const auto &[text, pattern] : cases) {
            patterns_.emplace_back(g_pattern_spec_new(pattern.c_str()), g_pattern_spec_free);
        }
    }
    GPatternSpec *operator[](std::size_t index) const { return patterns_[index].get(); }

private:
    std::vector<std::shared_ptr<GPatternSpec>> patterns_;
};

void addGlib(Cell &cell, const Pairs &cases) {
    cell.rival("GLib, prepared pattern", cases.size(), [&cases, patterns = PreparedPatterns(cases)](std::size_t i) {
        return g_pattern_spec_match_string(patterns[i], cases[i].first.c_str()) != 0;
    });
    cell.rival("GLib g_pattern_match_simple", cases.size(), [&cases](std::size_t i) {
        return g_pattern_match_simple(cases[i].second.c_str(), cases[i].first.c_str()) != 0;
    });
}
#else
void addGlib(Cell &, const Pairs &) {}
#endif

void addOurs(Cell &cell, const Pairs &cases, const char *function) {
    cell.ours(cases.size(), [&cases, function](const Library &library) {
        return [&cases, match = library.find<decltype(zelk_patternWildcardMatch)>(function)](std::size_t i) {
            return match(cases[i].first.c_str(), cases[i].second.c_str()) == 0;
        };
    });
}

// In the C locale, where fnmatch compares bytes, as we do.
void addFnmatch(Cell &cell, const Pairs &cases, int flags) {
    cell.rival("fnmatch", cases.size(), [&cases, flags](std::size_t i) {
        return fnmatch(cases[i].second.c_str(), cases[i].first.c_str(), flags) == 0;
    });
}

void addKind(Program &program, const std::string &kind, Length length) {
    program.cell("wildcards", kind, length, [=](Cell &cell) {
        auto cases = std::make_unique<Pairs>(wildcardCases(kind, length));
        addOurs(cell, *cases, "zelk_patternWildcardMatch");
        addFnmatch(cell, *cases, 0);
        addGlib(cell, *cases);
        return cases;
    });
}

void addIgnoringCase(Program &program, Length length) {
    program.cell("wildcards", "inner, ignoring case", length, [=](Cell &cell) {
        auto cases = std::make_unique<Pairs>(wildcardCases("inner", length));
        for (auto &[text, pattern] : *cases) {
            std::transform(pattern.begin(), pattern.end(), pattern.begin(),
                           [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
        }
        addOurs(cell, *cases, "zelk_patternWildcardMatchIgnoreCase");
        addFnmatch(cell, *cases, FNM_CASEFOLD);
        return cases;
    });
}

void addManyStars(Program &program) {
    program.cell("wildcards", "a*a*a*a*b over 10,000 times a", Length::Other, [](Cell &cell) {
        auto cases = std::make_unique<Pairs>(Pairs{{std::string(10000, 'a'), "a*a*a*a*b"}});
        addOurs(cell, *cases, "zelk_patternWildcardMatch");
        addFnmatch(cell, *cases, 0);
        addGlib(cell, *cases);
        return cases;
    });
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    for (const char *kind : wildcardKinds) {
        for (const Length length : {Length::Name, Length::Description}) {
            addKind(program, kind, length);
        }
    }
    addIgnoringCase(program, Length::Name);
    addIgnoringCase(program, Length::Description);
    addManyStars(program);
    return program.run(argc, argv);
}
