// Texts as whole strings: case, sort keys, the pieces of extended events, spans of emphasis.
//
// Case and order rest on the receiver's tables. Where these end or lose something, more is done here: the sharp s and
// the final sigma fold, no letter gives up its mark to change its case, and a sort key goes on by code point.
#include "utf8.h"

#include "detail/dvb_select.h"
#include "tables/collation.h"

#include "zelk_insight.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace zelk::insight {
namespace {

// A counted or terminated text; a zero byte ends it, counted or not.
class TextReader {
public:
    TextReader(const char *text, int count) : at_(reinterpret_cast<const unsigned char *>(text)), end_(at_) {
        if (text != nullptr) {
            end_ += count < 0 ? std::strlen(text) : strnlen(text, static_cast<std::size_t>(count));
        }
    }

    bool atEnd() const { return at_ == end_; }
    unsigned int next() {
        const Utf8Character character = utf8Read(at_, static_cast<std::size_t>(end_ - at_));
        at_ += character.length;
        return character.codePoint;
    }
    const unsigned char *at() const { return at_; }
    const unsigned char *end() const { return end_; }

private:
    const unsigned char *at_;
    const unsigned char *end_;
};

// Bytes and characters up to the size of the output, which counts a terminator; what does not fit ends the text.
class Output {
public:
    Output(char *out, int size) : out_(out), room_(size < 1 ? 0U : static_cast<unsigned int>(size) - 1) {}

    void character(unsigned int codePoint) {
        const unsigned int bytes = utf8Length(codePoint);
        if (full_ || room_ - length_ < bytes) {
            full_ = true;
            return;
        }
        utf8Write(codePoint, out_ + length_);
        length_ += bytes;
    }

    void byte(unsigned int value) {
        full_ = full_ || length_ == room_;
        if (!full_) {
            out_[length_++] = static_cast<char>(value);
        }
    }

    unsigned int finish() {
        out_[length_] = 0;
        return length_;
    }

private:
    char *out_;
    unsigned int room_;
    unsigned int length_ = 0;
    bool full_ = false;
};

// ---- Case ----

constexpr unsigned int lastOfTables = 0xFFFF;
constexpr unsigned int sharpS = 0x00DF;
constexpr unsigned int capitalSharpS = 0x1E9E;
constexpr unsigned int longS = 0x017F;
constexpr unsigned int sigma = 0x03C3;
constexpr unsigned int finalSigma = 0x03C2;
constexpr unsigned int dotlessI = 0x0131;

unsigned int lower(unsigned int character) {
    return character > lastOfTables ? character : character == capitalSharpS ? sharpS : zelk2lowerChar(character);
}

// A letter whose capital of the table is another letter's has none: the mark would be lost.
unsigned int upper(unsigned int character) {
    if (character > lastOfTables) {
        return character;
    }
    if (character == finalSigma) {
        return zelk2upperChar(sigma);
    }
    const unsigned int capital = zelk2upperChar(character);
    return character == dotlessI || zelk2lowerChar(capital) == character ? capital : character;
}

// All that have a capital or a small letter in common become one letter.
unsigned int folded(unsigned int character) {
    const unsigned int small = lower(character);
    return small == finalSigma ? sigma : small == longS ? 's' : small == dotlessI ? 'i' : small;
}

template <class Map>
unsigned int mapped(char *out, int outSize, const char *in, int inLen, Map map) {
    Output output(out, outSize);
    for (TextReader text(in, inLen); !text.atEnd();) {
        map(output, text.next());
    }
    return output.finish();
}

// ---- Sort keys ----

// Between the levels of a key stands a byte below all others.
constexpr unsigned int levelEnd = 0x01;
constexpr unsigned int keyBase = 0x02;

// A letter of the alphabet's order or, with a key of 0, a character beyond it.
struct Collated {
    std::uint32_t key;
    unsigned int character;
};

bool isDigit(unsigned int character) {
    return character >= '0' && character <= '9';
}

// Calls use(collated) for all that counts in a text, and useNumber(first, end) for a run of digits where numbers count
// by their value.
template <class Use, class UseNumber>
void forEachCollated(const char *in, int inLen, bool natural, Use use, UseNumber useNumber) {
    for (TextReader text(in, inLen); !text.atEnd();) {
        const unsigned char *const first = text.at();
        const unsigned int character = text.next();
        if (natural && isDigit(character)) {
            while (!text.atEnd() && isDigit(*text.at())) {
                text.next();
            }
            useNumber(first, text.at());
            continue;
        }
        const std::uint32_t key = character > lastOfTables ? tables::catchAllKey : tables::collationKeyOf(character);
        if (key == 0) {
            continue;
        }
        use(Collated{key == tables::catchAllKey ? 0U : key, character});
        if (const unsigned int expansion = tables::expansionOf(key); expansion != 0 && key != tables::catchAllKey) {
            use(Collated{tables::collationKeyOf(expansion), expansion});
        }
    }
}

// In groups of seven bits, so that no byte is zero.
void putNumber(Output &output, unsigned int number, unsigned int groups) {
    for (unsigned int shift = 7 * groups; shift != 0;) {
        shift -= 7;
        output.byte(0x80U | (number >> shift & 0x7FU));
    }
}

// Behind all letters, by code point.
void putBeyond(Output &output, unsigned int character) {
    output.byte(0xFF);
    putNumber(output, character, 3);
}

// In one byte, or behind all that are, in six.
void putCount(Output &output, unsigned int count) {
    constexpr unsigned int firstLong = 250;
    output.byte(keyBase + std::min(count, firstLong));
    if (count >= firstLong) {
        putNumber(output, count, 5);
    }
}

void putLetters(Output &output, const char *in, int inLen, bool natural) {
    const auto putMain = [&output](Collated collated) {
        if (collated.key == 0) {
            putBeyond(output, collated.character);
        } else {
            output.byte(keyBase + static_cast<unsigned int>(tables::mainOf(collated.key)));
        }
    };
    // A number is where its first digit would be, then the count of its digits, then they themselves.
    const auto putValue = [&](const unsigned char *first, const unsigned char *end) {
        first = std::find_if(first, end, [](unsigned char digit) { return digit != '0'; });
        putMain({tables::collationKeyOf('0'), '0'});
        putCount(output, static_cast<unsigned int>(end - first));
        for (; first != end; ++first) {
            putMain({tables::collationKeyOf(*first), *first});
        }
    };
    forEachCollated(in, inLen, natural, putMain, putValue);
}

template <class PartOf>
void putLevel(Output &output, const char *in, int inLen, bool natural, PartOf partOf) {
    output.byte(levelEnd);
    forEachCollated(
        in, inLen, natural,
        [&](Collated collated) { output.byte(keyBase + static_cast<unsigned int>(partOf(collated.key))); },
        [&](const unsigned char *, const unsigned char *) { output.byte(keyBase); });
}

// ---- Pieces ----

unsigned int lengthOf(const zelkInsightPiece &piece) {
    return piece.bytes == nullptr ? 0U
           : piece.length < 0     ? static_cast<unsigned int>(std::strlen(piece.bytes))
                                  : static_cast<unsigned int>(piece.length);
}

unsigned int selectorLength(const zelkInsightPiece &piece, unsigned int length, DvbCode_t &code) {
    const detail::DvbSelection selection = detail::selectDvbCode(
        length == 0 ? "" : piece.bytes, static_cast<int>(std::min(length, 3U)), DvbCharSetStandard, DvbCodeNone, 0);
    code = selection.code;
    return std::min(selection.consumed, length);
}

} // namespace
} // namespace zelk::insight

using namespace zelk::insight;

unsigned int zelkInsightLower(char *out, int outSize, const char *in, int inLen) {
    return mapped(out, outSize, in, inLen,
                  [](Output &output, unsigned int character) { output.character(lower(character)); });
}

unsigned int zelkInsightUpper(char *out, int outSize, const char *in, int inLen) {
    return mapped(out, outSize, in, inLen,
                  [](Output &output, unsigned int character) { output.character(upper(character)); });
}

unsigned int zelkInsightFold(char *out, int outSize, const char *in, int inLen) {
    return mapped(out, outSize, in, inLen, [](Output &output, unsigned int character) {
        const unsigned int fold = folded(character);
        output.character(fold == sharpS ? 's' : fold);
        if (fold == sharpS) {
            output.character('s');
        }
    });
}

unsigned int zelkInsightSortKey(char *out, int outSize, const char *in, int inLen, unsigned int options) {
    const bool natural = (options & ZelkInsightNatural) != 0;
    Output output(out, outSize);
    putLetters(output, in, inLen, natural);
    putLevel(output, in, inLen, natural, zelk::tables::accentOf);
    putLevel(output, in, inLen, natural, zelk::tables::caseOf);
    output.byte(levelEnd);
    for (TextReader text(in, inLen); !text.atEnd();) {
        const unsigned char *const first = text.at();
        text.next();
        std::for_each(first, text.at(), [&output](unsigned char byte) { output.byte(byte); });
    }
    return output.finish();
}

int zelkInsightSortKeySize(const char *in, int inLen) {
    const TextReader text(in, inLen);
    const long long size = 9LL * (text.end() - text.at()) + 4;
    return size > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(size);
}

unsigned int zelkInsightJoinPieces(char *out, int outSize, const zelkInsightPiece *pieces, unsigned int count,
                                   unsigned int *used) {
    Output output(out, outSize);
    DvbCode_t firstCode = DvbCodeNone;
    unsigned int firstSelector = 0;
    unsigned int joined = 0;
    for (; joined < count; ++joined) {
        const zelkInsightPiece &piece = pieces[joined];
        const unsigned int length = lengthOf(piece);
        DvbCode_t code = DvbCodeNone;
        unsigned int selector = selectorLength(piece, length, code);
        if (joined == 0) {
            firstCode = code;
            firstSelector = selector;
            selector = 0;
        } else if (firstCode == DvbCodeCompressed || code == DvbCodeCompressed ||
                   (selector != 0 &&
                    (selector != firstSelector || std::memcmp(piece.bytes, pieces[0].bytes, selector) != 0))) {
            break;
        }
        for (unsigned int i = selector; i < length; ++i) {
            output.byte(static_cast<unsigned char>(piece.bytes[i]));
        }
    }
    if (used != nullptr) {
        *used = joined;
    }
    return output.finish();
}

unsigned int zelkInsightSplitEmphasis(const zelkInsightEvidence *evidence, unsigned int textLength,
                                      zelkInsightSpan *spans, unsigned int spanRoom) {
    unsigned int count = 0;
    unsigned int at = 0;
    const auto add = [&](unsigned int end, int emphasised) {
        if (at < end) {
            if (spans != nullptr && count < spanRoom) {
                spans[count] = {at, end - at, emphasised};
            }
            ++count;
            at = end;
        }
    };
    const unsigned int stored = std::min(evidence->findingCount, evidence->findingRoom);
    for (unsigned int i = 0; i < stored; ++i) {
        const zelkInsightFinding &finding = evidence->findings[i];
        const unsigned int begin = std::min(finding.textOffset, textLength);
        if (finding.kind == ZelkInsightEmphasis) {
            add(begin, 0);
            add(std::min(begin + finding.textLength, textLength), 1);
        }
    }
    add(textLength, 0);
    return count;
}
