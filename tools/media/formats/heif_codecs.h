// How libheif gets the pictures that a HEIF file is made of.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

// What one call of libheif asks of its decoders, and what they tell. libheif itself would turn
// every picture into red, green and blue at once, and keep what libde265 makes of damaged data. So
// its decoders are these: they give luma as "red" and chroma, of the size of luma, as "green" and
// "blue", which libheif puts together, turns and crops as it does with colours.
struct HeifCoding {
    bool lumaOnly = false;
    std::optional<int> matrix; // ITU-T H.273; of the file, or else of the first picture

    std::string pixelFormat; // by FFmpeg's name, as coded
    int bitDepth = 0;
    bool fullRange = false;
    bool hasChroma = false;
    int64_t pixels = 0; // of all pictures that are coded like the first

    // Luma of more than 8 bits is reduced together with its chroma, so that its values do not
    // depend on what was asked for.
    int planes() const {
        const bool lumaSuffices = lumaOnly && bitDepth == 8 && matrix != identityMatrix;
        return lumaSuffices || !hasChroma ? 1 : 3;
    }

    static constexpr int identityMatrix = 0; // green, blue and red in place of luma and chroma
};

// Calls libheif with its pictures decoded as `coding` says, on this thread only. Throws what the
// decoders threw.
void withHeifCoding(HeifCoding& coding, const std::function<void()>& call);
