// SPDX-License-Identifier: MIT
#include "ctl/failure.h"

#include <algorithm>
#include <cerrno>
#include <grp.h>
#include <sys/stat.h>

namespace varnel::ctl {

using conversation::Error;
using conversation::ErrorKind;
using protocol::Status;

namespace {

std::string group_of_file(const std::string &path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return "";
    const group *const entry = getgrgid(status.st_gid);
    return entry != nullptr ? entry->gr_name : std::to_string(status.st_gid);
}

std::string permission_advice(const std::string &socket) {
    const std::string group = group_of_file(socket);
    if (group.empty())
        return "the folder of the socket is closed to this user";
    return "only root and members of the group '" + group + "' may connect";
}

// What to do about a connection that did not come about.
std::string connection_advice(int error_number, const std::string &socket) {
    switch (error_number) {
    case ENOENT:
        return "is varneld running? Another socket is named with --socket or in VARNEL_SOCKET";
    case ECONNREFUSED:
        return socket.empty() ? "is varneld running, with --udp?" : "varneld has ended: start it again";
    case EACCES:
    case EPERM:
        return permission_advice(socket);
    default:
        return "";
    }
}

std::string status_advice(Status status) {
    switch (status) {
    case Status::unknown_layer:
        return "'varnelctl status' lists the layers";
    case Status::busy:
        return "'varnelctl explain KEY' says who holds the lock";
    case Status::read_only:
    case Status::unavailable:
        return "'varnelctl status' lists the backends";
    case Status::too_large:
    case Status::too_many:
    case Status::too_fast:
        return "'varnelctl status --limits' lists the limits";
    default:
        return "";
    }
}

// The text is the daemon's, in part: one line, whatever it says.
std::string with_advice(std::string text, const std::string &advice) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return advice.empty() ? text : text + "\n(" + advice + ")";
}

} // namespace

ExitCode exit_code_of(const Error &error) {
    if (error.kind() != ErrorKind::refused)
        return kUnreachable;
    return error.status() == Status::not_found ? kNotFound : kRefused;
}

std::string explain_error(const Error &error, const std::string &socket) {
    if (error.kind() == ErrorKind::cannot_connect)
        return with_advice(error.what(), connection_advice(error.error_number(), socket));
    if (error.kind() != ErrorKind::refused)
        return with_advice(error.what(), "");
    const std::string name = protocol::status_name(static_cast<std::uint32_t>(error.status()));
    return with_advice(name + ": " + error.what(), status_advice(error.status()));
}

} // namespace varnel::ctl
