#include "base/text.h"

#include <fmt/format.h>

#include <algorithm>

std::string oneLine(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
    return line;
}

char lowercase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowercase(std::string_view text) {
    std::string lower;
    for (const char c : text)
        lower += lowercase(c);
    return lower;
}

std::string sizeText(int32_t width, int32_t height) {
    return fmt::format("{} x {}", width, height);
}

std::string pairText(int64_t x, int64_t y) { return fmt::format("({}, {})", x, y); }

std::string counted(size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}
