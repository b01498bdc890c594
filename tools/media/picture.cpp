#include "media/picture.h"

#include "base/error.h"
#include "media/formats/ffmpeg_picture.h"
#include "media/formats/heif.h"
#include "media/formats/jpeg.h"
#include "media/formats/raw.h"
#include "media/formats/tiff.h"
#include "media/picture_names.h"
#include "media/video_reader.h"

#include <algorithm>

namespace {

// Decodes a format, or is null in a build without its library.
using Decoder = StoredPicture (*)(std::span<const uint8_t>, const PictureRequest&);

struct Format {
    Content content;
    const char* name;
    const char* library;
    Decoder decode;
};

constexpr Format formats[] = {
    {Content::jpeg, "JPEG", "libjpeg-turbo", KELVANE_JPEG ? decodeJpeg : nullptr},
    {Content::heif, "HEIC", "libheif", KELVANE_HEIF ? decodeHeif : nullptr},
    {Content::avif, "AVIF", "libheif", KELVANE_HEIF ? decodeHeif : nullptr},
    {Content::tiff, "TIFF", "libtiff", KELVANE_TIFF ? decodeTiff : nullptr},
    {Content::raw, "camera raw", "LibRaw", KELVANE_RAW ? decodeRaw : nullptr},
};

// Null for what FFmpeg reads.
const Format* formatOf(Content content) {
    const auto* const found = std::ranges::find(formats, content, &Format::content);
    return found == std::end(formats) ? nullptr : found;
}

// Which of its formats a file has, FFmpeg does not say.
std::string mismatch(const std::string& path, Content content) {
    const Format* const format = formatOf(content);
    if (format != nullptr)
        return nameMismatch(path, format->name);
    const bool isNamedOther = std::ranges::none_of(
        formats, [named = formatOfName(path)](const Format& f) { return f.name == named; });
    return isNamedOther ? "" : nameMismatch(path, "");
}

StoredPicture decodeContent(Content content, std::span<const uint8_t> bytes,
                            const PictureRequest& request) {
    const Format* const format = formatOf(content);
    if (format == nullptr)
        return decodeByFfmpeg(bytes);
    if (format->decode == nullptr)
        throw DecodeError(fmt::format("{}: this build has no {}", format->name, format->library));
    return format->decode(bytes, request);
}

bool isPictureContent(Content content, std::span<const uint8_t> start, const std::string& path) {
    if (content == Content::jpeg)
        return !isMjpegName(path);
    return content != Content::other || isFfmpegPicture(start);
}

} // namespace

PictureFile::PictureFile(std::string path)
    : path_(std::move(path)), bytes_(path_), content_(contentOf(bytes_.start(contentBytes))),
      isPicture_(isPictureContent(content_, bytes_.start(contentBytes), path_)) {}

Picture PictureFile::decode(const PictureRequest& request) {
    try {
        const std::span<const uint8_t> bytes = bytes_.whole();
        content_ = contentOf(bytes);
        StoredPicture stored = decodeContent(content_, bytes, request);
        FramePointer upright = turnedUpright(std::move(stored.pixels), stored.orientation);
        if (!upright)
            throw DecodeError("its pixel format cannot be converted");
        return {std::move(upright), std::move(stored.form)};
    } catch (const DecodeError& error) {
        throw BadPicture(path_, error.what() + mismatch(path_, content_));
    }
}

Picture readPicture(const std::string& path, const PictureRequest& request, PhaseTimes& times) {
    const PhaseTimer timer(times.decoding);
    PictureFile file(path);
    if (!file.isPicture()) {
        VideoReader{path}; // complains when it is no video either
        throw InputError(path, "a video, where one picture is expected");
    }
    return file.decode(request);
}

std::vector<PictureFormat> pictureFormats() {
    std::vector<PictureFormat> result;
    for (const Format& format : formats)
        result.push_back({format.name, format.library, format.decode != nullptr});
    return result;
}
