// What needs nothing but the library. Reading files is in media.cpp, which takes longer to load.
#include "base/error.h"
#include "bindings.h"
#include "kelvane/kelvane.h"
#include "memory.h"

#include <string>

namespace py = pybind11;

namespace {

std::string version() {
    _tag_VERSION_INFO info = {};
    DRAV_GetVersion(&info);
    return info.version;
}

void translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const NotEnoughMemory& error) {
        PyErr_SetString(PyExc_MemoryError, error.what());
    } catch (const InputError& error) {
        PyErr_SetString(PyExc_ValueError, (error.name() + ": " + error.what()).c_str());
    }
}

} // namespace

PYBIND11_MODULE(_core, module) {
    py::register_local_exception_translator(translate);
    module.def("version", version);
    addFilters(module);
    addMeasuring(module);
    addPairs(module);
    addResizing(module);
}
