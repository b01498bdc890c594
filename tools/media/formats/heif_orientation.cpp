#include "media/formats/heif_orientation.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace {

// Takes numbers from the start of some bytes; those that are missing are 0.
class Reader {
public:
    explicit Reader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    bool ended() const { return bytes_.empty(); }

    uint64_t number(size_t count) {
        uint64_t value = 0;
        for (const uint8_t byte : bytes(count))
            value = value << 8 | byte;
        return value;
    }

    std::span<const uint8_t> bytes(size_t count) {
        const auto taken = bytes_.first(std::min(count, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return taken;
    }

private:
    std::span<const uint8_t> bytes_;
};

struct Box {
    std::string_view type;
    std::span<const uint8_t> content;
};

std::vector<Box> boxesIn(std::span<const uint8_t> bytes) {
    constexpr size_t mostBoxes = 20000; // as libheif takes them
    std::vector<Box> boxes;
    for (Reader reader(bytes); !reader.ended() && boxes.size() < mostBoxes;) {
        uint64_t size = reader.number(4), header = 8;
        const auto type = reader.bytes(4);
        if (size == 1) {
            size = reader.number(8);
            header = 16;
        }
        const uint64_t rest = size == 0 ? bytes.size() : size < header ? 0 : size - header;
        boxes.push_back(
            {{reinterpret_cast<const char*>(type.data()), type.size()}, reader.bytes(rest)});
    }
    return boxes;
}

// Empty when there is none of this type.
std::span<const uint8_t> contentOf(const std::vector<Box>& boxes, std::string_view type) {
    const auto found = std::ranges::find(boxes, type, &Box::type);
    return found == boxes.end() ? std::span<const uint8_t>() : found->content;
}

// The numbers of the properties that belong to an item, from 1, in the order in which they apply.
std::vector<uint64_t> propertiesOf(uint64_t item, std::span<const uint8_t> associations) {
    Reader reader(associations);
    const uint64_t version = reader.number(1), flags = reader.number(3);
    const size_t indexBytes = (flags & 1) != 0 ? 2 : 1;
    for (uint64_t entries = reader.number(4); entries > 0 && !reader.ended(); --entries) {
        const uint64_t owner = reader.number(version == 0 ? 2 : 4);
        std::vector<uint64_t> properties(reader.number(1));
        for (uint64_t& property : properties)
            property = reader.number(indexBytes) & (indexBytes == 2 ? 0x7FFF : 0x7F);
        if (owner == item)
            return properties;
    }
    return {};
}

// Where the columns and rows of a picture come to lie.
struct Turning {
    bool exchanged = false, fromRight = false, fromBottom = false;

    void apply(const Box& property) {
        const unsigned value = property.content.empty() ? 0 : property.content[0];
        if (property.type == "irot")
            for (unsigned quarters = value & 3; quarters > 0; --quarters) // anticlockwise
                *this = {!exchanged, fromBottom, !fromRight};
        if (property.type == "imir")
            ((value & 1) != 0 ? fromRight : fromBottom) ^= true;
    }

    int exif() const {
        constexpr std::array numbers = {1, 2, 4, 3, 5, 6, 8, 7};
        return numbers[(exchanged ? 4U : 0U) + (fromBottom ? 2U : 0U) + (fromRight ? 1U : 0U)];
    }
};

} // namespace

int heifOrientation(std::span<const uint8_t> file) {
    constexpr size_t versionBytes = 4;
    Reader meta(contentOf(boxesIn(file), "meta"));
    meta.bytes(versionBytes);
    const std::vector<Box> boxes = boxesIn(meta.bytes(file.size()));
    Reader primary(contentOf(boxes, "pitm"));
    const uint64_t item =
        primary.number(versionBytes) >> 24 == 0 ? primary.number(2) : primary.number(4);
    const std::vector<Box> parts = boxesIn(contentOf(boxes, "iprp"));
    const std::vector<Box> properties = boxesIn(contentOf(parts, "ipco"));
    Turning turning;
    for (const uint64_t number : propertiesOf(item, contentOf(parts, "ipma")))
        if (number > 0 && number <= properties.size())
            turning.apply(properties[number - 1]);
    return turning.exif();
}
