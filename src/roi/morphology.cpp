// Erosion, dilation, opening and closing by a rectangle.
#include "kelvane/kelvane.h"

#include "roi/extremum_filter.h"

namespace kelvane {

namespace {

constexpr int64_t largestRadius = INT32_MAX - 1; // a block for more exceeds 64 bits

// The block is larger than the rows need; callers size their pools by it. 128 bits hold the size
// for every width; 0 when it exceeds 64.
int64_t workingBlockSize(int64_t width, int channels, int64_t radius) {
    const __int128 reach = 2 * static_cast<__int128>(radius);
    const __int128 stride = (channels * (width + reach + 18) + 3) & -4;
    const __int128 size = ((reach + 1) * channels + (stride + 8) * (reach + 4) + 151) & -4;
    return size <= INT64_MAX ? static_cast<int64_t>(size) : 0;
}

long filter(void* memHandle, unsigned char inverted, const unsigned char* source, long width,
            long height, long pitch, long channels, unsigned char* destination, long radius) {
    if (destination == nullptr || source == nullptr || radius == 0)
        return ERR_INVALID_PARAM;
    // Callers have always seen these as a want of memory.
    if (width <= 0 || channels < 1 || channels > 4 || radius < 0 || radius > largestRadius)
        return ERR_NO_MEMORY;
    const int64_t blockSize = workingBlockSize(width, static_cast<int>(channels), radius);
    void* const block = blockSize > 0 ? VantMemAlloc(memHandle, blockSize) : nullptr;
    if (block == nullptr)
        return ERR_NO_MEMORY;
    if (height > 0)
        filterExtremum({.source = source,
                        .destination = destination,
                        .width = width,
                        .height = height,
                        .pitch = pitch,
                        .channels = channels,
                        .radius = radius,
                        .inverted = inverted},
                       static_cast<unsigned char*>(block));
    VantMemFree(memHandle, block);
    return ERR_NONE;
}

} // namespace

} // namespace kelvane

extern "C" {

long sbrErode(void* memHandle, const unsigned char* source, long width, long height, long pitch,
              long channels, unsigned char* destination, long radius) {
    return kelvane::filter(memHandle, 0, source, width, height, pitch, channels, destination,
                           radius);
}

long sbrDilate(void* memHandle, const unsigned char* source, long width, long height, long pitch,
               long channels, unsigned char* destination, long radius) {
    return kelvane::filter(memHandle, 255, source, width, height, pitch, channels, destination,
                           radius);
}

long sbrOpen(void* memHandle, const unsigned char* source, long width, long height, long pitch,
             long channels, unsigned char* destination, long radius) {
    const long code =
        sbrErode(memHandle, source, width, height, pitch, channels, destination, radius);
    if (code != ERR_NONE)
        return code;
    return sbrDilate(memHandle, destination, width, height, pitch, channels, destination, radius);
}

long sbrClose(void* memHandle, const unsigned char* source, long width, long height, long pitch,
              long channels, unsigned char* destination, long radius) {
    const long code =
        sbrDilate(memHandle, source, width, height, pitch, channels, destination, radius);
    if (code != ERR_NONE)
        return code;
    return sbrErode(memHandle, destination, width, height, pitch, channels, destination, radius);
}

} // extern "C"
