#include "Passage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "DemoPassage.h"
#include "Progress.h"
#include "ToolError.h"
#include "Warnings.h"
#include "qor/foundation/Error.h"

namespace qormeridional {
namespace {

using P = qor::TripletBase<float>;

const char* const kRoles[4] = {"hub", "shroud", "inlet", "outlet"};

PointTable readCurve(const std::string& path, Coords coords, const char* forcedBy,
                     const char* role) {
  PointTable t = readPointFile(path, coords, forcedBy);
  if (t.points.size() < 2) {
    throw fileError(path, t.lines.empty() ? 0 : t.lines.front(),
                    std::string("the ") + role + " curve needs at least 2 points, found " +
                        std::to_string(t.points.size()));
  }
  return t;
}

/// Reads the four curves; the files whose header names their frame must agree, and files without
/// such a header follow them.
void readCurves(Passage& p, const std::string (&paths)[4], const CliArgs& args) {
  const char* forcedBy = args.has("xyz") ? "--xyz" : (args.has("art") ? "--art" : nullptr);
  std::vector<P>* curves[4] = {&p.hub, &p.shroud, &p.inlet, &p.outlet};
  PointTable tables[4];
  int named = -1;
  for (int c = 0; c < 4; ++c) {
    tables[c] = readCurve(paths[c], p.coords, forcedBy, kRoles[c]);
    if (!tables[c].framedByHeader) continue;
    if (named >= 0 && tables[c].coords != tables[named].coords) {
      const int xyz = tables[c].coords == Coords::xyz ? c : named;
      const int art = xyz == c ? named : c;
      throw ToolError(paths[xyz] + " and " + paths[art] +
                      " disagree: the header of the first names Cartesian (x, y, z) columns, the "
                      "second's meridional (axial, radial) ones");
    }
    if (named < 0) named = c;
  }
  if (named >= 0) p.coords = tables[named].coords;
  for (int c = 0; c < 4; ++c) {
    if (tables[c].coords != p.coords) tables[c] = readCurve(paths[c], p.coords, nullptr, kRoles[c]);
    *curves[c] = std::move(tables[c].points);
    p.lines[c] = std::move(tables[c].lines);
    p.files[c] = paths[c];
  }
}

/// The last component of a directory path ("a/b/machine/" gives "machine"; "" and "." give the
/// current directory's name).
std::string folderName(const std::string& dir) {
  std::error_code ec;
  std::filesystem::path p = std::filesystem::weakly_canonical(dir.empty() ? "." : dir, ec);
  if (ec) p = std::filesystem::path(dir);
  if (!p.has_filename()) p = p.parent_path();
  const std::string name = p.filename().string();
  return name.empty() ? dir : name;
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

/// One way of reading the four files: hub and shroud swapped or not, each curve reversed or not.
struct Reading {
  bool swap = false;
  bool reversed[4] = {false, false, false, false};
  int changes() const {
    return int(swap) + int(reversed[0]) + int(reversed[1]) + int(reversed[2]) + int(reversed[3]);
  }
};

/// Checks the curves against each other and reverses the one curve that runs the wrong way; see
/// readPassage. The ends count as meeting within a quarter of the shortest curve's chord (and 5 %
/// of the passage), so that the other end of any curve is always farther.
void orientCurves(Passage& p) {
  std::vector<std::vector<P>> c;
  passageCurvesART(p, c);
  const auto dist = [](const P& a, const P& b) {
    return std::hypot(double(a[0]) - b[0], double(a[1]) - b[1]);
  };
  double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300}, chord = 1e300;
  for (const auto& curve : c) {
    chord = std::min(chord, dist(curve.front(), curve.back()));
    for (const P& q : curve) {
      for (int k = 0; k < 2; ++k) {
        lo[k] = std::min(lo[k], double(q[k]));
        hi[k] = std::max(hi[k], double(q[k]));
      }
    }
  }
  const double tolerance = std::min(0.25 * chord, 0.05 * std::hypot(hi[0] - lo[0], hi[1] - lo[1]));
  const auto fits = [&](const Reading& r) {
    const auto end = [&](int file, bool last) {
      const std::vector<P>& curve = c[std::size_t(file)];
      return (last != r.reversed[file]) ? curve.back() : curve.front();
    };
    const int hub = r.swap ? 1 : 0, shroud = r.swap ? 0 : 1;
    return dist(end(hub, false), end(2, false)) <= tolerance &&
           dist(end(shroud, false), end(2, true)) <= tolerance &&
           dist(end(hub, true), end(3, false)) <= tolerance &&
           dist(end(shroud, true), end(3, true)) <= tolerance;
  };
  std::vector<Reading> fitting;
  for (int code = 0; code < 32; ++code) {
    Reading r;
    r.swap = (code & 16) != 0;
    for (int k = 0; k < 4; ++k) r.reversed[k] = (code >> k & 1) != 0;
    if (fits(r)) fitting.push_back(r);
  }
  if (fitting.empty()) {
    addWarning(
        "the curves do not meet at the passage corners: hub and shroud must run inlet to outlet, "
        "inlet and outlet hub to shroud");
    return;
  }
  std::sort(fitting.begin(), fitting.end(),
            [](const Reading& a, const Reading& b) { return a.changes() < b.changes(); });
  const Reading& best = fitting.front();
  if (best.changes() == 0) return;
  const bool unique = fitting.size() == 1 || fitting[1].changes() > best.changes();
  const std::string name[4] = {p.files[0].empty() ? "hub" : p.files[0],
                               p.files[1].empty() ? "shroud" : p.files[1],
                               p.files[2].empty() ? "inlet" : p.files[2],
                               p.files[3].empty() ? "outlet" : p.files[3]};
  const char* const wrongWay[4] = {"runs outlet to inlet", "runs outlet to inlet",
                                   "runs shroud to hub", "runs shroud to hub"};
  if (unique && !best.swap && best.changes() == 1) {
    const int k = best.reversed[0] ? 0 : best.reversed[1] ? 1 : best.reversed[2] ? 2 : 3;
    std::vector<P>* curves[4] = {&p.hub, &p.shroud, &p.inlet, &p.outlet};
    std::reverse(curves[k]->begin(), curves[k]->end());
    std::reverse(p.lines[k].begin(), p.lines[k].end());
    addWarning(name[k] + ": the " + kRoles[k] + " curve " + wrongWay[k] +
               " while the other curves agree with each other; reversed it");
    return;
  }
  // The files contradict each other: every reading with the fewest changes is named.
  std::string readings;
  std::vector<std::string> files;
  const auto mention = [&](int k) {
    if (std::find(files.begin(), files.end(), name[k]) == files.end()) files.push_back(name[k]);
  };
  for (const Reading& r : fitting) {
    if (r.changes() > best.changes() + 1) break;
    std::string text;
    if (r.swap) {
      text = "hub and shroud are swapped";
      mention(0), mention(1);
    }
    for (int k = 0; k < 4; k += 2) {
      if (!r.reversed[k] && !r.reversed[k + 1]) continue;
      const bool both = r.reversed[k] && r.reversed[k + 1];
      std::string who = both ? std::string("the ") + kRoles[k] + " and the " + kRoles[k + 1]
                             : std::string("the ") + kRoles[r.reversed[k] ? k : k + 1];
      std::string how = wrongWay[k];
      if (both) how.replace(0, 4, "run");  // "runs ..." -> "run ..."
      text += (text.empty() ? "" : " and ") + who + " " + how;
      for (int m = k; m < k + 2; ++m) {
        if (r.reversed[m]) mention(m);
      }
    }
    readings += (readings.empty() ? "" : ", or ") + text;
  }
  std::string list;
  for (std::size_t k = 0; k < files.size(); ++k) list += (k == 0 ? "" : ", ") + files[k];
  throw ToolError(list + ": the curve files contradict each other (" + readings +
                  "); which is meant cannot be told, fix the files");
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
      {"art", "",
       "curve files hold (axial, radial[, theta]) columns (the default for files without a "
       "header naming x, y, z)"},
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
      {"allow-folded", "", "go on with a folded background mesh (an error otherwise)"},
      {"chord-walls", "",
       "measure span from the mesh's straight wall edges, as the library does by default, "
       "instead of from the hub and shroud curves"},
  };
}

Passage readPassage(const CliArgs& args) {
  Phase phase("reading the passage");
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
    p.name = "built-in centrifugal compressor";
  } else if (args.has("passage")) {
    const std::string dir = args.value("passage");
    std::error_code ec;
    if (!std::filesystem::is_directory(dir, ec))
      throw ToolError(dir + ": not a directory (option --passage)");
    std::string paths[4];
    for (int c = 0; c < 4; ++c) paths[c] = curvePathInDirectory(dir, kRoles[c]);
    readCurves(p, paths, args);
    p.description = dir;
    p.name = folderName(dir);
  } else {
    for (const char* name : {"hub", "shroud", "inlet", "outlet"}) {
      if (!args.has(name))
        throw ToolError(std::string("missing option --") + name +
                        " (all four curve files are needed)");
    }
    std::string paths[4];
    for (int c = 0; c < 4; ++c) paths[c] = args.value(kRoles[c]);
    readCurves(p, paths, args);
    p.description = args.value("hub") + ", " + args.value("shroud") + ", " + args.value("inlet") +
                    ", " + args.value("outlet");
    p.name = folderName(std::filesystem::path(args.value("hub")).parent_path().string());
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
  orientCurves(p);
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
  m.allowFolded = args.has("allow-folded");
  m.exactWalls = !args.has("chord-walls");
  return m;
}

namespace {

/// "file:line: Class::function: message" for a library error that names a curve (and a point of
/// it); an empty string for any other error.
std::string locateCurveError(const Passage& passage, const qor::Error& e) {
  const std::string& m = e.getMessage();
  const std::string text = e.getClassName() + "::" + e.getFunctionName() + ": " + m;
  const auto where = [&](int c, std::size_t point) {
    const std::vector<int>& lines = passage.lines[c];
    const int line = point < lines.size() ? lines[point] : 0;
    return passage.files[c] + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": ";
  };
  if (passage.files[0].empty()) return "";
  if (m.find("Hub and shroud curves seem to be the same") != std::string::npos) {
    const bool atStart = !passage.hub.empty() && !passage.shroud.empty() &&
                         passage.hub.front() == passage.shroud.front();
    const std::size_t h = atStart ? 0 : passage.hub.size() - 1;
    const std::size_t s = atStart ? 0 : passage.shroud.size() - 1;
    const std::string shroudAt = where(1, s);
    return where(0, h) + text + " (the shroud's point at " +
           shroudAt.substr(0, shroudAt.size() - 2) + ")";
  }
  for (int c = 0; c < 4; ++c) {
    // "Curve hub has ..." or "Start index 9 of curve hub ...".
    const std::string curve = std::string("urve ") + kRoles[c] + " ";
    if (m.find(curve) == std::string::npos) continue;
    std::size_t point = 0;
    const std::size_t at = m.find("at point ");
    if (at != std::string::npos) point = std::strtoul(m.c_str() + at + 9, nullptr, 10);
    return where(c, point) + text;
  }
  return "";
}

}  // namespace

std::unique_ptr<qor::TurboTransform> buildTransform(const Passage& passage,
                                                    const MeshSettings& mesh, bool& folded) {
  auto t = std::make_unique<qor::TurboTransform>();
  t->setExactWalls(mesh.exactWalls);
  t->setCurveOptimizedSize(mesh.curveSize);
  t->setNumberOfLevelsforBM(mesh.levels);
  const qor::TripletQORVector hub(passage.hub), shroud(passage.shroud), inlet(passage.inlet),
      outlet(passage.outlet);
  try {
    if (passage.coords == Coords::xyz) {
      t->initializeFromXYZ(hub, shroud, inlet, outlet, passage.axisPoint, passage.axisDirection);
    } else {
      t->initializeFromART(hub, shroud, inlet, outlet, passage.axisPoint, passage.axisDirection,
                           -1, -1, -1, -1);
    }
  } catch (const qor::Error& e) {
    const std::string located = locateCurveError(passage, e);
    if (located.empty()) throw;
    throw ToolError(located);
  }
  {
    Phase phase("meshing (" + std::to_string(mesh.size) + " nodes requested)");
    folded = t->createBackgroundMesh(mesh.method, mesh.size) != 0;
  }
  if (folded && !mesh.allowFolded) {
    throw ToolError(
        "the background mesh is folded (cells turned inside out): the likely cause is a curve "
        "that crosses another or bends back on itself, or curves given in the wrong order; try "
        "--method linear or another --size, or pass --allow-folded to go on anyway");
  }
  if (folded) addWarning("the background mesh is folded");
  return t;
}

WallDeviation measureWallDeviation(const qor::TurboTransform& transform, const Passage& passage) {
  WallDeviation d;
  std::vector<std::vector<P>> curves;
  passageCurvesART(passage, curves);
  for (int w = 0; w < 2; ++w) {
    std::vector<float> spans;
    transform.convertARTtoSpace(qor::TurboTransform::nspan, curves[std::size_t(w)], spans);
    double& worst = w == 0 ? d.hub : d.shroud;
    for (float v : spans) worst = std::max(worst, std::fabs(double(v) - w));
  }
  return d;
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
