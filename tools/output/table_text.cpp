#include "output/table_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

// Columns that UTF-8 text takes, counting one for each code point.
size_t displayWidth(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

std::string padded(const std::string& text, size_t width, bool left) {
    const std::string spaces(width - displayWidth(text), ' ');
    return left ? text + spaces : spaces + text;
}

} // namespace

std::string formatTable(const std::vector<Row>& rows, std::span<const char> leftAligned,
                        std::span<const size_t> boldRows) {
    std::vector<size_t> widths(leftAligned.size());
    for (const Row& row : rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(row[i]));
    std::string text;
    for (size_t r = 0; r < rows.size(); ++r) {
        std::string line;
        for (size_t i = 0; i < rows[r].size(); ++i)
            line += (i == 0 ? "" : "  ") + padded(rows[r][i], widths[i], leftAligned[i]);
        line.erase(line.find_last_not_of(' ') + 1);
        const bool bold = std::find(boldRows.begin(), boldRows.end(), r) != boldRows.end();
        text += bold ? fmt::format("\x1b[1m{}\x1b[0m\n", line) : line + "\n";
    }
    return text;
}
