#include "pixels.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr py::ssize_t largestSide = 65535; // the library resizes nothing larger

[[noreturn]] void refuse(const std::string& name, const std::string& reason) {
    throw py::value_error(name + ": " + reason);
}

// Numpy's view of the object's own memory.
py::array asArray(py::handle argument) {
    if (py::isinstance<py::array>(argument))
        return py::reinterpret_borrow<py::array>(argument);
    return py::module_::import("numpy").attr("asarray")(argument);
}

void checkSamples(const py::array& array, const std::string& name) {
    if (array.dtype().num() != py::detail::npy_api::NPY_UBYTE_)
        throw py::type_error(
            fmt::format("{}: an array of uint8 is needed, not of {}; convert it with "
                        ".astype(numpy.uint8)",
                        name, std::string(py::str(array.dtype()))));
}

void checkShape(const py::array& array, const std::string& name, int mostChannels) {
    const bool colour = array.ndim() == 3;
    if ((array.ndim() != 2 && !colour) ||
        (colour && (array.shape(2) < 1 || array.shape(2) > mostChannels)))
        refuse(name,
               fmt::format("its shape must be (height, width) or (height, width, {}), not {}",
                           mostChannels, std::string(py::str(py::object(array.attr("shape"))))));
    for (int axis = 0; axis < 2; ++axis)
        if (array.shape(axis) < 1 || array.shape(axis) > largestSide)
            refuse(name, fmt::format("{} x {} pixels; sides must be 1 to {}", array.shape(1),
                                     array.shape(0), largestSide));
}

// Whether the library can walk over the array's rows.
bool hasUsableRows(const py::array& array, int64_t rowBytes) {
    const py::ssize_t channels = array.ndim() == 3 ? array.shape(2) : 1;
    if (array.shape(1) > 1 && array.strides(1) != channels)
        return false;
    if (channels > 1 && array.strides(2) != 1)
        return false;
    return std::abs(array.strides(0)) >= rowBytes && std::abs(array.strides(0)) <= INT32_MAX;
}

std::vector<unsigned char> copyOf(const py::array& array, int channels) {
    const auto* const start = static_cast<const unsigned char*>(array.data());
    const py::ssize_t step = array.ndim() == 3 ? array.strides(2) : 0;
    std::vector<unsigned char> copy(static_cast<size_t>(array.size()));
    auto to = copy.begin();
    for (py::ssize_t y = 0; y < array.shape(0); ++y)
        for (py::ssize_t x = 0; x < array.shape(1); ++x)
            for (int c = 0; c < channels; ++c)
                *to++ = start[y * array.strides(0) + x * array.strides(1) + c * step];
    return copy;
}

// Whether an image of Pillow has its channels in the order of RGB; refuses its other colour modes.
bool isPillowRgb(py::handle argument, const std::string& name) {
    if (!py::hasattr(argument, "getbands"))
        return false;
    const auto mode = argument.attr("mode").cast<std::string>();
    if (mode != "L" && mode != "RGB")
        refuse(name, fmt::format("an image of mode {}; convert it with .convert('RGB')", mode));
    return mode == "RGB";
}

std::vector<unsigned char> greyOf(const Pixels& pixels, bool isRgb) {
    constexpr int red = 9798, green = 19235, blue = 3735, half = 1 << 14;
    const int first = isRgb ? red : blue, last = isRgb ? blue : red;
    std::vector<unsigned char> grey(static_cast<size_t>(pixels.width) *
                                    static_cast<size_t>(pixels.height));
    for (int64_t y = 0; y < pixels.height; ++y) {
        const unsigned char* const from = pixels.data + y * pixels.pitch;
        unsigned char* const to = grey.data() + y * pixels.width;
        for (int64_t x = 0; x < pixels.width; ++x)
            to[x] = static_cast<unsigned char>(
                (first * from[3 * x] + green * from[3 * x + 1] + last * from[3 * x + 2] + half) >>
                15);
    }
    return grey;
}

// The picture that measurements look at: of a `Frame` its first plane.
Pixels visiblePixels(py::handle argument, const std::string& name) {
    if (!py::isinstance<py::array>(argument) && py::hasattr(argument, "planes"))
        return {py::tuple(argument.attr("planes"))[0], name, 1};
    return {argument, name, 3};
}

} // namespace

Pixels::Pixels(py::handle argument, const std::string& name, int mostChannels) {
    const bool isArray = py::isinstance<py::array>(argument);
    isRgb = !isArray && isPillowRgb(argument, name);
    const py::array array = asArray(argument);
    checkSamples(array, name);
    checkShape(array, name, mostChannels);
    height = static_cast<int32_t>(array.shape(0));
    width = static_cast<int32_t>(array.shape(1));
    hasChannelAxis = array.ndim() == 3;
    channels = hasChannelAxis ? static_cast<int32_t>(array.shape(2)) : 1;
    const int64_t rowBytes = int64_t{width} * channels;
    if (height == 1 || hasUsableRows(array, rowBytes)) {
        data = static_cast<const unsigned char*>(array.data());
        pitch = height == 1 ? rowBytes : array.strides(0);
    } else {
        copy = copyOf(array, channels);
        data = copy.data();
        pitch = rowBytes;
    }
    owner = array;
}

Order orderOf(const std::string& channels) {
    if (channels != "bgr" && channels != "rgb")
        refuse("channels", "must be 'bgr' or 'rgb', not '" + channels + "'");
    return channels == "rgb" ? Order::rgb : Order::bgr;
}

Luma::Luma(py::handle argument, const std::string& name, Order order)
    : pixels_(visiblePixels(argument, name)) {
    if (pixels_.channels == 2)
        refuse(name, "its shape must be (height, width) or (height, width, 3), not two channels");
    if (pixels_.channels == 3)
        grey_ = greyOf(pixels_, pixels_.isRgb || order == Order::rgb);
}

__tag_KIRO_OFFSCREEN Luma::view() const {
    __tag_KIRO_OFFSCREEN image = {};
    image.format = KELVANE_FORMAT_YUV420;
    image.width = pixels_.width;
    image.height = pixels_.height;
    // The library's records have no place for "only read".
    image.planes[0] = const_cast<unsigned char*>(grey_.empty() ? pixels_.data : grey_.data());
    image.pitches[0] = grey_.empty() ? static_cast<int32_t>(pixels_.pitch) : pixels_.width;
    return image;
}

__tag_KIRO_OFFSCREEN Luma::evenView() const {
    __tag_KIRO_OFFSCREEN image = view();
    image.width &= ~1;
    image.height &= ~1;
    return image;
}

void checkSameSize(const Luma& first, const Luma& second, const std::string& secondName) {
    if (first.width() != second.width() || first.height() != second.height())
        refuse(secondName,
               fmt::format("{} x {} pixels, but the first picture has {} x {}", second.width(),
                           second.height(), first.width(), first.height()));
}

py::array_t<unsigned char> makeArrayLike(const Pixels& source, int64_t height, int64_t width) {
    if (source.hasChannelAxis)
        return py::array_t<unsigned char>({height, width, int64_t{source.channels}});
    return py::array_t<unsigned char>({height, width});
}
