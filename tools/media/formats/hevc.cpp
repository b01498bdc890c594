#include "media/formats/hevc.h"

#include "media/picture_decoder.h"

#include <memory>
#include <new>

#include <libde265/de265.h>

namespace {

struct Deleter {
    void operator()(de265_decoder_context* context) const { de265_free_decoder(context); }
};
using ContextPointer = std::unique_ptr<de265_decoder_context, Deleter>;

[[noreturn]] void fail(de265_error error) {
    if (error == DE265_ERROR_OUT_OF_MEMORY)
        throw std::bad_alloc();
    throw DecodeError(std::string("damaged HEVC data: ") + de265_get_error_text(error));
}

// What is said of how a stream is decoded, not of what it holds.
bool isHarmless(de265_error warning) {
    return warning == DE265_WARNING_NO_WPP_CANNOT_USE_MULTITHREADING ||
           warning == DE265_WARNING_SPS_MISSING_CANNOT_DECODE_SEI;
}

// Refuses sizes that no picture has before there is memory for them.
int getBuffer(de265_decoder_context* context, de265_image_spec* spec, de265_image* image,
              void* tooLarge) {
    try {
        checkPictureSize(spec->width, spec->height);
    } catch (const DecodeError&) {
        *static_cast<bool*>(tooLarge) = true;
        return 0;
    }
    return de265_get_default_image_allocation_functions()->get_buffer(context, spec, image,
                                                                      nullptr);
}

void releaseBuffer(de265_decoder_context* context, de265_image* image, void*) {
    de265_get_default_image_allocation_functions()->release_buffer(context, image, nullptr);
}

void push(de265_decoder_context* context, std::span<const uint8_t> stream) {
    constexpr size_t lengthBytes = 4;
    while (!stream.empty()) {
        size_t length = 0;
        for (size_t i = 0; i < lengthBytes && i < stream.size(); ++i)
            length = length << 8 | stream[i];
        if (stream.size() < lengthBytes || length > stream.size() - lengthBytes)
            throw DecodeError("damaged HEVC data: a unit is cut");
        const de265_error error = de265_push_NAL(context, stream.data() + lengthBytes,
                                                 static_cast<int>(length), 0, nullptr);
        if (error != DE265_OK)
            fail(error);
        stream = stream.subspan(lengthBytes + length);
    }
}

// Until the picture is there: more of them would wait for it to be taken.
void decode(de265_decoder_context* context) {
    int more = 1;
    while (more != 0 && de265_peek_next_picture(context) == nullptr) {
        more = 0;
        const de265_error error = de265_decode(context, &more);
        if (!de265_isOK(error))
            fail(error);
    }
    for (de265_error warning; (warning = de265_get_warning(context)) != DE265_OK;)
        if (!isHarmless(warning))
            fail(warning);
}

CodedPlanes planesOf(const de265_image* image) {
    const de265_chroma chroma = de265_get_chroma_format(image);
    CodedPlanes coded = {.width = de265_get_image_width(image, 0),
                         .height = de265_get_image_height(image, 0),
                         .bitDepth = de265_get_bits_per_pixel(image, 0),
                         .count = chroma == de265_chroma_mono ? 1 : 3,
                         .chromaShiftX = chroma == de265_chroma_444 ? 0 : 1,
                         .chromaShiftY = chroma == de265_chroma_420 ? 1 : 0,
                         .fullRange = de265_get_image_full_range_flag(image) != 0,
                         .matrix = de265_get_image_matrix_coefficients(image),
                         .planes = {}};
    coded.sampleBytes = coded.bitDepth > 8 ? 2 : 1;
    for (int i = 0; i < coded.count; ++i) {
        if (de265_get_bits_per_pixel(image, i) != coded.bitDepth)
            throw DecodeError("luma and chroma have different numbers of bits");
        int pitch = 0;
        const uint8_t* const data = de265_get_image_plane(image, i, &pitch);
        coded.planes[static_cast<size_t>(i)] = {data, pitch};
    }
    return coded;
}

} // namespace

void decodeHevc(std::span<const uint8_t> stream, const CodedPlanesVisitor& visit) {
    const ContextPointer context(de265_new_decoder());
    if (!context)
        throw std::bad_alloc();
    de265_set_parameter_bool(context.get(), DE265_DECODER_PARAM_BOOL_SEI_CHECK_HASH, 1);
    bool tooLarge = false;
    de265_image_allocation allocation = {getBuffer, releaseBuffer};
    de265_set_image_allocation_functions(context.get(), &allocation, &tooLarge);
    push(context.get(), stream);
    de265_flush_data(context.get());
    try {
        decode(context.get());
    } catch (const std::bad_alloc&) {
        if (!tooLarge)
            throw;
    }
    if (tooLarge)
        throw DecodeError("damaged HEVC data: a size that no picture has");
    const de265_image* const image = de265_get_next_picture(context.get());
    if (image == nullptr)
        throw DecodeError("damaged HEVC data: there is no picture in it");
    visit(planesOf(image));
}
