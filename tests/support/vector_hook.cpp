#include "support/vector_hook.h"

bool widerVectors = true;

// The linker leads the library's questions here: kelvane::hasByteShuffle and kelvane::hasAvx2.
extern "C" {

bool __real__ZN7kelvane14hasByteShuffleEv();
bool __real__ZN7kelvane7hasAvx2Ev();

bool __wrap__ZN7kelvane14hasByteShuffleEv() {
    return widerVectors && __real__ZN7kelvane14hasByteShuffleEv();
}

#if defined(__x86_64__)
bool __wrap__ZN7kelvane7hasAvx2Ev() { return widerVectors && __real__ZN7kelvane7hasAvx2Ev(); }
#endif

} // extern "C"
