// SPDX-License-Identifier: MIT
#include "protocol/protocol.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace varnel::protocol;

TEST(Names, EveryStatusHasAnotherOne) {
    std::set<std::string> names;
    for (std::uint32_t status = 0; status < static_cast<std::uint32_t>(Status::count); ++status)
        names.insert(status_name(status));
    EXPECT_EQ(names.size(), static_cast<std::size_t>(Status::count));
    EXPECT_EQ(names.count("unknown"), 0U);
}

TEST(Names, OfStatusesAreThoseOfTheProtocol) {
    const struct {
        Status status;
        std::uint32_t number;
        const char *name;
    } rows[] = {
        {Status::ok, 0, "ok"},
        {Status::not_found, 1, "not_found"},
        {Status::exists, 2, "exists"},
        {Status::read_only, 3, "read_only"},
        {Status::invalid, 4, "invalid"},
        {Status::unknown_layer, 5, "unknown_layer"},
        {Status::busy, 6, "busy"},
        {Status::timed_out, 7, "timed_out"},
        {Status::not_held, 8, "not_held"},
        {Status::no_space, 9, "no_space"},
        {Status::io_error, 10, "io_error"},
        {Status::unavailable, 11, "unavailable"},
        {Status::too_large, 12, "too_large"},
        {Status::too_many, 13, "too_many"},
        {Status::too_fast, 14, "too_fast"},
        {Status::unsupported, 15, "unsupported"},
        {Status::no_memory, 16, "no_memory"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(static_cast<std::uint32_t>(row.status), row.number);
        EXPECT_STREQ(status_name(row.number), row.name);
    }
    EXPECT_EQ(std::size(rows), static_cast<std::size_t>(Status::count));
}

TEST(Names, OtherNumbersAreUnknown) {
    EXPECT_STREQ(status_name(17), "unknown");
    EXPECT_STREQ(status_name(UINT32_MAX), "unknown");
    EXPECT_STREQ(durability_name(3), "unknown");
    EXPECT_STREQ(durability_name(UINT32_MAX), "unknown");
}

TEST(Names, OfDurabilities) {
    EXPECT_STREQ(durability_name(0), "memory");
    EXPECT_STREQ(durability_name(1), "file");
    EXPECT_STREQ(durability_name(2), "folder");
}
