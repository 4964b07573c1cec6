/// @file
/// Smooth2dbs: the coarse-to-fine cascade, the angle-based sweeps and the sliding boundary points.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"
#include "qor/smoothing/Smooth2dbs.h"
#include "foundation/ParallelFor.h"

namespace qor {

namespace {

using Point = TripletBase<float>;

// A length counts as zero when it is below 100 units in its last place (relative zero test).
// Every normal float exceeds 100 units in its last place, so the spacing is only looked up for
// zero, subnormal and NaN lengths; the answer is the same either way.
bool isZeroLength(float length) {
  if (length >= 1e-30f) return false;
  return length < 100.0f * NumericalUtils::spacing(length);
}

// Angle between two arms from acos of the clamped cosine; both lengths are non-zero.
double angleBetween(const Point& u, const Point& v, double lu, double lv) {
  const double dot = double(u[0]) * v[0] + double(u[1]) * v[1] + double(u[2]) * v[2];
  const double c = std::clamp(dot / (lu * lv), -1.0, 1.0);
  return std::acos(c);
}

// The arm b turned by -delta, delta = (theta1 - theta2) / 2 with theta1 the angle between a and b
// and theta2 the one between b and c, about the normal of b and c (delta >= 0) or of a and b: the
// turn of the angle form, in closed form. Each angle is the argument of the complex number
// (dot, |cross|) of its arms, their difference that of z = z1 * conj(z2) = x + i y, and delta that
// of the principal square root of z. Turned by -delta about the unit normal n of b and its partner
// u (c, or a), b becomes b cos(delta) - (n x b) sin(delta), where n x b = (|b|^2 c - (b . c) b) /
// |b x c| for u = c and ((a . b) b - |b|^2 a) / |a x b| for u = a. A zero normal leaves
// b cos(delta), as the angle form does.
Point bisectingArm(const Point& a, const Point& b, const Point& c) {
  const double ax = a[0], ay = a[1], az = a[2];
  const double bx = b[0], by = b[1], bz = b[2];
  const double cx = c[0], cy = c[1], cz = c[2];
  const double d1 = ax * bx + ay * by + az * bz;
  const double d2 = bx * cx + by * cy + bz * cz;
  const double aa = ax * ax + ay * ay + az * az;
  const double bb = bx * bx + by * by + bz * bz;
  const double cc = cx * cx + cy * cy + cz * cz;
  const double n1x = ay * bz - az * by, n1y = az * bx - ax * bz, n1z = ax * by - ay * bx;
  const double n2x = by * cz - bz * cy, n2y = bz * cx - bx * cz, n2z = bx * cy - by * cx;
  // Arms in the plane z = 0 (every background mesh) have normals along z, and the square root of
  // a square is its magnitude exactly: the same bits without the two roots.
  const bool planar = az == 0.0 && bz == 0.0 && cz == 0.0;
  const double s1 = planar ? std::fabs(n1z) : std::sqrt(n1x * n1x + n1y * n1y + n1z * n1z);
  const double s2 = planar ? std::fabs(n2z) : std::sqrt(n2x * n2x + n2y * n2y + n2z * n2z);
  // |z| = |z1| |z2| = |a| |b| |b| |c|: computed beside the two cross products, not after them.
  const double r = bb * std::sqrt(aa * cc);
  const double x = d1 * d2 + s1 * s2;
  const double y = s1 * d2 - d1 * s2;
  if (!(r > 0.0)) return b;  // no turn
  // delta lies in [-pi/2, pi/2]: its cosine is not negative and its sine has the sign of y. Of
  // cos(delta) = sqrt((r + x) / 2r) and |sin(delta)| = sqrt((r - x) / 2r), the one that does not
  // cancel is the root; the other follows from sin(2 delta) = y / r by a quotient taken beside the
  // root.
  const bool aboutBC = y >= 0.0;  // delta >= 0
  const double s = aboutBC ? s2 : s1;
  double cosine, sineOverS = 0.0;
  if (x >= 0.0) {
    const double q = r + x;
    cosine = std::sqrt(q / (2.0 * r));
    if (s > 0.0) sineOverS = y / (q * s) * cosine;
  } else {
    const double q = r - x;
    const double sine = std::copysign(std::sqrt(q / (2.0 * r)), y);
    cosine = y / q * sine;
    if (s > 0.0) sineOverS = sine / s;
  }
  // (n x b) sin(delta); a zero normal leaves b cos(delta).
  double tx = 0.0, ty = 0.0, tz = 0.0;
  if (aboutBC) {
    tx = (bb * cx - d2 * bx) * sineOverS, ty = (bb * cy - d2 * by) * sineOverS,
    tz = (bb * cz - d2 * bz) * sineOverS;
  } else {
    tx = (d1 * bx - bb * ax) * sineOverS, ty = (d1 * by - bb * ay) * sineOverS,
    tz = (d1 * bz - bb * az) * sineOverS;
  }
  return Point(static_cast<float>(bx * cosine - tx), static_cast<float>(by * cosine - ty),
               static_cast<float>(bz * cosine - tz));
}

// Rodrigues rotation of `v` by the angle of cosine c and sine s about `axis`. The axis is
// normalised unless its length is exactly zero; a zero axis leaves v * c.
Point rotate(const Point& v, const Point& axisIn, double c, double s) {
  double k[3] = {axisIn[0], axisIn[1], axisIn[2]};
  const double kl = std::sqrt(k[0] * k[0] + k[1] * k[1] + k[2] * k[2]);
  if (kl != 0.0) {
    // A zero component is its own quotient; the axis of two arms in a plane has two of them.
    for (double& component : k) {
      if (component != 0.0) component /= kl;
    }
  }
  const double x[3] = {v[0], v[1], v[2]};
  const double kx[3] = {k[1] * x[2] - k[2] * x[1], k[2] * x[0] - k[0] * x[2],
                        k[0] * x[1] - k[1] * x[0]};
  const double kdot = k[0] * x[0] + k[1] * x[1] + k[2] * x[2];
  Point r;
  for (int d = 0; d < 3; ++d) {
    r[d] = static_cast<float>(x[d] * c + kx[d] * s + k[d] * kdot * (1.0 - c));
  }
  return r;
}

// Refines a side parameter vector: old values at even indices, means at odd ones.
void refineParameters(std::vector<float>& values) {
  if (values.empty()) return;
  const std::size_t n = values.size();
  std::vector<float> refined(2 * n - 1);
  for (std::size_t i = 0; i < n; ++i) refined[2 * i] = values[i];
  for (std::size_t i = 1; i < n; ++i) refined[2 * i - 1] = 0.5f * (values[i - 1] + values[i]);
  values.swap(refined);
}

}  // namespace

void Smooth2dbs::setMeshPointsOnCurve(const Topo2dBase& level,
                                      QORVector<TripletBase<float>>& points,
                                      const ParametricDBInterface* db, const std::string& curve,
                                      int i0, int i1, int j0, int j1) {
  int n = 0;
  int start = 0;
  if (i0 != i1) {
    if (j0 != j1) return;  // not a side: nothing to place
    n = level.getIcv();
    start = i0;
  } else {
    n = level.getJcv();
    start = j0;
  }
  if (i0 > i1 || j0 > j1) return;
  if (db == nullptr) {
    throw internal::nullPointer("Smooth2dbs", "setMeshPointsOnCurve",
                                SystemMsg("Null pointer to %1.") << "ParametricDBInterface",
                                errorType::fatal);
  }
  const double dt = (1.0 - 0.0) / n;
  const double t0 = dt * start;
  int k = 0;
  for (int i = i0; i <= i1; ++i) {
    for (int j = j0; j <= j1; ++j) {
      double t = k * dt + t0;
      // Clamped into [0, 1]; a block with a single row or column (n = 0) starts at 0.
      if (!(t >= 0.0)) t = 0.0;
      if (t > 1.0) t = 1.0;
      points.at(static_cast<std::size_t>(level.getij(i, j))) =
          TripletBase<float>(db->getPointAtParameter(curve, t));
      ++k;
    }
  }
}

void Smooth2dbs::runSmoothAll() {
  checkTheGoodState();
  if (static_cast<std::size_t>(m_topo->getAllSize()) != m_mesh->size()) {
    throw internal::error("Smooth2dbs", "runSmoothAll",
                          SystemMsg("Topology size not equal to the mesh size"), errorType::fatal);
  }
  initmesh(*m_mesh, *m_topo);
  for (int level = 1; level < m_levels; ++level) extrapolateBC(level);

  for (int level = 0; level < m_levels; ++level) {
    if (level > 0) {
      refineParameters(m_south);
      refineParameters(m_north);
      refineParameters(m_west);
      refineParameters(m_east);
    }
    extrapolateMesh(level);
    char name[64];
    if (m_debug) {
      std::snprintf(name, sizeof name, "strStart.%02d", level);
      writePostSurface(level, name);
    }
    runSmooth(level);
    if (m_debug) {
      std::snprintf(name, sizeof name, "str.%02d", level);
      writePostSurface(level, name);
    }
  }
}

void Smooth2dbs::getFinalSvalues(std::vector<float>& south, std::vector<float>& north) {
  south = m_south;
  north = m_north;
}

void Smooth2dbs::initmesh(QORVector<TripletBase<float>>& mesh, const Topo2dMultiLevel& topo) {
  const Topo2dBase& level0 = topo.getLevel(0);
  const int icv = level0.getIcv();
  const int jcv = level0.getJcv();

  setMeshPointsOnCurve(level0, mesh, m_parametricDB, m_geoNames.at(0), 0, 0, 1, jcv - 1);
  setMeshPointsOnCurve(level0, mesh, m_parametricDB, m_geoNames.at(1), icv, icv, 1, jcv - 1);
  setMeshPointsOnCurve(level0, mesh, m_parametricDB, m_geoNames.at(2), 0, icv, 0, 0);
  setMeshPointsOnCurve(level0, mesh, m_parametricDB, m_geoNames.at(3), 0, icv, jcv, jcv);

  if (jcv == 0) {
    // A single-row level cannot be interpolated between South and North.
    (void)(mesh.at(static_cast<std::size_t>(level0.getij(0, 0))) / jcv);
  }
  for (int i = 1; i <= icv - 1; ++i) {
    const Point south = mesh.at(static_cast<std::size_t>(level0.getij(i, 0)));
    const Point north = mesh.at(static_cast<std::size_t>(level0.getij(i, jcv)));
    for (int j = 1; j <= jcv - 1; ++j) {
      mesh.at(static_cast<std::size_t>(level0.getij(i, j))) =
          (north * j) / jcv + (south * (jcv - j)) / jcv;
    }
  }

  // Side parameters of level 0 (a second run starts again from the coarsest sizes).
  const std::size_t isize = static_cast<std::size_t>(std::max(level0.getIsize(), 0));
  const std::size_t jsize = static_cast<std::size_t>(std::max(level0.getJsize(), 0));
  m_south.assign(isize, 0.0f);
  m_north.assign(isize, 0.0f);
  m_west.assign(jsize, 0.0f);
  m_east.assign(jsize, 0.0f);
  const double di = icv > 0 ? 1.0 / icv : 0.0;
  const double dj = jcv > 0 ? 1.0 / jcv : 0.0;
  for (std::size_t i = 0; i < isize; ++i) {
    m_south[i] = m_north[i] = static_cast<float>(double(i) * di);
  }
  for (std::size_t j = 0; j < jsize; ++j) {
    m_west[j] = m_east[j] = static_cast<float>(double(j) * dj);
  }
  if (isize > 0) {
    m_south.front() = m_north.front() = 0.0f;
    m_south.back() = m_north.back() = 1.0f;
  }
  if (jsize > 0) {
    m_west.front() = m_east.front() = 0.0f;
    m_west.back() = m_east.back() = 1.0f;
  }
}

void Smooth2dbs::extrapolateBC(int level) {
  const Topo2dMultiLevel& topo = *m_topo;
  const int c = level - 1;
  const Topo2dBase& coarse = topo.getLevel(c);
  const int icv = coarse.getIcv();
  const int jcv = coarse.getJcv();
  auto cond = [this](int index) -> std::pair<short, short>& {
    return m_conditions.at(static_cast<std::size_t>(index));
  };

  for (int i = 0; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) {
      cond(topo.getij(level, 2 * i, 2 * j)) = cond(topo.getij(c, i, j));
    }
  }
  std::vector<int> pair(2);
  for (int i = 1; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) {
      pair[0] = topo.getij(c, i, j);
      pair[1] = topo.getij(c, i - 1, j);
      const int onSide = (j == 0 || j == jcv) ? 1 : 0;
      getExtraBC(cond(topo.getij(level, 2 * i - 1, 2 * j)), onSide, pair);
    }
  }
  for (int i = 0; i <= icv; ++i) {
    for (int j = 1; j <= jcv; ++j) {
      pair[0] = topo.getij(c, i, j);
      pair[1] = topo.getij(c, i, j - 1);
      const int onSide = (i == 0 || i == icv) ? 1 : 0;
      getExtraBC(cond(topo.getij(level, 2 * i, 2 * j - 1)), onSide, pair);
    }
  }
  std::vector<int> around(4);
  for (int i = 1; i <= icv; ++i) {
    for (int j = 1; j <= jcv; ++j) {
      around[0] = topo.getij(level, 2 * i, 2 * j - 1);      // East
      around[1] = topo.getij(level, 2 * i - 1, 2 * j);      // North
      around[2] = topo.getij(level, 2 * i - 2, 2 * j - 1);  // West
      around[3] = topo.getij(level, 2 * i - 1, 2 * j - 2);  // South
      getExtraBC(cond(topo.getij(level, 2 * i - 1, 2 * j - 1)), 0, around);
    }
  }
}

void Smooth2dbs::applyMeshBC(int level) {
  const Topo2dBase& coarse = m_topo->getLevel(level - 1);
  const int icv = coarse.getIcv();
  const int jcv = coarse.getJcv();
  applyMeshBCOnCurve(level, 0, 0, 1, jcv);      // West
  applyMeshBCOnCurve(level, icv, icv, 1, jcv);  // East
  applyMeshBCOnCurve(level, 1, icv, 0, 0);      // South
  applyMeshBCOnCurve(level, 1, icv, jcv, jcv);  // North
}

void Smooth2dbs::applyMeshBCOnCurve(int level, int i0, int i1, int j0, int j1) {
  if (i0 != i1 && j0 != j1) {
    throw internal::error("Smooth2dbs", "applyMeshBCOnCurve", SystemMsg("Indicies not equal"),
                          errorType::fatal);
  }
  const Topo2dMultiLevel& topo = *m_topo;
  QORVector<TripletBase<float>>& mesh = *m_mesh;
  const int c = level - 1;
  const bool alongJ = (i0 == i1);  // a West or East side: the intervals run along j

  const int from = alongJ ? j0 : i0;
  const int to = alongJ ? j1 : i1;
  for (int k = from; k <= to; ++k) {
    const int ci = alongJ ? i0 : k;
    const int cj = alongJ ? k : j0;
    const int pi = alongJ ? i0 : k - 1;
    const int pj = alongJ ? k - 1 : j0;
    const Point& a = mesh.at(static_cast<std::size_t>(topo.getij(c, ci, cj)));
    const Point& b = mesh.at(static_cast<std::size_t>(topo.getij(c, pi, pj)));
    const int fi = alongJ ? 2 * i0 : 2 * k - 1;
    const int fj = alongJ ? 2 * k - 1 : 2 * j0;
    const std::size_t fine = static_cast<std::size_t>(topo.getij(level, fi, fj));
    mesh.at(fine) = (a + b) * 0.5;

    const std::pair<short, short>& condition = m_conditions.at(fine);
    if (condition.first != onCurve) continue;
    const std::string& name = m_geoNames.at(static_cast<std::size_t>(condition.second));
    const std::vector<float>* side = nullptr;
    for (std::size_t s = 0; s < 4 && s < m_geoNames.size(); ++s) {
      if (m_geoNames[s] == name) {
        side = s == 0 ? &m_west : s == 1 ? &m_east : s == 2 ? &m_south : &m_north;
        break;
      }
    }
    if (side == nullptr) continue;  // not a side curve: stays at the straight midpoint
    const float s = side->at(static_cast<std::size_t>(alongJ ? fj : fi));
    mesh.at(fine) = TripletBase<float>(m_parametricDB->getPointAtParameter(name, s));
  }
}

void Smooth2dbs::extrapolateMesh(int level) {
  if (level <= 0) return;
  applyMeshBC(level);

  const Topo2dMultiLevel& topo = *m_topo;
  QORVector<TripletBase<float>>& mesh = *m_mesh;
  const int c = level - 1;
  const Topo2dBase& coarse = topo.getLevel(c);
  const int icv = coarse.getIcv();
  const int jcv = coarse.getJcv();
  auto C = [&](int i, int j) -> const Point& {
    return mesh.at(static_cast<std::size_t>(topo.getij(c, i, j)));
  };
  auto F = [&](int i, int j) -> Point& {
    return mesh.at(static_cast<std::size_t>(topo.getij(level, i, j)));
  };
  // Weight of the second side: the interior point follows the side it is nearer to.
  auto weight = [](float toFirst, float toSecond) -> float {
    const float sum = toSecond + toFirst;
    return sum == 0.0f ? 0.5f : toFirst / sum;
  };

  for (int i = 0; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) F(2 * i, 2 * j) = C(i, j);
  }
  for (int i = 1; i <= icv; ++i) {
    const Point midS = (C(i - 1, 0) + C(i, 0)) * 0.5;
    const Point midN = (C(i - 1, jcv) + C(i, jcv)) * 0.5;
    const Point dS = F(2 * i - 1, 0) - midS;
    const Point dN = F(2 * i - 1, 2 * jcv) - midN;
    for (int j = 1; j <= jcv - 1; ++j) {
      const Point q = (C(i - 1, j) + C(i, j)) * 0.5;
      const float lS = (q - midS).length();
      const float lN = (q - midN).length();
      const float wN = weight(lS, lN);
      const float wS = 1.0f - wN;
      F(2 * i - 1, 2 * j) = q + dS * wS + dN * wN;
    }
  }
  for (int j = 1; j <= jcv; ++j) {
    const Point midW = (C(0, j - 1) + C(0, j)) * 0.5;
    const Point midE = (C(icv, j - 1) + C(icv, j)) * 0.5;
    const Point dW = F(0, 2 * j - 1) - midW;
    const Point dE = F(2 * icv, 2 * j - 1) - midE;
    for (int i = 1; i <= icv - 1; ++i) {
      const Point q = (C(i, j - 1) + C(i, j)) * 0.5;
      const float lW = (q - midW).length();
      const float lE = (q - midE).length();
      const float wE = weight(lW, lE);
      const float wW = 1.0f - wE;
      F(2 * i, 2 * j - 1) = q + dW * wW + dE * wE;
    }
  }
  for (int i = 1; i <= icv; ++i) {
    for (int j = 1; j <= jcv; ++j) {
      F(2 * i - 1, 2 * j - 1) = (F(2 * i - 1, 2 * j - 2) + F(2 * i - 2, 2 * j - 1) +
                                 F(2 * i - 1, 2 * j) + F(2 * i, 2 * j - 1)) *
                                0.25;
    }
  }
}

void Smooth2dbs::runSmooth(int level) {
  const Topo2dBase& block = m_topo->getLevel(level);
  const int icv = block.getIcv();
  const int jcv = block.getJcv();
  const int begin = block.begin();
  const int size = block.getSize();
  QORVector<TripletBase<float>>& mesh = *m_mesh;

  // One allocation per level: the new positions, the relaxed new interior and the parameter
  // temporaries.
  std::vector<TripletBase<float>> newPositions(mesh.begin() + begin, mesh.begin() + begin + size);
  std::vector<TripletBase<float>> relaxed(newPositions);
  QORVector<float> west(m_west), east(m_east), south(m_south), north(m_north);

  const int maxIterations = m_maxIterations.at(static_cast<std::size_t>(level));
  if (m_debug) {
    std::cout << "do level " << level << "max iter= " << maxIterations << std::endl;
  }

  // A sweep reads only the previous iterate (the mesh) and writes only the new positions: the
  // interior points' from the angles, the sliding boundary points' from applyBC, two disjoint sets.
  // So the interior rows are shared out among threads, applyBC runs on the thread that finishes its
  // rows first, and the mesh is the same bit for bit for any number of threads. The interior is
  // relaxed into a buffer of its own within the sweep and copied in once every point is done.
  // A point of a sweep costs about a hundred times a thread start over 1024 points.
  const std::size_t interior =
      static_cast<std::size_t>(std::max(icv - 1, 0)) * static_cast<std::size_t>(std::max(jcv - 1, 0));
  const unsigned parts =
      detail::resolveThreads(m_threads, interior, "Smooth2dbs", "runSmoothAll", 1024);
  const std::size_t sweepRows = static_cast<std::size_t>(std::max(icv - 1, 0));
  const int jsize = block.getJsize();
  const double r1 = m_relaxation1;
  for (int iteration = 0; iteration < maxIterations; ++iteration) {
    std::atomic<bool> boundaryTaken(false);
    detail::parallelChunks(sweepRows, parts, [&](std::size_t first, std::size_t last, unsigned) {
      std::vector<int> neighbours(4);
      for (int i = 1 + static_cast<int>(first); i < 1 + static_cast<int>(last); ++i) {
        const int row = block.getij(i, 0);  // a row's points are consecutive
        for (int j = 1; j <= jcv - 1; ++j) {
          const int p = row + j;
          Point& next = newPositions[static_cast<std::size_t>(p - begin)];
          if (m_conditions[static_cast<std::size_t>(p)].first != none) {
            neighbours[0] = p + jsize;  // East
            neighbours[1] = p + 1;      // North
            neighbours[2] = p - jsize;  // West
            neighbours[3] = p - 1;      // South
            angleAverageNoSN(p, neighbours, next);
          }
          relaxed[static_cast<std::size_t>(p - begin)] =
              next * r1 + mesh[static_cast<std::size_t>(p)] * (1.0 - r1);
        }
      }
      if (!boundaryTaken.exchange(true)) applyBC(level, newPositions, west, east, south, north);
    });

    // The boundary rows and the two ends of every other row from newPositions, the rest relaxed.
    for (int i = 0; i <= icv; ++i) {
      const std::ptrdiff_t row = block.getij(i, 0);
      const std::ptrdiff_t q = row - begin;
      const auto from = (i > 0 && i < icv ? relaxed : newPositions).begin() + q;
      std::copy(from, from + jcv + 1, mesh.begin() + row);
      mesh[static_cast<std::size_t>(row)] = newPositions[static_cast<std::size_t>(q)];
      mesh[static_cast<std::size_t>(row + jcv)] = newPositions[static_cast<std::size_t>(q + jcv)];
    }
    std::copy(west.begin(), west.end(), m_west.begin());
    std::copy(east.begin(), east.end(), m_east.begin());
    std::copy(south.begin(), south.end(), m_south.begin());
    std::copy(north.begin(), north.end(), m_north.begin());
  }
}

void Smooth2dbs::angleAverageNoSN(const int& point, const std::vector<int>& neighbours,
                                  TripletBase<float>& result) {
  const QORVector<TripletBase<float>>& mesh = *m_mesh;
  const Point& p = mesh[static_cast<std::size_t>(point)];
  const std::size_t n = neighbours.size();
  Point sum;
  // The arm a of one neighbour is minus the arm c of the one before (float negation is exact), so
  // its length is that one's, unless either has a component equal to the invalid-coordinate mark,
  // which length() tests with its sign.
  float lcBefore = 0.0f;
  bool reusable = false;
  for (std::size_t k = 1; k <= n; ++k) {
    const std::size_t here = k == n ? 0 : k;  // k % n and (k + 1) % n without dividing
    const std::size_t after = here + 1 == n ? 0 : here + 1;
    const Point& nk = mesh[static_cast<std::size_t>(neighbours[here])];
    const Point& nPrev = mesh[static_cast<std::size_t>(neighbours[k - 1])];
    const Point& nNext = mesh[static_cast<std::size_t>(neighbours[after])];
    const Point a = nPrev - nk;
    const Point b = p - nk;
    const Point c = nNext - nk;
    float la = 0.0f, lb = 0.0f, lc = 0.0f;
    bool aZero, bZero, cZero;
    if (m_closedFormBisection) {
      // A length is zero exactly when its rounded square is (the invalid-coordinate mark is not).
      aZero = a.lengthSquared() == 0.0f;
      bZero = b.lengthSquared() == 0.0f;
      cZero = c.lengthSquared() == 0.0f;
    } else {
      la = reusable && !a.hasInvalidComponent() ? lcBefore : a.length();
      lb = b.length();
      lc = c.length();
      lcBefore = lc;
      reusable = !c.hasInvalidComponent();
      aZero = isZeroLength(la);
      bZero = isZeroLength(lb);
      cZero = isZeroLength(lc);
    }

    Point candidate;  // the zero vector unless a rule below applies
    if (!aZero && !bZero && !cZero && m_closedFormBisection) {
      candidate = nk + bisectingArm(a, b, c);
    } else if (!aZero && !bZero && !cZero) {
      const double theta1 = angleBetween(a, b, la, lb);
      const double theta2 = angleBetween(b, c, lb, lc);
      const double delta = (theta1 - theta2) * 0.5;
      // Turning by -delta about these normals brings b onto the bisector of a and c.
      const Point axis = delta >= 0.0 ? b.cross(c) : a.cross(b);
      // cos(-delta) and sin(-delta), from one sincos of delta: the C library's cos is even and its
      // sin odd to the last bit, so these are the values of the angle -delta itself.
      const double cosine = std::cos(delta), sine = std::sin(delta);
      candidate = nk + rotate(b, axis, cosine, -sine);
    } else if (aZero && bZero && cZero) {
      candidate = p;
    } else if (aZero && bZero) {
      candidate = (nk + nNext) * 0.5;
    } else if (aZero && cZero) {
      // Kept so: this case contributes the zero vector to the mean.
    } else if (aZero) {
      candidate = (nk + p + nNext) / 3;
    } else if (bZero && cZero) {
      candidate = (nk + nPrev) * 0.5;
    } else if (bZero) {
      candidate = (nk + p) * 0.5;
    } else {  // c zero only
      candidate = (nk + p + nPrev) / 3;
    }
    sum += candidate;
  }
  result = sum / static_cast<int>(n);
}

void Smooth2dbs::applyBC(int level, std::vector<TripletBase<float>>& newPositions,
                         QORVector<float>& west, QORVector<float>& east, QORVector<float>& south,
                         QORVector<float>& north) {
  const Topo2dBase& block = m_topo->getLevel(level);
  const int icv = block.getIcv();
  const int jcv = block.getJcv();
  const int begin = block.begin();
  const QORVector<TripletBase<float>>& mesh = *m_mesh;
  auto at = [&](int i, int j) -> const Point& {
    return mesh[static_cast<std::size_t>(block.getij(i, j))];
  };
  auto slide = [&](int i, int j, int pi, int pj, int ni, int nj, int ii, int ij,
                   const std::vector<float>& params, QORVector<float>& out, int k) {
    const int p = block.getij(i, j);
    const std::pair<short, short>& condition = m_conditions[static_cast<std::size_t>(p)];
    if (condition.first != onCurve) return;
    const std::string& curve = m_geoNames.at(static_cast<std::size_t>(condition.second));
    const std::size_t kk = static_cast<std::size_t>(k);
    applyCurveBConS(curve, at(pi, pj), at(i, j), at(ni, nj), at(ii, ij),
                    newPositions[static_cast<std::size_t>(p - begin)], params.at(kk - 1),
                    params.at(kk), params.at(kk + 1), out.at(kk));
  };

  for (int i = 1; i <= icv - 1; ++i) {
    slide(i, 0, i - 1, 0, i + 1, 0, i, 1, m_south, south, i);
    slide(i, jcv, i - 1, jcv, i + 1, jcv, i, jcv - 1, m_north, north, i);
  }
  for (int j = 1; j <= jcv - 1; ++j) {
    slide(0, j, 0, j - 1, 0, j + 1, 1, j, m_west, west, j);
    slide(icv, j, icv, j - 1, icv, j + 1, icv - 1, j, m_east, east, j);
  }
}

void Smooth2dbs::applyCurveBConS(const std::string& curve, const TripletBase<float>& previous,
                                 const TripletBase<float>& point, const TripletBase<float>& next,
                                 const TripletBase<float>& inner, TripletBase<float>& result,
                                 float sPrevious, float s, float sNext, float& sResult) const {
  const Point prevInner = previous - inner;
  const Point prevPoint = previous - point;
  const Point nextInner = next - inner;
  const Point nextPoint = next - point;
  const Point pointInner = point - inner;
  const float lPrevInner = prevInner.length();
  const float lPrevPoint = prevPoint.length();
  const float lNextInner = nextInner.length();
  const float lNextPoint = nextPoint.length();
  const float lPointInner = pointInner.length();
  const bool allPresent = !isZeroLength(lPrevInner) && !isZeroLength(lPrevPoint) &&
                          !isZeroLength(lNextInner) && !isZeroLength(lNextPoint) &&
                          !isZeroLength(lPointInner);
  const bool inOrder = (sPrevious < s && s < sNext) || (sNext < s && s < sPrevious);

  if (allPresent && inOrder) {
    // Angles at the inner point between its arm to the point and its arms to both neighbours.
    const double alphaPrev = angleBetween(prevInner, pointInner, lPrevInner, lPointInner);
    const double alphaNext = angleBetween(nextInner, pointInner, lNextInner, lPointInner);
    const double delta = (alphaPrev - alphaNext) * 0.5;  // > 0: turn towards the previous point
    const bool towardsPrevious = delta > 0.0;
    const double turn = std::fabs(delta);

    double fraction = 0.0;
    if (turn > 0.0) {
      // Triangle inner, point, new point: the turn at the inner point, beta at the point; the law
      // of sines gives the distance from the point to the new point along the chord.
      const Point toNeighbour = towardsPrevious ? prevPoint : nextPoint;
      const double lNeighbour = towardsPrevious ? lPrevPoint : lNextPoint;
      const Point toInner = -pointInner;
      const double beta = angleBetween(toInner, toNeighbour, lPointInner, lNeighbour);
      const double pi = 4.0 * std::atan(1.0);
      const double gamma = pi - turn - beta;  // angle at the new point
      const double sinGamma = std::sin(gamma);
      if (sinGamma > 0.0 && std::isfinite(sinGamma)) {
        fraction = double(lPointInner) * std::sin(turn) / (sinGamma * lNeighbour);
      } else {
        fraction = 1.0;
      }
      if (!(fraction >= 0.0)) fraction = 0.0;
      if (fraction > 1.0) fraction = 1.0;
    }

    // Keep the point in the band [r3, 1 - r3] of the interval between its neighbours: the room
    // left towards the neighbour is rescaled to the band and caps the move. Half the gap is the
    // other cap: the neighbour may move towards this point in the same sweep, and the two must
    // not pass each other.
    const double q = std::fabs(double(s) - sPrevious) / std::fabs(double(sNext) - sPrevious);
    const double room = towardsPrevious ? q : 1.0 - q;
    const double r3 = m_relaxation3;
    const double allowed = (1.0 - r3) > 0.0 ? (room - r3) / (1.0 - r3) : 0.0;
    fraction = std::min({fraction, std::max(0.0, allowed), 0.5});

    const double sNeighbour = towardsPrevious ? sPrevious : sNext;
    const double sNew = double(s) + fraction * (sNeighbour - double(s));
    sResult = static_cast<float>(m_relaxation2 * sNew + (1.0 - m_relaxation2) * double(s));
  } else {
    sResult = (sPrevious + sNext) * 0.5f;
  }
  result = TripletBase<float>(m_parametricDB->getPointAtParameter(curve, sResult));
}

}  // namespace qor
