#include "media/frame_source.h"

#include "base/error.h"
#include "base/in_order.h"
#include "media/video_reader.h"

namespace {

// A frame on its way through the threads.
struct Passage {
    const InputFile* file;
    int64_t number = 0;                 // in its video
    std::optional<double> seconds = {}; // of a video
    size_t index = 0;
    Picture frame = {}; // of a video from the start, of a file with one picture while it is visited
    std::optional<BadPicture> bad = {};
    InTurn accept = {};
};

class FrameLoop {
public:
    FrameLoop(const FrameSelection& selection, Progress& progress, PhaseTimes& times,
              const FrameVisitor& visit)
        : selection_(selection), progress_(progress), times_(times), visit_(visit) {}

    ReadSummary run(InputList& inputs) {
        summary_.skipped = std::move(inputs.skipped);
        isAmongOthers_ = inputs.isPart || inputs.files.size() > 1;
        if (inputs.files.size() == 1)
            readOnlyFile(inputs.files.front());
        else
            readPictures(inputs.files);
        return std::move(summary_);
    }

private:
    // Ends the run, or notes what was left out of it.
    void reject(const Passage& passage, const BadPicture& bad) {
        if (!selection_.skipBad && !isAmongOthers_ && !summary_.isVideo)
            throw BadPicture(bad);
        if (!selection_.skipBad)
            throw BadPicture(
                bad.name(), fmt::format("{}; {} leaves it out", bad.what(), selection_.skipOption));
        const std::string& name = passage.file->name;
        summary_.skipped.push_back(
            {summary_.isVideo ? fmt::format("{} frame {}", name, passage.number) : name,
             bad.what()});
    }

    void visit(Passage& passage, PhaseTimes& times) {
        const Picture& frame = passage.frame;
        passage.accept =
            visit_({*frame.pixels, frame.form, passage.file->path, passage.file->name,
                    passage.file->companions, passage.number, passage.seconds, passage.index},
                   times);
        passage.frame = {};
    }

    void decode(PictureFile& opened, Passage& passage, PhaseTimes& times) const {
        const PhaseTimer timer(times.decoding);
        passage.frame = opened.decode(selection_.request);
    }

    void accept(Passage& passage) {
        try {
            if (passage.bad)
                throw BadPicture(*passage.bad);
            passage.accept();
            ++summary_.visited;
        } catch (const BadPicture& bad) {
            reject(passage, bad);
        }
        progress_.advance();
    }

    // Shows frames as `next` gives them, until there are none or enough were visited. Those that
    // prove bad do not count, and no frame is begun that might be one too many.
    template <typename Next, typename Show>
    void process(Next next, Show show) {
        bool more = true;
        while (more && (selection_.max == 0 || summary_.visited < selection_.max)) {
            int64_t left = selection_.max == 0 ? INT64_MAX : selection_.max - summary_.visited;
            const auto nextOfFew = [&](PhaseTimes& times) -> std::optional<Passage> {
                if (left == 0)
                    return std::nullopt;
                std::optional<Passage> passage = next(times);
                more = passage.has_value();
                if (more && !passage->bad) {
                    --left;
                    passage->index = begun_++;
                }
                return passage;
            };
            const auto showOrNote = [&](Passage& passage, PhaseTimes& times) {
                try {
                    if (!passage.bad)
                        show(passage, times);
                } catch (const BadPicture& bad) {
                    passage.bad = bad;
                }
            };
            processInOrder(times_, nextOfFew, showOrNote,
                           [&](Passage& passage) { accept(passage); });
        }
    }

    void readPictures(const std::vector<InputFile>& files) {
        const auto every = static_cast<size_t>(selection_.every);
        progress_.expect(static_cast<int64_t>((files.size() + every - 1) / every));
        size_t next = 0;
        const auto nextFile = [&](PhaseTimes&) -> std::optional<Passage> {
            if (next >= files.size())
                return std::nullopt;
            Passage passage = {.file = &files[next]};
            next += every;
            return passage;
        };
        process(nextFile, [&](Passage& passage, PhaseTimes& times) {
            PictureFile opened(passage.file->path);
            if (!opened.isPicture()) {
                VideoReader{passage.file->path}; // complains when it is no video either
                throw InputError(passage.file->path, "a video has to be the only input");
            }
            decode(opened, passage, times);
            visit(passage, times);
        });
    }

    void readOnlyFile(const InputFile& file) {
        Passage passage = {.file = &file};
        std::optional<VideoReader> video;
        try {
            PictureFile opened(file.path);
            if (opened.isPicture()) {
                decode(opened, passage, times_);
                visit(passage, times_);
            } else {
                video.emplace(file.path);
            }
        } catch (const BadPicture& bad) {
            passage.bad = bad;
        }
        if (!video)
            return accept(passage);
        summary_.isVideo = true;
        readVideo(*video, file);
    }

    // The next frame of a video, also one that is left out or that is bad.
    Passage nextFrame(VideoReader& reader, const InputFile& file, int64_t number,
                      PhaseTimes& times) const {
        const PhaseTimer timer(times.decoding);
        Passage passage = {.file = &file, .number = number};
        try {
            passage.frame = reader.next();
            passage.seconds = reader.seconds();
        } catch (const BadPicture& bad) {
            passage.bad = atFrame(number, bad);
        }
        return passage;
    }

    static BadPicture atFrame(int64_t number, const BadPicture& bad) {
        return {bad.name(), fmt::format("frame {}: {}", number, bad.what())};
    }

    void readVideo(VideoReader& reader, const InputFile& file) {
        progress_.expect(reader.announcedFrames());
        int64_t number = 0;
        const auto next = [&](PhaseTimes& times) -> std::optional<Passage> {
            for (;; progress_.advance()) {
                Passage passage = nextFrame(reader, file, number++, times);
                if (!passage.bad && !passage.frame.pixels)
                    return std::nullopt;
                if (passage.bad || passage.number % selection_.every == 0)
                    return passage;
            }
        };
        process(next, [&](Passage& passage, PhaseTimes& times) {
            try {
                visit(passage, times);
            } catch (const BadPicture& bad) {
                throw atFrame(passage.number, bad);
            }
        });
    }

    const FrameSelection& selection_;
    Progress& progress_;
    PhaseTimes& times_;
    const FrameVisitor& visit_;
    ReadSummary summary_;
    size_t begun_ = 0;
    bool isAmongOthers_ = false;
};

[[noreturn]] void failChanged(const MeasuredFrame& measured) {
    throw BadPicture(measured.path, "has changed since it was measured");
}

void checkUnchanged(const MeasuredFrame& measured, const AVFrame& pixels) {
    if (pixels.width != measured.width || pixels.height != measured.height)
        failChanged(measured);
}

// Decodes a video up to a frame. `next` is the number of the frame that is decoded next.
FramePointer readUpTo(VideoReader& reader, int64_t& next, int64_t number) {
    FramePointer pixels;
    for (; next <= number; ++next)
        try {
            pixels = reader.next().pixels;
        } catch (const BadPicture&) {
            // Damage was reported, or skipped, when the frames were measured.
            pixels.reset();
        }
    return pixels;
}

} // namespace

ReadSummary readFrames(InputList inputs, const FrameSelection& selection, Progress& progress,
                       PhaseTimes& times, const FrameVisitor& visit) {
    return FrameLoop(selection, progress, times, visit).run(inputs);
}

void rereadFrames(const Measurement& measured, std::span<const size_t> indices, PhaseTimes& times,
                  const RereadVisitor& visit) {
    struct Passage {
        size_t index;
        FramePointer pixels = nullptr;
        InTurn accept = {};
    };
    std::optional<VideoReader> video;
    if (measured.isVideo && !indices.empty())
        video.emplace(measured.frames.front().path);
    int64_t nextNumber = 0;
    const auto next = [&, index = indices.begin()](PhaseTimes& used) mutable {
        std::optional<Passage> passage;
        if (index == indices.end())
            return passage;
        passage.emplace(Passage{*index++});
        const PhaseTimer timer(used.decoding);
        if (video)
            passage->pixels = readUpTo(*video, nextNumber, measured.frames[passage->index].number);
        return passage;
    };
    const auto show = [&](Passage& passage, PhaseTimes& used) {
        const MeasuredFrame& frame = measured.frames[passage.index];
        if (!video)
            passage.pixels = readPicture(frame.path, {}, used).pixels;
        if (!passage.pixels)
            failChanged(frame);
        checkUnchanged(frame, *passage.pixels);
        passage.accept = visit(passage.index, *passage.pixels, used);
        passage.pixels.reset();
    };
    processInOrder(times, next, show, [](const Passage& passage) { passage.accept(); });
}
