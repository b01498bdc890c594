// Smoothing, morphology and threshold bitmaps.
#include "bindings.h"
#include "memory.h"
#include "pixels.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// A filter's result has the pitch of its source: another one is copied first, and then filtered in
// place.
template <typename Filter>
py::array filtered(const Pixels& source, const char* purpose, Filter filter) {
    const int64_t rowBytes = int64_t{source.width} * source.channels;
    py::array_t<unsigned char> result = makeArrayLike(source, source.height, source.width);
    unsigned char* const to = result.mutable_data();
    const py::gil_scoped_release released;
    const unsigned char* from = source.data;
    if (!source.isCompact()) {
        for (int64_t y = 0; y < source.height; ++y)
            std::memcpy(to + y * rowBytes, source.data + y * source.pitch,
                        static_cast<size_t>(rowBytes));
        from = to;
    }
    heap().check(filter(from, rowBytes, to), purpose);
    return result;
}

// The filters for smoothing know planes of one and of three samples a pixel.
Pixels smoothable(py::handle image) {
    Pixels source(image, "image", 3);
    if (source.channels == 2)
        throw py::value_error("image: its pixels must have 1 or 3 samples, not 2");
    return source;
}

long formatOf(const Pixels& source) { return source.channels == 3 ? KELVANE_FORMAT_BGR24 : 0; }

py::array boxBlur(py::handle image, const std::array<int64_t, 4>& radii) {
    const Pixels source = smoothable(image);
    // Clang 14 takes no structured binding into a lambda.
    const int64_t left = radii[0], top = radii[1], right = radii[2], bottom = radii[3];
    if (std::ranges::min(radii) < 0)
        throw py::value_error("radius: below 0");
    if (std::ranges::max(radii) > INT16_MAX)
        throw py::value_error("radius: above 32767");
    if (left + right == 0 || top + bottom == 0)
        throw py::value_error("radius: a window of one row or column is not filtered; at least "
                              "one radius must be above 0 in both directions");
    constexpr int64_t largestWindow = 1 << 23; // the library knows the means of no larger one
    if (std::min(left + right + 1, int64_t{source.width}) *
            std::min(top + bottom + 1, int64_t{source.height}) >
        largestWindow)
        throw py::value_error(
            fmt::format("radius: the window has more than {} pixels", largestWindow));
    return filtered(source, "a box filter",
                    [&](const unsigned char* from, int64_t pitch, unsigned char* to) {
                        return GB_BoxBlurA(nullptr, from, source.width, source.height, pitch,
                                           formatOf(source), to, left, top, right, bottom);
                    });
}

py::array gaussianBlur(py::handle image, int64_t size) {
    const Pixels source = smoothable(image);
    constexpr int64_t largest = 2895; // the box filter's windows have at most 2^23 pixels
    if (size < 1 || size > largest)
        throw py::value_error(fmt::format("size: {} is not 1 to {}", size, largest));
    if (size > 1 && source.width <= size / 2 * 2) // the library leaves such a plane as it is
        throw py::value_error(
            fmt::format("size: {} does not fit a picture of {} columns", size, source.width));
    return filtered(source, "a Gaussian filter",
                    [&](const unsigned char* from, int64_t pitch, unsigned char* to) {
                        return GB_GaussianBlurA(nullptr, from, source.width, source.height, pitch,
                                                formatOf(source), to, size);
                    });
}

template <auto operation>
py::array morph(py::handle image, int64_t radius) {
    const Pixels source(image, "image", 4);
    constexpr int64_t largest = 1000;
    if (radius < 1 || radius > largest)
        throw py::value_error(fmt::format("radius: {} is not 1 to {}", radius, largest));
    return filtered(source, "morphology",
                    [&](const unsigned char* from, int64_t pitch, unsigned char* to) {
                        return operation(nullptr, from, source.width, source.height, pitch,
                                         source.channels, to, radius);
                    });
}

py::array thresholdBitmap(py::handle image, std::optional<long> given,
                          const std::string& channels) {
    const Luma luma(image, "image", orderOf(channels));
    __tag_KIRO_OFFSCREEN view = luma.view();
    if (given && (*given < 0 || *given > 255))
        throw py::value_error(fmt::format("threshold: {} is not 0 to 255", *given));
    py::array_t<bool> bitmap({view.height, view.width});
    bool* const to = bitmap.mutable_data();
    const py::gil_scoped_release released;
    long threshold = given.value_or(0);
    std::array<long, 256> histogram;
    if (!given)
        TorInterThreshold(nullptr, &view, nullptr, &threshold, view.width, view.height,
                          view.pitches[0], histogram.data());
    for (int64_t y = 0; y < view.height; ++y) {
        const unsigned char* const row = view.planes[0] + y * view.pitches[0];
        std::transform(row, row + view.width, to + y * view.width,
                       [threshold](unsigned char level) { return level > threshold; });
    }
    return bitmap;
}

} // namespace

void addFilters(py::module_& module) {
    module.def("box_blur", boxBlur);
    module.def("gaussian_blur", gaussianBlur);
    module.def("erode", morph<sbrErode>);
    module.def("dilate", morph<sbrDilate>);
    module.def("open", morph<sbrOpen>);
    module.def("close", morph<sbrClose>);
    module.def("threshold_bitmap", thresholdBitmap);
}
