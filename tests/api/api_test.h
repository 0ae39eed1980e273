/* SPDX-License-Identifier: MIT */
/*
 * A C11 program that uses the shared library as other programs do and touches every function that it exports. Each
 * family has a file; check_coverage.py holds the program against the library's exports.
 */
#ifndef API_TEST_H
#define API_TEST_H

#include "check.h"

/* CHECKs that exactly these lines were logged since the log was last looked at. */
#define CHECK_LOG(lines) CHECK(log_was(lines))
int log_was(const char *lines);

void test_memory(void);
void test_strings(void);
void test_hashmap(void);
void test_hashmap_order(void);
void test_collections(void);
void test_xdata(void);
void test_xkey(void);
void test_serialize(void);
void test_sockets(void);
void test_ring(void);
void test_messages(void);
void test_clients(void);
void test_config(void);
void test_storage(void);
void test_codec_vectors(void);
void test_packet_vectors(void);

#endif
