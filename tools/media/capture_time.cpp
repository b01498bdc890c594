#include "media/capture_time.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <sys/stat.h>

#include <libexif/exif-data.h>
#include <libexif/exif-loader.h>

namespace {

struct ExifDeleter {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};
struct LoaderDeleter {
    void operator()(ExifLoader* loader) const { exif_loader_unref(loader); }
};

// The text of an entry of the EXIF directory, or nothing.
std::string entryText(ExifData& data, ExifTag tag) {
    ExifEntry* const entry = exif_content_get_entry(data.ifd[EXIF_IFD_EXIF], tag);
    std::array<char, 64> text = {};
    if (entry == nullptr || entry->format != EXIF_FORMAT_ASCII ||
        exif_entry_get_value(entry, text.data(), text.size()) == nullptr)
        return "";
    return text.data();
}

// "2026:05:01 10:20:30". Cameras without a clock write spaces or zeros.
std::optional<double> parseDate(const std::string& text) {
    tm date = {};
    if (std::sscanf(text.c_str(), "%4d:%2d:%2d %2d:%2d:%2d", &date.tm_year, &date.tm_mon,
                    &date.tm_mday, &date.tm_hour, &date.tm_min, &date.tm_sec) != 6 ||
        date.tm_year < 1900 || date.tm_mon < 1 || date.tm_mday < 1)
        return std::nullopt;
    date.tm_year -= 1900;
    date.tm_mon -= 1;
    return static_cast<double>(timegm(&date));
}

// The digits after the decimal point.
double parseFraction(const std::string& digits) {
    const size_t end = digits.find_first_not_of("0123456789");
    return std::strtod(("0." + digits.substr(0, end)).c_str(), nullptr);
}

std::optional<double> exifTime(const std::string& path) {
    const std::unique_ptr<ExifLoader, LoaderDeleter> loader(exif_loader_new());
    if (!loader)
        return std::nullopt;
    exif_loader_write_file(loader.get(), path.c_str());
    const std::unique_ptr<ExifData, ExifDeleter> data(exif_loader_get_data(loader.get()));
    if (!data)
        return std::nullopt;
    const std::optional<double> date = parseDate(entryText(*data, EXIF_TAG_DATE_TIME_ORIGINAL));
    if (!date)
        return std::nullopt;
    return *date + parseFraction(entryText(*data, EXIF_TAG_SUB_SEC_TIME_ORIGINAL));
}

} // namespace

CaptureTime readCaptureTime(const std::string& path) {
    struct stat status = {};
    tm local = {};
    if (::stat(path.c_str(), &status) != 0 || localtime_r(&status.st_mtime, &local) == nullptr)
        return {0, true}; // reading it will tell what is wrong
    // Reading from a pipe would take the picture away.
    if (const auto seconds = S_ISREG(status.st_mode) ? exifTime(path) : std::nullopt)
        return {*seconds, false};
    return {static_cast<double>(timegm(&local)) +
                static_cast<double>(status.st_mtim.tv_nsec) * 1e-9,
            true};
}

std::string toText(const CaptureTime& time) {
    const auto milliseconds = std::llround(time.seconds * 1000);
    const time_t whole = static_cast<time_t>(milliseconds / 1000);
    tm date = {};
    std::array<char, 64> text = {};
    if (gmtime_r(&whole, &date) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &date) == 0)
        return "";
    return fmt::format("{}.{:03}", text.data(), std::llabs(milliseconds % 1000));
}
