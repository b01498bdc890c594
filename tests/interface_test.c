/* The header by itself, and calls through the shared library. Compiled as strict C99 and, by
 * interface_test.cpp, as C++20. */
#include "kelvane/kelvane.h"

#include <stdio.h>

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
    void* const handle = VantMemMgrCreate(buffer, (long)sizeof buffer);
    long code = DRAV_Init(handle, &engine);
    int i;

    for (i = 0; i < 32 * 32; i += 5)
        sharp[i] = 255;
    for (i = 0; i < 2; ++i) {
        code |= DRAV_GetDefaultParam(&params[i]);
        params[i].faces = &faces;
    }
    code |= DRAV_Kelvane(engine, frames, params, 2, &result);
    code |= DRAV_Uninit(&engine);
    printf("code %ld, best %ld\n", code, (long)result.best);
    return !(code == ERR_NONE && result.best == 1 && index == 1 && engine == NULL &&
             GetMaxAllocMemSize(handle) == (long)sizeof buffer - 32);
}
