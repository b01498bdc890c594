#include "kelvane/kelvane.h"

namespace {

constexpr _tag_VERSION_INFO intended = {{0, 1, 0, 4},
                                        "Norvale_Vantix_0.1.0.4",
                                        "Nov  3 2014",
                                        "Vantix platform layer of the Kelvane project"};

// Written only when a caller has changed it: threads that ask for the version only read.
template <typename Field>
void restore(Field& field, Field value) {
    if (__atomic_load_n(&field, __ATOMIC_RELAXED) != value)
        __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

} // namespace

extern "C" _tag_VERSION_INFO* Vantix_GetVersion() {
    static constinit _tag_VERSION_INFO version = intended;
    for (int i = 0; i < 4; ++i)
        restore(version.numbers[i], intended.numbers[i]);
    restore(version.version, intended.version);
    return &version;
}
