#pragma once

#include "media/inputs.h"

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Which files of a tree of folders are found.
struct WalkRules {
    bool recursive = false;
    std::vector<std::string> excluded = {}; // patterns of names, or of paths below a folder
};

// The pictures of one folder, in natural order.
struct WalkedFolder {
    std::vector<InputFile> files; // with their companions
    std::vector<Skipped> skipped; // the folder itself, when it cannot be read
};

// Walks folders one after the other, each before those in it, in natural order; no more than one is
// held in memory. Files are pictures by their names. Hidden files and folders, those that storage
// systems keep for themselves, and what is excluded are left out, and so is a link to what is
// walked anyway or to a folder that holds the link. Every folder is walked once, however many
// links lead there.
class FolderWalk {
public:
    // Throws InputError for a root that is no folder.
    FolderWalk(const std::vector<std::string>& roots, WalkRules rules);

    // The next folder, nothing at the end.
    std::optional<WalkedFolder> next();

private:
    struct Folder {
        std::filesystem::path path;
        std::string below; // its path below the root, which is empty for the root itself
    };

    WalkedFolder read(const Folder& folder);
    bool isLeftOut(const std::string& below, const std::string& name) const;
    bool isWalked(const std::filesystem::path& target) const;
    bool leadsAstray(const std::filesystem::path& link, bool toFolder) const;
    bool isNew(const std::filesystem::path& folder);

    const WalkRules rules_;
    std::vector<std::filesystem::path> roots_;    // without links
    std::vector<Folder> waiting_;                 // the next one last
    std::set<std::pair<uint64_t, uint64_t>> met_; // devices and numbers of folders
};
