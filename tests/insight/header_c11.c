/* libzelk-insight from C: compiled as C11 with -Wpedantic, one call of every family. */
#include "zelk_insight.h"

#include <assert.h>
#include <stdio.h>
#include <string.h>

static_assert(sizeof(zelkInsightKind) == 4 && sizeof(zelkInsightTable) == 4, "enumerations of 32 bits");

static int failures = 0;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "insight_header_c11: %s\n", what);
        ++failures;
    }
}

int main(void) {
    char text[64];
    zelkInsightFinding findings[4];
    zelkInsightEvidence evidence = {.findings = findings, .findingRoom = 4};
    expect(zelkInsightDecode(NULL, text, sizeof text, "A\xA6", 2, &evidence) == 1, "the text is decoded");
    expect(evidence.findingCount == 1 && findings[0].kind == ZelkInsightByteUnassigned, "the finding is told");
    expect(strcmp(zelkInsightKindName(findings[0].kind), "byte-unassigned") == 0, "kinds have names");
    return failures;
}
