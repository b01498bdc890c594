#pragma once

#include "base/burst.h"

#include <string>
#include <vector>

// One file to read: where it is and what to call it in a table.
struct InputFile {
    std::string path;
    std::string name;
    std::vector<Companion> companions = {}; // which it stands for
};

struct InputList {
    std::vector<InputFile> files;
    std::vector<Skipped> skipped;
    bool isPart = false; // of a longer list
};

// Expands folders to the pictures in them, in natural order ("img2" before "img10"). In a folder
// a file is a picture by its extension: a damaged picture is thus still one, and an error. Files
// are called by their bare name when a single folder was given, and by their path otherwise. A raw
// file and the pictures with its stem in its folder are one file, with the others as its
// companions: the JPEG, or else the first other picture, or else the raw file.
InputList expandInputs(const std::vector<std::string>& inputs);

// The files of each photograph as one, in the place of the first, as expandInputs does.
std::vector<InputFile> joinCompanions(std::vector<InputFile> files);
