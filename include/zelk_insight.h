/*
 * libzelk-insight: evidence about the text of service information. The companion of libmurn-zelk (<zelk.h>).
 *
 * A decoder returns a string and says nothing about what was wrong with it. This library returns the same string and
 * says why: which character table was used and for what reason, which bytes had no character, which marks had
 * no letter, where a text was cut. This header is C11 and C++17 and needs no other header than <zelk.h>.
 *
 * What holds for every function:
 *
 * - Text. DVB text is bytes (`char`). UTF-8 that comes out is always valid (RFC 3629): pairs of surrogates are joined
 *   to one character of four bytes, lone ones are U+FFFD. Offsets and lengths are in bytes.
 * - Counts, sizes, overlap and null are as in <zelk.h>: a negative input count means "up to the terminating zero", an
 *   output size includes the terminator, the output is always terminated (also where its size is 0), and input and
 *   output are different memory. A null input is an empty text. Unlike there, bytes of an output after the terminator
 *   may be overwritten, up to its size.
 * - Arrays. Lists are written to arrays of the caller. The count that is returned is of all entries; those that
 *   the array had no room for are not stored, so that a count above the room says that more was found. A null array
 *   has no room.
 * - Memory and threads. Nothing is allocated, no state is kept, nothing is written but the arguments: every function
 *   may run on any number of threads at once. Time and stack are bounded: time grows with the input's length alone.
 */
#ifndef ZELK_INSIGHT_H
#define ZELK_INSIGHT_H

#include "zelk.h"

#if defined(ZELK_BUILDING_INSIGHT)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#define ZELK_INT_ENUM : int
#else
#define ZELK_INT_ENUM
#endif

/* =============================================== Decode with evidence ===============================================
 */

/** How much a finding matters to a viewer. */
typedef enum zelkInsightSeverity ZELK_INT_ENUM {
    ZelkInsightNote = 0,    /**< nothing is lost: something that a reader of the string wants to know */
    ZelkInsightWarning = 1, /**< against the standard, or lost without harm */
    ZelkInsightError = 2    /**< the viewer sees a wrong text, or less of it */
} zelkInsightSeverity;

/**
 * What was found in a string. zelkInsightKindName() gives each its stable identifier, which stands first in the
 * comment. Values are never used again for something else; later versions may add some. Of the kinds of selectors,
 * of utf8-malformed and of mark-dropped `value` is the first byte.
 */
typedef enum zelkInsightKind ZELK_INT_ENUM {
    ZelkInsightSelectorReserved = 0, /**< selector-reserved: EN 300 468 Table A.3 or A.4 reserves it */
    ZelkInsightSelectorUnsupported =
        1,                         /**< selector-unsupported: the standard defines it, the receiver does not read it */
    ZelkInsightSelectorCut = 2,    /**< selector-cut: the string ends inside its selector */
    ZelkInsightByteUnassigned = 3, /**< byte-unassigned: no character in this table; `value` is the byte */
    ZelkInsightUtf8Malformed = 4,  /**< utf8-malformed: not UTF-8 although the selector says so */
    ZelkInsightUtf8FourByte = 5,   /**< utf8-four-byte: a character above U+FFFF (`value`), shown as U+FFFD */
    ZelkInsightTwoByteOdd = 6,     /**< two-byte-odd: the last byte of two-byte text is half a character */
    ZelkInsightSurrogateLone = 7,  /**< surrogate-lone: `value` is half of a pair without the other half */
    ZelkInsightMarkWithoutLetter =
        8,                      /**< mark-without-letter: a diacritical mark before no letter; `value` is its byte */
    ZelkInsightMarkDropped = 9, /**< mark-dropped: mark and letter have no common character, the letter is bare */
    ZelkInsightControlDropped = 10,     /**< control-dropped: a control code that is not shown; `value` is the code */
    ZelkInsightEmphasis = 11,           /**< emphasis: from the code that turns it on to the one that turns it off */
    ZelkInsightEmphasisUnbalanced = 12, /**< emphasis-unbalanced: turned on and never off, or the other way round */
    ZelkInsightCompressedCut = 13,     /**< compressed-cut: no end of text; `value` counts bits of an unfinished code */
    ZelkInsightCompressedRest = 14,    /**< compressed-rest: bytes after the end of compressed text */
    ZelkInsightCompressedUnknown = 15, /**< compressed-unknown: no code of that encoding type (`value`), or no count */
    ZelkInsightTextCut = 16,           /**< text-cut: what did not fit the output */
    ZelkInsightByteAfterCount = 17,    /**< byte-after-count: a mark ends the string, the byte after it was looked at */
    ZelkInsightTextAfterEnd = 18,      /**< text-after-end: a zero byte ends prepared text before its count does */
    ZelkInsightKindCount = 19          /**< the number of kinds of this version */
} zelkInsightKind;

/** The table that a text is read with. 0 to 18 are numbered as by combiningMapDvb(). */
typedef enum zelkInsightTable ZELK_INT_ENUM {
    ZelkInsightTableDefault = 0,       /**< the DVB default table */
    ZelkInsightTableAscii = 1,         /**< ASCII alone */
    ZelkInsightTableIso8859_1 = 2,     /**< ISO 8859-1; 3 to 12 are ISO 8859-2 to -11 */
    ZelkInsightTableIso8859_11 = 12,   /**< ISO 8859-11 */
    ZelkInsightTableIso8859_13 = 13,   /**< ISO 8859-13; 14 to 16 are ISO 8859-14 to -16 */
    ZelkInsightTableIso8859_16 = 16,   /**< ISO 8859-16 */
    ZelkInsightTableLatin9Marks = 18,  /**< ISO 8859-15 with the default table's marks */
    ZelkInsightTableWindows1250 = 32,  /**< by a guess alone, as all of Windows */
    ZelkInsightTableWindows1251 = 33,  /**< Windows Cyrillic */
    ZelkInsightTableWindows1252 = 34,  /**< Windows Western */
    ZelkInsightTableWindows1253 = 35,  /**< Windows Greek */
    ZelkInsightTableWindows1254 = 36,  /**< Windows Turkish */
    ZelkInsightTableWindows1257 = 37,  /**< Windows Baltic */
    ZelkInsightTableUtf8 = 64,         /**< UTF-8 */
    ZelkInsightTableUtf8Prepared = 65, /**< UTF-8 that was prepared before, its controls kept */
    ZelkInsightTableTwoByte = 66,      /**< two bytes for each character, high byte first */
    ZelkInsightTableCompressed = 67    /**< the Huffman code of an encoding type */
} zelkInsightTable;

/** Why a table was taken. */
typedef enum zelkInsightReason ZELK_INT_ENUM {
    ZelkInsightByDefault = 0,     /**< no selector, no default code: the DVB default table */
    ZelkInsightByDefaultCode = 1, /**< no selector: the default code of the settings */
    ZelkInsightBySelector = 2,    /**< the selector at the start of the string */
    ZelkInsightByRegion = 3, /**< the regional setting, in place of what the selector says or because it says nothing */
    ZelkInsightByOverride = 4, /**< an override: zelkInsightFindOverride() */
    ZelkInsightByGuess = 5     /**< the bytes of the text */
} zelkInsightReason;

/** The bits of zelkInsightSettings::options. */
enum {
    ZelkInsightIgnoreSelector = 1, /**< a selector is skipped, and the defaults decide */
    ZelkInsightGuessTable = 4, /**< another table is taken where the bytes make it likely: zelkInsightGuessTables() */

    /* Which settings come from an override: they change the reason that is reported, and not the text. */
    ZelkInsightOverridden = 2,         /**< the default code */
    ZelkInsightRegionOverridden = 8,   /**< the regional setting */
    ZelkInsightSelectorOverridden = 16 /**< ZelkInsightIgnoreSelector */
};

/** How a string is read: the arguments of zelk_dvb8ToUtf8() and what goes beyond them. */
typedef struct zelkInsightSettings {
    dvbCharSet_t charSet;  /**< the regional setting; DvbCharSetStandard reads as the standard says */
    DvbCode_t defaultCode; /**< of strings without a selector, or DvbCodeNone */
    int defaultExtra;      /**< the encoding type that goes with DvbCodeCompressed as a default */
    unsigned int flags;    /**< bit 0 keeps the codes for emphasis on and off (U+0086 and U+0087) */
    unsigned int options;  /**< 0, or bits from ZelkInsightIgnoreSelector on */
} zelkInsightSettings;

/** One thing that was found: what, how bad, where in the string and where in the text. */
typedef struct zelkInsightFinding {
    zelkInsightKind kind;
    zelkInsightSeverity severity;
    unsigned int offset;     /**< of its first byte in the string */
    unsigned int length;     /**< its bytes in the string */
    unsigned int textOffset; /**< of what it left in the text, or of where that would stand */
    unsigned int textLength; /**< the bytes that it left there, 0 for none */
    unsigned int value;      /**< what the kind says; otherwise 0 */
} zelkInsightFinding;

/** What a stretch of a string did. */
typedef enum zelkInsightStepKind ZELK_INT_ENUM {
    ZelkInsightStepSelector = 0,   /**< named the table */
    ZelkInsightStepText = 1,       /**< gave a character, or of compressed text up to four */
    ZelkInsightStepMark = 2,       /**< waits for the letter that it stands above; `value` is its byte */
    ZelkInsightStepControl = 3,    /**< gave a control code or a line feed */
    ZelkInsightStepDropped = 4,    /**< gave nothing */
    ZelkInsightStepUnassigned = 5, /**< has no character: gave U+FFFD or nothing */
    ZelkInsightStepPiece = 6,      /**< compressed bits that complete no character; `value` is their byte */
    ZelkInsightStepEnd = 7         /**< the end of the text */
} zelkInsightStepKind;

/** One stretch of a string. The steps of a string cover it without gap or overlap (compressed text by its bits). */
typedef struct zelkInsightStep {
    zelkInsightStepKind kind;
    unsigned int offset;     /**< of the first byte */
    unsigned int length;     /**< in bytes; those that the bits touch */
    unsigned int bitOffset;  /**< of compressed text: the first bit, counted from the first bit of the string; else 0 */
    unsigned int bitCount;   /**< of compressed text: its bits; else 0 */
    unsigned int textOffset; /**< in the text */
    unsigned int textLength; /**< 0 where nothing came out or nothing fitted */
    unsigned int character;  /**< the code point (a lone surrogate as it is; of several the first); 0 for none */
    unsigned int value;      /**< of a letter the byte of its mark, of a compressed character its byte; else as the kind
                                says, or 0 */
    int finding;             /**< the kind of the finding about it, or -1 */
} zelkInsightStep;

/** The caller sets the arrays and their rooms, the call the rest. */
typedef struct zelkInsightEvidence {
    zelkInsightFinding *findings; /**< in order of offset, text-cut after all others; null for none */
    unsigned int findingRoom;     /**< entries of `findings` */
    zelkInsightStep *steps; /**< in order of offset; null for none, which is much faster for text without findings */
    unsigned int stepRoom;  /**< entries of `steps` */

    unsigned int findingCount;    /**< of all findings */
    unsigned int stepCount;       /**< of all steps; 0 where no array was given */
    zelkInsightSeverity severity; /**< of the worst finding; ZelkInsightNote without any */
    dvbCharSet_t charSet;         /**< after selection */
    DvbCode_t code;               /**< after selection, as zelk_dvbGetDvbCode() gives it */
    int extra;                    /**< the encoding type of compressed text */
    zelkInsightTable table;       /**< what the text was read with */
    zelkInsightReason reason;     /**< why */
    unsigned int selectorLength;  /**< the bytes of the selector */
} zelkInsightEvidence;

/**
 * Decodes a DVB string to UTF-8 and says what was found.
 *
 * The text is that of zelk_dvb8ToUtf8() with the same arguments wherever that is valid UTF-8.
 *
 * The time grows linearly with the length of the string.
 *
 * What a caller guarantees about the input is what <zelk.h> says for DVB text: with a positive count one byte after the
 * string must be readable, since a mark looks at its letter (a string that ends with a mark has the finding
 * byte-after-count); without one a string that begins 10 00 has a third byte.
 *
 * @param settings how to read; null for the standard's way without defaults
 * @param out      receives the text and a zero
 * @param outSize  bytes in `out`; zelkInsightDecodeSize() bytes hold every text
 * @param in       the string, or null for an empty one
 * @param inLen    its bytes; negative: up to the zero byte, as zelk_dvb8ToUtf8() finds it
 * @param evidence what was found; null for the text alone
 * @return the bytes of the text
 */
unsigned int zelkInsightDecode(const zelkInsightSettings *settings, char *out, int outSize, const char *in, int inLen,
                               zelkInsightEvidence *evidence);

/**
 * Gives the size of an output that holds whatever the string decodes to, the terminator included: 3 bytes for a byte,
 * 24 for one of compressed text. At most 2147483647; compressed text of types 1 and 2 without a count gives 0, for its
 * code alone ends it.
 */
int zelkInsightDecodeSize(const zelkInsightSettings *settings, const char *in, int inLen);

/** Gives the stable identifier of a kind, such as "selector-reserved"; "unknown" for a value without a name. */
const char *zelkInsightKindName(zelkInsightKind kind);

/** Gives the severity that findings of a kind have. */
zelkInsightSeverity zelkInsightKindSeverity(zelkInsightKind kind);

/** Gives the clause of the public standard that a kind rests on, such as "ETSI EN 300 468 A.2"; "" for none. */
const char *zelkInsightKindClause(zelkInsightKind kind);

/** Gives a table's name, such as "ISO 8859-5"; "unknown" for a value without a name. */
const char *zelkInsightTableName(zelkInsightTable table);

/* ====================================================== Guess ======================================================
 */

/** The confidence of what is certain. */
#define ZELK_INSIGHT_CERTAIN 10000

/** The largest number of guesses about a string. */
#define ZELK_INSIGHT_MOST_GUESSES 32

/** A table that a string may be in. */
typedef struct zelkInsightGuess {
    zelkInsightTable table;
    unsigned int confidence; /**< that this table's text is the right one, in parts of ZELK_INSIGHT_CERTAIN */
    char language[4];        /**< of the model that fits best, ISO 639-2/B, or an empty text */
    int announced;           /**< 1 where the text is that of the table which the string is read with without a guess */
} zelkInsightGuess;

/**
 * Ranks the tables that a string may be in, by statistics of languages over its first 512 bytes: best first. Tables
 * that say the same text have the same confidence.
 *
 * A string that names its table by a selector keeps it, unless its bytes make another one far more likely. Two-byte,
 * prepared and compressed text, and ASCII, keeps its table, too. docs/guess.md describes the method and where it fails.
 *
 * @param settings how the string is read without a guess; null for the standard's way
 * @param language a code of ISO 639-1 or 639-2 in small letters that the broadcast gives; or a country of ISO 3166 in
 *                 two capitals, such as "BE", whose languages are then likely; or null
 * @param guesses  receives the guesses; null for none
 * @param room     entries of `guesses`; ZELK_INSIGHT_MOST_GUESSES hold all
 * @return the number of guesses, at least 1
 */
unsigned int zelkInsightGuessTables(const zelkInsightSettings *settings, const char *in, int inLen,
                                    const char *language, zelkInsightGuess *guesses, unsigned int room);

/** The longest text that is repaired, in bytes. */
#define ZELK_INSIGHT_LONGEST_REPAIR 4096

/** What a repair did. */
typedef struct zelkInsightRepaired {
    zelkInsightTable wrong;  /**< the table that the text had been read with */
    zelkInsightTable right;  /**< the table that it was sent in */
    unsigned int confidence; /**< as of a guess; 0 where nothing was repaired */
} zelkInsightRepaired;

/**
 * Gives back text that was decoded with the wrong table: "RØalisØ" becomes "Réalisé". A text that a guess is not sure
 * about, or of more than ZELK_INSIGHT_LONGEST_REPAIR bytes, comes back as it is. What the wrong decoding dropped is
 * lost.
 *
 * @param out      receives the text and a zero
 * @param outSize  bytes in `out`; three times those of the text and 1 always suffice; with less the text ends at
 *                 the first character that does not fit
 * @param in       UTF-8, or null for an empty text; a zero byte ends a text that is not repaired
 * @param language as for zelkInsightGuessTables()
 * @param repaired what was done; may be null
 * @return the bytes of the text
 */
unsigned int zelkInsightRepair(char *out, int outSize, const char *in, int inLen, const char *language,
                               zelkInsightRepaired *repaired);

/* ==================================================== Overrides ====================================================
 */

/** A number of a zelkInsightOrigin that is not known. */
#define ZELK_INSIGHT_UNKNOWN 0xFFFFFFFFU

/** Where a string comes from, as far as it is known. */
typedef struct zelkInsightOrigin {
    unsigned int network; /**< original_network_id, or ZELK_INSIGHT_UNKNOWN */
    unsigned int stream;  /**< transport_stream_id, or ZELK_INSIGHT_UNKNOWN */
    unsigned int service; /**< service_id, or ZELK_INSIGHT_UNKNOWN */
    const char *language; /**< ISO 639-2, small letters, or null */
    const char *country;  /**< ISO 3166, two capitals, or null */
} zelkInsightOrigin;

/**
 * Looks up what is known to be otherwise about a broadcast, and puts it into the settings.
 *
 * The overrides are text. The first line is "zelk-overrides 1"; each other line is an entry: words with one blank
 * between them, some that say what it is for (`n=` network, `t=` stream, `s=` service, all decimal, `l=` language, `c=`
 * country) and some that say how to read that (`r=` the regional setting, `d=` the default code, by their numbers, `i`
 * ignores the selector). An entry counts where all that it says of the broadcast holds. Of those the narrowest is
 * taken: service before stream, network, language and country; of two alike the later one. Lines that begin with # and
 * entries with other words are passed over. `zelk overrides compact` writes this form, with a line for each code where
 * ISO 639-2 has two for a language.
 *
 * An entry that says nothing of the broadcast never counts. A word that is repeated makes an entry no narrower. A
 * number has one to five digits; with more the entry is passed over. One blank may end a line.
 *
 * @param overrides the text; null for none
 * @param length    its bytes; negative: up to the zero byte
 * @param origin    not null
 * @param settings  what is not overridden stays; bits of the options say what was. Not null
 * @return the line of the entry, from 1; 0 where none counts, and nothing is changed then
 */
unsigned int zelkInsightFindOverride(const char *overrides, int length, const zelkInsightOrigin *origin,
                                     zelkInsightSettings *settings);

/* ======================================================= Lint =======================================================
 */

/**
 * The rules of zelkInsightLint(): 0 to 63 are the kinds of findings, rules of whole strings begin at 64. The stable
 * identifier stands first in the comment, with a string that breaks the rule. docs/lint.md lists all.
 */
typedef enum zelkInsightRule ZELK_INT_ENUM {
    ZelkInsightRuleFirst = 64,      /**< the first rule of whole strings */
    ZelkInsightRuleTableOther = 64, /**< table-other: 52 E9 61 6C 69 73 E9 20 70 61 72, the text makes sense in another
                                       table only; `value` is that table */
    ZelkInsightRuleUtf8Unannounced = 65, /**< utf8-unannounced: 43 61 66 C3 A9, UTF-8 without its selector; `value` is
                                            the table ZelkInsightTableUtf8 */
    ZelkInsightRuleControlTrailing = 66, /**< control-trailing: 4E 65 77 73 8A, control codes end the string */
    ZelkInsightRuleControlDoubled =
        67, /**< control-doubled: 61 8A 8A 62, twice the same; `value` is the code, 0x0A for a line feed */
    ZelkInsightRuleSelectorNeedless = 68, /**< selector-needless: 05 4E 65 77 73, without it the text is the same; of
                                             two-byte text and UTF-8 also where ASCII alone would say it */
    ZelkInsightRuleLanguageScript = 69,   /**< language-script: 01 BD DE D2 DE E1 E2 D8 with the language eng, no letter
                                             is of the language's script; `value` is the first that is not */
    ZelkInsightRuleCompositionMixed = 70, /**< composition-mixed: 15 C3 A9 65 CC 81, letters with marks in one
                                             character and in two */
    ZelkInsightRuleEnd = 71               /**< after the last rule of this version */
} zelkInsightRule;

/** A rule that a string breaks, and where. */
typedef struct zelkInsightFault {
    unsigned int rule; /**< a zelkInsightKind or a zelkInsightRule */
    zelkInsightSeverity severity;
    unsigned int offset;     /**< of its first byte in the string */
    unsigned int length;     /**< its bytes in the string */
    unsigned int textOffset; /**< of what it left in the text, or of where that would stand */
    unsigned int textLength; /**< the bytes that it left there, 0 for none */
    unsigned int value;      /**< what the rule says; otherwise 0 */
} zelkInsightFault;

/**
 * Checks a string: the findings that zelkInsightDecode() would have, and what is wrong with the string as a whole. A
 * rule of whole strings has at most one fault for a string. There is no output, so that text-cut is none of the faults.
 *
 * @param settings how the string is read; null for the standard's way. ZelkInsightGuessTable has no effect: a guess is
 *                 a fault here
 * @param language as for zelkInsightGuessTables()
 * @param faults   receives the faults in order of offset; null for none
 * @param room     entries of `faults`
 * @return the number of all faults
 */
unsigned int zelkInsightLint(const zelkInsightSettings *settings, const char *in, int inLen, const char *language,
                             zelkInsightFault *faults, unsigned int room);

/** Gives the stable identifier of a rule, such as "utf8-unannounced"; "unknown" for a value that is no rule. */
const char *zelkInsightRuleName(unsigned int rule);

/** Gives the severity that faults of a rule have. */
zelkInsightSeverity zelkInsightRuleSeverity(unsigned int rule);

/** Gives the clause of the public standard that a rule rests on; "" for none. */
const char *zelkInsightRuleClause(unsigned int rule);

/** Gives what a fault means, in one English sentence; "" for a value that is no rule. */
const char *zelkInsightRuleMeaning(unsigned int rule);

/* ============================================= Texts as whole strings =============================================
 */

/*
 * UTF-8 in, UTF-8 out. A zero byte ends a text, counted or not; bytes that are no UTF-8 become U+FFFD. A character that
 * does not fit ends the output.
 */

/**
 * Writes a text in small letters, by the tables of zelk2lowerChar(). U+0130 becomes i, U+1E9E the sharp s.
 *
 * @return the bytes written; never more than the text has, except for bytes that become U+FFFD
 */
unsigned int zelkInsightLower(char *out, int outSize, const char *in, int inLen);

/**
 * Writes a text in capitals, by the tables of zelk2upperChar(), with these exceptions: a letter that would lose its
 * mark (U+0149, U+01F0, U+0390, U+03B0, U+1E97 to U+1E99) stays as it is, as the sharp s does, and the final sigma has
 * a capital.
 *
 * @return the bytes written; twice those of the text suffice, three times where it may be no UTF-8
 */
unsigned int zelkInsightUpper(char *out, int outSize, const char *in, int inLen);

/**
 * Writes a text as it is compared without case: in small letters, the final sigma as sigma, the long s as s, the sharp
 * s as ss, the dotless i (U+0131) as i, since both have the capital I. Two texts that differ by case alone, within the
 * tables' Latin, Greek and Cyrillic, fold to the same.
 *
 * @return the bytes written; three times those of the text always suffice
 */
unsigned int zelkInsightFold(char *out, int outSize, const char *in, int inLen);

/** The bits of zelkInsightSortKey(). */
enum {
    ZelkInsightNatural = 1 /**< runs of the digits 0 to 9 count by their value: "BBC 2" is before "BBC 10" */
};

/**
 * Makes a sort key: memcmp() or strcmp() of two keys orders their texts.
 *
 * The order is that of zelkCollate() (letters, accents, case; docs/collation.md); where that finds two texts equal, or
 * its letters end (Arabic, Hebrew, Thai, Chinese), the key continues by code point. So the keys of two texts are equal
 * only where the texts are. Letters without a place in the alphabet are after all others.
 *
 * @param out     receives the key and a zero; no byte of a key is zero
 * @param outSize bytes in `out`; zelkInsightSortKeySize() always suffice, and a key that is cut still orders by what it
 *                holds
 * @param options 0 or ZelkInsightNatural
 * @return the bytes of the key
 */
unsigned int zelkInsightSortKey(char *out, int outSize, const char *in, int inLen, unsigned int options);

/** Gives a size for zelkInsightSortKey(), the terminator included: 9 bytes for each byte, and 4. */
int zelkInsightSortKeySize(const char *in, int inLen);

/** One of the strings that a long text is sent in; a negative length means up to the zero byte. */
typedef struct zelkInsightPiece {
    const char *bytes;
    int length;
} zelkInsightPiece;

/**
 * Joins the pieces of a long text (the extended event descriptors of an event) to one DVB string, to be decoded as a
 * whole: a piece may end between a mark and its letter, or inside a character.
 *
 * A piece without a selector, or with that of the first piece, continues the text before it. Another selector begins a
 * new text, and so does every piece of compressed text, each of which is a text of its own: there it stops.
 *
 * @param out     receives the string and a zero; what does not fit is cut
 * @param outSize the bytes of all pieces + 1 suffice
 * @param pieces  null only with a `count` of 0; the bytes of a piece may be null, for an empty one
 * @param used    receives the pieces that were joined: at least one where there is one; call again with the others. May
 *                be null
 * @return the bytes of the string
 */
unsigned int zelkInsightJoinPieces(char *out, int outSize, const zelkInsightPiece *pieces, unsigned int count,
                                   unsigned int *used);

/** A stretch of decoded text. */
typedef struct zelkInsightSpan {
    unsigned int offset;
    unsigned int length;
    int emphasised; /**< 1 between the codes that turn emphasis on and off, else 0 */
} zelkInsightSpan;

/**
 * Splits a decoded text at its emphasis: spans that follow each other without a gap, none of them empty.
 *
 * @param evidence   of zelkInsightDecode() without bit 0 of the flags, its findings stored; not null
 * @param textLength the result of that call
 * @param spans      receives the spans; null for none
 * @param spanRoom   entries of `spans`
 * @return the number of spans
 */
unsigned int zelkInsightSplitEmphasis(const zelkInsightEvidence *evidence, unsigned int textLength,
                                      zelkInsightSpan *spans, unsigned int spanRoom);

/* ====================================================== Encode ======================================================
 */

/** The bits of zelkInsightEncodeSettings::forms: a bit for each DvbCode_t, and two for compressed text. */
enum {
    ZelkInsightFormDefault = 1 << 0,      /**< the default table, without a selector; 1 << n is ISO 8859-n */
    ZelkInsightFormTwoByte = 1 << 20,     /**< two bytes a character; the only form that says those above U+FFFF */
    ZelkInsightFormUtf8 = 1 << 21,        /**< UTF-8, up to U+FFFF: receivers read no more */
    ZelkInsightFormCompressed1 = 1 << 22, /**< encoding type 1, made for titles */
    ZelkInsightFormCompressed2 = 1 << 23, /**< encoding type 2, made for descriptions */
    ZelkInsightFormsStandard = 0x30EFFF   /**< all that ETSI EN 300 468 Annex A names, without compressed text */
};

/** The bits of zelkInsightEncodeSettings::options. */
enum {
    ZelkInsightPreferUtf8 = 1 /**< UTF-8, where allowed, for all that is not ASCII, whatever is shorter */
};

/** How a text may be sent. */
typedef struct zelkInsightEncodeSettings {
    dvbCharSet_t charSet; /**< the regional setting of the receivers, which decides what a selector means to them */
    unsigned int forms;   /**< the forms that may be used: one for a fixed table; 0 means ZelkInsightFormsStandard */
    unsigned int options; /**< 0 or ZelkInsightPreferUtf8 */
} zelkInsightEncodeSettings;

/** What became of a text. */
typedef struct zelkInsightEncoded {
    unsigned int form;           /**< the number of the bit of the form */
    DvbCode_t code;              /**< the form as zelk_dvbGetDvbCode() reads it */
    int extra;                   /**< the encoding type of compressed text */
    zelkInsightTable table;      /**< the table that receivers use */
    unsigned int selectorLength; /**< bytes of the selector, 0 for an empty string */
    unsigned int used;           /**< bytes of the text that are in the string: all, or as many as fitted */
    unsigned int unsaid;         /**< characters of these bytes that no allowed form can say: question marks */
    unsigned int firstUnsaid;    /**< the offset of the first of them in the text */
} zelkInsightEncoded;

/**
 * Encodes UTF-8 as a DVB string, in the shortest of the allowed forms that says it exactly; where none does, in the one
 * that leaves the fewest characters unsaid.
 *
 * Exactly means that zelkInsightDecode() gives the text back. Line feeds are sent as the standard has them, 0x8A, and
 * U+0086 and U+0087 as the codes of emphasis; the default table has no U+0009 and U+007F, and other controls cannot be
 * said. What does not fit is cut at a character, never between a letter and its mark. The forms are then compared by
 * the part that fits: one that says its part exactly wins, then one that holds more of the text, if only as question
 * marks.
 *
 * @param settings how; null for the standard's forms and setting
 * @param out      receives the string and a zero
 * @param outSize  bytes in `out`: the budget of the string, and 1
 * @param in       the text, or null for an empty one; an empty text is an empty string
 * @param inLen    its bytes; negative: up to the zero byte
 * @param encoded  what became of it; may be null
 * @return the bytes of the string
 */
unsigned int zelkInsightEncode(const zelkInsightEncodeSettings *settings, char *out, int outSize, const char *in,
                               int inLen, zelkInsightEncoded *encoded);

/** The most bytes of a piece; an extended event descriptor has room for 249. */
#define ZELK_INSIGHT_LARGEST_PIECE 255

/** Takes a piece, which is there for the call alone; a negative result stops. */
typedef int (*zelkInsightPieceTaker)(const char *piece, unsigned int length, void *context);

/**
 * Encodes UTF-8 in pieces of at most `pieceSize` bytes, all in the form that zelkInsightEncode() would choose for the
 * whole, each with its selector. zelkInsightJoinPieces() joins them again (compressed pieces are texts of their own).
 *
 * @param pieceSize 1 to ZELK_INSIGHT_LARGEST_PIECE, and more means that; the pieces end before the first character that
 *                  does not fit into one with its selector (`encoded` says how much of the text was used)
 * @param take      is called with each piece in order
 * @param context   is passed to `take`
 * @param encoded   what became of the text in the pieces that `take` was called with; may be null
 * @return the number of pieces that `take` was called with
 */
unsigned int zelkInsightEncodePieces(const zelkInsightEncodeSettings *settings, int pieceSize, const char *in,
                                     int inLen, zelkInsightPieceTaker take, void *context, zelkInsightEncoded *encoded);

/**
 * Compresses a text in a context-tree code, with its end and without a selector.
 *
 * @param code    1 or 2 for the encoding types of DVB text, whose bytes are UTF-8; 3 for the titles and 4 for the
 *                descriptions of ATSC A/65 (Tables C.4 to C.7), whose bytes are characters
 * @param out     receives the bytes and a zero
 * @param outSize bytes in `out`; four times those of the text and 5 always suffice
 * @param in      the text, or null for an empty one; a zero byte ends it, counted or not
 * @param inLen   its bytes; negative: up to the zero byte
 * @return the bytes written; 0 where they do not fit and for other codes
 */
unsigned int zelkInsightCompress(unsigned int code, char *out, int outSize, const char *in, int inLen);

#ifdef __cplusplus
} /* extern "C" */
#endif

#undef ZELK_INT_ENUM

#if defined(ZELK_BUILDING_INSIGHT)
#pragma GCC visibility pop
#endif

#endif /* ZELK_INSIGHT_H */
