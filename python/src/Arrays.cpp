#include "Arrays.h"

#include <sstream>

namespace qorpy {

namespace {

std::string shapeText(const py::array& a) {
  std::ostringstream s;
  s << "(";
  for (py::ssize_t d = 0; d < a.ndim(); ++d) s << (d ? ", " : "") << a.shape(d);
  if (a.ndim() == 1) s << ",";
  s << ")";
  return s.str();
}

[[noreturn]] void badShape(const py::array& a, const char* name, const char* wanted) {
  throw py::value_error(std::string(name) + " must be " + wanted + ", got an array of shape " +
                        shapeText(a));
}

}  // namespace

py::array numeric(py::handle obj, const char* name) {
  py::array a = py::array::ensure(obj);
  if (!a) {
    PyErr_Clear();
    throw py::type_error(std::string(name) + " must be an array of numbers, got " +
                         std::string(py::str(py::type::handle_of(obj).attr("__name__"))));
  }
  const char kind = a.dtype().kind();
  if (kind != 'f' && kind != 'i' && kind != 'u' && kind != 'b') {
    throw py::type_error(std::string(name) + " must hold numbers, got dtype " +
                         std::string(py::str(a.dtype())));
  }
  return a;
}

bool isTriplet(const py::array& a, const char* name) {
  if (a.ndim() == 1 && a.shape(0) == 3) return true;
  if (a.ndim() == 2 && a.shape(1) == 3) return false;
  badShape(a, name, "a point of three numbers or a list of points of shape (N, 3)");
}

P triplet(py::handle obj, const char* name) {
  const PD d = tripletD(obj, name);
  return P(static_cast<float>(d[0]), static_cast<float>(d[1]), static_cast<float>(d[2]));
}

PD tripletD(py::handle obj, const char* name) {
  // Fast path for the common tuple or list of three Python numbers.
  if ((PyTuple_Check(obj.ptr()) || PyList_Check(obj.ptr())) && PySequence_Size(obj.ptr()) == 3) {
    PD out;
    bool ok = true;
    for (int k = 0; k < 3 && ok; ++k) {
      py::object item = py::reinterpret_steal<py::object>(PySequence_GetItem(obj.ptr(), k));
      if (PyFloat_Check(item.ptr()) || PyLong_Check(item.ptr())) {
        out[k] = PyFloat_AsDouble(item.ptr());
        if (PyErr_Occurred()) throw py::error_already_set();
      } else {
        ok = false;
      }
    }
    if (ok) return out;
  }
  py::array a = numeric(obj, name);
  if (!(a.ndim() == 1 && a.shape(0) == 3)) badShape(a, name, "a point of three numbers");
  F64 d = F64::ensure(a);
  return PD(d.at(0), d.at(1), d.at(2));
}

F32 pointList(const py::array& a, const char* name) {
  if (!(a.ndim() == 2 && a.shape(1) == 3)) badShape(a, name, "a list of points of shape (N, 3)");
  return F32::ensure(a);
}

F32 pointList(py::handle obj, const char* name) { return pointList(numeric(obj, name), name); }

F64 pointListD(py::handle obj, const char* name) {
  py::array a = numeric(obj, name);
  if (!(a.ndim() == 2 && a.shape(1) == 3)) badShape(a, name, "a list of points of shape (N, 3)");
  return F64::ensure(a);
}

F64 values1d(py::handle obj, const char* name) {
  py::array a = numeric(obj, name);
  if (a.ndim() != 1) badShape(a, name, "a 1-D list of numbers");
  return F64::ensure(a);
}

F32 newF32(std::vector<py::ssize_t> shape) { return F32(std::move(shape)); }
F64 newF64(std::vector<py::ssize_t> shape) { return F64(std::move(shape)); }

F32 toArray(const std::vector<P>& pts) {
  F32 out = newF32({static_cast<py::ssize_t>(pts.size()), 3});
  if (!pts.empty()) std::copy(pts.begin(), pts.end(), outPoints(out));
  return out;
}

F64 toArray(const std::vector<PD>& pts) {
  F64 out = newF64({static_cast<py::ssize_t>(pts.size()), 3});
  if (!pts.empty()) std::copy(pts.begin(), pts.end(), reinterpret_cast<PD*>(out.mutable_data()));
  return out;
}

std::vector<P> toVector(const F32& a) {
  const P* p = points(a);
  return std::vector<P>(p, p + rows(a));
}

int threadCount(int threads) {
  if (threads < 0) {
    throw py::value_error("threads must be 0 (every hardware thread) or more, got " +
                          std::to_string(threads));
  }
  return threads;
}

}  // namespace qorpy
