#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>

#include "OutputFile.h"
#include "CommandSupport.h"
#include "Commands.h"
#include "Progress.h"
#include "Spaces.h"
#include "ToolError.h"
#include "Warnings.h"
#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletQORVector.h"

namespace qormeridional {
namespace {

using P = qor::TripletBase<float>;

// The side an inverse input lies beyond, as `TurboTransform::location` (inside when neither its
// span nor its value had to be clamped): span outside 0..1, or a value outside the range the space
// takes along the clamped span line (read from the line's two ends), relative to that range; the
// larger excess wins. A relative 1e-5 keeps the line's own end values inside.
int clampedSide(const qor::TurboTransform& t, qor::TurboTransform::space space, const P& in) {
  const double span = in[2];
  const float clampedSpan = static_cast<float>(std::min(1.0, std::max(0.0, span)));
  P lo, hi, v;
  t.convertSpaceTNsToART(space, P(-3e38f, 0.0f, clampedSpan), lo);
  t.convertSpaceTNsToART(space, P(3e38f, 0.0f, clampedSpan), hi);
  t.convertARTtoSpaceTNs(space, lo, v);
  const double first = v[0];
  t.convertARTtoSpaceTNs(space, hi, v);
  const double range = std::max(1e-30, std::fabs(double(v[0]) - first));
  const double value = in[0];
  const double beforeBy = (first - value) / range, afterBy = (value - double(v[0])) / range;
  const double hubBy = -span, shroudBy = span - 1.0;
  constexpr double kTolerance = 1e-5;
  const double worst = std::max(std::max(beforeBy, afterBy), std::max(hubBy, shroudBy));
  if (!(worst > kTolerance)) return qor::TurboTransform::inside;
  if (worst == hubBy) return qor::TurboTransform::beyondHub;
  if (worst == shroudBy) return qor::TurboTransform::beyondShroud;
  return worst == beforeBy ? qor::TurboTransform::beforeInlet : qor::TurboTransform::afterOutlet;
}


/// Points converted per library call, so that progress can be shown between calls; large enough
/// for the call to use every core.
constexpr std::size_t kChunk = std::size_t(1) << 16;

std::string pointFileArgument(const CliArgs& args, const char* what) {
  if (args.has("points") && !args.positionals().empty())
    throw ToolError(std::string("give the ") + what + " file once");
  if (args.has("points")) return args.value("points");
  if (!args.positionals().empty()) return args.positionals().front();
  throw ToolError(std::string("no ") + what + " file given (see 'qor-meridional " + args.command() +
                  " --help')");
}

struct ConvertOptions {
  std::string pointsPath;
  const char* pointsForcedBy = nullptr;  ///< "--points-art" or "--points-xyz" when given
  std::vector<qor::TurboTransform::space> spaces;
  bool directions = false;
  std::string outPath;  ///< "" for standard output
  PassageOptions passage;
  MeshSettings mesh;
};

ConvertOptions parseConvertOptions(const CliArgs& args) {
  ConvertOptions o;
  checkPointForm(args);
  o.pointsPath = pointFileArgument(args, "points");
  o.pointsForcedBy = pointFormOption(args);
  o.spaces = spacesFromList(args.value("spaces", "nm,nspan,mprime"), "option --spaces");
  o.directions = args.has("directions");
  o.outPath = args.value("output");
  o.passage = readPassageOptions(args);
  o.mesh = readMeshSettings(args);
  return o;
}

int runConvert(const ConvertOptions& o);

struct InvertOptions {
  qor::TurboTransform::space space = qor::TurboTransform::nm;
  std::vector<P> at;      ///< the --at points (value, theta, span)
  std::string inputPath;  ///< the points file ("" when none)
  bool toXyz = false;
  std::string outPath;  ///< "" for standard output
  PassageOptions passage;
  MeshSettings mesh;
};

InvertOptions parseInvertOptions(const CliArgs& args) {
  InvertOptions o;
  const std::string spaceOpt = spaceOption(args);
  o.space = spaceFromName(args.value(spaceOpt, "nm"), "option --" + spaceOpt);
  if (o.space == qor::TurboTransform::span || o.space == qor::TurboTransform::nspan) {
    throw ToolError("option --" + spaceOpt + ": '" + spaceName(o.space) +
                    "' cannot be inverted (use mprime, m, nmprime, nm, rnm or mprimeScaled)");
  }
  for (const std::string& at : args.values("at")) {
    const std::vector<double> v = CliArgs::parseNumberList(at, "option --at");
    if (v.size() != 3) throw ToolError("option --at: expected value,theta,span, got '" + at + "'");
    o.at.emplace_back(static_cast<float>(v[0]), static_cast<float>(v[1]),
                      static_cast<float>(v[2]));
  }
  if (!args.positionals().empty()) o.inputPath = args.positionals().front();
  if (o.at.empty() && o.inputPath.empty())
    throw ToolError(
        "nothing to convert: give --at v,theta,span or a file (see 'qor-meridional invert "
        "--help')");
  o.toXyz = args.has("to-xyz");
  o.outPath = args.value("output");
  o.passage = readPassageOptions(args);
  o.mesh = readMeshSettings(args);
  return o;
}

int runInvert(const InvertOptions& o);

}  // namespace

int runConvert(int argc, char** argv) {
  CliArgs args(
      "convert", "<points-file> (--demo | --passage <dir> | --hub F ...) [options]",
      "Converts points into the coordinate spaces of the passage and writes one CSV row per\n"
      "point: the input line number, the input coordinates, the requested spaces and, with\n"
      "--directions, the unit streamwise and spanwise directions of the mesh at the point.\n"
      "Spaces (or 'all'), along the background mesh's streamwise lines (inlet to outlet) and\n"
      "spanwise lines (hub to shroud):\n"
      "  m             meridional length from the inlet (length units)\n"
      "  nm            m over the streamwise line's total: 0 at the inlet, 1 at the outlet\n"
      "  mprime        m', the integral of dm/r from the inlet (dimensionless)\n"
      "  nmprime       m' over the streamwise line's total: 0 at the inlet, 1 at the outlet\n"
      "  mprimeScaled  m' with every streamwise line scaled to the hub line's total\n"
      "  rnm           nm averaged over each spanwise line: constant along spanwise lines\n"
      "  span          distance from the hub along the spanwise line (length units)\n"
      "  nspan         span normalised: 0 at the hub, 1 at the shroud\n"
      "Points outside the passage are extrapolated; the location column says where each point\n"
      "lies (inside, beyondHub, beyondShroud, beforeInlet, afterOutlet). The points file has the layouts of the\n"
      "curve files; its columns are (axial, radial[, theta]) or (x, y, z) as its header names\n"
      "them, otherwise like the curves unless --points-art or --points-xyz says otherwise.\n"
      "\n"
      "example: qor-meridional convert --demo qor-demo/sample-points.csv --spaces nm,nspan\n"
      "         --output out.csv",
      joinOptions(
          joinOptions(
              {{"points", "file", "the points to convert (or give it as the argument)"},
               {"points-art", "", "the points are (axial, radial[, theta])"},
               {"points-xyz", "", "the points are Cartesian (x, y, z) about the axis"},
               {"spaces", "list", "comma-separated spaces to write (default: nm,nspan,mprime)"},
               {"directions", "", "also write the unit streamwise and spanwise directions"},
               {"output", "file", "CSV file to write (default: standard output)"}},
              passageOptions()),
          meshOptions()),
      1);
  if (parseOrHelp(args, argc, argv)) return 0;
  return runConvert(parseConvertOptions(args));
}

namespace {

int runConvert(const ConvertOptions& o) {
  const std::string& pointsPath = o.pointsPath;
  const std::vector<qor::TurboTransform::space>& spaces = o.spaces;
  const bool directions = o.directions;
  const std::string& outPath = o.outPath;
  const MeshSettings& settings = o.mesh;

  const Passage passage = readPassage(o.passage);
  const PointTable table = [&] {
    Phase phase("reading " + pointsPath);
    return readPointFile(pointsPath, pointsFrame(o.pointsForcedBy, passage.coords),
                         o.pointsForcedBy);
  }();
  const Coords coords = table.coords;
  bool folded = false;
  const auto transform = buildTransform(passage, settings, folded);

  // Everything is converted as (axial, radial, theta) about the axis; Cartesian input is turned
  // into that frame first so that theta can be reported too.
  std::vector<P> art(table.points);
  const qor::AxisFrame frame = axisFrame(passage);
  if (coords == Coords::xyz) frame.toART(art.data(), art.size(), art.data());
  // Values (row-major, point by point), directions and statuses from one location per point.
  const std::size_t count = spaces.size();
  std::vector<float> values(art.size() * count);
  std::vector<P> stream(directions ? art.size() : 0), span(directions ? art.size() : 0);
  std::vector<std::int8_t> status(art.size());
  {
    Progress progress("converting " + pointsPath, art.size());
    qor::TurboTransform::ListOptions every;
    every.threads = 0;
    for (std::size_t first = 0; first < art.size(); first += kChunk) {
      const std::size_t n = std::min(art.size(), first + kChunk) - first;
      try {
        transform->convertARTtoSpace(art.data() + first, n, spaces.data(), count,
                                     values.data() + first * count,
                                     directions ? stream.data() + first : nullptr,
                                     directions ? span.data() + first : nullptr,
                                     status.data() + first, every);
      } catch (const qor::Error&) {
        // The point that fails, by its line.
        for (std::size_t k = first; k < first + n; ++k) {
          atPoint(pointsPath, table.lines[k], [&] {
            transform->convertARTtoSpace(art.data() + k, 1, spaces.data(), count,
                                         values.data() + k * count, nullptr, nullptr,
                                         status.data() + k, every);
          });
        }
        throw;
      }
      progress.update(first + n);
    }
  }
  // Values outside the passage are extrapolated, never clamped: the location column says which.
  reportOutside(status, pointsPath);

  Phase writing("writing " + (outPath.empty() ? std::string("standard output") : outPath));
  OutputFile file(outPath);
  std::ostream& out = file.stream();
  out << "line," << (coords == Coords::xyz ? "x,y,z" : "axial,radial,theta") << ",location";
  for (auto s : spaces) out << ',' << spaceName(s);
  if (directions) {
    out << (coords == Coords::xyz ? ",stream_x,stream_y,stream_z,span_x,span_y,span_z"
                                  : ",stream_axial,stream_radial,span_axial,span_radial");
  }
  out << '\n';
  for (std::size_t k = 0; k < art.size(); ++k) {
    const P& in = table.points[k];
    out << table.lines[k] << ',' << csvNumber(in[0]) << ',' << csvNumber(in[1]) << ','
        << csvNumber(in[2]) << ',' << locationName(status[k]);
    for (std::size_t s = 0; s < count; ++s) out << ',' << csvNumber(values[k * count + s]);
    if (directions) {
      if (coords == Coords::xyz) {
        // (axial, radial) directions of the meridional plane as Cartesian vectors at the point.
        for (const P* d : {&stream[k], &span[k]}) {
          const P v = frame.vectorToXYZ(in, P((*d)[0], (*d)[1], 0.0f));
          out << ',' << csvNumber(v[0]) << ',' << csvNumber(v[1]) << ',' << csvNumber(v[2]);
        }
      } else {
        out << ',' << csvNumber(stream[k][0]) << ',' << csvNumber(stream[k][1]) << ','
            << csvNumber(span[k][0]) << ',' << csvNumber(span[k][1]);
      }
    }
    out << '\n';
  }
  file.commit();
  return 0;
}

}  // namespace

int runInvert(int argc, char** argv) {
  CliArgs args(
      "invert",
      "(--at v,theta,span ... | <file>) --space <name> (--demo | --passage <dir> | ...) [options]",
      "Converts (space value, theta, normalised span) back to (axial, radial, theta), or to\n"
      "Cartesian (x, y, z) with --to-xyz. Writes line, value, theta, nspan and axial, radial\n"
      "(theta, which the conversion keeps, once) or x, y, z. The space is one of mprime, m, nmprime, nm, rnm,\n"
      "mprimeScaled. Values beyond the inlet or outlet and spans outside 0..1 are clamped to\n"
      "the passage. The input is either --at (repeatable) or a file of three columns (value,\n"
      "theta, span) in any layout the curve files accept. theta is in radians; with --to-xyz\n"
      "theta 0 points along x for an axis along z, along y for an axis along x and along z for\n"
      "an axis along y, growing right-handed.\n"
      "\n"
      "example: qor-meridional invert --demo --space nm --at 0.5,0,0.5 --at 1,0,0",
      joinOptions(joinOptions({{"space", "name", "the space of the input values (default: nm)"},
                               {"spaces", "name", "the same as --space"},
                               {"at", "v,theta,span", "one point to convert (repeatable)"},
                               {"to-xyz", "",
                                "write Cartesian (x, y, z) instead of (axial, radial, theta)"},
                               {"output", "file", "CSV file to write (default: standard output)"}},
                              passageOptions()),
                  meshOptions()),
      1);
  if (parseOrHelp(args, argc, argv)) return 0;
  return runInvert(parseInvertOptions(args));
}

namespace {

int runInvert(const InvertOptions& o) {
  const qor::TurboTransform::space space = o.space;
  std::vector<P> input = o.at;
  std::vector<int> lines(o.at.size(), 0);
  std::string inputPath = "option --at";
  if (!o.inputPath.empty()) {
    inputPath = o.inputPath;
    const PointTable t = readPointFile(inputPath, Coords::values);
    input.insert(input.end(), t.points.begin(), t.points.end());
    lines.insert(lines.end(), t.lines.begin(), t.lines.end());
  }
  const bool toXyz = o.toXyz;
  const std::string& outPath = o.outPath;

  const Passage passage = readPassage(o.passage);
  bool folded = false;
  const auto transform = buildTransform(passage, o.mesh, folded);
  const qor::AxisFrame frame = axisFrame(passage);

  OutputFile file(outPath);
  std::ostream& out = file.stream();
  // theta is written once: the input's, which the conversion keeps.
  out << "line," << spaceName(space) << ",theta,nspan,location," << (toXyz ? "x,y,z" : "axial,radial")
      << '\n';
  Progress progress("inverting", input.size());
  std::vector<std::int8_t> status(input.size());
  for (std::size_t k = 0; k < input.size(); ++k) {
    P art;
    atPoint(lines[k] > 0 ? inputPath : "option --at", lines[k], [&] {
      transform->convertSpaceTNsToART(space, input[k], art);
      status[k] = static_cast<std::int8_t>(clampedSide(*transform, space, input[k]));
    });
    const P result = toXyz ? frame.toXYZ(art) : art;
    out << lines[k] << ',' << csvNumber(input[k][0]) << ',' << csvNumber(input[k][1]) << ','
        << csvNumber(input[k][2]) << ',' << locationName(status[k]) << ','
        << csvNumber(result[0]) << ',' << csvNumber(result[1]);
    if (toXyz) out << ',' << csvNumber(result[2]);
    out << '\n';
    if (k % 1024 == 0) progress.update(k);
  }
  progress.update(input.size());
  file.commit();
  reportOutside(status, inputPath == "option --at" ? "the --at points" : inputPath);
  return 0;
}

}  // namespace

}  // namespace qormeridional
