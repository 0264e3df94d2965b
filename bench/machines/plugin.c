/* A plugin of qemu's user emulation that counts the instructions that a program's shared libraries execute, its own
 * code left out, and on request keeps which ones in which order.
 *
 *   -plugin libinstructions.so,count=FILE[,trace=FILE]
 *
 * Debian's qemu brings no header for plugins: the few functions in use are declared here, as version 1 of the interface
 * has them. qemu translates code in blocks; a block is counted whole when it is entered. */
#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum { addU64 = 0, noRegisters = 0 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*callback)(qemu_plugin_id_t id, struct qemu_plugin_tb *block));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, int operation, void *word, uint64_t value);
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb *block,
                                          void (*callback)(unsigned int processor, void *data), int flags, void *data);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*callback)(qemu_plugin_id_t id, void *data), void *data);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
uint64_t qemu_plugin_tb_vaddr(const struct qemu_plugin_tb *block);
struct qemu_plugin_insn *qemu_plugin_tb_get_insn(const struct qemu_plugin_tb *block, size_t index);
const void *qemu_plugin_insn_data(const struct qemu_plugin_insn *instruction);
uint64_t qemu_plugin_start_code(void);
uint64_t qemu_plugin_end_code(void);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;
EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int count, char **arguments);

typedef struct Block {
    uint32_t length;
    uint32_t words[];
} Block;

static uint64_t executed;
static const char *countPath;
static FILE *trace;

/* The words of a block that is entered. */
static void keep(unsigned int processor, void *data) {
    const Block *const block = data;
    (void)processor;
    fwrite(block->words, sizeof block->words[0], block->length, trace);
}

static void translated(qemu_plugin_id_t id, struct qemu_plugin_tb *block) {
    const uint64_t address = qemu_plugin_tb_vaddr(block);
    const size_t length = qemu_plugin_tb_n_insns(block);
    (void)id;
    if (address >= qemu_plugin_start_code() && address < qemu_plugin_end_code()) {
        return;
    }
    qemu_plugin_register_vcpu_tb_exec_inline(block, addU64, &executed, length);
    if (trace != NULL) {
        Block *const kept = malloc(sizeof *kept + length * sizeof kept->words[0]); /* lives as long as the program */
        kept->length = (uint32_t)length;
        for (size_t i = 0; i < length; ++i) {
            memcpy(&kept->words[i], qemu_plugin_insn_data(qemu_plugin_tb_get_insn(block, i)), sizeof kept->words[i]);
        }
        qemu_plugin_register_vcpu_tb_exec_cb(block, keep, noRegisters, kept);
    }
}

static void ended(qemu_plugin_id_t id, void *data) {
    FILE *const file = fopen(countPath, "w");
    (void)id;
    (void)data;
    if (file != NULL) {
        fprintf(file, "%" PRIu64 "\n", executed);
        fclose(file);
    }
    if (trace != NULL) {
        fclose(trace);
    }
}

int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int count, char **arguments) {
    (void)info;
    for (int i = 0; i < count; ++i) {
        if (strncmp(arguments[i], "count=", 6) == 0) {
            countPath = arguments[i] + 6;
        } else if (strncmp(arguments[i], "trace=", 6) == 0) {
            trace = fopen(arguments[i] + 6, "wb");
        }
    }
    if (countPath == NULL) {
        return 1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_atexit_cb(id, ended, NULL);
    return 0;
}
