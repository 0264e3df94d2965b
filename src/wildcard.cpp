// Wildcard patterns, and comparison that passes over control characters: the variants, by rules of their own.
#include "detail/wildcard.h"
#include "kernels/kernels.h"
#include "zelk.h"

#include <cctype>

#if defined(__GLIBC__) && !defined(__UCLIBC__) // which passes for it and has other tables
#define ZELK_HAS_CHARACTER_TABLES
#endif

namespace zelk::detail {

namespace {

// The C library's character tables, in the locale of the call. Only the low 7 bits of a byte mark a control character,
// so 0x80 to 0x9F and 0xFF are some too: kept on purpose.
class CharacterTables {
public:
#if defined(ZELK_HAS_CHARACTER_TABLES)
    int lower(Byte byte) const {
        return lower_[byte];
    }
    bool isControl(Byte byte) const {
        return (classes_[byte & 0x7FU] & _IScntrl) != 0;
    }

private:
    const int *lower_ = *__ctype_tolower_loc();
    const unsigned short *classes_ = *__ctype_b_loc();
#else
    int lower(Byte byte) const {
        return std::tolower(byte);
    }
    bool isControl(Byte byte) const {
        return std::iscntrl(byte & 0x7F) != 0;
    }
#endif
};

enum class Case { Told, Ignored };

// Passes over control characters. Whether case is told is known only when it runs: these variants are rare, and one
// copy of them is enough.
class WithoutControls {
public:
    static constexpr bool ignoresBytes = true;
    explicit WithoutControls(Case letters) : ignoresCase_(letters == Case::Ignored) {}
    int fold(Byte byte) const { return ignoresCase_ ? tables_.lower(byte) : byte; }
    bool ignores(Byte byte) const { return tables_.isControl(byte); }

private:
    CharacterTables tables_;
    bool ignoresCase_;
};

[[gnu::noinline]] int matchWithoutControls(const char *text, const char *pattern, Case letters) {
    return match(WithoutControls(letters), text, pattern);
}

[[gnu::noinline]] int compareWithoutControls(const char *a, const char *b, Case letters) {
    return compare(WithoutControls(letters), a, b);
}

#if !defined(ZELK_HAS_CHARACTER_TABLES)
class AnyCase {
public:
    static constexpr bool ignoresBytes = false;
    static int fold(Byte byte) { return CharacterTables().lower(byte); }
    static bool areExact() { return false; }
    static bool ignores(Byte /*byte*/) { return false; }
};
#endif

// The rule where a kernel leaves a pair to it: apart, so that what it needs does not burden the others.
[[gnu::noinline]] int matchByRule(const char *text, const char *pattern, const int *smallLetters) {
    return match(FoldedBytes(smallLetters), text, pattern);
}

int matchInAnyCase(const char *text, const char *pattern) {
#if defined(ZELK_HAS_CHARACTER_TABLES)
    const int *const smallLetters = *__ctype_tolower_loc();
    const int answer = kernels::kernels().matchWildcardsInAnyCase(text, pattern, smallLetters);
    return answer != kernels::notTaken ? answer : matchByRule(text, pattern, smallLetters);
#else
    return match(AnyCase(), text, pattern);
#endif
}

} // namespace

} // namespace zelk::detail

using namespace zelk;

int zelk_patternWildcardMatch(const char *text, const char *pattern) {
    const int answer = kernels::kernels().matchWildcards(text, pattern);
    return answer != kernels::notTaken ? answer : detail::matchByRule(text, pattern, nullptr);
}

int zelk_patternWildcardMatchIgnoreCase(const char *text, const char *pattern) {
    return detail::matchInAnyCase(text, pattern);
}

int zelk_patternWildcardMatchIgnoreControlChars(const char *text, const char *pattern) {
    return detail::matchWithoutControls(text, pattern, detail::Case::Told);
}

int zelk_patternWildcardMatchIgnoreCaseAndControlChars(const char *text, const char *pattern) {
    return detail::matchWithoutControls(text, pattern, detail::Case::Ignored);
}

int zelk_patternCompareIgnoreControlChars(const char *a, const char *b) {
    return detail::compareWithoutControls(a, b, detail::Case::Told);
}

int zelk_patternCompareIgnoreCaseAndControlChars(const char *a, const char *b) {
    return detail::compareWithoutControls(a, b, detail::Case::Ignored);
}
