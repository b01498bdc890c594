#include "commands.h"
#include "kelvane/kelvane.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswscale/swscale.h>
}

namespace {

std::string versionLine(const char* name, unsigned version) {
    return std::string(name) + " " + std::to_string(AV_VERSION_MAJOR(version)) + "." +
           std::to_string(AV_VERSION_MINOR(version)) + "." +
           std::to_string(AV_VERSION_MICRO(version)) + "\n";
}

} // namespace

Output runVersion() {
    _tag_VERSION_INFO library = {};
    DRAV_GetVersion(&library);
    const _tag_VERSION_INFO* const memory = Vantix_GetVersion();
    return {std::string("library      ") + library.version + " (" + library.date + ")\n" +
                "memory layer " + memory->version + " (" + memory->date + ")\n" + "FFmpeg       " +
                av_version_info() + "\n" + versionLine("libavformat ", avformat_version()) +
                versionLine("libavcodec  ", avcodec_version()) +
                versionLine("libavutil   ", avutil_version()) +
                versionLine("libswscale  ", swscale_version()),
            {}};
}
