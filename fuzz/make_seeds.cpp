// Writes a few inputs for each target to begin with: make_seeds FOLDER TARGET...
#include "tool/media.h"

#include <filesystem>
#include <fstream>
#include <random>

namespace {

// Choices are taken from the end of an input and the rest from its beginning.
std::string noise(size_t size, unsigned seed) {
    std::mt19937 engine(seed);
    std::string bytes(size, 0);
    for (char& byte : bytes)
        byte = static_cast<char>(engine());
    return bytes;
}

std::vector<std::string> pictures() {
    Picture grey = makeScene(104, 100);
    Picture colour = {26, 20, 3};
    for (int y = 0; y < colour.height; ++y)
        for (int i = 0; i < colour.width * 3; ++i)
            colour.at(0, y, i) = grey.at(i, y);
    const std::string jpeg = encode(grey, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
    return {toPnm(grey),
            toPnm(colour),
            jpeg,
            jpeg + jpeg,
            toIvf("MJPG", {jpeg, jpeg, jpeg}),
            encode(grey, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8),
            encode(colour, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24),
            encode(colour, AV_CODEC_ID_BMP, AV_PIX_FMT_BGR24),
            encode(colour, AV_CODEC_ID_TIFF, AV_PIX_FMT_RGB24),
            encode(colour, AV_CODEC_ID_TARGA, AV_PIX_FMT_BGR24),
            R"({"frames":[{"faces":[{"rect":[1,2,30,40],"code":3,"eyes":"open","smile":"no"}]}]})"};
}

std::vector<std::string> seedsOf(const std::string& target) {
    std::vector<std::string> seeds;
    const std::vector<std::string> files = pictures();
    for (size_t i = 0; i < files.size() && target == "tool"; ++i)
        for (const size_t command : {i % 9, (i + 4) % 9})
            seeds.push_back(files[i] + static_cast<char>(command) + '\0');
    if (target != "tool")
        for (unsigned i = 0; i < 50; ++i)
            seeds.push_back(noise(40u << i % 4, i));
    return seeds;
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 2; i < argc; ++i) {
        const std::filesystem::path folder = std::filesystem::path(argv[1]) / argv[i];
        std::filesystem::create_directories(folder);
        int number = 0;
        for (const std::string& seed : seedsOf(argv[i]))
            std::ofstream(folder / ("seed" + std::to_string(number++))) << seed;
    }
}
