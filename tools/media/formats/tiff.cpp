#include "media/formats/tiff.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <tiffio.h>

namespace {

constexpr tmsize_t mostMemory = tmsize_t{1} << 30; // in one piece

struct TiffDeleter {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
struct OptionsDeleter {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

// An open file in memory, and what libtiff complains of.
class TiffFile {
public:
    explicit TiffFile(std::span<const uint8_t> bytes) : bytes_(bytes) {
        const std::unique_ptr<TIFFOpenOptions, OptionsDeleter> options(TIFFOpenOptionsAlloc());
        if (!options)
            throw std::bad_alloc();
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), mostMemory);
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), noteError, this);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), noteWarning, this);
        // "m": what is decoded is copied, and never the file itself changed.
        tiff_.reset(TIFFClientOpenExt("file", "rm", this, read, write, seek, close, size, nullptr,
                                      nullptr, options.get()));
        if (!tiff_)
            fail();
    }

    TIFF* get() const { return tiff_.get(); }

    // From now on warnings are about pixels.
    void startDecoding() { decoding_ = true; }

    // Throws when a step failed, or when libtiff complained although it went on.
    void check(bool succeeded) const {
        if (!succeeded || !complaint_.empty())
            fail();
    }

    template <typename Value>
    Value field(uint32_t tag) const {
        Value value = {};
        TIFFGetFieldDefaulted(tiff_.get(), tag, &value);
        return value;
    }

private:
    [[noreturn]] void fail() const {
        throw DecodeError("damaged TIFF data: " +
                          (complaint_.empty() ? std::string("it cannot be read") : complaint_));
    }

    static std::string textOf(const char* format, va_list values) {
        std::array<char, 256> text = {};
        std::vsnprintf(text.data(), text.size(), format, values);
        return text.data();
    }

    void note(const std::string& complaint) {
        if (complaint_.empty())
            complaint_ = complaint;
    }

    // Pixels that are warned of are missing. In a directory libtiff puts right what it warns of,
    // but not a palette, and not what lies behind the end of the file.
    bool meansLoss(const std::string& warning) const {
        if (decoding_)
            return !warning.starts_with("Deprecated"); // old JPEG
        return warning.find("ColorMap") != std::string::npos ||
               warning.find("IO error") != std::string::npos;
    }

    static int noteError(TIFF*, void* self, const char*, const char* format, va_list values) {
        static_cast<TiffFile*>(self)->note(textOf(format, values));
        return 1;
    }

    static int noteWarning(TIFF*, void* self, const char*, const char* format, va_list values) {
        auto& file = *static_cast<TiffFile*>(self);
        if (const std::string text = textOf(format, values); file.meansLoss(text))
            file.note(text);
        return 1;
    }

    static tmsize_t read(thandle_t self, void* to, tmsize_t size) {
        auto& file = *static_cast<TiffFile*>(self);
        const auto all = static_cast<uint64_t>(file.bytes_.size());
        const uint64_t left = file.position_ < all ? all - file.position_ : 0;
        const uint64_t count = std::min(static_cast<uint64_t>(std::max<tmsize_t>(size, 0)), left);
        if (count > 0)
            std::memcpy(to, file.bytes_.data() + file.position_, count);
        file.position_ += count;
        return static_cast<tmsize_t>(count);
    }

    static tmsize_t write(thandle_t, void*, tmsize_t) { return -1; }

    static toff_t seek(thandle_t self, toff_t offset, int whence) {
        auto& file = *static_cast<TiffFile*>(self);
        if (whence == SEEK_CUR)
            offset += file.position_;
        if (whence == SEEK_END)
            offset += file.bytes_.size();
        return file.position_ = offset;
    }

    static int close(thandle_t) { return 0; }
    static toff_t size(thandle_t self) { return static_cast<TiffFile*>(self)->bytes_.size(); }

    const std::span<const uint8_t> bytes_;
    uint64_t position_ = 0;
    std::string complaint_;
    bool decoding_ = false;
    std::unique_ptr<TIFF, TiffDeleter> tiff_; // the last: it calls the others
};

// Previews come first in some files.
void findFullPicture(const TiffFile& file) {
    do {
        if ((file.field<uint32_t>(TIFFTAG_SUBFILETYPE) & FILETYPE_REDUCEDIMAGE) == 0)
            return;
    } while (TIFFReadDirectory(file.get()) != 0);
    file.check(TIFFSetDirectory(file.get(), 0) != 0);
}

struct Layout {
    int width;
    int height;
    int bits;    // of a sample
    int samples; // of a pixel
    int colours; // of them: 1 or 3, 0 for what libtiff has to make RGB of
    bool isSeparate;
    bool isInverted;
};

// Files that do not say are taken as libtiff takes them.
uint16_t photometricOf(const TiffFile& file) {
    uint16_t value = 0;
    if (TIFFGetField(file.get(), TIFFTAG_PHOTOMETRIC, &value) != 0)
        return value;
    return file.field<uint16_t>(TIFFTAG_SAMPLESPERPIXEL) < 3 ? PHOTOMETRIC_MINISBLACK
                                                             : PHOTOMETRIC_RGB;
}

Layout layoutOf(const TiffFile& file) {
    const auto width = file.field<uint32_t>(TIFFTAG_IMAGEWIDTH);
    const auto height = file.field<uint32_t>(TIFFTAG_IMAGELENGTH);
    checkPictureSize(width, height);
    const auto photometric = photometricOf(file);
    const auto format = file.field<uint16_t>(TIFFTAG_SAMPLEFORMAT);
    Layout layout = {.width = static_cast<int>(width),
                     .height = static_cast<int>(height),
                     .bits = file.field<uint16_t>(TIFFTAG_BITSPERSAMPLE),
                     .samples = file.field<uint16_t>(TIFFTAG_SAMPLESPERPIXEL),
                     .colours = 0,
                     .isSeparate =
                         file.field<uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE,
                     .isInverted = photometric == PHOTOMETRIC_MINISWHITE};
    if (format == SAMPLEFORMAT_INT || format == SAMPLEFORMAT_IEEEFP)
        throw DecodeError("TIFF with samples that are no natural numbers is not supported");
    if (layout.bits != 8 && layout.bits != 16)
        return layout;
    if (layout.isInverted || photometric == PHOTOMETRIC_MINISBLACK)
        layout.colours = 1;
    else if (photometric == PHOTOMETRIC_RGB && layout.samples >= 3)
        layout.colours = 3;
    return layout;
}

std::string pixelFormatOf(const TiffFile& file, const Layout& layout) {
    const auto photometric = photometricOf(file);
    if (layout.bits == 1)
        return layout.isInverted ? "monow" : "monob";
    if (photometric == PHOTOMETRIC_PALETTE)
        return "pal8";
    if (photometric == PHOTOMETRIC_SEPARATED)
        return "cmyk";
    if (photometric == PHOTOMETRIC_YCBCR)
        return "yuv";
    if (layout.samples < 3)
        return layout.bits == 16 ? "gray16le" : "gray";
    return layout.bits == 16 ? "rgb48le" : "rgb24";
}

// A strip or a tile: where it lies, how long its rows are, and how many of its pixels are in the
// picture.
struct Block {
    int left, top;
    int64_t pitch; // in samples
    int width, height;
};

// Copies the colours of a block, leaving out further samples.
template <typename Sample>
void copyBlock(const Layout& layout, const Block& block, const Sample* from, int firstColour,
               AVFrame& frame) {
    const int step = layout.isSeparate ? 1 : layout.samples;
    const int count = layout.isSeparate ? 1 : layout.colours;
    for (int y = 0; y < block.height; ++y) {
        const Sample* source = from + y * block.pitch;
        auto* target =
            reinterpret_cast<Sample*>(frame.data[0] + int64_t{block.top + y} * frame.linesize[0]) +
            int64_t{block.left} * layout.colours + firstColour;
        for (int x = 0; x < block.width; ++x, source += step, target += layout.colours)
            for (int c = 0; c < count; ++c)
                target[c] = layout.isInverted ? static_cast<Sample>(~source[c]) : source[c];
    }
}

class BlockReader {
public:
    BlockReader(TiffFile& file, const Layout& layout, AVFrame& frame)
        : file_(file), tiff_(file.get()), layout_(layout), frame_(frame) {}

    void read() {
        const bool tiled = TIFFIsTiled(tiff_) != 0;
        const auto width =
            tiled ? file_.field<uint32_t>(TIFFTAG_TILEWIDTH) : static_cast<uint32_t>(layout_.width);
        const auto height = tiled ? file_.field<uint32_t>(TIFFTAG_TILELENGTH)
                                  : std::min(file_.field<uint32_t>(TIFFTAG_ROWSPERSTRIP),
                                             static_cast<uint32_t>(layout_.height));
        const tmsize_t size = tiled ? TIFFTileSize(tiff_) : TIFFStripSize(tiff_);
        const auto blockWidth = static_cast<int>(width), blockHeight = static_cast<int>(height);
        file_.check(size > 0);
        if (size > mostMemory)
            throw DecodeError(fmt::format("a TIFF block of {} bytes is too large", size));
        size_ = size;
        buffer_ = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(size));
        for (int plane = 0; plane < (layout_.isSeparate ? layout_.colours : 1); ++plane)
            for (int top = 0; top < layout_.height; top += blockHeight)
                for (int left = 0; left < layout_.width; left += blockWidth)
                    readBlock(left, top, blockWidth, blockHeight, plane, tiled);
    }

private:
    void readBlock(int left, int top, int width, int height, int plane, bool tiled) {
        const Block block = {left, top, int64_t{width} * (layout_.isSeparate ? 1 : layout_.samples),
                             std::min(width, layout_.width - left),
                             std::min(height, layout_.height - top)};
        // Of the last strip only the rows that are there.
        const tmsize_t wanted = block.pitch * (tiled ? height : block.height) * (layout_.bits / 8);
        file_.check(wanted <= size_);
        const auto x = static_cast<uint32_t>(left), y = static_cast<uint32_t>(top);
        const auto sample = static_cast<uint16_t>(plane);
        const tmsize_t got =
            tiled ? TIFFReadEncodedTile(tiff_, TIFFComputeTile(tiff_, x, y, 0, sample),
                                        buffer_.get(), wanted)
                  : TIFFReadEncodedStrip(tiff_, TIFFComputeStrip(tiff_, y, sample), buffer_.get(),
                                         wanted);
        file_.check(got == wanted);
        if (layout_.bits == 8)
            copyBlock(layout_, block, buffer_.get(), plane, frame_);
        else
            copyBlock(layout_, block, reinterpret_cast<const uint16_t*>(buffer_.get()), plane,
                      frame_);
    }

    TiffFile& file_;
    TIFF* const tiff_;
    const Layout& layout_;
    AVFrame& frame_;
    std::unique_ptr<uint8_t[]> buffer_;
    tmsize_t size_ = 0;
};

FramePointer readSamples(TiffFile& file, const Layout& layout) {
    const bool wide = layout.bits == 16;
    FramePointer frame = makeFrame(layout.width, layout.height,
                                   layout.colours == 1 ? wide ? AV_PIX_FMT_GRAY16 : AV_PIX_FMT_GRAY8
                                   : wide              ? AV_PIX_FMT_RGB48
                                                       : AV_PIX_FMT_RGB24);
    BlockReader(file, layout, *frame).read();
    return frame;
}

struct Converter : TIFFRGBAImage {
    explicit Converter(const TiffFile& file) : TIFFRGBAImage{} {
        char message[1024] = "";
        if (TIFFRGBAImageOK(file.get(), message) == 0 ||
            TIFFRGBAImageBegin(this, file.get(), 1, message) == 0) {
            file.check(true);
            throw DecodeError(std::string("TIFF that libtiff cannot convert: ") + message);
        }
        req_orientation = orientation; // as stored
    }
    ~Converter() { TIFFRGBAImageEnd(this); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
};

// Pixels of libtiff have red in their lowest byte, and rows without padding.
FramePointer convertSamples(TiffFile& file, const Layout& layout) {
    Converter converter(file);
    FramePointer frame = newFrame();
    frame->format = AV_PIX_FMT_RGB0;
    frame->width = layout.width;
    frame->height = layout.height;
    if (av_frame_get_buffer(frame.get(), 1) < 0)
        throw std::bad_alloc();
    file.check(frame->linesize[0] == 4 * layout.width &&
               TIFFRGBAImageGet(&converter, reinterpret_cast<uint32_t*>(frame->data[0]),
                                converter.width, converter.height) != 0);
    return frame;
}

} // namespace

StoredPicture decodeTiff(std::span<const uint8_t> bytes, const PictureRequest&) {
    TiffFile file(bytes);
    findFullPicture(file);
    const Layout layout = layoutOf(file);
    const auto compression = file.field<uint16_t>(TIFFTAG_COMPRESSION);
    if (TIFFIsCODECConfigured(compression) == 0)
        throw DecodeError(fmt::format("TIFF of compression {} is not supported", compression));
    file.startDecoding();
    const Orientation orientation = orientationOf(file.field<uint16_t>(TIFFTAG_ORIENTATION));
    return {.pixels = layout.colours > 0 ? readSamples(file, layout) : convertSamples(file, layout),
            .orientation = orientation,
            .form = {.orientation = static_cast<int>(orientation),
                     .pixelFormat = pixelFormatOf(file, layout),
                     .rendering = {}}};
}
