#pragma once

#include <pybind11/pybind11.h>

namespace qorpy {

void bindTransform(pybind11::module_& m);
void bindSegmenter(pybind11::module_& m);
void bindFrame(pybind11::module_& m);

}  // namespace qorpy
