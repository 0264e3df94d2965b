// Instructions, as Valgrind's callgrind counts them: one dump for each call. Without Valgrind nothing is counted.
#include "growth/counter.h"

#include <valgrind/callgrind.h>

const std::size_t shortestText = 420;

void startCounting() {
    CALLGRIND_TOGGLE_COLLECT;
}

void stopCounting(const std::string &label) {
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}
