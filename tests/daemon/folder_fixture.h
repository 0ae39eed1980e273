// SPDX-License-Identifier: MIT
// A temporary folder for the length of a test.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

class FolderTest : public testing::Test {
public:
    FolderTest() : folder_("/tmp/varnel_test_XXXXXX") { EXPECT_NE(mkdtemp(folder_.data()), nullptr); }
    ~FolderTest() override { std::filesystem::remove_all(folder_); }

    [[nodiscard]] std::string path(const std::string &name) const { return folder_ + "/" + name; }
    void write(const std::string &name, const std::string &text) const {
        std::ofstream(path(name), std::ios::binary) << text;
    }
    [[nodiscard]] std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(folder_))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string folder_;
};
