// What the JavaScript layer calls: the library's functions on planes of luma without padding, with
// numbers of 32 bits. All memory is one arena, from the end of the module's data to the end of its
// memory; there is no heap.
#include "kelvane/kelvane.h"

#include <algorithm>
#include <cmath>

#define EXPORT(name) __attribute__((export_name(#name)))

extern "C" {

extern unsigned char __heap_base; // where the linker ends the module's data

// Null handles are never passed, so nothing asks for these.
void* malloc(size_t) { return nullptr; }
void* realloc(void*, size_t) { return nullptr; }
void free(void*) {}

} // extern "C"

namespace {

void* arena = nullptr;
_tag_DRAV_ENGINE* engine = nullptr;
int32_t results[8];

__tag_KIRO_OFFSCREEN lumaImage(unsigned char* luma, int32_t width, int32_t height) {
    return {.format = KELVANE_FORMAT_YUV420,
            .width = width,
            .height = height,
            .planes = {luma},
            .pitches = {width}};
}

// The same without an odd last column and row.
__tag_KIRO_OFFSCREEN evenImage(unsigned char* luma, int32_t width, int32_t height) {
    __tag_KIRO_OFFSCREEN image = lumaImage(luma, width, height);
    image.width &= ~1;
    image.height &= ~1;
    return image;
}

// Memory of the arena until the end of a call; null when there is none.
template <typename Element>
class Block {
public:
    explicit Block(int32_t count)
        : elements_(static_cast<Element*>(
              VantMemAlloc(arena, std::max<int64_t>(count, 1) * int64_t{sizeof(Element)}))) {}
    ~Block() { VantMemFree(arena, elements_); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    Element* get() const { return elements_; }

private:
    Element* elements_;
};

} // namespace

namespace layer {

// Makes the arena of all memory, which does not grow from then on; false when it is too small.
EXPORT(open) bool open() {
    const int64_t size = int64_t{__builtin_wasm_memory_size(0)} * 65536 -
                         static_cast<int64_t>(reinterpret_cast<uintptr_t>(&__heap_base));
    arena = VantMemMgrCreate(&__heap_base, size);
    return arena != nullptr && DRAV_Init(arena, &engine) == ERR_NONE;
}

EXPORT(version) const char* version() {
    _tag_VERSION_INFO info;
    DRAV_GetVersion(&info);
    return info.version;
}

// Where calls leave their numbers.
EXPORT(results) int32_t* resultsAddress() { return results; }

EXPORT(allocate) void* allocate(uint32_t size) { return VantMemAlloc(arena, int64_t{size}); }
EXPORT(release) void release(void* block) { VantMemFree(arena, block); }
EXPORT(largest) uint32_t largest() { return static_cast<uint32_t>(GetMaxAllocMemSize(arena)); }

// The luma of pixels of red, green, blue and alpha: ITU-R BT.601, full range, rounded, as in JPEG.
EXPORT(lumaOfRgba)
void lumaOfRgba(const uint8_t* __restrict pixels, int32_t count, uint8_t* __restrict luma) {
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t red = pixels[4 * i], green = pixels[4 * i + 1], blue = pixels[4 * i + 2];
        luma[i] = static_cast<uint8_t>((19595 * red + 38470 * green + 7471 * blue + 32768) >> 16);
    }
}

EXPORT(blur) int32_t blur(unsigned char* luma, int32_t width, int32_t height) {
    const __tag_KIRO_OFFSCREEN image = evenImage(luma, width, height);
    _tag_DRAV_DATA result = {};
    const auto code = static_cast<int32_t>(DRAV_DetectBlur(engine, &image, &result));
    if (code == ERR_NONE)
        results[0] = static_cast<const _tag_DRAV_BLURRESULT*>(result.data)->score;
    return code;
}

// The blur score of a part.
EXPORT(blurOfPart)
int32_t blurOfPart(unsigned char* luma, int32_t width, int32_t height, int32_t left, int32_t top,
                   int32_t right, int32_t bottom) {
    __tag_KIRO_OFFSCREEN image = evenImage(luma, width, height);
    __tag_rect part = {left, top, right, bottom};
    float sharpness = 0;
    const auto code = static_cast<int32_t>(imgEvaluateSharpness(arena, &image, &sharpness, &part));
    // The product of two floats is exact in double precision: this rounds once, as fma does.
    results[0] = static_cast<int32_t>(static_cast<float>(double{sharpness} * 10000.0 + 0.5));
    return code;
}

// Ranks n frames by their blur scores and the faces of a pre-processing record. The kept frames
// replace the first scores, results[0] is the best one, results[1] the count of the kept ones.
EXPORT(pick)
int32_t pick(int32_t* scores, int32_t n, int32_t width, int32_t height, unsigned char* record,
             int32_t recordSize, int32_t keep) {
    const Block<__tag_KIRO_OFFSCREEN> frames(n);
    const Block<_tag_DRAV_BLURRESULT> blurs(n);
    const Block<_tag_DRAV_DATA> blurData(n);
    const Block<int64_t> kept(std::min(keep, n));
    if (!frames.get() || !blurs.get() || !blurData.get() || !kept.get())
        return ERR_NO_MEMORY;
    for (int32_t i = 0; i < n; ++i) {
        const __tag_KIRO_OFFSCREEN& frame = frames.get()[i] = evenImage(nullptr, width, height);
        blurs.get()[i] = {frame.width, frame.height, frame.format, scores[i]};
        blurData.get()[i] = {&blurs.get()[i], sizeof(_tag_DRAV_BLURRESULT)};
    }
    const _tag_DRAV_DATA recordData = {record, recordSize};
    _tag_DRAV_RESULT result = {std::min(keep, n), kept.get(), 0};
    const auto code = static_cast<int32_t>(DRAV_KelvaneWithPreProcessBlur(
        engine, frames.get(), &recordData, blurData.get(), n, &result));
    if (code != ERR_NONE)
        return code;
    std::transform(kept.get(), kept.get() + result.count, scores,
                   [](int64_t frame) { return static_cast<int32_t>(frame); });
    results[0] = static_cast<int32_t>(result.best);
    results[1] = static_cast<int32_t>(result.count);
    return code;
}

// results: dx, dy.
EXPORT(align)
int32_t align(unsigned char* first, unsigned char* second, int32_t width, int32_t height) {
    __tag_KIRO_OFFSCREEN images[] = {lumaImage(first, width, height),
                                     lumaImage(second, width, height)};
    _tag_ZEP_NS_INPUTINFO input = {2, {&images[0], &images[1]}};
    long pairs[2][2], *pointers[] = {pairs[0], pairs[1]};
    void* context = nullptr;
    long code = Alignment_Init(arena, &context);
    if (code == ERR_NONE)
        code = Image_Alignment_Video(context, &input, 0, pointers, 1);
    Alignment_Uninit(&context);
    results[0] = static_cast<int32_t>(pairs[1][0]);
    results[1] = static_cast<int32_t>(pairs[1][1]);
    return static_cast<int32_t>(code);
}

// results: left, top, right, bottom, dx, dy.
EXPORT(changes)
int32_t changes(unsigned char* first, unsigned char* second, int32_t width, int32_t height,
                float* ratio) {
    __tag_KIRO_OFFSCREEN before = lumaImage(first, width, height);
    __tag_KIRO_OFFSCREEN after = lumaImage(second, width, height);
    _tag_DRAV_ALIGNMENT alignment = {};
    _tag_ROI_INFO found = {};
    void* context = nullptr;
    long code = roiInit(arena, width, height, KELVANE_FORMAT_YUV420, &context);
    if (code == ERR_NONE)
        code = roiCalculate(context, &before, &after, &alignment, &found);
    roiUninit(&context);
    const int32_t numbers[] = {found.rect.left,   found.rect.top,    found.rect.right,
                               found.rect.bottom, int32_t(found.dx), int32_t(found.dy)};
    std::copy(std::begin(numbers), std::end(numbers), results);
    *ratio = found.changedRatio;
    return static_cast<int32_t>(code);
}

EXPORT(resize)
int32_t resize(unsigned char* luma, int32_t width, int32_t height, unsigned char* resized,
               int32_t newWidth, int32_t newHeight) {
    const __tag_KIRO_OFFSCREEN from = lumaImage(luma, width, height);
    __tag_KIRO_OFFSCREEN to = lumaImage(resized, newWidth, newHeight);
    return static_cast<int32_t>(imgResize(arena, &from, &to));
}

} // namespace layer
