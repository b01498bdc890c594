#include "media/file_format.h"

#include "base/error.h"
#include "base/text.h"

#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>

std::optional<FileFormat> fileFormatOf(std::string_view ending) {
    using enum FileFormat;
    constexpr FileFormat formats[] = {png, jpeg, jpeg, webp, tiff, tiff};
    const auto found = std::ranges::find(fileEndings, lowercase(ending));
    if (found == fileEndings.end())
        return std::nullopt;
    return formats[found - fileEndings.begin()];
}

FileFormat fileFormatOfName(const std::string& path) {
    const std::string ending = std::filesystem::path(path).extension().string();
    const auto format = fileFormatOf(std::string_view(ending).substr(ending.empty() ? 0 : 1));
    if (!format)
        throw InputError(path, fmt::format("the name of a picture has to end in .{}",
                                           fmt::join(fileEndings, ", .")));
    return *format;
}
