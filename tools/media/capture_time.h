#pragma once

#include <string>

// When a picture was taken: in seconds of the wall clock, since the time zone is mostly unknown.
struct CaptureTime {
    double seconds = 0;    // from 1970
    bool fromFile = false; // the file's last change, where the picture does not say
};

// From the EXIF data of a JPEG, or else from the file.
CaptureTime readCaptureTime(const std::string& path);

// "2026-05-01T10:20:30.250".
std::string toText(const CaptureTime& time);
