#pragma once
// Geometry shared by the tests and the benchmarks (no test framework here): analytic meridional
// passages with known coordinates (annulus, cone, 90-degree bend), their Cartesian form about an
// arbitrary axis, and the real machines under QOR_DATA_DIR read from their CSV files.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "qor/CoordTransform.h"

namespace qortest {

using qor::TripletBase;
using qor::TripletQORVector;
using P3 = TripletBase<float>;

constexpr double kPi = 3.14159265358979323846;

/// Four boundary curves and an axis. Hub and shroud run inlet to outlet, inlet and outlet hub to
/// shroud. In ART form the points are (axial, radial, theta).
struct Passage {
  std::string name;
  TripletQORVector hub, shroud, inlet, outlet;
  P3 axisPoint{0, 0, 0};
  P3 axisDirection{0, 0, 1};
};

/// Straight line of n points from a to b in the (A, R) plane, theta 0.
inline std::vector<P3> line(double a0, double r0, double a1, double r1, int n) {
  std::vector<P3> out;
  for (int k = 0; k < n; ++k) {
    const double f = (n == 1) ? 0.0 : double(k) / (n - 1);
    out.emplace_back(float(a0 + f * (a1 - a0)), float(r0 + f * (r1 - r0)), 0.0f);
  }
  return out;
}

/// Annular duct: hub R = r1, shroud R = r2, A in [a0, a0 + length]; radial inlet and outlet.
/// Analytic fields: m = A - a0, nm = rnm = (A - a0) / length, span = R - r1, nspan = (R - r1) / (r2 - r1).
inline Passage annulus(double a0 = 0.0, double length = 2.0, double r1 = 1.0, double r2 = 2.0,
                       int nStream = 41, int nSpan = 11) {
  Passage p;
  p.name = "annulus";
  p.hub = line(a0, r1, a0 + length, r1, nStream);
  p.shroud = line(a0, r2, a0 + length, r2, nStream);
  p.inlet = line(a0, r1, a0, r2, nSpan);
  p.outlet = line(a0 + length, r1, a0 + length, r2, nSpan);
  return p;
}

/// Conical duct with ends perpendicular to the walls (a rotated rectangle): e = (cos a, sin a),
/// n = (-sin a, cos a); hub P0 + xi e, shroud P0 + h n + xi e, xi in [0, length].
/// Analytic fields with xi = (X - P0).e and eta = (X - P0).n: m = xi, nm = xi / length,
/// span = eta, nspan = eta / h.
struct Cone {
  double alpha = 30.0 * kPi / 180.0;
  double a0 = 0.0, r0 = 1.0, length = 2.0, height = 0.5;
  double xi(double a, double r) const { return (a - a0) * std::cos(alpha) + (r - r0) * std::sin(alpha); }
  double eta(double a, double r) const { return -(a - a0) * std::sin(alpha) + (r - r0) * std::cos(alpha); }
  TripletBase<double> at(double x, double e) const {
    return {a0 + x * std::cos(alpha) - e * std::sin(alpha), r0 + x * std::sin(alpha) + e * std::cos(alpha), 0.0};
  }
};

inline Passage cone(const Cone& c = Cone(), int nStream = 41, int nSpan = 11) {
  Passage p;
  p.name = "cone";
  auto curve = [&](double x0, double e0, double x1, double e1, int n) {
    const auto s = c.at(x0, e0), t = c.at(x1, e1);
    return line(s[0], s[1], t[0], t[1], n);
  };
  p.hub = curve(0, 0, c.length, 0, nStream);
  p.shroud = curve(0, c.height, c.length, c.height, nStream);
  p.inlet = curve(0, 0, 0, c.height, nSpan);
  p.outlet = curve(c.length, 0, c.length, c.height, nSpan);
  return p;
}

/// 90-degree bend from axial to radial (the meridional passage of a centrifugal impeller):
/// X(theta, rho) = C + rho (sin theta, -cos theta), C = (a0, rc), theta in [0, pi/2]; the hub is
/// the outer arc rho = rhoHub, the shroud the inner arc rho = rhoShroud. Inlet at A = a0, outlet at
/// R = rc. Analytic fields: nm = theta / (pi/2), nspan = (rhoHub - rho) / (rhoHub - rhoShroud),
/// span = rhoHub - rho, m = rho theta (arc length).
struct Bend {
  double a0 = 0.0, rc = 3.0, rhoHub = 1.5, rhoShroud = 1.0;
  TripletBase<double> at(double theta, double rho) const {
    return {a0 + rho * std::sin(theta), rc - rho * std::cos(theta), 0.0};
  }
  double theta(double a, double r) const { return std::atan2(a - a0, rc - r); }
  double rho(double a, double r) const { return std::hypot(a - a0, rc - r); }
};

inline Passage bend(const Bend& b = Bend(), int nStream = 121, int nSpan = 11) {
  Passage p;
  p.name = "bend";
  auto arc = [&](double rho) {
    std::vector<P3> out;
    for (int k = 0; k < nStream; ++k) {
      const double th = (kPi / 2) * k / (nStream - 1);
      const auto q = b.at(th, rho);
      out.emplace_back(float(q[0]), float(q[1]), 0.0f);
    }
    return out;
  };
  p.hub = arc(b.rhoHub);
  p.shroud = arc(b.rhoShroud);
  const auto i0 = b.at(0, b.rhoHub), i1 = b.at(0, b.rhoShroud);
  const auto o0 = b.at(kPi / 2, b.rhoHub), o1 = b.at(kPi / 2, b.rhoShroud);
  p.inlet = line(i0[0], i0[1], i1[0], i1[1], nSpan);
  p.outlet = line(o0[0], o0[1], o1[0], o1[1], nSpan);
  return p;
}

/// Cartesian position of the meridional point (axial, radial) at circumferential angle phi about
/// the axis (point, unit direction computed here).
inline TripletBase<double> toXYZ(double axial, double radial, double phi, const P3& axisPoint,
                                 const P3& axisDirection) {
  TripletBase<double> a(axisDirection[0], axisDirection[1], axisDirection[2]);
  a = a / a.length();
  // A unit vector perpendicular to the axis, then the third of a right-handed frame.
  TripletBase<double> helper = std::fabs(a[0]) < 0.9 ? TripletBase<double>(1, 0, 0) : TripletBase<double>(0, 1, 0);
  TripletBase<double> e1 = helper - a * helper.dot(a);
  e1 = e1 / e1.length();
  const TripletBase<double> e2 = a.cross(e1);
  const TripletBase<double> p(axisPoint[0], axisPoint[1], axisPoint[2]);
  return p + a * axial + (e1 * std::cos(phi) + e2 * std::sin(phi)) * radial;
}

/// The passage with every point turned into Cartesian coordinates about the given axis, each curve
/// at its own angle phi (the transform ignores the angle).
inline Passage toXYZ(const Passage& art, const P3& axisPoint, const P3& axisDirection, double phi = 0.7) {
  Passage out;
  out.name = art.name + "-xyz";
  out.axisPoint = axisPoint;
  out.axisDirection = axisDirection;
  auto convert = [&](const TripletQORVector& in, double angle) {
    std::vector<P3> pts;
    for (const auto& q : in) {
      const auto x = toXYZ(q[0], q[1], angle, axisPoint, axisDirection);
      pts.emplace_back(float(x[0]), float(x[1]), float(x[2]));
    }
    return TripletQORVector(std::move(pts));
  };
  out.hub = convert(art.hub, phi);
  out.shroud = convert(art.shroud, phi + 0.3);
  out.inlet = convert(art.inlet, phi - 0.2);
  out.outlet = convert(art.outlet, phi + 1.1);
  return out;
}

/// Sets up a transform from an ART passage (all curves ordered) or from a Cartesian one.
inline void initializeART(qor::TurboTransform& t, const Passage& p) {
  t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, p.axisPoint, p.axisDirection, -1, -1, -1, -1);
}
inline void initializeXYZ(qor::TurboTransform& t, const Passage& p) {
  t.initializeFromXYZ(p.hub, p.shroud, p.inlet, p.outlet, p.axisPoint, p.axisDirection);
}

// ---- real machines ------------------------------------------------------------------------------

/// The data directory named by QOR_DATA_DIR, or "" when it is unset.
inline std::string dataDir() {
  const char* d = std::getenv("QOR_DATA_DIR");
  return d != nullptr ? std::string(d) : std::string();
}

/// The comma-separated fields of a CSV file; a first line whose last field is not a number is a
/// header and is skipped.
inline std::vector<std::vector<std::string>> readCsv(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::vector<std::string>> rows;
  for (std::string text; std::getline(in, text);) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    if (text.empty()) continue;
    rows.emplace_back();
    std::stringstream ss(text);
    for (std::string f; std::getline(ss, f, ',');) rows.back().push_back(f);
  }
  if (!rows.empty()) {
    char* end = nullptr;
    const std::string& first = rows.front().back();
    std::strtod(first.c_str(), &end);
    if (end == first.c_str()) rows.erase(rows.begin());
  }
  return rows;
}

/// Machines of the data directory with hub, shroud, inlet and outlet curves.
inline std::vector<std::string> dataCases() {
  std::vector<std::string> out;
  if (dataDir().empty()) return out;
  for (const char* k : {"nasa-rotor37", "nasa-rotor37/alt-tblade3-normalised", "transonic-fan-rotor",
                        "centrifugal-compressor-lowspeed", "centrifugal-compressor-highspeed",
                        "radial-inflow-turbine-huntsman", "four-stage-axial-turbine", "two-stage-lp-steam-turbine"}) {
    if (std::ifstream(dataDir() + "/" + k + "/hub.csv")) out.emplace_back(k);
  }
  return out;
}

/// A real machine in ART form from its (axial, radius) CSV files: axis along x through the origin,
/// as the data READMEs state.
inline Passage loadCase(const std::string& name) {
  auto read = [&](const char* curve) {
    std::vector<P3> out;
    for (const auto& row : readCsv(dataDir() + "/" + name + "/" + curve + ".csv")) {
      if (row.size() >= 2) out.emplace_back(std::stof(row[row.size() - 2]), std::stof(row.back()), 0.0f);
    }
    return TripletQORVector(std::move(out));
  };
  Passage p;
  p.name = name;
  p.hub = read("hub"), p.shroud = read("shroud"), p.inlet = read("inlet"), p.outlet = read("outlet");
  p.axisDirection = P3(1, 0, 0);
  return p;
}

/// Largest extent of the passage in the meridional plane (for tolerances relative to its size).
inline double passageSize(const Passage& p) {
  double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300};
  for (const auto* c : {&p.hub, &p.shroud, &p.inlet, &p.outlet}) {
    for (const auto& q : *c) {
      for (int k = 0; k < 2; ++k) {
        lo[k] = std::min(lo[k], double(q[k]));
        hi[k] = std::max(hi[k], double(q[k]));
      }
    }
  }
  return std::max(hi[0] - lo[0], hi[1] - lo[1]);
}

}  // namespace qortest
