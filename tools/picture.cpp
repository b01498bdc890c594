#include "picture.h"

#include "error.h"

#include <new>

FramePointer readPicture(const std::string& path, PhaseTimes& times) {
    const PhaseTimer timer(times.decoding);
    MediaReader reader(path);
    if (reader.isVideo())
        throw InputError(path, "a video, where one picture is expected");
    const AVFrame* const frame = reader.next();
    if (frame == nullptr)
        throw BadPicture(path, "no picture in this file");
    // The reference keeps the pixels when the reader goes.
    FramePointer kept(av_frame_clone(frame));
    if (!kept)
        throw std::bad_alloc();
    return kept;
}
