// Erosion, dilation, opening and closing by a rectangle.
#include "roi/morphology.h"

#include "simd/kernels.h"

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

constexpr unsigned char erosion = 0; // inverts nothing, and takes the minimum
constexpr unsigned char dilation = 255;

// The task may cover a part of each row of the image, which is `imageWidth` pixels wide. Not worth
// a copy for each of its callers.
[[gnu::noinline]] long filter(void* memHandle, const ExtremumTask& task, int64_t imageWidth) {
    if (task.destination == nullptr || task.source == nullptr || task.radius == 0)
        return ERR_INVALID_PARAM;
    // Callers know these as a lack of memory.
    if (imageWidth <= 0 || task.channels < 1 || task.channels > 4 || task.radius < 0 ||
        task.radius > largestRadius)
        return ERR_NO_MEMORY;
    const int64_t blockSize =
        workingBlockSize(imageWidth, static_cast<int>(task.channels), task.radius);
    void* const block = blockSize > 0 ? VantMemAlloc(memHandle, blockSize) : nullptr;
    if (block == nullptr)
        return ERR_NO_MEMORY;
    if (task.height > 0)
        kernelsFor(task.width * task.channels)
            .filterExtremum(task, static_cast<unsigned char*>(block));
    VantMemFree(memHandle, block);
    return ERR_NONE;
}

// From the source into the destination, then from there in place with the opposite extremum.
long filterTwice(void* memHandle, ExtremumTask task, int64_t imageWidth) {
    const long code = filter(memHandle, task, imageWidth);
    if (code != ERR_NONE)
        return code;
    task.source = task.destination;
    task.inverted ^= 255;
    return filter(memHandle, task, imageWidth);
}

} // namespace

long openAndClose(void* memHandle, unsigned char* image, int64_t width, int64_t pitch,
                  const Bounds& area, int64_t radius) {
    unsigned char* const first = area.isEmpty() ? image : image + area.top * pitch + area.left;
    ExtremumTask task = {.source = first,
                         .destination = first,
                         .width = area.right - area.left,
                         .height = area.bottom - area.top,
                         .pitch = pitch,
                         .channels = 1,
                         .radius = radius,
                         .inverted = erosion};
    const long code = filterTwice(memHandle, task, width);
    if (code != ERR_NONE)
        return code;
    task.inverted = dilation;
    return filterTwice(memHandle, task, width);
}

} // namespace kelvane

extern "C" {

long sbrErode(void* memHandle, const unsigned char* source, long width, long height, long pitch,
              long channels, unsigned char* destination, long radius) {
    return kelvane::filter(
        memHandle, {source, destination, width, height, pitch, channels, radius, kelvane::erosion},
        width);
}

long sbrDilate(void* memHandle, const unsigned char* source, long width, long height, long pitch,
               long channels, unsigned char* destination, long radius) {
    return kelvane::filter(
        memHandle, {source, destination, width, height, pitch, channels, radius, kelvane::dilation},
        width);
}

long sbrOpen(void* memHandle, const unsigned char* source, long width, long height, long pitch,
             long channels, unsigned char* destination, long radius) {
    return kelvane::filterTwice(
        memHandle, {source, destination, width, height, pitch, channels, radius, kelvane::erosion},
        width);
}

long sbrClose(void* memHandle, const unsigned char* source, long width, long height, long pitch,
              long channels, unsigned char* destination, long radius) {
    return kelvane::filterTwice(
        memHandle, {source, destination, width, height, pitch, channels, radius, kelvane::dilation},
        width);
}

} // extern "C"
