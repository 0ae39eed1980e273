// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace varnel::ctl {

// Columns under one another, two spaces apart. Cells are escaped.
class Table {
public:
    explicit Table(std::vector<std::string> heads = {}); // none: no head line
    void add(std::vector<std::string> cells);
    [[nodiscard]] std::string text() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

} // namespace varnel::ctl
