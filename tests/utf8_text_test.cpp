// Whole texts and streams between UCS-2 and UTF-8, against models that know no sizes but the one at the end.
#include "zelk.h"

#include "helpers/guarded.h"
#include "helpers/text.h"
#include "helpers/twins.h"
#include "reference/utf8_model.h"

#include <climits>
#include <string>

using namespace zelk_test;

namespace {

// The three layouts of UCS-2 text by one set of names. Byte pairs lie at odd addresses.
struct Native {
    explicit Native(const Units &text) : text_(text) {}
    const unsigned short *data() const { return text_.data(); }
    static unsigned int encode(unsigned char *out, int size, const unsigned short *text, int count) {
        return zelkUtf8EncodeText(out, size, text, count);
    }
    static unsigned int length(const unsigned short *text, int count) { return zelkUtf8GetLength(text, count); }
    static Owned<CharPacket> packet(const unsigned short *text, int count) {
        return Owned<CharPacket>(zelkUtf8EncodeString(text, count));
    }

private:
    Units text_;
};

class OddBytes {
public:
    const unsigned char *data() const { return u8(bytes_) + 1; }

protected:
    void push(unsigned int byte) { bytes_.push_back(static_cast<char>(byte)); }

private:
    std::string bytes_ = "x";
};

struct HighFirst : OddBytes {
    explicit HighFirst(const Units &text) {
        for (const unsigned int unit : text) {
            push(unit / 256);
            push(unit % 256);
        }
    }
    static unsigned int encode(unsigned char *out, int size, const unsigned char *text, int count) {
        return zelkUtf8EncodeNotAlignedText(out, size, text, count);
    }
    static unsigned int length(const unsigned char *text, int count) {
        return zelkUtf8GetLengthForNotAlignedText(text, count);
    }
    static Owned<CharPacket> packet(const unsigned char *text, int count) {
        return Owned<CharPacket>(zelkUtf8EncodeNotAlignedString(text, count));
    }
};

struct LowFirst : OddBytes {
    explicit LowFirst(const Units &text) {
        for (const unsigned int unit : text) {
            push(unit % 256);
            push(unit / 256);
        }
    }
    static unsigned int encode(unsigned char *out, int size, const unsigned char *text, int count) {
        return zelkUtf8EncodeNotAlignedInverseText(out, size, text, count);
    }
    static unsigned int length(const unsigned char *text, int count) {
        return zelkUtf8GetLengthForNotAlignedInverseText(text, count);
    }
    static Owned<CharPacket> packet(const unsigned char *text, int count) {
        return Owned<CharPacket>(zelkUtf8EncodeNotAlignedInverseString(text, count));
    }
};

// The bytes of the units before the zero unit or the count; a sequence that no longer fits is left out, later ones may
// fit again.
std::string encodeModel(const Units &text, int count, std::size_t room) {
    std::string result;
    for (std::size_t i = 0; i < text.size() && text[i] != 0 && (count < 0 || i < static_cast<std::size_t>(count));
         ++i) {
        const std::string sequence = utf8EncodeModel(text[i]);
        if (result.size() + sequence.size() < room) {
            result += sequence;
        }
    }
    return result;
}

template <class Layout>
struct Utf8Encode : public ::testing::Test {
    static std::string encode(const Units &text, int size, int count) {
        Guarded<unsigned char> out(static_cast<std::size_t>(size));
        const unsigned int length = Layout::encode(out.data(), size, Layout(text).data(), count);
        EXPECT_LT(length, out.size());
        EXPECT_EQ(out[length], 0);
        if (length == 0) { // of a text without characters the terminator alone is written
            out[0] = Guarded<unsigned char>::pattern();
            EXPECT_TRUE(out.untouched());
        }
        return std::string(out.data(), out.data() + length);
    }
};

using Layouts = ::testing::Types<Native, HighFirst, LowFirst>;
TYPED_TEST_SUITE(Utf8Encode, Layouts);

Units randomUnits(Random &random, std::size_t longest) {
    constexpr unsigned int limits[] = {0x80, 0x80, 0x800, 0x10000};
    Units text;
    for (auto left = random.below(static_cast<std::uint32_t>(longest) + 1); left != 0; --left) {
        text.push_back(static_cast<unsigned short>(1 + random.below(limits[random.below(4)] - 1)));
    }
    text.push_back(0);
    return text;
}

// Bytes that often form sequences, whole, broken and overlong.
std::string randomBytes(Random &random, std::size_t longest) {
    constexpr unsigned char sly[] = {0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC1, 0xC3, 0xDF, 0xE0, 0xE2, 0xED, 0xEF,
                                     0xF0, 0xF4, 0xFF, 0x82, 0xA0, 0xA9, 0xAC, 0x9F, 0xBD, 0x85, 0x22, 0x01};
    std::string text;
    for (auto left = random.below(static_cast<std::uint32_t>(longest) + 1); left != 0; --left) {
        if (random.chance(30)) {
            text += utf8EncodeModel(1 + random.below(0xFFFF));
        } else {
            text.push_back(static_cast<char>(sly[random.below(sizeof sly)]));
        }
    }
    return text;
}

} // namespace

TYPED_TEST(Utf8Encode, CutsAtACharacter) {
    const Units text = terminated({0x48, 0x00E9, 0x20AC});
    EXPECT_EQ(this->encode(text, 7, -1), bytes("48 C3 A9 E2 82 AC"));
    EXPECT_EQ(this->encode(text, 6, -1), bytes("48 C3 A9"));
}

TYPED_TEST(Utf8Encode, SkipsWhatDoesNotFit) {
    EXPECT_EQ(this->encode(terminated({0x20AC, 0x41}), 3, -1), "A");
    EXPECT_EQ(this->encode(terminated({0x41, 0x20AC, 0xE9, 0x42, 0x43}), 4, -1), bytes("41 C3 A9"));
}

TYPED_TEST(Utf8Encode, EndsAtTheCountOrTheTerminator) {
    const Units text = terminated({0x41, 0xE9, 0x20AC});
    EXPECT_EQ(this->encode(text, 20, 2), bytes("41 C3 A9"));
    EXPECT_EQ(this->encode(text, 20, 0), "");
    for (const int count : {-1, -2, INT_MIN, 3, 4, INT_MAX}) {
        EXPECT_EQ(this->encode(text, 20, count), bytes("41 C3 A9 E2 82 AC"));
        EXPECT_EQ(TypeParam::length(TypeParam(text).data(), count), 6U);
    }
    EXPECT_EQ(TypeParam::length(TypeParam(text).data(), 2), 3U);
    EXPECT_EQ(TypeParam::length(TypeParam(text).data(), 0), 0U);
    EXPECT_EQ(TypeParam::length(TypeParam(terminated({})).data(), -1), 0U);
}

TYPED_TEST(Utf8Encode, TestsTheCountBeforeTheNextUnit) {
    const TypeParam text({0x41, 0xE9}); // not terminated
    Guarded<unsigned char> out(10);
    EXPECT_EQ(TypeParam::encode(out.data(), 10, text.data(), 2), 3U);
    EXPECT_EQ(TypeParam::length(text.data(), 2), 3U);
    EXPECT_EQ(TypeParam::packet(text.data(), 2)->length, 3);
    EXPECT_EQ(TypeParam::encode(out.data(), 4, text.data(), -1), 3U);
}

TYPED_TEST(Utf8Encode, TerminatesForNothing) {
    for (const int size : {10, 1, 0, -1, INT_MIN}) {
        Guarded<unsigned char> out(1);
        EXPECT_EQ(TypeParam::encode(out.data(), size, nullptr, -1), 0U);
        EXPECT_EQ(out[0], 0);
    }
    const TypeParam text(terminated({0x41}));
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<unsigned char> out(1);
        EXPECT_EQ(TypeParam::encode(out.data(), size, text.data(), -1), 0U);
        EXPECT_EQ(out[0], 0);
    }
    EXPECT_EQ(TypeParam::length(nullptr, -1), 0U);
    EXPECT_EQ(TypeParam::packet(nullptr, -1), nullptr);
}

TYPED_TEST(Utf8Encode, FollowsTheModelAtEverySize) {
    Random random(0x22);
    for (int round = 0; round < 150; ++round) {
        const Units text = randomUnits(random, 12);
        const int count = random.chance(50) ? -1 : static_cast<int>(random.below(14));
        const std::string whole = encodeModel(text, count, UINT_MAX);
        ASSERT_EQ(TypeParam::length(TypeParam(text).data(), count), whole.size());
        for (int size = 1; size < 40; ++size) {
            ASSERT_EQ(this->encode(text, size, count), encodeModel(text, count, static_cast<std::size_t>(size)));
        }
        const auto packet = TypeParam::packet(TypeParam(text).data(), count);
        ASSERT_EQ(packet->capacity, whole.size() + 1);
        ASSERT_EQ(textOf(packet), std::vector<char>(whole.begin(), whole.end()));
        ASSERT_EQ(packet->chars[whole.size()], 0);
    }
}

TYPED_TEST(Utf8Encode, TakesEveryUnit) {
    Units text;
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        text.push_back(static_cast<unsigned short>(unit));
    }
    text.push_back(0);
    const std::string expected = encodeModel(text, -1, UINT_MAX);
    EXPECT_EQ(TypeParam::length(TypeParam(text).data(), -1), expected.size());
    EXPECT_EQ(this->encode(text, static_cast<int>(expected.size()) + 1, -1), expected);
}

TYPED_TEST(Utf8Encode, SizesPacketsModulo65536) {
    const auto packetOf = [](std::size_t length) {
        Units text(length, 'x');
        text.push_back(0);
        return TypeParam::packet(TypeParam(text).data(), -1);
    };
    const auto largest = packetOf(65534);
    EXPECT_EQ(largest->capacity, 65535);
    EXPECT_EQ(largest->length, 65534);
    const auto refused = packetOf(65535);
    EXPECT_EQ(refused->capacity, 0);
    EXPECT_EQ(refused->length, 0);
    EXPECT_EQ(refused->chars[0], 0);
    const auto cut = packetOf(70000);
    EXPECT_EQ(cut->capacity, 70001 - 65536);
    EXPECT_EQ(cut->length, 70000 - 65536);
}

TEST(Utf8EncodePairs, ReadsEachByteOrder) {
    const std::string text = bytes("00 41 20 AC");
    Guarded<unsigned char> out(10);
    EXPECT_EQ(zelkUtf8EncodeNotAlignedText(out.data(), 10, u8(text), 2), 4U);
    EXPECT_EQ(std::string(out.data(), out.data() + 4), bytes("41 E2 82 AC"));
    EXPECT_EQ(zelkUtf8EncodeNotAlignedInverseText(out.data(), 10, u8(text), 2), 6U);
    EXPECT_EQ(std::string(out.data(), out.data() + 6), bytes("E4 84 80 EA B0 A0"));
}

namespace {

constexpr unsigned int kept = 0xA7A7; // what a guarded buffer holds before

Units decodeModel(const std::string &text, TextEnd end) {
    Units result;
    for (const Utf8Character &character : utf8CharactersModel(text, end)) {
        result.push_back(static_cast<unsigned short>(character.character.value_or(kept)));
    }
    return result;
}

Units decode(const std::string &text, int size, int length) {
    Guarded<unsigned short> out(static_cast<std::size_t>(size));
    const unsigned int count = zelkUtf8DecodeText(out.data(), size, u8(text), length);
    EXPECT_LT(count, out.size());
    EXPECT_EQ(out[count], 0);
    return Units(out.data(), out.data() + count);
}

} // namespace

TEST(Utf8DecodeText, GivesOneReplacementForEachRejectedByte) {
    EXPECT_EQ(decode(bytes("41 F0 9F 98 80 42"), 20, -1), (Units{0x41, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0x42}));
    EXPECT_EQ(decode(bytes("C0 80 E2 82 41"), 20, -1), (Units{0xFFFD, 0xFFFD, 0x41}));
}

TEST(Utf8DecodeText, KeepsTheUnitOfACutOffSequence) {
    EXPECT_EQ(decode(bytes("41 E2 82 AC"), 20, 3), (Units{0x41, kept}));
    EXPECT_EQ(decode(bytes("C3 A9"), 20, 1), (Units{kept}));
}

TEST(Utf8DecodeText, TerminatesForNothing) {
    for (const int size : {10, 1, 0, -1, INT_MIN}) {
        Guarded<unsigned short> out(1);
        EXPECT_EQ(zelkUtf8DecodeText(out.data(), size, nullptr, -1), 0U);
        EXPECT_EQ(out[0], 0);
    }
    for (const int size : {1, 0, -1, INT_MIN}) {
        Guarded<unsigned short> out(1);
        EXPECT_EQ(zelkUtf8DecodeText(out.data(), size, u8("A"), -1), 0U);
        EXPECT_EQ(out[0], 0);
    }
    EXPECT_EQ(decode("A", 5, 0), Units{});
    EXPECT_EQ(decode("", 5, -1), Units{});
}

TEST(Utf8DecodeText, FollowsTheModelAtEverySizeAndLength) {
    Random random(0x23);
    for (int round = 0; round < 150; ++round) {
        const std::string text = randomBytes(random, 10);
        const int size = static_cast<int>(text.size());
        ASSERT_EQ(decode(text, size + 1, -1), decodeModel(text, TextEnd::Terminator));
        for (int length = 0; length <= size; ++length) {
            const Units expected = decodeModel(text.substr(0, static_cast<std::size_t>(length)), TextEnd::Count);
            for (int outSize = 1; outSize <= size + 2; ++outSize) {
                Units cut = expected;
                cut.resize(std::min(cut.size(), static_cast<std::size_t>(outSize) - 1));
                ASSERT_EQ(decode(text, outSize, length), cut);
            }
        }
    }
}

TEST(Utf8DecodeText, LooksAtNoByteBehindTheLength) {
    Random random(0x25);
    for (int round = 0; round < 300; ++round) {
        const std::string text = randomBytes(random, 6);
        const std::vector<unsigned char> exact(text.begin(), text.end()); // not terminated
        if (!exact.empty()) {
            const Units expected = decodeModel(text, TextEnd::Count);
            Guarded<unsigned short> out(expected.size() + 1);
            ASSERT_EQ(zelkUtf8DecodeText(out.data(), INT_MAX, exact.data(), static_cast<int>(exact.size())),
                      expected.size());
        }
    }
}

TEST(Utf8DecodeText, ReadsBackEveryUnit) {
    std::string text;
    Units expected;
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        text += utf8EncodeModel(unit);
        expected.push_back(static_cast<unsigned short>(unit));
    }
    EXPECT_EQ(decode(text, 70000, -1), expected);
    EXPECT_EQ(decode(text, 70000, INT_MIN), expected);
}

TEST(Utf8DecodeString, GivesAPacketOfItsWidth) {
    EXPECT_EQ(zelkUtf8DecodeString(nullptr, -1), nullptr);
    const std::string text = bytes("41 C3 A9 E2 82 AC");
    const Owned<WideCharPacket> packet(zelkUtf8DecodeString(u8(text), -1));
    EXPECT_EQ(packet->capacity, 4);
    EXPECT_EQ(textOf(packet), (Units{0x41, 0xE9, 0x20AC}));
    EXPECT_EQ(packet->chars[3], 0);
    for (const int length : {0, -1}) {
        const Owned<WideCharPacket> empty(zelkUtf8DecodeString(u8(length == 0 ? "A" : ""), length));
        EXPECT_EQ(empty->capacity, 1);
        EXPECT_EQ(empty->length, 0);
        EXPECT_EQ(empty->chars[0], 0);
    }
}

TEST(Utf8DecodeString, ZeroesTheUnitOfACutOffSequence) {
    const std::string text = bytes("41 E2 82 AC");
    const Owned<WideCharPacket> packet(zelkUtf8DecodeString(u8(text), 3));
    EXPECT_EQ(textOf(packet), (Units{0x41, 0}));
    const Owned<WideCharPacket> single(zelkUtf8DecodeString(u8(bytes("C3 A9")), 1));
    EXPECT_EQ(textOf(single), (Units{0}));
}

TEST(Utf8DecodeString, SizesPacketsModulo65536) {
    const auto packetOf = [](const std::string &text) {
        return Owned<WideCharPacket>(zelkUtf8DecodeString(u8(text), static_cast<int>(text.size())));
    };
    EXPECT_EQ(packetOf(std::string(65534, 'x'))->length, 65534);
    const auto refused = packetOf(std::string(65535, 'x'));
    EXPECT_EQ(refused->capacity, 0);
    EXPECT_EQ(refused->length, 0);
    EXPECT_EQ(refused->chars[0], 0);
    const auto cut = packetOf(std::string(70000, 'x') + bytes("C3"));
    EXPECT_EQ(cut->capacity, 70002 - 65536);
    EXPECT_EQ(textOf(cut), Units(70001 - 65536, 'x'));
}

namespace {

struct Stream {
    std::vector<int> input;
    std::size_t next = 0;
    std::vector<unsigned int> output = {};
    std::size_t accepts = SIZE_MAX;

    static int get(void *context) {
        auto *stream = static_cast<Stream *>(context);
        return stream->next < stream->input.size() ? stream->input[stream->next++] : -1;
    }
    static int put(unsigned int unit, void *context) {
        auto *stream = static_cast<Stream *>(context);
        if (stream->output.size() == stream->accepts) {
            return -1;
        }
        stream->output.push_back(unit);
        return 0;
    }
    int encode() { return zelkUtf8EncodeStream(get, this, put, this); }
    int decode() { return zelkUtf8DecodeStream(get, this, put, this); }
};

std::vector<int> inputOf(const std::string &text) {
    std::vector<int> input;
    for (const char byte : text) {
        input.push_back(static_cast<unsigned char>(byte));
    }
    return input;
}

std::vector<unsigned int> decoded(const std::string &text) {
    Stream stream{inputOf(text)};
    const int count = stream.decode();
    EXPECT_EQ(count, static_cast<int>(stream.output.size()));
    return stream.output;
}

// The characters of the text model, but for the two ways in which a stream differs: the unfinished sequence at the end
// is dropped, and so is one that a four-byte lead breaks off.
std::vector<unsigned int> streamModel(const std::string &text) {
    const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    std::vector<unsigned int> result;
    for (std::size_t i = 0; i < text.size();) {
        const Utf8Step step = utf8StepModel(u8(text) + i, static_cast<unsigned int>(text.size() - i));
        const unsigned int needed = byteAt(i) < 0xC0 ? 1 : byteAt(i) < 0xE0 ? 2 : byteAt(i) < 0xF0 ? 3 : 1;
        i += step.consumed;
        const bool dropped = step.consumed < needed && (i == text.size() || byteAt(i) >= 0xF0);
        if (!dropped) {
            result.push_back(step.character.value());
        }
    }
    return result;
}

} // namespace

TEST(Utf8DecodeStream, ReportsBrokenSequences) {
    EXPECT_EQ(decoded(bytes("E2 82 41")), (std::vector<unsigned int>{0xFFFD, 0x41}));
    EXPECT_EQ(decoded(bytes("C3")), std::vector<unsigned int>{});
    EXPECT_EQ(decoded(bytes("C0 80")), (std::vector<unsigned int>{0xFFFD}));
    EXPECT_EQ(decoded(bytes("00")), (std::vector<unsigned int>{0}));
    EXPECT_EQ(decoded(bytes("E2 00")), (std::vector<unsigned int>{0xFFFD, 0}));
    EXPECT_EQ(decoded(bytes("E2 C3 A9")), (std::vector<unsigned int>{0xFFFD, 0xE9}));
    EXPECT_EQ(decoded(bytes("E0 80 80 80")), (std::vector<unsigned int>{0xFFFD, 0xFFFD}));
}

TEST(Utf8DecodeStream, GivesOneReplacementForAFourByteLeadAndWhatItBreaksOff) {
    EXPECT_EQ(decoded(bytes("E2 82 F0 41")), (std::vector<unsigned int>{0xFFFD, 0x41}));
    EXPECT_EQ(decoded(bytes("F0 9F 98 80")), (std::vector<unsigned int>{0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}));
}

TEST(Utf8DecodeStream, FollowsTheModel) {
    Random random(0x24);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = randomBytes(random, 20);
        ASSERT_EQ(decoded(text), streamModel(text));
    }
}

TEST(Utf8DecodeStream, StopsWhenThePutterDoes) {
    for (std::size_t accepts = 0; accepts <= 4; ++accepts) {
        Stream stream{inputOf(bytes("41 E2 42 C3 A9"))}; // 41, FFFD and 42, E9
        stream.accepts = accepts;
        EXPECT_EQ(stream.decode(), static_cast<int>(accepts));
        const std::vector<unsigned int> all{0x41, 0xFFFD, 0x42, 0xE9};
        EXPECT_EQ(stream.output,
                  std::vector<unsigned int>(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(accepts)));
    }
}

TEST(Utf8DecodeStream, TakesTheLowSixteenBitsOfItsInput) {
    Stream stream{{0x10041, -2, 0x10000, 0x141, -1, 0x41}};
    EXPECT_EQ(stream.decode(), 4);
    EXPECT_EQ(stream.output, (std::vector<unsigned int>{0x41, 0xFFFD, 0, 0xFFFD}));
}

TEST(Utf8EncodeStream, PassesZeroUnitsOn) {
    Stream stream{{0x20AC, 0x0000, 0x0041}};
    EXPECT_EQ(stream.encode(), 5);
    EXPECT_EQ(stream.output, (std::vector<unsigned int>{0xE2, 0x82, 0xAC, 0x00, 0x41}));
}

TEST(Utf8EncodeStream, StopsWhenThePutterDoes) {
    const std::vector<unsigned int> all{0xE2, 0x82, 0xAC, 0x00, 0x41, 0xC3, 0xA9};
    for (std::size_t accepts = 0; accepts <= all.size(); ++accepts) {
        Stream stream{{0x20AC, 0x0000, 0x0041, 0xE9}};
        stream.accepts = accepts;
        EXPECT_EQ(stream.encode(), static_cast<int>(accepts));
        EXPECT_EQ(stream.output,
                  std::vector<unsigned int>(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(accepts)));
    }
}

TEST(Utf8EncodeStream, TakesEveryUnit) {
    Stream stream;
    std::vector<unsigned int> expected;
    for (int unit = 0; unit <= 0xFFFF; ++unit) {
        stream.input.push_back(unit);
        for (const char byte : utf8EncodeModel(static_cast<unsigned int>(unit))) {
            expected.push_back(static_cast<unsigned char>(byte));
        }
    }
    stream.input.push_back(-2); // the unit 0xFFFE: -1 alone ends the input
    stream.input.push_back(0x7FFF0041);
    expected.insert(expected.end(), {0xEF, 0xBF, 0xBE, 0x41});
    EXPECT_EQ(stream.encode(), static_cast<int>(expected.size()));
    EXPECT_EQ(stream.output, expected);
}

namespace {

struct Source {
    int left;

    static int get(void *context) {
        auto *source = static_cast<Source *>(context);
        return source->left-- > 0 ? 'a' : -1;
    }
};

struct Sink {
    int answer;
    int offered = 0;

    static int put(unsigned int unit, void *context) {
        auto *sink = static_cast<Sink *>(context);
        EXPECT_EQ(unit, 'a');
        ++sink->offered;
        return sink->answer;
    }
};

} // namespace

// Each function gets the context that came with it.
TEST(Utf8Streams, GoOnWhileThePutterIsNotNegative) {
    for (const auto stream : {zelkUtf8EncodeStream, zelkUtf8DecodeStream}) {
        for (const int answer : {0, 1, 255, INT_MAX, -1, -2, INT_MIN}) {
            Source source{3};
            Sink sink{answer};
            EXPECT_EQ(stream(Source::get, &source, Sink::put, &sink), answer < 0 ? 0 : 3) << answer;
            EXPECT_EQ(sink.offered, answer < 0 ? 1 : 3) << answer;
        }
    }
}

TEST(Utf8Encoder, HandsOutPendingBytesForZero) {
    Utf8EncoderState state{5, {6, 7}};
    zelkInitUtf8Encoder(&state);
    EXPECT_EQ(state.pendingCount, 0);
    EXPECT_EQ(state.pendingBytes[0], 0);
    EXPECT_EQ(state.pendingBytes[1], 0);
    EXPECT_EQ(zelkUtf8Encode(&state, 0), 0U);

    EXPECT_EQ(zelkUtf8Encode(&state, 0x20AC), 0xE2U);
    EXPECT_EQ(state.pendingCount, 2);
    EXPECT_EQ(state.pendingBytes[0], 0xAC);
    EXPECT_EQ(state.pendingBytes[1], 0x82);
    EXPECT_EQ(zelkUtf8Encode(&state, 0x41), 0x41U); // leaves them for later
    EXPECT_EQ(zelkUtf8Encode(&state, 0), 0x82U);
    EXPECT_EQ(zelkUtf8Encode(&state, 0xE9), 0xC3U); // replaces them
    EXPECT_EQ(state.pendingCount, 1);
    EXPECT_EQ(zelkUtf8Encode(&state, 0), 0xA9U);
    EXPECT_EQ(zelkUtf8Encode(&state, 0), 0U);
}

TEST(Utf8Encoder, DoesNotMaskAUnitOfMoreThanSixteenBits) {
    Utf8EncoderState state;
    zelkInitUtf8Encoder(&state);
    EXPECT_EQ(zelkUtf8Encode(&state, 0x10000), 0xF0U);
    EXPECT_EQ(zelkUtf8Encode(&state, 0xFFFFFFFF), 0x1000DFU);
    EXPECT_EQ(zelkUtf8Encode(&state, 0), 0xBFU);
    EXPECT_EQ(zelkUtf8Encode(&state, 0), 0xBFU);
}

TEST(Utf8Decoder, KeepsItsStateAsDocumented) {
    Utf8DecoderState state{1, 2, 3};
    zelkInitUtf8Decoder(&state);
    EXPECT_EQ(state.remaining, 0U);
    EXPECT_EQ(state.tooSmall, 0);
    EXPECT_EQ(state.value, 0);

    EXPECT_EQ(zelkUtf8Decode(&state, 0xE2), 0U);
    EXPECT_EQ(state.remaining, 2U);
    EXPECT_EQ(state.value, 2);
    EXPECT_EQ(zelkUtf8Decode(&state, 0x82), 0U);
    EXPECT_EQ(state.remaining, 1U);
    EXPECT_EQ(state.value, 0x82);
    EXPECT_EQ(zelkUtf8Decode(&state, 0x41), 0xFFFD0041U);
    EXPECT_EQ(state.remaining, 0U);
    EXPECT_EQ(state.value, 0x82);

    EXPECT_EQ(zelkUtf8Decode(&state, 0xE0), 0U);
    EXPECT_EQ(zelkUtf8Decode(&state, 0x80), 0U);
    EXPECT_NE(state.tooSmall, 0);
    EXPECT_EQ(zelkUtf8Decode(&state, 0xC3), 0xFFFDU);
    EXPECT_EQ(state.tooSmall, 0);
    EXPECT_EQ(zelkUtf8Decode(&state, 0x00), 0xFFFD0000U);
    EXPECT_EQ(zelkUtf8Decode(&state, 0x80), 0xFFFDU);
    for (const unsigned int byte : {0xF0U, 0xFFU, 0x100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(zelkUtf8Decode(&state, 0xE2), 0U);
        EXPECT_EQ(zelkUtf8Decode(&state, byte), 0xFFFDU);
        EXPECT_EQ(state.remaining, 0U);
    }
    // A sequence that ends, be it overlong, leaves the record as it was set up.
    for (const char *sequence : {"C3 A9", "E2 82 AC", "C0 80", "E0 80 80"}) {
        unsigned int last = 0;
        for (const char byte : bytes(sequence)) {
            EXPECT_EQ(last, 0U);
            last = zelkUtf8Decode(&state, static_cast<unsigned char>(byte));
        }
        EXPECT_NE(last, 0U);
        EXPECT_EQ(state.remaining, 0U);
        EXPECT_EQ(state.tooSmall, 0);
        EXPECT_EQ(state.value, 0);
    }
}

// What the record holds after each kind of byte; `tooSmall` and `value` stay where nothing needs them any more.
TEST(Utf8Decoder, SetsItsRecordByteByByte) {
    struct Row {
        const char *bytes;
        unsigned int remaining;
        bool tooSmall;
        unsigned short value;
    };
    const Row rows[] = {
        {"C3", 1, false, 0x03},      {"DF", 1, false, 0x1F},      {"E2", 2, false, 0x02},
        {"EF BF", 1, false, 0x03FF}, {"E0 9F", 1, true, 0x1F},    {"E0 A0", 1, false, 0x20},
        {"41", 0, false, 0},         {"80", 0, false, 0},         {"E2 82 41", 0, false, 0x82},
        {"E0 81 41", 0, true, 0x01}, {"C3 41", 0, false, 0x03},   {"E0 81 F0", 0, false, 0x01},
        {"E2 FF", 0, false, 0x02},   {"E0 81 E3", 2, false, 0x3}, {"E0 81 C4", 1, false, 0x04},
    };
    for (const Row &row : rows) {
        Utf8DecoderState state;
        zelkInitUtf8Decoder(&state);
        for (const char byte : bytes(row.bytes)) {
            zelkUtf8Decode(&state, static_cast<unsigned char>(byte));
        }
        EXPECT_EQ(state.remaining, row.remaining) << row.bytes;
        EXPECT_EQ(state.tooSmall != 0, row.tooSmall) << row.bytes;
        EXPECT_EQ(state.value, row.value) << row.bytes;
    }
}

// Whatever a record says to be pending ends with the bytes that do not continue it.
TEST(Utf8Decoder, ARecordThatIsNotOursComesToAnEnd) {
    for (const unsigned int remaining : {3U, 4U, 0x80000000U, 0xFFFFFFFFU}) {
        Utf8DecoderState state{remaining, 0, 4};
        EXPECT_EQ(zelkUtf8Decode(&state, 0x80), 0U);
        EXPECT_EQ(state.remaining, remaining - 1);
        EXPECT_EQ(zelkUtf8Decode(&state, 0x41), 0xFFFD0041U);
        EXPECT_EQ(zelkUtf8Decode(&state, 0x42), 0x42U);
    }
    Utf8DecoderState state{3, 0, 4}; // six bits a byte, of which sixteen stay
    EXPECT_EQ(zelkUtf8Decode(&state, 0x81), 0U);
    EXPECT_EQ(zelkUtf8Decode(&state, 0x82), 0U);
    EXPECT_EQ(zelkUtf8Decode(&state, 0x83), 0x1083U);
    EXPECT_EQ(state.remaining, 0U);
}
