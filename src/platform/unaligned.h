// Reading records and words that lie at any alignment.
#pragma once

#include <bit>
#include <cstring>

namespace kelvane {

static_assert(std::endian::native == std::endian::little, "bytes are read as they lie");

template <typename Value>
Value loadUnaligned(const void* bytes) {
    Value value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

template <typename T>
void storeUnaligned(unsigned char* bytes, T value) {
    std::memcpy(bytes, &value, sizeof value);
}

} // namespace kelvane
