#include "support/vector_hook.h"

#include "platform/vector_support.h"

Vectors widestVectors = Vectors::Avx512;

#if defined(__x86_64__)
// The linker leads the library's questions here: those of platform/vector_support.h.
extern "C" {

bool __real__ZN7kelvane7hasAvx2Ev();
bool __wrap__ZN7kelvane7hasAvx2Ev() {
    return widestVectors >= Vectors::Avx2 && __real__ZN7kelvane7hasAvx2Ev();
}

bool __real__ZN7kelvane9hasAvx512Ev();
bool __wrap__ZN7kelvane9hasAvx512Ev() {
    return widestVectors >= Vectors::Avx512 && __real__ZN7kelvane9hasAvx512Ev();
}
} // extern "C"
#endif

bool hasVectors(Vectors vectors) {
    switch (vectors) {
    case Vectors::Baseline: return true;
#if defined(__x86_64__)
    case Vectors::Avx2: return kelvane::hasAvx2();
    case Vectors::Avx512: return kelvane::hasAvx512();
#endif
    default: return false;
    }
}
