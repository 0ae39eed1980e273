// SPDX-License-Identifier: MIT
// Linked into the test programs of coverage builds only: a death test's process ends with abort(3), which would lose
// the counts of the lines that it ran.
#include <signal.h>

extern "C" void __gcov_dump(void);

namespace {

void dump_and_die(int signal_number) {
    __gcov_dump();
    signal(signal_number, SIG_DFL);
    raise(signal_number);
}

const bool installed = signal(SIGABRT, dump_and_die) != SIG_ERR;

} // namespace
