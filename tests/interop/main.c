/* SPDX-License-Identifier: MIT */
/*
 * One end of a conversation between two machines, which need not have the same byte order:
 *
 *     interop serve tcp|udp                    tells its port and answers one peer
 *     interop ask tcp|udp PORT same|other      talks to it; the last says how its byte order is to be
 *
 * Both ends know every message. Each sends every control code once and checks what the other sends: strings, integers
 * and booleans arrive exactly; floating-point values arrive in the writer's byte order.
 */
#include "check.h"
#include "connection.h"
#include "value_rows.h"

#include <varnel/memory.h>
#include <varnel/serialize.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The last one is a string, so that messages need no spare bytes behind them. */
static const row kinds[] = {
    SCALAR(XDATA_INT32, 0x80000001),
    SCALAR(XDATA_UINT32, 0x81020304),
    SCALAR(XDATA_INT64, 0x8000000000000001),
    SCALAR(XDATA_UINT64, 0x8102030405060708),
    SCALAR(XDATA_BOOLEAN, 1),
    SCALAR(XDATA_FLOAT, 0x3FC00000),          /* 1.5 */
    SCALAR(XDATA_FLOAT, 0x7FA00001),          /* a signalling NaN */
    SCALAR(XDATA_DOUBLE, 0xC004000000000001), /* next to -2.5 */
    SCALAR(XDATA_DOUBLE, 0x7FF4000000000001), /* a signalling NaN */
    SCALAR(XDATA_BOOLEAN, 0),
    STRING(""),
    STRING("\xff\0\x80\0"),
    STRING("net:hostname\0"),
};

enum { MOST_REPEATS = 40 }; /* a message of several packets */

/* Messages of 0, 1 and 40 times all kinds. */
static uint32_t parameters_of(uint32_t code) {
    static const uint32_t repeats[] = {1, MOST_REPEATS, 0};
    return repeats[code % 3] * COUNT(kinds);
}

static void send_message(const connection *to, uint32_t code, const row *rows, uint32_t count) {
    static xdata values[MOST_REPEATS * COUNT(kinds)];
    static char texts[MOST_REPEATS * COUNT(kinds)][ROW_TEXT_MAX];
    xarray *params = xarray_new();
    for (uint32_t i = 0; i < count; ++i) {
        values[i] = value_of(&rows[i % COUNT(kinds)], texts[i]);
        CHECK(xarray_add(params, &values[i]) == 1);
    }
    uint8_t *message = NULL;
    const uint32_t length = xserialize_message(&message, code, params);
    CHECK(length != 0 && client_send_data(to->end, 0, message, length) == 1);
    _xfree(message);
    xarray_free(&params, NULL);
}

/* Waits for the message with this code and number of parameters. */
static xdata *receive_message(connection *to, uint32_t code, uint32_t count) {
    uint8_t *message = NULL;
    const uint32_t length = connection_receive(to, &message);
    uint32_t read_code = 0;
    xdata *records = NULL;
    CHECK(get_xmessage_size(message, length) == length);
    CHECK(xdeserialize_message(message, length, &read_code, &records) == (int32_t)count);
    CHECK(read_code == code);
    _xfree(message);
    return records;
}

static void send_code(const connection *to, uint32_t code) {
    send_message(to, code, kinds, parameters_of(code));
}

static void receive_code(connection *to, uint32_t code, int other_order) {
    const uint32_t count = parameters_of(code);
    xdata *const records = receive_message(to, code, count);
    for (uint32_t i = 0; i < count; ++i) {
        const row *const sent = &kinds[i % COUNT(kinds)];
        const row expected = other_order ? row_of_other_order(sent) : *sent;
        CHECK(value_is(&records[i], &expected));
    }
    release_records(records, count);
}

static void send_order(const connection *to) {
    row order = {XDATA_STRING, (uint32_t)strlen(byte_order()) + 1, byte_order(), 0};
    send_message(to, control_other, &order, 1);
}

/* Whether the peer's byte order is another one. */
static int receive_order(connection *to) {
    xdata *const records = receive_message(to, control_other, 1);
    CHECK(records->type == XDATA_STRING);
    const int other = strcmp(records->value.s.str, byte_order()) != 0;
    CHECK(!other || strcmp(records->value.s.str, "little") == 0 || strcmp(records->value.s.str, "big") == 0);
    release_records(records, 1);
    return other;
}

static void serve(const char *transport) {
    connection to;
    connection_serve(&to, connection_type(transport));
    const int other = receive_order(&to);
    send_order(&to);
    for (uint32_t code = control_min + 1; code < control_max; ++code) {
        receive_code(&to, code, other);
        send_code(&to, code);
    }
    receive_order(&to); /* the peer has everything */
    connection_close(&to);
}

static void ask(const char *transport, const char *port, const char *expected_order) {
    const unsigned long number = strtoul(port, NULL, 10);
    CHECK(number > 0 && number < UINT16_MAX);
    connection to;
    connection_open(&to, connection_type(transport), (uint16_t)number);
    send_order(&to);
    const int other = receive_order(&to);
    CHECK(strcmp(expected_order, other ? "other" : "same") == 0);
    for (uint32_t code = control_min + 1; code < control_max; ++code) {
        send_code(&to, code);
        receive_code(&to, code, other);
    }
    send_order(&to);
    connection_close(&to);
    const row one_and_a_half = SCALAR(XDATA_FLOAT, 0x3FC00000);
    printf("%s, %s-endian here, %s byte order there: every control message arrived both ways\n", transport,
           byte_order(), expected_order);
    printf("the float 3fc00000 is %08" PRIx64 " there\n",
           other ? row_of_other_order(&one_and_a_half).bits : one_and_a_half.bits);
}

int main(int count, char **arguments) {
    if (count == 3 && strcmp(arguments[1], "serve") == 0) {
        serve(arguments[2]);
    } else if (count == 5 && strcmp(arguments[1], "ask") == 0) {
        ask(arguments[2], arguments[3], arguments[4]);
    } else {
        fprintf(stderr, "usage: interop serve tcp|udp\n       interop ask tcp|udp PORT same|other\n");
        return 2;
    }
    printf("%u checks passed\n", checks_made());
    return EXIT_SUCCESS;
}
