#include "media/formats/jpeg.h"

#include "media/metadata/exif.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

namespace {

constexpr int mostScans = 500; // of a progressive file; each costs a pass over the whole picture

// The decoder and what it calls. Its functions return through longjmp, so that none of the frames
// that they leave may own anything.
class JpegDecoder {
public:
    explicit JpegDecoder(std::span<const uint8_t> bytes) {
        info_.err = jpeg_std_error(&errors_);
        errors_.error_exit = [](j_common_ptr info) { self(info).leave(); };
        errors_.emit_message = [](j_common_ptr info, int level) { self(info).warn(level); };
        errors_.output_message = [](j_common_ptr) {};
        info_.client_data = this;
        run([&] {
            jpeg_create_decompress(&info_);
            jpeg_mem_src(&info_, bytes.data(), bytes.size());
            progress_.progress_monitor = [](j_common_ptr info) { self(info).countScans(); };
            info_.progress = &progress_;
            jpeg_save_markers(&info_, JPEG_APP0 + 1, 0xFFFF);
            jpeg_read_header(&info_, TRUE);
        });
    }
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    jpeg_decompress_struct& info() { return info_; }

    // Runs calls of the decoder, in which nothing is owned. Throws DecodeError for its errors.
    template <typename Calls>
    void run(Calls calls) {
        if (setjmp(back_) == 0) // NOLINT: there is no other way out of the decoder
            return calls();
        throw DecodeError((isUnsupported() ? "JPEG of an unusual kind: " : "damaged JPEG data: ") +
                          std::string(message_.data()));
    }

private:
    static JpegDecoder& self(j_common_ptr info) {
        return *static_cast<JpegDecoder*>(info->client_data);
    }

    [[noreturn]] void leave() {
        errors_.format_message(reinterpret_cast<j_common_ptr>(&info_), message_.data());
        std::longjmp(back_, 1); // NOLINT
    }

    // Some of the warnings are about headers that do not change the picture.
    void warn(int level) {
        const int code = errors_.msg_code;
        if (level < 0 && code != JWRN_JFIF_MAJOR && code != JWRN_ADOBE_XFORM &&
            code != JWRN_NOT_SEQUENTIAL)
            leave();
    }

    // Whether what the decoder complained of is no damage, but beyond it.
    bool isUnsupported() const {
        constexpr int codes[] = {
            JERR_BAD_PRECISION,      JERR_SOF_UNSUPPORTED, JERR_ARITH_NOTIMPL,
            JERR_CONVERSION_NOTIMPL, JERR_CCIR601_NOTIMPL, JERR_FRACT_SAMPLE_NOTIMPL,
            JERR_IMAGE_TOO_BIG,      JERR_WIDTH_OVERFLOW,  JERR_COMPONENT_COUNT};
        return std::find(std::begin(codes), std::end(codes), errors_.msg_code) != std::end(codes);
    }

    void countScans() {
        if (info_.input_scan_number <= mostScans)
            return;
        std::snprintf(message_.data(), message_.size(), "more than %d scans", mostScans);
        std::longjmp(back_, 1); // NOLINT
    }

    // Releases what it has also when the header is refused.
    struct Info : jpeg_decompress_struct {
        ~Info() { jpeg_destroy_decompress(this); }
    };

    Info info_ = {};
    jpeg_error_mgr errors_ = {};
    jpeg_progress_mgr progress_ = {};
    std::array<char, JMSG_LENGTH_MAX> message_ = {};
    std::jmp_buf back_ = {};
};

// The planes that a file holds, or AV_PIX_FMT_NONE for what is no luma and chroma in a usual
// layout.
AVPixelFormat planesOf(const jpeg_decompress_struct& info) {
    if (info.jpeg_color_space == JCS_GRAYSCALE)
        return AV_PIX_FMT_GRAY8;
    if (info.jpeg_color_space != JCS_YCbCr)
        return AV_PIX_FMT_NONE;
    const jpeg_component_info* const c = info.comp_info;
    for (int i = 1; i < 3; ++i)
        if (c[i].h_samp_factor != c[1].h_samp_factor || c[i].v_samp_factor != c[1].v_samp_factor ||
            c[0].h_samp_factor % c[i].h_samp_factor != 0 ||
            c[0].v_samp_factor % c[i].v_samp_factor != 0)
            return AV_PIX_FMT_NONE;
    switch (c[0].h_samp_factor / c[1].h_samp_factor * 10 +
            c[0].v_samp_factor / c[1].v_samp_factor) {
    case 11: return AV_PIX_FMT_YUVJ444P;
    case 12: return AV_PIX_FMT_YUVJ440P;
    case 21: return AV_PIX_FMT_YUVJ422P;
    case 22: return AV_PIX_FMT_YUVJ420P;
    case 41: return AV_PIX_FMT_YUVJ411P;
    default: return AV_PIX_FMT_NONE;
    }
}

std::string pixelFormatOf(const jpeg_decompress_struct& info) {
    const AVPixelFormat planes = planesOf(info);
    if (planes != AV_PIX_FMT_NONE)
        return av_get_pix_fmt_name(planes);
    switch (info.jpeg_color_space) {
    case JCS_RGB: return "rgb24";
    case JCS_CMYK: return "cmyk";
    case JCS_YCCK: return "ycck";
    default: return "yuv";
    }
}

// Rows of whole pixels in the colours that `info` is set to.
FramePointer readRows(JpegDecoder& decoder, AVPixelFormat format) {
    jpeg_decompress_struct& info = decoder.info();
    decoder.run([&] { jpeg_start_decompress(&info); });
    FramePointer frame = makeFrame(static_cast<int>(info.output_width),
                                   static_cast<int>(info.output_height), format);
    decoder.run([&] {
        while (info.output_scanline < info.output_height) {
            constexpr JDIMENSION most = 16;
            JSAMPROW rows[most];
            const JDIMENSION count = std::min(most, info.output_height - info.output_scanline);
            for (JDIMENSION i = 0; i < count; ++i)
                rows[i] = frame->data[0] + int64_t{info.output_scanline + i} * frame->linesize[0];
            jpeg_read_scanlines(&info, rows, count);
        }
        jpeg_finish_decompress(&info);
    });
    return frame;
}

// The planes as they are stored, or with GRAY8 only the first. The decoder writes whole blocks, for
// which the frame has room.
FramePointer readPlanes(JpegDecoder& decoder, AVPixelFormat format) {
    jpeg_decompress_struct& info = decoder.info();
    const int count = av_pix_fmt_count_planes(format);
    for (int c = count; c < info.num_components; ++c)
        info.comp_info[c].component_needed = FALSE;
    const int blockWidth = info.max_h_samp_factor * DCTSIZE;
    const int blockHeight = info.max_v_samp_factor * DCTSIZE;
    const auto padded = [](JDIMENSION length, int block) {
        return (static_cast<int>(length) + block - 1) / block * block;
    };
    FramePointer frame = makeFrame(padded(info.image_width, blockWidth),
                                   padded(info.image_height, blockHeight), format);
    info.raw_data_out = TRUE;
    decoder.run([&] {
        jpeg_start_decompress(&info);
        JSAMPROW rows[3][4 * DCTSIZE];
        JSAMPARRAY planes[3] = {rows[0], rows[1], rows[2]};
        while (info.output_scanline < info.output_height) {
            for (int c = 0; c < count; ++c) {
                const int height = info.comp_info[c].v_samp_factor * DCTSIZE;
                const int64_t top = int64_t{info.output_scanline} / blockHeight * height;
                for (int y = 0; y < height; ++y)
                    rows[c][y] = frame->data[c] + (top + y) * frame->linesize[c];
            }
            jpeg_read_raw_data(&info, planes, static_cast<JDIMENSION>(blockHeight));
        }
        jpeg_finish_decompress(&info);
    });
    frame->width = static_cast<int>(info.image_width);
    frame->height = static_cast<int>(info.image_height);
    return frame;
}

// Ink to light: each colour is what its ink and black let through. Files from Adobe's programs,
// which nearly all are, hold the light already.
FramePointer withoutBlack(const AVFrame& inks, bool holdsLight) {
    FramePointer frame = makeFrame(inks.width, inks.height, AV_PIX_FMT_RGB24);
    for (int y = 0; y < inks.height; ++y) {
        const uint8_t* from = inks.data[0] + int64_t{y} * inks.linesize[0];
        uint8_t* to = frame->data[0] + int64_t{y} * frame->linesize[0];
        for (int x = 0; x < inks.width; ++x, from += 4)
            for (int c = 0; c < 3; ++c) {
                const int ink = holdsLight ? from[c] : 255 - from[c];
                const int black = holdsLight ? from[3] : 255 - from[3];
                *to++ = static_cast<uint8_t>((ink * black + 127) / 255);
            }
    }
    return frame;
}

// The smallest of the decoder's cheap reductions that leaves as many pixels as asked for.
void reduce(jpeg_decompress_struct& info, int32_t longerSide) {
    const auto longer = static_cast<int32_t>(std::max(info.image_width, info.image_height));
    info.scale_num = 1;
    info.scale_denom = 8;
    while (info.scale_denom > 1 && longer / static_cast<int32_t>(info.scale_denom) < longerSide)
        info.scale_denom /= 2;
}

FramePointer readPixels(JpegDecoder& decoder, const PictureRequest& request) {
    jpeg_decompress_struct& info = decoder.info();
    const AVPixelFormat planes = planesOf(info);
    if (request.longerSide > 0)
        reduce(info, request.longerSide);
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) {
        info.out_color_space = JCS_CMYK;
        return withoutBlack(*readRows(decoder, AV_PIX_FMT_RGB0), info.saw_Adobe_marker != FALSE);
    }
    if (planes != AV_PIX_FMT_NONE && info.scale_denom == 1)
        return readPlanes(decoder, request.lumaOnly ? AV_PIX_FMT_GRAY8 : planes);
    if (request.lumaOnly || planes == AV_PIX_FMT_GRAY8) {
        info.out_color_space = JCS_GRAYSCALE;
        return readRows(decoder, AV_PIX_FMT_GRAY8);
    }
    info.out_color_space = JCS_EXT_BGR;
    return readRows(decoder, AV_PIX_FMT_BGR24);
}

Orientation orientationIn(const jpeg_decompress_struct& info) {
    for (const jpeg_marker_struct* marker = info.marker_list; marker != nullptr;
         marker = marker->next)
        if (const auto found = exifOrientation({marker->data, marker->data_length}))
            return *found;
    return Orientation::upright;
}

} // namespace

StoredPicture decodeJpeg(std::span<const uint8_t> bytes, const PictureRequest& request) {
    JpegDecoder decoder(bytes);
    checkPictureSize(decoder.info().image_width, decoder.info().image_height);
    const Orientation orientation = orientationIn(decoder.info());
    StoredPicture picture = {.pixels = nullptr,
                             .orientation = orientation,
                             .form = {.orientation = static_cast<int>(orientation),
                                      .pixelFormat = pixelFormatOf(decoder.info()),
                                      .rendering = {}}};
    picture.pixels = readPixels(decoder, request);
    picture.pixels->color_range = AVCOL_RANGE_JPEG;
    return picture;
}

PictureSize jpegSize(std::span<const uint8_t> bytes) {
    JpegDecoder decoder(bytes);
    return {decoder.info().image_width, decoder.info().image_height};
}
