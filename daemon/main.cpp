// SPDX-License-Identifier: MIT
// varneld: puts the parts together.
#include "daemon/allocator.h"
#include "daemon/failure_log.h"
#include "daemon/log.h"
#include "daemon/module_check.h"
#include "daemon/options.h"
#include "daemon/revision_file.h"
#include "daemon/server.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <sys/resource.h>
#include <system_error>

namespace {

using namespace varnel::daemon;
using varnel::Fd;

// Every client needs a descriptor; the rest is for modules, sockets and the loop.
void raise_descriptor_limit(const Limits &limits) {
    constexpr rlim_t kOwnDescriptors = 64;
    const rlim_t needed = limits[Limit::clients] + kOwnDescriptors;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= needed)
        return;
    limit.rlim_cur = std::min(needed, limit.rlim_max);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur < needed)
        log_error("the limit of open files allows fewer than " + std::to_string(limits[Limit::clients]) + " clients");
}

class Loop {
public:
    Loop() {
        if (uv_loop_init(&loop_) != 0)
            throw std::runtime_error("cannot make an event loop");
    }
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;
    ~Loop() { uv_loop_close(&loop_); }
    uv_loop_t &get() { return loop_; }

private:
    uv_loop_t loop_{};
};

void expect_modules(const Options &options) {
    if (!std::filesystem::is_directory(options.modules))
        throw std::runtime_error("there is no folder " + options.modules + " with the storage modules (--modules)");
    const auto failures = check_modules(confparser_getdic(options.tree, "backends"), options.modules);
    for (const std::string &failure : failures)
        log_error(failure);
    if (!failures.empty())
        throw std::runtime_error("not started: there are storage modules that cannot be used");
}

// Where the file system is read-only, a folder that is missing is as good as an empty one: the device is served, though
// nothing can be kept.
Fd reserve_state(const std::string &folder) {
    try {
        make_folders(folder, 0750);
    } catch (const std::system_error &error) {
        if (error.code() != std::errc::read_only_file_system)
            throw;
        log_error("there is no state folder " + folder + ", and its file system is read-only: nothing can be kept");
        return {};
    }
    return reserve_folder(folder);
}

// Keeps the file ahead of the revisions, and tells the log when that fails and when it works again.
class RevisionKeeper {
public:
    explicit RevisionKeeper(const std::string &state) : file_(state + "/revision") {}

    [[nodiscard]] std::uint64_t start() const { return file_.start(); }

    // now is in milliseconds.
    void note(std::uint64_t revision, std::uint64_t now) {
        if (!file_.reserve(revision))
            failures_.failed("revision file",
                             "cannot be written: " + reason() + ": revisions may come again after a crash", now);
        else if (failures_.has_failures() && file_.is_written())
            failures_.recovered("revision file", "is written again", now);
    }
    void close(std::uint64_t revision) {
        if (!file_.close(revision))
            log_error("revision file cannot be written: " + reason());
    }

private:
    static std::string reason() { return std::strerror(errno); }

    RevisionFile file_;
    FailureLog failures_;
};

void serve(const Options &options) {
    expect_modules(options); // before anything is made
    Listener listener(options.socket);
    const Fd state = reserve_state(options.state);
    const Fd udp = options.udp.empty() ? Fd() : bind_udp(options.udp);
    raise_descriptor_limit(options.limits);
    const Store store(options.tree, options.modules);
    RevisionKeeper revisions(options.state);
    Loop loop;
    uv_loop_t &uv = loop.get();
    const auto note_revision = [&](std::uint64_t revision) { revisions.note(revision, uv_now(&uv)); };
    Engine engine(
        store, options.limits, revisions.start(), [&uv] { return uv_now(&uv); }, note_revision);
    {
        Server server(uv, engine, listener.get(), udp.get(), options.flush_interval);
        std::printf("varneld: ready on %s\n", options.socket.path.c_str());
        std::fflush(stdout);
        server.run([&listener] { listener.stop(); });
    }
    engine.flush();
    revisions.close(engine.revision());
    log_info("ended");
}

} // namespace

int main(int argc, char **argv) {
    // Clients that go away while they are written to are noticed when they are read; a file that reaches the limit of
    // its size is answered as a full storage.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    use_fast_allocator();
    static Options options; // holds the configuration's tree until the process has ended
    try {
        read_options(argc, argv, options);
        serve(options);
    } catch (const Usage &usage) {
        if (usage.code() == 0)
            std::printf("%s\n", usage.what());
        else
            std::fprintf(stderr, "varneld: %s\n", usage.what());
        return usage.code();
    } catch (const std::exception &error) {
        log_error(error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
