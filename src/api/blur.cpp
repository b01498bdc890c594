#include "api/engine.h"
#include "api/score.h"
#include "image/format.h"
#include "platform/conversion.h"

extern "C" long DRAV_DetectBlur(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* image,
                                _tag_DRAV_DATA* result) {
    if (engine == nullptr || image == nullptr || result == nullptr)
        return ERR_INVALID_PARAM;
    if (!kelvane::isPlanarFormat(image->format))
        return ERR_INVALID_PARAM;
    __tag_KIRO_OFFSCREEN measured = *image;
    float sharpness = 0.0f;
    const long code = imgEvaluateSharpness(engine->memHandle, &measured, &sharpness, nullptr);
    if (code != ERR_NONE)
        return code;
    engine->blurResult = {
        .width = image->width,
        .height = image->height,
        .format = image->format,
        .score = kelvane::roundedProduct<int32_t>(sharpness, kelvane::sharpnessScale),
    };
    *result = {.data = &engine->blurResult, .size = sizeof engine->blurResult};
    return ERR_NONE;
}
