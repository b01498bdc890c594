#include "media/burst_name.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string lowered(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

std::string_view digitsAt(std::string_view text, size_t position) {
    const size_t end = std::min(text.find_first_not_of("0123456789", position), text.size());
    return position < end ? text.substr(position, end - position) : std::string_view();
}

// "..._BURST" and a time, or the number of a picture after something that has digits of its own.
std::string nameOfBurst(std::string_view name) {
    constexpr std::string_view word = "burst";
    const size_t at = name.find(word);
    if (at == std::string_view::npos || at == 0 || std::isalnum(name[at - 1]))
        return "";
    const std::string_view before = name.substr(0, at);
    const size_t after = at + word.size();
    const std::string_view number = digitsAt(name, after + (name.substr(after, 1) == "-" ? 1 : 0));
    constexpr size_t digitsOfTime = 14; // year to second, and perhaps a fraction
    if (number.size() >= digitsOfTime)
        return std::string(number);
    const bool isNumbered = !number.empty() && number.size() <= 5;
    return isNumbered && std::ranges::count_if(before, isDigit) >= 4 ? std::string(before) : "";
}

// "PXL_20210306_140540254.LONG_EXPOSURE-01.COVER".
std::string nameOfPixel(std::string_view name) {
    const size_t dot = name.find('.');
    if (!name.starts_with("pxl_") || dot == std::string_view::npos)
        return "";
    const size_t dash = name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_", dot + 1);
    if (dash == std::string_view::npos || name[dash] != '-' || digitsAt(name, dash + 1).empty())
        return "";
    return std::string(name.substr(0, dot));
}

} // namespace

std::string burstName(const std::string& path) {
    const std::filesystem::path file(path);
    const std::string name = lowered(file.filename().string());
    const std::string burst = nameOfBurst(name);
    const std::string shared = burst.empty() ? nameOfPixel(name) : burst;
    return shared.empty() ? "" : (file.parent_path() / shared).string();
}
