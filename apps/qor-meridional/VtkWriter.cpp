#include "VtkWriter.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "OutputFile.h"
#include "Spaces.h"
#include "ToolError.h"
#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletQORVector.h"

namespace qormeridional {
namespace {

using P = qor::TripletBase<float>;

constexpr double kRadToDeg = 57.295779513082320876798;

double cornerAngle(const P& corner, const P& a, const P& b) {
  const double ux = double(a[0]) - corner[0], uy = double(a[1]) - corner[1];
  const double vx = double(b[0]) - corner[0], vy = double(b[1]) - corner[1];
  const double lu = std::hypot(ux, uy), lv = std::hypot(vx, vy);
  if (lu == 0.0 || lv == 0.0) return 0.0;
  const double c = std::clamp((ux * vx + uy * vy) / (lu * lv), -1.0, 1.0);
  return std::acos(c) * kRadToDeg;
}

}  // namespace

MeshFields sampleMeshFields(const qor::TurboTransform& transform) {
  MeshFields mesh;
  transform.getBackgroundMesh(mesh.nodes, mesh.ni, mesh.nj);
  qor::QORVector<qor::TurboTransform::space> spaces;
  for (std::size_t k = 0; k < spaceNames().size(); ++k)
    spaces.push_back(static_cast<qor::TurboTransform::space>(k));
  qor::QORVector<std::vector<float>> values;
  transform.convertARTtoSpace(qor::TripletQORVector(mesh.nodes), spaces, values);
  mesh.values.assign(values.begin(), values.end());
  return mesh;
}

MeshQuality measureMesh(const MeshFields& mesh) {
  MeshQuality q;
  q.minAngleDeg = 180.0;
  int positive = 0;
  int negative = 0;
  const auto node = [&](int i, int j) -> const P& {
    return mesh.nodes[static_cast<std::size_t>(i) * static_cast<std::size_t>(mesh.nj) +
                      static_cast<std::size_t>(j)];
  };
  for (int i = 0; i + 1 < mesh.ni; ++i) {
    for (int j = 0; j + 1 < mesh.nj; ++j) {
      const P& a = node(i, j);
      const P& b = node(i + 1, j);
      const P& c = node(i + 1, j + 1);
      const P& d = node(i, j + 1);
      const double ex = 0.5 * ((double(b[0]) + c[0]) - (double(a[0]) + d[0]));
      const double ey = 0.5 * ((double(b[1]) + c[1]) - (double(a[1]) + d[1]));
      const double fx = 0.5 * ((double(d[0]) + c[0]) - (double(a[0]) + b[0]));
      const double fy = 0.5 * ((double(d[1]) + c[1]) - (double(a[1]) + b[1]));
      (ex * fy - ey * fx >= 0.0 ? positive : negative) += 1;
      q.minAngleDeg = std::min({q.minAngleDeg, cornerAngle(a, b, d), cornerAngle(b, c, a),
                                cornerAngle(c, d, b), cornerAngle(d, a, c)});
      const double e[4] = {std::hypot(double(b[0]) - a[0], double(b[1]) - a[1]),
                           std::hypot(double(c[0]) - b[0], double(c[1]) - b[1]),
                           std::hypot(double(d[0]) - c[0], double(d[1]) - c[1]),
                           std::hypot(double(a[0]) - d[0], double(a[1]) - d[1])};
      const double lo = *std::min_element(e, e + 4);
      const double hi = *std::max_element(e, e + 4);
      q.maxAspect = std::max(q.maxAspect, lo > 0.0 ? hi / lo : HUGE_VAL);
      ++q.cells;
    }
  }
  q.inverted = std::min(positive, negative);
  if (q.cells == 0) q.minAngleDeg = 0.0;
  return q;
}

MeshFields placeInMachineFrame(const MeshFields& plane, const qor::AxisFrame& frame, int sectors) {
  MeshFields placed;
  placed.ni = plane.ni;
  placed.nj = plane.nj;
  placed.nk = sectors > 0 ? sectors + 1 : 1;
  const std::size_t perPlane = plane.nodes.size();
  placed.nodes.reserve(perPlane * static_cast<std::size_t>(placed.nk));
  constexpr double kTwoPi = 6.283185307179586476925;
  for (int k = 0; k < placed.nk; ++k) {
    // The last plane at exactly 2 pi: the same nodes as the first within rounding.
    const float theta = sectors > 0 ? static_cast<float>(kTwoPi * k / sectors) : 0.0f;
    for (const P& p : plane.nodes) placed.nodes.push_back(frame.toXYZ(P(p[0], p[1], theta)));
  }
  placed.values.resize(plane.values.size());
  for (std::size_t s = 0; s < plane.values.size(); ++s) {
    placed.values[s].reserve(plane.values[s].size() * static_cast<std::size_t>(placed.nk));
    for (int k = 0; k < placed.nk; ++k) {
      placed.values[s].insert(placed.values[s].end(), plane.values[s].begin(),
                              plane.values[s].end());
    }
  }
  return placed;
}

void writeVtk(const std::string& path, const MeshFields& mesh, const std::string& title,
              const std::vector<qor::TurboTransform::space>& spaces) {
  OutputFile file(path, OutputFile::Api::cstdio);
  std::FILE* f = file.cfile();
  const std::size_t n = mesh.nodes.size();
  std::fprintf(f, "# vtk DataFile Version 3.0\n%s\nASCII\nDATASET STRUCTURED_GRID\n",
               title.substr(0, 250).c_str());
  std::fprintf(f, "DIMENSIONS %d %d %d\nPOINTS %zu float\n", mesh.nj, mesh.ni, mesh.nk, n);
  for (const P& p : mesh.nodes) {
    std::fprintf(f, "%.9g %.9g %.9g\n", double(p[0]), double(p[1]), double(p[2]));
  }
  std::fprintf(f, "POINT_DATA %zu\n", n);
  for (std::size_t s = 0; s < mesh.values.size() && s < spaceNames().size(); ++s) {
    if (!spaces.empty() &&
        std::find(spaces.begin(), spaces.end(), static_cast<qor::TurboTransform::space>(s)) ==
            spaces.end()) {
      continue;
    }
    std::fprintf(f, "SCALARS %s float 1\nLOOKUP_TABLE default\n", spaceNames()[s].c_str());
    for (std::size_t k = 0; k < n; ++k) {
      const float v = k < mesh.values[s].size() ? mesh.values[s][k] : 0.0f;
      // Non-finite values (a degenerate mesh line) are written as 0 so that every reader accepts
      // the file.
      std::fprintf(f, "%.9g\n", std::isfinite(v) ? double(v) : 0.0);
    }
  }
  file.commit();
}

}  // namespace qormeridional
