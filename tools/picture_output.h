#pragma once

#include "commands.h"
#include "png.h"

// The output of a command that makes one picture: the PNG file, and a line that says so.
Output pictureOutput(const Options& options, const PixelsView& pixels);
