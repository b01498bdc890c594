#include "media/frame_source.h"

#include "base/error.h"
#include "media/media_reader.h"

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

    MediaReader open(const std::string& path) {
        const PhaseTimer timer(times_.decoding);
        return MediaReader(path);
    }

    const AVFrame* decode(MediaReader& reader) {
        const PhaseTimer timer(times_.decoding);
        return reader.next();
    }

    void show(const SourceFrame& frame) {
        visit_(frame);
        ++summary_.visited;
    }

    void readPicture(MediaReader& reader, const InputFile& file) {
        const AVFrame* const frame = decode(reader);
        if (frame == nullptr)
            throw BadPicture(file.path, "no picture in this file");
        show({frame, file.path, file.name, 0, std::nullopt});
    }

    void readPictures(const std::vector<InputFile>& files) {
        const auto every = static_cast<size_t>(selection_.every);
        progress_.expect(static_cast<int64_t>((files.size() + every - 1) / every));
        for (size_t i = 0; i < files.size() && !done(); i += every) {
            guarded(files[i].name, [&] {
                MediaReader reader = open(files[i].path);
                if (reader.isVideo())
                    throw InputError(files[i].path, "a video has to be the only input");
                readPicture(reader, files[i]);
            });
            progress_.advance();
        }
    }

    void readOnlyFile(const InputFile& file) {
        guarded(file.name, [&] {
            MediaReader reader = open(file.path);
            summary_.isVideo = reader.isVideo();
            if (reader.isVideo())
                readVideo(reader, file);
            else
                readPicture(reader, file);
        });
    }

    void readVideo(MediaReader& reader, const InputFile& file) {
        progress_.expect(reader.announcedFrames());
        bool more = true;
        for (int64_t number = 0; more && !done(); ++number) {
            const std::string label = fmt::format("{} frame {}", file.name, number);
            guarded(label, [&] {
                try {
                    const AVFrame* const frame = decode(reader);
                    more = frame != nullptr;
                    if (more && number % selection_.every == 0)
                        show({frame, file.path, file.name, number, reader.seconds()});
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
