// What needs nothing but the library. Reading files is in media.cpp, which takes longer to load.
#include "bindings.h"
#include "errors.h"
#include "kelvane/kelvane.h"

#include <string>

namespace py = pybind11;

namespace {

std::string version() {
    _tag_VERSION_INFO info = {};
    DRAV_GetVersion(&info);
    return info.version;
}

} // namespace

PYBIND11_MODULE(_core, module) {
    registerErrors();
    module.def("version", version);
    addFilters(module);
    addMeasuring(module);
    addPairs(module);
    addResizing(module);
}
