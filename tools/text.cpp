#include "text.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string spaces(std::string_view text, size_t width) {
    const size_t used = displayWidth(text);
    return std::string(width > used ? width - used : 0, ' ');
}

} // namespace

std::string oneLine(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
    return line;
}

size_t displayWidth(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

std::string padLeft(std::string_view text, size_t width) {
    return spaces(text, width) + std::string(text);
}

std::string padRight(std::string_view text, size_t width) {
    return std::string(text) + spaces(text, width);
}

std::string fixed(double value, int decimals) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    return buffer;
}

std::string sizeText(int32_t width, int32_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

std::string pairText(int64_t x, int64_t y) {
    std::string text("(");
    text.append(std::to_string(x)).append(", ").append(std::to_string(y)).append(")");
    return text;
}

std::string counted(size_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}
