/* SPDX-License-Identifier: MIT */
/* Measures stack by painting it. */
#ifndef VARNEL_BENCH_STACK_PAINTED_H
#define VARNEL_BENCH_STACK_PAINTED_H

#include <stddef.h>

/* Bytes of stack that call(data) takes on a thread of its own, from that thread's first frame on. Ends the program when
 * it cannot be told. */
size_t painted_use(void (*call)(void *data), void *data);

#endif
