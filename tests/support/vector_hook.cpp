#include "support/vector_hook.h"

Vectors widestVectors = Vectors::Avx512;

// The linker leads the library's questions here: those of simd/levels.h.
extern "C" {

bool __real__ZN7kelvane8hasLevelENS_5LevelE(kelvane::Level level);
bool __wrap__ZN7kelvane8hasLevelENS_5LevelE(kelvane::Level level) {
    return level <= widestVectors && __real__ZN7kelvane8hasLevelENS_5LevelE(level);
}
} // extern "C"
