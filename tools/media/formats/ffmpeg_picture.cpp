#include "media/formats/ffmpeg_picture.h"

#include "media/ffmpeg_error.h"
#include "media/metadata.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <string_view>
#include <vector>

namespace {

void check(int result) {
    if (result == AVERROR(ENOMEM))
        throw std::bad_alloc();
    if (result < 0)
        throw DecodeError(ffmpegReason(result));
}

// Bytes that a demuxer reads as if they were a file.
class MemoryFile {
public:
    explicit MemoryFile(std::span<const uint8_t> bytes) : bytes_(bytes) {
        constexpr int buffer = 4096;
        auto* const memory = static_cast<uint8_t*>(av_malloc(buffer));
        context_ = avio_alloc_context(memory, buffer, 0, this, read, nullptr, seek);
        if (context_ == nullptr) {
            av_free(memory);
            throw std::bad_alloc();
        }
    }
    ~MemoryFile() {
        av_freep(&context_->buffer);
        avio_context_free(&context_);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    AVIOContext* context() { return context_; }

private:
    static int read(void* self, uint8_t* to, int size) {
        auto& file = *static_cast<MemoryFile*>(self);
        const size_t count =
            std::min(static_cast<size_t>(size), file.bytes_.size() - file.position_);
        std::copy_n(file.bytes_.data() + file.position_, count, to);
        file.position_ += count;
        return count == 0 ? AVERROR_EOF : static_cast<int>(count);
    }

    static int64_t seek(void* self, int64_t offset, int whence) {
        auto& file = *static_cast<MemoryFile*>(self);
        const auto size = static_cast<int64_t>(file.bytes_.size());
        if (whence == AVSEEK_SIZE)
            return size;
        if (whence == SEEK_CUR)
            offset += static_cast<int64_t>(file.position_);
        if (whence == SEEK_END)
            offset += size;
        if (offset < 0 || offset > size)
            return AVERROR(EINVAL);
        file.position_ = static_cast<size_t>(offset);
        return offset;
    }

    const std::span<const uint8_t> bytes_;
    size_t position_ = 0;
    AVIOContext* context_;
};

AVCodecID codecOf(std::span<const uint8_t> bytes) {
    MemoryFile file(bytes);
    AVFormatContext* opened = avformat_alloc_context();
    if (opened == nullptr)
        throw std::bad_alloc();
    opened->pb = file.context();
    check(avformat_open_input(&opened, "", nullptr, nullptr));
    const std::unique_ptr<AVFormatContext, FormatDeleter> format(opened);
    if (!isPictureDemuxer(format->iformat) || format->nb_streams == 0)
        throw DecodeError("no picture in this file");
    return format->streams[0]->codecpar->codec_id;
}

using DecoderPointer = std::unique_ptr<AVCodecContext, DecoderDeleter>;

DecoderPointer openDecoder(AVCodecID id) {
    const AVCodec* const codec = avcodec_find_decoder(id);
    if (codec == nullptr)
        throw DecodeError(std::string("no decoder for ") + avcodec_get_name(id));
    DecoderPointer decoder(avcodec_alloc_context3(codec));
    if (!decoder)
        throw std::bad_alloc();
    decoder->thread_count = 1;
    decoder->err_recognition |= AV_EF_CRCCHECK;
    // The TIFF decoder would treat every unknown tag as damage.
    if (id != AV_CODEC_ID_TIFF)
        decoder->err_recognition |= AV_EF_EXPLODE;
    check(avcodec_open2(decoder.get(), codec, nullptr));
    return decoder;
}

// Pictures in chunks of an animation, which libavcodec's decoder does not know and takes for
// damage.
void refuseAnimatedWebp(std::span<const uint8_t> bytes) {
    constexpr size_t flags = 20;
    constexpr uint8_t animated = 2;
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.size() > flags && text.starts_with("RIFF") && text.substr(8, 8) == "WEBPVP8X" &&
        (bytes[flags] & animated) != 0)
        throw DecodeError("an animated WebP, and only still ones are read; make a video of it");
}

} // namespace

bool isFfmpegPicture(std::span<const uint8_t> start) {
    std::vector<uint8_t> padded(start.begin(), start.end());
    padded.resize(padded.size() + AVPROBE_PADDING_SIZE);
    const AVProbeData probe = {.filename = "",
                               .buf = padded.data(),
                               .buf_size = static_cast<int>(start.size()),
                               .mime_type = nullptr};
    const AVInputFormat* const format = av_probe_input_format(&probe, 1);
    return format != nullptr && isPictureDemuxer(format);
}

// The whole file as one packet: the demuxers of pictures cut it where a parser guesses a boundary.
StoredPicture decodeByFfmpeg(std::span<const uint8_t> bytes) {
    refuseAnimatedWebp(bytes);
    const DecoderPointer decoder = openDecoder(codecOf(bytes));
    const PacketPointer packet(av_packet_alloc());
    if (!packet)
        throw std::bad_alloc();
    check(av_new_packet(packet.get(), static_cast<int>(bytes.size())));
    std::copy(bytes.begin(), bytes.end(), packet->data);
    check(avcodec_send_packet(decoder.get(), packet.get()));
    FramePointer frame = newFrame();
    int result = avcodec_receive_frame(decoder.get(), frame.get());
    if (result == AVERROR(EAGAIN)) {
        check(avcodec_send_packet(decoder.get(), nullptr));
        result = avcodec_receive_frame(decoder.get(), frame.get());
    }
    if (result == AVERROR_EOF)
        throw DecodeError("no picture in this file");
    check(result);
    if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0)
        throw DecodeError("damaged picture data");
    const Orientation orientation = metadataOf(bytes).orientation; // of PNG and WebP
    const PictureForm form = {static_cast<int>(orientation), pixelFormatName(*frame), ""};
    return {.pixels = std::move(frame), .orientation = orientation, .form = form};
}
