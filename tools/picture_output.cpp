#include "picture_output.h"

#include "text.h"

Output pictureOutput(const Options& options, const PixelsView& pixels) {
    return {.text = "Wrote " + oneLine(options.output) + ", " +
                    sizeText(pixels.width, pixels.height) + " pixels.\n",
            .file = OutputFile{options.output, encodePng(pixels), options.force}};
}
