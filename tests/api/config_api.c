/* SPDX-License-Identifier: MIT */
/* The rest of the program is strict ISO C; here files are made and standard output is looked at. */
#define _POSIX_C_SOURCE 200809L

#include "api_test.h"

#include <varnel/config.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* A new dictionary from the text of a configuration file. */
static xdictionary *load_text(const char *text) {
    char path[] = "/tmp/varnel_api_XXXXXX";
    const int fd = mkstemp(path);
    CHECK(fd >= 0);
    CHECK(write(fd, text, strlen(text)) == (ssize_t)strlen(text) && close(fd) == 0);
    xdictionary *d = configurator_load(path);
    CHECK(unlink(path) == 0);
    return d;
}

static void test_dictionary(void) {
    xdictionary *d = xdictionary_new(0);
    uint32_t type = 9;
    CHECK(d->size == XDICTIONARY_MIN_SIZE && d->count == 0);
    CHECK(xdictionary_set(d, "key", "value", XDICTIONARY_STRING) == 0);
    CHECK(xdictionary_set(NULL, "key", "value", XDICTIONARY_STRING) == -1);
    CHECK(strcmp(xdictionary_get(d, "key", &type), "value") == 0 && type == XDICTIONARY_STRING);
    CHECK(xdictionary_get(d, "KEY", NULL) == NULL && xdictionary_get(NULL, "key", NULL) == NULL);

    xdictionary *copy = xdictionary_dup(d);
    CHECK(copy != NULL && copy->count == 1 && xdictionary_dup(NULL) == NULL);
    CHECK(xdictionary_set(copy, "other", "2", XDICTIONARY_STRING) == 0);
    CHECK(xdictionary_merge(d, copy) == d && d->count == 2);
    xdictionary_unset(d, "key");
    CHECK(d->count == 1 && xdictionary_get(d, "key", NULL) == NULL && xdictionary_get(copy, "key", NULL) != NULL);
    xdictionary_del(copy);
    xdictionary_del(d);
    xdictionary_del(NULL);
}

static const char settings[] = "# settings\n"
                               "Port = 0x10\n"
                               "user = {\n"
                               "    ratio = \"0.5\"\n"
                               "    on = Yes\n"
                               "}\n";

/* What xdictionary_out prints, with standard output going to a file meanwhile. */
static void check_printed(const xdictionary *d, int indent, const char *expected) {
    FILE *file = tmpfile();
    CHECK(file != NULL && fflush(stdout) == 0);
    const int saved = dup(STDOUT_FILENO);
    CHECK(saved >= 0 && dup2(fileno(file), STDOUT_FILENO) == STDOUT_FILENO);
    xdictionary_out(d, indent);
    CHECK(fflush(stdout) == 0 && dup2(saved, STDOUT_FILENO) == STDOUT_FILENO && close(saved) == 0);
    char text[256] = {0};
    rewind(file);
    CHECK(fread(text, 1, sizeof text - 1, file) == strlen(expected) && strcmp(text, expected) == 0);
    CHECK(fclose(file) == 0);
}

static void test_lookups(const xdictionary *d) {
    const xdictionary *user = confparser_getdic(d, "user");
    CHECK(user != NULL && user->count == 2 && user->parent == d && confparser_getdic(d, "port") == NULL);
    CHECK(strcmp(confparser_getstring(d, "user:on", "?"), "yes") == 0);
    CHECK(strcmp(confparser_getstring(d, "user:off", "?"), "?") == 0);
    CHECK(confparser_getint(d, "port", -1) == 16 && confparser_getint(d, "user", -1) == -1);
    CHECK(confparser_getdouble(d, "user:ratio", 0) == 0.5 && confparser_getdouble(d, "ratio", 2) == 2);
    CHECK(confparser_getboolean(d, "user:on", 0) == 1 && confparser_getboolean(d, "user:off", 7) == 7);
}

void test_config(void) {
    test_dictionary();
    xdictionary *d = load_text(settings);
    CHECK(d != NULL && d->count == 2);
    test_lookups(d);
    check_printed(d, 0, "port = 0x10\nuser = {\n    ratio = 0.5\n    on = yes\n}\n");
    check_printed(NULL, 0, "xdictionary is null.\n");
    xdictionary_del(d);
    CHECK(configurator_load(NULL) == NULL && configurator_load("/nonexistent/varnel.conf") == NULL);
}
