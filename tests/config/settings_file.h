// SPDX-License-Identifier: MIT
// A temporary configuration file with the given bytes, removed at the end of its life.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

class SettingsFile {
public:
    explicit SettingsFile(std::string_view content) : path_(base() + "/varnel_settings_XXXXXX") {
        const int descriptor = mkstemp(path_.data());
        if (descriptor < 0) {
            ADD_FAILURE() << "no temporary file at " << path_;
            return;
        }
        close(descriptor);
        rewrite(content);
    }
    SettingsFile(const SettingsFile &) = delete;
    SettingsFile &operator=(const SettingsFile &) = delete;
    ~SettingsFile() { unlink(path_.c_str()); }

    const char *path() const { return path_.c_str(); }

    void rewrite(std::string_view content) {
        FILE *const file = fopen(path(), "w");
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
        EXPECT_EQ(fclose(file), 0);
    }

private:
    static std::string base() {
        if (access("/dev/shm", W_OK) == 0)
            return "/dev/shm";
        std::string folder = testing::TempDir();
        while (folder.size() > 1 && folder.back() == '/')
            folder.pop_back();
        return folder;
    }

    std::string path_;
};
