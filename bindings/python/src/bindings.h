// The parts of the module `kelvane._core`.
#pragma once

#include <pybind11/pybind11.h>
#include <pybind11/stl.h> // in all of them alike

void addFilters(pybind11::module_& module);
void addMeasuring(pybind11::module_& module);
void addPairs(pybind11::module_& module);
void addResizing(pybind11::module_& module);
