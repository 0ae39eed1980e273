// SPDX-License-Identifier: MIT
#include "daemon/request.h"

#include "common/key_text.h"

#include <module.h>

#include <cerrno>
#include <cstring>

namespace varnel::daemon {

using protocol::Message;
using protocol::Status;

Message ok_answer(std::uint32_t code) {
    Message message(code);
    message.add(static_cast<std::uint32_t>(Status::ok));
    return message;
}

Message refusal(std::uint32_t code, Status status, const std::string &why) {
    Message message(code);
    message.add(static_cast<std::uint32_t>(status)).add(why);
    return message;
}

namespace {

Status status_of(int result) {
    switch (-result) {
    case ENOENT:
        return Status::not_found;
    case EEXIST:
        return Status::exists;
    case EROFS:
    case EACCES:
    case EPERM:
        return Status::read_only;
    case EINVAL:
        return Status::invalid;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return Status::no_space;
    case ENOMEM:
        return Status::no_memory;
    case ENODEV:
    case EBUSY:
    case EBADMSG:
    case EPROTO:
        return Status::unavailable;
    default:
        return Status::io_error;
    }
}

} // namespace

// The system's texts are about messages and disks.
std::string reason_of(int result) {
    switch (-result) {
    case EBADMSG: // a file that has errors, or a module that does not keep to its contract
        return "damaged: see the daemon's log";
    case EDQUOT:
        return "it holds as much as its settings allow";
    default:
        return std::strerror(-result);
    }
}

Refused refusal_of(int result, const std::string &backend, const std::string &what) {
    const Status status = status_of(result);
    if (status == Status::not_found || status == Status::exists)
        return {status, what + (status == Status::exists ? " is there already" : " is not there")};
    return {status, "backend " + backend + ": " + reason_of(result)};
}

void expect_count(const Request &request, std::size_t count) {
    if (request.message.size() != count)
        throw Refused(Status::invalid, std::string(control_string(request.code())) + " has " + std::to_string(count) +
                                           " parameters, not " + std::to_string(request.message.size()));
}

std::string key_part_or_empty(const Request &request, std::size_t index) {
    const std::string_view text = request.message.text(index);
    const xstring &bytes = request.message.at(index).value.s;
    const bool whole = text.size() + (bytes.len != 0 ? 1 : 0) == bytes.len;
    if (!whole || (!text.empty() && !valid_key_part(text)))
        throw Refused(Status::invalid, std::string(control_string(request.code())) + ": parameter " +
                                           std::to_string(index) + " is no part of a key");
    return std::string(text);
}

std::string key_part(const Request &request, std::size_t index) {
    std::string text = key_part_or_empty(request, index);
    if (text.empty())
        throw Refused(Status::invalid, std::string(control_string(request.code())) + ": parameter " +
                                           std::to_string(index) + " is empty");
    return text;
}

GroupAndName scope_parts(const Request &request, std::size_t first) {
    GroupAndName parts{key_part_or_empty(request, first), key_part_or_empty(request, first + 1)};
    if (parts.group.empty() && !parts.name.empty())
        throw Refused(Status::invalid, std::string(control_string(request.code())) + ": a name without a group");
    return parts;
}

std::uint32_t durability_at(const Request &request, std::size_t index) {
    const std::uint32_t durability = request.message.uint32(index);
    if (durability > DURABILITY_FOLDER)
        throw Refused(Status::invalid, "durability " + std::to_string(durability) + " is none of 0, 1, 2");
    return durability;
}

} // namespace varnel::daemon
