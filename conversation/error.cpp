// SPDX-License-Identifier: MIT
#include "conversation/error.h"

#include <cerrno>
#include <system_error>

namespace varnel::conversation {

Error system_error(ErrorKind kind, const std::string &what) {
    const int number = errno;
    return {kind, what + ": " + std::generic_category().message(number), number};
}

} // namespace varnel::conversation
