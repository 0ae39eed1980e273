/* SPDX-License-Identifier: MIT */
#include "launch.h"

#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

extern char **environ;

static double microseconds_now(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec * 1e6 + (double)now.tv_nsec / 1e3;
}

/* posix_spawn, because fork would copy this program's page tables each time. */
launch_cost launch(const char *path) {
    char *const copy = strdup(path);
    char *arguments[] = {copy, NULL};
    pid_t child;
    int status = -1;
    struct rusage use;
    const double start = microseconds_now();
    const int error = posix_spawn(&child, path, NULL, NULL, arguments, environ);
    if (error == 0 && wait4(child, &status, 0, &use) != child)
        status = -1;
    const double end = microseconds_now();
    if (error != 0 || status != 0) {
        fprintf(stderr, "startup: %s: %s\n", path, error != 0 ? strerror(error) : "failed");
        exit(1);
    }
    free(copy);
    return (launch_cost){end - start, use.ru_minflt, use.ru_majflt};
}
