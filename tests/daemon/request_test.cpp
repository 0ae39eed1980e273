// SPDX-License-Identifier: MIT
#include "daemon/request.h"

#include "silent_session.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

using namespace varnel;
using namespace varnel::daemon;
using varnel::protocol::Message;
using varnel::protocol::Received;
using varnel::protocol::Status;

namespace {

// Calls body with a request made of the message: what it was refused with.
std::string refusal_of_request(const Message &message, const std::function<void(const Request &)> &body) {
    SilentSession session;
    protocol::Bytes bytes = message.encode();
    const Received received(bytes);
    try {
        body({session, 7, received});
    } catch (const Refused &refused) {
        return std::string(protocol::status_name(static_cast<std::uint32_t>(refused.status()))) + ": " + refused.what();
    } catch (const protocol::Malformed &malformed) {
        return std::string("malformed: ") + malformed.what();
    }
    return "";
}

Message counted(const std::string &bytes) {
    const xstring string = {const_cast<char *>(bytes.data()), static_cast<std::uint32_t>(bytes.size())};
    const xdata value{XDATA_STRING, {string}};
    Message message(control_get);
    message.add(copy_of(value));
    return message;
}

std::string part_refusal(const Message &message) {
    return refusal_of_request(message, [](const Request &request) { key_part(request, 0); });
}

} // namespace

TEST(Request, EveryResultOfAModuleHasItsStatus) {
    const struct {
        int number;
        Status status;
    } rows[] = {
        {ENOENT, Status::not_found},    {EEXIST, Status::exists},      {EROFS, Status::read_only},
        {EACCES, Status::read_only},    {EPERM, Status::read_only},    {EINVAL, Status::invalid},
        {ENOSPC, Status::no_space},     {EDQUOT, Status::no_space},    {EFBIG, Status::no_space},
        {ENOMEM, Status::no_memory},    {ENODEV, Status::unavailable}, {EBUSY, Status::unavailable},
        {EBADMSG, Status::unavailable}, {EPROTO, Status::unavailable}, {EIO, Status::io_error},
        {ENOTDIR, Status::io_error},    {99999, Status::io_error},
    };
    for (const auto &row : rows)
        EXPECT_EQ(refusal_of(-row.number, "main", "user:net").status(), row.status) << row.number;
}

TEST(Request, RefusalsSayWhatTheyAreAbout) {
    EXPECT_STREQ(refusal_of(-ENOENT, "main", "user:net:port").what(), "user:net:port is not there");
    EXPECT_STREQ(refusal_of(-EEXIST, "main", "user:net").what(), "user:net is there already");
    EXPECT_STREQ(refusal_of(-EIO, "main", "user:net").what(), "backend main: Input/output error");
    EXPECT_STREQ(refusal_of(-EDQUOT, "main", "user:net").what(),
                 "backend main: it holds as much as its settings allow");
    EXPECT_STREQ(refusal_of(-EBADMSG, "main", "user:net").what(), "backend main: damaged: see the daemon's log");
}

TEST(Request, AnswersBeginWithTheirStatus) {
    protocol::Bytes bytes = ok_answer(control_get).encode();
    const Received ok(bytes);
    EXPECT_EQ(ok.code(), std::uint32_t{control_get});
    ASSERT_EQ(ok.size(), 1U);
    EXPECT_EQ(ok.uint32(0), 0U);
    protocol::Bytes refused = refusal(control_lock, Status::busy, "locked").encode();
    const Received answer(refused);
    EXPECT_EQ(answer.code(), std::uint32_t{control_lock});
    ASSERT_EQ(answer.size(), 2U);
    EXPECT_EQ(answer.uint32(0), 6U);
    EXPECT_EQ(answer.text(1), "locked");
}

TEST(Request, CountsItsParameters) {
    Message message(control_get);
    message.add("user").add("net");
    EXPECT_EQ(refusal_of_request(message, [](const Request &request) { expect_count(request, 2); }), "");
    EXPECT_EQ(refusal_of_request(message, [](const Request &request) { expect_count(request, 3); }),
              "invalid: control_get has 3 parameters, not 2");
}

TEST(Request, TakesPartsOfKeys) {
    for (const std::string &part :
         {std::string("net"), std::string("two words"), std::string("\xc3\xa4"), std::string(255, 'x')}) {
        Message message(control_get);
        message.add(part);
        EXPECT_EQ(refusal_of_request(message,
                                     [&](const Request &request) {
                                         EXPECT_EQ(key_part(request, 0), part);
                                         EXPECT_EQ(key_part_or_empty(request, 0), part);
                                     }),
                  "");
    }
}

TEST(Request, RefusesWhatIsNoPartOfAKey) {
    const std::string no_part = "invalid: control_get: parameter 0 is no part of a key";
    for (const char *const text : {"a:b", "tab\t", "line\n", "\x7f", "\xc3", "\xff", "\xc0\x80", "\xed\xa0\x80"})
        EXPECT_EQ(part_refusal(counted(std::string(text) + '\0')), no_part) << text;
    EXPECT_EQ(part_refusal(counted(std::string(256, 'x') + '\0')), no_part);
    EXPECT_EQ(part_refusal(counted(std::string("net\0work\0", 9))), no_part); // more behind a zero byte
    EXPECT_EQ(part_refusal(counted(std::string("net\0\0", 5))), no_part);
    EXPECT_EQ(part_refusal(counted(std::string("\0\0", 2))), no_part);
}

TEST(Request, RefusesEmptyPartsWhereThereMustBeOne) {
    for (const std::string &empty : {std::string("\0", 1), std::string()}) {
        EXPECT_EQ(part_refusal(counted(empty)), "invalid: control_get: parameter 0 is empty");
        EXPECT_EQ(refusal_of_request(counted(empty),
                                     [](const Request &request) { EXPECT_EQ(key_part_or_empty(request, 0), ""); }),
                  "");
    }
}

TEST(Request, PartsOfKeysAreStrings) {
    Message message(control_get);
    message.add(std::uint32_t{5});
    EXPECT_EQ(part_refusal(message), "malformed: control_get: parameter 0 is no string");
    EXPECT_EQ(part_refusal(Message(control_get)), "malformed: control_get: parameter 0 is missing");
}

TEST(Request, AScopeHasANameOnlyInAGroup) {
    const auto parts = [](const char *group, const char *name) {
        Message message(control_notify);
        message.add(group).add(name);
        std::string read;
        const std::string refusal = refusal_of_request(message, [&](const Request &request) {
            const GroupAndName found = scope_parts(request, 0);
            read = found.group + "/" + found.name;
        });
        return read + refusal;
    };
    EXPECT_EQ(parts("", ""), "/");
    EXPECT_EQ(parts("net", ""), "net/");
    EXPECT_EQ(parts("net", "port"), "net/port");
    EXPECT_EQ(parts("", "port"), "invalid: control_notify: a name without a group");
}

TEST(Request, ADurabilityIsOneOfThree) {
    const auto refused = [](std::uint32_t durability) {
        Message message(control_set);
        message.add(durability);
        return refusal_of_request(message,
                                  [&](const Request &request) { EXPECT_EQ(durability_at(request, 0), durability); });
    };
    for (const std::uint32_t durability : {0U, 1U, 2U})
        EXPECT_EQ(refused(durability), "");
    EXPECT_EQ(refused(3), "invalid: durability 3 is none of 0, 1, 2");
    EXPECT_EQ(refused(UINT32_MAX), "invalid: durability 4294967295 is none of 0, 1, 2");
}
