#include "media/jpeg_end.h"

#include <cstring>

namespace {

constexpr uint8_t startOfImage = 0xD8;
constexpr uint8_t endOfImage = 0xD9;

// Markers that no segment follows. Inside coded data these are escapes (00) and restarts.
bool standsAlone(uint8_t marker) {
    return marker <= 0x01 || (marker >= 0xD0 && marker <= startOfImage);
}

// The position after the next marker and its fill bytes, or 0 at the end of the bytes.
size_t afterNextMarker(std::span<const uint8_t> bytes, size_t position) {
    const void* const found = std::memchr(bytes.data() + position, 0xFF, bytes.size() - position);
    if (found == nullptr)
        return 0;
    position = static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes.data());
    while (position < bytes.size() && bytes[position] == 0xFF)
        ++position;
    return position < bytes.size() ? position + 1 : 0;
}

} // namespace

bool startsLikeJpeg(std::span<const uint8_t> bytes) {
    return bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == startOfImage && bytes[2] == 0xFF;
}

size_t jpegLength(std::span<const uint8_t> bytes) {
    size_t position = 0;
    while (position < bytes.size() && (position = afterNextMarker(bytes, position)) != 0) {
        const uint8_t marker = bytes[position - 1];
        if (marker == endOfImage)
            return position;
        if (standsAlone(marker))
            continue;
        if (bytes.size() - position < 2)
            return 0;
        position += static_cast<size_t>(bytes[position] << 8 | bytes[position + 1]);
    }
    return 0;
}
