#include "media/metadata/tiff_directory.h"

#include <algorithm>
#include <array>

namespace {

constexpr uint64_t fieldSize = 12;

// Cameras write fewer than a hundred.
constexpr uint64_t mostFields = 1000;

// Bytes of a value of each type, BYTE to IFD.
constexpr std::array<uint8_t, 14> typeSizes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};

int64_t withSign(uint64_t number, size_t bytes) {
    const size_t unused = 64 - 8 * bytes;
    return static_cast<int64_t>(number << unused) >> unused;
}

// BYTE, SHORT, LONG, IFD; SBYTE, SSHORT, SLONG.
bool isUnsigned(uint16_t type) { return type == 1 || type == 3 || type == 4 || type == 13; }
bool isSigned(uint16_t type) { return type == 6 || type == 8 || type == 9; }

constexpr uint16_t undefined = 7;

} // namespace

TiffDirectory TiffDirectory::first(const ByteRange& tiff) {
    const bool big = tiff.startsWith("MM");
    if (!big && !tiff.startsWith("II"))
        return {};
    const ByteOrder order = big ? ByteOrder::big : ByteOrder::little;
    // 42, and those of RW2 and ORF.
    const auto signature = tiff.number(2, 2, order);
    constexpr uint64_t known[] = {42, 0x55, 0x4F52, 0x5352};
    const auto offset = tiff.number(4, 4, order);
    if (!signature || !offset || std::ranges::find(known, *signature) == std::end(known))
        return {};
    return {tiff, *offset, order};
}

TiffDirectory::TiffDirectory(ByteRange base, uint64_t offset, ByteOrder order)
    : base_(std::move(base)), fields_(offset + 2),
      count_(std::min(base_.number(offset, 2, order).value_or(0), mostFields)), order_(order) {}

std::optional<TiffDirectory::Field> TiffDirectory::find(uint16_t tag) const {
    for (uint64_t i = 0; i < count_; ++i) {
        const uint64_t at = fields_ + i * fieldSize;
        if (base_.number(at, 2, order_) != tag)
            continue;
        const uint64_t type = base_.number(at + 2, 2, order_).value_or(0);
        const uint64_t count = base_.number(at + 4, 4, order_).value_or(0);
        if (type == 0 || type >= typeSizes.size())
            return std::nullopt;
        const uint64_t size = count * typeSizes[type];
        // A value of up to 4 bytes is in the field itself.
        const auto offset = size <= 4 ? at + 8 : base_.number(at + 8, 4, order_);
        if (!offset || *offset > base_.size() || size > base_.size() - *offset)
            return std::nullopt;
        return Field{static_cast<uint16_t>(type), *offset, size};
    }
    return std::nullopt;
}

std::string TiffDirectory::text(uint16_t tag) const {
    const auto field = find(tag);
    if (!field)
        return "";
    std::string text = base_.bytes(field->offset, std::min<uint64_t>(field->size, 64));
    text.resize(std::min(text.size(), text.find('\0')));
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::optional<int64_t> TiffDirectory::number(uint16_t tag, size_t index) const {
    const auto field = find(tag);
    if (!field || (!isUnsigned(field->type) && !isSigned(field->type)))
        return std::nullopt;
    const size_t bytes = typeSizes[field->type];
    if (index >= field->size / bytes)
        return std::nullopt;
    const auto number = base_.number(field->offset + index * bytes, bytes, order_);
    if (!number)
        return std::nullopt;
    return isSigned(field->type) ? withSign(*number, bytes) : static_cast<int64_t>(*number);
}

TiffDirectory TiffDirectory::directory(uint16_t tag) const {
    const auto field = find(tag);
    const int64_t offset = field && field->type == undefined ? static_cast<int64_t>(field->offset)
                                                             : number(tag).value_or(-1);
    return offset < 0 ? TiffDirectory()
                      : TiffDirectory(base_, static_cast<uint64_t>(offset), order_);
}

ByteRange TiffDirectory::value(uint16_t tag) const {
    const auto field = find(tag);
    return field ? base_.part(field->offset, field->size) : ByteRange();
}

std::optional<uint64_t> TiffDirectory::offsetOf(uint16_t tag) const {
    const auto field = find(tag);
    return field ? std::optional(field->offset) : std::nullopt;
}
