// Python binding of `qor::TurboTransform`.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "Arrays.h"
#include "Bindings.h"
#include "ListCalls.h"
#include "qor/turbo/TurboTransform.h"

namespace qorpy {

namespace {

using TT = qor::TurboTransform;

qor::TripletQORVector curve(py::handle obj, const char* name) {
  return qor::TripletQORVector(toVector(pointList(obj, name)));
}

const char* const kThreadsDoc =
    "threads: 1 = the calling thread only, 0 = every hardware thread (the default), n = n threads; "
    "lists shorter than a few thousand points per thread stay on the calling thread. Results do "
    "not depend on it.";

// A file name from a str or an os.PathLike.
std::string pathArg(py::handle obj) {
  return py::str(py::module_::import("os").attr("fspath")(obj)).cast<std::string>();
}

py::bytes stateOf(const TT& t) {
  std::ostringstream out(std::ios::binary);
  {
    py::gil_scoped_release release;
    t.save(out);
  }
  return py::bytes(out.str());
}

std::vector<TT::space> spaceList(const py::handle& obj) {
  if (py::isinstance<py::str>(obj)) {
    throw py::type_error("spaces must be a list of TurboTransform.space values, got str");
  }
  std::vector<TT::space> out;
  for (py::handle h : py::iter(obj)) {
    const auto s = h.cast<TT::space>();
    // The C++ multi-space form skips such a space and leaves its list as it was: from Python that
    // would be a column of zeros, so it is refused.
    if (static_cast<unsigned>(s) > static_cast<unsigned>(TT::mprimeScaled)) {
      throw py::value_error("spaces holds " + std::to_string(static_cast<int>(s)) +
                            ", which is not a TurboTransform.space");
    }
    out.push_back(s);
  }
  return out;
}

}  // namespace

void bindTransform(py::module_& m) {
  py::class_<TT> cls(m, "TurboTransform", R"doc(
A coordinate system fitted to the meridional flow passage of a turbomachine.

Set it up from four boundary curves (hub, shroud, inlet, outlet) and the machine axis with
initializeFromART or initializeFromXYZ, build the background mesh with createBackgroundMesh, then
convert points between Cartesian (x, y, z) or ART (axial, radial, theta in radians) coordinates and
the normalised meridional coordinates ("spaces").

Points: a triplet is any sequence of three numbers and gives a triplet (tuple) or a float; a list is
an array of shape (N, 3), float32 or float64 in any memory order (converted once; a C-ordered
float32 array is used without a copy) and gives a float32 array. Lengths are in the units of the
curves; angles in radians; normalised spaces run 0..1 inside the passage.

One transform must not be used from several Python threads at once (the inverse conversions keep a
one-entry cache); copy.copy gives a cheap copy that shares the mesh search structures.
)doc");

  py::enum_<TT::space>(cls, "space", py::arithmetic(), "The coordinate fields of the mesh.")
      .value("mprime", TT::mprime, "m': cumulative integral of dm / r from the inlet (dimensionless)")
      .value("span", TT::span, "distance from the hub along the hub-to-shroud mesh line (length)")
      .value("m", TT::m, "meridional length from the inlet (length)")
      .value("nmprime", TT::nmprime, "m' normalised to 0 at the inlet and 1 at the outlet")
      .value("nspan", TT::nspan, "normalised span, 0 at the hub and 1 at the shroud")
      .value("nm", TT::nm, "m normalised to 0 at the inlet and 1 at the outlet")
      .value("rnm", TT::rnm, "normalised meridional coordinate averaged over the hub-to-shroud line")
      .value("mprimeScaled", TT::mprimeScaled, "m' with every streamwise line scaled to the hub's total")
      .export_values();
  py::enum_<TT::constSpace>(cls, "constSpace", py::arithmetic(), "Lines of constant space.")
      .value("nspanConst", TT::nspanConst)
      .value("nmConst", TT::nmConst)
      .value("rnmConst", TT::rnmConst)
      .export_values();
  py::enum_<TT::BMmethod>(cls, "BMmethod", py::arithmetic(), "Background-mesh methods.")
      .value("linear", TT::linear, "straight spanwise mesh lines")
      .value("nonLinear", TT::nonLinear, "smoothed mesh (the usual choice)")
      .export_values();
  py::enum_<TT::BMsize>(cls, "BMsize", py::arithmetic(), "Named background-mesh sizes (nodes).")
      .value("BMcoarse", TT::BMcoarse)
      .value("BMmedium", TT::BMmedium)
      .value("BMfine", TT::BMfine)
      .value("BMveryFine", TT::BMveryFine)
      .export_values();
  py::enum_<TT::location>(cls, "location", py::arithmetic(),
                          "Where a point lies relative to the passage (int8 in arrays).")
      .value("inside", TT::inside, "in the background mesh or on its boundary lines")
      .value("beyondHub", TT::beyondHub, "outside the hub line of the mesh")
      .value("beyondShroud", TT::beyondShroud, "outside the shroud line")
      .value("beforeInlet", TT::beforeInlet, "upstream of the inlet line")
      .value("afterOutlet", TT::afterOutlet, "downstream of the outlet line")
      .export_values();
  // Plain numbers are accepted where an enumerator is, as in C++; the library checks the range.
  py::implicitly_convertible<int, TT::space>();
  py::implicitly_convertible<int, TT::constSpace>();
  py::implicitly_convertible<int, TT::BMmethod>();

  cls.def(py::init<>(), "An empty transform (axis through the origin along z).")
      .def("__copy__", [](const TT& t) { return TT(t); },
           "A copy: curves, fields and settings copied; the immutable mesh search structures shared.")
      .def("__deepcopy__", [](const TT& t, py::dict) { return TT(t); }, py::arg("memo"),
           "A copy: curves, fields and settings copied; the immutable mesh search structures shared.");

  // ---- save and load ------------------------------------------------------------------------
  cls.def(
         "save",
         [](const TT& t, py::handle path) {
           const std::string name = pathArg(path);
           py::gil_scoped_release release;
           t.save(name);
         },
         py::arg("path"),
         R"doc(Writes the whole state (curves, settings, mesh, fields) to `path` in the library's
versioned, checksummed binary format; the file is written completely or not at all.)doc")
      .def(
          "load",
          [](TT& t, py::handle path) {
            const std::string name = pathArg(path);
            py::gil_scoped_release release;
            t.load(name);
          },
          py::arg("path"),
          R"doc(Replaces the whole state by the one saved in `path`; the loaded transform converts bit
for bit like the saved one. A damaged or unreadable file raises InvalidDataError naming the file and
the problem, and leaves this transform unchanged.)doc")
      .def_static(
          "fromFile",
          [](py::handle path) {
            const std::string name = pathArg(path);
            TT t;
            {
              py::gil_scoped_release release;
              t.load(name);
            }
            return t;
          },
          py::arg("path"), "A new transform loaded from `path` (see load).")
      .def(py::pickle(
          [](const TT& t) { return stateOf(t); },
          [](const py::bytes& state) {
            const std::string bytes = state;
            std::istringstream in(bytes, std::ios::binary);
            TT t;
            {
              py::gil_scoped_release release;
              t.load(in);
            }
            return t;
          }));

  // ---- set-up -------------------------------------------------------------------------------
  cls.def(
         "initializeFromART",
         [](TT& t, py::handle hub, py::handle shroud, py::handle inlet, py::handle outlet,
            py::handle axisPoint, py::handle axisDirection, int hubStart, int shroudStart,
            int inletStart, int outletStart) {
           const auto h = curve(hub, "hub"), s = curve(shroud, "shroud"), i = curve(inlet, "inlet"),
                      o = curve(outlet, "outlet");
           const P ap = triplet(axisPoint, "axisPoint"), ad = triplet(axisDirection, "axisDirection");
           return t.initializeFromART(h, s, i, o, ap, ad, hubStart, shroudStart, inletStart,
                                      outletStart);
         },
         py::arg("hub"), py::arg("shroud"), py::arg("inlet"), py::arg("outlet"),
         py::arg("axisPoint"), py::arg("axisDirection"), py::arg("hubStart") = -1,
         py::arg("shroudStart") = -1, py::arg("inletStart") = -1, py::arg("outletStart") = -1,
         R"doc(Sets up the passage from (axial, radial, theta) curves, each an (M, 3) list.

Hub and shroud run inlet to outlet, inlet and outlet hub to shroud. A start index < 0 means the
curve's points are ordered; >= 0 means an unordered cloud whose curve starts at that point.
axisPoint, axisDirection: the machine axis (a point and a direction, Cartesian). Returns 0.
Raises InvalidDataError for a bad curve or axis, InternalError when hub and shroud coincide.)doc")
      .def(
          "initializeFromXYZ",
          [](TT& t, py::handle hub, py::handle shroud, py::handle inlet, py::handle outlet,
             py::handle axisPoint, py::handle axisDirection) {
            const auto h = curve(hub, "hub"), s = curve(shroud, "shroud"),
                       i = curve(inlet, "inlet"), o = curve(outlet, "outlet");
            const P ap = triplet(axisPoint, "axisPoint"),
                    ad = triplet(axisDirection, "axisDirection");
            return t.initializeFromXYZ(h, s, i, o, ap, ad);
          },
          py::arg("hub"), py::arg("shroud"), py::arg("inlet"), py::arg("outlet"),
          py::arg("axisPoint"), py::arg("axisDirection"),
          R"doc(Sets up the passage from Cartesian (x, y, z) curves, each an (M, 3) list, taken to
(axial, radial) about the axis. Directions and errors as initializeFromART. Returns 0.)doc")
      .def("isGeometryInitialized", &TT::isGeometryInitialized,
           "Whether a set-up has succeeded.")
      .def(
          "getAxis",
          [](const TT& t) {
            P point, direction;
            t.getAxis(point, direction);
            return py::make_tuple(toTuple(point), toTuple(direction));
          },
          "The axis as (point, unit direction), Cartesian.")
      .def("setCurveOptimizedSize", &TT::setCurveOptimizedSize, py::arg("size"),
           "Number of points each boundary curve is reduced to at set-up (default 300).")
      .def("getCurveOptimizedSize", &TT::getCurveOptimizedSize,
           "Number of points each boundary curve is reduced to.")
      .def("setExactWalls", &TT::setExactWalls, py::arg("on"),
           R"doc(Exact walls (off by default in the class, kept so for compatibility; on in
python3 -m qor). On, in the cells along hub and shroud the span is measured from the boundary curve
itself, so points on the given walls convert to nspan 0 and 1; off, the cells' straight wall edges
(chords of curved walls) are used, up to about 4e-3 off on real machines. Forward conversions only.)doc")
      .def("getExactWalls", &TT::getExactWalls, "Whether exact walls are on.")
      .def("setNumberOfThreadsForBM", &TT::setNumberOfThreadsForBM, py::arg("threads"),
           "Threads of the smoother in createBackgroundMesh: 1 (default) the calling thread, 0 every\n"
           "hardware thread, n n threads; the same mesh bit for bit for any count.")
      .def("getNumberOfThreadsForBM", &TT::getNumberOfThreadsForBM)
      .def("setClosedFormSmoothingForBM", &TT::setClosedFormSmoothingForBM, py::arg("on"),
           R"doc(Closed-form smoothing (off by default in the class, kept so for compatibility; on
in qor.io.buildTransform and python3 -m qor). On, the nonLinear smoother turns the mesh's arms onto
their bisectors from dot and cross products instead of inverse cosines: about a third less time per
sweep, the same mesh up to float rounding (not bit for bit). Takes effect at the next
createBackgroundMesh; not saved.)doc")
      .def("getClosedFormSmoothingForBM", &TT::getClosedFormSmoothingForBM,
           "Whether closed-form smoothing is on.")
      .def("setNumberOfLevelsforBM", &TT::setNumberOfLevelsforBM, py::arg("levels"),
           "Smoothing levels of the nonLinear background mesh (default 3; lowered for small meshes).")
      .def("getNumberOfLevelsforBM", &TT::getNumberOfLevelsforBM,
           "Smoothing levels of the nonLinear background mesh.")
      .def("setBackgroundMeshSize", py::overload_cast<int>(&TT::setBackgroundMeshSize),
           py::arg("size"), "Requested number of background-mesh nodes (default 2000).")
      .def("getRequestedBackgroundMeshSize",
           py::overload_cast<>(&TT::getBackgroundMeshSize, py::const_),
           "The requested number of background-mesh nodes (C++: int getBackgroundMeshSize()).")
      .def(
          "getBackgroundMeshSize",
          [](const TT& t) {
            int ni = 0, nj = 0;
            t.getBackgroundMeshSize(ni, nj);
            return py::make_tuple(ni, nj);
          },
          "Point counts (ni, nj) of the background mesh: i inlet to outlet, j hub to shroud.\n"
          "Raises NullPointerError before createBackgroundMesh.")
      .def("stripstValue", &TT::stripstValue, py::arg("v"),
           "How far v lies outside [0, 1] (0 inside and for NaN).")
      .def("getAverageLengthInM", &TT::getAverageLengthInM,
           "Mean meridional length of the passage over the outlet mesh row (length).");

  // ---- background mesh ----------------------------------------------------------------------
  cls.def(
         "createBackgroundMesh",
         [](TT& t, TT::BMmethod method, int size) {
           py::gil_scoped_release release;
           return t.createBackgroundMesh(method, size);
         },
         py::arg("method") = TT::nonLinear, py::arg("size") = static_cast<int>(TT::BMmedium),
         R"doc(Builds the background mesh with about `size` nodes and computes the fields.

method: TurboTransform.nonLinear (smoothed) or TurboTransform.linear. size: requested nodes, a
number or one of BMcoarse (500), BMmedium (2000), BMfine (8000), BMveryFine (20000).
Returns 0 for a good mesh, 1 for a folded one (kept and used either way).)doc")
      .def(
          "getBackgroundMesh",
          [](const TT& t) {
            std::vector<P> pts;
            int ni = 0, nj = 0;
            t.getBackgroundMesh(pts, ni, nj);
            F32 out = toArray(pts);
            return out.reshape({static_cast<py::ssize_t>(ni), static_cast<py::ssize_t>(nj),
                                py::ssize_t(3)});
          },
          "The mesh nodes as a float32 array (ni, nj, 3) of (axial, radial, 0).");

  // ---- point location -----------------------------------------------------------------------
  cls.def(
         "getClosestIndex",
         [](const TT& t, py::handle p) { return t.getClosestIndex(triplet(p, "p")); },
         py::arg("p"), "Global index of the mesh node nearest to the (axial, radial) of p.")
      .def(
          "getClosestIndexBruteForce",
          [](const TT& t, py::handle p) { return t.getClosestIndexBruteForce(triplet(p, "p")); },
          py::arg("p"), "getClosestIndex by a scan of every node (same answer).")
      .def(
          "findClosestElements",
          [](const TT& t, py::handle p) {
            int cells[4][2] = {};
            const int n = t.findClosestElements(triplet(p, "p"), cells);
            py::list out;
            for (int k = 0; k < n && k < 4; ++k) out.append(py::make_tuple(cells[k][0], cells[k][1]));
            return out;
          },
          py::arg("p"), "The (i, j) of the cells around the nearest node (lower-left corners).")
      .def(
          "getBestQuad",
          [](const TT& t, py::handle p) {
            int c0 = 0, c1 = 0, c2 = 0, c3 = 0;
            float s = 0, tt = 0;
            t.getBestQuad(triplet(p, "p"), c0, c1, c2, c3, s, tt);
            return py::make_tuple(c0, c1, c2, c3, s, tt);
          },
          py::arg("p"),
          "Cell holding p: (c0, c1, c2, c3, s, t), corners (i,j), (i+1,j), (i,j+1), (i+1,j+1) as\n"
          "global node indices and local coordinates s along i, t along j (outside [0, 1] outside).");

  cls.def(
      "locationStatus",
      [](const TT& t, py::handle p, int threads) -> py::object {
        const int th = threadCount(threads);
        py::array a = numeric(p, "p");
        if (isTriplet(a, "p")) return py::cast(t.locationStatus(triplet(a, "p")));
        F32 in = pointList(a, "p");
        const std::size_t n = rows(in);
        py::array_t<std::int8_t> out(static_cast<py::ssize_t>(n));
        std::int8_t* o = out.mutable_data();
        {
          py::gil_scoped_release release;
          statusList(t, points(in), n, o, th);
        }
        return std::move(out);
      },
      py::arg("p"), py::arg("threads") = 0,
      (std::string(R"doc(
Where (axial, radial, theta) points lie: a triplet gives a TurboTransform.location, a list (N, 3)
an int8 array of its values (inside 0, beyondHub 1, beyondShroud 2, beforeInlet 3, afterOutlet 4).
Points on the mesh's boundary lines are inside (within 16 float epsilons of the coordinates); a point
outside two sides gets the one it is furthest out of. For Cartesian points use
convertXYZtoSpace(..., withStatus=True).
)doc") + kThreadsDoc).c_str());

  // ---- forward conversions ------------------------------------------------------------------
  auto forward = [](const TT& t, py::handle first, py::handle second, bool withDirections,
                    bool withStatus, int threads, bool xyz) -> py::object {
    const int th = threadCount(threads);
    // One space (an enumerator or an integer) first: the single-space forms.
    const bool single = py::isinstance<TT::space>(first) ||
                        (!py::isinstance<py::array>(first) && PyIndex_Check(first.ptr()));
    std::vector<TT::space> spaces;
    F32 in;
    if (single) {
      spaces.push_back(first.cast<TT::space>());
      py::array a = numeric(second, "p");
      if (isTriplet(a, "p") && !withDirections && !withStatus) {
        const P p = triplet(a, "p");
        return py::float_(xyz ? t.convertXYZtoSpace(spaces[0], p) : t.convertARTtoSpace(spaces[0], p));
      }
      if (isTriplet(a, "p")) throw py::value_error("withDirections and withStatus need a list p");
      in = pointList(a, "p");
    } else {
      in = pointList(first, "points");
      spaces = spaceList(second);
    }
    const std::size_t n = rows(in);
    const auto rowsOut = static_cast<py::ssize_t>(n);
    F32 values = single ? newF32({rowsOut})
                        : newF32({rowsOut, static_cast<py::ssize_t>(spaces.size())});
    F32 streamwise = newF32({withDirections ? rowsOut : 0, 3});
    F32 spanwise = newF32({withDirections ? rowsOut : 0, 3});
    py::array_t<std::int8_t> status(withStatus ? rowsOut : 0);
    float* out = values.mutable_data();
    P* sw = withDirections ? outPoints(streamwise) : nullptr;
    P* sp = withDirections ? outPoints(spanwise) : nullptr;
    std::int8_t* st = withStatus ? status.mutable_data() : nullptr;
    {
      py::gil_scoped_release release;
      forwardList(t, points(in), n, xyz, spaces.data(), spaces.size(), out, sw, sp, st, th);
    }
    py::list result;
    result.append(values);
    if (withDirections) {
      result.append(streamwise);
      result.append(spanwise);
    }
    if (withStatus) result.append(status);
    if (result.size() == 1) return std::move(values);
    return py::tuple(result);
  };
  const std::string forwardDoc = std::string(R"doc(
convert{FRAME}toSpace(space, p, withDirections=False, withStatus=False, threads=0)
    -> float, or float32 (N,)
convert{FRAME}toSpace(points, spaces, withDirections=False, withStatus=False, threads=0)
    -> float32 (N, len(spaces))
With directions or statuses a list gives the tuple (values[, streamwise (N, 3), spanwise (N, 3)]
[, status int8 (N,)]).

Values of spaces at points given in {FRAMEDOC}. The first form converts one point (a triplet, giving
a float) or a list (N, 3) (giving float32 (N,)); the second converts a list into several spaces at
once, one row per point and one column per space, locating each point once; withDirections adds the
unit streamwise (increasing nm) and spanwise (towards the shroud) directions of the mesh cell in the
(axial, radial) plane; withStatus adds where each point lies (TurboTransform.location values, from
the same location: no second search). Points outside the passage are extrapolated from the nearest
cell.
Raises NullPointerError before createBackgroundMesh, InternalError for a space out of range.
)doc") + kThreadsDoc;
  auto docFor = [&](const char* frame, const char* frameDoc) {
    std::string d = forwardDoc;
    for (std::string::size_type k; (k = d.find("{FRAME}")) != std::string::npos;) d.replace(k, 7, frame);
    for (std::string::size_type k; (k = d.find("{FRAMEDOC}")) != std::string::npos;) d.replace(k, 10, frameDoc);
    return d;
  };
  cls.def(
         "convertARTtoSpace",
         [forward](const TT& t, py::handle a, py::handle b, bool withDirections, bool withStatus,
                   int threads) { return forward(t, a, b, withDirections, withStatus, threads, false); },
         py::arg("a"), py::arg("b"), py::arg("withDirections") = false,
         py::arg("withStatus") = false, py::arg("threads") = 0,
         docFor("ART", "(axial, radial, theta in radians); theta does not change the value").c_str())
      .def(
          "convertXYZtoSpace",
          [forward](const TT& t, py::handle a, py::handle b, bool withDirections, bool withStatus,
                    int threads) { return forward(t, a, b, withDirections, withStatus, threads, true); },
          py::arg("a"), py::arg("b"), py::arg("withDirections") = false,
          py::arg("withStatus") = false, py::arg("threads") = 0,
          docFor("XYZ", "Cartesian (x, y, z), taken to (axial, radial) about the axis").c_str());

  cls.def(
      "convertARTtoSpaceTNs",
      [](const TT& t, TT::space s, py::handle p, int threads) {
        return tripletsCall(
            p, "p", threads,
            [&](const P& q) {
              P out;
              t.convertARTtoSpaceTNs(s, q, out);
              return out;
            },
            [&](const P* in, std::size_t n, P* out, int th) { forwardTNsList(t, s, in, n, out, th); });
      },
      py::arg("space"), py::arg("p"), py::arg("threads") = 0,
      (std::string(R"doc(
(axial, radial, theta) to (value of `space`, theta unchanged, nspan): a triplet gives a tuple, a
list (N, 3) gives float32 (N, 3). space: mprime, m, nmprime, nm, mprimeScaled or rnm (span and nspan
raise InternalError).
)doc") + kThreadsDoc).c_str());

  // ---- inverse conversions ------------------------------------------------------------------
  cls.def(
         "convertSpaceTNsToART",
         [](const TT& t, TT::space s, py::handle p, int threads) {
           return tripletsCall(
               p, "p", threads,
               [&](const P& q) {
                 P out;
                 t.convertSpaceTNsToART(s, q, out);
                 return out;
               },
               [&](const P* in, std::size_t n, P* out, int th) { inverseList(t, s, in, n, out, th); });
         },
         py::arg("space"), py::arg("p"), py::arg("threads") = 0,
         (std::string(R"doc(
(value of `space`, theta, nspan) to (axial, radial, theta): a triplet gives a tuple, a list (N, 3)
gives float32 (N, 3). Values outside the passage are clamped to it. A triplet takes the library's
one-point path (with its one-entry cache); a list takes the array form, fast for any mix of spans and
equal to the one-point path within float rounding. space: mprime, m, nmprime, nm,
mprimeScaled or rnm. Raises NullPointerError before createBackgroundMesh.
)doc") + kThreadsDoc).c_str())
      .def(
          "convertSpaceTNsToARTspanEQ0or1",
          [](const TT& t, TT::space s, py::handle p, bool onHub) {
            PD out;
            t.convertSpaceTNsToARTspanEQ0or1(s, tripletD(p, "p"), out, onHub);
            return toTuple(out);
          },
          py::arg("space"), py::arg("p"), py::arg("onHub"),
          "(value, theta, -) to (axial, radial, theta) on the hub (onHub) or the shroud, in double\n"
          "precision; the span of p is not used.")
      .def(
          "convertOnConstantSpanSpaceTNsToART",
          [](const TT& t, TT::space s, double spanValue, py::handle p) {
            F64 in = pointListD(p, "points");
            const PD* first = reinterpret_cast<const PD*>(in.data());
            const std::vector<PD> pts(first, first + rows(in));
            std::vector<PD> out;
            {
              py::gil_scoped_release release;
              t.convertOnConstantSpanSpaceTNsToART(s, spanValue, pts, out);
            }
            return toArray(out);
          },
          py::arg("space"), py::arg("spanValue"), py::arg("points"),
          "Many points at one normalised span: rows (value, theta, unused) to float64 (N, 3) of\n"
          "(axial, radial, theta). The library works in double here, so the result is float64.")
      .def(
          "interpolateOnDouble",
          [](const TT& t, py::handle values, double x) {
            F64 v = values1d(values, "values");
            const std::vector<double> vs(v.data(), v.data() + v.size());
            int lo = 0, hi = 0;
            double w = 0;
            t.interpolateOnDouble(vs, x, lo, hi, w);
            return py::make_tuple(lo, hi, w);
          },
          py::arg("values"), py::arg("x"),
          "Bracket of x in ascending values: (lo, hi, w) with values[lo] + w (values[hi] - values[lo])\n"
          "= x, clamped.")
      .def(
          "getNSpanValues",
          [](const TT& t) {
            std::vector<double> v;
            t.getNSpanValues(v);
            F64 out = newF64({static_cast<py::ssize_t>(v.size())});
            std::copy(v.begin(), v.end(), out.mutable_data());
            return out;
          },
          "Normalised span of each hub-to-shroud mesh line (float64, 0 .. 1).");

  // ---- lines of constant space ------------------------------------------------------------------
  cls.def(
      "getConstantSpace",
      [](const TT& t, TT::constSpace c, double value, py::object n, py::object range,
         py::object extension) {
        qor::QORVector<P> pts;
        if (!extension.is_none()) {
          if (!n.is_none() || !range.is_none()) {
            throw py::value_error("extension cannot be combined with n or range");
          }
          t.getConstantSpace(c, value, pts, extension.cast<double>());
        } else if (!range.is_none()) {
          const auto r = range.cast<std::pair<double, double>>();
          if (n.is_none()) {
            t.getConstantSpace(c, value, r.first, r.second, pts);
          } else {
            t.getConstantSpace(c, value, n.cast<int>(), r.first, r.second, pts);
          }
        } else if (!n.is_none()) {
          t.getConstantSpace(c, value, n.cast<int>(), pts);
        } else {
          t.getConstantSpace(c, value, pts);
        }
        return toArray(pts);
      },
      py::arg("constSpace"), py::arg("value"), py::arg("n") = py::none(),
      py::arg("range") = py::none(), py::arg("extension") = py::none(),
      R"doc(The line of constant space as float32 (M, 3) of (axial, radial, 0).

constSpace: nspanConst (hub to shroud = 0 .. 1; the line runs inlet to outlet), nmConst or rnmConst
(the line runs hub to shroud). n: resample to n points; range=(from, to): the piece between those
parameters (0 .. 1 along the line); extension: extend both ends by that fraction (not combined with
n or range).)doc");

  // ---- unit vectors and files ---------------------------------------------------------------
  auto unitVectors = [](const TT& t, py::handle p, bool xyz) {
    F32 in = pointList(p, "points");
    const qor::TripletQORVector pts(toVector(in));
    qor::QORVector<P> sw, sp;
    {
      py::gil_scoped_release release;
      if (xyz) {
        t.getUnitVectorsFromXYZ(pts, sw, sp);
      } else {
        t.getUnitVectorsFromART(pts, sw, sp);
      }
    }
    return py::make_tuple(toArray(sw), toArray(sp));
  };
  cls.def(
         "getUnitVectorsFromART",
         [unitVectors](const TT& t, py::handle p) { return unitVectors(t, p, false); },
         py::arg("points"),
         "Unit streamwise and spanwise directions at (axial, radial, theta) points: two float32\n"
         "(N, 3) arrays in the (axial, radial) plane.")
      .def(
          "getUnitVectorsFromXYZ",
          [unitVectors](const TT& t, py::handle p) { return unitVectors(t, p, true); },
          py::arg("points"), "As getUnitVectorsFromART for Cartesian points.")
      .def(
          "writeVectortoFile",
          [](const TT& t, const std::string& name, py::handle p, bool withCount) {
            const qor::TripletQORVector pts(toVector(pointList(p, "points")));
            t.writeVectortoFile(name, pts, withCount);
          },
          py::arg("name"), py::arg("points"), py::arg("withCount"),
          "Writes points to the library's point-list file `name` (with the count line when asked).")
      .def(
          "getVectorFromFile",
          [](const TT& t, const std::string& name) {
            qor::QORVector<P> pts;
            t.getVectorFromFile(name, pts);
            return toArray(pts);
          },
          py::arg("name"), "Reads a point-list file as float32 (N, 3).")
      .def("exportInput", &TT::exportInput,
           "Writes the cleaned boundary curves into the working directory (debug files).")
      .def(
          "initializeDebugXYZ",
          [](TT& t, const std::string& h, const std::string& s, const std::string& i,
             const std::string& o, py::handle ap, py::handle ad) {
            t.initializeDebugXYZ(h, s, i, o, triplet(ap, "axisPoint"), triplet(ad, "axisDirection"));
          },
          py::arg("hubFile"), py::arg("shroudFile"), py::arg("inletFile"), py::arg("outletFile"),
          py::arg("axisPoint"), py::arg("axisDirection"),
          "initializeFromXYZ from four point-list files.")
      .def(
          "initializeDebugART",
          [](TT& t, const std::string& h, const std::string& s, const std::string& i,
             const std::string& o, py::handle ap, py::handle ad) {
            t.initializeDebugART(h, s, i, o, triplet(ap, "axisPoint"), triplet(ad, "axisDirection"));
          },
          py::arg("hubFile"), py::arg("shroudFile"), py::arg("inletFile"), py::arg("outletFile"),
          py::arg("axisPoint"), py::arg("axisDirection"),
          "initializeFromART from four point-list files.")
      .def("exportFinalMeshToPostSurface", &TT::exportFinalMeshToPostSurface, py::arg("name"),
           "Writes the mesh with its fields as the library's surface file `name`.");
}

}  // namespace qorpy
