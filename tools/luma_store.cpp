#include "luma_store.h"

#include "error.h"

void LumaStore::add(const __tag_KIRO_OFFSCREEN& image, const std::string& name) {
    constexpr int64_t most = int64_t{4} << 30;
    bytes_ += 2 * int64_t{image.width} * image.height;
    if (bytes_ > most)
        throw InputError(name, "frame " + std::to_string(frames_.size()) +
                                   " would bring --moving above 4 GiB; take fewer frames with "
                                   "--every or --max");
    frames_.push_back(copyLuma(image));
}
