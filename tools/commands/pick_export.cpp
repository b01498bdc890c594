#include "base/error.h"
#include "commands/pick.h"
#include "media/colour.h"

#include <filesystem>
#include <map>

namespace fs = std::filesystem;

namespace {

const std::string& folderOf(const PickOptions& options) {
    return options.copyTo.empty() ? options.linkTo : options.copyTo;
}

std::string targetName(const Measurement& measured, const MeasuredFrame& frame,
                       const fs::path& source) {
    if (!measured.isVideo)
        return source.filename().string();
    return fmt::format("{}-frame-{:06}.png", source.stem().string(), frame.number);
}

// The files of one photograph.
std::vector<std::string> sourcesOf(const MeasuredFrame& frame) {
    std::vector<std::string> sources = {frame.path};
    for (const Companion& companion : frame.companions)
        sources.push_back(companion.path);
    return sources;
}

void checkTarget(const Export& planned, bool replace) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(planned.target, error);
    if (!fs::exists(status))
        return;
    if (!fs::is_regular_file(status) && !fs::is_symlink(status))
        throw InputError(planned.target, "exists and is not a regular file");
    if (!fs::is_symlink(status) && fs::equivalent(planned.target, planned.source, error))
        throw InputError(planned.target, "is the chosen file itself");
    if (!replace)
        throw InputError(planned.target, "exists; --force replaces it");
}

void addVideoFrames(const std::vector<Export>& exports, bool replace, StagedFiles& files,
                    PhaseTimes& times) {
    std::vector<size_t> indices;
    for (const Export& planned : exports)
        indices.push_back(planned.frame);
    auto planned = exports.begin();
    const auto encode = [&](size_t, const AVFrame& pixels, PhaseTimes& used) {
        const BgrPicture picture =
            ColourPicture::of(pixels, exports.front().source, used).whole(used);
        return [&, png = encodePicture(picture.view(), FileFormat::png)] {
            files.addFile({planned->target, png, replace});
            ++planned;
        };
    };
    rereadFrames(*planned->measured, indices, times, encode);
}

} // namespace

void checkExport(const PickOptions& options) {
    const std::string& folder = folderOf(options);
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (fs::exists(status) && !fs::is_directory(status))
        throw InputError(folder, "exists and is not a folder");
    const fs::path absolute = fs::absolute(folder).lexically_normal();
    const fs::path parent =
        absolute.has_filename() ? absolute.parent_path() : absolute.parent_path().parent_path();
    if (!fs::exists(status) && !fs::is_directory(parent, error))
        throw InputError(folder, "the folder that would hold it does not exist");
    if (options.linkTo.empty() || options.inputs.size() != 1 ||
        fs::is_directory(options.inputs.front(), error))
        return;
    if (!PictureFile(options.inputs.front()).isPicture())
        throw InputError("--link-to", "frames of a video cannot be linked; --copy-to writes them");
}

std::vector<Export> planExport(const PickOptions& options, std::span<const Burst> bursts) {
    const std::string& folder = folderOf(options);
    std::vector<Export> exports;
    std::map<std::string, std::string> sources; // by the target's name
    for (const Burst& burst : bursts)
        for (const int64_t chosen : burst.ranking.chosen) {
            const auto index = static_cast<size_t>(chosen);
            const MeasuredFrame& frame = burst.measured.frames[index];
            for (const std::string& source : sourcesOf(frame)) {
                std::error_code ignored;
                if (!fs::is_regular_file(source, ignored))
                    throw InputError(source, "only a regular file can be copied or linked");
                const std::string name = targetName(burst.measured, frame, source);
                const auto [other, isNew] = sources.try_emplace(name, source);
                if (!isNew)
                    throw InputError(source, fmt::format("would have the same name in {} as {}",
                                                         folder, other->second));
                exports.push_back(
                    {&burst.measured, index, source, (fs::path(folder) / name).string()});
                checkTarget(exports.back(), options.force);
            }
        }
    return exports;
}

void addExport(const PickOptions& options, const std::vector<Export>& exports, StagedFiles& files,
               PhaseTimes& times) {
    files.addFolder(folderOf(options));
    if (exports.front().measured->isVideo)
        return addVideoFrames(exports, options.force, files, times);
    for (const Export& planned : exports) {
        if (options.linkTo.empty())
            files.addCopy(planned.source, planned.target, options.force);
        else
            files.addLink(planned.source, planned.target, options.force);
    }
}
