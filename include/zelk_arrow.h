/*
 * libzelk-arrow: columns of text in one call. On top of libmurn-zelk (<zelk.h>) and libzelk-insight (<zelk_insight.h>).
 *
 * Archives of programme guides hold strings by the hundred million, with a receiver's settings in the columns beside
 * them. Each function here takes a column by the Arrow C data interface and gives a column: no Arrow library is needed,
 * and whatever speaks that interface (pyarrow, polars, DuckDB, Spark ...) passes and takes columns without a copy. This
 * header is C11 and C++17.
 *
 * What holds for every function:
 *
 * - Input. Columns of bytes and of text: binary, large_binary, binary_view, fixed_size_binary, utf8, large_utf8,
 *   utf8_view, null, and dictionaries of those. Slices (an offset) and nulls are as in the interface. Columns of
 *   settings are integers of 8 to 64 bits. The input stays the caller's: it is read, and neither moved nor released.
 *   Nothing outside the bytes of its rows is read, and no row has an effect on the one before it.
 * - Output. A column as long as the input, null where the input is. The caller releases both structures, by their
 *   `release`, after use; they do not refer to the input. Where a call fails, both are untouched, and everything that
 *   was allocated has been released.
 * - Text that comes out is valid UTF-8 (RFC 3629). The result of a row depends on that row and its settings alone.
 * - Texts of more than 2147483647 bytes in all do not fit the ordinary type: ZelkArrowLarge and ZelkArrowGrow say what
 *   becomes of them. No row may be longer than ZELK_ARROW_LONGEST_ROW bytes.
 * - Memory and threads. What is allocated is the output, which grows with what is written, and memory for one row. No
 *   state is kept: calls may run on any number of threads at once, also on slices of one column.
 */
#ifndef ZELK_ARROW_H
#define ZELK_ARROW_H

#include "zelk_insight.h"

#include <stdint.h> // NOLINT(modernize-deprecated-headers): for C, too

#if defined(ZELK_BUILDING_ARROW)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#define ZELK_INT_ENUM : int
#else
#define ZELK_INT_ENUM
#endif

/* ========================================== The Arrow C data interface ========================================== */

/* As the interface's document prints it; the guard is that document's, so that several headers may declare it. */
#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

struct ArrowSchema {
    const char *format;
    const char *name;
    const char *metadata;
    int64_t flags;
    int64_t n_children;
    struct ArrowSchema **children;
    struct ArrowSchema *dictionary;
    void (*release)(struct ArrowSchema *);
    void *private_data;
};

struct ArrowArray {
    int64_t length;
    int64_t null_count;
    int64_t offset;
    int64_t n_buffers;
    int64_t n_children;
    const void **buffers;
    struct ArrowArray **children;
    struct ArrowArray *dictionary;
    void (*release)(struct ArrowArray *);
    void *private_data;
};

#endif /* ARROW_C_DATA_INTERFACE */

/* =================================================== What all share =================================================
 */

/** What became of a call. */
typedef enum zelkArrowStatus ZELK_INT_ENUM {
    ZelkArrowDone = 0,
    ZelkArrowNoMemory = 1,  /**< an allocation failed */
    ZelkArrowWrongType = 2, /**< a column is of a type that is not taken */
    ZelkArrowInvalid = 3,   /**< a column or a setting contradicts itself, two columns differ in length, or an option
                                 is unknown */
    ZelkArrowTooLarge = 4,  /**< the texts pass 2147483647 bytes, or a row is too long */
    ZelkArrowStopped = 5    /**< zelkArrowOutput::progress asked for it */
} zelkArrowStatus;

/** Says in English what a status means; "unknown" for a value without a name. */
const char *zelkArrowStatusText(zelkArrowStatus status);

/** The bytes of the longest row that is taken: what any row becomes is counted by an `int`. */
#define ZELK_ARROW_LONGEST_ROW 89478485

/** A column of the caller. A null schema stands for no column. */
typedef struct zelkArrowColumn {
    const struct ArrowSchema *schema;
    const struct ArrowArray *array;
} zelkArrowColumn;

/** The bits of zelkArrowOutput::options. Without them, text and keys have 32-bit offsets or the call fails. */
enum {
    ZelkArrowLarge = 1, /**< text is large_utf8, bytes are large_binary, whatever their size */
    ZelkArrowGrow = 2   /**< the same, but only where the ordinary type does not hold them */
};

/**
 * Receives the number of rows that are done, every 65536 rows and at the end, of a column without rows, too; another
 * result than 0 stops the call.
 */
typedef int (*zelkArrowProgress)(int64_t done, int64_t rows, void *context);

/** The form of results, and what receives the progress. */
typedef struct zelkArrowOutput {
    unsigned int options;       /**< 0, or bits of ZelkArrowLarge and ZelkArrowGrow */
    zelkArrowProgress progress; /**< or null */
    void *context;              /**< is passed to `progress` */
} zelkArrowOutput;

/* ====================================================== Decode ======================================================
 */

/*
 * Example: a table's column of names, `schema` and `names`, with the findings of each.
 *
 *     zelkArrowDecodeSettings settings = {.columns = ZelkArrowText | ZelkArrowFindingCount,
 *                                         .reading = {.charSet = DvbCharSetStandard, .defaultCode = DvbCodeNone}};
 *     struct ArrowSchema outSchema;
 *     struct ArrowArray out;
 *     if (zelkArrowDecode(&settings, &schema, &names, &outSchema, &out) == ZelkArrowDone) {
 *         // out.children[0] has the texts, out.children[1] the counts
 *         out.release(&out);
 *         outSchema.release(&outSchema);
 *     }
 */

/** What zelkArrowDecode() gives: one of them as a plain column, several as a struct in this order, by these names. */
enum {
    ZelkArrowText = 1,          /**< text: utf8 */
    ZelkArrowTable = 2,         /**< table: a dictionary of zelkInsightTableName() */
    ZelkArrowCode = 4,          /**< code: uint8, the DvbCode_t after selection; 255 for a number beyond */
    ZelkArrowFindingCount = 8,  /**< findings: uint32 */
    ZelkArrowFirstFinding = 16, /**< first_finding: a dictionary of zelkInsightKindName(), null without any */
    ZelkArrowGuessedTable = 32, /**< guessed_table: a dictionary as `table`, the best of zelkInsightGuessTables() */
    ZelkArrowConfidence = 64,   /**< confidence: uint16, of that guess, in parts of ZELK_INSIGHT_CERTAIN */
    ZelkArrowSortKey = 128      /**< sort_key: binary, zelkInsightSortKey() of the text */
};

/** How a column of DVB strings is read. */
typedef struct zelkArrowDecodeSettings {
    unsigned int columns;         /**< bits from ZelkArrowText on; 0 means ZelkArrowText */
    zelkInsightSettings reading;  /**< of every row, as far as no column says otherwise */
    zelkArrowColumn charSets;     /**< integers in place of reading.charSet; where null, that */
    zelkArrowColumn defaultCodes; /**< integers in place of reading.defaultCode */
    zelkArrowColumn flags;        /**< integers in place of reading.flags */
    zelkArrowOutput output;
} zelkArrowDecodeSettings;

/**
 * Decodes DVB strings, each as zelkInsightDecode() does with its bytes followed by a zero.
 *
 * A row that ends with a mark is decoded from a copy, for zelkInsightDecode() looks at the byte after it. Integers that
 * an `int` does not hold count as its largest or smallest value.
 *
 * @param settings  how; null for texts alone, read the standard's way
 * @param schema,in the column; neither null
 * @param outSchema receives the type of the result
 * @param out       receives the result
 */
zelkArrowStatus zelkArrowDecode(const zelkArrowDecodeSettings *settings, const struct ArrowSchema *schema,
                                const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out);

/* ====================================================== Encode ======================================================
 */

/** What zelkArrowEncode() gives: one of them as a plain column, several as a struct in this order, by these names. */
enum {
    ZelkArrowBytes = 1,     /**< bytes: binary, the DVB string */
    ZelkArrowSentTable = 2, /**< table: a dictionary of zelkInsightTableName(), what receivers read it with */
    ZelkArrowUnsaid = 4,    /**< unsaid: uint32, characters sent as a question mark */
    ZelkArrowUsed = 8       /**< used: uint32, bytes of the text that are in the string */
};

/** How a column of texts is encoded. */
typedef struct zelkArrowEncodeSettings {
    unsigned int columns;              /**< bits from ZelkArrowBytes on; 0 means ZelkArrowBytes */
    zelkInsightEncodeSettings sending; /**< of every row */
    int mostBytes;                     /**< of one string; 0 sets no limit */
    zelkArrowOutput output;
} zelkArrowEncodeSettings;

/** Encodes UTF-8 as DVB strings, each as zelkInsightEncode() does; null settings for bytes alone, the standard's way.
 */
zelkArrowStatus zelkArrowEncode(const zelkArrowEncodeSettings *settings, const struct ArrowSchema *schema,
                                const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out);

/* ================================================= Other conversions =================================================
 */

/** What zelkArrowConvert() reads. A zero (of UCS-2: a zero unit) ends a row's text. */
typedef enum zelkArrowSet ZELK_INT_ENUM {
    ZelkArrowIso8859 = 0,  /**< ISO 8859, `number` is the part: zelk_isoToUtf8() */
    ZelkArrowWindows = 1,  /**< a Windows code page, `number`: zelk_winToUtf8() */
    ZelkArrowUcs2High = 2, /**< UCS-2 or UTF-16, high byte first; a byte that is half a unit is dropped */
    ZelkArrowUcs2Low = 3   /**< the same, low byte first */
} zelkArrowSet;

/** What is converted, and how. */
typedef struct zelkArrowConvertSettings {
    zelkArrowSet set;
    int number;
    zelkArrowOutput output;
} zelkArrowConvertSettings;

/** Converts bytes of another character set to text. Pairs of surrogates are joined, lone ones become U+FFFD. */
zelkArrowStatus zelkArrowConvert(const zelkArrowConvertSettings *settings, const struct ArrowSchema *schema,
                                 const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out);

/* ================================================= Order and patterns ================================================
 */

/** How keys are made. */
typedef struct zelkArrowSortKeySettings {
    unsigned int options; /**< 0 or ZelkInsightNatural */
    zelkArrowOutput output;
} zelkArrowSortKeySettings;

/** Makes the sort keys of texts, each as zelkInsightSortKey() does; null settings for the plain order. */
zelkArrowStatus zelkArrowSortKeys(const zelkArrowSortKeySettings *settings, const struct ArrowSchema *schema,
                                  const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out);

/** The bits of zelkArrowMatchSettings::options. */
enum {
    ZelkArrowIgnoreCase = 1,    /**< bytes are compared in lower case */
    ZelkArrowIgnoreControls = 2 /**< control characters are skipped */
};

/** What texts are compared with. */
typedef struct zelkArrowMatchSettings {
    const char *pattern;  /**< as zelk_patternWildcardMatch() has it; not null */
    unsigned int options; /**< 0, or bits of ZelkArrowIgnoreCase and ZelkArrowIgnoreControls */
    zelkArrowOutput output;
} zelkArrowMatchSettings;

/** Matches texts, up to their first zero byte, against a pattern: a column of booleans. The settings are not null. */
zelkArrowStatus zelkArrowMatch(const zelkArrowMatchSettings *settings, const struct ArrowSchema *schema,
                               const struct ArrowArray *in, struct ArrowSchema *outSchema, struct ArrowArray *out);

#ifdef __cplusplus
} /* extern "C" */
#endif

#undef ZELK_INT_ENUM

#if defined(ZELK_BUILDING_ARROW)
#pragma GCC visibility pop
#endif

#endif /* ZELK_ARROW_H */
