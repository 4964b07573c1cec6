/// @file
/// Unit directions of the background mesh at a list of points, and the plain-text debug files of a
/// transform: point lists, the exported input and the background mesh as a surface file.

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/QORStream.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/foundation/StringUtilities.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/AxialRadial.h"
#include "turbo/TurboTransformLocate.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

const char* const kClass = "TurboTransform";

// One point line, "%18.9e %18.9e %18.9e".
std::string pointLine(double x, double y, double z) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%18.9e %18.9e %18.9e", x, y, z);
  return buffer;
}

[[noreturn]] void throwBadLine(const std::string& name, long line, const char* what) {
  throw data::invalid(kClass, "getVectorFromFile",
                      SystemMsg("%1 in point file %2 at line %3") << what << name << line,
                      errorType::fatal);
}

// Parses the next number from `pos` and moves `pos` behind it; false when there is none.
bool parseFloat(const char*& pos, float& value) {
  char* end = nullptr;
  const float v = std::strtof(pos, &end);
  if (end == pos) return false;
  value = v;
  pos = end;
  return true;
}

}  // namespace

// ---- unit vectors --------------------------------------------------------------------------------

void TurboTransform::getUnitVectorsFromART(const TripletQORVector& art,
                                           QORVector<TripletBase<float>>& streamwise,
                                           QORVector<TripletBase<float>>& spanwise) const {
  if (art.empty()) return;
  turbo_detail::requireMesh(m_mesh, "getUnitVectorsFromART");
  const std::size_t n = art.size();
  if (streamwise.size() != n) streamwise.resize(n);
  if (spanwise.size() != n) spanwise.resize(n);
  const turbo_detail::MeshView mesh = turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls);
  turbo_detail::Location loc;
  for (std::size_t k = 0; k < n; ++k) {
    turbo_detail::locate(mesh, art[k], loc);
    turbo_detail::cellDirections(mesh.points, loc, streamwise[k], spanwise[k]);
  }
}

void TurboTransform::getUnitVectorsFromXYZ(const TripletQORVector& xyz,
                                           QORVector<TripletBase<float>>& streamwise,
                                           QORVector<TripletBase<float>>& spanwise) const {
  if (xyz.empty()) return;
  std::vector<TripletBase<float>> art(xyz.size());
  for (std::size_t k = 0; k < art.size(); ++k) {
    art[k] = turbo_detail::axialRadial(xyz[k], m_axisPoint, m_axialUnit);
  }
  getUnitVectorsFromART(TripletQORVector(std::move(art)), streamwise, spanwise);
}

// ---- point lists ---------------------------------------------------------------------------------

void TurboTransform::writeVectortoFile(const std::string& name,
                                       const QORVector<TripletBase<float>>& points,
                                       const bool& withCount) const {
  QORStream out(name, 2, 0, 1);
  if (withCount) out << static_cast<unsigned long>(points.size()) << std::endl;
  // The list form carries meridional points: the third number is written as 0.0.
  for (const TripletBase<float>& p : points) out << pointLine(p[0], p[1], 0.0) << std::endl;
  out.close();
}

void TurboTransform::writeVectortoFile(const std::string& name, const TripletQORVector& points,
                                       const bool& withCount) const {
  QORStream out(name, 2, 0, 1);
  if (withCount) out << static_cast<unsigned long>(points.size()) << std::endl;
  for (const TripletBase<float>& p : points) out << pointLine(p[0], p[1], p[2]) << std::endl;
  out.close();
}

void TurboTransform::getVectorFromFile(const std::string& name,
                                       QORVector<TripletBase<float>>& points) const {
  QORStream in(name, 1, 0, 1);
  std::string line;
  if (!in.getline(line)) throwBadLine(name, 1, "Missing point count");
  const char* pos = line.c_str();
  char* end = nullptr;
  const long count = std::strtol(pos, &end, 10);
  if (end == pos) throwBadLine(name, 1, "Malformed point count");

  // Read into a local list first: a malformed or truncated file leaves `points` as it was, and
  // a count larger than the file does not allocate ahead of the data.
  std::vector<TripletBase<float>> loaded;
  for (long k = 0; k < count; ++k) {
    const long lineNumber = k + 2;
    if (!in.getline(line)) throwBadLine(name, lineNumber, "Missing point");
    const std::string text = StringUtilities::replaceSubstring(line, ",", " ");
    const char* cursor = text.c_str();
    TripletBase<float> p;
    for (int c = 0; c < 3; ++c) {
      if (!parseFloat(cursor, p[c])) throwBadLine(name, lineNumber, "Malformed point");
    }
    loaded.push_back(p);
  }
  in.close();
  points.assign(loaded.begin(), loaded.end());
}

// ---- exported input and set-up from files --------------------------------------------------------

void TurboTransform::exportInput() const {
  writeVectortoFile("s_mp", m_hub, false);
  writeVectortoFile("n_mp", m_shroud, false);
  writeVectortoFile("w_mp", m_inlet, false);
  writeVectortoFile("e_mp", m_outlet, false);
  exportFinalMeshToPostSurface("bm.msh");
  std::cout << " TurboTransform Exported debug input" << std::endl;
}

namespace {

// The four boundary curves read from point-list files, in argument order.
struct PassageFiles {
  QORVector<TripletBase<float>> hub, shroud, inlet, outlet;
};

PassageFiles readPassageFiles(const TurboTransform& t, const std::string& hubFile,
                              const std::string& shroudFile, const std::string& inletFile,
                              const std::string& outletFile) {
  PassageFiles f;
  t.getVectorFromFile(hubFile, f.hub);
  t.getVectorFromFile(shroudFile, f.shroud);
  t.getVectorFromFile(inletFile, f.inlet);
  t.getVectorFromFile(outletFile, f.outlet);
  return f;
}

}  // namespace

void TurboTransform::initializeDebugXYZ(const std::string& hubFile, const std::string& shroudFile,
                                        const std::string& inletFile,
                                        const std::string& outletFile,
                                        const TripletBase<float>& axisPoint,
                                        const TripletBase<float>& axisDirection) {
  const PassageFiles f = readPassageFiles(*this, hubFile, shroudFile, inletFile, outletFile);
  initializeFromXYZ(f.hub, f.shroud, f.inlet, f.outlet, axisPoint, axisDirection);
}

void TurboTransform::initializeDebugART(const std::string& hubFile, const std::string& shroudFile,
                                        const std::string& inletFile,
                                        const std::string& outletFile,
                                        const TripletBase<float>& axisPoint,
                                        const TripletBase<float>& axisDirection) {
  // All four curves are taken as ordered.
  const PassageFiles f = readPassageFiles(*this, hubFile, shroudFile, inletFile, outletFile);
  initializeFromART(f.hub, f.shroud, f.inlet, f.outlet, axisPoint, axisDirection, -1, -1, -1, -1);
}

// ---- surface file ------------------------------------------------------------------------------

void TurboTransform::exportFinalMeshToPostSurface(const std::string& name) const {
  turbo_detail::requireMesh(m_mesh, "exportFinalMeshToPostSurface");
  const Topo2dBase& level = m_mesh->topo->getLevel(0);
  QORStream out(name, 2, 0, 1);
  for (int k = level.begin(); k < level.end(); ++k) {
    const TripletBase<float>& p = m_mesh->points.at(static_cast<std::size_t>(k));
    out << p[0] << " " << p[1] << " " << p[2] << "\n";
  }
  out << "\n" << "# Faces" << "\n";
  const int jsize = level.getJsize();
  for (int i = 1; i <= level.getIcv(); ++i) {
    for (int j = 1; j <= level.getJcv(); ++j) {
      const int n = level.getij(i, j);
      out << n << " " << n - jsize << " " << n - jsize - 1 << " " << n - 1 << "\n";
    }
  }
  out.close();
}

}  // namespace qor
