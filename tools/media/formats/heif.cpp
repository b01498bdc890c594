#include "media/formats/heif.h"

#include "media/formats/heif_codecs.h"
#include "media/formats/heif_orientation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include <libheif/heif.h>

namespace {

struct ContextDeleter {
    void operator()(heif_context* context) const { heif_context_free(context); }
};
struct HandleDeleter {
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
};
struct ImageDeleter {
    void operator()(heif_image* image) const { heif_image_release(image); }
};
struct NclxDeleter {
    void operator()(heif_color_profile_nclx* nclx) const { heif_nclx_color_profile_free(nclx); }
};
using ImagePointer = std::unique_ptr<heif_image, ImageDeleter>;
using NclxPointer = std::unique_ptr<heif_color_profile_nclx, NclxDeleter>;

void check(const heif_error& error) {
    if (error.code == heif_error_Memory_allocation_error &&
        error.subcode != heif_suberror_Security_limit_exceeded)
        throw std::bad_alloc();
    if (error.code == heif_error_Ok)
        return;
    const std::string reason = error.message;
    throw DecodeError(reason.substr(0, reason.find_last_not_of(" \n") + 1));
}

// Lets libheif read what it looks for.
class RangeReader {
public:
    explicit RangeReader(const ByteRange& range) : range_(range) {}

    static const heif_reader& functions() {
        static const heif_reader reader = {
            .reader_api_version = 1,
            .get_position = [](void* self) { return static_cast<RangeReader*>(self)->position_; },
            .read = [](void* to, size_t size,
                       void* self) { return static_cast<RangeReader*>(self)->read(to, size); },
            .seek =
                [](int64_t position, void* self) {
                    static_cast<RangeReader*>(self)->position_ = position;
                    return 0;
                },
            .wait_for_file_size =
                [](int64_t size, void* self) {
                    const auto& range = static_cast<RangeReader*>(self)->range_;
                    return size >= 0 && static_cast<uint64_t>(size) <= range.size()
                               ? heif_reader_grow_status_size_reached
                               : heif_reader_grow_status_size_beyond_eof;
                }};
        return reader;
    }

private:
    // Returns 0 for success.
    int read(void* to, size_t size) {
        const std::string bytes = range_.bytes(static_cast<uint64_t>(position_), size);
        if (bytes.size() != size)
            return 1;
        // libheif also reads nothing to nowhere, which memcpy does not allow.
        std::ranges::copy(bytes, static_cast<char*>(to));
        position_ += static_cast<int64_t>(size);
        return 0;
    }

    const ByteRange& range_;
    int64_t position_ = 0;
};

// The primary picture of a file whose bytes outlive it.
class PrimaryPicture {
public:
    explicit PrimaryPicture(std::span<const uint8_t> bytes) {
        check(heif_context_read_from_memory_without_copy(context_.get(), bytes.data(), bytes.size(),
                                                         nullptr));
        findPicture();
    }
    explicit PrimaryPicture(RangeReader& reader) {
        check(heif_context_read_from_reader(context_.get(), &RangeReader::functions(), &reader,
                                            nullptr));
        findPicture();
    }

    int width() const { return heif_image_handle_get_width(handle_.get()); }
    int height() const { return heif_image_handle_get_height(handle_.get()); }

    // The file's own word on range and matrix, or null.
    NclxPointer nclx() const {
        heif_color_profile_nclx* nclx = nullptr;
        heif_image_handle_get_nclx_color_profile(handle_.get(), &nclx);
        return NclxPointer(nclx);
    }

    ImagePointer decode(HeifCoding& coding) const {
        ImagePointer result;
        withHeifCoding(coding, [&] {
            heif_image* image = nullptr;
            const heif_error error = heif_decode_image(
                handle_.get(), &image, heif_colorspace_undefined, heif_chroma_undefined, nullptr);
            result.reset(image);
            check(error);
        });
        return result;
    }

    // The first block of a type; `contentType` tells blocks of MIME data apart.
    std::vector<uint8_t> metadata(const char* type, std::string_view contentType) const {
        std::array<heif_item_id, 16> ids = {};
        const int count = heif_image_handle_get_list_of_metadata_block_IDs(
            handle_.get(), type, ids.data(), static_cast<int>(ids.size()));
        for (const heif_item_id id : std::span(ids).first(static_cast<size_t>(count))) {
            if (heif_image_handle_get_metadata_content_type(handle_.get(), id) != contentType)
                continue;
            std::vector<uint8_t> data(heif_image_handle_get_metadata_size(handle_.get(), id));
            check(heif_image_handle_get_metadata(handle_.get(), id, data.data()));
            return data;
        }
        return {};
    }

private:
    static heif_context* newContext() {
        heif_context* const context = heif_context_alloc();
        if (context == nullptr)
            throw std::bad_alloc();
        // Whoever decodes several pictures does so on all cores already.
        heif_context_set_max_decoding_threads(context, 0);
        return context;
    }

    void findPicture() {
        heif_image_handle* handle = nullptr;
        check(heif_context_get_primary_image_handle(context_.get(), &handle));
        handle_.reset(handle);
    }

    std::unique_ptr<heif_context, ContextDeleter> context_{newContext()};
    std::unique_ptr<heif_image_handle, HandleDeleter> handle_;
};

AVPixelFormat formatOf(const HeifCoding& coding) {
    std::string name = coding.planes() == 1                          ? "gray"
                       : coding.matrix == HeifCoding::identityMatrix ? "gbrp"
                                                                     : "yuv444p";
    if (coding.bitDepth > 8)
        name += std::to_string(coding.bitDepth) + "le";
    const AVPixelFormat format = av_get_pix_fmt(name.c_str());
    if (format == AV_PIX_FMT_NONE)
        throw DecodeError(std::to_string(coding.bitDepth) + " bits a sample are not supported");
    return format;
}

// The channels that stand for luma and chroma, or for green, blue and red.
FramePointer copyPlanes(const heif_image* image, const HeifCoding& coding) {
    constexpr heif_channel channels[] = {heif_channel_R, heif_channel_G, heif_channel_B};
    const int width = heif_image_get_width(image, heif_channel_R);
    const int height = heif_image_get_height(image, heif_channel_R);
    checkPictureSize(width, height);
    FramePointer frame = makeFrame(width, height, formatOf(coding));
    const size_t rowBytes = static_cast<size_t>(width) * (coding.bitDepth > 8 ? 2 : 1);
    for (int i = 0; i < coding.planes(); ++i) {
        int pitch = 0;
        const uint8_t* const from = heif_image_get_plane_readonly(image, channels[i], &pitch);
        if (from == nullptr || heif_image_get_width(image, channels[i]) != width ||
            heif_image_get_height(image, channels[i]) != height ||
            heif_image_get_bits_per_pixel_range(image, channels[i]) != coding.bitDepth)
            throw DecodeError("its parts have different forms");
        for (int y = 0; y < height; ++y)
            std::memcpy(frame->data[i] + int64_t{y} * frame->linesize[i], from + int64_t{y} * pitch,
                        rowBytes);
    }
    return frame;
}

// Four bytes tell how many more lie before the TIFF header: "Exif\0\0", as a rule.
std::vector<uint8_t> exifOf(const std::vector<uint8_t>& block) {
    constexpr size_t offsetBytes = 4;
    size_t start = 0;
    for (size_t i = 0; i < offsetBytes && i < block.size(); ++i)
        start = start << 8 | block[i];
    if (block.size() < offsetBytes || start >= block.size() - offsetBytes)
        return {};
    std::vector<uint8_t> exif = {'E', 'x', 'i', 'f', 0, 0};
    exif.insert(exif.end(), block.begin() + static_cast<int64_t>(offsetBytes + start), block.end());
    return exif;
}

} // namespace

StoredPicture decodeHeif(std::span<const uint8_t> bytes, const PictureRequest& request) {
    const PrimaryPicture picture(bytes);
    checkPictureSize(picture.width(), picture.height());
    HeifCoding coding;
    coding.lumaOnly = request.lumaOnly;
    const NclxPointer nclx = picture.nclx();
    if (nclx)
        coding.matrix = nclx->matrix_coefficients;
    const ImagePointer image = picture.decode(coding);
    FramePointer frame = copyPlanes(image.get(), coding);
    if (coding.pixels < int64_t{frame->width} * frame->height)
        throw DecodeError("its parts do not cover the picture");
    const bool full = nclx ? nclx->full_range_flag != 0 : coding.fullRange;
    frame->color_range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    frame->colorspace = static_cast<AVColorSpace>(*coding.matrix);
    return {.pixels = std::move(frame),
            .orientation = Orientation::upright,
            .form = {.orientation = heifOrientation(bytes),
                     .pixelFormat = coding.pixelFormat,
                     .rendering = {}}};
}

HeifMetadata heifMetadata(const ByteRange& file) {
    RangeReader reader(file);
    try {
        const PrimaryPicture picture(reader);
        return {exifOf(picture.metadata("Exif", "")),
                picture.metadata("mime", "application/rdf+xml")};
    } catch (const DecodeError&) {
        return {}; // whoever decodes the picture says why
    }
}
