#pragma once

#include "media/orientation.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

// When a picture was taken.
struct CaptureTime {
    double seconds = 0;             // of the wall clock there, from 1970
    std::optional<int> minutesEast; // of UTC: the time zone
    bool fromFile = false;          // the file's last change, where the picture does not say
};

// What a camera counts while its button is held down; 0 where it writes nothing.
struct DriveNumbers {
    int64_t sequence = 0; // the same for all pictures of a sequence
    int64_t position = 0; // grows by 1 from picture to picture of a sequence
};

// What a picture's file says about how it was taken.
struct Metadata {
    CaptureTime taken;
    Orientation orientation = Orientation::upright;
    std::string camera;  // its maker and model; empty when not known
    std::string burstId; // the same for all pictures of a burst; empty for none
    DriveNumbers drive;
};

// Reads JPEG, TIFF, raw files that are made like TIFF, CR3, RAF, PNG and WebP, and HEIF and AVIF in
// a build with libheif. No pixels are decoded, and little else is read than the metadata. Whatever
// is damaged or missing is left at its default; the time is then that of the file.
Metadata readMetadata(const std::string& path);

// The same of a file in memory, without its time.
Metadata metadataOf(std::span<const uint8_t> file);

// "2026-05-01T10:20:30.250", without the zone.
std::string toText(const CaptureTime& time);

// "+02:00"; empty when it is not known.
std::string zoneText(const CaptureTime& time);
