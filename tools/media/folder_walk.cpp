#include "media/folder_walk.h"

#include "base/error.h"
#include "base/natural_order.h"
#include "media/picture_names.h"

#include <algorithm>
#include <array>
#include <fnmatch.h>
#include <iterator>
#include <string_view>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// Hidden names, and the folders in which storage systems keep previews, or what was deleted.
bool isForSystems(std::string_view name) {
    constexpr std::array<std::string_view, 6> kept = {"#recycle",     "#snapshot",
                                                      "$RECYCLE.BIN", "System Volume Information",
                                                      "lost+found",   "__MACOSX"};
    return name.starts_with('.') || name.starts_with('@') ||
           std::ranges::find(kept, name) != kept.end();
}

bool isInside(const fs::path& path, const fs::path& folder) {
    return std::ranges::mismatch(folder, path).in1 == folder.end();
}

std::string joined(const std::string& below, const std::string& name) {
    return below.empty() ? name : below + "/" + name;
}

} // namespace

FolderWalk::FolderWalk(const std::vector<std::string>& roots, WalkRules rules)
    : rules_(std::move(rules)) {
    for (const std::string& root : roots) {
        std::error_code error;
        if (!fs::is_directory(root, error))
            throw InputError(root, error ? error.message() : "is no folder");
        roots_.push_back(fs::canonical(root, error));
        waiting_.push_back({root, ""});
    }
    std::ranges::reverse(waiting_);
}

std::optional<WalkedFolder> FolderWalk::next() {
    while (!waiting_.empty()) {
        const Folder folder = std::move(waiting_.back());
        waiting_.pop_back();
        if (isNew(folder.path))
            return read(folder);
    }
    return std::nullopt;
}

WalkedFolder FolderWalk::read(const Folder& folder) {
    WalkedFolder walked;
    std::vector<InputFile> files;
    std::vector<Folder> folders;
    std::error_code error;
    for (fs::directory_iterator at(folder.path, error), end; !error && at != end;
         at.increment(error)) {
        const std::string name = at->path().filename().string();
        if (isLeftOut(folder.below, name))
            continue;
        std::error_code ignored;
        const fs::file_type type = at->status(ignored).type();
        const bool isFolder = type == fs::file_type::directory;
        const bool isFile = (type == fs::file_type::regular || type == fs::file_type::not_found) &&
                            !formatOfName(name).empty();
        if ((!isFolder && !isFile) || (isFolder && !rules_.recursive) ||
            (at->is_symlink(ignored) && leadsAstray(at->path(), isFolder)))
            continue;
        if (isFolder)
            folders.push_back({at->path(), joined(folder.below, name)});
        else
            files.push_back({at->path().string(), at->path().string()});
    }
    if (error)
        walked.skipped.push_back({folder.path.string(), error.message()});
    std::ranges::sort(files, naturalLess, &InputFile::path);
    walked.files = joinCompanions(std::move(files));
    std::ranges::sort(
        folders, [](const Folder& a, const Folder& b) { return naturalLess(b.below, a.below); });
    std::ranges::move(folders, std::back_inserter(waiting_));
    return walked;
}

bool FolderWalk::isLeftOut(const std::string& below, const std::string& name) const {
    const std::string path = joined(below, name);
    return isForSystems(name) ||
           std::ranges::any_of(rules_.excluded, [&](const std::string& pattern) {
               return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0 ||
                      ::fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
           });
}

// Whether a file or folder is met on the way, as far as its path tells.
bool FolderWalk::isWalked(const fs::path& target) const {
    return std::ranges::any_of(roots_, [&](const fs::path& root) {
        if (!isInside(target, root))
            return false;
        std::string below;
        size_t depth = 0;
        for (const fs::path& part : target.lexically_relative(root)) {
            if (part != "." && isLeftOut(below, part.string()))
                return false;
            below = joined(below, part.string());
            ++depth;
        }
        return rules_.recursive || depth == 1;
    });
}

bool FolderWalk::leadsAstray(const fs::path& link, bool toFolder) const {
    std::error_code error;
    const fs::path target = fs::canonical(link, error);
    if (error)
        return false; // reading it will tell what is wrong
    return isWalked(target) ||
           (toFolder && isInside(fs::canonical(link.parent_path(), error), target));
}

bool FolderWalk::isNew(const fs::path& folder) {
    struct stat status = {};
    return ::stat(folder.c_str(), &status) != 0 ||
           met_.insert({status.st_dev, status.st_ino}).second;
}
