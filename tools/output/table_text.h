// Tables of text in columns.
#pragma once

#include "base/burst.h"

#include <span>
#include <string>
#include <vector>

using Row = std::vector<std::string>;

// Columns two spaces apart; bold rows only make sense on a terminal.
std::string formatTable(const std::vector<Row>& rows, std::span<const char> leftAligned,
                        std::span<const size_t> boldRows);
