// SPDX-License-Identifier: MIT
// Stands between the module, with SQLite below it, and the C library: tells of the calls that decide what survives a
// loss of power, and lets syncs and writes fail. The program must export its symbols (ENABLE_EXPORTS).
#pragma once

#include <cstdint>
#include <string>

namespace varnel::test {

// Sees calls. One at a time; it must outlive its being one.
class SystemObserver {
public:
    SystemObserver();
    SystemObserver(const SystemObserver &) = delete;
    SystemObserver &operator=(const SystemObserver &) = delete;
    virtual ~SystemObserver();

    // Called before the call: an errno value with which it fails, or 0.
    virtual int sync_error() { return 0; } // fsync and fdatasync, of a file
    virtual int folder_sync_error() { return 0; }
    virtual int write_error(std::uint64_t /*end*/) { return 0; }

    // Whether files and folders are really synced; what is not makes no difference but in time.
    virtual bool syncs_really() { return true; }

    // Called when the call has succeeded.
    virtual void synced_folder(const std::string & /*path*/) {}
    virtual void renamed(const std::string & /*from*/, const std::string & /*to*/) {}
    virtual void removed(const std::string & /*path*/) {}
};

} // namespace varnel::test
