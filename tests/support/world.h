// One of everything that the entry points take and write, and a call of each.
#pragma once

#include "align/context.h"
#include "api/engine.h"
#include "support/allocation_hook.h"
#include "support/arena.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

constexpr int n = 3; // frames of a burst
constexpr int32_t width = 640;
constexpr int32_t height = 480;

inline unsigned char* pixels() {
    static std::vector<unsigned char> bytes;
    for (size_t i = bytes.size(); i < width * height; ++i)
        bytes.push_back(static_cast<unsigned char>(i * i / 5));
    return bytes.data();
}

// One of everything that the entry points take, and everything that they write.
struct World {
    explicit World(void* memHandle) : handle(memHandle) {
        record[1] = n;
        allocParams(handle, params, n);
        for (int i = 0; i < n; ++i) {
            images[i] = {0x601, width, height, {pixels(), pixels(), pixels()}, {width, 320, 320}};
            objects[i] = {{0, 0, 16, 16}, pixels()};
            blurs[i] = {&suppliedBlur, sizeof suppliedBlur};
            params[i].alignment->frameIndex = i;
            _tag_DRAV_FACEINFO& faces = *params[i].faces; // what lies beyond the count is at fault
            faces.count = 2;
            faces.rects[0] = {0, 0, 1, 1};
            faces.rects[1] = {0, 0, width, height};
            faces.eyes[0] = 2; // closed, which makes the first frame the best
            faces.eyes = i > 0 ? faces.eyes : nullptr;
            faces.smiles = i > 0 ? faces.smiles : nullptr;
            uint32_t* const frameRecord = &record[8 + 103 * i];
            frameRecord[2] = frameRecord[3] = frameRecord[100] = 1; // a face of one pixel
        }
        filter.to = plane;
        DRAV_Init(handle, &engine);
        Alignment_Init(handle, &alignment);
        roiInit(handle, width, height, 0x601, &roi);
    }
    ~World() {
        VantMemFree(handle, bitmapSet);
        ReleasePyrBit(static_cast<_tag_ZEP_ABDEBLUR*>(alignment), &pyramid);
        DRAV_Uninit(&engine);
        DRAV_Uninit(&newEngine);
        Alignment_Uninit(&alignment);
        Alignment_Uninit(&newAlignment);
        roiUninit(&roi);
        roiUninit(&newRoi);
        FreeProcessorData(handle, &readRecord);
        freeParams(handle, params, n);
        freeParams(handle, owned, n);
        imgFree(handle, &newImage);
        VantMemFree(handle, resizeBuffer);
    }
    long setObjects(int32_t count) {
        _tag_DRAV_MOVINGINFO given = movingInfo;
        given.count = count;
        const long code = SetMovingObjectInfo(engine, &given);
        moving = {engine->movingActive, engine->movingCount};
        return code;
    }

    void* handle;
    __tag_KIRO_OFFSCREEN images[n];
    __tag_rect region = {0, 0, width, height};
    _tag_DRAV_PARAM params[n] = {};
    uint32_t record[8 + 103 * n] = {};
    _tag_DRAV_DATA recordData = {record, sizeof record};
    _tag_DRAV_BLURRESULT suppliedBlur = {};
    _tag_DRAV_DATA blurs[n];
    _tag_DRAV_MOVINGOBJ objects[n];
    _tag_DRAV_MOVINGINFO movingInfo = {width, height, width, objects, n};
    _tag_DRAV_ENGINE* engine = nullptr;
    void* alignment = nullptr;
    void* roi = nullptr;

    // What single functions take besides.
    struct {
        long width = 32, height = 12, pitch = 40, channels = 1;
        long radius = 3, left = 1, top = 1, right = 1, bottom = 1;
        unsigned char *from = pixels(), *to;
    } filter;
    _tag_ZEP_NS_INPUTINFO pair = {2, {&images[0], &images[1]}};
    long reference = 0;
    std::array<long, 4> displacements = {-1, -1, -1, -1};
    long* results[2] = {&displacements[0], &displacements[2]};
    long level[4] = {width, height, 4, 3};
    long made[3] = {6, 4, 0x601};
    long converted[2] = {13, 12};

    _tag_DRAV_ENGINE* newEngine = nullptr;
    _tag_DRAV_DATA blur = {};
    std::array<int64_t, 2> moving = {};
    int64_t indices[n] = {-1, -1, -1};
    _tag_DRAV_RESULT ranking = {n, indices, -1};
    float sharpness = -1.0f;
    _tag_Preprocessor_Data* readRecord = nullptr;
    _tag_DRAV_PARAM owned[n] = {};
    __tag_KIRO_OFFSCREEN newImage = {};
    void* resizeBuffer = nullptr;
    unsigned char plane[480] = {255};
    __tag_KIRO_OFFSCREEN small = {0x601, 32, 12, {plane}, {40}};
    void* newAlignment = nullptr;
    void* newRoi = nullptr;
    unsigned char* bitmapSet = nullptr;
    _tag_BitPyramid_Struct* pyramid = nullptr;
    _tag_ROI_INFO changed = {{-1, -1, -1, -1}, -1.0f, -1, -1};
};

using WorldBytes = std::array<unsigned char, sizeof(World)>;

inline WorldBytes bytesOf(const World& w) {
    WorldBytes bytes;
    std::memcpy(&bytes, static_cast<const void*>(&w), sizeof w);
    return bytes;
}

inline long rank(World& w) { return DRAV_Kelvane(w.engine, w.images, w.params, n, &w.ranking); }
inline long rankRecord(World& w) {
    return DRAV_KelvaneWithPreProcess(w.engine, w.images, &w.recordData, n, &w.ranking);
}
inline long rankRecordAndBlurs(World& w) {
    return DRAV_KelvaneWithPreProcessBlur(w.engine, w.images, &w.recordData, w.blurs, n,
                                          &w.ranking);
}
inline long setObjects(World& w) { return w.setObjects(n); }
inline long detectBlur(World& w) { return DRAV_DetectBlur(w.engine, w.images, &w.blur); }
inline long measure(World& w) {
    return imgEvaluateSharpness(w.handle, w.images, &w.sharpness, &w.region);
}
inline long readBlock(World& w) {
    return ReadProcessorData(w.handle, &w.readRecord, w.record,
                             static_cast<int>(w.recordData.size));
}
template <long (*allocate)(void*, _tag_DRAV_PARAM*, long)>
inline long attach(World& w) {
    return allocate(w.handle, w.owned, n);
}
template <long (*filter)(void*, const unsigned char*, long, long, long, long, unsigned char*, long)>
long smooth(World& w) {
    const auto& f = w.filter;
    return filter(w.handle, f.from, f.width, f.height, f.pitch, f.channels, f.to, f.radius);
}
inline long boxBlur(World& w) {
    const auto& f = w.filter;
    return GB_BoxBlurA(w.handle, f.from, f.width, f.height, f.pitch,
                       f.channels == 3 ? 0x201 : 0x601, f.to, f.left, f.top, f.right, f.bottom);
}
inline long align(World& w) {
    return Image_Alignment_Video(w.alignment, &w.pair, w.reference, w.results, 1);
}
inline long allocateBitmaps(World& w) {
    return Alloc_ComputeBitMaps_Video(static_cast<_tag_ZEP_ABDEBLUR*>(w.alignment), &w.bitmapSet,
                                      w.level[0], w.level[1], w.level[2], w.level[3], 0);
}
inline long allocatePyramid(World& w) {
    return Alloc_ComputeBitPyramid_Video(static_cast<_tag_ZEP_ABDEBLUR*>(w.alignment), &w.pyramid,
                                         w.level[0], w.level[1], w.level[2], w.level[3], 0);
}
inline long findRegion(World& w) {
    return roiCalculate(w.roi, w.pair.images[0], w.pair.images[1], w.params[0].alignment,
                        &w.changed);
}
inline long makeImage(World& w) {
    return imgAlloc(w.handle, &w.newImage, w.made[0], w.made[1], w.made[2]);
}
inline long makeRoi(World& w) {
    return roiInit(w.handle, w.made[0], w.made[1], w.made[2], &w.newRoi);
}
inline long resizeImage(World& w) { return imgResize(w.handle, w.images, &w.small); }
inline long copyImage(World& w) { return CopyImageData(&w.images[1], w.images); }
inline long convert(World& w) {
    return ImageResize_BL_ToBGR24(w.handle, w.images, w.small.planes[0], w.converted[0],
                                  w.converted[1], 40);
}
