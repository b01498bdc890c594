#include "media/metadata.h"

#include "media/content.h"
#include "media/formats/heif.h"
#include "media/metadata/boxes.h"
#include "media/metadata/exif.h"
#include "media/metadata/xmp_metadata.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <sys/stat.h>

namespace {

using namespace std::string_view_literals;

// Segments or chunks that are looked at; cameras write a few dozen.
constexpr int mostParts = 1000;

constexpr std::string_view xmpStart = "http://ns.adobe.com/xap/1.0/\0"sv;

CaptureTime fileTime(const std::string& path) {
    struct stat status = {};
    tm local = {};
    if (::stat(path.c_str(), &status) != 0 || localtime_r(&status.st_mtime, &local) == nullptr)
        return {0, std::nullopt, true}; // reading it will tell what is wrong
    return {static_cast<double>(timegm(&local)) +
                static_cast<double>(status.st_mtim.tv_nsec) * 1e-9,
            static_cast<int>(local.tm_gmtoff / 60), true};
}

// Exif data, which some programs keep with the start that they have in JPEG files.
void addExifPart(const ByteRange& part, Metadata& metadata) {
    addExif(part.startsWith(exifStart) ? part.part(exifStart.size()) : part, metadata);
}

// The segments before the scan (ITU-T T.81, B.1).
void addJpeg(const ByteRange& file, Metadata& metadata) {
    bool hasExif = false;
    uint64_t at = 2;
    for (int i = 0; i < mostParts; ++i) {
        const auto marker = file.number(at, 2, ByteOrder::big);
        if (marker == 0xFFFF) { // a fill byte
            ++at;
            continue;
        }
        const auto length = file.number(at + 2, 2, ByteOrder::big);
        if (!marker || !length || *marker < 0xFFC0 || marker == 0xFFDA || *length < 2)
            return;
        const ByteRange segment = file.part(at + 4, *length - 2);
        if (marker == 0xFFE1 && segment.startsWith(xmpStart))
            addXmp(segment.part(xmpStart.size()), metadata);
        if (marker == 0xFFE1 && segment.startsWith(exifStart) && !hasExif) {
            addExifPart(segment, metadata);
            hasExif = true;
        }
        at += 2 + *length;
    }
}

// Exif data may stand before or behind the pixels, which are often in chunks of 8 KB.
void addPng(const ByteRange& file, Metadata& metadata) {
    uint64_t at = 8;
    for (int i = 0; i < 100 * mostParts; ++i) {
        const auto length = file.number(at, 4, ByteOrder::big);
        if (!length)
            return;
        if (file.startsWith("eXIf", at + 4))
            return addExifPart(file.part(at + 8, *length), metadata);
        at += 12 + *length;
    }
}

void addWebp(const ByteRange& file, Metadata& metadata) {
    uint64_t at = 12;
    for (int i = 0; i < mostParts; ++i) {
        const auto length = file.number(at + 4, 4, ByteOrder::little);
        if (!length)
            return;
        const ByteRange chunk = file.part(at + 8, *length);
        if (file.startsWith("EXIF", at))
            addExifPart(chunk, metadata);
        if (file.startsWith("XMP ", at))
            addXmp(chunk, metadata);
        at += 8 + *length + *length % 2;
    }
}

void addCr3(const ByteRange& file, Metadata& metadata) {
    constexpr std::string_view canon = "\x85\xC0\xB6\x87\x82\x0F\x11\xE0\x81\x11\xF4\xCE\x46\x2B"
                                       "\x6A\x48"sv;
    const ByteRange movie = contentOf(boxesIn(file), "moov");
    const std::vector<Box> parts = boxesIn(contentOf(boxesIn(movie), "uuid", canon));
    addCanonParts(contentOf(parts, "CMT1"), contentOf(parts, "CMT2"), contentOf(parts, "CMT3"),
                  metadata);
}

// A header leads to a JPEG file with the Exif data.
void addRaf(const ByteRange& file, Metadata& metadata) {
    const auto offset = file.number(84, 4, ByteOrder::big),
               size = file.number(88, 4, ByteOrder::big);
    if (offset && size)
        addJpeg(file.part(*offset, *size), metadata);
}

bool isHeif(const ByteRange& file) {
    const std::string start = file.bytes(0, 12);
    const Content content =
        contentOf({reinterpret_cast<const uint8_t*>(start.data()), start.size()});
    return content == Content::heif || content == Content::avif;
}

void addHeif(const ByteRange& file, Metadata& metadata) {
    const HeifMetadata found = heifMetadata(file);
    addExifPart(ByteRange::ofMemory(found.exif), metadata);
    addXmp(ByteRange::ofMemory(found.xmp), metadata);
}

void addContent(const ByteRange& file, Metadata& metadata) {
    if (file.startsWith("\xFF\xD8"))
        addJpeg(file, metadata);
    else if (file.startsWith("II") || file.startsWith("MM"))
        addExif(file, metadata);
    else if (file.startsWith("\x89PNG\r\n\x1A\n"))
        addPng(file, metadata);
    else if (file.startsWith("RIFF") && file.startsWith("WEBP", 8))
        addWebp(file, metadata);
    else if (file.startsWith("FUJIFILMCCD-RAW"))
        addRaf(file, metadata);
    else if (file.startsWith("ftypcrx ", 4))
        addCr3(file, metadata);
    else if (KELVANE_HEIF && isHeif(file))
        addHeif(file, metadata);
}

} // namespace

Metadata readMetadata(const std::string& path) {
    Metadata metadata;
    metadata.taken = fileTime(path);
    addContent(ByteRange::ofFile(path), metadata);
    return metadata;
}

Metadata metadataOf(std::span<const uint8_t> file) {
    Metadata metadata;
    addContent(ByteRange::ofMemory(file), metadata);
    return metadata;
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

std::string zoneText(const CaptureTime& time) {
    if (!time.minutesEast)
        return "";
    const int minutes = std::abs(*time.minutesEast);
    return fmt::format("{}{:02}:{:02}", *time.minutesEast < 0 ? '-' : '+', minutes / 60,
                       minutes % 60);
}
