/* A C program outside the project, by <zelk_insight.h> alone. */
#include <string.h>
#include <zelk_insight.h>

int main(void) {
    char text[32];
    zelkInsightFinding findings[4];
    zelkInsightEvidence evidence = {.findings = findings, .findingRoom = 4};
    const unsigned int length = zelkInsightDecode(NULL, text, sizeof text,
                                                  "Caf\xC2"
                                                  "e \xA6",
                                                  7, &evidence);
    const int told =
        evidence.findingCount == 1 && strcmp(zelkInsightKindName(findings[0].kind), "byte-unassigned") == 0;
    return length == 6 && strcmp(text, "Caf\xC3\xA9 ") == 0 && told ? 0 : 1;
}
