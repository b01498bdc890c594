#pragma once

#include "commands.h"
#include "picture_encoder.h"

// The output of a command that makes one picture: the PNG file, and a line that says so.
Output pictureOutput(const Options& options, const PixelsView& pixels);
