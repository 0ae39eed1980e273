// SPDX-License-Identifier: MIT
// Lets operator new of this program fail.
#pragma once

namespace varnel::test {

// While there is one, so many allocations succeed, and none after them. One at a time, and one thread.
class FailingNew {
public:
    explicit FailingNew(int successes);
    FailingNew(const FailingNew &) = delete;
    FailingNew &operator=(const FailingNew &) = delete;
    ~FailingNew();
};

} // namespace varnel::test
