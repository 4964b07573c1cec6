// The compiled module `qor._qor`: the library's classes, enumerations and exception family.

#include <pybind11/pybind11.h>

#include <exception>

#include "Bindings.h"
#include "qor/Version.h"
#include "qor/foundation/Error.h"

namespace py = pybind11;

namespace {

// Python classes of the exception family, one per branch, created once with the module.
struct ErrorTypes {
  PyObject* error = nullptr;
  PyObject* dataError = nullptr;
  PyObject* invalidData = nullptr;
  PyObject* internalError = nullptr;
  PyObject* nullPointer = nullptr;
} g_errors;

PyObject* newErrorType(py::module_& m, const char* name, PyObject* base, const char* doc) {
  const std::string qualified = std::string("qor.") + name;
  PyObject* type = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, base, nullptr);
  if (type == nullptr) throw py::error_already_set();
  m.add_object(name, py::handle(type));  // the module keeps a reference for the process
  return type;
}

void raise(PyObject* type, const qor::Error& e) {
  py::object exc = py::reinterpret_borrow<py::object>(type)(e.getMessage());
  exc.attr("className") = e.getClassName();
  exc.attr("functionName") = e.getFunctionName();
  exc.attr("errorType") = static_cast<int>(e.getErrorType());
  exc.attr("message") = e.getMessage();
  exc.attr("description") = e.getDescription();
  PyErr_SetObject(type, exc.ptr());
}

}  // namespace

PYBIND11_MODULE(_qor, m) {
  m.doc() = "Compiled core of the qor package (use `import qor`).";
  m.attr("__version__") = QOR_VERSION_STRING;

  g_errors.error = newErrorType(m, "Error", PyExc_Exception,
                                "Root of the library's exceptions. Attributes: className, "
                                "functionName, errorType (int), message, description.");
  g_errors.dataError = newErrorType(m, "DataError", g_errors.error,
                                    "A failure caused by the data handed in (qor::data::error).");
  g_errors.invalidData = newErrorType(
      m, "InvalidDataError", g_errors.dataError,
      "An argument value the operation cannot accept (qor::data::invalid).");
  g_errors.internalError = newErrorType(
      m, "InternalError", g_errors.error,
      "An operation called in a state or with a choice it does not support (qor::internal::error).");
  g_errors.nullPointer = newErrorType(
      m, "NullPointerError", g_errors.internalError,
      "A required object was never set, e.g. the background mesh before createBackgroundMesh "
      "(qor::internal::nullPointer).");

  // Most-derived first: each library exception reaches Python as the class of its branch.
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const qor::internal::nullPointer& e) {
      raise(g_errors.nullPointer, e);
    } catch (const qor::internal::error& e) {
      raise(g_errors.internalError, e);
    } catch (const qor::data::invalid& e) {
      raise(g_errors.invalidData, e);
    } catch (const qor::data::error& e) {
      raise(g_errors.dataError, e);
    } catch (const qor::Error& e) {
      raise(g_errors.error, e);
    }
  });

  qorpy::bindTransform(m);
  qorpy::bindSegmenter(m);
  qorpy::bindFrame(m);
}
