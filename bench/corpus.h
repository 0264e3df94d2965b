// Programme titles and descriptions in the lengths that are broadcast, coded as a benchmark needs them.
//
// bench/corpus/ holds the texts, UTF-8, one a line. A benchmark works on many different strings, of lengths that follow
// no pattern, so that neither the caches of the processor nor its branch predictor know them by heart.
#pragma once

#include <bit>
#include <cstddef>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelk_bench {

enum class Length {
    Name,        // 16 to 48 bytes
    Description, // 180 to 220 bytes
    Buffer,      // 65,536 bytes
    Page,        // 8,192 bytes, where instructions are counted
    Other,       // as the case says
};

constexpr Length allLengths[] = {Length::Name, Length::Description, Length::Buffer};

std::string_view lengthName(Length length);

// Languages that are measured together, as the corpus names its files, and what the tables call them.
struct Languages {
    std::string title;
    std::vector<std::string> files;
};

inline const Languages english = {"English", {"english"}};
inline const Languages western = {"French, German, Spanish, Finnish", {"french", "german", "spanish", "finnish"}};
inline const Languages eastern = {"Polish, Czech, Hungarian", {"polish", "czech", "hungarian"}};
inline const Languages turkish = {"Turkish", {"turkish"}};
inline const Languages greek = {"Greek", {"greek"}};
inline const Languages cyrillic = {"Russian, Ukrainian, Bulgarian", {"russian", "ukrainian", "bulgarian"}};
inline const Languages chinese = {"Chinese", {"chinese"}};

// UCS-2 in native byte order, by its name in iconv.
constexpr const char *nativeUcs2 = std::endian::native == std::endian::little ? "UCS-2LE" : "UCS-2BE";

// Memory that begins a page, so that no contender's luck depends on where the allocator put things.
template <class Unit>
struct PageAllocator {
    using value_type = Unit;
    static constexpr std::align_val_t page{4096};

    PageAllocator() = default;
    template <class Other>
    PageAllocator(const PageAllocator<Other> &) {}

    Unit *allocate(std::size_t count) { return static_cast<Unit *>(::operator new(count * sizeof(Unit), page)); }
    void deallocate(Unit *memory, std::size_t) { ::operator delete(memory, page); }
    bool operator==(const PageAllocator &) const { return true; }
};

template <class Unit>
using Buffer = std::vector<Unit, PageAllocator<Unit>>;

// Texts in one block, each ended by a zero unit that does not count.
template <class Unit>
class Texts {
public:
    std::size_t size() const { return begins_.size(); }
    std::span<const Unit> operator[](std::size_t index) const {
        return {units_.data() + begins_[index], lengths_[index]};
    }

    void add(std::span<const Unit> text) {
        begins_.push_back(units_.size());
        lengths_.push_back(text.size());
        units_.insert(units_.end(), text.begin(), text.end());
        units_.push_back(0);
    }

    std::size_t totalUnits() const { return units_.size() - size(); }
    std::size_t longest() const {
        std::size_t longest = 0;
        for (const std::size_t length : lengths_) {
            longest = length > longest ? length : longest;
        }
        return longest;
    }

private:
    Buffer<Unit> units_;
    std::vector<std::size_t> begins_;
    std::vector<std::size_t> lengths_;
};

struct Source {
    Languages languages;
    std::string coding = "UTF-8"; // by its name in iconv
    std::string selector = {};    // bytes before every text, not counted in its length
};

// Texts of one length (names 512, descriptions 128, one buffer): real beginnings, cut between characters.
Texts<char> makeTexts(const Source &source, Length length);

// The same texts as units of 16 bits in native byte order; lengths are those of the bytes.
Texts<unsigned short> makeWideTexts(const Languages &languages, Length length);

// Lines of the corpus.
std::vector<std::string> titles(const Languages &languages);
std::vector<std::string> descriptions(const Languages &languages);

} // namespace zelk_bench
