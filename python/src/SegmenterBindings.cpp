// Python binding of `qor::TurboTransformSegmenter`.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Arrays.h"
#include "Bindings.h"
#include "ListCalls.h"
#include "qor/segmenter/TurboTransformSegmenter.h"

namespace qorpy {

namespace {

using TT = qor::TurboTransform;
using Seg = qor::TurboTransformSegmenter;

const char* const kThreadsDoc =
    "threads: 1 = the calling thread only, 0 = every hardware thread (the default), n = n threads.";

}  // namespace

void bindSegmenter(py::module_& m) {
  py::class_<Seg> cls(m, "TurboTransformSegmenter", R"doc(
Splits the passage of a finished TurboTransform into segments by internal boundaries (for example
blade leading and trailing edges) and gives every segment its own coordinates (u, v, 0): u runs 0 on
the segment's west boundary to 1 on its east boundary, measured in a space of the transform
(spaceSeg); v is the normalised span, 0 at the hub and 1 at the shroud.

With N internal boundaries there are N + 1 segments, 0 (from the inlet) to N (to the outlet). The
segmenter keeps its transform alive; the transform must keep its background mesh.
)doc");

  py::enum_<Seg::segmentMethod>(cls, "segmentMethod", py::arithmetic(),
                                "How boundary lines are sampled across the span.")
      .value("mergedSpan", Seg::mergedSpan,
             "boundary lines sampled at the union of the mesh's and the boundaries' span values")
      .value("backgroundMeshSpan", Seg::backgroundMeshSpan,
             "boundary lines sampled at the background mesh's span values")
      .export_values();
  py::enum_<Seg::spaceSeg>(cls, "spaceSeg", py::arithmetic(), "The space u is measured in.")
      .value("m", Seg::m, "meridional length (length units)")
      .value("nm", Seg::nm, "normalised meridional length")
      .value("rnm", Seg::rnm, "averaged normalised meridional coordinate")
      .value("mprime", Seg::mprime, "m' (dimensionless)")
      .export_values();
  py::implicitly_convertible<int, Seg::segmentMethod>();
  py::implicitly_convertible<int, Seg::spaceSeg>();

  cls.def(py::init<const TT*, Seg::segmentMethod>(), py::arg("transform"),
          py::arg("method") = Seg::mergedSpan, py::keep_alive<1, 2>(),
          "Attaches to a transform whose background mesh exists (kept alive by the segmenter).\n"
          "Raises NullPointerError for None or a transform without a background mesh.")
      .def("__copy__",
           [](py::object self) -> py::object {
             const Seg& s = self.cast<const Seg&>();
             py::object copy = py::cast(Seg(s));
             py::object transform =
                 py::cast(s.getTurboTransform(), py::return_value_policy::reference);
             py::detail::keep_alive_impl(copy, transform);
             return copy;
           },
           "A copy of the segmenter on the same transform (the transform is shared, not copied).")
      .def("__deepcopy__",
           [](py::object self, py::dict) { return self.attr("__copy__")(); }, py::arg("memo"),
           "A copy of the segmenter on the same transform (the transform is shared, not copied).")
      .def("getTurboTransform", &Seg::getTurboTransform, py::return_value_policy::reference,
           "The transform the segmenter is attached to.")
      .def("setDebug", &Seg::setDebug, py::arg("on"),
           "Debug mode: the set-up writes one file per step and boundary into the working directory.")
      .def("setExactBoundaries", &Seg::setExactBoundaries, py::arg("on"),
           R"doc(Exact boundaries (off by default, as in the C++ class): every boundary line is sampled
at the union of the mesh's span values and the spans of all given boundary points, so each given
point converts to u = 0 or 1, and the hub and shroud ends are where the transform's nspan is 0 and
1 along the boundary. Takes effect at the next setInternalBoundaries.)doc")
      .def("getExactBoundaries", &Seg::getExactBoundaries, "Whether exact boundaries are on.")
      .def("setFastArrayInverse", &Seg::setFastArrayInverse, py::arg("on"),
           R"doc(Fast list form of convertSpaceNspanToART (off by default, as in the C++ class): through
the transform's array inverse, millions of points a second for any mix of spans, the one-point
results within float rounding (rnm exactly) instead of bit for bit.)doc")
      .def("getFastArrayInverse", &Seg::getFastArrayInverse,
           "Whether the fast list form of convertSpaceNspanToART is on.")
      .def("setTurboTransform", &Seg::setTurboTransform, py::arg("transform"), py::arg("method"),
           py::keep_alive<1, 2>(),
           "Attaches another transform (boundaries must be set again afterwards).")
      .def(
          "setInternalBoundaries",
          [](Seg& s, py::handle curves, py::object clean) {
            std::vector<std::vector<P>> cs;
            std::size_t k = 0;
            for (py::handle c : py::iter(curves)) {
              const std::string name = "curves[" + std::to_string(k++) + "]";
              cs.push_back(toVector(pointList(c, name.c_str())));
            }
            std::vector<bool> cl;
            if (py::isinstance<py::bool_>(clean)) {
              cl.assign(cs.size(), clean.cast<bool>());
            } else {
              for (py::handle c : py::iter(clean)) cl.push_back(c.cast<bool>());
            }
            py::gil_scoped_release release;
            s.setInternalBoundaries(cs, cl);
          },
          py::arg("curves"), py::arg("clean") = true,
          R"doc(Installs N internal boundaries, each an (M, 3) list of (axial, radial, theta) running
from hub to shroud (theta is set to 0; a curve short of or beyond the walls is extended or cut).
clean: one bool per curve, or one for all: reorder the points and drop repeated ones.)doc")
      .def(
          "setInternalBoundaryWest",
          [](Seg& s, int id, py::handle c, bool clean) {
            s.setInternalBoundaryWest(id, toVector(pointList(c, "curve")), clean);
          },
          py::arg("segmentId"), py::arg("curve"), py::arg("clean") = true,
          "Replaces the internal boundary on the west side of segment segmentId (1..N).")
      .def(
          "setInternalBoundaryEast",
          [](Seg& s, int id, py::handle c, bool clean) {
            s.setInternalBoundaryEast(id, toVector(pointList(c, "curve")), clean);
          },
          py::arg("segmentId"), py::arg("curve"), py::arg("clean") = true,
          "Replaces the internal boundary on the east side of segment segmentId (0..N-1).")
      .def("getLastSegmentID", &Seg::getLastSegmentID,
           "Id of the last segment, N (-2 before boundaries are set).")
      .def(
          "getInternalBoundaryWest",
          [](const Seg& s, int id) { return toArray(s.getInternalBoundaryWest(id)); },
          py::arg("segmentId"), "West boundary line of a segment, float32 (M, 3), hub to shroud.")
      .def(
          "getInternalBoundaryEast",
          [](const Seg& s, int id) { return toArray(s.getInternalBoundaryEast(id)); },
          py::arg("segmentId"), "East boundary line of a segment, float32 (M, 3), hub to shroud.")
      .def("getFirstSegmenInternalBoundaryWest",
           [](const Seg& s) { return toArray(s.getFirstSegmenInternalBoundaryWest()); },
           "West boundary line of the first segment, float32 (M, 3) of (axial, radial, 0).")
      .def("getFirstSegmenInternalBoundaryEast",
           [](const Seg& s) { return toArray(s.getFirstSegmenInternalBoundaryEast()); },
           "East boundary line of the first segment, float32 (M, 3) of (axial, radial, 0).")
      .def("getLastSegmenInternalBoundaryWest",
           [](const Seg& s) { return toArray(s.getLastSegmenInternalBoundaryWest()); },
           "West boundary line of the last segment, float32 (M, 3) of (axial, radial, 0).")
      .def("getLastSegmenInternalBoundaryEast",
           [](const Seg& s) { return toArray(s.getLastSegmenInternalBoundaryEast()); },
           "East boundary line of the last segment, float32 (M, 3) of (axial, radial, 0).")
      .def(
          "getSegmentInternalBoundarySouth",
          [](const Seg& s, int id) {
            std::vector<P> out;
            s.getSegmentInternalBoundarySouth(id, out);
            return toArray(out);
          },
          py::arg("segmentId"), "The piece of the hub bounding a segment, float32 (M, 3), west to east.")
      .def(
          "getSegmentInternalBoundaryNorth",
          [](const Seg& s, int id) {
            std::vector<P> out;
            s.getSegmentInternalBoundaryNorth(id, out);
            return toArray(out);
          },
          py::arg("segmentId"), "The piece of the shroud bounding a segment, float32 (M, 3).");

  const std::string forwardDoc =
      std::string("(axial, radial, theta) to segment coordinates (u, v, 0) of segment `segment`, u in "
                  "space k: a triplet gives a tuple, a list (N, 3) float32 (N, 3).\n") +
      kThreadsDoc;
  const std::string inverseDoc =
      std::string("Segment coordinates (u, v, -) of segment `segment`, u in space k, to (axial, "
                  "radial, theta): a triplet gives a tuple, a list (N, 3) float32 (N, 3); u and v are "
                  "clamped to 0..1.\n") +
      kThreadsDoc;
  cls.def(
         "convertARTtoSpaceNspan",
         [](const Seg& s, int id, Seg::spaceSeg k, py::handle p, int threads) {
           return tripletsCall(
               p, "p", threads,
               [&](const P& q) {
                 P uv;
                 s.convertARTtoSpaceNspan(id, k, q, uv);
                 return uv;
               },
               [&](const P* in, std::size_t n, P* out, int th) {
                 segmentForwardList(s, id, k, in, n, out, th);
               });
         },
         py::arg("segment"), py::arg("k"), py::arg("p"), py::arg("threads") = 0,
         forwardDoc.c_str())
      .def(
          "convertSpaceNspanToART",
          [](const Seg& s, int id, Seg::spaceSeg k, py::handle uv, int threads) {
            return tripletsCall(
                uv, "uv", threads,
                [&](const P& q) {
                  P art;
                  s.convertSpaceNspanToART(id, k, art, q);
                  return art;
                },
                [&](const P* in, std::size_t n, P* out, int th) {
                  segmentInverseList(s, id, k, in, n, out, th);
                });
          },
          py::arg("segment"), py::arg("k"), py::arg("uv"), py::arg("threads") = 0,
          inverseDoc.c_str())
      .def(
          "convertARTtoRnmNspan",
          [](const Seg& s, int id, py::handle p, int threads) {
            return py::cast(s).attr("convertARTtoSpaceNspan")(id, Seg::rnm, p, threads);
          },
          py::arg("segment"), py::arg("p"), py::arg("threads") = 0,
          "convertARTtoSpaceNspan with k = rnm.")
      .def(
          "convertRnmNspanToART",
          [](const Seg& s, int id, py::handle uv, int threads) {
            return py::cast(s).attr("convertSpaceNspanToART")(id, Seg::rnm, uv, threads);
          },
          py::arg("segment"), py::arg("uv"), py::arg("threads") = 0,
          "convertSpaceNspanToART with k = rnm.")
      .def(
          "findSegment",
          [](const Seg& s, py::handle p, double tolerance, int threads) -> py::object {
            const int th = threadCount(threads);
            py::array a = numeric(p, "p");
            if (isTriplet(a, "p")) return py::cast(s.findSegment(triplet(a, "p"), tolerance));
            F32 in = pointList(a, "p");
            const std::size_t n = rows(in);
            py::array_t<std::int32_t> out(static_cast<py::ssize_t>(n));
            static_assert(sizeof(std::int32_t) == sizeof(int), "int is 32 bits");
            int* o = reinterpret_cast<int*>(out.mutable_data());
            const P* i = points(in);
            {
              py::gil_scoped_release release;
              TT::ListOptions options;
              options.threads = th;
              s.findSegment(i, n, o, tolerance, options);
            }
            return std::move(out);
          },
          py::arg("p"), py::arg("tolerance") = 1e-3, py::arg("threads") = 0,
          (std::string("The segment holding (axial, radial, theta) points: a triplet gives an int, a "
                       "list (N, 3) an int32 array; -1 for a point beyond the inlet, outlet, hub or "
                       "shroud by more than `tolerance` in rnm or normalised span. A point on an "
                       "internal boundary belongs to the segment east of it.\n") +
           kThreadsDoc)
              .c_str())
      .def(
          "getArcNdfromRnmNd",
          [](const Seg& s, int id, float span, py::handle positions) {
            F64 pos = values1d(positions, "positions");
            const std::vector<double> p(pos.data(), pos.data() + pos.size());
            std::vector<double> arc;
            s.getArcNdfromRnmNd(id, span, p, arc);
            F64 out = newF64({static_cast<py::ssize_t>(arc.size())});
            std::copy(arc.begin(), arc.end(), out.mutable_data());
            return out;
          },
          py::arg("segment"), py::arg("span"), py::arg("positions"),
          "Normalised arc length (float64) along the line of normalised span `span` inside a segment\n"
          "at normalised positions (0 west .. 1 east).");
}

}  // namespace qorpy
