/* SPDX-License-Identifier: MIT */
/* Runs a program and measures it. */
#ifndef VARNEL_BENCH_STARTUP_LAUNCH_H
#define VARNEL_BENCH_STARTUP_LAUNCH_H

typedef struct launch_cost {
    double microseconds; /* from before the fork until the end is known */
    long minor_faults;   /* of the program's process, that of the exec included */
    long major_faults;
} launch_cost;

/* Ends this program when that one cannot be run or fails. */
launch_cost launch(const char *path);

#endif
