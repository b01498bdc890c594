#pragma once

#include "media/metadata.h"
#include "media/metadata/byte_range.h"

// Adds what an XMP packet says about bursts: GCamera:BurstID. Nothing in a build without exempi.
void addXmp(const ByteRange& packet, Metadata& metadata);
