#include "media/formats/heif_codecs.h"

#include "media/formats/av1.h"
#include "media/formats/hevc.h"
#include "media/picture_decoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

namespace {

struct Call {
    HeifCoding& coding;
    std::exception_ptr failure;
};
thread_local Call* current = nullptr; // libheif hands nothing on to its decoders

constexpr heif_error success = {heif_error_Ok, heif_suberror_Unspecified, "Success"};
constexpr heif_error failure = {heif_error_Decoder_plugin_error, heif_suberror_Unspecified,
                                "Decoder plugin error"};

std::string nameOf(const CodedPlanes& coded, bool isGbr) {
    std::string name = "gray";
    if (isGbr)
        name = "gbrp";
    else if (coded.count == 3)
        name = coded.chromaShiftX == 0   ? "yuv444p"
               : coded.chromaShiftY == 0 ? "yuv422p"
                                         : "yuv420p";
    return coded.bitDepth == 8 ? name : fmt::format("{}{}le", name, coded.bitDepth);
}

// Copies a plane, and repeats each sample where the plane is smaller than the picture.
template <typename Sample>
void copyPlane(const CodedPlanes& coded, size_t index, uint8_t* to, int pitch) {
    const CodedPlanes::Plane& plane = coded.planes[index];
    const int shiftX = index == 0 ? 0 : coded.chromaShiftX;
    const int shiftY = index == 0 ? 0 : coded.chromaShiftY;
    for (int y = 0; y < coded.height; ++y) {
        const auto* const row =
            reinterpret_cast<const Sample*>(plane.data + (y >> shiftY) * plane.pitch);
        auto* const target = reinterpret_cast<Sample*>(to + int64_t{y} * pitch);
        if (shiftX == 0)
            std::memcpy(target, row, static_cast<size_t>(coded.width) * sizeof(Sample));
        else
            for (int x = 0; x < coded.width; ++x)
                target[x] = row[x >> 1];
    }
}

void addPlane(const CodedPlanes& coded, size_t index, heif_channel channel, heif_image* image) {
    int pitch = 0;
    const heif_error error =
        heif_image_add_plane(image, channel, coded.width, coded.height, coded.bitDepth);
    uint8_t* const to = heif_image_get_plane(image, channel, &pitch);
    if (error.code != heif_error_Ok || to == nullptr)
        throw std::bad_alloc();
    if (coded.sampleBytes == 1)
        copyPlane<uint8_t>(coded, index, to, pitch);
    else
        copyPlane<uint16_t>(coded, index, to, pitch);
}

void note(const CodedPlanes& coded, HeifCoding& coding) {
    if (!coding.matrix)
        coding.matrix = coded.matrix;
    const std::string name =
        nameOf(coded, *coding.matrix == HeifCoding::identityMatrix && coded.count == 3);
    if (coding.pixelFormat.empty()) {
        coding.pixelFormat = name;
        coding.bitDepth = coded.bitDepth;
        coding.fullRange = coded.fullRange;
        coding.hasChroma = coded.count == 3;
    }
    if (coding.pixelFormat == name)
        coding.pixels += int64_t{coded.width} * coded.height;
}

void convert(const CodedPlanes& coded, HeifCoding& coding, heif_image** result) {
    note(coded, coding);
    if (heif_image_create(coded.width, coded.height, heif_colorspace_RGB, heif_chroma_444, result)
            .code != heif_error_Ok)
        throw std::bad_alloc();
    constexpr heif_channel channels[] = {heif_channel_R, heif_channel_G, heif_channel_B};
    for (int i = 0; i < std::min(coding.planes(), coded.count); ++i)
        addPlane(coded, static_cast<size_t>(i), channels[i], *result);
}

using Stream = std::vector<uint8_t>;

// Exceptions do not pass through libheif.
template <typename Step>
heif_error guarded(Step step) {
    try {
        step();
        return success;
    } catch (...) {
        if (current != nullptr && !current->failure)
            current->failure = std::current_exception();
        return failure;
    }
}

template <heif_compression_format format, auto decode>
heif_error decodeImage(void* decoder, heif_image** result) {
    *result = nullptr;
    const heif_error error = guarded([&] {
        if (current == nullptr)
            throw std::logic_error("libheif decodes on another thread");
        decode(*static_cast<Stream*>(decoder),
               [&](const CodedPlanes& coded) { convert(coded, current->coding, result); });
    });
    if (error.code != heif_error_Ok && *result != nullptr)
        heif_image_release(std::exchange(*result, nullptr));
    return error;
}

template <heif_compression_format format, auto decode>
constexpr heif_decoder_plugin makePlugin(const char* name) {
    return {
        .plugin_api_version = 3,
        .get_plugin_name = []() -> const char* { return "Kelvane"; },
        .init_plugin = nullptr,
        .deinit_plugin = nullptr,
        .does_support_format =
            [](heif_compression_format asked) {
                return asked == format ? 1000 : 0; // more than any decoder of libheif's own
            },
        .new_decoder = [](void** decoder) { return guarded([&] { *decoder = new Stream; }); },
        .free_decoder = [](void* decoder) { delete static_cast<Stream*>(decoder); },
        .push_data =
            [](void* decoder, const void* data, size_t size) {
                return guarded([&] {
                    const auto* const bytes = static_cast<const uint8_t*>(data);
                    auto& stream = *static_cast<Stream*>(decoder);
                    stream.insert(stream.end(), bytes, bytes + size);
                });
            },
        .decode_image = decodeImage<format, decode>,
        .set_strict_decoding = nullptr,
        .id_name = name,
    };
}

void registerDecoders() {
    static const heif_decoder_plugin hevc =
        makePlugin<heif_compression_HEVC, decodeHevc>("kelvane-hevc");
    static const heif_decoder_plugin av1 =
        makePlugin<heif_compression_AV1, decodeAv1>("kelvane-av1");
    static const bool registered = [] {
        for (const heif_decoder_plugin* plugin : {&hevc, &av1})
            if (heif_register_decoder_plugin(plugin).code != heif_error_Ok)
                throw std::logic_error("libheif takes no decoder");
        return true;
    }();
    static_cast<void>(registered);
}

} // namespace

void withHeifCoding(HeifCoding& coding, const std::function<void()>& call) {
    registerDecoders();
    Call running = {coding, nullptr};
    current = &running;
    try {
        call();
    } catch (...) {
        if (!running.failure)
            running.failure = std::current_exception();
    }
    current = nullptr;
    if (running.failure)
        std::rethrow_exception(running.failure);
}
