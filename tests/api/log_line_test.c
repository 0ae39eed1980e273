/* SPDX-License-Identifier: MIT */
/* A failure's log line, from the library through the log stand-in to standard error: "%m" has become errno's text. */
#define _POSIX_C_SOURCE 200809L
#include <varnel/transport.h>

#include <errno.h>
#include <netinet/in.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

/* Makes the library fail to send through a descriptor that is not open, and reads what it then says on standard error.
 */
static int read_line(char *line, size_t size) {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0 || close(ends[1]) != 0)
        return -1;
    const struct sockaddr_in nowhere = {.sin_family = AF_INET};
    errno = 0;
    const int result = xsendto(-1, "abc", 3, (const struct sockaddr *)&nowhere);
    close(STDERR_FILENO);
    const ssize_t length = read(ends[0], line, size - 1);
    line[length > 0 ? length : 0] = '\0';
    close(ends[0]);
    return result;
}

int main(void) {
    char line[200] = "", wanted[200];
    const int result = read_line(line, sizeof line);
    snprintf(wanted, sizeof wanted, "_varnel: sendto error: %s\n", strerror(EBADF));
    if (result == 0 && strcmp(line, wanted) == 0)
        return 0;
    printf("result %d, log line \"%s\" instead of \"%s\"\n", result, line, wanted);
    return 1;
}
