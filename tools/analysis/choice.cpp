#include "analysis/choice.h"

#include <numeric>
#include <set>
#include <utility>

namespace {

// From the highest total to the lowest, ties in frame order, but the best one first.
std::vector<size_t> framesByTotal(const Burst& burst) {
    std::vector<size_t> frames(burst.terms.size());
    std::iota(frames.begin(), frames.end(), size_t{0});
    std::ranges::stable_sort(frames, std::greater<>{}, [&](size_t frame) {
        return std::pair(burst.isBest(frame), burst.terms[frame].total);
    });
    return frames;
}

// In which of as many equal stretches as frames are to be kept each frame lies: of time where all
// have one, otherwise of the frames themselves.
std::vector<int64_t> stretchesOf(const Measurement& measured, int64_t count) {
    const std::vector<MeasuredFrame>& frames = measured.frames;
    const auto n = static_cast<double>(frames.size());
    const bool timed = std::ranges::all_of(
        frames, [](const MeasuredFrame& frame) { return frame.seconds.has_value(); });
    const double first = timed ? *frames.front().seconds : 0;
    const double last = timed ? *frames.back().seconds : n - 1;
    if (last <= first)
        return std::vector<int64_t>(frames.size(), 0);
    const double length = (last - first) * n / (n - 1); // until after the last frame
    constexpr double rounding = 1e-6;                   // of the times
    std::vector<int64_t> stretches;
    for (size_t i = 0; i < frames.size(); ++i) {
        const double position = (timed ? *frames[i].seconds : static_cast<double>(i)) - first;
        const double stretch = position / length * static_cast<double>(count) + rounding;
        stretches.push_back(static_cast<int64_t>(stretch));
    }
    return stretches;
}

// The first of each stretch before all others.
std::vector<size_t> spread(const std::vector<size_t>& frames,
                           const std::vector<int64_t>& stretches) {
    std::vector<size_t> first, others;
    std::set<int64_t> represented;
    for (const size_t frame : frames)
        (represented.insert(stretches[frame]).second ? first : others).push_back(frame);
    first.insert(first.end(), others.begin(), others.end());
    return first;
}

} // namespace

std::vector<int64_t> chooseFrames(const Burst& burst) {
    const ChoiceRules& rules = burst.choice;
    std::vector<size_t> frames = framesByTotal(burst);
    if (rules.choice == Choice::library)
        std::erase_if(frames, [&](size_t frame) { return !burst.isChosen(frame); });
    const auto best = static_cast<size_t>(burst.ranking.best);
    const double least = rules.minShare / 100 * static_cast<double>(burst.terms[best].score);
    std::erase_if(frames, [&](size_t frame) {
        return frame != best && static_cast<double>(burst.terms[frame].score) < least;
    });
    if (rules.choice == Choice::spread)
        frames = spread(frames, stretchesOf(burst.measured, rules.keep));
    frames.resize(std::min(frames.size(), static_cast<size_t>(rules.keep)));
    std::vector<int64_t> chosen(frames.begin(), frames.end());
    std::ranges::sort(chosen);
    return chosen;
}
