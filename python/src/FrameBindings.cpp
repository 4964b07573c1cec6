// Bindings of the passage helpers: AxisFrame (Cartesian <-> axial, radial, theta about an axis,
// and vector components)
// and CurveOrientation (the four boundary curves' directions checked against each other).

#include <pybind11/stl.h>

#include <string>
#include <vector>

#include "Arrays.h"
#include "Bindings.h"
#include "qor/turbo/AxisFrame.h"
#include "qor/turbo/CurveOrientation.h"

namespace qorpy {

namespace {

/// A conversion of (point, vector) pairs: one pair of triplets gives a tuple, two lists of the
/// same length (N, 3) give a float32 (N, 3) array (computed with the GIL released).
template <typename One, typename Many>
py::object pairsCall(py::handle first, const char* firstName, py::handle second,
                     const char* secondName, int threads, One one, Many many) {
  const int th = threadCount(threads);
  py::array a = numeric(first, firstName), b = numeric(second, secondName);
  const bool single = isTriplet(a, firstName);
  if (single != isTriplet(b, secondName)) {
    throw py::value_error(std::string(firstName) + " and " + secondName +
                          " must both be one point or both lists of shape (N, 3)");
  }
  if (single) return toTuple(one(triplet(a, firstName), triplet(b, secondName)));
  F32 p = pointList(a, firstName), v = pointList(b, secondName);
  if (rows(p) != rows(v)) {
    throw py::value_error(std::string(firstName) + " and " + secondName +
                          " must have the same number of rows (" + std::to_string(rows(p)) +
                          " and " + std::to_string(rows(v)) + ")");
  }
  const std::size_t n = rows(p);
  F32 out = newF32({static_cast<py::ssize_t>(n), 3});
  P* o = outPoints(out);
  {
    py::gil_scoped_release release;
    many(points(p), points(v), n, o, th);
  }
  return std::move(out);
}

}  // namespace

void bindFrame(py::module_& m) {
  using AF = qor::AxisFrame;
  using LO = qor::TurboTransform::ListOptions;
  py::class_<AF>(m, "AxisFrame", R"doc(
The cylindrical frame of a machine axis (a point and a direction, any length and orientation):
Cartesian (x, y, z) to (axial, radial, theta in radians) and back.

axial is the signed distance along the unit axis from the axis point, radial the distance from the
axis (>= 0), theta in (-pi, pi] right-handed about the axis direction. Theta 0 lies along the global
axis following the one the machine axis is mostly along (z -> x, x -> y, y -> z), made
perpendicular to the axis. axial and radial are the bits the transform's Cartesian conversions use
for the same axis. A point or a list (N, 3) in, a tuple or a float32 (N, 3) array out; threads as
in the list operations (0 = every hardware thread, the same results for any count).
@throws InvalidDataError for a zero or non-finite axis)doc")
      .def(py::init([](py::handle point, py::handle direction) {
             return AF(triplet(point, "point"), triplet(direction, "direction"));
           }),
           py::arg("point") = py::make_tuple(0.0, 0.0, 0.0),
           py::arg("direction") = py::make_tuple(0.0, 0.0, 1.0))
      .def(
          "toART",
          [](const AF& f, py::handle xyz, int threads) {
            return tripletsCall(
                xyz, "xyz", threads, [&](const P& p) { return f.toART(p); },
                [&](const P* in, std::size_t n, P* out, int th) { f.toART(in, n, out, LO{th}); });
          },
          py::arg("xyz"), py::arg("threads") = 0,
          "(axial, radial, theta) of Cartesian points.")
      .def(
          "toXYZ",
          [](const AF& f, py::handle art, int threads) {
            return tripletsCall(
                art, "art", threads, [&](const P& p) { return f.toXYZ(p); },
                [&](const P* in, std::size_t n, P* out, int th) { f.toXYZ(in, n, out, LO{th}); });
          },
          py::arg("art"), py::arg("threads") = 0,
          "Cartesian points of (axial, radial, theta) points.")
      .def(
          "vectorToART",
          [](const AF& f, py::handle xyz, py::handle vectors, int threads) {
            return pairsCall(
                xyz, "xyz", vectors, "vectors", threads,
                [&](const P& p, const P& v) { return f.vectorToART(p, v); },
                [&](const P* p, const P* v, std::size_t n, P* out, int th) {
                  f.vectorToART(p, v, n, out, LO{th});
                });
          },
          py::arg("xyz"), py::arg("vectors"), py::arg("threads") = 0, R"doc(
(axial, radial, tangential) components of Cartesian vectors (velocities, say) attached to the
Cartesian points `xyz`: along the unit axis, the unit radial direction away from the axis through
the point, and axis x radial (where theta grows). At a point on the axis, radial is theta 0's
direction. One point and one vector give a tuple; (N, 3) lists give a float32 (N, 3) array.)doc")
      .def(
          "vectorToXYZ",
          [](const AF& f, py::handle xyz, py::handle components, int threads) {
            return pairsCall(
                xyz, "xyz", components, "components", threads,
                [&](const P& p, const P& c) { return f.vectorToXYZ(p, c); },
                [&](const P* p, const P* c, std::size_t n, P* out, int th) {
                  f.vectorToXYZ(p, c, n, out, LO{th});
                });
          },
          py::arg("xyz"), py::arg("components"), py::arg("threads") = 0, R"doc(
Cartesian vectors of (axial, radial, tangential) components at the Cartesian points `xyz`; the
inverse of vectorToART. The streamwise and spanwise directions of convertXYZtoSpace are
(axial, radial, 0) components.)doc")
      .def("point", [](const AF& f) { return toTuple(f.point()); }, "The axis point (x, y, z).")
      .def("axial", [](const AF& f) { return toTuple(f.axial()); }, "The unit axis direction.")
      .def("thetaZero", [](const AF& f) { return toTuple(f.thetaZero()); },
           "Unit direction of theta 0.")
      .def("thetaQuarter", [](const AF& f) { return toTuple(f.thetaQuarter()); },
           "Unit direction of theta pi/2.")
      .def("__repr__", [](const AF& f) {
        const P p = f.point(), a = f.axial();
        return "AxisFrame(point=(" + std::to_string(p[0]) + ", " + std::to_string(p[1]) + ", " +
               std::to_string(p[2]) + "), direction=(" + std::to_string(a[0]) + ", " +
               std::to_string(a[1]) + ", " + std::to_string(a[2]) + "))";
      });

  using CO = qor::CurveOrientation;
  py::class_<CO>(m, "CurveOrientation", R"doc(
What CurveOrientation.check found about the directions of the hub, shroud, inlet and outlet curves:
`reverse` (four bools: the curve to reverse, at most one), `meet` (whether the curves' ends meet at
the passage corners) and `message` (what to tell the user, "" when nothing is wrong).)doc")
      .def_static(
          "check",
          [](py::handle hub, py::handle shroud, py::handle inlet, py::handle outlet,
             const std::vector<std::string>& names) {
            return CO::check(toVector(pointList(hub, "hub")), toVector(pointList(shroud, "shroud")),
                             toVector(pointList(inlet, "inlet")),
                             toVector(pointList(outlet, "outlet")), names);
          },
          py::arg("hub"), py::arg("shroud"), py::arg("inlet"), py::arg("outlet"),
          py::arg("names") = std::vector<std::string>(),
          R"doc(
Checks the four curves ((axial, radial, theta) lists (N, 3) in their given order; theta is not used)
against each other: hub and shroud must start at the inlet's ends, inlet and outlet on the hub. One
curve running the wrong way while the others agree gives `reverse` and a message ("NAME: the hub
curve runs outlet to inlet while the other curves agree with each other; reversed it"): the caller
reverses it. `names` (hub, shroud, inlet, outlet; file names, say) name the curves in messages.
@throws InvalidDataError naming the curves when they contradict each other (hub and shroud
swapped, two curves reversed): which is meant cannot be told.)doc")
      .def_property_readonly("reverse",
                             [](const CO& c) {
                               return py::make_tuple(c.reverse[0], c.reverse[1], c.reverse[2],
                                                     c.reverse[3]);
                             })
      .def_readonly("meet", &CO::meet)
      .def_readonly("message", &CO::message)
      .def("changed", &CO::changed, "Whether a curve is to be reversed.");
}

}  // namespace qorpy
