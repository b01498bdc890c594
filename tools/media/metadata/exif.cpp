#include "media/metadata/exif.h"

#include "media/metadata/maker_note.h"
#include "media/metadata/tiff_directory.h"
#include "media/metadata/xmp_metadata.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

constexpr uint16_t tagMake = 0x010F, tagModel = 0x0110, tagOrientation = 0x0112, tagXmp = 0x02BC,
                   tagExif = 0x8769;

struct TimeTags {
    uint16_t date;
    uint16_t fraction;
    uint16_t zone;
};
// DateTimeOriginal and DateTimeDigitized, with SubSecTime... and OffsetTime... of each.
constexpr TimeTags timeTags[] = {{0x9003, 0x9291, 0x9011}, {0x9004, 0x9292, 0x9012}};

bool isWithin(int value, int low, int high) { return value >= low && value <= high; }

// "2026:05:01 10:20:30". Cameras without a clock write spaces or zeros.
std::optional<double> parseDate(const std::string& text) {
    tm date = {};
    if (std::sscanf(text.c_str(), "%4d%*1[:-]%2d%*1[:-]%2d%*1[ T]%2d:%2d:%2d", &date.tm_year,
                    &date.tm_mon, &date.tm_mday, &date.tm_hour, &date.tm_min, &date.tm_sec) != 6 ||
        date.tm_year < 1900 || !isWithin(date.tm_mon, 1, 12) || !isWithin(date.tm_mday, 1, 31) ||
        !isWithin(date.tm_hour, 0, 23) || !isWithin(date.tm_min, 0, 59) ||
        !isWithin(date.tm_sec, 0, 60))
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

// "+02:00", in minutes.
std::optional<int> parseZone(const std::string& text) {
    char sign = 0;
    int hours = 0, minutes = 0;
    if (std::sscanf(text.c_str(), "%c%2d:%2d", &sign, &hours, &minutes) != 3 ||
        (sign != '+' && sign != '-') || !isWithin(hours, 0, 14) || !isWithin(minutes, 0, 59))
        return std::nullopt;
    const int east = 60 * hours + minutes;
    return sign == '+' ? east : -east;
}

void addTime(const TiffDirectory& directory, Metadata& metadata) {
    for (const TimeTags& tags : timeTags) {
        const auto date = parseDate(directory.text(tags.date));
        if (!date || !metadata.taken.fromFile)
            continue;
        metadata.taken = {*date + parseFraction(directory.text(tags.fraction)),
                          parseZone(directory.text(tags.zone)), false};
    }
}

std::optional<Orientation> statedOrientation(const TiffDirectory& directory) {
    const auto value = directory.number(tagOrientation);
    return value && *value >= 1 && *value <= 8 ? std::optional(orientationOf(*value))
                                               : std::nullopt;
}

void addGeneral(const TiffDirectory& directory, Metadata& metadata) {
    const std::string make = directory.text(tagMake), model = directory.text(tagModel);
    if (!make.empty() || !model.empty())
        metadata.camera = make + " " + model;
    metadata.orientation = statedOrientation(directory).value_or(metadata.orientation);
    addXmp(directory.value(tagXmp), metadata);
}

} // namespace

void addExif(const ByteRange& tiff, Metadata& metadata) {
    const TiffDirectory general = TiffDirectory::first(tiff), exif = general.directory(tagExif);
    addGeneral(general, metadata);
    addTime(exif, metadata);
    addTime(general, metadata); // where TIFF/EP has it
    addMakerNote(exif, metadata);
}

void addCanonParts(const ByteRange& general, const ByteRange& exif, const ByteRange& note,
                   Metadata& metadata) {
    addGeneral(TiffDirectory::first(general), metadata);
    addTime(TiffDirectory::first(exif), metadata);
    addCanonNote(TiffDirectory::first(note), metadata);
}

std::optional<Orientation> exifOrientation(std::span<const uint8_t> segment) {
    const ByteRange bytes = ByteRange::ofMemory(segment);
    if (!bytes.startsWith(exifStart.substr(0, 5)))
        return std::nullopt;
    return statedOrientation(TiffDirectory::first(bytes.part(exifStart.size())))
        .value_or(Orientation::upright);
}
