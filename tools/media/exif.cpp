#include "media/exif.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include <libexif/exif-data.h>

namespace {

struct Deleter {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};

} // namespace

std::optional<Orientation> exifOrientation(std::span<const uint8_t> data) {
    constexpr std::string_view start("Exif\0", 5);
    if (data.size() < start.size() || !std::equal(start.begin(), start.end(), data.begin()))
        return std::nullopt;
    const std::unique_ptr<ExifData, Deleter> parsed(
        exif_data_new_from_data(data.data(), static_cast<unsigned>(data.size())));
    if (!parsed)
        return std::nullopt;
    const ExifEntry* const entry =
        exif_content_get_entry(parsed->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (entry == nullptr || entry->format != EXIF_FORMAT_SHORT || entry->size < 2)
        return std::nullopt;
    const ExifShort value = exif_get_short(entry->data, exif_data_get_byte_order(parsed.get()));
    return value >= 1 && value <= 8 ? std::optional(orientationOf(value)) : std::nullopt;
}
