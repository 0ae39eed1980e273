/* SPDX-License-Identifier: MIT */
/* usage: varnel_startup ROUNDS PROGRAM...
 *
 * Runs the programs in turn, ROUNDS times each, every round beginning with another one. A line for each on standard
 * output: program, least and median microseconds, median minor faults, most major faults, separated by tabs. */
#include "launch.h"

#include <stdio.h>
#include <stdlib.h>

enum { MOST_ROUNDS = 100000, WARM_UP_ROUNDS = 5 };

static int compare_times(const void *a, const void *b) {
    const double left = ((const launch_cost *)a)->microseconds;
    const double right = ((const launch_cost *)b)->microseconds;
    return (left > right) - (left < right);
}

static int compare_faults(const void *a, const void *b) {
    const long left = ((const launch_cost *)a)->minor_faults;
    const long right = ((const launch_cost *)b)->minor_faults;
    return (left > right) - (left < right);
}

static void print_program(const char *path, launch_cost *costs, size_t rounds) {
    long major_faults = 0;
    for (size_t i = 0; i < rounds; ++i)
        if (costs[i].major_faults > major_faults)
            major_faults = costs[i].major_faults;
    qsort(costs, rounds, sizeof *costs, compare_faults);
    const long minor_faults = costs[rounds / 2].minor_faults;
    qsort(costs, rounds, sizeof *costs, compare_times);
    printf("%s\t%.1f\t%.1f\t%ld\t%ld\n", path, costs[0].microseconds, costs[rounds / 2].microseconds, minor_faults,
           major_faults);
}

/* costs: a row of rounds for each program. */
static void run_rounds(char **programs, size_t count, launch_cost *costs, size_t rounds) {
    for (size_t round = 0; round < WARM_UP_ROUNDS; ++round)
        for (size_t i = 0; i < count; ++i)
            launch(programs[i]);
    for (size_t round = 0; round < rounds; ++round) {
        for (size_t turn = 0; turn < count; ++turn) {
            const size_t i = (round + turn) % count;
            costs[i * rounds + round] = launch(programs[i]);
        }
    }
}

int main(int argc, char **argv) {
    const long rounds = argc > 2 ? strtol(argv[1], NULL, 10) : 0;
    if (rounds < 1 || rounds > MOST_ROUNDS) {
        fputs("usage: varnel_startup ROUNDS PROGRAM...\n", stderr);
        return 2;
    }
    char **const programs = argv + 2;
    const size_t count = (size_t)argc - 2;
    launch_cost *const costs = calloc(count * (size_t)rounds, sizeof *costs);
    if (costs == NULL) {
        fputs("startup: out of memory\n", stderr);
        return 1;
    }
    run_rounds(programs, count, costs, (size_t)rounds);
    for (size_t i = 0; i < count; ++i)
        print_program(programs[i], costs + i * (size_t)rounds, (size_t)rounds);
    free(costs);
    return 0;
}
