// SPDX-License-Identifier: MIT
#include "daemon/revision_file.h"

#include "daemon/file.h"

#include <charconv>
#include <optional>
#include <stdexcept>
#include <utility>

namespace varnel::daemon {

namespace {

constexpr std::uint64_t kBlock = 1000000;

// After a failure: trying with every change would make every change slow.
constexpr std::uint64_t kChangesUntilNextTry = 1000;

// More than any store gets to, with room for blocks ahead.
constexpr std::uint64_t kMostRevisions = UINT64_MAX / 2;

std::uint64_t parse(const std::string &text, const std::string &path) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::string_view rest(end, static_cast<std::size_t>(text.data() + text.size() - end));
    if (error != std::errc() || rest != "\n" || number > kMostRevisions)
        throw std::runtime_error(path + " does not hold a revision number; move it away to begin again with 0");
    return number;
}

} // namespace

RevisionFile::RevisionFile(std::string path) : path_(std::move(path)) {
    if (path_.empty())
        return;
    if (const std::optional<std::string> text = read_file(path_))
        start_ = parse(*text, path_);
    reserved_ = start_;
}

bool RevisionFile::write(std::uint64_t number) {
    if (path_.empty())
        return true;
    written_ = replace_file(path_, std::to_string(number) + "\n");
    reserved_ = written_ ? number : reserved_ + kChangesUntilNextTry;
    return written_;
}

bool RevisionFile::reserve(std::uint64_t revision) {
    return revision <= reserved_ || write(revision + kBlock);
}

bool RevisionFile::close(std::uint64_t revision) {
    return revision == reserved_ || write(revision);
}

} // namespace varnel::daemon
