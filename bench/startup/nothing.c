/* SPDX-License-Identifier: MIT */
/* A library with next to nothing in it: what any library costs. */
int varnel_nothing(void);

int varnel_nothing(void) {
    return 0;
}
