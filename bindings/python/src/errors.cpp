#include "errors.h"

#include "base/error.h"
#include "memory.h"

#include <pybind11/pybind11.h>

namespace py = pybind11;

namespace {

void raise(PyObject* type, const std::string& message) {
    // Names of files need not be UTF-8.
    const py::object text = py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(
        message.data(), static_cast<Py_ssize_t>(message.size()), "surrogateescape"));
    if (text)
        PyErr_SetObject(type, text.ptr());
}

void translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const NotEnoughMemory& error) {
        raise(PyExc_MemoryError, error.what());
    } catch (const InputError& error) {
        raise(PyExc_ValueError, error.name() + ": " + error.what());
    }
}

} // namespace

void registerErrors() { py::register_local_exception_translator(translate); }
