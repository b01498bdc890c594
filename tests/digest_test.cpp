// The outputs of every exported function over a fixed corpus, as one value for each group of
// functions that every processor, instruction set, compiler and optimisation level must reproduce.
#include "align/context.h"
#include "image_check.h"
#include "support/alignment_frames.h"
#include "support/random_burst.h"
#include "support/vector_hook.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

struct Digest {
    uint64_t value = 0xCBF29CE484222325; // FNV-1a

    void bytes(const void* data, int64_t size) {
        const auto* const begin = static_cast<const unsigned char*>(data);
        for (const unsigned char* byte = begin; byte < begin + size; ++byte)
            value = (value ^ *byte) * 0x100000001B3;
    }
    void bytes(const Bytes& data) { bytes(data.data(), std::ssize(data)); }
    template <typename... Values>
    void add(const Values&... values) {
        static_assert(((std::is_arithmetic_v<Values> || std::is_enum_v<Values>)&&...));
        (bytes(&values, sizeof values), ...);
    }
    void add(const __tag_rect& r) { add(r.left, r.top, r.right, r.bottom); }
    void add(const char* text) { bytes(text, static_cast<int64_t>(std::strlen(text))); }
};

Bytes noise(Random& random, int64_t size) {
    Bytes bytes(static_cast<size_t>(size));
    random.fill(bytes.data(), size);
    return bytes;
}

// Allocation by the general functions (even rounds) and by those of the arena alone (odd rounds).
void operateArena(Random& random, Digest& digest) {
    Bytes memory(4096 + 8);
    void* const handle = VantMemMgrCreate(memory.data(), 4096);
    auto* const start = static_cast<unsigned char*>(VantMemMgrDestroy(handle));
    unsigned char* blocks[8] = {};
    for (int round = 0; round < 800; ++round) {
        unsigned char*& block = random.oneOf({&blocks[0], &blocks[1], &blocks[2], &blocks[3],
                                              &blocks[4], &blocks[5], &blocks[6], &blocks[7]})[0];
        const auto size = random.between<uint32_t>(1, random.chance(20) ? 1500 : 300);
        const bool grows = random.chance(60), odd = round % 2 != 0;
        void* moved = nullptr;
        if (block == nullptr)
            moved = odd ? VantMemAllocStatic(handle, size) : VantMemAlloc(handle, size);
        else if (grows)
            moved = odd ? VantMemReallocStatic(handle, block, size)
                        : VantMemRealloc(handle, block, size);
        else
            odd ? VantMemFreeStatic(handle, block) : VantMemFree(handle, block);
        if (moved != nullptr || !grows)
            block = static_cast<unsigned char*>(moved);
        if (moved != nullptr)
            VantMemSet(moved, round, size);
        digest.add(moved == nullptr ? 0 : block - start, GetMaxAllocMemSize(handle));
    }
    digest.bytes(start, 4096 - 16);
    for (long size = -1; size < 40; ++size) {
        unsigned char* const target = start + random.between(0, 50);
        VantMemMove(target, start + random.between(0, 50), size);
        VantMemCpy(start + 100 + size, start + 200, size);
        const long order = VantMemCmp(start, start + random.between(0, 200), size);
        digest.add(order > 0, order < 0);
    }
    digest.bytes(start, 300);
}

void describeVersions(Random&, Digest& digest) {
    _tag_VERSION_INFO library = {};
    DRAV_GetVersion(&library);
    for (const _tag_VERSION_INFO* const info : {&library, Vantix_GetVersion()}) {
        digest.add(info->numbers[0], info->numbers[1], info->numbers[2], info->numbers[3]);
        for (const char* const text : {info->version, info->date, info->notice})
            digest.add(text);
    }
}

void measureSharpness(Random& random, Digest& digest) {
    _tag_DRAV_ENGINE* engine = nullptr;
    DRAV_Init(nullptr, &engine);
    for (int round = 0; round < 600; ++round) {
        const auto format =
            random.oneOf({0x601u, 0x603u, 0x801u, 0x802u, 0x803u, 0x501u, 0x101u, 0x304u, 0x201u});
        const auto width = random.between<int32_t>(1, round % 9 == 0 ? 700 : 120);
        const auto height = random.between<int32_t>(1, 60);
        Bytes pixels = random.image(int64_t{width} * 4 * height);
        Image image = {format, width + width % 2, height + height % 2, {pixels.data()}, {}};
        image.pitches[0] = width * 4 * height / image.height / 2 * 2;
        __tag_rect region = random.rectInside(width, height);
        float sharpness = -1.0f;
        const long code = imgEvaluateSharpness(nullptr, &image, &sharpness,
                                               random.chance(50) ? &region : nullptr);
        _tag_DRAV_DATA blur = {};
        digest.add(code, sharpness, DRAV_DetectBlur(engine, &image, &blur));
        digest.bytes(blur.data, blur.size);
    }
    digest.add(DRAV_Uninit(&engine));
}

void rankBursts(Random& random, Digest& digest) {
    _tag_DRAV_ENGINE* engine = nullptr;
    DRAV_Init(nullptr, &engine);
    for (int round = 0; round < 200; ++round) {
        const auto n = random.between<int32_t>(1, 13);
        if (random.chance(60)) {
            Objects objects(n, random);
            digest.add(SetMovingObjectInfo(engine, &objects.info));
            __tag_rect part = {0, 0, 1, 1};
            long area = -1;
            digest.add(calMaskArea(objects.mask.data(), objects.info.width, 1, 9, round % 3,
                                   round % 2 == 0 ? nullptr : &part, &area),
                       area);
        }
        Burst burst(n, random);
        int64_t indices[13] = {};
        _tag_DRAV_RESULT result = {random.between(1, n), indices, -1};
        digest.add(burst.rank(engine, &result), result.count, result.best);
        digest.bytes(indices, sizeof indices);
    }
    DRAV_Uninit(&engine);
}

void readRecords(Random& random, Digest& digest) {
    for (int round = 0; round < 200; ++round) {
        const auto n = random.between<int32_t>(1, 4), values = random.between<int32_t>(0, 9);
        const auto size = 32 + 8 * n * values + 412 * n + random.between<int32_t>(-1, 0);
        Bytes block = noise(random, size);
        const uint32_t header[] = {static_cast<uint32_t>(n), 0, 0, static_cast<uint32_t>(values),
                                   1};
        std::memcpy(block.data() + 4, header, sizeof header);
        _tag_Preprocessor_Data* record = nullptr;
        digest.add(ReadProcessorData(nullptr, &record, block.data(), size));
        if (record != nullptr) {
            digest.bytes(record->header, sizeof record->header);
            digest.bytes(record->records, 412L * record->frameCount);
            for (int i = 0; i < n; ++i)
                for (uint32_t** const maps : {record->firstMaps, record->secondMaps})
                    digest.bytes(maps[i], 4L * values);
        }
        digest.add(FreeProcessorData(nullptr, &record));
    }
}

void attachFaceData(Random&, Digest& digest) {
    _tag_DRAV_PARAM params[3];
    for (_tag_DRAV_PARAM& param : params)
        digest.add(DRAV_GetDefaultParam(&param));
    const auto offset = [&](const void* part, const void* block) {
        return static_cast<const char*>(part) - static_cast<const char*>(block);
    };
    const auto describe = [&] {
        for (const auto& [alignment, faces] : params)
            digest.add(alignment != nullptr ? offset(alignment, params[0].alignment) : -1,
                       faces != nullptr ? offset(faces->smiles, params[0].faces) : -1);
    };
    const std::pair<long (*)(void*, _tag_DRAV_PARAM*, long),
                    void (*)(void*, _tag_DRAV_PARAM*, long)>
        pairs[] = {{allocParams, freeParams},
                   {allocParamsFace, freeParamsFace},
                   {allocParamsAlign, freeParamsAlign}};
    for (const auto& [allocate, release] : pairs) {
        digest.add(allocate(nullptr, params, 3), allocate(nullptr, nullptr, 3));
        describe();
        release(nullptr, params, 3);
        describe();
    }
}

void copyImages(Random& random, Digest& digest) {
    for (int round = 0; round < 200; ++round) {
        const auto format = random.oneOf({0x601u, 0x603u, 0x802u});
        const long width = random.between(1, 40), height = random.between(1, 20);
        const Frame source(random, format, width, height);
        const Arena arena(2 * 40 * 20);
        Image image = {};
        digest.add(imgAlloc(arena.handle(), &image, width, height, format));
        for (int k = 0; k < 3; ++k)
            digest.add(image.pitches[k],
                       image.planes[k] == nullptr ? -1 : image.planes[k] - image.planes[0]);
        digest.add(CopyImageData(&image, &source.image));
        digest.bytes(image.planes[0], 40 * 20);
        imgFree(arena.handle(), &image);
        long small[2] = {-1, -1};
        float scale = -1.0f;
        CalSmallImgSize(width * 100, height * 163, &small[0], &small[1], &scale, 800);
        digest.add(small[0], small[1], scale);
    }
}

// Sizes of all kinds: thin ones, and rows of many vectors.
long anySide(Random& random) { return random.between(1, random.chance(20) ? 400 : 40); }

void resizePlanes(Random& random, Digest& digest) {
    for (int round = 0; round < 300; ++round) {
        const uint32_t format = round % 2 == 0 ? 0x802 : 0x501;
        const long channels = 1 + round % 2;
        const long size[] = {anySide(random), anySide(random), anySide(random), anySide(random)};
        const Frame source(random, format, size[0], size[1]);
        Frame target(random, format, size[2], size[3]);
        void* buffer = nullptr;
        digest.add(ImageResize_AllocMem_BL(nullptr, size[0], size[1], channels, size[2], size[3],
                                           &buffer));
        const auto* const table = static_cast<const unsigned char*>(buffer);
        digest.bytes(table, 8);
        digest.bytes(table + 8 + 16 * size[2] * channels, 4 * (size[2] + size[3]));
        digest.add(ImageResize_BL(source.image.planes[0], size[0], size[1], source.image.pitches[0],
                                  channels, target.image.planes[0], size[2], size[3],
                                  target.image.pitches[0], &buffer));
        VantMemFree(nullptr, buffer);
        digest.bytes(target.planes[0].content());
        digest.add(imgResize(nullptr, &source.image, &target.image));
        digest.bytes(target.planes[0].content());
    }
}

void resizeToBgr24(Random& random, Digest& digest) {
    for (int round = 0; round < 300; ++round) {
        const auto format = random.oneOf({0x501u, 0x601u, 0x802u, 0x201u, 0x603u});
        const long size[] = {anySide(random), anySide(random), anySide(random), anySide(random)};
        const Frame source(random, format, size[0], size[1]);
        const Frame target(random, 0x201, size[2], size[3]);
        digest.add(ImageResize_BL_ToBGR24(nullptr, &source.image, target.image.planes[0], size[2],
                                          size[3], target.image.pitches[0]));
        digest.bytes(target.planes[0].content());
    }
}

// Calls filter(source, width, height, pitch, channels, target) on random planes.
template <typename Filter>
void filterPlanes(Random& random, Digest& digest, long mostChannels, const Filter& filter) {
    for (int round = 0; round < 300; ++round) {
        const long width = anySide(random), height = random.between(1, 30);
        const long channels = random.between(1, mostChannels);
        const long pitch = width * channels + random.oneOf({0, 0, 1, 40});
        Bytes source = random.image(height * pitch), target = random.image(height * pitch);
        for (Bytes* const out : {&target, &source}) {
            digest.add(filter(source.data(), width, height, pitch, channels, out->data()));
            digest.bytes(*out);
        }
    }
}

void smooth(Random& random, Digest& digest) {
    long reach[4] = {};
    filterPlanes(random, digest, 3, [&](auto* source, long w, long h, long p, long c, auto* out) {
        for (long& r : reach)
            r = random.between(0, random.chance(80) ? 8 : 60);
        const long format = c == 3 ? 0x201 : 0x601;
        const long code = GB_BoxBlurA(nullptr, source, w, h, p, format, out, reach[0], reach[1],
                                      reach[2], reach[3]);
        return 10 * code + GB_GaussianBlurA(nullptr, out, w, h, p, format, out, reach[0]);
    });
}

template <auto filter>
void transform(Random& random, Digest& digest) {
    filterPlanes(random, digest, 4, [&](auto* source, long w, long h, long p, long c, auto* out) {
        return filter(nullptr, source, w, h, p, c, out, random.between(0, 9));
    });
}

void cutBitmaps(Random& random, Digest& digest) {
    for (int round = 0; round < 150; ++round) {
        const int64_t format = anyFormat(random);
        const long w = random.between(1, round % 9 == 0 ? 1500 : 300), h = random.between(1, 90);
        AlignmentFrame frame(random, w, h, format, round % 4);
        unsigned char* const luma = frame.plane.data();
        long threshold = -7, histogram[256];
        digest.add(TorInterThreshold(nullptr, &frame.image, nullptr, &threshold, w, h, frame.pitch,
                                     histogram),
                   threshold);
        const long level = random.between(0, 3), rowBytes = ((w >> level) + 31) / 32 * 4 + 4;
        const long stride = ((w >> level) + 3) / 4 * 4, rows = (h >> level) + 1;
        Bytes bits(size_t(rowBytes * rows)), halved(bits.size()), grey(size_t(stride * rows));
        ComputeBitmaps2(luma, w, h, frame.pitch, bits.data(), rowBytes, threshold, level, format);
        BitImageShrink2(bits.data(), h >> level, w >> level, rowBytes, halved.data(),
                        ((h >> level) + 1) / 2, ((w >> level) + 1) / 2, rowBytes, round);
        ComputeGraymaps2(luma, w, h, frame.pitch, grey.data(), w >> level, h >> level, stride,
                         level, format);
        for (const Bytes* const bytes : {&bits, &halved, &grey})
            digest.bytes(*bytes);
    }
}

void makeLevels(Random& random, Digest& digest) {
    for (int round = 0; round < 60; ++round) {
        const int64_t format = anyFormat(random);
        const long w = random.between(1, 900), h = random.between(1, 300);
        AlignmentFrame frame(random, w, h, format, round % 4);
        const long levels = plainLevelCount(frame.image), k = random.between(1, 4);
        const Arena arena(1 << 20);
        _tag_ZEP_ABDEBLUR context{};
        context.memHandle = arena.handle();
        unsigned char* set = nullptr;
        _tag_BitPyramid_Struct* pyramid = nullptr;
        digest.add(Alloc_ComputeBitMaps_Video(&context, &set, w, h, levels, k, 4));
        digest.add(Creat_ComputeBitMaps_Video(set, &frame.image, 100, w, h, levels, k, 1));
        const long rest = GetMaxAllocMemSize(arena.handle());
        digest.add(rest);
        digest.bytes(set, set == nullptr ? 0 : (1 << 20) - 16 - rest);
        digest.add(Alloc_ComputeBitPyramid_Video(&context, &pyramid, w, h, levels, k, 4));
        digest.add(Creat_ComputePyramidMaps_Video(pyramid, &frame.image, 120, w, h, levels, k, 1));
        for (long j = 0; pyramid != nullptr && j < pyramid->maxLevel - pyramid->minLevel; ++j) {
            _tag_BitMap_Struct& level = pyramid->levels[j];
            digest.add(ComputeBitmaps2Interleave(frame.plane.data(), w, h, frame.pitch, &level, 77,
                                                 j, format));
            digest.bytes(level.data, level.rows * level.rowBytes);
            digest.bytes(&level.widthBits, sizeof level - sizeof level.data);
            Bytes work = noise(random, level.rows * level.rowBytes);
            for (long c = 0; c < 9; ++c)
                digest.add(InterBitmapOperation2(level.data, work.data(), level.valid, level.valid,
                                                 level.widthBits, level.rows, level.rowBytes,
                                                 c / 3 - 1, c % 3 - 1));
        }
        ReleasePyrBit(&context, &pyramid);
    }
}

void countDifferences(Random& random, Digest& digest) {
    for (int round = 0; round < 1000; ++round) {
        const long w = random.between(1, 700), rows = random.between(1, 20);
        const long rowBytes = (w + 31) / 32 * 4 + 4;
        Bytes a = noise(random, rows * rowBytes), b = noise(random, rows * rowBytes);
        const long dx = random.between(-w, w) / 2, dy = random.between(-rows, rows) / 2;
        const long cx = random.between(-1, 1), cy = random.between(-1, 1);
        long sums[6] = {};
        BitmapOperationline2(a.data(), b.data(), sums, w, rows, rowBytes, dx, dy);
        BitmapOperationline2_BF(a.data(), b.data(), sums + 3, w, rows, rowBytes, dx, dy, 1, cy);
        digest.bytes(sums, sizeof sums);
        digest.add(BitmapOperation2(a.data(), b.data(), w, rows, rowBytes, dx, dy),
                   BitmapOperation2_BF(a.data(), b.data(), w, rows, rowBytes, dx, dy, cx, cy));
    }
}

void alignFrames(Random& random, Digest& digest) {
    for (int round = 0; round < 60; ++round) {
        const int64_t format = anyFormat(random);
        const long w = random.between(1, round % 5 == 0 ? 1100 : 330), h = random.between(1, 200);
        void* context = nullptr;
        digest.add(Alignment_Init(nullptr, &context));
        for (int call = 0; call < 2; ++call) {
            AlignmentFrame first(random, w, h, format, 3), second(random, w, h, format, 0);
            paintPair(random, first, second, 9);
            long pairs[4] = {}, score = 0;
            long* results[] = {&pairs[0], &pairs[2]};
            _tag_ZEP_NS_INPUTINFO input = {2, {&first.image, &second.image}};
            digest.add(Image_Alignment_Video(context, &input, round % 2, results, call));
            _tag_ZEP_ABDEBLUR& c = *static_cast<_tag_ZEP_ABDEBLUR*>(context);
            digest.bytes(pairs, sizeof pairs);
            digest.add(Alignment2Image2_Video(&c, c.bitmapSet[0], c.bitmapSet[1],
                                              second.plane.data(), w, h, second.pitch, w, h, 0,
                                              plainLevelCount(second.image), 3, pairs, c.refPyramid,
                                              c.workPyramid, 0, c.threshold[1], call, 0, 0, format,
                                              &score),
                       pairs[0], pairs[1], score);
        }
        digest.add(Alignment_Uninit(&context));
    }
}

void findChanges(Random& random, Digest& digest) {
    for (int round = 0; round < 25; ++round) {
        const long w = random.between(90, 400), h = random.between(100, 300);
        void* roi = nullptr;
        digest.add(roiInit(nullptr, w, h, 0x601, &roi));
        AlignmentFrame first(random, w, h, 0x601, 3), second(random, w, h, 0x601, 0);
        paintPair(random, first, second, 9);
        _tag_DRAV_ALIGNMENT alignment = {};
        _tag_ROI_INFO info = {};
        digest.add(roiCalculate(roi, &first.image, &second.image, &alignment, &info),
                   info.changedRatio, info.dx, info.dy);
        digest.add(info.rect);
        first.image.width = static_cast<int32_t>(random.between(1, w));
        for (unsigned char* byte = first.plane.data(); byte < first.plane.data() + first.size;)
            *byte++ = 0;
        first.plane.data()[random.between(0, first.size - 1)] = 1;
        FindMaskBBox(&first.image, &info.rect);
        digest.add(info.rect);
        roiUninit(&roi);
    }
}

struct Group {
    const char* functions;
    uint64_t digest;
    void (*run)(Random&, Digest&);
};

const Group groups[] = {
    {"VantMem*, GetMaxAllocMemSize", 0x3F932DDDA9DC1C64, operateArena},
    {"DRAV_GetVersion, Vantix_GetVersion", 0xA2F5CD503E78038B, describeVersions},
    {"imgEvaluateSharpness, DRAV_DetectBlur", 0x6806848860E8EC3F, measureSharpness},
    {"DRAV_Kelvane*, SetMovingObjectInfo, calMaskArea", 0x10360B00F8C2CAF9, rankBursts},
    {"ReadProcessorData, FreeProcessorData", 0x5E35F87A71193812, readRecords},
    {"allocParams*, freeParams*, DRAV_GetDefaultParam", 0x3BF5FB16BD1983A7, attachFaceData},
    {"imgAlloc, imgFree, CopyImageData, CalSmallImgSize", 0x45D242927295891A, copyImages},
    {"ImageResize_AllocMem_BL, ImageResize_BL, imgResize", 0xC0A92FC84B94F263, resizePlanes},
    {"ImageResize_BL_ToBGR24", 0x85EBCE00D0C27605, resizeToBgr24},
    {"GB_BoxBlurA, GB_GaussianBlurA", 0x87E3E5B9EC3F18C2, smooth},
    {"sbrErode", 0x316206D61D38992F, transform<sbrErode>},
    {"sbrDilate", 0x33E26111500A2FB1, transform<sbrDilate>},
    {"sbrOpen", 0x69230CD3FF949966, transform<sbrOpen>},
    {"sbrClose", 0xFF7D39504D7D594B, transform<sbrClose>},
    {"TorInterThreshold, ComputeBitmaps2, BitImageShrink2, ComputeGraymaps2", 0x7DA611F4051E9D39,
     cutBitmaps},
    {"*_ComputeBitMaps_Video, *Pyramid*, *Interleave, InterBitmapOperation2", 0x42710ED6AB578C19,
     makeLevels},
    {"BitmapOperation2*, BitmapOperationline2*", 0x5780997B84A6FA3A, countDifferences},
    {"Alignment_*, Image_Alignment_Video, Alignment2Image2_Video", 0x88D7368F87ACE7DB, alignFrames},
    {"roi*, FindMaskBBox", 0x3D8792F83D761C9, findChanges},
};

struct Digests : testing::TestWithParam<Vectors> {
    ~Digests() override { widestVectors = Vectors::Avx512; }
};

TEST_P(Digests, AreTheCommittedOnes) {
    widestVectors = GetParam();
    if (!kelvane::hasLevel(widestVectors))
        GTEST_SKIP() << "this processor has no " << kelvane::nameOf(widestVectors);
    Digest all;
    for (const Group& group : groups) {
        Random random(20150306);
        Digest digest;
        group.run(random, digest);
        EXPECT_TRUE(digest.value == group.digest)
            << group.functions << ": 0x" << std::hex << digest.value;
        all.add(digest.value);
    }
    std::cout << "digest of all functions: " << std::hex << all.value << std::dec << '\n';
}

const char* variantName(Vectors vectors) {
    constexpr const char* names[] = {"Baseline", "Avx2", "Avx512"};
    return names[static_cast<int>(vectors)];
}

INSTANTIATE_TEST_SUITE_P(WithVectorsUpTo, Digests,
                         testing::Values(Vectors::Baseline, Vectors::Avx2, Vectors::Avx512),
                         [](const auto& variant) { return variantName(variant.param); });

} // namespace

void PrintTo(Vectors vectors, std::ostream* out) { *out << variantName(vectors); }
