// Prints the table of docs/memory.md: the smallest arena with which each call succeeds, in bytes,
// found by trying.
#include <kelvane/kelvane.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr long burst = 10;

struct Job {
    void* memory;
    __tag_KIRO_OFFSCREEN image;
    unsigned char* destination;
};

long width(const Job& job) { return job.image.width; }
long height(const Job& job) { return job.image.height; }

long rank(Job& job, bool moving) {
    std::vector<__tag_KIRO_OFFSCREEN> frames(burst, job.image);
    _tag_DRAV_FACEINFO noFaces = {};
    std::vector<_tag_DRAV_PARAM> params(burst, {nullptr, &noFaces});
    int64_t kept[burst];
    _tag_DRAV_RESULT result = {burst, kept, -1};
    std::vector<_tag_DRAV_MOVINGOBJ> objects(burst, {{8, 8, 64, 64}, job.image.planes[0]});
    const _tag_DRAV_MOVINGINFO info = {width(job), height(job), width(job), objects.data(), burst};

    _tag_DRAV_ENGINE* engine = nullptr;
    long code = DRAV_Init(job.memory, &engine);
    if (code == ERR_NONE && moving)
        code = SetMovingObjectInfo(engine, &info);
    if (code == ERR_NONE)
        code = DRAV_Kelvane(engine, frames.data(), params.data(), burst, &result);
    DRAV_Uninit(&engine);
    return code;
}

long detectBlur(Job& job) {
    _tag_DRAV_ENGINE* engine = nullptr;
    _tag_DRAV_DATA score;
    long code = DRAV_Init(job.memory, &engine);
    if (code == ERR_NONE)
        code = DRAV_DetectBlur(engine, &job.image, &score);
    DRAV_Uninit(&engine);
    return code;
}

long align(Job& job) {
    void* context = nullptr;
    long shifts[2][2];
    long* results[] = {shifts[0], shifts[1]};
    _tag_ZEP_NS_INPUTINFO input = {2, {&job.image, &job.image}};
    long code = Alignment_Init(job.memory, &context);
    if (code == ERR_NONE)
        code = Image_Alignment_Video(context, &input, 0, results, 1);
    Alignment_Uninit(&context);
    return code;
}

long changedRegion(Job& job) {
    void* context = nullptr;
    _tag_DRAV_ALIGNMENT alignment = {};
    _tag_ROI_INFO info;
    long code = roiInit(job.memory, width(job), height(job), KELVANE_FORMAT_YUV420, &context);
    if (code == ERR_NONE)
        code = roiCalculate(context, &job.image, &job.image, &alignment, &info);
    roiUninit(&context);
    return code;
}

long allocateImage(Job& job) {
    __tag_KIRO_OFFSCREEN image = {};
    const long code = imgAlloc(job.memory, &image, width(job), height(job), KELVANE_FORMAT_YUV420);
    imgFree(job.memory, &image);
    return code;
}

long resizeToHalf(Job& job) {
    __tag_KIRO_OFFSCREEN half = job.image;
    half.width /= 2;
    half.height /= 2;
    half.planes[0] = job.destination;
    return imgResize(job.memory, &job.image, &half);
}

long thumbnail(Job& job) {
    return ImageResize_BL_ToBGR24(job.memory, &job.image, job.destination, 320, 240, 960);
}

long boxBlur(Job& job) {
    return GB_BoxBlurA(job.memory, job.image.planes[0], width(job), height(job), width(job), 0,
                       job.destination, 4, 4, 4, 4);
}

long gaussianBlur(Job& job) {
    return GB_GaussianBlurA(job.memory, job.image.planes[0], width(job), height(job), width(job), 0,
                            job.destination, 9);
}

long open(Job& job) {
    return sbrOpen(job.memory, job.image.planes[0], width(job), height(job), width(job), 1,
                   job.destination, 4);
}

struct Call {
    const char* name;
    long (*run)(Job&);
};

const Call calls[] = {
    {"`DRAV_DetectBlur`", detectBlur},
    {"`DRAV_Kelvane`, 10 frames", [](Job& job) { return rank(job, false); }},
    {"the same with moving objects", [](Job& job) { return rank(job, true); }},
    {"`Image_Alignment_Video`", align},
    {"`roiCalculate`", changedRegion},
    {"`imgAlloc`, `0x601`", allocateImage},
    {"`imgResize` to half", resizeToHalf},
    {"`ImageResize_BL_ToBGR24` to 320 x 240", thumbnail},
    {"`GB_BoxBlurA`, radius 4", boxBlur},
    {"`GB_GaussianBlurA`, size 9", gaussianBlur},
    {"`sbrOpen`, radius 4", open},
};

bool succeeds(const Call& call, Job job, std::vector<int64_t>& memory, long size) {
    job.memory = VantMemMgrCreate(memory.data(), size);
    return job.memory != nullptr && call.run(job) == ERR_NONE;
}

// Between a size that is too small and one that is enough, in steps of the arena's 8 bytes.
long smallestArena(const Call& call, const Job& job, std::vector<int64_t>& memory) {
    long enough = 1024;
    while (!succeeds(call, job, memory, enough))
        enough *= 2;
    long tooSmall = 0;
    while (enough - tooSmall > 8) {
        const long middle = (tooSmall + enough) / 16 * 8;
        (succeeds(call, job, memory, middle) ? enough : tooSmall) = middle;
    }
    return enough;
}

} // namespace

int main() {
    const int32_t sizes[][2] = {{640, 480}, {1920, 1080}, {4000, 3000}};
    std::vector<unsigned char> source(4000 * 3000), destination(4000 * 3000);
    std::vector<int64_t> memory(8 << 20);
    std::puts("| call | 640 x 480 | 1920 x 1080 | 4000 x 3000 |\n|---|---|---|---|");
    for (const Call& call : calls) {
        std::printf("| %s |", call.name);
        for (const auto& [w, h] : sizes) {
            // Chroma reads as grey from the same bytes.
            const Job job = {nullptr,
                             {KELVANE_FORMAT_YUV420,
                              w,
                              h,
                              {source.data(), source.data(), source.data()},
                              {w, w / 2, w / 2}},
                             destination.data()};
            std::memset(source.data(), 1, source.size());
            std::printf(" %ld |", smallestArena(call, job, memory));
        }
        std::puts("");
    }
    return 0;
}
