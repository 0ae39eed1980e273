// SPDX-License-Identifier: MIT
#include "common/config_lines.h"

#include "config/line_scanner.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace varnel {

namespace {

constexpr std::size_t kMostInPiece = kPieceSize - 1;
constexpr std::size_t kMostInLine = kLineSize - 1;

bool ends_in_backslash(const std::string &text) {
    return text.back() == '\\';
}

} // namespace

ConfigPlace LogicalLine::place_of(std::size_t offset) const {
    const auto behind =
        std::find_if(parts.begin(), parts.end(), [offset](const LinePart &part) { return part.offset > offset; });
    const LinePart &part = behind != parts.begin() ? *std::prev(behind) : parts.front();
    return {part.place.line, part.place.column + static_cast<int>(offset - part.offset)};
}

void ConfigLines::warn(const ConfigPlace &place, std::string message, std::string expected) {
    findings_.push_back({false, place.line, place.column, std::move(message), std::move(expected)});
}

void ConfigLines::warn_of_cut() {
    if (told_of_cut_)
        return;
    told_of_cut_ = true;
    warn({line_, static_cast<int>(read_ + 1)}, "the line is cut here: what follows is read as a line of its own",
         "at most " + std::to_string(kMostInPiece) + " characters a line");
}

void ConfigLines::warn_of_zero_byte(std::size_t offset) {
    warn({line_, static_cast<int>(read_ + offset + 1)}, "a zero byte: the rest of the line is not read", "text");
}

// As fgets reads: up to the end of the line or as much as fits.
std::string ConfigLines::read_bytes() {
    std::string bytes;
    for (int c = 0; bytes.size() < kMostInPiece && c != '\n';) {
        c = std::getc(file_);
        if (c == EOF)
            break;
        bytes += static_cast<char>(c);
    }
    return bytes;
}

std::optional<ConfigLines::Piece> ConfigLines::read_piece() {
    std::string bytes = read_bytes();
    if (bytes.empty())
        return std::nullopt;
    ++line_;
    const std::size_t size = bytes.size();
    const std::size_t length = std::strlen(bytes.data());
    const bool ends_line = bytes.back() == '\n';
    if (length < size)
        warn_of_zero_byte(length);
    const auto skipped = static_cast<std::size_t>(trim({bytes.data(), length}).text - bytes.data());
    const ConfigPlace place = {line_, static_cast<int>(read_ + skipped + 1)};
    Piece piece = {config_trim_lower(bytes.data()), {0, place, physical_}};
    if (read_ != 0 && !piece.text.empty())
        warn_of_cut();
    read_ = ends_line ? 0 : read_ + size;
    physical_ += ends_line ? 1 : 0;
    told_of_cut_ = told_of_cut_ && !ends_line;
    return piece;
}

// Empty pieces count for nothing, also between the parts of a continued line.
std::optional<ConfigLines::Piece> ConfigLines::read_full_piece() {
    std::optional<Piece> piece = read_piece();
    while (piece && piece->text.empty())
        piece = read_piece();
    return piece;
}

// False, with a finding, when the line becomes too long.
bool ConfigLines::append(LogicalLine &line, const Piece &piece) {
    const std::size_t length = line.text.size();
    const LinePart &part = piece.part;
    if (length + piece.text.size() > kMostInLine) {
        findings_.push_back({true, part.place.line, part.place.column + static_cast<int>(kMostInLine - length),
                             "the continued line becomes too long here",
                             "at most " + std::to_string(kMostInLine) + " characters, all its parts together"});
        return false;
    }
    if (piece.text != "\\")
        line.parts.push_back({length, part.place, part.physical});
    line.text += piece.text;
    return true;
}

void ConfigLines::skip_continuation(const Piece &piece) {
    bool open = ends_in_backslash(piece.text);
    while (open) {
        const std::optional<Piece> skipped = read_full_piece();
        open = skipped && ends_in_backslash(skipped->text);
    }
}

std::optional<LogicalLine> ConfigLines::next() {
    LogicalLine line;
    ConfigPlace backslash;
    while (const std::optional<Piece> piece = read_full_piece()) {
        if (!append(line, *piece)) {
            skip_continuation(*piece);
            line = {};
            continue;
        }
        if (!ends_in_backslash(line.text))
            return line;
        line.text.pop_back();
        const LinePart &part = piece->part;
        backslash = {part.place.line, part.place.column + static_cast<int>(piece->text.size()) - 1};
    }
    if (!line.text.empty() && !is_comment(line.text.c_str()))
        warn(backslash, "the file ends in a continued line, which is dropped", "the rest of the line");
    return std::nullopt;
}

} // namespace varnel
