// SPDX-License-Identifier: MIT
#include <varnel/serialize.h>

#include <gtest/gtest.h>

TEST(ControlString, NamesEveryCode) {
    const std::pair<uint32_t, const char *> rows[] = {
        {control_min, "control_min"},
        {control_create_group, "control_create_group"},
        {control_remove_group, "control_remove_group"},
        {control_set, "control_set"},
        {control_get, "control_get"},
        {control_unset, "control_unset"},
        {control_notify, "control_notify"},
        {control_unnotify, "control_unnotify"},
        {control_list, "control_list"},
        {control_list_keys, "control_list_keys"},
        {control_status, "control_status"},
        {control_changed, "control_changed"},
        {control_sync, "control_sync"},
        {control_trylock, "control_trylock"},
        {control_lock, "control_lock"},
        {control_unlock, "control_unlock"},
        {control_other, "control_other"},
        {control_max, "control_max"},
    };
    uint32_t expected_code = 0;
    for (const auto &[code, name] : rows) {
        EXPECT_EQ(code, expected_code++);
        EXPECT_STREQ(control_string(code), name);
    }
    EXPECT_EQ(expected_code, 18U);
}

TEST(ControlString, CodesAboveTheLastAreUnknown) {
    for (const uint32_t code : {18U, 19U, 0x10001U, UINT32_MAX})
        EXPECT_STREQ(control_string(code), "[unknown]");
}

TEST(ControlString, NamesAreConstant) {
    EXPECT_EQ(control_string(control_get), control_string(control_get));
}
