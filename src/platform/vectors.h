// Vectors of the compiler's own kind, as long as the registers of the instruction set at hand.
// Everything has internal linkage, so that no code of one instruction set is ever shared with
// another.
#pragma once

#include <cstdint>
#include <cstring>

namespace kelvane {

namespace {

#if defined(__AVX512BW__)
constexpr int64_t vectorBytes = 64;
#elif defined(__AVX2__)
constexpr int64_t vectorBytes = 32;
#else
constexpr int64_t vectorBytes = 16;
#endif

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

} // namespace

} // namespace kelvane
