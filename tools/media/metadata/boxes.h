#pragma once

#include "media/metadata/byte_range.h"

#include <vector>

// A part of a file that is made of boxes, ISO/IEC 14496-12.
struct Box {
    std::string type; // four characters
    ByteRange content;
};

// The boxes that a range is made of, up to a damaged one.
std::vector<Box> boxesIn(const ByteRange& range);

// What the first box of a type holds that begins with `start`, without it; empty without such a
// box.
ByteRange contentOf(const std::vector<Box>& boxes, std::string_view type,
                    std::string_view start = "");
