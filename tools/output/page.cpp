#include "output/page.h"

#include "base/text.h"
#include "output/burst_section.h"
#include "output/html.h"
#include "page_text.h"

#include <fmt/format.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr size_t mostOnOneSheet = 256;
constexpr size_t mostOnAllSheets = 1024; // of a page
constexpr size_t leastOnOneSheet = 4;
constexpr size_t mostOnOnePage = 50; // bursts

size_t pageCount(size_t bursts) { return (bursts + mostOnOnePage - 1) / mostOnOnePage; }

std::string coverPicture(const Burst& burst) {
    const auto found = burst.sheet.thumbnails.find(static_cast<size_t>(burst.ranking.best));
    if (found == burst.sheet.thumbnails.end())
        return part("missing", {});
    return part("cover", {{"jpeg", base64(found->second.cover)}});
}

std::string summary(std::span<const Burst> bursts) {
    size_t frames = 0, kept = 0;
    for (const Burst& burst : bursts) {
        frames += burst.measured.frames.size();
        kept += burst.ranking.chosen.size();
    }
    std::string summary = bursts.size() > 1 ? counted(bursts.size(), "burst") + ", " : "";
    summary += counted(frames, "frame");
    const MeasuredFrame& first = bursts.front().measured.frames.front();
    if (bursts.size() == 1)
        summary += fmt::format(" of {} × {} pixels", first.width, first.height);
    return summary + fmt::format(", {} kept.", kept);
}

// How the kept frames were chosen, of which the page says more than `--choose`.
const char* choiceText(Choice choice) {
    switch (choice) {
    case Choice::sharpest: return "those with the highest sums of all";
    case Choice::library:
        return "chosen by the library: when a quarter, a third or half of the frames or fewer are "
               "kept, each is the highest of a group of four, three or two neighbours, counted "
               "from "
               "the start of the burst, and the last one the highest of all that remain; otherwise "
               "they are the highest of all";
    case Choice::spread: break;
    }
    return "spread over the burst: it is divided into as many stretches of the same length as "
           "frames are to be kept, and the highest of each is kept";
}

std::string leastText(const ChoiceRules& rules) {
    if (rules.minShare == 0)
        return "";
    return fmt::format(" Left out are frames whose score is below {} % of the best one’s.",
                       rules.minShare);
}

} // namespace

size_t sheetCapacity(size_t bursts) {
    return std::clamp(mostOnAllSheets / std::clamp<size_t>(bursts, 1, mostOnOnePage),
                      leastOnOneSheet, mostOnOneSheet);
}

// What one file of the report holds.
struct Report::Page {
    std::string notes;
    std::string links; // to the other pages
    std::string contents;
    std::string sections;
};

Report::Report(std::string path, std::string title, size_t bursts)
    : path_(std::move(path)), folder_(fs::absolute(path_).lexically_normal().parent_path()),
      title_(std::move(title)), count_(bursts) {}

void Report::add(const Burst& burst) {
    sections_.push_back(burstSection(burst, {folder_, sections_.size(), count_}));
    covers_.push_back(coverPicture(burst));
}

std::string Report::pathOf(size_t page) const {
    if (page == 0)
        return path_;
    fs::path path = path_;
    path.replace_filename(
        fmt::format("{}-{}{}", path.stem().string(), page, path.extension().string()));
    return path;
}

std::string Report::cover(const Burst& burst, size_t number, const std::string& page) const {
    const Measurement& measured = burst.measured;
    const auto best = static_cast<size_t>(burst.ranking.best);
    return lines("burst-link",
                 {{"target", fmt::format("{}#{}", page, burstId(number))},
                  {"cover", covers_[number]},
                  {"name", fmt::format("Burst {}", number + 1)},
                  {"start", startText(burst)},
                  {"frames", fmt::format("{}, {} kept", counted(measured.frames.size(), "frame"),
                                         burst.ranking.chosen.size())},
                  {"best", escaped(frameName(measured, measured.frames[best]))}});
}

// Of a report of one page there are none. The index is page 0.
std::string Report::pageLinks(size_t current) const {
    std::string links;
    for (size_t page = 0; page <= pageCount(count_); ++page) {
        const size_t first = (page - 1) * mostOnOnePage + 1;
        const std::string name =
            page == 0 ? "All bursts"
                      : fmt::format("{} to {}", first, std::min(first + mostOnOnePage - 1, count_));
        if (page == current)
            links += lines("this-page", {{"name", name}});
        else
            links +=
                lines("page-link", {{"target", linkFrom(folder_, pathOf(page))}, {"name", name}});
    }
    return lines("pages", {{"links", links}});
}

std::string Report::html(const Page& page, std::span<const Burst> bursts) const {
    _tag_VERSION_INFO version = {};
    DRAV_GetVersion(&version);
    const ChoiceRules& choice = bursts.front().choice;
    return fill(pageTemplate, {{"version", escaped(version.version)},
                               {"title", escaped(title_)},
                               {"style", styleSheet},
                               {"summary", summary(bursts)},
                               {"notes", page.notes},
                               {"pages", page.links},
                               {"contents", page.contents},
                               {"bursts", page.sections},
                               {"choice", std::string(choiceText(choice.choice))},
                               {"least", leastText(choice)}});
}

std::vector<PageFile> Report::files(std::span<const Burst> bursts, const Notes& notes) const {
    std::string noteLines;
    for (const std::string& note : notes)
        noteLines += lines("note", {{"text", escaped("Note: " + note + ".")}});
    const auto contents = [&](const std::string& covers) {
        return count_ > 1 ? lines("contents", {{"bursts", covers}}) : "";
    };
    const bool split = pageCount(count_) > 1;
    std::vector<PageFile> files;
    std::string index;
    for (size_t first = 0; first < count_; first += mostOnOnePage) {
        const size_t page = split ? first / mostOnOnePage + 1 : 0;
        std::string covers, sections;
        for (size_t i = first; i < std::min(first + mostOnOnePage, count_); ++i) {
            covers += cover(bursts[i], i, "");
            index += cover(bursts[i], i, linkFrom(folder_, pathOf(page)));
            sections += sections_[i];
        }
        files.push_back(
            {pathOf(page),
             html({noteLines, split ? pageLinks(page) : "", contents(covers), sections}, bursts)});
    }
    if (split)
        files.insert(files.begin(),
                     {path_, html({noteLines, pageLinks(0), contents(index), ""}, bursts)});
    return files;
}
