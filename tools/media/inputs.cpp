#include "media/inputs.h"

#include "base/error.h"
#include "base/natural_order.h"
#include "base/text.h"
#include "media/picture_names.h"

#include <algorithm>
#include <filesystem>
#include <map>

namespace fs = std::filesystem;

namespace {

bool isRawName(const fs::path& path) { return formatOfName(path) == "camera raw"; }

// What a file is that cannot hold a picture and might be waited for; nothing for others.
const char* specialKind(fs::file_type type) {
    switch (type) {
    case fs::file_type::fifo: return "a pipe";
    case fs::file_type::socket: return "a socket";
    case fs::file_type::block:
    case fs::file_type::character: return "a device";
    default: return nullptr;
    }
}

void addFolder(InputList& list, const std::string& folder, bool bareNames) {
    std::vector<fs::directory_entry> entries;
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        entries.push_back(*at);
    if (error)
        throw InputError(folder, error.message());
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return naturalLess(a.path().filename().string(), b.path().filename().string());
    });

    const size_t before = list.files.size();
    for (const fs::directory_entry& entry : entries) {
        const std::string path = entry.path().string();
        const std::string file = entry.path().filename().string();
        const std::string& name = bareNames ? file : path;
        std::error_code ignored;
        const fs::file_type type = entry.status(ignored).type();
        if (type == fs::file_type::regular &&
            lowercase(entry.path().extension().string()) == ".xmp")
            continue; // what is known of a picture beside it
        if (type == fs::file_type::directory)
            list.skipped.push_back({name, "a folder"});
        else if (file.front() == '.')
            list.skipped.push_back({name, "a hidden file"});
        else if (formatOfName(entry.path()).empty())
            list.skipped.push_back({name, "not a picture"});
        else if (const char* const kind = specialKind(type))
            list.skipped.push_back({name, kind});
        else
            list.files.push_back({path, name});
    }
    if (list.files.size() == before)
        throw InputError(folder, "no pictures in this folder");
}

// Without the ending.
std::string stemOf(const InputFile& file) {
    return fs::path(file.path).lexically_normal().replace_extension().string();
}

int preference(const InputFile& file) {
    const std::string extension = lowercase(fs::path(file.path).extension().string());
    if (isRawName(file.path))
        return 2;
    return extension.starts_with(".jp") ? 0 : 1; // the camera's own
}

// `same` are places in `files` of files with one stem.
InputFile joined(const std::vector<InputFile>& files, const std::vector<size_t>& same) {
    const size_t shown =
        *std::ranges::min_element(same, {}, [&](size_t place) { return preference(files[place]); });
    InputFile photograph = files[shown];
    for (const size_t place : same)
        if (place != shown)
            photograph.companions.push_back({files[place].path, files[place].name});
    return photograph;
}

} // namespace

std::vector<InputFile> joinCompanions(std::vector<InputFile> files) {
    std::map<std::string, std::vector<size_t>> places; // by folder and stem
    for (size_t i = 0; i < files.size(); ++i)
        places[stemOf(files[i])].push_back(i);
    std::vector<InputFile> photographs;
    for (size_t i = 0; i < files.size(); ++i) {
        const std::vector<size_t>& same = places[stemOf(files[i])];
        const auto isRaw = [&](size_t place) { return isRawName(files[place].path); };
        // The same file twice, or a raw file of each of two cameras, are photographs of their own.
        if (same.size() == 1 || std::ranges::count_if(same, isRaw) != 1)
            photographs.push_back(files[i]);
        else if (i == same.front())
            photographs.push_back(joined(files, same));
    }
    return photographs;
}

InputList expandInputs(const std::vector<std::string>& inputs) {
    InputList list;
    for (const std::string& input : inputs) {
        std::error_code ignored;
        const fs::file_type type =
            input == "-" ? fs::file_type::fifo : fs::status(input, ignored).type();
        if (type == fs::file_type::fifo && std::ranges::count(inputs, input) > 1)
            throw InputError(input, "can be read only once");
        if (type == fs::file_type::directory)
            addFolder(list, input, inputs.size() == 1);
        else
            list.files.push_back({input, input});
    }
    list.files = joinCompanions(std::move(list.files));
    return list;
}
