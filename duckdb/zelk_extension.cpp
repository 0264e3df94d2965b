// The DuckDB extension zelk: DVB text in SQL, by DuckDB's stable C interface of extensions, version 1.
//
// Scalar functions take a chunk of rows at a time and work on DuckDB's own vectors. The table functions read transport
// streams, a file on a thread. The interface has no collations: ORDER BY zelk_sort_key(text) sorts as <zelk.h> does.
#define DUCKDB_EXTENSION_NAME zelk
#include "functions.h"

DUCKDB_EXTENSION_ENTRYPOINT(duckdb_connection connection, duckdb_extension_info info,
                            struct duckdb_extension_access *access) {
    if (!zelk::duckdb::registerScalars(connection) || !zelk::duckdb::registerTables(connection)) {
        access->set_error(info, "zelk: a function could not be registered");
        return false;
    }
    return true;
}
