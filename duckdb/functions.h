// What the two halves of the extension share: DuckDB's interface, and records of it that release themselves.
#pragma once

#define DUCKDB_EXTENSION_API_VERSION_MAJOR 1
#define DUCKDB_EXTENSION_API_VERSION_MINOR 2
#define DUCKDB_EXTENSION_API_VERSION_PATCH 0
#include "duckdb_extension.h"

#include <string_view>
#include <utility>
#include <vector>

DUCKDB_EXTENSION_EXTERN

namespace zelk::duckdb {

bool registerScalars(duckdb_connection connection);
bool registerTables(duckdb_connection connection);

class Type {
public:
    explicit Type(duckdb_type type) : type_(duckdb_create_logical_type(type)) {}
    ~Type() { duckdb_destroy_logical_type(&type_); }
    Type(const Type &) = delete;
    Type &operator=(const Type &) = delete;

    static Type listOf(const Type &element) { return Type(duckdb_create_list_type(element.type_)); }

    // Fields in order, each a name and a type.
    static Type structOf(const std::vector<std::pair<const char *, duckdb_logical_type>> &fields) {
        std::vector<const char *> names;
        std::vector<duckdb_logical_type> types;
        for (const auto &[name, type] : fields) {
            names.push_back(name);
            types.push_back(type);
        }
        return Type(duckdb_create_struct_type(types.data(), names.data(), fields.size()));
    }

    duckdb_logical_type get() const { return type_; }

private:
    explicit Type(duckdb_logical_type type) : type_(type) {}

    duckdb_logical_type type_;
};

inline void assign(duckdb_vector vector, idx_t row, std::string_view text) {
    duckdb_vector_assign_string_element_len(vector, row, text.data(), text.size());
}

inline void setNull(duckdb_vector vector, idx_t row) {
    duckdb_vector_ensure_validity_writable(vector);
    duckdb_validity_set_row_invalid(duckdb_vector_get_validity(vector), row);
}

template <class Value>
Value *valuesOf(duckdb_vector vector) {
    return static_cast<Value *>(duckdb_vector_get_data(vector));
}

} // namespace zelk::duckdb
