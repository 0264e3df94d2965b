// The scalar functions: zelk_decode, zelk_explain, zelk_lint, zelk_guess, zelk_encode and zelk_sort_key. A null
// argument gives null; the settings are names as the command-line tool has them, or their numbers.
#include "functions.h"

#include "tools/table_names.h"
#include "tools/unicode.h"
#include "zelk_insight.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

namespace zelk::duckdb {
namespace {

constexpr std::uint32_t longestRow = 89478485; // what comes of a row is counted by an int

// A number from 0 to `last` in decimal.
std::optional<int> numberOf(std::string_view text, int last) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool all = error == std::errc() && end == text.data() + text.size();
    return all && number >= 0 && number <= last ? std::optional(number) : std::nullopt;
}

dvbCharSet_t regionOf(const std::string &name) {
    if (const auto region = tool::regionOf(name)) {
        return *region;
    }
    const std::vector<std::string> &names = tool::regionNames();
    const int last = static_cast<int>(names.size()) - 1;
    if (const auto number = numberOf(name, last)) {
        return static_cast<dvbCharSet_t>(*number);
    }
    std::string message = "zelk: no region is called '" + tool::onOneLine(name) + "', expected ";
    for (const std::string &one : names) {
        message += one + ", ";
    }
    throw std::invalid_argument(message + "or a number from 0 to " + std::to_string(last));
}

DvbCode_t codeOf(const std::string &name) {
    if (const auto code = tool::codeOf(name)) {
        return *code;
    }
    throw std::invalid_argument("zelk: no default code is called '" + tool::onOneLine(name) + "', expected " +
                                tool::expectedCodes);
}

// A column of strings, rows that DuckDB keeps inside themselves or elsewhere.
class Strings {
public:
    Strings() = default;
    explicit Strings(duckdb_vector vector)
        : rows_(valuesOf<duckdb_string_t>(vector)), validity_(duckdb_vector_get_validity(vector)) {}

    bool given() const { return rows_ != nullptr; }
    bool isNull(idx_t row) const { return validity_ != nullptr && (validity_[row / 64] >> (row % 64) & 1U) == 0; }
    std::string_view at(idx_t row) const {
        duckdb_string_t &string = rows_[row];
        constexpr std::uint32_t mostInside = 12;
        const std::uint32_t length = string.value.inlined.length;
        return {length <= mostInside ? string.value.inlined.inlined : string.value.pointer.ptr, length};
    }

private:
    duckdb_string_t *rows_ = nullptr;
    uint64_t *validity_ = nullptr;
};

// A setting beside the strings: a column of names, or one of numbers, which stand for themselves.
class Setting {
public:
    Setting() = default;
    explicit Setting(duckdb_vector vector) {
        duckdb_logical_type type = duckdb_vector_get_column_type(vector);
        if (duckdb_get_type_id(type) == DUCKDB_TYPE_VARCHAR) {
            names_ = Strings(vector);
        } else {
            numbers_ = valuesOf<std::int64_t>(vector);
        }
        duckdb_destroy_logical_type(&type);
    }

    // Calls use(name) where it is not that of the row before.
    template <class Use>
    void ifNew(idx_t row, Use use) {
        if (names_.given()) {
            if (!known_ || names_.at(row) != name_) {
                name_ = names_.at(row);
                use(name_);
                known_ = true;
            }
        } else if (numbers_ != nullptr && (!known_ || numbers_[row] != number_)) {
            number_ = numbers_[row];
            use(std::to_string(number_));
            known_ = true;
        }
    }

private:
    Strings names_;
    const std::int64_t *numbers_ = nullptr;
    bool known_ = false;
    std::string name_;
    std::int64_t number_ = 0;
};

// The settings of a row, which are most often those of the row before.
class Readings {
public:
    explicit Readings(duckdb_data_chunk chunk) {
        const idx_t columns = duckdb_data_chunk_get_column_count(chunk);
        if (columns > 1) {
            region_ = Setting(duckdb_data_chunk_get_vector(chunk, 1));
        }
        if (columns > 2) {
            code_ = Setting(duckdb_data_chunk_get_vector(chunk, 2));
        }
    }

    const zelkInsightSettings &at(idx_t row) {
        region_.ifNew(row, [this](const std::string &name) { settings_.charSet = regionOf(name); });
        code_.ifNew(row, [this](const std::string &name) { settings_.defaultCode = codeOf(name); });
        return settings_;
    }

private:
    Setting region_;
    Setting code_;
    zelkInsightSettings settings_ = {DvbCharSetStandard, DvbCodeNone, 0, 0, 0};
};

// A row and a zero after it, for what looks at the byte after a mark; and room for what it becomes.
class Scratch {
public:
    std::string_view copyOf(std::string_view row) {
        if (row.size() > longestRow) {
            throw std::length_error("zelk: a row of more than " + std::to_string(longestRow) + " bytes");
        }
        row_.assign(row);
        return {row_.c_str(), row_.size()};
    }

    char *room(int size) {
        if (room_.size() < static_cast<std::size_t>(size)) {
            room_.resize(static_cast<std::size_t>(size) + room_.size() / 2);
        }
        return room_.data();
    }

private:
    std::string row_;
    std::vector<char> room_ = std::vector<char>(1024);
};

int lengthOf(std::string_view text) {
    return static_cast<int>(text.size());
}

std::string_view decode(Scratch &scratch, const zelkInsightSettings &settings, std::string_view row,
                        zelkInsightEvidence *evidence = nullptr) {
    const auto first = row.empty() ? 0U : static_cast<unsigned char>(row.front());
    const auto last = row.empty() ? 0U : static_cast<unsigned char>(row.back());
    if (row.empty()) {
        row = {"", 0};
    } else if (row.size() > longestRow || (last >= 0xA0 && last <= 0xCF)) { // where the marks of all tables are
        row = scratch.copyOf(row);
    }
    // What a single-byte table gives is valid UTF-8, and goes straight to the first library.
    const bool plain = evidence == nullptr && (first >= 0x20 || (first >= 1 && first <= 0x0B)) &&
                       static_cast<unsigned int>(settings.defaultCode) < DvbCodeUtf8Prepared;
    if (plain) {
        const int size = 3 * lengthOf(row) + 1;
        char *const room = scratch.room(size);
        return {room, zelk_dvb8ToUtf8(settings.charSet, room, size, row.data(), lengthOf(row), settings.defaultCode, 0,
                                      settings.flags)};
    }
    const int size = zelkInsightDecodeSize(&settings, row.data(), lengthOf(row));
    char *const room = scratch.room(size);
    return {room, zelkInsightDecode(&settings, room, size, row.data(), lengthOf(row), evidence)};
}

// A null row; the fields of a struct are null with it.
void setNullRow(duckdb_vector output, idx_t row, idx_t fields) {
    setNull(output, row);
    for (idx_t i = 0; i < fields; ++i) {
        setNull(duckdb_struct_vector_get_child(output, i), row);
    }
}

// Calls each(row, string) where no argument is null; what it throws becomes the query's error. A struct has `fields`.
template <class Each>
void forEachRow(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output, idx_t fields, Each each) {
    try {
        std::vector<Strings> columns;
        for (idx_t i = 0; i < duckdb_data_chunk_get_column_count(chunk); ++i) {
            columns.emplace_back(duckdb_data_chunk_get_vector(chunk, i));
        }
        const idx_t count = duckdb_data_chunk_get_size(chunk);
        for (idx_t row = 0; row < count; ++row) {
            const auto isNull = [row](const Strings &column) { return column.isNull(row); };
            if (std::any_of(columns.begin(), columns.end(), isNull)) {
                setNullRow(output, row, fields);
            } else {
                each(row, columns.front().at(row));
            }
        }
    } catch (const std::exception &error) {
        duckdb_scalar_function_set_error(info, error.what());
    }
}

void decodeRows(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output) {
    Scratch scratch;
    Readings readings(chunk);
    forEachRow(info, chunk, output, 0, [&](idx_t row, std::string_view string) {
        assign(output, row, decode(scratch, readings.at(row), string));
    });
}

constexpr std::array<const char *, 3> severityNames = {"note", "warning", "error"};
constexpr std::array<const char *, 6> reasonNames = {"default", "default-code", "selector",
                                                     "region",  "override",     "guess"};

// Elements of a list column, one after the other.
class List {
public:
    explicit List(duckdb_vector list)
        : list_(list), child_(duckdb_list_vector_get_child(list)), size_(duckdb_list_vector_get_size(list)) {}

    // Begins the list of a row with room for its elements, and returns the place of the first.
    idx_t begin(idx_t row, idx_t count) {
        const idx_t first = size_;
        size_ += count;
        duckdb_list_vector_reserve(list_, size_);
        duckdb_list_vector_set_size(list_, size_);
        valuesOf<duckdb_list_entry>(list_)[row] = {first, count};
        return first;
    }
    duckdb_vector field(idx_t index) const { return duckdb_struct_vector_get_child(child_, index); }

private:
    duckdb_vector list_;
    duckdb_vector child_;
    idx_t size_;
};

// The fields that findings and faults share, in their order.
template <class Found>
void assignFound(const List &list, idx_t at, const char *name, const Found &found) {
    assign(list.field(0), at, name);
    assign(list.field(1), at, severityNames[static_cast<std::size_t>(found.severity)]);
    valuesOf<std::uint32_t>(list.field(2))[at] = found.offset;
    valuesOf<std::uint32_t>(list.field(3))[at] = found.length;
    valuesOf<std::uint32_t>(list.field(4))[at] = found.value;
}

void explainRows(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output) {
    const auto field = [output](idx_t index) { return duckdb_struct_vector_get_child(output, index); };
    Scratch scratch;
    std::vector<zelkInsightFinding> findings(16);
    List list(field(5));
    Readings readings(chunk);
    forEachRow(info, chunk, output, 6, [&](idx_t row, std::string_view string) {
        zelkInsightEvidence evidence{};
        const auto read = [&] {
            evidence.findings = findings.data();
            evidence.findingRoom = static_cast<unsigned int>(findings.size());
            return decode(scratch, readings.at(row), string, &evidence);
        };
        std::string_view text = read();
        if (evidence.findingCount > evidence.findingRoom) {
            findings.resize(evidence.findingCount);
            text = read();
        }
        assign(field(0), row, text);
        assign(field(1), row, zelkInsightTableName(evidence.table));
        valuesOf<std::uint8_t>(field(2))[row] = static_cast<std::uint8_t>(evidence.code);
        assign(field(3), row, reasonNames[static_cast<std::size_t>(evidence.reason)]);
        assign(field(4), row, severityNames[static_cast<std::size_t>(evidence.severity)]);
        const unsigned int count = evidence.findingCount;
        const idx_t first = list.begin(row, count);
        for (unsigned int i = 0; i < count; ++i) {
            assignFound(list, first + i, zelkInsightKindName(findings[i].kind), findings[i]);
        }
    });
}

// The second argument of a row, with a zero after it; null where there is none or it is empty.
class Languages {
public:
    explicit Languages(duckdb_data_chunk chunk) {
        if (duckdb_data_chunk_get_column_count(chunk) > 1) {
            column_ = Strings(duckdb_data_chunk_get_vector(chunk, 1));
        }
    }
    const char *at(idx_t row) {
        if (!column_.given()) {
            return nullptr;
        }
        language_ = column_.at(row);
        return language_.empty() ? nullptr : language_.c_str();
    }

private:
    Strings column_;
    std::string language_;
};

void lintRows(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output) {
    List list(output);
    std::vector<zelkInsightFault> faults(16);
    Languages languages(chunk);
    Scratch scratch;
    forEachRow(info, chunk, output, 0, [&](idx_t row, std::string_view bytes) {
        const std::string_view string = scratch.copyOf(bytes);
        const char *const language = languages.at(row);
        unsigned int count = 0;
        while (true) {
            count = zelkInsightLint(nullptr, string.data(), lengthOf(string), language, faults.data(),
                                    static_cast<unsigned int>(faults.size()));
            if (count <= faults.size()) {
                break;
            }
            faults.resize(count);
        }
        const idx_t first = list.begin(row, count);
        for (unsigned int i = 0; i < count; ++i) {
            assignFound(list, first + i, zelkInsightRuleName(faults[i].rule), faults[i]);
            assign(list.field(5), first + i, zelkInsightRuleClause(faults[i].rule));
            assign(list.field(6), first + i, zelkInsightRuleMeaning(faults[i].rule));
        }
    });
}

void guessRows(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output) {
    const auto field = [output](idx_t index) { return duckdb_struct_vector_get_child(output, index); };
    Languages languages(chunk);
    Scratch scratch;
    forEachRow(info, chunk, output, 3, [&](idx_t row, std::string_view bytes) {
        const std::string_view string = scratch.copyOf(bytes);
        zelkInsightGuess guess;
        zelkInsightGuessTables(nullptr, string.data(), lengthOf(string), languages.at(row), &guess, 1);
        assign(field(0), row, zelkInsightTableName(guess.table));
        valuesOf<double>(field(1))[row] = static_cast<double>(guess.confidence) / ZELK_INSIGHT_CERTAIN;
        assign(field(2), row, guess.language);
    });
}

void encodeRows(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output) {
    Scratch scratch;
    Readings readings(chunk);
    forEachRow(info, chunk, output, 0, [&](idx_t row, std::string_view bytes) {
        const std::string_view text = scratch.copyOf(bytes);
        const zelkInsightEncodeSettings settings = {readings.at(row).charSet, 0, 0};
        const int size = 4 * lengthOf(text) + 16; // more than any form takes
        char *const room = scratch.room(size);
        assign(output, row, {room, zelkInsightEncode(&settings, room, size, text.data(), lengthOf(text), nullptr)});
    });
}

void sortKeyRows(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output) {
    const bool chosen = duckdb_data_chunk_get_column_count(chunk) > 1;
    const bool *const natural = chosen ? valuesOf<bool>(duckdb_data_chunk_get_vector(chunk, 1)) : nullptr;
    Scratch scratch;
    forEachRow(info, chunk, output, 0, [&](idx_t row, std::string_view bytes) {
        const std::string_view text = scratch.copyOf(bytes);
        const int size = zelkInsightSortKeySize(text.data(), lengthOf(text));
        char *const room = scratch.room(size);
        const unsigned int options =
            natural != nullptr && natural[row] ? static_cast<unsigned int>(ZelkInsightNatural) : 0U;
        assign(output, row, {room, zelkInsightSortKey(room, size, text.data(), lengthOf(text), options)});
    });
}

// What an argument may be; of several types each is a function of its own.
using Argument = std::vector<duckdb_type>;

void addToSet(duckdb_scalar_function_set set, const char *name, const std::vector<duckdb_type> &arguments,
              const Type &result, duckdb_scalar_function_t work) {
    duckdb_scalar_function function = duckdb_create_scalar_function();
    duckdb_scalar_function_set_name(function, name);
    for (const duckdb_type argument : arguments) {
        duckdb_scalar_function_add_parameter(function, Type(argument).get());
    }
    duckdb_scalar_function_set_return_type(function, result.get());
    duckdb_scalar_function_set_function(function, work);
    duckdb_add_scalar_function_to_set(set, function);
    duckdb_destroy_scalar_function(&function);
}

// Registers a function with its first argument, or with one more of them, up to all.
bool add(duckdb_connection connection, const char *name, const std::vector<Argument> &arguments, const Type &result,
         duckdb_scalar_function_t work) {
    duckdb_scalar_function_set set = duckdb_create_scalar_function_set(name);
    std::vector<std::vector<duckdb_type>> heads = {{}};
    for (const Argument &argument : arguments) {
        std::vector<std::vector<duckdb_type>> longer;
        for (const std::vector<duckdb_type> &head : heads) {
            for (const duckdb_type type : argument) {
                longer.push_back(head);
                longer.back().push_back(type);
                addToSet(set, name, longer.back(), result, work);
            }
        }
        heads = std::move(longer);
    }
    const bool registered = duckdb_register_scalar_function_set(connection, set) == DuckDBSuccess;
    duckdb_destroy_scalar_function_set(&set);
    return registered;
}

} // namespace

bool registerScalars(duckdb_connection connection) {
    const Type text(DUCKDB_TYPE_VARCHAR);
    const Type bytes(DUCKDB_TYPE_BLOB);
    const Type number(DUCKDB_TYPE_UINTEGER);
    const Type small(DUCKDB_TYPE_UTINYINT);
    const Type real(DUCKDB_TYPE_DOUBLE);
    const Type finding = Type::structOf({{"kind", text.get()},
                                         {"severity", text.get()},
                                         {"offset", number.get()},
                                         {"length", number.get()},
                                         {"value", number.get()}});
    const Type findings = Type::listOf(finding);
    const Type explanation = Type::structOf({{"text", text.get()},
                                             {"table", text.get()},
                                             {"code", small.get()},
                                             {"reason", text.get()},
                                             {"severity", text.get()},
                                             {"findings", findings.get()}});
    const Type fault = Type::structOf({{"rule", text.get()},
                                       {"severity", text.get()},
                                       {"offset", number.get()},
                                       {"length", number.get()},
                                       {"value", number.get()},
                                       {"clause", text.get()},
                                       {"meaning", text.get()}});
    const Type faults = Type::listOf(fault);
    const Type guess = Type::structOf({{"table", text.get()}, {"confidence", real.get()}, {"language", text.get()}});
    const Argument string = {DUCKDB_TYPE_BLOB};
    const Argument name = {DUCKDB_TYPE_VARCHAR};
    const Argument setting = {DUCKDB_TYPE_VARCHAR, DUCKDB_TYPE_BIGINT};
    const std::vector<Argument> reading = {string, setting, setting};
    const std::vector<Argument> inLanguage = {string, name};
    return add(connection, "zelk_decode", reading, text, decodeRows) &&
           add(connection, "zelk_explain", reading, explanation, explainRows) &&
           add(connection, "zelk_lint", inLanguage, faults, lintRows) &&
           add(connection, "zelk_guess", inLanguage, guess, guessRows) &&
           add(connection, "zelk_encode", {name, setting}, bytes, encodeRows) &&
           add(connection, "zelk_sort_key", {name, {DUCKDB_TYPE_BOOLEAN}}, bytes, sortKeyRows);
}

} // namespace zelk::duckdb
