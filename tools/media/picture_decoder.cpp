#include "media/picture_decoder.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/imgutils.h>
}

void checkPictureSize(int64_t width, int64_t height) {
    if (width < 1 || height < 1)
        throw DecodeError("the picture is empty");
    if (width > INT32_MAX || height > INT32_MAX ||
        av_image_check_size(static_cast<unsigned>(width), static_cast<unsigned>(height), 0,
                            nullptr) < 0)
        throw DecodeError(fmt::format("{} x {} pixels are too many", width, height));
}
