#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <numeric>

#include "OutputFile.h"
#include "CommandSupport.h"
#include "Commands.h"
#include "DemoPassage.h"
#include "Progress.h"
#include "SvgWriter.h"
#include "ToolError.h"
#include "Warnings.h"
#include "qor/segmenter/TurboTransformSegmenter.h"

namespace qormeridional {
namespace {

// Points per internal boundary handed to the segmenter (at least; the given points are kept).
constexpr int kBoundaryPoints = 64;
// Points beyond the walls, the inlet or the outlet by up to this much in normalised span or rnm
// still belong to a segment (points on a wall may come out a little outside 0..1).
constexpr double kInside = 1e-3;

using P = qor::TripletBase<float>;
using Seg = qor::TurboTransformSegmenter;

/// The internal boundaries as given, with their names and the file line of their first points.
struct Boundaries {
  std::string path;  ///< the boundaries file ("" for the demo's edges)
  std::vector<std::vector<P>> curves;
  std::vector<std::string> names;
  std::vector<int> lines;
};

struct SegmentOptions {
  std::string pointsPath;                ///< "" when no points are given
  const char* pointsForcedBy = nullptr;  ///< "--points-art" or "--points-xyz" when given
  std::string boundariesPath;            ///< "" for the demo's blade edges
  std::string spaceText;
  Seg::spaceSeg space = Seg::rnm;
  Seg::segmentMethod method = Seg::backgroundMeshSpan;
  bool exactBoundaries = true;  ///< --compatible-boundaries turns it off
  std::string prefix;
  PassageOptions passage;
  MeshSettings mesh;
};

SegmentOptions parseSegmentOptions(const CliArgs& args) {
  SegmentOptions o;
  checkPointForm(args);
  o.pointsForcedBy = pointFormOption(args);
  o.pointsPath = args.positionals().empty() ? std::string() : args.positionals().front();
  o.boundariesPath = args.value("boundaries");
  o.spaceText = args.choice(spaceOption(args), {"m", "nm", "rnm", "mprime"}, "rnm");
  o.space = o.spaceText == "m"        ? Seg::m
            : o.spaceText == "nm"     ? Seg::nm
            : o.spaceText == "mprime" ? Seg::mprime
                                      : Seg::rnm;
  o.method = args.choice("sampling", {"mergedSpan", "backgroundMeshSpan"},
                         "backgroundMeshSpan") == "mergedSpan"
                 ? Seg::mergedSpan
                 : Seg::backgroundMeshSpan;
  o.exactBoundaries = !args.has("compatible-boundaries");
  o.prefix = args.value("output", "segments");
  o.passage = readPassageOptions(args);
  o.mesh = readMeshSettings(args);
  if (o.boundariesPath.empty() && !o.passage.demo)
    throw ToolError("missing option --boundaries (see 'qor-meridional segment --help')");
  return o;
}

/// Reads --boundaries (Cartesian points projected about the axis), or the demo's blade edges.
Boundaries readBoundaries(const SegmentOptions& o, const Passage& passage) {
  Boundaries b;
  if (!o.boundariesPath.empty()) {
    b.path = o.boundariesPath;
    const PointTable table = readPointFile(b.path, passage.coords);
    b.curves = splitCurves(table, b.names, b.lines);
    for (std::size_t k = 0; k < b.curves.size(); ++k) {
      if (b.curves[k].size() < 2) {
        throw fileError(b.path, b.lines[k],
                        "boundary '" + b.names[k] +
                            "' has only one point (a boundary runs from hub to shroud)");
      }
      if (table.coords == Coords::xyz) {
        axisFrame(passage).toART(b.curves[k].data(), b.curves[k].size(), b.curves[k].data());
      }
    }
  } else {
    b.curves = makeDemoPassage().bladeEdges;
    b.names = {"impeller LE", "impeller TE"};
    b.lines.assign(b.curves.size(), 0);
  }
  return b;
}

/// Puts the boundaries in inlet-to-outlet order by the mean rnm of their points.
void orderInletToOutlet(const qor::TurboTransform& transform, Boundaries& b) {
  std::vector<double> meanRnm(b.curves.size(), 0.0);
  for (std::size_t k = 0; k < b.curves.size(); ++k) {
    std::vector<float> v;
    transform.convertARTtoSpace(qor::TurboTransform::rnm, b.curves[k], v);
    meanRnm[k] = std::accumulate(v.begin(), v.end(), 0.0) / double(v.size());
  }
  std::vector<std::size_t> order(b.curves.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t x, std::size_t y) { return meanRnm[x] < meanRnm[y]; });
  Boundaries sorted;
  sorted.path = b.path;
  for (std::size_t k : order) {
    sorted.curves.push_back(b.curves[k]);
    sorted.names.push_back(b.names[k]);
    sorted.lines.push_back(b.lines[k]);
  }
  b = std::move(sorted);
}

/// The given points with points added evenly along each chord between them, at least
/// kBoundaryPoints in all: the segmenter interpolates span linearly between a boundary's points,
/// which a blade edge of a few points does not resolve. Every given point is kept.
std::vector<P> densify(const std::vector<P>& given) {
  std::vector<double> chord(given.size() > 1 ? given.size() - 1 : 0);
  double total = 0.0;
  for (std::size_t k = 0; k < chord.size(); ++k) {
    chord[k] = std::hypot(double(given[k + 1][0]) - given[k][0],
                          double(given[k + 1][1]) - given[k][1]);
    total += chord[k];
  }
  std::vector<P> out;
  out.push_back(given.front());
  for (std::size_t k = 0; k < chord.size(); ++k) {
    const int pieces =
        total > 0.0 ? std::max(1, int(std::ceil((kBoundaryPoints - 1) * chord[k] / total))) : 1;
    for (int q = 1; q < pieces; ++q) {
      const double w = double(q) / pieces;
      out.push_back(P(float(given[k][0] + w * (double(given[k + 1][0]) - given[k][0])),
                      float(given[k][1] + w * (double(given[k + 1][1]) - given[k][1])), 0.0f));
    }
    out.push_back(given[k + 1]);
  }
  return out;
}

/// Hands the densified boundaries to the segmenter; a library error about one boundary names the
/// file and the line of its first point.
void setBoundaries(Seg& segmenter, const Boundaries& b) {
  std::vector<std::vector<P>> dense;
  for (const auto& curve : b.curves) dense.push_back(densify(curve));
  try {
    segmenter.setInternalBoundaries(dense, std::vector<bool>(dense.size(), true));
  } catch (const qor::Error& e) {
    if (b.path.empty()) throw;
    const std::size_t at = e.getMessage().find("Boundary = ");
    const std::size_t k = at == std::string::npos
                              ? b.curves.size()
                              : std::strtoul(e.getMessage().c_str() + at + 11, nullptr, 10);
    const std::string which = k < b.names.size() ? "boundary '" + b.names[k] + "': " : "";
    throw fileError(b.path, k < b.lines.size() ? b.lines[k] : 0, which + describe(e));
  }
}

/// The largest distance of u from 0 (segment east of the boundary) and from 1 (segment west of
/// it) over the given points of every internal boundary.
double boundaryDeviation(const Seg& segmenter, Seg::spaceSeg space, const Boundaries& b) {
  double worst = 0.0;
  for (std::size_t k = 0; k < b.curves.size(); ++k) {
    const int east = int(k) + 1;
    std::vector<P> uv;
    segmenter.convertARTtoSpaceNspan(east, space, b.curves[k], uv);
    for (const P& q : uv) worst = std::max(worst, std::fabs(double(q[0])));
    segmenter.convertARTtoSpaceNspan(east - 1, space, b.curves[k], uv);
    for (const P& q : uv) worst = std::max(worst, std::fabs(double(q[0]) - 1.0));
  }
  return worst;
}

/// Writes the fitted boundary lines (inlet, internal boundaries, outlet) as CSV.
void writeBoundaryLines(const std::string& path, const std::vector<std::vector<P>>& lines,
                        const std::vector<std::string>& lineNames) {
  OutputFile file(path);
  std::ostream& out = file.stream();
  out << "line,name,point,axial,radial\n";
  for (std::size_t b = 0; b < lines.size(); ++b) {
    for (std::size_t k = 0; k < lines[b].size(); ++k) {
      out << b << ',' << lineNames[b] << ',' << k << ',' << csvNumber(lines[b][k][0]) << ','
          << csvNumber(lines[b][k][1]) << '\n';
    }
  }
  file.commit();
}

/// One line per segment on standard output: its boundary lines and the length of its hub piece.
void printSegments(const Seg& segmenter, const std::vector<std::string>& lineNames,
                   const std::string& units) {
  for (int s = 0; s <= segmenter.getLastSegmentID(); ++s) {
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
                  units.empty() ? "" : " ", units.c_str());
    std::cout << line;
  }
}

/// Reads the points file, finds each point's segment and (u, v), writes <prefix>.csv and adds the
/// points to the picture.
void segmentPoints(const SegmentOptions& o, const Passage& passage, const Seg& segmenter,
                   const std::string& path, SvgPicture& pic) {
  const std::string& pointsPath = o.pointsPath;
  const Seg::spaceSeg space = o.space;
  const PointTable table = [&] {
    Phase phase("reading " + pointsPath);
    return readPointFile(pointsPath, pointsFrame(o.pointsForcedBy, passage.coords),
                         o.pointsForcedBy);
  }();
  const Coords coords = table.coords;
  std::vector<P> art(table.points);
  if (coords == Coords::xyz) {
    qor::TurboTransform::ListOptions every;
    every.threads = 0;
    axisFrame(passage).toART(art.data(), art.size(), art.data(), every);
  }
  const std::size_t n = art.size();
  std::vector<std::int8_t> status(n);
  std::vector<int> segment(n);
  std::vector<P> uv(n, P(0.0f, 0.0f, 0.0f));
  {
    Phase phase("segmenting " + pointsPath);
    qor::TurboTransform::ListOptions every;
    every.threads = 0;
    segmenter.findSegment(art.data(), n, segment.data(), status.data(), kInside, every);
    // (u, v) segment by segment, through the array form on contiguous copies.
    std::vector<P> in, out;
    for (int s = 0; s <= segmenter.getLastSegmentID(); ++s) {
      in.clear();
      for (std::size_t k = 0; k < n; ++k) {
        if (segment[k] == s) in.push_back(art[k]);
      }
      out.resize(in.size());
      segmenter.convertARTtoSpaceNspan(s, space, in.data(), in.size(), out.data(), every);
      std::size_t next = 0;
      for (std::size_t k = 0; k < n; ++k) {
        if (segment[k] == s) uv[k] = out[next++];
      }
    }
  }
  reportOutside(status, pointsPath);

  OutputFile file(path);
  std::ostream& out = file.stream();
  out << "line," << (coords == Coords::xyz ? "x,y,z" : "axial,radial,theta")
      << ",location,segment,u,v\n";
  Progress progress("writing " + path, n);
  for (std::size_t k = 0; k < n; ++k) {
    const P& in = table.points[k];
    out << table.lines[k] << ',' << csvNumber(in[0]) << ',' << csvNumber(in[1]) << ','
        << csvNumber(in[2]) << ',' << locationName(status[k]) << ',' << segment[k];
    if (segment[k] >= 0) {
      out << ',' << csvNumber(uv[k][0]) << ',' << csvNumber(uv[k][1]) << '\n';
    } else {
      out << ",,\n";
    }
    if (k % 1024 == 0) progress.update(k);
  }
  progress.update(n);
  file.commit();
  pic.markerLegend = "your points";
  pic.markers.insert(pic.markers.end(), art.begin(), art.end());
  pic.markerGroups.insert(pic.markerGroups.end(), segment.begin(), segment.end());
}

int runSegment(const SegmentOptions& o) {
  const std::string& prefix = o.prefix;
  const Seg::spaceSeg space = o.space;
  const std::string& spaceText = o.spaceText;
  const Passage passage = readPassage(o.passage);
  Boundaries boundaries = readBoundaries(o, passage);

  bool folded = false;
  const auto transform = buildTransform(passage, o.mesh, folded);
  orderInletToOutlet(*transform, boundaries);

  Seg segmenter(transform.get(), o.method);
  segmenter.setExactBoundaries(o.exactBoundaries);
  setBoundaries(segmenter, boundaries);
  const int lastSegment = segmenter.getLastSegmentID();

  std::vector<std::string> lineNames = {"inlet"};
  lineNames.insert(lineNames.end(), boundaries.names.begin(), boundaries.names.end());
  lineNames.push_back("outlet");
  const std::size_t count = boundaries.curves.size();
  std::cout << count << " internal boundar" << (count == 1 ? "y" : "ies") << ", "
            << lastSegment + 1 << " segment" << (lastSegment == 0 ? "" : "s") << " (u in "
            << spaceText << ")\n";
  if (count > 0) {
    char line[200];
    std::snprintf(line, sizeof line,
                  "boundary deviation: the given boundary points convert to u within %.3g of 0 "
                  "and 1%s\n",
                  boundaryDeviation(segmenter, space, boundaries),
                  segmenter.getExactBoundaries() ? "" : " (compatible boundaries)");
    std::cout << line;
  }

  std::vector<std::vector<P>> lines;
  for (int s = 0; s <= lastSegment; ++s) lines.push_back(segmenter.getInternalBoundaryWest(s));
  lines.push_back(segmenter.getInternalBoundaryEast(lastSegment));
  writeBoundaryLines(prefix + "-boundaries.csv", lines, lineNames);
  printSegments(segmenter, lineNames, passage.units);

  SvgPicture pic;
  pic.title = "Segments: " + passage.name;
  pic.units = passage.units;
  addMesh(pic, sampleMeshFields(*transform));
  for (std::size_t b = 1; b + 1 < lines.size(); ++b)
    pic.lines.push_back({lines[b], SvgStyle::boundary, lineNames[b], true});

  if (!o.pointsPath.empty()) {
    segmentPoints(o, passage, segmenter, prefix + ".csv", pic);
    std::cout << "wrote " << prefix << ".csv, ";
  } else {
    std::cout << "wrote ";
  }
  writeSvg(prefix + ".svg", pic);
  std::cout << prefix << "-boundaries.csv, " << prefix << ".svg\n";
  return 0;
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
      "impeller's leading and trailing edges are used. Every given boundary point is kept (points\n"
      "are added between them) and, with the library's exact boundaries, converts to u = 0 or 1:\n"
      "the tool prints the largest deviation. Writes <prefix>-boundaries.csv (the fitted\n"
      "boundary lines), <prefix>.svg and, given points, <prefix>.csv with segment, u and v per\n"
      "point (segment -1: outside the passage by more than 0.001 in normalised span or rnm; a\n"
      "point on a boundary belongs to the segment downstream of it).\n"
      "\n"
      "example: qor-meridional segment --demo qor-demo/sample-points.csv --space rnm",
      joinOptions(
          joinOptions({{"boundaries", "file", "internal boundaries, hub to shroud each"},
                       {"space", "m|nm|rnm|mprime", "space in which u is measured (default rnm)"},
                       {"spaces", "m|nm|rnm|mprime", "the same as --space"},
                       {"sampling", "mergedSpan|backgroundMeshSpan",
                        "span sampling of the boundaries (default backgroundMeshSpan; with exact "
                        "boundaries both sample at every given point's span)"},
                       {"compatible-boundaries", "",
                        "the library's default boundary lines (sampled as --sampling says, ends "
                        "on the mesh's wall lines) instead of exact boundaries"},
                       {"points-art", "", "the points are (axial, radial[, theta])"},
                       {"points-xyz", "", "the points are Cartesian (x, y, z) about the axis"},
                       {"output", "prefix", "output file prefix (default: segments)"}},
                      passageOptions()),
          meshOptions()),
      1);
  if (parseOrHelp(args, argc, argv)) return 0;
  return runSegment(parseSegmentOptions(args));
}

}  // namespace qormeridional
