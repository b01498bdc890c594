#pragma once

#include "media/metadata.h"
#include "media/metadata/tiff_directory.h"

// Adds what the maker note of an Exif directory says about bursts: an identifier (Apple), the
// number of a sequence (Nikon), or the position in it (Canon, Fujifilm, Olympus, Panasonic, Sony).
// The notes are not public; the fields are those that exiftool's tables name. `metadata` already
// has the camera.
void addMakerNote(const TiffDirectory& exif, Metadata& metadata);

void addCanonNote(const TiffDirectory& note, Metadata& metadata);
