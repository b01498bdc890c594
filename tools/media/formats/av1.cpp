#include "media/formats/av1.h"

#include "media/picture_decoder.h"

#include <new>

#include <aom/aom_decoder.h>
#include <aom/aomdx.h>

namespace {

// Releases what it has when the picture has been visited.
struct Decoder {
    Decoder() {
        const aom_codec_dec_cfg_t settings = {.threads = 1, .w = 0, .h = 0, .allow_lowbitdepth = 1};
        if (aom_codec_dec_init(&context, aom_codec_av1_dx(), &settings, 0) != AOM_CODEC_OK)
            throw std::bad_alloc();
    }
    ~Decoder() { aom_codec_destroy(&context); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    void check(aom_codec_err_t error) {
        if (error == AOM_CODEC_MEM_ERROR)
            throw std::bad_alloc();
        if (error == AOM_CODEC_OK)
            return;
        const char* const detail = aom_codec_error_detail(&context);
        throw DecodeError(std::string("damaged AV1 data: ") +
                          (detail != nullptr ? detail : aom_codec_err_to_string(error)));
    }

    aom_codec_ctx_t context = {};
};

// Before there is memory for a size that no picture has.
void checkSize(std::span<const uint8_t> stream) {
    aom_codec_stream_info_t info = {};
    if (aom_codec_peek_stream_info(aom_codec_av1_dx(), stream.data(), stream.size(), &info) ==
        AOM_CODEC_OK)
        checkPictureSize(info.w, info.h);
}

CodedPlanes planesOf(const aom_image_t& image) {
    CodedPlanes coded = {.width = static_cast<int>(image.d_w),
                         .height = static_cast<int>(image.d_h),
                         .bitDepth = static_cast<int>(image.bit_depth),
                         .sampleBytes = (image.fmt & AOM_IMG_FMT_HIGHBITDEPTH) != 0 ? 2 : 1,
                         .count = image.monochrome != 0 ? 1 : 3,
                         .chromaShiftX = static_cast<int>(image.x_chroma_shift),
                         .chromaShiftY = static_cast<int>(image.y_chroma_shift),
                         .fullRange = image.range == AOM_CR_FULL_RANGE,
                         .matrix = image.mc,
                         .planes = {}};
    for (size_t i = 0; i < static_cast<size_t>(coded.count); ++i)
        coded.planes[i] = {image.planes[i], image.stride[i]};
    return coded;
}

} // namespace

void decodeAv1(std::span<const uint8_t> stream, const CodedPlanesVisitor& visit) {
    checkSize(stream);
    Decoder decoder;
    decoder.check(aom_codec_decode(&decoder.context, stream.data(), stream.size(), nullptr));
    aom_codec_iter_t position = nullptr;
    const aom_image_t* const image = aom_codec_get_frame(&decoder.context, &position);
    int isCorrupt = 0;
    decoder.check(aom_codec_control(&decoder.context, AOMD_GET_FRAME_CORRUPTED, &isCorrupt));
    if (image == nullptr || isCorrupt != 0)
        throw DecodeError("damaged AV1 data");
    visit(planesOf(*image));
}
