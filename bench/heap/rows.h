/* SPDX-License-Identifier: MIT */
/* The rows of the table, a line each on standard output: what, bytes, blocks, separated by tabs. */
#ifndef VARNEL_BENCH_HEAP_ROWS_H
#define VARNEL_BENCH_HEAP_ROWS_H

#include "count.h"

/* Prints a row. */
void print_row(const char *what, heap_use use);

/* Prints a row with what each of count things takes, when use is what all of them take: fractions of bytes and blocks
 * are printed with one digit. */
void print_each(const char *what, heap_use use, unsigned count);

/* Ends the program with the message when the condition does not hold. */
void require_that(int holds, const char *message);

/* Values, keys, containers, rings, messages, clients. Everything is released again. */
void count_records(void);

/* Trees of settings, the loader, backends, layers. Everything but shared settings is released again. */
void count_settings(void);

#endif
