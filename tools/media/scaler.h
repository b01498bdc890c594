#pragma once

#include "media/frames.h"

extern "C" {
#include <libswscale/swscale.h>
}

// Whether the luma of a frame uses all values from 0 to 255, or would after a conversion.
bool isFullRange(const AVFrame& frame);

// How samples stand for colours before and after a conversion, which is to ITU-R BT.601.
struct SampleRules {
    bool sourceFull; // range
    bool targetFull;
    int sourceMatrix = SWS_CS_ITU601;

    bool operator==(const SampleRules&) const = default;
};

// Converts frames to another pixel format by libswscale, to the same bits everywhere. It keeps its
// tables and its frame for the next conversion of the same kind.
class Scaler {
public:
    // The converted frame, valid until the next call, or null when libswscale cannot convert it.
    const AVFrame* convert(const AVFrame& source, AVPixelFormat format, const SampleRules& rules);

private:
    struct Kind {
        int width, height, sourceFormat, format;
        SampleRules rules;

        bool operator==(const Kind&) const = default;
    };
    struct Deleter {
        void operator()(SwsContext* context) const { sws_freeContext(context); }
    };

    bool prepare(const Kind& kind);

    Kind kind_ = {};
    std::unique_ptr<SwsContext, Deleter> context_;
    FramePointer converted_;
};
