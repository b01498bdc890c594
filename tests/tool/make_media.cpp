// Makes the pictures of the sessions.
//   media WIDTHxHEIGHT [KEY=VALUE]... >FILE   a scene; the keys are in `draw` and `save`
//   media ivf CODEC FILE... >FILE             a video of encoded pictures
//   media metadata FILE...                    what each file says of how it was taken
//   media pnm FILE >FILE                      the pixels of a picture that needs no conversion
#include "media/metadata.h"
#include "tiff_writer.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <numbers>

namespace {

std::vector<int> numbers(const Keys& keys, const char* key, const char* usual) {
    const auto found = keys.find(key);
    std::istringstream text(found == keys.end() ? usual : found->second);
    std::vector<int> values;
    for (std::string number; std::getline(text, number, ',');)
        values.push_back(std::stoi(number));
    return values;
}

Drawing blurred(Drawing picture, int size) {
    const auto& [width, height, channels, pixels] = picture;
    GB_GaussianBlurA(nullptr, pixels.data(), width, height, width, 0, &picture.at(0, 0), size);
    return picture;
}

Drawing scene(const Keys& keys, int width, int height) {
    const auto at = numbers(keys, "at", "0,0"), range = numbers(keys, "range", "20,230");
    return blurred(makeScene(width, height, at[0], at[1], range[0], range[1]),
                   numbers(keys, "blur", "1")[0]);
}

// The scene turned clockwise around the picture's centre.
Drawing turned(const Keys& keys, int width, int height, double degrees) {
    const int margin = width + height;
    auto wide = keys;
    const auto at = numbers(keys, "at", "0,0");
    wide["at"] = join(at[0] - margin, ",", at[1] - margin);
    Drawing around = scene(wide, width + 2 * margin, height + 2 * margin);
    Drawing picture = {width, height};
    const double angle = degrees * std::numbers::pi / 180;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double u = x - width / 2.0, v = y - height / 2.0;
            const double sourceX = width / 2.0 + u * std::cos(angle) + v * std::sin(angle);
            const double sourceY = height / 2.0 - u * std::sin(angle) + v * std::cos(angle);
            picture.at(x, y) = around.at(margin + static_cast<int>(std::lround(sourceX)),
                                         margin + static_cast<int>(std::lround(sourceY)));
        }
    return picture;
}

Drawing draw(const Keys& keys, int width, int height) {
    Drawing picture = keys.contains("turn")
                          ? turned(keys, width, height, std::stod(keys.at("turn")))
                          : scene(keys, width, height);
    if (keys.contains("grey"))
        std::ranges::fill(picture.pixels, static_cast<uint8_t>(numbers(keys, "grey", "")[0]));
    if (keys.contains("square")) { // left, top, side and blur of something brighter
        const auto s = numbers(keys, "square", "");
        const Drawing square = blurred(makeScene(s[2], s[2], 0, 0, 170, 250), s[3]);
        for (int y = 0; y < s[2]; ++y)
            std::copy_n(square.pixels.begin() + y * s[2], s[2], &picture.at(s[0], s[1] + y));
    }
    if (keys.contains("ramp")) // left and top of 60 x 40 pixels, brighter, then darker by up to 90
        for (int y = 0, s = numbers(keys, "ramp", "")[1]; y < 40; ++y)
            for (int x = 0; x < 60; ++x) {
                uint8_t& pixel = picture.at(numbers(keys, "ramp", "")[0] + x, s + y);
                pixel = static_cast<uint8_t>(pixel + 3 * (x < 30 ? x : x - 60));
            }
    if (keys.contains("colour")) {
        const auto colour = numbers(keys, "colour", "");
        picture = {width, height, 3};
        for (size_t i = 0; i < picture.pixels.size(); ++i)
            picture.pixels[i] = static_cast<uint8_t>(colour[i % 3]);
    }
    return picture;
}

// A frame of 4:2:0 with 10 bits.
std::string toTenBits(const Drawing& picture) {
    std::string file =
        join("YUV4MPEG2 W", picture.width, " H", picture.height, " F10:1 C420p10\nFRAME\n");
    for (const uint8_t pixel : picture.pixels)
        file += {static_cast<char>(pixel << 2), static_cast<char>(pixel >> 6)};
    for (int i = 0; i < 2 * ((picture.width + 1) / 2) * ((picture.height + 1) / 2); ++i)
        file += {0, 2};
    return file;
}

std::string save(const Drawing& picture, const Keys& keys) {
    const std::string& format = keys.at("as");
    if (format == "pnm")
        return toPnm(picture);
#ifdef KELVANE_TIFF
    if (format == "libtiff")
        return toTiff(picture, keys);
    if (format == "dng")
        return toDng(picture, keys);
#endif
    if (format == "y4m10")
        return toTenBits(picture);
    struct Encoding {
        AVCodecID codec;
        AVPixelFormat format;
        int repeat = 1;
    };
    static const std::map<std::string, Encoding> encodings = {
        {"png", {AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8}},
        {"png-rgb", {AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24, 3}},
        {"png-rgba", {AV_CODEC_ID_PNG, AV_PIX_FMT_RGBA, 4}},
        {"png-rgb48", {AV_CODEC_ID_PNG, AV_PIX_FMT_RGB48BE, 6}},
        {"tiff", {AV_CODEC_ID_TIFF, AV_PIX_FMT_GRAY8}},
        {"jpeg", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P}},
        {"jpeg422", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ422P}},
        {"jpeg444", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P}},
        {"bmp", {AV_CODEC_ID_BMP, AV_PIX_FMT_BGR24}},
        {"webp", {AV_CODEC_ID_WEBP, AV_PIX_FMT_YUV420P}}};
    const Encoding& encoding = encodings.at(format);
    return encode(picture, encoding.codec, encoding.format, encoding.repeat);
}

std::string readAll(const char* path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

Drawing readPixels(const char* path) {
    PhaseTimes times;
    const FramePointer read = readPicture(path, {}, times).pixels;
    const AVFrame& frame = *read;
    Drawing picture = {frame.width, frame.height, frame.format == AV_PIX_FMT_GRAY8 ? 1 : 3};
    for (int y = 0; y < picture.height; ++y)
        std::copy_n(frame.data[0] + y * frame.linesize[0], picture.width * picture.channels,
                    &picture.at(0, y));
    return picture;
}

std::string describe(const Metadata& metadata) {
    const auto& [taken, orientation, camera, burstId, drive] = metadata;
    return join(toText(taken), zoneText(taken), taken.fromFile ? " of the file" : "",
                ", orientation ", static_cast<int>(orientation), ", camera ", camera, ", burst ",
                burstId, ", sequence ", drive.sequence, ", position ", drive.position, "\n");
}

} // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET);
    const std::string first = argv[1];
    if (first == "pnm") {
        std::cout << toPnm(readPixels(argv[2]));
    } else if (first == "metadata") {
        for (int i = 2; i < argc; ++i)
            std::cout << argv[i] << ": " << describe(readMetadata(argv[i]));
    } else if (first == "ivf") {
        std::vector<std::string> frames;
        for (int i = 3; i < argc; ++i)
            frames.push_back(readAll(argv[i]));
        std::cout << toIvf(argv[2], frames);
    } else {
        Keys keys = {{"as", "pnm"}};
        for (const std::string& pair : std::vector<std::string>(argv + 2, argv + argc))
            keys[pair.substr(0, pair.find('='))] = pair.substr(pair.find('=') + 1);
        int width = 0, height = 0;
        std::sscanf(argv[1], "%dx%d", &width, &height);
        std::cout << save(draw(keys, width, height), keys);
    }
    return std::cout.flush() ? 0 : 1;
}
