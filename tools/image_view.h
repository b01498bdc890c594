#pragma once

#include "kelvane/kelvane.h"
#include "phase_times.h"

#include <memory>
#include <string>

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include "media_reader.h"

// Whether the luma of a frame uses all values from 0 to 255, or would after a conversion.
bool isFullRange(const AVFrame& frame);

struct ImageView {
    __tag_KIRO_OFFSCREEN image;
    bool converted; // into memory of the viewer, valid until its next call
    bool cropped;   // by the last column or row, for even sides
};

// Shows decoded frames to the library. A format with a plane of 8-bit luma is passed as it lies,
// with its chroma where the library has the same layout and null planes elsewhere. Everything else
// is converted to planar 4:2:0 with the range of its luma kept; RGB becomes full range.
class ImageViewer {
public:
    ImageView view(const AVFrame& frame, const std::string& name, PhaseTimes& times);

private:
    struct ScalerDeleter {
        void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    };

    const AVFrame& convert(const AVFrame& frame, const std::string& name);

    std::unique_ptr<SwsContext, ScalerDeleter> scaler_;
    FramePointer converted_;
};
