#include "media/formats/raw.h"

#include "media/formats/jpeg.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <libraw/libraw.h>

namespace {

// The bytes of a file. LibRaw's own class takes text from them as if a zero came after them, and
// leaves memory as it was where they end too early.
class RawBytes : public LibRaw_buffer_datastream {
public:
    explicit RawBytes(std::span<const uint8_t> bytes)
        : LibRaw_buffer_datastream(const_cast<uint8_t*>(bytes.data()), bytes.size()) {}

    int read(void* to, size_t size, size_t count) override {
        const auto left = static_cast<size_t>(this->size() - tell());
        if (size * count > left) {
            std::memset(static_cast<uint8_t*>(to) + left, 0, size * count - left);
            missingBlocks_ += size * count - left;
        }
        return LibRaw_buffer_datastream::read(to, size, count);
    }

    int get_char() override {
        const int value = LibRaw_buffer_datastream::get_char();
        missingBytes_ += value < 0 ? 1 : 0;
        return value;
    }

    int scanf_one(const char* format, void* value) override {
        std::array<char, 32> text = {};
        const INT64 start = tell();
        const int count = LibRaw_buffer_datastream::read(text.data(), 1, text.size() - 1);
        const int found = count > 0 ? std::sscanf(text.data(), format, value) : 0;
        const size_t length = std::strcspn(text.data() + 1, " \t\n") + 1;
        seek(found > 0 ? start + static_cast<INT64>(length) : start, SEEK_SET);
        return found;
    }

    // Whether more was read behind the end than decoders do that read ahead.
    bool isCut() const { return missingBytes_ > 64 || missingBlocks_ > 16384; }

private:
    size_t missingBytes_ = 0;
    size_t missingBlocks_ = 0;
};

// LibRaw's flip: 1 mirrors columns and 2 rows, after 4 has exchanged them.
Orientation orientationOfFlip(int flip) {
    constexpr std::array exif = {1, 2, 4, 3, 5, 8, 6, 7};
    return orientationOf(exif[static_cast<size_t>(flip & 7)]);
}

class RawFile {
public:
    explicit RawFile(std::span<const uint8_t> bytes)
        : bytes_(bytes), raw_(std::make_unique<LibRaw>(LIBRAW_OPIONS_NO_MEMERR_CALLBACK |
                                                       LIBRAW_OPIONS_NO_DATAERR_CALLBACK)) {
        raw_->imgdata.params.max_raw_memory_mb = 1024;
        check(raw_->open_datastream(&bytes_));
        const libraw_image_sizes_t& sizes = raw_->imgdata.sizes;
        checkPictureSize(sizes.raw_width, sizes.raw_height);
        checkPictureSize(sizes.width, sizes.height);
        width_ = sizes.width;
        height_ = sizes.height;
        orientation_ = orientationOfFlip(sizes.flip);
    }

    int64_t longerSide() const { return std::max(width_, height_); }
    Orientation orientation() const { return orientation_; }

    // The JPEG file inside, or nothing.
    std::span<const uint8_t> preview() {
        const int error = raw_->unpack_thumb();
        if (error == LIBRAW_NO_THUMBNAIL || error == LIBRAW_UNSUPPORTED_THUMBNAIL)
            return {};
        check(error);
        const libraw_thumbnail_t& thumbnail = raw_->imgdata.thumbnail;
        if (thumbnail.tformat != LIBRAW_THUMBNAIL_JPEG)
            return {};
        return {reinterpret_cast<const uint8_t*>(thumbnail.thumb), thumbnail.tlength};
    }

    // Which way a preview of this size is to be turned. Its own word counts where it has one, but
    // some are upright already, and some say nothing: what comes out must lie as the raw picture.
    Orientation orientationOfPreview(int64_t width, int64_t height, Orientation own) const {
        const bool wide = (width_ >= height_) != exchangesSides(orientation_);
        for (const Orientation candidate : {own, orientation_})
            if (candidate != Orientation::upright &&
                ((width >= height) != exchangesSides(candidate)) == wide)
                return candidate;
        return Orientation::upright;
    }

    FramePointer demosaic() {
        libraw_output_params_t& params = raw_->imgdata.params;
        params.half_size = 1;
        params.output_bps = 8;
        params.output_color = 1; // sRGB, and its curve
        params.gamm[0] = 1 / 2.4;
        params.gamm[1] = 12.92;
        params.use_camera_wb = 1;
        params.no_auto_bright = 1;
        params.adjust_maximum_thr = 0;
        params.user_flip = 0;
        check(raw_->unpack());
        if (raw_->error_count() > 0 || bytes_.isCut())
            throw DecodeError("damaged raw data");
        check(raw_->dcraw_process());
        return processed();
    }

private:
    struct ImageDeleter {
        void operator()(libraw_processed_image_t* image) const { LibRaw::dcraw_clear_mem(image); }
    };

    static void check(int error) {
        if (error == LIBRAW_UNSUFFICIENT_MEMORY)
            throw std::bad_alloc();
        if (error == LIBRAW_FILE_UNSUPPORTED)
            throw DecodeError("LibRaw does not know this camera's raw format");
        if (error > 0) // the system's
            throw DecodeError(std::strerror(error));
        if (error != LIBRAW_SUCCESS)
            throw DecodeError(std::string("damaged raw file: ") + LibRaw::strerror(error));
    }

    FramePointer processed() {
        int error = LIBRAW_SUCCESS;
        const std::unique_ptr<libraw_processed_image_t, ImageDeleter> image(
            raw_->dcraw_make_mem_image(&error));
        check(error);
        if (!image || image->type != LIBRAW_IMAGE_BITMAP || image->bits != 8 ||
            (image->colors != 1 && image->colors != 3))
            throw DecodeError("LibRaw makes no picture of it");
        FramePointer frame = makeFrame(image->width, image->height,
                                       image->colors == 1 ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_RGB24);
        const auto rowBytes = static_cast<size_t>(image->width) * image->colors;
        for (size_t y = 0; y < image->height; ++y)
            std::copy_n(image->data + y * rowBytes, rowBytes,
                        frame->data[0] + static_cast<int64_t>(y) * frame->linesize[0]);
        return frame;
    }

    RawBytes bytes_;
    std::unique_ptr<LibRaw> raw_; // too large for the stack
    int64_t width_ = 0;
    int64_t height_ = 0;
    Orientation orientation_ = Orientation::upright;
};

} // namespace

StoredPicture decodeRaw(std::span<const uint8_t> bytes, const PictureRequest& request) {
    RawFile file(bytes);
    const std::span<const uint8_t> preview = file.preview();
    if (!preview.empty()) {
        const PictureSize size = jpegSize(preview);
        if (2 * std::max(size.width, size.height) >= file.longerSide()) {
            StoredPicture picture = decodeJpeg(preview, request);
            picture.orientation =
                file.orientationOfPreview(size.width, size.height, picture.orientation);
            picture.form.orientation = static_cast<int>(file.orientation());
            picture.form.rendering = "embedded preview";
            return picture;
        }
    }
    StoredPicture picture = {.pixels = file.demosaic(),
                             .orientation = file.orientation(),
                             .form = {.orientation = static_cast<int>(file.orientation()),
                                      .pixelFormat = {},
                                      .rendering = "half-size demosaic"}};
    picture.form.pixelFormat = pixelFormatName(*picture.pixels);
    return picture;
}
