#include "colour_picture.h"
#include "picture_output.h"

Output runResize(const Options& options, PhaseTimes& times) {
    checkOutputPath(options.output, options.force);
    const ColourPicture source = ColourPicture::read(options.first, times);
    const OutputSize& size = options.outputSize;
    return pictureOutput(options, source.resized(size.width, size.height, times).view());
}
