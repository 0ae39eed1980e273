// SPDX-License-Identifier: MIT
#pragma once

#include "conversation/conversation.h"

namespace varnel::ctl {

// Time after which the daemon must hear from this client, so that it does not forget it: it does not see a peer leave
// that speaks UDP. A third of its limit for idle ones; never over a stream, which it does see break.
class KeepAlive {
public:
    explicit KeepAlive(conversation::Conversation &conversation);
    [[nodiscard]] conversation::Deadline deadline() const;
    void speak(); // lets it hear

private:
    conversation::Conversation &conversation_;
    conversation::Milliseconds interval_ = conversation::Milliseconds::max();
};

} // namespace varnel::ctl
