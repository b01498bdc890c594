#include "media/formats/heif_orientation.h"

#include "media/metadata/boxes.h"

#include <array>

namespace {

// Takes numbers from the start of a range; those that are missing are 0.
class Numbers {
public:
    explicit Numbers(const ByteRange& range) : range_(range) {}

    bool ended() const { return at_ >= range_.size(); }

    uint64_t next(size_t bytes) {
        const uint64_t value = range_.number(at_, bytes, ByteOrder::big).value_or(0);
        at_ += bytes;
        return value;
    }

private:
    const ByteRange& range_;
    uint64_t at_ = 0;
};

// The numbers of the properties that belong to an item, from 1, in the order in which they apply.
std::vector<uint64_t> propertiesOf(uint64_t item, const ByteRange& associations) {
    Numbers numbers(associations);
    const uint64_t version = numbers.next(1), flags = numbers.next(3);
    const bool isWide = (flags & 1) != 0;
    for (uint64_t entries = numbers.next(4); entries > 0 && !numbers.ended(); --entries) {
        const uint64_t owner = numbers.next(version == 0 ? 2 : 4);
        std::vector<uint64_t> properties(numbers.next(1));
        for (uint64_t& property : properties) // the highest bit says whether readers must know it
            property = isWide ? numbers.next(2) & 0x7FFF : numbers.next(1) & 0x7F;
        if (owner == item)
            return properties;
    }
    return {};
}

// Where the columns and rows of a picture come to lie.
struct Turning {
    bool exchanged = false, fromRight = false, fromBottom = false;

    void apply(const Box& property) {
        const uint64_t value = property.content.number(0, 1, ByteOrder::big).value_or(0);
        if (property.type == "irot")
            for (uint64_t quarters = value & 3; quarters > 0; --quarters) // anticlockwise
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
    constexpr uint64_t versionBytes = 4;
    const ByteRange meta = contentOf(boxesIn(ByteRange::ofMemory(file)), "meta").part(versionBytes);
    const std::vector<Box> boxes = boxesIn(meta);
    const ByteRange primary = contentOf(boxes, "pitm");
    Numbers numbers(primary);
    const uint64_t version = numbers.next(1);
    numbers.next(3);
    const uint64_t item = numbers.next(version == 0 ? 2 : 4);
    const std::vector<Box> parts = boxesIn(contentOf(boxes, "iprp"));
    const std::vector<Box> properties = boxesIn(contentOf(parts, "ipco"));
    Turning turning;
    for (const uint64_t number : propertiesOf(item, contentOf(parts, "ipma")))
        if (number > 0 && number <= properties.size())
            turning.apply(properties[number - 1]);
    return turning.exif();
}
