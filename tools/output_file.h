#pragma once

#include <string>

// A file that a command makes, composed in full before any of it is written.
struct OutputFile {
    std::string path;
    std::string bytes;
    bool replace = false; // what is there already
};

// Throws InputError when the file may not be made: it exists and is not to be replaced, or is
// something else than a regular file. Spares a run whose result could not be kept.
void checkOutputPath(const std::string& path, bool replace);

// Writes to a temporary file beside it and renames that, so that a reader sees all of the file or
// none, and a failing run leaves nothing behind.
void writeOutputFile(const OutputFile& file);
