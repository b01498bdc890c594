#include "library.h"
#include "luma_image.h"
#include "picture_output.h"

namespace {

using Filter = long (*)(void*, const unsigned char*, long, long, long, long, unsigned char*, long);

Filter filterOf(Morphology operation) {
    switch (operation) {
    case Morphology::erode: return sbrErode;
    case Morphology::dilate: return sbrDilate;
    case Morphology::open: return sbrOpen;
    case Morphology::close: return sbrClose;
    }
    return nullptr;
}

} // namespace

Output runMorph(const Options& options, PhaseTimes& times) {
    checkOutputPath(options.output, options.force);
    const LumaImage source = readLuma(options.first, times);
    LumaImage result = source;
    {
        const PhaseTimer timer(times.library);
        const Filter filter = filterOf(options.operation);
        checkResult(filter(nullptr, source.pixels.data(), source.width, source.height, source.width,
                           1, result.pixels.data(), options.radius),
                    "morphology");
    }
    return pictureOutput(options, greyPixels(result));
}
