// SPDX-License-Identifier: MIT
// Lines of a configuration file as the loader joins them, with the place in the file that every character comes from.
#pragma once

#include "common/config_check.h"

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace varnel {

// As in ConfigFinding.
struct ConfigPlace {
    int line = 0;
    int column = 0;
};

// Where a part of a logical line comes from.
struct LinePart {
    std::size_t offset; // of its first character in the logical line
    ConfigPlace place;  // of its first character in the file
    int physical;       // number of its line, where the pieces of a long one count as one
};

struct LogicalLine {
    std::string text; // trimmed, in lower case, not empty
    std::vector<LinePart> parts;

    // Where a character is in the file; for the length of the text, the place behind the last one.
    [[nodiscard]] ConfigPlace place_of(std::size_t offset) const;
};

class ConfigLines {
public:
    // Reads file and adds to findings, which both outlive it: lines that are too long, cut or unfinished.
    ConfigLines(std::FILE *file, std::vector<ConfigFinding> &findings) : file_(file), findings_(findings) {}

    // The next logical line, comments included; nothing at the end of the file.
    std::optional<LogicalLine> next();

private:
    // One read of the loader: a line of its own, with a number of its own.
    struct Piece {
        std::string text; // trimmed, in lower case
        LinePart part;
    };
    std::string read_bytes();
    std::optional<Piece> read_piece();
    std::optional<Piece> read_full_piece();
    bool append(LogicalLine &line, const Piece &piece);
    void skip_continuation(const Piece &piece);
    void warn(const ConfigPlace &place, std::string message, std::string expected);
    void warn_of_cut();
    void warn_of_zero_byte(std::size_t offset);

    std::FILE *file_;
    std::vector<ConfigFinding> &findings_;
    int line_ = 0;             // of the loader's count
    int physical_ = 1;         // of the line that is being read
    std::size_t read_ = 0;     // bytes of that line which earlier pieces had
    bool told_of_cut_ = false; // about that line
};

} // namespace varnel
