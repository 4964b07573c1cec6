#pragma once
// Arrays at the boundary of the Python module: one point ("triplet") or a list of points, checked
// for shape and converted once to the library's layout.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "qor/foundation/TripletBase.h"

namespace qorpy {

namespace py = pybind11;

using P = qor::TripletBase<float>;
using PD = qor::TripletBase<double>;

// An (N, 3) C-ordered float32 array is N consecutive triplets: the list forms run on numpy's
// memory without a copy.
static_assert(sizeof(P) == 3 * sizeof(float) && std::is_standard_layout<P>::value,
              "a float triplet must be three packed floats");
static_assert(sizeof(PD) == 3 * sizeof(double) && std::is_standard_layout<PD>::value,
              "a double triplet must be three packed doubles");

using F32 = py::array_t<float, py::array::c_style | py::array::forcecast>;
using F64 = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// `obj` as a numpy array of numbers (bool, integer or floating point).
/// @throws TypeError naming `name` for strings, objects, complex numbers and the like
py::array numeric(py::handle obj, const char* name);

/// Whether `obj` is one point (three numbers) rather than a list of points.
/// @throws ValueError naming `name` and the shapes it accepts for any other shape
bool isTriplet(const py::array& a, const char* name);

/// One point from any sequence of three numbers.
P triplet(py::handle obj, const char* name);
PD tripletD(py::handle obj, const char* name);

/// A list of points, shape (N, 3), as C-ordered float32 (a copy only when the dtype or the memory
/// order differ). @throws ValueError naming `name` for any other shape
F32 pointList(const py::array& a, const char* name);
F32 pointList(py::handle obj, const char* name);
F64 pointListD(py::handle obj, const char* name);

/// A 1-D list of numbers as C-ordered float64.
F64 values1d(py::handle obj, const char* name);

inline const P* points(const F32& a) { return reinterpret_cast<const P*>(a.data()); }
inline std::size_t rows(const py::array& a) { return static_cast<std::size_t>(a.shape(0)); }

/// New C-ordered arrays of the given shape (made with the GIL held).
F32 newF32(std::vector<py::ssize_t> shape);
F64 newF64(std::vector<py::ssize_t> shape);
inline P* outPoints(F32& a) { return reinterpret_cast<P*>(a.mutable_data()); }

/// A triplet out as a tuple of three Python floats.
template <typename T>
py::tuple toTuple(const qor::TripletBase<T>& p) {
  return py::make_tuple(static_cast<double>(p[0]), static_cast<double>(p[1]),
                        static_cast<double>(p[2]));
}

/// A list of triplets out as a new (N, 3) float32 array.
F32 toArray(const std::vector<P>& pts);
F64 toArray(const std::vector<PD>& pts);

/// A list as library triplets (copied).
std::vector<P> toVector(const F32& a);

/// The thread count of a list call: 1 = the calling thread only, 0 = every hardware thread.
/// @throws ValueError for a negative count
int threadCount(int threads);

/// A conversion of triplets to triplets: `one(P)` for a single point (a tuple out), or
/// `many(in, n, out, threads)` with the GIL released for a list (float32 (N, 3) out, allocated
/// before the release).
template <typename One, typename Many>
py::object tripletsCall(py::handle p, const char* name, int threads, One one, Many many) {
  const int th = threadCount(threads);
  py::array a = numeric(p, name);
  if (isTriplet(a, name)) return toTuple(one(triplet(a, name)));
  F32 in = pointList(a, name);
  const std::size_t n = rows(in);
  F32 out = newF32({static_cast<py::ssize_t>(n), 3});
  P* o = outPoints(out);
  const P* i = points(in);
  {
    py::gil_scoped_release release;
    many(i, n, o, th);
  }
  return std::move(out);
}

}  // namespace qorpy
