#include "media/tiff_tags.h"

#include <algorithm>
#include <functional>

namespace {

// Big and little-endian numbers of a file, which are 0 behind its end.
class TiffNumbers {
public:
    explicit TiffNumbers(std::span<const uint8_t> file)
        : file_(file), isBigEndian_(!file.empty() && file[0] == 'M') {}

    uint32_t of16Bits(uint64_t at) const { return number(at, 2); }
    uint32_t of32Bits(uint64_t at) const { return number(at, 4); }

private:
    uint32_t number(uint64_t at, uint64_t bytes) const {
        if (at > file_.size() || bytes > file_.size() - at)
            return 0;
        uint32_t value = 0;
        for (uint64_t i = 0; i < bytes; ++i)
            value = value << 8 | file_[at + (isBigEndian_ ? i : bytes - 1 - i)];
        return value;
    }

    const std::span<const uint8_t> file_;
    const bool isBigEndian_;
};

struct Entry {
    uint32_t tag;
    uint32_t type;
    uint32_t count;
    uint64_t valueAt; // of the value, or of its place when it has more than 4 bytes
};

bool anyEntry(const TiffNumbers& numbers, uint64_t directory,
              const std::function<bool(const Entry&)>& isSought) {
    constexpr uint32_t mostEntries = 1024, entryBytes = 12;
    const uint32_t count = std::min(numbers.of16Bits(directory), mostEntries);
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t at = directory + 2 + uint64_t{entryBytes} * i;
        if (isSought(
                {numbers.of16Bits(at), numbers.of16Bits(at + 2), numbers.of32Bits(at + 4), at + 8}))
            return true;
    }
    return false;
}

} // namespace

bool holdsRawData(std::span<const uint8_t> file) {
    constexpr uint32_t photometricTag = 262, subDirectoriesTag = 330, dngVersionTag = 50706;
    constexpr uint32_t colourFilters = 32803, linearRaw = 34892, shortType = 3;
    const TiffNumbers numbers(file);
    const auto isRaw = [&](const Entry& entry) {
        const uint32_t value = entry.type == shortType ? numbers.of16Bits(entry.valueAt)
                                                       : numbers.of32Bits(entry.valueAt);
        return entry.tag == dngVersionTag ||
               (entry.tag == photometricTag && (value == colourFilters || value == linearRaw));
    };
    return anyEntry(numbers, numbers.of32Bits(4), [&](const Entry& entry) {
        if (entry.tag != subDirectoriesTag)
            return isRaw(entry);
        constexpr uint32_t mostDirectories = 16;
        const uint64_t list = entry.count == 1 ? entry.valueAt : numbers.of32Bits(entry.valueAt);
        for (uint32_t i = 0; i < std::min(entry.count, mostDirectories); ++i)
            if (anyEntry(numbers, numbers.of32Bits(list + 4 * uint64_t{i}), isRaw))
                return true;
        return false;
    });
}
