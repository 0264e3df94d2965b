"""Why a row of the benchmark stays behind its target: what was tried for it, and the limit that was measured.

Times are those of the machine that docs/benchmarks.md names. A row that meets its target needs no entry; one that
misses it and has none is reported as unexplained.
"""

ONE_BLOCK = (
    "a name is one block, whose latencies add up: the call, a load under a mask, two permutations, two compressed "
    "halves and their stores. Storing the first half whole where there is room for it took a name from 8.4 to 7 ns; a "
    "branch for ASCII alone, 6 ns, is mistaken where names with and without accents alternate."
)
UCS2_NAME = (
    "a name is one block of 64 units, with a branch for ASCII. Its writing is near that of a `memcpy`, the rest is "
    "the call and the end of the text, which may come before the count."
)
EVEN_TEXT = (
    "the text begins behind its selector, at an odd address: every load of 64 bytes touches two lines of the cache, "
    "which alone doubles the time of English (1.5 µs against 0.9 µs for the same text at an even address)."
)
ENCODE_SHORT = (
    "a name of up to 32 units is one block, terminator and all, without a branch on ASCII: 5.8 to 6.3 ns, no more 6.5 "
    "to 12; Chinese needs two compressed halves, 9.2 ns instead of 13. An empty call is 4.9 ns of that."
)
ENCODE_DESCRIPTION = (
    "four blocks at once, looked at together: 10.4 to 11.2 ns instead of 24 to 26 (English 6.8 instead of 13). The "
    "rows of French lie at their target."
)
ENCODE_ENGLISH = (
    "1,536 lines of the cache go to and from its second level, of which the writing half is read before, at two "
    "cycles a line: 830 ns; a `memcpy` of the result moves 1,024. 1.5 times as much is the limit, and 0.9 µs are "
    "1.53 times."
)
DECODE_SHORT = (
    "from 13.5 to 8.4 ns (French, Russian) and 10.3 ns (Chinese), of which a text of ASCII takes 4.2: one load, the "
    "bytes before by permutations, units stored whole, the terminator by the kernel. Without characters of three bytes "
    "comparisons check the text; with them 26 vector operations of 64 bytes are left, 13 cycles at two a cycle. The "
    "rows lie at their target, but for Chinese."
)

# By work, text and length; by work and length; by work and text; or by work.
TRIED = {
    ("sets with some accents to UTF-8", "name"): ONE_BLOCK,
    ("sets of two-byte letters to UTF-8", "name"): ONE_BLOCK,
    ("ISO 8859-1 to UTF-8", "name"): ONE_BLOCK,
    ("sets to UTF-8, plain English", "name"): ONE_BLOCK,
    ("sets to UTF-8, plain English", "desc"): (
        "three blocks and a part, 10.9 to 12.5 ns over the runs, which lie on both sides of the target."
    ),
    ("ISO 8859-1 to UTF-8", "64K"): (
        "ISO 8859-1 goes the way of all sets, two compress stores for 64 characters, 3.2 ns; only a kernel of its "
        "own, without the two table lookups, could be faster, and the rate is 20 GB/s already. To close the bytes up "
        "in the register that they come from, for whose old value the processor waits, took 1 to 2 %."
    ),
    ("sets to UCS-2", "name"): UCS2_NAME,
    ("DVB with a selector to UCS-2", "name"): UCS2_NAME,
    ("DVB two-byte text to UTF-8", "English", "64K"): EVEN_TEXT,
    ("DVB two-byte text to UTF-8", "64K"): EVEN_TEXT + " The rest is the encoding of UCS-2, see there.",
    ("DVB two-byte text to UTF-8",): (
        ENCODE_SHORT + " The filter of controls adds two operations a block, the selection 2 ns: names take 8 ns "
        "instead of 14, at their target, Chinese 12.5 instead of 17; descriptions 14 ns instead of 31."
    ),
    ("DVB UTF-8 text to UTF-8",): (
        "text is copied while it is checked, by comparisons alone where neither characters of three bytes nor U+0080 "
        "to U+00BF occur: names from 13.8 over 9.3 to 8.2 ns, 64K from 4.0 over 3.0 to 2.6 µs (Russian) and 2.9 µs "
        "(French, Chinese). The rows lie at their target; the check alone is 2.0 to 2.8 µs."
    ),
    ("UCS-2 to UTF-8", "name"): ENCODE_SHORT,
    ("UCS-2 to UTF-8", "desc"): ENCODE_DESCRIPTION,
    ("UCS-2 to UTF-8", "native, English", "64K"): ENCODE_ENGLISH,
    ("UCS-2 to UTF-8", "high byte first, English", "64K"): ENCODE_ENGLISH,
    ("UCS-2 to UTF-8", "low byte first, English", "64K"): ENCODE_ENGLISH,
    ("UCS-2 to UTF-8", "64K"): (
        "64 units take 12.5 cycles instead of 18: 1.75 to 1.85 µs instead of 2.6. The same loop takes 10 cycles "
        "without any check and 11 where only the end of the loop is checked, and the target is 10.4. Counts from the mask of "
        "what is above ASCII instead of that of the bytes kept took 2.5 cycles off, shifts in place of multishifts 0.5."
    ),
    ("UTF-8 to UCS-2", "name"): DECODE_SHORT,
    ("UTF-8 to UCS-2", "desc"): (
        "from 36 to 27 ns (Russian; English from 17 to 8.5): units stored whole, a check by comparisons where no "
        "character is of three bytes, ASCII as four blocks of which two may overlap. Three or four blocks of 14 cycles "
        "and a branch on their number, which is not to be foreseen."
    ),
    ("UTF-8 to UCS-2", "64K"): (
        "4.4 ns for 64 bytes with characters of three bytes: 26 vector operations at two a cycle are 3.5 ns. Without "
        "such characters 3.6 ns, instead of 4.6, as no tables are asked. Storing both halves of a block always was 3 % "
        "slower for Chinese."
    ),
    ("UTF-8 validity", "name"): (
        "ASCII is tried first (4.7 ns for a name), then the sequences, from one load and without a branch on the place "
        "of a fault: 5.6 ns instead of 7.4."
    ),
    ("UTF-8 validity", "desc"): (
        "three blocks at the rate of 64K and two parts under masks; blocks first took 20 to 18.6 ns."
    ),
    ("DVB default table to UTF-8, plain", "name"): (
        "from 19.6 to 5.2 ns, 4 ns of which are the call with its selection and 3.6 ns a `memcpy` of the same bytes. "
        "A stage for ASCII alone gained nothing here and cost names with marks up to 1 ns."
    ),
    ("DVB default table to UTF-8, marks", "name"): (
        "from 36 to 43 ns to 9.5 to 11.5 ns. Marks and letters are composed in the block, 8 ns where only composed "
        "letters occur (Hungarian); letters such as ł and ı need two compressed halves more. To store those always, "
        "without a branch, took 11.4 to 13.9 ns."
    ),
    ("DVB default table to UTF-8, marks", "desc"): (
        "from 137 to 183 ns to 39 to 47 ns: three whole blocks at the rate of 64K (7 to 9 ns each) and a part, which "
        "costs as much as a block."
    ),
    ("DVB with a selector to UTF-8, some accents", "64K"): (
        "from 41 to 59 µs to 3.7 to 4.0 µs, a tenth above the bare sets: the text lies at an odd address, and "
        "controls are looked for where the characters are looked up."
    ),
    ("DVB with a selector to UTF-8, some accents", "name"): ONE_BLOCK,
    ("DVB with a selector to UTF-8, two-byte letters", "name"): ONE_BLOCK,
    ("Huffman",): (
        "by about a third faster than a run of 256 characters through a buffer: steps of five bits are looked up in "
        "batches, some six cycles each, and put in order behind them, in place. Steps of six bits would take 16 KiB "
        "more for about 3 %. Texts of 200 characters end within a batch, which a branch finds out; runs differ by a "
        "tenth."
    ),
    ("collation", "equal"): (
        "one block is compared, 2.4 ns in a bare loop in which an empty call takes 1.4 ns. The benchmark's call adds "
        "0.8 ns, so that runs lie between 5x and 6.2x."
    ),
    ("wildcards", "inner, ignoring case", "name"): (
        "from 20.6 to 10.6 ns. Upper and lower case are the locale's, exactly: its table is asked for (1.3 ns) and "
        "half of it loaded and looked up, which takes half of the time; to take ASCII's case for granted would be "
        "wrong in some locales, and to keep the table would be writable state."
    ),
    ("XML escape", "sparse"): (
        "from 12 to 8.2 ns (names), 30 to 22 ns (desc), 4.8 to 3.6 µs (64K). Two special characters a block without a "
        "branch took 27 ns and 4.6 µs; one jump less in the choice of kernels gained nothing (8.1 ns). The rows lie "
        "at their targets, and one run meets what the next one misses."
    ),
    ("XML unescape", "sparse"): (
        "from 16 to 10 ns (names), 42 to 31 ns (desc), 9.9 to 5.4 µs (64K). A vector check of every block took 42 ns "
        "and 7.3 µs, stages of their own for few and for many references 35 ns. A name without a reference takes 4.4 "
        "ns, one with one 10 to 11 ns: a compress store and a branch that cannot be foreseen, about 4.5 ns."
    ),
    ("XML unescape", "dense", "name"): (
        "from 22.4 to 18.2 ns; by scalar runs 21 ns. About 45 operations wait for one another for each block."
    ),
}

# The same for the portable kernels.
SUFFIX = (
    "from 12.8 to 7.3 ns (names), 14.1 to 9.6 ns (desc). The empty call takes 3.0 ns, with a `strlen` of the text 5.3 and "
    "5.8, with another one of the pattern, whose length GLib has prepared, 6.9 and 7.6. One look at 32 bytes finds the "
    "pattern's end and whether it is ordinary, 0.6 ns; the tail is compared at once and without a branch. The end of a "
    "name from one look at 64 bytes, in place of `strlen`, took 6.4 ns, but descriptions 13 to 14."
)

TRIED_PORTABLE = {
    ("sets to UCS-2",): (
        "every character is looked up; the rows lie at their targets. ISO 8859-1, which needs no table, went from 15.8 "
        "to 2.9 µs (64K) and from 12.8 to 8 ns (names) by whole blocks."
    ),
    ("XML escape",): (
        "every byte by its entry, without a branch; loading an entry once took 64K from 37.8 to 36.8 µs, names from "
        "24.9 to 24.5 ns. A store for each byte is the limit."
    ),
    ("UCS-2 to UTF-8", "name"): (
        "blocks of eight units, without a branch on what a unit needs, took French from 14.7 to 10.5 ns, Russian from "
        "19.3 to 12.5 and Chinese from 21.1 to 14.8 (English from 12.9 to 6.5). A call takes some 90 instructions and "
        "a block 70 of two-byte and 95 of three-byte text, which run at nearly six a cycle: a name of two or three "
        "blocks would have to do with half of them. A stage for ASCII alone in front cost other names 2 ns; a path for "
        "blocks of three-byte units took Chinese 64K from 20.7 to 15.5 µs, but names only from 18.1 to 17.9 ns and "
        "Russian 64K from 14.0 to 15.2 µs; sums kept in memory in place of shifts gained 3 % in names."
    ),
    ("UTF-8 to UCS-2", "name"): (
        "from 18 to 9 ns (English), 32 to 16 (French), 33 to 18 (Russian) and 30 to 21 (Chinese) in a bare loop; the "
        "call adds 2 to 3 ns. A block of sixteen bytes takes 5.7 ns (two bytes a character) or 6.7 ns (three), 110 to "
        "150 operations at six a cycle, most of them to close up the units without a permutation, and a text 4 to 6 "
        "ns more. Runs of one kind in turn took 23 to 33 ns, for each waits for the length of the last, one loop for "
        "both kinds 24 ns, units put to their places by pairs 20 ns."
    ),
    ("UTF-8 validity", "name"): (
        "from 28 to 7.3 ns in a bare loop, English from 15 to 2.5 ns; the call adds 1.5 to 2.5 ns. Three blocks are "
        "checked at once, some 25 operations each; by one block after another it was 9.3 ns. A first look for ASCII "
        "halves English and costs the others a branch that cannot always be foreseen."
    ),
    ("Huffman", "DVB, type 1"): (
        "its code is one of titles: in descriptions one character of 19 has a rare code, which no state is kept for, "
        "and is walked in its tree. With states for all but one of 50 characters the DVB codes take 7 KiB more than "
        "their 14, and the limit on the portable library leaves less than one."
    ),
    ("Huffman", "titles", "desc"): (
        "steps of four bits, of which a character takes 1.3 here (1.2 of five bits in the build of all kernels), and "
        "an escape for one of 13 characters."
    ),
    ("Huffman",): "steps of four bits, 28 KiB for all codes; steps of five bits take 80.",
    ("Huffman", "Malaysia, English"): (
        "one lookup a piece, made for size (-O2): made for speed alone it takes 6 % less time and 1.6 KiB, which the "
        "limit on the portable library does not leave."
    ),
    ("wildcards", "suffix", "name"): SUFFIX,
    ("wildcards", "suffix", "desc"): SUFFIX,
    ("wildcards", "inner, ignoring case", "name"): (
        "from 23.1 to 19.3 ns. Upper and lower case are the locale's, exactly: 512 bytes of its table are compared with "
        "ASCII's, 5 ns; by vectors of sixteen bytes 10. Without that it was 15.5 ns. To look up the text's bytes one by "
        "one took 29 ns by bytes stored and 23 by words put together, a copy of the search for this rule alone 19.1 and "
        "1 KiB, which the limit on the portable library does not leave."
    ),
}


def tried(work, text, length, portable):
    texts = TRIED_PORTABLE if portable else TRIED
    for key in ((work, text, length), (work, length), (work, text), (work,)):
        if key in texts:
            return texts[key]
    return "**not explained yet**"
