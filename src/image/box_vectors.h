// Vectors of the compiler's own kind for the box filter's row operations, as long as the registers
// of the instruction set at hand.
#pragma once

#include <cstdint>
#include <cstring>

namespace kelvane {

namespace {

#if defined(__AVX512BW__)
constexpr int vectorBytes = 64;
#elif defined(__AVX2__)
constexpr int vectorBytes = 32;
#else
constexpr int vectorBytes = 16;
#endif

// Long vectors would leave too much of a row over.
constexpr bool masksLanes = vectorBytes == 64;

using Words = uint16_t __attribute__((vector_size(vectorBytes)));
using Longs = uint32_t __attribute__((vector_size(vectorBytes)));

template <typename Vector>
Vector loadVector(const void* bytes) {
    Vector vector;
    std::memcpy(&vector, bytes, sizeof vector);
    return vector;
}

template <typename Vector>
void storeVector(void* bytes, Vector vector) {
    std::memcpy(bytes, &vector, sizeof vector);
}

// Vectors of the bytes of each channel.
template <int channels>
struct Channels {
    Words bytes[channels];
};

} // namespace

} // namespace kelvane
