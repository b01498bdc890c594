#include "media/formats/jpeg_encoder.h"

#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace {

constexpr int fullChromaQuality = 90; // from here on the chroma keeps its resolution

// The encoder and what it writes. It returns from errors through longjmp, so that none of the
// frames that it leaves may own anything.
class JpegEncoder {
public:
    JpegEncoder() {
        info_.err = jpeg_std_error(&errors_);
        errors_.error_exit = [](j_common_ptr info) {
            auto& self = *static_cast<JpegEncoder*>(info->client_data);
            self.errors_.format_message(info, self.message_.data());
            std::longjmp(self.back_, 1); // NOLINT
        };
        errors_.output_message = [](j_common_ptr) {};
        info_.client_data = this;
    }
    ~JpegEncoder() {
        jpeg_destroy_compress(&info_);
        std::free(bytes_);
    }
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    std::string encode(const PixelsView& pixels, int quality) {
        if (setjmp(back_) != 0) // NOLINT: there is no other way out of the encoder
            throw EncodeError(message_.data());
        jpeg_create_compress(&info_);
        jpeg_mem_dest(&info_, &bytes_, &size_);
        writeTo(pixels, quality);
        return {reinterpret_cast<const char*>(bytes_), size_};
    }

private:
    void writeTo(const PixelsView& pixels, int quality) {
        info_.image_width = static_cast<JDIMENSION>(pixels.width);
        info_.image_height = static_cast<JDIMENSION>(pixels.height);
        info_.input_components = pixels.channels;
        info_.in_color_space = pixels.channels == 1 ? JCS_GRAYSCALE : JCS_EXT_BGR;
        jpeg_set_defaults(&info_);
        jpeg_set_quality(&info_, quality, TRUE);
        if (quality >= fullChromaQuality)
            info_.comp_info[0].h_samp_factor = info_.comp_info[0].v_samp_factor = 1;
        info_.optimize_coding = TRUE;
        jpeg_start_compress(&info_, TRUE);
        while (info_.next_scanline < info_.image_height) {
            auto* row = const_cast<JSAMPROW>(pixels.data + info_.next_scanline * pixels.pitch);
            jpeg_write_scanlines(&info_, &row, 1);
        }
        jpeg_finish_compress(&info_);
    }

    jpeg_compress_struct info_ = {};
    jpeg_error_mgr errors_ = {};
    std::array<char, JMSG_LENGTH_MAX> message_ = {};
    std::jmp_buf back_ = {};
    unsigned char* bytes_ = nullptr;
    unsigned long size_ = 0;
};

} // namespace

std::string encodeJpeg(const PixelsView& pixels, int quality) {
    return JpegEncoder().encode(pixels, quality);
}
