/* SPDX-License-Identifier: MIT */
#include "errno_format.h"

#include <string.h>

/* A text that is being put together; too long a one stays within its bytes. */
struct text {
    char *bytes;
    size_t size;
    size_t length;
};

static void put(struct text *text, char c) {
    if (text->length < text->size)
        text->bytes[text->length] = c;
    ++text->length;
}

/* Characters of a text that are part of a format now. */
static void put_literally(struct text *text, const char *literal) {
    for (; *literal != '\0'; ++literal) {
        if (*literal == '%')
            put(text, '%');
        put(text, *literal);
    }
}

const char *tavi_expand_errno(char *expanded, size_t size, const char *format, int error) {
    struct text text = {NULL, size, 0};
    text.bytes = expanded;
    for (; *format != '\0'; ++format) {
        if (format[0] == '%' && format[1] == 'm') {
            put_literally(&text, strerror(error));
            ++format;
            continue;
        }
        put(&text, *format);
        if (format[0] == '%' && format[1] == '%')
            put(&text, *++format);
    }
    put(&text, '\0');
    return text.length <= size ? expanded : NULL;
}
