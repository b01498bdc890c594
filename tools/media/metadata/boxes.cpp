#include "media/metadata/boxes.h"

namespace {

constexpr size_t mostBoxes = 1000; // cameras write a few dozen

} // namespace

std::vector<Box> boxesIn(const ByteRange& range) {
    std::vector<Box> boxes;
    for (uint64_t at = 0; at < range.size() && boxes.size() < mostBoxes;) {
        constexpr uint64_t shortHeader = 8, longHeader = 16;
        uint64_t size = range.number(at, 4, ByteOrder::big).value_or(0), header = shortHeader;
        if (size == 1) {
            size = range.number(at + shortHeader, 8, ByteOrder::big).value_or(0);
            header = longHeader;
        } else if (size == 0) { // up to the end
            size = range.size() - at;
        }
        if (size < header || size > range.size() - at)
            break;
        boxes.push_back({range.bytes(at + 4, 4), range.part(at + header, size - header)});
        at += size;
    }
    return boxes;
}

ByteRange contentOf(const std::vector<Box>& boxes, std::string_view type, std::string_view start) {
    for (const Box& box : boxes)
        if (box.type == type && box.content.startsWith(start))
            return box.content.part(start.size());
    return {};
}
