/* SPDX-License-Identifier: MIT */
#include "check.h"

#include <stdio.h>
#include <stdlib.h>

static unsigned check_count;

void check(int holds, const char *condition, const char *file, int line) {
    ++check_count;
    if (holds)
        return;
    fprintf(stderr, "%s:%d: this does not hold: %s\n", file, line, condition);
    exit(EXIT_FAILURE);
}

unsigned checks_made(void) {
    return check_count;
}
