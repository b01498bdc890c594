// What every entry point refuses: it says so, changes nothing and, but for a few, asks for no
// memory.
#include "support/world.h"

#include <climits>
#include <type_traits>
#include <utility>

namespace {

// These may ask for memory before they find a fault.
bool mayAskFirst(long (*call)(World&)) {
    return call == readBlock || call == rankRecord || call == rankRecordAndBlurs || call == convert;
}

void expectRefusal(World& w, long code, long (*call)(World&), int64_t value, void* field,
                   size_t size) {
    unsigned char valid[sizeof value];
    std::memcpy(valid, field, size);
    const WorldBytes before = bytesOf(w);
    std::memcpy(field, &value, size);
    allocationsUntilFailure = code == ERR_NO_MEMORY || mayAskFirst(call) ? -1 : 0;
    EXPECT_EQ(call(w), code) << value << " in a field of " << size << " bytes";
    allocationsUntilFailure = -1;
    std::memcpy(field, valid, size);
    EXPECT_EQ(before, bytesOf(w)) << value;
}

// One field after the other is set to the value, or to null.
template <long code = ERR_INVALID_PARAM, typename... Fields>
void refuses(World& w, long (*call)(World&), std::initializer_list<int64_t> values,
             Fields&... fields) {
    for (const int64_t value : values)
        (expectRefusal(w, code, call, value, &fields, sizeof fields), ...);
}

// The same for what is taken, and does nothing.
template <typename... Fields>
void accepts(World& w, long (*call)(World&), std::initializer_list<int64_t> values,
             Fields&... fields) {
    refuses<ERR_NONE>(w, call, values, fields...);
}

// One argument after the other is null or zero, from the given one on.
template <size_t first, typename... Parameters>
void refusesNull(long (*function)(Parameters...), std::type_identity_t<Parameters>... arguments) {
    [&]<size_t... i>(std::index_sequence<i...>) {
        for (size_t k = first; k < sizeof...(i); ++k)
            EXPECT_EQ(function((i == k ? Parameters{} : arguments)...), ERR_INVALID_PARAM) << k;
    }
    (std::index_sequence_for<Parameters...>{});
}

// A test for each part of the interface, with an arena in which nothing stays.
struct Refusal : testing::Test {
    Refusal() : w(arena.handle()), before(bytesOf(w)) {}
    ~Refusal() override { EXPECT_EQ(before, bytesOf(w)); }

    const Arena arena{1 << 22};
    World w;
    const WorldBytes before;
    _tag_DRAV_PARAM& last = w.params[n - 1];
    _tag_DRAV_FACEINFO& faces = *last.faces;
    __tag_rect& face = faces.rects[1];
    __tag_KIRO_OFFSCREEN& first = w.images[0];
    __tag_KIRO_OFFSCREEN& second = w.images[1];
};

TEST_F(Refusal, Ranking) {
    refusesNull<0>(DRAV_Kelvane, w.engine, w.images, w.params, n, &w.ranking);
    refusesNull<0>(DRAV_KelvaneWithPreProcess, w.engine, w.images, &w.recordData, n, &w.ranking);
    refusesNull<0>(DRAV_KelvaneWithPreProcessBlur, w.engine, w.images, &w.recordData, w.blurs, n,
                   &w.ranking);
    refusesNull<0>(SetMovingObjectInfo, w.engine, &w.movingInfo);
    refusesNull<0>(DRAV_GetDefaultParam, w.owned);
    refusesNull<1>(DRAV_Init, w.handle, &w.newEngine);
    for (const auto allocate : {allocParams, allocParamsFace, allocParamsAlign})
        refusesNull<1>(allocate, w.handle, w.owned, n);

    __tag_KIRO_OFFSCREEN& image = w.images[n - 1];
    refuses(w, rank, {0}, w.ranking.indices, last.alignment, last.faces, w.params[0].faces,
            faces.rects, faces.codes, faces.eyes, faces.smiles, face.right, face.bottom);
    refuses(w, rank, {0, -1}, w.ranking.count);
    refuses(w, rank, {0, 0x801}, image.format);
    refuses(w, rank, {-1}, w.params[0].alignment->frameIndex, face.left, face.top, faces.codes[1],
            faces.eyes[1], faces.smiles[1]);
    refuses(w, rank, {INT64_MAX}, faces.count);
    refuses(w, rank, {n}, last.alignment->frameIndex, faces.eyes[1]);
    refuses(w, rank, {4}, faces.smiles[1]);
    refuses(w, rank, {17}, faces.codes[1]);
    refuses(w, rank, {width}, face.left, image.height);
    refuses(w, rank, {height}, face.top, image.width);
    refuses(w, rank, {width + 1}, face.right);
    refuses(w, rank, {height + 1}, face.bottom);
    refuses(w, setObjects, {0}, w.movingInfo.objects, w.movingInfo.width);

    _tag_DRAV_ENGINE* none = nullptr;
    EXPECT_EQ(DRAV_Uninit(nullptr), ERR_NONE);
    EXPECT_EQ(DRAV_Uninit(&none), ERR_NONE);
    DRAV_GetVersion(nullptr);
}

TEST_F(Refusal, Records) {
    refusesNull<1>(ReadProcessorData, w.handle, &w.readRecord, w.record, sizeof w.record);
    refusesNull<1>(FreeProcessorData, w.handle, &w.readRecord);
    EXPECT_EQ(FreeProcessorData(w.handle, &w.readRecord), ERR_INVALID_PARAM);
    refuses(w, readBlock, {31, -1}, w.recordData.size);

    uint32_t* const frameRecord = &w.record[8 + 103 * (n - 1)];
    refuses(w, rankRecord, {0}, w.recordData.data, w.record[1], w.images[n - 1].planes[0]);
    refuses(w, rankRecord, {n + 1}, w.record[1]);
    refuses(w, rankRecord, {sizeof w.record + 1}, w.recordData.size);
    refuses(w, rankRecord, {11}, frameRecord[100]);
    refuses(w, rankRecord, {17}, frameRecord[4]);
    refuses(w, rankRecordAndBlurs, {0}, w.blurs[n - 1].data);
    refuses(w, rankRecordAndBlurs, {0, 12, 17, -16}, w.blurs[n - 1].size);
    w.record[1] = n - 1; // a record for fewer frames
    refuses(w, rankRecord, {sizeof w.record - 412}, w.recordData.size);
    w.record[1] = n;
}

TEST_F(Refusal, Sharpness) {
    refusesNull<0>(DRAV_DetectBlur, w.engine, w.images, &w.blur);
    refuses(w, detectBlur, {0}, first.planes[0]);
    refuses(w, detectBlur, {0x801, 0x201, 0x600, 0x101, 0x803, 0}, first.format);
    refuses(w, measure, {0x503, 0x201, 0x600, 0x602, 0x800, 0x100, 0, -1}, first.format);
    refuses(w, measure, {0}, w.region.right, w.region.bottom, first.planes[0]);
    refuses(w, measure, {-1}, w.region.left, w.region.top);
    refuses(w, measure, {width}, w.region.left);
    refuses(w, measure, {height}, w.region.top);
    refuses(w, measure, {width + 1}, w.region.right);
    refuses(w, measure, {height + 1}, w.region.bottom);
}

TEST_F(Refusal, Alignment) {
    const _tag_ZEP_ABDEBLUR& context = *static_cast<_tag_ZEP_ABDEBLUR*>(w.alignment);
    for (const bool used : {false, true}) {
        refuses(w, align, {-1, 2}, w.reference);
        refuses(w, align, {1, 3}, w.pair.count);
        refuses(w, align, {0}, w.alignment, w.pair.images[0], w.pair.images[1], w.results[0],
                w.results[1], first.planes[0], second.planes[0]);
        refuses(w, align, {height - 1}, first.height, second.height);
        refuses(w, align, {width - 1}, first.width, second.width);
        refuses(w, align, {0x603}, first.format, second.format);
        EXPECT_EQ(Image_Alignment_Video(w.alignment, nullptr, 0, w.results, 1), ERR_INVALID_PARAM);
        EXPECT_EQ(Image_Alignment_Video(w.alignment, &w.pair, 0, nullptr, 1), ERR_INVALID_PARAM);
        EXPECT_EQ(used, context.bitmapSet[0] != nullptr);
        EXPECT_EQ(used, context.threshold[0] != -1);
        EXPECT_EQ(align(w), ERR_NONE);
        w.displacements = {-1, -1, -1, -1};
    }
    w.pair.images[1] = &first; // both of another size than before
    refuses(w, align, {width - 1}, first.width);
    refuses(w, align, {height - 1}, first.height);
    w.pair.images[1] = &second;
    EXPECT_EQ(Alignment_Init(nullptr, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(Alignment_Uninit(nullptr), ERR_NONE);

    long score = 5;
    const auto search = [&](unsigned char* ref, unsigned char* moving, long* result, long* out,
                            long k) {
        return Alignment2Image2_Video(nullptr, ref, moving, pixels(), width, height, width, width,
                                      height, width, 4, k, result, context.refPyramid,
                                      context.workPyramid, 0, 0, 1, 0, 0, 0x601, out);
    };
    unsigned char* const set = context.bitmapSet[0];
    long* const result = w.displacements.data();
    EXPECT_EQ(search(nullptr, set, result, &score, 3), ERR_INVALID_PARAM);
    EXPECT_EQ(search(set, nullptr, result, &score, 3), ERR_INVALID_PARAM);
    EXPECT_EQ(search(set, set, nullptr, &score, 3), ERR_INVALID_PARAM);
    EXPECT_EQ(search(set, set, result, nullptr, 3), ERR_INVALID_PARAM);
    // With fewer stored levels than the pyramids leave, a coarser level has no patches.
    EXPECT_EQ(search(set, set, result, &score, 1), ERR_INVALID_PARAM);
    EXPECT_EQ(search(set, set, result, &score, -1), ERR_INVALID_PARAM);
    EXPECT_EQ(score, 5);

    for (const auto allocate : {allocateBitmaps, allocatePyramid}) {
        refuses(w, allocate, {0, -1, INT64_MAX}, w.level[0], w.level[1]);
        refuses(w, allocate, {5}, w.level[2]);
        refuses(w, allocate, {-1}, w.level[3]);
        refuses(w, allocate, {0}, w.alignment);
    }
    refuses(w, allocateBitmaps, {-1}, w.level[2]);
    _tag_BitPyramid_Struct other, *pyramid = &other; // no levels, which comes before any fault
    EXPECT_EQ(Alloc_ComputeBitPyramid_Video(nullptr, &pyramid, 0, 0, 3, 3, 0), ERR_NONE);
    EXPECT_EQ(pyramid, nullptr);
    auto* const known = static_cast<_tag_ZEP_ABDEBLUR*>(w.alignment);
    EXPECT_EQ(Alloc_ComputeBitMaps_Video(known, nullptr, 9, 9, 0, 3, 0), ERR_INVALID_PARAM);
    EXPECT_EQ(Alloc_ComputeBitPyramid_Video(known, nullptr, width, height, 4, 3, 0),
              ERR_INVALID_PARAM);
    for (const long beyond : {-2, 2}) // candidates that no bitmap has counts for
        EXPECT_EQ(
            0, InterBitmapOperation2(nullptr, nullptr, nullptr, nullptr, 32, 12, 4, beyond, 0) +
                   InterBitmapOperation2(nullptr, nullptr, nullptr, nullptr, 32, 12, 4, 0, beyond));
    ReleasePyrBit(nullptr, &w.pyramid);
    ReleasePyrBit(known, nullptr);
}

TEST_F(Refusal, ChangedRegions) {
    for (__tag_KIRO_OFFSCREEN* const other : {&first, &second}) { // at fault are both, or one
        w.pair.images[1] = other;
        refuses(w, findRegion, {0}, w.roi, w.pair.images[0], w.pair.images[1],
                w.params[0].alignment, first.planes[0], other->planes[0]);
        refuses(w, findRegion, {width - 1}, first.width, other->width);
        refuses(w, findRegion, {height - 1}, first.height, other->height);
        refuses(w, findRegion, {0x501}, first.format, other->format);
    }
    EXPECT_EQ(roiCalculate(w.roi, &first, &second, w.params[0].alignment, nullptr),
              ERR_INVALID_PARAM);
    refuses(w, makeRoi, {0, -1}, w.made[0], w.made[1]);
    refuses(w, makeRoi, {-1, 0x501, 0x100000601}, w.made[2]);
    refuses<ERR_NO_MEMORY>(w, makeRoi, {INT64_MAX}, w.made[0], w.made[1]);
    EXPECT_EQ(roiInit(w.handle, width, height, 0x601, nullptr), ERR_INVALID_PARAM);
    roiUninit(nullptr);
    EXPECT_EQ(calMaskArea(nullptr, 4, 4, 4, 0, nullptr, &w.displacements[0]), ERR_INVALID_PARAM);
    EXPECT_EQ(calMaskArea(pixels(), 4, 4, 4, 0, nullptr, nullptr), ERR_INVALID_PARAM);

    void* thin = nullptr; // whose cleaning has no radius
    EXPECT_EQ(roiInit(w.handle, 99, 120, 0x601, &thin), ERR_NONE);
    EXPECT_EQ(lastAllocationSize, 100 * 120); // of the mask
    __tag_KIRO_OFFSCREEN image = {0x601, 99, 120, {pixels()}, {width}};
    EXPECT_EQ(roiCalculate(thin, &image, &image, w.params[0].alignment, &w.changed),
              ERR_INVALID_PARAM);
    roiUninit(&thin);
}

TEST_F(Refusal, Smoothing) {
    auto& f = w.filter;
    for (const auto call : {boxBlur, smooth<GB_GaussianBlurA>}) {
        refuses(w, call, {0, -4, LONG_MIN}, f.width, f.height);
        refuses(w, call, {31, -31, LONG_MIN}, f.pitch);
        refuses(w, call, {LONG_MAX}, f.width);
        refuses(w, call, {0}, f.from, f.to);
    }
    refuses(w, boxBlur, {-1, LONG_MIN}, f.left, f.top, f.right, f.bottom);
    f.left = f.top = 0;
    refuses(w, boxBlur, {0}, f.right, f.bottom);
    f.left = f.top = 1;
    f.radius = 0; // a copy, of more than there can be
    refuses(w, smooth<GB_GaussianBlurA>, {LONG_MAX}, f.height);
    f.radius = 3;
}

TEST_F(Refusal, Morphology) {
    auto& f = w.filter;
    for (const auto call :
         {smooth<sbrErode>, smooth<sbrDilate>, smooth<sbrOpen>, smooth<sbrClose>}) {
        refuses<ERR_NO_MEMORY>(w, call, {0, -8, LONG_MAX, 1L << 62}, f.width);
        refuses<ERR_NO_MEMORY>(w, call, {0, 5, (1L << 32) + 1}, f.channels);
        refuses<ERR_NO_MEMORY>(
            w, call,
            {-1, LONG_MIN, LONG_MAX, INT_MAX - 1L, 1L << 31, 1L << 32, (1L << 62) + 1, 1L << 20},
            f.radius);
        refuses(w, call, {0}, f.radius, f.from, f.to);
        f.height = LONG_MIN; // nothing to do, but the memory must be there
        refuses<ERR_NO_MEMORY>(w, call, {1L << 20}, f.radius);
        EXPECT_EQ(call(w), ERR_NONE);
        f.height = 12;
    }
}

TEST_F(Refusal, Images) {
    refuses(w, makeImage, {0, -1, 1L << 31, INT64_MAX}, w.made[0], w.made[1]);
    refuses(w, makeImage, {INT32_MAX - 1}, w.made[0]);
    refuses(w, makeImage, {0x801, 0x100000601}, w.made[2]);
    EXPECT_EQ(imgAlloc(nullptr, nullptr, 4, 4, 0x601), ERR_INVALID_PARAM);
    w.made[0] = INT32_MAX - 3L;
    refuses<ERR_NO_MEMORY>(w, makeImage, {INT32_MAX}, w.made[1]);
    w.made[0] = 6;
    imgFree(nullptr, nullptr);

    refuses(w, copyImage, {0x603}, first.format, second.format);
    refuses(w, copyImage, {width - 1}, first.width, second.width);
    refuses(w, copyImage, {height - 1}, first.height, second.height);
    EXPECT_EQ(CopyImageData(nullptr, &first), ERR_INVALID_PARAM);
    EXPECT_EQ(CopyImageData(&first, nullptr), ERR_INVALID_PARAM);
    first.format = second.format = 0x201;
    EXPECT_EQ(copyImage(w), ERR_UNSUPPORTED);
    first.format = second.format = 0x601;

    refuses(w, resizeImage, {0}, first.planes[0], w.small.planes[0]);
    refuses(w, resizeImage, {0x802}, first.format, w.small.format);
    refuses(w, resizeImage, {0, -2}, w.small.width, w.small.height);
    EXPECT_EQ(imgResize(nullptr, nullptr, &w.small), ERR_INVALID_PARAM);
    EXPECT_EQ(imgResize(nullptr, &first, nullptr), ERR_INVALID_PARAM);
    first.format = w.small.format = 0x801;
    EXPECT_EQ(resizeImage(w), ERR_INVALID_PARAM);
    first.format = w.small.format = 0x601;
    EXPECT_EQ(ImageResize_BL(pixels(), 2, 2, 2, 1, w.plane, 3, 3, 3, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(ImageResize_AllocMem_BL(nullptr, 4, 4, 1, 4, 4, nullptr), ERR_INVALID_PARAM);
}

TEST_F(Refusal, ConversionToBgr24) {
    for (const uint32_t format : {0x201u, 0x501u, 0x601u, 0x802u}) {
        first.format = format;
        refuses(w, convert, {65536}, first.width, first.height);
        refuses(w, convert, {0}, first.planes[0], w.small.planes[0]);
        if (format >= 0x601)
            refuses(w, convert, {0}, first.planes[1]);
        if (format == 0x601)
            refuses(w, convert, {0}, first.planes[2]);
        if (format == 0x501)
            refuses(w, convert, {3}, first.width);
        refuses<ERR_NO_MEMORY>(w, convert, {INT64_MAX / 16}, w.converted[0]);
        // Without a pixel to read or to write there is nothing to refuse.
        w.small.planes[0] = first.planes[0] = nullptr;
        accepts(w, convert, {0, -4}, first.width, first.height, w.converted[0], w.converted[1]);
        w.small.planes[0] = w.plane;
        first.planes[0] = pixels();
    }
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, nullptr, w.plane, 4, 4, 12), ERR_INVALID_PARAM);
    first.format = 0x603; // of any geometry, but memory is asked for first
    refuses<ERR_UNSUPPORTED>(w, convert, {0}, first.width);
    allocationsUntilFailure = 0;
    EXPECT_EQ(convert(w), ERR_NO_MEMORY);
    first.format = 0x601;
}

} // namespace
