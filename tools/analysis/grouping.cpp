#include "analysis/grouping.h"

#include "media/burst_name.h"

#include <algorithm>
#include <map>
#include <optional>

namespace {

struct GroupedPicture {
    const InputFile* file;
    Metadata metadata;
    double instant;     // in seconds, to compare with those of the others
    std::string mark;   // that the pictures of a burst share; empty for none
    GroupReason reason; // which the mark is
};

// Times of the wall clock compare wherever all of them were taken in one zone. Only when the zone
// of every picture is known do they compare across zones.
void setInstants(std::vector<GroupedPicture>& pictures) {
    const bool known = std::ranges::all_of(pictures, [](const GroupedPicture& picture) {
        return picture.metadata.taken.minutesEast.has_value();
    });
    for (GroupedPicture& picture : pictures) {
        const CaptureTime& taken = picture.metadata.taken;
        picture.instant = taken.seconds - (known ? 60 * *taken.minutesEast : 0);
    }
}

// An identifier counts before a name. A picture that has lost its own, after an edit for example,
// gets that of another one with its name.
void setMarks(std::vector<GroupedPicture>& pictures) {
    std::map<std::string, std::string> identifiers; // by the name of the burst
    for (GroupedPicture& picture : pictures) {
        const std::string name = burstName(picture.file->path);
        const std::string& id = picture.metadata.burstId;
        if (!id.empty() && !name.empty())
            identifiers[name] = id;
        picture.mark = !id.empty() ? "id " + id : !name.empty() ? "name " + name : "";
        picture.reason = !id.empty()     ? GroupReason::burstId
                         : !name.empty() ? GroupReason::fileNames
                                         : GroupReason::captureTimes;
    }
    for (GroupedPicture& picture : pictures)
        if (picture.reason == GroupReason::fileNames)
            if (const auto found = identifiers.find(burstName(picture.file->path));
                found != identifiers.end()) {
                picture.mark = "id " + found->second;
                picture.reason = GroupReason::burstId;
            }
}

// Why a picture without a mark belongs to the burst of the one before it, if it does.
std::optional<GroupReason> link(const GroupedPicture& before, const GroupedPicture& after,
                                double gap) {
    constexpr double rounding = 1e-6;        // of seconds since 1970 as floating point
    constexpr double longestOfSequence = 60; // exposures may be long, but numbers come again
    const double pause = after.instant - before.instant;
    const DriveNumbers &first = before.metadata.drive, &second = after.metadata.drive;
    if (before.metadata.camera == after.metadata.camera) {
        const bool hasSequences = first.sequence > 0 && second.sequence > 0;
        const bool hasPositions = first.position > 0 && second.position > 0;
        const bool goesOn = (hasSequences && second.sequence == first.sequence) ||
                            (hasPositions && second.position == first.position + 1);
        if (goesOn && pause <= longestOfSequence)
            return GroupReason::sequenceNumber;
        if ((hasSequences && second.sequence != first.sequence) ||
            (hasPositions && second.position < first.position))
            return std::nullopt;
    }
    return pause <= gap + rounding ? std::optional(GroupReason::captureTimes) : std::nullopt;
}

using Members = std::vector<const GroupedPicture*>;

struct OpenGroup {
    Members members;
    GroupReason reason;
};

// `pictures` are in the order of time.
std::vector<OpenGroup> split(const std::vector<const GroupedPicture*>& pictures, double gap) {
    std::vector<OpenGroup> groups;
    std::map<std::string, size_t> marked; // groups by their mark
    std::optional<size_t> last;           // the last group without a mark
    for (const GroupedPicture* const picture : pictures) {
        std::optional<size_t> group;
        if (!picture->mark.empty()) {
            group = marked.try_emplace(picture->mark, groups.size()).first->second;
        } else if (last) {
            if (const auto reason = link(*groups[*last].members.back(), *picture, gap)) {
                group = last;
                groups[*last].reason = std::max(groups[*last].reason, *reason);
            }
        }
        if (!group || *group == groups.size()) {
            group = groups.size();
            groups.push_back({{}, picture->reason});
        }
        groups[*group].members.push_back(picture);
        if (picture->mark.empty())
            last = group;
    }
    return groups;
}

// The names of a burst tell the order of its pictures better than the times of files.
void sortWithoutTimes(Members& members) {
    const bool fromFiles = std::ranges::any_of(
        members, [](const GroupedPicture* picture) { return picture->metadata.taken.fromFile; });
    if (fromFiles && !members.front()->mark.empty())
        std::ranges::sort(members, {}, [](const GroupedPicture* picture) { return picture->file; });
}

} // namespace

std::vector<BurstGroup> groupPictures(const std::vector<InputFile>& files, double gap) {
    std::vector<Metadata> metadata;
    for (const InputFile& file : files)
        metadata.push_back(readMetadata(file.path));
    return groupPictures(files, std::move(metadata), gap);
}

std::vector<BurstGroup> groupPictures(const std::vector<InputFile>& files,
                                      std::vector<Metadata> metadata, double gap) {
    std::vector<GroupedPicture> pictures;
    for (size_t i = 0; i < files.size(); ++i)
        pictures.push_back({&files[i], std::move(metadata[i]), 0, "", GroupReason::captureTimes});
    setInstants(pictures);
    setMarks(pictures);
    std::vector<const GroupedPicture*> order;
    for (const GroupedPicture& picture : pictures)
        order.push_back(&picture);
    std::ranges::stable_sort(order, {}, &GroupedPicture::instant);

    std::vector<BurstGroup> groups;
    for (OpenGroup& open : split(order, gap)) {
        sortWithoutTimes(open.members);
        BurstGroup& group = groups.emplace_back();
        group.reason = open.reason;
        for (const GroupedPicture* const picture : open.members) {
            group.files.files.push_back(*picture->file);
            group.times.push_back(picture->metadata.taken);
        }
    }
    return groups;
}
