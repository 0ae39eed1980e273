/* SPDX-License-Identifier: MIT */
#include "api_test.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The program's own log functions, which the library finds before those of the log library. */
int log_vperr(const char *prefix, const char *format, va_list arguments);
int log_vpinfo(const char *prefix, const char *format, va_list arguments);
int log_vpdebug(const char *prefix, const char *format, va_list arguments);

static char log_lines[4096];

static int record(char level, const char *prefix, const char *format, va_list arguments) {
    CHECK(strcmp(prefix, "_varnel: ") == 0);
    const size_t used = strlen(log_lines);
    CHECK(used + 2 < sizeof log_lines);
    log_lines[used] = level;
    log_lines[used + 1] = ' ';
    log_lines[used + 2] = '\0';
    const size_t room = sizeof log_lines - used - 2;
    const int length = vsnprintf(log_lines + used + 2, room, format, arguments);
    CHECK(length >= 0 && (size_t)length < room);
    return 0;
}

int log_vperr(const char *prefix, const char *format, va_list arguments) {
    return record('E', prefix, format, arguments);
}

int log_vpinfo(const char *prefix, const char *format, va_list arguments) {
    return record('I', prefix, format, arguments);
}

int log_vpdebug(const char *prefix, const char *format, va_list arguments) {
    return record('D', prefix, format, arguments);
}

int log_was(const char *lines) {
    const int same = strcmp(log_lines, lines) == 0;
    if (!same)
        fprintf(stderr, "logged:\n%sexpected:\n%s", log_lines, lines);
    log_lines[0] = '\0';
    return same;
}

static const struct {
    const char *name;
    void (*test)(void);
} families[] = {
    {"memory", test_memory},
    {"strings", test_strings},
    {"hashmap", test_hashmap},
    {"hashmap, order and two maps", test_hashmap_order},
    {"lists and arrays", test_collections},
    {"typed values", test_xdata},
    {"keys and pairs", test_xkey},
    {"value blocks and control messages", test_serialize},
    {"socket helpers", test_sockets},
    {"ring", test_ring},
    {"message ids and messages", test_messages},
    {"clients and parser", test_clients},
    {"configuration", test_config},
    {"storage", test_storage},
    {"vectors of value blocks and messages", test_codec_vectors},
    {"vectors of packets", test_packet_vectors},
};

int main(void) {
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    for (size_t i = 0; i < sizeof families / sizeof families[0]; ++i) {
        const unsigned before = checks_made();
        families[i].test();
        CHECK(log_was("")); /* every line was expected */
        printf("%5u checks  %s\n", checks_made() - before, families[i].name);
    }
    printf("%5u checks in all passed\n", checks_made());
    return EXIT_SUCCESS;
}
