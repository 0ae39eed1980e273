// SPDX-License-Identifier: MIT
#include "common/device_log.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DeviceLog, WritesALineBehindItsPrefix) {
    testing::internal::CaptureStderr();
    varnel::log_error("tester: ", "100 %s of it");
    varnel::log_info("", "gr\xc3\xbcn");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "tester: 100 %s of it\ngr\xc3\xbcn\n");
}

TEST(DeviceLog, WritesNothingThatATerminalWouldActOn) {
    testing::internal::CaptureStderr();
    varnel::log_error("", "a\nb\x1b[31m\x7f\t");
    varnel::log_info("", std::string("c\0d", 3));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a?b?[31m??\nc?d\n");
}

} // namespace
