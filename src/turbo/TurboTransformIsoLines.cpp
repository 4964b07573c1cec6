/// @file
/// Lines of constant space of `TurboTransform`, cut from the background mesh.

#include <cstddef>
#include <vector>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/parametric/ParametricDB.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "foundation/MemoryBudget.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

[[noreturn]] void throwTooFewPoints(int n) {
  throw data::invalid("TurboTransform", "getConstantSpaceSpan",
                      SystemMsg("Number of points requested less than 2. Number requested = %1") << n,
                      errorType::fatal);
}

// A line of n points that cannot fit in memory is refused before it is allocated.
void requirePointMemory(int n) {
  memory_detail::requireMemory("TurboTransform", "getConstantSpace",
                               SystemMsg("A line of %1 points") << n,
                               double(n) * sizeof(TripletBase<float>));
}

// Copies `line` into `curve` re-sampled to n points evenly spaced in the line's parameter; the end
// points are copied exactly.
void resampleLine(const QORVector<TripletBase<float>>& line, int n,
                  QORVector<TripletBase<float>>& curve) {
  ParametricDB db;
  db.createCurve("spanCurve", line, ParametricCurve::curve2d);
  if (curve.size() != static_cast<std::size_t>(n)) curve.resize(static_cast<std::size_t>(n));
  curve.at(0) = line.at(0);
  curve.at(static_cast<std::size_t>(n) - 1) = line.at(line.size() - 1);
  for (int k = 1; k < n - 1; ++k) {
    const double t = static_cast<double>(k) / static_cast<double>(n - 1);
    curve[static_cast<std::size_t>(k)] = TripletBase<float>(db.getPointAtParameter("spanCurve", t));
  }
}

// P + w (Q - P) on single-precision points.
TripletBase<float> blend(const TripletBase<float>& p, const TripletBase<float>& q, double w) {
  return p + (q - p) * w;
}

}  // namespace

// ---- public forms -----------------------------------------------------------------------------

void TurboTransform::getConstantSpace(constSpace c, double value,
                                      QORVector<TripletBase<float>>& curve) const {
  switch (static_cast<int>(c)) {
    case nspanConst:
      turbo_detail::requireMesh(m_mesh, "getConstantSpace");
      turbo_detail::getConstantSpaceNspan(*m_mesh, value, curve);
      return;
    case nmConst:
      turbo_detail::requireMesh(m_mesh, "getConstantSpace");
      turbo_detail::getConstantSpaceNm(*m_mesh, value, curve);
      return;
    case rnmConst:
      turbo_detail::requireMesh(m_mesh, "getConstantSpace");
      turbo_detail::getConstantSpaceRnm(*m_mesh, value, curve);
      return;
    default:
      break;
  }
  throw data::invalid("TurboTransform", "getConstantSpace",
                      SystemMsg("Constant space (%1) does not exist") << static_cast<int>(c),
                      errorType::fatal);
}

void TurboTransform::getConstantSpace(constSpace c, double value,
                                      QORVector<TripletBase<float>>& curve,
                                      double extension) const {
  getConstantSpace(c, value, curve);

  ParametricDB db;
  db.createCurve("tmpCurve", curve, ParametricCurve::curve1d);
  const double shift = db.getLength("tmpCurve") * extension;

  const std::size_t last = curve.size() - 1;
  TripletBase<float> u = curve.at(0) - curve.at(1);
  TripletBase<float> v = curve.at(last) - curve.at(last - 1);
  const float lu = u.length();
  if (lu != 0.0f) u /= lu;
  const float lv = v.length();
  if (lv != 0.0f) v /= lv;
  curve[0] = curve[0] + u * shift;
  curve[last] = curve[last] + v * shift;
}

void TurboTransform::getConstantSpace(constSpace c, double value, int n,
                                      QORVector<TripletBase<float>>& curve) const {
  if (n < 2) throwTooFewPoints(n);
  requirePointMemory(n);
  QORVector<TripletBase<float>> line;
  getConstantSpace(c, value, line);
  resampleLine(line, n, curve);
}

void TurboTransform::getConstantSpace(constSpace c, double value, double from, double to,
                                      QORVector<TripletBase<float>>& curve) const {
  QORVector<TripletBase<float>> line;
  getConstantSpace(c, value, line);
  ParametricDB db;
  db.createCurve("spanCurve", line, ParametricCurve::curve2d);
  db.getCurve("spanCurve", from, to, curve);
}

void TurboTransform::getConstantSpace(constSpace c, double value, int n, double from, double to,
                                      QORVector<TripletBase<float>>& curve) const {
  if (n < 2) throwTooFewPoints(n);
  requirePointMemory(n);
  QORVector<TripletBase<float>> line;
  getConstantSpace(c, value, from, to, line);
  resampleLine(line, n, curve);
}

// ---- the mesh lines ---------------------------------------------------------------------------

namespace turbo_detail {

void getConstantSpaceNspan(const MeshState& mesh, double ns,
                           QORVector<TripletBase<float>>& curve) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  curve.assign(static_cast<std::size_t>(level.getIsize()), TripletBase<float>());

  if (ns <= 0.0 || ns >= 1.0) {
    const int j = ns <= 0.0 ? 0 : jcv;
    for (int i = 0; i <= icv; ++i) {
      curve.at(static_cast<std::size_t>(i)) = mesh.points.at(static_cast<std::size_t>(level.getij(i, j)));
    }
    return;
  }

  int j0 = 0, j1 = 0;
  double w = 0.0;
  interpolateOnDouble(mesh.fields.at(TurboTransform::nspan), ns, j0, j1, w);
  for (int i = 0; i <= icv; ++i) {
    const TripletBase<float>& p = mesh.points.at(static_cast<std::size_t>(level.getij(i, j0)));
    const TripletBase<float>& q = mesh.points.at(static_cast<std::size_t>(level.getij(i, j0 + 1)));
    curve.at(static_cast<std::size_t>(i)) = blend(p, q, w);
  }
}

void getConstantSpaceRnm(const MeshState& mesh, double r,
                         QORVector<TripletBase<float>>& curve) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  curve.assign(static_cast<std::size_t>(level.getJsize()), TripletBase<float>());

  if (r <= 0.0 || r >= 1.0) {
    const int i = r <= 0.0 ? 0 : icv;
    for (int j = 0; j <= jcv; ++j) {
      curve.at(static_cast<std::size_t>(j)) = mesh.points.at(static_cast<std::size_t>(level.getij(i, j)));
    }
    return;
  }

  int i0 = 0, i1 = 0;
  double w = 0.0;
  interpolateOnDouble(mesh.fields.at(TurboTransform::rnm), r, i0, i1, w);
  for (int j = 0; j <= jcv; ++j) {
    const TripletBase<float>& p = mesh.points.at(static_cast<std::size_t>(level.getij(i0, j)));
    const TripletBase<float>& q = mesh.points.at(static_cast<std::size_t>(level.getij(i0 + 1, j)));
    curve.at(static_cast<std::size_t>(j)) = blend(p, q, w);
  }
}

void getConstantSpaceNm(const MeshState& mesh, double v,
                        QORVector<TripletBase<float>>& curve) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  curve.assign(static_cast<std::size_t>(level.getJsize()), TripletBase<float>());

  if (v <= 0.0 || v >= 1.0) {
    const int i = v <= 0.0 ? 0 : icv;
    for (int j = 0; j <= jcv; ++j) {
      curve.at(static_cast<std::size_t>(j)) = mesh.points.at(static_cast<std::size_t>(level.getij(i, j)));
    }
    return;
  }

  // nm runs from 0 to 1 along every j line, so each line is crossed exactly once.
  const std::vector<double>& nmValues = mesh.fields.at(TurboTransform::nm);
  std::vector<double> lineValues(static_cast<std::size_t>(icv) + 1, 0.0);
  for (int j = 0; j <= jcv; ++j) {
    for (int i = 0; i <= icv; ++i) {
      lineValues[static_cast<std::size_t>(i)] = nmValues.at(static_cast<std::size_t>(level.getij(i, j)));
    }
    int i0 = 0, i1 = 0;
    double w = 0.0;
    interpolateOnDouble(lineValues, v, i0, i1, w);
    const TripletBase<float>& p = mesh.points.at(static_cast<std::size_t>(level.getij(i0, j)));
    const TripletBase<float>& q = mesh.points.at(static_cast<std::size_t>(level.getij(i1, j)));
    curve.at(static_cast<std::size_t>(j)) = blend(p, q, w);
  }
}

void getSpaceOnConstantSpan(const MeshState& mesh, TurboTransform::space s, double spanValue,
                            QORVector<double>& values, QORVector<TripletBase<float>>& points) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int icv = level.getIcv();
  const std::size_t isize = static_cast<std::size_t>(level.getIsize());

  double ns = spanValue;
  if (!(ns > 0.0)) ns = 0.0;  // NaN is taken as the hub
  if (ns > 1.0) ns = 1.0;
  int j0 = 0, j1 = 0;
  double w = 0.0;
  interpolateOnDouble(mesh.fields.at(TurboTransform::nspan), ns, j0, j1, w);

  points.assign(isize, TripletBase<float>());
  values.assign(isize, 0.0);
  for (int i = 0; i <= icv; ++i) {
    const TripletBase<float>& p = mesh.points.at(static_cast<std::size_t>(level.getij(i, j0)));
    const TripletBase<float>& q = mesh.points.at(static_cast<std::size_t>(level.getij(i, j1)));
    points.at(static_cast<std::size_t>(i)) = blend(p, q, w);
  }

  switch (static_cast<int>(s)) {
    case TurboTransform::mprime:
    case TurboTransform::m:
    case TurboTransform::nmprime:
    case TurboTransform::nm:
    case TurboTransform::mprimeScaled: {
      const std::vector<double>& f = mesh.fields.at(static_cast<std::size_t>(s));
      for (int i = 0; i <= icv; ++i) {
        const double f0 = f.at(static_cast<std::size_t>(level.getij(i, j0)));
        const double f1 = f.at(static_cast<std::size_t>(level.getij(i, j1)));
        values.at(static_cast<std::size_t>(i)) = f0 + w * (f1 - f0);
      }
      return;
    }
    case TurboTransform::rnm: {
      const std::vector<double>& f = mesh.fields.at(TurboTransform::rnm);
      for (int i = 0; i <= icv; ++i) values.at(static_cast<std::size_t>(i)) = f.at(static_cast<std::size_t>(i));
      return;
    }
    default:
      break;
  }
  throw internal::error("TurboTransform", "getSpaceOnConstantSpan",
                        SystemMsg("Space (%1) not allowed here.") << static_cast<int>(s),
                        errorType::fatal);
}

}  // namespace turbo_detail
}  // namespace qor
