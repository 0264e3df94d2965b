#include "clean/avx512.h"

#if defined(ZELK_INSIGHT_AVX512)
#include "clean/avx512_block.h"
#include "clean/portable.h"
#include "clean/sums.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zelk::insight::avx512 {

ZELK_TARGET_BEGIN(ZELK_INSIGHT_TARGET)

namespace {

std::size_t ones(std::uint64_t mask) {
    return static_cast<std::size_t>(__builtin_popcountll(mask));
}

// A bit for each of `count` bytes, as far as they are in one block.
[[gnu::always_inline]] inline std::uint64_t firstOnes(std::size_t count) {
    return count < 64 ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
}

// Calls visit(block, valid) for all blocks until it returns false; `valid` has a bit for each byte that is one of the
// text, and the others are zero.
template <class Visit>
[[gnu::always_inline]] inline void forEachWideBlock(const void *bytes, std::size_t count, Visit visit) {
    const auto *at = static_cast<const char *>(bytes);
    for (; count >= 64; count -= 64, at += 64) {
        if (!visit(_mm512_loadu_si512(at), ~std::uint64_t{0})) {
            return;
        }
    }
    if (count != 0) {
        const std::uint64_t valid = (std::uint64_t{1} << count) - 1;
        visit(_mm512_maskz_loadu_epi8(valid, at), valid);
    }
}

// copyTwoByte() of one to four blocks, without a loop: a processor cannot foresee where it ends.
Bytes copyTwoByteBlocks(char *out, const unsigned char *bytes, std::size_t count) {
    const std::size_t last = count - sizeof(__m512i);
    const std::size_t places[] = {0, std::min(sizeof(__m512i), last), std::min(2 * sizeof(__m512i), last), last};
    __m512i units[4];
    std::uint32_t beyond = 0;
    std::uint32_t doubtful = 0;
    for (int i = 0; i < 4; ++i) {
        units[i] = unitsOf(_mm512_loadu_si512(bytes + places[i]));
        const std::uint32_t here = unitsBeyondAscii(units[i]);
        beyond |= here;
        doubtful |= doubtfulUnits(units[i], here);
    }
    if (beyond != 0) {
        return doubtful == 0 ? Bytes::Whole : Bytes::Other;
    }
    for (int i = 0; i < 4; ++i) {
        storeLowBytes(out + places[i] / 2, ~std::uint32_t{0}, units[i]);
    }
    return Bytes::Ascii;
}

[[gnu::always_inline]] inline StringCounts countString(const unsigned char *bytes, std::size_t count) {
    StringCounts counts;
    std::uint64_t controls = 0;
    forEachWideBlock(bytes, count, [&](__m512i block, std::uint64_t valid) {
        const std::uint64_t high = _mm512_movepi8_mask(block);
        counts.high += ones(high);
        counts.marks += ones(_mm512_cmplt_epu8_mask(_mm512_sub_epi8(block, all(0xC1)), all(0x0F)));
        const std::uint64_t graphic = _mm512_cmplt_epu8_mask(_mm512_sub_epi8(block, all(0x20)), all(0x5F));
        controls |= valid & ~(graphic | high);
        return true;
    });
    counts.controls = controls != 0;
    return counts;
}

[[gnu::always_inline]] inline TextCounts countText(const char *bytes, std::size_t count) {
    TextCounts counts;
    std::uint64_t rare = 0;
    forEachWideBlock(bytes, count, [&](__m512i block, std::uint64_t valid) {
        counts.continuations += ones(_mm512_cmplt_epi8_mask(block, all(0xC0)));
        counts.high += ones(_mm512_movepi8_mask(block));
        counts.controls += ones(valid & _mm512_cmplt_epu8_mask(block, all(0x20)));
        rare |= _mm512_cmpeq_epi8_mask(_mm512_or_si512(block, all(0x02)), all(0xEF));
        return true;
    });
    counts.rare = rare != 0;
    return counts;
}

} // namespace

Bytes kindOf(const unsigned char *bytes, std::size_t count) {
    std::uint64_t beyond = 0;
    std::uint64_t other = 0;
    forEachWideBlock(bytes, count, [&](__m512i block, std::uint64_t valid) {
        const std::uint64_t here = valid & beyondAscii(block);
        beyond |= here;
        other |= _mm512_mask_cmplt_epu8_mask(here, block, all(0xA0));
        return true;
    });
    return beyond == 0 ? Bytes::Ascii : other == 0 ? Bytes::Graphic : Bytes::Other;
}

Bytes copyIfAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    if (count <= sizeof(__m512i)) {
        return copyAsciiBlock(out, bytes, count, table);
    }
    Judgement all;
    for (std::size_t at = 0; at < count; at += sizeof(__m512i)) {
        const std::uint64_t valid = firstOnes(count - at);
        const __m512i block = _mm512_maskz_loadu_epi8(valid, bytes + at);
        const Judgement here = judge(block, valid, bytes + at + 1, firstOnes(count - at - 1), table);
        all.high |= here.high;
        all.other |= here.other;
        if ((all.high | all.other) == 0) {
            _mm512_mask_storeu_epi8(out + at, valid, block);
        }
    }
    return all.kind();
}

Bytes copyAscii(char *out, const unsigned char *bytes, std::size_t count, tables::DvbTable table) {
    Bytes kind = copyIfAscii(out, bytes, count, table);
    if (kind == Bytes::Unknown) {
        kind = kindOf(bytes, count);
    }
    return kind == Bytes::Graphic ? portable::wholenessOf(bytes, count, table) : kind;
}

// Leads and the bytes that they ask for, as bits; what a block asks of the next one is carried over. Of long text only
// ASCII: whether other text is well formed its decoding tells more quickly.
bool copyUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t longText = 1024;
    if (count > longText) {
        bool ascii = true;
        forEachWideBlock(bytes, count, [&](__m512i block, std::uint64_t valid) {
            ascii = (valid & beyondAscii(block)) == 0;
            if (ascii) {
                _mm512_mask_storeu_epi8(out, valid, block);
                out += sizeof block;
            }
            return ascii;
        });
        return ascii;
    }
    std::uint64_t wanted = 0;
    std::uint64_t atC2 = 0; // whether the byte before the block is this one
    std::uint64_t atE0 = 0;
    std::uint64_t other = 0;
    forEachWideBlock(bytes, count, [&](__m512i block, std::uint64_t valid) {
        const std::uint64_t high = _mm512_movepi8_mask(block);
        if ((high | wanted) == 0) {
            other |= valid & beyondAscii(block);
            atC2 = atE0 = 0;
            return true;
        }
        const std::uint64_t continuation = _mm512_cmplt_epi8_mask(block, all(0xC0));
        const std::uint64_t lead = high & ~continuation;
        const std::uint64_t lead3 = _mm512_mask_cmpge_epu8_mask(lead, block, all(0xE0));
        const std::uint64_t c2 = _mm512_cmpeq_epi8_mask(block, all(0xC2));
        const std::uint64_t e0 = _mm512_cmpeq_epi8_mask(block, all(0xE0));
        const std::uint64_t belowA0 = _mm512_mask_cmplt_epu8_mask(continuation, block, all(0xA0));
        // Overlong forms, surrogates (0xED), images of control codes (0xEE), and what is above U+FFFF.
        other |= _mm512_mask_cmplt_epu8_mask(lead, block, all(0xC2)) |
                 _mm512_mask_cmpge_epu8_mask(lead, block, all(0xF0)) |
                 _mm512_cmpge_epu8_mask(all(1), _mm512_sub_epi8(block, all(0xED)));
        other |= valid & beyondAscii(block) & ~high;
        other |= ((c2 << 1U | atC2) | (e0 << 1U | atE0)) & belowA0;
        other |= (lead << 1U | lead3 << 2U | wanted) ^ continuation;
        wanted = lead >> 63U | lead3 >> 62U;
        atC2 = c2 >> 63U;
        atE0 = e0 >> 63U;
        return true;
    });
    const bool good = other == 0 && wanted == 0;
    if (good) { // another text may be shorter, and what follows it keeps its value
        std::memcpy(out, bytes, count);
    }
    return good;
}

Bytes copyTwoByte(char *out, const unsigned char *bytes, std::size_t count) {
    constexpr std::size_t most = 4 * sizeof(__m512i);
    Bytes kind = Bytes::Ascii;
    for (; count > most && kind == Bytes::Ascii; count -= most, bytes += most, out += most / 2) {
        kind = copyTwoByteBlocks(out, bytes, most);
    }
    if (kind == Bytes::Ascii) {
        return count <= sizeof(__m512i) ? copyTwoByteBlock(out, bytes, count) : copyTwoByteBlocks(out, bytes, count);
    }
    return kind == Bytes::Whole && isPlainTwoByte(bytes, count) ? Bytes::Whole : Bytes::Other;
}

bool copyTwoByteAscii(char *out, const unsigned char *bytes, std::size_t count) {
    return copyTwoByte(out, bytes, count) == Bytes::Ascii;
}

bool isPlainTwoByte(const unsigned char *bytes, std::size_t count) {
    std::uint32_t doubtful = 0;
    forEachWideBlock(bytes, count, [&](__m512i block, std::uint64_t valid) {
        const __m512i units = unitsOf(block);
        const auto characters = static_cast<std::uint32_t>(firstOnes(ones(valid) / 2));
        doubtful |= doubtfulUnits(units, characters & unitsBeyondAscii(units));
        return true;
    });
    return doubtful == 0;
}

bool isWholeTableText(const unsigned char *bytes, std::size_t count, const char *text, std::size_t length, bool marks) {
    return isWhole(countText(text, length), length, count, marks, [=]() { return countString(bytes, count); });
}

bool isWholeText(const char *text, std::size_t length, std::size_t characters) {
    const TextCounts out = countText(text, length);
    return !out.rare && length - out.continuations == characters;
}

bool hasRare(const char *text, std::size_t count) {
    std::uint64_t rare = 0;
    forEachWideBlock(text, count, [&](__m512i block, std::uint64_t /*valid*/) {
        rare = _mm512_cmpeq_epi8_mask(_mm512_or_si512(block, all(0x02)), all(0xEF));
        return rare == 0;
    });
    return rare != 0;
}

bool copyUsualUtf8(char *out, const unsigned char *bytes, std::size_t count) {
    std::uint64_t wanted = 0;
    std::uint64_t atE0 = 0; // whether the byte before the block is this one
    std::uint64_t atED = 0;
    bool usual = true;
    char *to = out;
    forEachWideBlock(bytes, count, [&](__m512i block, std::uint64_t valid) {
        const std::uint64_t high = _mm512_movepi8_mask(block);
        std::uint64_t faults = _mm512_mask_testn_epi8_mask(valid, block, block);
        if ((high | wanted) != 0) {
            const std::uint64_t continuation = _mm512_cmplt_epi8_mask(block, all(0xC0));
            const std::uint64_t lead = high & ~continuation;
            const std::uint64_t lead3 = _mm512_mask_cmpge_epu8_mask(lead, block, all(0xE0));
            faults |= _mm512_mask_cmplt_epu8_mask(lead, block, all(0xC2)) |
                      ((lead << 1U | lead3 << 2U | wanted) ^ continuation);
            wanted = lead >> 63U | lead3 >> 62U;
            if ((lead3 | atE0 | atED) != 0) {
                const std::uint64_t e0 = _mm512_cmpeq_epi8_mask(block, all(0xE0));
                const std::uint64_t ed = _mm512_cmpeq_epi8_mask(block, all(0xED));
                faults |= _mm512_mask_cmplt_epu8_mask(e0 << 1U | atE0, block, all(0xA0)) |
                          _mm512_mask_cmpge_epu8_mask(ed << 1U | atED, block, all(0xA0)) |
                          _mm512_mask_cmpge_epu8_mask(lead3, block, all(0xF0));
                atE0 = e0 >> 63U;
                atED = ed >> 63U;
            }
        }
        usual = faults == 0;
        if (usual) {
            _mm512_mask_storeu_epi8(to, valid, block);
            to += sizeof block;
        }
        return usual;
    });
    return usual && wanted == 0;
}

ZELK_TARGET_END

} // namespace zelk::insight::avx512
#endif
