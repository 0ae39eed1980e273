/* SPDX-License-Identifier: MIT */
/* Checks of the test programs that are written in C. */
#ifndef CHECK_H
#define CHECK_H

/* Ends the program, telling where, unless condition holds. */
#define CHECK(condition) check((condition) ? 1 : 0, #condition, __FILE__, __LINE__)
void check(int holds, const char *condition, const char *file, int line);

/* Checks made so far. */
unsigned checks_made(void);

#endif
