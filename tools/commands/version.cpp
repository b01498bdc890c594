#include "analysis/face_finder.h"
#include "commands/options.h"
#include "media/picture.h"

#include "kelvane/kelvane.h"

#include <fmt/format.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswscale/swscale.h>
}

namespace {

std::string versionLine(const char* name, unsigned version) {
    return fmt::format("{:<13}{}.{}.{}\n", name, AV_VERSION_MAJOR(version),
                       AV_VERSION_MINOR(version), AV_VERSION_MICRO(version));
}

// Which formats this build reads; what is not named is read by FFmpeg.
std::string formatLines() {
    std::string read, missing;
    for (const PictureFormat& format : pictureFormats()) {
        read += format.isRead ? fmt::format("{} ({}), ", format.name, format.library) : "";
        missing += format.isRead ? ""
                                 : fmt::format("not read     {}: this build has no {}\n",
                                               format.name, format.library);
    }
    return fmt::format("reads        {}PNG, WebP, BMP, GIF, PNM and videos (FFmpeg)\n{}", read,
                       missing);
}

std::string sidecarLine() {
#ifdef KELVANE_XMP
    return "writes       XMP sidecars (exempi)\n";
#else
    return "not written  XMP sidecars: this build has no exempi\n";
#endif
}

std::string facesLine() {
    return canFindFaces()
               ? "finds        faces (dlib)\n"
               : "not found    faces: the package kelvane-faces brings what finds them\n";
}

struct VersionOptions {};

Output runVersion(const VersionOptions&, PhaseTimes&) {
    _tag_VERSION_INFO library = {};
    DRAV_GetVersion(&library);
    const _tag_VERSION_INFO* const memory = Vantix_GetVersion();
    return {
        fmt::format("library      {} ({})\nmemory layer {} ({})\nFFmpeg       {}\n",
                    library.version, library.date, memory->version, memory->date,
                    av_version_info()) +
        versionLine("libavformat", avformat_version()) +
        versionLine("libavcodec", avcodec_version()) + versionLine("libavutil", avutil_version()) +
        versionLine("libswscale", swscale_version()) + formatLines() + sidecarLine() + facesLine()};
}

} // namespace

void addVersion(CLI::App& app, Invocation& invocation) {
    addCommand(app, invocation, "version",
               "Print the versions of the library and of what it runs on", runVersion);
}
