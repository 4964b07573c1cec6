#include "Passage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "DemoPassage.h"
#include "ToolError.h"
#include "Warnings.h"

namespace qormeridional {
namespace {

using P = qor::TripletBase<float>;

std::vector<P> readCurve(const std::string& path, Coords coords, const char* role) {
  PointTable t = readPointFile(path, coords);
  if (t.points.size() < 2) {
    throw fileError(path, t.lines.empty() ? 0 : t.lines.front(),
                    std::string("the ") + role + " curve needs at least 2 points, found " +
                        std::to_string(t.points.size()));
  }
  return std::move(t.points);
}

std::string curvePathInDirectory(const std::string& dir, const char* name) {
  for (const char* ext : {".csv", ".txt", ".dat", ""}) {
    const std::string p = (std::filesystem::path(dir) / (std::string(name) + ext)).string();
    std::error_code ec;
    if (std::filesystem::is_regular_file(p, ec)) return p;
  }
  throw ToolError(dir + ": no " + name +
                  ".csv (expected hub, shroud, inlet and outlet files in the directory)");
}

/// Unit reference directions e1 (theta 0) and e2 (theta 90 degrees) perpendicular to the axis.
void radialFrame(const P& axis, P& e1, P& e2) {
  const double len =
      std::sqrt(double(axis[0]) * axis[0] + double(axis[1]) * axis[1] + double(axis[2]) * axis[2]);
  const double a[3] = {axis[0] / len, axis[1] / len, axis[2] / len};
  // Cyclic convention: for an axis mostly along global axis k, theta 0 lies along axis k + 1
  // (z -> x, x -> y, y -> z), so that (axis, theta 0, theta 90 degrees) is right-handed.
  int major = 0;
  for (int k = 1; k < 3; ++k) {
    if (std::fabs(a[k]) > std::fabs(a[major])) major = k;
  }
  const int least = (major + 1) % 3;
  double g[3] = {0.0, 0.0, 0.0};
  g[least] = 1.0;
  const double d = g[0] * a[0] + g[1] * a[1] + g[2] * a[2];
  double u[3] = {g[0] - d * a[0], g[1] - d * a[1], g[2] - d * a[2]};
  const double ul = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
  for (double& c : u) c /= ul;
  const double v[3] = {a[1] * u[2] - a[2] * u[1], a[2] * u[0] - a[0] * u[2],
                       a[0] * u[1] - a[1] * u[0]};
  e1 = P(static_cast<float>(u[0]), static_cast<float>(u[1]), static_cast<float>(u[2]));
  e2 = P(static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2]));
}

P unitAxis(const P& axis) {
  const double len =
      std::sqrt(double(axis[0]) * axis[0] + double(axis[1]) * axis[1] + double(axis[2]) * axis[2]);
  return P(static_cast<float>(axis[0] / len), static_cast<float>(axis[1] / len),
           static_cast<float>(axis[2] / len));
}

/// The four curves should meet at the passage corners; a mismatch usually means a curve runs the
/// wrong way or hub and shroud are swapped. Only warned about: real data may leave small gaps.
void warnAboutCurveEnds(const Passage& p) {
  std::vector<std::vector<P>> c;
  passageCurvesART(p, c);
  const std::vector<P>& hub = c[0];
  const std::vector<P>& shroud = c[1];
  const std::vector<P>& inlet = c[2];
  const std::vector<P>& outlet = c[3];
  double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300};
  for (const auto& curve : c) {
    for (const P& q : curve) {
      for (int k = 0; k < 2; ++k) {
        lo[k] = std::min(lo[k], double(q[k]));
        hi[k] = std::max(hi[k], double(q[k]));
      }
    }
  }
  const double tolerance = 0.05 * std::hypot(hi[0] - lo[0], hi[1] - lo[1]);
  const auto apart = [&](const P& a, const P& b) {
    return std::hypot(double(a[0]) - b[0], double(a[1]) - b[1]) > tolerance;
  };
  const char* problem = nullptr;
  if (apart(hub.front(), inlet.front()) || apart(shroud.front(), inlet.back()) ||
      apart(hub.back(), outlet.front()) || apart(shroud.back(), outlet.back())) {
    problem =
        "the curves do not meet at the passage corners: hub and shroud must run inlet to outlet, "
        "inlet and outlet hub to shroud";
  }
  if (problem != nullptr) addWarning(problem);
}

}  // namespace

std::vector<OptionSpec> passageOptions() {
  return {
      {"demo", "", "use the built-in example compressor passage instead of curve files"},
      {"passage", "dir",
       "directory holding hub, shroud, inlet and outlet files (.csv, .txt or .dat)"},
      {"hub", "file", "hub curve, inlet to outlet"},
      {"shroud", "file", "shroud curve, inlet to outlet"},
      {"inlet", "file", "inlet curve, hub to shroud"},
      {"outlet", "file", "outlet curve, hub to shroud"},
      {"art", "", "curve files hold (axial, radial[, theta]) columns (the default)"},
      {"xyz", "", "curve files hold Cartesian (x, y, z) columns"},
      {"axis-point", "x,y,z", "a point on the machine axis (default 0,0,0)"},
      {"axis-dir", "x,y,z", "direction of the machine axis: three numbers or x, y, z (default z)"},
      {"units", "name", "length unit shown on plot axes, e.g. mm (default: none; demo: mm)"},
  };
}

std::vector<OptionSpec> meshOptions() {
  return {
      {"method", "linear|nonlinear", "background-mesh method (default nonlinear: smoothed)"},
      {"size", "nodes",
       "requested mesh nodes, 16..500000, or coarse|medium|fine|veryfine (default 2000)"},
      {"levels", "n", "smoothing levels of the nonlinear mesh, 1..6 (default 3)"},
      {"curve-points", "n", "points kept per cleaned boundary curve, 10..100000 (default 300)"},
  };
}

Passage readPassage(const CliArgs& args) {
  Passage p;
  if (args.has("art") && args.has("xyz"))
    throw ToolError("options --art and --xyz exclude each other");
  p.coords = args.has("xyz") ? Coords::xyz : Coords::art;
  const bool fromFiles =
      args.has("hub") || args.has("shroud") || args.has("inlet") || args.has("outlet");
  const int sources = int(args.has("demo")) + int(args.has("passage")) + int(fromFiles);
  if (sources == 0) {
    throw ToolError(
        "no passage given: use --demo, --passage <dir> or --hub/--shroud/--inlet/--outlet (see "
        "'qor-meridional " +
        args.command() + " --help')");
  }
  if (sources > 1) throw ToolError("give only one of --demo, --passage and the four curve files");

  if (args.has("demo")) {
    if (args.has("xyz")) throw ToolError("option --xyz does not apply to the built-in passage");
    const DemoPassage d = makeDemoPassage();
    p.hub = d.hub;
    p.shroud = d.shroud;
    p.inlet = d.inlet;
    p.outlet = d.outlet;
    p.units = "mm";
    p.description =
        "built-in centrifugal compressor (axial inlet, 90-degree bend, radial vaneless diffuser)";
  } else if (args.has("passage")) {
    const std::string dir = args.value("passage");
    std::error_code ec;
    if (!std::filesystem::is_directory(dir, ec))
      throw ToolError(dir + ": not a directory (option --passage)");
    p.hub = readCurve(curvePathInDirectory(dir, "hub"), p.coords, "hub");
    p.shroud = readCurve(curvePathInDirectory(dir, "shroud"), p.coords, "shroud");
    p.inlet = readCurve(curvePathInDirectory(dir, "inlet"), p.coords, "inlet");
    p.outlet = readCurve(curvePathInDirectory(dir, "outlet"), p.coords, "outlet");
    p.description = dir;
  } else {
    for (const char* name : {"hub", "shroud", "inlet", "outlet"}) {
      if (!args.has(name))
        throw ToolError(std::string("missing option --") + name +
                        " (all four curve files are needed)");
    }
    p.hub = readCurve(args.value("hub"), p.coords, "hub");
    p.shroud = readCurve(args.value("shroud"), p.coords, "shroud");
    p.inlet = readCurve(args.value("inlet"), p.coords, "inlet");
    p.outlet = readCurve(args.value("outlet"), p.coords, "outlet");
    p.description = args.value("hub") + ", " + args.value("shroud") + ", " + args.value("inlet") +
                    ", " + args.value("outlet");
  }

  p.axisPoint = args.triplet("axis-point", p.axisPoint);
  const std::string dir = args.value("axis-dir", "z");
  if (dir == "x" || dir == "X") {
    p.axisDirection = P(1.0f, 0.0f, 0.0f);
  } else if (dir == "y" || dir == "Y") {
    p.axisDirection = P(0.0f, 1.0f, 0.0f);
  } else if (dir == "z" || dir == "Z") {
    p.axisDirection = P(0.0f, 0.0f, 1.0f);
  } else {
    p.axisDirection = args.triplet("axis-dir", p.axisDirection);
  }
  const float len = p.axisDirection.length();
  if (!(len > 1e-20f)) throw ToolError("option --axis-dir: the axis direction must not be zero");
  if (args.has("units")) p.units = args.value("units");
  warnAboutCurveEnds(p);
  return p;
}

MeshSettings readMeshSettings(const CliArgs& args) {
  MeshSettings m;
  m.method = args.choice("method", {"linear", "nonlinear"}, "nonlinear") == "linear"
                 ? qor::TurboTransform::linear
                 : qor::TurboTransform::nonLinear;
  const std::string size = args.value("size");
  if (size == "coarse") {
    m.size = qor::TurboTransform::BMcoarse;
  } else if (size == "medium") {
    m.size = qor::TurboTransform::BMmedium;
  } else if (size == "fine") {
    m.size = qor::TurboTransform::BMfine;
  } else if (size == "veryfine") {
    m.size = qor::TurboTransform::BMveryFine;
  } else {
    m.size = args.integer("size", m.size, 16, 500000);
  }
  m.levels = args.integer("levels", m.levels, 1, 6);
  m.curveSize = args.integer("curve-points", m.curveSize, 10, 100000);
  return m;
}

std::unique_ptr<qor::TurboTransform> buildTransform(const Passage& passage,
                                                    const MeshSettings& mesh, bool& folded) {
  auto t = std::make_unique<qor::TurboTransform>();
  t->setCurveOptimizedSize(mesh.curveSize);
  t->setNumberOfLevelsforBM(mesh.levels);
  const qor::TripletQORVector hub(passage.hub), shroud(passage.shroud), inlet(passage.inlet),
      outlet(passage.outlet);
  if (passage.coords == Coords::xyz) {
    t->initializeFromXYZ(hub, shroud, inlet, outlet, passage.axisPoint, passage.axisDirection);
  } else {
    t->initializeFromART(hub, shroud, inlet, outlet, passage.axisPoint, passage.axisDirection, -1,
                         -1, -1, -1);
  }
  folded = t->createBackgroundMesh(mesh.method, mesh.size) != 0;
  return t;
}

void passageCurvesART(const Passage& passage, std::vector<std::vector<P>>& curves) {
  curves = {passage.hub, passage.shroud, passage.inlet, passage.outlet};
  if (passage.coords == Coords::art) return;
  for (auto& c : curves) {
    for (P& p : c) p = xyzToArt(passage, p);
  }
}

P artToXyz(const Passage& passage, const P& art) {
  P e1, e2;
  radialFrame(passage.axisDirection, e1, e2);
  const P a = unitAxis(passage.axisDirection);
  const double c = std::cos(double(art[2]));
  const double s = std::sin(double(art[2]));
  P out;
  for (int k = 0; k < 3; ++k) {
    out[k] = static_cast<float>(passage.axisPoint[k] + double(art[0]) * a[k] +
                                double(art[1]) * (c * e1[k] + s * e2[k]));
  }
  return out;
}

P xyzToArt(const Passage& passage, const P& xyz) {
  P e1, e2;
  radialFrame(passage.axisDirection, e1, e2);
  const P a = unitAxis(passage.axisDirection);
  double d[3];
  for (int k = 0; k < 3; ++k) d[k] = double(xyz[k]) - passage.axisPoint[k];
  const double ax = d[0] * a[0] + d[1] * a[1] + d[2] * a[2];
  const double x1 = d[0] * e1[0] + d[1] * e1[1] + d[2] * e1[2];
  const double x2 = d[0] * e2[0] + d[1] * e2[1] + d[2] * e2[2];
  return P(static_cast<float>(ax), static_cast<float>(std::sqrt(x1 * x1 + x2 * x2)),
           static_cast<float>(std::atan2(x2, x1)));
}

}  // namespace qormeridional
