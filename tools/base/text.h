#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The text with control characters replaced, so that a file name cannot break a line.
std::string oneLine(std::string_view text);

// ASCII letters in lower case.
char lowercase(char c);
std::string lowercase(std::string_view text);

// "640 x 480".
std::string sizeText(int32_t width, int32_t height);

// "(10, -3)".
std::string pairText(int64_t x, int64_t y);

// "1 frame", "2 frames".
std::string counted(size_t count, std::string_view noun);
