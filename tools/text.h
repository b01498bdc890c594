#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The text with control characters replaced, so that a file name cannot break a line.
std::string oneLine(std::string_view text);

// Columns that UTF-8 text takes, counting one for each code point.
size_t displayWidth(std::string_view text);

std::string padLeft(std::string_view text, size_t width);
std::string padRight(std::string_view text, size_t width);

// A number in fixed notation with this many decimals.
std::string fixed(double value, int decimals);

// "640 x 480".
std::string sizeText(int32_t width, int32_t height);

// "(10, -3)".
std::string pairText(int64_t x, int64_t y);

// "1 frame", "2 frames".
std::string counted(size_t count, std::string_view noun);
