#include "kernels/wildcard.h"

#include "detail/wildcard.h"
#include "kernels/portable_operations.h"
#if defined(ZELK_HAS_VECTORS)
#include "kernels/wildcard_portable.h"
#endif
#if defined(ZELK_HAS_AVX512_KERNELS)
#include "kernels/wildcard_avx512.h"
#endif

#if !defined(ZELK_HAS_VECTORS)

namespace zelk::kernels::portable {

int matchWildcards(const char *text, const char *pattern) {
    return detail::match(detail::FoldedBytes(nullptr), text, pattern);
}

int matchWildcardsInAnyCase(const char *text, const char *pattern, const int *smallLetters) {
    return detail::match(detail::FoldedBytes(smallLetters), text, pattern);
}

} // namespace zelk::kernels::portable

#endif

#if defined(ZELK_HAS_AVX512_KERNELS)

ZELK_AVX512_BEGIN

namespace zelk::kernels::avx512 {

ZELK_READS_WHOLE_PAGES int matchWildcards(const char *text, const char *pattern) {
    using namespace wildcards;
    Rest rest = {bytes(text), bytes(pattern)};
    if (beginsWithStar(rest)) {
        return matchRest(rest, rest.pattern[1]);
    }
    if (*pattern != '*') {
        const std::size_t shared = sharedLiterals(rest);
        rest = {rest.text + shared, rest.pattern + shared};
    }
    return matchFromHead(
        rest, [](Byte byte) { return int{byte}; }, matchRest);
}

ZELK_READS_WHOLE_PAGES int matchWildcardsInAnyCase(const char *text, const char *pattern, const int *smallLetters) {
    using namespace wildcards;
    return matchFromHead(
        {bytes(text), bytes(pattern)}, [=](Byte byte) { return smallLetters[byte]; },
        [=](Rest rest, int wanted) { return matchAsciiRestInAnyCase(rest, wanted, smallLetters); });
}

} // namespace zelk::kernels::avx512

ZELK_AVX512_END

#endif
