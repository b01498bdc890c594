/* The header alone, and every kind of call through the shared library. Compiled as strict C99 and,
 * by interface_test.cpp, as C++20. */
#include "kelvane/kelvane.h"

#include <stdio.h>

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            printf("line %d: %s\n", __LINE__, #condition);                                         \
            return 1;                                                                              \
        }                                                                                          \
    } while (0)

int main(void) {
    static int64_t buffer[512];
    static unsigned char sharp[32 * 32], flat[32 * 32];
    _tag_DRAV_ENGINE* engine = NULL;
    __tag_KIRO_OFFSCREEN frames[2] = {{KELVANE_FORMAT_YUV420, 32, 32, {flat}, {32}},
                                      {KELVANE_FORMAT_YUV420_CRCB, 32, 32, {sharp}, {32}}};
    _tag_DRAV_FACEINFO faces = {0, NULL, NULL, NULL, NULL};
    _tag_DRAV_PARAM params[2];
    int64_t index = -1;
    _tag_DRAV_RESULT result = {1, &index, -1};
    _tag_DRAV_DATA blur = {NULL, 0};
    void* const handle = VantMemMgrCreate(buffer, (long)sizeof buffer);
    long i;

    CHECK(handle == buffer);
    CHECK(DRAV_Init(handle, &engine) == ERR_NONE);
    for (i = 0; i < 32 * 32; i += 5)
        sharp[i] = 255;
    for (i = 0; i < 2; ++i) {
        CHECK(DRAV_GetDefaultParam(&params[i]) == ERR_NONE);
        params[i].faces = &faces;
    }
    CHECK(DRAV_DetectBlur(engine, &frames[1], &blur) == ERR_NONE);
    CHECK(((_tag_DRAV_BLURRESULT*)blur.data)->score > 0);
    CHECK(DRAV_Kelvane(engine, frames, params, 2, &result) == ERR_NONE);
    CHECK(result.best == 1 && index == 1 && result.count == 1);
    CHECK(DRAV_Uninit(&engine) == ERR_NONE && engine == NULL);
    CHECK(GetMaxAllocMemSize(handle) == (long)sizeof buffer - 32);
    return 0;
}
