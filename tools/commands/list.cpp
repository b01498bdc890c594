#include "analysis/grouping.h"
#include "base/error.h"
#include "base/in_order.h"
#include "base/text.h"
#include "commands/options.h"
#include "media/files.h"
#include "media/folder_walk.h"
#include "media/picture.h"
#include "output/report.h"

#include <algorithm>
#include <iterator>
#include <sys/stat.h>

namespace {

struct ListOptions {
    std::vector<std::string> folders;
    WalkRules walk;
    double groupGap = 2;
    bool singles = false;
    std::string since; // of the wall clock: "2026-05-01", or with a time; empty for no limit
};

// What is printed about one folder.
struct FolderLines {
    WalkedFolder walked;
    std::string text = {};
    size_t bursts = 0;
    size_t pictures = 0;
    size_t singles = 0; // that are left out
};

bool isUtf8(const std::string& text) {
    try {
        return !nlohmann::json(text).dump().empty();
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}

// Why a file is not listed; nothing when it holds a picture.
std::string problemOf(const std::string& path) {
    if (!isUtf8(path))
        return "its name is not UTF-8, as JSON has to be; rename it";
    try {
        return PictureFile(path).isPicture() ? "" : "no picture, although its name says so";
    } catch (const BadPicture& bad) {
        return bad.what();
    }
}

// Looks at every file of a folder, and drops those that hold no picture.
std::vector<Metadata> readFolder(WalkedFolder& folder, Progress& progress) {
    struct Found {
        Metadata metadata;
        std::string problem;
    };
    std::vector<Found> found(folder.files.size());
    PhaseTimes ignored;
    processInOrder(
        ignored, indicesBelow(found.size()),
        [&](size_t i, PhaseTimes&) {
            const std::string& path = folder.files[i].path;
            found[i].problem = problemOf(path);
            if (found[i].problem.empty())
                found[i].metadata = readMetadata(path);
            progress.advance();
        },
        [](size_t) {});
    std::vector<InputFile> files;
    std::vector<Metadata> metadata;
    for (size_t i = 0; i < found.size(); ++i) {
        if (!found[i].problem.empty()) {
            folder.skipped.push_back({folder.files[i].name, found[i].problem});
            continue;
        }
        files.push_back(std::move(folder.files[i]));
        metadata.push_back(std::move(found[i].metadata));
    }
    folder.files = std::move(files);
    return metadata;
}

void addFile(OrderedJson& line, const std::string& path, const CaptureTime& time) {
    struct stat status = {};
    const bool isThere = ::stat(path.c_str(), &status) == 0;
    line["files"].push_back(path);
    line["bytes"].push_back(isThere ? OrderedJson(status.st_size) : OrderedJson());
    line["modified"].push_back(
        isThere
            ? OrderedJson(int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec)
            : OrderedJson());
    line["times"].push_back(toText(time));
}

std::string burstLine(const BurstGroup& group) {
    const InputFile& first = group.files.files.front();
    const std::string zone = zoneText(group.times.front());
    const OrderedJson none = OrderedJson::array();
    OrderedJson line = {{"id", first.path + " " + toText(group.times.front())},
                        {"files", none},
                        {"apart", true},
                        {"reason", reasonText(group.reason)},
                        {"zone", zone.empty() ? OrderedJson() : OrderedJson(zone)},
                        {"file_times", std::ranges::count_if(group.times, &CaptureTime::fromFile)},
                        {"bytes", none},
                        {"modified", none},
                        {"times", none}};
    for (size_t i = 0; i < group.times.size(); ++i) {
        addFile(line, group.files.files[i].path, group.times[i]);
        for (const Companion& companion : group.files.files[i].companions)
            addFile(line, companion.path, group.times[i]);
    }
    return printJson(line, -1);
}

void listFolder(FolderLines& folder, const ListOptions& options, Progress& progress) {
    std::vector<Metadata> metadata = readFolder(folder.walked, progress);
    for (const BurstGroup& group :
         groupPictures(folder.walked.files, std::move(metadata), options.groupGap)) {
        const bool isOld = std::ranges::all_of(
            group.times, [&](const CaptureTime& time) { return toText(time) < options.since; });
        if (isOld)
            continue;
        if (group.times.size() == 1 && !options.singles) {
            ++folder.singles;
            continue;
        }
        ++folder.bursts;
        folder.pictures += group.times.size();
        folder.text += burstLine(group);
    }
}

std::string summary(size_t bursts, size_t pictures, size_t singles, size_t unreadable) {
    std::string text =
        fmt::format("{} of {}", counted(bursts, "burst"), counted(pictures, "picture"));
    if (singles > 0)
        text += fmt::format("; {} left out, which --singles keeps", counted(singles, "single one"));
    if (unreadable > 0)
        text += fmt::format("; {} unreadable", unreadable);
    return text + "\n";
}

Output runList(const ListOptions& options, PhaseTimes& times) {
    FolderWalk walk(options.folders, options.walk);
    Progress progress("pictures");
    Output output;
    size_t bursts = 0, pictures = 0, singles = 0;
    const auto next = [&](PhaseTimes&) -> std::optional<FolderLines> {
        if (auto walked = walk.next())
            return FolderLines{std::move(*walked)};
        return std::nullopt;
    };
    const auto print = [&](FolderLines& folder) {
        bursts += folder.bursts;
        pictures += folder.pictures;
        singles += folder.singles;
        std::ranges::move(folder.walked.skipped, std::back_inserter(output.skipped));
        writeToStdout(folder.text);
    };
    processInOrder(
        times, next,
        [&](FolderLines& folder, PhaseTimes&) { listFolder(folder, options, progress); }, print);
    output.aside = summary(bursts, pictures, singles, output.skipped.size());
    return output;
}

// "2026-05-01" or "2026-05-01T10:20:30", as far as that goes.
std::string dateError(const std::string& date) {
    constexpr std::string_view form = "0000-00-00T00:00:00";
    const auto isLike = [](char given, char wanted) {
        return wanted == '0' ? given >= '0' && given <= '9' : given == wanted;
    };
    const bool isDate = date.size() >= 10 && date.size() <= form.size() &&
                        std::equal(date.begin(), date.end(), form.begin(), isLike);
    return isDate ? "" : date + " is no date such as 2026-05-01 or 2026-05-01T10:20:30";
}

} // namespace

void addList(CLI::App& app, Invocation& invocation) {
    const auto [command, options] =
        addCommand(app, invocation, "list", "List the bursts of folders for pick --jsonl", runList);
    command.add_option("DIR", options.folders, "Folders of pictures")->required();
    command.add_flag("--recursive", options.walk.recursive, "Walk the folders in them as well");
    command
        .add_option("--exclude", options.walk.excluded,
                    "Leave out files and folders by name, or by path below DIR; may be repeated")
        ->type_name("GLOB")
        ->take_all()
        ->expected(1);
    command.add_option("--since", options.since, "Leave out bursts that ended before DATE")
        ->check(dateError)
        ->type_name("DATE");
    command.add_flag("--singles", options.singles, "List pictures that are no burst as well");
    command
        .add_option("--group-gap", options.groupGap,
                    "Split where nothing was taken for more than SECONDS (2)")
        ->check(CLI::Range(0.0, 86400.0))
        ->type_name("SECONDS");
    addJobs(command, invocation);
    addTiming(command, invocation);
}
