/* A C program outside the project, by <zelk_arrow.h> alone. */
#include <string.h>
#include <zelk_arrow.h>

int main(void) {
    const char bytes[] = "Caf\xC2"
                         "e";
    const int32_t offsets[] = {0, 5};
    const void *buffers[] = {NULL, offsets, bytes};
    const struct ArrowSchema schema = {.format = "z"};
    const struct ArrowArray names = {.length = 1, .n_buffers = 3, .buffers = buffers};
    struct ArrowSchema outSchema;
    struct ArrowArray out;
    if (zelkArrowDecode(NULL, &schema, &names, &outSchema, &out) != ZelkArrowDone) {
        return 1;
    }
    const int same = memcmp(out.buffers[2], "Caf\xC3\xA9", 5) == 0;
    out.release(&out);
    outSchema.release(&outSchema);
    return same ? 0 : 1;
}
