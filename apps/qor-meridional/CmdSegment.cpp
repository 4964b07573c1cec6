#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <numeric>

#include "CommandSupport.h"
#include "Commands.h"
#include "DemoPassage.h"
#include "Progress.h"
#include "SvgWriter.h"
#include "ToolError.h"
#include "Warnings.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/segmenter/TurboTransformSegmenter.h"

namespace qormeridional {
namespace {

// Points per internal boundary handed to the segmenter.
constexpr int kBoundaryPoints = 64;

using P = qor::TripletBase<float>;
using Seg = qor::TurboTransformSegmenter;

/// rnm of a boundary line at normalised span `span`, interpolated along the line.
double rnmAtSpan(const std::vector<P>& rnmThetaSpan, double span) {
  const P* prev = nullptr;
  for (const P& p : rnmThetaSpan) {
    if (prev != nullptr && ((double((*prev)[2]) <= span && span <= double(p[2])) ||
                            (double(p[2]) <= span && span <= double((*prev)[2])))) {
      const double d = double(p[2]) - (*prev)[2];
      const double w = d != 0.0 ? (span - (*prev)[2]) / d : 0.0;
      return (*prev)[0] + w * (double(p[0]) - (*prev)[0]);
    }
    prev = &p;
  }
  // Outside the line's span range: its nearer end.
  if (rnmThetaSpan.empty()) return 0.0;
  const P& a = rnmThetaSpan.front();
  const P& b = rnmThetaSpan.back();
  return std::fabs(span - a[2]) < std::fabs(span - b[2]) ? a[0] : b[0];
}

}  // namespace

int runSegment(int argc, char** argv) {
  CliArgs args(
      "segment", "[<points-file>] --boundaries <file> (--demo | --passage <dir> | ...) [options]",
      "Splits the passage into segments at internal boundaries (for example blade leading and\n"
      "trailing edges, each a curve from hub to shroud) and gives per-segment coordinates (u,\n"
      "v): u from 0 on a segment's west boundary to 1 on its east boundary, measured in\n"
      "--space, and v the normalised span. Boundaries file: one curve per label (a column named\n"
      "boundary/name/label, as in 'boundary,point,axial,radius') or per blank-line separated\n"
      "block; they are put in inlet-to-outlet order. With --demo and no --boundaries, the\n"
      "impeller's leading and trailing edges are used. Writes <prefix>-boundaries.csv (the\n"
      "fitted boundary lines), <prefix>.svg and, given points, <prefix>.csv with segment, u and\n"
      "v per point (segment -1: outside the passage by more than 0.001 in normalised span or\n"
      "rnm).\n"
      "\n"
      "example: qor-meridional segment --demo qor-demo/sample-points.csv --space rnm",
      joinOptions(
          joinOptions({{"boundaries", "file", "internal boundaries, hub to shroud each"},
                       {"space", "m|nm|rnm|mprime", "space in which u is measured (default rnm)"},
                       {"spaces", "m|nm|rnm|mprime", "the same as --space"},
                       {"sampling", "mergedSpan|backgroundMeshSpan",
                        "span sampling of the boundaries (default backgroundMeshSpan)"},
                       {"points-art", "", "the points are (axial, radial[, theta])"},
                       {"points-xyz", "", "the points are Cartesian (x, y, z) about the axis"},
                       {"output", "prefix", "output file prefix (default: segments)"}},
                      passageOptions()),
          meshOptions()),
      1);
  if (parseOrHelp(args, argc, argv)) return 0;
  checkPointForm(args);
  const std::string spaceText =
      args.choice(spaceOption(args), {"m", "nm", "rnm", "mprime"}, "rnm");
  const Seg::spaceSeg space = spaceText == "m"        ? Seg::m
                              : spaceText == "nm"     ? Seg::nm
                              : spaceText == "mprime" ? Seg::mprime
                                                      : Seg::rnm;
  const Seg::segmentMethod method = args.choice("sampling", {"mergedSpan", "backgroundMeshSpan"},
                                                "backgroundMeshSpan") == "mergedSpan"
                                        ? Seg::mergedSpan
                                        : Seg::backgroundMeshSpan;
  const std::string prefix = args.value("output", "segments");
  const Passage passage = readPassage(args);

  // Internal boundaries.
  std::vector<std::vector<P>> boundaries;
  std::vector<std::string> names;
  std::vector<int> firstLines;
  const std::string boundaryPath = args.value("boundaries");
  if (args.has("boundaries")) {
    const std::string& path = boundaryPath;
    const PointTable table = readPointFile(path, passage.coords);
    boundaries = splitCurves(table, names, firstLines);
    for (std::size_t b = 0; b < boundaries.size(); ++b) {
      if (boundaries[b].size() < 2) {
        throw fileError(
            path, firstLines[b],
            "boundary '" + names[b] + "' has only one point (a boundary runs from hub to shroud)");
      }
      if (table.coords == Coords::xyz) {
        for (P& p : boundaries[b]) p = xyzToArt(passage, p);
      }
    }
  } else if (args.has("demo")) {
    boundaries = makeDemoPassage().bladeEdges;
    names = {"impeller LE", "impeller TE"};
  } else {
    throw ToolError("missing option --boundaries (see 'qor-meridional segment --help')");
  }

  const MeshSettings settings = readMeshSettings(args);
  bool folded = false;
  const auto transform = buildTransform(passage, settings, folded);

  // Inlet-to-outlet order by the mean rnm of each boundary's points.
  std::vector<double> meanRnm(boundaries.size(), 0.0);
  for (std::size_t b = 0; b < boundaries.size(); ++b) {
    std::vector<P> pts(boundaries[b]);
    std::vector<float> v;
    transform->convertARTtoSpace(qor::TurboTransform::rnm, pts, v);
    meanRnm[b] = std::accumulate(v.begin(), v.end(), 0.0) / double(v.size());
  }
  std::vector<std::size_t> order(boundaries.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return meanRnm[a] < meanRnm[b]; });
  std::vector<std::vector<P>> sorted;
  std::vector<std::string> sortedNames;
  std::vector<int> sortedLines;
  for (std::size_t k : order) {
    sortedLines.push_back(firstLines.empty() ? 0 : firstLines[k]);
    // Blade edges often come as a handful of points; the segmenter interpolates span linearly
    // between them, so they are resampled evenly along their length first.
    std::vector<P> dense;
    qor::ParametricCurve(boundaries[k], qor::ParametricCurve::curve2d)
        .getCurveForEquidistantS(dense, std::max<int>(kBoundaryPoints, int(boundaries[k].size())));
    sorted.push_back(dense);
    sortedNames.push_back(names[k]);
  }

  Seg segmenter(transform.get(), method);
  try {
    segmenter.setInternalBoundaries(sorted, std::vector<bool>(sorted.size(), true));
  } catch (const qor::Error& e) {
    if (boundaryPath.empty()) throw;
    // The boundary the library names by its index, by the line of its first point.
    const std::size_t at = e.getMessage().find("Boundary = ");
    const std::size_t b = at == std::string::npos
                              ? sorted.size()
                              : std::strtoul(e.getMessage().c_str() + at + 11, nullptr, 10);
    const std::string which =
        b < sortedNames.size() ? "boundary '" + sortedNames[b] + "': " : std::string();
    throw fileError(boundaryPath, b < sortedLines.size() ? sortedLines[b] : 0,
                    which + describe(e));
  }
  const int lastSegment = segmenter.getLastSegmentID();

  std::vector<std::string> lineNames = {"inlet"};
  lineNames.insert(lineNames.end(), sortedNames.begin(), sortedNames.end());
  lineNames.push_back("outlet");
  std::cout << sorted.size() << " internal boundar" << (sorted.size() == 1 ? "y" : "ies") << ", "
            << lastSegment + 1 << " segment" << (lastSegment == 0 ? "" : "s") << " (u in "
            << spaceText << ")\n";

  // Fitted boundary lines and their (rnm, theta, nspan), for the picture and segment membership.
  std::vector<std::vector<P>> lines;
  std::vector<std::vector<P>> linesRnm;
  for (int s = 0; s <= lastSegment + 1; ++s) {
    lines.push_back(s <= lastSegment ? segmenter.getInternalBoundaryWest(s)
                                     : segmenter.getInternalBoundaryEast(lastSegment));
    std::vector<P> tns;
    transform->convertARTtoSpaceTNs(qor::TurboTransform::rnm, lines.back(), tns);
    linesRnm.push_back(std::move(tns));
  }
  {
    const std::string path = prefix + "-boundaries.csv";
    std::ofstream out(path);
    if (!out) throw ToolError(path + ": cannot write");
    out << "line,name,point,axial,radial\n";
    for (std::size_t b = 0; b < lines.size(); ++b) {
      for (std::size_t k = 0; k < lines[b].size(); ++k) {
        out << b << ',' << lineNames[b] << ',' << k << ',' << csvNumber(lines[b][k][0]) << ','
            << csvNumber(lines[b][k][1]) << '\n';
      }
    }
    finishOutput(path, out);
  }
  for (int s = 0; s <= lastSegment; ++s) {
    std::vector<P> hubPiece;
    segmenter.getSegmentInternalBoundarySouth(s, hubPiece);
    double len = 0.0;
    for (std::size_t k = 1; k < hubPiece.size(); ++k) {
      len += std::hypot(double(hubPiece[k][0]) - hubPiece[k - 1][0],
                        double(hubPiece[k][1]) - hubPiece[k - 1][1]);
    }
    char line[200];
    std::snprintf(line, sizeof line, "  segment %d: %s -> %s, hub length %.4g%s%s\n", s,
                  lineNames[std::size_t(s)].c_str(), lineNames[std::size_t(s) + 1].c_str(), len,
                  passage.units.empty() ? "" : " ", passage.units.c_str());
    std::cout << line;
  }

  SvgPicture pic;
  pic.title = "Segments: " + passage.name;
  pic.units = passage.units;
  addMesh(pic, sampleMeshFields(*transform));
  for (std::size_t b = 1; b + 1 < lines.size(); ++b)
    pic.lines.push_back({lines[b], SvgStyle::boundary, lineNames[b], true});

  // Points.
  const std::string pointsPath =
      args.positionals().empty() ? std::string() : args.positionals().front();
  if (!pointsPath.empty()) {
    const PointTable table = [&] {
      Phase phase("reading " + pointsPath);
      return readPointFile(pointsPath, pointForm(args, passage.coords), pointFormOption(args));
    }();
    const Coords coords = table.coords;
    pic.markerLegend = "your points";
    std::vector<P> art(table.points);
    if (coords == Coords::xyz) {
      for (P& p : art) p = xyzToArt(passage, p);
    }
    // rnm and nspan of every point, which choose its segment, and its status: one location each.
    const qor::TurboTransform::space rnmNspan[2] = {qor::TurboTransform::rnm,
                                                    qor::TurboTransform::nspan};
    std::vector<float> where(2 * art.size());
    std::vector<std::int8_t> status(art.size());
    qor::TurboTransform::ListOptions every;
    every.threads = 0;
    transform->convertARTtoSpace(art.data(), art.size(), rnmNspan, 2, where.data(), nullptr, nullptr,
                                 status.data(), every);
    reportOutside(status, pointsPath);
    const std::string path = prefix + ".csv";
    std::ofstream out(path);
    if (!out) throw ToolError(path + ": cannot write");
    out << "line," << (coords == Coords::xyz ? "x,y,z" : "axial,radial,theta")
        << ",location,segment,u,v\n";
    // Points on a wall may come out a little outside 0..1 (the mesh edges are polygons through the
    // curve points): within this normalised distance they count as inside.
    constexpr double kInside = 1e-3;
    Progress progress("segmenting " + pointsPath, art.size());
    for (std::size_t k = 0; k < art.size(); ++k) {
      const double x = where[2 * k];
      const double eta = where[2 * k + 1];
      int segment = -1;
      if (x >= -kInside && x <= 1.0 + kInside && eta >= -kInside && eta <= 1.0 + kInside) {
        segment = 0;
        for (int b = 1; b <= lastSegment; ++b) {
          if (x >= rnmAtSpan(linesRnm[std::size_t(b)], eta)) segment = b;
        }
      }
      P uv(0.0f, 0.0f, 0.0f);
      if (segment >= 0) {
        atPoint(pointsPath, table.lines[k],
                [&] { segmenter.convertARTtoSpaceNspan(segment, space, art[k], uv); });
      }
      const P& in = table.points[k];
      out << table.lines[k] << ',' << csvNumber(in[0]) << ',' << csvNumber(in[1]) << ','
          << csvNumber(in[2]) << ',' << locationName(status[k]) << ',' << segment;
      if (segment >= 0) {
        out << ',' << csvNumber(uv[0]) << ',' << csvNumber(uv[1]) << '\n';
      } else {
        out << ",,\n";
      }
      pic.markers.push_back(art[k]);
      pic.markerGroups.push_back(segment);
      if (k % 1024 == 0) progress.update(k);
    }
    progress.update(art.size());
    finishOutput(path, out);
    std::cout << "wrote " << path << ", ";
  } else {
    std::cout << "wrote ";
  }
  writeSvg(prefix + ".svg", pic);
  std::cout << prefix << "-boundaries.csv, " << prefix << ".svg\n";
  return 0;
}

}  // namespace qormeridional
