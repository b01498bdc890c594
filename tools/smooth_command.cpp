#include "error.h"
#include "library.h"
#include "luma_image.h"
#include "picture_output.h"
#include "text.h"

Output runSmooth(const Options& options, PhaseTimes& times) {
    checkOutputPath(options.output, options.force);
    const LumaImage source = readLuma(options.first, times);
    // The library would leave such a plane alone.
    if (source.width <= options.kernel / 2 * 2)
        throw InputError("--size", std::to_string(options.kernel) + " does not fit a picture of " +
                                       sizeText(source.width, source.height));
    LumaImage result = source;
    {
        const PhaseTimer timer(times.library);
        checkResult(GB_GaussianBlurA(nullptr, source.pixels.data(), source.width, source.height,
                                     source.width, 0, result.pixels.data(), options.kernel),
                    "GB_GaussianBlurA");
    }
    return pictureOutput(options, greyPixels(result));
}
