#pragma once

#include "media/metadata/byte_range.h"

// A directory of fields: what Exif data, TIFF, most raw files and the notes of camera makers are
// made of (TIFF 6.0, section 2). A field that is missing or damaged is empty.
class TiffDirectory {
public:
    // The first one of a TIFF structure. The raw files of some makers differ in the signature.
    static TiffDirectory first(const ByteRange& tiff);

    TiffDirectory() = default;

    // The directory at an offset of `base`, to which its own offsets refer.
    TiffDirectory(ByteRange base, uint64_t offset, ByteOrder order);

    const ByteRange& base() const { return base_; }
    ByteOrder order() const { return order_; }

    // Of up to 64 characters, without what follows a zero and without spaces at the end.
    std::string text(uint16_t tag) const;

    std::optional<int64_t> number(uint16_t tag, size_t index = 0) const;

    // The directory that the field leads to, or holds.
    TiffDirectory directory(uint16_t tag) const;

    // What the field holds, whatever its type, and where that is in `base`.
    ByteRange value(uint16_t tag) const;
    std::optional<uint64_t> offsetOf(uint16_t tag) const;

private:
    struct Field {
        uint16_t type;
        uint64_t offset;
        uint64_t size;
    };
    std::optional<Field> find(uint16_t tag) const;

    ByteRange base_;
    uint64_t fields_ = 0; // offset of the first
    uint64_t count_ = 0;
    ByteOrder order_ = ByteOrder::big;
};
