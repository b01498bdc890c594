#include "peers.h"

#include <libyuv.h>

namespace {

constexpr double sameContent = 20; // as between interpolations of different centres

struct Plane {
    const uint8_t* bytes;
    int pitch;
    int width;
    int height;
};

Plane planeOf(const Frame& frame, int plane) {
    const PlaneShape shape = planeShape(frame.image.format, plane, frame.size());
    return {frame.image.planes[plane], frame.image.pitches[plane],
            plane == 0 ? frame.image.width : frame.image.width / 2, shape.rows};
}

void scale(const Plane& from, int channels, const Frame& to, int plane,
           libyuv::FilterMode filter = libyuv::kFilterBilinear) {
    const Plane target = planeOf(to, plane);
    if (channels == 1)
        libyuv::ScalePlane(from.bytes, from.pitch, from.width, from.height, to.image.planes[plane],
                           target.pitch, target.width, target.height, filter);
    else
        libyuv::UVScale(from.bytes, from.pitch, from.width, from.height, to.image.planes[plane],
                        target.pitch, target.width, target.height, filter);
}

std::function<double()> differenceFrom(const Frame& ours, std::shared_ptr<Frame> theirs) {
    return [&ours, theirs] {
        return meanDifference(ours, theirs->image.planes[0], theirs->image.pitches[0]);
    };
}

std::vector<Peer> resize(const Operation& operation) {
    const Workload& workload = operation.workload;
    const auto output = std::make_shared<Frame>(workload.format, workload.target, 0);
    const Plane from = planeOf(operation.source, 0);
    const int channels = bytesPerPixel(workload.format);
    const bool picks = workload.parameter == pickingPixels;
    const libyuv::FilterMode filter = picks ? libyuv::kFilterNone : libyuv::kFilterBilinear;
    const char* const name = channels > 1 ? "libyuv::UVScale" : "libyuv::ScalePlane";
    return {{picks ? "libyuv::ScalePlane, no filter" : name,
             [=] { scale(from, channels, *output, 0, filter); },
             differenceFrom(operation.output, output), sameContent}};
}

std::vector<Peer> resizeToBgr24(const Operation& operation) {
    const Workload& workload = operation.workload;
    const auto scaled = std::make_shared<Frame>(workload.format, workload.target, 0);
    const auto output = std::make_shared<Frame>(KELVANE_FORMAT_BGR24, workload.target, 0);
    const bool planar = workload.format == KELVANE_FORMAT_YUV420;
    const auto run = [=, &operation] {
        for (int plane = 0; plane < planeCount(operation.workload.format); ++plane)
            scale(planeOf(operation.source, plane), plane > 0 && !planar ? 2 : 1, *scaled, plane);
        const __tag_KIRO_OFFSCREEN& from = scaled->image;
        const __tag_KIRO_OFFSCREEN& to = output->image;
        const libyuv::YuvConstants* const fullRange = &libyuv::kYuvJPEGConstants;
        if (planar)
            libyuv::I420ToRGB24Matrix(from.planes[0], from.pitches[0], from.planes[1],
                                      from.pitches[1], from.planes[2], from.pitches[2],
                                      to.planes[0], to.pitches[0], fullRange, to.width, to.height);
        else
            libyuv::NV21ToRGB24Matrix(from.planes[0], from.pitches[0], from.planes[1],
                                      from.pitches[1], to.planes[0], to.pitches[0], fullRange,
                                      to.width, to.height);
    };
    return {{planar ? "libyuv::ScalePlane, I420ToRGB24" : "libyuv::ScalePlane, NV21ToRGB24", run,
             differenceFrom(operation.output, output), sameContent}};
}

} // namespace

std::vector<Peer> libyuvPeers(const Operation& operation) {
    switch (operation.workload.kind) {
    case Kind::resize: return resize(operation);
    case Kind::resizeToBgr24: return resizeToBgr24(operation);
    default: return {};
    }
}
