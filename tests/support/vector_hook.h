// Lets tests run what the library does on processors with fewer vector instructions.
#pragma once

enum class Vectors { Baseline, Avx2, Avx512 };

extern Vectors widestVectors; // what the library takes the processor to have, if it has them

// Whether the library uses them now.
bool hasVectors(Vectors vectors);
