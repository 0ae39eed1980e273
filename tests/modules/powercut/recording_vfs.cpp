// SPDX-License-Identifier: MIT
// The layer: every call goes to SQLite's own, and what changes a file is told to the recorder.
#include "powercut/recorder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <new>

namespace varnel::test {

namespace {

sqlite3_vfs *below = nullptr;

// SQLite's record of an open file; that of the layer below stands behind it.
struct RecordingFile {
    sqlite3_file base;
    FileNumber number;

    static RecordingFile &of(sqlite3_file *file) { return *reinterpret_cast<RecordingFile *>(file); }
    sqlite3_file *real() { return reinterpret_cast<sqlite3_file *>(this + 1); }
};

sqlite3_file *real(sqlite3_file *file) {
    return RecordingFile::of(file).real();
}

// Tells the recorder what has been done.
template <class Record> int recorded(int result, Record record) {
    Recorder *const recorder = Recorder::current();
    if (result == SQLITE_OK && recorder != nullptr)
        record(*recorder);
    return result;
}

int close(sqlite3_file *file) {
    return real(file)->pMethods->xClose(real(file));
}

int read(sqlite3_file *file, void *bytes, int size, sqlite3_int64 offset) {
    return real(file)->pMethods->xRead(real(file), bytes, size, offset);
}

int write(sqlite3_file *file, const void *bytes, int size, sqlite3_int64 offset) {
    return recorded(real(file)->pMethods->xWrite(real(file), bytes, size, offset), [=](Recorder &recorder) {
        recorder.written(RecordingFile::of(file).number, static_cast<std::uint64_t>(offset), bytes,
                         static_cast<std::size_t>(size));
    });
}

int truncate(sqlite3_file *file, sqlite3_int64 size) {
    return recorded(real(file)->pMethods->xTruncate(real(file), size), [=](Recorder &recorder) {
        recorder.truncated(RecordingFile::of(file).number, static_cast<std::uint64_t>(size));
    });
}

int sync(sqlite3_file *file, int flags) {
    return recorded(real(file)->pMethods->xSync(real(file), flags),
                    [=](Recorder &recorder) { recorder.synced(RecordingFile::of(file).number); });
}

int file_size(sqlite3_file *file, sqlite3_int64 *size) {
    return real(file)->pMethods->xFileSize(real(file), size);
}

int lock(sqlite3_file *file, int level) {
    return real(file)->pMethods->xLock(real(file), level);
}

int unlock(sqlite3_file *file, int level) {
    return real(file)->pMethods->xUnlock(real(file), level);
}

int check_lock(sqlite3_file *file, int *result) {
    return real(file)->pMethods->xCheckReservedLock(real(file), result);
}

int control(sqlite3_file *file, int operation, void *argument) {
    return real(file)->pMethods->xFileControl(real(file), operation, argument);
}

int sector_size(sqlite3_file *file) {
    return real(file)->pMethods->xSectorSize(real(file));
}

int characteristics(sqlite3_file *file) {
    return real(file)->pMethods->xDeviceCharacteristics(real(file));
}

// Version 1: without shared memory, which a store that is locked for one does not need.
const sqlite3_io_methods kMethods = {
    1,           close,           read,    write,   truncate, sync,    file_size, lock,    unlock, check_lock, control,
    sector_size, characteristics, nullptr, nullptr, nullptr,  nullptr, nullptr,   nullptr,
};

int open(sqlite3_vfs *, const char *path, sqlite3_file *file, int flags, int *out_flags) {
    auto *const recording = new (file) RecordingFile{{nullptr}, -1};
    const int result = below->xOpen(below, path, recording->real(), flags, out_flags);
    if (recording->real()->pMethods != nullptr)
        recording->base.pMethods = &kMethods;
    return recorded(result,
                    [=](Recorder &recorder) { recording->number = path != nullptr ? recorder.opened(path) : -1; });
}

} // namespace

void install_recording_vfs() {
    static sqlite3_vfs vfs;
    if (below != nullptr)
        return;
    below = sqlite3_vfs_find(nullptr);
    ASSERT_NE(nullptr, below);
    vfs = *below; // its other functions do not look at the record they are called with
    vfs.szOsFile = static_cast<int>(sizeof(RecordingFile)) + below->szOsFile;
    vfs.pNext = nullptr;
    vfs.zName = "recording";
    vfs.xOpen = open;
    ASSERT_EQ(SQLITE_OK, sqlite3_vfs_register(&vfs, 1));
}

} // namespace varnel::test
