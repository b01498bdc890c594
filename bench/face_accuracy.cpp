// How many faces of photographs are found, and how often closed eyes are told from open ones.
//
//   kelvane-face-accuracy FOLDER
//
// FOLDER holds pictures and a file faces.txt with a line for each: its name, and the faces in it as
// LEFT,TOP,RIGHT,BOTTOM, none where nobody is seen. Eyes are closed by this program: what lies over
// an eye is drawn down to the lower lid.
#include "analysis/face_finder.h"
#include "analysis/people.h"
#include "media/luma.h"

#include <fmt/format.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>

namespace {

std::vector<PersonFace> facesOf(const FaceFinder& finder, LumaImage& picture) {
    picture.width &= ~1;
    return finder.find(picture.view());
}

bool isSame(const __tag_rect& a, const __tag_rect& b) {
    const double width = std::min(a.right, b.right) - std::max(a.left, b.left);
    const double height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    const auto area = [](const __tag_rect& r) {
        return static_cast<double>(r.right - r.left) * (r.bottom - r.top);
    };
    const double shared = std::max(0.0, width) * std::max(0.0, height);
    return shared / (area(a) + area(b) - shared) >= 0.3;
}

// A line through landmarks, and where it is at a place along the eyes.
double heightAt(const std::array<LandmarkPoint, 4>& line, double along) {
    size_t i = 0;
    while (i < 2 && along > line[i + 1].x)
        ++i;
    const double share = (along - line[i].x) / std::max(1e-6, line[i + 1].x - line[i].x);
    return line[i].y + share * (line[i + 1].y - line[i].y);
}

// One eye in coordinates along the eyes and down the face, and what closing it moves.
class Lids {
public:
    Lids(const LandmarkPoint* eye, double roll) : cos_(std::cos(roll)), sin_(std::sin(roll)) {
        const auto turned = [&](const LandmarkPoint& p) {
            return LandmarkPoint{p.x * cos_ + p.y * sin_, p.y * cos_ - p.x * sin_};
        };
        upper_ = {turned(eye[0]), turned(eye[1]), turned(eye[2]), turned(eye[3])};
        lower_ = {turned(eye[0]), turned(eye[5]), turned(eye[4]), turned(eye[3])};
        width_ = upper_[3].x - upper_[0].x;
    }

    // What the pixel at `p` shows once the lids are `open`, 0 to 1: affine above and below the lid.
    LandmarkPoint source(const LandmarkPoint& p, double open) const {
        const double along = p.x * cos_ + p.y * sin_, down = p.y * cos_ - p.x * sin_;
        if (along <= upper_[0].x || along >= upper_[3].x)
            return p;
        const double lid = heightAt(upper_, along) - 0.08 * width_;
        const double end = heightAt(lower_, along) + 0.05 * width_;
        const double start = lid - 0.4 * width_;
        const double moved = lid + (1 - open) * (end - lid);
        if (down <= start || down >= end)
            return p;
        const double from = down < moved ? start + (down - start) * (lid - start) / (moved - start)
                                         : lid + (down - moved) * (end - lid) / (end - moved);
        return {along * cos_ - from * sin_, along * sin_ + from * cos_};
    }

private:
    double cos_, sin_, width_ = 0;
    std::array<LandmarkPoint, 4> upper_ = {}, lower_ = {};
};

double sample(const LumaImage& picture, double x, double y) {
    x = std::clamp(x, 0.0, picture.width - 1.001);
    y = std::clamp(y, 0.0, picture.height - 1.001);
    const auto column = static_cast<int64_t>(x), row = static_cast<int64_t>(y);
    const double u = x - static_cast<double>(column), v = y - static_cast<double>(row);
    const auto at = [&](int64_t dx, int64_t dy) {
        return static_cast<double>(
            picture.pixels[static_cast<size_t>((row + dy) * picture.width + column + dx)]);
    };
    return (1 - v) * ((1 - u) * at(0, 0) + u * at(1, 0)) + v * ((1 - u) * at(0, 1) + u * at(1, 1));
}

// A face and what is around it, `size` pixels wide, with its eyes `open` and moved by `shift`.
LumaImage render(const LumaImage& picture, const PersonFace& face, int32_t size, double open,
                 double shift) {
    const double roll = face.measures.roll * std::numbers::pi / 180;
    const Lids right(&face.landmarks[36], roll), left(&face.landmarks[42], roll);
    const double scale = static_cast<double>(face.rect.right - face.rect.left) / size;
    const double centreX = (face.rect.left + face.rect.right) / 2.0;
    const double centreY = (face.rect.top + face.rect.bottom) / 2.0;
    LumaImage result = {3 * size / 2 * 2, 3 * size / 2 * 2, {}};
    for (int32_t y = 0; y < result.height; ++y)
        for (int32_t x = 0; x < result.width; ++x) {
            double sum = 0;
            for (int part = 0; part < 16; ++part) { // means of what a pixel stands for
                const double px = x + 0.125 + 0.25 * (part % 4) - shift;
                const double py = y + 0.125 + 0.25 * (part / 4) - shift;
                LandmarkPoint p = {(px - result.width / 2.0) * scale + centreX,
                                   (py - result.height / 2.0) * scale + centreY};
                p = right.source(left.source(p, open), open);
                sum += sample(picture, p.x, p.y);
            }
            result.pixels.push_back(static_cast<unsigned char>(std::lround(sum / 16)));
        }
    return result;
}

struct EyeCounts {
    int right = 0, wrong = 0, unknown = 0, lost = 0;

    void count(const People& people, size_t frame, bool open) {
        if (people.ofFrames[frame].empty())
            ++lost;
        else if (const auto said = people.ofFrames[frame].front().eyesOpen; !said)
            ++unknown;
        else
            ++(*said == open ? right : wrong);
    }
};

// Bursts of four frames, in two of which the eyes are closed, and the same frames one by one.
void countEyes(const FaceFinder& finder, const LumaImage& picture, const PersonFace& face,
               int32_t size, EyeCounts& burst, EyeCounts& single) {
    std::vector<std::vector<PersonFace>> frames;
    for (const auto& [open, shift] : {std::pair{1.0, 0.0}, {0.0, 1.5}, {1.0, 3.0}, {0.0, -2.5}}) {
        LumaImage made = render(picture, face, size, open, shift);
        frames.push_back(facesOf(finder, made));
        single.count(findPeople({frames.back()}), 0, open > 0);
    }
    const People people = findPeople(frames);
    for (size_t i = 0; i < 4; ++i)
        burst.count(people, i, i % 2 == 0);
}

struct Listed {
    std::string name;
    std::vector<__tag_rect> faces;
};

std::vector<Listed> readList(const std::string& path) {
    std::vector<Listed> pictures;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        Listed listed;
        words >> listed.name;
        for (std::string word; words >> word;) {
            __tag_rect& r = listed.faces.emplace_back();
            if (std::sscanf(word.c_str(), "%d,%d,%d,%d", &r.left, &r.top, &r.right, &r.bottom) != 4)
                throw std::runtime_error(path + ": no rectangle: " + word);
        }
        pictures.push_back(listed);
    }
    return pictures;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fmt::print(stderr, "usage: kelvane-face-accuracy FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    const FaceFinder finder({});
    constexpr std::array<int32_t, 3> sizes = {40, 80, 160};
    std::array<EyeCounts, 3> bursts, singles;
    int listed = 0, found = 0, listedLarge = 0, foundLarge = 0, wrong = 0, pictures = 0;
    for (const Listed& entry : readList(folder + "/faces.txt")) {
        PhaseTimes times;
        LumaImage picture = readLuma(folder + "/" + entry.name, times);
        LumaImage even = picture; // rows stay as long as they are
        const std::vector<PersonFace> faces = finder.find({.format = KELVANE_FORMAT_YUV420,
                                                           .width = even.width & ~1,
                                                           .height = even.height & ~1,
                                                           .planes = {even.pixels.data()},
                                                           .pitches = {even.width}});
        ++pictures;
        for (const __tag_rect& truth : entry.faces) {
            const bool hit = std::ranges::any_of(
                faces, [&](const PersonFace& face) { return isSame(face.rect, truth); });
            const bool large = truth.right - truth.left >= 60;
            listed += 1;
            found += hit;
            listedLarge += large;
            foundLarge += large && hit;
        }
        for (const PersonFace& face : faces) {
            const bool hit = std::ranges::any_of(
                entry.faces, [&](const __tag_rect& truth) { return isSame(face.rect, truth); });
            wrong += !hit;
            const bool looksHere = std::abs(face.measures.yaw) <= 25;
            for (size_t i = 0; hit && looksHere && i < sizes.size(); ++i)
                if (face.rect.right - face.rect.left >= 0.8 * sizes[i])
                    countEyes(finder, picture, face, sizes[i], bursts[i], singles[i]);
        }
    }
    fmt::print("pictures {}; listed faces found {} of {}, of 60 pixels and more {} of {}; others "
               "found {}\n",
               pictures, found, listed, foundLarge, listedLarge, wrong);
    for (size_t i = 0; i < sizes.size(); ++i)
        for (const auto& [what, counts] :
             {std::pair{"in bursts", &bursts[i]}, {"one by one", &singles[i]}})
            fmt::print("eyes of faces of {} pixels, {}: right {}, wrong {}, unknown {}, face not "
                       "found {}\n",
                       sizes[i], what, counts->right, counts->wrong, counts->unknown, counts->lost);
    return 0;
}
