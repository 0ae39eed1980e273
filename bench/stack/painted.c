/* SPDX-License-Identifier: MIT */
#include "painted.h"

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

/* Far more than any call takes. The stack grows down, on every target that the library has. */
enum { STACK_SIZE = 1 << 20, PAINT = 0xA5 };

typedef struct measured_call {
    void (*call)(void *data);
    void *data;
    const unsigned char *frame;
} measured_call;

static void fail(const char *what) {
    fprintf(stderr, "stack: %s\n", what);
    exit(1);
}

/* What the thread itself takes lies above this function's frame. */
static void *run_call(void *argument) {
    measured_call *const measured = argument;
    measured->frame = __builtin_frame_address(0);
    measured->call(measured->data);
    return NULL;
}

static const unsigned char *lowest_touched(const unsigned char *base) {
    const unsigned char *at = base;
    while (*at == PAINT)
        ++at;
    return at;
}

size_t painted_use(void (*call)(void *data), void *data) {
    unsigned char *const base =
        mmap(NULL, STACK_SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (base == MAP_FAILED)
        fail("no memory for a stack");
    memset(base, PAINT, STACK_SIZE);
    measured_call measured = {call, data, NULL};
    pthread_attr_t attributes;
    pthread_t thread;
    if (pthread_attr_init(&attributes) != 0 || pthread_attr_setstack(&attributes, base, STACK_SIZE) != 0 ||
        pthread_create(&thread, &attributes, run_call, &measured) != 0 || pthread_join(thread, NULL) != 0)
        fail("no thread");
    pthread_attr_destroy(&attributes);
    const unsigned char *const lowest = lowest_touched(base);
    if (lowest == base || lowest >= measured.frame)
        fail("the stack did not last, or was not used");
    const size_t used = (size_t)(measured.frame - lowest);
    munmap(base, STACK_SIZE);
    return used;
}
