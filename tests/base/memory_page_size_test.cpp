// SPDX-License-Identifier: MIT
// page_size, with a sysconf of the test program's own between the library and the system.
#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <thread>

// The C library's own, under its other name.
extern "C" long c_library_sysconf(int name) noexcept __asm__("__sysconf");

namespace {

// Per thread, so that other threads of the program do not count.
thread_local int questions;
thread_local bool refuse;

} // namespace

// Not instrumented: the sanitizers ask for the page size before they are ready.
extern "C" __attribute__((no_sanitize("thread", "address", "undefined"))) long sysconf(int name) noexcept {
    if (name == _SC_PAGESIZE) {
        ++questions;
        if (refuse)
            return -1;
    }
    return c_library_sysconf(name);
}

namespace {

template <class Body> void in_new_thread(Body body) {
    std::thread(body).join();
}

TEST(PageSizeThreads, IsTheSystems) {
    const auto expected = static_cast<size_t>(c_library_sysconf(_SC_PAGESIZE));
    EXPECT_EQ(page_size(), expected);
    EXPECT_EQ(page_size(), expected);
    in_new_thread([expected] { EXPECT_EQ(page_size(), expected); });
}

TEST(PageSizeThreads, AsksOncePerThread) {
    for (int round = 0; round < 2; ++round)
        in_new_thread([] {
            questions = 0;
            page_size();
            EXPECT_EQ(questions, 1);
            page_size();
            page_size();
            EXPECT_EQ(questions, 1);
        });
}

TEST(PageSizeThreads, AnErrorIsKeptAsTheLargestSize) {
    in_new_thread([] {
        refuse = true;
        EXPECT_EQ(page_size(), SIZE_MAX);
        refuse = false;
        EXPECT_EQ(page_size(), SIZE_MAX) << "the first answer stays";
    });
    in_new_thread([] { EXPECT_EQ(page_size(), static_cast<size_t>(c_library_sysconf(_SC_PAGESIZE))); });
}

} // namespace
