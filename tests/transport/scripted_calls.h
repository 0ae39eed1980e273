// SPDX-License-Identifier: MIT
// Results for system calls on one made-up descriptor, in order, so that short transfers and rare errors come when a
// test wants them. The test program's own write, sendto, read, recv and recvfrom ask here first and pass every other
// descriptor on to the C library.
#pragma once

#include "serialize/byte_strings.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <dlfcn.h>
#include <sys/socket.h>

class CallScript {
public:
    // No system has as many descriptors.
    static constexpr int kDescriptor = 0x3FFFFFF0;

    struct Step {
        ssize_t result; // of the call; a reader gets that many bytes
        int error = 0;  // errno after it
        bool operator==(const Step &) const = default;
    };
    struct Call {
        Bytes bytes; // offered to a writer
        size_t size; // wanted by a reader, or of bytes
        int flags = 0;
    };

    explicit CallScript(std::vector<Step> steps) : steps_(std::move(steps)) { current_ = this; }
    ~CallScript() {
        EXPECT_EQ(calls.size(), steps_.size()) << "calls made, and expected";
        current_ = nullptr;
    }
    CallScript(const CallScript &) = delete;
    CallScript &operator=(const CallScript &) = delete;

    // The script for a descriptor; nullptr when the C library is meant.
    static CallScript *of(int fd) { return fd == kDescriptor ? current_ : nullptr; }

    ssize_t play_write(const void *buffer, size_t size, int flags = 0) {
        const auto *const bytes = static_cast<const uint8_t *>(buffer);
        calls.push_back({Bytes(bytes, bytes + size), size, flags});
        return play().result;
    }
    // Gives the bytes 'a', 'b', ... in turn.
    ssize_t play_read(void *buffer, size_t size, int flags = 0) {
        calls.push_back({{}, size, flags});
        const Step step = play();
        EXPECT_LE(step.result, static_cast<ssize_t>(size));
        for (ssize_t i = 0; i < step.result; ++i)
            static_cast<uint8_t *>(buffer)[i] = static_cast<uint8_t>(next_byte_++);
        errno = step.error;
        return step.result;
    }

    std::vector<Call> calls;

private:
    Step play() {
        const size_t at = calls.size() - 1;
        if (at >= steps_.size()) {
            ADD_FAILURE() << "more calls than the script has";
            std::abort(); // the loop under test might never end
        }
        errno = steps_[at].error;
        return steps_[at];
    }

    static inline CallScript *current_ = nullptr;
    std::vector<Step> steps_;
    int next_byte_ = 'a';
};

constexpr int kFd = CallScript::kDescriptor;

// A format of the log as it is printed.
inline std::string with_errno(std::string format, int error) {
    return format.replace(format.find("%m"), 2, strerror(error));
}

// The C library's function of this name.
template <class Function> Function *next_function(const char *name) {
    const int saved_errno = errno;
    void *const function = dlsym(RTLD_NEXT, name);
    errno = saved_errno;
    return reinterpret_cast<Function *>(function);
}
