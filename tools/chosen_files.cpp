#include "chosen_files.h"

#include "colour_picture.h"
#include "error.h"
#include "output_file.h"
#include "reread.h"
#include "text.h"

#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace {

// One kept frame and the file that it becomes.
struct Export {
    const Measurement* measured;
    size_t frame;
    std::string source;
    std::string target;
};

const std::string& folderOf(const Options& options) {
    return options.copyTo.empty() ? options.linkTo : options.copyTo;
}

std::string targetName(const Measurement& measured, const MeasuredFrame& frame) {
    const fs::path source(frame.path);
    if (!measured.isVideo)
        return source.filename().string();
    std::string number = std::to_string(frame.number);
    number.insert(0, number.size() < 6 ? 6 - number.size() : 0, '0');
    return source.stem().string() + "-frame-" + number + ".png";
}

std::vector<Export> planExports(const std::string& folder, std::span<const Burst> bursts) {
    std::vector<Export> exports;
    std::map<std::string, std::string> sources; // by the target's name
    for (const Burst& burst : bursts)
        for (const int64_t chosen : burst.ranking.chosen) {
            const auto index = static_cast<size_t>(chosen);
            const MeasuredFrame& frame = burst.measured.frames[index];
            const std::string name = targetName(burst.measured, frame);
            const auto [other, isNew] = sources.try_emplace(name, frame.path);
            if (!isNew)
                throw InputError(frame.path,
                                 "would have the same name in " + folder + " as " + other->second);
            exports.push_back(
                {&burst.measured, index, frame.path, (fs::path(folder) / name).string()});
        }
    return exports;
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

std::string readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        throw InputError(path, "cannot be read");
    return bytes;
}

// Creating a link never replaces anything; to replace, one is renamed over what is there.
void link(const Export& planned, bool replace) {
    const std::string made = planned.target + (replace ? ".part" : "");
    std::error_code error;
    fs::create_symlink(fs::absolute(planned.source), made, error);
    if (replace && !error) {
        fs::rename(made, planned.target, error);
        std::error_code ignored;
        if (error)
            fs::remove(made, ignored);
    }
    if (error)
        throw WriteError(planned.target, error.message());
}

void write(const Export& planned, std::string bytes, bool replace) {
    std::error_code error;
    if (replace && fs::is_symlink(fs::symlink_status(planned.target, error)))
        fs::remove(planned.target, error); // the link, so that its file stays
    writeOutputFile({planned.target, std::move(bytes), replace});
}

// The copy keeps the time of the last change, which may be all that tells when it was taken.
void copy(const Export& planned, bool replace) {
    write(planned, readBytes(planned.source), replace);
    std::error_code ignored;
    fs::last_write_time(planned.target, fs::last_write_time(planned.source, ignored), ignored);
}

void writeVideoFrames(const std::vector<Export>& exports, bool replace, PhaseTimes& times) {
    std::vector<size_t> indices;
    for (const Export& planned : exports)
        indices.push_back(planned.frame);
    auto planned = exports.begin();
    rereadFrames(*planned->measured, indices, times, [&](size_t, const AVFrame& pixels) {
        const BgrPicture picture = ColourPicture::of(pixels, planned->source, times).whole(times);
        write(*planned++, encodePng(picture.view()), replace);
    });
}

} // namespace

void checkExport(const Options& options) {
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
    if (MediaReader(options.inputs.front()).isVideo())
        throw InputError("--link-to", "frames of a video cannot be linked; --copy-to writes them");
}

void exportChosen(const Options& options, std::span<const Burst> bursts, PhaseTimes& times) {
    const std::string& folder = folderOf(options);
    const std::vector<Export> exports = planExports(folder, bursts);
    for (const Export& planned : exports)
        checkTarget(planned, options.force);
    std::error_code error;
    fs::create_directory(folder, error);
    if (error)
        throw InputError(folder, error.message());
    if (bursts.front().measured.isVideo)
        return writeVideoFrames(exports, options.force, times);
    for (const Export& planned : exports) {
        if (options.linkTo.empty())
            copy(planned, options.force);
        else
            link(planned, options.force);
    }
}
