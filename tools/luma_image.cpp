#include "luma_image.h"

#include "error.h"
#include "picture.h"
#include "text.h"

#include <algorithm>

__tag_KIRO_OFFSCREEN LumaImage::view() {
    return {.format = KELVANE_FORMAT_YUV420,
            .width = width,
            .height = height,
            .planes = {pixels.data()},
            .pitches = {width}};
}

PixelsView greyPixels(const LumaImage& luma) {
    return {.data = luma.pixels.data(),
            .width = luma.width,
            .height = luma.height,
            .pitch = luma.width,
            .channels = 1};
}

LumaImage copyLuma(const __tag_KIRO_OFFSCREEN& image) {
    const auto width = static_cast<size_t>(image.width);
    LumaImage luma = {image.width, image.height, {}};
    luma.pixels.resize(width * static_cast<size_t>(image.height));
    for (int32_t y = 0; y < image.height; ++y)
        std::copy_n(image.planes[0] + int64_t{y} * image.pitches[0], width,
                    luma.pixels.data() + static_cast<size_t>(y) * width);
    return luma;
}

LumaImage readLuma(const std::string& path, PhaseTimes& times) {
    const FramePointer frame = readPicture(path, times);
    ImageViewer viewer;
    __tag_KIRO_OFFSCREEN image = viewer.view(*frame, path, times).image;
    // Only the ranking asks for even sides.
    image.width = frame->width;
    image.height = frame->height;
    return copyLuma(image);
}

LumaPair readLumaPair(const std::string& first, const std::string& second, PhaseTimes& times) {
    LumaPair pair = {readLuma(first, times), readLuma(second, times)};
    if (pair.first.width != pair.second.width || pair.first.height != pair.second.height)
        throw InputError(second, sizeText(pair.second.width, pair.second.height) + " pixels, but " +
                                     first + " has " +
                                     sizeText(pair.first.width, pair.first.height));
    return pair;
}
