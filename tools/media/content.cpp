#include "media/content.h"

#include "media/tiff_tags.h"

#include <algorithm>
#include <string_view>

namespace {

bool startsWith(std::string_view bytes, std::initializer_list<std::string_view> signatures) {
    return std::any_of(signatures.begin(), signatures.end(),
                       [&](std::string_view signature) { return bytes.starts_with(signature); });
}

// Of a file in boxes, ISO/IEC 14496-12: its major brand.
std::string_view brandOf(std::string_view bytes) {
    return bytes.size() >= 12 && bytes.substr(4, 4) == "ftyp" ? bytes.substr(8, 4)
                                                              : std::string_view();
}

} // namespace

Content contentOf(std::span<const uint8_t> start) {
    using namespace std::string_view_literals;
    const std::string_view bytes(reinterpret_cast<const char*>(start.data()), start.size());
    if (bytes.starts_with("\xFF\xD8\xFF"sv))
        return Content::jpeg;
    if (startsWith(bytes,
                   {"FUJIFILMCCD-RAW", "IIRO", "IIRS", "MMOR", "IIU\0"sv, "FOVb", "\0MRM"sv}))
        return Content::raw;
    if (startsWith(bytes, {"II*\0"sv, "MM\0*"sv})) {
        const bool isCanons = bytes.size() >= 10 && bytes.substr(8, 2) == "CR";
        return isCanons || holdsRawData(start) ? Content::raw : Content::tiff;
    }
    if (startsWith(bytes, {"II+\0"sv, "MM\0+"sv}))
        return Content::tiff;
    const std::string_view brand = brandOf(bytes);
    if (brand == "crx ")
        return Content::raw;
    if (brand == "avif")
        return Content::avif;
    if (startsWith(brand, {"heic", "heix", "heim", "heis", "mif1"}))
        return Content::heif;
    return Content::other;
}
