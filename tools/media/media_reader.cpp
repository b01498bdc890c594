#include "media/media_reader.h"

#include "base/error.h"
#include "media/jpeg_end.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <thread>

namespace {

// Each decoding thread of a video holds frames of its own; four keep 4K video within a few hundred
// megabytes on machines with many cores.
constexpr int mostVideoThreads = 4;

std::string describe(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

// References of a container to other files are not followed: a run only reads the files it was
// given.
int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
}

// The demuxers of single pictures are named after the format: png_pipe, webp_pipe.
bool isPictureDemuxer(const AVInputFormat* format) {
    return std::string_view(format->name).ends_with("_pipe");
}

// HEIF and AVIF keep a picture in the container of a video.
bool isStillBrand(const AVFormatContext* format) {
    const AVDictionaryEntry* const brand = av_dict_get(format->metadata, "major_brand", nullptr, 0);
    if (brand == nullptr)
        return false;
    constexpr std::string_view stills[] = {"avif", "heic", "heix", "mif1"};
    return std::find(std::begin(stills), std::end(stills), brand->value) != std::end(stills);
}

// A JPEG followed by another one is a camera's picture with a preview, unless the name of the file
// says that it is a stream.
bool isNamedMjpeg(std::string_view path) {
    return path.ends_with(".mjpg") || path.ends_with(".mjpeg");
}

std::vector<uint8_t> readWhole(AVIOContext* file, int& error) {
    std::vector<uint8_t> bytes(static_cast<size_t>(std::max<int64_t>(avio_size(file), 1 << 16)));
    size_t used = 0;
    for (;;) {
        const size_t room = std::min<size_t>(bytes.size() - used, 1 << 30);
        const int count = avio_read(file, bytes.data() + used, static_cast<int>(room));
        error = count < 0 && count != AVERROR_EOF ? count : 0;
        if (count <= 0)
            break;
        used += static_cast<size_t>(count);
        if (used == bytes.size())
            bytes.resize(used + used / 2);
    }
    bytes.resize(used);
    return bytes;
}

} // namespace

FramePointer newFrame() {
    FramePointer frame(av_frame_alloc());
    if (!frame)
        throw std::bad_alloc();
    return frame;
}

FramePointer makeFrame(int width, int height, AVPixelFormat format) {
    FramePointer frame = newFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        throw std::bad_alloc();
    return frame;
}

MediaReader::MediaReader(std::string path) : path_(std::move(path)), frame_(newFrame()) {
    packet_.reset(av_packet_alloc());
    if (!packet_)
        throw std::bad_alloc();
    openFormat();
    if (isPictureDemuxer(format_->iformat))
        openPicture();
    else
        openVideo();
}

void MediaReader::fail(const std::string& reason) const { throw BadPicture(path_, reason); }

void MediaReader::check(int result) const {
    if (result < 0)
        fail(describe(result));
}

// The demuxer is chosen only by the content: without a name FFmpeg cannot take "img%03d.png" for a
// pattern or "http:" for a protocol.
void MediaReader::openFormat() {
    AVIOContext* file = nullptr;
    check(avio_open(&file, ("file:" + path_).c_str(), AVIO_FLAG_READ));
    file_.reset(file);
    uint8_t start[3] = {};
    const int count = avio_read(file, start, sizeof start);
    if (count == 0 || count == AVERROR_EOF)
        fail("the file is empty");
    check(count);
    const AVInputFormat* jpegFormat = nullptr;
    if (startsLikeJpeg({start, static_cast<size_t>(count)}))
        jpegFormat = av_find_input_format(isNamedMjpeg(path_) ? "mjpeg" : "jpeg_pipe");
    check(static_cast<int>(std::min<int64_t>(avio_seek(file, 0, SEEK_SET), 0)));

    AVFormatContext* format = avformat_alloc_context();
    if (format == nullptr)
        throw std::bad_alloc();
    format->pb = file;
    format->io_open = refuseToOpen;
    check(avformat_open_input(&format, "", jpegFormat, nullptr));
    format_.reset(format);
}

// The whole file as one packet: the demuxers of pictures cut it where a parser guesses a boundary.
void MediaReader::openPicture() {
    const AVCodecID codecId = format_->streams[0]->codecpar->codec_id;
    check(static_cast<int>(std::min<int64_t>(avio_seek(file_.get(), 0, SEEK_SET), 0)));
    int error = 0;
    const std::vector<uint8_t> bytes = readWhole(file_.get(), error);
    check(error);
    size_t size = bytes.size();
    if (codecId == AV_CODEC_ID_MJPEG && (size = jpegLength(bytes)) == 0)
        fail("the JPEG data is truncated");
    if (size > INT32_MAX - AV_INPUT_BUFFER_PADDING_SIZE)
        fail("the file is too large for a picture");
    check(av_new_packet(packet_.get(), static_cast<int>(size)));
    std::copy_n(bytes.data(), size, packet_->data);

    openDecoder(nullptr, codecId);
    const int result = avcodec_send_packet(decoder_.get(), packet_.get());
    av_packet_unref(packet_.get());
    check(result);
    packetsEnded_ = true;
}

void MediaReader::openVideo() {
    check(avformat_find_stream_info(format_.get(), nullptr));
    const int index = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0 || (format_->streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
        fail("neither a picture nor a video");
    stream_ = format_->streams[index];
    for (unsigned i = 0; i < format_->nb_streams; ++i)
        if (format_->streams[i] != stream_)
            format_->streams[i]->discard = AVDISCARD_ALL;
    isVideo_ = !isStillBrand(format_.get());
    openDecoder(stream_->codecpar, stream_->codecpar->codec_id);
}

void MediaReader::openDecoder(const AVCodecParameters* parameters, AVCodecID codecId) {
    const AVCodec* const codec = avcodec_find_decoder(codecId);
    if (codec == nullptr)
        fail(std::string("no decoder for ") + avcodec_get_name(codecId));
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_)
        throw std::bad_alloc();
    if (parameters != nullptr)
        check(avcodec_parameters_to_context(decoder_.get(), parameters));
    if (isVideo_) {
        const int cores = static_cast<int>(std::thread::hardware_concurrency());
        decoder_->thread_count = std::clamp(cores, 1, mostVideoThreads);
    } else {
        decoder_->thread_count = 1;
        decoder_->err_recognition |= AV_EF_CRCCHECK;
        // The TIFF decoder would treat every unknown tag as damage.
        if (codecId != AV_CODEC_ID_TIFF)
            decoder_->err_recognition |= AV_EF_EXPLODE;
    }
    check(avcodec_open2(decoder_.get(), codec, nullptr));
}

int64_t MediaReader::announcedFrames() const { return isVideo_ ? stream_->nb_frames : 1; }

void MediaReader::sendNextPacket() {
    while (!packetsEnded_) {
        const int result = av_read_frame(format_.get(), packet_.get());
        if (result < 0) {
            packetsEnded_ = true;
            if (result != AVERROR_EOF)
                fail(describe(result));
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

const AVFrame* MediaReader::next() {
    for (;;) {
        const int result = avcodec_receive_frame(decoder_.get(), frame_.get());
        if (result == AVERROR(EAGAIN)) {
            sendNextPacket();
            continue;
        }
        if (result == AVERROR_EOF)
            return nullptr;
        check(result);
        if (frame_->decode_error_flags != 0 || (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0)
            fail("damaged picture data");
        return frame_.get();
    }
}

std::optional<double> MediaReader::seconds() const {
    if (!isVideo_ || frame_->best_effort_timestamp == AV_NOPTS_VALUE)
        return std::nullopt;
    const int64_t start = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    return static_cast<double>(frame_->best_effort_timestamp - start) * av_q2d(stream_->time_base);
}

FramePointer readPicture(const std::string& path, PhaseTimes& times) {
    const PhaseTimer timer(times.decoding);
    MediaReader reader(path);
    if (reader.isVideo())
        throw InputError(path, "a video, where one picture is expected");
    const AVFrame* const frame = reader.next();
    if (frame == nullptr)
        throw BadPicture(path, "no picture in this file");
    // The reference keeps the pixels when the reader goes.
    FramePointer kept(av_frame_clone(frame));
    if (!kept)
        throw std::bad_alloc();
    return kept;
}
