#include "media/video_reader.h"

#include "base/error.h"
#include "base/jobs.h"
#include "media/ffmpeg_error.h"

extern "C" {
#include <libavutil/display.h>
}

#include <algorithm>
#include <filesystem>
#include <new>
#include <string_view>
#include <system_error>

namespace {

// Each decoding thread of a video holds frames of its own; four keep 4K video within a few hundred
// megabytes on machines with many cores.
constexpr int mostVideoThreads = 4;

// References of a container to other files are not followed: a run only reads the files it was
// given.
int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
}

// What a display matrix does to a frame. Turns by other angles than quarters, which no camera
// writes, are left out.
Orientation displayOrientation(const uint8_t* data, size_t size) {
    int32_t matrix[9];
    if (data == nullptr || size < sizeof matrix)
        return Orientation::upright;
    std::copy_n(data, sizeof matrix, reinterpret_cast<uint8_t*>(matrix));
    // Rows of the matrix: where a step to the right, and a step down, lead.
    const auto sign = [&](int i) { return (matrix[i] > 0) - (matrix[i] < 0); };
    const int right = sign(0), rightDown = sign(1), downRight = sign(3), down = sign(4);
    using enum Orientation;
    if (rightDown == 0 && downRight == 0)
        return right < 0 ? (down < 0 ? turned180 : mirrored) : (down < 0 ? flipped : upright);
    if (right == 0 && down == 0)
        return rightDown > 0 ? (downRight > 0 ? transposed : turned90)
                             : (downRight > 0 ? turned270 : transversed);
    return upright;
}

// As the container says.
Orientation orientationOf(const AVStream& stream) {
    size_t size = 0;
    const uint8_t* const data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return displayOrientation(data, size);
}

// As the coded frame itself says, which those of H.264, HEVC and JPEG may.
std::optional<Orientation> orientationOf(const AVFrame& frame) {
    const AVFrameSideData* const found =
        av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
    if (found == nullptr)
        return std::nullopt;
    return displayOrientation(found->data, found->size);
}

// A name may say that several JPEG pictures in a row are a video.
const AVInputFormat* formatByName(std::string_view path) {
    return isMjpegName(path) ? av_find_input_format("mjpeg") : nullptr;
}

} // namespace

bool isMjpegName(std::string_view path) {
    return path.ends_with(".mjpg") || path.ends_with(".mjpeg");
}

VideoReader::VideoReader(std::string path) : path_(std::move(path)), frame_(newFrame()) {
    packet_.reset(av_packet_alloc());
    if (!packet_)
        throw std::bad_alloc();
    openFormat();
    openStream();
    openDecoder();
}

void VideoReader::fail(const std::string& reason) const { throw BadPicture(path_, reason); }

void VideoReader::check(int result) const {
    if (result < 0)
        fail(ffmpegReason(result));
}

// The demuxer is chosen by the content: without a name FFmpeg cannot take "img%03d.png" for a
// pattern or "http:" for a protocol.
void VideoReader::openFormat() {
    std::error_code ignored;
    if (path_ == "-" || !std::filesystem::is_regular_file(path_, ignored))
        fail("no picture, and a video has to be a regular file");
    AVIOContext* file = nullptr;
    check(avio_open(&file, ("file:" + path_).c_str(), AVIO_FLAG_READ));
    file_.reset(file);
    AVFormatContext* format = avformat_alloc_context();
    if (format == nullptr)
        throw std::bad_alloc();
    format->pb = file;
    format->io_open = refuseToOpen;
    if (avformat_open_input(&format, "", formatByName(path_), nullptr) < 0)
        fail("neither a picture nor a video");
    format_.reset(format);
}

void VideoReader::openStream() {
    check(avformat_find_stream_info(format_.get(), nullptr));
    const int index = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0 || (format_->streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
        fail("neither a picture nor a video");
    stream_ = format_->streams[index];
    for (unsigned i = 0; i < format_->nb_streams; ++i)
        if (format_->streams[i] != stream_)
            format_->streams[i]->discard = AVDISCARD_ALL;
    orientation_ = orientationOf(*stream_);
}

void VideoReader::openDecoder() {
    const AVCodecParameters* const parameters = stream_->codecpar;
    const AVCodec* const codec = avcodec_find_decoder(parameters->codec_id);
    if (codec == nullptr)
        fail(std::string("no decoder for ") + avcodec_get_name(parameters->codec_id));
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_)
        throw std::bad_alloc();
    check(avcodec_parameters_to_context(decoder_.get(), parameters));
    decoder_->thread_count = std::min(availableProcessors(), mostVideoThreads);
    check(avcodec_open2(decoder_.get(), codec, nullptr));
}

int64_t VideoReader::announcedFrames() const { return stream_->nb_frames; }

void VideoReader::sendNextPacket() {
    while (!packetsEnded_) {
        const int result = av_read_frame(format_.get(), packet_.get());
        if (result < 0) {
            packetsEnded_ = true;
            if (result != AVERROR_EOF)
                fail(ffmpegReason(result));
            break;
        }
        if (packet_->stream_index == stream_->index) {
            const bool cut = (packet_->flags & AV_PKT_FLAG_CORRUPT) != 0;
            const int sent = cut ? 0 : avcodec_send_packet(decoder_.get(), packet_.get());
            av_packet_unref(packet_.get());
            if (cut)
                fail("the video data is truncated");
            check(sent);
            return;
        }
        av_packet_unref(packet_.get());
    }
    if (!flushed_) {
        flushed_ = true;
        check(avcodec_send_packet(decoder_.get(), nullptr)); // a thread may still report damage
    }
}

Picture VideoReader::next() {
    for (;;) {
        const int result = avcodec_receive_frame(decoder_.get(), frame_.get());
        if (result == AVERROR(EAGAIN)) {
            sendNextPacket();
            continue;
        }
        if (result == AVERROR_EOF)
            return {};
        check(result);
        if (frame_->decode_error_flags != 0 || (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0)
            fail("damaged picture data");
        const Orientation orientation = orientationOf(*frame_).value_or(orientation_);
        FramePointer upright = turnedUpright(shareFrame(*frame_), orientation);
        if (!upright)
            fail("its pixel format cannot be converted");
        return {std::move(upright), {static_cast<int>(orientation), pixelFormatName(*frame_), ""}};
    }
}

std::optional<double> VideoReader::seconds() const {
    if (frame_->best_effort_timestamp == AV_NOPTS_VALUE)
        return std::nullopt;
    const int64_t start = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    return static_cast<double>(frame_->best_effort_timestamp - start) * av_q2d(stream_->time_base);
}
