#include "kelvane/kelvane.h"

extern "C" _tag_VERSION_INFO* Vantix_GetVersion() {
    static _tag_VERSION_INFO version = {
        {0, 0, 0, 0}, nullptr, "Nov  3 2014", "Vantix platform layer of the Kelvane project"};
    version.numbers[0] = 0;
    version.numbers[1] = 1;
    version.numbers[2] = 0;
    version.numbers[3] = 4;
    version.version = "Norvale_Vantix_0.1.0.4";
    return &version;
}
