#pragma once

#include <cstdint>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/pixfmt.h>
}

// A grey test picture: blocks of different sizes and random brightness, full of edges.
struct Grey {
    int width;
    int height;
    std::vector<uint8_t> pixels;
};

Grey makeScene(int width, int height);

// The part of `width` x `height` pixels from (left, top) on.
Grey crop(const Grey& image, int left, int top, int width, int height);

// Each pixel the mean of the square of 2 * radius + 1 around it.
Grey boxBlur(const Grey& image, int radius);

std::string toPgm(const Grey& image);

// The blur score that the library gives these pixels; an odd last column or row is left out.
int libraryScore(const Grey& image);

// Encodes through libavcodec, the grey values as luma (or as R, G and B) and neutral chroma.
std::string encodePicture(const Grey& image, AVCodecID codec, AVPixelFormat format);

// A decoded PNG: grey bytes, or red, green and blue.
struct DecodedPng {
    int width = 0;
    int height = 0;
    int channels = 0;
    std::vector<uint8_t> pixels;
};
DecodedPng decodePng(const std::string& bytes);

// A video of 10 frames a second.
void writeVideo(const std::string& path, const std::vector<Grey>& frames, AVCodecID codec,
                AVPixelFormat format);
