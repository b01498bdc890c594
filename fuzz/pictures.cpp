// Pictures of every format that has a decoder: whatever a file holds, it is decoded without a fault
// or refused, and grey, small and whole pictures of it have one shape. A fault inside a decoder's
// library ends the run too: only here the decoders run in the process that is watched.
#include "fuzz_case.h"

#include "base/error.h"
#include "media/luma.h"
#include "media/picture.h"

#include <gtest/gtest.h>
#include <numeric>
#include <optional>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Nothing for a file that is refused.
std::optional<Picture> decoded(const std::string& path, const PictureRequest& request) {
    PhaseTimes times;
    try {
        return readPicture(path, request, times);
    } catch (const NamedError&) {
        return std::nullopt;
    }
}

// Reads every pixel of the luma, which has to be there.
int64_t sumOfLuma(const Picture& picture) {
    PhaseTimes times;
    ImageViewer viewer;
    try {
        const LumaImage luma = copyLuma(viewer.view(*picture.pixels, "fuzzed", times).image);
        return std::accumulate(luma.pixels.begin(), luma.pixels.end(), int64_t{0});
    } catch (const BadPicture&) {
        return 0;
    }
}

} // namespace

void fuzzCase(FuzzedRandom& random) {
    static const int file = memfd_create("fuzzed", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    const std::vector<unsigned char> bytes = random.rest();
    ASSERT_EQ(ftruncate(file, 0), 0);
    ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), 0), std::ssize(bytes));
    const auto whole = decoded(path, {});
    if (!whole)
        return;
    ASSERT_GE(sumOfLuma(*whole), 0);
    ASSERT_GE(whole->form.orientation, 1);
    ASSERT_LE(whole->form.orientation, 8);
    const auto grey = decoded(path, {.lumaOnly = true, .longerSide = 0});
    ASSERT_TRUE(grey);
    ASSERT_GE(sumOfLuma(*grey), 0);
    ASSERT_EQ(grey->pixels->width, whole->pixels->width);
    ASSERT_EQ(grey->pixels->height, whole->pixels->height);
    ASSERT_EQ(grey->form.pixelFormat, whole->form.pixelFormat);
    const auto small = decoded(path, {.lumaOnly = false, .longerSide = 16});
    ASSERT_TRUE(small);
    ASSERT_GE(sumOfLuma(*small), 0);
}
