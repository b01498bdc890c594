#pragma once

#include "media/formats/coded_planes.h"

#include <span>

// Decodes the picture of an AV1 stream. Throws DecodeError for damage: libaom checks the padding at
// the end of every tile, which does not come out right when a bit before it is wrong.
void decodeAv1(std::span<const uint8_t> stream, const CodedPlanesVisitor& visit);
