/* libzelk-arrow from C: compiled as C11 with -Wpedantic, a column there and back. */
#include "zelk_arrow.h"

#include <stdio.h>
#include <string.h>

static int failures = 0;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "arrow_header_c11: %s\n", what);
        ++failures;
    }
}

int main(void) {
    const char bytes[] = "Caf\xC2"
                         "e\xA6";
    const int32_t offsets[] = {0, 5, 6};
    const void *buffers[] = {NULL, offsets, bytes};
    const struct ArrowSchema schema = {.format = "z"};
    const struct ArrowArray names = {.length = 2, .n_buffers = 3, .buffers = buffers};
    const zelkArrowDecodeSettings settings = {.columns = ZelkArrowText | ZelkArrowFindingCount,
                                              .reading = {.charSet = DvbCharSetStandard, .defaultCode = DvbCodeNone}};
    struct ArrowSchema outSchema;
    struct ArrowArray out;
    expect(zelkArrowDecode(&settings, &schema, &names, &outSchema, &out) == ZelkArrowDone, "the column is decoded");
    expect(strcmp(outSchema.children[0]->name, "text") == 0, "columns have names");
    expect(memcmp(out.children[0]->buffers[2], "Caf\xC3\xA9", 5) == 0, "the texts are there");
    expect(((const uint32_t *)out.children[1]->buffers[1])[1] == 1, "findings are counted");
    out.release(&out);
    outSchema.release(&outSchema);
    expect(out.release == NULL && outSchema.release == NULL, "a released structure says so");
    return failures;
}
