#include "reread.h"

#include "error.h"
#include "picture.h"

namespace {

void checkUnchanged(const MeasuredFrame& measured, const AVFrame& pixels) {
    if (pixels.width != measured.width || pixels.height != measured.height)
        throw BadPicture(measured.path, "has changed since it was measured");
}

} // namespace

void rereadFrames(const Measurement& measured, std::span<const size_t> indices, PhaseTimes& times,
                  const std::function<void(size_t, const AVFrame&)>& visit) {
    if (!measured.isVideo) {
        for (const size_t index : indices) {
            const MeasuredFrame& frame = measured.frames[index];
            const FramePointer pixels = readPicture(frame.path, times);
            checkUnchanged(frame, *pixels);
            visit(index, *pixels);
        }
        return;
    }
    MediaReader reader(measured.frames.front().path);
    int64_t next = 0; // the number of the frame that is decoded next
    for (const size_t index : indices) {
        const MeasuredFrame& frame = measured.frames[index];
        const AVFrame* pixels = nullptr;
        while (next <= frame.number) {
            const PhaseTimer timer(times.decoding);
            try {
                pixels = reader.next();
            } catch (const BadPicture&) {
                // Damage was reported, or skipped, when the frames were measured.
                pixels = nullptr;
            }
            ++next;
        }
        if (pixels == nullptr)
            throw BadPicture(frame.path, "has changed since it was measured");
        checkUnchanged(frame, *pixels);
        visit(index, *pixels);
    }
}
