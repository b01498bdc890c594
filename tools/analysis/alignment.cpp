#include "analysis/alignment.h"

#include "analysis/light.h"
#include "analysis/motion.h"
#include "base/error.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace {

constexpr size_t peakCount = 4;

// Frames fit from this correlation on, as long as at least `pixelsOfScenes` pixels of the middle
// level are compared; with fewer pixels chance plays a larger part, by the root of their number.
// Where these come from is told in docs/alignment.md.
constexpr double fitting = 0.15;
constexpr double fittingAlways = 0.9;
constexpr double pixelsOfScenes = 57600;

// An expected shift is taken without looking for others from here on.
constexpr double convincing = 0.5;

// Between two pictures of one size.
double overlapPixels(const EdgeMap& edges, Shift shift) {
    return static_cast<double>(std::max<int64_t>(0, edges.width - std::abs(shift.dx)) *
                               std::max<int64_t>(0, edges.height - std::abs(shift.dy)));
}

double fittingCorrelation(const EdgeMap& edges, Shift shift) {
    const double chance = std::sqrt(pixelsOfScenes / overlapPixels(edges, shift));
    return std::clamp(fitting * chance, fitting, fittingAlways);
}

// A shift at the middle level, and the correlation under it.
struct Candidate {
    Shift shift;
    double correlation;
};

// Goes to the best neighbour as long as there is a better one.
Candidate climb(const EdgeMap& first, const EdgeMap& second, Shift start) {
    constexpr int mostSteps = 8;
    Candidate best = {start, correlate(first, second, start).value()};
    for (int step = 0; step < mostSteps; ++step) {
        const Shift centre = best.shift;
        for (int64_t dy = -1; dy <= 1; ++dy)
            for (int64_t dx = -1; dx <= 1; ++dx) {
                const Shift shift = {centre.dx + dx, centre.dy + dy};
                const double correlation = correlate(first, second, shift).value();
                if (correlation > best.correlation)
                    best = {shift, correlation};
            }
        if (best.shift.dx == centre.dx && best.shift.dy == centre.dy)
            break;
    }
    return best;
}

// By chance the correlation of a small overlap is larger, by the root of its size.
double evidence(const EdgeMap& edges, const Candidate& candidate) {
    return candidate.correlation * std::sqrt(overlapPixels(edges, candidate.shift));
}

Shift coarser(Shift shift, size_t halvings) {
    const double factor = std::ldexp(1, -static_cast<int>(halvings));
    return {std::llround(static_cast<double>(shift.dx) * factor),
            std::llround(static_cast<double>(shift.dy) * factor)};
}

Shift finer(Shift shift, size_t doublings) {
    return {shift.dx * (int64_t{1} << doublings), shift.dy * (int64_t{1} << doublings)};
}

// From the middle level to the full pictures. Finer levels are more precise as long as the edges
// there are more than noise: the one whose patches agree best is believed.
Motion refine(const Pyramid& first, const Pyramid& second, Shift atMiddle) {
    constexpr double pixelError = 0.1; // of what is found between the pixels
    const size_t middle = first.middle();
    Motion best = {static_cast<double>(atMiddle.dx), static_cast<double>(atMiddle.dy)};
    best = best.scaledBy(std::ldexp(1, static_cast<int>(middle)));
    best.error = HUGE_VAL;
    for (size_t level = middle + 1; level-- > 0;) {
        const double pixel = std::ldexp(1, static_cast<int>(level));
        std::optional<Motion> motion =
            refineMotion(first.level(level), second.level(level), best.scaledBy(1 / pixel),
                         level == middle ? 4 : 2);
        if (!motion)
            continue;
        motion->error = std::hypot(motion->error, pixelError);
        if (motion->error * pixel < best.error)
            best = motion->scaledBy(pixel);
    }
    return best;
}

// The correlation of what both pictures show, at the middle level.
EdgeCorrelation correlateOverlap(const Pyramid& first, const Pyramid& second, Shift shift) {
    const LumaImage& a = first.level(0);
    const LumaImage& b = second.level(0);
    const auto dx = static_cast<int32_t>(shift.dx), dy = static_cast<int32_t>(shift.dy);
    const int32_t width = a.width - std::abs(dx), height = a.height - std::abs(dy);
    LumaImage partOfFirst = cut(a, std::max(0, dx), std::max(0, dy), width, height);
    LumaImage partOfSecond = cut(b, std::max(0, -dx), std::max(0, -dy), width, height);
    for (size_t level = 0; level < first.middle(); ++level) {
        partOfFirst = halved(partOfFirst);
        partOfSecond = halved(partOfSecond);
    }
    return correlate(edgesOf(partOfFirst), edgesOf(partOfSecond), {0, 0});
}

Alignment judge(const Pyramid& first, const Pyramid& second, Shift atMiddle) {
    const Motion motion = refine(first, second, atMiddle);
    const LumaImage& full = first.level(0);
    Alignment alignment;
    alignment.shift = {std::llround(motion.dx), std::llround(motion.dy)};
    alignment.correlationUnshifted =
        correlate(first.middleEdges(), second.middleEdges(), {0, 0}).value();
    alignment.atLimit = 2 * std::abs(alignment.shift.dx) >= full.width ||
                        2 * std::abs(alignment.shift.dy) >= full.height;
    if (alignment.atLimit)
        return alignment;
    alignment.correlation = correlateOverlap(first, second, alignment.shift).value();
    alignment.fits = alignment.correlation >= fittingCorrelation(first.middleEdges(), atMiddle);
    if (alignment.fits) {
        alignment.turn = (0 - motion.turn) * 180 / std::numbers::pi;
        alignment.scale = 1 / (1 + motion.zoom);
        alignment.cornerOffset =
            std::hypot(motion.turn, motion.zoom) * std::hypot(full.width, full.height) / 2;
    }
    return alignment;
}

Candidate findBest(const Pyramid& first, const Pyramid& second, Shift expected) {
    const size_t middle = first.middle();
    std::vector<Shift> starts = {{0, 0}, coarser(expected, middle)};
    if (first.spectrum() && second.spectrum())
        for (const Shift& peak : highestPeaks(*first.spectrum(), *second.spectrum(), peakCount))
            starts.push_back(finer(peak, first.coarsest() - middle));
    const EdgeMap& edges = first.middleEdges();
    Candidate best = {starts.front(), 0};
    for (const Shift& start : starts) {
        const Candidate candidate = climb(edges, second.middleEdges(), start);
        if (evidence(edges, candidate) > evidence(edges, best))
            best = candidate;
    }
    return best;
}

} // namespace

Alignment align(const Pyramid& first, const Pyramid& second, Shift expected) {
    return judge(first, second, findBest(first, second, expected).shift);
}

RoughShift alignRoughly(const Pyramid& first, const Pyramid& second, Shift expected) {
    const EdgeMap& a = first.middleEdges();
    const EdgeMap& b = second.middleEdges();
    Candidate best = climb(a, b, coarser(expected, first.middle()));
    if (best.correlation < convincing)
        best = findBest(first, second, expected);
    const auto [dx, dy] = best.shift;
    const auto at = [&](int64_t x, int64_t y) { return correlate(a, b, {x, y}).value(); };
    const double pixel = std::ldexp(1, static_cast<int>(first.middle()));
    return {pixel * (static_cast<double>(dx) +
                     roofTop(at(dx - 1, dy), best.correlation, at(dx + 1, dy))),
            pixel * (static_cast<double>(dy) +
                     roofTop(at(dx, dy - 1), best.correlation, at(dx, dy + 1))),
            best.correlation >= fittingCorrelation(a, best.shift)};
}

Aligner::Aligner() { checkResult(Alignment_Init(nullptr, &context_), "Alignment_Init"); }

Aligner::~Aligner() { Alignment_Uninit(&context_); }

Alignment Aligner::find(LumaImage& first, LumaImage& second) {
    LumaImage matched = matchLight(second, first);
    __tag_KIRO_OFFSCREEN views[] = {first.view(), matched.view()};
    _tag_ZEP_NS_INPUTINFO input = {.count = 2, .images = {&views[0], &views[1]}};
    long shifts[2][2] = {};
    long* results[] = {shifts[0], shifts[1]};
    checkResult(Image_Alignment_Video(context_, &input, 0, results, 1), "Image_Alignment_Video");
    return align(Pyramid(first), Pyramid(second), {shifts[1][0], shifts[1][1]});
}

double bitAgreement(LumaImage& first, LumaImage& second, Shift shift) {
    const auto bitsOf = [](LumaImage& luma, int64_t rowBytes) {
        __tag_KIRO_OFFSCREEN image = luma.view();
        std::array<long, 256> histogram;
        long threshold = 0;
        TorInterThreshold(nullptr, &image, nullptr, &threshold, luma.width, luma.height, luma.width,
                          histogram.data());
        std::vector<unsigned char> bits(static_cast<size_t>(rowBytes * luma.height));
        ComputeBitmaps2(luma.pixels.data(), luma.width, luma.height, luma.width, bits.data(),
                        rowBytes, threshold, 0, KELVANE_FORMAT_YUV420);
        return bits;
    };
    const int64_t columns = first.width - std::abs(shift.dx);
    const int64_t rows = first.height - std::abs(shift.dy);
    if (columns <= 0 || rows <= 0)
        return 0;
    const int64_t rowBytes = (first.width + 31) / 32 * 4 + 4;
    std::vector<unsigned char> a = bitsOf(first, rowBytes), b = bitsOf(second, rowBytes);
    const unsigned long different = BitmapOperation2(a.data(), b.data(), first.width, first.height,
                                                     rowBytes, shift.dx, shift.dy);
    return 1 - static_cast<double>(different) / static_cast<double>(columns * rows);
}
