#include "colour_picture.h"
#include "picture_output.h"

Output runResize(const Options& options, PhaseTimes& times) {
    checkOutputPath(options.output, options.force);
    const ColourPicture source = ColourPicture::read(options.first, times);
    const BgrPicture result =
        source.resized(options.outputSize.width, options.outputSize.height, times);
    return pictureOutput(options, {.data = result.pixels.data(),
                                   .width = result.width,
                                   .height = result.height,
                                   .pitch = 3 * int64_t{result.width},
                                   .channels = 3});
}
