#pragma once

#include <string>

// The format that the ending of a file's name stands for, "JPEG" or "camera raw" for example; empty
// for names that are none of pictures.
std::string formatOfName(const std::string& path);

// What explains that a file cannot be read: "; it is HEIC although its name ends in .jpg". Empty
// where the name is right. `format` is what it holds, and empty for something else than it says.
std::string nameMismatch(const std::string& path, const std::string& format);
