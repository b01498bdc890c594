// Frames turned upright, against a plain definition.
#include "media/orientation.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

struct Place {
    int x, y;
};

// Where a plane of w x h stores what is seen at (x, y): Exif's table of rows and columns.
Place storedAt(int orientation, int x, int y, int w, int h) {
    switch (orientation) {
    case 2: return {w - 1 - x, y};
    case 3: return {w - 1 - x, h - 1 - y};
    case 4: return {x, h - 1 - y};
    case 5: return {y, x};
    case 6: return {y, h - 1 - x};
    case 7: return {w - 1 - y, h - 1 - x};
    case 8: return {w - 1 - y, x};
    default: return {x, y};
    }
}

FramePointer noise(AVPixelFormat format, int width, int height) {
    FramePointer frame = makeFrame(width, height, format);
    std::minstd_rand random(1);
    for (const AVBufferRef* buffer : frame->buf)
        for (size_t i = 0; buffer != nullptr && i < buffer->size; ++i)
            buffer->data[i] = static_cast<uint8_t>(random() >> 8);
    return frame;
}

const uint8_t* groupAt(const AVFrame& frame, int plane, int groupBytes, Place at) {
    return frame.data[plane] + int64_t{at.y} * frame.linesize[plane] + int64_t{at.x} * groupBytes;
}

constexpr int sizes[][2] = {{1, 1}, {2, 3}, {17, 8}, {16, 33}, {65, 100}, {530, 47}, {48, 1040}};

struct Plane {
    int width, height, groupBytes; // as stored
};

// The planes of each format, and the format of the frame whose sides are exchanged.
struct Layout {
    AVPixelFormat format, exchanged;
    std::vector<Plane> (*planes)(int w, int h);
};

int half(int length) { return (length + 1) / 2; }

const Layout layouts[] = {
    {AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY8,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 1}};
     }},
    {AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_GRAY16BE,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 2}};
     }},
    {AV_PIX_FMT_RGB24, AV_PIX_FMT_RGB24,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 3}};
     }},
    {AV_PIX_FMT_RGBA, AV_PIX_FMT_RGBA,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 4}};
     }},
    {AV_PIX_FMT_RGB48LE, AV_PIX_FMT_RGB48LE,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 6}};
     }},
    {AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_RGBA64BE,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 8}};
     }},
    {AV_PIX_FMT_GBRP, AV_PIX_FMT_GBRP,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 1}, {w, h, 1}, {w, h, 1}};
     }},
    {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 1}, {half(w), half(h), 1}, {half(w), half(h), 1}};
     }},
    {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA420P,
     [](int w, int h) {
         return std::vector<Plane>{
             {w, h, 1}, {half(w), half(h), 1}, {half(w), half(h), 1}, {w, h, 1}};
     }},
    {AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV420P10LE,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 2}, {half(w), half(h), 2}, {half(w), half(h), 2}};
     }},
    {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ440P,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 1}, {half(w), h, 1}, {half(w), h, 1}};
     }},
    {AV_PIX_FMT_YUV440P12LE, AV_PIX_FMT_YUV422P12LE,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 2}, {w, half(h), 2}, {w, half(h), 2}};
     }},
    {AV_PIX_FMT_NV12, AV_PIX_FMT_NV12,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 1}, {half(w), half(h), 2}};
     }},
    {AV_PIX_FMT_P010LE, AV_PIX_FMT_P010LE,
     [](int w, int h) {
         return std::vector<Plane>{{w, h, 2}, {half(w), half(h), 4}};
     }},
};

void expectTurned(const AVFrame& stored, const AVFrame& upright, int index, const Plane& plane,
                  int orientation) {
    const auto [w, h, bytes] = plane;
    for (int y = 0; y < (orientation >= 5 ? w : h); ++y)
        for (int x = 0; x < (orientation >= 5 ? h : w); ++x)
            ASSERT_EQ(0,
                      std::memcmp(groupAt(upright, index, bytes, {x, y}),
                                  groupAt(stored, index, bytes, storedAt(orientation, x, y, w, h)),
                                  static_cast<size_t>(bytes)))
                << av_get_pix_fmt_name(static_cast<AVPixelFormat>(stored.format)) << " " << w
                << " x " << h << ", plane " << index << ", orientation " << orientation << ", at "
                << x << ", " << y;
}

TEST(Orientation, EveryPlaneOfEveryLayoutIsTurned) {
    for (const Layout& layout : layouts)
        for (const auto& [width, height] : sizes)
            for (int orientation = 1; orientation <= 8; ++orientation) {
                const FramePointer stored = noise(layout.format, width, height);
                const FramePointer upright =
                    turnedUpright(shareFrame(*stored), orientationOf(orientation));
                ASSERT_NE(upright, nullptr);
                EXPECT_EQ(upright->width, orientation >= 5 ? height : width);
                EXPECT_EQ(upright->height, orientation >= 5 ? width : height);
                EXPECT_EQ(upright->format, orientation >= 5 ? layout.exchanged : layout.format);
                int index = 0;
                for (const Plane& plane : layout.planes(width, height))
                    expectTurned(*stored, *upright, index++, plane, orientation);
            }
}

// The luma of these lies in groups of its own, but their chroma is shared by other pixels than
// those of a square.
TEST(Orientation, LumaOfOtherLayoutsIsKept) {
    struct Case {
        AVPixelFormat format;
        int step, offset; // of luma, in bytes
    };
    for (const auto& [format, step, offset] :
         {Case{AV_PIX_FMT_YUYV422, 2, 0}, {AV_PIX_FMT_UYVY422, 2, 1}, {AV_PIX_FMT_YUV411P, 1, 0}})
        for (int orientation = 2; orientation <= 8; ++orientation) {
            const FramePointer stored = noise(format, 30, 21);
            stored->color_range = AVCOL_RANGE_MPEG;
            const FramePointer upright =
                turnedUpright(shareFrame(*stored), orientationOf(orientation));
            ASSERT_NE(upright, nullptr) << av_get_pix_fmt_name(format);
            EXPECT_EQ(upright->color_range, AVCOL_RANGE_MPEG);
            for (int y = 0; y < upright->height; ++y)
                for (int x = 0; x < upright->width; ++x)
                    ASSERT_EQ(
                        *groupAt(*upright, 0, 1, {x, y}),
                        groupAt(*stored, 0, step, storedAt(orientation, x, y, 30, 21))[offset])
                        << av_get_pix_fmt_name(format) << ", orientation " << orientation;
        }
}

TEST(Orientation, ColoursOfAPaletteAreKept) {
    const FramePointer stored = noise(AV_PIX_FMT_PAL8, 19, 14);
    for (int orientation = 2; orientation <= 8; ++orientation) {
        const FramePointer upright = turnedUpright(shareFrame(*stored), orientationOf(orientation));
        ASSERT_NE(upright, nullptr);
        ASSERT_EQ(upright->format, AV_PIX_FMT_RGB24);
        for (int y = 0; y < upright->height; ++y)
            for (int x = 0; x < upright->width; ++x) {
                const uint8_t* const rgb = groupAt(*upright, 0, 3, {x, y});
                uint32_t colour = 0;
                std::memcpy(&colour,
                            stored->data[1] +
                                4 * *groupAt(*stored, 0, 1, storedAt(orientation, x, y, 19, 14)),
                            4);
                ASSERT_EQ(rgb[0] << 16 | rgb[1] << 8 | rgb[2], colour & 0xFFFFFF);
            }
    }
}

TEST(Orientation, WhatNobodyConvertsIsRefused) {
    EXPECT_EQ(turnedUpright(noise(AV_PIX_FMT_NV16, 8, 8), Orientation::turned90), nullptr);
}

TEST(Orientation, UnknownNumbersAreUpright) {
    for (const int64_t number : {int64_t{-1}, int64_t{0}, int64_t{9}, int64_t{65535}, INT64_MAX,
                                 int64_t{6} + (int64_t{1} << 32)})
        EXPECT_EQ(orientationOf(number), Orientation::upright);
}

} // namespace
