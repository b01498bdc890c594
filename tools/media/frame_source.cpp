#include "media/frame_source.h"

#include "base/error.h"
#include "media/video_reader.h"

namespace {

class FrameLoop {
public:
    FrameLoop(const FrameSelection& selection, Progress& progress, PhaseTimes& times,
              const FrameVisitor& visit)
        : selection_(selection), progress_(progress), times_(times), visit_(visit) {}

    ReadSummary run(InputList& inputs) {
        summary_.skipped = std::move(inputs.skipped);
        if (inputs.files.size() == 1)
            readOnlyFile(inputs.files.front());
        else
            readPictures(inputs.files);
        return std::move(summary_);
    }

private:
    bool done() const { return selection_.max > 0 && summary_.visited >= selection_.max; }

    // Runs one step. A bad picture in it ends the run or is noted.
    template <typename Step>
    void guarded(const std::string& label, Step step) {
        try {
            step();
        } catch (const BadPicture& bad) {
            if (!selection_.skipBad)
                throw;
            summary_.skipped.push_back({label, bad.what()});
        }
    }

    Picture decode(PictureFile& file) {
        const PhaseTimer timer(times_.decoding);
        return file.decode(selection_.request);
    }

    Picture decode(VideoReader& reader) {
        const PhaseTimer timer(times_.decoding);
        return reader.next();
    }

    void show(const SourceFrame& frame) {
        visit_(frame);
        ++summary_.visited;
    }

    void showPicture(PictureFile& opened, const InputFile& file) {
        const Picture picture = decode(opened);
        show({*picture.pixels, picture.form, file.path, file.name, 0, std::nullopt});
    }

    void readPictures(const std::vector<InputFile>& files) {
        const auto every = static_cast<size_t>(selection_.every);
        progress_.expect(static_cast<int64_t>((files.size() + every - 1) / every));
        for (size_t i = 0; i < files.size() && !done(); i += every) {
            guarded(files[i].name, [&] {
                PictureFile opened(files[i].path);
                if (!opened.isPicture()) {
                    VideoReader{files[i].path}; // complains when it is no video either
                    throw InputError(files[i].path, "a video has to be the only input");
                }
                showPicture(opened, files[i]);
            });
            progress_.advance();
        }
    }

    void readOnlyFile(const InputFile& file) {
        guarded(file.name, [&] {
            PictureFile opened(file.path);
            if (opened.isPicture())
                return showPicture(opened, file);
            VideoReader reader(file.path);
            summary_.isVideo = true;
            readVideo(reader, file);
        });
    }

    void readVideo(VideoReader& reader, const InputFile& file) {
        progress_.expect(reader.announcedFrames());
        bool more = true;
        for (int64_t number = 0; more && !done(); ++number) {
            const std::string label = fmt::format("{} frame {}", file.name, number);
            guarded(label, [&] {
                try {
                    const Picture frame = decode(reader);
                    more = frame.pixels != nullptr;
                    if (more && number % selection_.every == 0)
                        show({*frame.pixels, frame.form, file.path, file.name, number,
                              reader.seconds()});
                } catch (const BadPicture& bad) {
                    throw BadPicture(bad.name(), fmt::format("frame {}: {}", number, bad.what()));
                }
            });
            progress_.advance();
        }
    }

    const FrameSelection& selection_;
    Progress& progress_;
    PhaseTimes& times_;
    const FrameVisitor& visit_;
    ReadSummary summary_;
};

void checkUnchanged(const MeasuredFrame& measured, const AVFrame& pixels) {
    if (pixels.width != measured.width || pixels.height != measured.height)
        throw BadPicture(measured.path, "has changed since it was measured");
}

} // namespace

ReadSummary readFrames(InputList inputs, const FrameSelection& selection, Progress& progress,
                       PhaseTimes& times, const FrameVisitor& visit) {
    return FrameLoop(selection, progress, times, visit).run(inputs);
}

void rereadFrames(const Measurement& measured, std::span<const size_t> indices, PhaseTimes& times,
                  const std::function<void(size_t, const AVFrame&)>& visit) {
    if (!measured.isVideo) {
        for (const size_t index : indices) {
            const MeasuredFrame& frame = measured.frames[index];
            const FramePointer pixels = readPicture(frame.path, {}, times).pixels;
            checkUnchanged(frame, *pixels);
            visit(index, *pixels);
        }
        return;
    }
    VideoReader reader(measured.frames.front().path);
    int64_t next = 0; // the number of the frame that is decoded next
    for (const size_t index : indices) {
        const MeasuredFrame& frame = measured.frames[index];
        FramePointer pixels;
        while (next <= frame.number) {
            const PhaseTimer timer(times.decoding);
            try {
                pixels = reader.next().pixels;
            } catch (const BadPicture&) {
                // Damage was reported, or skipped, when the frames were measured.
                pixels.reset();
            }
            ++next;
        }
        if (!pixels)
            throw BadPicture(frame.path, "has changed since it was measured");
        checkUnchanged(frame, *pixels);
        visit(index, *pixels);
    }
}
