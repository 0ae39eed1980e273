/* SPDX-License-Identifier: MIT */
/* The deepest calls of the library, each on a painted stack: a line each, the function, what it was given, bytes. */
#include "painted.h"

#include <varnel/varnel.h>

#include <setjmp.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static _Noreturn void fail(const char *message) {
    fprintf(stderr, "stack: %s\n", message);
    exit(1);
}

static void require_that(int holds, const char *message) {
    if (!holds)
        fail(message);
}

/* The log library's function, with the prefix that the library gives it. */
int log_vperr(const char *prefix, const char *format, va_list arguments);
__attribute__((format(printf, 1, 2))) static void log_error_line(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_vperr("_varnel: ", format, arguments);
    va_end(arguments);
}

static void print_use(const char *function, const char *what, void (*call)(void *data), void *data) {
    printf("%s\t%s\t%zu\n", function, what, painted_use(call, data));
}

/* --- configuration --- */

typedef struct load_call {
    const char *path;
    xdictionary *tree;
} load_call;

static void load_file(void *data) {
    load_call *const load = data;
    load->tree = configurator_load(load->path);
}

/* The second "a" replaces the first, which is released in the loader. */
static void write_settings(int descriptor) {
    FILE *const file = fdopen(descriptor, "w");
    if (file == NULL)
        fail("cannot write into /tmp");
    fputs("top = {\na = {\nb = \"text\"\n}\na = {\nc = 'text'\nlong = one\\\n, two\n}\n}\n", file);
    require_that(fclose(file) == 0, "cannot write into /tmp");
}

static void get_integer(void *data) {
    require_that(confparser_getint(data, "top:a:missing", 7) == 7, "confparser_getint");
}

/* A logical line of more than 1023 characters: the loader logs that and gives up. */
static void write_long_line(int descriptor) {
    dprintf(descriptor, "%0800d\\\n%0800d\n", 0, 0);
}

static void write_nonsense(int descriptor) {
    dprintf(descriptor, "nonsense\n");
}

static sigjmp_buf before_abort;

static void leave_abort(int signal) {
    (void)signal;
    siglongjmp(before_abort, 1);
}

/* A syntax error is logged, and ends the process; here, the call. */
static void load_until_abort(void *data) {
    signal(SIGABRT, leave_abort);
    if (sigsetjmp(before_abort, 1) == 0)
        load_file(data);
    signal(SIGABRT, SIG_DFL);
}

static void measure_failed_load(const char *what, void (*write)(int descriptor), void (*call)(void *data)) {
    char path[] = "/tmp/varnel-stack.XXXXXX";
    const int descriptor = mkstemp(path);
    require_that(descriptor >= 0, "cannot write into /tmp");
    write(descriptor);
    close(descriptor);
    load_call load = {path, NULL};
    print_use("configurator_load", what, call, &load);
    unlink(path);
    require_that(load.tree == NULL, "configurator_load");
}

/* What a line takes by itself, wherever it is logged. */
static void log_line(void *data) {
    log_error_line("input line too long in %s (%d).\n", (const char *)data, 2);
}

static void measure_failures(void) {
    char path[] = "/tmp/varnel-stack.XXXXXX";
    measure_failed_load("a line that is too long, which it logs", write_long_line, load_file);
    measure_failed_load("a syntax error, which it logs and aborts", write_nonsense, load_until_abort);
    print_use("log_vperr", "a line, by the log stand-in alone", log_line, path);
}

static void measure_configuration(void) {
    char path[] = "/tmp/varnel-stack.XXXXXX";
    const int descriptor = mkstemp(path);
    require_that(descriptor >= 0, "cannot write into /tmp");
    write_settings(descriptor);
    load_call load = {path, NULL};
    print_use("configurator_load", "a file with a replaced group", load_file, &load);
    unlink(path);
    require_that(load.tree != NULL, "configurator_load");
    print_use("confparser_getint", "a path of three names", get_integer, load.tree);
    xdictionary_del(load.tree);
}

/* --- transport --- */

typedef struct conversation {
    client *sender;
    client *receiver;
    int receiving_end;
    uint8_t *message;
} conversation;

static char payload[3000];

static void send_message(void *data) {
    conversation *const c = data;
    require_that(client_send_data(c->sender, 0, payload, sizeof payload), "client_send_data");
}

static void parse_packet(void *data) {
    conversation *const c = data;
    require_that(parse_circle_data(c->receiver, NULL, &c->message) == 0, "parse_circle_data");
}

static void move_packet(conversation *c) {
    char packet[PACKET_SIZE];
    const ssize_t got = recv(c->receiving_end, packet, sizeof packet, 0);
    require_that(got == PACKET_SIZE, "no packet came");
    require_that(circle_buf_put(c->receiver->recv_buf, packet, PACKET_SIZE) == PACKET_SIZE, "circle_buf_put");
}

static void measure_transport(void) {
    int ends[2];
    require_that(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "socketpair");
    conversation c = {client_new(CLIENT_STREAM, ends[0], NULL), client_new(CLIENT_STREAM, ends[1], NULL), ends[1],
                      NULL};
    require_that(c.sender != NULL && c.receiver != NULL, "client_new");
    print_use("client_send_data", "the first of three packets", send_message, &c);
    move_packet(&c);
    print_use("parse_circle_data", "a packet, which it acknowledges", parse_packet, &c);
    client_free(c.sender);
    client_free(c.receiver);
    close(ends[0]);
    close(ends[1]);
}

/* --- values --- */

static void log_value(void *data) {
    xdata_out(data);
}

static void put_many(void *data) {
    static char keys[100];
    for (size_t i = 0; i < sizeof keys; ++i)
        require_that(hashmap_put(data, &keys[i], data) == 1, "hashmap_put");
}

static void measure_values(void) {
    const double number = 1.0e300;
    xdata *const x = xdata_new(XDATA_DOUBLE, &number);
    require_that(x != NULL, "xdata_new");
    print_use("xdata_out", "a double with 301 digits", log_value, x);
    xdata_free(x);
    hashmap *const map = hashmap_new(NULL, NULL);
    require_that(map != NULL, "hashmap_new");
    print_use("hashmap_put", "100 entries, with growth", put_many, map);
    hashmap_free(map);
}

int main(void) {
    measure_configuration();
    measure_failures();
    measure_transport();
    measure_values();
    return 0;
}
