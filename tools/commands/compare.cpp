// The commands that compare two pictures.
#include "analysis/changed_mask.h"
#include "analysis/regions.h"
#include "base/error.h"
#include "base/text.h"
#include "commands/options.h"
#include "commands/picture_output.h"
#include "media/colour.h"
#include "output/report.h"

#include <algorithm>

namespace {

struct PairOptions {
    std::string first;
    std::string second;
    bool json = false;
};

void addPairOptions(CLI::App& command, PairOptions& options, Invocation& invocation) {
    command.add_option("A", options.first, "A picture, the reference; - for standard input")
        ->required();
    command.add_option("B", options.second, "Another one of the same size")->required();
    command.add_flag("--json", options.json, "Print JSON instead of text");
    addTiming(command, invocation);
}

OrderedJson pairJson(const char* command, const PairOptions& options, const LumaPair& frames) {
    OrderedJson json = jsonHead(command);
    json["first"] = options.first;
    json["second"] = options.second;
    json["width"] = frames.first.width;
    json["height"] = frames.first.height;
    return json;
}

BitAgreement bitAgreement(LumaPair& frames, const Alignment& alignment) {
    return {bitAgreement(frames.first, frames.second, alignment.shift),
            bitAgreement(frames.first, frames.second, {0, 0})};
}

Output runAlign(const PairOptions& options, PhaseTimes& times) {
    LumaPair frames = readLumaPair(options.first, options.second, times);
    const PhaseTimer timer(times.library);
    const Alignment alignment = Aligner().find(frames.first, frames.second);
    if (!options.json)
        return {alignmentText(alignment)};
    OrderedJson json = pairJson("align", options, frames);
    json.update(alignmentJson(alignment, bitAgreement(frames, alignment)));
    return {printJson(json)};
}

struct ChangesOptions : PairOptions {
    PictureOutput overlay; // without a path when none is asked for
};

Changes summarise(ChangedMask& mask) {
    return {.width = mask.width,
            .height = mask.height,
            .rect = boundingBox(mask),
            .area = std::count(mask.pixels.begin(), mask.pixels.end(), 255),
            .regions = findRegions(mask),
            .wholeScene = isWholeScene(mask),
            .light = mask.light,
            .alignment = mask.alignment};
}

constexpr unsigned char red[] = {0, 0, 255};
constexpr unsigned char yellow[] = {0, 255, 255};
constexpr unsigned char cyan[] = {255, 255, 0};

unsigned char* pixel(BgrPicture& picture, int32_t x, int32_t y) {
    return picture.pixels.data() + 3 * (int64_t{y} * picture.width + x);
}

void tint(BgrPicture& picture, const ChangedMask& mask) {
    for (int32_t y = 0; y < picture.height; ++y)
        for (int32_t x = 0; x < picture.width; ++x)
            for (int c = 0; c < 3 && mask.at(x, y); ++c)
                pixel(picture, x, y)[c] =
                    static_cast<unsigned char>((pixel(picture, x, y)[c] + red[c]) / 2);
}

// The box lies just inside the rectangle's edges.
void drawBox(BgrPicture& picture, const __tag_rect& rect, const unsigned char* colour) {
    const int32_t line = std::max(1, std::min(picture.width, picture.height) / 240);
    for (int32_t y = rect.top; y < rect.bottom; ++y)
        for (int32_t x = rect.left; x < rect.right; ++x)
            if (std::min({x - rect.left, rect.right - 1 - x, y - rect.top, rect.bottom - 1 - y}) <
                line)
                std::copy_n(colour, 3, pixel(picture, x, y));
}

// A with a red tint where B differs, a cyan box around each region and a yellow one around all.
BgrPicture drawOverlay(const std::string& path, const ChangedMask& mask, PhaseTimes& times) {
    const ColourPicture colour = ColourPicture::read(path, times);
    BgrPicture picture = colour.whole(times);
    ChangedMask inFirst = moved(mask, mask.alignment.shift);
    tint(picture, inFirst);
    if (isWholeScene(inFirst))
        return picture;
    for (const ChangedRegion& region : findRegions(inFirst))
        drawBox(picture, region.rect, cyan);
    drawBox(picture, boundingBox(inFirst), yellow);
    return picture;
}

Output runChanges(const ChangesOptions& options, PhaseTimes& times) {
    const bool draws = !options.overlay.path.empty();
    if (draws)
        checkPictureOutput(options.overlay);
    if (options.json && goesToStdout(options.overlay))
        throw InputError("--overlay", "- and --json both write to standard output");
    LumaPair frames = readLumaPair(options.first, options.second, times);
    if (std::min(frames.first.width, frames.first.height) < smallestChangedSide)
        throw InputError(options.first,
                         fmt::format("{} pixels: finding changes needs 100 on the shorter side",
                                     sizeText(frames.first.width, frames.first.height)));
    ChangedMask mask;
    Output output;
    {
        const PhaseTimer timer(times.library);
        Aligner aligner;
        mask = findChangedMask(aligner, frames.first, frames.second);
        const Changes changes = summarise(mask);
        output.text = changesText(changes);
        if (options.json) {
            OrderedJson json = pairJson("changes", options, frames);
            json.update(changesJson(changes));
            json.update(alignmentJson(mask.alignment, bitAgreement(frames, mask.alignment)));
            output.text = printJson(json);
        }
    }
    if (!draws)
        return output;
    const BgrPicture overlay = drawOverlay(options.first, mask, times);
    return writePicture(options.overlay, overlay.view(), output.text);
}

} // namespace

void addAlign(CLI::App& app, Invocation& invocation) {
    const auto [command, options] =
        addCommand(app, invocation, "align", "Find the shift between two pictures", runAlign);
    addPairOptions(command, options, invocation);
}

void addChanges(CLI::App& app, Invocation& invocation) {
    const auto [command, options] =
        addCommand(app, invocation, "changes", "Find where two pictures differ", runChanges);
    addPairOptions(command, options, invocation);
    CLI::Option& overlay = *command
                                .add_option("--overlay", options.overlay.path,
                                            "Draw what changed into A and write that picture")
                                ->type_name("OUT");
    addPictureOutput(command, overlay, options.overlay);
}
