// The instruction sets that the kernels are compiled for, from the one that every processor of an
// architecture has to the widest.
#pragma once

#include <cstdint>

namespace kelvane {

enum class Level { Baseline, Avx2, Avx512 };

constexpr Level allLevels[] = {Level::Baseline, Level::Avx2, Level::Avx512};

// Whether the processor has it. Not inline, so that tests can answer in the processor's place. The
// compiler's runtime asks the processor when the library is loaded.
bool hasLevel(Level level);

const char* nameOf(Level level);

} // namespace kelvane
