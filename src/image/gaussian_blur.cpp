// Gaussian smoothing by repeated box filtering.
#include "kelvane/kelvane.h"

#include "image/plane_copy.h"
#include "image/smoothing.h"

using namespace kelvane;

extern "C" long GB_GaussianBlurA(void* memHandle, const unsigned char* source, long width,
                                 long height, long pitch, long format, unsigned char* destination,
                                 long size) {
    // Checked before anything else, so that the copy of small sizes is bounded as well.
    long planeSize = 0;
    if (source == nullptr || destination == nullptr ||
        !isSmoothablePlane(width, height, pitch, format) ||
        __builtin_mul_overflow(height, pitch, &planeSize))
        return ERR_INVALID_PARAM;
    if (size <= 1) {
        if (source != destination)
            copyPlane(source, destination, width * smoothingChannels(format), height, pitch);
        return ERR_NONE;
    }
    const long radius = size / 2; // of the next odd size when the size is even
    if (radius > (width - 1) / 2)
        return ERR_NONE;
    // Padded rows, and so all three-channel planes, get one pass less: results depend on it.
    const int passes = pitch == width ? 3 : 2;
    for (int pass = 0; pass < passes; ++pass) {
        const long code = GB_BoxBlurA(memHandle, pass == 0 ? source : destination, width, height,
                                      pitch, format, destination, radius, radius, radius, radius);
        if (code != ERR_NONE)
            return code;
    }
    return ERR_NONE;
}
