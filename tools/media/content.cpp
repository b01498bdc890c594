#include "media/content.h"

#include "media/metadata/tiff_directory.h"

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

// Whether a TIFF file is a camera's raw file: it says that it is a DNG, or that the samples of a
// picture lie behind the colour filters of a sensor (TIFF/EP, ISO 12234-2).
bool holdsRawData(std::span<const uint8_t> file) {
    constexpr uint16_t photometricTag = 262, subDirectoriesTag = 330, dngVersionTag = 50706;
    const auto isRaw = [](const TiffDirectory& directory) {
        constexpr int64_t colourFilters = 32803, linearRaw = 34892;
        const auto photometric = directory.number(photometricTag);
        return photometric == colourFilters || photometric == linearRaw;
    };
    const TiffDirectory first = TiffDirectory::first(ByteRange::ofMemory(file));
    if (first.number(dngVersionTag) || isRaw(first))
        return true;
    constexpr size_t mostDirectories = 16;
    for (size_t i = 0; i < mostDirectories; ++i) {
        const auto offset = first.number(subDirectoriesTag, i);
        if (!offset)
            break;
        if (isRaw({first.base(), static_cast<uint64_t>(*offset), first.order()}))
            return true;
    }
    return false;
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
