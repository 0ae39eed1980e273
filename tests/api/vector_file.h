/* SPDX-License-Identifier: MIT */
/* The files of tests/vectors: bytes in hexadecimal, with comments from '#' to the end of the line. */
#ifndef VECTOR_FILE_H
#define VECTOR_FILE_H

#include <stddef.h>
#include <stdint.h>

typedef struct vector {
    uint8_t bytes[2048];
    size_t count;
} vector;

/* Reads tests/vectors/<name>.hex. CHECKs that the file is there, well-formed and not empty. */
void vector_read(vector *v, const char *name);

/* Whether these are the vector's bytes, all of them; says where they begin to differ. */
int vector_is(const vector *v, const void *bytes, size_t count);

#endif
