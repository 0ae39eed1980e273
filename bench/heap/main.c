/* SPDX-License-Identifier: MIT */
#include "rows.h"

#include <stdio.h>
#include <stdlib.h>

void require_that(int holds, const char *message) {
    if (holds)
        return;
    fprintf(stderr, "heap: %s\n", message);
    exit(1);
}

void print_row(const char *what, heap_use use) {
    printf("%s\t%zu\t%zu\n", what, use.bytes, use.blocks);
}

static void print_fraction(size_t total, unsigned count) {
    if (total % count == 0)
        printf("\t%zu", total / count);
    else
        printf("\t%.1f", (double)total / (double)count);
}

void print_each(const char *what, heap_use use, unsigned count) {
    printf("%s", what);
    print_fraction(use.bytes, count);
    print_fraction(use.blocks, count);
    putchar('\n');
}

int main(void) {
    count_install();
    count_records();
    require_that(count_now().blocks == 0, "a record was not released");
    count_settings();
    return 0;
}
