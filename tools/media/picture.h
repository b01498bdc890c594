#pragma once

#include "base/progress.h"
#include "media/content.h"
#include "media/file_bytes.h"
#include "media/picture_decoder.h"

#include <string>
#include <vector>

// A picture, or a frame of a video, as it is to be seen.
struct Picture {
    FramePointer pixels;
    PictureForm form;
};

// A file that may hold one picture. Failures are thrown as BadPicture.
class PictureFile {
public:
    // Opens a file, or standard input for "-", and looks at its start.
    explicit PictureFile(std::string path);

    // By the content. What is no picture may still be a video.
    bool isPicture() const { return isPicture_; }

    Picture decode(const PictureRequest& request);

private:
    std::string path_;
    FileBytes bytes_;
    Content content_;
    bool isPicture_;
};

// Decodes the one picture of a file; a video is an InputError.
Picture readPicture(const std::string& path, const PictureRequest& request, PhaseTimes& times);

// A format that has a library of its own, and whether this build has it.
struct PictureFormat {
    const char* name;
    const char* library;
    bool isRead;
};
std::vector<PictureFormat> pictureFormats();
