// SPDX-License-Identifier: MIT
#include "ctl/table.h"

#include "common/text.h"

#include <algorithm>
#include <cstdint>

namespace varnel::ctl {

namespace {

// Characters, as an estimate of the columns that they take.
std::size_t width_of(const std::string &text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<std::uint8_t>(c) & 0xc0U) != 0x80; }));
}

std::vector<std::size_t> widths_of(const std::vector<std::vector<std::string>> &rows) {
    std::vector<std::size_t> widths;
    for (const auto &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], width_of(row[i]));
    }
    return widths;
}

std::string line_of(const std::vector<std::string> &cells, const std::vector<std::size_t> &widths) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i)
        line += cells[i] + std::string(widths[i] - width_of(cells[i]) + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

} // namespace

Table::Table(std::vector<std::string> heads) {
    if (!heads.empty())
        rows_.push_back(std::move(heads));
}

void Table::add(std::vector<std::string> cells) {
    for (std::string &cell : cells)
        cell = escaped(cell);
    rows_.push_back(std::move(cells));
}

std::string Table::text() const {
    const std::vector<std::size_t> widths = widths_of(rows_);
    std::string text;
    for (const auto &row : rows_)
        text += line_of(row, widths);
    return text;
}

} // namespace varnel::ctl
