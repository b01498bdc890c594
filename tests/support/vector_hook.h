// Lets tests run what the library does on processors with fewer vector instructions.
#pragma once

#include "simd/levels.h"

using Vectors = kelvane::Level;

extern Vectors widestVectors; // what the library takes the processor to have, if it has them
