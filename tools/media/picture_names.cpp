#include "media/picture_names.h"

#include "base/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace {

struct Ending {
    std::string_view ending;
    const char* format;
};

constexpr Ending endings[] = {
    {".jpg", "JPEG"},       {".jpeg", "JPEG"},      {".jpe", "JPEG"},       {".jfif", "JPEG"},
    {".heic", "HEIC"},      {".heif", "HEIC"},      {".hif", "HEIC"},       {".avif", "AVIF"},
    {".tif", "TIFF"},       {".tiff", "TIFF"},      {".png", "PNG"},        {".webp", "WebP"},
    {".bmp", "BMP"},        {".pgm", "PNM"},        {".ppm", "PNM"},        {".pnm", "PNM"},
    {".jp2", "JPEG 2000"},  {".j2k", "JPEG 2000"},  {".jxl", "JPEG XL"},    {".dng", "camera raw"},
    {".cr2", "camera raw"}, {".cr3", "camera raw"}, {".nef", "camera raw"}, {".nrw", "camera raw"},
    {".arw", "camera raw"}, {".raf", "camera raw"}, {".orf", "camera raw"}, {".rw2", "camera raw"},
    {".pef", "camera raw"}, {".srw", "camera raw"}};

std::string endingOf(const std::string& path) {
    return lowercase(std::filesystem::path(path).extension().string());
}

// HEIF files hold either, and the first brand need not say which.
bool isHeif(const std::string& format) { return format == "HEIC" || format == "AVIF"; }

} // namespace

std::string formatOfName(const std::string& path) {
    const auto* const found = std::ranges::find(endings, endingOf(path), &Ending::ending);
    return found == std::end(endings) ? "" : found->format;
}

std::string nameMismatch(const std::string& path, const std::string& format) {
    const std::string named = formatOfName(path);
    if (named.empty() || named == format || (isHeif(named) && isHeif(format)))
        return "";
    return fmt::format("; it is {} although its name ends in {}",
                       format.empty() ? "no " + named : format, endingOf(path));
}
