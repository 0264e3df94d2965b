#include "output.h"

#include <array>
#include <cstring>

namespace zelk::arrow {
namespace {

std::size_t bitmapSize(std::int64_t rows) {
    return (static_cast<std::size_t>(rows) + 7) / 8;
}

constexpr std::size_t mostChildren = 8;
constexpr std::size_t mostBuffers = 3;

// What an array or its schema owns. A consumer may move any child away: it then sets that child's `release` to null.
struct ArrayOwner {
    std::array<Block, mostBuffers> blocks;
    std::array<const void *, mostBuffers> buffers{};
    std::array<ArrowArray, mostChildren> children{};
    std::array<ArrowArray *, mostChildren> childPointers{};
    ArrowArray dictionary{};
};

struct SchemaOwner {
    std::array<ArrowSchema, mostChildren> children{};
    std::array<ArrowSchema *, mostChildren> childPointers{};
    ArrowSchema dictionary{};
};

template <class Structure, class Owner>
void release(Structure *structure) {
    auto *const owner = static_cast<Owner *>(structure->private_data);
    for (Structure &child : owner->children) {
        if (child.release != nullptr) {
            child.release(&child);
        }
    }
    if (owner->dictionary.release != nullptr) {
        owner->dictionary.release(&owner->dictionary);
    }
    delete owner;
    structure->release = nullptr;
}

// A structure that is released unless it is handed on.
template <class Structure>
class Owned {
public:
    Owned() = default;
    ~Owned() {
        if (structure.release != nullptr) {
            structure.release(&structure);
        }
    }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;

    void moveTo(Structure &target) {
        target = structure;
        structure.release = nullptr;
    }

    Structure structure{};
};

void makeSchema(Owned<ArrowSchema> &owned, const char *format, const char *name) {
    owned.structure = {.format = format,
                       .name = name,
                       .metadata = nullptr,
                       .flags = ARROW_FLAG_NULLABLE,
                       .n_children = 0,
                       .children = nullptr,
                       .dictionary = nullptr,
                       .release = release<ArrowSchema, SchemaOwner>,
                       .private_data = new SchemaOwner};
}

void makeArray(Owned<ArrowArray> &owned, std::int64_t length, std::int64_t nullCount) {
    owned.structure = {.length = length,
                       .null_count = nullCount,
                       .offset = 0,
                       .n_buffers = 0,
                       .n_children = 0,
                       .buffers = nullptr,
                       .children = nullptr,
                       .dictionary = nullptr,
                       .release = release<ArrowArray, ArrayOwner>,
                       .private_data = new ArrayOwner};
}

ArrayOwner &ownerOf(Owned<ArrowArray> &owned) {
    return *static_cast<ArrayOwner *>(owned.structure.private_data);
}

void addBuffer(Owned<ArrowArray> &owned, Block block) {
    ArrayOwner &owner = ownerOf(owned);
    const auto place = static_cast<std::size_t>(owned.structure.n_buffers++);
    owner.blocks[place] = std::move(block);
    owner.buffers[place] = owner.blocks[place].data();
    owned.structure.buffers = owner.buffers.data();
}

template <class Structure, class Owner>
void addChild(Owned<Structure> &owned, Owned<Structure> &child) {
    auto &owner = *static_cast<Owner *>(owned.structure.private_data);
    const auto place = static_cast<std::size_t>(owned.structure.n_children++);
    child.moveTo(owner.children[place]);
    owner.childPointers[place] = &owner.children[place];
    owned.structure.children = owner.childPointers.data();
}

template <class Structure, class Owner>
void addDictionary(Owned<Structure> &owned, Owned<Structure> &dictionary) {
    auto &owner = *static_cast<Owner *>(owned.structure.private_data);
    dictionary.moveTo(owner.dictionary);
    owned.structure.dictionary = &owner.dictionary;
}

void makeColumn(Column &column, Block validity, std::int64_t nullCount, Owned<ArrowSchema> &schema,
                Owned<ArrowArray> &array) {
    makeSchema(schema, column.format, column.name);
    makeArray(array, column.length, nullCount);
    addBuffer(array, std::move(validity));
    for (Block &buffer : column.buffers) {
        addBuffer(array, std::move(buffer));
    }
    if (column.dictionary != nullptr) {
        Owned<ArrowSchema> valueSchema;
        Owned<ArrowArray> values;
        makeColumn(*column.dictionary, Block(), 0, valueSchema, values);
        addDictionary<ArrowSchema, SchemaOwner>(schema, valueSchema);
        addDictionary<ArrowArray, ArrayOwner>(array, values);
    }
}

} // namespace

Validity::Validity(std::int64_t rows) {
    bits_.resize(bitmapSize(rows));
    std::memset(bits_.data(), 0xFF, bits_.capacity());
}

Block Validity::copy(std::int64_t rows) const {
    Block result;
    result.resize(bitmapSize(rows));
    std::memcpy(result.data(), bits_.data(), result.capacity());
    return result;
}

Texts::Texts(Kind kind, unsigned int options, std::int64_t rows)
    : kind_(kind), options_(options), wide_((options & ZelkArrowLarge) != 0), rows_(rows) {
    const std::size_t width = wide_ ? sizeof(std::int64_t) : sizeof(std::int32_t);
    offsets_.resize((static_cast<std::size_t>(rows) + 1) * width);
    std::memset(offsets_.data(), 0, width);
}

// The row that does not fit is the last so far.
void Texts::widen() {
    if ((options_ & ZelkArrowGrow) == 0) {
        fail(ZelkArrowTooLarge);
    }
    Block offsets;
    offsets.resize((static_cast<std::size_t>(rows_) + 1) * sizeof(std::int64_t));
    for (std::int64_t row = 0; row < row_; ++row) {
        offsets.as<std::int64_t>()[row] = offsets_.as<std::int32_t>()[row];
    }
    offsets_ = std::move(offsets);
    wide_ = true;
    offsets_.as<std::int64_t>()[row_] = static_cast<std::int64_t>(used_);
}

Column Texts::finish(const char *name) {
    bytes_.resize(used_);
    const char *const format = kind_ == Kind::Text ? (wide_ ? "U" : "u") : (wide_ ? "Z" : "z");
    Column column(format, name, rows_);
    column.buffers.push_back(std::move(offsets_));
    column.buffers.push_back(std::move(bytes_));
    return column;
}

std::unique_ptr<Column> dictionaryOf(const std::vector<const char *> &values) {
    Texts texts(Texts::Kind::Text, 0, static_cast<std::int64_t>(values.size()));
    for (const char *const value : values) {
        const std::size_t length = std::strlen(value);
        std::memcpy(texts.room(length), value, length);
        texts.add(length);
    }
    return std::make_unique<Column>(texts.finish(""));
}

void handOver(std::vector<Column> columns, bool asStruct, Validity validity, std::int64_t rows, ArrowSchema *schema,
              ArrowArray *array) {
    Owned<ArrowSchema> type;
    Owned<ArrowArray> result;
    const std::int64_t nulls = validity.nullCount();
    if (asStruct) {
        makeSchema(type, "+s", "");
        makeArray(result, rows, nulls);
        addBuffer(result, nulls == 0 ? Block() : validity.copy(rows));
    }
    for (Column &column : columns) {
        const bool ownNulls = column.validity.data() != nullptr;
        Block bits = ownNulls ? std::move(column.validity) : (nulls == 0 ? Block() : validity.copy(rows));
        const std::int64_t count = ownNulls ? column.nullCount : nulls;
        if (!asStruct) {
            column.name = "";
            makeColumn(column, std::move(bits), count, type, result);
            break;
        }
        Owned<ArrowSchema> childType;
        Owned<ArrowArray> child;
        makeColumn(column, std::move(bits), count, childType, child);
        addChild<ArrowSchema, SchemaOwner>(type, childType);
        addChild<ArrowArray, ArrayOwner>(result, child);
    }
    type.moveTo(*schema);
    result.moveTo(*array);
}

} // namespace zelk::arrow
