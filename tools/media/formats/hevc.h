#pragma once

#include "media/formats/coded_planes.h"

#include <span>

// Decodes the one picture of an HEVC stream, ITU-T H.265, whose units each follow their length in
// four bytes. Throws DecodeError for damage, which includes what libde265 only warns of: it would
// fill up a picture of which parts are missing.
void decodeHevc(std::span<const uint8_t> stream, const CodedPlanesVisitor& visit);
