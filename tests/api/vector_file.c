/* SPDX-License-Identifier: MIT */
#include "vector_file.h"

#include "api_test.h"

#include <ctype.h>
#include <stdio.h>
#include <string.h>

static int digit_value(int digit) {
    static const char digits[] = "0123456789abcdef";
    const char *const found = digit != '\0' ? strchr(digits, digit) : NULL;
    CHECK(found != NULL);
    return (int)(found - digits);
}

/* The next character that is neither space nor part of a comment; EOF at the end. */
static int next_digit(FILE *file) {
    int in_comment = 0;
    for (;;) {
        const int c = fgetc(file);
        if (c == EOF || (!in_comment && c != '#' && !isspace(c)))
            return c;
        in_comment = c == '#' || (in_comment && c != '\n');
    }
}

void vector_read(vector *v, const char *name) {
    char path[1024];
    CHECK(snprintf(path, sizeof path, "%s/%s.hex", VARNEL_VECTOR_DIR, name) < (int)sizeof path);
    FILE *const file = fopen(path, "r");
    if (file == NULL)
        perror(path);
    CHECK(file != NULL);
    v->count = 0;
    for (int high = next_digit(file); high != EOF; high = next_digit(file)) {
        CHECK(v->count < sizeof v->bytes);
        v->bytes[v->count++] = (uint8_t)(digit_value(high) << 4 | digit_value(fgetc(file)));
    }
    CHECK(ferror(file) == 0 && fclose(file) == 0);
    CHECK(v->count != 0);
}

int vector_is(const vector *v, const void *bytes, size_t count) {
    const uint8_t *const given = bytes;
    size_t same = 0;
    while (same < count && same < v->count && given[same] == v->bytes[same])
        ++same;
    if (same == count && same == v->count)
        return 1;
    fprintf(stderr, "%zu bytes, the vector has %zu; the same up to byte %zu\n", count, v->count, same);
    return 0;
}
