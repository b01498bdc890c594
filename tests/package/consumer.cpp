#include <kelvane/kelvane.h>

#include <cstdio>
#include <vector>

int main() {
    std::vector<unsigned char> luma(64 * 64);
    for (size_t i = 0; i < luma.size(); i += 5)
        luma[i] = 255;
    __tag_KIRO_OFFSCREEN image = {KELVANE_FORMAT_YUV420, 64, 64, {luma.data()}, {64}};
    float sharpness = -1;
    const long code = imgEvaluateSharpness(nullptr, &image, &sharpness, nullptr);
    std::printf("score %.0f\n", static_cast<double>(sharpness * 10000));
    return static_cast<int>(code);
}
