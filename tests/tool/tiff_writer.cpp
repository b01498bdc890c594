#include "tiff_writer.h"

#include <cstdio>
#include <fstream>

#include <tiffio.h>

namespace {

int number(const Keys& keys, const char* key, int usual) {
    const auto found = keys.find(key);
    return found == keys.end() ? usual : std::stoi(found->second);
}

std::string text(const Keys& keys, const char* key, const char* usual) {
    const auto found = keys.find(key);
    return found == keys.end() ? usual : found->second;
}

// What `write` does with a file that libtiff has opened.
template <typename Write>
std::string written(const char* mode, Write write) {
    FILE* const file = std::tmpfile();
    TIFF* const tiff = TIFFFdOpen(fileno(file), "kelvane", mode);
    write(tiff);
    TIFFFlush(tiff);
    std::string bytes(static_cast<size_t>(std::fseek(file, 0, SEEK_END) + std::ftell(file)), '\0');
    std::rewind(file);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
    TIFFCleanup(tiff);
    std::fclose(file);
    return bytes;
}

void setSize(TIFF* tiff, int width, int height, int bits, int samples, int photometric) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
}

// The grey of one pixel as samples of one bit or more, most significant first.
class SampleWriter {
public:
    SampleWriter(std::vector<uint8_t>& bytes, int bits) : bytes_(bytes), bits_(bits) {}

    void put(int grey) {
        if (bits_ == 16)
            return put16(static_cast<uint16_t>(grey * 257));
        const int value = grey >> (8 - bits_);
        if (used_ == 0)
            bytes_.push_back(0);
        bytes_.back() = static_cast<uint8_t>(bytes_.back() | value << (8 - bits_ - used_));
        used_ = (used_ + bits_) % 8;
    }

    void endRow() { used_ = 0; }

private:
    void put16(uint16_t value) { // as this machine has it
        bytes_.push_back(static_cast<uint8_t>(value));
        bytes_.push_back(static_cast<uint8_t>(value >> 8));
    }

    std::vector<uint8_t>& bytes_;
    const int bits_;
    int used_ = 0;
};

// Neutral in every colour space.
int sampleOf(int grey, int photometric, int c) {
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE: return 255 - grey;
    case PHOTOMETRIC_YCBCR: return c == 0 ? grey : 128;
    case PHOTOMETRIC_SEPARATED: return c == 3 ? 0 : 255 - grey;
    default: return grey;
    }
}

struct Block {
    int left, top, width, height;
};

// `planes`: the samples from `first` to before `last`.
std::vector<uint8_t> samplesOf(const Drawing& picture, const Block& block, int bits,
                               int photometric, int first, int last) {
    std::vector<uint8_t> bytes;
    SampleWriter writer(bytes, bits);
    for (int y = block.top; y < block.top + block.height; ++y, writer.endRow())
        for (int x = block.left; x < block.left + block.width; ++x) {
            const auto at = static_cast<size_t>(std::min(y, picture.height - 1) * picture.width +
                                                std::min(x, picture.width - 1)) *
                            static_cast<size_t>(picture.channels);
            for (int c = first; c < last; ++c)
                writer.put(sampleOf(
                    picture
                        .pixels[at + (picture.channels == 3 && c < 3 ? static_cast<size_t>(c) : 0)],
                    photometric, c));
        }
    return bytes;
}

void writeBlocks(TIFF* tiff, const Drawing& picture, const Keys& keys, int photometric,
                 int samples) {
    const int bits = number(keys, "bits", 8), tile = number(keys, "tile", 0);
    const int rows = std::min(number(keys, "rows", picture.height), picture.height);
    const bool separate = number(keys, "planes", 0) != 0;
    const int width = tile > 0 ? tile : picture.width, height = tile > 0 ? tile : rows;
    uint32_t index = 0;
    for (int plane = 0; plane < (separate ? samples : 1); ++plane)
        for (int top = 0; top < picture.height; top += height)
            for (int left = 0; left < picture.width; left += width, ++index) {
                const int used = tile > 0 ? height : std::min(height, picture.height - top);
                std::vector<uint8_t> bytes =
                    samplesOf(picture, {left, top, width, used}, bits, photometric,
                              separate ? plane : 0, separate ? plane + 1 : samples);
                const auto size = static_cast<tmsize_t>(bytes.size());
                tile > 0 ? TIFFWriteEncodedTile(tiff, index, bytes.data(), size)
                         : TIFFWriteEncodedStrip(tiff, index, bytes.data(), size);
            }
}

void setPalette(TIFF* tiff) {
    std::vector<uint16_t> grey(256);
    for (size_t i = 0; i < grey.size(); ++i)
        grey[i] = static_cast<uint16_t>(i * 257);
    TIFFSetField(tiff, TIFFTAG_COLORMAP, grey.data(), grey.data(), grey.data());
}

void writePicture(TIFF* tiff, const Drawing& picture, const Keys& keys) {
    const std::string space = text(keys, "photometric", "black");
    const int photometric = space == "white"     ? PHOTOMETRIC_MINISWHITE
                            : space == "rgb"     ? PHOTOMETRIC_RGB
                            : space == "palette" ? PHOTOMETRIC_PALETTE
                            : space == "ycbcr"   ? PHOTOMETRIC_YCBCR
                            : space == "cmyk"    ? PHOTOMETRIC_SEPARATED
                                                 : PHOTOMETRIC_MINISBLACK;
    const int samples = photometric == PHOTOMETRIC_SEPARATED                                 ? 4
                        : photometric == PHOTOMETRIC_RGB || photometric == PHOTOMETRIC_YCBCR ? 3
                                                                                             : 1;
    setSize(tiff, picture.width, picture.height, number(keys, "bits", 8), samples, photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, number(keys, "compression", COMPRESSION_NONE));
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, number(keys, "orientation", 1));
    if (number(keys, "planes", 0) != 0)
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
    if (keys.contains("predictor"))
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, number(keys, "predictor", 1));
    if (photometric == PHOTOMETRIC_PALETTE)
        setPalette(tiff);
    if (photometric == PHOTOMETRIC_YCBCR)
        TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
    if (number(keys, "tile", 0) > 0) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, number(keys, "tile", 0));
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, number(keys, "tile", 0));
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, number(keys, "rows", picture.height));
    }
    writeBlocks(tiff, picture, keys, photometric, samples);
}

std::string readAll(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void setCamera(TIFF* tiff, const Keys& keys) {
    const std::array<uint8_t, 4> version = {1, 4, 0, 0};
    TIFFSetField(tiff, TIFFTAG_DNGVERSION, version.data());
    TIFFSetField(tiff, TIFFTAG_MAKE, "Kelvane");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Test");
    TIFFSetField(tiff, TIFFTAG_UNIQUECAMERAMODEL, "Kelvane Test");
    const std::array<float, 9> fromXyz = {3.2406F, -1.5372F, -0.4986F, -0.9689F, 1.8758F,
                                          0.0415F, 0.0557F,  -0.2040F, 1.0570F};
    TIFFSetField(tiff, TIFFTAG_COLORMATRIX1, 9, fromXyz.data());
    TIFFSetField(tiff, TIFFTAG_CALIBRATIONILLUMINANT1, 21);
    const std::array<float, 3> neutral = {1, 1, 1};
    TIFFSetField(tiff, TIFFTAG_ASSHOTNEUTRAL, 3, neutral.data());
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, number(keys, "orientation", 1));
}

void writeSensor(TIFF* tiff, const Drawing& picture) {
    setSize(tiff, picture.width, picture.height, 16, 1, PHOTOMETRIC_CFA);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    const std::array<uint16_t, 2> repeat = {2, 2};
    TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, repeat.data());
    const std::array<uint8_t, 4> filters = {0, 1, 1, 2};
    TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, filters.data());
    const uint32_t white = 255 << 6;
    TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, &white);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, picture.height);
    std::vector<uint16_t> samples(picture.pixels.begin(), picture.pixels.end());
    for (uint16_t& sample : samples)
        sample = static_cast<uint16_t>(sample << 6);
    TIFFWriteEncodedStrip(tiff, 0, samples.data(), static_cast<tmsize_t>(2 * samples.size()));
}

void writePreview(TIFF* tiff, std::string jpeg) {
    // Width and height follow the marker of a baseline or progressive frame.
    size_t at = 2;
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(jpeg.at(i)); };
    while (byte(at + 1) != 0xC0 && byte(at + 1) != 0xC2)
        at += 2 + static_cast<size_t>(byte(at + 2) << 8 | byte(at + 3));
    const int height = byte(at + 5) << 8 | byte(at + 6), width = byte(at + 7) << 8 | byte(at + 8);
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
    setSize(tiff, width, height, 8, 3, PHOTOMETRIC_YCBCR);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
    TIFFSetField(tiff, TIFFTAG_JPEGTABLESMODE, 0);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, height);
    TIFFWriteRawStrip(tiff, 0, jpeg.data(), static_cast<tmsize_t>(jpeg.size()));
}

} // namespace

std::string toTiff(const Drawing& picture, const Keys& keys) {
    return written(text(keys, "mode", "w").c_str(), [&](TIFF* tiff) {
        if (number(keys, "preview", 0) != 0) {
            TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
            writePicture(tiff, makeScene(16, 12), {});
            TIFFWriteDirectory(tiff);
        }
        writePicture(tiff, picture, keys);
    });
}

std::string toDng(const Drawing& picture, const Keys& keys) {
    return written("w", [&](TIFF* tiff) {
        setCamera(tiff, keys);
        if (keys.contains("preview")) {
            const std::array<uint64_t, 1> directories = {0};
            TIFFSetField(tiff, TIFFTAG_SUBIFD, 1, directories.data());
            writePreview(tiff, readAll(keys.at("preview")));
            TIFFWriteDirectory(tiff);
        }
        writeSensor(tiff, picture);
    });
}
