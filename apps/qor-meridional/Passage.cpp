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
#include "qor/turbo/CurveOrientation.h"

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
void readCurves(Passage& p, const std::string (&paths)[4], const char* forcedBy) {
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
    std::string p = (std::filesystem::path(dir) / (std::string(name) + ext)).string();
    std::error_code ec;
    if (std::filesystem::is_regular_file(p, ec)) return p;
  }
  throw ToolError(dir + ": no " + name +
                  ".csv (expected hub, shroud, inlet and outlet files in the directory)");
}

/// Checks the curves against each other (qor::CurveOrientation) and reverses the one curve that
/// runs the wrong way, with a warning; see readPassage.
/// @throws ToolError naming the files when they contradict each other
void orientCurves(Passage& p) {
  std::vector<std::vector<P>> c;
  passageCurvesART(p, c);
  std::vector<std::string> names(p.files, p.files + 4);
  qor::CurveOrientation found;
  try {
    found = qor::CurveOrientation::check(c[0], c[1], c[2], c[3], names);
  } catch (const qor::data::invalid& e) {
    throw ToolError(e.getMessage());
  }
  std::vector<P>* curves[4] = {&p.hub, &p.shroud, &p.inlet, &p.outlet};
  for (int k = 0; k < 4; ++k) {
    if (!found.reverse[k]) continue;
    std::reverse(curves[k]->begin(), curves[k]->end());
    std::reverse(p.lines[k].begin(), p.lines[k].end());
  }
  if (!found.message.empty()) addWarning(found.message);
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
      {"angle-smoothing", "",
       "smooth the mesh from inverse cosines of its angles, as the library does by default, "
       "instead of the closed form (a third faster; the same mesh up to float rounding)"},
  };
}

PassageOptions readPassageOptions(const CliArgs& args) {
  PassageOptions o;
  if (args.has("art") && args.has("xyz"))
    throw ToolError("options --art and --xyz exclude each other");
  o.coords = args.has("xyz") ? Coords::xyz : Coords::art;
  o.forcedBy = args.has("xyz") ? "--xyz" : (args.has("art") ? "--art" : nullptr);
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
  o.demo = args.has("demo");
  if (o.demo && args.has("xyz"))
    throw ToolError("option --xyz does not apply to the built-in passage");
  o.fromDirectory = args.has("passage");
  o.directory = args.value("passage");
  if (fromFiles) {
    for (int c = 0; c < 4; ++c) {
      if (!args.has(kRoles[c]))
        throw ToolError(std::string("missing option --") + kRoles[c] +
                        " (all four curve files are needed)");
      o.files[c] = args.value(kRoles[c]);
    }
  }

  o.axisPoint = args.triplet("axis-point", o.axisPoint);
  const std::string dir = args.value("axis-dir", "z");
  if (dir == "x" || dir == "X") {
    o.axisDirection = P(1.0f, 0.0f, 0.0f);
  } else if (dir == "y" || dir == "Y") {
    o.axisDirection = P(0.0f, 1.0f, 0.0f);
  } else if (dir == "z" || dir == "Z") {
    o.axisDirection = P(0.0f, 0.0f, 1.0f);
  } else {
    o.axisDirection = args.triplet("axis-dir", o.axisDirection);
  }
  try {
    qor::AxisFrame(o.axisPoint, o.axisDirection);
  } catch (const qor::data::invalid&) {
    throw ToolError("option --axis-dir: the axis direction must not be zero");
  }
  o.hasUnits = args.has("units");
  o.units = args.value("units");
  return o;
}

Passage readPassage(const PassageOptions& o) {
  Phase phase("reading the passage");
  Passage p;
  p.coords = o.coords;
  if (o.demo) {
    const DemoPassage d = makeDemoPassage();
    p.hub = d.hub;
    p.shroud = d.shroud;
    p.inlet = d.inlet;
    p.outlet = d.outlet;
    p.units = "mm";
    p.description =
        "built-in centrifugal compressor (axial inlet, 90-degree bend, radial vaneless diffuser)";
    p.name = "built-in centrifugal compressor";
  } else if (o.fromDirectory) {
    std::error_code ec;
    if (!std::filesystem::is_directory(o.directory, ec))
      throw ToolError(o.directory + ": not a directory (option --passage)");
    std::string paths[4];
    for (int c = 0; c < 4; ++c) paths[c] = curvePathInDirectory(o.directory, kRoles[c]);
    readCurves(p, paths, o.forcedBy);
    p.description = o.directory;
    p.name = folderName(o.directory);
  } else {
    readCurves(p, o.files, o.forcedBy);
    p.description = o.files[0] + ", " + o.files[1] + ", " + o.files[2] + ", " + o.files[3];
    p.name = folderName(std::filesystem::path(o.files[0]).parent_path().string());
  }
  p.axisPoint = o.axisPoint;
  p.axisDirection = o.axisDirection;
  if (o.hasUnits) p.units = o.units;
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
  m.closedForm = !args.has("angle-smoothing");
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
  t->setClosedFormSmoothingForBM(mesh.closedForm);
  t->setNumberOfThreadsForBM(0);  // every core: the same mesh as on one
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
  const qor::AxisFrame frame = axisFrame(passage);
  for (auto& c : curves) frame.toART(c.data(), c.size(), c.data());
}

qor::AxisFrame axisFrame(const Passage& passage) {
  return qor::AxisFrame(passage.axisPoint, passage.axisDirection);
}

}  // namespace qormeridional
