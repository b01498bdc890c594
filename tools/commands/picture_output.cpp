#include "commands/picture_output.h"

#include "base/error.h"
#include "media/files.h"

#include <unistd.h>

namespace {

FileFormat formatOf(const PictureOutput& output) {
    if (goesToStdout(output))
        return output.format.empty() ? FileFormat::png : *fileFormatOf(output.format);
    const FileFormat format = fileFormatOfName(output.path);
    if (!output.format.empty() && format != fileFormatOf(output.format))
        throw InputError(output.path, fmt::format("its name says another format than --format {}",
                                                  output.format));
    return format;
}

std::string encode(const PictureOutput& output, const PixelsView& pixels) {
    try {
        return encodePicture(pixels, formatOf(output), output.quality.value_or(usualQuality));
    } catch (const EncodeError& error) {
        throw InputError(output.path, error.what());
    }
}

} // namespace

void addPictureOutput(CLI::App& command, CLI::Option& path, PictureOutput& output) {
    command.add_option("--format", output.format, "Of standard output (png)")
        ->needs(&path)
        ->check(CLI::IsMember(std::vector<std::string>(fileEndings.begin(), fileEndings.end())))
        ->type_name("FORMAT");
    command.add_option("--quality", output.quality, "Of JPEG and WebP, 1 to 100 (95)")
        ->needs(&path)
        ->check(CLI::Range(1, 100))
        ->type_name("Q");
    command.add_flag("--force", output.force, "Replace OUT when it exists");
}

bool goesToStdout(const PictureOutput& output) { return output.path == "-"; }

void checkPictureOutput(const PictureOutput& output) {
    const FileFormat format = formatOf(output);
    try {
        checkEncoder(format);
    } catch (const EncodeError& error) {
        throw InputError(output.path, error.what());
    }
    if (output.quality && format != FileFormat::jpeg && format != FileFormat::webp)
        throw InputError("--quality", "is for JPEG and WebP");
    if (!goesToStdout(output))
        checkOutputPath(output.path, output.force);
    else if (::isatty(STDOUT_FILENO) == 1)
        throw InputError("standard output", "is a terminal; send the picture to a file or a pipe");
}

Output writePicture(const PictureOutput& output, const PixelsView& pixels,
                    const std::string& said) {
    std::string bytes = encode(output, pixels);
    if (goesToStdout(output))
        return {.text = std::move(bytes), .skipped = {}, .aside = said};
    writeOutputFile({output.path, std::move(bytes), output.force});
    return {said};
}
