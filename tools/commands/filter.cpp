// The commands that make one picture from another.
#include "base/error.h"
#include "base/text.h"
#include "commands/options.h"
#include "commands/picture_output.h"
#include "media/colour.h"
#include "media/luma.h"

#include <charconv>

namespace {

// The library's box filter has no reciprocal for windows beyond 2^23 pixels: 2895 x 2895 is the
// largest square below.
const CLI::Range kernelSizes(int64_t{1}, int64_t{2895});
const CLI::Range radii(int64_t{1}, int64_t{1000});
constexpr int64_t largestSide = 16000; // above it FFmpeg has no picture

struct FilterOptions {
    std::string input;
    PictureOutput output;
};

void addFilterOptions(CLI::App& command, FilterOptions& options, Invocation& invocation) {
    command.add_option("IN", options.input, "A picture; - for standard input")->required();
    CLI::Option& out = *command.add_option("OUT", options.output.path, outputHelp)->required();
    addPictureOutput(command, out, options.output);
    addTiming(command, invocation);
}

Output write(const FilterOptions& options, const PixelsView& pixels) {
    std::string said;
    if (!goesToStdout(options.output))
        said = fmt::format("Wrote {}, {} pixels.\n", oneLine(options.output.path),
                           sizeText(pixels.width, pixels.height));
    return writePicture(options.output, pixels, said);
}

struct ResizeOptions : FilterOptions {
    int32_t width = 0;
    int32_t height = 0;
};

// "640x480"; anything else is refused.
void parseSize(const std::string& text, ResizeOptions& size) {
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    const bool split = width.ec == std::errc() && width.ptr != end && *width.ptr == 'x';
    const auto height = std::from_chars(split ? width.ptr + 1 : end, end, size.height);
    if (height.ec != std::errc() || height.ptr != end)
        throw CLI::ValidationError("--size", "must be like 640x480, not " + text);
    if (std::min(size.width, size.height) < 1 || std::max(size.width, size.height) > largestSide)
        throw CLI::ValidationError("--size", "sides must be 1 to 16000, not " + text);
}

Output runResize(const ResizeOptions& options, PhaseTimes& times) {
    checkPictureOutput(options.output);
    const ColourPicture source = ColourPicture::read(options.input, times);
    return write(options, source.resized(options.width, options.height, times).view());
}

struct SmoothOptions : FilterOptions {
    int64_t kernel = 0;
};

Output runSmooth(const SmoothOptions& options, PhaseTimes& times) {
    checkPictureOutput(options.output);
    const LumaImage source = readLuma(options.input, times);
    // The library leaves such a plane as it is.
    if (source.width <= options.kernel / 2 * 2)
        throw InputError("--size", fmt::format("{} does not fit a picture of {}", options.kernel,
                                               sizeText(source.width, source.height)));
    LumaImage result = source;
    {
        const PhaseTimer timer(times.library);
        checkResult(GB_GaussianBlurA(nullptr, source.pixels.data(), source.width, source.height,
                                     source.width, 0, result.pixels.data(), options.kernel),
                    "GB_GaussianBlurA");
    }
    return write(options, result.grey());
}

using Filter = decltype(&sbrErode);

struct MorphOptions : FilterOptions {
    Filter operation = nullptr;
    int64_t radius = 0;
};

Output runMorph(const MorphOptions& options, PhaseTimes& times) {
    checkPictureOutput(options.output);
    const LumaImage source = readLuma(options.input, times);
    LumaImage result = source;
    {
        const PhaseTimer timer(times.library);
        checkResult(options.operation(nullptr, source.pixels.data(), source.width, source.height,
                                      source.width, 1, result.pixels.data(), options.radius),
                    "morphology");
    }
    return write(options, result.grey());
}

} // namespace

void addResize(CLI::App& app, Invocation& invocation) {
    const auto command =
        addCommand(app, invocation, "resize", "Resize a picture bilinearly", runResize);
    ResizeOptions& options = command.options;
    addFilterOptions(command.app, options, invocation);
    command.app
        .add_option_function<std::string>(
            "--size", [&](const std::string& text) { parseSize(text, options); },
            "The new size, such as 640x480")
        ->required()
        ->type_name("WxH");
}

void addSmooth(CLI::App& app, Invocation& invocation) {
    const auto [command, options] =
        addCommand(app, invocation, "smooth", "Smooth the luma of a picture, about like a Gaussian",
                   runSmooth);
    addFilterOptions(command, options, invocation);
    command.add_option("--size", options.kernel, "Size of the kernel in pixels")
        ->required()
        ->check(kernelSizes)
        ->type_name("N");
}

void addMorph(CLI::App& app, Invocation& invocation) {
    static const std::map<std::string, Filter> operations = {
        {"erode", sbrErode}, {"dilate", sbrDilate}, {"open", sbrOpen}, {"close", sbrClose}};
    const auto command =
        addCommand(app, invocation, "morph", "Erode or dilate the luma of a picture", runMorph);
    MorphOptions& options = command.options;
    addFilterOptions(command.app, options, invocation);
    command.app
        .add_option_function<std::string>(
            "--op", [&](const std::string& name) { options.operation = operations.at(name); },
            "erode, dilate, open or close")
        ->required()
        ->check(CLI::IsMember(&operations))
        ->type_name("OP");
    command.app.add_option("--radius", options.radius, "Radius of the rectangle in pixels")
        ->required()
        ->check(radii)
        ->type_name("R");
}
