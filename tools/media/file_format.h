#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The formats that pictures are written in.
enum class FileFormat : uint8_t { png, jpeg, webp, tiff };

// How the names of their files end.
inline constexpr std::array fileEndings = {"png", "jpg", "jpeg", "webp", "tif", "tiff"};

// Of an ending without its dot, in capitals or not; nothing for an unknown one.
std::optional<FileFormat> fileFormatOf(std::string_view ending);

// Of a file by its name. Throws InputError that names the endings when it has another.
FileFormat fileFormatOfName(const std::string& path);
