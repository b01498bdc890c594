#include <kelvane/kelvane.h>
#include <stdio.h>

int main(void) {
    static unsigned char luma[64 * 64];
    for (int i = 0; i < 64 * 64; i += 5)
        luma[i] = 255;
    __tag_KIRO_OFFSCREEN image = {KELVANE_FORMAT_YUV420, 64, 64, {luma}, {64}};
    _tag_DRAV_ENGINE* engine = NULL;
    _tag_DRAV_DATA blur = {NULL, 0};
    long code = DRAV_Init(NULL, &engine) || DRAV_DetectBlur(engine, &image, &blur);
    printf("score %d\n", code ? -1 : ((_tag_DRAV_BLURRESULT*)blur.data)->score);
    return code || DRAV_Uninit(&engine);
}
