#include "bindings.h"
#include "memory.h"
#include "pixels.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace {

using Size = std::pair<int64_t, int64_t>; // width, height

void checkSize(const Size& size) {
    constexpr int64_t largest = 65535;
    if (std::min(size.first, size.second) < 1 || std::max(size.first, size.second) > largest)
        throw py::value_error(fmt::format("size: {} x {} pixels; sides must be 1 to {}", size.first,
                                          size.second, largest));
}

struct HeapBlock {
    void operator()(void* block) const { VantMemFree(nullptr, block); }
};

long resizePlane(const Pixels& source, unsigned char* to, const Size& size) {
    void* buffer = nullptr;
    const long code = ImageResize_AllocMem_BL(nullptr, source.width, source.height, source.channels,
                                              size.first, size.second, &buffer);
    if (code != ERR_NONE)
        return code;
    const std::unique_ptr<void, HeapBlock> owner(buffer);
    return ImageResize_BL(source.data, source.width, source.height, source.pitch, source.channels,
                          to, size.first, size.second, size.first * source.channels, &buffer);
}

long toBgr(const __tag_KIRO_OFFSCREEN& image, unsigned char* to, const Size& size) {
    return ImageResize_BL_ToBGR24(nullptr, &image, to, size.first, size.second, 3 * size.first);
}

void setPlane(__tag_KIRO_OFFSCREEN& image, int index, const Pixels& plane) {
    image.planes[index] = const_cast<unsigned char*>(plane.data); // which is only read
    image.pitches[index] = static_cast<int32_t>(plane.pitch);
}

py::array resize(py::handle image, const Size& size) {
    checkSize(size);
    const Pixels source(image, "image", 3);
    py::array_t<unsigned char> result = makeArrayLike(source, size.second, size.first);
    unsigned char* const to = result.mutable_data();
    const py::gil_scoped_release released;
    long code = ERR_NONE;
    if (source.channels < 3) {
        code = resizePlane(source, to, size);
    } else {
        __tag_KIRO_OFFSCREEN view = {KELVANE_FORMAT_BGR24, source.width, source.height, {}, {}};
        setPlane(view, 0, source);
        code = toBgr(view, to, size);
    }
    heap().check(code, "a resized picture");
    return result;
}

// The planes were checked against the format where the `Frame` was made.
py::array frameToBgr(uint32_t format, const py::tuple& planes, const Size& size) {
    checkSize(size);
    std::vector<Pixels> sources;
    for (const py::handle plane : planes)
        sources.emplace_back(plane, "yuv", 2);
    __tag_KIRO_OFFSCREEN image = {format, sources[0].width, sources[0].height, {}, {}};
    for (size_t i = 0; i < sources.size(); ++i)
        setPlane(image, static_cast<int>(i), sources[i]);
    py::array_t<unsigned char> result({size.second, size.first, int64_t{3}});
    unsigned char* const to = result.mutable_data();
    const py::gil_scoped_release released;
    heap().check(toBgr(image, to, size), "a BGR picture");
    return result;
}

} // namespace

void addResizing(py::module_& module) {
    module.def("resize", resize);
    module.def("frame_to_bgr", frameToBgr);
}
